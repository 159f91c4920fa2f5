// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_TIME_WINDOWS_H
#define VORN_SOLVER_SCHEDULING_TIME_WINDOWS_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <queue>
#include <utility>
#include <vector>

#include "solver/search/literal.h"
#include "vorn/containers/index.h"

namespace vorn::solver {

/// How early and how late each node can be, counted from one node, the origin,
/// under the constraints on a search's trail.
///
/// A constraint target - source <= weight lets earliest times go from target to
/// source and latest ones from source to target. On top of that come times that
/// reasoning about sets of tasks has found, with a number for their reason.
/// Without those, a window is a pair of shortest distances; each time that one
/// grows is an entry, and an explanation takes the oldest entry that is good
/// enough, so that it depends on early decisions where it can.
///
/// Both times of a node are *points*, and the value of a point only rises: that
/// of latest(x) is the latest time of x, negated.
///
/// Cost: an entry for each rise; explaining, a heap over the entries used.
/// Ownership: all its own. Threads: none.
template <class T>
class TimeWindows {
 public:
  /// The point of a node's earliest time.
  static int earliest(int node) { return 2 * node; }
  /// The point of a node's latest time, negated.
  static int latest(int node) { return 2 * node + 1; }

  /// That a point is at least so high.
  struct Demand {
    /// Of a node's earliest or latest time.
    int point;
    /// As above.
    T value;
  };

  /// Windows of the nodes from 0 on, of which only the origin has one.
  TimeWindows(int num_nodes, int origin)
      : newest_(2 * index(num_nodes), -1),
        values_(2 * index(num_nodes)),
        edges_(2 * index(num_nodes)),
        waits_(2 * index(num_nodes), 0) {
    enter(earliest(origin), T(), kGiven);
    enter(latest(origin), T(), kGiven);
  }

  /// How many nodes there are.
  int num_nodes() const { return static_cast<int>(newest_.size() / 2); }
  /// Whether the point has a value: the other time of a node may be unbounded.
  bool has(int point) const { return newest_[index(point)] >= 0; }
  /// Requires: has(point).
  const T& value(int point) const { return values_[index(point)]; }
  /// The number of the point's last entry: larger ones are newer.
  /// Requires: has(point).
  int newest(int point) const { return newest_[index(point)]; }
  /// The number of the oldest entry that meets the demand.
  /// Requires: there is one.
  int oldest(const Demand& demand) const {
    int entry = newest_[index(demand.point)];
    assert(entry >= 0 && !(entries_[index(entry)].value < demand.value));
    for (;;) {
      const int previous = entries_[index(entry)].previous;
      if (previous < 0 || entries_[index(previous)].value < demand.value) {
        return entry;
      }
      entry = previous;
    }
  }

  /// Adds target - source <= weight, for which `literal` stands.
  /// Requires: the nodes exist.
  void push(Literal literal, int source, int target, const T& weight) {
    const int edge = static_cast<int>(pushed_.size());
    pushed_.push_back({literal, source, target, weight});
    edges_[index(earliest(target))].push_back(edge);
    edges_[index(latest(source))].push_back(edge);
    follow(edge, earliest(target));
    follow(edge, latest(source));
  }

  /// Raises a point, for a reason that only the caller knows.
  /// Requires: the value is higher; reason >= 0.
  void raise(int point, const T& value, int reason) {
    enter(point, value, ~reason);
  }

  /// Lets what has risen have its effect along the constraints, and calls
  /// `visit` with each point that rose, once or more. False if a node has to be
  /// later than it can be; then `crossing` is that node.
  template <class Visit>
  bool relax(const Visit& visit, int* crossing) {
    while (!queue_.empty()) {
      const int point = queue_.front();
      queue_.pop_front();
      waits_[index(point)] = 0;
      visit(point);
      if (has(point ^ 1) && T() < value(point) + value(point ^ 1)) {
        *crossing = point / 2;
        clear_queue();
        return false;
      }
      for (const int edge : edges_[index(point)]) follow(edge, point);
    }
    return true;
  }

  /// A level begins.
  void new_level() { levels_.push_back({entries_.size(), pushed_.size()}); }
  /// Takes back all of the levels above `level`.
  void backtrack(int level) {
    clear_queue();
    const Level mark = levels_[index(level)];
    levels_.resize(index(level));
    while (entries_.size() > mark.num_entries) {
      const Entry& last = entries_.back();
      newest_[index(last.point)] = last.previous;
      if (last.previous >= 0) {
        values_[index(last.point)] = entries_[index(last.previous)].value;
      }
      entries_.pop_back();
    }
    while (pushed_.size() > mark.num_pushed) {
      edges_[index(earliest(pushed_.back().target))].pop_back();
      edges_[index(latest(pushed_.back().source))].pop_back();
      pushed_.pop_back();
    }
  }

  /// Calls `use(literal, point)` with constraints that together force the
  /// demands that were passed to `demand` since the last call, and the points
  /// that they raise; `expand(reason, slack)` demands what a raise was made of,
  /// of which all can be lower by `slack`. What is raised comes before what
  /// that is due to.
  template <class Expand, class Use>
  void explain(const Expand& expand, const Use& use) {
    int last = -1;
    while (!wanted_.empty()) {
      const Wanted top = wanted_.top();
      wanted_.pop();
      // What is wanted comes by falling number, and of one entry by falling
      // value. An older entry of a point that was explained is explained all
      // the same: the newer one may be due to it.
      if (top.entry == last) continue;
      last = top.entry;
      const Entry entry = entries_[index(top.entry)];
      if (entry.cause == kGiven) continue;
      if (entry.cause < 0) {
        expand(~entry.cause, entry.value - top.value);
        continue;
      }
      const Pushed& edge = pushed_[index(entry.cause)];
      use(edge.literal, entry.point);
      const int from =
          (entry.point & 1) == 0 ? earliest(edge.target) : latest(edge.source);
      demand({from, top.value + edge.weight});
    }
  }
  /// Adds a bound on a time to what the explanation at hand has to show.
  /// Requires: the demand is met.
  void demand(const Demand& demand) {
    wanted_.push({oldest(demand), demand.value});
  }

  /// Constraints and entries made so far, taken back or not.
  std::uint64_t num_steps() const { return num_steps_; }

 private:
  struct Entry {
    int point;
    /// The point's entry before; -1 for none.
    int previous;
    /// A constraint's position, ~reason, or kGiven.
    int cause;
    T value;
  };
  struct Pushed {
    Literal literal;
    int source;
    int target;
    T weight;
  };
  struct Level {
    std::size_t num_entries;
    std::size_t num_pushed;
  };
  struct Wanted {
    int entry;
    T value;
    friend bool operator<(const Wanted& a, const Wanted& b) {
      if (a.entry != b.entry) return a.entry < b.entry;
      return a.value < b.value;
    }
  };

  static constexpr int kGiven = 0x7FFFFFFF;

  void enter(int point, const T& value, int cause) {
    assert(!has(point) || this->value(point) < value);
    entries_.push_back({point, newest_[index(point)], cause, value});
    newest_[index(point)] = static_cast<int>(entries_.size()) - 1;
    values_[index(point)] = value;
    if (waits_[index(point)] != 0) return;
    waits_[index(point)] = 1;
    queue_.push_back(point);
  }

  // What a point means for the other end of a constraint.
  void follow(int edge, int point) {
    ++num_steps_;
    if (!has(point)) return;
    const Pushed& pushed = pushed_[index(edge)];
    const int to =
        (point & 1) == 0 ? earliest(pushed.source) : latest(pushed.target);
    const T implied = value(point) - pushed.weight;
    if (!has(to) || value(to) < implied) enter(to, implied, edge);
  }

  void clear_queue() {
    for (const int point : queue_) waits_[index(point)] = 0;
    queue_.clear();
  }

  std::vector<Entry> entries_;
  std::vector<int> newest_;              // by point: entry, -1 for none
  std::vector<T> values_;                // by point
  std::vector<Pushed> pushed_;           // active constraints
  std::vector<std::vector<int>> edges_;  // by point: constraints to follow
  std::vector<Level> levels_;
  /// Points that rose and have not had their effect, in order.
  std::deque<int> queue_;
  std::vector<char> waits_;  // by point: it is in the queue
  std::uint64_t num_steps_ = 0;

  /// What the explanation under way has yet to show, the newest entry first.
  std::priority_queue<Wanted> wanted_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_TIME_WINDOWS_H
