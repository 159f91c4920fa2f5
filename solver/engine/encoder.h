// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_ENCODER_H
#define VORN_SOLVER_ENGINE_ENCODER_H

#include <cstddef>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/engine/problem.h"
#include "solver/search/clause_origin.h"
#include "solver/search/literal.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Turns Boolean terms into clauses of a problem.
///
/// Each distinct subterm gets one literal and the clauses that define it
/// (Tseitin, "On the Complexity of Derivation in Propositional Calculus",
/// 1968), so shared subterms are encoded once. Definitions only say what a new
/// variable means; they hold in every scope and are forgotten with their
/// variables. The top of an assertion needs no variable: conjunctions are split
/// and disjunctions become clauses.
///
/// Cost: linear in the distinct subterms. No recursion.
/// Ownership: borrows all three. Threads: none.
class Encoder {
 public:
  /// Makes a variable that is true in every model.
  Encoder(TermStore& store, AtomNormaliser& normaliser, Problem& problem);

  /// A literal that has the term's value in every model.
  /// Requires: Boolean, all its atoms inside the fragment.
  Literal literal_of(const Term* term);

  /// Asserts `term` in the scope that is open, as the assertion of this
  /// position. Requires: as literal_of.
  /// Bounds become facts where the problem takes them.
  void assert_term(const Term* term, std::size_t position = 0);

  /// The literal of an encoded term; nothing if it has none.
  std::optional<Literal> find(const Term* term) const;

  /// What has a literal or a name.
  const std::vector<const Term*>& encoded() const { return encoded_; }

  /// How much is encoded, to go back to with rollback.
  std::size_t mark() const { return encoded_.size(); }
  /// Forgets what was encoded since. The variables of that time are the
  /// caller's to forget.
  void rollback(std::size_t mark);

 private:
  bool assert_fact(const Term* term, ClauseOrigin origin);
  Literal encode(const Term* term);
  bool encode_root(const Term* term);
  bool encode_atom(const Term* atom);
  void encode_junction(const Term* term);
  void encode_ite(const Term* term);
  Literal encode_xor(const Term* term, Literal a, Literal b);
  bool needs(const Term* term);
  Literal known(const Term* term) const { return literals_.at(term); }
  void set(const Term* term, Literal literal);
  void define_ite_variable(const Term* leaf);
  void finish_definitions();
  void define(ClauseKind kind, const Term* term,
              const std::vector<Literal>& clause);
  void add_disjunction(const Term* term, ClauseOrigin origin,
                       std::vector<Literal>& clause);

  TermStore& store_;
  AtomNormaliser& normaliser_;
  Problem& problem_;
  Literal true_;  // true in every model

  std::unordered_map<const Term*, Literal> literals_;
  std::unordered_set<const Term*> named_ites_;
  /// Boolean terms with a literal and arithmetic ites with a name, in order.
  std::vector<const Term*> encoded_;
  /// What named ites mean, not yet asserted, with the ite.
  std::vector<std::pair<const Term*, const Term*>> definitions_;
  std::vector<const Term*> stack_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_ENCODER_H
