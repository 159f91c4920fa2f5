// SPDX-License-Identifier: MIT
#include "solver/scheduling/time_windows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "solver/scheduling/time.h"
#include "solver/search/literal.h"
#include "tests/scheduling/task_orders.h"

namespace vorn::solver {
namespace {

using testing::Random;
using testing::scaled;

std::size_t index(int i) {
  return static_cast<std::size_t>(i);
}

/// target - source <= weight, while the literal is true.
struct Constraint {
  int literal;
  int source;
  int target;
  int weight;
};

/// While the literal is true: a point is as high as `value`, or lower by as
/// much as the one of the premises that is lowest.
struct Rule {
  struct Premise {
    int point;
    int value;
  };
  int literal = 0;
  int point = 0;
  int value = 0;
  std::vector<Premise> premises;
};

using Points = std::vector<std::optional<int>>;

/// What holds at some time; levels are taken from the end of both lists.
struct Known {
  int num_nodes = 0;
  int origin = 0;
  std::vector<Constraint> constraints;
  std::vector<Rule> rules;

  // The values of all points, by going round until nothing rises: no
  // constraints contradict each other. Only what stands for one of the literals
  // counts, if there are any given.
  Points points(const std::set<int>* literals = nullptr) const {
    Points values(2 * index(num_nodes));
    values[2 * index(origin)] = 0;
    values[2 * index(origin) + 1] = 0;
    const auto counts = [literals](int literal) {
      return literals == nullptr || literals->count(literal) != 0;
    };
    bool rises = true;
    const auto raise = [&values, &rises](int point, std::optional<int> value) {
      if (!value) return;
      std::optional<int>& known = values[index(point)];
      if (known && *known >= *value) return;
      known = value;
      rises = true;
    };
    while (rises) {
      rises = false;
      for (const Constraint& c : constraints) {
        if (!counts(c.literal)) continue;
        // The source is no earlier than the target less the weight; the target
        // is no later than the source with it.
        const std::optional<int> early = values[2 * index(c.target)];
        if (early) raise(2 * c.source, *early - c.weight);
        const std::optional<int> late = values[2 * index(c.source) + 1];
        if (late) raise(2 * c.target + 1, *late - c.weight);
      }
      for (const Rule& rule : rules) {
        if (!counts(rule.literal)) continue;
        std::optional<int> value = rule.value;
        for (const Rule::Premise& premise : rule.premises) {
          const std::optional<int> now = values[index(premise.point)];
          if (!now || !value) {
            value.reset();
          } else {
            value = std::min(*value, rule.value - premise.value + *now);
          }
        }
        raise(rule.point, value);
      }
    }
    return values;
  }
};

/// How numbers of the session become times: multiples of kUnit, with up to
/// kNoise more.
template <class T>
struct Times;
template <>
struct Times<WordTime> {
  static constexpr int kUnit = 1;
  static constexpr int kNoise = 0;
  static WordTime time(int value) { return value; }
};
template <>
struct Times<ExactTime> {
  static constexpr int kUnit = 1 << 16;
  static constexpr int kNoise = 2;
  static ExactTime time(int value) { return testing::exact_time(value, kUnit); }
};

/// What has to occur for the comparison to mean anything.
struct Seen {
  int values = 0;
  int crossings = 0;
  int explanations = 0;
  int with_rules = 0;
  int from_below = 0;
};

/// Windows, told at random, beside all that they were told.
template <class T>
class Session {
 public:
  Session(Random& random, Seen& seen)
      : random_(random),
        seen_(seen),
        origin_(random.pick(3)),
        num_nodes_(origin_ + random.between(2, 6)),
        windows_(num_nodes_, origin_) {
    known_.num_nodes = num_nodes_;
    known_.origin = origin_;
    // Constraints keep to a schedule that there is, so that none contradict
    // each other: the graph sees to that. What rules say need not.
    for (int node = 0; node < num_nodes_; ++node) {
      schedule_.push_back(units(-12, 12));
    }
  }

  void run(int steps) {
    open_level();
    settled_ = values();
    for (int step = 0; step < steps; ++step) {
      const int choice = random_.pick(20);
      if (choice < 8) {
        push();
      } else if (choice < 11) {
        if (!raise()) return;
      } else if (choice < 14) {
        if (!settle()) return;
        known_at_.push_back(known_.points());
        open_level();
      } else if (choice < 16) {
        // Whatever has not had its effect is to be forgotten as well.
        backtrack(random_.pick(static_cast<int>(starts_.size())));
      } else {
        if (!settle()) return;
        explain_one();
      }
      if (::testing::Test::HasFatalFailure()) return;
    }
  }

 private:
  using Windows = TimeWindows<T>;

  struct Mark {
    std::size_t num_constraints;
    std::size_t num_rules;
  };
  Mark mark() const { return {known_.constraints.size(), known_.rules.size()}; }
  static T time(int value) { return Times<T>::time(value); }
  // A random number of units, with a little more.
  int units(int low, int high) {
    return random_.between(low, high) * Times<T>::kUnit +
           random_.pick(Times<T>::kNoise + 1);
  }
  static Literal literal(int number) { return Literal(number, false); }

  void push() {
    const int source = random_.pick(num_nodes_);
    const int target = random_.pick(num_nodes_);
    if (source == target) return;
    const int weight =
        schedule_[index(target)] - schedule_[index(source)] + units(0, 7);
    known_.constraints.push_back({num_literals_, source, target, weight});
    windows_.push(literal(num_literals_), source, target, time(weight));
    ++num_literals_;
  }

  // A rule, of up to two premises that hold. False if nothing is left.
  bool raise() {
    Rule rule;
    rule.point = random_.pick(2 * num_nodes_);
    const int node = rule.point / 2;
    if (node == origin_) return true;
    const int place = schedule_[index(node)] - schedule_[index(origin_)];
    rule.value = (rule.point % 2 == 0 ? place : -place) + units(-8, 2);
    if (random_.pick(3) != 0) {
      if (!settle()) return false;
      const Points points = known_.points();
      for (int k = 0; k < 2; ++k) {
        const int point = random_.pick(2 * num_nodes_);
        if (point == rule.point || !points[index(point)]) continue;
        rule.premises.push_back({point, *points[index(point)] - units(0, 2)});
      }
    }
    const T value = time(rule.value);
    if (windows_.has(rule.point) && !(windows_.value(rule.point) < value)) {
      return true;
    }
    rule.literal = num_literals_++;
    windows_.raise(rule.point, value, static_cast<int>(known_.rules.size()));
    known_.rules.push_back(rule);
    return true;
  }

  void backtrack(int level) {
    windows_.backtrack(level);
    known_.constraints.resize(starts_[index(level)].num_constraints);
    known_.rules.resize(starts_[index(level)].num_rules);
    starts_.resize(index(level));
    if (starts_.empty()) open_level();
    known_at_.resize(std::min(known_at_.size(), starts_.size() - 1));
    settled_ = values();
  }

  void open_level() {
    windows_.new_level();
    starts_.push_back(mark());
  }

  // Lets all have its effect, compares, and takes levels back until there is no
  // contradiction. False if none are left.
  bool settle() {
    for (;;) {
      std::set<int> visited;
      int crossing = -1;
      const bool fits = windows_.relax(
          [&visited](int point) { visited.insert(point); }, &crossing);
      if (fits) {
        compare_values(visited);
        settled_ = values();
        return !::testing::Test::HasFatalFailure();
      }
      ++seen_.crossings;
      check_crossing(crossing);
      if (::testing::Test::HasFatalFailure() || starts_.size() < 2) {
        return false;
      }
      backtrack(random_.pick(static_cast<int>(starts_.size()) - 1) + 1);
    }
  }

  std::vector<std::optional<T>> values() const {
    std::vector<std::optional<T>> result(2 * index(num_nodes_));
    for (int point = 0; point < 2 * num_nodes_; ++point) {
      if (windows_.has(point)) result[index(point)] = windows_.value(point);
    }
    return result;
  }

  void compare_values(const std::set<int>& visited) {
    const Points points = known_.points();
    for (int node = 0; node < num_nodes_; ++node) {
      for (const int point : {Windows::earliest(node), Windows::latest(node)}) {
        const std::optional<int>& expected = points[index(point)];
        ASSERT_EQ(windows_.has(point), expected.has_value()) << point;
        if (!expected) continue;
        ++seen_.values;
        ASSERT_TRUE(windows_.value(point) == time(*expected)) << point;
        // Who follows the windows has to hear of each change.
        if (visited.count(point) != 0) continue;
        const std::optional<T>& old = settled_[index(point)];
        ASSERT_TRUE(old && *old == windows_.value(point)) << point;
      }
      const std::optional<int>& early = points[index(Windows::earliest(node))];
      const std::optional<int>& late = points[index(Windows::latest(node))];
      ASSERT_FALSE(early && late && *early + *late > 0)
          << "missed that there is no time for " << node;
    }
  }

  void check_crossing(int node) {
    ASSERT_GE(node, 0);
    ASSERT_LT(node, num_nodes_);
    const int early = Windows::earliest(node);
    const int late = Windows::latest(node);
    ASSERT_TRUE(windows_.has(early) && windows_.has(late));
    ASSERT_TRUE(T() < windows_.value(early) + windows_.value(late));
    windows_.demand({early, windows_.value(early)});
    windows_.demand({late, windows_.value(late)});
    const std::set<int> literals = explain();
    const Points points = known_.points(&literals);
    const std::optional<int>& e = points[index(early)];
    const std::optional<int>& l = points[index(late)];
    ASSERT_TRUE(e && l && *e + *l > 0);
  }

  // What the windows give for the demands made.
  std::set<int> explain() {
    std::vector<Literal> literals;
    windows_.explain(
        [&](int reason, const T& slack) {
          const Rule& rule = known_.rules[index(reason)];
          EXPECT_FALSE(slack < T());
          for (const Rule::Premise& premise : rule.premises) {
            windows_.demand({premise.point, time(premise.value) - slack});
          }
          literals.push_back(literal(rule.literal));
          ++seen_.with_rules;
        },
        [&](Literal l, int /*point*/) { literals.push_back(l); });
    std::set<int> result;
    for (const Literal l : literals) result.insert(l.variable());
    ++seen_.explanations;
    return result;
  }

  void explain_one() {
    const Points points = known_.points();
    std::vector<Rule::Premise> demands;
    for (int k = random_.between(1, 3); k > 0; --k) {
      const int point = random_.pick(2 * num_nodes_);
      if (!points[index(point)]) continue;
      demands.push_back({point, *points[index(point)] - units(0, 3)});
    }
    for (const Rule::Premise& d : demands) {
      windows_.demand({d.point, time(d.value)});
    }
    const std::set<int> literals = explain();
    const auto meets = [&demands](const Points& values) {
      return std::all_of(demands.begin(), demands.end(), [&](const auto& d) {
        const std::optional<int>& value = values[index(d.point)];
        return value && *value >= d.value;
      });
    };
    ASSERT_TRUE(meets(known_.points(&literals)));
    // Where an earlier level met all of it, none of what came later is needed.
    for (std::size_t level = 0; level < known_at_.size(); ++level) {
      if (!meets(known_at_[level])) continue;
      const Mark& end = starts_[level + 1];
      for (std::size_t k = end.num_constraints; k < known_.constraints.size();
           ++k) {
        ASSERT_EQ(literals.count(known_.constraints[k].literal), 0U);
      }
      for (std::size_t k = end.num_rules; k < known_.rules.size(); ++k) {
        ASSERT_EQ(literals.count(known_.rules[k].literal), 0U);
      }
      ++seen_.from_below;
      return;
    }
  }

  Random& random_;
  Seen& seen_;
  int origin_;
  int num_nodes_;
  Windows windows_;
  Known known_;
  std::vector<int> schedule_;
  /// What was known when a level began.
  std::vector<Mark> starts_;
  /// The values at the end of each level but the last.
  std::vector<Points> known_at_;
  /// The times when all last had its effect, or was taken back.
  std::vector<std::optional<T>> settled_;
  int num_literals_ = 0;
};

template <class T>
void run_sessions(unsigned seed, int sessions) {
  Random random(seed);
  Seen seen;
  for (int k = 0; k < sessions; ++k) {
    SCOPED_TRACE("session " + std::to_string(k));
    Session<T>(random, seen).run(80);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(seen.values, 20 * sessions);
  EXPECT_GT(seen.crossings, sessions / 6);
  EXPECT_GT(seen.explanations, sessions);
  EXPECT_GT(seen.with_rules, sessions / 2);
  EXPECT_GT(seen.from_below, sessions / 4);
}

// All that rules conclude rests on these times. One that is too high loses
// schedules, one that is too low loses conclusions, and an explanation that
// lacks a constraint makes a learnt clause that does not hold.
TEST(TimeWindowsTest, WordTimesFollowPushesRaisesAndBacktracks) {
  run_sessions<WordTime>(1, scaled(25'000));
}

// The same where words do not suffice.
TEST(TimeWindowsTest, ExactTimesFollowPushesRaisesAndBacktracks) {
  run_sessions<ExactTime>(2, scaled(8'000));
}

// Who explains a contradiction lowers the newer of two times: entries must be
// numbered as they come.
TEST(TimeWindowsTest, NewestIsLargerForWhatRoseLater) {
  TimeWindows<WordTime> windows(3, 0);
  const auto ignore = [](int) {};
  int crossing = 0;
  windows.new_level();
  windows.push(Literal(0, false), 1, 0, -5);  // node 1 is at 5 or later
  ASSERT_TRUE(windows.relax(ignore, &crossing));
  const int first = windows.newest(TimeWindows<WordTime>::earliest(1));
  EXPECT_EQ(windows.value(TimeWindows<WordTime>::earliest(1)), 5);
  windows.push(Literal(1, false), 0, 2, 7);  // node 2 is at 7 at the latest
  ASSERT_TRUE(windows.relax(ignore, &crossing));
  const int second = windows.newest(TimeWindows<WordTime>::latest(2));
  EXPECT_EQ(windows.value(TimeWindows<WordTime>::latest(2)), -7);
  EXPECT_LT(first, second);
  windows.raise(TimeWindows<WordTime>::earliest(1), 6, 0);
  EXPECT_LT(second, windows.newest(TimeWindows<WordTime>::earliest(1)));
  // The oldest entry that is good enough is the first.
  EXPECT_EQ(windows.oldest({TimeWindows<WordTime>::earliest(1), 4}), first);
  EXPECT_LT(first, windows.oldest({TimeWindows<WordTime>::earliest(1), 6}));
}

}  // namespace
}  // namespace vorn::solver
