// SPDX-License-Identifier: MIT
#include "examples/propagating_host.h"

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <vector>

// A question for the host of propagating_host.h, asked with propagation and
// without: can tasks with earliest starts and latest ends share one machine,
// one at a time?

namespace {

struct Task {
  const char* name;
  int earliest_start;
  int duration;
  int latest_end;
};

bool schedule(const std::vector<Task>& tasks, bool propagates) {
  PropagatingHost host(propagates);
  std::vector<int> starts;
  for (const Task& task : tasks) {
    const int start = static_cast<int>(starts.size()) + 1;
    // Node 0 is the number 0; start >= s is 0 - start <= -s.
    host.add_clause({host.bound(start, 0, -task.earliest_start)});
    host.add_clause({host.bound(0, start, task.latest_end - task.duration)});
    for (const int other : starts) {
      // One of the two ends before the other starts.
      const Task& earlier = tasks[static_cast<std::size_t>(other) - 1];
      host.add_clause({host.bound(start, other, -earlier.duration),
                       host.bound(other, start, -task.duration)});
    }
    starts.push_back(start);
  }
  const bool found = host.solve();
  std::cout << (found ? "sat" : "unsat") << (propagates ? " with" : " without")
            << " propagation: " << host.num_decisions() << " decisions, "
            << host.num_conflicts() << " conflicts, " << host.num_implied()
            << " literals that followed\n";
  for (std::size_t i = 0; propagates && found && i < tasks.size(); ++i) {
    std::cout << "  " << tasks[i].name << " takes " << tasks[i].duration
              << ", starts at " << host.value(starts[i]) << '\n';
  }
  return found;
}

}  // namespace

int main() {
  std::vector<Task> tasks = {{"saw", 0, 4, 22},   {"plane", 2, 3, 20},
                             {"drill", 5, 4, 16}, {"glue", 6, 5, 22},
                             {"paint", 0, 3, 22}, {"polish", 8, 3, 17}};
  const bool by_22 = schedule(tasks, false);
  const bool by_22_again = schedule(tasks, true);
  for (Task& task : tasks) task.latest_end = std::min(task.latest_end, 21);
  const bool by_21 = schedule(tasks, false);
  const bool by_21_again = schedule(tasks, true);
  return by_22 && by_22_again && !by_21 && !by_21_again ? 0 : 1;
}
