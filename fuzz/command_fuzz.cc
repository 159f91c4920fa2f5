// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/byte_reader.h"
#include "fuzz/fuzzer.h"
#include "tests/bruteforce/script_generator.h"
#include "tests/bruteforce/session.h"

// Bytes as the choices of the generator of scripts, so that every input is a
// script of difference logic with few variables and small constants; and every
// answer to it checked: verdicts, models, values, cores, failed assumptions.

namespace {

// Enough for nearly all scripts, and a fraction of a second for the others.
constexpr std::uint64_t kMostStates = 3000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using namespace vorn::bruteforce;
  vorn::fuzz::ByteReader input(data, size);
  constexpr Logic kLogics[] = {Logic::kIntegers, Logic::kReals, Logic::kAll};
  const Logic logic = kLogics[input.below(3)];
  const Script script = ScriptGenerator(logic, [&input](unsigned bound) {
                          return input.below(bound);
                        }).make();
  Tally tally;
  const Verdict verdict = run_script(script, tally, kMostStates);
  if (!verdict.problem.empty()) {
    vorn::fuzz::fail(verdict.problem + "\nafter:\n" + verdict.text);
  }
  return 0;
}
