// SPDX-License-Identifier: MIT
#include "solver/smtlib/assertion_stack.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorn::solver {
namespace {

using Indices = std::vector<std::size_t>;

class AssertionStackTest : public ::testing::Test {
 protected:
  void add(const Term* term, const std::optional<std::string>& name) {
    ScriptFormula assertion;
    assertion.term = term;
    if (name) assertion.name = std::make_shared<const std::string>(*name);
    stack_.add(std::move(assertion));
  }

  TermStore store_;
  const Term* p_ = store_.make_symbol("p", Sort::kBool);
  const Term* q_ = store_.make_symbol("q", Sort::kBool);
  AssertionStack stack_{store_, {}, true};
};

// Two names of one term: the core names it once, and stays right.
TEST_F(AssertionStackTest, CheckWithRepeatedTermsNamesTheFirst) {
  add(p_, "a");
  add(p_, "b");
  ASSERT_EQ(stack_.check({store_.make_not(p_), store_.make_not(p_)}),
            Answer::kUnsat);
  EXPECT_EQ(stack_.core(), Indices{0});
  EXPECT_EQ(stack_.failed_assumptions(), Indices{0});
  EXPECT_EQ(stack_.settle_core(true), AssertionStack::CoreState::kConfirmed);
  EXPECT_EQ(stack_.core(), Indices{0});
}

// Assumptions alone can clash; then no assertion is to blame.
TEST_F(AssertionStackTest, CheckOfClashingAssumptionsGivesAnEmptyCore) {
  add(q_, "a");
  ASSERT_EQ(stack_.check({p_, store_.make_not(p_)}), Answer::kUnsat);
  EXPECT_EQ(stack_.core(), Indices{});
  EXPECT_EQ(stack_.failed_assumptions(), (Indices{0, 1}));
  EXPECT_EQ(stack_.settle_core(true), AssertionStack::CoreState::kConfirmed);
}

// A named assertion that is false by itself is a core by itself.
TEST_F(AssertionStackTest, CheckOfFalseAssertionBlamesIt) {
  add(q_, "a");
  add(store_.make_bool(false), "b");
  ASSERT_EQ(stack_.check({}), Answer::kUnsat);
  EXPECT_EQ(stack_.core(), Indices{1});
}

// Popped assertions neither hold nor are named any more.
TEST_F(AssertionStackTest, PopTakesNamedAssertionsBack) {
  add(p_, "a");
  stack_.push();
  add(store_.make_not(p_), "b");
  add(q_, std::nullopt);
  EXPECT_EQ(stack_.check({}), Answer::kUnsat);
  EXPECT_EQ(stack_.core(), (Indices{0, 1}));
  stack_.pop();
  EXPECT_EQ(stack_.check({store_.make_not(q_)}), Answer::kSat);
  EXPECT_EQ(stack_.assertions().size(), 1U);
}

// What a stopped check leaves is still the core that was reported.
TEST_F(AssertionStackTest, SettleCoreWhenStoppedKeepsTheReportedCore) {
  add(p_, "a");
  add(store_.make_not(p_), "b");
  ASSERT_EQ(stack_.check({}), Answer::kUnsat);
  const std::atomic<bool> stop{true};
  stack_.engine().set_stop(&stop);
  const AssertionStack::CoreState state = stack_.settle_core(true);
  // A clash at level 0 may be seen before the flag is.
  EXPECT_NE(state, AssertionStack::CoreState::kRefuted);
  EXPECT_EQ(stack_.core(), (Indices{0, 1}));
}

}  // namespace
}  // namespace vorn::solver
