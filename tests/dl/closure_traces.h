// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_DL_CLOSURE_TRACES_H
#define VORN_TESTS_DL_CLOSURE_TRACES_H

#include <cstddef>

#include "tests/dl/closure_oracle.h"
#include "tests/dl/exact.h"

// Random sequences of calls for a closure.

namespace vorn::dl_test {

/// Which of its ways a closure has to go.
enum class ClosureWay {
  kMatrix,
  kPaths,
  /// A matrix with so little memory that it is outgrown under way.
  kOutgrown,
  /// Searches that end long before they are complete.
  kFewSteps,
};

/// The choices of one trace. The same seed makes the same trace, as long as the
/// closure knows the same.
class RandomClosureTrace {
 public:
  RandomClosureTrace(unsigned seed, ClosureWay way);

  const ClosureUnderTest::Setting& setting() const { return setting_; }
  /// A call that keeps the closure's contract.
  ClosureOp next(const ClosureUnderTest& t);
  /// For a host's own choices.
  Random& random() { return random_; }

 private:
  /// From few bits to many, Weights of the same name among them.
  enum class Kind {
    kSmallIntegers,
    kFractions,
    kStrict,
    kPower,
    kMachineWord,
    kBig,
  };

  /// Half of the constraints are there to be pushed, the others to follow.
  static bool is_fact(int k) { return k % 2 == 0; }

  ClosureOp tell(const ClosureUnderTest& t);
  ExactEdge around_told(const ClosureUnderTest& t);
  ClosureOp push(const ClosureUnderTest& t);
  Exact weight(bool active);
  Exact weight_near(const Exact& sum);

  Random random_;
  ClosureUnderTest::Setting setting_;
  int num_constraints_;
  /// Weights are of this kind or of the one that the trace began with.
  Kind first_kind_;
  Kind kind_;
  /// Of the kind kPower are small multiples of 2^shift_, and what is near them:
  /// their sums just fit the words of a closure, or just do not.
  unsigned shift_;
  /// One in so many weights that are told while constraints are active brings a
  /// larger kind; 0 for never.
  int growth_;
  int one_pop_in_;
  /// So that the same distances fall again and again.
  bool loosest_first_ = false;
  /// Nodes that may be named so far: the others come while constraints are
  /// active.
  int num_nodes_ = 2;
  /// The constraint told last.
  int latest_ = 0;
  /// Pops that were decided on.
  std::size_t pops_ = 0;
};

}  // namespace vorn::dl_test

#endif  // VORN_TESTS_DL_CLOSURE_TRACES_H
