// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_TARGET_H
#define VORN_SOLVER_ENGINE_TARGET_H

#include <functional>
#include <unordered_map>
#include <vector>

#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// An arithmetic term that is to be made small: what it is in each case of the
/// ites in it, and how far its values can lie from each other.
///
/// Cost: linear in the term, for each call. Ownership: borrows the term.
/// Threads: none.
class Target {
 public:
  /// Requires: comparisons of `term` with numbers are inside the fragment.
  explicit Target(const Term* term);

  /// As given.
  const Term* term() const { return term_; }
  /// The conditions of its ites, each once.
  const std::vector<const Term*>& conditions() const { return conditions_; }

  /// A term without ites: factor * (minuend - subtrahend) + constant. Null ends
  /// stand for 0; a factor of 0 for a constant alone, otherwise it is positive.
  struct Difference {
    /// As above.
    const Term* minuend = nullptr;
    /// As above.
    const Term* subtrahend = nullptr;
    /// As above.
    QNumber factor;
    /// As above.
    QNumber constant;
  };
  /// What the term is where the conditions have these values.
  Difference in_case(const std::function<bool(const Term*)>& truth) const;

  /// No case has a greater factor.
  const QNumber& most_factor() const { return most_factor_; }
  /// In no case is the constant further from 0.
  const QNumber& most_constant() const { return most_constant_; }
  /// In all cases the factor and the constant are multiples of 1 over this.
  const QNumber& denominator() const { return denominator_; }

 private:
  struct Size {
    QNumber factor;
    QNumber constant;
  };
  const Size* size_of(const Term* term, std::vector<const Term*>& missing);

  const Term* term_;
  std::vector<const Term*> conditions_;
  std::unordered_map<const Term*, Size> sizes_;
  QNumber most_factor_;
  QNumber most_constant_;
  QNumber denominator_ = QNumber(1);
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_TARGET_H
