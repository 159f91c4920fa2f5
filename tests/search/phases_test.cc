// SPDX-License-Identifier: MIT
#include "solver/search/phases.h"

#include <gtest/gtest.h>

namespace vorn::solver {
namespace {

// Later decisions repeat what propagation found only if it was saved.
TEST(PhasesTest, SaveChangesSaved) {
  Phases phases;
  phases.new_variable();
  EXPECT_FALSE(phases.saved(0));

  phases.save(Literal(0, false));

  EXPECT_TRUE(phases.saved(0));
}

// A smaller assignment must not replace a larger one as the target.
TEST(PhasesTest, TargetIsLargestAssignment) {
  Phases phases;
  for (int i = 0; i < 3; ++i) phases.new_variable();

  phases.record_assignment({Literal(0, false), Literal(1, false)}, 0, 2);
  phases.record_assignment({Literal(0, true), Literal(2, false)}, 0, 1);

  EXPECT_TRUE(phases.target(0));
  EXPECT_TRUE(phases.target(1));
  EXPECT_FALSE(phases.target(2)) << "no target: the saved phase";
}

// The round of rephasings: to the target, to all false.
TEST(PhasesTest, RephaseTakesTargetThenFalse) {
  Phases phases;
  for (int i = 0; i < 2; ++i) phases.new_variable();
  Random random(1);
  phases.record_assignment({Literal(1, false)}, 0, 1);

  phases.rephase(random);
  EXPECT_FALSE(phases.saved(0));
  EXPECT_TRUE(phases.saved(1));

  phases.record_assignment({Literal(0, false)}, 0, 1);
  phases.rephase(random);
  EXPECT_FALSE(phases.saved(1));
  EXPECT_FALSE(phases.target(0)) << "rephasing drops the target";
}

}  // namespace
}  // namespace vorn::solver
