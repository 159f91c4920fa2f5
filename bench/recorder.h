// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_RECORDER_H
#define VORN_BENCH_RECORDER_H

#include <string>

#include "bench/trace.h"

namespace vorn::bench {

/// The calls that a search makes on a graph while it looks for a schedule of a
/// job-shop table that ends by `limit`, up to its end or `max_pushes`
/// activations. What holds before the first decision is prepared, the rest
/// measured. Ends the process if the table cannot be read.
Trace record_job_shop(const std::string& table_file, int limit, int max_pushes);

}  // namespace vorn::bench

#endif  // VORN_BENCH_RECORDER_H
