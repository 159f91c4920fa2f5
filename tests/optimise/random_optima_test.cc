// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "tests/bruteforce/script_generator.h"
#include "tests/bruteforce/session.h"
#include "tests/build_kind.h"

// Random scripts with objectives through the interpreter: the best values
// against all states, models against the best values.
//
// VORN_OPTIMA sets the number of scripts for each logic, VORN_OPTIMUM_SEED the
// first seed; one script alone is VORN_OPTIMA=1 with its seed.

namespace vorn::bruteforce {
namespace {

constexpr std::uint64_t kScripts = test::kSanitized ? 8
                                   : test::kAsserts ? 100
                                                    : 600;

// With both sorts a state takes the longest.
std::uint64_t most_states(Logic logic) {
  return logic == Logic::kAll ? 1500 : 3000;
}

std::uint64_t from_environment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

// At least one script in `one_in` has a value that is not reached; 0: none has.
void run_scripts(Logic logic, std::uint64_t one_in) {
  const std::uint64_t first = from_environment("VORN_OPTIMUM_SEED", 1);
  const std::uint64_t count = from_environment("VORN_OPTIMA", kScripts);
  Tally tally;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    ScriptGenerator generator(logic, seed);
    generator.want_objectives();
    const Script script = generator.make();
    solver::ScriptOptions options;
    if (seed % 2 == 0) {
      options.engine.forgotten_bounds = {0, 0};
      options.engine.former_assumptions = {0, 0};
      options.engine.unused_terms = {0, 0};
    }
    const Verdict verdict =
        run_script(script, tally, most_states(logic), nullptr, options);
    ASSERT_EQ(verdict.problem, "") << "seed " << seed << ", after:\n"
                                   << verdict.text;
  }
  std::cout << tally.optima << " optima, " << tally.unattained
            << " unattained, " << tally.unbounded << " unbounded; "
            << tally.undecided << " undecided\n";
  // Were one kind of answer rare, little would be tested.
  if (count >= 100) {
    EXPECT_GT(tally.optima, count);
    EXPECT_LT(tally.undecided, tally.optima / 3);
    EXPECT_GT(tally.unbounded, count / 20);
    EXPECT_GT(tally.optima - tally.unbounded, count / 2);
    if (one_in > 0) {
      EXPECT_GE(tally.unattained, count / one_in);
    }
  }
}

// A value that is not the best one, or that no model has.
TEST(RandomOptimaTest, IntegerOptimaAgreeWithEnumeration) {
  run_scripts(Logic::kIntegers, 0);
}

// The same, with strict bounds: values that are approached and not reached.
TEST(RandomOptimaTest, RealOptimaAgreeWithEnumeration) {
  run_scripts(Logic::kReals, 20);
}

// The same, where integers do not reach what reals would.
TEST(RandomOptimaTest, MixedOptimaAgreeWithEnumeration) {
  run_scripts(Logic::kAll, 100);
}

}  // namespace
}  // namespace vorn::bruteforce
