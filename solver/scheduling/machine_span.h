// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_MACHINE_SPAN_H
#define VORN_SOLVER_SCHEDULING_MACHINE_SPAN_H

#include <algorithm>
#include <cstddef>
#include <optional>
#include <queue>
#include <utility>
#include <vector>

namespace vorn::solver {

/// A task of one machine.
template <class T>
struct SpanTask {
  /// When it starts at the earliest.
  T head;
  /// How long it takes; above 0.
  T duration;
  /// How long it is at least from its start to the end of all.
  T tail;
};

/// No end of all is before this, whatever the order of the tasks: the least one
/// if a task could be interrupted by another, at any time. Then the task with
/// the most to come after it goes first (Carlier, "The One-Machine Sequencing
/// Problem", 1982). Nothing if there is no task. Cost: O(n log n).
template <class T>
std::optional<T> least_end(std::vector<SpanTask<T>> tasks) {
  std::sort(tasks.begin(), tasks.end(),
            [](const SpanTask<T>& a, const SpanTask<T>& b) {
              return a.head < b.head;
            });
  struct Started {
    T after;  // what comes after it
    T left;
    bool operator<(const Started& other) const { return after < other.after; }
  };
  std::priority_queue<Started> started;
  std::optional<T> most;
  std::size_t next = 0;
  T now{};
  while (next < tasks.size() || !started.empty()) {
    if (started.empty()) now = tasks[next].head;
    for (; next < tasks.size() && !(now < tasks[next].head); ++next) {
      const SpanTask<T>& task = tasks[next];
      started.push({task.tail - task.duration, task.duration});
    }
    Started first = started.top();
    started.pop();
    const T end = now + first.left;
    if (next < tasks.size() && tasks[next].head < end) {
      first.left = end - tasks[next].head;
      now = tasks[next].head;
      started.push(std::move(first));
      continue;
    }
    now = end;
    const T all = end + first.after;
    if (!most || *most < all) most = all;
  }
  return most;
}

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_MACHINE_SPAN_H
