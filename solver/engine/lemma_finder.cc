// SPDX-License-Identifier: MIT
#include "solver/engine/lemma_finder.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <vector>

namespace vorn::solver {

void LemmaFinder::learn_from(const std::vector<const dl::Edge*>& cycle) {
  if (is_stale_) forget_all();
  last_cycle_.clear();
  for (const dl::Edge* edge : cycle) {
    last_cycle_.push_back(edge->id);
    const auto id = static_cast<std::size_t>(edge->id);
    if (id >= told_.size()) told_.resize(id + 1, 0);
    if (told_[id] != 0) continue;
    graph_.tell_edge(edge->id, *edge);
    told_[id] = 1;
  }
  for (std::size_t k = 1; k < cycle.size(); ++k) {
    graph_.push_edge(cycle[k]->id);
  }
  graph_.push_edge(cycle[0]->id);
  [[maybe_unused]] const bool consistent = graph_.check(true);
  assert(!consistent);
  graph_.pop_edge(cycle[0]->id);
  for (std::size_t k = cycle.size(); k > 1; --k) {
    graph_.pop_edge(cycle[k - 1]->id);
  }
}

void LemmaFinder::forget(int constraint) {
  const auto id = static_cast<std::size_t>(constraint);
  if (id >= told_.size() || told_[id] == 0) return;
  graph_.retract_edge(constraint);
  told_[id] = 0;
  is_stale_ = is_stale_ || std::count(last_cycle_.begin(), last_cycle_.end(),
                                      constraint) > 0;
}

// The previous conflict stays in the graph, but is never looked at again: the
// next one takes the place of the current one, which is gone.
void LemmaFinder::forget_all() {
  graph_.reset(true);
  told_.clear();
  last_cycle_.clear();
  is_stale_ = false;
}

}  // namespace vorn::solver
