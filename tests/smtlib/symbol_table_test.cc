// SPDX-License-Identifier: MIT
#include "solver/smtlib/symbol_table.h"

#include <gtest/gtest.h>

#include <string>

#include "solver/terms/term_store.h"

namespace vorn::solver {
namespace {

class SymbolTableTest : public ::testing::Test {
 protected:
  bool define(const std::string& name, const Term* term) {
    Meaning meaning;
    meaning.term = term;
    return table_.define(name, meaning);
  }
  const Term* term_of(const std::string& name) const {
    const Meaning* meaning = table_.find(name);
    return meaning == nullptr ? nullptr : meaning->term;
  }

  TermStore store_;
  const Term* x_ = store_.make_symbol("x", Sort::kInt);
  const Term* y_ = store_.make_symbol("y", Sort::kInt);
  SymbolTable table_;
};

// Scripts cannot give predefined names a new meaning.
TEST_F(SymbolTableTest, DefineOfPredefinedNameFails) {
  EXPECT_FALSE(define("and", x_));
  ASSERT_NE(table_.find("<="), nullptr);
  EXPECT_EQ(table_.find("<=")->op, Operator::kLeq);
}

// A name means one thing; the second definition must not win.
TEST_F(SymbolTableTest, DefineTwiceKeepsTheFirst) {
  EXPECT_TRUE(define("a", x_));
  EXPECT_FALSE(define("a", y_));
  EXPECT_EQ(term_of("a"), x_);
}

// What an error or a pop takes back is what was defined since, and only that.
TEST_F(SymbolTableTest, RollbackForgetsWhatCameSince) {
  define("a", x_);
  const std::size_t mark = table_.mark();
  define("b", y_);
  define("c", y_);
  table_.rollback(mark);
  EXPECT_EQ(term_of("a"), x_);
  EXPECT_EQ(term_of("b"), nullptr);
  EXPECT_EQ(term_of("c"), nullptr);
  EXPECT_TRUE(define("b", x_));
  EXPECT_EQ(term_of("b"), x_);
}

// Sorts have names of their own, and go with the level that named them.
TEST_F(SymbolTableTest, DefineSortLastsUntilRolledBack) {
  EXPECT_FALSE(table_.define_sort("Int", Sort::kReal));
  EXPECT_TRUE(table_.define_sort("T", Sort::kInt));
  EXPECT_FALSE(table_.define_sort("T", Sort::kReal));
  const std::size_t mark = table_.mark();
  EXPECT_TRUE(table_.define_sort("U", Sort::kBool));
  EXPECT_TRUE(define("T", x_));
  EXPECT_TRUE(define("U", y_));
  ASSERT_NE(table_.find_sort("U"), nullptr);
  EXPECT_EQ(*table_.find_sort("U"), Sort::kBool);
  table_.rollback(mark);
  EXPECT_EQ(table_.find_sort("U"), nullptr);
  EXPECT_EQ(term_of("T"), nullptr);
  EXPECT_EQ(*table_.find_sort("T"), Sort::kInt);
  EXPECT_EQ(table_.find_sort("Int"), nullptr);
}

// Inner bindings hide outer ones and the globals until they end.
TEST_F(SymbolTableTest, BindHidesUntilUnbound) {
  define("a", x_);
  table_.bind("a", y_);
  const std::size_t outer = table_.num_bound();
  table_.bind("a", store_.make_bool(true));
  EXPECT_EQ(term_of("a"), store_.make_bool(true));
  table_.unbind_to(outer);
  EXPECT_EQ(term_of("a"), y_);
  EXPECT_EQ(table_.find_global("a")->term, x_);
  table_.unbind_to(0);
  EXPECT_EQ(term_of("a"), x_);
}

// Many bindings and back: the table of variables is thrown away and made anew.
TEST_F(SymbolTableTest, UnbindOfManyLeavesAUsableTable) {
  for (int i = 0; i < 10000; ++i) table_.bind("v" + std::to_string(i), x_);
  table_.unbind_to(0);
  EXPECT_EQ(term_of("v5"), nullptr);
  table_.bind("v5", y_);
  EXPECT_EQ(term_of("v5"), y_);
}

}  // namespace
}  // namespace vorn::solver
