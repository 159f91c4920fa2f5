// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

#include "tests/build_kind.h"
#include "tests/c/c_session.h"

// Random scripts by way of C, every answer checked.
//
// VORN_C_SCRIPTS sets the number of scripts, VORN_C_SCRIPT_SEED the first seed.

namespace vorn::test {
namespace {

constexpr std::uint64_t kScripts = kSanitized ? 30 : kAsserts ? 200 : 2000;
constexpr std::uint64_t kMostStates = 1000;

std::uint64_t from_environment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

// Integers, reals and both in turn; every other script has objectives.
bruteforce::Script make_script(std::uint64_t seed) {
  constexpr bruteforce::Logic kLogics[] = {bruteforce::Logic::kIntegers,
                                           bruteforce::Logic::kReals,
                                           bruteforce::Logic::kAll};
  bruteforce::ScriptGenerator generator(kLogics[seed % 3], seed);
  if (seed % 2 == 0) generator.want_objectives();
  return generator.make();
}

// Proofs in which integers stand beside reals, deep inside of conditions: what
// the script and the steps say of these must be one term for the checker.
TEST(CScriptsTest, ProofsOfMixedSortsAreValid) {
  CTally tally;
  for (const std::uint64_t seed : {526U, 1640U}) {
    EXPECT_EQ(run_in_c(make_script(seed), kMostStates, true, tally), "");
  }
  EXPECT_GT(tally.proofs, 3U);
}

// Every third script keeps proofs.
TEST(CScriptsTest, AnswersAgreeWithEnumeration) {
  const std::uint64_t first = from_environment("VORN_C_SCRIPT_SEED", 1);
  const std::uint64_t count = from_environment("VORN_C_SCRIPTS", kScripts);
  CTally tally;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    const bruteforce::Script script = make_script(seed);

    const std::string wrong =
        run_in_c(script, kMostStates, seed / 6 % 3 == 0, tally);

    std::string text;
    for (const auto& step : script.steps) text += step.text + '\n';
    ASSERT_EQ(wrong, "") << "seed " << seed << ":\n" << text;
  }
  std::cout << tally.sat << " sat, " << tally.unsat << " unsat, " << tally.cores
            << " cores, " << tally.failed << " failed assumptions, "
            << tally.optima << " optima, " << tally.bounds << " bounds, "
            << tally.proofs << " proofs, " << tally.unproved << " without, "
            << tally.undecided << " undecided, " << tally.left_out
            << " left out\n";
  // Were one answer rare, little would be tested.
  if (count >= 200) {
    EXPECT_GT(tally.sat, count / 5);
    EXPECT_GT(tally.unsat, count / 5);
    EXPECT_GT(tally.cores, count / 50);
    EXPECT_GT(tally.failed, count / 50);
    EXPECT_GT(tally.optima, count / 10);
    EXPECT_GT(tally.bounds, count / 20);
    EXPECT_GT(tally.proofs, count / 20);
    EXPECT_LT(tally.unproved, tally.proofs / 20);
    EXPECT_LT(tally.left_out, count);
  }
}

}  // namespace
}  // namespace vorn::test
