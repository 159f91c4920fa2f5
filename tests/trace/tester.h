// SPDX-License-Identifier: MIT
#ifndef VORN_TRACE_TESTER_H
#define VORN_TRACE_TESTER_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/model/runner.h"
#include "tests/model/trace.h"
#include "tests/trace/guarded_run.h"

namespace vorn::trace {

/// How a tester ended, as exit status of its process.
enum class Verdict { kAgree = 0, kDifference = 1, kUsage = 2 };

struct TesterOptions {
  /// Of the first trace; the others have the numbers behind it.
  std::uint64_t seed = 1;
  /// Random traces, and seconds, at which to end; 0 for no such limit.
  std::uint64_t count = 0;
  double seconds = 0;
  /// Calls of each trace; 0 for a length drawn for each.
  std::size_t calls = 0;
  /// Processes that run traces.
  int jobs = 1;
  /// Where traces that differ go.
  std::string folder = ".";
  /// How to call the program, in the command that replays a difference.
  std::string program = "vorn_trace_tester";
  Patience patience;
};

/// Sums over runs.
struct Totals {
  std::uint64_t traces = 0;
  std::uint64_t calls = 0;
  std::uint64_t checks = 0;
  std::uint64_t conflicts = 0;
  std::uint64_t lemmas = 0;
  std::uint64_t consequences = 0;

  void add(const model::RunResult& result);
  void add(const Totals& other);
};

/// The length of the random trace of this seed: some tens of calls, with a tail
/// of some hundreds.
std::size_t drawn_length(std::uint64_t seed);

/// Looks for calls on which a graph and its model differ, or a closure says
/// what is not true, and makes each such find small.
///
/// Traces run in other processes, so that one on which the graph crashes or
/// never returns is found, kept and made small like any other.
///
/// Each operation ends with a line of totals on `out`.
/// Ownership: borrows `out`. Threads: none; it forks.
/// Errors: std::system_error if there is no further process or pipe.
class Tester {
 public:
  Tester(const TesterOptions& options, Run run, std::ostream& out)
      : options_(options), run_(std::move(run)), out_(out) {}

  /// Runs random traces up to the limits of the options or to the first that
  /// differs. That one is written to `seed-N.trace` in the folder, a shrunk one
  /// to `seed-N.shrunk.trace`. Requires: a limit.
  Verdict search();

  /// Runs the traces of these files.
  Verdict replay(const std::vector<std::string>& files);

  /// Shrinks the trace of the file `NAME.trace` to `NAME.shrunk.trace` in the
  /// folder. kDifference if it differs at all.
  Verdict shrink_file(const std::string& file);

 private:
  model::Trace trace_of(std::uint64_t seed) const;
  bool load(const std::string& file, model::Trace* trace);
  void report(const std::string& name, const std::string& origin,
              const model::Trace& trace, const std::string& difference);
  bool write(const std::string& name, const std::string& origin,
             const std::string& difference, const model::Trace& trace);
  void print_totals(double seconds);

  const TesterOptions options_;
  const Run run_;
  std::ostream& out_;
  Totals totals_;
};

}  // namespace vorn::trace

#endif  // VORN_TRACE_TESTER_H
