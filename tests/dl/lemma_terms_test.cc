// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "tests/dl/graph_under_test.h"
#include "vorn/dl/graph.h"
#include "vorn/services/logger.h"

namespace vorn::dl {
namespace {

using dl_test::EdgeIds;
using dl_test::GraphUnderTest;
using dl_test::LoggingGraph;
using dl_test::Texts;
using dl_test::TextTerms;

std::string edge_term(GraphUnderTest& t, int x, int y, const la::DNumber& c) {
  return TextTerms::text(Inspector::do_make_edge_term(t.graph, x, y, c));
}

std::string not_all(GraphUnderTest& t, const EdgeIds& edges) {
  return TextTerms::text(
      Inspector::do_make_not_and_constraints(t.graph, edges));
}

void learn_short(GraphUnderTest& t, int x, int y, const la::DNumber& c,
                 const EdgeIds& a, const EdgeIds& b) {
  Inspector::do_learn_short_interpolant_lemmas(t.graph, x, y, c, a, b);
}

void learn_long(GraphUnderTest& t, int x, int y, const la::DNumber& c,
                const EdgeIds& premises) {
  Inspector::do_learn_long_interpolant_lemmas(t.graph, x, y, c, premises);
}

Texts disjuncts(const Graph::Lemma& lemma) {
  Texts texts;
  for (const Term_* term : lemma.second) {
    texts.push_back(TextTerms::text(term));
  }
  return texts;
}

/// The counters in the order short, long, duplicate short, duplicate long.
std::vector<std::size_t> counters(const GraphUnderTest& t) {
  return {Inspector::num_short_tlemmas(t.graph),
          Inspector::num_long_tlemmas(t.graph),
          Inspector::num_dup_short_tlemmas(t.graph),
          Inspector::num_dup_long_tlemmas(t.graph)};
}

using Counts = std::vector<std::size_t>;

// The edge from 1 to 2 with weight 4 says x2 <= x1 + 4.
TEST(GraphTest, EdgeTermOfNonStrictBoundIsLeq) {
  GraphUnderTest t;

  EXPECT_EQ(edge_term(t, 1, 2, la::DNumber(4, 0)), "(<= x2 (+ x1 4))");
  EXPECT_EQ(edge_term(t, 2, 1, la::DNumber(-4, 0)), "(<= x1 (+ x2 -4))");
}

// A strict bound is the negation of the bound the other way round.
TEST(GraphTest, EdgeTermOfStrictBoundIsNegatedLeq) {
  GraphUnderTest t;

  EXPECT_EQ(edge_term(t, 1, 2, la::DNumber(4, -1)), "(not (<= (+ x1 4) x2))");
}

// Any eps coefficient but 0 makes the bound strict; its size does not show.
TEST(GraphTest, EdgeTermIsStrictForEpsOfEitherSignAndAnySize) {
  GraphUnderTest t;

  EXPECT_EQ(edge_term(t, 1, 2, la::DNumber(4, 1)), "(not (<= (+ x1 4) x2))");
  EXPECT_EQ(edge_term(t, 1, 2, la::DNumber(4, -7)), "(not (<= (+ x1 4) x2))");
}

// Fractions and numbers beyond a machine word are numerals like others.
TEST(GraphTest, EdgeTermTakesAnyRational) {
  GraphUnderTest t;
  const auto bound = [](const char* text) {
    return la::DNumber(*QNumber::from_string(text), QNumber());
  };

  EXPECT_EQ(edge_term(t, 1, 2, bound("-7/2")), "(<= x2 (+ x1 -7/2))");
  EXPECT_EQ(edge_term(t, 1, 2, bound("36893488147419103232")),
            "(<= x2 (+ x1 36893488147419103232))");
}

// Node 0 is the number 0 on either side; the mapper has no term for it.
TEST(GraphTest, EdgeTermUsesTheNumberZeroForNodeZero) {
  GraphUnderTest t;

  EXPECT_EQ(edge_term(t, 0, 2, la::DNumber(4, 0)), "(<= x2 (+ 0 4))");
  EXPECT_EQ(edge_term(t, 1, 0, la::DNumber(4, 0)), "(<= 0 (+ x1 4))");
  EXPECT_EQ(edge_term(t, 0, 0, la::DNumber(4, -1)), "(not (<= (+ 0 4) 0))");
}

// A host numbers terms as they are made: source, target, weight, then the sum
// and the atom.
TEST(GraphTest, EdgeTermMakesTermsInOrder) {
  GraphUnderTest t;
  edge_term(t, 1, 2, la::DNumber(4, 0));
  EXPECT_EQ(t.terms.made,
            (Texts{"x1", "x2", "4", "(+ x1 4)", "(<= x2 (+ x1 4))"}));

  t.terms.made.clear();
  edge_term(t, 0, 2, la::DNumber(4, -1));
  EXPECT_EQ(t.terms.made, (Texts{"0", "x2", "4", "(+ 0 4)", "(<= (+ 0 4) x2)",
                                 "(not (<= (+ 0 4) x2))"}));
}

// No premises, no term: there is no empty disjunction.
TEST(GraphTest, NotAndConstraintsOfNothingIsNull) {
  GraphUnderTest t;

  EXPECT_EQ(Inspector::do_make_not_and_constraints(t.graph, EdgeIds()),
            nullptr);
  EXPECT_EQ(t.terms.made, Texts());
}

// One premise is its negation; more are a disjunction that nests to the left.
TEST(GraphTest, NotAndConstraintsIsLeftNestedDisjunctionOfNegations) {
  GraphUnderTest t;

  EXPECT_EQ(not_all(t, {2}), "(not c1)");
  EXPECT_EQ(not_all(t, {2, 8}), "(or (not c1) (not c4))");
  EXPECT_EQ(not_all(t, {8, 2, 4, 6}),
            "(or (or (or (not c4) (not c1)) (not c2)) (not c3))");
}

// A negative literal is the negation of its atom, which is negated once more:
// simplifying is the manager's business.
TEST(GraphTest, NotAndConstraintsNegatesNegativeLiteralsOnceMore) {
  GraphUnderTest t;
  t.mapper.negated = {3};

  EXPECT_EQ(not_all(t, {2, 6}), "(or (not c1) (not (not c3)))");
}

// Both edges of a pair stand for the pair's one literal, whose sign is the
// mapper's to say, not the edge id's.
TEST(GraphTest, NotAndConstraintsTakesOneLiteralForBothEdgesOfAPair) {
  GraphUnderTest t;

  EXPECT_EQ(not_all(t, {6, 7}), "(or (not c3) (not c3))");
  EXPECT_EQ(not_all(t, {7}), "(not c3)");
  t.mapper.negated = {3};
  EXPECT_EQ(not_all(t, {7}), not_all(t, {6}));
}

// Each literal is asked for when its turn comes.
TEST(GraphTest, NotAndConstraintsMakesTermsInOrder) {
  GraphUnderTest t;
  t.mapper.negated = {3};

  not_all(t, {2, 6, 8});

  EXPECT_EQ(t.terms.made,
            (Texts{"c1", "(not c1)", "c3", "(not c3)", "(not (not c3))",
                   "(or (not c1) (not (not c3)))", "c4", "(not c4)",
                   "(or (or (not c1) (not (not c3))) (not c4))"}));
}

// One lemma: the clause and its disjuncts, the bound last.
TEST(GraphTest, LongLemmaIsClauseAndDisjuncts) {
  GraphUnderTest t;
  t.mapper.negated = {3};

  learn_long(t, 1, 2, la::DNumber(4, 0), {6, 2, 9});

  ASSERT_TRUE(t.graph.has_lemmas());
  const Graph::Lemma lemma = t.graph.get_next_lemma();
  EXPECT_EQ(TextTerms::text(lemma.first),
            "(or (or (or (not (not c3)) (not c1)) (not c4)) "
            "(<= x2 (+ x1 4)))");
  EXPECT_EQ(disjuncts(lemma), (Texts{"(not (not c3))", "(not c1)", "(not c4)",
                                     "(<= x2 (+ x1 4))"}));
  EXPECT_FALSE(t.graph.has_lemmas());
  EXPECT_EQ(counters(t), (Counts{0, 1, 0, 0}));
}

// The bound first, then the clause, then the disjuncts once more.
TEST(GraphTest, LongLemmaMakesTermsInOrder) {
  GraphUnderTest t;

  learn_long(t, 1, 0, la::DNumber(4, 0), {2, 6});

  EXPECT_EQ(t.terms.made,
            (Texts{"x1", "0", "4", "(+ x1 4)", "(<= 0 (+ x1 4))", "c1",
                   "(not c1)", "c3", "(not c3)", "(or (not c1) (not c3))",
                   "(or (or (not c1) (not c3)) (<= 0 (+ x1 4)))", "c1",
                   "(not c1)", "c3", "(not c3)"}));
}

// One premise implies nothing that its own literal does not say: not even a
// message is made.
TEST(GraphTest, LongLemmaOfFewerThanTwoPremisesIsNothingAtAll) {
  GraphUnderTest t;
  std::ostringstream out;
  Logger logger(out, 9);
  t.graph.set_logger(&logger);

  learn_long(t, 1, 2, la::DNumber(4, 0), {2});
  learn_long(t, 1, 2, la::DNumber(4, 0), {});

  EXPECT_FALSE(t.graph.has_lemmas());
  EXPECT_EQ(t.terms.made, Texts());
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(counters(t), (Counts{0, 0, 0, 0}));
}

// Two lemmas with one bound, that of the first premises first.
TEST(GraphTest, ShortLemmasAreOnePerPremiseList) {
  GraphUnderTest t;

  learn_short(t, 1, 2, la::DNumber(4, -1), {2, 4}, {6});

  ASSERT_TRUE(t.graph.has_lemmas());
  const Graph::Lemma a = t.graph.get_next_lemma();
  ASSERT_TRUE(t.graph.has_lemmas());
  const Graph::Lemma b = t.graph.get_next_lemma();
  EXPECT_FALSE(t.graph.has_lemmas());
  EXPECT_EQ(TextTerms::text(a.first),
            "(or (or (not c1) (not c2)) (not (<= (+ x1 4) x2)))");
  EXPECT_EQ(disjuncts(a),
            (Texts{"(not c1)", "(not c2)", "(not (<= (+ x1 4) x2))"}));
  EXPECT_EQ(TextTerms::text(b.first), "(or (not c3) (not (<= (+ x1 4) x2)))");
  EXPECT_EQ(disjuncts(b), (Texts{"(not c3)", "(not (<= (+ x1 4) x2))"}));
  EXPECT_EQ(counters(t), (Counts{2, 0, 0, 0}));
}

// Both clauses are there before the disjuncts of either.
TEST(GraphTest, ShortLemmasMakeTermsInOrder) {
  GraphUnderTest t;

  learn_short(t, 1, 2, la::DNumber(4, 0), {2, 4}, {6});

  EXPECT_EQ(t.terms.made, (Texts{"x1",
                                 "x2",
                                 "4",
                                 "(+ x1 4)",
                                 "(<= x2 (+ x1 4))",
                                 "c1",
                                 "(not c1)",
                                 "c2",
                                 "(not c2)",
                                 "(or (not c1) (not c2))",
                                 "c3",
                                 "(not c3)",
                                 "(or (or (not c1) (not c2)) (<= x2 (+ x1 4)))",
                                 "(or (not c3) (<= x2 (+ x1 4)))",
                                 "c1",
                                 "(not c1)",
                                 "c2",
                                 "(not c2)",
                                 "c3",
                                 "(not c3)"}));
}

// The same terms are the same pointers, in the clause's list as well.
TEST(GraphTest, LemmaDisjunctsAreTheManagersSharedTerms) {
  GraphUnderTest t;

  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});

  const Graph::Lemma lemma = t.graph.get_next_lemma();
  EXPECT_EQ(lemma.second,
            (std::vector<const Term_*>{t.terms.find("(not c1)"),
                                       t.terms.find("(not c2)"),
                                       t.terms.find("(<= x2 (+ x1 4))")}));
}

// First found, first taken.
TEST(GraphTest, GetNextLemmaTakesTheOldest) {
  GraphUnderTest t;
  learn_long(t, 1, 2, la::DNumber(1, 0), {2, 4});
  learn_long(t, 1, 2, la::DNumber(2, 0), {2, 4});

  EXPECT_EQ(TextTerms::text(t.graph.get_next_lemma().second.back()),
            "(<= x2 (+ x1 1))");
  learn_long(t, 1, 2, la::DNumber(3, 0), {2, 4});
  EXPECT_EQ(TextTerms::text(t.graph.get_next_lemma().second.back()),
            "(<= x2 (+ x1 2))");
  EXPECT_EQ(TextTerms::text(t.graph.get_next_lemma().second.back()),
            "(<= x2 (+ x1 3))");
  EXPECT_FALSE(t.graph.has_lemmas());
}

// Without filtering a clause is queued as often as it is found, and nothing is
// recorded.
TEST(GraphTest, LemmasAreQueuedAgainWithoutFiltering) {
  GraphUnderTest t;

  for (int round = 0; round < 2; ++round) {
    learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});
    learn_short(t, 1, 2, la::DNumber(4, 0), {2}, {4});
  }

  EXPECT_EQ(t.take_lemmas().size(), 6U);
  EXPECT_EQ(counters(t), (Counts{4, 2, 0, 0}));
  EXPECT_EQ(Inspector::learnt_lemmas(t.graph).size(), 0U);
}

// With filtering the second time is counted and not queued.
TEST(GraphTest, LongLemmaFoundAgainIsFiltered) {
  GraphUnderTest t;
  t.config.dl_dedup_tlemmas = true;

  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});
  EXPECT_EQ(counters(t), (Counts{0, 1, 0, 0}));
  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});

  EXPECT_EQ(counters(t), (Counts{0, 1, 0, 1}));
  EXPECT_EQ(t.take_lemmas(),
            Texts{"(or (or (not c1) (not c2)) (<= x2 (+ x1 4)))"});
}

// Each of the two short lemmas is filtered by itself, whichever it is.
TEST(GraphTest, ShortLemmasAreFilteredOneByOne) {
  GraphUnderTest t;
  t.config.dl_dedup_tlemmas = true;
  learn_short(t, 1, 2, la::DNumber(4, 0), {2}, {4});
  t.take_lemmas();
  ASSERT_EQ(counters(t), (Counts{2, 0, 0, 0}));

  learn_short(t, 1, 2, la::DNumber(4, 0), {6}, {4});
  EXPECT_EQ(t.take_lemmas(), Texts{"(or (not c3) (<= x2 (+ x1 4)))"});
  EXPECT_EQ(counters(t), (Counts{3, 0, 1, 0}));

  learn_short(t, 1, 2, la::DNumber(4, 0), {2}, {8});
  EXPECT_EQ(t.take_lemmas(), Texts{"(or (not c4) (<= x2 (+ x1 4)))"});
  EXPECT_EQ(counters(t), (Counts{4, 0, 2, 0}));

  learn_short(t, 1, 2, la::DNumber(4, 0), {8}, {6});
  EXPECT_EQ(t.take_lemmas(), Texts());
  EXPECT_EQ(counters(t), (Counts{4, 0, 4, 0}));
}

// The two edges of one pair give one clause: the second is a duplicate.
TEST(GraphTest, ShortLemmasOfOnePairFilterEachOther) {
  GraphUnderTest t;
  t.config.dl_dedup_tlemmas = true;

  learn_short(t, 1, 2, la::DNumber(4, 0), {6}, {7});

  EXPECT_EQ(t.take_lemmas(), Texts{"(or (not c3) (<= x2 (+ x1 4)))"});
  EXPECT_EQ(counters(t), (Counts{1, 0, 1, 0}));
}

// One table for both kinds, but a duplicate counts for the kind that found it.
TEST(GraphTest, LemmaFilterIsSharedByBothKinds) {
  GraphUnderTest t;
  t.config.dl_dedup_tlemmas = true;
  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});

  learn_short(t, 1, 2, la::DNumber(4, 0), {2, 4}, {6});

  EXPECT_EQ(t.take_lemmas().size(), 2U);
  EXPECT_EQ(counters(t), (Counts{1, 1, 1, 0}));
}

// The same premises in another order, or another bound, are another clause.
TEST(GraphTest, LemmaFilterGoesByTheWholeClause) {
  GraphUnderTest t;
  t.config.dl_dedup_tlemmas = true;

  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});
  learn_long(t, 1, 2, la::DNumber(4, 0), {4, 2});
  learn_long(t, 1, 2, la::DNumber(4, -1), {2, 4});
  learn_long(t, 1, 2, la::DNumber(5, 0), {2, 4});

  EXPECT_EQ(counters(t), (Counts{0, 4, 0, 0}));
}

// A clause stays on record when its lemma is taken, and maps to itself.
TEST(GraphTest, LemmaFilterRecordsClausesBeyondTheQueue) {
  GraphUnderTest t;
  t.config.dl_dedup_tlemmas = true;
  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});

  const Term_* clause = t.graph.get_next_lemma().first;

  const auto& learnt = Inspector::learnt_lemmas(t.graph);
  EXPECT_EQ(learnt.size(), 1U);
  ASSERT_NE(learnt.find(clause).node, nullptr);
  EXPECT_EQ(learnt.find(clause).node->value.second, clause);
  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});
  EXPECT_FALSE(t.graph.has_lemmas());
}

// The setting is read at each use; what was queued without filtering is not on
// record.
TEST(GraphTest, LemmaFilterCanBeSwitchedOnLater) {
  GraphUnderTest t;
  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});
  t.config.dl_dedup_tlemmas = true;
  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});
  EXPECT_EQ(counters(t), (Counts{0, 2, 0, 0}));
  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});
  EXPECT_EQ(counters(t), (Counts{0, 2, 0, 1}));
  t.config.dl_dedup_tlemmas = false;

  learn_long(t, 1, 2, la::DNumber(4, 0), {2, 4});

  EXPECT_EQ(counters(t), (Counts{0, 3, 0, 1}));
}

// The table grows with the lemmas, and terms with equal ids are not mixed up.
TEST(GraphTest, LemmaFilterKeepsThousandsOfClausesApart) {
  constexpr int kClauses = 2000;
  GraphUnderTest t;
  t.config.dl_dedup_tlemmas = true;

  for (int c = 0; c < kClauses; ++c) {
    learn_long(t, 1, 2, la::DNumber(c, 0), {2, 4});
  }
  EXPECT_EQ(counters(t), (Counts{0, kClauses, 0, 0}));
  for (int c = 0; c < kClauses; ++c) {
    learn_long(t, 1, 2, la::DNumber(c, 0), {2, 4});
  }

  EXPECT_EQ(counters(t), (Counts{0, kClauses, 0, kClauses}));
  EXPECT_EQ(t.take_lemmas().size(), std::size_t{kClauses});
}

// One record per bound, in the wording that log readers search for.
TEST(GraphTest, LemmasAreLoggedAsOneRecordEach) {
  LoggingGraph t(2);

  learn_long(t, 3, 5, la::DNumber(2, 0), {2, 4});
  learn_short(t, 0, 12, la::DNumber(-2, -3), {2}, {4});

  EXPECT_EQ(t.out.str(),
            "DL(graph) - found long interpolant: x3 -[2]-> x5\n"
            "DL(graph) - found short interpolant: x0 -[-2 - 3*eps]-> x12\n");
}

// The record comes first, so that it is there if the host's terms fail.
TEST(GraphTest, LemmasAreLoggedBeforeAnyTermIsMade) {
  LoggingGraph t(2);
  std::string before_first;
  t.terms.on_request = [&t, &before_first] {
    if (t.terms.made.empty()) before_first = t.out.str();
  };

  learn_long(t, 3, 5, la::DNumber(2, 0), {2, 4});
  EXPECT_EQ(before_first, "DL(graph) - found long interpolant: x3 -[2]-> x5\n");

  t.terms.made.clear();
  t.out.str("");
  learn_short(t, 3, 5, la::DNumber(2, 0), {2}, {4});
  EXPECT_EQ(before_first,
            "DL(graph) - found short interpolant: x3 -[2]-> x5\n");
}

// A duplicate is found and logged all the same.
TEST(GraphTest, DuplicateLemmasAreLoggedToo) {
  LoggingGraph t(2);
  t.config.dl_dedup_tlemmas = true;

  learn_long(t, 3, 5, la::DNumber(2, 0), {2, 4});
  learn_long(t, 3, 5, la::DNumber(2, 0), {2, 4});

  EXPECT_EQ(t.out.str(),
            "DL(graph) - found long interpolant: x3 -[2]-> x5\n"
            "DL(graph) - found long interpolant: x3 -[2]-> x5\n");
}

// The messages have level 2 and the tag "DL", and need a logger.
TEST(GraphTest, LemmaMessagesRespectTheLogger) {
  LoggingGraph quiet(1);
  learn_long(quiet, 3, 5, la::DNumber(2, 0), {2, 4});
  EXPECT_EQ(quiet.out.str(), "");

  LoggingGraph t(2);
  t.logger.switch_off("DL");
  learn_long(t, 3, 5, la::DNumber(2, 0), {2, 4});
  EXPECT_EQ(t.out.str(), "");
  t.logger.switch_on("DL");
  t.graph.set_logger(nullptr);
  learn_long(t, 3, 5, la::DNumber(2, 0), {2, 4});
  learn_short(t, 3, 5, la::DNumber(2, 0), {2}, {4});
  EXPECT_EQ(t.out.str(), "");
  EXPECT_EQ(counters(t), (Counts{2, 2, 0, 0}));
}

}  // namespace
}  // namespace vorn::dl
