// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/blocks_in_use.h"
#include "tests/numbers/reference.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

// What numbers hold after an allocation failed, with each allocation of each
// operation failing in turn.

namespace vorn {
namespace {

using test::big;
using test::fails_at;
using test::holds;
using test::huge;
using test::kMax;
using test::number;
using test::small;

// More allocations than any single operation makes.
constexpr std::size_t kEnough = 60;

// Runs op on copies of the operands with allocation 0, 1, 2, ... failing, until
// it passes; after a failure both operands must hold their old values. Returns
// the number of failures.
template <class Op>
std::size_t exhaust(const QNumber& a, const QNumber& b, Op op) {
  const mpq_class old_a = test::to_mpq(a);
  const mpq_class old_b = test::to_mpq(b);
  const std::ptrdiff_t live = test::blocks_in_use();
  std::size_t failures = 0;
  while (failures < kEnough) {
    QNumber target = a;
    QNumber other = b;
    const bool failed =
        fails_at(failures, [&] { op(target, std::as_const(other)); });
    EXPECT_TRUE(holds(other, old_b));
    if (!failed) break;
    EXPECT_TRUE(holds(target, old_a)) << "after failure " << failures;
    ++failures;
  }
  EXPECT_LT(failures, kEnough);
  EXPECT_EQ(test::blocks_in_use(), live);
  return failures;
}

// A host that survives a failed check goes on with the old potentials.
TEST(QNumberFailureTest, FailedOperationsKeepTheTargetsValue) {
  const QNumber wide =
      number("123456789012345678901234567890/98765432109876543211");
  const QNumber values[] = {small(kMax), small(1, kMax), small(-2, 3), big(7),
                            big(-5, 6),  huge(),         wide};
  std::size_t failures = 0;
  for (const QNumber& a : values) {
    for (const QNumber& b : values) {
      SCOPED_TRACE(a.to_str() + ", " + b.to_str());
      failures += exhaust(a, b, [](QNumber& x, const QNumber& y) { x += y; });
      failures += exhaust(a, b, [](QNumber& x, const QNumber& y) { x -= y; });
      failures += exhaust(a, b, [](QNumber& x, const QNumber& y) { x *= y; });
      failures += exhaust(a, b, [](QNumber& x, const QNumber& y) { x /= y; });
      failures += exhaust(a, b, [](QNumber& x, const QNumber& y) { x = y; });
    }
  }
  EXPECT_GT(failures, 500U);
}

// Doubling changes the very operand it reads.
TEST(QNumberFailureTest, FailedOperationsOnSelfKeepTheValue) {
  for (const QNumber& a : {small(kMax), small(kMax, 2), big(1, 3), huge()}) {
    SCOPED_TRACE(a.to_str());
    EXPECT_GT(exhaust(a, a, [](QNumber& x, const QNumber&) { x += x; }), 0U);
    EXPECT_GT(exhaust(a, a, [](QNumber& x, const QNumber&) { x *= x; }), 0U);
  }
}

// Functions that make a new value must leave nothing behind.
TEST(QNumberFailureTest, FailedConstructionsLeakNothing) {
  const QNumber wide =
      number("-123456789012345678901234567890/98765432109876543211");
  std::size_t failures = 0;
  const auto run = [&](auto op) { failures += exhaust(wide, wide, op); };
  run([](QNumber&, const QNumber& y) { QNumber copy(y); });
  run([](QNumber&, const QNumber& y) { (void)-y; });
  run([](QNumber&, const QNumber& y) { (void)y.floor(); });
  run([](QNumber&, const QNumber& y) { (void)y.ceil(); });
  run([](QNumber&, const QNumber& y) { (void)y.numerator(); });
  run([](QNumber&, const QNumber& y) { (void)y.denominator(); });
  run([](QNumber&, const QNumber& y) { (void)(y < small(-2, 3)); });
  run([](QNumber&, const QNumber&) {
    (void)QNumber::from_string("99999999999999999999999/77777777777777777777");
  });
  EXPECT_GT(failures, 15U);
}

// Comparing must not change what it compares, also when it cannot finish.
TEST(QNumberFailureTest, FailedComparisonsKeepBothValues) {
  const QNumber wide =
      number("123456789012345678901234567890/98765432109876543211");
  std::size_t failures = 0;
  for (const QNumber& a : {wide, small(kMax - 1, kMax), big(kMax, kMax - 1)}) {
    for (const QNumber& b : {wide, small(kMax - 2, kMax - 1)}) {
      failures +=
          exhaust(a, b, [](QNumber& x, const QNumber& y) { (void)(x < y); });
    }
  }
  EXPECT_GT(failures, 10U);
}

// Moves promise not to throw; they get no memory at all here.
TEST(QNumberFailureTest, MovesNeedNoMemory) {
  const auto check = [](const QNumber& target, const QNumber& source) {
    const mpq_class expected = test::to_mpq(source);
    QNumber to = target;
    QNumber from = source;
    EXPECT_FALSE(fails_at(0, [&] {
      QNumber middle(std::move(from));
      to = std::move(middle);
    }));
    EXPECT_TRUE(holds(to, expected));
  };
  for (const QNumber& target : {small(1, 2), big(1, 2), huge()}) {
    for (const QNumber& source : {small(kMax, 2), big(-kMax, 2), huge()}) {
      check(target, source);
    }
  }
}

using la::DNumber;

constexpr const char* kWide = "123456789012345678901234567890";

DNumber wide_d(int eps) {
  return {number(kWide), QNumber(eps)};
}

// A text that is cut short reads as another number.
TEST(DNumberFailureTest, FailedTextsThrowAndLeakNothing) {
  const DNumber d(
      number("-123456789012345678901234567890/98765432109876543211"),
      number(kWide));
  const QNumber& q = d.rational();
  const std::string text_of_d = d.to_str();
  const std::string text_of_q = q.to_str();
  ASSERT_EQ(text_of_d, text_of_q + " + " + kWide + "*eps");
  const std::ptrdiff_t live = test::blocks_in_use();
  std::size_t failures = 0;
  const auto run = [&](const auto& value, const std::string& text) {
    for (std::size_t k = 0; k < kEnough; ++k) {
      std::string found;
      if (!fails_at(k, [&] { found = value.to_str(); })) {
        EXPECT_EQ(found, text);
        return;
      }
      ++failures;
    }
    ADD_FAILURE() << "never enough";
  };
  run(d, text_of_d);
  run(q, text_of_q);
  EXPECT_GT(failures, 5U);
  EXPECT_EQ(test::blocks_in_use(), live);
}

// The operands of a failed sum serve the host's next attempt.
TEST(DNumberFailureTest, FailedSumKeepsOperandsAndLeaksNothing) {
  const DNumber a = wide_d(3);
  const DNumber b(small(1, 3), number(kWide));
  const std::ptrdiff_t live = test::blocks_in_use();
  std::size_t failures = 0;
  while (fails_at(failures, [&] { (void)(a + b); })) {
    ++failures;
    ASSERT_LT(failures, kEnough);
    EXPECT_TRUE(holds(a.rational(), mpq_class(kWide)));
    EXPECT_TRUE(holds(a.eps(), 3));
    EXPECT_TRUE(holds(b.rational(), 1, 3));
    EXPECT_EQ(Inspector::refcount(a), 1);
    EXPECT_EQ(Inspector::refcount(b), 1);
  }
  EXPECT_GT(failures, 3U);
  EXPECT_EQ(test::blocks_in_use(), live);
}

// The share is gone before memory is asked for; releasing it once more in the
// destructor would free a block under its other owner.
TEST(DNumberFailureTest, FailedAdditionToSharedBlockLeavesZero) {
  const DNumber keeper = wide_d(3);
  const DNumber other(small(1, 3), number(kWide));
  std::size_t failures = 0;
  for (;;) {
    DNumber target = keeper;
    ASSERT_EQ(Inspector::refcount(keeper), 2);
    if (!fails_at(failures, [&] { target += other; })) {
      EXPECT_TRUE(holds(target.eps(), mpq_class(std::string(kWide)) + 3));
      break;
    }
    ++failures;
    ASSERT_LT(failures, kEnough);
    EXPECT_EQ(Inspector::block(target), &DNumber::zero);
    EXPECT_EQ(Inspector::refcount(keeper), 1);
    EXPECT_TRUE(holds(keeper.rational(), mpq_class(kWide)));
    EXPECT_TRUE(holds(keeper.eps(), 3));
  }
  EXPECT_GT(failures, 3U);
  EXPECT_EQ(DNumber::zero.refcount, 2);
}

// A sole owner is written in place: its parts change one after the other, and
// each of them as a whole.
TEST(DNumberFailureTest, FailedAdditionInPlaceChangesWholePartsOnly) {
  const DNumber other(small(1), small(1));
  const mpq_class old_part(test::kMax);
  const mpq_class new_part = old_part + 1;
  bool kept = false;
  bool half_done = false;
  std::size_t failures = 0;
  for (;;) {
    DNumber target(small(kMax), small(kMax));
    if (!fails_at(failures, [&] { target += other; })) {
      EXPECT_TRUE(holds(target.rational(), new_part));
      EXPECT_TRUE(holds(target.eps(), new_part));
      break;
    }
    ++failures;
    ASSERT_LT(failures, kEnough);
    if (holds(target.rational(), old_part)) {
      kept = true;
    } else {
      EXPECT_TRUE(holds(target.rational(), new_part));
      half_done = true;
    }
    EXPECT_TRUE(holds(target.eps(), old_part));
    EXPECT_EQ(Inspector::refcount(target), 1);
  }
  EXPECT_TRUE(kept);
  EXPECT_TRUE(half_done);
}

// Copying, assigning and default values must work when memory is exhausted:
// backtracking relies on it.
TEST(DNumberFailureTest, CopiesMovesAndZerosNeedNoMemory) {
  const DNumber a = wide_d(1);
  DNumber b = wide_d(2);
  EXPECT_FALSE(fails_at(0, [&] {
    DNumber copy = a;
    b = copy;
    DNumber zero;
    DNumber moved = std::move(copy);
    b = std::move(moved);
    b = zero;
  }));
  EXPECT_EQ(Inspector::refcount(a), 1);
}

// A failed comparison of a sum must not hold on to its parts.
TEST(DNumberFailureTest, FailedSumLessLeaksNothing) {
  const DNumber a = wide_d(1);
  const DNumber b = wide_d(2);
  const std::ptrdiff_t live = test::blocks_in_use();
  std::size_t failures = 0;
  while (fails_at(failures, [&] { (void)DNumber::sum_less(a, b, a); })) {
    ++failures;
    ASSERT_LT(failures, kEnough);
  }
  EXPECT_GT(failures, 0U);
  EXPECT_EQ(test::blocks_in_use(), live);
}

// A relaxation whose number runs out of memory is rolled back, for which a
// value that was not lowered must be as it was. This one owns its block.
TEST(DNumberFailureTest, FailedLowerLeavesAnOwnedTargetAlone) {
  const DNumber a(-number(kWide), -number(kWide));
  const DNumber b = a;
  const DNumber old(number(kWide), number(kWide));
  const std::ptrdiff_t before = test::blocks_in_use();
  {
    // Copies of its parts: its block has no other owner.
    DNumber target(old.rational(), old.eps());
    std::size_t failures = 0;
    while (fails_at(failures, [&] { DNumber::lower(target, a, b); })) {
      ++failures;
      EXPECT_TRUE(target.rational() == old.rational());
      EXPECT_TRUE(target.eps() == old.eps());
      ASSERT_LT(failures, kEnough);
    }
    EXPECT_GT(failures, 1U);
    const DNumber sum = a + b;
    EXPECT_TRUE(target.rational() == sum.rational());
    EXPECT_TRUE(target.eps() == sum.eps());
  }
  EXPECT_EQ(test::blocks_in_use(), before);
}

// The same for a value that shares its block.
TEST(DNumberFailureTest, FailedLowerLeavesASharedTargetAlone) {
  const DNumber a(-number(kWide), QNumber(-1));
  const DNumber b = a;
  const DNumber keeper(5, 7);
  const std::ptrdiff_t before = test::blocks_in_use();
  {
    DNumber target = keeper;
    std::size_t failures = 0;
    while (fails_at(failures, [&] { DNumber::lower(target, a, b); })) {
      ++failures;
      EXPECT_EQ(Inspector::repr(target), Inspector::repr(keeper));
      ASSERT_LT(failures, kEnough);
    }
    EXPECT_GT(failures, 0U);
    EXPECT_TRUE(target < keeper);
  }
  EXPECT_EQ(test::blocks_in_use(), before);
}

}  // namespace
}  // namespace vorn
