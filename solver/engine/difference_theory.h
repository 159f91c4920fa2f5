// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_DIFFERENCE_THEORY_H
#define VORN_SOLVER_ENGINE_DIFFERENCE_THEORY_H

#include <cassert>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "solver/engine/bound_propagation.h"
#include "solver/engine/followed_potentials.h"
#include "solver/engine/lemma_finder.h"
#include "solver/engine/lemma_terms.h"
#include "solver/engine/lemma_trials.h"
#include "solver/engine/model_values.h"
#include "solver/engine/phase_search.h"
#include "solver/engine/problem.h"
#include "solver/engine/proof_log.h"
#include "solver/engine/recorded_graph.h"
#include "solver/scheduling/machine_finder.h"
#include "solver/scheduling/machine_propagation.h"
#include "solver/scheduling/separation_table.h"
#include "solver/search/search.h"
#include "solver/search/theory.h"
#include "solver/terms/term_store.h"
#include "vorn/dl/graph.h"
#include "vorn/services/configuration.h"
#include "vorn/services/logger.h"

namespace vorn::solver {

/// The difference graph as the theory of a search.
///
/// A literal of an atom that becomes true is pushed onto the graph at once, the
/// graph is checked when clause propagation has come to rest, and backtracking
/// pops in reverse.
///
/// Facts are pushed when their guard becomes true. What is stated outside of
/// all scopes is on level 0 before the search begins (push_facts).
///
/// Bounds between one pair of nodes imply each other; clauses of the problem
/// link neighbours in that order, so that the search propagates them by itself.
/// A bound that a tighter active one on the same pair implies is not pushed, as
/// each costs the graph in every relaxation. Nor is one that the active ones
/// imply along a path, as far as BoundPropagation finds that; it also implies
/// literals that have no value yet. A reason is made when it is asked for,
/// which few are (docs/solving.md).
///
/// Lemmas come from a LemmaFinder, which is shown every conflict.
///
/// Ownership: borrows store and problem. The search is attached after
/// construction, as the two need each other.
/// Threads: none.
class DifferenceTheory final : public Theory {
 public:
  /// `lemma_trials`: see EngineOptions.
  DifferenceTheory(TermStore& store, Problem& problem,
                   const Configuration::Theory::La& lemmas,
                   bool lemma_trials = false,
                   const PropagationOptions& propagation = {},
                   const PhaseSearchOptions& phases = {});

  /// Requires: called once, before any other operation.
  void attach(Search* search) { search_ = search; }

  /// Makes the search's variables those of the problem, and the graph's
  /// constraints those of its atoms, as far as they are new.
  void update();
  /// Pushes and checks the facts that no scope has stated, some hundred at a
  /// time; false if `is_stopped` says so before they are all there. To be
  /// called before a mark, and before the search goes on, until it is true.
  /// Requires: up to date. Cost: what the graph takes for new ones.
  template <class IsStopped>
  bool push_facts(const IsStopped& is_stopped) {
    while (has_facts_to_push()) {
      if (is_stopped()) return false;
      push_some_facts();
    }
    return true;
  }
  /// How many atoms and facts the graph knows, to go back to with rollback.
  std::size_t mark() const {
    assert(!has_facts_to_push());
    return num_bounds();
  }
  /// Forgets the atoms and facts from `mark` on, and lemmas not yet taken.
  /// Requires: the problem has them still, and no literal of theirs is
  /// assigned.
  void rollback(std::size_t mark);

  /// The problem's atoms have been given new numbers, and their nodes these:
  /// starts again from nothing, apart from counters.
  /// Requires: no literal is assigned.
  void renumber(const std::vector<int>& nodes);

  /// Forgets lemmas, with all terms that they were made of.
  void forget_lemmas();

  /// Looks for sets of tasks that cannot overlap, and reasons about them from
  /// now on (machines.cc). A clause counts if the literals in it that are no
  /// bounds are negations of the problem's selectors.
  /// Requires: no solve is under way, and all is up to date.
  void find_machines(const MachineLimits& limits = {});
  /// Which of the nodes follow others of them, by what level 0 says.
  /// Requires: `is_wanted` has an entry for each node.
  std::vector<Precedence> find_precedences(
      const std::vector<char>& is_wanted) const;
  /// From now on, how clauses about sets of tasks are found is noted there.
  /// Borrows the log, which listens to the search.
  void set_log(ProofLog* log) { log_ = log; }

  /// The value of a variable in the last model, or in what the search had
  /// reached when it was stopped, until an update or the next check; nothing
  /// for a term that has none. Strict bounds hold with the eps chosen for that
  /// model.
  std::optional<QNumber> model_value(const Term* variable) const {
    return model_.value(problem_.atoms().node_of(variable));
  }

  /// After a model, until the next check: variables, among them all that may
  /// have another value than when this was last forgotten; null if that may be
  /// any.
  const std::vector<const Term*>* changed_variables() const {
    return knows_changes_ ? &changed_variables_ : nullptr;
  }
  /// From now on none has.
  void forget_changes();

  /// Makes minuend - subtrahend as small in the last model as it can be while
  /// the same literals are true, and returns the least value; nothing, and the
  /// model is as it was, if there is none. Null stands for 0.
  /// Requires: the search has found a model, and there was no update since.
  std::optional<la::DNumber> lower_model(const Term* minuend,
                                         const Term* subtrahend);
  /// A value that minuend - subtrahend is not below in any model, by what level
  /// 0 says about bounds; nothing if it says nothing. Requires: as lower_model.
  std::optional<la::DNumber> known_least(const Term* minuend,
                                         const Term* subtrahend) const;
  /// The same by what level 0 says about sets of tasks: a guess, to be asked
  /// about. Requires: as lower_model.
  std::optional<la::DNumber> likely_least(const Term* minuend,
                                          const Term* subtrahend) const;

  /// That minuend - subtrahend should come close to a number, until that is
  /// taken back; what advises the search may take note. Null stands for 0.
  void set_aim(const Term* minuend, const Term* subtrahend,
               const la::DNumber& least);
  /// As before any.
  void clear_aim() { aim_.reset(); }

  /// The bounds of the last negative cycle that the graph has met in this
  /// check, in its direction; empty if it has met none.
  std::vector<DifferenceBound> last_cycle() const;

  /// What finds implied literals.
  const BoundPropagation& propagation() const { return propagation_; }
  /// What finds better phases.
  const PhaseSearch& phase_search() const { return phase_search_; }
  /// What reasons about sets of tasks; null if there are none.
  const MachinePropagation* machines() const { return machines_.get(); }
  /// The graph that the search works on; it has lemmas switched off.
  const dl::Graph& graph() const { return graph_.graph(); }
  /// Where the graphs log; null for nowhere.
  void set_logger(Logger* logger);
  /// What notes the calls on graph(), from the first on; null for nothing.
  /// Requires: there is no atom yet.
  void set_recorder(GraphRecorder* recorder);

  /// A check begins.
  void start_check();

  /// What says when lemmas pay.
  const LemmaTrials& lemma_trials() const { return lemma_trials_; }
  /// Null while lemmas are off.
  LemmaFinder* lemma_finder() { return lemma_finder_.get(); }
  /// The same, to look at.
  const LemmaFinder* lemma_finder() const { return lemma_finder_.get(); }

  /// Facts that the clause handed out last rests on, besides its literals;
  /// those of scopes have their guards among these. Valid until the next call.
  const std::vector<int>& facts_of_clause() const { return facts_of_clause_; }

  // The theory's side of the search.
  void assigned(Literal literal) override;
  void new_level() override {
    if (level_starts_.empty()) clear_level_0();
    level_starts_.push_back(active_.size());
    if (machines_) machines_->new_level();
  }
  void backtrack(int level) override;
  void retract(Literal literal) override;
  bool propagate(std::vector<Literal>& implied,
                 std::vector<Literal>& conflict) override;
  void explain(Literal literal, std::vector<Literal>& reason) override;
  bool final_check(std::vector<Literal>& conflict) override;
  void stopped() override;
  std::optional<bool> advise(int variable) const override {
    if (!machines_) return {};
    return machines_->advise(variable);
  }
  bool wants_phases() const override;
  void improve_phases(std::vector<char>& phases) override;
  bool next_lemma(std::vector<Literal>& clause) override;
  ClauseOrigin origin() const override { return origin_; }

 private:
  /// An assigned literal's constraint.
  struct Active {
    int id;
    /// It is implied by the tightest one of its direction, and not on the
    /// graph.
    bool implied;
    int direction;
    /// The tightest constraint before it.
    int previous;
    /// It is on the graph.
    bool on_graph;
    bool is_fact;
  };

  bool read_separations();
  std::optional<SeparationTable::Clause> read_orders(
      const std::vector<Literal>& clause, ClauseNumber number) const;
  template <class Visit>
  void for_each_fact(const Visit& visit) const;
  std::vector<char> optional_tasks(
      const std::vector<Separation>& separations) const;
  void make_provable(std::vector<Machine>& machines) const;
  ClauseOrigin certify();
  CertifiedMachine certify_machine(const Machine& machine);
  int find_origin(const std::vector<Machine>& machines) const;
  std::size_t num_bounds() const { return num_atoms_ + num_facts_; }
  bool has_facts_to_push() const {
    return num_pushed_ < num_facts_ && !has_false_facts_ &&
           !is_scoped(problem_.atoms().facts()[num_pushed_]);
  }
  bool is_scoped(const AtomTable::Fact& fact) const {
    return problem_.is_selector(fact.guard);
  }
  void follow_new_nodes();
  void push_some_facts();
  void join_level(const AtomTable::Fact& fact);
  void push_facts_of(Literal selector);
  void push_fact(const AtomTable::Fact& fact);
  void tell(int id);
  void forget(int id);
  void activate(Literal literal, int id, int direction,
                const la::DNumber& weight, bool is_fact);
  void deny(const std::vector<int>& constraints, std::vector<Literal>& clause);
  const dl::Edge& edge_of(int id) const {
    return problem_.atoms().constraint(id).edge;
  }
  Literal literal_of(int id) const {
    return problem_.atoms().constraint(id).literal;
  }
  using Span = std::pair<std::size_t, std::size_t>;
  Span span_of(const std::vector<int>& constraints);
  void learn_from_conflict();
  void take_back_active();
  void clear_level_0();
  void choose_model();
  void follow();
  void start_following();
  void stop_following();
  // How many of active_ are of level 0.
  std::size_t num_fixed() const {
    return level_starts_.empty() ? active_.size() : level_starts_.front();
  }
  std::vector<int> model_constraints() const;
  std::vector<int> active_constraints() const;
  bool has_nodes(const Term* minuend, const Term* subtrahend) const;
  std::vector<int> known_constraints() const;
  std::vector<la::DNumber> potentials() const;
  void drop_machines();
  void drop_waiting_lemmas();
  std::uint64_t effort() const;

  Problem& problem_;          // borrowed
  Search* search_ = nullptr;  // borrowed
  Configuration::Theory::La no_lemmas_;
  LemmaTerms lemma_terms_;
  RecordedGraph graph_;
  Configuration::Theory::La lemmas_;
  bool tries_lemmas_;
  LemmaTrials lemma_trials_;
  std::unique_ptr<LemmaFinder> lemma_finder_;
  ClauseOrigin origin_;
  /// The graph has met a conflict in this check: conflict_set_.
  bool has_conflict_ = false;
  BoundPropagation propagation_;
  PhaseSearch phase_search_;
  std::unique_ptr<MachinePropagation> machines_;
  SeparationTable separations_;
  /// What proofs of machines' clauses need: separations and precedences by
  /// position, and the log's numbers of machines, -1 for none.
  ProofLog* log_ = nullptr;  // borrowed
  std::optional<dl::Edge> aim_;
  std::vector<Separation> certified_separations_;
  std::vector<Precedence> certified_precedences_;
  std::vector<int> certified_machines_;
  int origin_node_ = 0;
  MachineCertificate certificate_;  // scratch space
  /// num_bounds() when machines_ was made.
  std::size_t num_bounds_of_machines_ = 0;
  /// Likewise of separations_; and whether they made none.
  std::uint64_t num_changes_of_machines_ = 0;
  bool has_no_machines_ = false;
  /// Literals that came to level 0 since all clauses were read.
  std::size_t num_unread_ = 0;

  /// Of the problem's atoms and facts, those that the graph knows.
  std::size_t num_atoms_ = 0;
  std::size_t num_facts_ = 0;
  /// Of the facts that no scope has stated, those that are active, and whether
  /// they contradict each other: as conflict_set_ says.
  std::size_t num_pushed_ = 0;
  bool has_false_facts_ = false;
  std::vector<int> facts_of_clause_;
  /// The tightest active constraint of each direction; 0 for none.
  std::vector<int> tightest_;
  /// Constraints of the assigned literals, in order, and where each level
  /// begins.
  std::vector<Active> active_;
  std::vector<std::size_t> level_starts_;
  /// How many of them clear_level_0 has looked at.
  std::size_t num_cleared_ = 0;
  /// The last conflict's constraints.
  std::vector<int> conflict_set_;
  // Scratch space.
  std::vector<const dl::Edge*> cycle_;
  std::vector<int> consequences_;
  std::vector<int> path_;
  std::vector<int> levels_;
  Problem::Clause link_;
  std::vector<Literal> lemma_;  // waits for the links of its bound

  ModelValues model_{problem_.atoms().variables(), graph_};
  bool has_model_ = false;
  /// Its constraints above level 0, if it is followed.
  std::vector<int> decided_;
  /// From the second model on: constraint k is active_[k - 1].
  FollowedPotentials followed_{graph_};
  /// The first of active_ that were followed, and those that were there for the
  /// last model.
  std::size_t num_followed_ = 0;
  std::size_t num_modelled_ = 0;
  /// Of following, after which it would be cheaper to look at all values.
  std::uint64_t last_step_ = 0;
  bool knows_changes_ = false;
  std::vector<const Term*> changed_variables_;
  /// Atoms told to the graph with an integer and a real.
  std::size_t num_mixed_ = 0;
  /// Some weight has had a part of eps.
  bool has_eps_ = false;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_DIFFERENCE_THEORY_H
