// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "solver/c/vorn.h"
#include "tests/build_kind.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/blocks_in_use.h"

// Each allocation in turn fails, and all behind it: every call of C returns,
// and says so.

namespace vorn::test {
namespace {

// How often calls have failed, all of them for memory.
struct Failures {
  int count = 0;

  void note(vorn_error error) {
    if (error == VORN_OK) return;
    ++count;
    ASSERT_EQ(error, VORN_ERROR_MEMORY);
  }
};

// A question with all that a solver can do; what a failed call gives is passed
// on as it is.
void use_solver(Failures& failures) {
  vorn_solver* s = vorn_solver_new(VORN_KEEP_PROOFS | VORN_MINIMIZE_CORES, 0);
  if (s == nullptr) {
    ++failures.count;
    return;
  }
  // A handle that could not be made is a wrong argument of what comes next.
  const auto note = [&](vorn_error error) {
    if (error == VORN_ERROR_ARGUMENT && failures.count > 0) return;
    if (error == VORN_ERROR_STATE && failures.count > 0) return;
    failures.note(error);
  };
  const auto made = [&](std::int32_t handle) {
    if (handle == 0) note(vorn_solver_error(s));
    return handle;
  };
  const vorn_number a = made(vorn_new_int(s, "a"));
  const vorn_number b = made(vorn_new_int(s, nullptr));
  const vorn_number c = made(vorn_new_real(s, "c"));
  const vorn_formula order[] = {made(vorn_at_most(s, a, b, -3)),
                                made(vorn_at_most(s, b, a, -2))};
  note(vorn_add_clause(s, 2, order));
  note(vorn_add_at_most(s, 0, a, 0));
  note(vorn_add_at_most(s, 0, b, 0));
  note(vorn_add(s, made(vorn_below_text(s, a, c, "100000000000000000000/7"))));
  note(vorn_minimize(s, a, nullptr));
  note(vorn_add_soft(s, order[1], "5/2", nullptr));
  note(vorn_push(s));
  const char* text = nullptr;
  if (vorn_solve(s) == VORN_UNKNOWN) {
    ASSERT_EQ(vorn_unknown_reason(s), VORN_REASON_MEMORY);
    ++failures.count;
  } else {
    note(vorn_number_value_text(s, c, &text));
    vorn_extent low;
    vorn_extent high;
    note(vorn_objective(s, 0, &text, nullptr, &low, &high));
    note(vorn_bounds(s, b, &low, &high));
    note(vorn_proof(s, &text));
  }
  note(vorn_add_named(s, made(vorn_at_most(s, a, b, -1)), "one"));
  note(vorn_add_named(s, made(vorn_at_most(s, b, a, 0)), "two"));
  note(vorn_assume(s, order[0]));
  if (vorn_solve(s) == VORN_UNKNOWN) {
    ++failures.count;
  } else {
    std::size_t count = 0;
    const char* const* names = nullptr;
    note(vorn_core(s, &count, &names));
    note(vorn_explanation(s, &text));
    note(vorn_script(s, &text));
  }
  if (vorn_pop(s) != VORN_OK) ++failures.count;
  vorn_solver_free(s);
}

void use_graph(Failures& failures) {
  vorn_graph* g = vorn_graph_new(1);
  if (g == nullptr) {
    ++failures.count;
    return;
  }
  const auto note = [&](vorn_error error) {
    if (error == VORN_ERROR_ARGUMENT && failures.count > 0) return;
    if (error == VORN_ERROR_STATE && failures.count > 0) return;
    failures.note(error);
  };
  for (int k = 1; k <= 20; ++k) {
    note(vorn_graph_register_text(g, k, k, k + 1, "-100000000000000000000", 1));
    note(vorn_graph_activate(g, k));
    if (vorn_graph_check(g) < 0) note(vorn_graph_error(g));
    if (vorn_graph_next_consequence(g) < 0) note(vorn_graph_error(g));
  }
  const char* value = nullptr;
  note(vorn_graph_potential_text(g, 21, &value, nullptr));
  for (int k = 1; k <= 20; ++k) {
    if (vorn_graph_num_active(g) > 0) {
      ASSERT_EQ(vorn_graph_take_back(g), VORN_OK);
    }
  }
  vorn_graph_free(g);
}

template <class Use>
void fail_each(const Use& use, std::size_t stride) {
  int num_failed = 0;
  for (std::size_t k = 0;; k += stride) {
    Failures failures;
    const std::ptrdiff_t before = blocks_in_use();
    {
      const FailAllocation fail(k);
      use(failures);
    }
    ASSERT_FALSE(::testing::Test::HasFatalFailure()) << "allocation " << k;
    ASSERT_EQ(blocks_in_use(), before) << "allocation " << k;
    if (failures.count == 0) break;
    ++num_failed;
  }
  EXPECT_GT(num_failed, 20);
}

TEST(CFailingMemoryTest, SolverReturnsErrors) {
  fail_each(use_solver, kSanitized ? 61 : 7);
}

TEST(CFailingMemoryTest, GraphReturnsErrors) {
  fail_each(use_graph, kSanitized ? 23 : 3);
}

}  // namespace
}  // namespace vorn::test
