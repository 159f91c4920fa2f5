// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <sstream>
#include <utility>

#include "tests/inspector.h"
#include "tests/numbers/reference.h"
#include "vorn/numbers/q_number.h"

// Every operation of QNumber against GMP's rationals, in every mix of forms.

namespace vorn {
namespace {

using test::Draw;
using test::holds;

constexpr int kSeeds = 8;
constexpr int kRounds = 6000;

// A random value next to what it should be.
struct Pair {
  mpq_class value;
  QNumber number;
};

Pair draw_pair(Draw& draw) {
  const mpq_class value = draw.value();
  return {value, draw.in_some_form(value)};
}

// A second value: often unrelated, sometimes the first in some form, so that
// equality and cancellation happen.
Pair draw_partner(Draw& draw, const Pair& first) {
  switch (draw.below(8)) {
    case 0:
      return {first.value, draw.in_some_form(first.value)};
    case 1:
      return {-first.value, draw.in_some_form(-first.value)};
    default:
      return draw_pair(draw);
  }
}

// Whether adding two small values stays in 64-bit words: whether each step of
// the least-common-multiple method does.
bool sum_stays_small(const mpq_class& a, const mpq_class& b) {
  const mpz_class g = gcd(a.get_den(), b.get_den());
  const mpz_class a_rest = a.get_den() / g;
  const mpz_class b_rest = b.get_den() / g;
  const mpz_class p1 = b.get_num() * a_rest;
  const mpz_class p2 = a.get_num() * b_rest;
  const mpz_class n = p1 + p2;
  const mpz_class g2 = gcd(n, g);
  const mpz_class d = a_rest * (b.get_den() / g2);
  return test::fits(p1) && test::fits(p2) && test::fits(n) && test::fits(d);
}

// Form and value of the result of an in-place operation.
void expect_result(const QNumber& result, const mpq_class& expected,
                   bool operands_small, bool words_suffice) {
  EXPECT_TRUE(holds(result, expected));
  EXPECT_EQ(!Inspector::is_big(result), operands_small && words_suffice)
      << expected;
}

void check_arithmetic(const Pair& a, const Pair& b) {
  const bool both_small =
      !Inspector::is_big(a.number) && !Inspector::is_big(b.number);

  QNumber sum = a.number;
  sum += b.number;
  expect_result(sum, a.value + b.value, both_small,
                sum_stays_small(a.value, b.value));

  QNumber difference = a.number;
  difference -= b.number;
  expect_result(difference, a.value - b.value, both_small,
                sum_stays_small(a.value, -b.value));

  QNumber product = a.number;
  product *= b.number;
  expect_result(product, a.value * b.value, both_small,
                test::fits(mpq_class(a.value * b.value)));

  if (sgn(b.value) != 0) {
    QNumber quotient = a.number;
    quotient /= b.number;
    expect_result(quotient, a.value / b.value, both_small,
                  test::fits(mpq_class(a.value / b.value)));
  }
  EXPECT_TRUE(holds(b.number, b.value)) << "operand changed";
}

void check_comparisons(const Pair& a, const Pair& b) {
  EXPECT_EQ(a.number < b.number, a.value < b.value);
  EXPECT_EQ(a.number > b.number, a.value > b.value);
  EXPECT_EQ(a.number <= b.number, a.value <= b.value);
  EXPECT_EQ(a.number >= b.number, a.value >= b.value);
  EXPECT_EQ(a.number == b.number, a.value == b.value);
  EXPECT_EQ(a.number != b.number, a.value != b.value);
  if (a.value == b.value) {
    EXPECT_EQ(a.number.hash(), b.number.hash());
    EXPECT_EQ(std::hash<QNumber>()(a.number), a.number.hash());
  }
}

void check_one(const Pair& a) {
  const QNumber negative = -a.number;
  EXPECT_TRUE(holds(negative, -a.value));
  EXPECT_EQ(!Inspector::is_big(negative), !Inspector::is_big(a.number));
  EXPECT_EQ(a.number.sign(), sgn(a.value));
  EXPECT_EQ(a.number.is_integer(), a.value.get_den() == 1);

  mpz_class floor;
  mpz_class ceil;
  mpz_fdiv_q(floor.get_mpz_t(), a.value.get_num_mpz_t(),
             a.value.get_den_mpz_t());
  mpz_cdiv_q(ceil.get_mpz_t(), a.value.get_num_mpz_t(),
             a.value.get_den_mpz_t());
  const std::pair<QNumber, mpz_class> integers[] = {
      {a.number.floor(), floor},
      {a.number.ceil(), ceil},
      {a.number.numerator(), a.value.get_num()},
      {a.number.denominator(), a.value.get_den()}};
  for (const auto& [found, expected] : integers) {
    EXPECT_TRUE(holds(found, mpq_class(expected)));
    EXPECT_EQ(!Inspector::is_big(found), test::fits(expected)) << expected;
  }
  EXPECT_TRUE(holds(a.number, a.value)) << "operand changed";
}

void check_text(const Pair& a) {
  EXPECT_EQ(a.number.to_str(), a.value.get_str());
  std::ostringstream out;
  out << a.number;
  EXPECT_EQ(out.str(), a.value.get_str());
  const std::optional<QNumber> back = QNumber::from_string(out.str());
  ASSERT_TRUE(back.has_value());
  EXPECT_TRUE(holds(*back, a.value));
  EXPECT_EQ(!Inspector::is_big(*back), test::fits(a.value));
}

void check_aliases(const Pair& a) {
  const bool was_small = !Inspector::is_big(a.number);

  QNumber q = a.number;
  q += q;
  expect_result(q, a.value + a.value, was_small,
                sum_stays_small(a.value, a.value));
  q = a.number;
  const QNumber& same = q;
  q = same;
  EXPECT_TRUE(holds(q, a.value));

  QNumber r = a.number;
  r -= r;
  expect_result(r, 0, was_small, sum_stays_small(a.value, -a.value));
  QNumber s = a.number;
  s *= s;
  expect_result(s, a.value * a.value, was_small,
                test::fits(mpq_class(a.value * a.value)));
  if (sgn(a.value) != 0) {
    QNumber t = a.number;
    t /= t;
    expect_result(t, 1, was_small, true);
  }
}

void check_copies_and_moves(const Pair& a, const Pair& b) {
  const bool was_small = !Inspector::is_big(a.number);

  QNumber copy(b.number);
  EXPECT_EQ(!Inspector::is_big(copy), !Inspector::is_big(b.number));
  copy = a.number;
  EXPECT_TRUE(holds(copy, a.value));
  // The target's form wins over a small source.
  EXPECT_EQ(!Inspector::is_big(copy),
            !Inspector::is_big(b.number) && was_small);

  QNumber source(a.number);
  QNumber taken(std::move(source));
  EXPECT_TRUE(holds(taken, a.value));
  EXPECT_EQ(!Inspector::is_big(taken), was_small);

  QNumber target(b.number);
  target = std::move(taken);
  EXPECT_TRUE(holds(target, a.value));
  EXPECT_EQ(!Inspector::is_big(target),
            !Inspector::is_big(b.number) && was_small);
  // A moved-from value must still take part in everything.
  taken = b.number;  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(holds(taken, b.value));
  source += b.number;  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(source == b.number || was_small);
}

class QNumberRandomTest : public ::testing::TestWithParam<std::uint64_t> {};

// Any difference from GMP's rationals is a wrong verdict waiting to happen.
TEST_P(QNumberRandomTest, EveryOperationAgreesWithReference) {
  Draw draw(GetParam());
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    const Pair a = draw_pair(draw);
    const Pair b = draw_partner(draw, a);
    SCOPED_TRACE(::testing::Message()
                 << "seed " << GetParam() << ", round " << round << ": "
                 << a.value << (!Inspector::is_big(a.number) ? "" : " (big)")
                 << ", " << b.value
                 << (!Inspector::is_big(b.number) ? "" : " (big)"));
    ASSERT_TRUE(holds(a.number, a.value));
    ASSERT_TRUE(holds(b.number, b.value));
    check_arithmetic(a, b);
    check_comparisons(a, b);
    check_one(a);
    check_text(a);
    check_aliases(a);
    check_copies_and_moves(a, b);
  }
}

// Long chains of sums are what potentials are made of.
TEST_P(QNumberRandomTest, ChainOfMixedOperationsStaysExact) {
  Draw draw(GetParam() + 1000);
  for (int chain = 0; chain < 60 && !HasFailure(); ++chain) {
    Pair total = draw_pair(draw);
    for (int step = 0; step < 25; ++step) {
      const Pair next = draw_pair(draw);
      SCOPED_TRACE(::testing::Message() << "seed " << GetParam() << ", chain "
                                        << chain << ", step " << step);
      switch (draw.below(4)) {
        case 0:
          total.number *= next.number;
          total.value *= next.value;
          break;
        case 1:
          total.number -= next.number;
          total.value -= next.value;
          break;
        default:
          total.number += next.number;
          total.value += next.value;
          break;
      }
      ASSERT_TRUE(holds(total.number, total.value));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, QNumberRandomTest,
                         ::testing::Range(std::uint64_t{1},
                                          std::uint64_t{1} + kSeeds));

}  // namespace
}  // namespace vorn
