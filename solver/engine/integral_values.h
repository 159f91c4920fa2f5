// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_INTEGRAL_VALUES_H
#define VORN_SOLVER_ENGINE_INTEGRAL_VALUES_H

#include <cstddef>
#include <optional>
#include <vector>

#include "solver/engine/atom_table.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// Finds values for integers and reals with differences between the two, given
/// values that satisfy all constraints but are not all integral; or constraints
/// that leave no integers.
///
/// Between integers a path over reals allows no more than its length rounded
/// down. With these rounded paths as edges, the integers are a system of
/// differences of their own, which has a solution exactly if no cycle of it is
/// negative; each solution leaves room for the reals. (After Leiserson and
/// Saxe, "A mixed-integer linear programming problem which is efficiently
/// solvable", 1988.)
///
/// Cost: a Bellman-Ford over the reals for each integer with an edge to one,
/// and one over the integers. Ownership: borrows the table. Threads: none.
class IntegralValues {
 public:
  /// Looks at the constraints of these numbers.
  IntegralValues(const AtomTable& atoms, const std::vector<int>& active);
  /// And at one more, which is in no table; its number in conflict() is 0.
  IntegralValues(const AtomTable& atoms, const std::vector<int>& active,
                 const dl::Edge& extra);

  /// Whether there are constraints between an integer and a real.
  bool is_mixed() const { return mixed_; }

  /// Makes `values`, by node, integral where they are to be; node 0 has an
  /// integer, too. False if that cannot be: then conflict() says why.
  /// Requires: the values satisfy the constraints.
  bool find(std::vector<la::DNumber>& values);

  /// Constraints that have no solution together, once find has failed.
  const std::vector<int>& conflict() const { return conflict_; }

  /// After find has failed, the least weight of the extra constraint above its
  /// own with which the same constraints are no conflict any more.
  /// Requires: there is an extra constraint, and they are none without it.
  la::DNumber least_weight() const;

 private:
  // From one integer to another, with the constraints that say so.
  struct RoundedPath {
    int source;
    int target;
    QNumber length;
    la::DNumber exact_length;
    std::vector<int> constraints;
  };

  bool is_integer(int node) const;
  const dl::Edge& edge(int id) const {
    return id == kExtra ? *extra_ : atoms_.constraint(id).edge;
  }
  void add_constraint(int id);
  void add_paths_from(int source);
  bool lower_integers(std::vector<la::DNumber>& values);
  bool close_cycle(const std::vector<int>& parents, int node);
  void lower_reals(std::vector<la::DNumber>& values) const;

  // Constraints in a table are numbered from 1.
  static constexpr int kExtra = 0;

  const AtomTable& atoms_;
  std::optional<dl::Edge> extra_;
  bool mixed_ = false;
  // Constraints by source.
  std::vector<std::vector<int>> outgoing_;
  std::vector<RoundedPath> paths_;
  std::vector<int> conflict_;
  // The paths that it is made of: positions in paths_.
  std::vector<int> cycle_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_INTEGRAL_VALUES_H
