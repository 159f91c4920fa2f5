// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "solver/c/vorn.h"
#include "tests/threads/in_threads.h"

// Solvers of C in threads of their own, and calls for one solver from two.

namespace vorn::test {
namespace {

constexpr int kThreads = 4;

// What a solver answers to a series of random questions.
std::string transcript(unsigned seed) {
  std::mt19937 random(seed);
  const auto pick = [&random](unsigned bound) { return random() % bound; };
  std::string text;
  for (int round = 0; round < 4; ++round) {
    vorn_solver* s = vorn_solver_new(VORN_KEEP_PROOFS, seed);
    std::vector<vorn_number> x;
    for (int k = 0; k < 6; ++k) x.push_back(vorn_new_int(s, nullptr));
    for (int k = 0; k < 16; ++k) {
      vorn_formula clause[2];
      for (vorn_formula& one : clause) {
        const std::size_t a = pick(6);
        one = vorn_at_most(s, x[a], x[(a + 1 + pick(5)) % 6],
                           static_cast<std::int64_t>(pick(9)) - 5);
      }
      vorn_add_clause(s, 2, clause);
    }
    vorn_add_at_most(s, 0, x[0], 0);
    vorn_minimize(s, x[0], nullptr);
    const char* part = nullptr;
    if (vorn_solve(s) == VORN_SAT) {
      for (const vorn_number one : x) {
        vorn_number_value_text(s, one, &part);
        text += part;
        text += ' ';
      }
    } else {
      vorn_explanation(s, &part);
      text += part;
    }
    vorn_proof(s, &part);
    text += std::to_string(std::string(part).size()) + '\n';
    vorn_solver_free(s);
  }
  return text;
}

// Something that solvers share by mistake.
TEST(CThreadsTest, FourSolversInFourThreadsAnswerAsIfAlone) {
  std::vector<std::string> alone;
  for (unsigned k = 0; k < kThreads; ++k) alone.push_back(transcript(k));
  std::vector<std::string> together(kThreads);

  in_threads(kThreads, [&together](int thread) {
    together[static_cast<std::size_t>(thread)] =
        transcript(static_cast<unsigned>(thread));
  });

  EXPECT_EQ(together, alone);
}

// A second thread is turned away, or finds the solver free; vorn_stop comes in.
TEST(CThreadsTest, SecondThreadIsTurnedAway) {
  vorn_solver* s = vorn_solver_new(VORN_NO_MACHINES, 0);
  std::vector<vorn_number> x;
  for (int k = 0; k < 14; ++k) {
    x.push_back(vorn_new_int(s, nullptr));
    vorn_add_at_most(s, 0, x.back(), 0);
    vorn_add_at_most(s, x.back(), 0, 24);
    for (std::size_t j = 0; j + 1 < x.size(); ++j) {
      const vorn_formula order[] = {vorn_at_most(s, x[j], x.back(), -2),
                                    vorn_at_most(s, x.back(), x[j], -2)};
      vorn_add_clause(s, 2, order);
    }
  }
  std::atomic<bool> is_solving{false};
  vorn_set_terminate(s, &is_solving, [](void* data) {
    static_cast<std::atomic<bool>*>(data)->store(true);
    return 0;
  });
  std::thread other([&] {
    while (!is_solving.load()) std::this_thread::yield();
    EXPECT_EQ(vorn_push(s), VORN_ERROR_BUSY);
    vorn_stop(s);
  });

  EXPECT_EQ(vorn_solve(s), VORN_UNKNOWN);

  other.join();
  EXPECT_EQ(vorn_unknown_reason(s), VORN_REASON_INTERRUPTED);
  vorn_solver_free(s);
}

// The callback, and stopping, where one solver has several threads.
TEST(CThreadsTest, SearchesOfOneSolverEndTogether) {
  vorn_solver* s = vorn_solver_new(VORN_NO_MACHINES | VORN_THREADS(3), 0);
  std::vector<vorn_number> x;
  const auto add_task = [&](std::int64_t latest) {
    x.push_back(vorn_new_int(s, nullptr));
    vorn_add_at_most(s, 0, x.back(), 0);
    vorn_add_at_most(s, x.back(), 0, latest);
    for (std::size_t j = 0; j + 1 < x.size(); ++j) {
      const vorn_formula order[] = {vorn_at_most(s, x[j], x.back(), -2),
                                    vorn_at_most(s, x.back(), x[j], -2)};
      vorn_add_clause(s, 2, order);
    }
  };
  for (int k = 0; k < 8; ++k) add_task(13);
  EXPECT_EQ(vorn_solve(s), VORN_UNSAT);
  const char* text = nullptr;
  ASSERT_EQ(vorn_statistics(s, &text), VORN_OK);
  EXPECT_EQ(std::string(text).find("conflicts of other threads: 0\n"),
            std::string::npos);

  vorn_solver* endless = vorn_solver_new(VORN_NO_MACHINES | VORN_THREADS(3), 0);
  std::swap(s, endless);
  x.clear();
  for (int k = 0; k < 14; ++k) add_task(25);
  int calls = 0;
  vorn_set_terminate(s, &calls, [](void* data) {
    constexpr int kEnough = 200;
    return ++*static_cast<int*>(data) > kEnough ? 1 : 0;
  });
  EXPECT_EQ(vorn_solve(s), VORN_UNKNOWN);
  EXPECT_EQ(vorn_unknown_reason(s), VORN_REASON_INTERRUPTED);
  vorn_solver_free(s);
  vorn_solver_free(endless);
}

}  // namespace
}  // namespace vorn::test
