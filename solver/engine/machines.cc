// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>
#include <cstddef>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "solver/engine/difference_theory.h"
#include "solver/scheduling/machine_finder.h"

// Machines: which clauses of the search say that two tasks cannot overlap, and
// from which node times are best counted.

namespace vorn::solver {
namespace {

std::size_t index(int i) {
  return static_cast<std::size_t>(i);
}

}  // namespace

// What a clause says about tasks, if anything: a bound with time in it is an
// order of two.
std::optional<SeparationTable::Clause> DifferenceTheory::read_orders(
    const std::vector<Literal>& clause) const {
  const std::vector<Literal>& selectors = problem_.selectors();
  SeparationTable::Clause read;
  for (const Literal literal : clause) {
    if (search_->value(literal) == Value::kFalse) continue;
    const int id = problem_.atoms().bound(literal).id;
    if (id != 0) {
      // target - source <= -time: the target comes first.
      const dl::Edge& edge = edge_of(id);
      la::DNumber time(-edge.weight.rational(), -edge.weight.eps());
      if (!(la::DNumber() < time)) return {};
      read.orders.push_back(
          {literal, {edge.target, edge.source, std::move(time)}});
    } else if (std::find(selectors.begin(), selectors.end(), ~literal) !=
               selectors.end()) {
      read.conditions.push_back(~literal);
    } else {
      read.others.push_back(literal);
    }
  }
  return read;
}

// Calls a visitor with each constraint that level 0 makes hold.
template <class Visit>
void DifferenceTheory::for_each_fact(const Visit& visit) const {
  for (const AtomTable::Atom& atom : problem_.atoms().atoms()) {
    const Value value = search_->value(Literal(atom.variable, false));
    if (value == Value::kUnassigned) continue;
    const int id = atom.constraints[value == Value::kTrue ? 0 : 1];
    visit(edge_of(id));
  }
}

// The node from which level 0 bounds the most tasks, on both sides if that is
// possible. Asked are the constant 0 and the nodes with the most bounds.
int DifferenceTheory::find_origin(const std::vector<Machine>& machines) const {
  std::vector<int> tasks;
  for (const Machine& machine : machines) {
    tasks.insert(tasks.end(), machine.tasks.begin(), machine.tasks.end());
  }
  std::sort(tasks.begin(), tasks.end());
  tasks.erase(std::unique(tasks.begin(), tasks.end()), tasks.end());

  const std::size_t num_nodes = index(problem_.atoms().num_nodes());
  // Neighbours along level-0 bounds, and against them.
  std::vector<std::vector<int>> neighbours[2];
  for (auto& lists : neighbours) lists.resize(num_nodes);
  for_each_fact([&neighbours](const dl::Edge& edge) {
    neighbours[0][index(edge.source)].push_back(edge.target);
    neighbours[1][index(edge.target)].push_back(edge.source);
  });
  const auto degree = [&neighbours](int node) {
    return neighbours[0][index(node)].size() +
           neighbours[1][index(node)].size();
  };
  std::vector<int> candidates(num_nodes);
  std::iota(candidates.begin(), candidates.end(), 0);
  constexpr std::size_t kAsked = 8;
  const std::size_t asked = std::min(num_nodes, kAsked);
  std::partial_sort(candidates.begin(),
                    candidates.begin() + static_cast<std::ptrdiff_t>(asked),
                    candidates.end(), [&degree](int a, int b) {
                      if (a == 0 || b == 0) return a == 0 && b != 0;
                      if (degree(a) != degree(b)) return degree(a) > degree(b);
                      return a < b;
                    });
  int origin = 0;
  std::size_t most = 0;
  for (std::size_t c = 0; c < asked; ++c) {
    std::vector<char> reached[2];
    for (const std::size_t side : {0U, 1U}) {
      reached[side].assign(num_nodes, 0);
      reached[side][index(candidates[c])] = 1;
      std::vector<int> pending{candidates[c]};
      while (!pending.empty()) {
        const int node = pending.back();
        pending.pop_back();
        for (const int next : neighbours[side][index(node)]) {
          if (reached[side][index(next)] != 0) continue;
          reached[side][index(next)] = 1;
          pending.push_back(next);
        }
      }
    }
    std::size_t score = 0;
    for (const int task : tasks) {
      const bool is_early = reached[1][index(task)] != 0;
      const bool is_late = reached[0][index(task)] != 0;
      if (is_early || is_late) score += is_early && is_late ? 3 : 1;
    }
    if (score <= most) continue;
    most = score;
    origin = candidates[c];
  }
  return origin;
}

// Pairs of tasks of which level 0 says that one comes first, in so many steps
// that each takes time. Looked at are tasks that are not always there; for the
// others, whatever separates them from each other can say it.
std::vector<Precedence> DifferenceTheory::find_precedences(
    const std::vector<Separation>& separations) const {
  const std::size_t num_nodes = index(problem_.atoms().num_nodes());
  std::vector<char> is_optional(num_nodes, 0);
  for (const Separation& s : separations) {
    if (s.first_presence.is_defined()) is_optional[index(s.first)] = 1;
    if (s.second_presence.is_defined()) is_optional[index(s.second)] = 1;
  }
  // Nodes that come later, by how much.
  std::vector<std::vector<std::pair<int, la::DNumber>>> later(num_nodes);
  for_each_fact([&](const dl::Edge& edge) {
    const la::DNumber time(-edge.weight.rational(), -edge.weight.eps());
    if (!(la::DNumber() < time)) return;
    later[index(edge.target)].emplace_back(edge.source, time);
  });
  constexpr std::size_t kMostSteps = 1'000'000;
  std::size_t steps = 0;
  std::vector<Precedence> result;
  std::vector<int> seen_from(num_nodes, -1);
  for (std::size_t from = 0; from < num_nodes; ++from) {
    if (is_optional[from] == 0) continue;
    std::vector<std::pair<int, la::DNumber>> reached{
        {static_cast<int>(from), la::DNumber()}};
    seen_from[from] = static_cast<int>(from);
    for (std::size_t k = 0; k < reached.size(); ++k) {
      const auto [node, time] = reached[k];
      if (k > 0 && is_optional[index(node)] != 0) {
        result.push_back({static_cast<int>(from), node, time});
      }
      for (const auto& [next, step] : later[index(node)]) {
        if (++steps > kMostSteps) return result;
        if (seen_from[index(next)] == static_cast<int>(from)) continue;
        seen_from[index(next)] = static_cast<int>(from);
        reached.emplace_back(next, time + step);
      }
    }
  }
  return result;
}

void DifferenceTheory::find_machines() {
  const std::size_t num_known = separations_.size();
  search_->for_each_given_clause([&](const std::vector<Literal>& clause) {
    const auto read = read_orders(clause);
    if (read) separations_.add(*read);
  });
  if (separations_.has_names()) {
    search_->for_each_given_clause([&](const std::vector<Literal>& clause) {
      const auto read = read_orders(clause);
      if (read) separations_.add_named(*read);
    });
  }
  if (machines_ && num_known == separations_.size() &&
      num_atoms_of_machines_ == num_atoms_) {
    return;
  }
  machines_.reset();
  num_atoms_of_machines_ = num_atoms_;
  MachinePropagation::Problem problem;
  problem.separations = separations_.separations();
  match_presences(problem.separations);
  problem.machines = solver::find_machines(
      problem.separations, find_precedences(problem.separations));
  if (problem.machines.empty()) return;
  for (const Machine& machine : problem.machines) {
    for (const Literal presence : machine.presences) {
      if (presence.is_defined()) {
        search_->set_theory_variable(presence.variable());
      }
    }
  }
  problem.num_nodes = problem_.atoms().num_nodes();
  problem.origin = find_origin(problem.machines);
  for (const AtomTable::Atom& atom : problem_.atoms().atoms()) {
    for (const int id : atom.constraints) {
      problem.weights.push_back(&edge_of(id).weight);
    }
  }
  machines_ = MachinePropagation::make(std::move(problem), *search_);
  for (const Active& active : active_) {
    const Literal literal = literal_of(active.id);
    if (!active.implied) {
      machines_->push(literal, active.id, edge_of(active.id));
    }
    machines_->assigned(literal);
  }
}

}  // namespace vorn::solver
