// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/byte_reader.h"
#include "fuzz/fuzzer.h"
#include "tests/bruteforce/script_generator.h"
#include "tests/bruteforce/session.h"
#include "tests/proof/evidence_judge.h"

// Bytes as the choices of the generator of scripts, so that every input is a
// script of difference logic with few variables and small constants; and every
// answer to it checked: verdicts, models, values, cores, failed assumptions; of
// half of them proofs, too, by the checker.

namespace {

// Enough for nearly all scripts, and a fraction of a second for the others.
constexpr std::uint64_t kMostStates = 3000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using namespace vorn::bruteforce;
  vorn::fuzz::ByteReader input(data, size);
  constexpr Logic kLogics[] = {Logic::kIntegers, Logic::kReals, Logic::kAll};
  const unsigned kind = input.below(6);
  const bool wants_proofs = kind >= 3;
  const auto choose = [&input](unsigned bound) { return input.below(bound); };
  const Script script =
      ScriptGenerator(kLogics[kind % 3], choose, wants_proofs).make();
  Tally tally;
  EvidenceJudge judge;
  const Verdict verdict =
      run_script(script, tally, kMostStates, wants_proofs ? &judge : nullptr);
  if (!verdict.problem.empty()) {
    vorn::fuzz::fail(verdict.problem + "\nafter:\n" + verdict.text);
  }
  return 0;
}
