// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_MACHINE_STATE_H
#define VORN_SOLVER_SCHEDULING_MACHINE_STATE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "solver/scheduling/inference_log.h"
#include "solver/scheduling/machine_certificate.h"
#include "solver/scheduling/machine_rules.h"
#include "solver/scheduling/separation.h"
#include "solver/scheduling/time_scale.h"
#include "solver/scheduling/time_windows.h"
#include "solver/search/literal.h"
#include "solver/search/search.h"

namespace vorn::solver {

/// Says when to do what pays only now and then: always while what it brought
/// makes up for what it cost, else once after so many times.
class Pace {
 public:
  /// What a gain is worth, how far gains and costs are remembered, and how many
  /// times are passed over.
  constexpr Pace(int gain, int least, int most, int passed)
      : gain_(gain), least_(least), most_(most), passed_(passed) {}

  /// Whether it is time.
  bool is_due() {
    if (credit_ <= 0 && num_passed_++ < passed_) return false;
    num_passed_ = 0;
    return true;
  }
  /// It brought something.
  void gain() { credit_ = std::min(credit_ + gain_, most_); }
  /// It cost so much.
  void pay(int cost) { credit_ = std::max(credit_ - cost, least_); }

 private:
  int gain_;
  int least_;
  int most_;
  int passed_;
  int credit_ = most_;
  int num_passed_ = 0;
};

/// A machine in the middle of a search. Tasks are numbered from 0 on.
/// Memory: a literal and a time for each pair of tasks.
template <class T>
struct MachineState {
  /// No order is decided. Borrows the machine, number `at`.
  MachineState(const Machine& of, int at,
               const std::vector<Separation>& separations,
               const TimeScale<T>& scale)
      : machine(&of),
        position(at),
        num_open(num_tasks() * (num_tasks() - 1) / 2),
        orders(num_tasks() * num_tasks()),
        gaps(orders.size()) {
    const std::size_t n = num_tasks();
    std::vector<T> durations;
    for (const la::DNumber& duration : of.durations) {
      durations.push_back(scale.time(duration));
    }
    tasks.assign(2, MachineTasks<T>(std::move(durations)));
    for (std::size_t a = 0; a < n; ++a) {
      for (std::size_t b = 0; b < n; ++b) {
        if (a == b) continue;
        const int k = of.separations[a * n + b];
        if (k == Machine::kAlwaysBefore) decide(a, b);
        if (k < 0) continue;
        const Separation& s = separations[static_cast<std::size_t>(k)];
        const bool is_first = s.first == of.tasks[a];
        orders[a * n + b] = is_first ? s.first_first : s.second_first;
        gaps[a * n + b] = scale.time(is_first ? s.after_first : s.after_second);
        conditions.insert(conditions.end(), s.conditions.begin(),
                          s.conditions.end());
      }
    }
    std::sort(conditions.begin(), conditions.end());
    conditions.erase(std::unique(conditions.begin(), conditions.end()),
                     conditions.end());
  }

  /// What it is.
  const Machine* machine;
  /// Its position among all.
  int position;
  /// By TimeDirection: forward in time, and backward.
  std::vector<MachineTasks<T>> tasks;
  /// Tasks that took part when the rules ran last, ascending.
  std::vector<std::uint32_t> present;
  /// Pairs of tasks whose order is not decided.
  std::size_t num_open;
  /// By a * num_tasks() + b: true if a comes before b; undefined if it always
  /// or never does.
  std::vector<Literal> orders;
  /// By a * num_tasks() + b: time from start to start, if a comes before b.
  std::vector<T> gaps;
  /// All conditions of its separations.
  std::vector<Literal> conditions;
  /// It waits to be looked at.
  bool is_awake = false;
  /// Nothing has changed since its rules ran.
  bool is_settled = true;
  /// When its rules run: always while one run in a dozen finds something, else
  /// once in eight times.
  Pace pace{12, 0, 48, 7};

  /// How many tasks there are.
  std::size_t num_tasks() const { return machine->tasks.size(); }
  /// The node of a task.
  int node(std::size_t a) const { return machine->tasks[a]; }
  /// When a task is there; undefined for always.
  Literal presence(std::size_t a) const { return machine->presences[a]; }
  /// Whether a task is there.
  bool is_present(std::size_t a, const Search& search) const {
    const Literal literal = presence(a);
    return !literal.is_defined() || search.value(literal) == Value::kTrue;
  }
  /// Whether the machine does one task at a time.
  bool holds(const Search& search) const {
    return std::all_of(
        conditions.begin(), conditions.end(),
        [&search](Literal c) { return search.value(c) == Value::kTrue; });
  }

  /// Notes that task a comes before task b.
  void decide(std::size_t a, std::size_t b) {
    tasks[kForward].set_before(a, b);
    tasks[kBackward].set_before(b, a);
    --num_open;
  }
  /// Takes that back.
  void undo(std::size_t a, std::size_t b) {
    tasks[kForward].clear_before(a, b);
    tasks[kBackward].clear_before(b, a);
    ++num_open;
  }
};

/// A machine, seen in one direction of time: what its rules say of starts and
/// ends, as points of windows and literals. Borrows the state.
template <class T>
class MachineView {
 public:
  /// As above.
  MachineView(const MachineState<T>& state, TimeDirection direction)
      : state_(&state), direction_(direction) {}

  /// As given.
  TimeDirection direction() const { return direction_; }
  /// The tasks that rules look at.
  const MachineTasks<T>& tasks() const { return state_->tasks[direction_]; }
  /// What is seen.
  const MachineState<T>& state() const { return *state_; }

  /// True if task a comes before task b; undefined if it always or never does.
  Literal order(std::size_t a, std::size_t b) const {
    if (direction_ == kBackward) std::swap(a, b);
    return state_->orders[a * state_->num_tasks() + b];
  }
  /// A task starts no earlier than `time`.
  typename InferenceLog<T>::Demand starts(std::size_t a, const T& time,
                                          bool takes_slack = false) const {
    const int node = state_->node(a);
    if (direction_ == kForward) {
      return {TimeWindows<T>::earliest(node), time, takes_slack};
    }
    return {TimeWindows<T>::latest(node), time + tasks().duration[a],
            takes_slack};
  }
  /// A task has ended by `time`.
  typename InferenceLog<T>::Demand ends(std::size_t a, const T& time) const {
    const int node = state_->node(a);
    if (direction_ == kForward) {
      return {TimeWindows<T>::latest(node), tasks().duration[a] - time, false};
    }
    return {TimeWindows<T>::earliest(node), -time, false};
  }
  /// What a set's tasks take together.
  T work_of(const typename MachineRules<T>::Set& set) const {
    T work = T();
    for (const std::size_t a : set) work += tasks().duration[a];
    return work;
  }

 private:
  const MachineState<T>* state_;
  TimeDirection direction_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_MACHINE_STATE_H
