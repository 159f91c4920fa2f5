// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_DL_LEARNING_GRAPH_H
#define VORN_TESTS_DL_LEARNING_GRAPH_H

#include <gtest/gtest.h>

#include <cstddef>

#include "tests/dl/graph_under_test.h"

// Graphs for pairs of cycles that are worked by hand. A cycle is given by its
// edge ids (twice the constraint's number), the lemmas that a pair teaches as
// clauses.

namespace vorn::dl_test {

/// A graph that searches any two conflicts for lemmas of both kinds.
struct LearningGraph : GraphUnderTest {
  LearningGraph() {
    config.dl_tlemma_kinds = 3;
    config.dl_tlemma_min_overlap = 0.0F;
  }

  /// The lemmas that `cur` teaches after `prev`.
  Texts learn(const EdgeIds& prev, const EdgeIds& cur) {
    prev_conflict() = prev;
    cur_conflict() = cur;
    Inspector::do_search_lemmas(graph);
    EXPECT_EQ(prev_conflict(), prev);
    EXPECT_EQ(cur_conflict(), cur);
    return take_lemmas();
  }

  std::size_t searches() const { return Inspector::num_tlemma_searches(graph); }
};

/// From node 1 to node 2 over constraint 1, or over 3 and 4 and node 3; back
/// over constraint 2.
struct TwoWays : LearningGraph {
  TwoWays() {
    tell(1, 1, 2, 1);
    tell(2, 2, 1, -5);
    tell(3, 1, 3, 2);
    tell(4, 3, 2, 1);
  }
};

}  // namespace vorn::dl_test

#endif  // VORN_TESTS_DL_LEARNING_GRAPH_H
