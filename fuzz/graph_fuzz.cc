// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <utility>

#include "fuzz/byte_reader.h"
#include "fuzz/fuzzer.h"
#include "fuzz/weight_reader.h"
#include "tests/model/graph_model.h"
#include "tests/model/runner.h"
#include "tests/model/trace.h"

// Bytes as calls on the graph, run next to the model, everything that can be
// observed compared after each call.
//
// A letter is a call; the digits behind it are what it is about:
//
//   tKXYw   tell constraint K as the edge from X to Y of weight w
//   bKXYww  the same as a pair, with the edge back from Y to X
//   eKXYwXYw  a pair of any two edges
//   pK      push K                      c      check
//   qK      push K and check            o      pop the latest
//   fK      push K, check, pop it       rK     retract K
//   uN      pop the latest N            z, y   reset, without and with the
//                                              potentials
//   sKOD    settings: kinds of lemmas, overlap in sixths, duplicates dropped
//   dN      take N lemmas               vN     log at verbosity N - 1
//   x       dump the conflicts          lNFKK  dump N edges, in full for F = 1
//
// A weight is a digit for its kind, see read_weight(), and one or more for its
// size. What would break the contract of the graph where it stands is left out.

namespace vorn::model {
namespace {

constexpr int kNodes = 12;
constexpr int kConstraints = 24;
// Of sizes that are no digit.
constexpr unsigned kExponents[] = {31, 62, 63, 64, 100, 190};

class Decoder {
 public:
  explicit Decoder(fuzz::ByteReader input) : input_(input) {}

  Trace run() {
    // Each call is followed by a comparison of everything.
    constexpr std::size_t kMostCalls = 150;
    while (!input_.at_end() && trace_.size() < kMostCalls) step();
    return std::move(trace_);
  }

 private:
  void step();
  void emit(const Call& call) {
    if (!contract_.allows(call)) return;
    contract_.apply(call);
    trace_.push_back(call);
  }
  void emit(CallKind kind, int constraint = 0) {
    Call call;
    call.kind = kind;
    call.constraint = constraint;
    emit(call);
  }
  void pop_latest() {
    if (!contract_.stack().empty()) {
      emit(CallKind::kPop, contract_.stack().back());
    }
  }
  int constraint() { return input_.below_int(kConstraints); }
  EdgeRecord edge(int id);
  void tell(CallKind kind, bool back);
  void configure();
  void dump_list();

  fuzz::ByteReader input_;
  Contract contract_;
  Trace trace_;
};

EdgeRecord Decoder::edge(int id) {
  EdgeRecord edge;
  edge.source = input_.below_int(kNodes);
  edge.target = input_.below_int(kNodes);
  edge.weight = fuzz::read_weight(input_, kExponents);
  edge.id = id;
  return edge;
}

void Decoder::tell(CallKind kind, bool back) {
  Call call;
  call.kind = kind;
  call.constraint = constraint();
  call.first = edge(2 * call.constraint);
  if (kind == CallKind::kTellBi) {
    if (back) {
      call.second.source = call.first.target;
      call.second.target = call.first.source;
      call.second.weight = fuzz::read_weight(input_, kExponents);
      call.second.id = 2 * call.constraint + 1;
    } else {
      call.second = edge(2 * call.constraint + 1);
    }
  }
  emit(call);
}

void Decoder::configure() {
  Call call;
  call.kind = CallKind::kConfigure;
  call.settings.tlemma_kinds = input_.below_int(4);
  call.settings.tlemma_min_overlap = static_cast<float>(input_.below(7)) / 6.0F;
  call.settings.dedup_tlemmas = input_.below(2) == 1;
  emit(call);
}

void Decoder::dump_list() {
  Call call;
  call.kind = CallKind::kDumpList;
  const int count = input_.below_int(6);
  call.flag = input_.below(2) == 1;
  for (int i = 0; i < count; ++i) {
    call.ids.push_back(input_.below_int(2 * kConstraints));
  }
  emit(call);
}

void Decoder::step() {
  const std::uint8_t letter = input_.byte();
  // Upper case does the same, so each call has several bytes.
  switch ('a' + (letter & 31) - 1) {
    case 't':
    case 'k':
      tell(CallKind::kTell, false);
      break;
    case 'b':
      tell(CallKind::kTellBi, true);
      break;
    case 'e':
      tell(CallKind::kTellBi, false);
      break;
    case 'p':
      emit(CallKind::kPush, constraint());
      break;
    case 'c':
      emit(CallKind::kCheck);
      break;
    case 'f': {
      const int k = constraint();
      if (!contract_.is_registered(k) || contract_.is_pushed(k)) break;
      emit(CallKind::kPush, k);
      emit(CallKind::kCheck);
      emit(CallKind::kPop, k);
      break;
    }
    case 'o':
      pop_latest();
      break;
    case 'u':
      for (int n = input_.below_int(10); n > 0; --n) pop_latest();
      break;
    case 'r':
      emit(CallKind::kRetract, constraint());
      break;
    case 'y':
    case 'z': {
      Call call;
      call.kind = CallKind::kReset;
      call.flag = (letter & 31) == ('y' & 31);
      emit(call);
      break;
    }
    case 's':
      configure();
      break;
    case 'd':
    case 'v': {
      Call call;
      call.kind =
          (letter & 31) == ('d' & 31) ? CallKind::kDrain : CallKind::kLogger;
      call.count = input_.below_int(10);
      if (call.kind == CallKind::kLogger) --call.count;
      emit(call);
      break;
    }
    case 'x':
      emit(CallKind::kDumpConflicts);
      break;
    case 'l':
      dump_list();
      break;
    default:  // 'q', and whatever stands for nothing else
      emit(CallKind::kPush, constraint());
      emit(CallKind::kCheck);
      break;
  }
}

}  // namespace
}  // namespace vorn::model

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using namespace vorn;
  const model::Trace trace = model::Decoder(fuzz::ByteReader(data, size)).run();
  if (!model::run_trace(trace).agrees) {
    fuzz::fail(model::explain_difference(trace));
  }
  return 0;
}
