// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <numeric>

#include "tests/numbers/reference.h"
#include "vorn/numbers/big_repr.h"
#include "vorn/numbers/q_number.h"

// The 64-bit tests and helpers that the number layer's arithmetic stands on.

namespace vorn {
namespace {

using test::kMax;
using test::kMin;

constexpr std::int64_t k31 = std::int64_t{1} << 31;
constexpr std::int64_t k32 = std::int64_t{1} << 32;

// The words at which sums and products change sides.
constexpr std::array<std::int64_t, 25> kCorners = {
    kMin,        kMin + 1, kMin + 2, kMin / 2 - 1, kMin / 2, kMin / 2 + 1,
    -k32,        -k31,     -3,       -2,           -1,       0,
    1,           2,        3,        k31 - 1,      k31,      k32 - 1,
    k32,         kMax / 3, kMax / 2, kMax - 1,     kMax,     kMax / 2 + 1,
    kMax / 3 + 1};

// A sum that leaves the range unnoticed would corrupt potentials.
TEST(QNumberTest, AddFitsAgreesWithUnboundedSumOnAllCorners) {
  for (const std::int64_t x : kCorners) {
    for (const std::int64_t y : kCorners) {
      // Only sums of two negative words give -2^63 away.
      const mpz_class sum = mpz_class(x) + mpz_class(y);
      const mpz_class least =
          x < 0 && y < 0 ? mpz_class(kMin) + 1 : mpz_class(kMin);
      const bool expected = least <= sum && sum <= kMax;
      std::int64_t result = 17;
      EXPECT_EQ(QNumber::add_fits(x, y, &result), expected) << x << " " << y;
      EXPECT_EQ(mpz_class(result), expected ? sum : mpz_class(17));
    }
  }
}

// -2^63 has no magnitude in a word; gcd and negation would go wrong on it.
TEST(QNumberTest, AddFitsSumOfExactlyMinusTwoTo63CountsAsOverflow) {
  std::int64_t result = 17;

  EXPECT_FALSE(QNumber::add_fits(kMin + 1, -1, &result));
  EXPECT_FALSE(QNumber::add_fits(kMin / 2, kMin / 2, &result));
  EXPECT_EQ(result, 17);
  EXPECT_TRUE(QNumber::add_fits(kMin + 2, -1, &result));
  EXPECT_EQ(result, kMin + 1);
}

// A product that wraps round would give wrong fractions and comparisons.
TEST(QNumberTest, MulFitsAgreesWithUnboundedProductOnAllCorners) {
  for (const std::int64_t x : kCorners) {
    for (const std::int64_t y : kCorners) {
      const mpz_class product = mpz_class(x) * mpz_class(y);
      const bool expected = test::fits(product);
      std::int64_t result = 17;
      EXPECT_EQ(QNumber::mul_fits(x, y, &result), expected) << x << " " << y;
      EXPECT_EQ(mpz_class(result), expected ? product : mpz_class(17));
    }
  }
}

// The largest factors whose product still fits must not be sent to GMP.
TEST(QNumberTest, MulFitsLargestQuotientFitsAndNextDoesNot) {
  std::int64_t result = 0;
  for (const std::int64_t y : {std::int64_t{1}, std::int64_t{2},
                               std::int64_t{3}, k31, k32, kMax / 2, kMax}) {
    EXPECT_TRUE(QNumber::mul_fits(kMax / y, y, &result)) << y;
    EXPECT_TRUE(QNumber::mul_fits(-(kMax / y), y, &result)) << y;
    if (y == 1) continue;
    EXPECT_FALSE(QNumber::mul_fits(kMax / y + 1, y, &result)) << y;
    EXPECT_FALSE(QNumber::mul_fits(kMax / y + 1, -y, &result)) << y;
  }
}

// A wrong magnitude of a negative word breaks every reduction.
TEST(WordHelpersTest, MagnitudeOfEveryCornerIsItsAbsoluteValue) {
  for (const std::int64_t x : kCorners) {
    EXPECT_EQ(mpz_class(magnitude(x)), abs(mpz_class(x))) << x;
  }
  EXPECT_EQ(magnitude(kMin), std::uint64_t{1} << 63);
}

// Zero operands and powers of two take paths of their own.
TEST(WordHelpersTest, GcdAgreesWithLibraryOnCornersAndRandomWords) {
  test::Draw draw(11);
  const auto check = [](std::uint64_t a, std::uint64_t b) {
    EXPECT_EQ(gcd(a, b), std::gcd(a, b)) << a << " " << b;
  };
  for (const std::int64_t x : kCorners) {
    for (const std::int64_t y : kCorners) check(magnitude(x), magnitude(y));
  }
  for (int k = 0; k < 20000; ++k) {
    const std::uint64_t factor = draw.below(1000);
    check(factor * draw.below(std::uint64_t{1} << draw.below(54)),
          factor * draw.below(std::uint64_t{1} << draw.below(54)));
  }
}

// Swapped into a block, an integer without a limb would make the next
// assignment of a word allocate inside a noexcept move.
TEST(WordHelpersTest, IntegerOwnsALimbFromTheStart) {
  Integer none;
  Integer some(-5);

  EXPECT_GE(none.get()->_mp_alloc, 1);
  EXPECT_GE(some.get()->_mp_alloc, 1);
  EXPECT_EQ(mpz_sgn(none.get()), 0);
  EXPECT_EQ(mpz_cmp_si(some.get(), -5), 0);
}

}  // namespace
}  // namespace vorn
