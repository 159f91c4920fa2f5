// SPDX-License-Identifier: MIT
#include "solver/search/search.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "tests/search/oracle.h"

namespace vorn::solver::testing {
namespace {

// The empty problem is the base case of every incremental use.
TEST(SearchTest, SolveWithoutClausesIsSat) {
  Search search;

  EXPECT_EQ(search.solve(), Search::Result::kSat);
  EXPECT_TRUE(search.is_consistent());
}

// Callers map their terms to indices by counting.
TEST(SearchTest, NewVariableCountsUp) {
  Search search;

  EXPECT_EQ(search.new_variable(), 0);
  EXPECT_EQ(search.new_variable(true), 1);
  EXPECT_EQ(search.num_variables(), 2);
}

// A false input must make every answer unsat, whatever is assumed.
TEST(SearchTest, AddClauseEmptyIsInconsistent) {
  Search search;

  EXPECT_FALSE(search.add_clause({}));
  EXPECT_FALSE(search.is_consistent());
  EXPECT_EQ(search.solve(), Search::Result::kUnsat);
  EXPECT_TRUE(search.failed_assumptions().empty());
}

// Units have to be known at once: later clauses are simplified by them.
TEST(SearchTest, AddClauseUnitPropagates) {
  Search search;
  make_variables(search, 3);
  search.add_clause({negative(0), positive(1)});
  search.add_clause({negative(1), negative(2)});

  EXPECT_TRUE(search.add_clause({positive(0)}));

  EXPECT_EQ(search.value(positive(1)), Value::kTrue);
  EXPECT_EQ(search.value(positive(2)), Value::kFalse);
  EXPECT_EQ(search.level_of(2), 0);
  EXPECT_FALSE(search.add_clause({positive(2), negative(0)}));
  EXPECT_FALSE(search.is_consistent());
}

// A clause with a repeated literal is really shorter, maybe a unit.
TEST(SearchTest, AddClauseDropsRepeatedLiterals) {
  Search search;
  make_variables(search, 1);

  search.add_clause({positive(0), positive(0), positive(0)});

  EXPECT_EQ(search.value(positive(0)), Value::kTrue);
}

// A stored tautology would watch a literal and its opposite.
TEST(SearchTest, AddClauseIgnoresTautologies) {
  Search search;
  make_variables(search, 2);

  EXPECT_TRUE(search.add_clause({positive(0), positive(1), negative(0)}));

  EXPECT_EQ(search.num_given_clauses(), 0U);
}

// Assumptions hold for one call only.
TEST(SearchTest, SolveForgetsAssumptions) {
  Search search;
  make_variables(search, 2);
  search.add_clause({positive(0), positive(1)});

  EXPECT_EQ(search.solve({negative(0), negative(1)}), Search::Result::kUnsat);
  EXPECT_EQ(search.solve({negative(0)}), Search::Result::kSat);
  EXPECT_TRUE(search.model_value(positive(1)));
  EXPECT_TRUE(search.model_value(negative(0)));
  EXPECT_TRUE(search.is_consistent());
}

// The core of two opposite assumptions is the two of them.
TEST(SearchTest, SolveWithOppositeAssumptionsNamesBoth) {
  Search search;
  make_variables(search, 2);

  EXPECT_EQ(search.solve({positive(1), positive(0), negative(0)}),
            Search::Result::kUnsat);

  std::vector<Literal> core = search.failed_assumptions();
  std::sort(core.begin(), core.end());
  EXPECT_EQ(core, (std::vector<Literal>{positive(0), negative(0)}));
}

// The second time the assumption is true already: its level stays empty.
TEST(SearchTest, SolveWithRepeatedAssumptionIsSat) {
  Search search;
  make_variables(search, 1);

  EXPECT_EQ(search.solve({positive(0), positive(0)}), Search::Result::kSat);
}

// An assumption that is false for good is a core by itself.
TEST(SearchTest, SolveWithFalseAssumptionNamesIt) {
  Search search;
  make_variables(search, 2);
  search.add_clause({negative(1)});

  EXPECT_EQ(search.solve({positive(0), positive(1)}), Search::Result::kUnsat);

  EXPECT_EQ(search.failed_assumptions(), std::vector<Literal>{positive(1)});
  EXPECT_TRUE(search.is_consistent());
}

// Asking for newer variables than the model's must not read out of bounds.
TEST(SearchTest, ModelHasNoValueOfNewVariable) {
  Search search;
  ASSERT_EQ(search.solve(), Search::Result::kSat);

  const int variable = search.new_variable();
  EXPECT_FALSE(search.model_value(positive(variable)));
  EXPECT_FALSE(search.model_value(negative(variable)));
}

// Without the flag a caller cannot give up.
TEST(SearchTest, SetStopEndsSearchAndSearchCanGoOn) {
  Search search;
  make_variables(search, 56);
  const Clauses clauses = pigeonhole(8, 7);
  add_clauses(search, clauses);
  std::atomic<bool> stop{true};
  search.set_stop({&stop});

  EXPECT_EQ(search.solve(), Search::Result::kUnknown);
  EXPECT_EQ(search.statistics().decisions, 0U);

  stop = false;
  EXPECT_EQ(search.solve(), Search::Result::kUnsat);
}

// A stop in the middle must leave a state from which the next call is right.
TEST(SearchTest, SetProgressCanStopTheSearch) {
  SearchOptions options;
  options.progress_interval = 20;
  Search search(nullptr, options);
  make_variables(search, 56);
  const Clauses clauses = pigeonhole(8, 7);
  add_clauses(search, clauses);
  std::atomic<bool> stop{false};
  search.set_stop({&stop});
  std::uint64_t reported = 0;
  search.set_progress([&](const SearchStatistics& statistics) {
    reported = statistics.conflicts;
    stop = true;
  });

  for (int i = 1; i <= 5; ++i) {
    stop = false;
    ASSERT_EQ(search.solve(), Search::Result::kUnknown);
    EXPECT_EQ(reported, static_cast<std::uint64_t>(20 * i));
    EXPECT_EQ(search.statistics().conflicts, reported);
    EXPECT_EQ(search.level(), 0);
    search.check_invariants();
  }

  search.set_progress(nullptr);
  stop = false;
  EXPECT_EQ(search.solve(), Search::Result::kUnsat);
}

// Tuning reads these numbers; each technique has to show up in its own.
TEST(SearchTest, StatisticsCountTheWork) {
  Search search;
  make_variables(search, 72);
  add_clauses(search, pigeonhole(9, 8));

  ASSERT_EQ(search.solve(), Search::Result::kUnsat);

  const SearchStatistics& statistics = search.statistics();
  EXPECT_GT(statistics.decisions, 0U);
  EXPECT_GT(statistics.conflicts, 1000U);
  EXPECT_GT(statistics.propagations, statistics.conflicts);
  EXPECT_GT(statistics.restarts, 0U);
  EXPECT_GT(statistics.reductions, 0U);
  EXPECT_GT(statistics.deleted_clauses, 0U);
  EXPECT_GT(statistics.minimised_literals, 0U);
  EXPECT_EQ(statistics.learnt_clauses + 1, statistics.conflicts)
      << "all but the last conflict teach a clause";
  EXPECT_EQ(statistics.theory_conflicts, 0U);
  EXPECT_EQ(statistics.lemmas, 0U);
}

// Equal seeds must repeat a run exactly, or failures cannot be studied.
TEST(SearchTest, SameSeedRepeatsTheRun) {
  std::vector<std::uint64_t> conflicts;
  for (const std::uint64_t seed : {5U, 5U, 6U}) {
    SearchOptions options;
    options.seed = seed;
    Search search(nullptr, options);
    Random random(1);
    make_variables(search, 120);
    add_clauses(search, random_3_sat(random, 120, 4.3));
    search.solve();
    conflicts.push_back(search.statistics().conflicts);
  }
  EXPECT_EQ(conflicts[0], conflicts[1]);
  EXPECT_NE(conflicts[0], conflicts[2]);
}

}  // namespace
}  // namespace vorn::solver::testing
