// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_RANDOM_H
#define VORN_SOLVER_SEARCH_RANDOM_H

#include <cassert>
#include <cstdint>

namespace vorn::solver {

/// Small repeatable source of random numbers: one 64-bit counter in steps of
/// an odd constant, scrambled on output. Every seed, 0 too, is good. The same
/// seed gives the same numbers on every platform, unlike the distributions of
/// the standard library.
class Random {
 public:
  /// Starts the sequence of this seed.
  explicit Random(std::uint64_t seed) : state_(seed) {}

  /// The next number, evenly over all 64-bit ones.
  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
  }

  /// Below `bound`, nearly evenly. Requires: bound > 0.
  int below(int bound) {
    assert(bound > 0);
    return static_cast<int>(next() % static_cast<std::uint64_t>(bound));
  }

  /// In [0, 1).
  double fraction() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

 private:
  std::uint64_t state_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_RANDOM_H
