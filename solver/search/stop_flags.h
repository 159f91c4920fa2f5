// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_STOP_FLAGS_H
#define VORN_SOLVER_SEARCH_STOP_FLAGS_H

#include <atomic>

namespace vorn::solver {

/// Who may end a search: up to two, each with a flag of its own, to be set from
/// any thread. The flags are borrowed.
struct StopFlags {
  /// Whoever asked the question; null for nobody.
  const std::atomic<bool>* asker = nullptr;
  /// Whoever answers it as well; null for nobody.
  const std::atomic<bool>* rivals = nullptr;

  /// Whether one of them wants it to end. Cost: two loads.
  bool is_set() const { return is_set(asker) || is_set(rivals); }

 private:
  static bool is_set(const std::atomic<bool>* flag) {
    return flag != nullptr && flag->load(std::memory_order_relaxed);
  }
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_STOP_FLAGS_H
