// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_H
#define VORN_SOLVER_TERMS_H

#include "vorn/export.h"
#include "vorn/numbers/q_number.h"

// What a Session is told, built with operators:
//
//   session.add((b - a >= 3 || a - b >= 2) && a >= 0);
//
// Here && and || have no short cuts: both sides are terms, and built. Others in
// their place would bind in another way, and compilers warn of each.

namespace vorn::solver {
struct Term;
}  // namespace vorn::solver

namespace vorn::api {

class Session;
namespace inner {
struct State;
}  // namespace inner

/// A number that a model gives a value to: a variable, and what is made of
/// variables by adding, by multiplying with numbers, and by choosing.
///
/// Any expression can be built. Comparisons that a Session takes are those that
/// bound a difference x - y, or a single x, however it is written: 2 * x - 2 *
/// y <= 3 is one, x + y <= 3 is not. Session::objection tells.
///
/// Cost: two words; copies are the same expression. Building one costs a look
/// into a table of all terms, and some 100 bytes if it is new.
/// Ownership: belongs to its session, and is of no use once that is gone;
/// nothing is freed before that. Requires, everywhere: expressions and formulas
/// that are put together belong to one session.
/// Threads: as the session. Errors: std::bad_alloc alone, which changes
/// nothing.
class VORN_EXPORT Expression {
 public:
  /// No expression; to be assigned to.
  Expression() = default;

  /// Whether it is one.
  bool is_defined() const { return term_ != nullptr; }
  /// Whether it has an integer for a value in each model, as variables of that
  /// kind have, and their sums and integral multiples.
  bool is_integer() const;

 private:
  friend class Session;
  friend struct inner::State;
  Expression(inner::State* state, const solver::Term* term)
      : state_(state), term_(term) {}

  inner::State* state_ = nullptr;
  const solver::Term* term_ = nullptr;
};

/// What a model makes true or false: a Boolean variable, a comparison, and what
/// is made of those. A comparison of a difference with a number is a bound.
///
/// Cost, ownership, threads and errors are those of Expression.
class VORN_EXPORT Formula {
 public:
  /// No formula; to be assigned to.
  Formula() = default;

  /// Whether it is one.
  bool is_defined() const { return term_ != nullptr; }

 private:
  friend class Session;
  friend struct inner::State;
  Formula(inner::State* state, const solver::Term* term)
      : state_(state), term_(term) {}

  inner::State* state_ = nullptr;
  const solver::Term* term_ = nullptr;
};

// Of an integer and a real, arithmetic makes a real, whose value is that of the
// integer.

/// The sum.
VORN_EXPORT Expression operator+(const Expression& a, const Expression& b);
/// The difference.
VORN_EXPORT Expression operator-(const Expression& a, const Expression& b);
/// The negative.
VORN_EXPORT Expression operator-(const Expression& a);
/// The sum with a number.
VORN_EXPORT Expression operator+(const Expression& a, const QNumber& b);
/// The difference to a number.
VORN_EXPORT Expression operator-(const Expression& a, const QNumber& b);
/// A multiple; of a fraction it is real.
VORN_EXPORT Expression operator*(const QNumber& factor, const Expression& a);

/// At most.
VORN_EXPORT Formula operator<=(const Expression& a, const Expression& b);
/// Less than.
VORN_EXPORT Formula operator<(const Expression& a, const Expression& b);
/// At least.
VORN_EXPORT Formula operator>=(const Expression& a, const Expression& b);
/// Greater than.
VORN_EXPORT Formula operator>(const Expression& a, const Expression& b);
/// At most a number.
VORN_EXPORT Formula operator<=(const Expression& a, const QNumber& b);
/// Less than a number.
VORN_EXPORT Formula operator<(const Expression& a, const QNumber& b);
/// At least a number.
VORN_EXPORT Formula operator>=(const Expression& a, const QNumber& b);
/// Greater than a number.
VORN_EXPORT Formula operator>(const Expression& a, const QNumber& b);
/// Of the same value. Not ==, which compares objects wherever C++ is read.
VORN_EXPORT Formula equal(const Expression& a, const Expression& b);
/// Of the same value as a number.
VORN_EXPORT Formula equal(const Expression& a, const QNumber& b);

/// Not.
VORN_EXPORT Formula operator!(const Formula& a);
/// Both.
VORN_EXPORT Formula operator&&(const Formula& a, const Formula& b);
/// One of them, or both.
VORN_EXPORT Formula operator||(const Formula& a, const Formula& b);
/// One of them, and not both.
VORN_EXPORT Formula unequal(const Formula& a, const Formula& b);
/// If `a`, then `b`.
VORN_EXPORT Formula implies(const Formula& a, const Formula& b);
/// Both, or neither.
VORN_EXPORT Formula equal(const Formula& a, const Formula& b);
/// The one if the condition holds, else the other.
VORN_EXPORT Formula choose(const Formula& condition, const Formula& then,
                           const Formula& otherwise);
/// Likewise. Sums of such expressions count: the numbers of those that hold.
VORN_EXPORT Expression choose(const Formula& condition, const Expression& then,
                              const Expression& otherwise);

}  // namespace vorn::api

#endif  // VORN_SOLVER_TERMS_H
