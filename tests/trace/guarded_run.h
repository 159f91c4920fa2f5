// SPDX-License-Identifier: MIT
#ifndef VORN_TRACE_GUARDED_RUN_H
#define VORN_TRACE_GUARDED_RUN_H

#include <functional>
#include <string>

#include "tests/model/runner.h"
#include "tests/model/trace.h"

namespace vorn::trace {

/// Drives a graph and a model through a trace and compares.
using Run = std::function<model::RunResult(const model::Trace&)>;

/// Where a run's own words on standard error go, those of a failed assertion
/// or a sanitizer.
enum class Words { kHeard, kHidden };

/// Processor time that a trace may take before it counts as endless.
struct Patience {
  double seconds = 2;
  double seconds_per_call = 0.05;

  double of(const model::Trace& trace) const {
    return seconds + seconds_per_call * static_cast<double>(trace.size());
  }
};

/// From now on this process ends by a signal once it has used so much more
/// processor time; 0 takes the limit away.
void limit_processor_time(double seconds);

/// No core files of this process and its children.
void forbid_core_files();

/// The text of how a process ended, by its status as waitpid gives it: "ended
/// by signal 6 (Aborted)". Requires: it did end.
std::string end_text(int status);

/// `run(trace)` in a process of its own. If that crashes or does not come to an
/// end, the result is a difference that says so.
model::RunResult run_guarded(const Run& run, const model::Trace& trace,
                             const Patience& patience, Words words);

}  // namespace vorn::trace

#endif  // VORN_TRACE_GUARDED_RUN_H
