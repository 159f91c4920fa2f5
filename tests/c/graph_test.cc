// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "solver/c/vorn.h"

// The constraint graph by way of C, against shortest paths between all nodes.

namespace vorn::test {
namespace {

using Graph = std::unique_ptr<vorn_graph, void (*)(vorn_graph*)>;

Graph make_graph(int with_consequences) {
  return {vorn_graph_new(with_consequences), vorn_graph_free};
}

struct Constraint {
  int source;
  int target;
  std::int64_t weight;
};

constexpr int kNodes = 6;
constexpr std::int64_t kFar = std::numeric_limits<std::int64_t>::max() / 4;
using Distances = std::vector<std::vector<std::int64_t>>;

Distances distances(const std::vector<Constraint>& all,
                    const std::vector<int>& active) {
  Distances d(kNodes, std::vector<std::int64_t>(kNodes, kFar));
  for (std::size_t n = 0; n < kNodes; ++n) d[n][n] = 0;
  for (const int k : active) {
    const Constraint& c = all[static_cast<std::size_t>(k)];
    auto& place = d[static_cast<std::size_t>(c.source)]
                   [static_cast<std::size_t>(c.target)];
    place = std::min(place, c.weight);
  }
  for (std::size_t m = 0; m < kNodes; ++m) {
    for (std::size_t i = 0; i < kNodes; ++i) {
      for (std::size_t j = 0; j < kNodes; ++j) {
        d[i][j] = std::min(d[i][j], d[i][m] + d[m][j]);
      }
    }
  }
  return d;
}

bool is_consistent(const Distances& d) {
  for (std::size_t n = 0; n < kNodes; ++n) {
    if (d[n][n] < 0) return false;
  }
  return true;
}

// A constraint that is lost or counted twice on the way through C.
TEST(CGraphTest, RandomCallsAgreeWithShortestPaths) {
  int num_conflicts = 0;
  int num_consequences = 0;
  for (unsigned seed = 1; seed <= 60; ++seed) {
    std::mt19937 random(seed);
    const auto pick = [&random](int bound) {
      return static_cast<int>(random() % static_cast<unsigned>(bound));
    };
    const Graph graph = make_graph(1);
    vorn_graph* g = graph.get();
    std::vector<Constraint> all(1);
    for (int k = 1; k <= 30; ++k) {
      const int source = pick(kNodes);
      const int target = (source + 1 + pick(kNodes - 1)) % kNodes;
      all.push_back({source, target, pick(12) - 4});
      ASSERT_EQ(vorn_graph_register(g, k, source, target, all.back().weight, 0),
                VORN_OK);
    }
    std::vector<int> trail;
    for (int step = 0; step < 60; ++step) {
      const int k = 1 + pick(30);
      if (std::find(trail.begin(), trail.end(), k) != trail.end()) {
        EXPECT_EQ(vorn_graph_activate(g, k), VORN_ERROR_STATE);
        ASSERT_EQ(vorn_graph_take_back(g), VORN_OK);
        trail.pop_back();
        continue;
      }
      ASSERT_EQ(vorn_graph_activate(g, k), VORN_OK);
      trail.push_back(k);
      if (pick(3) == 0) continue;  // checked together with the next one
      const Distances d = distances(all, trail);
      const int verdict = vorn_graph_check(g);
      ASSERT_EQ(verdict, is_consistent(d) ? 1 : 0) << "seed " << seed;
      std::size_t count = 0;
      const std::int32_t* constraints = nullptr;
      if (verdict == 0) {
        ++num_conflicts;
        ASSERT_EQ(vorn_graph_conflict(g, &count, &constraints), VORN_OK);
        std::int64_t sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
          sum += all[static_cast<std::size_t>(constraints[i])].weight;
        }
        EXPECT_LT(sum, 0);
        const int closing = constraints[0];
        while (true) {
          EXPECT_EQ(vorn_graph_check(g), 0);
          const int latest = trail.back();
          ASSERT_EQ(vorn_graph_take_back(g), VORN_OK);
          trail.pop_back();
          if (latest == closing) break;
        }
        ASSERT_EQ(vorn_graph_check(g), 1) << "seed " << seed;
        continue;
      }
      for (const int one : trail) {
        const Constraint& c = all[static_cast<std::size_t>(one)];
        std::int64_t target = 0;
        std::int64_t source = 0;
        ASSERT_EQ(vorn_graph_potential(g, c.target, &target, nullptr), VORN_OK);
        ASSERT_EQ(vorn_graph_potential(g, c.source, &source, nullptr), VORN_OK);
        EXPECT_LE(target - source, c.weight);
      }
      while (const int next = vorn_graph_next_consequence(g)) {
        ASSERT_GT(next, 0);
        ++num_consequences;
        const Constraint& c = all[static_cast<std::size_t>(next)];
        EXPECT_LE(d[static_cast<std::size_t>(c.source)]
                   [static_cast<std::size_t>(c.target)],
                  c.weight);
        ASSERT_EQ(vorn_graph_why(g, next, &count, &constraints), VORN_OK);
        std::int64_t sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
          sum += all[static_cast<std::size_t>(constraints[i])].weight;
        }
        EXPECT_LE(sum, c.weight);
      }
    }
  }
  EXPECT_GT(num_conflicts, 100);
  EXPECT_GT(num_consequences, 100);
}

// Strict bounds and numbers that no word holds.
TEST(CGraphTest, PotentialsAreExact) {
  const Graph graph = make_graph(0);
  vorn_graph* g = graph.get();
  ASSERT_EQ(vorn_graph_register_text(g, 1, 0, 1, "-100000000000000000000/3", 1),
            VORN_OK);
  ASSERT_EQ(vorn_graph_activate(g, 1), VORN_OK);
  ASSERT_EQ(vorn_graph_check(g), 1);
  const char* value = nullptr;
  const char* eps = nullptr;

  ASSERT_EQ(vorn_graph_potential_text(g, 1, &value, &eps), VORN_OK);

  EXPECT_STREQ(value, "-100000000000000000000/3");
  EXPECT_STREQ(eps, "-1");
  std::int64_t word = 0;
  EXPECT_EQ(vorn_graph_potential(g, 1, &word, &word), VORN_ERROR_RANGE);
}

// Nothing that a caller gets wrong is more than an error.
TEST(CGraphTest, MisuseIsAnError) {
  const Graph graph = make_graph(0);
  vorn_graph* g = graph.get();
  EXPECT_EQ(vorn_graph_register(g, 0, 1, 2, 3, 0), VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_graph_register(g, 1, -1, 2, 3, 0), VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_graph_register_text(g, 1, 1, 2, "x", 0), VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_graph_register_text(g, 1, 1, 2, nullptr, 0),
            VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_graph_activate(g, 1), VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_graph_take_back(g), VORN_ERROR_STATE);
  EXPECT_EQ(vorn_graph_register(g, 1, 1, 2, 3, 0), VORN_OK);
  EXPECT_EQ(vorn_graph_register(g, 1, 1, 2, 3, 0), VORN_ERROR_ARGUMENT);
  EXPECT_STREQ(vorn_graph_error_text(g),
               "the constraint is registered already");
  EXPECT_EQ(vorn_graph_next_consequence(g), -1);
  EXPECT_EQ(vorn_graph_error(g), VORN_ERROR_STATE);
  std::int64_t value = 0;
  EXPECT_EQ(vorn_graph_potential(g, 7, &value, nullptr), VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_graph_activate(g, 1), VORN_OK);
  EXPECT_EQ(vorn_graph_forget(g, 1), VORN_ERROR_STATE);
  EXPECT_EQ(vorn_graph_conflict(g, nullptr, nullptr), VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_graph_check(nullptr), -1);
  EXPECT_EQ(vorn_graph_activate(nullptr, 1), VORN_ERROR_ARGUMENT);
  vorn_graph_free(nullptr);
}

}  // namespace
}  // namespace vorn::test
