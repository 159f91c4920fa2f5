// SPDX-License-Identifier: MIT
#ifndef VORN_MODEL_RUNNER_H
#define VORN_MODEL_RUNNER_H

#include <cstddef>
#include <string>

#include "tests/model/trace.h"

namespace vorn::model {

/// What a side-by-side run saw.
struct RunResult {
  /// True if graph and model agreed in everything that was compared.
  bool agrees = true;
  /// True if the run stopped before a check whose lemma walk would not end.
  bool met_endless_walk = false;
  /// Calls made and compared; at a difference, the index of the call that
  /// brought it out.
  std::size_t calls = 0;
  std::size_t checks = 0;
  std::size_t conflicts = 0;
  std::size_t lemmas = 0;
  /// Of the closures, taken.
  std::size_t consequences = 0;
  /// For people: the call, and what either side said.
  std::string difference;
};

/// Drives a graph and the model through `trace` and compares everything that
/// can be observed after every call: results, conflict set, potentials and
/// edge lists, lemmas, log, statistics, and answers to probes of potentials.
/// While more than 191 edges are registered, as in the recording of a
/// solver, only results and conflict sets are compared after every call and the
/// rest every so many calls, so that the cost does not grow with the square of
/// the length.
///
/// Closures follow the same constraints, and what they say is compared with
/// what is true (see ClosureFollower). Requires: keeps_contract(trace).
RunResult run_trace(const Trace& trace);

/// The same with one trace for each side, which shows that a difference is
/// seen. Requires: both keep the contract and have the same length and kinds
/// of calls.
RunResult run_traces(const Trace& for_graph, const Trace& for_model);

/// The call that differed, the difference, and a shortest trace found that
/// still differs, ready to be read back. Requires: !run_trace(trace).agrees.
std::string explain_difference(const Trace& trace);

}  // namespace vorn::model

#endif  // VORN_MODEL_RUNNER_H
