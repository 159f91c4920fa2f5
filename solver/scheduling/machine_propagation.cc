// SPDX-License-Identifier: MIT
#include "solver/scheduling/machine_propagation.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "solver/scheduling/machine_rules.h"
#include "solver/scheduling/one_machine.h"
#include "solver/scheduling/time.h"
#include "solver/scheduling/time_windows.h"
#include "vorn/dl/closure_scale.h"

namespace vorn::solver {
namespace {

using dl::closure::Scale;

std::size_t index(int i) {
  return static_cast<std::size_t>(i);
}

/// How weights become times.
template <class T>
class TimeScale;

template <>
class TimeScale<WordTime> {
 public:
  TimeScale(const Scale& scale, int num_nodes)
      : scale_(scale), num_nodes_(num_nodes) {}
  bool covers(const la::DNumber& weight) const {
    Scale::Need need;
    need.num_nodes = num_nodes_;
    need.add(weight);
    return scale_.covers(need);
  }
  WordTime time(const la::DNumber& weight) const {
    return scale_.to_word(weight);
  }

 private:
  Scale scale_;
  int num_nodes_;
};

template <>
class TimeScale<ExactTime> {
 public:
  bool covers(const la::DNumber& /*weight*/) const { return true; }
  ExactTime time(const la::DNumber& weight) const { return ExactTime(weight); }
};

template <class T>
class Propagation final : public MachinePropagation {
 public:
  Propagation(Problem problem, const Search& search, TimeScale<T> scale)
      : search_(search),
        scale_(std::move(scale)),
        separations_(std::move(problem.separations)),
        machines_(std::move(problem.machines)),
        windows_(problem.num_nodes, problem.origin),
        places_(index(problem.num_nodes)),
        states_(machines_.size()) {
    gaps_.reserve(separations_.size());
    for (const Separation& s : separations_) {
      gaps_.push_back(
          {scale_.time(s.after_first), scale_.time(s.after_second)});
    }
    for (std::size_t m = 0; m < machines_.size(); ++m) add_machine(m);
  }

  void push(Literal literal, int id, const dl::Edge& edge) override {
    if (weight_of(id, edge.weight) == nullptr ||
        std::max(edge.source, edge.target) >= windows_.num_nodes()) {
      return;
    }
    trail_.push_back({literal, id, edge.source, edge.target});
  }

  void assigned(Literal literal) override {
    if (literal.index() < arrivals_.size()) {
      for (const Place& place : arrivals_[literal.index()]) {
        const std::size_t m = index(place.machine);
        states_[m].is_settled = false;
        mark_moved(m, index(2 * place.task));
        mark_moved(m, index(2 * place.task + 1));
        wake(m);
      }
    }
    if (literal.index() >= orders_.size()) return;
    for (const Order& order : orders_[literal.index()]) {
      State& state = states_[order.machine];
      state.tasks[0].set_before(order.before, order.after);
      state.tasks[1].set_before(order.after, order.before);
      --state.num_open;
      decided_.push_back(order);
      state.is_settled = false;
      wake(order.machine);
    }
  }

  void new_level() override {
    levels_.push_back({trail_.size(), num_fed_, decided_.size(),
                       records_.size(), demands_.size(), premises_.size()});
    windows_.new_level();
  }

  void backtrack(int level) override {
    for (const std::size_t m : awake_) {
      states_[m].is_awake = false;
      states_[m].is_settled = true;
      for (const std::size_t place : states_[m].moved) {
        states_[m].has_moved[place] = 0;
      }
      states_[m].moved.clear();
    }
    awake_.clear();
    // Level -1 is the one before all that was ever pushed.
    assert(level >= 0 || !levels_.empty());
    const Level& mark = levels_[index(level + 1)];
    trail_.resize(mark.num_trail);
    num_fed_ = mark.num_fed;
    while (decided_.size() > mark.num_decided) {
      const Order& order = decided_.back();
      State& state = states_[order.machine];
      state.tasks[0].clear_before(order.before, order.after);
      state.tasks[1].clear_before(order.after, order.before);
      ++state.num_open;
      decided_.pop_back();
    }
    records_.resize(mark.num_records);
    demands_.resize(mark.num_demands);
    premises_.resize(mark.num_premises);
    levels_.resize(index(level + 1));
    windows_.backtrack(level + 1);
    if (level < 0) new_level();
  }

  bool run(std::vector<Literal>& implied,
           std::vector<Literal>& conflict) override {
    for (; num_fed_ < trail_.size(); ++num_fed_) {
      const Pushed& pushed = trail_[num_fed_];
      windows_.push(pushed.literal, pushed.source, pushed.target,
                    *weight_of(pushed.id, la::DNumber()));
    }
    for (;;) {
      if (!relax(conflict)) return false;
      for (std::size_t k = 0; k < awake_.size(); ++k) {
        order(awake_[k], implied);
      }
      if (!implied.empty() || awake_.empty()) return true;
      const std::size_t m = awake_.back();
      awake_.pop_back();
      states_[m].is_awake = false;
      if (!reason_about(m, implied, conflict)) return false;
      if (implied.empty()) continue;
      wake(m);
      return true;
    }
  }

  bool has_reason(Literal literal) const override {
    if (literal.index() >= reasons_.size()) return false;
    const int record = reasons_[literal.index()];
    return record >= 0 && index(record) < records_.size() &&
           records_[index(record)].conclusion == literal;
  }

  void explain(Literal literal, std::vector<Literal>& reason) override {
    assert(has_reason(literal));
    ++counters_.explanations;
    expand(reasons_[literal.index()], T());
    finish_explanation(reason);
  }

  Counters counters() const override {
    Counters result = counters_;
    result.steps += windows_.num_steps();
    return result;
  }
  const std::vector<Machine>& machines() const override { return machines_; }

 private:
  using Windows = TimeWindows<T>;
  using Tasks = MachineTasks<T>;
  using Set = typename MachineRules<T>::Set;

  /// The times of a separation.
  struct Gaps {
    T after_first;
    T after_second;
  };
  struct Pushed {
    Literal literal;
    int id;
    int source;
    int target;
  };
  struct Level {
    std::size_t num_trail;
    std::size_t num_fed;
    std::size_t num_decided;
    std::size_t num_records;
    std::size_t num_demands;
    std::size_t num_premises;
  };
  /// What a rule has found, and why.
  struct Record {
    /// The literal that follows; none for a time.
    Literal conclusion;
    std::size_t first_demand;
    std::size_t last_demand;
    std::size_t first_premise;
    std::size_t last_premise;
  };
  struct Demand {
    int point;
    T value;
    /// If the conclusion need not be as strong, neither need this.
    bool takes_slack;
  };
  /// What it means for a machine that a literal is true.
  struct Order {
    std::uint32_t machine;
    std::uint32_t before;
    std::uint32_t after;
  };
  /// Says when the rules of a machine are to run: always while one run in a
  /// dozen finds something, else once in eight times. On shops one in four
  /// does, on sets of frequencies at different distances one in seventy.
  class Pace {
   public:
    /// Whether they are to run now.
    bool is_due() {
      if (credit_ > 0 || num_passed_ >= kPassed) return true;
      ++num_passed_;
      return false;
    }
    /// They ran.
    void ran(bool has_found) {
      credit_ = has_found ? std::min(credit_ + kGain, kMost)
                          : std::max(credit_ - 1, 0);
      num_passed_ = 0;
    }

   private:
    static constexpr int kGain = 12;
    static constexpr int kMost = 48;
    static constexpr int kPassed = 7;
    int credit_ = kMost;
    int num_passed_ = 0;
  };
  /// What a machine is doing.
  struct State {
    /// Forward in time, and backward.
    std::vector<Tasks> tasks;
    /// Tasks that took part when the rules ran last, ascending.
    std::vector<std::uint32_t> present;
    /// Pairs of tasks whose order is not decided.
    std::size_t num_open;
    /// By a * tasks + b: true if a comes before b; undefined if it always or
    /// never does.
    std::vector<Literal> orders;
    /// By a * tasks + b: times from start to start, if a comes before b.
    std::vector<T> gaps;
    /// All conditions of its separations.
    std::vector<Literal> conditions;
    /// It is in awake_.
    bool is_awake = false;
    /// How often its rules run.
    Pace pace;
    /// Nothing has changed since its rules ran.
    bool is_settled = true;
    /// Places whose times moved since orders were last looked at: twice the
    /// task, plus 1 for the latest time.
    std::vector<std::size_t> moved;
    std::vector<char> has_moved;
  };
  struct Place {
    int machine;
    int task;
  };
  /// Position in State::tasks.
  static constexpr std::size_t kForward = 0;
  static constexpr std::size_t kBackward = 1;

  void add_machine(std::size_t m) {
    const Machine& machine = machines_[m];
    State& state = states_[m];
    const std::size_t n = machine.tasks.size();
    state.orders.resize(n * n);
    state.gaps.resize(n * n);
    state.has_moved.assign(2 * n, 0);
    state.num_open = n * (n - 1) / 2;
    std::vector<T> durations;
    for (const la::DNumber& duration : machine.durations) {
      durations.push_back(scale_.time(duration));
    }
    state.tasks.assign(2, Tasks(durations));
    for (std::size_t a = 0; a < n; ++a) {
      const Place place{static_cast<int>(m), static_cast<int>(a)};
      places_[index(machine.tasks[a])].push_back(place);
      const Literal presence = machine.presences[a];
      if (presence.is_defined()) {
        if (presence.index() >= arrivals_.size()) {
          arrivals_.resize(presence.index() + 1);
        }
        arrivals_[presence.index()].push_back(place);
      }
      for (std::size_t b = 0; b < n; ++b) {
        if (a == b) continue;
        const int k = machine.separations[a * n + b];
        if (k < 0) {
          if (k == Machine::kAlwaysBefore) {
            state.tasks[kForward].set_before(a, b);
            state.tasks[kBackward].set_before(b, a);
            --state.num_open;
          }
          continue;
        }
        const Separation& s = separations_[index(k)];
        const bool is_first = s.first == machine.tasks[a];
        const Literal literal = is_first ? s.first_first : s.second_first;
        state.orders[a * n + b] = literal;
        state.gaps[a * n + b] = is_first ? gaps_[index(k)].after_first
                                         : gaps_[index(k)].after_second;
        if (literal.index() >= orders_.size()) {
          orders_.resize(literal.index() + 1);
        }
        orders_[literal.index()].push_back({static_cast<std::uint32_t>(m),
                                            static_cast<std::uint32_t>(a),
                                            static_cast<std::uint32_t>(b)});
        state.conditions.insert(state.conditions.end(), s.conditions.begin(),
                                s.conditions.end());
      }
    }
    std::sort(state.conditions.begin(), state.conditions.end());
    state.conditions.erase(
        std::unique(state.conditions.begin(), state.conditions.end()),
        state.conditions.end());
  }

  // Null for a weight that words do not hold.
  const T* weight_of(int id, const la::DNumber& weight) {
    if (index(id) >= weights_.size()) weights_.resize(index(id) + 1);
    Weight& known = weights_[index(id)];
    if (known.state == Weight::kUnknown) {
      known.state = scale_.covers(weight) ? Weight::kFits : Weight::kTooLarge;
      if (known.state == Weight::kFits) known.time = scale_.time(weight);
    }
    return known.state == Weight::kFits ? &known.time : nullptr;
  }

  void wake(std::size_t m) {
    if (states_[m].is_awake) return;
    states_[m].is_awake = true;
    awake_.push_back(m);
  }

  void mark_moved(std::size_t m, std::size_t moved) {
    State& state = states_[m];
    if (state.has_moved[moved] != 0) return;
    state.has_moved[moved] = 1;
    state.moved.push_back(moved);
  }

  // Lets times have their effect, and wakes machines.
  bool relax(std::vector<Literal>& conflict) {
    const auto visit = [this](int point) {
      for (const Place& place : places_[index(point / 2)]) {
        const std::size_t m = index(place.machine);
        states_[m].is_settled = false;
        wake(m);
        mark_moved(m, index(2 * place.task + point % 2));
      }
    };
    int crossing = 0;
    if (windows_.relax(visit, &crossing)) return true;
    ++counters_.crossings;
    const int early = Windows::earliest(crossing);
    const int late = Windows::latest(crossing);
    const T slack = largest_slack(windows_.value(early) + windows_.value(late));
    const bool is_early_newer = windows_.newest(early) > windows_.newest(late);
    demand({early, windows_.value(early) - (is_early_newer ? slack : T())});
    demand({late, windows_.value(late) - (is_early_newer ? T() : slack)});
    finish_explanation(conflict);
    return false;
  }

  void demand(const typename Windows::Demand& d) { windows_.demand(d); }

  // All premises of a record, and what its demands come from.
  void expand(int record, const T& slack) {
    const Record& r = records_[index(record)];
    for (std::size_t k = r.first_demand; k < r.last_demand; ++k) {
      const Demand& d = demands_[k];
      demand({d.point, d.takes_slack ? d.value - slack : d.value});
    }
    literals_.insert(
        literals_.end(),
        premises_.begin() + static_cast<std::ptrdiff_t>(r.first_premise),
        premises_.begin() + static_cast<std::ptrdiff_t>(r.last_premise));
  }

  void finish_explanation(std::vector<Literal>& clause) {
    windows_.explain(
        [this](int record, const T& slack, std::vector<Literal>& /*literals*/) {
          expand(record, slack);
        },
        literals_);
    std::sort(literals_.begin(), literals_.end());
    literals_.erase(std::unique(literals_.begin(), literals_.end()),
                    literals_.end());
    for (const Literal literal : literals_) clause.push_back(~literal);
    literals_.clear();
  }

  // Records begin, get demands and premises, and end with a conclusion.
  void begin_record() {
    records_.push_back({Literal(), demands_.size(), 0, premises_.size(), 0});
  }
  // A record that what is known of a machine is a premise of.
  void begin_record(const State& state) {
    begin_record();
    premises_.insert(premises_.end(), state.conditions.begin(),
                     state.conditions.end());
  }
  int end_record() {
    records_.back().last_demand = demands_.size();
    records_.back().last_premise = premises_.size();
    return static_cast<int>(records_.size()) - 1;
  }
  bool is_optional(std::size_t m, std::size_t a) const {
    return machines_[m].presences[a].is_defined();
  }
  // Whether a task is there.
  bool is_present(std::size_t m, std::size_t a) const {
    return !is_optional(m, a) ||
           search_.value(machines_[m].presences[a]) == Value::kTrue;
  }
  // Makes that a premise, if it need be said.
  void add_presence(std::size_t m, std::size_t a,
                    std::vector<Literal>& premises) const {
    if (is_optional(m, a)) premises.push_back(machines_[m].presences[a]);
  }
  void conclude(Literal literal, int record) {
    records_[index(record)].conclusion = literal;
    if (literal.index() >= reasons_.size()) {
      reasons_.resize(literal.index() + 1, -1);
    }
    reasons_[literal.index()] = record;
  }

  // Orders of two tasks that a time alone rules out. Orders of optional tasks
  // are left to the graph: few of them matter, and each learnt clause with one
  // of them tells the search less about which task goes where (flexible shops
  // took up to four times as many conflicts).
  void order(std::size_t m, std::vector<Literal>& implied) {
    State& state = states_[m];
    const std::vector<int>& nodes = machines_[m].tasks;
    const std::size_t n = nodes.size();
    if (!holds(state)) return;
    const auto look = [&](std::size_t a, std::size_t b) {
      const Literal literal = state.orders[a * n + b];
      if (!is_open(literal) || is_optional(m, a) || is_optional(m, b)) return;
      // Another machine may have both tasks.
      if (has_reason(~literal)) return;
      const int early = Windows::earliest(nodes[a]);
      const int late = Windows::latest(nodes[b]);
      if (!windows_.has(early) || !windows_.has(late)) return;
      const T excess =
          windows_.value(early) + state.gaps[a * n + b] + windows_.value(late);
      if (!(excess > T())) return;
      ++counters_.orders;
      const T slack = largest_slack(excess);
      const bool is_early_newer =
          windows_.newest(early) > windows_.newest(late);
      begin_record();
      demands_.push_back(
          {early, windows_.value(early) - (is_early_newer ? slack : T()),
           false});
      demands_.push_back(
          {late, windows_.value(late) - (is_early_newer ? T() : slack), false});
      conclude(~literal, end_record());
      implied.push_back(~literal);
    };
    counters_.steps += state.moved.size() * n;
    for (const std::size_t moved : state.moved) {
      state.has_moved[moved] = 0;
      const std::size_t a = moved / 2;
      for (std::size_t b = 0; b < n; ++b) {
        if (b == a) continue;
        if (moved % 2 == 0) {
          look(a, b);
        } else {
          look(b, a);
        }
      }
    }
    state.moved.clear();
  }

  bool holds(const State& state) const {
    return std::all_of(
        state.conditions.begin(), state.conditions.end(),
        [this](Literal c) { return search_.value(c) == Value::kTrue; });
  }

  // Brings the times of a machine's tasks up to date, in both directions. Those
  // that lack a time do not take part.
  void gather(std::size_t m) {
    State& state = states_[m];
    const std::vector<int>& nodes = machines_[m].tasks;
    counters_.steps += nodes.size();
    Tasks& forward = state.tasks[kForward];
    Tasks& backward = state.tasks[kBackward];
    const auto takes_part = [this, m, &nodes](std::size_t a) {
      return is_present(m, a) && windows_.has(Windows::earliest(nodes[a])) &&
             windows_.has(Windows::latest(nodes[a]));
    };
    present_.clear();
    for (std::size_t a = 0; a < nodes.size(); ++a) {
      if (!takes_part(a)) continue;
      present_.push_back(static_cast<std::uint32_t>(a));
      const T& early = windows_.value(Windows::earliest(nodes[a]));
      const T& late = windows_.value(Windows::latest(nodes[a]));
      const T& duration = forward.duration[a];
      forward.earliest[a] = early;
      forward.deadline[a] = duration - late;
      backward.earliest[a] = late - duration;
      backward.deadline[a] = -early;
    }
    if (present_ != state.present) {
      state.present = present_;
      for (Tasks& tasks : state.tasks) {
        tasks.by_earliest = tasks.by_deadline = present_;
      }
    }
    for (Tasks& tasks : state.tasks) tasks.sort();
  }

  // The times that the rules look at.
  void look_at(std::size_t m, std::size_t direction) {
    machine_ = m;
    direction_ = direction;
  }
  const Tasks& tasks() const { return states_[machine_].tasks[direction_]; }

  bool is_open(Literal literal) const {
    return literal.is_defined() && search_.value(literal) == Value::kUnassigned;
  }

  // True if task a comes before task b, in the direction that is looked at;
  // undefined if it always or never does.
  Literal order_literal(std::size_t a, std::size_t b) const {
    if (direction_ == kBackward) std::swap(a, b);
    return states_[machine_].orders[a * machines_[machine_].tasks.size() + b];
  }
  // A task starts no earlier than `time`.
  Demand starts(std::size_t a, const T& time, bool takes_slack) const {
    const int node = machines_[machine_].tasks[a];
    if (direction_ == kForward) {
      return {Windows::earliest(node), time, takes_slack};
    }
    return {Windows::latest(node), time + tasks().duration[a], takes_slack};
  }
  // A task has ended by `time`.
  Demand ends(std::size_t a, const T& time) const {
    const int node = machines_[machine_].tasks[a];
    if (direction_ == kForward) {
      return {Windows::latest(node), tasks().duration[a] - time, false};
    }
    return {Windows::earliest(node), -time, false};
  }

  T work_of(const Set& set) const {
    T work = T();
    for (const std::size_t a : set) work += tasks().duration[a];
    return work;
  }

  bool reason_about(std::size_t m, std::vector<Literal>& implied,
                    std::vector<Literal>& conflict) {
    State& state = states_[m];
    // With all orders decided, the constraints say all there is to know.
    if (state.is_settled || state.num_open == 0) return true;
    state.is_settled = true;
    if (!holds(state) || !state.pace.is_due()) return true;
    const std::size_t num_records = records_.size();
    const bool is_consistent = run_rules(m, implied, conflict);
    state.pace.ran(!is_consistent || records_.size() > num_records);
    return is_consistent;
  }

  bool run_rules(std::size_t m, std::vector<Literal>& implied,
                 std::vector<Literal>& conflict) {
    State& state = states_[m];
    ++counters_.runs;
    gather(m);
    bool has_raised = false;
    for (const std::size_t direction : {kForward, kBackward}) {
      look_at(m, direction);
      counters_.steps += tasks().by_earliest.size();
      rules_.find_preceded(tasks(), [&](std::size_t i, const Set& set,
                                        const T& start, const T& earliest) {
        begin_record(state);
        add_presence(m, i, premises_);
        for (const std::size_t a : set) {
          add_presence(m, a, premises_);
          demands_.push_back(starts(a, start, true));
          const Literal order = order_literal(a, i);
          if (order.is_defined()) premises_.push_back(order);
        }
        ++counters_.preceded;
        raise(i, earliest);
        has_raised = true;
      });
    }
    if (has_raised) return true;
    bool is_overloaded = false;
    for (const std::size_t direction : {kForward, kBackward}) {
      look_at(m, direction);
      rules_.find_edges(
          tasks(),
          [&](const Set& set, const T& start, const T& end) {
            explain_overload(set, start, end);
            is_overloaded = true;
          },
          [&](std::size_t i, const Set& set, const T& start, const T& end) {
            imply_last(i, set, start, end, implied);
          });
      if (is_overloaded) {
        finish_explanation(conflict);
        return false;
      }
    }
    if (!implied.empty()) return true;
    for (const std::size_t direction : {kForward, kBackward}) {
      look_at(m, direction);
      rules_.find_not_first(tasks(), [&](std::size_t i, const Set& set,
                                         const T& start, const T& end,
                                         const T& earliest) {
        begin_record(state);
        const T excess = start + tasks().duration[i] + work_of(set) - end;
        add_presence(m, i, premises_);
        demands_.push_back(starts(i, start - largest_slack(excess), false));
        for (const std::size_t a : set) {
          add_presence(m, a, premises_);
          demands_.push_back(ends(a, end));
          demands_.push_back(starts(a, earliest - tasks().duration[a], true));
        }
        ++counters_.not_first;
        raise(i, earliest);
      });
    }
    return true;
  }

  // The record under construction is why a task starts no earlier than `time`.
  void raise(std::size_t task, const T& time) {
    const Demand to = starts(task, time, false);
    const int record = end_record();
    assert(forces_time(record, task, time));
    if (windows_.value(to.point) < to.value) {
      windows_.raise(to.point, to.value, record);
    }
  }

  void explain_overload(const Set& set, const T& start, const T& end) {
    ++counters_.overloads;
    const State& state = states_[machine_];
    const T slack = largest_slack(start + work_of(set) - end);
    const bool lowers_start = is_start_newer(set);
    literals_.insert(literals_.end(), state.conditions.begin(),
                     state.conditions.end());
    for (const std::size_t a : set) {
      add_presence(machine_, a, literals_);
      const Demand s = starts(a, lowers_start ? start - slack : start, false);
      const Demand e = ends(a, lowers_start ? end : end + slack);
      demand({s.point, s.value});
      demand({e.point, e.value});
    }
  }

  // Whether of a set's times the newest is one of a start.
  bool is_start_newer(const Set& set) const {
    int newest_start = -1;
    int newest_end = -1;
    for (const std::size_t a : set) {
      newest_start =
          std::max(newest_start, windows_.newest(starts(a, T(), false).point));
      newest_end = std::max(newest_end, windows_.newest(ends(a, T()).point));
    }
    return newest_start > newest_end;
  }

  // All of a set come before a task.
  void imply_last(std::size_t task, const Set& set, const T& start,
                  const T& end, std::vector<Literal>& implied) {
    const T lowest = start - largest_slack(start + work_of(set) +
                                           tasks().duration[task] - end);
    for (const std::size_t b : set) {
      const Literal literal = order_literal(task, b);
      if (!is_open(literal) || has_reason(~literal)) continue;
      begin_record(states_[machine_]);
      add_presence(machine_, task, premises_);
      demands_.push_back(starts(task, lowest, false));
      for (const std::size_t a : set) {
        add_presence(machine_, a, premises_);
        demands_.push_back(starts(a, lowest, false));
        demands_.push_back(ends(a, end));
      }
      const int record = end_record();
      assert(forces_order(record, b, task));
      ++counters_.edges;
      conclude(~literal, record);
      implied.push_back(~literal);
    }
  }

  // Whether a record's demands and premises alone force that a task starts no
  // earlier than `time`, as far as that is quick to see.
  [[nodiscard]] bool forces_time(int record, std::size_t task,
                                 const T& time) const {
    OneMachine<T> only = tasks_of(record);
    if (only.size() > kMostChecked) return true;
    only.add(task, tasks().duration[task]);
    only.end_before(task, time + tasks().duration[task]);
    return !only.is_feasible();
  }
  // The same, that a task comes before another.
  [[nodiscard]] bool forces_order(int record, std::size_t before,
                                  std::size_t after) const {
    OneMachine<T> only = tasks_of(record);
    if (only.size() > kMostChecked) return true;
    only.set_before(after, before);
    return !only.is_feasible();
  }
  static constexpr std::size_t kMostChecked = 7;
  // The tasks with what a record knows of them.
  OneMachine<T> tasks_of(int record) const {
    OneMachine<T> only;
    const std::vector<T>& duration = tasks().duration;
    const Record& r = records_[index(record)];
    for (std::size_t a = 0; a < duration.size(); ++a) {
      // Demands are these plus something.
      const Demand start = starts(a, T(), false);
      const Demand end = ends(a, T());
      for (std::size_t d = r.first_demand; d < r.last_demand; ++d) {
        if (demands_[d].point == start.point) {
          only.start_from(a, demands_[d].value - start.value, duration[a]);
        } else if (demands_[d].point == end.point) {
          only.end_by(a, end.value - demands_[d].value, duration[a]);
        }
      }
      for (std::size_t b = 0; b < duration.size(); ++b) {
        const auto premises = premises_.begin();
        const bool is_premise =
            order_literal(a, b).is_defined()
                ? std::find(
                      premises + static_cast<std::ptrdiff_t>(r.first_premise),
                      premises + static_cast<std::ptrdiff_t>(r.last_premise),
                      order_literal(a, b)) !=
                      premises + static_cast<std::ptrdiff_t>(r.last_premise)
                : b != a && tasks().is_before(a, b);
        if (!is_premise) continue;
        only.add(a, duration[a]);
        only.add(b, duration[b]);
        only.set_before(a, b);
      }
    }
    return only;
  }

  struct Weight {
    enum State : char { kUnknown, kFits, kTooLarge };
    State state = kUnknown;
    T time = T();
  };

  const Search& search_;  // borrowed
  TimeScale<T> scale_;
  std::vector<Separation> separations_;
  std::vector<Machine> machines_;
  std::vector<Gaps> gaps_;  // by separation
  Windows windows_;
  MachineRules<T> rules_;
  std::vector<std::vector<Place>> places_;  // by node
  std::vector<State> states_;               // by machine
  std::vector<std::vector<Order>> orders_;  // by literal
  /// By literal: tasks that are there when it is true.
  std::vector<std::vector<Place>> arrivals_;
  std::vector<Weight> weights_;  // by constraint

  /// Constraints in order, of which the windows know the first num_fed_.
  std::vector<Pushed> trail_;
  std::size_t num_fed_ = 0;
  /// Orders of tasks, in the order in which they were decided.
  std::vector<Order> decided_;
  std::vector<Level> levels_;
  /// Machines to look at.
  std::vector<std::size_t> awake_;

  std::vector<Record> records_;
  std::vector<Demand> demands_;
  std::vector<Literal> premises_;
  std::vector<int> reasons_;  // by literal: a record, maybe taken back since

  Counters counters_;

  // What the rules look at.
  std::size_t machine_ = 0;
  std::size_t direction_ = kForward;

  // Scratch space.
  std::vector<std::uint32_t> present_;
  std::vector<Literal> literals_;
};

}  // namespace

std::unique_ptr<MachinePropagation> MachinePropagation::make(
    Problem problem, const Search& search) {
  // A time is a path and, for each task, its duration and a path at most; four
  // times that leaves room for sums of times.
  Scale::Need need;
  std::size_t num_tasks = 0;
  for (const Machine& machine : problem.machines) {
    num_tasks += machine.tasks.size();
  }
  need.num_nodes = 4 * (problem.num_nodes + static_cast<int>(num_tasks));
  const int num_nodes = need.num_nodes;
  for (const la::DNumber* weight : problem.weights) need.add(*weight);
  Scale scale;
  scale.fit(need);
  std::unique_ptr<MachinePropagation> result;
  if (scale.size() == Scale::Size::kExact) {
    result = std::make_unique<Propagation<ExactTime>>(
        std::move(problem), search, TimeScale<ExactTime>());
  } else {
    result = std::make_unique<Propagation<WordTime>>(
        std::move(problem), search, TimeScale<WordTime>(scale, num_nodes));
  }
  result->new_level();
  return result;
}

}  // namespace vorn::solver
