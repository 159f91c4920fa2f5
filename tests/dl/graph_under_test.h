// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_DL_GRAPH_UNDER_TEST_H
#define VORN_TESTS_DL_GRAPH_UNDER_TEST_H

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "tests/dl/text_terms.h"
#include "tests/inspector.h"
#include "vorn/dl/edge.h"
#include "vorn/dl/graph.h"
#include "vorn/numbers/d_number.h"
#include "vorn/services/configuration.h"
#include "vorn/services/logger.h"

namespace vorn::dl_test {

using EdgeIds = std::vector<int>;
using Texts = std::vector<std::string>;

/// The edge target - source <= r + eps*infinitesimal, with an id that no graph
/// gives out, so that it cannot be mistaken for an edge id.
inline dl::Edge edge(int source, int target, int r, int eps = 0) {
  return {source, target, la::DNumber(r, eps), 1000 * source + target};
}

/// Equal values, whatever the forms and blocks.
inline bool same(const la::DNumber& a, const la::DNumber& b) {
  return a.rational() == b.rational() && a.eps() == b.eps() &&
         a.is_tagged() == b.is_tagged();
}

/// A graph with the host that it needs. Lemmas are off, as by default.
struct GraphUnderTest {
  Configuration::Theory::La config;
  TextTerms terms;
  TextMapper mapper{&terms};
  dl::Graph graph{&config, &mapper, &terms};

  /// Registers constraint k as one edge.
  void tell(int k, int source, int target, int r, int eps = 0) {
    EXPECT_TRUE(graph.tell_edge(k, edge(source, target, r, eps)));
  }
  /// Queues constraints.
  void push(const std::vector<int>& constraints) {
    for (const int k : constraints) EXPECT_TRUE(graph.push_edge(k));
  }
  /// Queues constraints and checks.
  bool activate(const std::vector<int>& constraints) {
    push(constraints);
    return graph.check(true);
  }
  /// Takes back constraints, the last one of the list first.
  void pop(const std::vector<int>& constraints) {
    for (auto k = constraints.rbegin(); k != constraints.rend(); ++k) {
      EXPECT_TRUE(graph.pop_edge(*k));
    }
  }
  std::vector<int> conflict_set() {
    std::vector<int> result;
    EXPECT_TRUE(graph.get_conflict_set(&result));
    return result;
  }
  /// Text of the committed and current potential, which have to be equal.
  std::string potential(int node) const {
    const auto& cur = Inspector::cur_beta(graph);
    const auto& saved = Inspector::saved_beta(graph);
    if (!cur.contains(node) || !saved.contains(node)) return "<absent>";
    EXPECT_TRUE(same(cur.at(node), saved.at(node))) << "node " << node;
    return cur.at(node).to_str();
  }
  EdgeIds active(int node) const { return node_at(node).pushed(); }
  EdgeIds notified(int node) const { return node_at(node).notified(); }
  int pred(int node) const { return node_at(node).pred_edge(); }
  const EdgeIds& pending() const { return Inspector::pending(graph); }
  EdgeIds& cur_conflict() { return Inspector::cur_conflict(graph); }
  EdgeIds& prev_conflict() { return Inspector::prev_conflict(graph); }
  bool is_registered(int edge_id) const {
    const auto& edges = Inspector::edges(graph);
    return edges.find(edge_id) != edges.end();
  }

  /// Clauses of all queued lemmas, oldest first; they are taken off the queue.
  Texts take_lemmas() {
    Texts clauses;
    while (graph.has_lemmas()) {
      clauses.push_back(TextTerms::text(graph.get_next_lemma().first));
    }
    return clauses;
  }

 private:
  const dl::Node& node_at(int node) const {
    const auto& nodes = Inspector::nodes(graph);
    EXPECT_TRUE(nodes.contains(node)) << "node " << node;
    return nodes.at(node);
  }
};

/// It logs into a string.
struct LoggingGraph : GraphUnderTest {
  explicit LoggingGraph(int verbosity) : logger(out, verbosity) {
    graph.set_logger(&logger);
  }

  std::ostringstream out;
  Logger logger;
};

}  // namespace vorn::dl_test

#endif  // VORN_TESTS_DL_GRAPH_UNDER_TEST_H
