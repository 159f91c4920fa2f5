// SPDX-License-Identifier: MIT
#include "solver/engine/lemma_finder.h"

#include <cassert>
#include <utility>

namespace vorn::solver {

void LemmaFinder::learn_from(const std::vector<const dl::Edge*>& cycle) {
  for (const dl::Edge* edge : cycle) {
    const auto id = static_cast<std::size_t>(edge->id);
    if (id >= told_.size()) told_.resize(id + 1, 0);
    if (told_[id] != 0) continue;
    graph_.tell_edge(edge->id, *edge);
    pilot_.tell_edge(edge->id, *edge);
    told_[id] = 1;
  }
  activate(pilot_, cycle);
  const bool ends = pilot_.lemma_walk_ends();
  take_back(pilot_, cycle);
  if (!ends) ++num_endless_walks_;
  const int kinds = configuration_.dl_tlemma_kinds;
  if (!ends) configuration_.dl_tlemma_kinds = 0;
  activate(graph_, cycle);
  configuration_.dl_tlemma_kinds = kinds;
  take_back(graph_, cycle);
}

void LemmaFinder::activate(dl::Graph& graph,
                           const std::vector<const dl::Edge*>& cycle) {
  for (std::size_t k = 1; k < cycle.size(); ++k) {
    graph.push_edge(cycle[k]->id);
  }
  graph.push_edge(cycle[0]->id);
  [[maybe_unused]] const bool consistent = graph.check(true);
  assert(!consistent);
}

void LemmaFinder::take_back(dl::Graph& graph,
                            const std::vector<const dl::Edge*>& cycle) {
  graph.pop_edge(cycle[0]->id);
  for (std::size_t k = cycle.size(); k > 1; --k) {
    graph.pop_edge(cycle[k - 1]->id);
  }
}

void LemmaFinder::forget(int constraint) {
  const auto id = static_cast<std::size_t>(constraint);
  if (id >= told_.size() || told_[id] == 0) return;
  graph_.retract_edge(constraint);
  pilot_.retract_edge(constraint);
  told_[id] = 0;
}

}  // namespace vorn::solver
