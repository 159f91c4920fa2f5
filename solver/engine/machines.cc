// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>
#include <cstddef>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "solver/engine/difference_theory.h"
#include "vorn/containers/index.h"

// Machines: which clauses of the search say that two tasks cannot overlap, and
// from which node times are best counted.

namespace vorn::solver {
// What a clause says about tasks, if anything: a bound with time in it is an
// order of two.
std::optional<SeparationTable::Clause> DifferenceTheory::read_orders(
    const std::vector<Literal>& clause, ClauseNumber number) const {
  SeparationTable::Clause read;
  for (const Literal literal : clause) {
    if (search_->fixed_value(literal) == Value::kFalse) {
      if (log_ != nullptr) read.premises.push_back(search_->unit(literal));
      continue;
    }
    const int id = problem_.atoms().bound(literal).id;
    if (id != 0) {
      Precedence order = order_of(edge_of(id));
      if (!(la::DNumber() < order.time)) return {};
      read.orders.push_back({literal, std::move(order)});
    } else if (problem_.is_selector(~literal)) {
      read.conditions.push_back(~literal);
    } else {
      read.others.push_back(literal);
    }
  }
  if (log_ != nullptr) read.premises.push_back(number);
  return read;
}

// Calls a visitor with each constraint that level 0 makes hold, and its
// literal.
template <class Visit>
void DifferenceTheory::for_each_fact(const Visit& visit) const {
  for (const AtomTable::Atom& atom : problem_.atoms().atoms()) {
    const Value value = search_->fixed_value(Literal(atom.variable, false));
    if (value == Value::kUnassigned) continue;
    const int id = atom.constraints[value == Value::kTrue ? 0 : 1];
    visit(edge_of(id), Literal(atom.variable, value == Value::kFalse));
  }
  for (const AtomTable::Fact& fact : problem_.atoms().facts()) {
    if (is_scoped(fact)) break;
    visit(edge_of(fact.constraint), fact.guard);
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
  for_each_fact([&neighbours](const dl::Edge& edge, Literal /*literal*/) {
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

// By node, the tasks that are not always there. Of these the search wants to
// know which come first; for the others, whatever separates them from each
// other can say it.
std::vector<char> DifferenceTheory::optional_tasks(
    const std::vector<Separation>& separations) const {
  std::vector<char> is_optional(index(problem_.atoms().num_nodes()), 0);
  for (const Separation& s : separations) {
    if (s.first_presence.is_defined()) is_optional[index(s.first)] = 1;
    if (s.second_presence.is_defined()) is_optional[index(s.second)] = 1;
  }
  return is_optional;
}

// In so many steps that each takes time.
std::vector<Precedence> DifferenceTheory::find_precedences(
    const std::vector<char>& is_wanted) const {
  if (std::find(is_wanted.begin(), is_wanted.end(), 1) == is_wanted.end()) {
    return {};
  }
  const std::size_t num_nodes = index(problem_.atoms().num_nodes());
  // Nodes that come later, by how much.
  struct Step {
    int node;
    la::DNumber time;
    Literal literal;
  };
  std::vector<std::vector<Step>> later(num_nodes);
  for_each_fact([&](const dl::Edge& edge, Literal literal) {
    Precedence order = order_of(edge);
    if (!(la::DNumber() < order.time)) return;
    later[index(order.before)].push_back(
        {order.after, std::move(order.time), literal});
  });
  constexpr std::size_t kMostSteps = 1'000'000;
  std::size_t steps = 0;
  std::vector<Precedence> result;
  std::vector<int> seen_from(num_nodes, -1);
  for (std::size_t from = 0; from < num_nodes; ++from) {
    if (is_wanted[from] == 0) continue;
    struct Reached {
      int node;
      la::DNumber time;
      std::size_t previous;
      Literal literal;
    };
    std::vector<Reached> reached{
        {static_cast<int>(from), la::DNumber(), 0, Literal()}};
    seen_from[from] = static_cast<int>(from);
    for (std::size_t k = 0; k < reached.size(); ++k) {
      const Reached here = reached[k];
      if (k > 0 && is_wanted[index(here.node)] != 0) {
        result.push_back({static_cast<int>(from), here.node, here.time});
        for (std::size_t r = k; log_ != nullptr && r > 0;
             r = reached[r].previous) {
          result.back().path.push_back(reached[r].literal);
        }
      }
      for (const Step& step : later[index(here.node)]) {
        if (++steps > kMostSteps) return result;
        if (seen_from[index(step.node)] == static_cast<int>(from)) continue;
        seen_from[index(step.node)] = static_cast<int>(from);
        reached.push_back({step.node, here.time + step.time, k, step.literal});
      }
    }
  }
  return result;
}

// Reads what clauses say about tasks. Those that were read before say more when
// level 0 has literals of theirs; to see that, all are read again once there
// are so many new ones there that this is no great matter.
bool DifferenceTheory::read_separations() {
  constexpr std::size_t kClausesPerLiteral = 64;
  num_unread_ += search_->num_unsettled_literals();
  const bool reads_all = kClausesPerLiteral * num_unread_ >=
                         std::max(search_->num_given_clauses(), num_atoms_);
  const auto for_each_clause = [&](const auto& visit) {
    if (reads_all) {
      search_->for_each_given_clause(visit);
    } else {
      search_->for_each_unsettled_clause(visit);
    }
  };
  for_each_clause([&](const std::vector<Literal>& clause, ClauseNumber number) {
    const auto read = read_orders(clause, number);
    if (read) separations_.add(*read);
  });
  if (separations_.has_names()) {
    for_each_clause(
        [&](const std::vector<Literal>& clause, ClauseNumber number) {
          const auto read = read_orders(clause, number);
          if (read) separations_.add_named(*read);
        });
  }
  if (reads_all) num_unread_ = 0;
  return reads_all;
}

void DifferenceTheory::find_machines(const MachineLimits& limits) {
  const bool has_read_all = read_separations();
  const bool has_others =
      num_changes_of_machines_ != separations_.num_changes();
  num_changes_of_machines_ = separations_.num_changes();
  if (machines_ && !has_others && num_bounds_of_machines_ == num_bounds()) {
    return;
  }
  // What made none makes none now, as far as is known.
  if (has_no_machines_ && !has_others && !has_read_all) return;
  drop_machines();
  num_bounds_of_machines_ = num_bounds();
  has_no_machines_ = separations_.size() == 0;
  if (has_no_machines_) return;
  MachinePropagation::Problem problem;
  problem.separations = separations_.separations();
  match_presences(problem.separations);
  std::vector<Precedence> precedences =
      find_precedences(optional_tasks(problem.separations));
  problem.machines =
      solver::find_machines(problem.separations, precedences, limits);
  if (log_ != nullptr) {
    problem.certifies = true;
    make_provable(problem.machines);
    certified_separations_ = problem.separations;
    certified_precedences_ = std::move(precedences);
    certified_machines_.assign(problem.machines.size(), -1);
  }
  has_no_machines_ = problem.machines.empty();
  if (has_no_machines_) return;
  search_->leave_levels();
  for (const Machine& machine : problem.machines) {
    for (const Literal presence : machine.presences) {
      if (presence.is_defined()) {
        search_->set_theory_variable(presence.variable());
      }
    }
  }
  problem.num_nodes = problem_.atoms().num_nodes();
  problem.origin = origin_node_ = find_origin(problem.machines);
  for (const AtomTable::Atom& atom : problem_.atoms().atoms()) {
    for (const int id : atom.constraints) {
      problem.weights.push_back(&edge_of(id).weight);
    }
  }
  for (const AtomTable::Fact& fact : problem_.atoms().facts()) {
    problem.weights.push_back(&edge_of(fact.constraint).weight);
  }
  machines_ = MachinePropagation::make(std::move(problem), *search_);
  for (const Active& active : active_) {
    const Literal literal = literal_of(active.id);
    if (!active.implied) {
      machines_->push(literal, active.id, edge_of(active.id));
    }
    if (!active.is_fact) machines_->assigned(literal);
  }
}

// Proofs speak of sums of durations, which are all strict or all not: where
// that differs, strict ones are taken for others. Integers and reals are not
// mixed there.
void DifferenceTheory::make_provable(std::vector<Machine>& machines) const {
  bool has_ints = false;
  bool has_reals = false;
  for (int node = 0; node < problem_.atoms().num_nodes(); ++node) {
    const Term* term = problem_.atoms().term_of(node);
    if (term == nullptr) continue;
    (term->sort == Sort::kInt ? has_ints : has_reals) = true;
  }
  if (has_ints && has_reals) machines.clear();
  for (Machine& machine : machines) {
    const auto is_strict = [](const la::DNumber& duration) {
      return duration.eps().sign() > 0;
    };
    std::vector<la::DNumber>& durations = machine.durations;
    if (std::all_of(durations.begin(), durations.end(), is_strict)) continue;
    for (la::DNumber& duration : durations) {
      duration = la::DNumber(duration.rational(), QNumber());
    }
  }
}

// The origin of the clause that machines_ has just given; notes how it was
// found if there is a log.
ClauseOrigin DifferenceTheory::certify() {
  if (log_ == nullptr) return {ClauseKind::kMachine};
  MachineCertificate& certificate = certificate_;
  certificate.origin = problem_.atoms().term_of(origin_node_);
  const std::vector<MachineStep>& steps = machines_->steps();
  certificate.steps.assign(steps.rbegin(), steps.rend());
  certificate.tasks.clear();
  for (MachineStep& step : certificate.steps) {
    if (step.literal.is_defined()) step.literal = log_->named(step.literal);
    if (step.rule == MachineRule::kCrossing) {
      certificate.crossing =
          problem_.atoms().term_of(static_cast<int>(step.task));
    }
    if (step.num_tasks == 0) continue;
    int& number = certified_machines_[index(step.machine)];
    if (number < 0) {
      number = log_->add_machine(
          certify_machine(machines_->machines()[index(step.machine)]));
    }
    step.machine = number;
    const auto first = machines_->tasks_of_steps().begin() +
                       static_cast<std::ptrdiff_t>(step.first_task);
    step.first_task = static_cast<std::uint32_t>(certificate.tasks.size());
    certificate.tasks.insert(certificate.tasks.end(), first,
                             first + step.num_tasks);
  }
  return {ClauseKind::kMachine, log_->add_certificate(certificate)};
}

// What proofs need to know of a machine: how its tasks are separated.
CertifiedMachine DifferenceTheory::certify_machine(const Machine& machine) {
  CertifiedMachine certified;
  const std::size_t n = machine.tasks.size();
  for (std::size_t a = 0; a < n; ++a) {
    certified.tasks.push_back(
        {problem_.atoms().term_of(machine.tasks[a]), machine.durations[a]});
  }
  certified.pairs.resize(n * n);
  for (std::size_t a = 0; a < n; ++a) {
    for (std::size_t b = 0; b < n; ++b) {
      CertifiedMachine::Pair& pair = certified.pairs[a * n + b];
      const int k = machine.separations[a * n + b];
      if (k == Machine::kAlwaysBefore) {
        const auto found = std::find_if(certified_precedences_.begin(),
                                        certified_precedences_.end(),
                                        [&](const Precedence& p) {
                                          return p.before == machine.tasks[a] &&
                                                 p.after == machine.tasks[b];
                                        });
        assert(found != certified_precedences_.end());
        for (const Literal literal : found->path) {
          pair.path.push_back(log_->named(literal));
          pair.path_units.push_back(search_->unit(literal));
        }
      }
      if (k < 0) continue;
      const Separation& s = certified_separations_[index(k)];
      const bool is_first = s.first == machine.tasks[a];
      pair.order = log_->named(is_first ? s.first_first : s.second_first);
      if (b < a) {
        pair.separation = certified.pairs[b * n + a].separation;
        continue;
      }
      std::vector<Literal> clause{s.first_first, s.second_first};
      for (const Literal condition : s.conditions) {
        clause.push_back(~condition);
      }
      for (const Literal presence : {s.first_presence, s.second_presence}) {
        if (presence.is_defined()) clause.push_back(~presence);
      }
      pair.separation = search_->derive(clause, s.premises);
    }
  }
  return certified;
}

}  // namespace vorn::solver
