// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_ATOM_TABLE_H
#define VORN_SOLVER_ENGINE_ATOM_TABLE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "solver/search/literal.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term.h"
#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// The bounds of a problem, each once, as literals and as edges of a graph.
///
/// Each bound is an *atom*: one Boolean variable and two constraints, one for
/// each polarity. Over the integers the negation of a bound is the tightened
/// opposite bound, over the reals the strict one. Of x - y <= w and
/// y - x <= v one is kept as the negation of the other kind, so both directions
/// of a pair lie in one order.
///
/// What is stated is a *fact*: one constraint, which holds wherever the literal
/// that guards it is true, and no variable.
///
/// Constraints are numbered from 1, in the order in which atoms and facts come;
/// these are forgotten in reverse. The numbers of what was forgotten are given
/// again, unless they have to be kept until all is numbered anew. Node 0 is the
/// constant 0; the others are numbered from 1. Nodes and pairs stay when their
/// last bound is forgotten, until then.
///
/// Cost: O(1) expected, but a bound is found among those of its pair in
/// logarithmic time. Ownership: borrows the terms. Threads: none.
class AtomTable {
 public:
  /// No position.
  static constexpr int kNone = -1;
  /// As above.
  static constexpr int kLoose = -2;

  /// Two nodes with bounds between them, source < target.
  struct Pair {
    /// The lower node.
    int source;
    /// The higher node.
    int target;
    /// Positions of atoms by the weight of target - source <= weight.
    std::map<la::DNumber, int> bounds;
    /// Positions of the tightest facts, from source to target and back; kNone
    /// for none.
    int facts[2] = {kNone, kNone};

    /// Nothing is said about it.
    bool is_empty() const {
      return bounds.empty() && facts[0] == kNone && facts[1] == kNone;
    }
  };
  /// A bound target - source <= weight on a pair.
  struct Atom {
    /// True when the bound holds.
    int variable;
    /// Constraint ids of the atom and of its negation.
    int constraints[2];
    /// Position in pairs().
    int pair;
    /// The bound's.
    la::DNumber weight;
  };
  /// A bound that is stated.
  struct Fact {
    /// It holds where this is true.
    Literal guard;
    /// Its constraint id.
    int constraint;
    /// As Bound::direction.
    int direction;
    /// The position of the fact before it that was the tightest, or kNone;
    /// kLoose if it was none itself.
    int previous;
  };
  /// What a constraint id stands for.
  struct Constraint {
    /// True when the constraint holds; of a fact, its guard.
    Literal literal;
    /// The constraint, with the id as its own.
    dl::Edge edge;
  };
  /// What an assignment needs to know of a literal, in little memory: nothing
  /// else here is asked for so often.
  struct Bound {
    /// Constraint id; 0 for a literal of no atom.
    int id = 0;
    /// Twice the pair, plus 1 for a bound from target to source.
    int direction = 0;
    /// The constraint's.
    la::DNumber weight;
  };

  /// Ensures: no atoms, and no node but 0.
  AtomTable() : constraints_(1) {}

  /// The node of a variable, a new one if it has none; 0 for null.
  int add_node(const Term* variable);
  /// The node of a variable; 0 if it has none.
  int node_of(const Term* variable) const;
  /// The variable of a node; null for node 0.
  const Term* term_of(int node) const {
    return node == 0 ? nullptr : terms_[static_cast<std::size_t>(node) - 1];
  }
  /// The variables of the nodes from 1 on.
  const std::vector<const Term*>& variables() const { return terms_; }
  /// Node 0 included.
  int num_nodes() const { return static_cast<int>(terms_.size()) + 1; }

  /// The literal of a bound, and whether the bound is new: then `variable`, of
  /// which no atom may be made yet, becomes its atom.
  std::pair<Literal, bool> insert(const DifferenceBound& bound, bool integer,
                                  int variable);
  /// Adds a fact, unless the bound is an atom: then that atom's literal.
  /// Requires: `guard` is of no atom, and no older variable than the guard
  /// before it.
  std::optional<Literal> add_fact(const DifferenceBound& bound, bool integer,
                                  Literal guard);
  /// Forgets the atom or fact added last.
  void remove_last();
  /// No constraint up to this one gives its number to another, even after its
  /// atom was forgotten.
  void keep_number(int id) { last_kept_ = std::max(last_kept_, id); }

  /// For how many bounds numbers of forgotten ones are kept, or how many pairs,
  /// if these are more, have no bound: up to twice as many nodes are of no more
  /// use.
  std::size_t num_forgotten() const {
    const std::size_t num_numbers =
        static_cast<std::size_t>(num_constraints()) - facts_.size();
    return std::max(num_numbers / 2 - atoms_.size(), num_empty_pairs_);
  }
  /// Numbers constraints, nodes and pairs anew, from the lowest on and in the
  /// order that they have, and drops those that no bound needs. Atoms and facts
  /// keep their positions, and atoms their variables. Returns the new number of
  /// each node, -1 for one that is gone. Cost: linear in all that there is or
  /// was.
  std::vector<int> renumber();

  /// All atoms, oldest first.
  const std::vector<Atom>& atoms() const { return atoms_; }
  /// All facts, oldest first.
  const std::vector<Fact>& facts() const { return facts_; }
  /// The weight of the bound that holds exactly when a fact's does not.
  la::DNumber opposite_weight(const Fact& fact) const;
  /// How many atoms and facts there are.
  std::size_t num_bounds() const { return atoms_.size() + facts_.size(); }
  /// Whether the last of the first so many atoms and facts is a fact.
  bool ends_with_fact(std::size_t num_atoms, std::size_t num_facts) const {
    if (num_atoms == 0 || num_facts == 0) return num_atoms == 0;
    return atoms_[num_atoms - 1].constraints[1] <
           facts_[num_facts - 1].constraint;
  }
  /// Whether the constraint is one. Requires: as for constraint().
  bool is_fact(int id) const { return bound(constraint(id).literal).id != id; }
  /// All pairs that have had a bound.
  const std::vector<Pair>& pairs() const { return pairs_; }
  /// The pair of an atom.
  const Pair& pair_of(const Atom& atom) const {
    return pairs_[static_cast<std::size_t>(atom.pair)];
  }
  /// The highest constraint id given; 0 if there is none.
  int num_constraints() const {
    return static_cast<int>(constraints_.size()) - 1;
  }
  /// Requires: 1 <= id <= num_constraints(), of a bound not forgotten.
  const Constraint& constraint(int id) const {
    return constraints_[static_cast<std::size_t>(id)];
  }
  /// A literal's bound. Cost: O(1), one cache line.
  const Bound& bound(Literal literal) const {
    return literal.index() < bounds_.size() ? bounds_[literal.index()] : none_;
  }
  /// The position of a variable's atom; nothing for a variable of none.
  std::optional<std::size_t> position_of(int variable) const;

 private:
  int add_constraint(const dl::Edge& edge, Literal literal, int direction);
  int add_pair(int source, int target);
  void remove_last_atom();
  void remove_last_fact();

  std::vector<const Term*> terms_;  // by node, less one
  std::unordered_map<const Term*, int> nodes_;
  std::vector<Atom> atoms_;
  std::vector<Fact> facts_;
  std::vector<int> atom_of_variable_;    // -1 for none
  std::vector<Constraint> constraints_;  // by id; 0 is unused
  std::vector<Bound> bounds_;            // by Literal::index
  std::vector<Pair> pairs_;
  /// Pairs of which nothing is said.
  std::size_t num_empty_pairs_ = 0;
  /// A constraint's number; smaller ones are kept, too.
  int last_kept_ = 0;
  /// Positions in pairs_, by both nodes packed into a word.
  std::unordered_map<std::uint64_t, int> pair_positions_;
  Bound none_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_ATOM_TABLE_H
