// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <vector>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/reference.h"
#include "vorn/numbers/d_number.h"

// The order of delta-rationals and the fused comparison of a sum.

namespace vorn::la {
namespace {

using test::big;
using test::huge;
using test::kMax;
using test::small;

using Block = DNumber::num_repr;

// Neither is less than the other.
bool equivalent(const DNumber& a, const DNumber& b) {
  return !(a < b) && !(b < a);
}

// A strict bound would count as its weak one without the eps part.
TEST(DNumberOrderTest, LessIsLexicographicOnRationalThenEps) {
  EXPECT_TRUE(DNumber(1, 0) < DNumber(1, 1));
  EXPECT_FALSE(DNumber(1, 1) < DNumber(1, 0));
  EXPECT_FALSE(DNumber(1, 1) < DNumber(1, 1));
  EXPECT_FALSE(DNumber(2, -5) < DNumber(1, 7));
  EXPECT_TRUE(DNumber(1, 7) < DNumber(2, -5));
  EXPECT_TRUE(DNumber(-1, 0) < DNumber());
  EXPECT_TRUE(DNumber() < DNumber(0, 1));
  EXPECT_FALSE(DNumber() < DNumber(0, 0));
  EXPECT_FALSE(DNumber(0, 0) < DNumber());
  EXPECT_TRUE(DNumber(small(1, 3), 0) < DNumber(small(1, 2), 0));
}

// No potential is below itself, also when two words share its block.
TEST(DNumberOrderTest, LessOfSharedBlockIsFalse) {
  const DNumber a(1, 2);
  const DNumber b = a;
  EXPECT_FALSE(a < b);
  EXPECT_FALSE(a < a);
  EXPECT_FALSE(DNumber() < DNumber());
}

// Parts may stand in either form.
TEST(DNumberOrderTest, LessAcceptsEveryMixOfForms) {
  for (const QNumber& r : {small(1, 3), big(1, 3)}) {
    for (const QNumber& s : {small(1, 3), big(1, 3)}) {
      EXPECT_TRUE(DNumber(r, small(-1)) < DNumber(s, big(0)));
      EXPECT_TRUE(DNumber(r, big(-1)) < DNumber(s, small(0)));
      EXPECT_FALSE(DNumber(r, big(2)) < DNumber(s, small(2)));
    }
  }
  EXPECT_TRUE(DNumber(small(kMax), 0) < DNumber(huge(), small(-kMax)));
}

// A tagged value with a non-zero rational part is above everything untagged.
TEST(DNumberOrderTest, TaggedWithNonZeroRationalIsAboveUntagged) {
  const Block blocks[] = {Block(3, 0, 1), Block(-3, 0, 1)};
  for (const Block& block : blocks) {
    const DNumber top = DNumber::tagged(block);
    for (const DNumber& d :
         {DNumber(), DNumber(5, 0), DNumber(-5, 0), DNumber(huge(), huge())}) {
      EXPECT_TRUE(d < top);
      EXPECT_FALSE(top < d);
    }
  }
}

// One with a zero rational part is below, whatever its eps part.
TEST(DNumberOrderTest, TaggedWithZeroRationalIsBelowUntagged) {
  const Block blocks[] = {Block(0, 0, 1), Block(0, 7, 1), Block(0, -7, 1)};
  for (const Block& block : blocks) {
    const DNumber bottom = DNumber::tagged(block);
    for (const DNumber& d : {DNumber(), DNumber(0, -9), DNumber(-5, 0),
                             DNumber(-huge(), -huge())}) {
      EXPECT_TRUE(bottom < d);
      EXPECT_FALSE(d < bottom);
    }
  }
}

// Two tagged values compare by their blocks, one word never with itself.
TEST(DNumberOrderTest, TwoTaggedValuesCompareLexicographically) {
  const Block zero(0, 0, 1);
  const Block also_zero(0, 0, 1);
  const Block three(3, 0, 1);
  const Block three_eps(3, 1, 1);
  const DNumber a = DNumber::tagged(zero);
  const DNumber b = DNumber::tagged(also_zero);
  const DNumber c = DNumber::tagged(three);
  const DNumber d = DNumber::tagged(three_eps);

  EXPECT_FALSE(a < a);
  EXPECT_FALSE(a < b);
  EXPECT_FALSE(b < a);
  EXPECT_TRUE(a < c);
  EXPECT_FALSE(c < a);
  EXPECT_TRUE(c < d);
  EXPECT_FALSE(d < c);
}

// The same block with and without a tag is two different values.
TEST(DNumberOrderTest, TagDecidesBetweenWordsOfOneBlock) {
  const DNumber five(5, 0);
  const DNumber top = DNumber::tagged(*Inspector::block(five));

  EXPECT_TRUE(five < top);
  EXPECT_FALSE(top < five);
}

// Values around each other, tagged and untagged, in both forms.
std::vector<DNumber> samples() {
  static const std::array<Block, 4> blocks = {Block(3, 0, 1), Block(3, 1, 1),
                                              Block(0, 0, 1), Block(0, 1, 1)};
  std::vector<DNumber> values;
  for (const Block& block : blocks) values.push_back(DNumber::tagged(block));
  for (const QNumber& r : {small(0), big(0), small(1), small(-1), small(1, 2),
                           small(-kMax), small(kMax), huge()}) {
    for (const QNumber& e : {small(0), small(-1), big(1), small(kMax)}) {
      values.emplace_back(r, e);
    }
  }
  values.emplace_back();
  values.push_back(values.back());
  return values;
}

// Sorting and shortest paths need a strict weak order.
TEST(DNumberOrderTest, OrderIsStrictWeak) {
  const std::vector<DNumber> values = samples();
  for (const DNumber& a : values) {
    EXPECT_FALSE(a < a);
    for (const DNumber& b : values) {
      EXPECT_FALSE(a < b && b < a) << a << ", " << b;
      for (const DNumber& c : values) {
        if (a < b && b < c) {
          EXPECT_TRUE(a < c) << a << ", " << b << ", " << c;
        }
        if (equivalent(a, b) && equivalent(b, c)) {
          EXPECT_TRUE(equivalent(a, c)) << a << ", " << b << ", " << c;
        }
      }
    }
  }
}

// The relaxation asks sum_less, has_negative_cycle the two steps: a difference
// would make the engine disagree with itself.
TEST(DNumberOrderTest, SumLessAgreesWithSumThenLess) {
  const std::vector<DNumber> values = samples();
  for (const DNumber& a : values) {
    for (const DNumber& b : values) {
      const DNumber sum = a + b;
      for (const DNumber& c : values) {
        EXPECT_EQ(DNumber::sum_less(a, b, c), sum < c)
            << a << ", " << b << ", " << c;
      }
      EXPECT_FALSE(DNumber::sum_less(a, b, sum));
    }
  }
}

// The relaxation lowers in one step: it must lower exactly when the comparison
// says so, to exactly the sum, also in a block that the target has for itself,
// and never in a block that others share.
TEST(DNumberOrderTest, LowerMakesTheTargetTheSumExactlyIfThatIsLess) {
  const std::vector<DNumber> values = samples();
  for (const DNumber& a : values) {
    for (const DNumber& b : values) {
      const DNumber sum = a + b;
      for (const DNumber& c : values) {
        SCOPED_TRACE(::testing::Message() << a << " + " << b << ", " << c);
        const bool less = sum < c;
        const std::string old_text = c.to_str();
        DNumber shared = c;
        EXPECT_EQ(DNumber::lower(shared, a, b), less);
        EXPECT_TRUE(equivalent(shared, less ? sum : c));
        EXPECT_EQ(c.to_str(), old_text);
        if (c.is_tagged()) continue;
        DNumber sole(c.rational(), c.eps());
        EXPECT_EQ(DNumber::lower(sole, a, b), less);
        EXPECT_TRUE(equivalent(sole, less ? sum : c));
      }
    }
  }
}

// A self loop lowers a node by its own potential.
TEST(DNumberOrderTest, LowerByItsOwnValue) {
  DNumber sole(-3, 1);
  EXPECT_TRUE(DNumber::lower(sole, sole, sole));
  EXPECT_TRUE(equivalent(sole, DNumber(-6, 2)));

  DNumber third(small(-1, 3), 0);
  EXPECT_TRUE(DNumber::lower(third, third, third));
  EXPECT_TRUE(equivalent(third, DNumber(small(-2, 3), 0)));
}

// A node is lowered many times in a run: once it has a block of its own it
// needs no other.
TEST(DNumberOrderTest, LowerOfASoleOwnerAllocatesNothing) {
  DNumber target(10, 0);
  const DNumber by(-1, -1);
  const std::uintptr_t word = Inspector::repr(target);
  const std::size_t news = test::num_new();

  for (int k = 0; k < 5; ++k) EXPECT_TRUE(DNumber::lower(target, target, by));

  EXPECT_EQ(Inspector::repr(target), word);
  EXPECT_EQ(test::num_new(), news);
  EXPECT_TRUE(equivalent(target, DNumber(5, -5)));
}

// Any single tagged operand leaves the fused path.
TEST(DNumberOrderTest, SumLessWithTaggedOperands) {
  const Block three(3, 0, 1);
  const Block zero(0, 0, 1);
  const DNumber top = DNumber::tagged(three);
  const DNumber bottom = DNumber::tagged(zero);
  const DNumber one(1, 0);

  EXPECT_TRUE(DNumber::sum_less(one, one, top));
  EXPECT_FALSE(DNumber::sum_less(one, one, bottom));
  EXPECT_FALSE(DNumber::sum_less(top, one, one));
  EXPECT_FALSE(DNumber::sum_less(one, top, one));
  EXPECT_TRUE(DNumber::sum_less(bottom, one, one));
  EXPECT_TRUE(DNumber::sum_less(one, bottom, one));
  EXPECT_FALSE(DNumber::sum_less(top, bottom, top));
  EXPECT_TRUE(DNumber::sum_less(bottom, top, one));
}

// The fused comparison exists to make no block.
TEST(DNumberOrderTest, SumLessOfSmallPartsAllocatesNothing) {
  const DNumber a(small(1, 2), -1);
  const DNumber b(small(1, 3), 2);
  const DNumber c(small(5, 6), 2);
  const std::size_t news = test::num_new();

  EXPECT_TRUE(DNumber::sum_less(a, b, c));
  EXPECT_FALSE(DNumber::sum_less(c, b, a));

  EXPECT_EQ(test::num_new(), news);
  EXPECT_EQ(Inspector::refcount(a), 1);
  EXPECT_EQ(Inspector::refcount(c), 1);
}

}  // namespace
}  // namespace vorn::la
