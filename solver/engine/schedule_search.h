// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_SCHEDULE_SEARCH_H
#define VORN_SOLVER_ENGINE_SCHEDULE_SEARCH_H

#include <cstdint>
#include <optional>
#include <vector>

#include "solver/engine/atom_table.h"
#include "solver/scheduling/separation.h"
#include "solver/search/literal.h"
#include "solver/search/random.h"
#include "solver/search/search.h"
#include "vorn/dl/closure_scale.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// Looks with an OrderSearch for a schedule of a problem's sets of tasks, as
/// far as what the search has assigned says when tasks may start and which come
/// first. Each run begins where the best so far has ended.
///
/// Where a task is on two machines at once, as in open shops, it does nothing:
/// what it finds there helps the search less than numbers do (docs/solving.md).
///
/// What it leaves out: bounds that keep nodes close to each other, gaps that
/// depend on the next task, and all else that clauses say.
///
/// Ownership: none borrowed. Threads: none.
class ScheduleSearch {
 public:
  /// What was done since construction.
  struct Counters {
    /// Runs.
    std::uint64_t runs = 0;
    /// Of these, such that met all deadlines.
    std::uint64_t found = 0;
    /// OrderSearch::num_moves, in all.
    std::uint64_t moves = 0;
    /// OrderSearch::num_steps, in all.
    std::uint64_t steps = 0;
  };
  /// What there is to order.
  struct Shop {
    /// Null for nothing.
    const std::vector<Machine>* machines = nullptr;
    /// The node that times are counted from.
    int origin = 0;
    /// A bound that schedules are to come close to, beside those that hold.
    std::optional<dl::Edge> aim;
  };

  /// Takes about so many steps (OrderSearch). False if no schedule of all was
  /// found, whether in time or not. Requires: the scale covers sums of the
  /// weights of all constraints, of the aim and of numbers().
  bool run(const AtomTable& atoms, const Search& search, const Shop& shop,
           const dl::closure::Scale& scale, std::uint64_t steps,
           Random& random);
  /// After run returned true: when each node is, in words of the scale.
  const std::vector<std::int64_t>& starts() const { return starts_; }
  /// The same: what says which tasks are there, where it had no value.
  const std::vector<Literal>& presences() const { return presences_; }
  /// The same: whether all deadlines are met.
  bool is_in_time() const { return is_in_time_; }

  /// What the next run's scale has to cover beside the weights.
  const std::vector<la::DNumber>& numbers() const { return numbers_; }
  /// Nodes and variables have other numbers from now on.
  void forget();

  /// What was done so far.
  const Counters& counters() const { return counters_; }

 private:
  std::vector<std::int64_t> starts_;
  std::vector<Literal> presences_;
  /// Where the last run ended: when each node was, and which tasks were there.
  std::vector<la::DNumber> numbers_;
  std::vector<Literal> last_presences_;
  bool is_in_time_ = false;
  Counters counters_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_SCHEDULE_SEARCH_H
