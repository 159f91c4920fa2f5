// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_TIME_SCALE_H
#define VORN_SOLVER_SCHEDULING_TIME_SCALE_H

#include "solver/scheduling/time.h"
#include "vorn/dl/closure_scale.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// How weights become times.
/// Threads: none.
template <class T>
class TimeScale;

/// Words, for weights such that all sums fit.
template <>
class TimeScale<WordTime> {
 public:
  /// Times of so many nodes.
  TimeScale(const dl::closure::Scale& scale, int num_nodes)
      : scale_(scale), num_nodes_(num_nodes) {}
  /// Whether sums with this weight fit.
  bool covers(const la::DNumber& weight) const {
    dl::closure::Scale::Need need;
    need.num_nodes = num_nodes_;
    need.add(weight);
    return scale_.covers(need);
  }
  /// Requires: covers(weight).
  WordTime time(const la::DNumber& weight) const {
    return scale_.to_word(weight);
  }

 private:
  dl::closure::Scale scale_;
  int num_nodes_;
};

/// Exact numbers, for all weights.
template <>
class TimeScale<ExactTime> {
 public:
  /// True.
  bool covers(const la::DNumber& /*weight*/) const { return true; }
  /// The same.
  ExactTime time(const la::DNumber& weight) const { return ExactTime(weight); }
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_TIME_SCALE_H
