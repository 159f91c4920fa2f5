// SPDX-License-Identifier: MIT
#include "solver/search/restart_policy.h"

#include <cassert>

namespace vorn::solver {

namespace {

// Conflicts between two restarts that follow the glue, at the least.
constexpr std::uint64_t kMinConflicts = 4;
// These come when the fast average exceeds the slow one times this.
constexpr double kMargin = 1.12;

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
    : unit_(options.restart_unit), alternation_unit_(options.alternation_unit) {
  assert(unit_ >= 1 && alternation_unit_ >= 1);
}

void RestartPolicy::record_conflict(int glue) {
  ++conflicts_;
  ++stretch_conflicts_;
  fast_glue_.add(glue);
  slow_glue_.add(glue);
}

bool RestartPolicy::wants_restart() const {
  if (stable_) return conflicts_ >= luby_limit_;
  return conflicts_ >= kMinConflicts &&
         fast_glue_.value() > kMargin * slow_glue_.value();
}

void RestartPolicy::record_restart() {
  conflicts_ = 0;
  if (stable_) luby_limit_ = unit_ * luby(++luby_index_);
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
