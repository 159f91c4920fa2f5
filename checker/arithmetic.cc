// SPDX-License-Identifier: MIT
#include <algorithm>
#include <functional>
#include <map>

#include "checker/proof.h"

namespace vorn::checker {
namespace {

using Relation = Inequality::Relation;

// Adds b c to a. Nearly all numbers are integers, which have no common divisors
// to be looked for.
void add_product(mpq_class& a, const mpq_class& b, const mpq_class& c) {
  if (a.get_den() == 1 && b.get_den() == 1 && c.get_den() == 1) {
    mpz_addmul(a.get_num_mpz_t(), b.get_num_mpz_t(), c.get_num_mpz_t());
  } else {
    a += b * c;
  }
}

// Sharpens an inequality whose variables and coefficients are integers: with g
// their common divisor, a constant c becomes g floor(c/g), and for `sum + c >
// 0` it becomes g (ceil(c/g) - 1) with >=.
void sharpen(const Terms& terms, Inequality& inequality) {
  mpz_class divisor = 0;
  for (const auto& [variable, coefficient] : inequality.sum) {
    if (terms.sort(variable) != Sort::kInt) return;
    if (coefficient.get_den() != 1) return;
    divisor = gcd(divisor, coefficient.get_num());
  }
  if (divisor == 0 || inequality.relation == Relation::kEqual) return;
  const mpq_class constant = inequality.constant / divisor;
  const mpz_class rounded = inequality.relation == Relation::kGreater
                                ? mpz_class(-floor_of(-constant) - 1)
                                : floor_of(constant);
  inequality.constant = rounded * divisor;
  inequality.relation = Relation::kGeq;
}

// Makes left - right a sum of variables and a constant. False if a coefficient
// gets too long.
//
// Terms wait with the coefficients that they have so far, those made last
// first: when one is taken, all that use it have been, so each is taken once.
bool subtract(const Terms& terms, TermId left, TermId right,
              Inequality& result) {
  std::map<TermId, mpq_class, std::greater<>> waiting;
  waiting[left] += 1;
  waiting[right] -= 1;
  while (!waiting.empty()) {
    const auto [term, factor] = *waiting.begin();
    waiting.erase(waiting.begin());
    // They grow with depth; no sensible one comes near this.
    if (bits(factor) > std::size_t{1} << 24U) return false;
    const TermIds& args = terms.args(term);
    const Op op = terms.op(term);
    const auto is_variable = [&](TermId part) { return !terms.value(part); };
    if (const mpq_class* value = terms.value(term)) {
      add_product(result.constant, factor, *value);
    } else if (op == Op::kPlus || op == Op::kMinus || op == Op::kToReal) {
      for (std::size_t i = 0; i < args.size(); ++i) {
        const bool is_added = op != Op::kMinus || (i == 0 && args.size() > 1);
        add_product(waiting[args[i]], factor, is_added ? 1 : -1);
      }
    } else if ((op == Op::kTimes || op == Op::kDivide) &&
               std::count_if(args.begin(), args.end(), is_variable) == 1) {
      TermId variable = kNoTerm;
      mpq_class product = factor;
      for (const TermId part : args) {
        if (is_variable(part)) {
          variable = part;
        } else if (op == Op::kTimes) {
          product *= *terms.value(part);
        } else {
          product /= *terms.value(part);
        }
      }
      waiting[variable] += product;
    } else if (factor != 0) {
      // A product of variables is a variable by itself.
      result.sum.emplace_back(term, factor);
    }
  }
  return true;
}

// What the negation of a literal says: of `<=`, `<`, `>=`, `>` on two numeric
// terms or its negation, or of a negated `=` of two numeric terms. Null for
// other literals, and if a coefficient gets too long.
std::unique_ptr<Inequality> negation_of(const Terms& terms, TermId literal) {
  const bool is_negated = terms.op(literal) == Op::kNot;
  const TermId atom = is_negated ? terms.arg(literal, 0) : literal;
  const Op op = terms.op(atom);
  const bool is_bound = op >= Op::kLeq && op <= Op::kGreater;
  if (!is_bound && !(op == Op::kEqual && is_negated)) return nullptr;
  if (terms.num_args(atom) != 2) return nullptr;
  TermId greater = terms.arg(atom, 0);
  TermId less = terms.arg(atom, 1);
  if (terms.sort(less) == Sort::kBool) return nullptr;

  // not (s <= t) and s > t and s >= t say something of s - t.
  const bool is_upper = op == Op::kLeq || op == Op::kLess;
  if (is_upper == is_negated) std::swap(greater, less);
  auto result = std::make_unique<Inequality>();
  if (!subtract(terms, greater, less, *result)) return nullptr;
  const bool is_strict = op == Op::kLess || op == Op::kGreater;
  result->relation = op == Op::kEqual          ? Relation::kEqual
                     : is_strict == is_negated ? Relation::kGreater
                                               : Relation::kGeq;
  sharpen(terms, *result);
  return result;
}

}  // namespace

// la_generic (c1 ... cn): (cl l1 ... ln), where the negations of the literals,
// each multiplied by its coefficient, add up to something false: constant >= 0
// of a negative one, or constant > 0 of one that is not positive. Coefficients
// count by absolute value, except those of equalities.
void la_generic(Inference& s) {
  s.require(s.arguments.size() == s.conclusion.size(),
            "there must be a coefficient for each literal");
  s.negations.resize(s.terms.size());
  std::vector<mpq_class*> left;
  mpq_class constant;
  mpq_class factor;
  bool is_strict = false;
  for (std::size_t i = 0; i < s.arguments.size(); ++i) {
    auto& negation = s.negations[s.conclusion[i]];
    if (!negation) negation = negation_of(s.terms, s.conclusion[i]);
    s.require(negation != nullptr, "a literal is no linear inequality");
    const mpq_class* coefficient = s.number(s.arguments[i]);
    s.require(coefficient != nullptr, "a coefficient is not a number");
    factor = *coefficient;
    if (negation->relation != Relation::kEqual) factor = abs(factor);
    if (factor == 0) continue;
    for (const auto& [variable, count] : negation->sum) {
      left.push_back(&s.coefficients[variable]);
      add_product(*left.back(), factor, count);
    }
    add_product(constant, factor, negation->constant);
    is_strict = is_strict || negation->relation == Relation::kGreater;
  }
  for (const mpq_class* sum : left) {
    s.require(*sum == 0, "the left sides do not cancel");
  }
  s.require(constant < 0 || (is_strict && constant == 0),
            "the sum is not false");
}

}  // namespace vorn::checker
