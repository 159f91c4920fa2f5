// SPDX-License-Identifier: MIT
//
//   simple_temporal_network PLAN
//
// Checks a plan of events with minimum and maximum delays between them, one
// "EVENT EVENT MINIMUM MAXIMUM" a line, "-" for no limit, "#" for a comment.
// Prints the earliest schedule, or a set of delays that contradict each other.
// The exit status is 0, 1 for a contradiction and 2 for a file it cannot read.
//
// A node holds *minus* the time of its event. The graph lowers the potential of
// a node, from 0, no further than an edge makes it; so no event comes later
// than it must, and the schedule is the earliest one.

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "vorn/dl/graph.h"

namespace {

struct Delay {
  std::string from;
  std::string to;
  vorn::QNumber time;
  bool is_minimum;
};

std::ostream& operator<<(std::ostream& out, const Delay& d) {
  return out << d.to << " comes at " << (d.is_minimum ? "least " : "most ")
             << d.time << " after " << d.from;
}

class Network {
 public:
  // False, after a message, for a text that is no plan.
  bool read(std::istream& in) {
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
      line.erase(std::min(line.size(), line.find('#')));
      std::istringstream words(line);
      std::string from, to, least, most, more;
      if (!(words >> from)) continue;
      words >> to >> least >> most;
      const auto minimum = vorn::QNumber::from_string(least);
      const auto maximum = vorn::QNumber::from_string(most);
      if (!(minimum || least == "-") || !(maximum || most == "-") ||
          words >> more) {
        std::cerr << "line " << number
                  << ": wanted: EVENT EVENT MINIMUM MAXIMUM\n";
        return false;
      }
      if (minimum) add({from, to, *minimum, true});
      if (maximum) add({from, to, *maximum, false});
    }
    return true;
  }

  // False for a contradiction.
  bool check() { return graph_.check(true); }

  void print_schedule() {
    for (const auto& [event, n] : nodes_) {
      std::cout << event << ' ' << -graph_.get_potential(n).rational() << '\n';
    }
  }

  // The cycle that the graph found: each delay starts where another ends, and
  // going round takes more time than it may.
  void print_contradiction() {
    std::vector<int> cycle;
    graph_.get_conflict_set(&cycle);
    vorn::QNumber excess;
    std::cout << "These delays contradict each other:\n";
    for (const int k : cycle) {
      const Delay& d = delays_[static_cast<std::size_t>(k) - 1];
      std::cout << "  " << d << '\n';
      excess += d.is_minimum ? d.time : -d.time;
    }
    std::cout << "Together they ask for " << excess << " more than there is.\n";
  }

 private:
  int node(const std::string& event) {
    return nodes_.emplace(event, static_cast<int>(nodes_.size()) + 1)
        .first->second;
  }

  // With u = -time: "to - from >= m" is u(to) - u(from) <= -m, and
  // "to - from <= m" is u(from) - u(to) <= m.
  void add(const Delay& d) {
    delays_.push_back(d);
    const int k = static_cast<int>(delays_.size());
    const int from = node(d.from);
    const int to = node(d.to);
    if (d.is_minimum) {
      graph_.tell_edge(k, {from, to, {-d.time, 0}, k});
    } else {
      graph_.tell_edge(k, {to, from, {d.time, 0}, k});
    }
    graph_.push_edge(k);
  }

  vorn::Configuration::Theory::La settings_;
  vorn::dl::Graph graph_{&settings_, nullptr, nullptr};
  std::map<std::string, int> nodes_;
  std::vector<Delay> delays_;  // by constraint, less one
};

}  // namespace

int main(int argc, char** argv) {
  std::ifstream file(argc == 2 ? argv[1] : "");
  if (!file) {
    std::cerr << "usage: simple_temporal_network PLAN\n";
    return 2;
  }
  Network network;
  if (!network.read(file)) return 2;
  if (network.check()) {
    network.print_schedule();
    return 0;
  }
  network.print_contradiction();
  return 1;
}
