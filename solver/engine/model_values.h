// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_MODEL_VALUES_H
#define VORN_SOLVER_ENGINE_MODEL_VALUES_H

#include <optional>
#include <utility>
#include <vector>

#include "solver/engine/followed_potentials.h"
#include "solver/engine/recorded_graph.h"
#include "solver/terms/term.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// Values of the variables in a model, read off a graph's potentials, or
/// another solution with eps, when they are asked for.
///
/// Strict bounds hold with one number for eps, small enough for all of them;
/// integers get integers.
///
/// Cost: a value O(1), apart from the first one with a part of eps, which is
/// linear in the constraints. Ownership: borrows variables and graph; values
/// are those of the model until constraints are told or checked, or nodes
/// numbered anew.
class ModelValues {
 public:
  /// Reads values in `graph`, which knows the constraints; `variables` are
  /// those of its nodes, from 1 on.
  ModelValues(const std::vector<const Term*>& variables,
              const RecordedGraph& graph)
      : variables_(variables), graph_(graph) {}

  /// Chooses values that satisfy the constraints in `active`. Requires: so does
  /// `solution`, by node, or if it is empty the graph's potentials; and where
  /// an integer meets a real, the integers in it differ from node 0 by
  /// integers.
  void choose(std::vector<int> active, std::vector<la::DNumber> solution = {}) {
    active_ = std::move(active);
    solution_ = std::move(solution);
    start(0);
  }
  /// The same for the graph's potentials and the constraints from 1 to `last`,
  /// without a list of them.
  void choose_up_to(int last) {
    active_.clear();
    solution_.clear();
    start(last);
  }
  /// The same for the potentials that `followed` has noted, which is on and is
  /// borrowed until the next choice; `first_new` is the first constraint that
  /// it was not known for when it was last called. Whether each node that is
  /// not among the changed ones of `followed` has the value that it had.
  /// Cost: if so, linear in the new constraints and those at changed nodes.
  bool choose_followed(const FollowedPotentials& followed, int first_new,
                       int last);

  /// Chooses the number for eps now, while all constraints are known. Cost:
  /// linear in them, unless choose_followed has kept the one before.
  void settle_eps() {
    if (!eps_) eps_ = choose_eps();
  }

  /// Whether they are values that are followed.
  bool are_followed() const { return followed_ != nullptr; }
  /// The constraints given to choose, if they are not.
  const std::vector<int>& active() const { return active_; }
  /// What the values are read off, by node; eps stands in it for no number yet.
  std::vector<la::DNumber> solution() const;

  /// The chosen value of a node; nothing for node 0 and one made since.
  std::optional<QNumber> value(int node) const;

 private:
  void start(int last) {
    last_ = last;
    eps_.reset();
    followed_ = nullptr;
    num_nodes_ = static_cast<int>(variables_.size()) + 1;
  }
  QNumber choose_eps() const;
  void limit_eps(int id, QNumber& eps) const;
  la::DNumber potential_of(int node) const {
    if (followed_ != nullptr) return followed_->potential(node);
    return solution_.empty() ? graph_.potential(node)
                             : solution_[static_cast<std::size_t>(node)];
  }

  const std::vector<const Term*>& variables_;
  const RecordedGraph& graph_;
  std::vector<int> active_;
  int last_ = 0;
  std::vector<la::DNumber> solution_;
  const FollowedPotentials* followed_ = nullptr;
  mutable std::optional<QNumber> eps_;
  int num_nodes_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_MODEL_VALUES_H
