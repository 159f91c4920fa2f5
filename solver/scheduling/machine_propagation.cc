// SPDX-License-Identifier: MIT
#include "solver/scheduling/machine_propagation.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <utility>

#include "solver/scheduling/inference_check.h"
#include "solver/scheduling/inference_log.h"
#include "solver/scheduling/machine_rules.h"
#include "solver/scheduling/machine_state.h"
#include "solver/scheduling/time_scale.h"
#include "solver/scheduling/time_windows.h"
#include "vorn/containers/index.h"
#include "vorn/dl/closure_scale.h"

namespace vorn::solver {
namespace {

template <class T>
class Propagation final : public MachinePropagation {
 public:
  Propagation(Problem problem, const Search& search, TimeScale<T> scale)
      : search_(search),
        scale_(std::move(scale)),
        machines_(std::move(problem.machines)),
        windows_(problem.num_nodes, problem.origin),
        certifies_(problem.certifies),
        places_(index(problem.num_nodes)),
        rivals_(2 * index(problem.num_nodes)),
        has_moved_(2 * index(problem.num_nodes), 0) {
    states_.reserve(machines_.size());
    for (const Machine& machine : machines_) {
      states_.emplace_back(machine, static_cast<int>(states_.size()),
                           problem.separations, scale_);
      watch(states_.size() - 1);
    }
  }

  void push(Literal literal, int id, const dl::Edge& edge) override {
    if (weight_of(id, edge.weight) == nullptr ||
        std::max(edge.source, edge.target) >= windows_.num_nodes()) {
      return;
    }
    trail_.push_back({literal, id, edge.source, edge.target});
  }

  void assigned(Literal literal) override {
    if (literal.index() >= watches_.size()) return;
    const Watch& watch = watches_[literal.index()];
    for (const Place& place : watch.arrivals) {
      states_[place.machine].is_settled = false;
      wake(place.machine);
    }
    for (const Order& order : watch.orders) {
      State& state = states_[order.machine];
      state.decide(order.before, order.after);
      decided_.push_back(order);
      state.is_settled = false;
      wake(order.machine);
    }
  }

  void new_level() override {
    levels_.push_back({trail_.size(), num_fed_, decided_.size()});
    log_.new_level();
    windows_.new_level();
  }

  void backtrack(int level) override {
    for (const std::size_t m : awake_) {
      states_[m].is_awake = false;
      states_[m].is_settled = true;
    }
    awake_.clear();
    clear_moved();
    // Level -1 is the one before all that was ever pushed.
    assert(level >= 0 || !levels_.empty());
    const Level& mark = levels_[index(level + 1)];
    trail_.resize(mark.num_trail);
    num_fed_ = mark.num_fed;
    while (decided_.size() > mark.num_decided) {
      const Order& order = decided_.back();
      states_[order.machine].undo(order.before, order.after);
      decided_.pop_back();
    }
    levels_.resize(index(level + 1));
    log_.backtrack(level + 1);
    windows_.backtrack(level + 1);
    if (level < 0) new_level();
  }

  bool run(std::vector<Literal>& implied,
           std::vector<Literal>& conflict) override {
    if (!worth_.is_due()) return true;
    steps_.clear();
    const bool is_consistent = look(implied, conflict);
    worth_.pay(static_cast<int>(implied.size()));
    if (!is_consistent) worth_.gain();
    return is_consistent;
  }

  bool has_reason(Literal literal) const override {
    return log_.has_reason(literal);
  }

  void explain(Literal literal, std::vector<Literal>& reason) override {
    ++counters_.explanations;
    worth_.gain();
    steps_.clear();
    expand(log_.reason(literal), T());
    if (certifies_) steps_.front().literal = ~literal;
    finish_explanation(reason);
  }

  std::optional<bool> advise(int variable) const override {
    for (const bool negated : {false, true}) {
      const Literal literal(variable, negated);
      if (literal.index() >= watches_.size()) continue;
      const std::vector<Order>& orders = watches_[literal.index()].orders;
      if (orders.empty()) continue;
      const State& state = states_[orders[0].machine];
      const std::optional<T> excess =
          excess_of(state, orders[0].before, orders[0].after);
      const std::optional<T> opposite =
          excess_of(state, orders[0].after, orders[0].before);
      if (!excess || !opposite || *excess == *opposite) return {};
      return (*excess < *opposite) != negated;
    }
    return {};
  }

  Counters counters() const override {
    Counters result = counters_;
    result.steps += windows_.num_steps();
    return result;
  }
  const std::vector<Machine>& machines() const override { return machines_; }
  const std::vector<MachineStep>& steps() const override { return steps_; }
  const std::vector<std::uint32_t>& tasks_of_steps() const override {
    return log_.tasks();
  }

 private:
  using Windows = TimeWindows<T>;
  using Tasks = MachineTasks<T>;
  using State = MachineState<T>;
  using View = MachineView<T>;
  using Log = InferenceLog<T>;
  using Set = typename MachineRules<T>::Set;

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
  };
  struct Place {
    std::size_t machine;
    std::size_t task;
  };
  struct Order {
    std::uint32_t machine;
    std::uint32_t before;
    std::uint32_t after;
  };
  /// A bound from one point to another, which a literal stands for and rules
  /// out together with both values.
  struct Rival {
    int point;
    Literal order;
    T gap;
  };
  /// What it means for machines that a literal is true.
  struct Watch {
    std::vector<Order> orders;
    /// Tasks that are there then.
    std::vector<Place> arrivals;
  };

  // Goes on until something is implied, or nothing is left to look at.
  bool look(std::vector<Literal>& implied, std::vector<Literal>& conflict) {
    for (; num_fed_ < trail_.size(); ++num_fed_) {
      const Pushed& pushed = trail_[num_fed_];
      windows_.push(pushed.literal, pushed.source, pushed.target,
                    *weight_of(pushed.id, la::DNumber()));
    }
    for (;;) {
      if (!relax(conflict)) return false;
      find_orders(implied);
      if (!implied.empty() || awake_.empty()) return true;
      const std::size_t m = awake_.back();
      awake_.pop_back();
      states_[m].is_awake = false;
      if (!reason_about(states_[m], implied, conflict)) return false;
      if (implied.empty()) continue;
      wake(m);
      return true;
    }
  }

  // Notes where a machine's nodes and literals are.
  void watch(std::size_t m) {
    const State& state = states_[m];
    const std::size_t n = state.num_tasks();
    const auto watch_of = [this](Literal literal) -> Watch& {
      if (literal.index() >= watches_.size()) {
        watches_.resize(literal.index() + 1);
      }
      return watches_[literal.index()];
    };
    for (std::size_t a = 0; a < n; ++a) {
      places_[index(state.node(a))].push_back({m, a});
      const Literal presence = state.presence(a);
      if (presence.is_defined()) watch_of(presence).arrivals.push_back({m, a});
      for (std::size_t b = 0; b < n; ++b) {
        const Literal order = state.orders[a * n + b];
        if (!order.is_defined()) continue;
        Watch& watch = watch_of(order);
        // Optional tasks are left to the graph: few of their orders matter, and
        // each learnt clause with one of them tells the search less about which
        // task goes where.
        if (watch.orders.empty() && !presence.is_defined() &&
            !state.presence(b).is_defined()) {
          const int early = Windows::earliest(state.node(a));
          const int late = Windows::latest(state.node(b));
          const T& gap = state.gaps[a * n + b];
          rivals_[index(early)].push_back({late, order, gap});
          rivals_[index(late)].push_back({early, order, gap});
        }
        watch.orders.push_back({static_cast<std::uint32_t>(m),
                                static_cast<std::uint32_t>(a),
                                static_cast<std::uint32_t>(b)});
      }
    }
  }

  // By how much task a cannot come before task b, or, below 0, how much room
  // there is; nothing if a time is missing.
  std::optional<T> excess_of(const State& state, std::size_t a,
                             std::size_t b) const {
    const int early = Windows::earliest(state.node(a));
    const int late = Windows::latest(state.node(b));
    if (!windows_.has(early) || !windows_.has(late)) return {};
    return windows_.value(early) + state.gaps[a * state.num_tasks() + b] +
           windows_.value(late);
  }

  void clear_moved() {
    for (const int point : moved_) has_moved_[index(point)] = 0;
    moved_.clear();
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

  // Lets times have their effect, and wakes machines.
  bool relax(std::vector<Literal>& conflict) {
    const auto visit = [this](int point) {
      for (const Place& place : places_[index(point / 2)]) {
        states_[place.machine].is_settled = false;
        wake(place.machine);
      }
      if (rivals_[index(point)].empty() || has_moved_[index(point)] != 0) {
        return;
      }
      has_moved_[index(point)] = 1;
      moved_.push_back(point);
    };
    int crossing = 0;
    if (windows_.relax(visit, &crossing)) return true;
    ++counters_.crossings;
    const int early = Windows::earliest(crossing);
    const int late = Windows::latest(crossing);
    log_.begin();
    if (certifies_) {
      log_.describe({MachineRule::kCrossing, kForward, 0,
                     static_cast<std::uint32_t>(crossing)});
    }
    add_pair(early, late, windows_.value(early) + windows_.value(late));
    expand(log_.end(), T());
    finish_explanation(conflict);
    return false;
  }

  // Two points whose sum is too large by `excess`; the newer one is lowered by
  // as much as can be.
  void add_pair(int a, int b, const T& excess) {
    const T slack = largest_slack(excess);
    const bool is_a_newer = windows_.newest(a) > windows_.newest(b);
    log_.add({a, windows_.value(a) - (is_a_newer ? slack : T()), false});
    log_.add({b, windows_.value(b) - (is_a_newer ? T() : slack), false});
  }

  // All premises of a record, and what its demands come from.
  void expand(int record, const T& slack) {
    if (certifies_) steps_.push_back(log_.step(record));
    log_.visit(
        record,
        [&](const typename Log::Demand& d) {
          windows_.demand({d.point, d.takes_slack ? d.value - slack : d.value});
        },
        [this](Literal premise) { literals_.push_back(premise); });
  }

  void finish_explanation(std::vector<Literal>& clause) {
    windows_.explain(
        [this](int record, const T& slack) { expand(record, slack); },
        [this](Literal literal, int point) {
          literals_.push_back(literal);
          if (!certifies_) return;
          const TimeDirection direction =
              point == Windows::earliest(point / 2) ? kForward : kBackward;
          steps_.push_back(
              {MachineRule::kConstraint, direction, 0, 0, literal});
        });
    std::sort(literals_.begin(), literals_.end());
    literals_.erase(std::unique(literals_.begin(), literals_.end()),
                    literals_.end());
    for (const Literal literal : literals_) clause.push_back(~literal);
    literals_.clear();
  }

  // Whether the literal is yet to be decided. Another machine with the same two
  // tasks may have been faster.
  bool is_open(Literal literal) const {
    return literal.is_defined() &&
           search_.value(literal) == Value::kUnassigned &&
           !log_.has_reason(~literal);
  }

  // Orders of two tasks that times alone rule out.
  void find_orders(std::vector<Literal>& implied) {
    for (const int point : moved_) {
      const std::vector<Rival>& rivals = rivals_[index(point)];
      counters_.steps += rivals.size();
      for (const Rival& rival : rivals) {
        if (!is_open(rival.order) || !windows_.has(rival.point)) continue;
        const T excess =
            windows_.value(point) + rival.gap + windows_.value(rival.point);
        if (!(T() < excess)) continue;
        ++counters_.orders;
        log_.begin();
        if (certifies_) log_.describe({MachineRule::kOrder});
        add_pair(point, rival.point, excess);
        log_.conclude(~rival.order, log_.end());
        implied.push_back(~rival.order);
      }
    }
    clear_moved();
  }

  // Brings the times of a machine's tasks up to date, in both directions. Those
  // that are absent or lack a time do not take part.
  void gather(State& state) {
    const std::size_t n = state.num_tasks();
    counters_.steps += n;
    Tasks& forward = state.tasks[kForward];
    Tasks& backward = state.tasks[kBackward];
    present_.clear();
    for (std::size_t a = 0; a < n; ++a) {
      const int earliest = Windows::earliest(state.node(a));
      const int latest = Windows::latest(state.node(a));
      if (!windows_.has(earliest) || !windows_.has(latest) ||
          !state.is_present(a, search_)) {
        continue;
      }
      present_.push_back(static_cast<std::uint32_t>(a));
      const T& early = windows_.value(earliest);
      const T& late = windows_.value(latest);
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

  bool reason_about(State& state, std::vector<Literal>& implied,
                    std::vector<Literal>& conflict) {
    // With all orders decided, the constraints say all there is to know.
    if (state.is_settled || state.num_open == 0) return true;
    state.is_settled = true;
    if (!state.holds(search_) || !state.pace.is_due()) return true;
    const std::size_t num_records = log_.size();
    const bool is_consistent = run_rules(state, implied, conflict);
    if (!is_consistent || log_.size() > num_records) {
      state.pace.gain();
    } else {
      state.pace.pay(1);
    }
    return is_consistent;
  }

  bool run_rules(State& state, std::vector<Literal>& implied,
                 std::vector<Literal>& conflict) {
    ++counters_.runs;
    gather(state);
    const View views[] = {View(state, kForward), View(state, kBackward)};
    bool has_raised = false;
    for (const View& view : views) {
      counters_.steps += view.tasks().by_earliest.size();
      rules_.find_preceded(view.tasks(),
                           [&](std::size_t i, const Set& set, const T& start,
                               const T& earliest) {
                             begin_record(view, MachineRule::kPreceded, i, set);
                             log_.add(state.presence(i));
                             for (const std::size_t a : set) {
                               log_.add(state.presence(a));
                               log_.add(view.starts(a, start, true));
                               log_.add(view.order(a, i));
                             }
                             ++counters_.preceded;
                             raise(view, i, earliest);
                             has_raised = true;
                           });
    }
    if (has_raised) return true;
    bool is_overloaded = false;
    for (const View& view : views) {
      rules_.find_edges(
          view.tasks(),
          [&](const Set& set, const T& start, const T& end) {
            explain_overload(view, set, start, end);
            is_overloaded = true;
          },
          [&](std::size_t i, const Set& set, const T& start, const T& end) {
            imply_last(view, i, set, start, end, implied);
          });
      if (is_overloaded) {
        finish_explanation(conflict);
        return false;
      }
    }
    if (!implied.empty()) return true;
    for (const View& view : views) {
      rules_.find_not_first(view.tasks(), [&](std::size_t i, const Set& set,
                                              const T& start, const T& end,
                                              const T& earliest) {
        const T excess =
            start + view.tasks().duration[i] + view.work_of(set) - end;
        begin_record(view, MachineRule::kNotFirst, i, set);
        log_.add(state.presence(i));
        log_.add(view.starts(i, start - largest_slack(excess)));
        for (const std::size_t a : set) {
          log_.add(state.presence(a));
          log_.add(view.ends(a, end));
          log_.add(view.starts(a, earliest - view.tasks().duration[a], true));
        }
        ++counters_.not_first;
        raise(view, i, earliest);
      });
    }
    return true;
  }

  // Begins a record about a machine.
  void begin_record(const View& view, MachineRule rule, std::size_t task,
                    const Set& set) {
    log_.begin();
    if (certifies_) {
      log_.describe({rule, view.direction(), view.state().position,
                     static_cast<std::uint32_t>(task)},
                    set);
    }
    log_.add(view.state().conditions);
  }

  // The record under construction is why a task starts no earlier than `time`.
  void raise(const View& view, std::size_t task, const T& time) {
    const typename Log::Demand to = view.starts(task, time);
    const int record = log_.end();
    assert(forces_time(view, log_, record, task, time));
    if (windows_.value(to.point) < to.value) {
      windows_.raise(to.point, to.value, record);
    }
  }

  void explain_overload(const View& view, const Set& set, const T& start,
                        const T& end) {
    ++counters_.overloads;
    const T slack = largest_slack(start + view.work_of(set) - end);
    const bool lowers_start = is_start_newer(view, set);
    begin_record(view, MachineRule::kOverload, 0, set);
    for (const std::size_t a : set) {
      log_.add(view.state().presence(a));
      log_.add(view.starts(a, lowers_start ? start - slack : start));
      log_.add(view.ends(a, lowers_start ? end : end + slack));
    }
    const int record = log_.end();
    assert(forces_conflict(view, log_, record));
    expand(record, T());
  }

  // Whether of a set's times the newest is one of a start.
  bool is_start_newer(const View& view, const Set& set) const {
    int newest_start = -1;
    int newest_end = -1;
    for (const std::size_t a : set) {
      newest_start =
          std::max(newest_start, windows_.newest(view.starts(a, T()).point));
      newest_end =
          std::max(newest_end, windows_.newest(view.ends(a, T()).point));
    }
    return newest_start > newest_end;
  }

  // All of a set come before a task.
  void imply_last(const View& view, std::size_t task, const Set& set,
                  const T& start, const T& end, std::vector<Literal>& implied) {
    const T lowest = start - largest_slack(start + view.work_of(set) +
                                           view.tasks().duration[task] - end);
    begin_record(view, MachineRule::kLast, task, set);
    log_.add(view.state().presence(task));
    log_.add(view.starts(task, lowest));
    for (const std::size_t a : set) {
      log_.add(view.state().presence(a));
      log_.add(view.starts(a, lowest));
      log_.add(view.ends(a, end));
    }
    const int record = log_.end();
    for (const std::size_t b : set) {
      const Literal literal = view.order(task, b);
      if (!is_open(literal)) continue;
      log_.conclude(~literal, record);
      assert(forces_order(view, log_, record, b, task));
      ++counters_.edges;
      implied.push_back(~literal);
    }
  }

  struct Weight {
    enum State : char { kUnknown, kFits, kTooLarge };
    State state = kUnknown;
    T time = T();
  };

  const Search& search_;  // borrowed
  TimeScale<T> scale_;
  const std::vector<Machine> machines_;
  std::vector<State> states_;  // by machine
  Windows windows_;
  const bool certifies_;
  MachineRules<T> rules_;
  std::vector<std::vector<Place>> places_;  // by node
  /// By point: what it can rule out, with another.
  std::vector<std::vector<Rival>> rivals_;
  std::vector<Watch> watches_;   // by literal
  std::vector<Weight> weights_;  // by constraint

  /// Constraints in order, of which the windows know the first num_fed_.
  std::vector<Pushed> trail_;
  std::size_t num_fed_ = 0;
  /// Orders of tasks, in the order in which they were decided.
  std::vector<Order> decided_;
  std::vector<Level> levels_;
  /// Points with rivals that moved since orders were last looked at.
  std::vector<int> moved_;
  std::vector<char> has_moved_;  // by point
  /// Machines to look at.
  std::vector<std::size_t> awake_;
  /// What was found, and why.
  Log log_;

  /// When to look at machines at all: always while the search asks why for one
  /// literal in twenty, else once in 32 times.
  Pace worth_{20, -2000, 2000, 31};
  Counters counters_;

  /// How the last explanation was found, latest step first.
  std::vector<MachineStep> steps_;

  // Scratch space.
  std::vector<std::uint32_t> present_;
  std::vector<Literal> literals_;
};

}  // namespace

std::unique_ptr<MachinePropagation> MachinePropagation::make(
    Problem problem, const Search& search) {
  // A time is a path and, for each task, its duration and a path at most; four
  // times that leaves room for sums of times.
  dl::closure::Scale::Need need;
  std::size_t num_tasks = 0;
  for (const Machine& machine : problem.machines) {
    num_tasks += machine.tasks.size();
  }
  need.num_nodes = 4 * (problem.num_nodes + static_cast<int>(num_tasks));
  const int num_nodes = need.num_nodes;
  for (const la::DNumber* weight : problem.weights) need.add(*weight);
  dl::closure::Scale scale;
  scale.fit(need);
  const auto make = [&](auto time) -> std::unique_ptr<MachinePropagation> {
    using Time = decltype(time);
    return std::make_unique<Propagation<Time>>(
        std::move(problem), search, TimeScale<Time>(scale, num_nodes));
  };
  const bool is_exact = scale.size() == dl::closure::Scale::Size::kExact;
  auto result = is_exact ? make(ExactTime()) : make(WordTime());
  result->new_level();
  return result;
}

}  // namespace vorn::solver
