// SPDX-License-Identifier: MIT
#include "solver/terms/difference_bound.h"

#include <cassert>
#include <utility>

// With a the positive coefficient, the sum is a * (target - source) + k, where
// a missing leaf counts as 0. So the sum is at most 0 exactly when
// target - source <= -k / a. Over the integers the left side is an integer, so
// the right side may be floored; a strict bound first moves to the next integer
// below: d < q holds exactly when d <= ceil(q) - 1.

namespace vorn::solver {

BoundOutcome to_bound(const LinearSum& sum, bool strict, bool integer,
                      DifferenceBound& out) {
  const auto& monomials = sum.monomials;
  if (monomials.empty()) {
    const int sign = sum.constant.sign();
    return (strict ? sign < 0 : sign <= 0) ? BoundOutcome::kTrue
                                           : BoundOutcome::kFalse;
  }
  if (monomials.size() > 2) return BoundOutcome::kOutside;

  const bool first_is_target = monomials[0].coefficient.sign() > 0;
  const Term* target = monomials[0].leaf;
  const Term* source = nullptr;
  assert(!integer || target->sort == Sort::kInt);
  if (monomials.size() == 2) {
    source = monomials[1].leaf;
    QNumber rest = monomials[0].coefficient;
    rest += monomials[1].coefficient;
    if (rest.sign() != 0) return BoundOutcome::kOutside;
  }
  if (!first_is_target) std::swap(source, target);

  QNumber divisor = monomials[0].coefficient;
  if (first_is_target) divisor = -divisor;
  QNumber limit = sum.constant;
  limit /= divisor;
  if (integer) {
    if (strict) {
      limit = limit.ceil();
      limit += QNumber(-1);
    } else {
      limit = limit.floor();
    }
  }
  const QNumber eps(strict && !integer ? -1 : 0);
  out = {source, target, la::DNumber(limit, eps)};
  return BoundOutcome::kBound;
}

DifferenceBound negate_bound(const DifferenceBound& bound, bool integer) {
  // not (d <= w) is -d < -w, and not (d < w) is -d <= -w.
  QNumber limit = -bound.weight.rational();
  const bool was_strict = bound.weight.eps().sign() < 0;
  assert(!integer || (!was_strict && limit.is_integer()));
  if (integer) limit += QNumber(-1);
  const QNumber eps(integer || was_strict ? 0 : -1);
  return {bound.target, bound.source, la::DNumber(limit, eps)};
}

}  // namespace vorn::solver
