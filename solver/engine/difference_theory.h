// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_DIFFERENCE_THEORY_H
#define VORN_SOLVER_ENGINE_DIFFERENCE_THEORY_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/engine/bound_propagation.h"
#include "solver/engine/graph_recorder.h"
#include "solver/engine/lemma_finder.h"
#include "solver/engine/lemma_trials.h"
#include "solver/scheduling/machine_propagation.h"
#include "solver/scheduling/separation_table.h"
#include "solver/search/search.h"
#include "solver/search/theory.h"
#include "solver/terms/constraint_mapper.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term_store.h"
#include "vorn/dl/graph.h"
#include "vorn/services/configuration.h"
#include "vorn/services/logger.h"

namespace vorn::solver {

/// The difference graph as the theory of a search.
///
/// Each bound that occurs in the problem is an *atom*: one variable of the
/// search and two constraints of the graph, one for each polarity. Over the
/// integers the negation of a bound is the tightened opposite bound, over the
/// reals the strict one. A literal that becomes true is pushed onto the graph
/// at once, the graph is checked when clause propagation has come to rest, and
/// backtracking pops in reverse.
///
/// Bounds between one pair of nodes imply each other; neighbours in that order
/// are linked by two-literal clauses, so that the search propagates them by
/// itself. Of x - y <= w and y - x <= v one is kept as the negation of the
/// other kind, so both directions lie in one order. A bound that a tighter
/// active one on the same pair implies is not pushed: a third to a half of all
/// bounds in scheduling problems, and each costs the graph in every relaxation.
/// Nor is one that the active ones imply along a path, as far as
/// BoundPropagation finds that; it also implies literals that have no value
/// yet. A reason is made when it is asked for, which one literal in ten is.
///
/// Constraints are numbered from 1 and no number is used twice, not even after
/// its atom was forgotten: the graph's lemma search reads the edges of past
/// conflicts, and takes edge 0 for no edge.
///
/// Lemmas come from a LemmaFinder, which is shown every conflict.
///
/// Ownership: borrows store and normaliser. The search is attached after
/// construction, as the two need each other.
/// Threads: none.
class DifferenceTheory final : public Theory {
 public:
  /// `lemma_trials`: see EngineOptions.
  DifferenceTheory(TermStore& store, AtomNormaliser& normaliser,
                   const Configuration::Theory::La& lemmas,
                   bool lemma_trials = false,
                   const PropagationOptions& propagation = {});

  /// Requires: called once, before any other operation.
  void attach(Search* search) { search_ = search; }

  /// A literal for a bound: an existing atom's if the same bound is known. New
  /// atoms may queue clauses for take_clause.
  Literal literal_of(const DifferenceBound& bound, bool integer);

  /// The next clause, true in arithmetic, that a new atom brought along; false
  /// when there is none.
  bool take_clause(std::vector<Literal>& clause);

  /// Ties bounds between integer variables that level 0 confines to a few
  /// values above a common node to atoms for those values (small_domains.cc).
  /// New clauses wait for take_clause. Requires: the search is at level 0.
  void split_small_domains();

  /// Looks for sets of tasks that cannot overlap, and reasons about them from
  /// now on (machines.cc). A clause counts if the literals in it that are no
  /// bounds are negations of `selectors`.
  /// Requires: the search is at level 0.
  void find_machines(const std::vector<Literal>& selectors);

  /// How many atoms there are, to go back to with shrink_atoms.
  std::size_t num_atoms() const { return atoms_.size(); }
  /// Forgets the atoms from `count` on, and lemmas not yet taken.
  /// Requires: no literal is assigned.
  void shrink_atoms(std::size_t count);

  /// The value of a variable in the last model; nothing for a term that has
  /// none. Strict bounds hold with the eps chosen for that model.
  std::optional<QNumber> model_value(const Term* variable) const;

  /// The bounds of the last negative cycle that the graph has met in this
  /// check, in its direction; empty if it has met none.
  std::vector<DifferenceBound> last_cycle() const;

  /// What finds implied literals.
  const BoundPropagation& propagation() const { return propagation_; }
  /// What reasons about sets of tasks; null if there are none.
  const MachinePropagation* machines() const { return machines_.get(); }
  /// The graph that the search works on; it has lemmas switched off.
  const dl::Graph& graph() const { return graph_; }
  /// Where the graphs log; null for nowhere.
  void set_logger(Logger* logger);
  /// What notes the calls on graph(), from the first on; null for nothing.
  /// Requires: there is no atom yet.
  void set_recorder(GraphRecorder* recorder);

  /// A check begins. Requires: the search is at level 0.
  void start_check();

  /// What says when lemmas pay.
  const LemmaTrials& lemma_trials() const { return lemma_trials_; }
  /// Null while lemmas are off.
  LemmaFinder* lemma_finder() { return lemma_finder_.get(); }
  /// The same, to look at.
  const LemmaFinder* lemma_finder() const { return lemma_finder_.get(); }

  // The theory's side of the search.
  void assigned(Literal literal) override;
  void new_level() override {
    level_starts_.push_back(active_.size());
    if (machines_) machines_->new_level();
  }
  void backtrack(int level) override;
  bool propagate(std::vector<Literal>& implied,
                 std::vector<Literal>& conflict) override;
  void explain(Literal literal, std::vector<Literal>& reason) override;
  bool final_check(std::vector<Literal>& conflict) override;
  std::optional<bool> advise(int variable) const override {
    if (!machines_) return {};
    return machines_->advise(variable);
  }
  bool next_lemma(std::vector<Literal>& clause) override;

 private:
  /// Two nodes with bounds between them, source < target.
  struct NodePair {
    int source;
    int target;
    /// Atoms by the weight of target - source <= weight.
    std::map<la::DNumber, int> bounds;
  };
  struct Atom {
    int variable;
    /// Constraint ids of the atom and of its negation.
    int constraints[2];
    /// Position in pairs_.
    int pair;
    la::DNumber weight;
  };
  /// What a constraint id stands for.
  struct Constraint {
    Literal literal;
    dl::Edge edge;
  };
  /// What an assignment needs to know of a literal, in little memory: a search
  /// asks a hundred times more often than for anything else here.
  struct Bound {
    /// Constraint id; 0 for a literal of no atom.
    int id = 0;
    /// Twice the pair, plus 1 for a bound from target to source.
    int direction = 0;
    la::DNumber weight;
  };
  /// An assigned literal's constraint.
  struct Active {
    int id;
    /// It is implied by the tightest one of its direction, and not on the
    /// graph.
    bool implied;
    int direction;
    /// The tightest constraint before it.
    int previous;
  };

  /// The values low, low + 1, ..., high.
  struct Domain {
    QNumber low;
    QNumber high;
  };

  std::optional<Domain> domain_of(const NodePair& pair) const;
  std::optional<Literal> value_literal(int base, int node, const Domain& domain,
                                       const QNumber& value, bool& settled);
  std::size_t tie(std::size_t atom_index, int base, const Domain& source_domain,
                  const Domain& target_domain);
  std::optional<SeparationTable::Clause> read_orders(
      const std::vector<Literal>& clause,
      const std::vector<Literal>& selectors) const;
  template <class Visit>
  void for_each_fact(const Visit& visit) const;
  std::vector<Precedence> find_precedences(
      const std::vector<Separation>& separations) const;
  int find_origin(const std::vector<Machine>& machines) const;
  int node_of(const Term* term);
  /// The term of a node; null for node 0.
  const Term* term_of(int node) const;
  int pair_of(int source, int target);
  int add_constraint(const DifferenceBound& bound, const Term* atom,
                     bool negated, Literal literal);
  std::pair<const Term*, bool> bound_term(const DifferenceBound& bound);
  void link_neighbours(const Atom& atom);
  bool literal_of_disjunct(const Term* disjunct, Literal& literal,
                           bool& constant);
  bool read_lemma(const dl::Graph::Lemma& lemma, std::vector<Literal>& clause);
  using Span = std::pair<std::size_t, std::size_t>;
  Span span_of(const std::vector<int>& constraints);
  [[nodiscard]] bool is_negative_cycle(const std::vector<int>& cycle) const;
  [[nodiscard]] bool is_reason(Literal literal,
                               const std::vector<int>& path) const;
  QNumber choose_eps() const;
  void learn_from_conflict();

  TermStore& store_;            // borrowed
  AtomNormaliser& normaliser_;  // borrowed
  Search* search_ = nullptr;    // borrowed
  Configuration::Theory::La no_lemmas_;
  ConstraintMapper mapper_;
  dl::Graph graph_;
  Configuration::Theory::La lemmas_;
  bool tries_lemmas_;
  LemmaTrials lemma_trials_;
  std::unique_ptr<LemmaFinder> lemma_finder_;
  /// The graph has met a conflict in this check: conflict_set_.
  bool has_conflict_ = false;
  BoundPropagation propagation_;
  std::unique_ptr<MachinePropagation> machines_;
  SeparationTable separations_;
  /// num_atoms() when machines_ was made.
  std::size_t num_atoms_of_machines_ = 0;
  Logger* logger_ = nullptr;           // borrowed
  GraphRecorder* recorder_ = nullptr;  // borrowed

  std::vector<Atom> atoms_;
  std::vector<int> atom_of_variable_;    // by search variable; -1 for none
  std::vector<Constraint> constraints_;  // by constraint id; 0 is unused
  std::vector<Bound> bounds_;            // by Literal::index
  std::vector<NodePair> pairs_;
  /// The tightest active constraint of each direction; 0 for none.
  std::vector<int> tightest_;
  /// Positions in pairs_, by both nodes packed into a word.
  std::unordered_map<std::uint64_t, int> pair_positions_;
  std::deque<std::vector<Literal>> clauses_;
  /// By atom and base: the newest atom in the clauses that tie the atom to the
  /// values above the base.
  std::map<std::pair<std::size_t, int>, std::size_t> tied_;

  /// Constraints of the assigned literals, in order, and where each level
  /// begins.
  std::vector<Active> active_;
  std::vector<std::size_t> level_starts_;
  /// The last conflict's constraints.
  std::vector<int> conflict_set_;
  // Scratch space.
  std::vector<const dl::Edge*> cycle_;
  std::vector<int> consequences_;
  std::vector<int> path_;
  std::vector<int> levels_;

  std::vector<QNumber> model_;  // by node
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_DIFFERENCE_THEORY_H
