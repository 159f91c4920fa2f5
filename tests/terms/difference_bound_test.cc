// SPDX-License-Identifier: MIT
#include "solver/terms/difference_bound.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

#include "solver/terms/term_store.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

// The values of the two leaves.
using Pair = std::pair<mpq_class, mpq_class>;

class DifferenceBoundTest : public ::testing::Test {
 protected:
  static QNumber q(const char* text) { return *QNumber::from_string(text); }

  LinearSum make_sum(std::vector<std::pair<const Term*, const char*>> parts,
                     const char* constant) {
    LinearSum sum;
    for (const auto& [leaf, coefficient] : parts) {
      sum.monomials.push_back({leaf, q(coefficient)});
    }
    sum.constant = q(constant);
    return sum;
  }

  // Whether `bound` holds when x (or u) and y (or v) have these values.
  bool holds(const DifferenceBound& bound, const Pair& values) const {
    const auto value = [&](const Term* leaf) -> mpq_class {
      if (leaf == nullptr) return 0;
      return leaf == x || leaf == u ? values.first : values.second;
    };
    const mpq_class difference = value(bound.target) - value(bound.source);
    const mpq_class limit = testing::to_mpq(bound.weight.rational());
    return bound.weight.eps().sign() < 0 ? difference < limit
                                         : difference <= limit;
  }

  void expect_bound(const LinearSum& sum, bool strict, bool integer,
                    const Term* source, const Term* target,
                    const char* rational, int eps) {
    DifferenceBound out;
    ASSERT_EQ(to_bound(sum, strict, integer, out), BoundOutcome::kBound);
    EXPECT_EQ(out.source, source);
    EXPECT_EQ(out.target, target);
    EXPECT_EQ(out.weight.rational(), q(rational));
    EXPECT_EQ(out.weight.eps(), QNumber(eps));
  }

  // All pairs on a grid: integers, or multiples of 1/6.
  static std::vector<Pair> make_grid(bool integer) {
    const int step = integer ? 1 : 6;
    std::vector<Pair> grid;
    for (int i = -9; i <= 9; ++i) {
      for (int j = -9; j <= 9; ++j) {
        mpq_class a(i, step);
        mpq_class b(j, step);
        a.canonicalize();
        b.canonicalize();
        grid.emplace_back(a, b);
      }
    }
    return grid;
  }

  TermStore store;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  const Term* u = store.make_symbol("u", Sort::kReal);
  const Term* v = store.make_symbol("v", Sort::kReal);
  const Term* w = store.make_symbol("w", Sort::kReal);
};

// Direction and sign of a weight: the mistakes that flip an answer.
TEST_F(DifferenceBoundTest, ToBoundOrientsByThePositiveCoefficient) {
  expect_bound(make_sum({{x, "1"}, {y, "-1"}}, "-5"), false, true, y, x, "5",
               0);
  expect_bound(make_sum({{x, "-1"}, {y, "1"}}, "-5"), false, true, x, y, "5",
               0);
  expect_bound(make_sum({{x, "2"}}, "-6"), false, true, nullptr, x, "3", 0);
  expect_bound(make_sum({{x, "-2"}}, "6"), false, true, x, nullptr, "-3", 0);
}

// A lax integer bound loses conflicts, a tight one loses solutions.
TEST_F(DifferenceBoundTest, ToBoundIntegerRoundsDown) {
  const LinearSum up = make_sum({{x, "2"}, {y, "-2"}}, "-5");
  const LinearSum down = make_sum({{x, "-2"}, {y, "2"}}, "5");
  const LinearSum even = make_sum({{x, "2"}, {y, "-2"}}, "-4");
  expect_bound(up, false, true, y, x, "2", 0);
  expect_bound(up, true, true, y, x, "2", 0);
  expect_bound(down, false, true, x, y, "-3", 0);
  expect_bound(down, true, true, x, y, "-3", 0);
  expect_bound(even, false, true, y, x, "2", 0);
  expect_bound(even, true, true, y, x, "1", 0);
}

// Strictness over the reals lives in the eps part alone.
TEST_F(DifferenceBoundTest, ToBoundRealKeepsTheQuotientExact) {
  const LinearSum sum = make_sum({{u, "2"}, {v, "-2"}}, "-5");
  expect_bound(sum, false, false, v, u, "5/2", 0);
  expect_bound(sum, true, false, v, u, "5/2", -1);
}

// Sums without leaves are decided here and nowhere else.
TEST_F(DifferenceBoundTest, ToBoundConstantIsDecided) {
  DifferenceBound out;
  for (const bool integer : {false, true}) {
    const auto decide = [&](const char* constant, bool strict) {
      return to_bound(make_sum({}, constant), strict, integer, out);
    };
    EXPECT_EQ(decide("-1", false), BoundOutcome::kTrue);
    EXPECT_EQ(decide("-1/2", true), BoundOutcome::kTrue);
    EXPECT_EQ(decide("0", false), BoundOutcome::kTrue);
    EXPECT_EQ(decide("0", true), BoundOutcome::kFalse);
    EXPECT_EQ(decide("1/2", false), BoundOutcome::kFalse);
    EXPECT_EQ(decide("1", true), BoundOutcome::kFalse);
  }
  EXPECT_EQ(out.source, nullptr);
  EXPECT_EQ(out.target, nullptr);
}

// Taking such an atom for a difference would answer another question.
TEST_F(DifferenceBoundTest, ToBoundRefusesWhatIsNoDifference) {
  DifferenceBound out;
  const auto is_outside = [&](const LinearSum& sum) {
    return to_bound(sum, false, false, out) == BoundOutcome::kOutside;
  };
  EXPECT_TRUE(is_outside(make_sum({{u, "1"}, {v, "1"}}, "0")));
  EXPECT_TRUE(is_outside(make_sum({{u, "2"}, {v, "-1"}}, "0")));
  EXPECT_TRUE(is_outside(make_sum({{u, "1"}, {v, "1"}, {w, "-2"}}, "0")));
  EXPECT_TRUE(is_outside(make_sum({{u, "1"}, {v, "-1"}, {w, "1"}}, "0")));
  EXPECT_TRUE(is_outside(make_sum({{x, "1"}, {u, "1"}}, "0")));
}

// Bound and sum must agree on every small point, integers and rationals alike;
// and exactly one of a bound and its negation may hold.
TEST_F(DifferenceBoundTest, BoundsAgreeWithEnumeration) {
  std::size_t num_bounds = 0;
  for (unsigned seed = 0; seed < 600; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    const auto pick = [&](int low, int high) {
      return std::uniform_int_distribution<int>(low, high)(rng);
    };
    const auto pick_rational = [&] {
      mpq_class value(pick(-12, 12), pick(1, 4));
      value.canonicalize();
      return value;
    };
    const bool integer = pick(0, 1) == 0;
    const bool strict = pick(0, 1) == 0;
    mpq_class a = pick_rational();
    mpq_class b = pick(0, 3) == 0 ? mpq_class(0) : mpq_class(-a);
    if (pick(0, 3) == 0) std::swap(a, b);
    const mpq_class constant = pick_rational();
    LinearSum sum;
    if (a != 0) sum.monomials.push_back({integer ? x : u, testing::to_q(a)});
    if (b != 0) sum.monomials.push_back({integer ? y : v, testing::to_q(b)});
    sum.constant = testing::to_q(constant);

    DifferenceBound bound;
    const BoundOutcome outcome = to_bound(sum, strict, integer, bound);

    ASSERT_EQ(outcome == BoundOutcome::kBound, a != 0 || b != 0);
    const bool is_bound = outcome == BoundOutcome::kBound;
    DifferenceBound negation;
    DifferenceBound twice;
    if (is_bound) {
      ++num_bounds;
      negation = negate_bound(bound, integer);
      twice = negate_bound(negation, integer);
      if (integer) {
        ASSERT_TRUE(bound.weight.rational().is_integer());
        ASSERT_EQ(bound.weight.eps().sign(), 0);
      }
      EXPECT_EQ(twice.source, bound.source);
      EXPECT_EQ(twice.target, bound.target);
      EXPECT_EQ(twice.weight.rational(), bound.weight.rational());
      EXPECT_EQ(twice.weight.eps(), bound.weight.eps());
    }
    for (const Pair& values : make_grid(integer)) {
      const mpq_class total = a * values.first + b * values.second + constant;
      const bool expected = strict ? total < 0 : total <= 0;
      if (is_bound) {
        ASSERT_EQ(holds(bound, values), expected);
        ASSERT_EQ(holds(negation, values), !expected);
      } else {
        ASSERT_EQ(outcome == BoundOutcome::kTrue, expected);
      }
    }
  }
  EXPECT_GT(num_bounds, 400U);
}

// The negation's weight, spelt out for both kinds of leaves.
TEST_F(DifferenceBoundTest, NegateBoundSwapsTheEnds) {
  const DifferenceBound integer = {x, y, la::DNumber(4, 0)};
  const DifferenceBound real = {u, nullptr, la::DNumber(4, 0)};

  const DifferenceBound not_integer = negate_bound(integer, true);
  const DifferenceBound not_real = negate_bound(real, false);
  const DifferenceBound again = negate_bound(not_real, false);

  EXPECT_EQ(not_integer.source, y);
  EXPECT_EQ(not_integer.target, x);
  EXPECT_EQ(not_integer.weight.to_str(), "-5");
  EXPECT_EQ(not_real.source, nullptr);
  EXPECT_EQ(not_real.target, u);
  EXPECT_EQ(not_real.weight.to_str(), "-4 - eps");
  EXPECT_EQ(again.weight.to_str(), "4");
}

}  // namespace
}  // namespace vorn::solver
