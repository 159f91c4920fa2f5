// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "solver/search/clause_exchange.h"
#include "solver/search/literal.h"
#include "solver/smtlib/options.h"
#include "tests/bruteforce/script_generator.h"
#include "tests/bruteforce/session.h"
#include "tests/build_kind.h"
#include "tests/threads/in_threads.h"

// Searches over one problem in several threads. VORN_FORMULAS sets the number
// of scripts.

namespace vorn::solver {
namespace {

constexpr std::uint64_t kScripts = test::kSanitized ? 20 : 150;

// A clause from which its sender, and its place among the sender's, can be
// read; of any length up to 6.
std::vector<Literal> clause_of(std::size_t sender, int number) {
  std::vector<Literal> clause = {Literal(static_cast<int>(sender), false)};
  for (int k = 0; k <= number % 4; ++k) {
    clause.emplace_back(10 + number, k % 2 == 1);
  }
  return clause;
}

// Clauses that are lost, come twice, or are read before they are whole.
TEST(PortfolioThreadsTest, EachSearchHearsAllClausesOfTheOthersInOrder) {
  constexpr int kSearches = 4;
  constexpr int kClauses = test::kSanitized ? 3000 : 30000;
  ClauseExchange exchange(kSearches, 10 + kClauses, {});
  std::vector<std::vector<std::vector<std::vector<Literal>>>> heard(
      kSearches, std::vector<std::vector<std::vector<Literal>>>(kSearches));

  test::in_threads(kSearches, [&](int thread) {
    const auto own = static_cast<std::size_t>(thread);
    ClauseExchange::Port& port = exchange.port(own);
    std::vector<Literal> clause;
    int glue = 0;
    int sent = 0;
    std::size_t missing = static_cast<std::size_t>(kClauses) * (kSearches - 1);
    while (missing > 0 || sent < kClauses) {
      for (int k = 0; k < 100 && sent < kClauses; ++k) {
        port.publish(clause_of(own, sent++), 1);
      }
      while (port.next(clause, glue)) {
        const int sender = clause.front().variable();
        heard[own][static_cast<std::size_t>(sender)].push_back(clause);
        --missing;
      }
    }
    port.close();
  });

  for (std::size_t own = 0; own < kSearches; ++own) {
    for (std::size_t sender = 0; sender < kSearches; ++sender) {
      const auto& clauses = heard[own][sender];
      ASSERT_EQ(clauses.size(), own == sender ? 0U : std::size_t{kClauses});
      for (std::size_t k = 0; k < clauses.size(); ++k) {
        ASSERT_EQ(clauses[k], clause_of(sender, static_cast<int>(k)));
      }
    }
  }
}

// What only one search knows must not reach another.
TEST(PortfolioThreadsTest, OnlyShortClausesOverSharedVariablesAreTold) {
  ClauseExchange exchange(2, 100, {2, 3, 5});
  ClauseExchange::Port& port = exchange.port(0);
  const auto clause = [](int size, int last) {
    std::vector<Literal> literals;
    for (int k = 1; k < size; ++k) literals.emplace_back(k, true);
    literals.emplace_back(last, false);
    return literals;
  };
  port.publish(clause(2, 99), 9);
  port.publish(clause(2, 100), 1);
  port.publish(clause(3, 99), 4);
  port.publish(clause(5, 99), 3);
  port.publish(clause(6, 99), 1);

  std::vector<Literal> heard;
  int glue = 0;
  ASSERT_TRUE(exchange.port(1).next(heard, glue));
  EXPECT_EQ(heard, clause(2, 99));
  EXPECT_EQ(glue, 9);
  ASSERT_TRUE(exchange.port(1).next(heard, glue));
  EXPECT_EQ(heard, clause(5, 99));
  EXPECT_FALSE(exchange.port(1).next(heard, glue));
  EXPECT_FALSE(exchange.port(0).next(heard, glue));
}

// A wrong verdict, model, value or core where several searches share what they
// learn, in sessions with scopes, assumptions and objectives.
TEST(PortfolioThreadsTest, ScriptsAgreeWithEnumeration) {
  using bruteforce::Logic;
  const char* const given = std::getenv("VORN_FORMULAS");
  const std::uint64_t count =
      given == nullptr ? kScripts : std::strtoull(given, nullptr, 10);
  constexpr std::uint64_t kMostStates = 1000;
  bruteforce::Tally tally;
  // Were the others always too late, nothing of theirs would be tested. How
  // often they are is up to the machine, which is given more scripts if need
  // be, without objectives, which take longest.
  const auto others_in_time = [&] {
    return tally.counters["answers of other threads"] > count / 20 &&
           tally.counters["clauses told by other threads"] > count / 100;
  };
  for (std::uint64_t seed = 1;
       seed <= count || (!others_in_time() && seed <= 40 * count); ++seed) {
    bruteforce::ScriptGenerator generator(
        seed % 2 == 0 ? Logic::kIntegers : Logic::kAll, seed);
    const bool has_objectives = seed % 3 == 0 && seed <= count;
    if (has_objectives) generator.want_objectives();
    ScriptOptions options;
    options.engine.portfolio.threads = 3;
    options.engine.search.exchange_interval = 1;
    // Most of the many questions on the way to a best value are no question.
    options.engine.portfolio.first_conflict = has_objectives ? 1 : 0;
    const bruteforce::Verdict verdict = bruteforce::run_script(
        generator.make(), tally, kMostStates, nullptr, options);
    ASSERT_EQ(verdict.problem, "") << "seed " << seed << ", after:\n"
                                   << verdict.text;
  }
  EXPECT_GT(tally.sat, count / 10);
  EXPECT_GT(tally.unsat, count / 10);
  EXPECT_TRUE(others_in_time());
}

}  // namespace
}  // namespace vorn::solver
