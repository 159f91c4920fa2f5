// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_TIME_H
#define VORN_SOLVER_SCHEDULING_TIME_H

#include <cstdint>
#include <utility>

#include "vorn/numbers/d_number.h"

// Points in time and lengths of time, as words or exact, behind one set of
// operators, so that reasoning about tasks is written once.

namespace vorn::solver {

/// Words, as a dl::closure::Scale makes them: all sums fit.
using WordTime = std::int64_t;

/// Of a sum above 0, as much as can be taken away so that it stays above 0.
inline WordTime largest_slack(WordTime sum) {
  return sum - 1;
}

/// Exact, for sums that outgrow words.
class ExactTime {
 public:
  /// Zero.
  ExactTime() = default;
  /// As given.
  explicit ExactTime(la::DNumber value) : value_(std::move(value)) {}
  ExactTime(const ExactTime& other) = default;
  ExactTime(ExactTime&& other) noexcept = default;
  ~ExactTime() = default;
  /// Also to itself, which the number does not allow: the less of two times is
  /// often the target.
  ExactTime& operator=(const ExactTime& other) {
    if (this != &other) value_ = other.value_;
    return *this;
  }
  /// As above.
  ExactTime& operator=(ExactTime&& other) noexcept = default;

  /// As given.
  const la::DNumber& value() const { return value_; }

  /// Sum.
  friend ExactTime operator+(const ExactTime& a, const ExactTime& b) {
    return ExactTime(a.value_ + b.value_);
  }
  /// Difference.
  friend ExactTime operator-(const ExactTime& a, const ExactTime& b) {
    return a + -b;
  }
  /// Opposite.
  ExactTime operator-() const {
    return ExactTime(la::DNumber(-value_.rational(), -value_.eps()));
  }
  /// Adds.
  ExactTime& operator+=(const ExactTime& other) {
    value_ += other.value_;
    return *this;
  }
  /// Order.
  friend bool operator<(const ExactTime& a, const ExactTime& b) {
    return a.value_ < b.value_;
  }
  /// Sameness.
  friend bool operator==(const ExactTime& a, const ExactTime& b) {
    return !(a < b) && !(b < a);
  }

 private:
  la::DNumber value_;
};

/// As for words; there is no largest amount, so none is taken.
inline ExactTime largest_slack(const ExactTime& /*sum*/) {
  return {};
}

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_TIME_H
