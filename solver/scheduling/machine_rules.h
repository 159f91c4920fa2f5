// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_MACHINE_RULES_H
#define VORN_SOLVER_SCHEDULING_MACHINE_RULES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vorn::solver {

/// The tasks of one machine as plain arrays, in one direction of time, for
/// MachineRules. Tasks are numbered from 0 on.
template <class T>
class MachineTasks {
 public:
  /// A number of tasks, none of which takes part, or is known to come before
  /// another.
  explicit MachineTasks(std::vector<T> durations)
      : duration(std::move(durations)),
        earliest(duration.size()),
        deadline(duration.size()),
        words((duration.size() + kBits - 1) / kBits),
        before(duration.size() * words, 0) {}

  /// How long a task takes; above 0.
  std::vector<T> duration;
  /// When a task starts at the earliest.
  std::vector<T> earliest;
  /// When a task has ended at the latest.
  std::vector<T> deadline;
  /// Words of a set.
  std::size_t words;
  /// Sets of tasks, one for each task: those known to come before it.
  std::vector<std::uint64_t> before;
  /// The tasks that take part, by earliest start, and by deadline.
  std::vector<std::uint32_t> by_earliest;
  /// As above.
  std::vector<std::uint32_t> by_deadline;

  /// Notes that task a comes before task b.
  void set_before(std::size_t a, std::size_t b) {
    before[b * words + a / kBits] |= bit(a);
  }
  /// Takes that back.
  void clear_before(std::size_t a, std::size_t b) {
    before[b * words + a / kBits] &= ~bit(a);
  }
  /// Whether task a is known to come before task b.
  bool is_before(std::size_t a, std::size_t b) const {
    return (before[b * words + a / kBits] & bit(a)) != 0;
  }
  /// Task a as an element of a set's word.
  static std::uint64_t bit(std::size_t a) {
    return std::uint64_t{1} << (a % kBits);
  }
  /// Bits of a set's word.
  static constexpr std::size_t kBits = 64;

  /// Brings both orders up to date with the times. Cost: linear if little has
  /// changed, which is the rule.
  void sort() {
    sort_by(earliest, by_earliest);
    sort_by(deadline, by_deadline);
  }

 private:
  static void sort_by(const std::vector<T>& keys,
                      std::vector<std::uint32_t>& order) {
    for (std::size_t k = 1; k < order.size(); ++k) {
      const std::uint32_t moving = order[k];
      std::size_t place = k;
      for (; place > 0 && keys[moving] < keys[order[place - 1]]; --place) {
        order[place] = order[place - 1];
      }
      order[place] = moving;
    }
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
  /// A set of tasks, in no order.
  using Set = std::vector<std::uint32_t>;

  /// Calls `overload(set, start, end)`, and stops there, or
  /// `last(task, set, start, end)` for tasks that not all of the set are known
  /// to come before.
  template <class Overload, class Last>
  void find_edges(const MachineTasks<T>& tasks, const Overload& overload,
                  const Last& last) {
    const Set& by_earliest = tasks.by_earliest;
    const Set& by_deadline = tasks.by_deadline;
    const std::size_t n = by_earliest.size();
    open_.assign(tasks.duration.size(), 0);
    latest_.resize(n + 1);
    // The longest of the tasks by_deadline[k] and behind.
    longest_.assign(n + 1, T());
    for (std::size_t k = n; k-- > 0;) {
      longest_[k] = std::max(longest_[k + 1], tasks.duration[by_deadline[k]]);
    }
    for (std::size_t e = 0; e < n; ++e) {
      const T& end = tasks.deadline[by_deadline[e]];
      if (e + 1 < n && !(end < tasks.deadline[by_deadline[e + 1]])) continue;
      if (!is_tight(tasks, end, longest_[e + 1])) continue;
      ending_.assign(tasks.words, 0);
      for (std::size_t k = 0; k <= e; ++k) {
        ending_[by_deadline[k] / MachineTasks<T>::kBits] |=
            MachineTasks<T>::bit(by_deadline[k]);
      }
      // Tasks that end later, unless all of the others come before them.
      for (std::size_t k = 0; k < n; ++k) {
        const std::uint32_t i = by_deadline[k];
        open_[i] = k > e && !comes_after_ending(tasks, i) ? 1 : 0;
      }
      // Of the tasks that start before by_earliest[k], the one that ends last.
      latest_[0] = kNone;
      for (std::size_t k = 0; k < n; ++k) {
        const std::uint32_t i = by_earliest[k];
        const std::uint32_t best = latest_[k];
        latest_[k + 1] =
            open_[i] != 0 && (best == kNone ||
                              tasks.earliest[best] + tasks.duration[best] <
                                  tasks.earliest[i] + tasks.duration[i])
                ? i
                : best;
      }
      T work = T();
      std::uint32_t longest = kNone;
      for (std::size_t k = n; k-- > 0;) {
        const std::uint32_t j = by_earliest[k];
        if (end < tasks.deadline[j]) {
          if (open_[j] != 0 && (longest == kNone ||
                                tasks.duration[longest] < tasks.duration[j])) {
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
        const std::uint32_t i = latest_[k];
        const bool is_last =
            (longest != kNone &&
             end < start + work + tasks.duration[longest]) ||
            (i != kNone && end < tasks.earliest[i] + work + tasks.duration[i]);
        if (is_last) find_last(tasks, k, end, work, last);
      }
    }
  }

  /// Calls `raise(task, set, start, end, earliest)` for a task that can start
  /// no earlier than `earliest`, when the first of the set can have ended.
  template <class Raise>
  void find_not_first(const MachineTasks<T>& tasks, const Raise& raise) {
    if (tasks.by_deadline.empty()) return;
    // A task that ends by then leaves room for whatever has to end by anything.
    T work = T();
    T harmless = tasks.deadline[tasks.by_deadline.back()];
    for (const std::uint32_t j : tasks.by_deadline) {
      work += tasks.duration[j];
      harmless = std::min(harmless, tasks.deadline[j] - work);
    }
    for (const std::uint32_t i : tasks.by_earliest) {
      const T& start = tasks.earliest[i];
      if (!(harmless < start + tasks.duration[i])) continue;
      T end = start + tasks.duration[i];
      set_.clear();
      for (const std::uint32_t j : tasks.by_deadline) {
        if (j == i || !(start < tasks.earliest[j] + tasks.duration[j])) {
          continue;
        }
        set_.push_back(j);
        end += tasks.duration[j];
        if (!(tasks.deadline[j] < end)) continue;
        const auto ends_before = [&tasks](std::uint32_t a, std::uint32_t b) {
          return tasks.earliest[a] + tasks.duration[a] <
                 tasks.earliest[b] + tasks.duration[b];
        };
        const std::uint32_t first =
            *std::min_element(set_.begin(), set_.end(), ends_before);
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
    const Set& by_earliest = tasks.by_earliest;
    const std::size_t n = by_earliest.size();
    for (const std::uint32_t i : by_earliest) {
      T work = T();
      T best = tasks.earliest[i];
      std::size_t from = n;
      for (std::size_t k = n; k-- > 0;) {
        const std::uint32_t j = by_earliest[k];
        if (!tasks.is_before(j, i)) continue;
        work += tasks.duration[j];
        if (!(best < tasks.earliest[j] + work)) continue;
        best = tasks.earliest[j] + work;
        from = k;
      }
      if (from == n) continue;
      set_.clear();
      for (std::size_t k = from; k < n; ++k) {
        if (tasks.is_before(by_earliest[k], i)) set_.push_back(by_earliest[k]);
      }
      raise(i, set_, tasks.earliest[by_earliest[from]], best);
    }
  }

 private:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  // Whether the tasks that end by `end` leave no room for as much as `more`.
  static bool is_tight(const MachineTasks<T>& tasks, const T& end,
                       const T& more) {
    T work = more;
    for (std::size_t k = tasks.by_earliest.size(); k-- > 0;) {
      const std::uint32_t j = tasks.by_earliest[k];
      if (end < tasks.deadline[j]) continue;
      work += tasks.duration[j];
      if (end < tasks.earliest[j] + work) return true;
    }
    return false;
  }

  // Whether all of ending_ are known to come before a task.
  bool comes_after_ending(const MachineTasks<T>& tasks,
                          std::size_t task) const {
    const std::uint64_t* before = &tasks.before[task * tasks.words];
    for (std::size_t w = 0; w < tasks.words; ++w) {
      if ((ending_[w] & ~before[w]) != 0) return false;
    }
    return true;
  }

  // The open tasks that come after the tasks by_earliest[from] and behind.
  template <class Last>
  void find_last(const MachineTasks<T>& tasks, std::size_t from, const T& end,
                 const T& work, const Last& last) {
    collect(tasks, from, end);
    const T& set_start = tasks.earliest[tasks.by_earliest[from]];
    for (const std::uint32_t i : tasks.by_earliest) {
      if (open_[i] == 0) continue;
      const T& start = std::min(set_start, tasks.earliest[i]);
      if (!(end < start + work + tasks.duration[i])) continue;
      const bool is_known =
          std::all_of(set_.begin(), set_.end(),
                      [&](std::uint32_t j) { return tasks.is_before(j, i); });
      if (!is_known) last(i, set_, start, end);
    }
  }

  // The tasks by_earliest[from] and behind that end by `end`.
  void collect(const MachineTasks<T>& tasks, std::size_t from, const T& end) {
    set_.clear();
    for (std::size_t k = from; k < tasks.by_earliest.size(); ++k) {
      const std::uint32_t j = tasks.by_earliest[k];
      if (!(end < tasks.deadline[j])) set_.push_back(j);
    }
  }

  // Scratch space.
  Set set_;
  Set latest_;
  std::vector<char> open_;  // by task
  std::vector<T> longest_;
  std::vector<std::uint64_t> ending_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_MACHINE_RULES_H
