// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/reference.h"
#include "vorn/numbers/q_number.h"

// Arithmetic of QNumber, step by step: each test aims at one path.

namespace vorn {
namespace {

using test::big;
using test::holds;
using test::huge;
using test::kMax;
using test::kMin;
using test::number;
using test::small;

::testing::AssertionResult is_small(const QNumber& q) {
  if (Inspector::is_big(q)) return ::testing::AssertionFailure() << q << " big";
  return ::testing::AssertionSuccess();
}
::testing::AssertionResult is_big(const QNumber& q) {
  if (!Inspector::is_big(q)) {
    return ::testing::AssertionFailure() << q << " small";
  }
  return ::testing::AssertionSuccess();
}

QNumber sum(QNumber a, const QNumber& b) {
  a += b;
  return a;
}

// A chain of additions must write into its left operand.
TEST(QNumberTest, AddReturnsTarget) {
  QNumber a = small(1);
  QNumber b = big(1);

  EXPECT_EQ(&(a += small(1)), &a);
  EXPECT_EQ(&(a += small(1, 2)), &a);
  EXPECT_EQ(&(b += small(1)), &b);
  EXPECT_EQ(&(b += b), &b);
  EXPECT_EQ(&(b -= a), &b);
  EXPECT_EQ(&(b *= a), &b);
  EXPECT_EQ(&(b /= a), &b);
}

// The last word that fits stays a word; the next does not.
TEST(QNumberTest, AddIntegersAtUpperEdgeMovesToBigFormOnlyBeyond) {
  const QNumber at_edge = sum(small(kMax - 1), 1);
  EXPECT_TRUE(is_small(at_edge));
  EXPECT_TRUE(holds(at_edge, kMax));

  const QNumber beyond = sum(small(kMax), 1);
  EXPECT_TRUE(is_big(beyond));
  EXPECT_TRUE(holds(beyond, mpq_class("9223372036854775808")));
}

// -2^63 itself counts as beyond: its magnitude fits in no signed word.
TEST(QNumberTest, AddIntegersSumOfMinusTwoTo63IsBig) {
  const QNumber at_edge = sum(small(-kMax + 1), -1);
  EXPECT_TRUE(is_small(at_edge));
  EXPECT_TRUE(holds(at_edge, -kMax));

  const QNumber beyond = sum(small(-kMax), -1);
  EXPECT_TRUE(is_big(beyond));
  EXPECT_TRUE(holds(beyond, mpq_class("-9223372036854775808")));
}

// Words of different signs can never overflow.
TEST(QNumberTest, AddIntegersOfDifferentSignsStaysSmall) {
  EXPECT_TRUE(is_small(sum(small(kMax), small(-kMax))));
  EXPECT_TRUE(holds(sum(small(kMax), small(-kMax)), 0));
  EXPECT_TRUE(holds(sum(small(-kMax), small(kMax - 1)), -1));
}

// A value that has outgrown a word stays in its block, yet compares equal.
TEST(QNumberTest, AddBackIntoRangeStaysBigAndEqualsSmall) {
  QNumber q = small(kMax);
  q += 1;
  q += -1;

  EXPECT_TRUE(is_big(q));
  EXPECT_TRUE(holds(q, kMax));
  EXPECT_TRUE(q == small(kMax));
  EXPECT_TRUE(small(kMax) == q);
}

// The least common multiple method must end in lowest terms.
TEST(QNumberTest, AddSmallFractionsReducesByCommonFactor) {
  const QNumber q = sum(small(1, 6), small(1, 10));

  EXPECT_TRUE(is_small(q));
  EXPECT_TRUE(holds(q, 4, 15));
}

// A zero sum must come back as 0/1, or it would not equal zero.
TEST(QNumberTest, AddFractionsThatCancelGivesZeroOverOne) {
  for (const QNumber& a : {small(1, 2), big(1, 2)}) {
    for (const QNumber& b : {small(-1, 2), big(-1, 2)}) {
      const QNumber q = sum(a, b);
      EXPECT_TRUE(holds(q, 0));
      EXPECT_EQ(q, QNumber());
    }
  }
}

// An integer and a fraction meet in the general path.
TEST(QNumberTest, AddIntegerAndFractionInEveryMixOfForms) {
  for (const QNumber& a : {small(-3), big(-3)}) {
    for (const QNumber& b : {small(5, 7), big(5, 7)}) {
      EXPECT_TRUE(holds(sum(a, b), -16, 7));
      EXPECT_TRUE(holds(sum(b, a), -16, 7));
    }
  }
}

// Taking the common factor out keeps large denominators in words.
TEST(QNumberTest, AddFractionsWithLargeCommonDenominatorStaysSmall) {
  const std::int64_t d = std::int64_t{1} << 62;
  const QNumber q = sum(small(1, d), small(3, d));

  EXPECT_TRUE(is_small(q));
  EXPECT_TRUE(holds(q, 1, d / 4));
}

// Each 64-bit step can be the one that overflows; the value stays exact.
TEST(QNumberTest, AddFractionsOverflowOfEachStepMovesToBigForm) {
  const std::int64_t two_to_62 = std::int64_t{1} << 62;
  const std::pair<QNumber, QNumber> cases[] = {
      // b.num * (a.den / g) overflows.
      {small(1, 3), small(kMax, 2)},
      // a.num * (b.den / g) overflows.
      {small(kMax, 2), small(1, 3)},
      // The products fit, their sum does not.
      {small(two_to_62, 3), small(two_to_62 + 1, 3)},
      {small(-two_to_62, 3), small(-two_to_62, 3)},
      // Numerators fit, the new denominator does not.
      {small(1, kMax), small(1, kMax - 1)},
      {small(1, (std::int64_t{1} << 32) - 1),
       small(1, (std::int64_t{1} << 32))},
  };
  for (const auto& [a, b] : cases) {
    const QNumber q = sum(a, b);
    EXPECT_TRUE(is_big(q));
    const mpq_class expected = test::to_mpq(a) + test::to_mpq(b);
    EXPECT_TRUE(holds(q, expected)) << a << " + " << b;
    EXPECT_TRUE(holds(sum(b, a), expected)) << b << " + " << a;
  }
}

// The operand of a promoted addition keeps its own form and value.
TEST(QNumberTest, AddLeavesOtherOperandAlone) {
  const QNumber other = small(kMax);
  QNumber a = small(kMax);
  a += other;

  EXPECT_TRUE(is_big(a));
  EXPECT_TRUE(is_small(other));
  EXPECT_TRUE(holds(other, kMax));
}

// Big plus a small integer takes the unsigned shortcuts of GMP.
TEST(QNumberTest, AddSmallIntegerToBigIntegerOfEitherSign) {
  EXPECT_TRUE(holds(sum(big(10), 5), 15));
  EXPECT_TRUE(holds(sum(big(10), -15), -5));
  EXPECT_TRUE(holds(sum(big(10), 0), 10));
  EXPECT_TRUE(
      holds(sum(big(kMax), small(kMax)), mpq_class("18446744073709551614")));
  EXPECT_TRUE(
      holds(sum(big(-kMax), small(-kMax)), mpq_class("-18446744073709551614")));
}

// A word of -2^63 has a magnitude only as an unsigned word.
TEST(QNumberTest, AddLowestWordToBigIntegerUsesUnsignedMagnitude) {
  EXPECT_TRUE(holds(sum(number("9223372036854775808"), small(kMin)), 0));
  EXPECT_TRUE(
      holds(sum(big(-1), small(kMin)), mpq_class("-9223372036854775809")));
}

// Big plus a small fraction must reduce twice, before and after the sum.
TEST(QNumberTest, AddSmallFractionToBigFractionEndsInLowestTerms) {
  const QNumber q = sum(big(1, 6), small(1, 10));
  EXPECT_TRUE(is_big(q));
  EXPECT_TRUE(holds(q, 4, 15));
  EXPECT_TRUE(holds(sum(big(1, 6), small(-1, 6)), 0));
  EXPECT_TRUE(holds(sum(big(1, 2), small(7)), 15, 2));
  EXPECT_TRUE(holds(sum(big(7), small(1, 2)), 15, 2));
  EXPECT_TRUE(holds(sum(big(1, 6), small(5, 6)), 1));
}

// As above with two blocks, the target freshly promoted or not.
TEST(QNumberTest, AddBigFractionEndsInLowestTerms) {
  for (const QNumber& a : {small(1, 6), big(1, 6)}) {
    EXPECT_TRUE(is_big(sum(a, big(1, 10))));
    EXPECT_TRUE(holds(sum(a, big(1, 10)), 4, 15));
    EXPECT_TRUE(holds(sum(a, big(-1, 6)), 0));
    EXPECT_TRUE(holds(sum(a, big(5, 6)), 1));
  }
  EXPECT_TRUE(holds(sum(huge(), big(-3)),
                    mpq_class("9999999999999999999999999999999999999997")));
}

// An operand that changes while it is read would break doubling.
TEST(QNumberTest, AddSelfDoublesInEveryForm) {
  QNumber third = big(1, 3);
  third += third;
  EXPECT_TRUE(is_big(third));
  EXPECT_TRUE(holds(third, 2, 3));

  QNumber half = small(1, 2);
  half += half;
  EXPECT_TRUE(is_small(half));
  EXPECT_TRUE(holds(half, 1));

  QNumber sixth = big(1, 6);
  sixth += sixth;
  EXPECT_TRUE(holds(sixth, 1, 3));

  QNumber whole = big(21);
  whole += whole;
  EXPECT_TRUE(holds(whole, 42));

  // Overflow turns the operand's own words into an address on the way.
  QNumber most = small(kMax);
  most += most;
  EXPECT_TRUE(holds(most, mpq_class("18446744073709551614")));
  QNumber fraction = small(kMax, 3);
  fraction += fraction;
  EXPECT_TRUE(holds(fraction, mpq_class("18446744073709551614/3")));
}

// x - x has to vanish in every form.
TEST(QNumberTest, SubtractSelfGivesZeroInEveryForm) {
  for (QNumber q : {small(3, 7), big(3, 7), small(-kMax), huge()}) {
    const bool was_big = Inspector::is_big(q);
    const QNumber& same = q;
    q -= same;
    EXPECT_TRUE(holds(q, 0));
    EXPECT_EQ(Inspector::is_big(q), was_big);
  }
}

// Subtraction follows addition's rules, the edge at -2^63 included.
TEST(QNumberTest, SubtractAtWordEdges) {
  QNumber low = small(-kMax);
  low -= 1;
  EXPECT_TRUE(is_big(low));
  EXPECT_TRUE(holds(low, mpq_class("-9223372036854775808")));

  QNumber high = small(kMax);
  high -= small(-kMax);
  EXPECT_TRUE(holds(high, mpq_class("18446744073709551614")));

  QNumber mixed = small(1, 2);
  mixed -= big(1, 3);
  EXPECT_TRUE(holds(mixed, 1, 6));
}

// Cross-cancelling must look at both diagonals.
TEST(QNumberTest, MultiplyCancelsAcrossAndStaysSmall) {
  QNumber q = small(kMax, 15);
  q *= small(15, kMax);
  EXPECT_TRUE(is_small(q));
  EXPECT_TRUE(holds(q, 1));

  QNumber r = small(-6, 35);
  r *= small(14, 9);
  EXPECT_TRUE(is_small(r));
  EXPECT_TRUE(holds(r, -4, 15));
}

// A product with zero is 0/1 from either side.
TEST(QNumberTest, MultiplyByZeroGivesZeroOverOne) {
  for (const QNumber& zero : {small(0), big(0)}) {
    for (const QNumber& other : {small(-5, 7), big(-5, 7), huge()}) {
      QNumber a = zero;
      a *= other;
      EXPECT_TRUE(holds(a, 0));
      QNumber b = other;
      b *= zero;
      EXPECT_TRUE(holds(b, 0));
    }
  }
}

// Numerator and denominator can each be the one that leaves the words.
TEST(QNumberTest, MultiplyOverflowMovesToBigForm) {
  QNumber q = small(kMax, 2);
  q *= 3;
  EXPECT_TRUE(is_big(q));
  EXPECT_TRUE(holds(q, mpq_class("27670116110564327421/2")));

  QNumber r = small(1, kMax);
  const QNumber half = small(1, 2);
  r *= half;
  EXPECT_TRUE(is_big(r));
  EXPECT_TRUE(holds(r, mpq_class("1/18446744073709551614")));
  EXPECT_TRUE(is_small(half));
}

// Squaring reads both operands from one block.
TEST(QNumberTest, MultiplySelfSquaresInEveryForm) {
  QNumber a = small(-2, 3);
  a *= a;
  EXPECT_TRUE(is_small(a));
  EXPECT_TRUE(holds(a, 4, 9));

  QNumber b = big(-2, 3);
  b *= b;
  EXPECT_TRUE(holds(b, 4, 9));

  QNumber c = small(std::int64_t{1} << 32);
  c *= c;
  EXPECT_TRUE(is_big(c));
  EXPECT_TRUE(holds(c, mpq_class("18446744073709551616")));
}

// The quotient's denominator must be positive whatever the divisor's sign.
TEST(QNumberTest, DivideByNegativeKeepsDenominatorPositive) {
  for (const QNumber& a : {small(1, 2), big(1, 2)}) {
    for (const QNumber& b : {small(-3, 5), big(-3, 5)}) {
      QNumber q = a;
      q /= b;
      EXPECT_TRUE(holds(q, -5, 6));
      QNumber r = -a;
      r /= b;
      EXPECT_TRUE(holds(r, 5, 6));
    }
  }
}

// Any value but zero divided by itself is one.
TEST(QNumberTest, DivideSelfGivesOneInEveryForm) {
  for (QNumber q : {small(-2, 3), big(-2, 3), small(kMax), huge(), -huge()}) {
    const QNumber& same = q;
    q /= same;
    EXPECT_TRUE(holds(q, 1));
  }
}

// Every small numerator has a negative, and each form stays what it is.
TEST(QNumberTest, NegateTurnsSignAndKeepsForm) {
  EXPECT_TRUE(holds(-small(kMax), -kMax));
  EXPECT_TRUE(is_small(-small(kMax)));
  EXPECT_TRUE(holds(-small(-3, 4), 3, 4));
  EXPECT_TRUE(holds(-small(0), 0));
  EXPECT_TRUE(is_big(-big(3, 4)));
  EXPECT_TRUE(holds(-big(3, 4), -3, 4));
  EXPECT_TRUE(holds(-big(0), 0));
}

// Negation must not write through to the value it is asked of.
TEST(QNumberTest, NegateLeavesOperandAlone) {
  const QNumber q = big(3, 4);
  const QNumber negative = -q;

  EXPECT_TRUE(holds(q, 3, 4));
  EXPECT_TRUE(holds(negative, -3, 4));
}

// Rounding towards zero would be wrong for negative fractions.
TEST(QNumberTest, FloorAndCeilRoundDownAndUpInBothForms) {
  const struct {
    QNumber value;
    std::int64_t floor;
    std::int64_t ceil;
  } table[] = {{small(7, 2), 3, 4},
               {small(-7, 2), -4, -3},
               {small(1, 3), 0, 1},
               {small(-1, 3), -1, 0},
               {small(6), 6, 6},
               {small(-6), -6, -6},
               {small(0), 0, 0},
               {small(kMax), kMax, kMax},
               {small(-kMax), -kMax, -kMax},
               {small(kMax, 2), kMax / 2, kMax / 2 + 1},
               {small(-kMax, 2), -kMax / 2 - 1, -kMax / 2}};
  for (const auto& [value, floor, ceil] : table) {
    for (const QNumber& q : {value, big(value)}) {
      EXPECT_TRUE(holds(q.floor(), floor)) << q;
      EXPECT_TRUE(holds(q.ceil(), ceil)) << q;
      EXPECT_TRUE(is_small(q.floor())) << q;
      EXPECT_TRUE(is_small(q.ceil())) << q;
    }
  }
}

// Results beyond the words stay big, those at the edge come back.
TEST(QNumberTest, FloorAndCeilAtWordEdgePickTheForm) {
  const QNumber q = number("18446744073709551615/2");  // 2^63 - 1/2
  EXPECT_TRUE(is_small(q.floor()));
  EXPECT_TRUE(holds(q.floor(), kMax));
  EXPECT_TRUE(is_big(q.ceil()));
  EXPECT_TRUE(holds(q.ceil(), mpq_class("9223372036854775808")));
  EXPECT_TRUE(is_big((-q).floor()));
  EXPECT_TRUE(holds((-q).floor(), mpq_class("-9223372036854775808")));
  EXPECT_TRUE(is_small((-q).ceil()));
  EXPECT_TRUE(holds((-q).ceil(), -kMax));
}

// The term layer prints parts; a part that fits a word must be small.
TEST(QNumberTest, NumeratorAndDenominatorAreIntegersInFittingForm) {
  for (const QNumber& q : {small(-6, 35), big(-6, 35)}) {
    EXPECT_TRUE(is_small(q.numerator()));
    EXPECT_TRUE(holds(q.numerator(), -6));
    EXPECT_TRUE(is_small(q.denominator()));
    EXPECT_TRUE(holds(q.denominator(), 35));
  }
  const QNumber wide = number("-18446744073709551617/18446744073709551616");
  EXPECT_TRUE(holds(wide.numerator(), mpq_class("-18446744073709551617")));
  EXPECT_TRUE(holds(wide.denominator(), mpq_class("18446744073709551616")));
  EXPECT_TRUE(is_big(wide.numerator()));
  EXPECT_TRUE(is_big(wide.denominator()));
  // -2^63 is no small numerator.
  EXPECT_TRUE(is_big(number("-9223372036854775808/3").numerator()));
}

}  // namespace
}  // namespace vorn
