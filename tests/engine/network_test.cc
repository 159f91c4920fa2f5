// SPDX-License-Identifier: MIT
#include "solver/engine/network.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/engine/telling_order.h"
#include "solver/terms/term_store.h"
#include "tests/build_kind.h"

namespace vorn::solver {
namespace {

// target - source <= weight, or < weight, over integers or halves; node 0 is 0.
struct Edge {
  std::size_t source;
  std::size_t target;
  int weight;  // in halves over the reals
  bool is_strict;
};

// A formula, and what it says; nothing, for one that is false.
struct Stated {
  const Term* term;
  std::optional<std::vector<Edge>> edges;
};

// Whether there is a solution, by the lengths of all paths. Strictness counts
// in units far below a half.
bool has_solution(std::size_t num_nodes, const std::vector<Stated>& stated) {
  constexpr long kUnit = 1L << 20;
  constexpr long kFar = 1L << 50;
  std::vector<std::vector<long>> length(num_nodes,
                                        std::vector<long>(num_nodes, kFar));
  for (std::size_t n = 0; n < num_nodes; ++n) length[n][n] = 0;
  for (const Stated& s : stated) {
    if (!s.edges) return false;
    for (const Edge& e : *s.edges) {
      long& known = length[e.source][e.target];
      known = std::min(known, kUnit * e.weight - (e.is_strict ? 1 : 0));
    }
  }
  for (std::size_t k = 0; k < num_nodes; ++k) {
    for (std::size_t i = 0; i < num_nodes; ++i) {
      for (std::size_t j = 0; j < num_nodes; ++j) {
        length[i][j] = std::min(length[i][j], length[i][k] + length[k][j]);
      }
    }
  }
  for (std::size_t n = 0; n < num_nodes; ++n) {
    if (length[n][n] < 0) return false;
  }
  return true;
}

// Whether the values of a model do.
bool satisfies(Engine& engine, const std::vector<const Term*>& variables,
               const std::vector<Edge>& edges) {
  const auto value = [&](std::size_t node) {
    return node == 0 ? QNumber(0) : engine.number_value(variables[node - 1]);
  };
  return std::all_of(edges.begin(), edges.end(), [&](const Edge& e) {
    QNumber twice = value(e.target);
    twice -= value(e.source);
    twice *= QNumber(2);
    return e.is_strict ? twice < QNumber(e.weight) : twice <= QNumber(e.weight);
  });
}

// Random formulas over some variables of one sort.
class Statements {
 public:
  Statements(TermStore& store, Sort sort, unsigned seed)
      : store_(store), sort_(sort), random_(seed) {
    for (std::size_t i = 0; i < kVariables; ++i) {
      variables_.push_back(store.make_symbol("x" + std::to_string(i), sort));
    }
  }

  Stated next() {
    switch (below(12)) {
      case 0:
        return equation();
      case 1: {
        Stated a = bound();
        Stated b = bound();
        a.edges->insert(a.edges->end(), b.edges->begin(), b.edges->end());
        return {store_.make_and({a.term, b.term}), a.edges};
      }
      case 2:
        return negated_bound();
      case 3:
        if (below(10) == 0) return {store_.make_bool(false), std::nullopt};
        return {store_.make_bool(true), std::vector<Edge>()};
      default:
        return bound();
    }
  }
  unsigned below(unsigned bound) {
    return static_cast<unsigned>(random_() % bound);
  }

  const std::vector<const Term*>& variables() const { return variables_; }
  static constexpr std::size_t kVariables = 6;
  static constexpr std::size_t kNodes = kVariables + 1;

 private:
  // The difference of two nodes, or a variable, or its opposite.
  const Term* difference(std::size_t target, std::size_t source) {
    if (source == 0) return variables_[target - 1];
    const Term* negated = store_.make_negate(variables_[source - 1]);
    if (target == 0) return negated;
    return store_.make_plus(variables_[target - 1], negated);
  }
  std::pair<std::size_t, std::size_t> two_nodes() {
    const std::size_t a = below(kNodes);
    const std::size_t b = (a + 1 + below(kNodes - 1)) % kNodes;
    return {a, b};
  }
  int weight() {
    const int w = static_cast<int>(below(25)) - 9;
    return sort_ == Sort::kInt ? 2 * w : w;
  }
  const Term* number(int halves) {
    QNumber value(halves);
    value /= QNumber(2);
    return store_.make_number(value, sort_);
  }
  // An integer is below a number when it is at most one less.
  Edge below_edge(std::size_t source, std::size_t target, int w) const {
    return sort_ == Sort::kInt ? Edge{source, target, w - 2, false}
                               : Edge{source, target, w, true};
  }
  Stated bound() {
    const auto [source, target] = two_nodes();
    const int w = weight();
    const Term* left = difference(target, source);
    if (below(3) == 0) {
      return {store_.make_less(left, number(w)),
              std::vector<Edge>{below_edge(source, target, w)}};
    }
    return {store_.make_leq(left, number(w)),
            std::vector<Edge>{{source, target, w, false}}};
  }
  Stated negated_bound() {
    const auto [source, target] = two_nodes();
    const int w = weight();
    const Term* atom = store_.make_leq(difference(target, source), number(w));
    // target - source > w.
    return {store_.make_not(atom),
            std::vector<Edge>{below_edge(target, source, -w)}};
  }
  Stated equation() {
    const auto [source, target] = two_nodes();
    const int w = weight() + 6;
    return {store_.make_equal(difference(target, source), number(w)),
            std::vector<Edge>{{source, target, w, false},
                              {target, source, -w, false}}};
  }

  TermStore& store_;
  Sort sort_;
  std::mt19937 random_;
  std::vector<const Term*> variables_;
};

// Facts are decided without a search; a session with scopes and assumptions has
// to find the same as the lengths of all paths, whatever was there before.
TEST(NetworkTest, RandomSessionsAgreeWithAllPaths) {
  constexpr unsigned kSessions = test::kSanitized ? 80 : 400;
  std::size_t num_sat = 0;
  std::size_t num_unsat = 0;
  std::size_t num_failed = 0;
  for (unsigned seed = 0; seed < kSessions; ++seed) {
    SCOPED_TRACE(seed);
    TermStore store;
    EngineOptions options;
    // Half of the sessions start anew now and then.
    options.forgotten_bounds = {seed % 4 < 2 ? 64U : 3U, 50};
    Engine engine(store, options);
    Statements statements(store, seed % 2 == 0 ? Sort::kInt : Sort::kReal,
                          seed);
    std::vector<Stated> stack;
    std::vector<std::size_t> scopes;
    for (int step = 0; step < 60; ++step) {
      const unsigned choice = statements.below(10);
      if (choice < 5) {
        stack.push_back(statements.next());
        ASSERT_TRUE(states_bounds(stack.back().term));
        engine.assert_term(stack.back().term);
        continue;
      }
      if (choice == 5) {
        engine.push();
        scopes.push_back(stack.size());
        continue;
      }
      if (choice <= 7 && !scopes.empty()) {
        engine.pop();
        stack.resize(scopes.back());
        scopes.pop_back();
        continue;
      }
      std::vector<Stated> all = stack;
      std::vector<const Term*> assumptions;
      std::vector<Stated> assumed;
      for (unsigned k = statements.below(4); k > 0; --k) {
        assumed.push_back(statements.next());
        if (k == 3) assumed.push_back(assumed.back());
      }
      for (const Stated& a : assumed) {
        assumptions.push_back(a.term);
        all.push_back(a);
      }
      const bool expected = has_solution(Statements::kNodes, all);
      ASSERT_EQ(engine.check(assumptions),
                expected ? Answer::kSat : Answer::kUnsat);
      if (expected) {
        ++num_sat;
        for (const Stated& a : all) {
          ASSERT_TRUE(satisfies(engine, statements.variables(), *a.edges));
        }
        continue;
      }
      ++num_unsat;
      std::vector<Stated> core = stack;
      for (const std::size_t failed : engine.failed_assumptions()) {
        ASSERT_LT(failed, assumed.size());
        core.push_back(assumed[failed]);
        ++num_failed;
      }
      EXPECT_FALSE(has_solution(Statements::kNodes, core));
      // The cycle, if there is one, closes, and is negative.
      const std::vector<DifferenceBound> cycle = engine.last_cycle();
      la::DNumber sum;
      for (std::size_t k = 0; k < cycle.size(); ++k) {
        EXPECT_EQ(cycle[k].target, cycle[(k + 1) % cycle.size()].source);
        sum += cycle[k].weight;
      }
      EXPECT_TRUE(cycle.empty() || sum < la::DNumber());
    }
  }
  EXPECT_GT(num_sat, kSessions);
  EXPECT_GT(num_unsat, kSessions);
  EXPECT_GT(num_failed, kSessions / 4);
}

// What a session asks of the network that it holds: one model after the other.
class ModelsOfNetwork {
 public:
  // The next one; how many values the network says may be others.
  std::size_t next() {
    EXPECT_TRUE(network_.tell([] { return false; }));
    EXPECT_TRUE(network_.is_consistent());
    const std::vector<const Term*>* changed = network_.changed_symbols();
    const std::size_t all = network_.variables().size() + 1;
    const std::size_t number = changed == nullptr ? all : changed->size();
    if (changed != nullptr) expect_others_unchanged(*changed);
    values_.clear();
    for (const Term* x : network_.variables()) {
      values_.emplace(x, *network_.value(x));
    }
    network_.forget_changes();
    return number;
  }
  Network& network() { return network_; }

 private:
  void expect_others_unchanged(const std::vector<const Term*>& changed) {
    for (const Term* x : network_.variables()) {
      if (std::find(changed.begin(), changed.end(), x) != changed.end()) {
        continue;
      }
      const auto before = values_.find(x);
      ASSERT_NE(before, values_.end());
      EXPECT_EQ(*network_.value(x), before->second);
    }
  }

  Network network_;
  std::map<const Term*, QNumber> values_;
};

// A model is compared with the one before only where the network says so: a
// change that it kept to itself would never be checked.
TEST(NetworkTest, OtherValuesAreAmongThoseThatItNames) {
  std::size_t num_known = 0;
  for (unsigned seed = 0; seed < (test::kSanitized ? 40U : 200U); ++seed) {
    SCOPED_TRACE(seed);
    TermStore store;
    Statements statements(store, seed % 2 == 0 ? Sort::kInt : Sort::kReal,
                          seed);
    ModelsOfNetwork models;
    Network& network = models.network();
    for (int step = 0; step < 200; ++step) {
      const unsigned choice = statements.below(8);
      if (choice == 0) {
        network.push();
      } else if (choice == 1 && network.num_scopes() > 0) {
        network.pop();
      } else if (choice == 2 && network.num_scopes() == 0 && step % 3 == 0) {
        network.start_anew();
      } else if (choice < 6) {
        network.push();
        network.add(statements.next().term);
      } else {
        network.tell([] { return false; });
        while (!network.is_consistent()) {
          network.pop();
          network.tell([] { return false; });
        }
        if (models.next() <= network.variables().size()) ++num_known;
      }
    }
  }
  EXPECT_GT(num_known, 1000U);
}

// A chain that grows at either end, and a bound that is made closer and closer:
// each level says what it changes, and not what all levels before have said.
TEST(NetworkTest, LevelsChangeFewValues) {
  for (const bool is_ascending : {true, false}) {
    for (const Sort sort : {Sort::kInt, Sort::kReal}) {
      TermStore store;
      ModelsOfNetwork models;
      const Term* last = store.make_symbol("x", sort);
      for (int level = 1; level <= 50; ++level) {
        models.network().push();
        const Term* next = store.make_symbol("x" + std::to_string(level), sort);
        models.network().add(is_ascending ? store.make_less(last, next)
                                          : store.make_less(next, last));
        last = next;
        const std::size_t changed = models.next();
        EXPECT_TRUE(level < 3 || changed <= 2) << level;
      }
    }
  }
  TermStore store;
  ModelsOfNetwork models;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  for (int level = 0; level < 50; ++level) {
    models.network().push();
    models.network().add(store.make_less(
        store.make_plus(y, store.make_number(QNumber(level))), x));
    const std::size_t changed = models.next();
    EXPECT_TRUE(level < 3 || changed == 1) << level;
  }
}

// Once there is something to choose the search takes over, with all that was
// asserted; and the facts of before are facts still.
TEST(NetworkTest, ChoicesAfterFactsAreDecided) {
  TermStore store;
  Engine engine(store);
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  const Term* three = store.make_number(QNumber(3));
  const Term* first = store.make_leq(store.make_plus(x, three), y);
  const Term* second = store.make_leq(store.make_plus(y, three), x);
  engine.assert_term(store.make_leq(three, x));
  engine.push();
  engine.assert_term(store.make_leq(y, three));
  ASSERT_EQ(engine.check(), Answer::kSat);
  engine.push();
  engine.assert_term(store.make_or({first, second}));
  ASSERT_EQ(engine.check(), Answer::kSat);
  EXPECT_TRUE(engine.bool_value(second));
  engine.pop();
  ASSERT_EQ(engine.check({first}), Answer::kUnsat);
  EXPECT_EQ(engine.failed_assumptions(), std::vector<std::size_t>{0});
  engine.pop();
  ASSERT_EQ(engine.check({first}), Answer::kSat);
}

// An order that lost or repeated a constraint would answer another question;
// one that lowers a potential twice would be of no use.
TEST(TellingOrderTest, LowersEachPotentialOnce) {
  std::mt19937 random(1);
  for (int round = 0; round < 50; ++round) {
    constexpr int kNodes = 40;
    std::vector<std::int64_t> hidden;
    std::vector<std::int64_t> potentials;
    for (int n = 0; n < kNodes; ++n) {
      hidden.push_back(static_cast<std::int64_t>(random() % 1000));
      potentials.push_back(-static_cast<std::int64_t>(random() % 100));
    }
    std::vector<WordConstraint> constraints;
    for (int k = 0; k < 200; ++k) {
      const int a = static_cast<int>(random() % kNodes);
      const int b =
          (a + 1 + static_cast<int>(random() % (kNodes - 1))) % kNodes;
      constraints.push_back({a, b,
                             hidden[static_cast<std::size_t>(b)] -
                                 hidden[static_cast<std::size_t>(a)] +
                                 static_cast<std::int64_t>(random() % 10)});
    }

    const std::vector<std::uint32_t> order =
        telling_order(constraints, potentials);

    std::vector<std::uint32_t> sorted = order;
    std::sort(sorted.begin(), sorted.end());
    ASSERT_EQ(sorted.size(), constraints.size());
    for (std::uint32_t k = 0; k < sorted.size(); ++k) ASSERT_EQ(sorted[k], k);
    std::vector<int> times(kNodes, 0);
    std::vector<char> has_left(kNodes, 0);
    for (const std::uint32_t k : order) {
      const auto [source, target, weight] = constraints[k];
      const auto s = static_cast<std::size_t>(source);
      const auto t = static_cast<std::size_t>(target);
      has_left[s] = 1;
      if (potentials[s] + weight >= potentials[t]) continue;
      EXPECT_EQ(has_left[t], 0) << "an edge that left it has to be tried again";
      potentials[t] = potentials[s] + weight;
      EXPECT_EQ(++times[t], 1);
    }
    // A cycle of weight -1.
    constraints.push_back({0, 1, hidden[1] - hidden[0]});
    constraints.push_back({1, 0, hidden[0] - hidden[1] - 1});
    EXPECT_TRUE(telling_order(constraints, potentials).empty());
  }
}

// Enough constraints that they are put into an order, in scopes, with and
// without a contradiction behind them.
TEST(NetworkTest, ManyConstraintsAreFactsInAnyOrder) {
  TermStore store;
  Engine engine(store);
  std::mt19937 random(2);
  constexpr unsigned kVariables = 300;
  std::vector<const Term*> variables;
  std::vector<int> hidden;
  for (unsigned i = 0; i < kVariables; ++i) {
    variables.push_back(store.make_symbol("x" + std::to_string(i), Sort::kInt));
    hidden.push_back(static_cast<int>(random() % 10000));
  }
  const auto assert_some = [&](int count) {
    for (int k = 0; k < count; ++k) {
      const auto a = static_cast<unsigned>(random() % kVariables);
      const auto b = static_cast<unsigned>(
          (a + 1 + random() % (kVariables - 1)) % kVariables);
      const int weight = hidden[a] - hidden[b] + static_cast<int>(random() % 5);
      engine.assert_term(store.make_leq(
          store.make_plus(variables[a], store.make_negate(variables[b])),
          store.make_number(QNumber(weight))));
    }
  };
  assert_some(4000);
  engine.push();
  assert_some(2000);
  ASSERT_EQ(engine.check(), Answer::kSat);
  engine.push();
  const Term* least = store.make_plus(
      variables[0], store.make_number(QNumber(hidden[1] - hidden[0])));
  engine.assert_term(store.make_less(least, variables[1]));
  const Answer stretched = engine.check();
  engine.pop();
  ASSERT_EQ(engine.check(), Answer::kSat);
  QNumber difference = engine.number_value(variables[1]);
  difference -= engine.number_value(variables[0]);
  if (stretched == Answer::kUnsat) {
    EXPECT_LE(difference, QNumber(hidden[1] - hidden[0]));
  }
  engine.pop();
  ASSERT_EQ(engine.check(), Answer::kSat);
}

}  // namespace
}  // namespace vorn::solver
