// SPDX-License-Identifier: MIT
#include "vorn/solver/terms.h"

#include <cassert>

#include "solver/api/state.h"

// Each operator makes one term or a few, in the store of its operands' session.

namespace vorn::api {
namespace {

using inner::State;
using solver::Term;

// The session of both.
template <class Handle>
State& state_of(const Handle& a, const Handle& b) {
  assert(&State::state_of(a) == &State::state_of(b));
  [[maybe_unused]] const auto& other = b;
  return State::state_of(a);
}

Formula compare(const Expression& a, const Expression& b, bool strict) {
  State& state = state_of(a, b);
  return state.formula(
      state.compare(State::term_of(a), State::term_of(b), strict));
}

Expression number(const Expression& beside, const QNumber& value) {
  State& state = State::state_of(beside);
  return state.expression(state.number(value));
}

}  // namespace

bool Expression::is_integer() const {
  return term_->sort == solver::Sort::kInt;
}

Expression operator+(const Expression& a, const Expression& b) {
  State& state = state_of(a, b);
  return state.expression(state.plus(State::term_of(a), State::term_of(b)));
}

Expression operator-(const Expression& a) {
  State& state = State::state_of(a);
  return state.expression(state.times(QNumber(-1), State::term_of(a)));
}

Expression operator-(const Expression& a, const Expression& b) {
  return a + -b;
}

Expression operator+(const Expression& a, const QNumber& b) {
  return a + number(a, b);
}

Expression operator-(const Expression& a, const QNumber& b) {
  return a + number(a, -b);
}

Expression operator*(const QNumber& factor, const Expression& a) {
  State& state = State::state_of(a);
  return state.expression(state.times(factor, State::term_of(a)));
}

Formula operator<=(const Expression& a, const Expression& b) {
  return compare(a, b, false);
}

Formula operator<(const Expression& a, const Expression& b) {
  return compare(a, b, true);
}

Formula operator>=(const Expression& a, const Expression& b) {
  return compare(b, a, false);
}

Formula operator>(const Expression& a, const Expression& b) {
  return compare(b, a, true);
}

Formula operator<=(const Expression& a, const QNumber& b) {
  return a <= number(a, b);
}

Formula operator<(const Expression& a, const QNumber& b) {
  return a < number(a, b);
}

Formula operator>=(const Expression& a, const QNumber& b) {
  return a >= number(a, b);
}

Formula operator>(const Expression& a, const QNumber& b) {
  return a > number(a, b);
}

Formula equal(const Expression& a, const Expression& b) {
  State& state = state_of(a, b);
  const Term* left = State::term_of(a);
  const Term* right = State::term_of(b);
  state.unify(left, right);
  return state.formula(state.store.make_equal(left, right));
}

Formula equal(const Expression& a, const QNumber& b) {
  return equal(a, number(a, b));
}

Formula operator!(const Formula& a) {
  State& state = State::state_of(a);
  return state.formula(state.store.make_not(State::term_of(a)));
}

Formula operator&&(const Formula& a, const Formula& b) {
  State& state = state_of(a, b);
  return state.formula(
      state.store.make_and({State::term_of(a), State::term_of(b)}));
}

Formula operator||(const Formula& a, const Formula& b) {
  State& state = state_of(a, b);
  return state.formula(
      state.store.make_or(State::term_of(a), State::term_of(b)));
}

Formula unequal(const Formula& a, const Formula& b) {
  State& state = state_of(a, b);
  return state.formula(
      state.store.make_xor(State::term_of(a), State::term_of(b)));
}

Formula implies(const Formula& a, const Formula& b) {
  State& state = state_of(a, b);
  return state.formula(
      state.store.make_implies(State::term_of(a), State::term_of(b)));
}

Formula equal(const Formula& a, const Formula& b) {
  State& state = state_of(a, b);
  return state.formula(
      state.store.make_equal(State::term_of(a), State::term_of(b)));
}

Formula choose(const Formula& condition, const Formula& then,
               const Formula& otherwise) {
  State& state = state_of(then, otherwise);
  return state.formula(state.store.make_ite(State::term_of(condition),
                                            State::term_of(then),
                                            State::term_of(otherwise)));
}

Expression choose(const Formula& condition, const Expression& then,
                  const Expression& otherwise) {
  State& state = state_of(then, otherwise);
  const Term* left = State::term_of(then);
  const Term* right = State::term_of(otherwise);
  state.unify(left, right);
  return state.expression(
      state.store.make_ite(State::term_of(condition), left, right));
}

}  // namespace vorn::api
