// SPDX-License-Identifier: MIT
#include "vorn/dl/edge.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <type_traits>

#include "tests/dl/graph_under_test.h"

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::same;

static_assert(std::has_virtual_destructor_v<Edge>);
static_assert(std::is_copy_assignable_v<Edge>);

Edge edge_of_weight(const std::string& rational, int eps) {
  return {3, 5, la::DNumber(*QNumber::from_string(rational), QNumber(eps)), 7};
}

// Absent edges read as default edges; a host recognises them by the -1.
TEST(EdgeTest, DefaultHasNoEndsNoIdAndWeightZero) {
  const Edge e;

  EXPECT_EQ(e.source, -1);
  EXPECT_EQ(e.target, -1);
  EXPECT_EQ(e.id, -1);
  EXPECT_TRUE(same(e.weight, la::DNumber(0, 0)));
}

// The four values must not change places: source and target say which way the
// constraint goes.
TEST(EdgeTest, ConstructorKeepsFields) {
  const Edge e(3, 5, la::DNumber(-2, 1), 7);

  EXPECT_EQ(e.source, 3);
  EXPECT_EQ(e.target, 5);
  EXPECT_EQ(e.id, 7);
  EXPECT_TRUE(same(e.weight, la::DNumber(-2, 1)));
}

// The graph stores copies: changing one must not reach the other.
TEST(EdgeTest, CopyHasFieldsOfItsOwnAndSharesTheWeightBlock) {
  const Edge original(3, 5, la::DNumber(4, -1), 7);

  Edge copy(original);

  EXPECT_EQ(Inspector::block(copy.weight), Inspector::block(original.weight));
  copy.weight += la::DNumber(1, 0);
  copy.source = 8;
  EXPECT_EQ(original.to_str(), "x3 -[4 - eps]-> x5 [id: 7]");
  EXPECT_EQ(copy.to_str(), "x8 -[5 - eps]-> x5 [id: 7]");
}

// Assignment replaces all four values.
TEST(EdgeTest, AssignmentReplacesAllFields) {
  Edge e = edge(1, 2, 3);

  e = Edge(3, 5, la::DNumber(-1, -1), 7);

  EXPECT_EQ(e.to_str(), "x3 -[-1 - eps]-> x5 [id: 7]");
}

// The text of an absent edge in a dump.
TEST(EdgeTest, DefaultPrintsMinusOnes) {
  EXPECT_EQ(Edge().to_str(), "x-1 -[0]-> x-1 [id: -1]");
}

// A weight with every piece in it, in the order of the text.
TEST(EdgeTest, FractionAndNegativeEpsPrintInFull) {
  EXPECT_EQ(edge_of_weight("-1/2", -1).to_str(),
            "x3 -[-1/2 - eps]-> x5 [id: 7]");
}

// A non-strict bound must not look strict.
TEST(EdgeTest, ZeroEpsPrintsNoEpsPiece) {
  EXPECT_EQ(edge_of_weight("1/2", 0).to_str(), "x3 -[1/2]-> x5 [id: 7]");
}

// An integer is no fraction.
TEST(EdgeTest, IntegerWeightPrintsNoDenominator) {
  EXPECT_EQ(edge_of_weight("-12", -1).to_str(), "x3 -[-12 - eps]-> x5 [id: 7]");
}

// Of the eps coefficient only the sign shows, unlike in a delta-rational's own
// text.
TEST(EdgeTest, EpsPrintsItsSignOnly) {
  EXPECT_EQ(edge_of_weight("4", 2).to_str(), "x3 -[4 + eps]-> x5 [id: 7]");
  EXPECT_EQ(edge_of_weight("4", -3).to_str(), "x3 -[4 - eps]-> x5 [id: 7]");
}

// Numbers beyond a machine word print in full, with and without a denominator.
TEST(EdgeTest, BigWeightsPrintAllDigits) {
  EXPECT_EQ(edge_of_weight("-123456789012345678901234567890", 0).to_str(),
            "x3 -[-123456789012345678901234567890]-> x5 [id: 7]");
  EXPECT_EQ(edge_of_weight("123456789012345678901/2", 1).to_str(),
            "x3 -[123456789012345678901/2 + eps]-> x5 [id: 7]");
  EXPECT_EQ(edge_of_weight("2/123456789012345678901", 0).to_str(),
            "x3 -[2/123456789012345678901]-> x5 [id: 7]");
}

// A small value can stand in the big form; its text must not tell.
TEST(EdgeTest, SmallValueInBigFormPrintsLikeAnyOther) {
  QNumber five = *QNumber::from_string("123456789012345678901");
  five = QNumber(5);
  ASSERT_TRUE(Inspector::is_big(five));

  EXPECT_EQ(Edge(3, 5, la::DNumber(five, QNumber()), 7).to_str(),
            "x3 -[5]-> x5 [id: 7]");
}

// Both ways to the text are used; they must agree.
TEST(EdgeTest, InsertionWritesTheSameTextAndReturnsTheStream) {
  std::ostringstream out;

  out << edge(3, 5, -1, 1) << "|" << Edge();

  EXPECT_EQ(out.str(), edge(3, 5, -1, 1).to_str() + "|" + Edge().to_str());
}

}  // namespace
}  // namespace vorn::dl
