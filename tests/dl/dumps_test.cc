// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <iostream>
#include <sstream>
#include <string>

#include "tests/dl/graph_under_test.h"
#include "tests/pseudo_terminal.h"
#include "vorn/dl/graph.h"
#include "vorn/services/logger.h"

namespace vorn::dl {
namespace {

using dl_test::edge;
using dl_test::EdgeIds;
using dl_test::GraphUnderTest;

std::string status(const Graph& graph) {
  std::ostringstream out;
  graph.dump_debug_status(out);
  return out.str();
}

std::string edge_list(Graph& graph, const EdgeIds& ids, bool full) {
  std::ostringstream out;
  graph.dump_edge_list(ids, out, full);
  return out.str();
}

// Headings only.
TEST(GraphTest, DumpDebugStatusOfFreshGraphPrintsTheHeadings) {
  GraphUnderTest t;

  EXPECT_EQ(status(t.graph),
            "DL - Saved Beta:\nDL - Current Beta:\nDL - Graph:\n");
}

// All there is, in key order; every edge is followed by a separator.
TEST(GraphTest, DumpDebugStatusPrintsPotentialsAndEdgesOfEachNode) {
  GraphUnderTest t;
  t.tell(1, 3, 1, -2, -1);
  t.tell(2, 3, 7, 4);
  t.tell(3, 3, 1, 5);
  t.tell(4, 7, 1, 6);
  ASSERT_TRUE(t.activate({2, 1}));

  EXPECT_EQ(status(t.graph),
            "DL - Saved Beta:\n"
            "saved_beta_[1]: -2 - eps\n"
            "saved_beta_[3]: 0\n"
            "saved_beta_[7]: 0\n"
            "DL - Current Beta:\n"
            "cur_beta_[1]: -2 - eps\n"
            "cur_beta_[3]: 0\n"
            "cur_beta_[7]: 0\n"
            "DL - Graph:\n"
            "nodes_[1] - pushed: { }, notified: { }\n"
            "nodes_[3] - pushed: { x3 -[4]-> x7 [id: 3007], "
            "x3 -[-2 - eps]-> x1 [id: 3001], }, "
            "notified: { x3 -[5]-> x1 [id: 3001], }\n"
            "nodes_[7] - pushed: { }, notified: { x7 -[6]-> x1 [id: 7001], "
            "}\n");
}

// A node without edges has two empty lists.
TEST(GraphTest, DumpDebugStatusOfNodeWithoutEdgesPrintsEmptyLists) {
  GraphUnderTest t;
  t.tell(1, 1, 1, 0);
  t.graph.retract_edge(1);

  EXPECT_EQ(status(t.graph),
            "DL - Saved Beta:\nsaved_beta_[1]: 0\n"
            "DL - Current Beta:\ncur_beta_[1]: 0\n"
            "DL - Graph:\nnodes_[1] - pushed: { }, notified: { }\n");
}

// The two tables are printed each from its own entries, and the node section
// goes by the current potentials.
TEST(GraphTest, DumpDebugStatusListsAnIndexOfOneTableThereOnly) {
  GraphUnderTest t;
  t.tell(1, 1, 2, 0);
  Inspector::cur_beta(t.graph).key_erase(1);
  Inspector::saved_beta(t.graph)[2] = la::DNumber(5, 2);

  EXPECT_EQ(status(t.graph),
            "DL - Saved Beta:\nsaved_beta_[1]: 0\n"
            "saved_beta_[2]: 5 + 2*eps\n"
            "DL - Current Beta:\ncur_beta_[2]: 0\n"
            "DL - Graph:\nnodes_[2] - pushed: { }, notified: { }\n");
}

// Potentials outlive their nodes in a reset; the dump must not make nodes.
TEST(GraphTest, DumpDebugStatusOfIndexWithoutNodePrintsEmptyLists) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -3);
  ASSERT_TRUE(t.activate({1}));
  t.graph.reset(false);

  EXPECT_EQ(status(t.graph),
            "DL - Saved Beta:\nsaved_beta_[1]: 0\nsaved_beta_[2]: -3\n"
            "DL - Current Beta:\ncur_beta_[1]: 0\ncur_beta_[2]: -3\n"
            "DL - Graph:\nnodes_[1] - pushed: { }, notified: { }\n"
            "nodes_[2] - pushed: { }, notified: { }\n");
  EXPECT_FALSE(t.graph.var_is_known(1));
  EXPECT_FALSE(Inspector::nodes(t.graph).contains(2));
}

// The dump is for any moment, also right after a conflict.
TEST(GraphTest, DumpDebugStatusChangesNothingInAnInconsistentGraph) {
  GraphUnderTest t;
  t.tell(1, 1, 2, -3);
  t.tell(2, 2, 1, 2);
  ASSERT_FALSE(t.activate({1, 2}));

  const std::string first = status(t.graph);

  EXPECT_EQ(status(t.graph), first);
  EXPECT_EQ(t.pending(), EdgeIds{4});
  EXPECT_EQ(t.cur_conflict(), (EdgeIds{4, 2}));
}

// An empty list is two braces and one blank, with and without texts.
TEST(GraphTest, DumpEdgeListOfNothingPrintsBraces) {
  GraphUnderTest t;

  EXPECT_EQ(edge_list(t.graph, {}, false), "{ }");
  EXPECT_EQ(edge_list(t.graph, {}, true), "{ }");
}

// Ids are printed as they are, registered or not.
TEST(GraphTest, DumpEdgeListPrintsIds) {
  GraphUnderTest t;

  EXPECT_EQ(edge_list(t.graph, {3}, false), "{ 3 }");
  EXPECT_EQ(edge_list(t.graph, {3, 9}, false), "{ 3, 9 }");
  EXPECT_EQ(edge_list(t.graph, {3, 7, 9}, false), "{ 3, 7, 9 }");
}

// With texts, the separators stay between the elements.
TEST(GraphTest, DumpEdgeListFullPrintsEdgeTexts) {
  GraphUnderTest t;
  t.graph.tell_bi_edge(3, edge(1, 2, -1), edge(2, 1, 1));

  EXPECT_EQ(edge_list(t.graph, {7, 6}, true),
            "{ x2 -[1]-> x1 [id: 2001], x1 -[-1]-> x2 [id: 1002] }");
}

// A list can name an edge that has been retracted.
TEST(GraphTest, DumpEdgeListFullOfUnregisteredEdgePrintsTheDefaultEdge) {
  GraphUnderTest t;

  EXPECT_EQ(edge_list(t.graph, {6}, true), "{ x-1 -[0]-> x-1 [id: -1] }");
  EXPECT_FALSE(t.is_registered(6));
}

/// Standard output on a terminal of its own, for as long as it lives.
class TerminalOutput {
 public:
  TerminalOutput() {
    std::cout.flush();
    if (!terminal_.ok()) return;
    saved_ = dup(STDOUT_FILENO);
    dup2(terminal_.program, STDOUT_FILENO);
  }
  TerminalOutput(const TerminalOutput&) = delete;
  TerminalOutput& operator=(const TerminalOutput&) = delete;
  ~TerminalOutput() {
    restore();
    if (!terminal_.ok()) return;
    close(terminal_.program);
    close(terminal_.screen);
  }

  bool ready() const { return saved_ >= 0; }

  /// Gives standard output back and returns what was written since.
  std::string take() {
    // An end mark: reading an empty terminal would wait.
    std::cout << '\x04' << std::flush;
    restore();
    std::string text;
    std::array<char, 256> part{};
    while (text.empty() || text.back() != '\x04') {
      const ssize_t count = read(terminal_.screen, part.data(), part.size());
      if (count <= 0) break;
      text.append(part.data(), static_cast<std::size_t>(count));
    }
    if (!text.empty()) text.pop_back();
    return text;
  }

 private:
  void restore() {
    if (saved_ < 0) return;
    std::cout.flush();
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    saved_ = -1;
  }

  test::PseudoTerminal terminal_ = test::open_pseudo_terminal();
  int saved_ = -1;
};

constexpr char kEmptyConflicts[] =
    "DL(graph) - cur_conflict_:  { }\n"
    "DL(graph) - prev_conflict_: { }\n";

// On a terminal each message first returns to the start of the line, over a
// progress display, and only once; a message that is not written leaves that
// to the next one that is.
TEST(GraphTest, LogOnATerminalStartsEachMessageWithOneCarriageReturn) {
  GraphUnderTest t;
  Logger logger(std::cout, 2);
  t.graph.set_logger(&logger);
  TerminalOutput terminal;
  if (!terminal.ready()) GTEST_SKIP() << test::kNoTerminal;

  Inspector::loglevel(t.graph) = 3;
  t.graph.dump_conflict_sets();
  Inspector::loglevel(t.graph) = 2;
  t.graph.dump_conflict_sets();

  EXPECT_EQ(terminal.take(),
            "\rDL(graph) - cur_conflict_:  { }\n"
            "\rDL(graph) - prev_conflict_: { }\n");
}

// In a file, carriage returns would be rubbish.
TEST(GraphTest, LogOnAnyOtherStreamHasNoCarriageReturn) {
  GraphUnderTest t;
  std::ostringstream out;
  Logger logger(out, 2);
  t.graph.set_logger(&logger);

  Inspector::loglevel(t.graph) = 3;
  t.graph.dump_conflict_sets();
  EXPECT_EQ(out.str(), "");
  Inspector::loglevel(t.graph) = 2;
  t.graph.dump_conflict_sets();

  EXPECT_EQ(out.str(), kEmptyConflicts);
}

}  // namespace
}  // namespace vorn::dl
