// SPDX-License-Identifier: MIT
#ifndef VORN_FUZZ_FUZZER_H
#define VORN_FUZZ_FUZZER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What each fuzzer consists of. libFuzzer calls the entry point with inputs
// that it makes up; replay_main.cc calls it with files, in any build.

/// Runs one input. Returns 0, or ends the process by fuzz::fail.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size);

namespace vorn::fuzz {

/// Prints what is wrong and aborts, which libFuzzer takes as a find.
[[noreturn]] void fail(const std::string& what);

/// Length in bytes of each line; \n, \r and the two together end one.
std::vector<std::size_t> line_lengths(const std::string& text);

}  // namespace vorn::fuzz

#endif  // VORN_FUZZ_FUZZER_H
