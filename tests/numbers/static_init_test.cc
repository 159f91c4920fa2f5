// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>

#include "tests/inspector.h"
#include "tests/numbers/reference.h"
#include "vorn/numbers/d_number.h"

// Numbers that are made before main, ahead of every other static object: hosts
// keep bounds in namespace-scope tables.

namespace vorn {
namespace {

// The lowest priority that programs may use: runs before all constructors of
// static objects without one.
#define VORN_TEST_EARLY __attribute__((init_priority(101)))

// What the shared zero's count was when the first constructor ran.
struct EarlyCount {
  std::int32_t value = la::DNumber::zero.refcount;
};
VORN_TEST_EARLY const EarlyCount early_count;

la::DNumber early_addition() {
  la::DNumber result;
  result += la::DNumber(4, -1);
  return result;
}
VORN_TEST_EARLY const la::DNumber early_sum = early_addition();
VORN_TEST_EARLY const la::DNumber early_zero;

// Without constant initialisation an early sum would be written into the
// shared zero, and every zero of the program would change.
TEST(DNumberStaticInitTest, SharedZeroIsReadyBeforeEveryConstructor) {
  EXPECT_EQ(early_count.value, 2);
  EXPECT_NE(Inspector::block(early_sum), &la::DNumber::zero);
  EXPECT_TRUE(test::holds(early_sum.rational(), 4));
  EXPECT_TRUE(test::holds(early_sum.eps(), -1));
  EXPECT_EQ(Inspector::refcount(early_sum), 1);
  EXPECT_EQ(Inspector::block(early_zero), &la::DNumber::zero);
}

// The zero that early code saw must still be the zero of today.
TEST(DNumberStaticInitTest, SharedZeroIsStillZero) {
  EXPECT_TRUE(test::holds(la::DNumber::zero.rational, 0));
  EXPECT_TRUE(test::holds(la::DNumber::zero.eps, 0));
  EXPECT_EQ(la::DNumber::zero.refcount, 2);
}

}  // namespace
}  // namespace vorn
