// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tests/bruteforce/script_generator.h"
#include "tests/bruteforce/session.h"
#include "tests/build_kind.h"
#include "tests/proof/evidence_judge.h"

// Random scripts with proofs kept: every unsat comes with a proof, every sat
// with a model, every core with a proof from it alone, every best value with
// a proof that there is no better one, and the checker accepts them.
// VORN_FORMULAS sets the number of scripts for each logic.

namespace vorn::bruteforce {
namespace {

constexpr std::uint64_t kScripts = test::kSanitized ? 150 : 1000;

void run_scripts(Logic logic, std::uint64_t scripts = kScripts,
                 std::size_t threads = 1) {
  const char* given = std::getenv("VORN_FORMULAS");
  const std::uint64_t count =
      given == nullptr ? scripts : std::strtoull(given, nullptr, 10);
  Tally tally;
  EvidenceJudge judge;
  constexpr std::uint64_t kMostStates = 1;  // enumeration is another test's
  for (std::uint64_t seed = 1; seed <= count; ++seed) {
    ScriptGenerator generator(logic, seed, true);
    const bool has_objectives = seed % 3 == 0;
    if (has_objectives) generator.want_objectives();
    const Script script = generator.make();
    // Every other session clears away at once what nothing refers to.
    solver::ScriptOptions options;
    options.engine.portfolio.threads = threads;
    options.engine.portfolio.first_conflict = has_objectives ? 1 : 0;
    if (seed % 2 == 0) {
      options.engine.forgotten_bounds = {0, 0};
      options.engine.former_assumptions = {0, 0};
    }
    const Verdict verdict =
        run_script(script, tally, kMostStates, &judge, options);
    ASSERT_EQ(verdict.problem, "") << "seed " << seed << ", after:\n"
                                   << verdict.text;
  }
  if (count < 200) return;
  EXPECT_GT(tally.unsat, count / 5);
  EXPECT_GT(tally.cores, count / 50);
  EXPECT_GT(tally.proved_optima, count / 10);
  if (threads > 1) {
    EXPECT_GT(tally.counters["answers of other threads"], count / 20);
  }
}

TEST(RandomProofTest, IntegerAnswersAreProved) {
  run_scripts(Logic::kIntegers);
}

TEST(RandomProofTest, RealAnswersAreProved) {
  run_scripts(Logic::kReals);
}

TEST(RandomProofTest, MixedAnswersAreProved) {
  run_scripts(Logic::kAll);
}

// An answer of another search comes with a proof of that search.
TEST(RandomProofTest, AnswersOfThreadsAreProved) {
  run_scripts(Logic::kAll, kScripts / 4, 3);
}

}  // namespace
}  // namespace vorn::bruteforce
