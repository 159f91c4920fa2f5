// SPDX-License-Identifier: MIT
#include "tests/model/closure_comparison.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/model/closure_follower.h"
#include "tests/model/closure_model.h"

// Does the comparison see what it is there for? The closures get slightly other
// constraints than their model, or the model is asked about paths that are
// none.

namespace vorn::model {
namespace {

const std::vector<ClosureSetting>& settings() {
  static const std::vector<ClosureSetting> all = {
      {"matrix", dl::Closure::Limits()}, {"paths", {0, 1000}}};
  return all;
}

EdgeRecord edge(int source, int target, int weight, int eps = 0) {
  return {source, target, {weight, eps}, 0};
}

/// Constraints 1 to 4: x2 - x1 <= 1, x3 - x2 <= 1, x3 - x1 <= 2, and
/// x1 - x3 <= -2, which contradicts no two of the first. The closures get
/// `wrong` in the place of constraint `k`.
ClosureComparison planted(const ClosureSetting& setting, int k,
                          const EdgeRecord& wrong) {
  const std::vector<EdgeRecord> edges = {edge(1, 2, 1), edge(2, 3, 1),
                                         edge(1, 3, 2), edge(3, 1, -2)};
  ClosureComparison comparison({setting});
  for (int i = 1; i <= 4; ++i) {
    const EdgeRecord& right = edges[static_cast<std::size_t>(i) - 1];
    comparison.tell(i, i == k ? wrong : right, right);
  }
  return comparison;
}

/// What is seen when constraints 1, 2 and then 4 are pushed.
std::string seen(const ClosureSetting& setting, int k,
                 const EdgeRecord& wrong) {
  ClosureComparison comparison = planted(setting, k, wrong);
  for (const int pushed : {1, 2, 4}) {
    comparison.push(pushed);
    if (!comparison.difference().empty()) break;
    comparison.observe();
  }
  return comparison.difference();
}

bool mentions(const std::string& text, const std::string& what) {
  return text.find(what) != std::string::npos;
}

// A comparison that misses one of these is no guard.
TEST(ClosureComparisonTest, PlantedDifferencesAreSeen) {
  for (const ClosureSetting& setting : settings()) {
    SCOPED_TRACE(setting.name);
    EXPECT_EQ(seen(setting, 1, edge(1, 2, 1)), "");
    // A sum that is too small, or not small enough.
    EXPECT_TRUE(mentions(seen(setting, 1, edge(1, 2, 0)), "the bound is 1"));
    EXPECT_TRUE(mentions(seen(setting, 2, edge(2, 3, 1, 1)),
                         "does not know what follows: constraint 3"));
    EXPECT_TRUE(mentions(seen(setting, 3, edge(1, 3, 1)),
                         "does not know what follows: constraint 3"));
    EXPECT_TRUE(mentions(seen(setting, 2, edge(2, 3, 0)),
                         "from 1 to 3: the bound is 2, not 1"));
    EXPECT_TRUE(
        mentions(seen(setting, 4, edge(3, 1, -3)), "refuses constraint 4"));
  }
}

// What follows without being told to the model is a false consequence.
TEST(ClosureComparisonTest, FalseConsequencesAreSeen) {
  for (const ClosureSetting& setting : settings()) {
    SCOPED_TRACE(setting.name);
    ClosureComparison comparison({setting});
    comparison.tell(1, edge(1, 2, 0), edge(1, 2, 5));
    comparison.tell(2, edge(2, 3, 0));
    comparison.tell(3, edge(1, 3, 1));
    comparison.push(1);
    comparison.push(2);

    comparison.take();

    EXPECT_TRUE(mentions(comparison.difference(),
                         "hands out what does not follow: constraint 3"))
        << comparison.difference();
  }
}

// A negative cycle that only the model sees, or only the closure.
TEST(ClosureComparisonTest, WrongVerdictsAreSeen) {
  for (const ClosureSetting& setting : settings()) {
    SCOPED_TRACE(setting.name);
    for (const int weight : {-3, -1}) {
      ClosureComparison comparison({setting});
      comparison.tell(1, edge(1, 2, 2));
      comparison.tell(2, edge(2, 1, weight), edge(2, 1, -4 - weight));
      comparison.push(1);

      comparison.push(2);

      EXPECT_TRUE(mentions(comparison.difference(),
                           weight == -3 ? "refuses" : "accepts"))
          << comparison.difference();
    }
  }
}

// An explanation that is none would pass for one.
TEST(ClosureComparisonTest, FaultsOfPathsAreSeen) {
  ClosureModel model;
  model.tell(1, edge(1, 2, 1));
  model.tell(2, edge(2, 3, 1));
  model.tell(3, edge(1, 3, 5));
  for (const int k : {1, 2}) model.push(k);
  const auto fault = [&model](const std::vector<int>& path, std::size_t count,
                              int weight) {
    return fault_of_path(model, path, count, 1, 3, {weight, 0});
  };

  EXPECT_EQ(fault({1, 2}, 2, 2), "");
  EXPECT_EQ(fault({1, 2}, 2, 7), "");
  EXPECT_NE(fault({1, 2}, 2, 1), "") << "too long";
  EXPECT_NE(fault({1, 2}, 1, 2), "") << "not active then";
  EXPECT_NE(fault({3}, 2, 5), "") << "not active";
  EXPECT_NE(fault({1}, 2, 2), "") << "ends early";
  EXPECT_NE(fault({2}, 2, 2), "") << "begins late";
  EXPECT_NE(fault({2, 1}, 2, 2), "") << "in the wrong order";
  EXPECT_NE(fault({}, 2, 2), "") << "of nothing";
  EXPECT_EQ(fault_of_path(model, {}, 0, 3, 3, Weight()), "");
}

// A wrong reason for a refusal makes a host learn what is not so.
TEST(ClosureComparisonTest, FaultsOfCyclesAreSeen) {
  ClosureModel model;
  model.tell(1, edge(1, 2, -1));
  model.tell(2, edge(2, 3, 2));
  model.tell(3, edge(3, 1, -2));
  model.tell(4, edge(3, 1, -1));
  model.push(1);
  model.push(2);

  EXPECT_EQ(fault_of_cycle(model, {1, 2, 3}), "");
  EXPECT_NE(fault_of_cycle(model, {1, 2, 4}), "") << "adds up to 0";
  EXPECT_NE(fault_of_cycle(model, {2, 1, 3}), "") << "in the wrong order";
  EXPECT_NE(fault_of_cycle(model, {1, 3}), "") << "has a gap";
  EXPECT_NE(fault_of_cycle(model, {}), "") << "of nothing";
}

// A closure whose graph says otherwise must not pass.
TEST(ClosureFollowerTest, GraphThatSaysOtherwiseIsSeen) {
  for (const std::size_t count : {1U, 2U}) {
    ClosureFollower follower;
    const EdgeRecord back = edge(2, 1, count == 1 ? 0 : -1);
    follower.tell(2, edge(1, 2, 0), edge(1, 2, 0));
    follower.tell(4, back, back);

    follower.check({2, 4}, count);

    EXPECT_TRUE(mentions(
        follower.difference(),
        "edge 4 is " + std::string(count == 1 ? "" : "in") + "consistent"))
        << follower.difference();
  }
}

/// The least sum over all ways from `node` to `target` that meet no node twice.
std::optional<Weight> least_sum(const std::vector<EdgeRecord>& edges, int node,
                                int target, std::set<int>& met) {
  if (node == target) return Weight();
  std::optional<Weight> least;
  met.insert(node);
  for (const EdgeRecord& e : edges) {
    if (e.source != node || met.count(e.target) != 0) continue;
    const std::optional<Weight> rest = least_sum(edges, e.target, target, met);
    if (!rest.has_value()) continue;
    const Weight sum = e.weight + *rest;
    if (!least.has_value() || sum < *least) least = sum;
  }
  met.erase(node);
  return least;
}

// Everything is measured by the model, so it is measured by enumeration.
TEST(ClosureModelTest, DistancesAreLeastSumsOverAllPaths) {
  std::mt19937 random(1);
  const auto below = [&random](unsigned n) {
    return static_cast<int>(random() % n);
  };
  std::size_t refused = 0;
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE(round);
    ClosureModel model;
    std::vector<EdgeRecord> active;
    for (int node = 0; node < 5; ++node) {
      model.tell(100 + node, edge(node, node, 0));
    }
    for (int k = 0; k < 12; ++k) {
      const EdgeRecord e = edge(below(5), below(5), below(9) - 2, -below(2));
      model.tell(k, e);
      std::set<int> met;
      const auto back = least_sum(active, e.target, e.source, met);
      const bool closes = back.has_value() && *back + e.weight < Weight();
      ASSERT_EQ(model.admits(k), !closes);
      refused += closes ? 1 : 0;
      if (closes) continue;
      model.push(k);
      active.push_back(e);
    }
    for (int source = 0; source < 5; ++source) {
      for (int target = 0; target < 5; ++target) {
        std::set<int> met;
        const auto least = least_sum(active, source, target, met);
        const Weight* distance = model.distance(source, target);
        ASSERT_EQ(distance != nullptr, least.has_value());
        if (!least.has_value()) continue;
        EXPECT_EQ(weight_text(*distance), weight_text(*least));
        EXPECT_TRUE(model.implies({source, target, *least, 0}));
        EXPECT_FALSE(
            model.implies({source, target, *least + Weight{0, -1}, 0}));
        EXPECT_EQ(model.implies_early({source, target, *least, 0}, 0),
                  source == target);
      }
    }
  }
  EXPECT_GT(refused, 100U);
}

}  // namespace
}  // namespace vorn::model
