// SPDX-License-Identifier: MIT
//
// Machines are cliques of separations, as for the search. But clauses are read
// as they were given: what the search has found out since, an order of two
// tasks say, takes none of them away. And it is known what holds in the model:
// a task's presence that does is forgotten. One that does not makes another
// task of it, which is not drawn, but tells that others share a machine.
//
// Two tasks of which one always comes first need no clause that separates
// them, such as two visits of one job to one machine. So precedences join the
// separations, but only of tasks that some third one is separated from: whole
// machines may be done one behind the other, and are not one for that. A task
// that has nothing but precedences is taken out again.
#include "solver/engine/schedule.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <utility>

#include "solver/scheduling/machine_finder.h"
#include "solver/scheduling/separation.h"
#include "solver/scheduling/separation_table.h"
#include "solver/search/literal.h"
#include "vorn/containers/index.h"
#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {
namespace {

class Scheduler {
 public:
  Scheduler(const DifferenceTheory& theory, const Problem& problem,
            const std::function<bool(const Term*)>& truth)
      : theory_(theory), problem_(problem), truth_(truth) {}

  std::vector<ScheduledMachine> find() {
    std::vector<Separation> separations = read_separations();
    settle_presences(separations);
    MachineLimits limits;
    limits.fewest_tasks = limits.fewest_optional_tasks = 2;
    const std::vector<Machine> machines =
        find_machines(separations, find_precedences(separations), limits);
    for (const Machine& machine : machines) place(machine);
    drop_repeated_singles();
    std::sort(rows_.begin(), rows_.end(),
              [](const Row& a, const Row& b) { return a.nodes < b.nodes; });
    number_chains();
    std::vector<ScheduledMachine> result;
    for (Row& row : rows_) result.push_back(std::move(row.tasks));
    return result;
  }

 private:
  /// A machine, with the nodes of its tasks by position, ascending.
  struct Row {
    std::vector<int> nodes;
    ScheduledMachine tasks;
  };

  bool holds(Literal literal) const {
    const Problem::Meaning meaning = problem_.meaning(literal.variable());
    return meaning.term != nullptr &&
           truth_(meaning.term) != (meaning.is_negated != literal.is_negated());
  }

  bool fails(Literal literal) const {
    return problem_.meaning(literal.variable()).term != nullptr &&
           !holds(literal);
  }

  template <class Visit>
  void for_each_clause(const Visit& visit) const {
    Problem::Clause clause;
    for (std::size_t k = 0; k < problem_.num_clauses(); ++k) {
      problem_.get_clause(k, clause);
      visit(read(clause.literals));
    }
  }

  std::vector<Separation> read_separations() {
    SeparationTable table;
    for_each_clause([this, &table](const SeparationTable::Clause& read) {
      table.add(read);
      const bool is_precedence =
          read.orders.size() == 1 &&
          std::all_of(read.others.begin(), read.others.end(),
                      [this](Literal other) { return fails(other); });
      if (!is_precedence) return;
      const Precedence& order = read.orders[0].second;
      steps_.emplace_back(order.before, order.after);
    });
    if (table.has_names()) {
      for_each_clause([&table](const SeparationTable::Clause& read) {
        table.add_named(read);
      });
    }
    return table.separations();
  }

  // What the clause says about tasks. The constant 0 is none: before or after
  // noon is no order of two.
  SeparationTable::Clause read(const std::vector<Literal>& clause) const {
    SeparationTable::Clause read;
    for (const Literal literal : clause) {
      const int id = problem_.atoms().bound(literal).id;
      if (id != 0) {
        Precedence order = order_of(problem_.atoms().constraint(id).edge);
        if (la::DNumber() < order.time && order.before != 0 &&
            order.after != 0) {
          read.orders.push_back({literal, std::move(order)});
          continue;
        }
      }
      if (problem_.is_selector(~literal)) {
        read.conditions.push_back(~literal);
      } else {
        read.others.push_back(literal);
      }
    }
    return read;
  }

  // Whose presence a literal is, several separations tell; one alone does not,
  // and says nothing if the literal does not hold.
  void settle_presences(std::vector<Separation>& separations) const {
    match_presences(separations);
    std::map<Literal, int> counts;
    for (const Separation& s : separations) {
      ++counts[s.first_presence];
      ++counts[s.second_presence];
    }
    const auto is_unclear = [&](Separation& s) {
      bool unclear = false;
      for (Literal* presence : {&s.first_presence, &s.second_presence}) {
        if (!presence->is_defined()) continue;
        if (holds(*presence)) {
          *presence = Literal();
        } else if (counts[*presence] == 1) {
          unclear = true;
        }
      }
      return unclear;
    };
    separations.erase(
        std::remove_if(separations.begin(), separations.end(), is_unclear),
        separations.end());
  }

  std::vector<Precedence> find_precedences(
      const std::vector<Separation>& separations) const {
    const std::size_t num_nodes = index(problem_.atoms().num_nodes());
    std::vector<char> is_task(num_nodes, 0);
    std::vector<std::vector<int>> neighbours(num_nodes);
    for (const Separation& s : separations) {
      is_task[index(s.first)] = is_task[index(s.second)] = 1;
      neighbours[index(s.first)].push_back(s.second);
      neighbours[index(s.second)].push_back(s.first);
    }
    for (std::vector<int>& list : neighbours) {
      std::sort(list.begin(), list.end());
    }
    std::vector<Precedence> result = theory_.find_precedences(is_task);
    std::vector<int> common;
    const auto is_elsewhere = [&](const Precedence& p) {
      const std::vector<int>& before = neighbours[index(p.before)];
      const std::vector<int>& after = neighbours[index(p.after)];
      common.clear();
      std::set_intersection(before.begin(), before.end(), after.begin(),
                            after.end(), std::back_inserter(common));
      return common.empty();
    };
    result.erase(std::remove_if(result.begin(), result.end(), is_elsewhere),
                 result.end());
    return result;
  }

  void place(const Machine& machine) {
    const std::size_t n = machine.tasks.size();
    Row row;
    for (std::size_t a = 0; a < n; ++a) {
      const Literal presence = machine.presences[a];
      const auto first =
          machine.separations.begin() + static_cast<std::ptrdiff_t>(a * n);
      const bool is_separated =
          std::any_of(first, first + static_cast<std::ptrdiff_t>(n),
                      [](int separation) { return separation >= 0; });
      if (!is_separated) continue;
      if (presence.is_defined() && !holds(presence)) continue;
      row.nodes.push_back(machine.tasks[a]);
      row.tasks.push_back({problem_.atoms().term_of(machine.tasks[a]),
                           machine.durations[a].rational(), 0});
    }
    if (!row.nodes.empty()) rows_.push_back(std::move(row));
  }

  void drop_repeated_singles() {
    std::map<int, int> counts;
    for (const Row& row : rows_) {
      for (const int node : row.nodes) ++counts[node];
    }
    const auto is_repeated = [&counts](const Row& row) {
      return row.nodes.size() == 1 && counts[row.nodes.front()]-- > 1;
    };
    rows_.erase(std::remove_if(rows_.begin(), rows_.end(), is_repeated),
                rows_.end());
  }

  // Orders within a machine may be given by Booleans, one for each two tasks,
  // and would join the chains of all of them.
  void number_chains() {
    std::vector<std::set<std::size_t>> machines_of(
        index(problem_.atoms().num_nodes()));
    for (std::size_t m = 0; m < rows_.size(); ++m) {
      for (const int node : rows_[m].nodes) machines_of[index(node)].insert(m);
    }
    std::vector<std::size_t> leaders(machines_of.size());
    std::iota(leaders.begin(), leaders.end(), std::size_t{0});
    const auto leader = [&leaders](int node) {
      std::size_t k = index(node);
      while (leaders[k] != k) k = leaders[k] = leaders[leaders[k]];
      return k;
    };
    for (const auto& [first, second] : steps_) {
      const std::set<std::size_t>& before = machines_of[index(first)];
      const std::set<std::size_t>& after = machines_of[index(second)];
      const bool is_shared =
          std::any_of(before.begin(), before.end(),
                      [&after](std::size_t m) { return after.count(m) != 0; });
      if (before.empty() || after.empty() || is_shared) continue;
      leaders[leader(second)] = leader(first);
    }
    // In the order of the chains' first variables.
    std::vector<std::size_t> numbers(leaders.size(), leaders.size());
    std::size_t next = 0;
    for (std::size_t node = 0; node < leaders.size(); ++node) {
      if (machines_of[node].empty()) continue;
      std::size_t& number = numbers[leader(static_cast<int>(node))];
      if (number == leaders.size()) number = next++;
    }
    for (Row& row : rows_) {
      for (std::size_t k = 0; k < row.nodes.size(); ++k) {
        row.tasks[k].chain = numbers[leader(row.nodes[k])];
      }
    }
  }

  const DifferenceTheory& theory_;
  const Problem& problem_;
  const std::function<bool(const Term*)>& truth_;
  /// Nodes of which one comes directly before the other in the model, whatever
  /// the orders on machines.
  std::vector<std::pair<int, int>> steps_;
  std::vector<Row> rows_;
};

}  // namespace

std::vector<ScheduledMachine> find_schedule(
    const DifferenceTheory& theory, const Problem& problem,
    const std::function<bool(const Term*)>& truth) {
  return Scheduler(theory, problem, truth).find();
}

}  // namespace vorn::solver
