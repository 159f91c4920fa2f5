// SPDX-License-Identifier: MIT
#include "solver/scheduling/machine_finder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "solver/scheduling/separation.h"
#include "solver/search/literal.h"
#include "tests/scheduling/task_orders.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {
namespace {

using testing::Random;
using testing::scaled;

/// A node with a presence: the same node with another is another task.
using Task = std::pair<int, Literal>;

la::DNumber time(int units) {
  // Some differ in eps alone.
  return la::DNumber(1 + units / 2, units % 2);
}

bool is_same(const la::DNumber& a, const la::DNumber& b) {
  return !(a < b) && !(b < a);
}

Task first_task(const Separation& s) {
  return {s.first, s.first_presence};
}
Task second_task(const Separation& s) {
  return {s.second, s.second_presence};
}

/// A separation with literals of its own.
Separation separation(int number, Task a, Task b, int after_a, int after_b) {
  return {a.first,
          b.first,
          time(after_a),
          time(after_b),
          Literal(1000 + 2 * number, false),
          Literal(1001 + 2 * number, false),
          {},
          a.second,
          b.second};
}

/// What may be together in a machine, found by looking at each pair.
struct Problem {
  std::vector<Separation> separations;
  std::vector<Precedence> precedences;

  /// The position of the first separation of two tasks.
  std::optional<int> separation_of(const Task& a, const Task& b) const {
    for (std::size_t k = 0; k < separations.size(); ++k) {
      const Task first = first_task(separations[k]);
      const Task second = second_task(separations[k]);
      if ((first == a && second == b) || (first == b && second == a)) {
        return static_cast<int>(k);
      }
    }
    return std::nullopt;
  }
  /// The one that says that a comes before b; null if none.
  const Precedence* precedence_of(const Task& a, const Task& b) const {
    for (const Precedence& p : precedences) {
      if (p.before == a.first && p.after == b.first) return &p;
    }
    return nullptr;
  }
  bool can_share(const Task& a, const Task& b) const {
    return separation_of(a, b) || precedence_of(a, b) != nullptr ||
           precedence_of(b, a) != nullptr;
  }
  std::set<Task> tasks() const {
    std::set<Task> result;
    for (const Separation& s : separations) {
      result.insert(first_task(s));
      result.insert(second_task(s));
    }
    return result;
  }
};

Task task_of(const Machine& machine, std::size_t a) {
  return {machine.tasks[a], machine.presences[a]};
}

// Fails unless the machine is one that the problem allows, and says of it what
// the problem does.
void check_machine(const Problem& problem, const Machine& machine) {
  const std::size_t n = machine.tasks.size();
  ASSERT_EQ(machine.presences.size(), n);
  ASSERT_EQ(machine.durations.size(), n);
  ASSERT_EQ(machine.separations.size(), n * n);
  bool has_separation = false;
  for (std::size_t a = 0; a < n; ++a) {
    if (a > 0) {
      ASSERT_LT(machine.tasks[a - 1], machine.tasks[a]);
    }
    std::optional<la::DNumber> least;
    for (std::size_t b = 0; b < n; ++b) {
      const int found = machine.separations[a * n + b];
      if (a == b) {
        ASSERT_EQ(found, Machine::kAlwaysAfter);
        continue;
      }
      const Task task = task_of(machine, a);
      const Task other = task_of(machine, b);
      const std::optional<int> position = problem.separation_of(task, other);
      const Precedence* precedence = problem.precedence_of(task, other);
      const la::DNumber* gap = nullptr;
      if (position) {
        has_separation = true;
        ASSERT_EQ(found, *position);
        const Separation& s =
            problem.separations[static_cast<std::size_t>(*position)];
        gap = first_task(s) == task ? &s.after_first : &s.after_second;
      } else if (precedence != nullptr) {
        ASSERT_EQ(found, Machine::kAlwaysBefore);
        gap = &precedence->time;
      } else {
        ASSERT_NE(problem.precedence_of(other, task), nullptr)
            << "two tasks that may overlap";
        ASSERT_EQ(found, Machine::kAlwaysAfter);
      }
      if (gap != nullptr && (!least || *gap < *least)) least = *gap;
    }
    ASSERT_TRUE(least) << "a task of which nothing is known takes time";
    ASSERT_TRUE(is_same(machine.durations[a], *least));
  }
  ASSERT_TRUE(has_separation) << "nothing is left to decide";
}

bool contains(const Machine& machine, const Task& task) {
  for (std::size_t a = 0; a < machine.tasks.size(); ++a) {
    if (task_of(machine, a) == task) return true;
  }
  return false;
}

// Random tasks, of which some may be there or not, and separations of pairs.
Problem make_problem(Random& random, bool with_presences,
                     bool with_precedences) {
  Problem problem;
  const int num_nodes = random.between(2, 9);
  std::vector<Task> tasks;
  for (int node = 0; node < num_nodes; ++node) {
    if (!with_presences || random.pick(2) == 0) {
      tasks.emplace_back(3 * node + 1, Literal());
    } else {
      for (int k = random.between(1, 2); k > 0; --k) {
        tasks.emplace_back(3 * node + 1, Literal(2 * node + k, false));
      }
    }
  }
  const int often = random.between(20, 100);
  int number = 0;
  for (std::size_t a = 0; a < tasks.size(); ++a) {
    for (std::size_t b = 0; b < a; ++b) {
      if (tasks[a].first == tasks[b].first) continue;
      if (!random.percent(often)) continue;
      // Now and then once more, with other times.
      for (int k = random.pick(9) == 0 ? 2 : 1; k > 0; --k) {
        Task first = tasks[a];
        Task second = tasks[b];
        if (random.pick(2) == 0) std::swap(first, second);
        problem.separations.push_back(separation(
            number++, first, second, random.pick(12), random.pick(12)));
      }
    }
  }
  random.shuffle(problem.separations);
  if (with_precedences) {
    for (int a = 0; a < num_nodes; ++a) {
      for (int b = a + 1; b < num_nodes; ++b) {
        if (random.pick(6) != 0) continue;
        problem.precedences.push_back(
            {3 * a + 1, 3 * b + 1, time(random.pick(12))});
      }
    }
    random.shuffle(problem.precedences);
  }
  return problem;
}

// Fails unless each separation is in a machine, if a third task could be there
// with its two.
void check_covered(const Problem& problem,
                   const std::vector<Machine>& machines) {
  const std::set<Task> tasks = problem.tasks();
  for (const Separation& s : problem.separations) {
    const Task a = first_task(s);
    const Task b = second_task(s);
    const bool has_third =
        std::any_of(tasks.begin(), tasks.end(), [&](const Task& c) {
          return c != a && c != b && problem.can_share(a, c) &&
                 problem.can_share(b, c);
        });
    const bool is_covered = std::any_of(
        machines.begin(), machines.end(),
        [&](const Machine& m) { return contains(m, a) && contains(m, b); });
    ASSERT_EQ(is_covered, has_third) << a.first << " and " << b.first;
  }
}

// Tasks that may overlap must never share a machine: all rules would be wrong.
// And no separation may be lost, or its tasks are left to the search.
TEST(MachineFinderTest, FindMachinesCoversSeparationsWithCliques) {
  Random random(1);
  std::size_t num_machines = 0;
  std::size_t num_covered = 0;
  const int cases = scaled(6000);
  for (int k = 0; k < cases; ++k) {
    SCOPED_TRACE("case " + std::to_string(k));
    const Problem problem = make_problem(random, false, false);
    const std::vector<Machine> machines = find_machines(problem.separations);
    for (const Machine& machine : machines) {
      ASSERT_GE(machine.tasks.size(), 3U);
      ASSERT_NO_FATAL_FAILURE(check_machine(problem, machine));
    }
    ASSERT_NO_FATAL_FAILURE(check_covered(problem, machines));
    num_machines += machines.size();
    num_covered += machines.size() > 1 ? 1U : 0U;
  }
  EXPECT_GT(num_machines, static_cast<std::size_t>(cases) / 2);
  EXPECT_GT(num_covered, static_cast<std::size_t>(cases) / 10);
}

// The same for tasks that need not be there: each presence makes a task of its
// own, and none may be taken for that of another.
TEST(MachineFinderTest, FindMachinesTakesEachPresenceForATaskOfItsOwn) {
  Random random(2);
  std::size_t num_machines = 0;
  const int cases = scaled(4000);
  for (int k = 0; k < cases; ++k) {
    SCOPED_TRACE("case " + std::to_string(k));
    const Problem problem = make_problem(random, true, false);
    const std::vector<Machine> machines = find_machines(problem.separations);
    for (const Machine& machine : machines) {
      ASSERT_GE(machine.tasks.size(), 3U);
      ASSERT_NO_FATAL_FAILURE(check_machine(problem, machine));
    }
    ASSERT_NO_FATAL_FAILURE(check_covered(problem, machines));
    num_machines += machines.size();
  }
  EXPECT_GT(num_machines, static_cast<std::size_t>(cases) / 2);
}

// Tasks that always come one after the other share a machine, in that order:
// the wrong way round it would make orders that are impossible. A task of which
// nothing says how long it takes is in none.
TEST(MachineFinderTest, FindMachinesKnowsWhatAlwaysComesFirst) {
  Random random(3);
  std::size_t num_always = 0;
  const int cases = scaled(6000);
  for (int k = 0; k < cases; ++k) {
    SCOPED_TRACE("case " + std::to_string(k));
    const Problem problem = make_problem(random, k % 2 == 0, true);
    const std::vector<Machine> machines =
        find_machines(problem.separations, problem.precedences);
    for (const Machine& machine : machines) {
      ASSERT_GE(machine.tasks.size(), 3U);
      ASSERT_NO_FATAL_FAILURE(check_machine(problem, machine));
      num_always += static_cast<std::size_t>(
          std::count(machine.separations.begin(), machine.separations.end(),
                     Machine::kAlwaysBefore));
    }
  }
  EXPECT_GT(num_always, static_cast<std::size_t>(cases) / 4);
}

// Three tasks that exclude each other share a machine, whatever is known to
// come after all of them: without it their rules would not run at all.
TEST(MachineFinderTest, ATaskThatAlwaysComesLastKeepsNoOthersFromAMachine) {
  Problem problem;
  const std::vector<Task> tasks = {{1, {}}, {2, {}}, {3, {}}};
  for (std::size_t a = 0; a < tasks.size(); ++a) {
    for (std::size_t b = 0; b < a; ++b) {
      problem.separations.push_back(
          separation(static_cast<int>(problem.separations.size()), tasks[a],
                     tasks[b], 4, 4));
    }
    problem.precedences.push_back({tasks[a].first, 8, time(4)});
  }
  // Makes node 8 a task.
  problem.separations.push_back(separation(9, {8, {}}, {9, {}}, 4, 4));
  const std::vector<Machine> machines =
      find_machines(problem.separations, problem.precedences);
  bool is_found = false;
  for (const Machine& machine : machines) {
    ASSERT_NO_FATAL_FAILURE(check_machine(problem, machine));
    is_found = is_found ||
               std::all_of(tasks.begin(), tasks.end(), [&](const Task& task) {
                 return contains(machine, task);
               });
  }
  EXPECT_TRUE(is_found);
}

// What excludes each other all around is one machine: smaller ones know less.
TEST(MachineFinderTest, FindMachinesTakesAWholeComponentForOneMachine) {
  Random random(4);
  for (int n = 3; n <= 12; ++n) {
    Problem problem;
    for (int a = 0; a < 2 * n; ++a) {
      for (int b = a + 2; b < 2 * n; b += 2) {
        problem.separations.push_back(separation(
            a * 100 + b, {a, {}}, {b, {}}, random.pick(9), random.pick(9)));
      }
    }
    random.shuffle(problem.separations);
    // No step is left for others.
    MachineLimits limits;
    limits.steps = 0;
    const std::vector<Machine> machines =
        find_machines(problem.separations, {}, limits);
    ASSERT_EQ(machines.size(), 2U);
    for (const Machine& machine : machines) {
      EXPECT_EQ(machine.tasks.size(), static_cast<std::size_t>(n));
      ASSERT_NO_FATAL_FAILURE(check_machine(problem, machine));
    }
  }
}

// Limits keep large problems from taking all memory and time; what is found
// within them must be as good as without.
TEST(MachineFinderTest, FindMachinesKeepsToItsLimits) {
  Random random(5);
  bool has_less = false;
  std::size_t num_pairs = 0;
  std::size_t num_full = 0;
  for (int k = 0; k < scaled(3000); ++k) {
    SCOPED_TRACE("case " + std::to_string(k));
    const Problem problem = make_problem(random, false, false);
    const auto look = [&problem](const MachineLimits& limits) {
      std::vector<Machine> machines =
          find_machines(problem.separations, {}, limits);
      for (const Machine& machine : machines) {
        EXPECT_GE(machine.tasks.size(), limits.fewest_tasks);
        EXPECT_LE(machine.tasks.size(), limits.most_tasks);
        check_machine(problem, machine);
      }
      return machines;
    };
    MachineLimits limits;
    limits.fewest_tasks = 2;
    const std::vector<Machine> all = look(limits);
    for (const Separation& s : problem.separations) {
      ASSERT_TRUE(std::any_of(all.begin(), all.end(), [&](const Machine& m) {
        return contains(m, first_task(s)) && contains(m, second_task(s));
      }));
    }
    num_pairs += static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(),
                      [](const Machine& m) { return m.tasks.size() == 2; }));

    limits.steps = static_cast<std::size_t>(random.between(0, 60));
    const std::vector<Machine> first = look(limits);
    ASSERT_LE(first.size(), all.size());
    has_less = has_less || first.size() < all.size();
    for (std::size_t m = 0; m < first.size(); ++m) {
      ASSERT_EQ(first[m].tasks, all[m].tasks);
    }

    limits = {};
    limits.fewest_tasks = 4;
    look(limits);
    limits = {};
    limits.most_tasks = 4;
    for (const Machine& machine : look(limits)) {
      num_full += machine.tasks.size() == 4 ? 1U : 0U;
    }
    if (::testing::Test::HasFatalFailure()) return;
  }
  EXPECT_TRUE(has_less);
  EXPECT_GT(num_pairs, 0U);
  EXPECT_GT(num_full, 0U);
}

// Two tasks are what bounds show; no machine is made for nothing.
TEST(MachineFinderTest, FindMachinesOfNothingAreNone) {
  EXPECT_TRUE(find_machines({}).empty());
  const Precedence before{1, 2, time(4)};
  const Precedence then{2, 3, time(4)};
  const Precedence both{1, 3, time(8)};
  EXPECT_TRUE(find_machines({}, {before, then, both}).empty());
  EXPECT_TRUE(
      find_machines({separation(0, {1, {}}, {2, {}}, 3, 3)}, {before}).empty());
}

// A clause does not say which presence is that of which task: matched wrongly,
// tasks would seem to be there when others are.
TEST(MachineFinderTest, MatchPresencesGivesEachTaskItsOwn) {
  Random random(6);
  int num_exchanged = 0;
  for (int k = 0; k < scaled(2000); ++k) {
    SCOPED_TRACE("case " + std::to_string(k));
    const int num_nodes = random.between(3, 6);
    const int num_tools = random.between(1, 3);
    std::vector<Separation> expected;
    std::vector<int> optional;
    for (int node = 0; node < num_nodes; ++node) {
      optional.push_back(random.pick(4) == 0 ? 0 : 1);
    }
    for (int tool = 0; tool < num_tools; ++tool) {
      for (int a = 0; a < num_nodes; ++a) {
        for (int b = a + 1; b < num_nodes; ++b) {
          const auto task = [&](int node) {
            const bool is_optional =
                optional[static_cast<std::size_t>(node)] != 0;
            return Task(node, is_optional
                                  ? Literal(num_tools * node + tool, false)
                                  : Literal());
          };
          expected.push_back(separation(static_cast<int>(expected.size()),
                                        task(a), task(b), random.pick(9),
                                        random.pick(9)));
        }
      }
    }
    random.shuffle(expected);
    std::vector<Separation> given = expected;
    for (Separation& s : given) {
      if (random.pick(2) == 0) continue;
      std::swap(s.first_presence, s.second_presence);
      ++num_exchanged;
    }
    match_presences(given);
    ASSERT_EQ(given.size(), expected.size());
    for (std::size_t s = 0; s < given.size(); ++s) {
      // Nothing else is exchanged.
      ASSERT_EQ(given[s].first, expected[s].first);
      ASSERT_EQ(given[s].second, expected[s].second);
      ASSERT_EQ(given[s].first_first, expected[s].first_first);
      ASSERT_EQ(given[s].second_first, expected[s].second_first);
      ASSERT_TRUE(is_same(given[s].after_first, expected[s].after_first));
      ASSERT_TRUE(is_same(given[s].after_second, expected[s].after_second));
      ASSERT_EQ(given[s].first_presence, expected[s].first_presence);
      ASSERT_EQ(given[s].second_presence, expected[s].second_presence);
    }
  }
  EXPECT_GT(num_exchanged, 0);
}

// Where nothing says whose a presence is, it stays where it was read: the same
// clauses are to give the same machines.
TEST(MachineFinderTest, MatchPresencesLeavesWhatItCannotTell) {
  const Task a{1, Literal(5, false)};
  const Task b{2, Literal(6, true)};
  const Task always{3, Literal()};
  std::vector<Separation> given = {separation(0, a, b, 2, 3)};
  match_presences(given);
  EXPECT_EQ(first_task(given[0]), a);
  EXPECT_EQ(second_task(given[0]), b);
  given = {separation(0, a, always, 2, 3)};
  match_presences(given);
  EXPECT_EQ(first_task(given[0]), a);
  EXPECT_EQ(second_task(given[0]), always);
}

}  // namespace
}  // namespace vorn::solver
