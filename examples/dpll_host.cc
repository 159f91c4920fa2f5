// SPDX-License-Identifier: MIT
#include "examples/dpll_host.h"

#include <cstddef>
#include <iostream>
#include <vector>

// A question for the host of dpll_host.h: can tasks of these durations run on
// one machine, one at a time, by a given end?

namespace {

bool schedule(const std::vector<int>& durations, int end) {
  static const char* const kNames[] = {"a", "b", "c", "d", "e", "f"};
  DpllHost host;
  std::vector<int> starts;
  for (std::size_t i = 0; i < durations.size(); ++i) {
    starts.push_back(host.new_node(kNames[i]));
    // start >= 0 is 0 - start <= 0, node 0 being the number 0.
    host.add_clause({host.bound(starts[i], 0, 0)});
    host.add_clause({host.bound(0, starts[i], end - durations[i])});
    for (std::size_t j = 0; j < i; ++j) {
      // One of two tasks ends before the other starts:
      // start of j - start of i <= -duration of j, or the other way round.
      host.add_clause({host.bound(starts[i], starts[j], -durations[j]),
                       host.bound(starts[j], starts[i], -durations[i])});
    }
  }
  const bool found = host.solve();
  std::cout << (found ? "sat" : "unsat") << " by time " << end << ", "
            << (host.num_lemmas() > 0 ? "with" : "without") << " lemmas\n";
  for (std::size_t i = 0; found && i < starts.size(); ++i) {
    std::cout << "  task " << kNames[i] << " takes " << durations[i]
              << ", starts at " << host.value(starts[i]) << '\n';
  }
  return found;
}

}  // namespace

int main() {
  const std::vector<int> durations = {2, 3, 4, 5, 6};
  const bool by_20 = schedule(durations, 20);
  const bool by_19 = schedule(durations, 19);
  return by_20 && !by_19 ? 0 : 1;
}
