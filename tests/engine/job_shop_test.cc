// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {
namespace {

struct Operation {
  int machine;
  int duration;
};
using Shop = std::vector<std::vector<Operation>>;  // by job

// Jobs and machines, then for each job pairs of machine and duration.
Shop read_shop(const std::string& path) {
  std::ifstream in(path);
  std::size_t jobs = 0;
  std::size_t machines = 0;
  in >> jobs >> machines;
  Shop shop(jobs, std::vector<Operation>(machines));
  for (auto& job : shop) {
    for (Operation& operation : job) {
      in >> operation.machine >> operation.duration;
    }
  }
  EXPECT_TRUE(in.good() || in.eof()) << path;
  EXPECT_FALSE(in.fail()) << path;
  return shop;
}

class JobShopTest : public ::testing::Test {
 protected:
  const Term* start(std::size_t job, std::size_t step) {
    return store.make_symbol(
        "s" + std::to_string(job) + '_' + std::to_string(step), Sort::kInt);
  }
  const Term* end(std::size_t job, std::size_t step) {
    return store.make_plus(
        start(job, step), store.make_number(QNumber(shop[job][step].duration)));
  }

  void assert_shop(Engine& engine) {
    const Term* zero = store.make_number(QNumber(0));
    for (std::size_t j = 0; j < shop.size(); ++j) {
      engine.assert_term(store.make_leq(zero, start(j, 0)));
      for (std::size_t i = 0; i < shop[j].size(); ++i) {
        if (i > 0) {
          engine.assert_term(store.make_leq(end(j, i - 1), start(j, i)));
        }
        for (std::size_t k = 0; k < j; ++k) {
          for (std::size_t l = 0; l < shop[k].size(); ++l) {
            if (shop[j][i].machine != shop[k][l].machine) continue;
            engine.assert_term(
                store.make_or(store.make_leq(end(j, i), start(k, l)),
                              store.make_leq(end(k, l), start(j, i))));
          }
        }
      }
    }
  }
  // That every job ends by then.
  const Term* deadline(int time) {
    std::vector<const Term*> ends;
    for (std::size_t j = 0; j < shop.size(); ++j) {
      ends.push_back(store.make_leq(end(j, shop[j].size() - 1),
                                    store.make_number(QNumber(time))));
    }
    return store.make_and(ends);
  }

  void expect_schedule(Engine& engine, int time) {
    const auto at = [&](std::size_t job, std::size_t step) {
      return engine.number_value(start(job, step));
    };
    const auto done = [&](std::size_t job, std::size_t step) {
      QNumber value = at(job, step);
      value += QNumber(shop[job][step].duration);
      return value;
    };
    for (std::size_t j = 0; j < shop.size(); ++j) {
      EXPECT_GE(at(j, 0), QNumber(0));
      EXPECT_LE(done(j, shop[j].size() - 1), QNumber(time));
      for (std::size_t i = 0; i < shop[j].size(); ++i) {
        EXPECT_TRUE(at(j, i).is_integer());
        if (i > 0) {
          EXPECT_LE(done(j, i - 1), at(j, i));
        }
        for (std::size_t k = 0; k < j; ++k) {
          for (std::size_t l = 0; l < shop[k].size(); ++l) {
            if (shop[j][i].machine != shop[k][l].machine) continue;
            EXPECT_TRUE(done(j, i) <= at(k, l) || done(k, l) <= at(j, i));
          }
        }
      }
    }
  }

  Shop shop = read_shop(VORN_JOBSHOP_DIR "/ft06.txt");
  TermStore store;
};

// The kind of problem the solver is for: a schedule of 55 exists, of 54 none.
TEST_F(JobShopTest, CheckFindsTheShortestScheduleOfFt06) {
  ASSERT_EQ(shop.size(), 6U);
  Engine engine(store);
  assert_shop(engine);
  engine.push();
  engine.assert_term(deadline(55));
  ASSERT_EQ(engine.check(), Answer::kSat);
  expect_schedule(engine, 55);
  engine.assert_term(deadline(54));
  EXPECT_EQ(engine.check(), Answer::kUnsat);
  engine.pop();
  ASSERT_EQ(engine.check({deadline(55)}), Answer::kSat);
  expect_schedule(engine, 55);
  EXPECT_EQ(engine.check({deadline(54)}), Answer::kUnsat);
}

// The same with every kind of lemma, which must not change the optimum.
TEST_F(JobShopTest, CheckWithLemmasFindsTheShortestScheduleOfFt06) {
  for (const int kinds : {1, 2, 3}) {
    SCOPED_TRACE(kinds);
    EngineOptions options;
    options.lemmas.dl_tlemma_kinds = kinds;
    options.lemmas.dl_dedup_tlemmas = true;
    Engine engine(store, options);
    assert_shop(engine);
    EXPECT_EQ(engine.check({deadline(54)}), Answer::kUnsat);
    ASSERT_EQ(engine.check({deadline(55)}), Answer::kSat);
    expect_schedule(engine, 55);
  }
}

}  // namespace
}  // namespace vorn::solver
