// SPDX-License-Identifier: MIT
#include "solver/smtlib/operators.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vorn::solver {
namespace {

// A name that maps to no operator would make a predefined function unknown.
TEST(OperatorBuilderTest, OperatorNameInvertsTheTable) {
  for (const auto& [name, op] : kOperatorNames) {
    EXPECT_EQ(operator_name(op), name);
  }
  for (const auto& [name, op] : kArithmeticNames) {
    EXPECT_EQ(operator_name(op), name);
  }
}

// Only numbers may change their sort: a symbol that did would be another one.
// In a logic with both sorts it becomes part of a term.
TEST(OperatorBuilderTest, AsSortTurnsOnlyIntNumbersIntoReals) {
  TermStore store;
  OperatorBuilder builder(store);
  const Term* three = store.make_number(3, Sort::kInt);
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* p = store.make_symbol("p", Sort::kBool);
  EXPECT_EQ(builder.as_sort(three, Sort::kReal),
            store.make_number(3, Sort::kReal));
  EXPECT_EQ(builder.as_sort(three, Sort::kInt), three);
  EXPECT_EQ(builder.as_sort(x, Sort::kReal), nullptr);
  EXPECT_EQ(builder.as_sort(p, Sort::kInt), nullptr);
  EXPECT_EQ(builder.as_sort(store.make_number(3, Sort::kReal), Sort::kInt),
            nullptr);
  builder.set_mixed(true);
  const Term* converted = builder.as_sort(x, Sort::kReal);
  ASSERT_NE(converted, nullptr);
  EXPECT_EQ(converted->sort, Sort::kReal);
  EXPECT_EQ(builder.as_sort(p, Sort::kReal), nullptr);
  EXPECT_EQ(builder.as_sort(converted, Sort::kInt), nullptr);
}

// A wide application costs its width once, not its square.
TEST(OperatorBuilderTest, ApplyToManyArgumentsMakesFewTerms) {
  TermStore store;
  OperatorBuilder builder(store);
  std::vector<PlacedTerm> arguments;
  for (int i = 0; i < 1000; ++i) {
    arguments.push_back(
        {store.make_symbol("x" + std::to_string(i), Sort::kInt), {}});
  }
  const std::size_t before = store.size();
  ScriptError error;
  ASSERT_NE(builder.apply(Operator::kDistinct, {}, arguments.data(),
                          arguments.size(), error),
            nullptr);
  EXPECT_EQ(store.size(), before + 1);
  ASSERT_NE(builder.apply(Operator::kLeq, {}, arguments.data(),
                          arguments.size(), error),
            nullptr);
  EXPECT_EQ(store.size(), before + 1 + 999 + 1);
}

}  // namespace
}  // namespace vorn::solver
