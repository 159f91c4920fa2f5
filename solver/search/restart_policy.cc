// SPDX-License-Identifier: MIT
#include "solver/search/restart_policy.h"

#include <algorithm>
#include <cassert>

namespace vorn::solver {

namespace {

// Averages over about the last thirty and the last ten thousand conflicts.
constexpr double kFastWeight = 1.0 / 32;
constexpr double kSlowWeight = 1.0 / 8192;

std::uint64_t at_least_one(int value) {
  return static_cast<std::uint64_t>(std::max(value, 1));
}

}  // namespace

std::uint64_t luby(std::uint64_t index) {
  assert(index >= 1);
  // The sequence up to index 2^k - 1 is that up to 2^(k-1) - 1 twice, then
  // 2^(k-1).
  for (;;) {
    std::uint64_t power = 1;  // smallest 2^k > index
    while (power <= index) power *= 2;
    if (index == power - 1) return power / 2;
    index -= power / 2 - 1;
  }
}

RestartPolicy::RestartPolicy(const SearchOptions& options)
    : style_(options.restart_style),
      unit_(at_least_one(options.restart_unit)),
      min_conflicts_(at_least_one(options.restart_min_conflicts)),
      margin_(options.restart_margin),
      alternation_unit_(at_least_one(options.alternation_unit)),
      stable_(style_ == RestartStyle::kLuby || style_ == RestartStyle::kNever),
      fast_glue_(kFastWeight),
      slow_glue_(kSlowWeight),
      luby_limit_(unit_) {}

void RestartPolicy::record_conflict(int glue) {
  ++conflicts_;
  ++stretch_conflicts_;
  fast_glue_.add(glue);
  slow_glue_.add(glue);
}

bool RestartPolicy::wants_restart() const {
  if (style_ == RestartStyle::kNever) return false;
  if (stable_) return conflicts_ >= luby_limit_;
  return conflicts_ >= min_conflicts_ &&
         fast_glue_.value() > margin_ * slow_glue_.value();
}

void RestartPolicy::record_restart() {
  conflicts_ = 0;
  if (stable_) luby_limit_ = unit_ * luby(++luby_index_);
  if (style_ != RestartStyle::kAlternating) return;
  if (stretch_conflicts_ < alternation_unit_ * stretch_ * stretch_) return;
  stretch_conflicts_ = 0;
  if (stable_) ++stretch_;
  stable_ = !stable_;
  if (stable_) {
    luby_index_ = 1;
    luby_limit_ = unit_;
  }
}

}  // namespace vorn::solver
