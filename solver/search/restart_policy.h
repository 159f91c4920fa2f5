// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_RESTART_POLICY_H
#define VORN_SOLVER_SEARCH_RESTART_POLICY_H

#include <cstdint>

#include "solver/search/options.h"

namespace vorn::solver {

/// The element of the Luby sequence 1, 1, 2, 1, 1, 2, 4, 1, ... at `index`,
/// counted from 1. Requires: index >= 1. Cost: O(log index).
std::uint64_t luby(std::uint64_t index);

/// Exponential moving average. The first samples weigh as in a plain average,
/// so that the start value does not bias it.
class MovingAverage {
 public:
  /// `weight` of a new sample in the long run, in (0, 1].
  explicit MovingAverage(double weight) : final_weight_(weight) {}

  /// Takes in a sample.
  void add(double sample) {
    average_ += weight_ * (sample - average_);
    if (weight_ > final_weight_) {
      ++count_;
      weight_ = 1.0 / static_cast<double>(count_ + 1);
      if (weight_ < final_weight_) weight_ = final_weight_;
    }
  }
  /// The average; 0 without samples.
  double value() const { return average_; }

 private:
  double final_weight_;
  double average_ = 0.0;
  double weight_ = 1.0;  // of the next sample
  std::uint64_t count_ = 0;
};

/// Decides when the search gives up its decisions and starts again from the
/// assumptions.
///
/// Stretches of two kinds take turns and grow quadratically. Stable means: few
/// restarts, by the Luby sequence. In the others, which begin, restarts are
/// frequent and follow the glue: a search whose recent clauses span more levels
/// than usual is likely in a bad place.
class RestartPolicy {
 public:
  /// Reads the restart settings, once.
  explicit RestartPolicy(const SearchOptions& options);

  /// Notes a conflict whose learnt clause has this glue.
  void record_conflict(int glue);
  /// Whether the search should restart now.
  bool wants_restart() const;
  /// Notes that the search restarted; may switch between stable and not.
  void record_restart();
  /// Whether restarts are few at present.
  bool is_stable() const { return stable_; }

 private:
  // Of about the last thirty and the last ten thousand conflicts.
  MovingAverage fast_glue_{1.0 / 32};
  MovingAverage slow_glue_{1.0 / 8192};

  std::uint64_t unit_;
  std::uint64_t alternation_unit_;
  bool stable_ = false;
  std::uint64_t conflicts_ = 0;   // since the last restart
  std::uint64_t luby_index_ = 1;  // of the stable stretch under way
  std::uint64_t luby_limit_ = 0;  // unit_ * luby(luby_index_)
  std::uint64_t stretch_ = 1;     // number of the stretch, in pairs
  std::uint64_t stretch_conflicts_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_RESTART_POLICY_H
