// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/engine/difference_theory.h"
#include "solver/search/literal.h"
#include "solver/search/search.h"
#include "solver/search/theory.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term_store.h"
#include "tests/scheduling/shop.h"
#include "tests/scheduling/task_orders.h"
#include "vorn/numbers/d_number.h"

// Each clause that the theory hands to the search, one by one.

namespace vorn::solver {
namespace {

using testing::kAllCases;
using testing::kWhole;
using testing::Random;
using testing::scaled_few;
using testing::Shop;
using testing::ShopBound;
using testing::ShopClause;

/// A theory between a search and the one under test, which looks at what is
/// passed on.
class WatchedTheory final : public Theory {
 public:
  explicit WatchedTheory(DifferenceTheory& theory) : theory_(theory) {}

  void assigned(Literal literal) override { theory_.assigned(literal); }
  void new_level() override { theory_.new_level(); }
  void backtrack(int level) override { theory_.backtrack(level); }
  void retract(Literal literal) override { theory_.retract(literal); }
  bool propagate(std::vector<Literal>& implied,
                 std::vector<Literal>& conflict) override {
    const bool result = theory_.propagate(implied, conflict);
    if (!result) check(conflict, Literal());
    return result;
  }
  void explain(Literal literal, std::vector<Literal>& reason) override {
    theory_.explain(literal, reason);
    check(reason, literal);
  }
  bool final_check(std::vector<Literal>& conflict) override {
    const bool result = theory_.final_check(conflict);
    if (!result) check(conflict, Literal());
    return result;
  }
  bool next_lemma(std::vector<Literal>& clause) override {
    return theory_.next_lemma(clause);
  }

  /// What literals stand for.
  void set_bound(Literal literal, const ShopBound& bound) {
    bounds_[literal.code()] = bound;
    // Of integers.
    bounds_[(~literal).code()] = {bound.y, bound.x, -bound.weight - kWhole};
  }
  /// As above.
  void set_boolean(Literal literal, int number) {
    bools_[literal.code()] = {{}, {number}, {}};
    bools_[(~literal).code()] = {{number}, {}, {}};
  }
  /// What explanations may use: clauses that separate tasks, and Booleans that
  /// are true for good.
  Shop separations;

  /// How many clauses were looked at.
  std::size_t num_clauses() const { return num_clauses_; }

 private:
  void check(const std::vector<Literal>& clause, Literal implied) {
    if (::testing::Test::HasFatalFailure()) return;
    ++num_clauses_;
    if (implied.is_defined()) {
      ASSERT_NE(std::find(clause.begin(), clause.end(), implied), clause.end());
    }
    Shop against = separations;
    for (const Literal literal : clause) {
      // What the theory says must be about what is the case.
      const int code = (~literal).code();
      const auto bound = bounds_.find(code);
      if (bound != bounds_.end()) {
        against.clauses.push_back({{}, {}, {bound->second}});
      } else {
        ASSERT_EQ(bools_.count(code), 1U);
        against.clauses.push_back(bools_.at(code));
      }
    }
    ASSERT_FALSE(has_schedule(against)) << "a clause that need not hold";
  }

  DifferenceTheory& theory_;
  std::map<int, ShopBound> bounds_;
  std::map<int, ShopClause> bools_;
  std::size_t num_clauses_ = 0;
};

/// What machines have found.
struct FoundByRules {
  std::size_t clauses = 0;
  MachinePropagation::Counters counters;
};

/// A random shop whose windows are chosen by the search, in three ways: all
/// tasks are there, some are there if a Boolean is true, or all separations
/// hold while a selector is true.
class ChosenWindows {
 public:
  enum class Kind { kPlain, kPresences, kSelector };

  ChosenWindows(unsigned seed, Kind kind)
      : random_(seed),
        kind_(kind),
        theory_(store_, problem_, {}),
        watched_(theory_),
        search_(&watched_) {
    theory_.attach(&search_);
  }

  void run(FoundByRules& found) {
    constexpr int kBools = 6;
    const int n = random_.between(4, 6);
    watched_.separations.num_tasks = shop_.num_tasks = n;
    watched_.separations.num_bools = shop_.num_bools = kBools;
    if (kind_ == Kind::kSelector) {
      problem_.open_scope();
      bools_ = problem_.selectors();
    }
    for (int b = 0; b < kBools; ++b) {
      if (bools_.size() == static_cast<std::size_t>(b)) {
        bools_.emplace_back(problem_.new_variable(), false);
      }
      watched_.set_boolean(boolean(b), b);
    }
    theory_.update();
    std::vector<int> durations;
    int work = 0;
    for (int task = 0; task < n; ++task) {
      durations.push_back(random_.between(1, 5));
      work += durations.back();
    }
    const int horizon = work + random_.pick(3);
    for (int task = 0; task < n; ++task) {
      const int duration = durations[static_cast<std::size_t>(task)];
      add({{}, {}, {from(task, 0)}});
      add({{}, {}, {until(task, horizon - duration)}});
      for (int other = 0; other < task; ++other) {
        const int gap = durations[static_cast<std::size_t>(other)];
        // Times can be longer after some.
        separate(task, other, duration + random_.pick(6) / 5,
                 gap + random_.pick(6) / 5);
      }
    }
    for (int k = random_.between(n, 7 * n); k > 0; --k) {
      ShopClause clause;
      (random_.pick(2) == 0 ? clause.untrue : clause.true_ones)
          .push_back(random_.pick(kBools));
      for (int b = random_.between(1, 2); b > 0; --b) {
        const int task = random_.pick(n);
        const int time = random_.pick(horizon * 2 / 3);
        clause.bounds.push_back(random_.pick(2) == 0
                                    ? from(task, time)
                                    : until(task, horizon - time));
      }
      add(clause);
    }
    Problem::Clause clause;
    while (problem_.take_clause(clause)) search_.add_clause(clause.literals);
    // What is true for good need not be said.
    for (int b = 0; b < kBools; ++b) {
      if (search_.value(boolean(b)) != Value::kTrue) continue;
      watched_.separations.clauses.push_back({{}, {b}, {}});
    }
    theory_.start_check();
    theory_.find_machines();
    std::vector<Literal> assumptions = problem_.selectors();
    if (kind_ == Kind::kPresences && random_.pick(4) != 0) {
      // Else the search would rather have most tasks away.
      assumptions = {bools_[0], bools_[1], bools_[2]};
      random_.shuffle(assumptions);
    }
    const Search::Result result = search_.solve(assumptions);
    if (::testing::Test::HasFatalFailure()) return;
    for (const Literal assumption : assumptions) {
      const auto b = std::find(bools_.begin(), bools_.end(), assumption);
      shop_.clauses.push_back({{}, {static_cast<int>(b - bools_.begin())}, {}});
    }
    EXPECT_EQ(result, has_schedule(shop_) ? Search::Result::kSat
                                          : Search::Result::kUnsat);
    found.clauses += watched_.num_clauses();
    if (theory_.machines() == nullptr) return;
    const MachinePropagation::Counters counters =
        theory_.machines()->counters();
    found.counters.overloads += counters.overloads;
    found.counters.crossings += counters.crossings;
    found.counters.orders += counters.orders;
    found.counters.edges += counters.edges;
    found.counters.not_first += counters.not_first;
    found.counters.preceded += counters.preceded;
    found.counters.explanations += counters.explanations;
  }

 private:
  static ShopBound from(int task, int time) {
    return {-1, task, -time * kWhole};
  }
  static ShopBound until(int task, int time) {
    return {task, -1, time * kWhole};
  }

  void separate(int a, int b, int after_a, int after_b) {
    ShopClause clause{
        {}, {}, {{a, b, -after_a * kWhole}, {b, a, -after_b * kWhole}}};
    if (kind_ == Kind::kSelector) clause.untrue.push_back(0);
    if (kind_ == Kind::kPresences) {
      for (const int task : {a, b}) {
        if (task % 2 == 0) clause.untrue.push_back(task / 2);
      }
    }
    add(clause);
    watched_.separations.clauses.push_back(clause);
  }

  void add(const ShopClause& clause) {
    shop_.clauses.push_back(clause);
    std::vector<Literal> literals;
    for (const int b : clause.untrue) literals.push_back(~boolean(b));
    for (const int b : clause.true_ones) literals.push_back(boolean(b));
    for (const ShopBound& bound : clause.bounds) {
      const auto weight = static_cast<int>(bound.weight / kWhole);
      const DifferenceBound difference{node(bound.y), node(bound.x),
                                       la::DNumber(weight, 0)};
      literals.push_back(problem_.literal_of(difference, true));
      theory_.update();
      watched_.set_bound(literals.back(), bound);
    }
    search_.add_clause(literals);
  }
  Literal boolean(int b) const { return bools_[static_cast<std::size_t>(b)]; }
  const Term* node(int task) {
    if (task < 0) return nullptr;
    return store_.make_symbol("t" + std::to_string(task), Sort::kInt);
  }

  Random random_;
  Kind kind_;
  TermStore store_;
  Problem problem_;
  DifferenceTheory theory_;
  WatchedTheory watched_;
  Search search_;
  Shop shop_;
  std::vector<Literal> bools_;
};

void expect_clauses_to_hold(ChosenWindows::Kind kind, int cases) {
  FoundByRules found;
  for (int seed = 0; seed < cases; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ChosenWindows(static_cast<unsigned>(seed), kind).run(found);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(found.clauses, static_cast<std::size_t>(cases) / 2);
  EXPECT_GT(found.counters.explanations, 0U);
  if (!kAllCases) return;
  EXPECT_GT(found.counters.overloads, 0U);
  EXPECT_GT(found.counters.crossings, 0U);
  EXPECT_GT(found.counters.edges, 0U);
  EXPECT_GT(found.counters.not_first, 0U);
  EXPECT_GT(found.counters.preceded, 0U);
  // Orders of tasks that need not be there are left to bounds.
  EXPECT_GT(found.counters.orders, 0U);
}

// A time that rules have raised rests on the times before, of the same task
// too. A clause that leaves out a decision that it rests on does not hold, and
// once it is learnt, schedules are lost.
TEST(MachineExplanationsTest, ClausesHoldWhereTheSearchChoosesWindows) {
  expect_clauses_to_hold(ChosenWindows::Kind::kPlain, scaled_few(2500));
}

// The same, where a clause must say that a task is there.
TEST(MachineExplanationsTest, ClausesNameWhatPutsTasksThere) {
  expect_clauses_to_hold(ChosenWindows::Kind::kPresences, scaled_few(2500));
}

// The same, where a clause must say that the scope of the separations is open.
TEST(MachineExplanationsTest, ClausesNameTheScopeOfTheSeparations) {
  expect_clauses_to_hold(ChosenWindows::Kind::kSelector, scaled_few(1500));
}

}  // namespace
}  // namespace vorn::solver
