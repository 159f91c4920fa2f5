// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term_store.h"
#include "tests/build_kind.h"
#include "tests/engine/statistic.h"
#include "tests/numbers/allocation_hooks.h"

// Memory that runs out in the middle of a check: at each of the first
// allocations, and then at a share of the others.

namespace vorn::solver {
namespace {

constexpr std::size_t kDenseFailures = test::kSanitized ? 30 : 150;
constexpr std::size_t kShare = test::kSanitized ? 4 : 20;

// The first allocations one by one, then ever fewer of the others.
std::size_t next_failure(std::size_t n) {
  return n < kDenseFailures ? n + 1 : n + n / kShare;
}

// Assertions with levels: reals and integers, ites, numbers past the machine
// word, and enough choice for conflicts.
class Problem {
 public:
  explicit Problem(TermStore& store) : store_(store) {
    const QNumber huge = *QNumber::from_string("1000000000000000000000000");
    for (int i = 0; i < 5; ++i) {
      xs_.push_back(store.make_symbol("x" + std::to_string(i), Sort::kInt));
    }
    const Term* r = store.make_symbol("r", Sort::kReal);
    const Term* zero = number(0);
    for (const Term* x : xs_) {
      base_.push_back(store.make_leq(zero, x));
      base_.push_back(store.make_less(x, number(4)));
    }
    base_.push_back(store.make_less(store.make_number(huge, Sort::kReal), r));
    const Term* p = store.make_symbol("p", Sort::kBool);
    const Term* ite = store.make_ite(p, xs_[0], number(2));
    base_.push_back(store.make_leq(ite, xs_[1]));
    four_ = store.make_distinct({xs_[0], xs_[1], xs_[2], xs_[3]});
    five_ = store.make_distinct(xs_);
  }

  void assert_base(Engine& engine) const {
    for (const Term* term : base_) engine.assert_term(term);
    engine.push();
    engine.assert_term(four_);
  }
  /// Consistent with the base, and not so.
  const Term* possible() const { return four_; }
  const Term* impossible() const { return five_; }
  const std::vector<const Term*>& base() const { return base_; }

 private:
  const Term* number(int value) { return store_.make_number(QNumber(value)); }

  TermStore& store_;
  std::vector<const Term*> xs_;
  std::vector<const Term*> base_;
  const Term* four_;
  const Term* five_;
};

// The right answers, by an engine that has memory.
void expect_works(Engine& engine, const Problem& problem) {
  ASSERT_EQ(engine.check(), Answer::kSat);
  EXPECT_EQ(engine.unknown_reason(), UnknownReason::kNone);
  ASSERT_TRUE(engine.bool_value(problem.possible()));
  for (const Term* term : problem.base()) ASSERT_TRUE(engine.bool_value(term));
  ASSERT_EQ(engine.check({problem.impossible()}), Answer::kUnsat);
  ASSERT_EQ(engine.failed_assumptions(), std::vector<std::size_t>{0});
  engine.push();
  engine.assert_term(problem.impossible());
  ASSERT_EQ(engine.check(), Answer::kUnsat);
  engine.pop();
  ASSERT_EQ(engine.check(), Answer::kSat);
}

enum class Before { kNothing, kCheck, kUnsatLevel };

// Fails allocation n of a check, for rising n until the check needs fewer.
void expect_survival(Before before, bool unsat) {
  std::size_t num_failures = 0;
  for (std::size_t n = 0;; n = next_failure(n)) {
    SCOPED_TRACE(n);
    TermStore store;
    const Problem problem(store);
    EngineOptions options;
    options.lemmas.dl_tlemma_kinds = 3;
    Engine engine(store, options);
    problem.assert_base(engine);
    if (before != Before::kNothing) {
      ASSERT_EQ(engine.check(), Answer::kSat);
    }
    if (before == Before::kUnsatLevel) {
      engine.push();
      engine.assert_term(problem.impossible());
      ASSERT_EQ(engine.check(), Answer::kUnsat);
      engine.pop();
    }
    const std::uint64_t counted = statistic(engine, "propagations");
    ASSERT_EQ(counted > 0, before != Before::kNothing);
    std::vector<const Term*> assumptions;
    assumptions.push_back(unsat ? problem.impossible() : problem.possible());
    Answer answer = Answer::kUnknown;
    {
      const test::FailAllocation fail(n);
      answer = engine.check(assumptions);
    }
    const bool failed = answer == Answer::kUnknown;
    if (failed) {
      ++num_failures;
      ASSERT_EQ(engine.unknown_reason(), UnknownReason::kMemout);
      // What was done does not look as if nothing was.
      ASSERT_GE(statistic(engine, "propagations"), counted);
    } else {
      ASSERT_EQ(answer, unsat ? Answer::kUnsat : Answer::kSat);
    }
    ASSERT_EQ(engine.num_levels(), 1U);
    ASSERT_NO_FATAL_FAILURE(expect_works(engine, problem));
    engine.pop();
    ASSERT_EQ(engine.check(), Answer::kSat);
    if (!failed) break;
  }
  EXPECT_GT(num_failures, 20U);
}

// A first check builds everything; what it leaves half made must go.
TEST(EngineAllocationTest, FirstCheckWithoutMemoryAnswersUnknownAndGoesOn) {
  expect_survival(Before::kNothing, false);
  expect_survival(Before::kNothing, true);
}

// A later check finds machinery that it may leave in ruins.
TEST(EngineAllocationTest, LaterCheckWithoutMemoryAnswersUnknownAndGoesOn) {
  expect_survival(Before::kCheck, true);
  expect_survival(Before::kUnsatLevel, true);
}

// The same for what runs outside of checks: here the exception passes through,
// and the call can be made again.
TEST(EngineAllocationTest, CallsOutsideOfChecksCanBeRepeated) {
  for (std::size_t n = 0;; n = next_failure(n)) {
    SCOPED_TRACE(n);
    TermStore store;
    const Problem problem(store);
    Engine engine(store);
    const bool failed = test::fails_at(n, [&] {
      engine.push();
      for (const Term* term : problem.base()) {
        if (engine.outside_fragment(term) == nullptr) engine.assert_term(term);
      }
    });
    while (engine.num_levels() > 0) engine.pop();
    ASSERT_TRUE(engine.assertions().empty());
    for (const Term* term : problem.base()) {
      ASSERT_EQ(engine.outside_fragment(term), nullptr);
    }
    problem.assert_base(engine);
    ASSERT_NO_FATAL_FAILURE(expect_works(engine, problem));
    if (!failed) break;
  }
}

// Facts are read outside of checks, too, and nobody is told if memory runs out
// there: the next check has to know of all of them all the same.
TEST(EngineAllocationTest, FactsAreReadAgainAfterFailures) {
  for (const bool fails_in_check : {false, true}) {
    std::size_t num_failures = 0;
    for (std::size_t n = 0;; n = next_failure(n)) {
      SCOPED_TRACE(n);
      TermStore store;
      const Term* x = store.make_symbol("x", Sort::kInt);
      const Term* y = store.make_symbol("y", Sort::kReal);
      std::vector<const Term*> facts;
      for (int k = 0; k < 20; ++k) {
        facts.push_back(store.make_less(store.make_number(QNumber(k)), x));
        facts.push_back(
            store.make_less(y, store.make_number(QNumber(-k), Sort::kReal)));
      }
      const Term* least = store.make_leq(x, store.make_number(QNumber(19)));
      Engine engine(store);
      const auto assert_all = [&](std::size_t first) {
        for (std::size_t k = first; k < facts.size(); ++k) {
          if (k % 10 == 5) engine.push();
          engine.assert_term(facts[k]);
        }
      };
      bool failed = false;
      if (fails_in_check) {
        assert_all(0);
        const test::FailAllocation fail(n);
        failed = engine.check() == Answer::kUnknown;
      } else {
        failed = test::fails_at(n, [&] { assert_all(0); });
        // The stack is whole, up to where that ended.
        const std::size_t done = engine.assertions().size();
        if (failed) assert_all(done);
      }
      if (failed) ++num_failures;
      ASSERT_GE(engine.assertions().size(), facts.size());
      ASSERT_EQ(engine.check({least}), Answer::kUnsat);
      ASSERT_EQ(engine.failed_assumptions(), std::vector<std::size_t>{0});
      ASSERT_EQ(engine.check(), Answer::kSat);
      for (const Term* fact : facts) ASSERT_TRUE(engine.bool_value(fact));
      while (engine.num_levels() > 0) engine.pop();
      ASSERT_EQ(engine.check({least}), Answer::kSat);
      if (!failed && n > 200) break;
    }
    EXPECT_GT(num_failures, 3U);
  }
}

// From the second model on a network keeps what the next ones need; and a level
// is left, with what that changes, also without memory.
TEST(EngineAllocationTest, FactsOfManyLevelsSurviveFailures) {
  std::size_t num_failures = 0;
  for (std::size_t n = 0;; n = next_failure(n)) {
    SCOPED_TRACE(n);
    TermStore store;
    std::vector<const Term*> xs;
    for (int i = 0; i < 12; ++i) {
      xs.push_back(store.make_symbol("x" + std::to_string(i),
                                     i % 2 == 0 ? Sort::kReal : Sort::kInt));
    }
    Engine engine(store);
    const auto open_level = [&](std::size_t i) {
      engine.push();
      engine.assert_term(store.make_less(xs[i], xs[i + 2]));
    };
    for (std::size_t i = 0; i < 6; ++i) {
      open_level(i);
      if (i == 5) break;
      ASSERT_EQ(engine.check(), Answer::kSat);
    }
    bool failed = false;
    {
      const test::FailAllocation fail(n);
      failed = engine.check() == Answer::kUnknown;
    }
    if (failed) ++num_failures;
    ASSERT_EQ(engine.check(), Answer::kSat);
    ASSERT_EQ(engine.check({store.make_less(xs[6], xs[0])}), Answer::kUnsat);
    for (std::size_t i = 6; i < 10; ++i) {
      open_level(i);
      ASSERT_EQ(engine.check(), Answer::kSat);
    }
    {
      // None of it. Under sanitizers the blocks of numbers are not kept, of
      // which the graph takes one for an edge that it forgets.
      const test::FailAllocation fail(test::kSanitized ? 1000000 : 0);
      for (int k = 0; k < 6; ++k) engine.pop();
    }
    ASSERT_EQ(engine.check(), Answer::kSat);
    for (const Term* fact : engine.assertions()) {
      ASSERT_TRUE(engine.bool_value(fact));
    }
    ASSERT_EQ(engine.check({store.make_less(xs[6], xs[0])}), Answer::kSat);
    ASSERT_EQ(engine.check({store.make_less(xs[4], xs[0])}), Answer::kUnsat);
    if (!failed && n > 20) break;
  }
  EXPECT_GT(num_failures, 5U);
}

// A block lost with each failure would add up in a process that lives on.
TEST(EngineAllocationTest, FailedChecksLoseNoMemory) {
  const auto run = [](std::size_t n) {
    TermStore store;
    const Problem problem(store);
    Engine engine(store);
    problem.assert_base(engine);
    const test::FailAllocation fail(n);
    return engine.check();
  };
  run(1000000);
  const std::ptrdiff_t live = test::num_live();
  std::size_t n = 0;
  while (run(n) == Answer::kUnknown) {
    ASSERT_EQ(test::num_live(), live) << n;
    n = next_failure(n);
  }
  EXPECT_GT(n, 100U);
}

}  // namespace
}  // namespace vorn::solver
