// SPDX-License-Identifier: MIT
#ifndef VORN_MODEL_CLOSURE_FOLLOWER_H
#define VORN_MODEL_CLOSURE_FOLLOWER_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "tests/model/closure_comparison.h"

namespace vorn::model {

/// Closures that are told, pushed and popped what a graph is, and compared with
/// what is true: one with a matrix, one with paths from the start, and one that
/// outgrows its matrix under way.
///
/// Each edge of the graph is a constraint of its own there, with a new number
/// each time that it is told. Consistent edges are pushed when the graph has
/// checked them. A closure retracts nothing while something is active, so what
/// the graph retracts then stays until nothing is.
///
/// Beside the edges there are goals, which are never pushed: bounds at their
/// tightest that followed at some time, so that it is a close thing whether
/// they do after the next calls.
class ClosureFollower {
 public:
  ClosureFollower();

  /// Edge `id` was told: to the closures as `for_closures`, and to their model
  /// as `for_model`.
  void tell(int id, const EdgeRecord& for_closures,
            const EdgeRecord& for_model);
  /// Of the pending edges the first `count` were found to be consistent with
  /// those before; the next one, if there is any, was not.
  void check(const std::vector<int>& pending, std::size_t count);
  /// The constraint was popped, whether it was active or pending.
  void pop(int constraint);
  void retract(int constraint);
  void reset();

  /// Looks at what follows, after some of the calls: a look costs more than a
  /// call, the more nodes there are. `turn` says which node's bounds are looked
  /// at, and which become goals.
  void observe(std::size_t turn);
  /// Looks at all that follows.
  void observe_all() { comparison_.observe(); }

  /// What was first seen to be wrong; empty for nothing.
  const std::string& difference() const { return comparison_.difference(); }
  std::size_t num_consequences() const {
    return comparison_.num_consequences();
  }

 private:
  void pop_latest();
  void tell_goal(int source, std::size_t turn);
  void retract_left();

  ClosureComparison comparison_;
  /// The constraints of the closures, by edge.
  std::map<int, int> numbers_;
  int next_number_ = 1;
  /// Edges that are active there, oldest first.
  std::vector<int> active_;
  /// Constraints of the closures without an edge of the graph: goals, and those
  /// whose edges it has retracted.
  std::vector<int> left_;
  std::size_t unobserved_ = 0;
};

}  // namespace vorn::model

#endif  // VORN_MODEL_CLOSURE_FOLLOWER_H
