// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "tests/engine/statistic.h"
#include "tests/scheduling/shop.h"
#include "tests/scheduling/task_orders.h"

// Reasoning about sets of tasks inside the engine: it may change how long an
// answer takes, and nothing else.

namespace vorn::solver {
namespace {

using testing::kAllCases;
using testing::kWhole;
using testing::Random;
using testing::scaled_few;
using testing::Shop;
using testing::ShopBound;
using testing::ShopClause;
using testing::ShopComparison;
using testing::Wide;

/// What times are made of.
enum class Numbers {
  kInts,
  /// Reals of which some bounds are strict.
  kReals,
  /// Integers that no 64 bits hold.
  kLargeInts,
  /// The same as reals, with fractions.
  kLargeReals,
};
constexpr Numbers kAllNumbers[] = {Numbers::kInts, Numbers::kReals,
                                   Numbers::kLargeInts, Numbers::kLargeReals};

/// Makes the parts of random shops.
class ShopMaker {
 public:
  ShopMaker(unsigned seed, Numbers numbers) : random(seed), numbers_(numbers) {}

  Shop empty(int num_tasks, int num_bools = 0) const {
    Shop shop;
    shop.num_tasks = num_tasks;
    shop.num_bools = num_bools;
    shop.sort = is_int() ? Sort::kInt : Sort::kReal;
    return shop;
  }
  bool is_int() const {
    return numbers_ == Numbers::kInts || numbers_ == Numbers::kLargeInts;
  }
  Wide unit() const {
    const bool is_large =
        numbers_ == Numbers::kLargeInts || numbers_ == Numbers::kLargeReals;
    return is_large ? kWhole << 70U : kWhole;
  }
  /// So many units; of reals a little more.
  Wide time(int units) {
    return units * unit() + (is_int() ? 0 : random.pick(5));
  }
  bool strict() { return !is_int() && random.pick(4) == 0; }

  /// A task starts no earlier than that.
  ShopClause from(int task, Wide time) {
    return {{}, {}, {{-1, task, -time, strict()}}};
  }
  /// A task starts no later than that.
  ShopClause until(int task, Wide time) {
    return {{}, {}, {{task, -1, time, strict()}}};
  }
  /// So much time from a's start to b's.
  ShopClause before(int a, int b, Wide time) {
    return {{}, {}, {{a, b, -time, strict()}}};
  }
  /// The one or the other, while all of the Booleans are true.
  ShopClause either(int a, int b, Wide after_a, Wide after_b,
                    std::vector<int> bools = {}) {
    return {std::move(bools),
            {},
            {{a, b, -after_a, strict()}, {b, a, -after_b, strict()}}};
  }

  Random random;

 private:
  Numbers numbers_;
};

/// Counts what machines have found, over several engines.
class FoundByEngine {
 public:
  void add(const ShopComparison& comparison) {
    for (auto& [name, count] : counts_) {
      count += comparison.most(name.c_str());
    }
  }
  std::uint64_t operator[](const char* name) const { return counts_.at(name); }

 private:
  std::map<std::string, std::uint64_t> counts_ = {
      {"machines", 0},
      {"machine overloads", 0},
      {"machine crossings", 0},
      {"machine orders", 0},
      {"machine edges", 0},
      {"machine not-first", 0},
      {"machine preceded", 0},
      {"machine explanations", 0},
      {"order searches that found", 0}};
};

// A shop with a length that it can and cannot be done in: the length is that of
// all tasks together, less as much as possible.
void find_length(ShopComparison& comparison, ShopMaker& maker,
                 const std::vector<Wide>& durations, int most,
                 FoundByEngine& found) {
  const auto end_by = [&](Wide time) {
    std::vector<ShopClause> clauses;
    for (std::size_t t = 0; t < durations.size(); ++t) {
      clauses.push_back(
          {{}, {}, {{static_cast<int>(t), -1, time - durations[t], false}}});
    }
    return clauses;
  };
  int low = 0;
  int high = most;
  while (low < high) {
    const int middle = (low + high) / 2;
    Shop shop = comparison.shop();
    for (const ShopClause& clause : end_by(middle * maker.unit())) {
      shop.clauses.push_back(clause);
    }
    if (has_schedule(shop)) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  comparison.push();
  comparison.add(end_by(high * maker.unit()));
  EXPECT_TRUE(comparison.check());
  comparison.pop();
  EXPECT_FALSE(comparison.check(end_by((high - 1) * maker.unit())));
  comparison.push();
  comparison.add(end_by((high - 1) * maker.unit()));
  EXPECT_FALSE(comparison.check());
  comparison.pop();
  EXPECT_TRUE(comparison.check(end_by(high * maker.unit())));
  found.add(comparison);
}

// Answers that a shop is shortest are what the reasoning is for: a wrong
// explanation would make a shorter one impossible, or cut off all.
TEST(MachinesEngineTest, JobShopsGetTheirShortestLength) {
  FoundByEngine found;
  for (const Numbers numbers : kAllNumbers) {
    for (int seed = 0; seed < scaled_few(40); ++seed) {
      SCOPED_TRACE("numbers " + std::to_string(static_cast<int>(numbers)) +
                   ", seed " + std::to_string(seed));
      ShopMaker maker(static_cast<unsigned>(seed), numbers);
      ShopComparison comparison(maker.empty(9));
      std::vector<Wide> durations;
      std::vector<std::vector<int>> users(3);
      for (int job = 0; job < 3; ++job) {
        std::vector<int> tools = {0, 1, 2};
        maker.random.shuffle(tools);
        for (int step = 0; step < 3; ++step) {
          const int task = 3 * job + step;
          durations.push_back(maker.time(maker.random.between(1, 7)));
          users[static_cast<std::size_t>(tools[static_cast<std::size_t>(step)])]
              .push_back(task);
          comparison.add(
              step == 0 ? maker.from(task, maker.time(maker.random.pick(4)))
                        : maker.before(
                              task - 1, task,
                              durations[static_cast<std::size_t>(task) - 1]));
        }
      }
      for (const std::vector<int>& tasks : users) {
        for (const int a : tasks) {
          for (const int b : tasks) {
            if (a >= b) continue;
            comparison.add(
                maker.either(a, b, durations[static_cast<std::size_t>(a)],
                             durations[static_cast<std::size_t>(b)]));
          }
        }
      }
      find_length(comparison, maker, durations, 70, found);
      if (::testing::Test::HasFailure()) return;
    }
  }
  EXPECT_GT(found["machines"], 0U);
  EXPECT_GT(found["machine explanations"], 0U);
}

// Each task is in two machines, which know different things about it.
TEST(MachinesEngineTest, OpenShopsGetTheirShortestLength) {
  FoundByEngine found;
  for (const Numbers numbers : kAllNumbers) {
    for (int seed = 0; seed < scaled_few(15); ++seed) {
      SCOPED_TRACE("numbers " + std::to_string(static_cast<int>(numbers)) +
                   ", seed " + std::to_string(seed));
      ShopMaker maker(static_cast<unsigned>(seed), numbers);
      ShopComparison comparison(maker.empty(9));
      std::vector<Wide> durations;
      for (int task = 0; task < 9; ++task) {
        durations.push_back(maker.time(maker.random.between(1, 6)));
        comparison.add(maker.from(task, maker.time(maker.random.pick(5))));
      }
      for (int a = 0; a < 9; ++a) {
        for (int b = a + 1; b < 9; ++b) {
          if (a / 3 != b / 3 && a % 3 != b % 3) continue;
          comparison.add(maker.either(a, b,
                                      durations[static_cast<std::size_t>(a)],
                                      durations[static_cast<std::size_t>(b)]));
        }
      }
      find_length(comparison, maker, durations, 60, found);
      if (::testing::Test::HasFailure()) return;
    }
  }
  EXPECT_GT(found["machines"], 0U);
  EXPECT_GT(found["machine explanations"], 0U);
}

// A separation said in one of several ways that mean the same, with Booleans of
// its own where it takes some.
const Term* separation_term(ShopComparison& comparison,
                            const ShopClause& clause, int way) {
  TermStore& store = comparison.store();
  const auto part = [&](std::size_t k) {
    return comparison.term_of({{}, {}, {clause.bounds[k]}});
  };
  const auto name = [&](std::size_t k) {
    return store.make_symbol("order" + std::to_string(clause.bounds[k].x) +
                                 "_" + std::to_string(clause.bounds[k].y),
                             Sort::kBool);
  };
  switch (way) {
    case 0:
      return store.make_ite(name(0), part(0), part(1));
    case 1:
      return store.make_and(
          {store.make_implies(name(0), part(0)),
           store.make_implies(store.make_not(name(0)), part(1))});
    case 2:
      return store.make_and({store.make_or(name(0), name(1)),
                             store.make_implies(name(0), part(0)),
                             store.make_implies(name(1), part(1))});
    default:
      return comparison.term_of(clause);
  }
}

// Sets of tasks with gaps that differ from pair to pair, such as frequencies
// that may not come too close, in windows: all rules have something to find.
TEST(MachinesEngineTest, TasksWithDifferentGapsAgreeWithAllOrders) {
  FoundByEngine found;
  int num_sat = 0;
  const int cases = scaled_few(700);
  for (int seed = 0; seed < cases; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ShopMaker maker(static_cast<unsigned>(seed), kAllNumbers[seed % 4]);
    Random& random = maker.random;
    const int n = random.between(4, 7);
    ShopComparison comparison(maker.empty(n));
    const int horizon = n * random.between(2, 4);
    const int room = random.between(2, horizon);
    for (int task = 0; task < n; ++task) {
      const int start = random.pick(std::max(1, horizon - room));
      comparison.add(maker.from(task, maker.time(start)));
      comparison.add(
          maker.until(task, maker.time(start + random.between(1, room))));
    }
    const int often = random.pick(3) == 0 ? 70 : 100;
    for (int a = 0; a < n; ++a) {
      for (int b = a + 1; b < n; ++b) {
        if (!random.percent(often)) continue;
        const ShopClause clause =
            maker.either(a, b, maker.time(random.between(1, 5)),
                         maker.time(random.between(1, 5)));
        comparison.add(clause,
                       separation_term(comparison, clause, random.pick(6)));
      }
    }
    if (random.pick(3) == 0) comparison.add(maker.before(0, 1, maker.time(1)));
    num_sat += comparison.check() ? 1 : 0;
    found.add(comparison);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(num_sat, cases / 10);
  EXPECT_LT(num_sat, cases * 9 / 10);
  if (!kAllCases) return;
  for (const char* name : {"machine orders", "machine edges",
                           "machine not-first", "machine preceded"}) {
    EXPECT_GT(found[name], 0U) << name;
  }
}

// Windows that the search chooses: what rules find rests on decisions, and
// times that they have raised on the times before. An explanation that leaves
// out one of these makes a learnt clause that cuts off schedules.
TEST(MachinesEngineTest, ChosenWindowsAgreeWithAllWaysToChoose) {
  FoundByEngine found;
  int num_sat = 0;
  const int cases = scaled_few(300);
  for (int seed = 0; seed < cases; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ShopMaker maker(static_cast<unsigned>(seed), kAllNumbers[seed % 4]);
    Random& random = maker.random;
    const int n = random.between(4, 6);
    constexpr int kBools = 4;
    ShopComparison comparison(maker.empty(n, kBools));
    std::vector<Wide> durations;
    int work = 0;
    for (int task = 0; task < n; ++task) {
      const int duration = random.between(1, 4);
      work += duration;
      durations.push_back(maker.time(duration));
    }
    const int horizon = work + random.pick(4);
    for (int task = 0; task < n; ++task) {
      const auto t = static_cast<std::size_t>(task);
      comparison.add(maker.from(task, 0));
      comparison.add(maker.until(task, horizon * maker.unit() - durations[t]));
      for (int k = random.between(1, 3); k > 0; --k) {
        const int time = random.pick(horizon);
        ShopClause clause =
            random.pick(2) == 0
                ? maker.from(task, maker.time(time))
                : maker.until(task, maker.time(time) + maker.unit());
        (random.pick(2) == 0 ? clause.untrue : clause.true_ones)
            .push_back(random.pick(kBools));
        if (random.pick(3) == 0) {
          clause.bounds.push_back(
              maker.from(random.pick(n), maker.time(random.pick(horizon)))
                  .bounds[0]);
        }
        comparison.add(clause);
      }
      for (int other = 0; other < task; ++other) {
        comparison.add(
            maker.either(task, other, durations[t],
                         durations[static_cast<std::size_t>(other)]));
      }
    }
    num_sat += comparison.check() ? 1 : 0;
    found.add(comparison);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(num_sat, cases / 10);
  EXPECT_LT(num_sat, cases * 9 / 10);
  if (!kAllCases) return;
  for (const char* name :
       {"machine overloads", "machine crossings", "machine orders",
        "machine edges", "machine not-first", "machine preceded"}) {
    EXPECT_GT(found[name], 0U) << name;
  }
}

/// Tasks with one Boolean for each tool that can do them: true if the task is
/// done by it. Boolean 2 * task + tool, of two tools.
std::vector<ShopClause> flexible_shop(ShopMaker& maker, int num_tasks) {
  Random& random = maker.random;
  std::vector<ShopClause> clauses;
  std::vector<Wide> durations;
  const auto on = [](int task, int tool) { return 2 * task + tool; };
  const int horizon = num_tasks * random.between(2, 3);
  for (int task = 0; task < num_tasks; ++task) {
    // Tools need not take the same time.
    for (int tool = 0; tool < 2; ++tool) {
      durations.push_back(maker.time(random.between(1, 5)));
    }
    clauses.push_back({{}, {on(task, 0), on(task, 1)}, {}});
    const int start = random.pick(3);
    clauses.push_back(maker.from(task, maker.time(start)));
    clauses.push_back(maker.until(
        task, maker.time(random.between(std::max(1, horizon - 7), horizon))));
    // Jobs of two steps.
    if (task % 2 == 1 && random.pick(2) == 0) {
      clauses.push_back(maker.before(task - 1, task, maker.time(2)));
    }
  }
  for (int tool = 0; tool < 2; ++tool) {
    for (int a = 0; a < num_tasks; ++a) {
      for (int b = a + 1; b < num_tasks; ++b) {
        // Steps of which one always comes first need not be said to.
        if (random.pick(10) == 0) continue;
        const auto d = [&](int task) {
          return durations[static_cast<std::size_t>(on(task, tool))];
        };
        clauses.push_back(
            maker.either(a, b, d(a), d(b), {on(a, tool), on(b, tool)}));
      }
    }
  }
  // Some must, or cannot, be done by a certain one.
  if (random.pick(2) == 0) {
    clauses.push_back({{}, {random.pick(2 * num_tasks)}, {}});
  }
  if (random.pick(2) == 0) {
    clauses.push_back(
        {{random.pick(2 * num_tasks), random.pick(2 * num_tasks)}, {}, {}});
  }
  return clauses;
}

// A task that is somewhere else takes no time here: what follows from it must
// name what put it here.
TEST(MachinesEngineTest, FlexibleShopsAgreeWithAllWaysToChoose) {
  FoundByEngine found;
  int num_sat = 0;
  const int cases = scaled_few(160);
  for (int seed = 0; seed < cases; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ShopMaker maker(static_cast<unsigned>(seed), kAllNumbers[seed % 4]);
    const int n = maker.random.between(4, 5);
    ShopComparison comparison(maker.empty(n, 2 * n));
    comparison.add(flexible_shop(maker, n));
    num_sat += comparison.check() ? 1 : 0;
    // All tasks at one tool, then at the other.
    for (const int tool : {0, 1}) {
      std::vector<ShopClause> all_there;
      for (int task = 0; task < n; ++task) {
        all_there.push_back({{}, {2 * task + tool}, {}});
      }
      comparison.check(all_there);
    }
    found.add(comparison);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(num_sat, cases / 10);
  EXPECT_LT(num_sat, cases * 9 / 10);
  EXPECT_GT(found["machines"], 0U);
  EXPECT_GT(found["order searches that found"], 0U);
  EXPECT_GT(found["machine explanations"], 0U);
}

// Integers that differ are tasks of length 1: `distinct` and x != y have to be
// read so, and mean no more.
TEST(MachinesEngineTest, DifferentIntegersAgreeWithAllOrders) {
  FoundByEngine found;
  int num_sat = 0;
  const int cases = scaled_few(300);
  for (int seed = 0; seed < cases; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ShopMaker maker(static_cast<unsigned>(seed), Numbers::kInts);
    Random& random = maker.random;
    const int n = random.between(3, 6);
    ShopComparison comparison(maker.empty(n));
    for (int task = 0; task < n; ++task) {
      const int low = random.pick(4);
      comparison.add(maker.from(task, low * kWhole));
      comparison.add(maker.until(
          task, (low + random.between(0, std::max(1, n - 2))) * kWhole));
    }
    const bool is_distinct = random.pick(2) == 0;
    std::vector<const Term*> all;
    for (int a = 0; a < n; ++a) {
      all.push_back(comparison.task(a));
      for (int b = 0; b < a; ++b) {
        if (!is_distinct && random.pick(8) == 0) continue;
        const Term* differs =
            comparison.store().make_not(comparison.store().make_equal(
                comparison.task(a), comparison.task(b)));
        comparison.add(
            maker.either(a, b, kWhole, kWhole),
            is_distinct ? comparison.store().make_bool(true) : differs);
      }
    }
    if (is_distinct) {
      // Says what the clauses say.
      comparison.add(maker.either(0, 1, kWhole, kWhole),
                     comparison.store().make_distinct(all));
    }
    num_sat += comparison.check() ? 1 : 0;
    found.add(comparison);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(num_sat, cases / 10);
  EXPECT_LT(num_sat, cases * 9 / 10);
  EXPECT_GT(found["machines"], 0U);
}

// Scopes bring tasks, separations and machines, and take them away; what was
// learnt from a machine that is gone must not stay.
TEST(MachinesEngineTest, SessionsAgreeWithAllWaysToChoose) {
  FoundByEngine found;
  int num_sat = 0;
  int num_unsat = 0;
  for (int seed = 0; seed < scaled_few(120); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ShopMaker maker(static_cast<unsigned>(seed), kAllNumbers[seed % 4]);
    Random& random = maker.random;
    constexpr int kTasks = 6;
    constexpr int kBools = 4;
    ShopComparison comparison(maker.empty(kTasks, kBools));
    const auto clause = [&] {
      const int a = random.pick(kTasks);
      const int b = (a + 1 + random.pick(kTasks - 1)) % kTasks;
      switch (random.pick(10)) {
        case 0:
          return maker.from(a, maker.time(random.pick(8)));
        case 1:
          return maker.until(a, maker.time(random.between(4, 14)));
        case 2:
          return maker.before(a, b, maker.time(random.between(-6, 2)));
        case 3:
          return ShopClause{{random.pick(kBools)}, {random.pick(kBools)}, {}};
        case 4:
          return ShopClause{{}, {random.pick(kBools)}, {}};
        case 5: {
          // One order, for a Boolean; the other one may be there for its
          // negation, or come, or go.
          const int choice = (a + b) % kBools;
          const ShopClause half =
              maker.before(a, b, maker.time(random.between(1, 4)));
          return a < b ? ShopClause{{choice}, {}, half.bounds}
                       : ShopClause{{}, {choice}, half.bounds};
        }
        default: {
          std::vector<int> bools;
          if (random.pick(3) == 0) bools.push_back(a % kBools);
          if (random.pick(3) == 0) bools.push_back(b % kBools);
          return maker.either(a, b, maker.time(random.between(1, 4)),
                              maker.time(random.between(1, 4)), bools);
        }
      }
    };
    // Enough to have machines from the start.
    for (int a = 0; a < kTasks; ++a) {
      comparison.add(maker.from(a, maker.time(random.pick(4))));
      comparison.add(maker.until(a, maker.time(random.between(6, 14))));
      for (int b = 0; b < a; ++b) {
        if (random.pick(2) == 0) {
          comparison.add(maker.either(a, b, maker.time(random.between(1, 3)),
                                      maker.time(random.between(1, 3))));
        }
      }
    }
    for (int command = 0; command < 30; ++command) {
      switch (random.pick(10)) {
        case 0:
        case 1:
          comparison.push();
          for (int k = random.between(1, 8); k > 0; --k) {
            comparison.add(clause());
          }
          break;
        case 2:
        case 3:
          if (comparison.num_levels() > 0) comparison.pop();
          break;
        case 4:
          if (comparison.num_levels() > 0) comparison.add(clause());
          break;
        case 5:
          if (random.pick(4) == 0) comparison.exchange_settings();
          break;
        default: {
          std::vector<ShopClause> assumptions;
          for (int k = random.pick(4); k > 0; --k) {
            assumptions.push_back(clause());
          }
          ++(comparison.check(assumptions) ? num_sat : num_unsat);
          break;
        }
      }
      if (::testing::Test::HasFailure()) return;
    }
    found.add(comparison);
  }
  EXPECT_GT(num_sat, scaled_few(50));
  EXPECT_GT(num_unsat, scaled_few(50));
  EXPECT_GT(found["order searches that found"], 0U);
  EXPECT_GT(found["machine orders"], 0U);
  EXPECT_GT(found["machine edges"], 0U);
}

// Tasks are separated in a scope alone: without it they may overlap, with it
// they do not fit, and again without.
TEST(MachinesEngineTest, MachinesOfAScopeEndWithIt) {
  for (const Numbers numbers : kAllNumbers) {
    ShopMaker maker(1, numbers);
    constexpr int kTasks = 5;
    ShopComparison comparison(maker.empty(kTasks, kTasks));
    for (int task = 0; task < kTasks; ++task) {
      comparison.add(ShopClause{{}, {}, {{-1, task, 0}}});
      comparison.add(ShopClause{{}, {}, {{task, -1, 3 * maker.unit()}}});
    }
    for (int round = 0; round < 3; ++round) {
      EXPECT_TRUE(comparison.check());
      comparison.push();
      for (int a = 0; a < kTasks; ++a) {
        for (int b = 0; b < a; ++b) {
          comparison.add(
              maker.either(a, b, maker.unit(), maker.unit(), {a, b}));
        }
      }
      EXPECT_TRUE(comparison.check());
      EXPECT_GT(statistic(comparison.engine(), "machines"), 0U);
      std::vector<ShopClause> there;
      for (int task = 0; task < kTasks; ++task)
        there.push_back({{}, {task}, {}});
      EXPECT_FALSE(comparison.check(there));
      there.pop_back();
      EXPECT_TRUE(comparison.check(there));
      comparison.push();
      for (int task = 0; task < kTasks; ++task) {
        comparison.add(ShopClause{{}, {task}, {}});
      }
      EXPECT_FALSE(comparison.check());
      comparison.pop();
      comparison.pop();
    }
  }
}

// Without sets of tasks this takes as many conflicts as there are orders.
TEST(MachinesEngineTest, MoreTasksThanPlacesTakeFewConflicts) {
  constexpr int kValues = 20;
  for (const int places : {kValues - 1, kValues}) {
    for (const bool is_distinct : {true, false}) {
      TermStore store;
      Engine engine(store);
      std::vector<const Term*> values;
      for (int v = 0; v < kValues; ++v) {
        const Term* value =
            store.make_symbol("v" + std::to_string(v), Sort::kInt);
        engine.assert_term(
            store.make_leq(store.make_number(QNumber(1)), value));
        engine.assert_term(
            store.make_leq(value, store.make_number(QNumber(places))));
        if (!is_distinct) {
          for (const Term* other : values) {
            engine.assert_term(store.make_not(store.make_equal(value, other)));
          }
        }
        values.push_back(value);
      }
      if (is_distinct) engine.assert_term(store.make_distinct(values));
      ASSERT_EQ(engine.check(),
                places < kValues ? Answer::kUnsat : Answer::kSat);
      EXPECT_EQ(statistic(engine, "machines"), 1U);
      EXPECT_EQ(statistic(engine, "machine tasks at most"),
                static_cast<std::uint64_t>(kValues));
      if (places < kValues) {
        EXPECT_LE(statistic(engine, "conflicts"), 5U);
        EXPECT_GT(statistic(engine, "machine overloads"), 0U);
      }
    }
  }
}

// The setting is there to compare with: it has to switch all of it off.
TEST(MachinesEngineTest, OffLooksForNoMachines) {
  ShopMaker maker(1, Numbers::kInts);
  ShopComparison comparison(maker.empty(4));
  for (int a = 0; a < 4; ++a) {
    comparison.add(maker.from(a, 0));
    comparison.add(maker.until(a, 3 * kWhole));
    for (int b = 0; b < a; ++b) {
      comparison.add(maker.either(a, b, kWhole, kWhole));
    }
  }
  EXPECT_TRUE(comparison.check());
  EXPECT_EQ(statistic(comparison.engine(), "machines"), 1U);
  comparison.exchange_settings();
  EXPECT_TRUE(comparison.check());
  EXPECT_EQ(statistic(comparison.engine(), "machines"), 0U);
  comparison.exchange_settings();
  EXPECT_TRUE(comparison.check());
  EXPECT_EQ(statistic(comparison.engine(), "machines"), 1U);
}

}  // namespace
}  // namespace vorn::solver
