// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_LEMMA_TRIALS_H
#define VORN_SOLVER_ENGINE_LEMMA_TRIALS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "solver/search/statistics.h"

namespace vorn::solver {

/// Says when learning lemmas pays, by trials.
///
/// A check begins with a look at the first conflicts of the graph, and then
/// tries lemmas at once or later. A trial is judged by what its lemmas did:
/// "When they start" in docs/lemmas.md says how.
///
/// Cost: in a look, sorting the conflict; else O(1) for a conflict.
/// Threads: none.
class LemmaTrials {
 public:
  /// Conflicts are alike if they share at least this part of the larger one.
  explicit LemmaTrials(float least_overlap) : least_overlap_(least_overlap) {}

  /// A check begins.
  void start_check(const SearchStatistics& search);
  /// Whether the conflict that the theory has just met, a set of constraints,
  /// is to be learnt from.
  bool wants_lemmas(const SearchStatistics& search,
                    const std::vector<int>& conflict);

  /// Trials that lemmas have won, and lost, since construction.
  std::uint64_t num_won() const { return num_won_; }
  /// As above.
  std::uint64_t num_lost() const { return num_lost_; }

 private:
  enum class Stage {
    kLook,   // none yet; are conflicts alike?
    kTrial,  // lemmas, to be judged when the stage ends
    kPause,  // none until the stage ends
  };

  bool resembles_previous(const std::vector<int>& conflict);
  bool has_paid(const SearchStatistics& search) const;
  void enter(Stage stage, std::uint64_t conflicts,
             const SearchStatistics& search);

  float least_overlap_;
  Stage stage_ = Stage::kLook;
  /// Conflicts of the search at which the stage ends.
  std::uint64_t stage_end_ = 0;
  /// The search when it began.
  SearchStatistics start_;
  /// Length of the latest trial, in conflicts.
  std::uint64_t trial_ = 0;

  // The look: conflicts seen, those alike, and the latest one, sorted.
  std::uint64_t num_seen_ = 0;
  std::uint64_t num_alike_ = 0;
  std::vector<int> previous_;
  std::vector<int> current_;
  std::vector<int> common_;

  std::uint64_t num_won_ = 0;
  std::uint64_t num_lost_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_LEMMA_TRIALS_H
