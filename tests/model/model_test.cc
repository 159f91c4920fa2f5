// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/model/graph_model.h"
#include "tests/model/trace.h"

// The model worked by hand: every expected text below was derived on paper
// from the meaning of the operations, not from a run.

namespace vorn::model {
namespace {

EdgeRecord edge(int source, int target, const char* rational, int id,
                const char* eps = "0") {
  EdgeRecord record;
  record.source = source;
  record.target = target;
  record.weight.rational = rational_from_text(rational);
  record.weight.eps = rational_from_text(eps);
  record.id = id;
  return record;
}

/// Tells constraint `constraint` as one edge with the usual id.
void tell(GraphModel& model, int constraint, int source, int target,
          const char* rational, const char* eps = "0") {
  model.tell_edge(constraint,
                  edge(source, target, rational, 2 * constraint, eps));
}

bool push_and_check(GraphModel& model, int constraint) {
  model.push_edge(constraint);
  return model.check();
}

GraphModel model_with(int kinds, float overlap, bool dedup) {
  GraphModel model;
  Settings settings;
  settings.tlemma_kinds = kinds;
  settings.tlemma_min_overlap = overlap;
  settings.dedup_tlemmas = dedup;
  model.set_settings(settings);
  model.set_logging(true);
  return model;
}

/// The chain x1 -> x2 -> x3 -> x4 of weight 1 each, active, and two edges
/// back from x4, registered: constraint 4 of weight -4 and 5 of weight -5.
GraphModel chain_model(int kinds, float overlap, bool dedup) {
  GraphModel model = model_with(kinds, overlap, dedup);
  tell(model, 1, 1, 2, "1");
  tell(model, 2, 2, 3, "1");
  tell(model, 3, 3, 4, "1");
  tell(model, 4, 4, 1, "-4");
  tell(model, 5, 4, 1, "-5");
  for (int constraint : {1, 2, 3}) {
    EXPECT_TRUE(push_and_check(model, constraint));
  }
  return model;
}

/// A failing check of `constraint`, taken back at once.
void fail(GraphModel& model, int constraint) {
  EXPECT_FALSE(push_and_check(model, constraint));
  model.pop_edge(constraint);
}

using Log = std::vector<std::string>;

// A wrong rendering here would hide or invent differences in every dump.
TEST(GraphModelTest, WeightTextShowsSignSizeAndEps) {
  const auto text = [](const char* rational, const char* eps) {
    return weight_text(
        Weight{rational_from_text(rational), rational_from_text(eps)});
  };

  EXPECT_EQ(text("4", "0"), "4");
  EXPECT_EQ(text("1/2", "-1"), "1/2 - eps");
  EXPECT_EQ(text("0", "3"), "0 + 3*eps");
  EXPECT_EQ(text("-6/4", "1"), "-3/2 + eps");
  EXPECT_EQ(text("-1", "-2/6"), "-1 - 1/3*eps");
}

// Edges show the sign of the eps part only, unlike potentials.
TEST(GraphModelTest, EdgeTextShowsOnlySignOfEps) {
  EXPECT_EQ(edge_text(EdgeRecord()), "x-1 -[0]-> x-1 [id: -1]");
  EXPECT_EQ(edge_text(edge(3, 5, "-1/2", 7, "-1")),
            "x3 -[-1/2 - eps]-> x5 [id: 7]");
  EXPECT_EQ(edge_text(edge(0, 12, "18446744073709551616", 4, "2")),
            "x0 -[18446744073709551616 + eps]-> x12 [id: 4]");
}

// Strict bounds decide ties; an order by rational parts alone would lose them.
TEST(GraphModelTest, WeightOrderIsLexicographic) {
  const Weight one{1, 0};
  const Weight one_and_eps{1, 1};
  const Weight two_less_eps{2, -5};

  EXPECT_TRUE(one < one_and_eps);
  EXPECT_FALSE(one_and_eps < one);
  EXPECT_FALSE(one < one);
  EXPECT_FALSE(two_less_eps < one_and_eps);
}

// The empty dump is three headings; anything else is invented state.
TEST(GraphModelTest, DumpOfFreshModelIsHeadingsOnly) {
  EXPECT_EQ(GraphModel().dump_debug_status(),
            "DL - Saved Beta:\nDL - Current Beta:\nDL - Graph:\n");
}

// Registration, activation and a committed potential, in one exact text.
TEST(GraphModelTest, DumpAfterCheckShowsPushedAndNotified) {
  GraphModel model;
  tell(model, 3, 1, 2, "-1/2", "-1");
  model.tell_bi_edge(4, edge(2, 1, "5", 8), edge(1, 2, "6", 9));

  EXPECT_TRUE(push_and_check(model, 3));

  EXPECT_EQ(model.dump_debug_status(),
            "DL - Saved Beta:\n"
            "saved_beta_[1]: 0\n"
            "saved_beta_[2]: -1/2 - eps\n"
            "DL - Current Beta:\n"
            "cur_beta_[1]: 0\n"
            "cur_beta_[2]: -1/2 - eps\n"
            "DL - Graph:\n"
            "nodes_[1] - pushed: { x1 -[-1/2 - eps]-> x2 [id: 6], }, "
            "notified: { x1 -[6]-> x2 [id: 9], }\n"
            "nodes_[2] - pushed: { }, "
            "notified: { x2 -[5]-> x1 [id: 8], }\n");
}

// Two lists with different separators; mixing them up breaks log comparison.
TEST(GraphModelTest, DumpEdgeListSeparatesBetweenElements) {
  GraphModel model;
  tell(model, 3, 1, 2, "4");

  EXPECT_EQ(model.dump_edge_list({}, true), "{ }");
  EXPECT_EQ(model.dump_edge_list({3, 7, 9}, false), "{ 3, 7, 9 }");
  EXPECT_EQ(model.dump_edge_list({6, 9}, true),
            "{ x1 -[4]-> x2 [id: 6], x-1 -[0]-> x-1 [id: -1] }");
}

// A cycle of weight zero is consistent, one of -eps is not.
TEST(GraphModelTest, CheckZeroCyclePassesAndEpsBelowFails) {
  GraphModel model;
  tell(model, 1, 1, 2, "1");
  tell(model, 2, 2, 1, "-1");
  tell(model, 3, 2, 1, "-1", "-1");

  EXPECT_TRUE(push_and_check(model, 1));
  EXPECT_TRUE(push_and_check(model, 2));
  model.pop_edge(2);
  EXPECT_FALSE(push_and_check(model, 3));

  EXPECT_EQ(model.cur_conflict(), (std::vector<int>{6, 2}));
  EXPECT_EQ(model.get_conflict_set(), (std::vector<int>{3, 1}));
  EXPECT_EQ(model.pending(), (std::vector<int>{6}));
}

// A self loop of weight zero lowers nothing; a negative one is its own cycle.
TEST(GraphModelTest, CheckSelfLoopFailsOnlyWhenNegative) {
  GraphModel model;
  tell(model, 0, 1, 1, "0");
  tell(model, 1, 1, 1, "-1");

  EXPECT_TRUE(push_and_check(model, 0));
  EXPECT_FALSE(push_and_check(model, 1));

  EXPECT_EQ(model.cur_conflict(), (std::vector<int>{2}));
}

// The failing id stays in front, and a pop takes pending ids out unprocessed.
TEST(GraphModelTest, CheckFailureKeepsRestPending) {
  GraphModel model;
  tell(model, 1, 1, 2, "1");
  model.tell_bi_edge(2, edge(2, 3, "0", 4), edge(3, 2, "-1", 5));
  tell(model, 3, 3, 1, "2");
  for (int constraint : {1, 2, 3}) {
    model.push_edge(constraint);
  }

  EXPECT_FALSE(model.check());
  EXPECT_EQ(model.pending(), (std::vector<int>{5, 6}));
  EXPECT_EQ(model.get_conflict_set(), (std::vector<int>{2, 2}));
  model.pop_edge(3);
  model.pop_edge(2);

  EXPECT_TRUE(model.pending().empty());
  EXPECT_EQ(model.dump_debug_status().substr(
                model.dump_debug_status().find("DL - Graph")),
            "DL - Graph:\n"
            "nodes_[1] - pushed: { x1 -[1]-> x2 [id: 2], }, notified: { }\n"
            "nodes_[2] - pushed: { }, notified: { x2 -[0]-> x3 [id: 4], }\n"
            "nodes_[3] - pushed: { }, notified: { x3 -[-1]-> x2 [id: 5], "
            "x3 -[2]-> x1 [id: 6], }\n");
}

// After reset(false) potentials stay listed, but a node told again is at zero.
TEST(GraphModelTest, ResetKeepsPotentialsUntilNodeIsToldAgain) {
  GraphModel model;
  tell(model, 1, 1, 2, "-3");
  EXPECT_TRUE(push_and_check(model, 1));

  model.reset(false);
  EXPECT_EQ(model.dump_debug_status(),
            "DL - Saved Beta:\n"
            "saved_beta_[1]: 0\n"
            "saved_beta_[2]: -3\n"
            "DL - Current Beta:\n"
            "cur_beta_[1]: 0\n"
            "cur_beta_[2]: -3\n"
            "DL - Graph:\n"
            "nodes_[1] - pushed: { }, notified: { }\n"
            "nodes_[2] - pushed: { }, notified: { }\n");
  EXPECT_FALSE(model.var_is_known(2));

  tell(model, 1, 2, 2, "7");
  EXPECT_TRUE(model.var_is_known(2));
  EXPECT_NE(model.dump_debug_status().find("cur_beta_[2]: 0\n"),
            std::string::npos);

  model.reset(true);
  EXPECT_EQ(model.dump_debug_status(), GraphModel().dump_debug_status());
}

// The probe stops at the first violated edge; later nodes are never read.
TEST(GraphModelTest, HasNegativeCycleReadsNodesUntilFirstViolation) {
  GraphModel model;
  tell(model, 1, 1, 2, "0");
  tell(model, 2, 2, 3, "-1");
  tell(model, 3, 4, 5, "1");
  for (int constraint : {1, 2, 3}) {
    EXPECT_TRUE(push_and_check(model, constraint));
  }

  GraphModel::Potential zero;
  EXPECT_TRUE(model.has_negative_cycle(zero));
  EXPECT_EQ(zero.size(), 3U);
  EXPECT_EQ(zero.count(4), 0U);

  GraphModel::Potential own = model.potentials();
  EXPECT_FALSE(model.has_negative_cycle(own));
}

// A shared run of three edges and one pair of detours: the main case.
TEST(GraphModelTest, CheckSecondCycleLearnsShortAndLongLemmas) {
  GraphModel model = chain_model(3, 0.75F, false);
  fail(model, 4);
  EXPECT_EQ(model.cur_conflict(), (std::vector<int>{8, 2, 4, 6}));
  EXPECT_FALSE(model.has_lemmas());

  fail(model, 5);
  EXPECT_EQ(model.cur_conflict(), (std::vector<int>{10, 2, 4, 6}));
  EXPECT_EQ(model.prev_conflict(), (std::vector<int>{8, 2, 4, 6}));

  ASSERT_EQ(model.num_lemmas(), 3U);
  const std::string back = "(<= x1 (+ x4 -4))";
  Lemma lemma = model.get_next_lemma();
  EXPECT_EQ(lemma.clause, "(or (not (not c5)) " + back + ")");
  EXPECT_EQ(lemma.disjuncts,
            (std::vector<std::string>{"(not (not c5))", back}));
  lemma = model.get_next_lemma();
  EXPECT_EQ(lemma.clause, "(or (not c4) " + back + ")");
  EXPECT_EQ(lemma.disjuncts, (std::vector<std::string>{"(not c4)", back}));
  lemma = model.get_next_lemma();
  EXPECT_EQ(lemma.clause,
            "(or (or (or (not (not c1)) (not c2)) (not (not c3))) "
            "(<= x4 (+ x1 3)))");
  EXPECT_EQ(lemma.disjuncts,
            (std::vector<std::string>{"(not (not c1))", "(not c2)",
                                      "(not (not c3))", "(<= x4 (+ x1 3))"}));
  EXPECT_EQ(model.take_log(),
            (Log{"DL(graph) - found short interpolant: x4 -[-4]-> x1",
                 "DL(graph) - found long interpolant: x1 -[3]-> x4"}));
}

// The similarity is 3/4; a setting a little above it must not search.
TEST(GraphModelTest, CheckSearchesOnlyFromMinimalOverlapOn) {
  GraphModel model = chain_model(3, 0.76F, false);
  fail(model, 4);
  fail(model, 5);

  EXPECT_FALSE(model.has_lemmas());
  EXPECT_EQ(model.print_stats(),
            "DL - Conflicts: 2\n"
            "DL - TLemma Searches: 0\n"
            "DL - Short TLemmas: 0\n"
            "DL - Long TLemmas: 0\n"
            "DL - Dup Short TLemmas: 0\n"
            "DL - Dup Long TLemmas: 0\n");
}

// Kind bits pick the lemmas; a detour is consumed even when not wanted.
TEST(GraphModelTest, CheckHonoursKindBits) {
  GraphModel short_only = chain_model(1, 0.0F, false);
  fail(short_only, 4);
  fail(short_only, 5);
  EXPECT_EQ(short_only.num_lemmas(), 2U);

  GraphModel long_only = chain_model(2, 0.0F, false);
  fail(long_only, 4);
  fail(long_only, 5);
  ASSERT_EQ(long_only.num_lemmas(), 1U);
  EXPECT_EQ(long_only.get_next_lemma().disjuncts.size(), 4U);

  GraphModel none = chain_model(0, 0.0F, false);
  fail(none, 4);
  fail(none, 5);
  EXPECT_FALSE(none.has_lemmas());
  EXPECT_EQ(none.get_stats()[1].second, "0");
}

// Third conflict repeats the first: the clauses are known until a reset.
TEST(GraphModelTest, CheckWithDedupCountsRepeatedClauses) {
  GraphModel model = chain_model(3, 0.0F, true);
  fail(model, 4);
  fail(model, 5);
  fail(model, 4);

  EXPECT_EQ(model.num_lemmas(), 3U);
  EXPECT_EQ(model.get_stats(),
            (GraphModel::Rows{{"dl conflicts", "3"},
                              {"dl tlemma searches", "2"},
                              {"dl short tlemmas", "2"},
                              {"dl long tlemmas", "1"},
                              {"dl dup short tlemmas", "2"},
                              {"dl dup long tlemmas", "1"},
                              {"dl avg searches for conflicts", "0.67"},
                              {"dl avg short tlemmas for search", "1.00"},
                              {"dl avg long tlemmas for search", "0.50"}}));
  EXPECT_EQ(model.print_stats().substr(model.print_stats().find("DL - Avg")),
            "DL - Avg. Searches for Conflicts: 0.67\n"
            "DL - Avg. Short TLemmas for search: 1.00\n"
            "DL - Avg. Long TLemmas for search: 0.50\n");
}

// The same conflict twice shares every edge and leaves no node differently:
// the walk starts at its first edge and sees one whole stretch.
TEST(GraphModelTest, CheckSameConflictTwiceLearnsWholeCycle) {
  GraphModel model = chain_model(3, 1.0F, false);
  fail(model, 4);
  fail(model, 4);

  ASSERT_EQ(model.num_lemmas(), 1U);
  EXPECT_EQ(model.get_next_lemma().clause,
            "(or (or (or (or (not c4) (not (not c1))) (not c2)) "
            "(not (not c3))) (<= x4 (+ x4 -1)))");
}

// One edge against two between the same nodes; the shorter side waits.
TEST(GraphModelTest, CheckDetoursOfDifferentLengthMeet) {
  GraphModel model = model_with(3, 0.3F, false);
  tell(model, 1, 1, 2, "1");
  tell(model, 2, 2, 1, "-3");
  tell(model, 3, 2, 3, "-2");
  tell(model, 4, 3, 1, "-1");
  EXPECT_TRUE(push_and_check(model, 1));
  fail(model, 2);
  EXPECT_TRUE(push_and_check(model, 3));
  EXPECT_FALSE(push_and_check(model, 4));

  EXPECT_EQ(model.prev_conflict(), (std::vector<int>{4, 2}));
  EXPECT_EQ(model.cur_conflict(), (std::vector<int>{8, 2, 6}));
  ASSERT_EQ(model.num_lemmas(), 2U);
  EXPECT_EQ(model.get_next_lemma().clause,
            "(or (or (not (not c3)) (not c4)) (<= x1 (+ x2 -3)))");
  EXPECT_EQ(model.get_next_lemma().clause, "(or (not c2) (<= x1 (+ x2 -3)))");
  EXPECT_EQ(model.take_log(),
            (Log{"DL(graph) - found short interpolant: x2 -[-3]-> x1"}));
}

// A strict implied edge is the negation of the opposite bound, and node 0 is
// the number zero.
TEST(GraphModelTest, CheckStrictEdgeAtZeroNodeNegatesOppositeBound) {
  GraphModel model = model_with(1, 0.0F, false);
  tell(model, 1, 0, 1, "1");
  tell(model, 2, 1, 0, "-2");
  tell(model, 3, 1, 0, "-2", "1/2");
  EXPECT_TRUE(push_and_check(model, 1));
  fail(model, 2);
  fail(model, 3);

  ASSERT_EQ(model.num_lemmas(), 2U);
  EXPECT_EQ(model.get_next_lemma().clause,
            "(or (not (not c3)) (not (<= (+ x1 -2) 0)))");
  EXPECT_EQ(model.take_log(), (Log{"DL(graph) - found short interpolant: "
                                   "x1 -[-2 + 1/2*eps]-> x0"}));
}

// A conflict that names a retracted edge is compared, counted, and not walked;
// its dump shows the default edge.
TEST(GraphModelTest, CheckAfterRetractCountsSearchWithoutWalk) {
  GraphModel model = chain_model(3, 0.75F, false);
  fail(model, 4);
  model.retract_edge(4);
  fail(model, 5);

  EXPECT_FALSE(model.has_lemmas());
  EXPECT_EQ(model.get_stats()[1].second, "1");
  model.dump_conflict_sets();
  EXPECT_EQ(model.take_log(),
            (Log{"DL(graph) - cur_conflict_:  { x4 -[-5]-> x1 [id: 10], "
                 "x1 -[1]-> x2 [id: 2], x2 -[1]-> x3 [id: 4], "
                 "x3 -[1]-> x4 [id: 6] }",
                 "DL(graph) - prev_conflict_: { x-1 -[0]-> x-1 [id: -1], "
                 "x1 -[1]-> x2 [id: 2], x2 -[1]-> x3 [id: 4], "
                 "x3 -[1]-> x4 [id: 6] }"}));
}

// Edge 0 is taken for "no edge", so its node is no place to start from. The
// only other node that both cycles leave is left on one and the same edge.
TEST(GraphModelTest, CheckEdgeZeroIsNoStartOfWalk) {
  GraphModel model = model_with(1, 0.0F, false);
  tell(model, 0, 2, 1, "-3");
  tell(model, 1, 1, 2, "1");
  tell(model, 2, 2, 1, "-2");
  EXPECT_TRUE(push_and_check(model, 1));
  fail(model, 2);
  EXPECT_FALSE(push_and_check(model, 0));

  // Both walks begin at position 0, since edge 0 is not in the old cycle.
  EXPECT_EQ(model.cur_conflict(), (std::vector<int>{0, 2}));
  ASSERT_EQ(model.num_lemmas(), 2U);
  EXPECT_EQ(model.get_next_lemma().clause, "(or (not c0) (<= x1 (+ x2 -2)))");
}

// Three nodes visited in opposite order: the sides wait at different nodes.
TEST(GraphModelTest, NextCheckWouldNotEndWhenBothSidesWait) {
  GraphModel model = model_with(3, 0.0F, false);
  tell(model, 1, 1, 2, "0");
  tell(model, 2, 2, 3, "0");
  tell(model, 3, 3, 1, "-1");
  tell(model, 4, 1, 3, "0");
  tell(model, 5, 3, 2, "0");
  tell(model, 6, 2, 1, "-1");
  EXPECT_TRUE(push_and_check(model, 1));
  EXPECT_TRUE(push_and_check(model, 2));
  fail(model, 3);
  model.pop_edge(2);
  model.pop_edge(1);
  EXPECT_TRUE(push_and_check(model, 4));
  EXPECT_TRUE(push_and_check(model, 5));
  EXPECT_FALSE(model.next_check_would_not_end());
  model.push_edge(6);
  const std::string before = model.dump_debug_status();

  EXPECT_TRUE(model.next_check_would_not_end());
  EXPECT_EQ(model.dump_debug_status(), before);

  Settings settings = model.settings();
  settings.tlemma_kinds = 0;
  model.set_settings(settings);
  EXPECT_FALSE(model.next_check_would_not_end());
  EXPECT_FALSE(model.check());
}

// Lemmas outlive a reset; the filter, the conflict and the edges do not.
TEST(GraphModelTest, ResetKeepsLemmasAndPreviousConflict) {
  GraphModel model = chain_model(3, 0.0F, true);
  fail(model, 4);
  fail(model, 5);

  model.reset(true);

  EXPECT_EQ(model.num_lemmas(), 3U);
  EXPECT_TRUE(model.get_conflict_set().empty());
  EXPECT_EQ(model.prev_conflict(), (std::vector<int>{8, 2, 4, 6}));
  EXPECT_EQ(model.get_stats()[0].second, "2");
}

}  // namespace
}  // namespace vorn::model
