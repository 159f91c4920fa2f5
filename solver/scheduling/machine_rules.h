// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_MACHINE_RULES_H
#define VORN_SOLVER_SCHEDULING_MACHINE_RULES_H

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace vorn::solver {

/// The tasks of one machine as plain arrays, for MachineRules.
template <class T>
struct MachineTasks {
  /// When a task starts at the earliest.
  std::vector<T> earliest;
  /// When a task has ended at the latest.
  std::vector<T> deadline;
  /// How long it takes; above 0.
  std::vector<T> duration;
  /// Sets of tasks, `words` words for each task: those known to come before it.
  std::vector<std::uint64_t> before;
  /// Words of a set.
  std::size_t words = 0;

  /// How many tasks there are.
  std::size_t size() const { return duration.size(); }
  /// Makes room for `n` tasks, none of which is known to come before another.
  void reset(std::size_t n) {
    earliest.assign(n, T());
    deadline.assign(n, T());
    duration.assign(n, T());
    words = (n + 63) / 64;
    before.assign(n * words, 0);
  }
  /// Notes that task a comes before task b.
  void set_before(std::size_t a, std::size_t b) {
    before[b * words + a / 64] |= std::uint64_t{1} << (a % 64);
  }
  /// Whether task a is known to come before task b.
  bool is_before(std::size_t a, std::size_t b) const {
    return (before[b * words + a / 64] >> (a % 64) & 1U) != 0;
  }
};

/// What follows for tasks that one machine does one after the other: the rules
/// for disjunctive resources of constraint-based scheduling (Carlier and
/// Pinson, "An Algorithm for Solving the Job-Shop Problem", 1989; Baptiste, Le
/// Pape and Nuijten, "Constraint-Based Scheduling", 2001; Torres and Lopez, "On
/// Not-First/Not-Last Conditions in Disjunctive Scheduling", 2000).
///
/// Each rule looks at time in one direction: it finds tasks that come after
/// others, and later earliest times. For the other direction the caller turns
/// time round. Rules pass what they find to a visitor, with a set of tasks and
/// times that already force it, whatever else is known:
///
///  - overload: a set whose tasks start no earlier than `start`, end by `end`,
///    and take longer than that;
///  - last: a task that cannot end, together with the set, by the set's `end`
///    if all start no earlier than `start`; so it comes after all of the set
///    (edge-finding);
///  - not first: a task that starts no earlier than `start`, and then leaves no
///    room for a set that has to end by `end`; so one of the set comes before
///    it, and it starts no earlier than one of them can have ended;
///  - preceded: a task that all of a set come before, which start no earlier
///    than `start`, one after the other.
///
/// Cost: O(n^2) a rule for n tasks, which beats lists kept in trees for the
/// dozens of tasks that machines have; each finding adds O(n).
/// Threads: none. Vectors passed to a visitor are the rules' own.
template <class T>
class MachineRules {
 public:
  /// A set of tasks, ascending by nothing in particular.
  using Set = std::vector<std::size_t>;

  /// Calls `overload(set, start, end)`, and stops there, or
  /// `last(task, set, start, end)` for tasks that not all of the set are known
  /// to come before.
  template <class Overload, class Last>
  void find_edges(const MachineTasks<T>& tasks, const Overload& overload,
                  const Last& last) {
    const std::size_t n = tasks.size();
    sort(tasks);
    open_.assign(n, 0);
    for (std::size_t e = 0; e < n; ++e) {
      const T& end = tasks.deadline[by_deadline_[e]];
      if (e + 1 < n && !(end < tasks.deadline[by_deadline_[e + 1]])) continue;
      // Tasks that end later, unless all of the others come before them.
      ending_.assign(tasks.words, 0);
      for (std::size_t k = 0; k <= e; ++k) {
        const std::size_t j = by_deadline_[k];
        ending_[j / 64] |= std::uint64_t{1} << (j % 64);
      }
      for (std::size_t k = 0; k < n; ++k) {
        open_[k] = end < tasks.deadline[k] && !covers(tasks, k) ? 1 : 0;
      }
      // Of the tasks that start before by_earliest_[k], the one that ends last.
      latest_.assign(n + 1, n);
      for (std::size_t k = 0; k < n; ++k) {
        const std::size_t i = by_earliest_[k];
        std::size_t best = latest_[k];
        if (open_[i] != 0 &&
            (best == n || tasks.earliest[best] + tasks.duration[best] <
                              tasks.earliest[i] + tasks.duration[i])) {
          best = i;
        }
        latest_[k + 1] = best;
      }
      T work = T();
      std::size_t longest = n;
      for (std::size_t k = n; k-- > 0;) {
        const std::size_t j = by_earliest_[k];
        if (end < tasks.deadline[j]) {
          if (open_[j] != 0 && (longest == n || tasks.duration[longest] <
                                                    tasks.duration[j])) {
            longest = j;
          }
          continue;
        }
        work += tasks.duration[j];
        const T& start = tasks.earliest[j];
        if (end < start + work) {
          collect(tasks, k, end);
          overload(set_, start, end);
          return;
        }
        const bool from_later =
            longest < n && end < start + work + tasks.duration[longest];
        const std::size_t i = latest_[k];
        const bool from_earlier =
            i < n && end < tasks.earliest[i] + work + tasks.duration[i];
        if (!from_later && !from_earlier) continue;
        collect(tasks, k, end);
        for (std::size_t i2 = 0; i2 < n; ++i2) {
          if (open_[i2] == 0) continue;
          const T& from = std::min(start, tasks.earliest[i2]);
          if (!(end < from + work + tasks.duration[i2])) continue;
          const bool is_known =
              std::all_of(set_.begin(), set_.end(), [&](std::size_t a) {
                return tasks.is_before(a, i2);
              });
          if (!is_known) last(i2, set_, from, end);
        }
      }
    }
  }

  /// Calls `raise(task, set, start, end, earliest)` for a task that can start
  /// no earlier than `earliest`, when the first of the set can have ended.
  template <class Raise>
  void find_not_first(const MachineTasks<T>& tasks, const Raise& raise) {
    const std::size_t n = tasks.size();
    sort(tasks);
    for (std::size_t i = 0; i < n; ++i) {
      const T& start = tasks.earliest[i];
      T end = start + tasks.duration[i];
      set_.clear();
      for (const std::size_t j : by_deadline_) {
        if (j == i || !(start < tasks.earliest[j] + tasks.duration[j])) {
          continue;
        }
        set_.push_back(j);
        end += tasks.duration[j];
        if (!(tasks.deadline[j] < end)) continue;
        std::size_t first = set_.front();
        for (const std::size_t k : set_) {
          if (tasks.earliest[k] + tasks.duration[k] <
              tasks.earliest[first] + tasks.duration[first]) {
            first = k;
          }
        }
        raise(i, set_, start, tasks.deadline[j],
              tasks.earliest[first] + tasks.duration[first]);
        break;
      }
    }
  }

  /// Calls `raise(task, set, start, earliest)` for a task that can start no
  /// earlier than `earliest`, after the whole set.
  template <class Raise>
  void find_preceded(const MachineTasks<T>& tasks, const Raise& raise) {
    const std::size_t n = tasks.size();
    sort(tasks);
    for (std::size_t i = 0; i < n; ++i) {
      T work = T();
      T best = tasks.earliest[i];
      std::size_t from = n;
      for (std::size_t k = n; k-- > 0;) {
        const std::size_t j = by_earliest_[k];
        if (!tasks.is_before(j, i)) continue;
        work += tasks.duration[j];
        if (!(best < tasks.earliest[j] + work)) continue;
        best = tasks.earliest[j] + work;
        from = k;
      }
      if (from == n) continue;
      set_.clear();
      for (std::size_t k = from; k < n; ++k) {
        if (tasks.is_before(by_earliest_[k], i)) {
          set_.push_back(by_earliest_[k]);
        }
      }
      raise(i, set_, tasks.earliest[by_earliest_[from]], best);
    }
  }

 private:
  void sort(const MachineTasks<T>& tasks) {
    const auto by = [](const std::vector<T>& keys, Set& order) {
      order.resize(keys.size());
      std::iota(order.begin(), order.end(), std::size_t{0});
      std::sort(order.begin(), order.end(),
                [&keys](std::size_t a, std::size_t b) {
                  if (keys[a] < keys[b]) return true;
                  return !(keys[b] < keys[a]) && a < b;
                });
    };
    by(tasks.earliest, by_earliest_);
    by(tasks.deadline, by_deadline_);
  }

  // Whether all of ending_ are known to come before a task.
  bool covers(const MachineTasks<T>& tasks, std::size_t task) const {
    for (std::size_t w = 0; w < tasks.words; ++w) {
      if ((ending_[w] & ~tasks.before[task * tasks.words + w]) != 0) {
        return false;
      }
    }
    return true;
  }

  // The tasks by_earliest_[from] and behind that end by `end`.
  void collect(const MachineTasks<T>& tasks, std::size_t from, const T& end) {
    set_.clear();
    for (std::size_t k = from; k < by_earliest_.size(); ++k) {
      if (!(end < tasks.deadline[by_earliest_[k]])) {
        set_.push_back(by_earliest_[k]);
      }
    }
  }

  // Scratch space.
  Set by_earliest_;
  Set by_deadline_;
  Set set_;
  Set latest_;
  std::vector<char> open_;
  std::vector<std::uint64_t> ending_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_MACHINE_RULES_H
