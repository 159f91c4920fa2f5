// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_ARITHMETIC_H
#define VORN_CHECKER_ARITHMETIC_H

#include <gmpxx.h>

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "checker/terms.h"

namespace vorn::checker {

/// A sum of variables with coefficients, ascending by variable, none 0, plus a
/// constant. Variables are all terms that are no sums themselves.
struct LinearSum {
  /// Variables and their coefficients.
  std::vector<std::pair<TermId, mpq_class>> parts;
  /// What is added to them.
  mpq_class constant;
};

/// left - right, for numeric terms; nothing if a coefficient gets too long.
std::optional<LinearSum> difference(const Terms& terms, TermId left,
                                    TermId right);

/// sum >= bound, sum > bound or sum = bound.
struct Inequality {
  /// How the two sides compare.
  enum class Relation { kGeq, kGreater, kEqual };
  /// The left side, with a constant of 0.
  LinearSum sum;
  /// How it compares.
  Relation relation = Relation::kGeq;
  /// The right side.
  mpq_class bound;
};

/// What the negation of a literal says: of `<=`, `<`, `>=`, `>` on two numeric
/// terms or its negation, or of a negated `=` of two numeric terms. Nothing for
/// other literals. Over the integers it is sharpened: with g the common divisor
/// of the coefficients, `sum > d` becomes `sum >= g (floor(d/g) + 1)` and
/// `sum >= d` becomes `sum >= g ceil(d/g)`.
std::optional<Inequality> negation_of(const Terms& terms, TermId literal);

/// Sums of inequalities. Keeps what it has read of literals, as proofs use the
/// same ones again and again.
class Arithmetic {
 public:
  /// `terms` is borrowed.
  explicit Arithmetic(const Terms& terms) : terms_(terms) {}

  /// Whether the negations of the literals, each multiplied by its coefficient,
  /// add up to something false: 0 >= positive, or 0 > nonnegative. Coefficients
  /// count by absolute value, except those of equalities. Returns null or what
  /// is wrong.
  const char* refutes(const TermId* literals,
                      const std::vector<mpq_class>& coefficients);

 private:
  const Inequality* inequality_of(TermId literal);

  const Terms& terms_;
  std::unordered_map<TermId, std::optional<Inequality>> known_;
};

}  // namespace vorn::checker

#endif  // VORN_CHECKER_ARITHMETIC_H
