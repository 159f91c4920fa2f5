// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_PAIR_BOUND_H
#define VORN_SOLVER_ENGINE_PAIR_BOUND_H

#include <optional>

#include "solver/terms/term.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// What a small comparison says: first - second <= limit, or < limit.
///
/// Read off the term for checks of models, without the normalisation that the
/// search works on.
struct PairBound {
  /// The symbol that counts for it; null for 0.
  const Term* first = nullptr;
  /// The one that counts against it, another one; null for 0. Not both are.
  const Term* second = nullptr;
  /// What the difference is at most.
  QNumber limit = QNumber(0);
  /// Whether it is below that.
  bool is_strict = false;

  /// Whether all values that satisfy it satisfy another one of the same two.
  bool implies(const PairBound& other) const {
    if (limit == other.limit) return is_strict || !other.is_strict;
    return limit < other.limit;
  }
};

/// What a term says, if that is all it says and it is small: a comparison of
/// sums of few numbers and symbols, each symbol once, or the negation of one.
std::optional<PairBound> read_pair_bound(const Term* term);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_PAIR_BOUND_H
