// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_DIFFERENCE_BOUND_H
#define VORN_SOLVER_TERMS_DIFFERENCE_BOUND_H

#include <cstdint>

#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// The constraint target - source <= weight: the shape in which the graph takes
/// an edge from source to target. A null end stands for the constant 0; at
/// least one end is a term, and the two differ.
///
/// A strict bound over the reals has -1 as its weight's eps coefficient. Over
/// the integers every weight is an integer without an eps part.
struct DifferenceBound {
  /// What is subtracted.
  const Term* source = nullptr;
  /// What it is subtracted from.
  const Term* target = nullptr;
  /// The most that the difference may be.
  la::DNumber weight;
};

enum class BoundOutcome : std::uint8_t {
  kBound,    // one bound says the same
  kTrue,     // holds whatever the leaves are
  kFalse,    // holds for no values of the leaves
  kOutside,  // no difference constraint
};

/// Reads `sum` < 0 (strict) or `sum` <= 0 as a bound, which it stores in `out`
/// when the outcome is kBound; otherwise `out` is unchanged.
///
/// A difference constraint has no leaf, one leaf with any coefficient, or two
/// leaves whose coefficients add up to 0. The coefficient is
/// divided out; over the integers the bound is then rounded to the greatest
/// integer that satisfies it, which changes no solution.
/// Requires: `integer` only if every leaf is of sort kInt.
BoundOutcome to_bound(const LinearSum& sum, bool strict, bool integer,
                      DifferenceBound& out);

/// The bound that holds exactly when `bound` does not.
/// Requires: `bound` was made by to_bound or negate_bound with this `integer`.
DifferenceBound negate_bound(const DifferenceBound& bound, bool integer);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_DIFFERENCE_BOUND_H
