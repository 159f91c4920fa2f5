// SPDX-License-Identifier: MIT
// Stated bounds, which the graph has without a variable of the search.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "solver/engine/clause_auditor.h"
#include "solver/engine/engine.h"
#include "solver/terms/scope_stack.h"
#include "tests/build_kind.h"
#include "tests/engine/difference_theory_fixture.h"
#include "tests/engine/statistic.h"

namespace vorn::solver {
namespace {

bool is_integer(const DifferenceBound& bound) {
  const auto is_integral = [](const Term* term) {
    return term == nullptr || term->sort == Sort::kInt;
  };
  return is_integral(bound.source) && is_integral(bound.target);
}

/// What a comparison with Bellman and Ford has met.
struct Met {
  int num_sat = 0;
  int num_unsat = 0;
  int num_scoped_cores = 0;
  int num_decided_atoms = 0;
  std::uint64_t num_right_clauses = 0;
};

class FactsTest : public testing::DifferenceTheoryFixture {
 protected:
  /// Facts, atoms, scopes and questions in random order.
  class Session;

  static dl::Edge edge_of(const DifferenceBound& b) {
    const auto node = [](const Term* term) {
      return term == nullptr ? 0 : static_cast<int>(term->id) + 1;
    };
    constexpr int kNone = -1;
    return {node(b.source), node(b.target), b.weight, kNone};
  }
};

class FactsTest::Session {
 public:
  Session(unsigned seed, const std::vector<const Term*>& ints,
          const std::vector<const Term*>& reals, TermStore& store,
          const Configuration::Theory::La& lemmas, Met& met)
      : ints_(ints), reals_(reals), rng_(seed), rig_(store, lemmas), met_(met) {
    rig_.search.set_listener(&auditor_);
    truth_ = Literal(rig_.problem.new_variable(), false);
    rig_.problem.add_clause({truth_}, {ClauseKind::kConstant});
  }

  void run(int num_commands) {
    for (int k = 0; k < num_commands && !::testing::Test::HasFailure(); ++k) {
      SCOPED_TRACE("command " + std::to_string(k));
      const int choice = pick(20);
      if (choice < 6) {
        state();
      } else if (choice < 10) {
        make_atom();
      } else if (choice < 12) {
        open();
      } else if (choice < 14) {
        if (scopes_.size() > 0) close();
      } else if (choice < 15) {
        renumber();
      } else {
        ask();
      }
    }
    EXPECT_EQ(auditor_.num_wrong(), 0U);
    met_.num_right_clauses += auditor_.num_right();
  }

 private:
  struct Stated {
    DifferenceBound bound;
    std::size_t scope;
  };
  struct Atom {
    Literal literal;
    DifferenceBound bound;
    std::size_t scope;
  };

  int pick(int n) {
    return static_cast<int>(rng_() % static_cast<unsigned>(n));
  }
  DifferenceBound any_bound() {
    const auto& terms = pick(2) == 0 ? ints_ : reals_;
    const int n = static_cast<int>(terms.size());
    const int source = pick(n + 1);
    const int target = (source + 1 + pick(n)) % (n + 1);
    const auto term = [&](int k) {
      return k == n ? nullptr : terms[static_cast<std::size_t>(k)];
    };
    const bool is_strict = &terms == &reals_ && pick(3) == 0;
    return bound(term(source), term(target), pick(12) - 3, is_strict);
  }

  void state() {
    const DifferenceBound bound = any_bound();
    rig_.problem.add_fact(bound, is_integer(bound), truth_, {});
    stated_.push_back({bound, scopes_.size()});
  }
  void make_atom() {
    const DifferenceBound bound = any_bound();
    const Literal literal = rig_.problem.literal_of(bound, is_integer(bound));
    atoms_.push_back({literal, bound, scopes_.size()});
  }
  void open() {
    feed();
    scopes_.push();
    rig_.problem.open_scope();
  }
  void close() {
    scopes_.pop();
    const auto is_gone = [this](const auto& entry) {
      return entry.scope > scopes_.size();
    };
    stated_.erase(std::remove_if(stated_.begin(), stated_.end(), is_gone),
                  stated_.end());
    atoms_.erase(std::remove_if(atoms_.begin(), atoms_.end(), is_gone),
                 atoms_.end());
  }
  void renumber() {
    feed();
    rig_.search.retell_theory();
    rig_.theory.renumber(rig_.problem.renumber_atoms());
  }
  void feed() {
    rig_.theory.update();
    Problem::Clause clause;
    while (rig_.problem.take_clause(clause)) {
      rig_.search.add_clause(clause.literals, clause.origin);
    }
    ASSERT_TRUE(rig_.theory.push_facts([] { return false; }));
  }

  void ask() {
    feed();
    rig_.theory.start_check();
    std::vector<Literal> literals = rig_.problem.selectors();
    std::vector<std::pair<Literal, DifferenceBound>> assumed;
    for (int n = pick(4); n > 0 && !atoms_.empty(); --n) {
      const Atom& atom = atoms_[rng_() % atoms_.size()];
      if (pick(2) == 0) {
        assumed.emplace_back(atom.literal, atom.bound);
      } else {
        assumed.emplace_back(~atom.literal,
                             negate_bound(atom.bound, is_integer(atom.bound)));
      }
      literals.push_back(assumed.back().first);
    }
    std::vector<dl::Edge> edges;
    for (const Stated& fact : stated_) {
      edges.push_back(FactsTest::edge_of(fact.bound));
    }
    for (const auto& [literal, bound] : assumed) {
      edges.push_back(FactsTest::edge_of(bound));
    }
    const auto result = rig_.search.solve(
        literals, pick(4) == 0 ? 0 : rig_.problem.selectors().size());
    const bool is_sat = are_consistent(edges);
    ASSERT_EQ(result, is_sat ? Search::Result::kSat : Search::Result::kUnsat);
    rig_.search.check_invariants();
    if (is_sat) {
      ++met_.num_sat;
      for (const Stated& fact : stated_) EXPECT_TRUE(holds(fact.bound));
      for (const auto& [literal, bound] : assumed) EXPECT_TRUE(holds(bound));
      check_atoms();
      if (pick(2) == 0) rig_.theory.forget_changes();
    } else {
      ++met_.num_unsat;
      check_core(assumed);
    }
  }

  // Those that a stated bound on the same two decides have no other value.
  void check_atoms() {
    for (const Atom& atom : atoms_) {
      for (const Stated& fact : stated_) {
        if (fact.scope > 0) continue;
        const DifferenceBound opposite =
            negate_bound(atom.bound, is_integer(atom.bound));
        const auto follows = [&fact](const DifferenceBound& bound) {
          return bound.source == fact.bound.source &&
                 bound.target == fact.bound.target &&
                 !(bound.weight < fact.bound.weight);
        };
        if (follows(atom.bound)) {
          EXPECT_EQ(rig_.search.fixed_value(atom.literal), Value::kTrue);
        } else if (follows(opposite)) {
          EXPECT_EQ(rig_.search.fixed_value(atom.literal), Value::kFalse);
        } else {
          continue;
        }
        ++met_.num_decided_atoms;
      }
    }
  }

  // What was stated in scopes counts only if their selectors have failed.
  void check_core(
      const std::vector<std::pair<Literal, DifferenceBound>>& assumed) {
    const std::vector<Literal>& failed = rig_.search.failed_assumptions();
    const auto has_failed = [&failed](Literal literal) {
      return std::find(failed.begin(), failed.end(), literal) != failed.end();
    };
    std::vector<dl::Edge> edges;
    bool has_scope = false;
    for (const Stated& fact : stated_) {
      const bool counts = fact.scope == 0 ||
                          has_failed(rig_.problem.selectors()[fact.scope - 1]);
      if (counts) edges.push_back(FactsTest::edge_of(fact.bound));
      has_scope = has_scope || (counts && fact.scope > 0);
    }
    for (const auto& [literal, bound] : assumed) {
      if (has_failed(literal)) edges.push_back(FactsTest::edge_of(bound));
    }
    EXPECT_FALSE(are_consistent(edges));
    if (has_scope) ++met_.num_scoped_cores;
  }

  mpq_class value(const Term* term) {
    if (term == nullptr) return 0;
    return testing::to_mpq(
        rig_.theory.model_value(term).value_or(QNumber(1000)));
  }
  bool holds(const DifferenceBound& b) {
    const mpq_class difference = value(b.target) - value(b.source);
    const mpq_class limit = testing::to_mpq(b.weight.rational());
    return b.weight.eps().sign() < 0 ? difference < limit : difference <= limit;
  }

  const std::vector<const Term*>& ints_;
  const std::vector<const Term*>& reals_;
  std::mt19937 rng_;
  testing::ProblemRig rig_;
  ClauseAuditor auditor_{rig_.problem, &rig_.theory.facts_of_clause()};
  ScopeStack<Search, DifferenceTheory, Problem> scopes_{
      rig_.search, rig_.theory, rig_.problem};
  Literal truth_;
  std::vector<Stated> stated_;
  std::vector<Atom> atoms_;
  Met& met_;
};

// A fact that outlives its scope, comes too late or is left out of a conflict
// makes wrong answers and cores.
TEST_F(FactsTest, SessionsAgreeWithBellmanFord) {
  Met met;
  constexpr unsigned kSessions = test::kSanitized ? 40 : 200;
  for (unsigned seed = 0; seed < kSessions && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    Configuration::Theory::La lemmas;
    constexpr int kAllKinds = 7;
    lemmas.dl_tlemma_kinds = seed % 2 == 0 ? 0 : kAllKinds;
    Session session(seed, ints, reals, store, lemmas, met);
    session.run(120);
  }
  constexpr int kMany = static_cast<int>(kSessions);
  EXPECT_GT(met.num_sat, 4 * kMany);
  EXPECT_GT(met.num_unsat, 4 * kMany);
  EXPECT_GT(met.num_scoped_cores, kMany);
  EXPECT_GT(met.num_decided_atoms, kMany);
  EXPECT_GT(met.num_right_clauses, 10U * kSessions);
}

// Other searches work on a copy.
TEST_F(FactsTest, CopyOfDataHasThem) {
  Problem& problem = rig.problem;
  const Literal truth(problem.new_variable(), false);
  problem.add_fact(bound(ints[0], ints[1], 3), true, truth, {});
  problem.open_scope();
  problem.add_fact(bound(reals[1], reals[0], -2, true), false, truth, {});
  problem.add_fact(bound(nullptr, ints[0], 7), true, truth, {});
  // The same once more, now with a literal.
  problem.literal_of(bound(ints[0], ints[1], 3), true);
  const auto text = [](const Problem& of) {
    std::ostringstream out;
    of.print(out);
    const std::string whole = out.str();
    return whole.substr(whole.find('\n'));
  };

  const Problem copy(problem.data());

  EXPECT_EQ(text(Problem(problem.data())), text(problem));
  EXPECT_EQ(text(problem),
            "\nbound 3: i1 - i0 <= 3\n"
            "fact if 1: i1 - i0 <= 3\n"
            "fact if 2: r0 - r1 <= -2 - eps\n"
            "fact if 2: i0 - 0 <= 7\n"
            "neighbours: -1 3\n");
}

// Before, each had an atom: a variable to propagate, and a clause.
TEST_F(FactsTest, BesideChoicesTheyCostTheSearchNothing) {
  Engine engine(store);
  const auto leq = [this](const Term* x, const Term* y, int weight) {
    return store.make_leq(
        x, store.make_plus(y, store.make_number(QNumber(weight))));
  };
  const Term* p = store.make_symbol("p", Sort::kBool);
  engine.assert_term(store.make_or(p, leq(ints[0], ints[1], -1)));
  for (int weight = 0; weight < 500; ++weight) {
    engine.assert_term(leq(ints[2], ints[3], 1000 - weight));
  }
  EXPECT_EQ(engine.check(), Answer::kSat);
  EXPECT_LT(statistic(engine, "propagations"), 10U);
  engine.push();
  for (int weight = 0; weight < 500; ++weight) {
    engine.assert_term(leq(ints[3], ints[2], weight - 501));
  }
  EXPECT_EQ(engine.check(), Answer::kSat);
  EXPECT_LT(statistic(engine, "propagations"), 20U);
  engine.assert_term(leq(ints[3], ints[2], -502));
  EXPECT_EQ(engine.check(), Answer::kUnsat);
  engine.pop();
  EXPECT_EQ(engine.check(), Answer::kSat);
}

// A check that is stopped between two batches of them has to go on there.
TEST_F(FactsTest, StoppedWhileTheyArePushed) {
  std::vector<const Term*> terms{store.make_symbol("p", Sort::kBool)};
  terms.front() = store.make_or(
      terms.front(), store.make_leq(ints[0], store.make_number(QNumber(0))));
  const Term* last = store.make_symbol("x", Sort::kInt);
  const Term* first = last;
  constexpr int kNumFacts = 1500;
  for (int k = 0; k < kNumFacts; ++k) {
    const Term* next = store.make_symbol("x" + std::to_string(k), Sort::kInt);
    terms.push_back(store.make_less(last, next));
    last = next;
  }
  const Term* too_near = store.make_less(
      last, store.make_plus(first, store.make_number(QNumber(kNumFacts))));
  std::atomic<bool> stop{false};
  Engine engine(store);
  engine.set_stop(&stop);
  for (const Term* term : terms) engine.assert_term(term);
  int num_stops = 0;
  int polls = 0;
  engine.set_poll([&] { stop = stop || --polls <= 0; });
  Answer answer = Answer::kUnknown;
  while (answer == Answer::kUnknown && num_stops < 1000) {
    stop = false;
    polls = 1 + num_stops % 3;
    answer = engine.check();
    if (answer != Answer::kUnknown) break;
    EXPECT_EQ(engine.unknown_reason(), UnknownReason::kStopped);
    ++num_stops;
    // A scope that is opened and left meanwhile changes nothing.
    engine.push();
    engine.assert_term(too_near);
    engine.pop();
  }
  EXPECT_EQ(answer, Answer::kSat);
  EXPECT_GT(num_stops, 5);
  engine.set_poll(nullptr);
  stop = false;
  engine.assert_term(too_near);
  EXPECT_EQ(engine.check(), Answer::kUnsat);
}

}  // namespace
}  // namespace vorn::solver
