// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_PEAK_H
#define VORN_BENCH_PEAK_H

#include <string>

#include "bench/trace.h"
#include "bench/weights.h"

// Peak resident memory. Each measurement is a process of its own, since freed
// memory of another would hide what it takes.

namespace vorn::bench {

/// A number of bytes from /proc/self/status.
double status_bytes(const std::string& key);

/// In the process that measures: registers and activates all constraints of a
/// trace, whose own memory is there before and after, and returns the bytes
/// that it took at most.
template <class G, class... Options>
double peak_of(const Trace& trace, Options... options) {
  const double before = status_bytes("VmRSS");
  G graph(trace, options...);
  if (make_calls(graph, trace.measured) != 0) fail("an unexpected conflict");
  return status_bytes("VmHWM") - before;
}

/// Runs this program anew with --measure-memory=`which` and reads the number
/// that it prints.
double measured_by_child(const std::string& which);

}  // namespace vorn::bench

#endif  // VORN_BENCH_PEAK_H
