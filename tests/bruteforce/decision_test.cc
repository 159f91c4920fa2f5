// SPDX-License-Identifier: MIT
#include "tests/bruteforce/decision.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "tests/bruteforce/formula.h"
#include "tests/build_kind.h"

namespace vorn::bruteforce {
namespace {

constexpr int kRounds = test::kSanitized ? 15 : 120;

Formula leq(const Formula& a, const Formula& b) {
  return make(Op::kLeq, Sort::kBool, {a, b});
}
Formula less(const Formula& a, const Formula& b) {
  return make(Op::kLess, Sort::kBool, {a, b});
}

// The oracle's own grasp of strictness: reals leave room where integers do not.
TEST(DecisionTest, IsSatisfiableTellsIntegersFromReals) {
  for (const Sort sort : {Sort::kInt, Sort::kReal}) {
    const Formula x = make_variable(sort, 0);
    const Formula y = make_variable(sort, 1);
    const Formula one = make_number(1, sort);
    const Formula sum = make(Op::kPlus, sort, {x, one});

    EXPECT_EQ(is_satisfiable({less(x, y), less(y, sum)}), sort == Sort::kReal);
    EXPECT_FALSE(is_satisfiable({less(x, y), less(y, x)}));
    EXPECT_TRUE(is_satisfiable({leq(x, y), leq(y, x)}));
  }
}

// Giving up must not be taken for a verdict.
TEST(DecisionTest, IsSatisfiableWithinAnswersOnlyWhatItHasSettled) {
  const Formula x = make_variable(Sort::kInt, 0);
  const Formula y = make_variable(Sort::kInt, 1);
  // Three states: nothing decided, x < y, and not x < y.
  const std::vector<Formula> neither = {
      make(Op::kNot, Sort::kBool, {less(x, y)}), less(x, y)};

  EXPECT_EQ(is_satisfiable_within(neither, 0), std::nullopt);
  EXPECT_EQ(is_satisfiable_within(neither, 2), std::nullopt);
  EXPECT_EQ(is_satisfiable_within(neither, 3), false);
  EXPECT_EQ(is_satisfiable_within({less(x, y)}, 1), std::nullopt);
  EXPECT_EQ(is_satisfiable_within({less(x, y)}, 2), true);
}

// All small integer formulas by the definition alone: if enumeration of bounds
// missed a model or invented one, all other tests here would be worthless.
TEST(DecisionTest, IsSatisfiableAgreesWithTryingAllSmallValues) {
  constexpr int kRange = 9;  // three bounds of at most 3 each
  int num_satisfiable = 0;
  for (unsigned seed = 0; seed < kRounds; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    const auto pick = [&rng](int bound) {
      return static_cast<int>(rng() % static_cast<unsigned>(bound));
    };
    const auto variable = [&] { return make_variable(Sort::kInt, pick(3)); };
    const auto boolean = [&] { return make_variable(Sort::kBool, pick(2)); };
    const auto atom = [&]() -> Formula {
      const Formula limit = make_number(pick(5) - 2, Sort::kInt);
      if (pick(5) == 0) return boolean();
      if (pick(3) == 0) {
        const Formula chosen =
            make(Op::kIte, Sort::kInt, {boolean(), variable(), variable()});
        return leq(chosen, limit);
      }
      const Formula difference =
          make(Op::kMinus, Sort::kInt, {variable(), variable()});
      const Op op =
          pick(4) == 0 ? Op::kEqual : (pick(2) == 0 ? Op::kLeq : Op::kGreater);
      return make(op, Sort::kBool, {difference, limit});
    };
    std::vector<Formula> formulas;
    for (int i = 0; i < 9; ++i) {
      const Op ops[] = {Op::kOr,  Op::kOr,    Op::kOr,      Op::kXor,
                        Op::kAnd, Op::kEqual, Op::kImplies, Op::kDistinct};
      formulas.push_back(make(ops[pick(8)], Sort::kBool, {atom(), atom()}));
    }

    bool found = false;
    Values values{{false, false}, {0, 0, 0}, {}};
    for (int b = 0; b < 4 && !found; ++b) {
      values.bools = {(b & 1) != 0, (b & 2) != 0};
      for (int n = 0; n < 19 * 19 * 19 && !found; ++n) {
        values.ints = {n % 19 - kRange, n / 19 % 19 - kRange, n / 361 - kRange};
        found = true;
        for (const Formula& f : formulas) found = found && truth(*f, values);
      }
    }
    EXPECT_EQ(is_satisfiable(formulas), found);
    num_satisfiable += found ? 1 : 0;
  }
  EXPECT_GT(num_satisfiable, kRounds / 10);
  EXPECT_LT(num_satisfiable, kRounds * 9 / 10);
}

}  // namespace
}  // namespace vorn::bruteforce
