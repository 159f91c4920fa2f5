// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "fuzz/byte_reader.h"
#include "fuzz/fuzzer.h"
#include "fuzz/weight_reader.h"
#include "tests/model/closure_comparison.h"
#include "tests/model/graph_model.h"
#include "vorn/dl/closure.h"

// Bytes as calls on two closures, run next to a model: one with paths from the
// start, one with a matrix and whatever takes over from it. What they say is
// held against what is true after each call, and all of it at the end.
//
// The first two characters are choices: of the memory of the matrix, see
// kMatrixBytes, and of the limit on the steps of paths, see kPathSteps. Behind
// them a letter is a call; the digits behind it are what it is about:
//
//   tKXYw   tell constraint K as the edge from X to Y of weight w
//   gKXYd   tell constraint K as the tightest bound between X and Y, plus d - 4
//   pK      push K                      o      pop the latest
//   uN      pop the latest N            z      pop all
//   rK      retract K                   d      take the consequences
//   aN      from here on take them after every call (N = 1), or when told
//
// A weight is a digit for its kind, see read_weight(), and one or more for its
// size. What would break the contract of the closure where it stands is left
// out.

namespace vorn::model {
namespace {

constexpr int kNodes = 14;
constexpr int kConstraints = 32;
// Of sizes that are no digit: what sums of fourteen nodes still hold in words,
// and what they do not.
constexpr unsigned kExponents[] = {25, 26, 29, 31, 57, 58, 61, 63, 64, 190};

// A matrix has at least eight rows, which take 1,024 bytes with words of 32
// bits and 1,280 with larger numbers; as much again is for what it notes of
// improvements. So the little ones are outgrown by their numbers, by their
// rows, or when many distances have fallen.
constexpr std::size_t kMatrixBytes[] = {std::size_t{64} << 20U,
                                        2048,
                                        2200,
                                        2560,
                                        2800,
                                        3600,
                                        5000,
                                        8000,
                                        16000,
                                        40000};
constexpr std::size_t kPathSteps[] = {1000, 0, 1, 2, 3, 5, 8, 12};

class Player {
 public:
  explicit Player(fuzz::ByteReader input)
      : input_(input), comparison_(settings()) {}

  void run() {
    constexpr std::size_t kMostCalls = 150;
    for (std::size_t calls = 0; calls < kMostCalls && !input_.at_end();
         ++calls) {
      step();
      if (takes_always_) comparison_.take();
      comparison_.observe_known();
      observe_some_bounds(calls);
      complain();
    }
    comparison_.observe();
    complain();
  }

 private:
  std::vector<ClosureSetting> settings();
  void step();
  void observe_some_bounds(std::size_t calls);
  void complain() const {
    if (!comparison_.difference().empty()) fuzz::fail(comparison_.difference());
  }
  void tell();
  void tell_goal();
  void tell(const EdgeRecord& edge);
  void push(int k);
  void pop();
  void retract(int k);
  bool is_active() const { return !comparison_.model().active().empty(); }
  bool is_told(int k) const { return comparison_.model().told().count(k) != 0; }
  int constraint() { return input_.below_int(kConstraints); }

  fuzz::ByteReader input_;
  ClosureComparison comparison_;
  bool takes_always_ = true;
};

std::vector<ClosureSetting> Player::settings() {
  const std::size_t bytes = kMatrixBytes[input_.below(10)];
  const std::size_t steps = kPathSteps[input_.below(8)];
  return {{"matrix", {bytes, steps}}, {"paths", {0, steps}}};
}

void Player::tell(const EdgeRecord& edge) {
  if (!is_told(edge.id)) comparison_.tell(edge.id, edge);
}

void Player::tell() {
  EdgeRecord edge;
  edge.id = constraint();
  edge.source = input_.below_int(kNodes);
  edge.target = input_.below_int(kNodes);
  edge.weight = fuzz::read_weight(input_, kExponents);
  tell(edge);
}

void Player::tell_goal() {
  EdgeRecord edge;
  edge.id = constraint();
  edge.source = input_.below_int(kNodes);
  edge.target = input_.below_int(kNodes);
  const int more = input_.below_int(10) - 4;
  const auto& nodes = comparison_.model().nodes();
  if (nodes.count(edge.source) == 0 || nodes.count(edge.target) == 0) return;
  const Weight* bound = comparison_.model().distance(edge.source, edge.target);
  if (bound == nullptr) return;
  edge.weight = *bound;
  edge.weight.rational += more;
  tell(edge);
}

void Player::push(int k) {
  if (is_told(k)) comparison_.push(k);
}

void Player::pop() {
  if (is_active()) comparison_.pop();
}

void Player::retract(int k) {
  if (is_told(k) && !is_active()) comparison_.retract(k);
}

// From one node at a time: from all of them they cost more than all else.
void Player::observe_some_bounds(std::size_t calls) {
  const auto& nodes = comparison_.model().nodes();
  if (nodes.empty()) return;
  const auto source = std::next(
      nodes.begin(), static_cast<std::ptrdiff_t>(calls % nodes.size()));
  comparison_.observe_bounds(source->first);
}

void Player::step() {
  // Upper case does the same, so each call has several bytes.
  switch ('a' + (input_.byte() & 31) - 1) {
    case 't':
    case 'k':
    case 's':
      tell();
      break;
    case 'g':
      tell_goal();
      break;
    case 'o':
      pop();
      break;
    case 'u':
      for (int n = input_.below_int(10); n > 0; --n) pop();
      break;
    case 'z':
      while (is_active()) pop();
      break;
    case 'r':
      retract(constraint());
      break;
    case 'd':
      comparison_.take();
      break;
    case 'a':
      takes_always_ = input_.below(2) == 1;
      break;
    default:  // 'p', and whatever stands for nothing else
      push(constraint());
      break;
  }
}

}  // namespace
}  // namespace vorn::model

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using namespace vorn;
  model::Player(fuzz::ByteReader(data, size)).run();
  return 0;
}
