// SPDX-License-Identifier: MIT
#include "solver/engine/engine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "solver/terms/term_store.h"
#include "solver/terms/term_sweep.h"
#include "tests/build_kind.h"
#include "tests/engine/random_problems.h"
#include "tests/engine/statistic.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

constexpr unsigned kSeeds = test::kSanitized ? 25 : 100;

class EngineTest : public ::testing::Test {
 protected:
  const Term* integer(const std::string& name) {
    return store.make_symbol(name, Sort::kInt);
  }
  const Term* real(const std::string& name) {
    return store.make_symbol(name, Sort::kReal);
  }
  const Term* number(int value) { return store.make_number(QNumber(value)); }
  // x - y <= limit.
  const Term* leq(const Term* x, const Term* y, int limit) {
    return store.make_leq(
        x, store.make_plus(y, store.make_number(QNumber(limit), y->sort)));
  }

  // More numbers than there are places for them: hard for any search that
  // learns clauses, and without a model.
  std::vector<const Term*> make_pigeons(int count) {
    std::vector<const Term*> assertions;
    std::vector<const Term*> pigeons;
    for (int i = 0; i < count; ++i) {
      pigeons.push_back(integer("pigeon" + std::to_string(i)));
      assertions.push_back(store.make_leq(number(1), pigeons.back()));
      assertions.push_back(store.make_less(pigeons.back(), number(count)));
    }
    assertions.push_back(store.make_distinct(pigeons));
    return assertions;
  }

  // The model as a point, with integers checked to be such.
  static testing::Point read_model(Engine& engine,
                                   const std::vector<const Term*>& symbols) {
    testing::Point point;
    for (const Term* symbol : symbols) {
      if (symbol->is_bool()) {
        point.bools[symbol] = engine.bool_value(symbol);
        continue;
      }
      const QNumber value = engine.number_value(symbol);
      if (symbol->sort == Sort::kInt) {
        EXPECT_TRUE(value.is_integer()) << symbol->name() << " = " << value;
      }
      point.numbers[symbol] = testing::to_mpq(value);
    }
    return point;
  }

  // Frees all terms but those of the engine, and these.
  static void sweep(TermStore& store, Engine& engine,
                    const std::vector<const Term*>& symbols,
                    const std::vector<const Term*>& others = {}) {
    TermSweep sweep(store);
    sweep.keep(symbols);
    sweep.keep(others);
    engine.keep_terms(sweep);
    sweep.spread();
    engine.forget_swept(sweep);
    sweep.finish();
    engine.renumber_terms(sweep);
  }

  static Answer check_afresh(TermStore& store,
                             const std::vector<const Term*>& assertions,
                             const EngineOptions& options = {}) {
    Engine engine(store, options);
    for (const Term* term : assertions) engine.assert_term(term);
    return engine.check();
  }

  TermStore store;
};

// What a user sees first.
TEST_F(EngineTest, CheckTellsCyclesApart) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* y = integer("y");
  const Term* z = integer("z");
  EXPECT_EQ(engine.check(), Answer::kSat);
  engine.assert_term(leq(x, y, -1));
  engine.assert_term(leq(y, z, -1));
  EXPECT_EQ(engine.check(), Answer::kSat);
  engine.assert_term(leq(z, x, 1));

  EXPECT_EQ(engine.check(), Answer::kUnsat);
  EXPECT_TRUE(engine.failed_assumptions().empty());
}

// A popped assertion that still counts, or a kept one that does not, is a
// wrong answer to the next question.
TEST_F(EngineTest, PopTakesBackAssertions) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* y = integer("y");
  engine.assert_term(leq(x, y, 0));
  engine.push();
  engine.push();
  engine.assert_term(leq(y, x, -1));
  EXPECT_EQ(engine.num_levels(), 2U);
  EXPECT_EQ(engine.check(), Answer::kUnsat);
  engine.pop();
  EXPECT_EQ(engine.assertions().size(), 1U);
  EXPECT_EQ(engine.check(), Answer::kSat);
  engine.assert_term(leq(y, x, 0));
  EXPECT_EQ(engine.check(), Answer::kSat);
  EXPECT_EQ(engine.number_value(x), engine.number_value(y));
  engine.pop();
  EXPECT_EQ(engine.num_levels(), 0U);
  engine.assert_term(store.make_bool(false));
  EXPECT_EQ(engine.check(), Answer::kUnsat);
  engine.push();
  EXPECT_EQ(engine.check(), Answer::kUnsat);
  engine.pop();
  EXPECT_EQ(engine.check(), Answer::kUnsat);
}

// A false assertion inside a level is no reason to give up for good.
TEST_F(EngineTest, PopAfterFalseIsConsistentAgain) {
  Engine engine(store);
  engine.push();
  engine.assert_term(store.make_bool(false));
  EXPECT_EQ(engine.check(), Answer::kUnsat);
  engine.pop();

  EXPECT_EQ(engine.check(), Answer::kSat);
}

// Everything at once against an engine that starts from nothing: levels,
// assumptions, changes of options, checks left out.
TEST_F(EngineTest, CheckAfterRandomCommandsAgreesWithFreshEngine) {
  int num_sat = 0;
  int num_unsat = 0;
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    TermStore terms;
    testing::RandomProblems problems(terms, seed, 5, seed % 2 == 1);
    EngineOptions options;
    options.lemmas.dl_tlemma_kinds = static_cast<int>(seed % 4);
    if (seed % 3 != 0) options.forgotten_bounds = {0, 0};
    if (seed % 2 != 0) options.former_assumptions = {0, 0};
    Engine engine(terms, options);
    for (int command = 0; command < 60; ++command) {
      if (seed % 3 == 2) sweep(terms, engine, problems.symbols());
      const int choice = problems.pick(20);
      if (choice < 10) {
        engine.assert_term(problems.make_clause());
      } else if (choice < 13) {
        engine.push();
      } else if (choice < 15 && engine.num_levels() > 0) {
        engine.pop();
      } else if (choice == 15 && problems.pick(3) == 0) {
        options.search.seed = static_cast<std::uint64_t>(problems.pick(100));
        engine.set_options(options);
      } else if (choice >= 16) {
        std::vector<const Term*> assumptions;
        const int count = problems.pick(4);
        for (int i = 0; i < count; ++i) {
          assumptions.push_back(problems.make_literal());
        }
        std::vector<const Term*> all = engine.assertions();
        all.insert(all.end(), assumptions.begin(), assumptions.end());
        const Answer answer = engine.check(assumptions);
        ASSERT_EQ(answer, check_afresh(terms, all)) << "command " << command;
        if (answer == Answer::kSat) {
          ++num_sat;
          // Values stay for whoever asks later.
          if (seed % 5 == 0) sweep(terms, engine, problems.symbols(), all);
          const testing::Point point = read_model(engine, problems.symbols());
          for (const Term* term : all) {
            ASSERT_TRUE(testing::naive_bool(term, point));
          }
        } else {
          ++num_unsat;
        }
      }
    }
  }
  EXPECT_GT(num_sat, static_cast<int>(kSeeds));
  EXPECT_GT(num_unsat, static_cast<int>(kSeeds));
}

// A core with a model sends its reader the wrong way.
TEST_F(EngineTest, FailedAssumptionsAreInconsistentSubset) {
  int num_cores = 0;
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    testing::RandomProblems problems(store, seed, 4, true);
    Engine engine(store);
    for (int i = 0; i < 6; ++i) engine.assert_term(problems.make_clause());
    if (engine.check() != Answer::kSat) continue;
    std::vector<const Term*> assumptions;
    for (int i = 0; i < 10; ++i) assumptions.push_back(problems.make_literal());
    if (engine.check(assumptions) != Answer::kUnsat) {
      EXPECT_TRUE(engine.failed_assumptions().empty());
      continue;
    }
    ++num_cores;
    const std::vector<std::size_t> failed = engine.failed_assumptions();
    ASSERT_FALSE(failed.empty());
    EXPECT_EQ(std::set<std::size_t>(failed.begin(), failed.end()).size(),
              failed.size());
    std::vector<const Term*> core = engine.assertions();
    for (const std::size_t k : failed) core.push_back(assumptions.at(k));
    EXPECT_EQ(check_afresh(store, core), Answer::kUnsat);
    EXPECT_EQ(engine.check(), Answer::kSat);
  }
  EXPECT_GT(num_cores, static_cast<int>(kSeeds / 4));
}

// Assumptions that meet in one literal.
TEST_F(EngineTest, FailedAssumptionsWithRepeatsAndOppositesPointAtThem) {
  Engine engine(store);
  const Term* p = store.make_symbol("p", Sort::kBool);
  const Term* q = store.make_symbol("q", Sort::kBool);
  const Term* not_p = store.make_not(p);
  EXPECT_EQ(engine.check({q, p, q, not_p}), Answer::kUnsat);
  EXPECT_EQ(engine.failed_assumptions(), (std::vector<std::size_t>{1, 3}));

  engine.assert_term(not_p);
  EXPECT_EQ(engine.check({q, p, p}), Answer::kUnsat);
  ASSERT_EQ(engine.failed_assumptions().size(), 1U);
  EXPECT_GE(engine.failed_assumptions()[0], 1U);
  EXPECT_EQ(engine.check({q, store.make_bool(false)}), Answer::kUnsat);
  EXPECT_EQ(engine.failed_assumptions(), std::vector<std::size_t>{1});
  EXPECT_EQ(engine.check({q, store.make_bool(true)}), Answer::kSat);
  EXPECT_TRUE(engine.failed_assumptions().empty());
}

// Assumptions hold for one check only.
TEST_F(EngineTest, CheckForgetsAssumptions) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* low = store.make_leq(x, number(3));
  const Term* high = store.make_less(number(3), x);
  EXPECT_EQ(engine.check({low}), Answer::kSat);
  EXPECT_LE(engine.number_value(x), QNumber(3));
  EXPECT_EQ(engine.check({high}), Answer::kSat);
  EXPECT_GT(engine.number_value(x), QNumber(3));

  EXPECT_EQ(engine.check({low, high}), Answer::kUnsat);
  EXPECT_EQ(engine.check(), Answer::kSat);
}

// A model has to give every symbol a value, asked about or not.
TEST_F(EngineTest, ValueOfUnmentionedSymbolIsFalseOrZero) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* y = integer("y");
  const Term* r = real("r");
  const Term* p = store.make_symbol("p", Sort::kBool);
  engine.assert_term(store.make_equal(x, number(7)));
  ASSERT_EQ(engine.check(), Answer::kSat);

  EXPECT_EQ(engine.number_value(x), QNumber(7));
  EXPECT_EQ(engine.number_value(y), QNumber(0));
  EXPECT_EQ(engine.number_value(r), QNumber(0));
  EXPECT_FALSE(engine.bool_value(p));
  EXPECT_EQ(engine.number_value(store.make_times(x, x)), QNumber(49));
  EXPECT_TRUE(engine.bool_value(store.make_less(y, x)));
}

// Strict bounds between rationals leave room for no rounding at all.
TEST_F(EngineTest, NumberValueOfRealsIsExact) {
  Engine engine(store);
  const Term* r = real("r");
  QNumber third(1);
  third /= QNumber(3);
  const QNumber above = *QNumber::from_string(
      "333333333333333334/" + std::string("1000000000000000000"));
  engine.assert_term(store.make_less(store.make_number(third, Sort::kReal), r));
  engine.assert_term(store.make_less(r, store.make_number(above, Sort::kReal)));

  ASSERT_EQ(engine.check(), Answer::kSat);
  EXPECT_GT(engine.number_value(r), third);
  EXPECT_LT(engine.number_value(r), above);
}

// Integers and reals meet in the graph's zero; a fraction there must not
// become an integer's value.
TEST_F(EngineTest, NumberValueOfIntegerBesideRealsIsIntegral) {
  Engine engine(store);
  const Term* i = integer("i");
  const Term* r = real("r");
  QNumber half(1);
  half /= QNumber(2);
  engine.assert_term(store.make_leq(i, number(5)));
  engine.assert_term(store.make_leq(store.make_number(half, Sort::kReal), r));

  ASSERT_EQ(engine.check(), Answer::kSat);
  EXPECT_TRUE(engine.number_value(i).is_integer());
}

// Variables of few values that lean on each other as well as on zero, with a
// bound against zero still open: zero itself is then a variable of few values.
TEST_F(EngineTest, CheckHandlesSmallDomainsAroundZero) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* y = integer("y");
  const Term* p = store.make_symbol("p", Sort::kBool);
  engine.assert_term(store.make_leq(number(0), x));
  engine.assert_term(store.make_leq(x, number(2)));
  engine.assert_term(leq(x, y, 0));
  engine.assert_term(leq(y, x, 2));
  engine.assert_term(store.make_or(p, store.make_leq(y, number(3))));
  const Term* top = store.make_equal(y, number(4));

  ASSERT_EQ(engine.check({top}), Answer::kSat);
  EXPECT_EQ(engine.number_value(x), QNumber(2));
  EXPECT_TRUE(engine.bool_value(p));
  EXPECT_EQ(engine.check({top, store.make_not(p)}), Answer::kUnsat);
  EXPECT_EQ(engine.check({store.make_leq(number(5), y)}), Answer::kUnsat);
}

// Numbers past the machine word are numbers like others.
TEST_F(EngineTest, CheckHandlesHugeNumbers) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* y = integer("y");
  const QNumber huge =
      *QNumber::from_string("100000000000000000000000000000000000000000");
  const Term* step = store.make_number(huge);
  engine.assert_term(store.make_leq(store.make_plus(x, step), y));
  ASSERT_EQ(engine.check(), Answer::kSat);
  QNumber distance = engine.number_value(y);
  distance -= engine.number_value(x);
  EXPECT_GE(distance, huge);

  engine.assert_term(store.make_less(y, store.make_plus(step, x)));
  EXPECT_EQ(engine.check(), Answer::kUnsat);
}

// The message about an atom outside needs the atom, and nothing else changed.
TEST_F(EngineTest, OutsideFragmentNamesTheAtomAndChangesNothing) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* y = integer("y");
  const Term* bad = store.make_leq(store.make_plus(x, y), number(3));
  engine.assert_term(leq(x, y, 2));

  EXPECT_EQ(engine.outside_fragment(store.make_or({leq(x, y, 1), bad})), bad);
  EXPECT_EQ(engine.outside_fragment(leq(x, y, 1)), nullptr);
  EXPECT_EQ(engine.assertions().size(), 1U);
  EXPECT_EQ(engine.check(), Answer::kSat);
}

// Without this a caller cannot keep its time limit.
TEST_F(EngineTest, CheckWithStopFlagSetIsUnknown) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* y = integer("y");
  engine.assert_term(store.make_or({leq(x, y, -1), leq(y, x, -1)}));
  std::atomic<bool> stop{true};
  engine.set_stop(&stop);
  EXPECT_EQ(engine.check(), Answer::kUnknown);
  EXPECT_EQ(engine.unknown_reason(), UnknownReason::kStopped);

  stop = false;
  EXPECT_EQ(engine.check(), Answer::kSat);
  EXPECT_EQ(engine.unknown_reason(), UnknownReason::kNone);
  stop = true;
  engine.set_stop(nullptr);
  EXPECT_EQ(engine.check(), Answer::kSat);
}

// The flag may come at any moment of a long check, and the engine goes on.
TEST_F(EngineTest, CheckStoppedHalfwayCanBeResumed) {
  EngineOptions options;
  options.search.progress_interval = 10;
  // Each pigeon is a task; adding them up needs no search.
  options.machines = Machines::kOff;
  Engine engine(store, options);
  for (const Term* term : make_pigeons(12)) engine.assert_term(term);
  std::atomic<bool> stop{false};
  engine.set_stop(&stop);
  std::uint64_t conflicts = 0;
  engine.set_progress([&](const SearchStatistics& statistics) {
    conflicts = statistics.conflicts;
    if (statistics.conflicts >= 300) stop = true;
  });
  EXPECT_EQ(engine.check(), Answer::kUnknown);
  EXPECT_EQ(engine.unknown_reason(), UnknownReason::kStopped);
  EXPECT_GE(conflicts, 300U);
  EXPECT_LT(conflicts, 400U);

  stop = false;
  engine.set_progress(nullptr);
  EXPECT_EQ(engine.check({store.make_leq(number(12), integer("pigeon0"))}),
            Answer::kUnsat);
}

// It may come while the assertions, or the assumptions, are being encoded, and
// scopes may be left before that goes on: no later answer shows it.
TEST_F(EngineTest, ChecksStoppedAnywhereLeaveLaterOnesRight) {
  constexpr unsigned kSeed = 20241122;
  SCOPED_TRACE(kSeed);
  std::mt19937 random(kSeed);
  std::atomic<bool> stop{false};
  std::atomic<bool> done{false};
  constexpr unsigned kLongest = test::kSanitized ? 3000 : 300;
  std::thread stopper([&stop, &done] {
    std::mt19937 times(kSeed + 1);
    while (!done) {
      std::this_thread::sleep_for(
          std::chrono::microseconds(times() % kLongest));
      stop = true;
    }
  });
  testing::RandomProblems problems(store, kSeed, 8, true);
  Engine engine(store, EngineOptions());
  std::vector<std::vector<const Term*>> levels(1);
  std::map<Answer, int> answers;
  for (unsigned round = 0; round < 4 * kSeeds && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    for (auto k = random() % 3; k > 0 && levels.size() > 1; --k) {
      engine.pop();
      levels.pop_back();
    }
    for (auto k = random() % 3; k > 0 && levels.size() < 4; --k) {
      engine.push();
      levels.emplace_back();
      for (auto i = random() % 20; i > 0; --i) {
        levels.back().push_back(problems.make_clause());
        engine.assert_term(levels.back().back());
      }
    }
    std::vector<const Term*> assumptions;
    for (auto i = random() % 6; i > 0; --i) {
      assumptions.push_back(problems.make_clause());
    }
    stop = false;
    // Each other check has all the time it needs, however slow the machine.
    engine.set_stop(round % 2 == 0 ? &stop : nullptr);
    const Answer answer = engine.check(assumptions);
    ++answers[answer];
    if (answer == Answer::kUnknown) {
      EXPECT_EQ(engine.unknown_reason(), UnknownReason::kStopped);
      continue;
    }
    std::vector<const Term*> all = assumptions;
    for (const auto& level : levels) {
      all.insert(all.end(), level.begin(), level.end());
    }
    EXPECT_EQ(answer, check_afresh(store, all));
  }
  done = true;
  stopper.join();
  for (const Answer answer : {Answer::kSat, Answer::kUnsat, Answer::kUnknown}) {
    EXPECT_GT(answers[answer], 5);
  }
}

// Each lemma setting is a way through the same problem, not another problem.
TEST_F(EngineTest, CheckWithAllLemmaSettingsGivesTheSameAnswer) {
  std::map<int, std::uint64_t> lemmas_used;
  int num_unsat = 0;
  for (unsigned seed = 0; seed < kSeeds / 2; ++seed) {
    SCOPED_TRACE(seed);
    TermStore terms;
    testing::RandomProblems problems(terms, seed, 8, seed % 2 == 1);
    std::vector<const Term*> assertions;
    for (int i = 0; i < 45; ++i) assertions.push_back(problems.make_clause());
    const Answer expected = check_afresh(terms, assertions);
    ASSERT_NE(expected, Answer::kUnknown);
    num_unsat += expected == Answer::kUnsat ? 1 : 0;
    for (const int kinds : {1, 2, 3}) {
      for (const bool dedup : {false, true}) {
        EngineOptions options;
        // Implied literals leave the graph few conflicts to learn from.
        options.propagation.mode = Propagation::kOff;
        options.lemmas = {kinds, 0.5F, dedup};
        Engine engine(terms, options);
        for (const Term* term : assertions) engine.assert_term(term);
        ASSERT_EQ(engine.check(), expected) << kinds << dedup;
        lemmas_used[kinds] += statistic(engine, "lemmas used");
      }
    }
  }
  for (const int kinds : {1, 2, 3}) EXPECT_GT(lemmas_used[kinds], 0U) << kinds;
  EXPECT_GT(num_unsat, 2);
  EXPECT_LT(num_unsat, static_cast<int>(kSeeds / 2) - 2);
}

// Implied literals are another way through the same problem, not another
// problem: with the matrix, with paths and as the closure changes from one to
// the other, over integers and reals.
TEST_F(EngineTest, CheckWithAllPropagationSettingsGivesTheSameAnswer) {
  constexpr std::size_t kFewBytes = 6000;
  std::uint64_t implied = 0;
  std::uint64_t explained = 0;
  std::uint64_t found = 0;
  int num_unsat = 0;
  for (unsigned seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    TermStore terms;
    testing::RandomProblems problems(terms, seed, 8, seed % 2 == 1);
    std::vector<const Term*> assertions;
    for (int i = 0; i < 45; ++i) assertions.push_back(problems.make_clause());
    EngineOptions options;
    options.phases = {seed % 3, seed % 4};
    options.propagation.mode = Propagation::kOff;
    Engine plain(terms, options);
    for (const Term* term : assertions) plain.assert_term(term);
    const Answer expected = plain.check();
    ASSERT_NE(expected, Answer::kUnknown);
    EXPECT_EQ(statistic(plain, "implied literals"), 0U);
    num_unsat += expected == Answer::kUnsat ? 1 : 0;
    for (const std::size_t bytes :
         {std::size_t{0}, kFewBytes, kFewBytes * 99}) {
      for (const Propagation mode : {Propagation::kAuto, Propagation::kFull}) {
        options.propagation.mode = mode;
        options.propagation.limits.matrix_bytes = bytes;
        Engine engine(terms, options);
        for (const Term* term : assertions) engine.assert_term(term);
        ASSERT_EQ(engine.check(), expected) << bytes;
        implied += statistic(engine, "implied literals");
        explained += statistic(engine, "explained literals");
        found += statistic(engine, "local searches that found");
      }
    }
  }
  EXPECT_GT(found, 10U);
  EXPECT_GT(implied, 1000U);
  EXPECT_GT(explained, 100U);
  EXPECT_GT(num_unsat, 2);
  EXPECT_LT(num_unsat, static_cast<int>(kSeeds) - 2);
}

// A change of options rebuilds the machinery; the assertions must survive it.
TEST_F(EngineTest, SetOptionsKeepsAssertionsAndLevels) {
  Engine engine(store);
  const Term* x = integer("x");
  const Term* y = integer("y");
  engine.assert_term(leq(x, y, -1));
  engine.push();
  engine.assert_term(leq(y, x, 0));
  EXPECT_EQ(engine.check(), Answer::kUnsat);
  EngineOptions options = engine.options();
  options.search.seed = 7;
  options.lemmas.dl_tlemma_kinds = 3;
  options.check_models = false;
  engine.set_options(options);
  EXPECT_EQ(engine.options().search.seed, 7U);
  EXPECT_EQ(engine.options().lemmas.dl_tlemma_kinds, 3);

  EXPECT_EQ(engine.num_levels(), 1U);
  EXPECT_EQ(engine.check(), Answer::kUnsat);
  engine.pop();
  EXPECT_EQ(engine.check(), Answer::kSat);
  EXPECT_LT(engine.number_value(x), engine.number_value(y));
}

// What the command prints; a key given twice could not be told apart.
TEST_F(EngineTest, StatisticsHaveDistinctNames) {
  Engine engine(store);
  const auto count = [](const Engine& e) { return e.statistics().size(); };
  EXPECT_GT(count(engine), 0U);
  for (const Term* term : make_pigeons(7)) engine.assert_term(term);
  ASSERT_EQ(engine.check(), Answer::kUnsat);

  std::map<std::string, std::string> rows;
  for (const auto& [name, value] : engine.statistics()) {
    EXPECT_TRUE(rows.emplace(name, value).second) << name;
    EXPECT_FALSE(value.empty()) << name;
  }
  EXPECT_GT(std::stoull(rows.at("conflicts")), 0U);
  EXPECT_GT(std::stoull(rows.at("theory conflicts")), 0U);
}

}  // namespace
}  // namespace vorn::solver
