// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term_store.h"
#include "tests/build_kind.h"
#include "tests/engine/growing_problems.h"
#include "tests/engine/statistic.h"
#include "tests/terms/random_terms.h"

// Implied literals in sessions: between checks, scopes bring atoms, nodes and
// larger numbers to a closure that has edges already, and take them away.

namespace vorn::solver {
namespace {

constexpr unsigned kSessions = test::kSanitized ? 3 : 9;
constexpr int kCommands = 80;

/// What has to occur for the comparison to mean anything.
struct Seen {
  std::uint64_t implied_later = 0;
  std::uint64_t implied_in_scopes = 0;
  std::uint64_t explained_later = 0;
  /// Checks in which all active edges were pushed anew, and how it ended.
  int rebuilt_matrices = 0;
  int handed_to_paths = 0;
  /// Checks behind which there was a matrix.
  int with_matrix = 0;
};

/// An engine that lives as long as the session, with one setting.
class Follower {
 public:
  Follower(TermStore& store, Propagation mode, std::size_t matrix_bytes)
      : limit_(matrix_bytes) {
    EngineOptions options;
    options.propagation.mode = mode;
    // Sets of tasks imply literals on their own.
    if (mode == Propagation::kOff) options.machines = Machines::kOff;
    options.propagation.limits.matrix_bytes = matrix_bytes;
    if (matrix_bytes == 0) {
      options.forgotten_bounds = {0, 0};
      options.former_assumptions = {0, 0};
      options.phases = {0, 0};
    }
    engine_ = std::make_unique<Engine>(store, options);
  }

  Answer check(const std::vector<const Term*>& assumptions, Seen& seen) {
    const std::uint64_t implied = statistic(*engine_, "implied literals");
    const std::uint64_t explained = statistic(*engine_, "explained literals");
    const std::uint64_t rebuilds = statistic(*engine_, "closure rebuilds");
    const Answer answer = engine_->check(assumptions);
    const std::uint64_t more =
        statistic(*engine_, "implied literals") - implied;
    if (num_checks_++ > 0) {
      seen.implied_later += more;
      seen.explained_later +=
          statistic(*engine_, "explained literals") - explained;
    }
    if (engine_->num_levels() > 0) seen.implied_in_scopes += more;
    const bool has_matrix = statistic(*engine_, "closure matrix bytes") > 0;
    seen.with_matrix += has_matrix ? 1 : 0;
    if (limit_ > 0 && statistic(*engine_, "closure rebuilds") > rebuilds) {
      ++(has_matrix ? seen.rebuilt_matrices : seen.handed_to_paths);
    }
    return answer;
  }
  Engine& engine() { return *engine_; }

 private:
  std::size_t limit_;
  std::unique_ptr<Engine> engine_;
  int num_checks_ = 0;
};

/// One session: the same commands to engines of all settings, and to one that
/// starts from nothing at each check.
class Session {
 public:
  Session(unsigned seed, std::map<Propagation, Seen>& seen)
      : problems_(store_, seed, seed % 3 != 0), seen_(seen) {
    // None, as much as a few nodes and improvements take, and plenty.
    constexpr std::size_t kFewBytes = 4000;
    for (const Propagation mode : {Propagation::kAuto, Propagation::kFull}) {
      for (const std::size_t bytes :
           {std::size_t{0}, kFewBytes, std::size_t{1} << 20U}) {
        add_follower(mode, bytes);
      }
    }
    add_follower(Propagation::kOff, 0);
  }

  void run() {
    for (int i = 0; i < 30; ++i) assert_next();
    for (int command = 0; command < kCommands; ++command) {
      SCOPED_TRACE("command " + std::to_string(command));
      const int choice = problems_.pick(20);
      if (choice < 8) {
        assert_next();
      } else if (choice < 11) {
        push();
      } else if (choice < 14) {
        if (num_levels_ > 0) pop();
      } else {
        ASSERT_NO_FATAL_FAILURE(check());
      }
    }
  }
  int num_sat() const { return num_sat_; }
  int num_unsat() const { return num_unsat_; }
  int num_cores() const { return num_cores_; }

 private:
  void add_follower(Propagation mode, std::size_t bytes) {
    modes_.push_back(mode);
    followers_.push_back(std::make_unique<Follower>(store_, mode, bytes));
  }

  void assert_next() {
    const Term* term = problems_.make_assertion();
    for (const auto& follower : followers_) {
      follower->engine().assert_term(term);
    }
  }
  void push() {
    ++num_levels_;
    problems_.open_scope();
    for (const auto& follower : followers_) follower->engine().push();
    // So that it is about the variables that it brought.
    for (int i = 0; i < 14; ++i) assert_next();
  }
  void pop() {
    --num_levels_;
    problems_.close_scope();
    for (const auto& follower : followers_) follower->engine().pop();
  }

  /// By an engine without propagation.
  Answer check_afresh(const std::vector<const Term*>& assertions) {
    EngineOptions options;
    options.propagation.mode = Propagation::kOff;
    Engine engine(store_, options);
    for (const Term* term : assertions) engine.assert_term(term);
    return engine.check();
  }

  void check() {
    std::vector<const Term*> assumptions;
    const int count = problems_.pick(3) == 0 ? 0 : 2 + problems_.pick(11);
    for (int i = 0; i < count; ++i) {
      assumptions.push_back(problems_.make_literal());
    }
    const std::vector<const Term*> assertions =
        followers_.front()->engine().assertions();
    std::vector<const Term*> all = assertions;
    all.insert(all.end(), assumptions.begin(), assumptions.end());
    const Answer expected = check_afresh(all);
    ASSERT_NE(expected, Answer::kUnknown);
    ++(expected == Answer::kSat ? num_sat_ : num_unsat_);
    std::set<std::vector<std::size_t>> cores;
    for (std::size_t i = 0; i < followers_.size(); ++i) {
      SCOPED_TRACE("engine " + std::to_string(i));
      Engine& engine = followers_[i]->engine();
      ASSERT_EQ(engine.assertions(), assertions);
      ASSERT_EQ(followers_[i]->check(assumptions, seen_[modes_[i]]), expected);
      if (expected == Answer::kSat) {
        ASSERT_NO_FATAL_FAILURE(expect_model(engine, all));
      } else {
        cores.insert(engine.failed_assumptions());
      }
    }
    for (const std::vector<std::size_t>& core : cores) {
      std::vector<const Term*> part = assertions;
      for (const std::size_t k : core) part.push_back(assumptions.at(k));
      ASSERT_EQ(check_afresh(part), Answer::kUnsat);
      if (!core.empty()) ++num_cores_;
    }
  }

  void expect_model(Engine& engine, const std::vector<const Term*>& terms) {
    testing::Point point;
    for (const Term* symbol : problems_.symbols()) {
      if (symbol->is_bool()) {
        point.bools[symbol] = engine.bool_value(symbol);
        continue;
      }
      const QNumber value = engine.number_value(symbol);
      ASSERT_TRUE(symbol->sort == Sort::kReal || value.is_integer()) << value;
      point.numbers[symbol] = testing::to_mpq(value);
    }
    for (const Term* term : terms) {
      ASSERT_TRUE(testing::naive_bool(term, point));
    }
  }

  TermStore store_;
  testing::GrowingProblems problems_;
  std::map<Propagation, Seen>& seen_;
  std::vector<Propagation> modes_;
  std::vector<std::unique_ptr<Follower>> followers_;
  int num_levels_ = 0;
  int num_sat_ = 0;
  int num_unsat_ = 0;
  int num_cores_ = 0;
};

// An edge, a node or a number that outlives its scope in the closure, or that
// comes to it too late, is a literal implied by nothing: a wrong answer, a
// model that violates an assertion, or a core that has a model. No single check
// shows it.
TEST(PropagationScopesTest, SessionsAgreeWithFreshEnginesInAllSettings) {
  std::map<Propagation, Seen> seen;
  int num_sat = 0;
  int num_unsat = 0;
  int num_cores = 0;
  for (unsigned seed = 0; seed < kSessions; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Session session(seed, seen);
    ASSERT_NO_FATAL_FAILURE(session.run());
    num_sat += session.num_sat();
    num_unsat += session.num_unsat();
    num_cores += session.num_cores();
  }
  const auto seeds = static_cast<int>(kSessions);
  EXPECT_GT(num_sat, 5 * seeds);
  EXPECT_GT(num_unsat, 2 * seeds);
  EXPECT_GT(num_cores, seeds);
  for (const Propagation mode : {Propagation::kAuto, Propagation::kFull}) {
    SCOPED_TRACE("mode " + std::to_string(static_cast<int>(mode)));
    const Seen& found = seen[mode];
    EXPECT_GT(found.implied_later, 200U * kSessions);
    EXPECT_GT(found.implied_in_scopes, 200U * kSessions);
    EXPECT_GT(found.explained_later, kSessions);
    EXPECT_GT(found.rebuilt_matrices, seeds);
    EXPECT_GT(found.handed_to_paths, seeds / 3);
    EXPECT_GT(found.with_matrix, 5 * seeds);
  }
  EXPECT_EQ(seen[Propagation::kOff].implied_later, 0U);
}

// A literal that the matrix has implied may be explained when paths have taken
// over. Steps along a chain imply a bound; tighter steps then make the matrix
// outgrow its memory; and the core of the bound's opposite is still the first
// steps, of which none can be left out.
TEST(PropagationScopesTest, CoreIsTheSameOnceTheMatrixWasHandedToPaths) {
  constexpr int kNodes = 20;
  for (const bool outgrows : {false, true}) {
    SCOPED_TRACE(outgrows);
    TermStore store;
    std::vector<const Term*> nodes;
    for (int i = 0; i < kNodes; ++i) {
      nodes.push_back(store.make_symbol("x" + std::to_string(i), Sort::kInt));
    }
    const auto at_most = [&](int from, int to, int limit) {
      return store.make_leq(
          nodes[static_cast<std::size_t>(to)],
          store.make_plus(nodes[static_cast<std::size_t>(from)],
                          store.make_number(QNumber(limit))));
    };
    std::vector<const Term*> assumptions;
    for (const int limit : {1, 0}) {
      for (int i = 0; i + 1 < kNodes; ++i) {
        assumptions.push_back(at_most(i, i + 1, limit));
      }
    }
    assumptions.push_back(store.make_not(at_most(0, 3, 3)));
    EngineOptions options;
    options.propagation.mode = Propagation::kFull;
    // Enough for the matrix and the first round, or for both.
    options.propagation.limits.matrix_bytes = outgrows ? 16000 : 1U << 20U;
    Engine engine(store, options);
    // Implied before the other, with a path of its own.
    engine.assert_term(
        store.make_or(store.make_symbol("p", Sort::kBool), at_most(0, 2, 2)));
    ASSERT_EQ(engine.check(assumptions), Answer::kUnsat);
    EXPECT_EQ(engine.failed_assumptions(),
              (std::vector<std::size_t>{0, 1, 2, assumptions.size() - 1}));
    EXPECT_EQ(statistic(engine, "closure rebuilds"), outgrows ? 1U : 0U);
    EXPECT_EQ(statistic(engine, "closure matrix bytes") == 0, outgrows);
    EXPECT_GT(statistic(engine, "closure improvements"), 190U);
    EXPECT_GT(statistic(engine, "explained literals"), 0U);
  }
}

}  // namespace
}  // namespace vorn::solver
