// SPDX-License-Identifier: MIT
#include "tests/model/closure_model.h"

#include <cassert>

namespace vorn::model {

void ClosureModel::tell(int k, const EdgeRecord& edge) {
  assert(told_.count(k) == 0);
  told_[k] = edge;
  for (const int node : {edge.source, edge.target}) {
    if (nodes_.emplace(node, nodes_.size()).second) rows_.clear();
  }
}

bool ClosureModel::admits(int k) const {
  const EdgeRecord& edge = told_.at(k);
  const Weight* back = distance(edge.target, edge.source);
  return back == nullptr || !(*back + edge.weight < Weight());
}

void ClosureModel::push(int k) {
  assert(admits(k));
  active_.push_back(k);
  rows_.clear();
}

void ClosureModel::pop() {
  assert(!active_.empty());
  active_.pop_back();
  rows_.clear();
}

const Weight* ClosureModel::distance(int source, int target) const {
  auto found = rows_.find(source);
  if (found == rows_.end()) {
    found = rows_.emplace(source, distances_from(source, active_.size())).first;
  }
  const Distance& d = found->second[nodes_.at(target)];
  return d.has_value() ? &*d : nullptr;
}

bool ClosureModel::implies(const EdgeRecord& edge) const {
  const Weight* d = distance(edge.source, edge.target);
  return d != nullptr && !(edge.weight < *d);
}

bool ClosureModel::implies_early(const EdgeRecord& edge,
                                 std::size_t count) const {
  const Distance d = distances_from(edge.source, count)[nodes_.at(edge.target)];
  return d.has_value() && !(edge.weight < *d);
}

// Bellman and Ford's method. Active constraints close no negative cycle, so
// there is an end.
ClosureModel::Row ClosureModel::distances_from(int source,
                                               std::size_t count) const {
  Row row(nodes_.size());
  row[nodes_.at(source)] = Weight();
  for (bool changed = true; changed;) {
    changed = false;
    for (std::size_t i = 0; i < count; ++i) {
      const EdgeRecord& edge = told_.at(active_[i]);
      const Distance& from = row[nodes_.at(edge.source)];
      if (!from.has_value()) continue;
      const Weight length = *from + edge.weight;
      Distance& to = row[nodes_.at(edge.target)];
      if (to.has_value() && !(length < *to)) continue;
      to = length;
      changed = true;
    }
  }
  return row;
}

}  // namespace vorn::model
