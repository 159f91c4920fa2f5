// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_PHASE_SEARCH_H
#define VORN_SOLVER_ENGINE_PHASE_SEARCH_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "solver/engine/atom_table.h"
#include "solver/engine/schedule_search.h"
#include "solver/search/random.h"
#include "solver/search/search.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// Settings of a PhaseSearch.
struct PhaseSearchOptions {
  /// None before so many conflicts: easy searches end by themselves, and sets
  /// of tasks advise all at first.
  std::uint64_t first_conflict = 100;
  /// The search takes at least so many times what runs take.
  std::uint64_t share = 10;
  /// The same for runs of a ScheduleSearch, which are apart from these; 0: for
  /// each so much that a small problem's schedules are all seen.
  std::uint64_t schedule_share = 10;
  /// The seed of its random choices.
  std::uint64_t seed = 0;
};

/// When and where a LocalSearch looks for better phases, the values that the
/// decisions of a search try first.
///
/// It begins at numbers that satisfy what the search decided last, and its
/// phases are those of numbers, too; so where it leaves nothing unsatisfied,
/// the search has its model without a conflict. In all it may take a share of
/// what the search takes, and each run takes longer than the one before.
///
/// Ownership: none borrowed. Threads: none.
class PhaseSearch {
 public:
  /// What was done since construction.
  struct Counters {
    /// Local searches.
    std::uint64_t runs = 0;
    /// Of these, such that left no clause unsatisfied.
    std::uint64_t found = 0;
    /// Numbers and values changed.
    std::uint64_t moves = 0;
    /// LocalSearch::num_steps, in all.
    std::uint64_t steps = 0;
  };

  /// No run yet.
  explicit PhaseSearch(const PhaseSearchOptions& options)
      : options_(options), random_(options.seed) {}

  /// Whether to run now, when the search has taken so much, in the units of
  /// steps.
  bool is_due(const Search& search, std::uint64_t effort) const;

  /// Replaces phases, by variable. `numbers`, by node, are where to begin;
  /// nothing happens if words do not hold them. With sets of tasks it begins
  /// with the best schedule that is found for them. `effort`: as for is_due.
  void run(const AtomTable& atoms, const Search& search,
           const ScheduleSearch::Shop& shop, std::uint64_t effort,
           const std::vector<la::DNumber>& numbers, std::vector<char>& phases);
  /// Nodes and variables have other numbers from now on.
  void forget_schedule() { schedules_.forget(); }

  /// What was done so far.
  const Counters& counters() const { return counters_; }
  /// What looks for schedules.
  const ScheduleSearch& schedules() const { return schedules_; }

 private:
  // For the next run.
  std::uint64_t num_steps(const Search& search) const;
  std::uint64_t schedule_steps(std::uint64_t effort) const;

  PhaseSearchOptions options_;
  ScheduleSearch schedules_;
  Random random_;
  /// Steps that runs were allowed so far.
  std::uint64_t spent_ = 0;
  Counters counters_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_PHASE_SEARCH_H
