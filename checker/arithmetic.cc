// SPDX-License-Identifier: MIT
#include <functional>
#include <map>

#include "checker/proof.h"

namespace vorn::checker {
namespace {

using Relation = Inequality::Relation;

// Sharpens an inequality whose variables and coefficients are integers: with g
// their common divisor, `sum > d` becomes `sum >= g (floor(d/g) + 1)`, and `sum
// >= d` becomes `sum >= g ceil(d/g)`.
void sharpen(const Terms& terms, Inequality& inequality) {
  mpz_class divisor = 0;
  for (const auto& [variable, coefficient] : inequality.sum) {
    if (terms.sort(variable) != Sort::kInt) return;
    if (coefficient.get_den() != 1) return;
    divisor = gcd(divisor, coefficient.get_num());
  }
  if (divisor == 0 || inequality.relation == Relation::kEqual) return;
  const mpq_class bound = inequality.bound / divisor;
  const mpz_class rounded = inequality.relation == Relation::kGreater
                                ? mpz_class(floor_of(bound) + 1)
                                : mpz_class(-floor_of(-bound));
  inequality.bound = rounded * divisor;
  inequality.relation = Relation::kGeq;
}

// Makes the two sides of left - right: a sum of variables, and a bound, which
// is minus the constant. False if a coefficient gets too long.
//
// Terms wait with the coefficients that they have so far, those made last
// first: when one is taken, all that use it have been, so each is taken once.
bool subtract(const Terms& terms, TermId left, TermId right,
              Inequality& result) {
  std::map<TermId, mpq_class, std::greater<>> waiting;
  waiting[left] += 1;
  waiting[right] -= 1;
  while (!waiting.empty()) {
    const TermId term = waiting.begin()->first;
    const mpq_class factor = waiting.begin()->second;
    waiting.erase(waiting.begin());
    // They grow with depth; no sensible one comes near this.
    if (bits(factor) > std::size_t{1} << 24U) return false;
    const std::size_t count = terms.num_args(term);
    const Op op = terms.op(term);
    if (const mpq_class* value = terms.value(term)) {
      result.bound -= factor * *value;
    } else if (op == Op::kPlus || op == Op::kMinus || op == Op::kToReal) {
      for (std::size_t i = 0; i < count; ++i) {
        const bool is_added = op != Op::kMinus || (i == 0 && count > 1);
        waiting[terms.arg(term, i)] += is_added ? factor : mpq_class(-factor);
      }
    } else {
      // A product of variables is a variable by itself.
      mpq_class product = factor;
      TermId variable = term;
      std::size_t num_variables = 0;
      for (std::size_t i = 0; i < count; ++i) {
        const mpq_class* number = terms.value(terms.arg(term, i));
        if (op != Op::kTimes && op != Op::kDivide) break;
        if (number == nullptr) {
          variable = terms.arg(term, i);
          ++num_variables;
        } else if (op == Op::kTimes || i == 0) {
          product *= *number;
        } else {
          product /= *number;
        }
      }
      if (num_variables == 1) {
        waiting[variable] += product;
      } else if (factor != 0) {
        result.sum.emplace_back(term, factor);
      }
    }
  }
  return true;
}

// What the negation of a literal says: of `<=`, `<`, `>=`, `>` on two numeric
// terms or its negation, or of a negated `=` of two numeric terms. Nothing for
// other literals, nor if a coefficient gets too long.
std::optional<Inequality> negation_of(const Terms& terms, TermId literal) {
  const bool is_negated = terms.op(literal) == Op::kNot;
  const TermId atom = is_negated ? terms.arg(literal, 0) : literal;
  const Op op = terms.op(atom);
  const bool is_bound = op >= Op::kLeq && op <= Op::kGreater;
  if (!is_bound && !(op == Op::kEqual && is_negated)) return std::nullopt;
  if (terms.num_args(atom) != 2) return std::nullopt;
  TermId greater = terms.arg(atom, 0);
  TermId less = terms.arg(atom, 1);
  if (terms.sort(less) == Sort::kBool) return std::nullopt;

  // not (s <= t) and s > t and s >= t say something of s - t.
  const bool is_upper = op == Op::kLeq || op == Op::kLess;
  if (is_upper == is_negated) std::swap(greater, less);
  Inequality result;
  if (!subtract(terms, greater, less, result)) return std::nullopt;
  const bool is_strict = op == Op::kLess || op == Op::kGreater;
  result.relation = op == Op::kEqual          ? Relation::kEqual
                    : is_strict == is_negated ? Relation::kGreater
                                              : Relation::kGeq;
  sharpen(terms, result);
  return result;
}

}  // namespace

// la_generic (c1 ... cn): (cl l1 ... ln), where the negations of the literals,
// each multiplied by its coefficient, add up to something false: 0 >= positive,
// or 0 > nonnegative. Coefficients count by absolute value, except those of
// equalities.
void la_generic(Inference& s) {
  s.require(s.arguments.size() == s.conclusion.size(),
            "there must be a coefficient for each literal");
  std::unordered_map<TermId, mpq_class> left;
  mpq_class right;
  bool is_strict = false;
  for (std::size_t i = 0; i < s.arguments.size(); ++i) {
    const TermId literal = s.conclusion[i];
    auto known = s.negations.find(literal);
    if (known == s.negations.end()) {
      known = s.negations.emplace(literal, negation_of(s.terms, literal)).first;
    }
    s.require(known->second.has_value(), "a literal is no linear inequality");
    const Inequality& inequality = *known->second;
    const mpq_class* coefficient = s.terms.value(s.arguments[i]);
    s.require(coefficient != nullptr, "a coefficient is not a number");
    mpq_class factor = *coefficient;
    if (inequality.relation != Relation::kEqual) factor = abs(factor);
    if (factor == 0) continue;
    for (const auto& [variable, count] : inequality.sum) {
      left[variable] += factor * count;
    }
    right += factor * inequality.bound;
    is_strict = is_strict || inequality.relation == Relation::kGreater;
  }
  for (const auto& [variable, count] : left) {
    s.require(count == 0, "the left sides do not cancel");
  }
  s.require(right > 0 || (is_strict && right == 0), "the sum is not false");
}

}  // namespace vorn::checker
