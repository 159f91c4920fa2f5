// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/dl/learning_graph.h"
#include "vorn/dl/graph.h"
#include "vorn/services/logger.h"

// What the lemmas of two cycles state: bounds at the zero node, strict bounds,
// sums of any size, and the literals of pairs.

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::LearningGraph;
using dl_test::Texts;

// A detour that starts at the zero node starts at the number 0.
TEST(GraphTest, SearchFromTheZeroNodeStatesBoundsFromZero) {
  LearningGraph t;
  t.tell(1, 0, 2, 1);
  t.tell(2, 2, 0, -5);
  t.tell(3, 0, 3, 2);
  t.tell(4, 3, 2, 1);

  EXPECT_EQ(t.learn({2, 4}, {6, 8, 4}),
            (Texts{"(or (or (not c3) (not c4)) (<= x2 (+ 0 3)))",
                   "(or (not c1) (<= x2 (+ 0 3)))"}));
}

// A detour that ends there ends at the number 0.
TEST(GraphTest, SearchToTheZeroNodeStatesBoundsOnZero) {
  LearningGraph t;
  t.tell(1, 1, 0, 1);
  t.tell(2, 0, 1, -5);
  t.tell(3, 1, 3, 2);
  t.tell(4, 3, 0, 1);

  EXPECT_EQ(t.learn({2, 4}, {6, 8, 4}),
            (Texts{"(or (or (not c3) (not c4)) (<= 0 (+ x1 3)))",
                   "(or (not c1) (<= 0 (+ x1 3)))"}));
}

// A run can pass through the zero node, or end there.
TEST(GraphTest, SearchOfRunFromTheZeroNodeStatesBoundsFromZero) {
  LearningGraph t;
  t.tell(1, 0, 2, 1);
  t.tell(2, 2, 3, 1);
  t.tell(3, 3, 0, -9);
  t.tell(4, 3, 0, -8);

  EXPECT_EQ(
      t.learn({2, 4, 6}, {2, 4, 8}),
      (Texts{"(or (not c4) (<= 0 (+ x3 -8)))", "(or (not c3) (<= 0 (+ x3 -8)))",
             "(or (or (not c1) (not c2)) (<= x3 (+ 0 2)))"}));
}

/// TwoWays with weights that differ by infinitesimals: the direct way is
/// 3 + direct*eps, the way over node 3 is 3 - 2*eps.
struct StrictWays : LearningGraph {
  explicit StrictWays(int direct) : logger(log, 2) {
    graph.set_logger(&logger);
    tell(1, 1, 2, 3, direct);
    tell(2, 2, 1, -5);
    tell(3, 1, 3, 2, -1);
    tell(4, 3, 2, 1, -1);
  }

  std::ostringstream log;
  Logger logger;
};

// Sums are compared with their infinitesimals; the larger one makes the bound.
TEST(GraphTest, SearchTakesTheLargerStrictSum) {
  StrictWays t(-1);
  const Texts expected = {"(or (or (not c3) (not c4)) (not (<= (+ x1 3) x2)))",
                          "(or (not c1) (not (<= (+ x1 3) x2)))"};
  EXPECT_EQ(t.learn({2, 4}, {6, 8, 4}), expected);
  EXPECT_EQ(t.log.str(),
            "DL(graph) - found short interpolant: x1 -[3 - eps]-> x2\n");

  t.log.str("");
  EXPECT_EQ(t.learn({6, 8, 4}, {2, 4}), (Texts{expected[1], expected[0]}));
  EXPECT_EQ(t.log.str(),
            "DL(graph) - found short interpolant: x1 -[3 - eps]-> x2\n");
}

// If one way is not strict, the bound that both imply is not either.
TEST(GraphTest, SearchOfStrictAndNonStrictWayLearnsTheNonStrictBound) {
  StrictWays t(0);

  EXPECT_EQ(t.learn({2, 4}, {6, 8, 4}),
            (Texts{"(or (or (not c3) (not c4)) (<= x2 (+ x1 3)))",
                   "(or (not c1) (<= x2 (+ x1 3)))"}));
}

// Equal sums are that sum.
TEST(GraphTest, SearchOfEqualSumsLearnsThatBound) {
  StrictWays t(-2);

  t.learn({2, 4}, {6, 8, 4});

  EXPECT_EQ(t.log.str(),
            "DL(graph) - found short interpolant: x1 -[3 - 2*eps]-> x2\n");
}

// A run adds up infinitesimals as well.
TEST(GraphTest, SearchOfStrictRunLearnsTheStrictSum) {
  LearningGraph t;
  t.config.dl_tlemma_kinds = 2;
  t.tell(1, 1, 2, 1, -1);
  t.tell(2, 2, 3, 2);
  t.tell(3, 3, 1, -9);
  t.tell(4, 3, 1, -8);

  EXPECT_EQ(t.learn({2, 4, 6}, {2, 4, 8}),
            Texts{"(or (or (not c1) (not c2)) (not (<= (+ x1 3) x3)))"});
}

// Sums of weights beyond a machine word are exact.
TEST(GraphTest, SearchAddsExactly) {
  LearningGraph t;
  t.config.dl_tlemma_kinds = 2;
  const la::DNumber most(*QNumber::from_string("9223372036854775807"),
                         QNumber());
  t.graph.tell_edge(1, Edge(1, 2, most, 0));
  t.graph.tell_edge(2, Edge(2, 3, most, 0));
  t.tell(3, 3, 1, 0);
  t.tell(4, 3, 1, 1);

  EXPECT_EQ(t.learn({2, 4, 6}, {2, 4, 8}),
            Texts{"(or (or (not c1) (not c2)) "
                  "(<= x3 (+ x1 18446744073709551614)))"});
}

// The second edge of a pair stands for the pair's literal.
TEST(GraphTest, SearchThroughTheSecondEdgeOfAPairNamesThePair) {
  LearningGraph t;
  t.tell(1, 1, 2, 1);
  t.graph.tell_bi_edge(3, edge(1, 3, 2), edge(3, 1, -2));
  t.tell(5, 3, 2, 1);
  t.tell(6, 2, 3, -9);

  EXPECT_EQ(t.learn({10, 12}, {7, 2, 12}),
            (Texts{"(or (or (not c3) (not c1)) (<= x2 (+ x3 1)))",
                   "(or (not c5) (<= x2 (+ x3 1)))"}));
}

// The two edges of one pair can be detours of each other; they are different
// edges with one literal.
TEST(GraphTest, SearchOfThePairsTwoEdgesAsDetoursLearnsOneClauseTwice) {
  LearningGraph t;
  t.tell(2, 2, 1, -5);
  t.graph.tell_bi_edge(3, edge(1, 2, 1), edge(1, 2, 2));
  const std::string clause = "(or (not c3) (<= x2 (+ x1 2)))";

  EXPECT_EQ(t.learn({6, 4}, {7, 4}), (Texts{clause, clause}));
  EXPECT_EQ(Inspector::num_short_tlemmas(t.graph), 2U);

  t.config.dl_dedup_tlemmas = true;
  EXPECT_EQ(t.learn({6, 4}, {7, 4}), Texts{clause});
  EXPECT_EQ(Inspector::num_short_tlemmas(t.graph), 3U);
  EXPECT_EQ(Inspector::num_dup_short_tlemmas(t.graph), 1U);
}

// A run over both edges of a pair names its literal twice.
TEST(GraphTest, SearchOfRunOverBothEdgesOfAPairNamesThePairTwice) {
  LearningGraph t;
  t.graph.tell_bi_edge(3, edge(1, 2, 1), edge(2, 1, -2));

  EXPECT_EQ(t.learn({6, 7}, {7, 6}),
            Texts{"(or (or (not c3) (not c3)) (<= x2 (+ x2 -1)))"});
}

}  // namespace
}  // namespace vorn::dl
