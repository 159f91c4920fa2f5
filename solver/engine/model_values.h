// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_MODEL_VALUES_H
#define VORN_SOLVER_ENGINE_MODEL_VALUES_H

#include <optional>
#include <vector>

#include "solver/engine/atom_table.h"
#include "solver/terms/term.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// Values of the variables in a model, chosen from a solution with eps.
///
/// Strict bounds hold with one number for eps, small enough for all of them;
/// integers get integers. Cost: linear in nodes and bounds.
class ModelValues {
 public:
  /// Chooses values that satisfy the constraints in `active`. Requires: so does
  /// `solution`, by node; and where an integer meets a real, the integers in it
  /// differ from node 0 by integers.
  void choose(const AtomTable& atoms, const std::vector<int>& active,
              const std::vector<la::DNumber>& solution);

  /// The chosen value of a node; nothing for node 0 and one made since.
  std::optional<QNumber> value(int node) const;

 private:
  std::vector<QNumber> values_;  // by node
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_MODEL_VALUES_H
