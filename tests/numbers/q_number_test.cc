// SPDX-License-Identifier: MIT
#include "vorn/numbers/q_number.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <numeric>
#include <sstream>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/reference.h"
#include "vorn/numbers/big_repr.h"

// Storage of QNumber: forms, copies, moves, and the tests on one value or two.

namespace vorn {
namespace {

using test::big;
using test::holds;
using test::huge;
using test::kMax;
using test::kMin;
using test::number;
using test::small;

static_assert(sizeof(QNumber) == 2 * sizeof(std::int64_t));
static_assert(std::is_standard_layout_v<QNumber>);
static_assert(std::is_same_v<decltype(Inspector::num(std::declval<QNumber&>())),
                             std::int64_t&>);
static_assert(std::is_same_v<decltype(Inspector::den(std::declval<QNumber&>())),
                             std::int64_t&>);
static_assert(std::is_same_v<decltype(Inspector::BigRepr::num), mpz_t>);
static_assert(std::is_same_v<decltype(Inspector::BigRepr::den), mpz_t>);
static_assert(offsetof(Inspector::BigRepr, num) == 0);
static_assert(offsetof(Inspector::BigRepr, den) == sizeof(mpz_t));
static_assert(sizeof(Inspector::BigRepr) == 2 * sizeof(mpz_t));
static_assert(std::is_nothrow_default_constructible_v<QNumber>);
static_assert(std::is_nothrow_constructible_v<QNumber, int>);
// Floating point, and what holds no number, must not be cut to an integer.
static_assert(!std::is_constructible_v<QNumber, float>);
static_assert(!std::is_constructible_v<QNumber, double>);
static_assert(!std::is_constructible_v<QNumber, long double>);
static_assert(!std::is_assignable_v<QNumber&, double>);
static_assert(!std::is_constructible_v<QNumber, std::nullptr_t>);
static_assert(!std::is_constructible_v<QNumber, const char*>);
enum class Scoped { kOne = 1 };
static_assert(!std::is_constructible_v<QNumber, Scoped>);
static_assert(std::is_nothrow_constructible_v<QNumber, unsigned>);
static_assert(std::is_convertible_v<unsigned long, QNumber>);
static_assert(std::is_nothrow_move_constructible_v<QNumber>);
static_assert(std::is_nothrow_move_assignable_v<QNumber>);

// Heap blocks that exist more than when the watch began.
class LiveBlocks {
 public:
  LiveBlocks() {
    // Made on first use, and never released.
    (void)huge();
    start_ = test::num_live();
  }
  std::ptrdiff_t more() const { return test::num_live() - start_; }

 private:
  std::ptrdiff_t start_ = 0;
};

// Code that reads the two words in order, the zero constant first of all,
// depends on their places.
TEST(QNumberTest, LayoutIsNumeratorThenDenominator) {
  const QNumber q = small(3, 7);
  const auto* words = reinterpret_cast<const std::int64_t*>(&q);

  EXPECT_EQ(words, &Inspector::num(q));
  EXPECT_EQ(words + 1, &Inspector::den(q));
  EXPECT_EQ(words[0], 3);
  EXPECT_EQ(words[1], 7);
}

// A zero denominator word marks the big form; a default must not look big.
TEST(QNumberTest, DefaultIsZeroOverOne) {
  const QNumber q;

  EXPECT_EQ(Inspector::num(q), 0);
  EXPECT_EQ(Inspector::den(q), 1);
}

// Constants of either sign must be widened, not zero-extended.
TEST(QNumberTest, ConstructFromIntWidensWithSign) {
  for (const int n : {0, 1, -1, 42, -42, std::numeric_limits<int>::max(),
                      std::numeric_limits<int>::min()}) {
    const QNumber q = n;
    EXPECT_EQ(Inspector::num(q), std::int64_t{n});
    EXPECT_EQ(Inspector::den(q), 1);
  }
}

template <class Integer>
void expect_exact(Integer n) {
  const auto expected =
      mpq_class(std::is_signed_v<Integer> ? std::to_string(std::int64_t(n))
                                          : std::to_string(std::uint64_t(n)));
  const QNumber q = n;
  EXPECT_TRUE(holds(q, expected));
  EXPECT_EQ(Inspector::is_big(q), !test::fits(expected));
}

// A weight read as a long must not lose its upper half on the way in.
TEST(QNumberTest, ConstructFromEveryIntegralTypeIsExact) {
  const auto edges = [](auto zero) {
    using Integer = decltype(zero);
    using Limits = std::numeric_limits<Integer>;
    for (const Integer n : {Limits::min(), Limits::max(), Integer(1), zero,
                            static_cast<Integer>(Limits::max() - 1),
                            static_cast<Integer>(Limits::max() / 2 + 1),
                            static_cast<Integer>(Limits::min() + 1)}) {
      expect_exact(n);
    }
  };
  edges(short{});
  edges(0);
  edges(0L);
  edges(0LL);
  edges(static_cast<unsigned short>(0));
  edges(0U);
  edges(0UL);
  edges(0ULL);
  edges(char{});
  edges(static_cast<signed char>(0));
  edges(static_cast<unsigned char>(0));
  edges(wchar_t{});
  edges(char16_t{});
  edges(char32_t{});
  expect_exact(true);
  expect_exact(false);
  enum Wide : long { kWideValue = 5000000000L };
  EXPECT_EQ(QNumber(kWideValue).to_str(), "5000000000");
  EXPECT_EQ(QNumber(5000000000L).to_str(), "5000000000");
  EXPECT_TRUE(QNumber(2147483647) < 5000000000L);
}

// Code that names an operator, to pass it on, say, must find it.
TEST(QNumberTest, OperatorsAreFoundByName) {
  const QNumber one(1);
  const QNumber two(2);
  std::ostringstream out;

  EXPECT_TRUE(vorn::operator<(one, two));
  EXPECT_FALSE(vorn::operator==(one, two));
  EXPECT_TRUE(vorn::operator!=(one, two));
  vorn::operator<<(out, two);
  EXPECT_EQ(out.str(), "2");
  bool (*const less)(const QNumber&, const QNumber&) = &vorn::operator<;
  bool (*const equal)(const QNumber&, const QNumber&) = &vorn::operator==;
  EXPECT_TRUE(less(one, two));
  EXPECT_TRUE(equal(two, two));
}

// Potentials are copied all the time; small ones must not touch the heap.
TEST(QNumberTest, CopyOfSmallCopiesBothWordsWithoutAllocating) {
  const QNumber source = small(-5, 3);
  const LiveBlocks live;

  const QNumber copy(source);

  EXPECT_EQ(live.more(), 0);
  EXPECT_EQ(Inspector::num(copy), -5);
  EXPECT_EQ(Inspector::den(copy), 3);
}

// A block with two owners would be freed twice.
TEST(QNumberTest, CopyOfBigIsIndependent) {
  const QNumber source = big(1, 3);

  QNumber copy(source);
  EXPECT_TRUE(Inspector::is_big(copy));
  EXPECT_NE(Inspector::big_block(copy), Inspector::big_block(source));
  EXPECT_TRUE(holds(copy, 1, 3));
  copy += QNumber(1);

  EXPECT_TRUE(holds(copy, 4, 3));
  EXPECT_TRUE(holds(source, 1, 3));
}

// A big value that does not give its block back leaks with every edge.
TEST(QNumberTest, DestructionOfBigFreesBlockAndBothIntegers) {
  const LiveBlocks live;
  {
    const QNumber q = big(1, 3);
    EXPECT_EQ(live.more(), 3);
  }
  EXPECT_EQ(live.more(), 0);
}

// Assignment between small values is the common case of all.
TEST(QNumberTest, AssignSmallFromSmallCopiesBothWords) {
  QNumber target = small(9, 2);
  const QNumber source = small(-4, 5);

  EXPECT_EQ(&(target = source), &target);

  EXPECT_EQ(Inspector::num(target), -4);
  EXPECT_EQ(Inspector::den(target), 5);
}

// A big target keeps its block: numbers that outgrew a word do so again.
TEST(QNumberTest, AssignBigFromSmallStaysBigInItsBlock) {
  QNumber target = huge();
  const Inspector::BigRepr* block = Inspector::big_block(target);
  const std::size_t news = test::num_new();
  const std::size_t gmps = test::num_gmp();

  EXPECT_EQ(&(target = small(-7, 3)), &target);

  EXPECT_EQ(test::num_new(), news);
  EXPECT_EQ(test::num_gmp(), gmps);
  ASSERT_TRUE(Inspector::is_big(target));
  EXPECT_EQ(Inspector::big_block(target), block);
  EXPECT_TRUE(holds(target, -7, 3));
}

// As above for a named source, which takes the copying path.
TEST(QNumberTest, AssignBigFromSmallLvalueStaysBigInItsBlock) {
  QNumber target = huge();
  const QNumber source = small(-7, 3);
  const Inspector::BigRepr* block = Inspector::big_block(target);
  const std::size_t gmps = test::num_gmp();

  EXPECT_EQ(&(target = source), &target);

  EXPECT_EQ(test::num_gmp(), gmps);
  ASSERT_TRUE(Inspector::is_big(target));
  EXPECT_EQ(Inspector::big_block(target), block);
  EXPECT_TRUE(holds(target, -7, 3));
}

// The target needs a block of its own, not the source's.
TEST(QNumberTest, AssignSmallFromBigMakesOwnBlock) {
  QNumber target = small(5);
  const QNumber source = big(2, 9);

  EXPECT_EQ(&(target = source), &target);
  ASSERT_TRUE(Inspector::is_big(target));
  EXPECT_NE(Inspector::big_block(target), Inspector::big_block(source));
  target += QNumber(1);

  EXPECT_TRUE(holds(target, 11, 9));
  EXPECT_TRUE(holds(source, 2, 9));
}

// Both integers have to be copied, the denominator too.
TEST(QNumberTest, AssignBigFromBigCopiesIntoOwnBlock) {
  QNumber target = big(5);
  const QNumber source =
      number("100000000000000000000/30000000000000000000001");
  const Inspector::BigRepr* block = Inspector::big_block(target);

  EXPECT_EQ(&(target = source), &target);

  EXPECT_EQ(Inspector::big_block(target), block);
  EXPECT_TRUE(holds(
      target, mpq_class("100000000000000000000/30000000000000000000001")));
  EXPECT_EQ(target, source);
}

// A value assigned to itself must survive in either form.
TEST(QNumberTest, AssignSelfKeepsValueAndForm) {
  QNumber a = small(3, 4);
  QNumber b = big(3, 4);
  const QNumber& same_a = a;
  const QNumber& same_b = b;

  a = same_a;
  b = same_b;

  EXPECT_FALSE(Inspector::is_big(a));
  EXPECT_TRUE(holds(a, 3, 4));
  EXPECT_TRUE(Inspector::is_big(b));
  EXPECT_TRUE(holds(b, 3, 4));
}

// A moved-from big value that still names its block would free it again.
TEST(QNumberTest, MoveConstructionTakesBlockAndLeavesZero) {
  QNumber source = big(2, 7);
  const Inspector::BigRepr* block = Inspector::big_block(source);
  const std::size_t news = test::num_new();

  const QNumber target(std::move(source));

  EXPECT_EQ(test::num_new(), news);
  EXPECT_EQ(Inspector::big_block(target), block);
  EXPECT_TRUE(holds(target, 2, 7));
  EXPECT_FALSE(Inspector::is_big(source));  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(holds(source, 0));
}

// A small value has nothing to take; the source must stay usable.
TEST(QNumberTest, MoveConstructionFromSmallCopies) {
  QNumber source = small(2, 7);

  const QNumber target(std::move(source));

  EXPECT_TRUE(holds(target, 2, 7));
  EXPECT_FALSE(Inspector::is_big(target));
  EXPECT_TRUE(holds(source, 2, 7));  // NOLINT(bugprone-use-after-move)
}

// Small values have nothing to hand over: moving one is copying it.
TEST(QNumberTest, MoveAssignmentSmallFromSmallCopies) {
  QNumber to = small(5, 7);
  QNumber from = small(-2, 3);

  to = std::move(from);

  EXPECT_TRUE(holds(to, -2, 3));
  EXPECT_TRUE(holds(from, -2, 3));  // NOLINT(bugprone-use-after-move)
}

// Block and value pass on; the source becomes an ordinary zero.
TEST(QNumberTest, MoveAssignmentSmallFromBigTakesBlock) {
  QNumber target = small(9);
  QNumber source = big(2, 7);
  const Inspector::BigRepr* block = Inspector::big_block(source);

  EXPECT_EQ(&(target = std::move(source)), &target);

  EXPECT_EQ(Inspector::big_block(target), block);
  EXPECT_TRUE(holds(target, 2, 7));
  EXPECT_TRUE(holds(source, 0));  // NOLINT(bugprone-use-after-move)
}

// A big target must not lose its block to a small source.
TEST(QNumberTest, MoveAssignmentBigFromSmallStaysBig) {
  QNumber target = big(9);
  QNumber source = small(-2, 7);
  const Inspector::BigRepr* block = Inspector::big_block(target);

  EXPECT_EQ(&(target = std::move(source)), &target);

  ASSERT_TRUE(Inspector::is_big(target));
  EXPECT_EQ(Inspector::big_block(target), block);
  EXPECT_TRUE(holds(target, -2, 7));
}

// Two blocks, two owners: none may be lost or doubled.
TEST(QNumberTest, MoveAssignmentBigFromBigLosesNoBlock) {
  const LiveBlocks live;
  {
    QNumber target = big(9);
    QNumber source = big(2, 7);

    EXPECT_EQ(&(target = std::move(source)), &target);

    EXPECT_TRUE(Inspector::is_big(target));
    EXPECT_TRUE(holds(target, 2, 7));
    // Any valid value will do for the source, as long as it is one.
    source += QNumber(1);  // NOLINT(bugprone-use-after-move)
    EXPECT_GE(Inspector::den(source), 0);
  }
  EXPECT_EQ(live.more(), 0);
}

// std::swap and sorting may move a value onto itself.
TEST(QNumberTest, MoveAssignmentToSelfKeepsValue) {
  QNumber a = small(3, 4);
  QNumber b = big(3, 4);
  QNumber& same_a = a;
  QNumber& same_b = b;

  a = std::move(same_a);
  b = std::move(same_b);

  EXPECT_TRUE(holds(a, 3, 4));
  EXPECT_TRUE(holds(b, 3, 4));
}

// The lemma builder and the printers branch on the sign.
TEST(QNumberTest, SignIsThatOfTheNumeratorInBothForms) {
  for (const QNumber& q : {small(5, 3), big(5, 3), huge()}) {
    EXPECT_GT(q.sign(), 0);
    EXPECT_LT((-q).sign(), 0);
  }
  EXPECT_EQ(small(0).sign(), 0);
  EXPECT_EQ(big(0).sign(), 0);
}

// The integer shortcut of addition and comparison trusts this test.
TEST(QNumberTest, IsIntegerExactlyWhenDenominatorIsOne) {
  EXPECT_TRUE(small(0).is_integer());
  EXPECT_TRUE(small(-9).is_integer());
  EXPECT_FALSE(small(9, 2).is_integer());
  EXPECT_TRUE(big(0).is_integer());
  EXPECT_TRUE(big(-9).is_integer());
  EXPECT_FALSE(big(9, 2).is_integer());
  EXPECT_TRUE(huge().is_integer());
}

// Equal numbers in two forms must not become two terms.
TEST(QNumberTest, EqualityAcrossFormsComparesParts) {
  for (const auto& [a, b] :
       {std::pair(small(2, 3), big(2, 3)), std::pair(big(-2, 3), big(-2, 3)),
        std::pair(small(0), big(0)), std::pair(big(kMax), small(kMax))}) {
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(b == a);
    EXPECT_FALSE(a != b);
    EXPECT_EQ(a.hash(), b.hash());
  }
}

// Either part alone must make a difference, in every mix of forms.
TEST(QNumberTest, EqualityDiffersWhenOnePartDiffers) {
  const QNumber values[] = {small(2, 3), small(2, 5), small(4, 3),
                            small(-2, 3)};
  for (const QNumber& a : values) {
    for (const QNumber& b : values) {
      const bool same = &a == &b;
      EXPECT_EQ(a == b, same);
      EXPECT_EQ(a == big(b), same);
      EXPECT_EQ(big(a) == b, same);
      EXPECT_EQ(big(a) == big(b), same);
    }
  }
}

// A big value may share its low word with a small one.
TEST(QNumberTest, EqualityLooksBeyondTheLowWord) {
  const QNumber two_to_64 = number("18446744073709551616");

  EXPECT_FALSE(two_to_64 == small(0));
  EXPECT_FALSE(small(0) == two_to_64);
}

// Containers of numbers group equal values by their hash.
TEST(QNumberTest, HashServesUnorderedContainersInAnyMixOfForms) {
  std::unordered_set<QNumber> set = {small(1, 3), small(2)};

  EXPECT_EQ(set.count(big(1, 3)), 1U);
  EXPECT_EQ(set.count(big(2)), 1U);
  EXPECT_EQ(set.count(small(-2)), 0U);
  EXPECT_EQ(std::hash<QNumber>()(huge()), huge().hash());
}

// A hash that ignored a part or the sign would pile fractions up.
TEST(QNumberTest, HashDependsOnNumeratorDenominatorAndSign) {
  std::unordered_set<std::size_t> hashes;
  int drawn = 0;
  for (std::int64_t d = 1; d <= 30; ++d) {
    for (std::int64_t n = -30; n <= 30; ++n) {
      if (std::gcd(n, d) != 1) continue;
      hashes.insert(small(n, d).hash());
      ++drawn;
    }
  }
  EXPECT_GE(hashes.size(), static_cast<std::size_t>(drawn - 1));
}

// A wrong sign shortcut gives a wrong verdict without any overflow.
TEST(QNumberTest, LessDifferentSignsDecidedBySign) {
  EXPECT_TRUE(small(-1, 3) < small(1, 2));
  EXPECT_FALSE(small(1, 2) < small(-1, 3));
  EXPECT_TRUE(small(-1, 3) < small(0));
  EXPECT_FALSE(small(0) < small(-1, 3));
  EXPECT_FALSE(small(0) < small(0));
  EXPECT_FALSE(big(0) < small(0));
  EXPECT_FALSE(small(0) < big(0));
  EXPECT_FALSE(big(0) < big(0));
  EXPECT_TRUE(-huge() < small(1, 2));
  EXPECT_FALSE(huge() < small(-1, 2));
}

// Sign decides before a product is made: no GMP integer for opposite signs.
TEST(QNumberTest, LessDifferentSignsAllocatesNothingEvenForLargeFractions) {
  const QNumber a = small(-kMax, kMax - 1);
  const QNumber b = small(kMax - 2, kMax);
  const std::size_t gmps = test::num_gmp();

  EXPECT_TRUE(a < b);
  EXPECT_FALSE(b < a);

  EXPECT_EQ(test::num_gmp(), gmps);
}

// Integers meet directly, whatever their forms.
TEST(QNumberTest, LessIntegersInEveryMixOfForms) {
  const QNumber beyond = number("9223372036854775808");
  EXPECT_TRUE(small(2) < small(3));
  EXPECT_FALSE(small(3) < small(3));
  EXPECT_TRUE(small(kMax) < beyond);
  EXPECT_FALSE(beyond < small(kMax));
  EXPECT_TRUE(-beyond < small(-kMax));
  EXPECT_FALSE(small(-kMax) < -beyond);
  EXPECT_TRUE(big(-3) < small(-2));
  EXPECT_FALSE(small(-2) < big(-3));
  EXPECT_TRUE(beyond < huge());
  EXPECT_FALSE(huge() < beyond);
  EXPECT_FALSE(huge() < huge());
}

// gcd with a zero numerator must not reach the cross products.
TEST(QNumberTest, LessSmallZeroIsBelowEveryBigPositive) {
  EXPECT_TRUE(small(0) < big(1, 3));
  EXPECT_TRUE(small(0) < number("1/100000000000000000000000000001"));
  EXPECT_TRUE(small(0) < huge());
  EXPECT_FALSE(big(1, 3) < small(0));
}

// The words' products overflow here; a wrapped one would decide wrongly.
TEST(QNumberTest, LessOverflowingCrossProductsAreExact) {
  const std::int64_t two_to_62 = std::int64_t{1} << 62;
  EXPECT_TRUE(small(3, two_to_62) < small(5, two_to_62 + 1));
  EXPECT_FALSE(small(5, two_to_62 + 1) < small(3, two_to_62));
  // Neighbours: the products differ by one.
  EXPECT_TRUE(small(kMax - 2, kMax - 1) < small(kMax - 1, kMax));
  EXPECT_FALSE(small(kMax - 1, kMax) < small(kMax - 2, kMax - 1));
  EXPECT_TRUE(small(1 - kMax, kMax) < small(2 - kMax, kMax - 1));
  EXPECT_FALSE(small(2 - kMax, kMax - 1) < small(1 - kMax, kMax));
  EXPECT_FALSE(small(kMax, 2) < small(kMax, 2));
}

// Removing common factors first keeps large related fractions off the heap.
TEST(QNumberTest, LessCommonFactorsAreRemovedBeforeMultiplying) {
  const std::int64_t large = std::int64_t{3} << 60;
  const std::size_t gmps = test::num_gmp();

  EXPECT_TRUE(small(1, large) < small(5, large));
  EXPECT_TRUE(small(large, 7) < small(large, 5));
  EXPECT_FALSE(small(-large, 7) < small(-large, 5));

  EXPECT_EQ(test::num_gmp(), gmps);
}

// Fractions of one sign go through the cross products of each mix of forms.
TEST(QNumberTest, LessFractionsInEveryMixOfForms) {
  const std::pair<QNumber, QNumber> ordered[] = {
      {small(1, 3), small(1, 2)},
      {small(-1, 2), small(-1, 3)},
      {small(2, 3), small(4, 5)},
      {small(1, 2), small(3)},
      {small(-3), small(-5, 2)},
      {small(6, 35), small(10, 21)},
      {small(kMax - 2, kMax - 1), small(kMax - 1, kMax)},
      {small(-kMax, kMax - 1), small(-kMax + 2, kMax - 1)}};
  for (const auto& [low, high] : ordered) {
    for (const QNumber& a : {low, big(low)}) {
      for (const QNumber& b : {high, big(high)}) {
        EXPECT_TRUE(a < b) << a << " " << b;
        EXPECT_FALSE(b < a) << a << " " << b;
        EXPECT_TRUE(a <= b);
        EXPECT_TRUE(b >= a);
        EXPECT_TRUE(b > a);
        EXPECT_FALSE(a > b);
        EXPECT_FALSE(a >= b);
        EXPECT_FALSE(b <= a);
      }
    }
  }
}

// An equal pair must be ordered neither way, whichever path decides.
TEST(QNumberTest, LessEqualValuesIsFalseInEveryMixOfForms) {
  for (const QNumber& q :
       {small(0), small(7), small(-7), small(2, 3), small(-2, 3),
        small(kMax - 1, kMax), small(1 - kMax, kMax)}) {
    for (const QNumber& a : {q, big(q)}) {
      for (const QNumber& b : {q, big(q)}) {
        EXPECT_FALSE(a < b) << a;
        EXPECT_TRUE(a <= b) << a;
        EXPECT_TRUE(a >= b) << a;
      }
    }
  }
}

// The hot path of the graph: small arithmetic must not touch the heap.
TEST(QNumberTest, SmallOperationsNeverAllocate) {
  const std::size_t news = test::num_new();
  const std::size_t gmps = test::num_gmp();

  QNumber a = small(7, 6);
  const QNumber b = small(-5, 4);
  a += b;
  a -= b;
  a *= b;
  a /= b;
  a += QNumber(3);
  const QNumber c = -a;
  bool order = a < b || b < c || a == b;
  order = order && a.floor() < a.ceil() && a.numerator() < a.denominator();
  const std::size_t hash = a.hash() + static_cast<std::size_t>(a.sign() + 1);

  EXPECT_EQ(test::num_new(), news);
  EXPECT_EQ(test::num_gmp(), gmps);
  EXPECT_FALSE(order && hash == 0);
  EXPECT_TRUE(holds(a, 25, 6));
}

}  // namespace
}  // namespace vorn
