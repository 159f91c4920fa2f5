// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_RECORDER_H
#define VORN_BENCH_RECORDER_H

#include <ostream>

namespace vorn::bench {

/// Records on `out` the calls that a search makes on a graph while it looks for
/// a schedule of the job shop ft10 that ends by 929, up to 200,000 activations.
/// The first check is of what holds before the first decision. Ends the process
/// if the table cannot be read or the recording not be written.
void record_ft10(std::ostream& out);

}  // namespace vorn::bench

#endif  // VORN_BENCH_RECORDER_H
