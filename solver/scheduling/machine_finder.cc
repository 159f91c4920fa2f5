// SPDX-License-Identifier: MIT
#include "solver/scheduling/machine_finder.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "vorn/containers/index.h"

namespace vorn::solver {
namespace {

class Finder {
 public:
  Finder(const std::vector<Separation>& separations,
         const std::vector<Precedence>& precedences,
         const MachineLimits& limits)
      : separations_(separations), precedences_(precedences), limits_(limits) {
    for (const Separation& s : separations) {
      tasks_.emplace_back(s.first, s.first_presence);
      tasks_.emplace_back(s.second, s.second_presence);
    }
    std::sort(tasks_.begin(), tasks_.end());
    tasks_.erase(std::unique(tasks_.begin(), tasks_.end()), tasks_.end());
    neighbours_.resize(tasks_.size());
    for (std::size_t k = 0; k < separations.size(); ++k) {
      const auto [a, b] = positions(separations[k]);
      add_edge(a, b, {static_cast<int>(k), -1, false});
    }
    for (std::size_t k = 0; k < precedences.size(); ++k) {
      const Precedence& p = precedences[k];
      for (int a = position(p.before); is_task(a, p.before); ++a) {
        for (int b = position(p.after); is_task(b, p.after); ++b) {
          add_edge(a, b, {-1, static_cast<int>(k), true});
        }
      }
    }
    // Of several edges of two tasks the first counts.
    for (std::vector<Neighbour>& list : neighbours_) {
      std::sort(list.begin(), list.end(),
                [](const Neighbour& a, const Neighbour& b) {
                  return a.task != b.task ? a.task < b.task : a.edge < b.edge;
                });
      list.erase(std::unique(list.begin(), list.end(),
                             [](const Neighbour& a, const Neighbour& b) {
                               return a.task == b.task;
                             }),
                 list.end());
    }
  }

  std::vector<Machine> find() {
    take_whole_components();
    for (const Separation& s : separations_) {
      const auto [a, b] = positions(s);
      if (steps_ >= limits_.steps) break;
      if (!find_edge(a, b)->covered) take(grow(a, b));
    }
    return std::move(machines_);
  }

 private:
  struct Edge {
    int separation;
    /// If there is no separation.
    int precedence;
    /// It is in a machine, or need not be.
    bool covered;
  };

  /// A task and the edge that leads there, by position.
  struct Neighbour {
    int task;
    int edge;
    friend bool operator<(const Neighbour& a, const Neighbour& b) {
      return a.task < b.task;
    }
  };

  void add_edge(int a, int b, const Edge& edge) {
    const auto number = static_cast<int>(edges_.size());
    edges_.push_back(edge);
    neighbours_[index(a)].push_back({b, number});
    neighbours_[index(b)].push_back({a, number});
  }
  // Null if there is none.
  Edge* find_edge(int a, int b) {
    const bool is_shorter =
        neighbours_[index(a)].size() < neighbours_[index(b)].size();
    const std::vector<Neighbour>& list = neighbours_[index(is_shorter ? a : b)];
    const Neighbour wanted{is_shorter ? b : a, 0};
    const auto found = std::lower_bound(list.begin(), list.end(), wanted);
    return found == list.end() || found->task != wanted.task
               ? nullptr
               : &edges_[index(found->edge)];
  }
  bool is_task(int position, int node) const {
    return index(position) < tasks_.size() &&
           tasks_[index(position)].first == node;
  }
  // Of a node's tasks, the first has the least presence, which is none.
  int position(int node, Literal presence = Literal()) const {
    const auto found = std::lower_bound(tasks_.begin(), tasks_.end(),
                                        std::pair(node, presence));
    return static_cast<int>(found - tasks_.begin());
  }
  std::pair<int, int> positions(const Separation& s) const {
    return {position(s.first, s.first_presence),
            position(s.second, s.second_presence)};
  }

  void take_whole_components() {
    std::vector<char> seen(tasks_.size(), 0);
    for (std::size_t root = 0; root < tasks_.size(); ++root) {
      if (seen[root] != 0) continue;
      seen[root] = 1;
      std::vector<int> component{static_cast<int>(root)};
      bool is_clique = true;
      for (std::size_t k = 0; k < component.size(); ++k) {
        const std::vector<Neighbour>& list = neighbours_[index(component[k])];
        if (list.size() != neighbours_[root].size()) is_clique = false;
        for (const Neighbour& next : list) {
          if (seen[index(next.task)] != 0) continue;
          seen[index(next.task)] = 1;
          component.push_back(next.task);
        }
      }
      if (is_clique && component.size() == neighbours_[root].size() + 1 &&
          component.size() <= limits_.most_tasks) {
        take(std::move(component));
      }
    }
  }

  std::vector<int> grow(int a, int b) {
    std::vector<int> clique{a, b};
    // Tasks separated from all of the clique, with the number of separations
    // that each would cover.
    std::vector<std::pair<int, int>> candidates;
    std::vector<Neighbour> common;
    std::set_intersection(
        neighbours_[index(a)].begin(), neighbours_[index(a)].end(),
        neighbours_[index(b)].begin(), neighbours_[index(b)].end(),
        std::back_inserter(common));
    steps_ += neighbours_[index(a)].size() + neighbours_[index(b)].size();
    const auto uncovered = [this](int c, int d) {
      return find_edge(c, d)->covered ? 0 : 1;
    };
    for (const Neighbour& next : common) {
      const int c = next.task;
      candidates.emplace_back(c, uncovered(a, c) + uncovered(b, c));
    }
    while (!candidates.empty() && clique.size() < limits_.most_tasks) {
      const auto best =
          std::max_element(candidates.begin(), candidates.end(),
                           [this](const auto& c, const auto& d) {
                             if (c.second != d.second)
                               return c.second < d.second;
                             return neighbours_[index(c.first)].size() <
                                    neighbours_[index(d.first)].size();
                           });
      const int task = best->first;
      clique.push_back(task);
      steps_ += candidates.size();
      std::size_t kept = 0;
      for (const auto& [c, count] : candidates) {
        const Edge* edge = find_edge(c, task);
        if (c == task || edge == nullptr) continue;
        candidates[kept++] = {c, count + (edge->covered ? 0 : 1)};
      }
      candidates.resize(kept);
    }
    return clique;
  }

  // The time that a task takes if the other one of an edge comes after it; null
  // if that never happens.
  const la::DNumber* time_between(int task, const Edge& edge) const {
    if (edge.separation >= 0) {
      const Separation& s = separations_[index(edge.separation)];
      return s.first == task ? &s.after_first : &s.after_second;
    }
    const Precedence& p = precedences_[index(edge.precedence)];
    return p.before == task ? &p.time : nullptr;
  }

  // A task that comes last of all, whatever happens, takes no known time, and
  // has no separation from the others. The one before it may be the next such.
  void remove_last(std::vector<int>& clique) {
    const auto is_last = [&](int a) {
      return std::all_of(clique.begin(), clique.end(), [&](int b) {
        return a == b || time_between(tasks_[index(a)].first,
                                      *find_edge(a, b)) == nullptr;
      });
    };
    for (;;) {
      const auto last = std::find_if(clique.begin(), clique.end(), is_last);
      if (last == clique.end()) return;
      clique.erase(last);
    }
  }

  void take(std::vector<int> clique) {
    remove_last(clique);
    const std::size_t n = clique.size();
    std::sort(clique.begin(), clique.end());
    Machine machine;
    machine.separations.assign(n * n, Machine::kAlwaysAfter);
    machine.durations.resize(n);
    steps_ += n * n;
    for (std::size_t a = 0; a < n; ++a) {
      machine.tasks.push_back(tasks_[index(clique[a])].first);
      machine.presences.push_back(tasks_[index(clique[a])].second);
      for (std::size_t b = 0; b < n; ++b) {
        if (a == b) continue;
        Edge& edge = *find_edge(clique[a], clique[b]);
        edge.covered = true;
        const la::DNumber* time = time_between(machine.tasks[a], edge);
        machine.separations[a * n + b] = edge.separation >= 0 ? edge.separation
                                         : time != nullptr
                                             ? Machine::kAlwaysBefore
                                             : Machine::kAlwaysAfter;
        if (time == nullptr) continue;
        la::DNumber& duration = machine.durations[a];
        const bool is_first = !(la::DNumber() < duration);
        if (is_first || *time < duration) duration = *time;
      }
    }
    const bool is_optional =
        std::any_of(machine.presences.begin(), machine.presences.end(),
                    [](Literal presence) { return presence.is_defined(); });
    const std::size_t fewest =
        is_optional
            ? std::max(limits_.fewest_tasks, limits_.fewest_optional_tasks)
            : limits_.fewest_tasks;
    if (n >= fewest && n <= limits_.most_tasks) {
      machines_.push_back(std::move(machine));
    }
  }

  const std::vector<Separation>& separations_;
  const std::vector<Precedence>& precedences_;
  const MachineLimits limits_;
  /// Nodes and presences, by position, ascending.
  std::vector<std::pair<int, Literal>> tasks_;
  std::vector<std::vector<Neighbour>> neighbours_;  // ascending
  std::vector<Edge> edges_;
  std::size_t steps_ = 0;
  std::vector<Machine> machines_;
};

}  // namespace

void match_presences(std::vector<Separation>& separations) {
  // How often a literal was seen with a node.
  std::unordered_map<std::uint64_t, int> counts;
  const auto count = [&counts](Literal presence, int node) -> int& {
    return counts[(static_cast<std::uint64_t>(presence.index()) << 32U) |
                  static_cast<std::uint64_t>(node)];
  };
  for (const Separation& s : separations) {
    for (const Literal presence : {s.first_presence, s.second_presence}) {
      if (!presence.is_defined()) continue;
      ++count(presence, s.first);
      ++count(presence, s.second);
    }
  }
  for (Separation& s : separations) {
    int as_they_are = 0;
    int exchanged = 0;
    if (s.first_presence.is_defined()) {
      as_they_are += count(s.first_presence, s.first);
      exchanged += count(s.first_presence, s.second);
    }
    if (s.second_presence.is_defined()) {
      as_they_are += count(s.second_presence, s.second);
      exchanged += count(s.second_presence, s.first);
    }
    if (exchanged > as_they_are) std::swap(s.first_presence, s.second_presence);
  }
}

std::vector<Machine> find_machines(const std::vector<Separation>& separations,
                                   const std::vector<Precedence>& precedences,
                                   const MachineLimits& limits) {
  return Finder(separations, precedences, limits).find();
}

}  // namespace vorn::solver
