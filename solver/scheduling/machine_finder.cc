// SPDX-License-Identifier: MIT
#include "solver/scheduling/machine_finder.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <unordered_map>
#include <utility>

namespace vorn::solver {
namespace {

std::size_t index(int i) {
  return static_cast<std::size_t>(i);
}

class Finder {
 public:
  Finder(const std::vector<Separation>& separations,
         const MachineLimits& limits)
      : separations_(separations), limits_(limits) {
    std::vector<int> nodes;
    for (const Separation& s : separations) {
      nodes.push_back(s.first);
      nodes.push_back(s.second);
    }
    std::sort(nodes.begin(), nodes.end());
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    nodes_ = std::move(nodes);
    neighbours_.resize(nodes_.size());
    for (std::size_t k = 0; k < separations.size(); ++k) {
      const int a = position(separations[k].first);
      const int b = position(separations[k].second);
      if (!edges_.emplace(key(a, b), Edge{static_cast<int>(k), false}).second) {
        continue;
      }
      neighbours_[index(a)].push_back(b);
      neighbours_[index(b)].push_back(a);
    }
    for (std::vector<int>& list : neighbours_) {
      std::sort(list.begin(), list.end());
    }
  }

  std::vector<Machine> find() {
    take_whole_components();
    for (const Separation& s : separations_) {
      const int a = position(s.first);
      const int b = position(s.second);
      if (steps_ >= limits_.steps) break;
      if (!edges_.at(key(a, b)).covered) take(grow(a, b));
    }
    return std::move(machines_);
  }

 private:
  struct Edge {
    int separation;
    bool covered;
  };

  static std::uint64_t key(int a, int b) {
    const auto low = static_cast<std::uint64_t>(std::min(a, b));
    const auto high = static_cast<std::uint64_t>(std::max(a, b));
    return (low << 32U) | high;
  }
  int position(int node) const {
    return static_cast<int>(
        std::lower_bound(nodes_.begin(), nodes_.end(), node) - nodes_.begin());
  }

  void take_whole_components() {
    std::vector<char> seen(nodes_.size(), 0);
    for (std::size_t root = 0; root < nodes_.size(); ++root) {
      if (seen[root] != 0) continue;
      seen[root] = 1;
      std::vector<int> component{static_cast<int>(root)};
      bool is_clique = true;
      for (std::size_t k = 0; k < component.size(); ++k) {
        const std::vector<int>& list = neighbours_[index(component[k])];
        if (list.size() != neighbours_[root].size()) is_clique = false;
        for (const int next : list) {
          if (seen[index(next)] != 0) continue;
          seen[index(next)] = 1;
          component.push_back(next);
        }
      }
      if (is_clique && component.size() == neighbours_[root].size() + 1) {
        take(std::move(component));
      }
    }
  }

  std::vector<int> grow(int a, int b) {
    std::vector<int> clique{a, b};
    // Tasks separated from all of the clique, with the number of separations
    // that each would cover.
    std::vector<std::pair<int, int>> candidates;
    std::vector<int> common;
    std::set_intersection(
        neighbours_[index(a)].begin(), neighbours_[index(a)].end(),
        neighbours_[index(b)].begin(), neighbours_[index(b)].end(),
        std::back_inserter(common));
    steps_ += neighbours_[index(a)].size() + neighbours_[index(b)].size();
    const auto uncovered = [this](int c, int d) {
      return edges_.at(key(c, d)).covered ? 0 : 1;
    };
    for (const int c : common) {
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
        const auto edge = edges_.find(key(c, task));
        if (c == task || edge == edges_.end()) continue;
        candidates[kept++] = {c, count + (edge->second.covered ? 0 : 1)};
      }
      candidates.resize(kept);
    }
    return clique;
  }

  void take(std::vector<int> clique) {
    const std::size_t n = clique.size();
    std::sort(clique.begin(), clique.end());
    Machine machine;
    machine.separations.assign(n * n, -1);
    machine.durations.resize(n);
    steps_ += n * n;
    for (std::size_t a = 0; a < n; ++a) {
      machine.tasks.push_back(nodes_[index(clique[a])]);
      for (std::size_t b = 0; b < n; ++b) {
        if (a == b) continue;
        Edge& edge = edges_.at(key(clique[a], clique[b]));
        edge.covered = true;
        machine.separations[a * n + b] = edge.separation;
        const Separation& s = separations_[index(edge.separation)];
        const la::DNumber& time =
            s.first == machine.tasks[a] ? s.after_first : s.after_second;
        const bool is_first = b == (a == 0 ? 1U : 0U);
        if (is_first || time < machine.durations[a]) {
          machine.durations[a] = time;
        }
      }
    }
    if (n >= limits_.fewest_tasks && n <= limits_.most_tasks) {
      machines_.push_back(std::move(machine));
    }
  }

  const std::vector<Separation>& separations_;
  const MachineLimits limits_;
  std::vector<int> nodes_;                    // by position, ascending
  std::vector<std::vector<int>> neighbours_;  // positions, ascending
  std::unordered_map<std::uint64_t, Edge> edges_;
  std::size_t steps_ = 0;
  std::vector<Machine> machines_;
};

}  // namespace

std::vector<Machine> find_machines(const std::vector<Separation>& separations,
                                   const MachineLimits& limits) {
  return Finder(separations, limits).find();
}

}  // namespace vorn::solver
