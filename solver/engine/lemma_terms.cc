// SPDX-License-Identifier: MIT
#include "solver/engine/lemma_terms.h"

#include <cassert>
#include <cstdint>

#include "solver/terms/difference_bound.h"

namespace vorn::solver {

LemmaTerms::SignedTerm LemmaTerms::term_of(const dl::Edge& bound) {
  const auto node_term = [this](int node) {
    return node == 0 ? store_.make_number(QNumber(0))
                     : problem_.atoms().term_of(node);
  };
  const Term* limit = store_.make_plus(
      node_term(bound.source), store_.make_number(bound.weight.rational()));
  const Term* target = node_term(bound.target);
  if (bound.weight.eps().sign() == 0) {
    return {store_.make_leq(target, limit), false};
  }
  return {store_.make_leq(limit, target), true};
}

// Both constraints of an atom have the term of its bound. A fact has its own.
LemmaTerms::SignedTerm LemmaTerms::term_of(int constraint) {
  const AtomTable& atoms = problem_.atoms();
  if (atoms.is_fact(constraint)) {
    return term_of(atoms.constraint(constraint).edge);
  }
  const Literal literal = atoms.constraint(constraint).literal;
  const int stated = atoms.bound(Literal(literal.variable(), false)).id;
  SignedTerm result = term_of(atoms.constraint(stated).edge);
  if (literal.is_negated()) result.negated = !result.negated;
  return result;
}

const Term_* LemmaTerms::constraint_to_lit(int constraint) {
  const auto [term, negated] = term_of(constraint);
  const Literal literal = problem_.atoms().constraint(constraint).literal;
  literals_.emplace(
      term, Known{negated ? ~literal : literal,
                  problem_.atoms().is_fact(constraint) ? constraint : 0});
  // The sign lives in the pointer's lowest bit.
  const auto bits = reinterpret_cast<std::uintptr_t>(term);
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<const Term_*>(bits | (negated ? 1U : 0U));
}

bool LemmaTerms::read(const dl::Graph::Lemma& lemma,
                      std::vector<Literal>& clause, std::vector<int>& facts) {
  clause.clear();
  for (const Term_* disjunct : lemma.second) {
    const Term* term = static_cast<const Term*>(disjunct);
    const bool negated = term->kind == Kind::kNot;
    if (negated) term = term->arg(0);
    Literal literal;
    bool constant = false;
    if (const auto known = literals_.find(term); known != literals_.end()) {
      literal = known->second.literal;
      if (known->second.fact != 0) {
        // As long as it is stated it holds.
        const bool is_implied = negated == literal.is_negated();
        if (is_implied) return false;
        facts.push_back(known->second.fact);
      }
    } else if (!read_bound(term, literal, constant)) {
      if (constant != negated) return false;
      continue;
    }
    clause.push_back(negated ? ~literal : literal);
  }
  return true;
}

// False if the bound is a constant, which goes to `constant`.
bool LemmaTerms::read_bound(const Term* term, Literal& literal,
                            bool& constant) {
  constant = term->kind == Kind::kTrue;
  if (constant || term->kind == Kind::kFalse) return false;
  LinearSum sum;
  lineariser_.linearise_difference(term->arg(0), term->arg(1), sum);
  const bool integer = is_integer(sum);
  DifferenceBound bound;
  const BoundOutcome outcome = to_bound(sum, false, integer, bound);
  assert(outcome != BoundOutcome::kOutside);
  constant = outcome == BoundOutcome::kTrue;
  if (outcome != BoundOutcome::kBound) return false;
  literal = problem_.literal_of(bound, integer);
  return true;
}

void LemmaTerms::forget(int constraint) {
  if (!literals_.empty()) literals_.erase(term_of(constraint).term);
}

}  // namespace vorn::solver
