// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_PROBLEM_H
#define VORN_SOLVER_ENGINE_PROBLEM_H

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <vector>

#include "solver/engine/atom_table.h"
#include "solver/search/clause_origin.h"
#include "solver/search/literal.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term_sweep.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// A question as clauses over Boolean variables, some of which are bounds: all
/// that a search and a graph have to know to answer it.
///
/// Plain data, apart from any search: it can be copied, counted and printed. A
/// search is fed with what take_clause hands out.
///
/// Scopes: each has a selector, a variable whose negation stands in each clause
/// that is asserted in the scope. Closing one forgets the variables made in it
/// and the clauses that mention them.
///
/// Cost: a clause takes 4 bytes a literal and 16 more.
/// Ownership: borrows the terms of its bounds. Threads: none.
class Problem {
 public:
  /// A clause and why it holds.
  struct Clause {
    /// In the order in which they were written.
    std::vector<Literal> literals;
    /// Why.
    ClauseOrigin origin;
  };

  /// What a variable that is no bound stands for.
  struct Meaning {
    /// A Boolean term; null for a selector.
    const Term* term = nullptr;
    /// The variable is true when the term is false.
    bool is_negated = false;
  };

  /// All that there is to know of a problem, without a share in any number:
  /// threads may read it at once, and each make a Problem of its own from it.
  struct Data {
    /// A bound target - source <= weight + eps times the infinitesimal.
    struct Atom {
      /// True when it holds.
      int variable;
      /// A node.
      int source;
      /// Another one.
      int target;
      /// As above.
      QNumber weight;
      /// As above.
      QNumber eps;
    };
    /// A bound that holds where a literal is true.
    struct Fact {
      /// Its guard.
      Literal guard;
      /// A node.
      int source;
      /// Another one.
      int target;
      /// As an atom's.
      QNumber weight;
      /// As above.
      QNumber eps;
      /// How many atoms are older.
      std::size_t num_atoms;
    };
    /// How many there are.
    int num_variables = 0;
    /// The variables of nodes from 1 on; borrowed.
    std::vector<const Term*> terms;
    /// Oldest first.
    std::vector<Atom> atoms;
    /// Oldest first.
    std::vector<Fact> facts;
    /// By variable, as far as they are kept.
    std::vector<Meaning> meanings;
    /// Whether they are.
    bool keeps_meanings = false;
    /// The clauses' literals, one clause behind the other.
    std::vector<Literal> literals;
    /// Where each clause ends.
    std::vector<std::size_t> ends;
    /// Why it holds.
    std::vector<ClauseOrigin> origins;
    /// Of the scopes that are open.
    std::vector<Literal> selectors;
  };

  /// The same problem again, in one scope. No clause was taken yet. Variables
  /// and nodes have the same numbers, constraints need not.
  explicit Problem(const Data& data);
  /// Cost: a copy.
  Data data() const;

  /// Nothing yet. Meanings, if they are kept, take 16 bytes a variable.
  explicit Problem(bool keeps_meanings = false)
      : keeps_meanings_(keeps_meanings) {}

  /// Makes a variable and returns its index, the number of variables before.
  int new_variable() { return num_variables_++; }
  /// Notes that the literal has the value of the term, unless its variable has
  /// a meaning already.
  void note_meaning(Literal literal, const Term* term) {
    if (!keeps_meanings_) return;
    const auto variable = static_cast<std::size_t>(literal.variable());
    if (variable >= meanings_.size()) meanings_.resize(variable + 1);
    Meaning& meaning = meanings_[variable];
    if (meaning.term == nullptr) meaning = {term, literal.is_negated()};
  }
  /// What was noted of a variable.
  Meaning meaning(int variable) const {
    const auto position = static_cast<std::size_t>(variable);
    return position < meanings_.size() ? meanings_[position] : Meaning();
  }
  /// How many there are, atoms and selectors included.
  int num_variables() const { return num_variables_; }

  /// The literal of a bound. A new one comes with clauses that link it to its
  /// neighbours on the pair.
  Literal literal_of(const DifferenceBound& bound, bool integer);
  /// Whether bounds may be facts: meanings are of variables, which these have
  /// none of.
  bool takes_facts() const { return !keeps_meanings_; }
  /// States a bound in the scope that is open. It becomes a fact, with clauses
  /// that link it to its neighbours, unless it is an atom. `truth` is true in
  /// every model, the same each time. Requires: takes_facts().
  void add_fact(const DifferenceBound& bound, bool integer, Literal truth,
                ClauseOrigin origin);
  /// Variables that are bounds, facts, and their constraints.
  const AtomTable& atoms() const { return atoms_; }
  /// AtomTable::keep_number.
  void keep_number(int constraint) { atoms_.keep_number(constraint); }
  /// AtomTable::renumber.
  std::vector<int> renumber_atoms() { return atoms_.renumber(); }

  /// How many facts no scope has stated: the first ones. Cost: logarithmic.
  std::size_t num_lasting_facts() const;

  /// Adds a clause. Requires: its variables exist.
  void add_clause(const std::vector<Literal>& literals, ClauseOrigin origin);
  /// Keeps the terms of bounds and of origins.
  void keep_terms(TermSweep& sweep) const;
  /// Takes over the new ids of terms, for origins.
  void renumber_terms(const TermSweep& sweep);
  /// How many clauses there are.
  std::size_t num_clauses() const { return origins_.size(); }
  /// Requires: position < num_clauses(). Cost: a copy.
  void get_clause(std::size_t position, Clause& clause) const;
  /// The next clause that was not taken yet; false when there is none.
  bool take_clause(Clause& clause);

  /// Opens a scope.
  void open_scope();
  /// How many scopes are open, to go back to with rollback.
  std::size_t mark() const { return scopes_.size(); }
  /// Closes the scopes from `mark` on.
  void rollback(std::size_t mark) {
    while (scopes_.size() > mark) close_scope();
  }
  /// Closes the scope opened last. Cost: linear in its clauses.
  /// Requires: there is one.
  void close_scope();
  /// The selectors of the open scopes, outermost first.
  const std::vector<Literal>& selectors() const { return selectors_; }
  /// Whether the literal is one of them. Cost: logarithmic in the scopes.
  bool is_selector(Literal literal) const {
    return std::binary_search(selectors_.begin(), selectors_.end(), literal);
  }

  /// One line a bound, then one line a clause with its literals as numbers from
  /// 1, negative for negations, and its origin.
  void print(std::ostream& out) const;

 private:
  /// What there was before a scope.
  struct Scope {
    int num_variables;
    std::size_t num_bounds;
    std::size_t num_clauses;
  };

  void link_to_facts(const AtomTable::Atom& atom);
  void link_fact(const AtomTable::Fact& fact);
  std::size_t start_of(std::size_t clause) const {
    return clause == 0 ? 0 : ends_[clause - 1];
  }

  int num_variables_ = 0;
  bool keeps_meanings_;
  std::vector<Meaning> meanings_;  // by variable
  AtomTable atoms_;
  // The clauses' literals, one after the other, and where each clause ends.
  std::vector<Literal> literals_;
  std::vector<std::size_t> ends_;
  std::vector<ClauseOrigin> origins_;
  std::size_t num_taken_ = 0;
  std::vector<Scope> scopes_;
  std::vector<Literal> selectors_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_PROBLEM_H
