// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_LEMMA_TERMS_H
#define VORN_SOLVER_ENGINE_LEMMA_TERMS_H

#include <unordered_map>
#include <vector>

#include "solver/engine/problem.h"
#include "solver/search/literal.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "vorn/dl/graph.h"
#include "vorn/services/linear_term_mapper.h"

namespace vorn::solver {

/// The terms with which a graph states its lemmas, and the way back from them
/// to literals of a problem.
///
/// A constraint gets its term when a lemma first mentions it, and that term
/// leads straight back to the literal. Only a bound that the lemma implies, and
/// that is no premise of one, is read as a term.
///
/// Ownership: borrows both. Threads: none.
class LemmaTerms final : public la::LinearTermMapper {
 public:
  /// Makes terms in `store` for the atoms of `problem`.
  LemmaTerms(TermStore& store, Problem& problem)
      : store_(store), problem_(problem) {}

  const Term_* term(int var) const override {
    return problem_.atoms().term_of(var);
  }
  const Term_* constraint_to_lit(int constraint) override;

  /// Sets `clause` to the lemma, and appends the facts that it rests on; false
  /// if it holds trivially. May make an atom.
  bool read(const dl::Graph::Lemma& lemma, std::vector<Literal>& clause,
            std::vector<int>& facts);
  /// Forgets the term of the atom with this constraint, if it has one.
  void forget(int constraint);
  /// Forgets all terms. Requires: no lemma waits to be read.
  void forget_all() { literals_.clear(); }

 private:
  // A term, and whether its negation is meant.
  struct SignedTerm {
    const Term* term;
    bool negated;
  };

  SignedTerm term_of(const dl::Edge& bound);
  SignedTerm term_of(int constraint);
  bool read_bound(const Term* term, Literal& literal, bool& constant);

  TermStore& store_;
  Problem& problem_;
  Lineariser lineariser_;
  struct Known {
    Literal literal;
    // The constraint, if that is a fact; else 0.
    int fact;
  };
  std::unordered_map<const Term*, Known> literals_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_LEMMA_TERMS_H
