// SPDX-License-Identifier: MIT
#ifndef VORN_MODEL_CLOSURE_MODEL_H
#define VORN_MODEL_CLOSURE_MODEL_H

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

#include "tests/model/graph_model.h"

namespace vorn::model {

/// What is true of difference constraints, for comparison with dl::Closure:
/// which can be active together, and what follows from those that are.
///
/// Nothing is kept up to date: each set of active constraints is looked at from
/// scratch. Numbers are GMP's.
class ClosureModel {
 public:
  /// Requires: k is not registered.
  void tell(int k, const EdgeRecord& edge);
  /// Requires: k is registered and not active.
  void retract(int k) { told_.erase(k); }

  /// Whether k and the active constraints have a solution together.
  /// Requires: k is registered.
  bool admits(int k) const;
  /// Requires: admits(k).
  void push(int k);
  /// Requires: some constraint is active.
  void pop();

  /// Registered constraints.
  const std::map<int, EdgeRecord>& told() const { return told_; }
  /// Active ones, in the order of their pushes; one may be there twice.
  const std::vector<int>& active() const { return active_; }
  /// All nodes ever named, each with its place in tables.
  const std::map<int, std::size_t>& nodes() const { return nodes_; }

  /// The tightest bound on target - source that follows; null if there is none.
  /// Requires: both nodes were named. Cost: Bellman and Ford's method for the
  /// first question about a source and a set of active constraints, a look-up
  /// from then on.
  const Weight* distance(int source, int target) const;
  /// Whether the constraint of the edge follows. Cost: that of distance().
  bool implies(const EdgeRecord& edge) const;
  /// Whether it follows from the first `count` of the active ones alone.
  bool implies_early(const EdgeRecord& edge, std::size_t count) const;

 private:
  /// No bound if it has no value.
  using Distance = std::optional<Weight>;
  /// By places of nodes.
  using Row = std::vector<Distance>;

  Row distances_from(int source, std::size_t count) const;

  std::map<int, EdgeRecord> told_;
  std::vector<int> active_;
  std::map<int, std::size_t> nodes_;
  /// By source: what was asked of the present set of active constraints.
  mutable std::map<int, Row> rows_;
};

}  // namespace vorn::model

#endif  // VORN_MODEL_CLOSURE_MODEL_H
