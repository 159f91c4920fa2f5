// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>

#include "vorn/dl/graph.h"

// Taking back: activations, registrations, everything.
//
// Potentials are never restored: they satisfied more edges than are left.

namespace vorn::dl {

bool Graph::pop_edge(int k) {
  const int idx = 2 * k;
  assert(edges_.contains(idx));
  // The second edge of a pair was pushed last, so it goes first.
  if (edges_.contains(idx + 1)) do_pop_edge(idx + 1);
  do_pop_edge(idx);
  return true;
}

void Graph::do_pop_edge(int idx) {
  const auto first = std::remove(pending_.begin(), pending_.end(), idx);
  if (first != pending_.end()) {
    pending_.erase(first, pending_.end());
    return;
  }
  const Ends ends = ends_of(idx);
  Node& source = nodes_.at(ends.source);
  assert(!source.pushed().empty() && source.pushed().back() == idx);
  source.pop_edge(idx);
  Node& target = nodes_.at(ends.target);
  if (target.pred_edge() == idx) target.set_pred_edge(-1);
}

bool Graph::retract_edge(int k) {
  const int idx = 2 * k;
  assert(edges_.contains(idx));
  // The second edge first: if memory runs out between the two, what is left is
  // a constraint with one edge, which the same call can retract.
  if (edges_.contains(idx + 1)) do_retract_edge(idx + 1);
  do_retract_edge(idx);
  return true;
}

void Graph::do_retract_edge(int idx) {
  Node& source = nodes_.at(edges_.at(idx).source);
  Node& target = nodes_.at(edges_.at(idx).target);
  // First what can fail: the slot gets a default edge, whose weight allocates.
  edges_.key_erase(idx);
  source.retract_edge(idx);
  if (target.pred_edge() == idx) target.set_pred_edge(-1);
}

void Graph::reset(bool full) {
  pending_.clear();
  edges_.clear();
  nodes_.clear();
  words_.clear();
  reserved_list_.clear();
  cur_conflict_.clear();
  if (full) {
    cur_beta_.clear();
    saved_beta_.clear();
  }
  learnt_lemmas_.clear();
}

}  // namespace vorn::dl
