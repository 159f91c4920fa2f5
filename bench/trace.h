// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_TRACE_H
#define VORN_BENCH_TRACE_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <vector>

namespace vorn::bench {

/// num * 2^shift / den + eps times the infinitesimal: enough for every
/// workload, and small where there are a million of them.
struct TraceWeight {
  std::int64_t num = 0;
  std::int32_t den = 1;
  std::int32_t shift = 0;
  std::int32_t eps = 0;
};

struct TraceEdge {
  int source;
  int target;
  TraceWeight weight;
};

/// One call of a host; a word, as what is read between calls counts as their
/// cost.
class Call {
 public:
  enum class Kind : std::int32_t { kPush = 0, kPop = 1, kCheck = 2 };

  static Call push(int k) { return Call(Kind::kPush, k); }
  static Call pop(int k) { return Call(Kind::kPop, k); }
  static Call check() { return Call(Kind::kCheck, 0); }

  Kind kind() const { return static_cast<Kind>(word_ & 3); }
  int constraint() const { return word_ >> 2; }

 private:
  Call(Kind kind, int k) : word_(4 * k + static_cast<std::int32_t>(kind)) {}
  std::int32_t word_;
};

/// What a host does with a graph: registers constraints, prepares a state, and
/// makes the calls whose cost is the question.
struct Trace {
  /// Constraint k is edges[k - 1].
  std::vector<TraceEdge> edges;
  int num_nodes = 0;
  std::vector<Call> prepare;
  std::vector<Call> measured;
  /// The measured calls end in the state in which they began, potentials
  /// included, so that they can be made again without a new graph.
  bool repeatable = false;
  /// A multiple of every denominator: weights times this are integers.
  std::int32_t scale = 1;

  /// Adds a constraint and returns its number.
  int add(int source, int target, const TraceWeight& weight);
  std::size_t num_measured_pushes() const;
};

/// Reads the calls of one graph as solver::GraphRecorder writes them. All up to
/// the first check prepares, what is behind it is measured. False for calls of
/// other kinds, for constraints that are not told in the order of their numbers
/// from 1 on, and for weights that do not fit TraceWeight or whose denominators
/// have no common multiple in 31 bits.
bool read_trace(std::istream& in, Trace& trace);

/// Makes the calls on a graph and returns the sum of the conflicts' lengths, so
/// that no call can be optimised away. With `verdicts`, appends for each check
/// 0 if it was consistent, the conflict's length otherwise. Of a closure, whose
/// checks return something else, that instead.
template <class G>
std::size_t make_calls(G& graph, const std::vector<Call>& calls,
                       std::vector<std::size_t>* verdicts = nullptr) {
  std::size_t sum = 0;
  for (const Call call : calls) {
    switch (call.kind()) {
      case Call::Kind::kPush:
        graph.push(call.constraint());
        break;
      case Call::Kind::kPop:
        graph.pop(call.constraint());
        break;
      case Call::Kind::kCheck: {
        const std::size_t length = graph.check();
        sum += length;
        if (verdicts != nullptr) verdicts->push_back(length);
        break;
      }
    }
  }
  return sum;
}

}  // namespace vorn::bench

#endif  // VORN_BENCH_TRACE_H
