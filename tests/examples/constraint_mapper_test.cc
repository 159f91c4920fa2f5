// SPDX-License-Identifier: MIT
#include "examples/constraint_mapper.h"

#include <gtest/gtest.h>

#include "solver/terms/term_store.h"

namespace vorn::solver {
namespace {

class ConstraintMapperTest : public ::testing::Test {
 protected:
  TermStore store;
  ConstraintMapper mapper;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  const Term* atom = store.make_leq(x, y);
};

// Node 0 is the constant 0; a variable there would be taken for it.
TEST_F(ConstraintMapperTest, AddVariableNumbersFromOneAndShares) {
  EXPECT_EQ(mapper.num_variables(), 0);
  EXPECT_EQ(mapper.node_of(x), 0);

  EXPECT_EQ(mapper.add_variable(x), 1);
  EXPECT_EQ(mapper.add_variable(y), 2);
  EXPECT_EQ(mapper.add_variable(x), 1);

  const la::LinearTermMapper& base = mapper;
  EXPECT_EQ(mapper.num_variables(), 2);
  EXPECT_EQ(mapper.node_of(y), 2);
  EXPECT_EQ(base.term(1), x);
  EXPECT_EQ(base.term(2), y);
}

// The graph reads the flag out of the pointer and states lemmas with it. Id 0
// must stay free: its edge id reads as no edge in the lemma search.
TEST_F(ConstraintMapperTest, AddConstraintGivesTaggedLiterals) {
  EXPECT_EQ(mapper.add_constraint(atom, false), 1);
  EXPECT_EQ(mapper.add_constraint(atom, true), 2);
  EXPECT_EQ(mapper.num_constraints(), 2);

  la::LinearTermMapper& base = mapper;
  EXPECT_EQ(base.constraint_to_lit(1), atom);
  EXPECT_FALSE(ConstraintMapper::is_negated(base.constraint_to_lit(1)));
  EXPECT_TRUE(ConstraintMapper::is_negated(base.constraint_to_lit(2)));
  EXPECT_EQ(ConstraintMapper::atom_of(base.constraint_to_lit(1)), atom);
  EXPECT_EQ(ConstraintMapper::atom_of(base.constraint_to_lit(2)), atom);
  EXPECT_EQ(ConstraintMapper::make_literal(atom, true),
            base.constraint_to_lit(2));
}

}  // namespace
}  // namespace vorn::solver
