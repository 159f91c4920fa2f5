// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_NETWORK_H
#define VORN_SOLVER_ENGINE_NETWORK_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "solver/engine/followed_potentials.h"
#include "solver/engine/graph_recorder.h"
#include "solver/engine/model_values.h"
#include "solver/engine/recorded_graph.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"
#include "vorn/services/configuration.h"
#include "vorn/services/logger.h"

namespace vorn::solver {

/// Whether a formula leaves nothing to choose: it is a conjunction of bounds,
/// of equations, which are two bounds each, of negated bounds and of constants;
/// none of them has an ite in it, or an integer beside a real.
/// Requires: Boolean and inside difference logic. Cost: linear in the places of
/// the conjunction, but no more than a thousand steps for one atom: what is
/// larger is taken for something else.
bool states_bounds(const Term* formula);

/// Formulas that leave nothing to choose, decided without a search: each bound
/// goes straight into a graph, as one edge that is active from then on. It has
/// no variable of a search, no opposite and no clause.
///
/// Formulas are added in scopes, which are left in reverse order. They are read
/// at once, and wait for the graph until there is a check. Once they are known
/// to be inconsistent, what else is added makes no difference, and is not
/// looked at.
///
/// Nodes are numbered from 1 in the order in which variables come, constraints
/// likewise, but for the first ones, which are put into an order in which they
/// cost less (telling_order.h) if they are many and consistent. The numbers of
/// a scope that is left are used again.
///
/// Cost: a bound that is told and taken back costs what the graph's edge does;
/// a scope what is in it. Constraints are told and checked some hundred at a
/// time: so a check can be stopped, and lists of edges that are registered only
/// stay short at nodes that have many.
/// From the second model on it is known which values are other ones, and a
/// variable that comes starts above those that it has to be above: so a model
/// costs what it has another value for.
///
/// Memory: 4 bytes a term up to the last variable's, 8 a variable, apart from
/// the graph, and from the second model on what FollowedPotentials take.
/// Ownership: borrows the terms, the recorder and the logger. Errors: only
/// std::bad_alloc leaves a call; after it the network may only be destroyed.
/// Threads: none.
class Network {
 public:
  Network() = default;
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;

  /// Opens a scope.
  void push() { scopes_.push_back({num_constraints(), variables_.size()}); }
  /// Takes back what was added since the matching push.
  /// Requires: num_scopes() > 0.
  void pop();
  /// How many scopes are open.
  std::size_t num_scopes() const { return scopes_.size(); }

  /// Adds a formula. Requires: states_bounds(formula).
  void add(const Term* formula);
  /// Adds the bound that a sum is at most 0, or below 0. Requires: a difference
  /// of symbols of one sort, or one of them, and a constant.
  void add_sum(const LinearSum& sum, bool is_strict) {
    if (is_consistent_ && !is_false_) add_sum(sum, is_strict, false);
  }
  /// How many constraints there are, those of formulas that were not looked at
  /// left out. If there is an inconsistency, a formula that takes part in it
  /// has the numbers from the count before it, without that one, to the count
  /// behind it.
  int num_constraints() const {
    return num_told_ + static_cast<int>(waiting_.size());
  }
  /// False once something inconsistent was met, which may be later than it was
  /// added, but not later than in check().
  bool is_consistent() const { return is_consistent_; }
  /// How many constraints were taken back since the graph was empty.
  std::size_t num_forgotten() const { return num_forgotten_; }
  /// Makes the graph take all constraints anew, from potentials of 0, which
  /// what was taken back has lowered else for good. Cost: that of telling them.
  void start_anew();
  /// Whether a formula that was added is false by itself.
  bool is_false() const { return is_false_; }
  /// Hands all that was added to the graph, or as much as there is until
  /// `is_stopped` says so: then false.
  template <class IsStopped>
  bool tell(const IsStopped& is_stopped) {
    if (num_told_ == 0) order_waiting();
    while (has_untold()) {
      if (is_stopped()) return false;
      tell_some();
    }
    if (is_consistent_) choose_model();
    return true;
  }

  /// After that, if it is not consistent: the constraints of the negative
  /// cycle, in its direction. None if a formula is false by itself.
  const std::vector<int>& conflict() const { return conflict_; }
  /// The same as bounds; of the last inconsistency since start_check, also when
  /// it was taken back.
  const std::vector<DifferenceBound>& last_cycle() const { return cycle_; }
  /// Forgets the last cycle. From now on the graph logs there, and its calls
  /// are noted by the recorder; null for nowhere and nothing. Requires: always
  /// the same recorder.
  void start_check(Logger* logger, GraphRecorder* recorder);

  /// After tell(), if all is consistent, until something is told: the value of
  /// a symbol in a model; nothing if no bound mentions it.
  std::optional<QNumber> value(const Term* symbol) const {
    return model_.value(node_of(symbol));
  }
  /// Then, until there is another change: symbols, among them all that may have
  /// another value than when this was last forgotten; null if that may be any.
  const std::vector<const Term*>* changed_symbols() const {
    return knows_changes_ ? &changed_symbols_ : nullptr;
  }
  /// From now on none has.
  void forget_changes();
  /// The variables of all bounds, by node from 1.
  const std::vector<const Term*>& variables() const { return variables_; }
  /// The graph, to look at.
  const dl::Graph& graph() const { return graph_.graph(); }

  /// Terms have other ids.
  void renumber_terms();

 private:
  /// The constraint target - source <= weight.
  struct Waiting {
    int source;
    int target;
    la::DNumber weight;
  };
  struct Scope {
    /// What there was before.
    int num_constraints;
    std::size_t num_variables;
  };

  int node_of(const Term* symbol) const {
    return symbol->id < nodes_.size()
               ? nodes_[static_cast<std::size_t>(symbol->id)]
               : 0;
  }
  int add_node(const Term* symbol);
  void add_atom(const Term* atom, bool is_negated);
  void add_sum(const LinearSum& sum, bool is_strict, bool is_negated);
  void add_bound(const DifferenceBound& bound);
  void add_falsehood();
  bool has_untold() const {
    return is_consistent_ && (!waiting_.empty() || is_false_);
  }
  void order_waiting();
  void tell_some();
  void lift_new_nodes(std::size_t num_next);
  void choose_model();
  void remove_node();
  void note_conflict();
  void take_back(int num_kept);

  Configuration::Theory::La no_lemmas_;
  RecordedGraph graph_{&no_lemmas_, nullptr, nullptr};
  bool is_recorded_ = false;
  std::vector<const Term*> variables_;  // by node, less one
  std::vector<int> nodes_;              // by term id; 0 for none
  /// Constraints that the graph has, all of them active.
  int num_told_ = 0;
  std::size_t num_forgotten_ = 0;
  /// Those behind them.
  std::deque<Waiting> waiting_;
  std::vector<Scope> scopes_;
  /// Behind them stands a formula that is false, added with so many scopes
  /// open.
  bool is_false_ = false;
  std::size_t false_scope_ = 0;
  bool is_consistent_ = true;
  /// How many scopes were open where the first inconsistency is.
  std::size_t inconsistent_scope_ = 0;
  std::vector<int> conflict_;
  std::vector<DifferenceBound> cycle_;
  ModelValues model_{variables_, graph_};
  /// On from the second model on.
  FollowedPotentials followed_{graph_};
  bool has_model_ = false;
  /// Constraints that the last model was chosen for and that are still there.
  int num_modelled_ = 0;
  /// Whether changed_symbols() is known, apart from what comes until the next
  /// model.
  bool knows_changes_ = false;
  std::vector<const Term*> changed_symbols_;
  /// Symbols that have no node any more since this was last forgotten.
  std::vector<const Term*> gone_symbols_;
  // Scratch space.
  Lineariser lineariser_;
  LinearSum sum_;
  std::vector<std::pair<const Term*, bool>> pending_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_NETWORK_H
