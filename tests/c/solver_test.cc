// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "solver/c/vorn.h"

namespace vorn::test {
namespace {

using Solver = std::unique_ptr<vorn_solver, void (*)(vorn_solver*)>;

Solver make_solver(std::uint32_t flags = 0) {
  return {vorn_solver_new(flags, 0), vorn_solver_free};
}

// A question that takes long: 12 tasks of length 2 within 22.
void ask_for_too_much(vorn_solver* s) {
  std::vector<vorn_number> starts;
  for (int k = 0; k < 12; ++k) {
    starts.push_back(vorn_new_int(s, nullptr));
    ASSERT_EQ(vorn_add_at_most(s, 0, starts.back(), 0), VORN_OK);
    ASSERT_EQ(vorn_add_at_most(s, starts.back(), 0, 20), VORN_OK);
    for (int j = 0; j < k; ++j) {
      const vorn_number other = starts[static_cast<std::size_t>(j)];
      const vorn_formula order[] = {
          vorn_at_most(s, other, starts.back(), -2),
          vorn_at_most(s, starts.back(), other, -2),
          // Never so, and hides that the tasks share a machine.
          vorn_equals(s, starts.back(), other, 100)};
      ASSERT_EQ(vorn_add_clause(s, 3, order), VORN_OK);
    }
  }
}

// Nothing that a caller gets wrong is more than an error that says what it is.
TEST(CSolverTest, MisuseIsAnError) {
  const Solver solver = make_solver();
  vorn_solver* s = solver.get();
  const vorn_formula p = vorn_new_bool(s, "p");
  const vorn_number x = vorn_new_int(s, "x");
  ASSERT_NE(p, 0);
  ASSERT_NE(x, 0);

  for (const std::int32_t wrong :
       {0, x, -x, 123456, std::numeric_limits<std::int32_t>::min(),
        std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_EQ(vorn_add(s, wrong), VORN_ERROR_ARGUMENT) << wrong;
    EXPECT_EQ(vorn_xor(s, p, wrong), 0) << wrong;
    EXPECT_EQ(vorn_solver_error(s), VORN_ERROR_ARGUMENT);
    EXPECT_STREQ(vorn_solver_error_text(s), "no formula of this solver");
  }
  EXPECT_EQ(vorn_at_most(s, p, 0, 1), 0);
  EXPECT_EQ(vorn_at_most(s, -x, 0, 1), 0);
  EXPECT_EQ(vorn_constant(s, "one"), 0);
  EXPECT_EQ(vorn_constant(s, nullptr), 0);
  EXPECT_EQ(vorn_and(s, 2, nullptr), 0);
  EXPECT_EQ(vorn_new_int(s, "x"), 0);
  EXPECT_EQ(vorn_new_int(s, "and"), 0);
  EXPECT_EQ(vorn_add_named(s, p, "x"), VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_add_soft(s, p, "-1", nullptr), VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_pop(s), VORN_ERROR_STATE);
  EXPECT_EQ(vorn_value(s, p), -1);
  EXPECT_EQ(vorn_solver_error(s), VORN_ERROR_STATE);
  EXPECT_EQ(vorn_failed(s, p), -1);
  const char* text = nullptr;
  EXPECT_EQ(vorn_proof(s, &text), VORN_ERROR_STATE);
  const vorn_number both[] = {x, vorn_new_int(s, nullptr)};
  const vorn_number sum = vorn_sum(s, 2, both);
  EXPECT_EQ(vorn_add_at_most(s, sum, 0, 3), VORN_ERROR_OUTSIDE);
  EXPECT_STREQ(vorn_solver_error_text(s),
               "(<= (+ x i1) 3) is outside difference logic");
  EXPECT_EQ(vorn_solve(s), VORN_SAT);
  EXPECT_EQ(vorn_solver_error(s), VORN_OK);
  EXPECT_EQ(vorn_objective(s, 0, nullptr, nullptr, nullptr, nullptr),
            VORN_ERROR_ARGUMENT);
  EXPECT_EQ(vorn_solve(nullptr), VORN_UNKNOWN);
  EXPECT_EQ(vorn_add(nullptr, p), VORN_ERROR_ARGUMENT);
  vorn_solver_free(nullptr);
}

// A negation has the handle of what it negates, with a minus, however it came
// about.
TEST(CSolverTest, HandlesOfNegationsAreNegative) {
  const Solver solver = make_solver();
  vorn_solver* s = solver.get();
  const vorn_formula p = vorn_new_bool(s, "p");

  EXPECT_EQ(vorn_xor(s, p, vorn_true(s)), -p);
  const vorn_formula one[] = {-p};
  EXPECT_EQ(vorn_and(s, 1, one), -p);

  ASSERT_EQ(vorn_add(s, -p), VORN_OK);
  ASSERT_EQ(vorn_solve(s), VORN_SAT);
  EXPECT_EQ(vorn_value(s, p), 0);
  EXPECT_EQ(vorn_value(s, -p), 1);
  ASSERT_EQ(vorn_assume(s, p), VORN_OK);
  ASSERT_EQ(vorn_solve(s), VORN_UNSAT);
  EXPECT_EQ(vorn_failed(s, p), 1);
  EXPECT_EQ(vorn_failed(s, -p), 0);
  // Assumptions last for one question, or less.
  EXPECT_EQ(vorn_solve(s), VORN_SAT);
  ASSERT_EQ(vorn_assume(s, p), VORN_OK);
  ASSERT_EQ(vorn_drop_assumptions(s), VORN_OK);
  EXPECT_EQ(vorn_solve(s), VORN_SAT);
}

// Words where they do, text where they do not.
TEST(CSolverTest, NumbersComeAsWordsOrText) {
  const Solver solver = make_solver();
  vorn_solver* s = solver.get();
  const vorn_number x = vorn_new_int(s, "x");
  const vorn_number y = vorn_new_real(s, "y");
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  ASSERT_EQ(vorn_add(s, vorn_equals(s, x, 0, kLeast)), VORN_OK);
  ASSERT_EQ(vorn_add(s, vorn_equals_text(s, x, y, "1/3")), VORN_OK);
  ASSERT_EQ(vorn_solve(s), VORN_SAT);
  std::int64_t value = 0;
  const char* text = nullptr;

  EXPECT_EQ(vorn_number_value(s, x, &value), VORN_OK);
  EXPECT_EQ(value, kLeast);
  EXPECT_EQ(vorn_number_value(s, y, &value), VORN_ERROR_RANGE);
  EXPECT_EQ(vorn_number_value_text(s, y, &text), VORN_OK);
  EXPECT_STREQ(text, "-27670116110564327425/3");
}

struct Watcher {
  vorn_solver* solver;
  int asked = 0;
  int told = 0;
  vorn_error inside = VORN_OK;
};

// The callback decides, and cannot disturb the call that it is called from.
TEST(CSolverTest, CallbacksStopAndWatch) {
  const Solver solver = make_solver();
  vorn_solver* s = solver.get();
  ask_for_too_much(s);
  Watcher watcher{s};
  ASSERT_EQ(vorn_set_progress(s, &watcher,
                              [](void* data, const vorn_progress* told) {
                                auto* seen = static_cast<Watcher*>(data);
                                ++seen->told;
                                EXPECT_GT(told->conflicts, 0U);
                                EXPECT_EQ(told->objective, nullptr);
                              }),
            VORN_OK);
  ASSERT_EQ(vorn_set_terminate(s, &watcher,
                               [](void* data) {
                                 auto* seen = static_cast<Watcher*>(data);
                                 seen->inside = vorn_push(seen->solver);
                                 return ++seen->asked == 20 ? 1 : 0;
                               }),
            VORN_OK);

  EXPECT_EQ(vorn_solve(s), VORN_UNKNOWN);

  EXPECT_EQ(vorn_solver_error(s), VORN_OK);
  EXPECT_EQ(vorn_unknown_reason(s), VORN_REASON_INTERRUPTED);
  EXPECT_EQ(watcher.asked, 20);
  EXPECT_GT(watcher.told, 0);
  EXPECT_EQ(watcher.inside, VORN_ERROR_BUSY);
  ASSERT_EQ(vorn_set_terminate(s, nullptr, nullptr), VORN_OK);
  ASSERT_EQ(vorn_set_timeout(s, 20), VORN_OK);
  EXPECT_EQ(vorn_solve(s), VORN_UNKNOWN);
  EXPECT_EQ(vorn_unknown_reason(s), VORN_REASON_TIMEOUT);
  ASSERT_EQ(vorn_set_conflict_limit(s, 5), VORN_OK);
  EXPECT_EQ(vorn_solve(s), VORN_UNKNOWN);
  EXPECT_EQ(vorn_unknown_reason(s), VORN_REASON_CONFLICT_LIMIT);
}

// Text that a program shows.
TEST(CSolverTest, TextsSayWhatWasAsked) {
  const Solver solver = make_solver(VORN_KEEP_SCHEDULE);
  vorn_solver* s = solver.get();
  const vorn_number a = vorn_new_int(s, "a");
  const vorn_number b = vorn_new_int(s, "b");
  const vorn_formula order[] = {vorn_at_most(s, a, b, -3),
                                vorn_at_most(s, b, a, -2)};
  ASSERT_EQ(vorn_add_clause(s, 2, order), VORN_OK);
  const char* text = nullptr;
  ASSERT_EQ(vorn_formula_text(s, -order[0], &text), VORN_OK);
  EXPECT_STREQ(text, "(not (<= (+ a (* (- 1) b)) (- 3)))");
  ASSERT_EQ(vorn_solve(s), VORN_SAT);
  ASSERT_EQ(vorn_chart(s, &text), VORN_OK);
  EXPECT_NE(std::string(text).find("<svg"), std::string::npos);
  ASSERT_EQ(vorn_statistics(s, &text), VORN_OK);
  EXPECT_NE(std::string(text).find("conflicts: "), std::string::npos);
  ASSERT_EQ(vorn_add_at_most(s, a, b, -4), VORN_OK);
  ASSERT_EQ(vorn_add_at_most(s, b, a, 3), VORN_OK);
  ASSERT_EQ(vorn_solve(s), VORN_UNSAT);
  ASSERT_EQ(vorn_explanation(s, &text), VORN_OK);
  EXPECT_NE(std::string(text).find("assertion 3"), std::string::npos) << text;
}

// How far a search for the best has come, and that a stop ends one call alone.
TEST(CSolverTest, BestValuesAreToldAsTheyAreFound) {
  const Solver solver = make_solver();
  vorn_solver* s = solver.get();
  const vorn_number x = vorn_new_int(s, "x");
  const vorn_number y = vorn_new_real(s, "y");
  EXPECT_EQ(vorn_is_int(s, x), 1);
  EXPECT_EQ(vorn_is_int(s, y), 0);
  EXPECT_EQ(vorn_is_int(s, 12345), -1);
  const char* text = nullptr;
  ASSERT_EQ(vorn_number_text(s, x, &text), VORN_OK);
  EXPECT_STREQ(text, "x");
  const vorn_formula ends[] = {vorn_at_most(s, x, 0, 7),
                               vorn_at_most(s, 0, x, 9)};
  ASSERT_EQ(vorn_add_clause(s, 2, ends), VORN_OK);
  ASSERT_EQ(vorn_add_at_most(s, 0, x, -3), VORN_OK);
  ASSERT_EQ(vorn_minimize(s, x, "small"), VORN_OK);
  std::vector<std::string> told;
  ASSERT_EQ(vorn_set_progress(
                s, &told,
                [](void* data, const vorn_progress* news) {
                  if (news->objective == nullptr) return;
                  auto* all = static_cast<std::vector<std::string>*>(data);
                  all->push_back(std::string(news->objective) + ' ' +
                                 news->low + ' ' + news->high);
                }),
            VORN_OK);

  vorn_stop(nullptr);
  vorn_stop(s);
  EXPECT_EQ(vorn_solve(s), VORN_UNKNOWN);
  EXPECT_EQ(vorn_unknown_reason(s), VORN_REASON_INTERRUPTED);
  EXPECT_EQ(vorn_solve(s), VORN_SAT);

  EXPECT_EQ(vorn_unknown_reason(s), VORN_REASON_NONE);
  EXPECT_EQ(vorn_has_model(s), 1);
  ASSERT_FALSE(told.empty());
  EXPECT_EQ(told.back(), "small 3 3");
}

// Each error has words of its own.
TEST(CSolverTest, ErrorsHaveNames) {
  std::set<std::string> names;
  for (int error = VORN_OK; error <= VORN_ERROR_DEFECT; ++error) {
    names.insert(vorn_error_name(static_cast<vorn_error>(error)));
  }
  EXPECT_EQ(names.size(), 1U + VORN_ERROR_DEFECT);
  EXPECT_EQ(names.count(""), 0U);
}

}  // namespace
}  // namespace vorn::test
