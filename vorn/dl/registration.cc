// SPDX-License-Identifier: MIT
#include <cassert>

#include "vorn/dl/graph.h"

// Construction, and the registration of constraints.

namespace vorn::dl {

Graph::Graph(Configuration::Theory::La* config, la::LinearTermMapper* mapper,
             TermManager* mgr)
    : config_(config),
      mapper_(mapper),
      mgr_(mgr),
      logger_(nullptr),
      loglevel_(2),
      num_conflicts_(0),
      num_tlemma_searches_(0),
      num_short_tlemmas_(0),
      num_long_tlemmas_(0),
      num_dup_short_tlemmas_(0),
      num_dup_long_tlemmas_(0),
      guards_walks_(false),
      num_endless_walks_(0) {}

bool Graph::tell_edge(int k, const Edge& e) {
  return do_tell_edge(2 * k, e);
}

bool Graph::tell_bi_edge(int k, const Edge& e1, const Edge& e2) {
  do_tell_edge(2 * k, e1);
  return do_tell_edge(2 * k + 1, e2);
}

bool Graph::do_tell_edge(int idx, const Edge& e) {
  assert(idx >= 0 && e.source >= 0 && e.target >= 0);
  for (const int node : {e.source, e.target}) {
    if (nodes_.contains(node)) continue;
    // A shared zero: its own block is made when a potential first falls.
    words_.add_node(node);
    cur_beta_[node] = la::DNumber();
    saved_beta_[node] = la::DNumber();
    nodes_[node] = Node();
  }
  words_.set_edge(idx, e);
  edges_[idx] = e;
  return nodes_.at(e.source).tell_edge(idx);
}

Edge Graph::get_edge(int idx) const {
  return edges_.contains(idx) ? edges_.at(idx) : Edge();
}

bool Graph::var_is_known(int n) {
  return cur_beta_.contains(n) && saved_beta_.contains(n) && nodes_.contains(n);
}

la::DNumber Graph::get_potential(int n) const {
  return saved_beta_.contains(n) ? saved_beta_.at(n) : la::DNumber();
}

}  // namespace vorn::dl
