// SPDX-License-Identifier: MIT
#include "checker/arithmetic.h"

#include <functional>
#include <map>

namespace vorn::checker {
namespace {

using Relation = Inequality::Relation;

// Coefficients of shared sums grow with depth; no sensible one comes near this.
constexpr std::size_t kMostBits = std::size_t{1} << 24U;

bool is_too_long(const mpq_class& value) {
  return mpz_sizeinbase(value.get_num_mpz_t(), 2) > kMostBits ||
         mpz_sizeinbase(value.get_den_mpz_t(), 2) > kMostBits;
}

// Sharpens an inequality whose variables are integers.
void sharpen(Inequality& inequality) {
  mpz_class divisor = 0;
  for (const auto& [variable, coefficient] : inequality.sum.parts) {
    if (coefficient.get_den() != 1) return;
    divisor = gcd(divisor, coefficient.get_num());
  }
  if (divisor == 0 || inequality.relation == Relation::kEqual) return;
  const mpq_class bound = inequality.bound / divisor;
  mpz_class rounded;
  if (inequality.relation == Relation::kGreater) {
    mpz_fdiv_q(rounded.get_mpz_t(), bound.get_num_mpz_t(),
               bound.get_den_mpz_t());
    ++rounded;
  } else {
    mpz_cdiv_q(rounded.get_mpz_t(), bound.get_num_mpz_t(),
               bound.get_den_mpz_t());
  }
  inequality.bound = rounded * divisor;
  inequality.relation = Relation::kGeq;
}

}  // namespace

// Terms wait with the coefficients that they have so far, those made last
// first: when one is taken, all that use it have been, so each is taken once.
std::optional<LinearSum> difference(const Terms& terms, TermId left,
                                    TermId right) {
  std::map<TermId, mpq_class, std::greater<>> waiting;
  waiting[left] += 1;
  waiting[right] -= 1;
  std::map<TermId, mpq_class> parts;
  LinearSum sum;
  while (!waiting.empty()) {
    const TermId term = waiting.begin()->first;
    const mpq_class factor = waiting.begin()->second;
    waiting.erase(waiting.begin());
    if (is_too_long(factor)) return std::nullopt;
    const std::size_t count = terms.num_args(term);
    const Op op = terms.op(term);
    if (const mpq_class* value = terms.value(term)) {
      sum.constant += factor * *value;
    } else if (op == Op::kPlus) {
      for (std::size_t i = 0; i < count; ++i) {
        waiting[terms.arg(term, i)] += factor;
      }
    } else if (op == Op::kMinus) {
      waiting[terms.arg(term, 0)] += count == 1 ? mpq_class(-factor) : factor;
      for (std::size_t i = 1; i < count; ++i) {
        waiting[terms.arg(term, i)] -= factor;
      }
    } else if (op == Op::kTimes || op == Op::kDivide) {
      mpq_class product = factor;
      TermId variable = kNoTerm;
      std::size_t num_variables = 0;
      for (std::size_t i = 0; i < count; ++i) {
        const mpq_class* number = terms.value(terms.arg(term, i));
        if (number == nullptr) {
          variable = terms.arg(term, i);
          ++num_variables;
        } else if (op == Op::kTimes || i == 0) {
          product *= *number;
        } else {
          product /= *number;
        }
      }
      // A product of variables is a variable by itself.
      if (num_variables == 1) {
        waiting[variable] += product;
      } else {
        parts[term] += factor;
      }
    } else {
      parts[term] += factor;
    }
  }
  for (auto& [variable, coefficient] : parts) {
    if (coefficient != 0) sum.parts.emplace_back(variable, coefficient);
  }
  return sum;
}

std::optional<Inequality> negation_of(const Terms& terms, TermId literal) {
  const bool is_negated = terms.op(literal) == Op::kNot;
  const TermId atom = is_negated ? terms.arg(literal, 0) : literal;
  const Op op = terms.op(atom);
  const bool is_bound =
      op == Op::kLeq || op == Op::kLess || op == Op::kGeq || op == Op::kGreater;
  if (!is_bound && !(op == Op::kEqual && is_negated)) return std::nullopt;
  if (terms.num_args(atom) != 2) return std::nullopt;
  const TermId left = terms.arg(atom, 0);
  const TermId right = terms.arg(atom, 1);
  if (terms.sort(left) == Sort::kBool) return std::nullopt;

  // not (s <= t) and s > t and s >= t say something of s - t.
  const bool is_upper = op == Op::kLeq || op == Op::kLess;
  const bool is_left_greater = is_upper != is_negated;
  auto sum = is_left_greater ? difference(terms, left, right)
                             : difference(terms, right, left);
  if (!sum.has_value()) return std::nullopt;
  Inequality result;
  const bool is_strict = op == Op::kLess || op == Op::kGreater;
  result.relation = op == Op::kEqual          ? Relation::kEqual
                    : is_strict == is_negated ? Relation::kGreater
                                              : Relation::kGeq;
  result.bound = -sum->constant;
  result.sum = std::move(*sum);
  result.sum.constant = 0;
  if (terms.sort(left) == Sort::kInt) sharpen(result);
  return result;
}

const Inequality* Arithmetic::inequality_of(TermId literal) {
  auto known = known_.find(literal);
  if (known == known_.end()) {
    known = known_.emplace(literal, negation_of(terms_, literal)).first;
  }
  return known->second.has_value() ? &*known->second : nullptr;
}

const char* Arithmetic::refutes(const TermId* literals,
                                const std::vector<mpq_class>& coefficients) {
  std::unordered_map<TermId, mpq_class> left;
  mpq_class right;
  bool is_strict = false;
  for (std::size_t i = 0; i < coefficients.size(); ++i) {
    const Inequality* inequality = inequality_of(literals[i]);
    if (inequality == nullptr) return "a literal is no linear inequality";
    mpq_class factor = coefficients[i];
    if (inequality->relation != Relation::kEqual) factor = abs(factor);
    if (factor == 0) continue;
    for (const auto& [variable, coefficient] : inequality->sum.parts) {
      left[variable] += factor * coefficient;
    }
    right += factor * inequality->bound;
    is_strict = is_strict || inequality->relation == Relation::kGreater;
  }
  for (const auto& [variable, coefficient] : left) {
    if (coefficient != 0) return "the left sides do not cancel";
  }
  if (right > 0 || (is_strict && right == 0)) return nullptr;
  return "the sum is not false";
}

}  // namespace vorn::checker
