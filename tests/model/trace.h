// SPDX-License-Identifier: MIT
#ifndef VORN_MODEL_TRACE_H
#define VORN_MODEL_TRACE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <set>
#include <string>
#include <vector>

#include "tests/model/graph_model.h"

namespace vorn::model {

/// What a call does; the fields of Call that it reads are in brackets.
enum class CallKind {
  kTell,           // [constraint, first]
  kTellBi,         // [constraint, first, second]
  kPush,           // [constraint]
  kCheck,          // []
  kPop,            // [constraint]
  kRetract,        // [constraint]
  kReset,          // [flag: also forget the potentials]
  kConfigure,      // [settings]
  kDrain,          // [count: take at most so many lemmas]
  kDumpConflicts,  // []
  kDumpList,       // [ids, flag: full texts]
  kLogger,         // [count: verbosity, or -1 to take the logger away]
};

/// One call on the graph, as plain values.
struct Call {
  CallKind kind = CallKind::kCheck;
  int constraint = 0;
  EdgeRecord first;
  EdgeRecord second;
  bool flag = false;
  int count = 0;
  Settings settings;
  std::vector<int> ids;
};

using Trace = std::vector<Call>;

/// Reads `-3/4` or `12` into lowest terms. Requires: well-formed text with a
/// denominator other than zero.
mpq_class rational_from_text(const std::string& text);

/// One line of text for one call, as solver::TraceLine has it, with further
/// words; `tell_bi 3 1 2 6 -1/2 -1 2 1 7 4 0` tells a pair of edges.
std::string call_text(const Call& call);

/// Reads what call_text() writes; false for anything else.
bool call_from_text(const std::string& line, Call* call);

/// Writes one call a line.
void write_trace(std::ostream& out, const Trace& trace);

/// Reads what write_trace() or a solver::GraphRecorder writes, and hands each
/// call to `take`; blank lines and lines that begin with `#` are skipped. False
/// at the first line that is no call or that `take` refuses; its number, from
/// 1, goes to `bad_line`, if there is one.
bool read_calls(std::istream& in, const std::function<bool(const Call&)>& take,
                std::size_t* bad_line = nullptr);

/// The same, all at once.
bool read_trace(std::istream& in, Trace* trace,
                std::size_t* bad_line = nullptr);

/// Follows which constraints are registered and pushed, and so decides which
/// calls keep to the contract of the graph. Results of calls play no part.
class Contract {
 public:
  bool allows(const Call& call) const;

  /// Requires: allows(call).
  void apply(const Call& call);

  bool is_registered(int constraint) const {
    return registered_.count(constraint) != 0;
  }
  bool is_pushed(int constraint) const {
    return pushed_.count(constraint) != 0;
  }
  const std::set<int>& registered() const { return registered_; }
  /// Pushed constraints, oldest first; only the last may be popped.
  const std::vector<int>& stack() const { return stack_; }

 private:
  std::set<int> registered_;
  std::vector<int> stack_;
  /// The same constraints as stack_.
  std::set<int> pushed_;
};

/// True if every call of `trace`, in order, keeps to the contract.
bool keeps_contract(const Trace& trace);

/// `trace` without the calls that break the contract where they stand.
Trace without_breaches(const Trace& trace);

/// A random trace of at most `length` calls that keeps to the contract; the
/// longer, the more nodes and constraints. The same seed and length give the
/// same trace on every machine.
Trace random_trace(std::uint64_t seed, std::size_t length);

/// A shorter and plainer trace, within the contract, for which `fails` still
/// holds. Removing any one call or constraint of it (with the calls that then
/// break the contract) makes `fails` false, and so does each of the ways to put
/// simpler values in its place. Requires: fails(trace).
/// Cost: some hundred calls of `fails` for a trace of a hundred calls.
Trace shrink(const Trace& trace,
             const std::function<bool(const Trace&)>& fails);

}  // namespace vorn::model

#endif  // VORN_MODEL_TRACE_H
