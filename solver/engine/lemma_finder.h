// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_LEMMA_FINDER_H
#define VORN_SOLVER_ENGINE_LEMMA_FINDER_H

#include <cstddef>
#include <vector>

#include "vorn/dl/graph.h"
#include "vorn/services/configuration.h"
#include "vorn/services/linear_term_mapper.h"
#include "vorn/services/term_manager.h"

namespace vorn::solver {

/// Learns lemmas from the conflicts of a graph, away from that graph.
///
/// A lemma search looks at the last two conflicts and nothing else. So the
/// graph that the search works on has lemmas switched off, and each of its
/// conflicts is replayed on a graph of its own that has them on: all edges of
/// the cycle but the one that closed it are activated, then that one, which
/// must close the same cycle again, since no other edges are active; then all
/// are taken back.
///
/// That graph guards its walks, so that each search ends.
///
/// Cost: linear in the cycle for each conflict; nothing for other checks.
/// Ownership: borrows mapper and manager. Threads: none.
class LemmaFinder {
 public:
  /// Looks for the kinds of lemmas that `configuration` switches on.
  LemmaFinder(const Configuration::Theory::La& configuration,
              la::LinearTermMapper& mapper, TermManager& manager)
      : configuration_(configuration),
        graph_(&configuration_, &mapper, &manager) {
    graph_.guard_lemma_walks(true);
  }

  /// Looks for lemmas in this conflict and the one before it: the edges of a
  /// cycle in its direction, the one that closed it first, each with its
  /// constraint's id as edge id.
  void learn_from(const std::vector<const dl::Edge*>& cycle);

  /// Forgets a constraint, whose number may stand for another from now on.
  void forget(int constraint);
  /// Forgets all constraints, whose numbers may stand for others from now on,
  /// and the conflicts that name them.
  void forget_all();

  /// Its queue holds the lemmas, it counts conflicts, lemmas and endless walks.
  dl::Graph& graph() { return graph_; }
  /// The same, to look at.
  const dl::Graph& graph() const { return graph_; }

 private:
  Configuration::Theory::La configuration_;
  dl::Graph graph_;
  std::vector<char> told_;  // by constraint id
  /// Of the last conflict.
  std::vector<int> last_cycle_;
  /// The last conflict names a constraint that was forgotten.
  bool is_stale_ = false;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_LEMMA_FINDER_H
