// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_FOLLOWED_POTENTIALS_H
#define VORN_SOLVER_ENGINE_FOLLOWED_POTENTIALS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "solver/engine/recorded_graph.h"
#include "vorn/containers/index.h"
#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// The potentials of a graph that only grows and shrinks at its end, followed
/// from check to check: which nodes have another one than before is known at
/// the cost of those nodes and the constraints that leave them.
///
/// What it gives is what it has noted. A potential of the graph that changed
/// without being noted is not seen, and so no model is made of it either.
///
/// Constraints are numbered from 1, and those told last go first; so are nodes,
/// behind node 0. The graph may have others, and other numbers for these.
///
/// Memory: 20 bytes a constraint, 25 a node and what potentials take that the
/// graph does not share. Ownership: borrows the graph. Errors: only
/// std::bad_alloc, after which it has to be stopped. Threads: none.
class FollowedPotentials {
 public:
  /// Follows nothing yet in this graph.
  explicit FollowedPotentials(RecordedGraph& graph) : graph_(graph) {}

  /// Whether anything is followed.
  bool is_on() const { return !potentials_.empty(); }
  /// Follows so many nodes from now on, and constraints as they are told. Cost:
  /// linear.
  void start(int num_nodes);
  /// Follows nothing any more.
  void stop();

  // Requires for all that follows: is_on().

  /// How many nodes are followed.
  int num_nodes() const { return static_cast<int>(nodes_.size()); }
  /// A node has come, behind the others.
  void add_node();
  /// The last one has gone.
  void remove_node();
  /// A constraint has been told: its nodes, and its number in the graph.
  void tell(int source, int target, int graph_id);
  /// The last one has been taken back.
  void take_back();
  /// Whether no constraint mentions a node.
  bool is_alone(int node) const {
    return nodes_[index(node)].first_out == 0 &&
           nodes_[index(node)].first_in == 0;
  }

  /// RecordedGraph::place.
  void place(int node, const la::DNumber& potential);
  /// A constraint.
  dl::Edge constraint(int id) const {
    return graph_.edge(links_[index(id)].graph_id);
  }

  /// The constraints from `first` on have been active in a check: looks for the
  /// potentials that this has changed.
  void follow(int first);
  /// Constraints that were looked at for that, since construction.
  std::uint64_t num_steps() const { return num_steps_; }
  /// The potential of a node.
  const la::DNumber& potential(int node) const {
    return potentials_[index(node)];
  }
  /// The nodes that have another one than when this was last forgotten, or are
  /// new, each once; and some that are gone.
  const std::vector<int>& changed() const { return changed_; }
  /// From now on none has.
  void forget_changed();

  /// Calls visit(id) for each constraint that could hold no more because a
  /// changed node has another potential, whatever number stands for eps. Cost:
  /// linear in those that leave the node, unless eps counts for more in it than
  /// before.
  template <class Visit>
  void for_each_affected(int node, const Visit& visit) const {
    const NodeLinks& at = nodes_[index(node)];
    for (int id = at.first_out; id != 0; id = links_[index(id)].next_out) {
      visit(id);
    }
    if (changes_[index(node)] == Change::kDown) return;
    for (int id = at.first_in; id != 0; id = links_[index(id)].next_in) {
      visit(id);
    }
  }

 private:
  /// The constraints at a node, those told last first; 0 ends a list.
  struct NodeLinks {
    int first_out = 0;
    int first_in = 0;
  };
  struct Links {
    int source;
    int target;
    int next_out;
    int next_in;
    int graph_id;
  };

  enum class Change : unsigned char {
    kNone,
    /// It is less with any number for eps.
    kDown,
    kAny
  };

  bool update(int node);
  void note(int node, Change change);

  RecordedGraph& graph_;
  std::vector<NodeLinks> nodes_;
  std::vector<Links> links_;  // by constraint; none has the number 0
  std::vector<la::DNumber> potentials_;
  std::vector<int> changed_;
  /// By node, also for numbers that are gone: kNone if it is not among them.
  std::vector<Change> changes_;
  std::uint64_t num_steps_ = 0;
  std::vector<int> pending_;  // scratch space
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_FOLLOWED_POTENTIALS_H
