// SPDX-License-Identifier: MIT
#include "solver/search/literal.h"

#include <gtest/gtest.h>

namespace vorn::solver {
namespace {

// Arrays over literals rely on the dense code.
TEST(LiteralTest, CodeInterleavesBothSigns) {
  EXPECT_EQ(Literal(0, false).code(), 0);
  EXPECT_EQ(Literal(0, true).code(), 1);
  EXPECT_EQ(Literal(7, true).code(), 15);
  EXPECT_EQ(Literal(7, true).index(), 15U);
}

// Everything breaks if a literal does not remember what it was made of.
TEST(LiteralTest, PartsRoundTrip) {
  for (const int variable : {0, 1, 12345, Literal::kMaxVariables - 1}) {
    for (const bool negated : {false, true}) {
      const Literal literal(variable, negated);
      EXPECT_EQ(literal.variable(), variable);
      EXPECT_EQ(literal.is_negated(), negated);
      EXPECT_TRUE(literal.is_defined());
      EXPECT_EQ(Literal::from_code(literal.code()), literal);
    }
  }
}

// Propagation reaches watch lists through negation.
TEST(LiteralTest, NegationFlipsOnlyTheSign) {
  const Literal literal(3, false);

  EXPECT_EQ(~literal, Literal(3, true));
  EXPECT_EQ(~~literal, literal);
  EXPECT_NE(~literal, literal);
}

// Normalising clauses finds a literal and its opposite side by side.
TEST(LiteralTest, OrderKeepsOppositesAdjacent) {
  EXPECT_LT(Literal(2, false), Literal(2, true));
  EXPECT_LT(Literal(2, true), Literal(3, false));
  EXPECT_FALSE(Literal(2, true) < Literal(2, true));
}

// The search uses a default-made literal for "none".
TEST(LiteralTest, DefaultIsUndefined) {
  EXPECT_FALSE(Literal().is_defined());
  EXPECT_EQ(Literal(), Literal());
  EXPECT_NE(Literal(), Literal(0, false));
}

}  // namespace
}  // namespace vorn::solver
