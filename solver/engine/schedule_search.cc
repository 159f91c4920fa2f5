// SPDX-License-Identifier: MIT
#include "solver/engine/schedule_search.h"

#include <algorithm>
#include <utility>

#include "solver/scheduling/order_search.h"
#include "vorn/containers/index.h"

namespace vorn::solver {

namespace {

/// A member of a machine whose presence has no value yet.
struct Choice {
  int member;
  Literal presence;
};

// A bound is a lag, a deadline or a release, or else is left out.
void add_bound(const dl::Edge& edge, int origin,
               const dl::closure::Scale& scale, OrderSearch& orders) {
  const OrderSearch::Word weight = scale.to_word(edge.weight);
  if (edge.target == origin) {
    orders.add_release(edge.source, -weight);
  } else if (edge.source == origin) {
    orders.add_deadline(edge.target, weight);
  } else if (weight <= 0) {
    orders.add_lag(edge.target, edge.source, -weight);
  }
}

// Of a node's members, those that its presences allow.
std::vector<Choice> add_machines(const std::vector<Machine>& machines,
                                 const Search& search,
                                 const dl::closure::Scale& scale,
                                 OrderSearch& orders) {
  const auto value_of = [&search](const Machine& machine, std::size_t k) {
    const Literal presence = machine.presences[k];
    return presence.is_defined() ? search.value(presence) : Value::kTrue;
  };
  std::vector<int> placed;
  for (const Machine& machine : machines) {
    for (std::size_t k = 0; k < machine.tasks.size(); ++k) {
      if (machine.presences[k].is_defined() &&
          value_of(machine, k) == Value::kTrue) {
        placed.push_back(machine.tasks[k]);
      }
    }
  }
  std::sort(placed.begin(), placed.end());
  std::vector<Choice> choices;
  for (const Machine& machine : machines) {
    orders.add_machine();
    for (std::size_t k = 0; k < machine.tasks.size(); ++k) {
      const int node = machine.tasks[k];
      const Value value = value_of(machine, k);
      if (value == Value::kFalse) continue;
      const bool is_open = value == Value::kUnassigned;
      if (is_open && std::binary_search(placed.begin(), placed.end(), node)) {
        continue;
      }
      const int member =
          orders.add_member(node, scale.to_word(machine.durations[k]), is_open);
      if (is_open) choices.push_back({member, machine.presences[k]});
    }
  }
  return choices;
}

// Whether a task is on several machines at once.
bool has_shared_tasks(const std::vector<Machine>& machines) {
  std::vector<int> tasks;
  for (const Machine& machine : machines) {
    for (std::size_t k = 0; k < machine.tasks.size(); ++k) {
      if (!machine.presences[k].is_defined()) tasks.push_back(machine.tasks[k]);
    }
  }
  std::sort(tasks.begin(), tasks.end());
  return std::adjacent_find(tasks.begin(), tasks.end()) != tasks.end();
}

}  // namespace

bool ScheduleSearch::run(const AtomTable& atoms, const Search& search,
                         const Shop& shop, const dl::closure::Scale& scale,
                         std::uint64_t steps, Random& random) {
  if (shop.machines == nullptr || has_shared_tasks(*shop.machines)) {
    return false;
  }
  ++counters_.runs;
  OrderSearch orders(atoms.num_nodes());
  for (const AtomTable::Atom& atom : atoms.atoms()) {
    const Value value = search.value(Literal(atom.variable, false));
    if (value == Value::kUnassigned) continue;
    const int id = atom.constraints[value == Value::kTrue ? 0 : 1];
    add_bound(atoms.constraint(id).edge, shop.origin, scale, orders);
  }
  for (const AtomTable::Fact& fact : atoms.facts()) {
    if (search.value(fact.guard) != Value::kTrue) continue;
    add_bound(atoms.constraint(fact.constraint).edge, shop.origin, scale,
              orders);
  }
  if (shop.aim) add_bound(*shop.aim, shop.origin, scale, orders);
  const std::vector<Choice> choices =
      add_machines(*shop.machines, search, scale, orders);
  if (numbers_.size() == index(atoms.num_nodes())) {
    std::vector<OrderSearch::Word> starts;
    starts.reserve(numbers_.size());
    for (const la::DNumber& number : numbers_) {
      starts.push_back(scale.to_word(number));
    }
    std::sort(last_presences_.begin(), last_presences_.end());
    std::vector<int> members;
    for (const Choice& choice : choices) {
      if (std::binary_search(last_presences_.begin(), last_presences_.end(),
                             choice.presence)) {
        members.push_back(choice.member);
      }
    }
    orders.begin_with(std::move(starts), members);
  }
  const OrderSearch::Word lateness = orders.run(steps, random, search.stop());
  counters_.moves += orders.num_moves();
  counters_.steps += orders.num_steps();
  if (lateness == OrderSearch::kFar) return false;
  is_in_time_ = lateness <= 0;
  if (is_in_time_) ++counters_.found;
  starts_ = orders.starts();
  numbers_.clear();
  for (const OrderSearch::Word start : orders.last_starts()) {
    numbers_.push_back(scale.to_number(start));
  }
  presences_.clear();
  last_presences_.clear();
  for (const Choice& choice : choices) {
    presences_.push_back(orders.is_used(choice.member) ? choice.presence
                                                       : ~choice.presence);
    if (orders.is_used_last(choice.member)) {
      last_presences_.push_back(choice.presence);
    }
  }
  return true;
}

void ScheduleSearch::forget() {
  starts_.clear();
  presences_.clear();
  last_presences_.clear();
  numbers_.clear();
}

}  // namespace vorn::solver
