// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_ONE_MACHINE_H
#define VORN_SOLVER_SCHEDULING_ONE_MACHINE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace vorn::solver {

/// A few tasks for one machine, and whether there is an order in which all end
/// in time: for each subset, the earliest time that some order of it ends at
/// (Held and Karp's way of walking subsets).
///
/// Cost: is_feasible O(2^n n^2). Made to check what the rules conclude, not to
/// find it.
template <class T>
class OneMachine {
 public:
  /// Adds a task, unless it is known, that can start and end at any time.
  void add(std::size_t name, const T& duration) {
    tasks_.emplace(name, Task{duration, {}, {}, false, {}});
  }
  /// Adds the task if need be; it starts no earlier than `time`.
  void start_from(std::size_t name, const T& time, const T& duration) {
    add(name, duration);
    std::optional<T>& start = tasks_.at(name).start;
    if (!start || *start < time) start = time;
  }
  /// Adds the task if need be; it has ended by `time`.
  void end_by(std::size_t name, const T& time, const T& duration) {
    add(name, duration);
    Task& task = tasks_.at(name);
    if (!task.end || time < *task.end) {
      task.end = time;
      task.is_strict = false;
    }
  }
  /// The task has ended before `time`. Requires: it is known.
  void end_before(std::size_t name, const T& time) {
    Task& task = tasks_.at(name);
    if (task.end && *task.end < time) return;
    task.end = time;
    task.is_strict = true;
  }
  /// Task a comes before task b. Requires: both are known.
  void set_before(std::size_t a, std::size_t b) {
    tasks_.at(b).after.push_back(a);
  }
  /// Whether the task is known.
  bool has(std::size_t name) const { return tasks_.count(name) != 0; }
  /// How many tasks there are.
  std::size_t size() const { return tasks_.size(); }

  /// Whether some order of all tasks keeps to all times.
  bool is_feasible() const {
    std::vector<std::size_t> names;
    std::vector<const Task*> tasks;
    for (const auto& [name, task] : tasks_) {
      names.push_back(name);
      tasks.push_back(&task);
    }
    const std::size_t n = tasks.size();
    struct Reached {
      bool feasible = false;
      std::optional<T> end;  // nothing: as early as one likes
    };
    std::vector<Reached> reached(std::size_t{1} << n);
    reached[0].feasible = true;
    for (std::size_t set = 0; set < reached.size(); ++set) {
      if (!reached[set].feasible) continue;
      for (std::size_t k = 0; k < n; ++k) {
        if ((set >> k & 1U) != 0) continue;
        const Task& task = *tasks[k];
        bool is_next = true;
        for (std::size_t l = 0; l < n; ++l) {
          if ((set >> l & 1U) != 0) continue;
          for (const std::size_t before : task.after) {
            if (names[l] == before) is_next = false;
          }
        }
        if (!is_next) continue;
        std::optional<T> start = reached[set].end;
        if (task.start && (!start || *start < *task.start)) start = task.start;
        std::optional<T> end;
        if (start) end = *start + task.duration;
        if (end && task.end &&
            (*task.end < *end || (task.is_strict && !(*end < *task.end)))) {
          continue;
        }
        Reached& next = reached[set | std::size_t{1} << k];
        if (!next.feasible) {
          next = {true, end};
        } else if (next.end && (!end || *end < *next.end)) {
          next.end = end;
        }
      }
    }
    return reached.back().feasible;
  }

 private:
  struct Task {
    T duration;
    std::optional<T> start;
    std::optional<T> end;
    bool is_strict;
    std::vector<std::size_t> after;
  };

  std::map<std::size_t, Task> tasks_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_ONE_MACHINE_H
