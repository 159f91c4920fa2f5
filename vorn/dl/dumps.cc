// SPDX-License-Identifier: MIT
#include <cstddef>
#include <ostream>
#include <vector>

#include "vorn/dl/graph.h"

// The graph in text, for people who debug a host.

namespace vorn::dl {
namespace {

void dump_potentials(const char* name, const Graph::Potentials& beta,
                     std::ostream& out) {
  for (int n = 0; n < beta.num_slots(); ++n) {
    if (!beta.contains(n)) continue;
    out << name << "[" << n << "]: " << beta.at(n) << "\n";
  }
}

}  // namespace

void Graph::dump_debug_status(std::ostream& out) const {
  // Unlike dump_edge_list, every edge is followed by a separator, the last one
  // too.
  const auto dump_edges = [this, &out](const std::vector<int>& ids) {
    for (const int id : ids) out << get_edge(id).to_str() << ", ";
  };
  out << "DL - Saved Beta:\n";
  dump_potentials("saved_beta_", saved_beta_, out);
  out << "DL - Current Beta:\n";
  dump_potentials("cur_beta_", cur_beta_, out);
  out << "DL - Graph:\n";
  // Potentials can outlive their nodes; such an index prints as a node without
  // edges, and no node is made for it.
  const std::vector<int> no_edges;
  for (int n = 0; n < cur_beta_.num_slots(); ++n) {
    if (!cur_beta_.contains(n)) continue;
    const bool known = nodes_.contains(n);
    out << "nodes_[" << n << "] - pushed: { ";
    dump_edges(known ? nodes_.at(n).pushed() : no_edges);
    out << "}, notified: { ";
    dump_edges(known ? nodes_.at(n).notified() : no_edges);
    out << "}\n";
  }
}

void Graph::dump_edge_list(const std::vector<int>& list, std::ostream& out,
                           bool full) {
  out << "{ ";
  const char* separator = "";
  for (const int id : list) {
    out << separator;
    if (full) {
      out << get_edge(id).to_str();
    } else {
      out << id;
    }
    separator = ", ";
  }
  out << (list.empty() ? "}" : " }");
}

}  // namespace vorn::dl
