// SPDX-License-Identifier: MIT
#include "vorn/dl/closure_scale.h"

#include <cassert>
#include <utility>

namespace vorn::dl::closure {
namespace {

QNumber magnitude(const QNumber& q) {
  return q.sign() < 0 ? -q : q;
}

// Requires: both are positive integers.
void to_common_multiple(QNumber& multiple, const QNumber& other) {
  if (other == QNumber(1)) return;
  QNumber ratio = multiple;
  ratio /= other;
  multiple *= ratio.denominator();
}

bool is_multiple(const QNumber& multiple, const QNumber& factor) {
  if (factor == QNumber(1)) return true;
  QNumber ratio = multiple;
  ratio /= factor;
  return ratio.is_integer();
}

// The eps coefficient of a path, scaled, at most.
QNumber largest_eps_sum(const Scale::Need& need, const QNumber& denominator) {
  QNumber sum = need.largest_eps;
  sum *= denominator;
  sum *= QNumber(need.num_nodes);
  return sum;
}

// Largest sums. Above them is room for infinity (see Words), and for the few
// sums and differences of sums that the ways make on the way to a comparison.
constexpr std::int64_t kLargest32 = std::int64_t{1} << 27;
constexpr std::int64_t kLargest64 = std::int64_t{1} << 58;

}  // namespace

void Scale::Need::add(const la::DNumber& weight) {
  to_common_multiple(rational_denominator, weight.rational().denominator());
  QNumber size = magnitude(weight.rational());
  if (largest_rational < size) largest_rational = std::move(size);
  if (weight.eps().sign() == 0) return;
  to_common_multiple(eps_denominator, weight.eps().denominator());
  size = magnitude(weight.eps());
  if (largest_eps < size) largest_eps = std::move(size);
}

Scale::Size Scale::size_for(const Need& need) const {
  QNumber sum = need.largest_rational;
  sum *= rational_denominator_;
  sum *= step_;
  QNumber eps = need.largest_eps;
  eps *= eps_denominator_;
  sum += eps;
  sum *= QNumber(need.num_nodes);
  if (sum <= QNumber::from_word(kLargest32)) return Size::kWord32;
  if (sum <= QNumber::from_word(kLargest64)) return Size::kWord64;
  return Size::kExact;
}

bool Scale::covers(const Need& need) const {
  if (size_ == Size::kExact) return true;
  if (!is_multiple(rational_denominator_, need.rational_denominator) ||
      !is_multiple(eps_denominator_, need.eps_denominator)) {
    return false;
  }
  QNumber twice = largest_eps_sum(need, eps_denominator_);
  twice += twice;
  return twice < step_ && size_for(need) <= size_;
}

void Scale::fit(const Need& need) {
  Scale fitting;
  fitting.rational_denominator_ = need.rational_denominator;
  fitting.eps_denominator_ = need.eps_denominator;
  // Twice is enough for now; twice as many nodes will come to fit, too.
  fitting.step_ = largest_eps_sum(need, need.eps_denominator);
  fitting.step_ *= QNumber(4);
  fitting.step_ += QNumber(1);
  fitting.size_ = fitting.size_for(need);
  *this = std::move(fitting);
}

std::int64_t Scale::to_word(const la::DNumber& weight) const {
  assert(size_ != Size::kExact);
  QNumber scaled = weight.rational();
  scaled *= rational_denominator_;
  scaled *= step_;
  QNumber eps = weight.eps();
  eps *= eps_denominator_;
  scaled += eps;
  // All factors are small here; a value in the big form would still convert.
  const QNumber whole = scaled.floor();
  assert(whole == scaled && whole.is_word());
  return whole.word();
}

la::DNumber Scale::to_number(std::int64_t word) const {
  assert(size_ != Size::kExact);
  // It fits a word, but may be in the big form: it comes of weights that were.
  const std::int64_t step = step_.floor().word();
  // The nearest multiple of the step: the eps part is less than half of it.
  std::int64_t whole = word / step;
  std::int64_t rest = word % step;
  if (2 * rest > step) {
    ++whole;
    rest -= step;
  } else if (2 * rest < -step) {
    --whole;
    rest += step;
  }
  QNumber rational = QNumber::from_word(whole);
  rational /= rational_denominator_;
  QNumber eps = QNumber::from_word(rest);
  eps /= eps_denominator_;
  return {rational, eps};
}

}  // namespace vorn::dl::closure
