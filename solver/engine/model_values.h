// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_MODEL_VALUES_H
#define VORN_SOLVER_ENGINE_MODEL_VALUES_H

#include <optional>
#include <vector>

#include "solver/engine/atom_table.h"
#include "solver/terms/term.h"
#include "vorn/dl/graph.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// Values of the variables in a model, chosen from a graph's potentials.
///
/// Strict bounds hold with one number for eps, small enough for all of them;
/// integers get integers. Cost: linear in nodes and bounds.
class ModelValues {
 public:
  /// Chooses values that satisfy the constraints in `active`. Requires: the
  /// graph is consistent, and its potentials satisfy these.
  void choose(const AtomTable& atoms, const std::vector<int>& active,
              const dl::Graph& graph);

  /// The chosen value of a node; nothing for node 0 and one made since.
  std::optional<QNumber> value(int node) const;

 private:
  std::vector<QNumber> values_;  // by node
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_MODEL_VALUES_H
