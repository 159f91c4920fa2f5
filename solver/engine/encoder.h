// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_ENCODER_H
#define VORN_SOLVER_ENGINE_ENCODER_H

#include <cstddef>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/engine/difference_theory.h"
#include "solver/search/literal.h"
#include "solver/search/search.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Turns Boolean terms into clauses of a search.
///
/// Each distinct subterm gets one literal and the clauses that define it
/// (Tseitin, "On the Complexity of Derivation in Propositional Calculus",
/// 1968), so shared subterms are encoded once. Definitions only say what a new
/// variable means; they hold in every scope and are forgotten with their
/// variables. The top of an assertion needs no variable: conjunctions are split
/// and disjunctions become clauses.
///
/// Cost: linear in the distinct subterms. No recursion.
/// Ownership: borrows all four. Threads: none.
class Encoder {
 public:
  /// Makes a variable that is true in every model. Requires: the search is at
  /// level 0.
  Encoder(TermStore& store, AtomNormaliser& normaliser,
          DifferenceTheory& theory, Search& search);

  /// A literal that has the term's value in every model.
  /// Requires: Boolean, all its atoms inside the fragment, search at level 0.
  Literal literal_of(const Term* term);

  /// Makes the search satisfy `term` whenever `guard`, if any, is true.
  /// Requires: as literal_of.
  void assert_term(const Term* term, std::optional<Literal> guard);

  /// The literal of an encoded term; nothing if it has none.
  std::optional<Literal> find(const Term* term) const;

  /// How much is encoded, to go back to with shrink.
  std::size_t size() const { return encoded_.size(); }
  /// Forgets what was encoded since size() was `count`. The search's variables
  /// and the theory's atoms of that time are the caller's to forget.
  void shrink(std::size_t count);

 private:
  Literal encode(const Term* term);
  bool encode_root(const Term* term);
  bool encode_atom(const Term* atom);
  void encode_junction(const Term* term);
  void encode_ite(const Term* term);
  Literal encode_xor(Literal a, Literal b);
  bool needs(const Term* term);
  Literal known(const Term* term) const { return literals_.at(term); }
  void set(const Term* term, Literal literal);
  void define_ite_variable(const Term* leaf);
  void finish_definitions();
  void add(const std::vector<Literal>& clause);
  void assert_one(const Term* term, std::optional<Literal> guard);

  TermStore& store_;
  AtomNormaliser& normaliser_;
  DifferenceTheory& theory_;
  Search& search_;
  Literal true_;  // true in every model

  std::unordered_map<const Term*, Literal> literals_;
  std::unordered_set<const Term*> named_ites_;
  /// Boolean terms with a literal and arithmetic ites with a name, in order.
  std::vector<const Term*> encoded_;
  /// What named ites mean, not yet asserted.
  std::vector<const Term*> definitions_;
  std::vector<const Term*> stack_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_ENCODER_H
