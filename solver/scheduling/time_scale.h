// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_TIME_SCALE_H
#define VORN_SOLVER_SCHEDULING_TIME_SCALE_H

#include <type_traits>

#include "solver/scheduling/time.h"
#include "vorn/dl/closure_scale.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// How weights become times: as exact as they are, or as words, for weights
/// such that all sums fit.
/// Threads: none.
template <class T>
class TimeScale {
 public:
  /// Times of so many nodes. The scale is of no matter for exact ones.
  TimeScale(const dl::closure::Scale& scale, int num_nodes)
      : scale_(scale), num_nodes_(num_nodes) {}
  /// Whether sums with this weight fit.
  bool covers(const la::DNumber& weight) const {
    if constexpr (std::is_same_v<T, ExactTime>) return true;
    dl::closure::Scale::Need need;
    need.num_nodes = num_nodes_;
    need.add(weight);
    return scale_.covers(need);
  }
  /// Requires: covers(weight).
  T time(const la::DNumber& weight) const {
    if constexpr (std::is_same_v<T, ExactTime>)
      return ExactTime(weight);
    else
      return scale_.to_word(weight);
  }

 private:
  dl::closure::Scale scale_;
  int num_nodes_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_TIME_SCALE_H
