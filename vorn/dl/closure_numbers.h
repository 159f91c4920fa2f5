// SPDX-License-Identifier: MIT
#ifndef VORN_DL_CLOSURE_NUMBERS_H
#define VORN_DL_CLOSURE_NUMBERS_H

#include <algorithm>
#include <cstdint>
#include <limits>

#include "vorn/dl/closure_scale.h"
#include "vorn/dl/closure_store.h"
#include "vorn/numbers/d_number.h"

// The numbers that the ways of a closure add and compare, behind one set of
// names, so that each way is written once.

namespace vorn::dl::closure {

/// Words, as a Scale makes them. No check for overflow: the scale left room.
template <class Word>
struct Words {
  using Number = Word;

  /// What it costs to try an edge in a search for paths, in steps of
  /// Closure::Counters: one is a comparison of the matrix.
  static constexpr std::size_t kSteps = 4;

  /// Above all sums, by so much that it stays so with a few sums added, and two
  /// infinities added do not overflow.
  static constexpr Word kInfinity =
      static_cast<Word>(std::numeric_limits<Word>::max() / 4 + 1);
  static Word infinity() { return kInfinity; }
  static Word zero() { return 0; }
  static Word weight(const Bound& bound) {
    return static_cast<Word>(bound.word);
  }
  static bool is_finite(Word a) { return a < kInfinity; }
  static Word sum(Word a, Word b) { return static_cast<Word>(a + b); }
  static Word difference(Word a, Word b) { return static_cast<Word>(a - b); }
  static bool sum_less(Word a, Word b, Word c) { return a + b < c; }
  /// Whether a pair has bounds not known. Cost: what it looks at is dense.
  static bool has_goal(const Store& store, int pair) {
    return store.goal_words[static_cast<std::size_t>(pair)] !=
           std::numeric_limits<std::int64_t>::min();
  }
  /// Whether a pair has bounds not known that a distance implies.
  static bool reaches_goal(Word a, const Store& store, int pair) {
    return a <= store.goal_words[static_cast<std::size_t>(pair)];
  }
  /// Whether potentials have drifted so far that sums with them may overflow.
  static bool is_far(Word a) {
    return a < std::numeric_limits<Word>::min() / 8;
  }
  static la::DNumber to_number(Word a, const Scale& scale) {
    return scale.to_number(a);
  }
};

/// Exact numbers, for sums that outgrow words.
struct Exact {
  using Number = la::DNumber;

  static constexpr std::size_t kSteps = 30;

  static la::DNumber infinity();
  static la::DNumber zero() { return {}; }
  static const la::DNumber& weight(const Bound& bound) { return bound.weight; }
  static bool is_finite(const la::DNumber& a) { return !a.is_tagged(); }
  static la::DNumber sum(const la::DNumber& a, const la::DNumber& b) {
    return a + b;
  }
  static la::DNumber difference(const la::DNumber& a, const la::DNumber& b) {
    return a + la::DNumber(-b.rational(), -b.eps());
  }
  static bool sum_less(const la::DNumber& a, const la::DNumber& b,
                       const la::DNumber& c) {
    return la::DNumber::sum_less(a, b, c);
  }
  static bool has_goal(const Store& store, int pair) {
    return store.pair(pair).goal >= 0;
  }
  static bool reaches_goal(const la::DNumber& a, const Store& store, int pair) {
    const int goal = store.pair(pair).goal;
    return goal >= 0 && !(store.bound(goal).weight < a);
  }
  static bool is_far(const la::DNumber& /*a*/) { return false; }
  static la::DNumber to_number(const la::DNumber& a, const Scale& /*scale*/) {
    return a;
  }
};

inline la::DNumber Exact::infinity() {
  // A tagged value over a block that is not zero lies above all others.
  static const la::DNumber::num_repr kBlock(1, 0, 1);
  return la::DNumber::tagged(kBlock);
}

/// The tightest bound of the pair that a distance implies.
/// Requires: it reaches the goal.
template <class Numbers>
int tightest_implied(const Store& store, const Pair& pair,
                     const typename Numbers::Number& distance) {
  return *std::lower_bound(pair.bounds.begin(), pair.bounds.end(), distance,
                           [&store](int k, const typename Numbers::Number& d) {
                             return Numbers::sum_less(
                                 Numbers::weight(store.bound(k)),
                                 Numbers::zero(), d);
                           });
}

}  // namespace vorn::dl::closure

#endif  // VORN_DL_CLOSURE_NUMBERS_H
