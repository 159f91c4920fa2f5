// SPDX-License-Identifier: MIT
#ifndef VORN_TRACE_RANDOM_SEARCH_H
#define VORN_TRACE_RANDOM_SEARCH_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/model/trace.h"
#include "tests/trace/guarded_run.h"
#include "tests/trace/tester.h"

namespace vorn::trace {

/// A trace that did not end in agreement.
struct Find {
  std::uint64_t seed;
  /// How its process ended, if the comparison did not: a crash, or no end.
  std::string end;
};

/// Runs the traces of successive seeds in `options.jobs` processes up to the
/// limits or to a find; at most one for each process, as all end then.
std::vector<Find> search_seeds(
    const TesterOptions& options, const Run& run,
    const std::function<model::Trace(std::uint64_t)>& trace_of, Totals* totals);

}  // namespace vorn::trace

#endif  // VORN_TRACE_RANDOM_SEARCH_H
