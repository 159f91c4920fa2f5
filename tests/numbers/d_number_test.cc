// SPDX-License-Identifier: MIT
#include "vorn/numbers/d_number.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/blocks_in_use.h"
#include "tests/numbers/reference.h"

// Storage of DNumber: shares, the shared zero, addition, tags, texts.

namespace vorn::la {
namespace {

using test::big;
using test::holds;
using test::huge;
using test::kMax;
using test::small;

using Block = DNumber::num_repr;

static_assert(sizeof(DNumber) == sizeof(std::uintptr_t));
static_assert(std::is_standard_layout_v<DNumber>);
static_assert(
    std::is_same_v<decltype(Inspector::repr(std::declval<DNumber&>())),
                   std::uintptr_t&>);
static_assert(alignof(Block) % 8 == 0);
static_assert(std::is_standard_layout_v<Block>);
static_assert(std::is_same_v<decltype(Block::rational), QNumber>);
static_assert(std::is_same_v<decltype(Block::eps), QNumber>);
static_assert(std::is_same_v<decltype(Block::refcount), std::int32_t>);
static_assert(offsetof(Block, rational) == 0);
static_assert(offsetof(Block, eps) == sizeof(QNumber));
static_assert(offsetof(Block, refcount) == 2 * sizeof(QNumber));
static_assert(std::is_same_v<decltype(DNumber::zero), Block>);
static_assert(std::is_nothrow_default_constructible_v<DNumber>);
static_assert(std::is_nothrow_copy_constructible_v<DNumber>);
static_assert(std::is_nothrow_move_constructible_v<DNumber>);

bool is_shared_zero(const DNumber& d) {
  return Inspector::repr(d) == reinterpret_cast<std::uintptr_t>(&DNumber::zero);
}

// A copy whose making the compiler does not see. When it knows two owners of
// one block, it warns of the second release as a use after the first.
[[gnu::noinline]] DNumber share(const DNumber& d) {
  return d;
}

int count(const DNumber& d) {
  return Inspector::refcount(d);
}

::testing::AssertionResult has_parts(const DNumber& d, std::int64_t r,
                                     std::int64_t k) {
  const ::testing::AssertionResult rational = holds(d.rational(), r);
  return rational ? holds(d.eps(), k) : rational;
}

// Every test ends with a look at the one block that all numbers share.
class DNumberTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // Made on first use, and never released.
    (void)huge();
    live_ = test::blocks_in_use();
  }
  void TearDown() override {
    EXPECT_TRUE(holds(DNumber::zero.rational, 0));
    EXPECT_TRUE(holds(DNumber::zero.eps, 0));
    EXPECT_EQ(DNumber::zero.refcount, 2);
  }
  // Heap blocks in use, more than at the start of the test.
  std::ptrdiff_t more_blocks() const { return test::blocks_in_use() - live_; }

 private:
  std::ptrdiff_t live_ = 0;
};

// Tag and pointer share the word, whose place hosts rely on.
TEST_F(DNumberTest, LayoutIsOneWordHoldingTheBlocksAddress) {
  const DNumber d(3, 4);

  EXPECT_EQ(static_cast<const void*>(&d),
            static_cast<const void*>(&Inspector::repr(d)));
  EXPECT_EQ(Inspector::repr(d) & 7U, 0U);
  EXPECT_EQ(&d.rational(), &Inspector::block(d)->rational);
  EXPECT_EQ(&d.eps(), &Inspector::block(d)->eps);
}

// New potentials are zero for free; a block each would cost every node one.
TEST_F(DNumberTest, DefaultSharesZeroWithoutAllocating) {
  const DNumber a;
  const DNumber b;

  EXPECT_EQ(more_blocks(), 0);
  EXPECT_TRUE(is_shared_zero(a));
  EXPECT_TRUE(is_shared_zero(b));
  EXPECT_FALSE(a.is_tagged());
}

// An edge's own zero is an ordinary, counted block.
TEST_F(DNumberTest, ConstructFromIntsMakesBlockOfItsOwn) {
  for (const auto& [r, e] : {std::pair(0, 0), std::pair(-3, 7),
                             std::pair(std::numeric_limits<int>::max(),
                                       std::numeric_limits<int>::min())}) {
    const DNumber d(r, e);
    EXPECT_FALSE(is_shared_zero(d));
    EXPECT_TRUE(has_parts(d, r, e));
    EXPECT_FALSE(Inspector::is_big(d.rational()));
    EXPECT_FALSE(Inspector::is_big(d.eps()));
    EXPECT_EQ(count(d), 1);
    const DNumber copy = share(d);
    EXPECT_EQ(count(d), 2);
  }
}

static_assert(!std::is_constructible_v<DNumber, double, int>);
static_assert(!std::is_constructible_v<DNumber, int, float>);
static_assert(!std::is_constructible_v<DNumber, QNumber, double>);
static_assert(!std::is_constructible_v<DNumber, std::nullptr_t, int>);
static_assert(!std::is_constructible_v<Block, double, int, int>);
static_assert(std::is_constructible_v<DNumber, QNumber, long>);
// Its pool hands out blocks of one size.
static_assert(std::is_final_v<Block>);

// Weights that a host keeps in wider types than int must not be cut.
TEST_F(DNumberTest, ConstructFromEveryIntegralTypeIsExact) {
  EXPECT_TRUE(has_parts(DNumber(3000000000U, 0), 3000000000, 0));
  EXPECT_TRUE(has_parts(DNumber(0, 3000000000U), 0, 3000000000));
  EXPECT_TRUE(has_parts(DNumber(5000000000L, -1LL), 5000000000, -1));
  EXPECT_TRUE(has_parts(DNumber('a', true), 97, 1));
  EXPECT_TRUE(has_parts(DNumber(QNumber(7), -5000000000L), 7, -5000000000));
  EXPECT_TRUE(has_parts(DNumber({}, {}), 0, 0));
  const DNumber wide(std::numeric_limits<std::uint64_t>::max(),
                     std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(wide.rational().to_str(), "18446744073709551615");
  EXPECT_EQ(wide.eps().to_str(), "-9223372036854775808");
  EXPECT_EQ(count(wide), 1);
  Block* const block = Block::alloc(5000000000L, 3000000000U, 2);
  EXPECT_TRUE(holds(block->rational, 5000000000));
  EXPECT_TRUE(holds(block->eps, 3000000000));
  delete block;
}

// Code that names an operator, to pass it on, say, must find it.
TEST_F(DNumberTest, OperatorsAreFoundByName) {
  const DNumber one(1, 0);
  const DNumber two(2, -1);
  std::ostringstream out;

  EXPECT_TRUE(vorn::la::operator<(one, two));
  bool (*const less)(const DNumber&, const DNumber&) = &vorn::la::operator<;
  EXPECT_FALSE(less(two, one));
  DNumber (*const sum)(const DNumber&, const DNumber&) = &vorn::la::operator+;
  EXPECT_TRUE(has_parts(sum(one, two), 3, -1));
  vorn::la::operator<<(out, two);
  EXPECT_EQ(out.str(), "2 - eps");
}

// Hosts build weights from rationals they keep.
TEST_F(DNumberTest, ConstructFromRationalsCopiesBoth) {
  const QNumber r = big(1, 3);
  const QNumber e = small(-2, 5);
  {
    DNumber d(r, e);
    EXPECT_EQ(count(d), 1);
    EXPECT_TRUE(holds(d.rational(), 1, 3));
    EXPECT_TRUE(holds(d.eps(), -2, 5));
    d += DNumber(1, 1);
  }
  EXPECT_TRUE(holds(r, 1, 3));
  EXPECT_TRUE(holds(e, -2, 5));
}

// The factory hands its shares to the caller; a wrong count leaks or frees
// too early.
TEST_F(DNumberTest, AllocMakesSmallPartsAndGivenCount) {
  Block* block = Block::alloc<int, int>(-5, 6, 3);

  EXPECT_NE(block, &DNumber::zero);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0U);
  EXPECT_TRUE(holds(block->rational, -5));
  EXPECT_TRUE(holds(block->eps, 6));
  EXPECT_FALSE(Inspector::is_big(block->rational));
  EXPECT_FALSE(Inspector::is_big(block->eps));
  EXPECT_EQ(block->refcount, 3);
  delete block;
  EXPECT_EQ(more_blocks(), 0);
}

// Copying must be a word and a count, not a block.
TEST_F(DNumberTest, CopyConstructionTakesShare) {
  const DNumber a(1, 2);
  const std::size_t news = test::num_new();
  {
    const DNumber b = a;
    const DNumber c = b;
    EXPECT_EQ(test::num_new(), news);
    EXPECT_EQ(Inspector::repr(a), Inspector::repr(c));
    EXPECT_EQ(count(a), 3);
  }
  EXPECT_EQ(count(a), 1);
}

// The shared zero lives for ever: counting it would overflow or free it.
TEST_F(DNumberTest, CopiesOfSharedZeroAreNotCounted) {
  {
    const DNumber a;
    const DNumber b = a;  // NOLINT(performance-unnecessary-copy-initialization)
    DNumber c(1, 1);
    c = b;
    EXPECT_TRUE(is_shared_zero(b));
    EXPECT_TRUE(is_shared_zero(c));
    EXPECT_EQ(DNumber::zero.refcount, 2);
  }
  EXPECT_EQ(DNumber::zero.refcount, 2);
  EXPECT_EQ(more_blocks(), 0);
}

// Losing the last share must free the block, losing an earlier one must not.
TEST_F(DNumberTest, DestructionOfLastOwnerFreesBlock) {
  {
    const DNumber a(1, 2);
    EXPECT_EQ(more_blocks(), 1);
    { const DNumber b = a; }
    EXPECT_EQ(more_blocks(), 1);
    EXPECT_EQ(count(a), 1);
  }
  EXPECT_EQ(more_blocks(), 0);
}

// Parts go in reverse order of their making: eps, rational, block.
TEST_F(DNumberTest, DestructionFreesEpsThenRationalThenBlock) {
  std::optional<DNumber> d;
  d.emplace(big(1, 3), big(2, 3));
  const void* const block = Inspector::block(*d);
  std::vector<const void*> expected = {Inspector::big_block(d->eps()),
                                       Inspector::big_block(d->rational())};
  const std::size_t kept = Inspector::num_kept_blocks();

  test::FreeLog log;
  d.reset();
  const std::vector<const void*> freed = log.stop();

  if (Inspector::num_kept_blocks() == kept) {
    expected.push_back(block);
  } else {
    EXPECT_EQ(Inspector::num_kept_blocks(), kept + 1);
    EXPECT_EQ(Inspector::block(DNumber(1, 1)), block);
  }
  EXPECT_EQ(freed, expected);
}

// The moved share must not be counted twice nor given up.
TEST_F(DNumberTest, MoveConstructionTakesShareAndLeavesSharedZero) {
  DNumber a(1, 2);
  const DNumber keeper = share(a);

  const DNumber b = std::move(a);

  EXPECT_EQ(count(b), 2);
  EXPECT_EQ(Inspector::repr(b), Inspector::repr(keeper));
  EXPECT_TRUE(is_shared_zero(a));  // NOLINT(bugprone-use-after-move)
}

// The target's own share must be given up.
TEST_F(DNumberTest, MoveAssignmentReleasesTargetAndLeavesSharedZero) {
  DNumber a(1, 2);
  DNumber b(3, 4);
  const DNumber keeper = b;

  EXPECT_EQ(&(b = std::move(a)), &b);

  EXPECT_EQ(count(keeper), 1);
  EXPECT_TRUE(has_parts(b, 1, 2));
  EXPECT_EQ(count(b), 1);
  EXPECT_TRUE(is_shared_zero(a));  // NOLINT(bugprone-use-after-move)
}

// Self-moves happen inside algorithms; the block must survive them.
TEST_F(DNumberTest, MoveAssignmentToSelfKeepsValue) {
  DNumber a(1, 2);
  DNumber& same = a;

  a = std::move(same);

  EXPECT_TRUE(has_parts(a, 1, 2));
  EXPECT_EQ(count(a), 1);
}

// Both counts change: one block loses a share, the other gains one.
TEST_F(DNumberTest, AssignmentGivesUpOldShareAndTakesNewOne) {
  DNumber x(1, 2);
  const DNumber old = x;
  const DNumber y(3, 4);

  EXPECT_EQ(&(x = y), &x);

  EXPECT_EQ(count(old), 1);
  EXPECT_EQ(count(y), 2);
  EXPECT_EQ(Inspector::repr(x), Inspector::repr(y));
}

// The overwritten value of a sole owner has nobody else to free it.
TEST_F(DNumberTest, AssignmentOverSoleOwnerFreesItsBlock) {
  DNumber x(1, 2);
  x = DNumber::tagged(DNumber::zero);
  EXPECT_EQ(more_blocks(), 0);
  x = DNumber(5, 6);
  const DNumber zero;
  x = zero;
  EXPECT_EQ(more_blocks(), 0);
}

// Assignments within one block are common after lazy copies.
TEST_F(DNumberTest, AssignmentWithinOneBlockKeepsItsCount) {
  DNumber x(1, 2);
  const DNumber y = x;
  const DNumber& same = x;

  x = y;
  EXPECT_EQ(count(y), 2);
  x = same;
  EXPECT_EQ(count(y), 2);
  EXPECT_TRUE(has_parts(x, 1, 2));
}

// Only a sole owner's self-assignment is forbidden.
TEST_F(DNumberTest, AssignmentOfSharedZeroAndTaggedToThemselvesKeepsThem) {
  DNumber zero;
  const DNumber& same_zero = zero;
  zero = same_zero;
  EXPECT_TRUE(is_shared_zero(zero));

  const Block block(3, 0, 1);
  DNumber top = DNumber::tagged(block);
  const DNumber& same_top = top;
  top = same_top;
  EXPECT_TRUE(top.is_tagged());
  EXPECT_EQ(block.refcount, 1);
}

// A sum written into the shared zero would change every zero of the program.
TEST_F(DNumberTest, AddToDefaultMakesBlockAndLeavesSharedZero) {
  DNumber a;
  const DNumber b(3, -1);

  EXPECT_EQ(&(a += b), &a);

  EXPECT_TRUE(has_parts(a, 3, -1));
  EXPECT_EQ(count(a), 1);
  EXPECT_NE(Inspector::repr(a), Inspector::repr(b));
  EXPECT_EQ(count(b), 1);
  EXPECT_TRUE(has_parts(DNumber(), 0, 0));
}

// Zero plus zero must not fall for the temptation to stay shared.
TEST_F(DNumberTest, AddSharedZeroToItselfMakesBlock) {
  DNumber a;
  a += a;
  EXPECT_FALSE(is_shared_zero(a));
  EXPECT_TRUE(has_parts(a, 0, 0));
  EXPECT_EQ(count(a), 1);
}

// A sole owner is written in place: no allocation on the hot path.
TEST_F(DNumberTest, AddToSoleOwnerWritesInPlace) {
  DNumber a(1, 2);
  const DNumber b(10, 20);
  const std::uintptr_t word = Inspector::repr(a);
  const std::size_t news = test::num_new();

  a += b;
  a += DNumber();

  EXPECT_EQ(test::num_new(), news);
  EXPECT_EQ(Inspector::repr(a), word);
  EXPECT_TRUE(has_parts(a, 11, 22));
  EXPECT_TRUE(has_parts(b, 10, 20));
  EXPECT_EQ(count(b), 1);
}

// The other owners of a block must not see the sum.
TEST_F(DNumberTest, AddToSharedBlockMovesToNewBlock) {
  const DNumber y(1, 2);
  DNumber x = y;
  const DNumber z(10, 20);
  ASSERT_EQ(count(y), 2);

  x += z;

  EXPECT_EQ(count(y), 1);
  EXPECT_TRUE(has_parts(y, 1, 2));
  EXPECT_TRUE(has_parts(x, 11, 22));
  EXPECT_EQ(count(x), 1);
  EXPECT_EQ(more_blocks(), 3);
}

// Doubling a sole owner reads the block that it writes.
TEST_F(DNumberTest, AddSelfDoublesSoleOwnerInPlace) {
  DNumber a(3, -5);
  const std::uintptr_t word = Inspector::repr(a);

  a += a;

  EXPECT_EQ(Inspector::repr(a), word);
  EXPECT_TRUE(has_parts(a, 6, -10));
}

// Doubling a shared value must read the old block after leaving it.
TEST_F(DNumberTest, AddSelfDoublesSharedValueInNewBlock) {
  DNumber a(3, -5);
  const DNumber keeper = a;

  a += a;

  EXPECT_TRUE(has_parts(a, 6, -10));
  EXPECT_TRUE(has_parts(keeper, 3, -5));
  EXPECT_EQ(count(keeper), 1);
  EXPECT_EQ(count(a), 1);
}

// As above with the share under another name.
TEST_F(DNumberTest, AddOtherOwnerOfSameBlock) {
  DNumber a(3, -5);
  const DNumber b = a;

  a += b;

  EXPECT_TRUE(has_parts(a, 6, -10));
  EXPECT_TRUE(has_parts(b, 3, -5));
  EXPECT_EQ(count(b), 1);
}

// Parts that outgrow a word must do so separately.
TEST_F(DNumberTest, AddMovesOverflowingPartToBigForm) {
  DNumber a(small(kMax), small(1));
  a += DNumber(1, 1);
  EXPECT_TRUE(Inspector::is_big(a.rational()));
  EXPECT_FALSE(Inspector::is_big(a.eps()));
  EXPECT_TRUE(holds(a.rational(), mpq_class("9223372036854775808")));

  DNumber b;
  b += DNumber(small(1, 2), huge());
  EXPECT_TRUE(holds(b.rational(), 1, 2));
  EXPECT_TRUE(holds(b.eps(), test::to_mpq(huge())));
}

// Path lengths are sums; each needs a block of its own.
TEST_F(DNumberTest, SumMakesNewBlockEvenWithZeroOperand) {
  const DNumber zero;
  const DNumber b(1, 1);

  const DNumber left = zero + b;
  const DNumber right = b + zero;
  const DNumber none = zero + zero;

  for (const DNumber* sum : {&left, &right}) {
    EXPECT_TRUE(has_parts(*sum, 1, 1));
    EXPECT_EQ(count(*sum), 1);
    EXPECT_NE(Inspector::repr(*sum), Inspector::repr(b));
  }
  EXPECT_FALSE(is_shared_zero(none));
  EXPECT_TRUE(has_parts(none, 0, 0));
  EXPECT_EQ(count(b), 1);
}

// A sum's operands stay as they are, shares included.
TEST_F(DNumberTest, SumLeavesOperandsAlone) {
  const DNumber a(small(1, 2), small(3));
  const DNumber b(small(1, 3), small(-4));

  const DNumber sum = a + b;
  const DNumber twice = a + a;

  EXPECT_TRUE(holds(sum.rational(), 5, 6));
  EXPECT_TRUE(holds(sum.eps(), -1));
  EXPECT_TRUE(holds(twice.rational(), 1));
  EXPECT_TRUE(holds(twice.eps(), 6));
  EXPECT_TRUE(holds(a.rational(), 1, 2));
  EXPECT_TRUE(holds(b.rational(), 1, 3));
  EXPECT_EQ(count(a), 1);
  EXPECT_EQ(count(b), 1);
}

// A tagged word must keep its pointer and own no share.
TEST_F(DNumberTest, TaggedPointsAtBlockWithoutShare) {
  const Block block(3, 4, 7);
  {
    const DNumber top = DNumber::tagged(block);
    const DNumber copy = top;
    DNumber assigned(1, 1);
    assigned = copy;
    const DNumber moved = std::move(assigned);
    EXPECT_TRUE(top.is_tagged());
    EXPECT_TRUE(copy.is_tagged());
    EXPECT_TRUE(moved.is_tagged());
    EXPECT_EQ(Inspector::repr(top),
              reinterpret_cast<std::uintptr_t>(&block) | 1U);
    EXPECT_EQ(&copy.rational(), &block.rational);
    EXPECT_EQ(&copy.eps(), &block.eps);
  }
  EXPECT_EQ(block.refcount, 7);
  EXPECT_EQ(more_blocks(), 0);
}

// A tagged value absorbs whatever is added.
TEST_F(DNumberTest, AddToTaggedLeavesIt) {
  const Block block(3, 0, 1);
  const Block other_block(0, 0, 1);
  DNumber top = DNumber::tagged(block);
  const std::uintptr_t word = Inspector::repr(top);
  const DNumber b(1, 1);

  EXPECT_EQ(&(top += b), &top);
  EXPECT_EQ(Inspector::repr(top), word);
  top += DNumber::tagged(other_block);
  EXPECT_EQ(Inspector::repr(top), word);
  top += top;
  EXPECT_EQ(Inspector::repr(top), word);

  EXPECT_TRUE(holds(block.rational, 3));
  EXPECT_EQ(block.refcount, 1);
  EXPECT_EQ(count(b), 1);
}

// Adding a tagged value gives up the old block.
TEST_F(DNumberTest, AddTaggedReplacesTargetAndGivesUpItsShare) {
  const Block block(3, 0, 1);
  const DNumber top = DNumber::tagged(block);
  const DNumber keeper(1, 2);
  DNumber a = keeper;
  ASSERT_EQ(count(keeper), 2);

  EXPECT_EQ(&(a += top), &a);
  EXPECT_EQ(Inspector::repr(a), Inspector::repr(top));
  EXPECT_EQ(count(keeper), 1);

  DNumber sole(1, 2);
  sole += top;
  DNumber zero;
  zero += top;
  EXPECT_TRUE(sole.is_tagged());
  EXPECT_TRUE(zero.is_tagged());
  EXPECT_EQ(block.refcount, 1);
  EXPECT_EQ(more_blocks(), 1);
}

// The left operand wins between two tagged ones.
TEST_F(DNumberTest, SumWithTaggedIsThatWordLeftFirst) {
  const Block block(3, 0, 1);
  const Block other_block(0, 0, 1);
  const DNumber top = DNumber::tagged(block);
  const DNumber bottom = DNumber::tagged(other_block);
  const DNumber a(1, 2);

  const struct {
    DNumber sum;
    const DNumber& expected;
  } table[] = {{top + a, top},
               {a + top, top},
               {top + bottom, top},
               {bottom + top, bottom}};
  for (const auto& [sum, expected] : table) {
    EXPECT_EQ(Inspector::repr(sum), Inspector::repr(expected));
  }
  EXPECT_EQ(count(a), 1);
  EXPECT_EQ(block.refcount, 1);
  EXPECT_EQ(other_block.refcount, 1);
}

// The shared zero may serve as a tagged value's block as well.
TEST_F(DNumberTest, TaggedOverSharedZeroIsNotTheSharedZero) {
  DNumber bottom = DNumber::tagged(DNumber::zero);
  EXPECT_TRUE(bottom.is_tagged());
  bottom += DNumber(1, 1);
  EXPECT_TRUE(bottom.is_tagged());
  EXPECT_EQ(bottom.to_str(), "-inf");
}

// Dumps and lemma texts are made of these forms.
TEST_F(DNumberTest, TextFormsOfPlainValues) {
  const struct {
    DNumber value;
    const char* text;
  } table[] = {
      {DNumber(), "0"},
      {DNumber(0, 0), "0"},
      {DNumber(4, 0), "4"},
      {DNumber(-4, 0), "-4"},
      {DNumber(4, 1), "4 + eps"},
      {DNumber(4, -1), "4 - eps"},
      {DNumber(0, 3), "0 + 3*eps"},
      {DNumber(0, -3), "0 - 3*eps"},
      {DNumber(small(1, 2), small(-1)), "1/2 - eps"},
      {DNumber(small(-1, 2), small(2, 3)), "-1/2 + 2/3*eps"},
      {DNumber(small(-1, 2), small(-2, 3)), "-1/2 - 2/3*eps"},
      {DNumber(big(4), big(1)), "4 + eps"},
      {DNumber(big(4), big(-1)), "4 - eps"},
      {DNumber(big(4), big(0)), "4"},
      {DNumber(huge(), -huge()),
       "10000000000000000000000000000000000000000 - "
       "10000000000000000000000000000000000000000*"
       "eps"},
  };
  for (const auto& [value, text] : table) {
    EXPECT_EQ(value.to_str(), text);
    std::ostringstream out;
    out << "[" << value << "]";
    EXPECT_EQ(out.str(), "[" + std::string(text) + "]");
  }
}

// A tagged value has no number to show.
TEST_F(DNumberTest, TextFormsOfTaggedValues) {
  const Block top(3, 5, 1);
  const Block also_top(-3, 0, 1);
  const Block bottom(0, 5, 1);

  EXPECT_EQ(DNumber::tagged(top).to_str(), "inf");
  EXPECT_EQ(DNumber::tagged(also_top).to_str(), "inf");
  EXPECT_EQ(DNumber::tagged(bottom).to_str(), "-inf");
  std::ostringstream out;
  out << DNumber::tagged(top) << " " << DNumber::tagged(bottom);
  EXPECT_EQ(out.str(), "inf -inf");
}

}  // namespace
}  // namespace vorn::la
