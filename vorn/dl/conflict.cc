// SPDX-License-Identifier: MIT
#include <cstddef>
#include <ios>
#include <sstream>
#include <string>
#include <vector>

#include "vorn/dl/graph.h"

// Explanations: the last two negative cycles, and how they line up.

namespace vorn::dl {

bool Graph::get_conflict_set(std::vector<int>* out) {
  conflict_out_.clear();
  for (const int edge : cur_conflict_) conflict_out_.push_back(edge / 2);
  conflict_out_.swap(*out);
  return true;
}

const Proof* Graph::get_conflict_proof() {
  return nullptr;
}

bool Graph::has_negative_cycle(const Potentials& pi) {
  for (int n = 0; n < nodes_.num_slots(); ++n) {
    if (!nodes_.contains(n)) continue;
    for (const int id : nodes_.at(n).pushed()) {
      const Edge& edge = edges_.at(id);
      // A value, not a reference: the second lookup may grow the map.
      const la::DNumber from = pi[edge.source];
      const la::DNumber& to = pi[edge.target];
      if (la::DNumber::sum_less(from, edge.weight, to)) return true;
    }
  }
  return false;
}

// Fills `node_map` with the edges by which each cycle leaves each node, 0 for
// none, and chooses where the lemma walk starts on either cycle: at the last
// node, in the order of the previous cycle, that both leave by different edges.
// An edge whose id is 0 deliberately reads as "no edge" here; a host leaves
// constraint 0 unused.
//
// When there is no such node the walk starts at the current cycle's first
// edge, on the previous cycle at the same edge if it is there. So a cycle that
// is found again from another of its edges is walked in step, instead of
// sending both sides into waiting; two unrelated cycles start at 0 and 0.
void Graph::do_synch_conflicts(std::size_t n_cur, std::size_t n_prev,
                               std::size_t& off_cur, std::size_t& off_prev,
                               NodePairs& node_map) {
  for (; off_cur < n_cur; ++off_cur) {
    const int id = cur_conflict_[off_cur];
    node_map[edges_.at(id).source].first = id;
  }
  int meet = -1;
  for (; off_prev < n_prev; ++off_prev) {
    const int id = prev_conflict_[off_prev];
    const int source = edges_.at(id).source;
    std::pair<int, int>& leaving = node_map[source];
    leaving.second = id;
    if (leaving.first != leaving.second && leaving.first != 0) meet = source;
  }
  const auto position = [](const std::vector<int>& cycle, int id) {
    std::size_t k = 0;
    while (k < cycle.size() && cycle[k] != id) ++k;
    return k;
  };
  off_cur = 0;
  off_prev = 0;
  if (meet != -1) {
    off_cur = position(cur_conflict_, node_map[meet].first);
    off_prev = position(prev_conflict_, node_map[meet].second);
  } else if (n_cur > 0) {
    const std::size_t same = position(prev_conflict_, cur_conflict_[0]);
    if (same < n_prev) off_prev = same;
  }
}

void Graph::dump_conflict_sets() {
  if (logger_ == nullptr) return;
  log_conflict("cur_conflict_:  ", cur_conflict_);
  log_conflict("prev_conflict_: ", prev_conflict_);
}

void Graph::log_conflict(const char* label, const std::vector<int>& conflict) {
  std::ostringstream text;
  // Or running out of memory would cut the text short.
  text.exceptions(std::ios_base::badbit);
  text << label;
  dump_edge_list(conflict, text, true);
  (*logger_)("DL") << loglevel{static_cast<int>(loglevel_)} << "DL(graph) - "
                   << text.str() << endlog;
}

}  // namespace vorn::dl
