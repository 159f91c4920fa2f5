// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

#include "tests/bruteforce/script_generator.h"
#include "tests/bruteforce/session.h"
#include "tests/build_kind.h"

// Random scripts through the interpreter, every answer checked.
//
// VORN_FORMULAS sets the number of scripts for each logic, VORN_FORMULA_SEED
// the first seed; one script alone is VORN_FORMULAS=1 with its seed.

namespace vorn::bruteforce {
namespace {

constexpr std::uint64_t kScripts = test::kSanitized ? 150
                                   : test::kAsserts ? 1500
                                                    : 5000;

// A few scripts have that many states that they alone would take minutes.
constexpr std::uint64_t kMostStates = 10000;

std::uint64_t from_environment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

void run_scripts(Logic logic) {
  const std::uint64_t first = from_environment("VORN_FORMULA_SEED", 1);
  const std::uint64_t count = from_environment("VORN_FORMULAS", kScripts);
  Tally tally;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    const Script script = ScriptGenerator(logic, seed).make();
    // Every other session clears away at once what nothing refers to.
    solver::ScriptOptions options;
    if (seed % 2 == 0) {
      options.engine.forgotten_bounds = {0, 0};
      options.engine.former_assumptions = {0, 0};
      options.engine.unused_terms = {0, 0};
    }
    const Verdict verdict =
        run_script(script, tally, kMostStates, nullptr, options);
    ASSERT_EQ(verdict.problem, "") << "seed " << seed << ", after:\n"
                                   << verdict.text;
  }
  // Were one answer rare, little would be tested.
  if (count >= 200) {
    const std::uint64_t checks = tally.sat + tally.unsat;
    EXPECT_GE(checks, count);
    EXPECT_LT(tally.undecided, checks / 50);
    EXPECT_GT(tally.sat, checks / 5);
    EXPECT_GT(tally.unsat, checks / 5);
    EXPECT_GT(tally.cores, count / 50);
    EXPECT_GT(tally.failed_assumptions, count / 50);
    EXPECT_GT(tally.counters["theory conflicts"], count / 4);
    EXPECT_GT(tally.counters["implied literals"], count);
    EXPECT_GT(tally.counters["explained literals"], count / 50);
    EXPECT_GT(tally.counters["lemmas used"], count / 100);
  }
}

// Integer difference logic: a wrong verdict, model, value or core.
TEST(BruteForceTest, IntegerScriptsAgreeWithEnumeration) {
  run_scripts(Logic::kIntegers);
}

// Real difference logic: strict bounds and fractions on top.
TEST(BruteForceTest, RealScriptsAgreeWithEnumeration) {
  run_scripts(Logic::kReals);
}

// Both in one script: the two share the graph's zero.
TEST(BruteForceTest, MixedScriptsAgreeWithEnumeration) {
  run_scripts(Logic::kAll);
}

}  // namespace
}  // namespace vorn::bruteforce
