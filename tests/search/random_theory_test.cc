// SPDX-License-Identifier: MIT
// Random problems over real theories that are lazy, late and talkative at
// random, against clauses that say the same.
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "solver/search/search.h"
#include "solver/search/theory.h"
#include "tests/search/cardinality_theory.h"
#include "tests/search/fake_theory.h"
#include "tests/search/oracle.h"

namespace vorn::solver::testing {
namespace {

Group random_group(Random& random, int variables) {
  Group group;
  group.literals = random_clause(random, variables, 2 + random.below(5));
  const int size = static_cast<int>(group.literals.size());
  group.limit = 1 + random.below(size - 1);
  if (random.below(60) == 0) group.limit = 0;
  return group;
}

// All of the conversation with a theory at once, with assumptions and over
// several solves.
TEST(RandomTheoryTest, CardinalityAgrees) {
  for (int seed = 0; seed < scaled(3000); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    const double laziness = random.below(3) * 0.4;
    const double talkativeness = random.below(3) * 0.5;
    CardinalityTheory theory(random.next(), laziness, talkativeness,
                             random_options(random));
    Search& search = theory.search();
    const int variables = 6 + random.below(20);
    for (int i = 0; i < variables; ++i) theory.new_variable();
    Clauses clauses;
    for (int round = 0; round < 4; ++round) {
      const int count = random.below(variables);
      for (int i = 0; i < count; ++i) {
        clauses.push_back(
            random_clause(random, variables, 2 + random.below(2)));
        search.add_clause(clauses.back());
      }
      const int groups = random.below(variables / 2);
      for (int i = 0; i < groups; ++i) {
        theory.add_group(random_group(random, variables));
      }
      Literals assumptions;
      for (int i = random.below(4); i > 0; --i) {
        assumptions.emplace_back(random.below(variables), random.below(2) == 0);
      }

      const Search::Result result = search.solve(assumptions);

      // Lemmas may have added to the theory in the meantime.
      Clauses all = theory.clauses();
      all.insert(all.end(), clauses.begin(), clauses.end());
      ASSERT_EQ(result == Search::Result::kSat, has_model(all, assumptions));
      if (result == Search::Result::kSat) {
        expect_model(search, all, assumptions);
      } else {
        expect_core(search, all, assumptions);
      }
      search.check_invariants();
      if (HasFailure()) return;
      if (!search.is_consistent()) break;
    }
  }
}

// Scopes with theory variables: popping one takes back what it has told.
TEST(RandomTheoryTest, ScopesWithCardinalityAgree) {
  for (int seed = 0; seed < scaled(600); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    CardinalityTheory theory(random.next(), random.below(3) * 0.4,
                             random.below(3) * 0.5, random_options(random));
    Search& search = theory.search();
    constexpr int kVariables = 12;
    for (int i = 0; i < kVariables; ++i) theory.new_variable();
    Clauses base;
    for (int i = 0; i < 15; ++i) {
      base.push_back(random_clause(random, kVariables, 3));
      search.add_clause(base.back());
    }
    for (int i = 0; i < 4; ++i) {
      theory.add_group(random_group(random, kVariables));
    }
    for (int round = 0; round < 8; ++round) {
      if (!search.is_consistent()) break;
      const int before = search.num_variables();
      // Without a mark there is more to look at, and no other outcome.
      if (random.below(4) != 0) search.mark();
      const Literal selector = positive(search.new_variable());
      Clauses scoped;
      const int first = search.num_variables();
      for (int i = 0; i < 4; ++i) theory.new_variable();
      for (int i = 0; i < 12; ++i) {
        // Over the oldest and the scope's variables.
        Literals clause = random_clause(random, kVariables + 4, 3);
        for (Literal& literal : clause) {
          if (literal.variable() < kVariables) continue;
          literal = Literal(literal.variable() - kVariables + first,
                            literal.is_negated());
        }
        clause.push_back(~selector);
        scoped.push_back(clause);
        search.add_clause(clause);
      }

      const Literals assumptions = {selector,
                                    Literal(random.below(kVariables), false)};
      const Search::Result result = search.solve(assumptions);

      Clauses all = theory.clauses();
      all.insert(all.end(), base.begin(), base.end());
      all.insert(all.end(), scoped.begin(), scoped.end());
      ASSERT_EQ(result == Search::Result::kSat, has_model(all, assumptions));
      if (result == Search::Result::kSat) {
        expect_model(search, all, assumptions);
      } else {
        expect_core(search, all, assumptions);
      }
      theory.shrink(before);
      search.check_invariants();
      if (HasFailure()) return;
    }
  }
}

// Thousands of explanations in one solve: those no longer needed are dropped
// in between, the others must survive that.
TEST(RandomTheoryTest, ManyExplanationsAgree) {
  constexpr int kHoles = 8;
  CardinalityTheory theory(1, 0.0, 0.0, {});
  Search& search = theory.search();
  for (int i = 0; i < (kHoles + 1) * kHoles; ++i) theory.new_variable();
  for (int hole = 0; hole < kHoles; ++hole) {
    Group group{{}, 1};
    for (int pigeon = 0; pigeon <= kHoles; ++pigeon) {
      group.literals.push_back(positive(pigeon * kHoles + hole));
    }
    theory.add_group(group);
  }
  for (int pigeon = 0; pigeon <= kHoles; ++pigeon) {
    Literals clause;
    for (int hole = 0; hole < kHoles; ++hole) {
      clause.push_back(positive(pigeon * kHoles + hole));
    }
    search.add_clause(clause);
  }

  EXPECT_EQ(search.solve(), Search::Result::kUnsat);

  // At five words each, more than the search keeps at a time.
  EXPECT_GT(search.statistics().theory_explanations, 20000U);
}

/// Precedences between nodes as a theory: the true ones must form no cycle.
/// Lemmas are the paths between nodes that are not neighbours, for which they
/// make new precedences, or the cycle without one edge, turned around.
class OrderTheory {
 public:
  OrderTheory(int nodes, std::uint64_t seed, double laziness,
              const SearchOptions& options)
      : nodes_(nodes),
        search_(&theory_, options),
        random_(seed),
        laziness_(laziness) {
    theory_.attach(&search_);
    theory_.on_propagate = [this](Literals& implied, Literals& conflict) {
      return propagate(implied, conflict);
    };
    theory_.on_explain = [this](Literal literal, Literals& reason) {
      const auto [from, to] = ends_.at(literal.variable());
      reason.assign(1, literal);
      const Literals path = find_path(to, from, theory_.told_before(literal));
      ASSERT_FALSE(path.empty());
      for (const Literal edge : path) reason.push_back(~edge);
    };
    theory_.on_final_check = [this](Literals& conflict) {
      return check(conflict);
    };
    theory_.on_next_lemma = [this](Literals& clause) {
      return next_lemma(clause);
    };
  }

  Search& search() { return search_; }

  /// The variable that says `from` is before `to`.
  int precedence(int from, int to) {
    const auto [entry, is_new] = variables_.try_emplace({from, to}, -1);
    if (is_new) {
      entry->second = search_.new_variable(true);
      theory_.watch_variable(entry->second);
      ends_[entry->second] = {from, to};
    }
    return entry->second;
  }

  /// The precedences imply a total order, which is spelt out over variables
  /// from `first` on.
  Clauses clauses(int first) const {
    Clauses result;
    const auto before = [&](int a, int b) {
      const int low = std::min(a, b);
      const int high = std::max(a, b);
      return Literal(first + low * nodes_ + high, a > b);
    };
    for (int a = 0; a < nodes_; ++a) {
      for (int b = 0; b < nodes_; ++b) {
        for (int c = 0; c < nodes_; ++c) {
          if (a == b || b == c || a == c) continue;
          result.push_back({~before(a, b), ~before(b, c), before(a, c)});
        }
      }
    }
    for (const auto& [variable, ends] : ends_) {
      result.push_back({negative(variable), before(ends.first, ends.second)});
    }
    return result;
  }

 private:
  /// A shortest path of true edges among the first `count` told literals.
  Literals find_path(int from, int to, std::size_t count) const {
    const Literals& told = theory_.told();
    Literals parents(static_cast<std::size_t>(nodes_));
    std::vector<int> queue = {from};
    for (std::size_t i = 0; i < queue.size(); ++i) {
      for (std::size_t k = 0; k < std::min(count, told.size()); ++k) {
        if (told[k].is_negated()) continue;
        const auto [source, target] = ends_.at(told[k].variable());
        Literal& parent = parents[static_cast<std::size_t>(target)];
        if (source != queue[i] || target == from || parent.is_defined()) {
          continue;
        }
        parent = told[k];
        queue.push_back(target);
      }
    }
    Literals result;
    for (int node = to; node != from;) {
      const Literal edge = parents[static_cast<std::size_t>(node)];
      if (!edge.is_defined()) return {};
      result.push_back(edge);
      node = ends_.at(edge.variable()).first;
    }
    return result;
  }

  bool check(Literals& conflict) {
    for (const Literal edge : theory_.told()) {
      if (edge.is_negated()) continue;
      const auto [from, to] = ends_.at(edge.variable());
      const Literals path = find_path(to, from, theory_.told().size());
      if (path.empty()) continue;
      conflict.push_back(~edge);
      for (const Literal other : path) conflict.push_back(~other);
      last_cycle_ = path;
      pending_lemmas_ = random_.below(3);
      return false;
    }
    return true;
  }

  bool propagate(Literals& implied, Literals& conflict) {
    if (random_.fraction() < laziness_) return true;
    if (!check(conflict)) return false;
    for (const auto& [variable, ends] : ends_) {
      if (search_.value(positive(variable)) != Value::kUnassigned) continue;
      if (!find_path(ends.second, ends.first, theory_.told().size()).empty()) {
        implied.push_back(negative(variable));
      }
    }
    return true;
  }

  bool next_lemma(Literals& clause) {
    if (pending_lemmas_ == 0) return false;
    --pending_lemmas_;
    // The path ends with its first edge.
    const int from = ends_.at(last_cycle_.back().variable()).first;
    const std::size_t length = 1 + static_cast<std::size_t>(random_.below(
                                       static_cast<int>(last_cycle_.size())));
    for (std::size_t i = 0; i < length; ++i) {
      clause.push_back(~last_cycle_[last_cycle_.size() - 1 - i]);
    }
    const int to = ends_.at(clause.back().variable()).second;
    clause.push_back(positive(precedence(from, to)));
    return true;
  }

  int nodes_;
  FakeTheory theory_;
  Search search_;
  Random random_;
  double laziness_;
  std::map<std::pair<int, int>, int> variables_;
  std::map<int, std::pair<int, int>> ends_;  // of variables
  Literals last_cycle_;                      // all but one edge, last to first
  int pending_lemmas_ = 0;
};

// Conflicts of cycles, implied precedences and path lemmas over new variables,
// the way scheduling problems use a theory.
TEST(RandomTheoryTest, PrecedencesAgree) {
  for (int seed = 0; seed < scaled(600); ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(static_cast<std::uint64_t>(seed));
    const int nodes = 4 + random.below(4);
    OrderTheory theory(nodes, random.next(), random.below(3) * 0.4,
                       random_options(random));
    Search& search = theory.search();
    Clauses clauses;
    // Pairs of nodes in some order, and random clauses about them.
    std::vector<int> precedences;
    for (int a = 0; a < nodes; ++a) {
      for (int b = 0; b < a; ++b) {
        if (random.below(4) == 0) continue;
        const int ab = theory.precedence(a, b);
        const int ba = theory.precedence(b, a);
        precedences.push_back(ab);
        precedences.push_back(ba);
        clauses.push_back({positive(ab), positive(ba)});
      }
    }
    if (precedences.empty()) continue;
    const int known = static_cast<int>(precedences.size());
    const int count = random.below(2 * known);
    for (int i = 0; i < count; ++i) {
      Literals clause = random_clause(random, known, 2 + random.below(2));
      for (Literal& literal : clause) {
        literal =
            Literal(precedences[static_cast<std::size_t>(literal.variable())],
                    literal.is_negated());
      }
      clauses.push_back(clause);
    }
    add_clauses(search, clauses);
    for (int round = 0; round < 3; ++round) {
      Literals assumptions;
      for (int i = random.below(4); i > 0; --i) {
        assumptions.emplace_back(
            precedences[static_cast<std::size_t>(random.below(known))],
            random.below(2) == 0);
      }

      const Search::Result result = search.solve(assumptions);

      Clauses all = theory.clauses(search.num_variables());
      all.insert(all.end(), clauses.begin(), clauses.end());
      ASSERT_EQ(result == Search::Result::kSat, has_model(all, assumptions));
      if (result == Search::Result::kSat) {
        // With the order free: the model's precedences can be extended to one.
        Literals model;
        for (int i = 0; i < search.num_variables(); ++i) {
          model.emplace_back(i, !search.model_value(positive(i)));
        }
        ASSERT_TRUE(has_model(all, model));
        expect_model(search, clauses, assumptions);
      } else {
        expect_core(search, all, assumptions);
      }
      search.check_invariants();
      if (HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace vorn::solver::testing
