// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_BOUND_PROPAGATION_H
#define VORN_SOLVER_ENGINE_BOUND_PROPAGATION_H

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>
#include <vector>

#include "solver/search/statistics.h"
#include "vorn/dl/closure.h"
#include "vorn/dl/edge.h"

namespace vorn::solver {

/// Whether literals that the active constraints imply are found and assigned.
enum class Propagation : int {
  /// As far as it pays.
  kAuto,
  /// All that the closure finds.
  kFull,
  kOff,
};

/// The names of the values, in their order.
constexpr std::string_view kPropagationNames[] = {"auto", "full", "off"};
constexpr std::string_view propagation_name(Propagation mode) {
  return kPropagationNames[static_cast<int>(mode)];
}

/// Settings of a BoundPropagation.
struct PropagationOptions {
  /// How much to find.
  Propagation mode = Propagation::kAuto;
  /// Memory and effort of the closure.
  dl::Closure::Limits limits;
};

/// Finds the constraints that the ones on a search's trail imply, with a
/// dl::Closure, and watches what that brings.
///
/// The closure may lag behind the trail: constraints wait here until it pays to
/// hand them over. Those that wait are always the latest, so taking back needs
/// no more than to count. One call hands over a limited amount, in every mode,
/// so that a search can be stopped in between. In automatic mode credit, from
/// push to push, and trials, from time to time, say whether it pays: "When it
/// pays" in docs/solving.md has both.
///
/// Ownership: none borrowed. Threads: none.
class BoundPropagation {
 public:
  /// What was done since construction.
  struct Counters {
    /// Trials that propagation has won, and lost.
    std::uint64_t trials_won = 0;
    /// As above.
    std::uint64_t trials_lost = 0;
    /// Times that the credit was used up.
    std::uint64_t pauses = 0;
  };

  /// Nothing is announced.
  explicit BoundPropagation(const PropagationOptions& options)
      : options_(options),
        closure_(std::make_unique<dl::Closure>(options.limits)) {}

  /// Whether it may ever find anything.
  bool is_on() const { return options_.mode != Propagation::kOff; }

  /// Announces a constraint. The closure learns of it when it is first needed.
  void tell(int id) {
    if (!is_on()) return;
    untold_.push_back(id);
    ++num_new_;
  }
  /// Forgets the constraint announced last. Whether another may get its number.
  /// Requires: it is not pushed.
  bool retract(int id);
  /// Forgets all constraints, and the nodes between them. Requires: none is
  /// pushed.
  void retract_all();

  /// Whether the constraint is known to follow. Cost: O(1).
  bool is_known(int id) const {
    return id < num_told_ && closure_->is_known(id);
  }

  /// Appends a constraint to those that wait. Requires: it is not known.
  void push(int id) {
    if (is_on()) trail_.push_back(id);
  }
  /// Takes the last one back.
  void pop() {
    if (!is_on()) return;
    trail_.pop_back();
    if (num_fed_ <= trail_.size()) return;
    closure_->pop_edge();
    --num_fed_;
  }

  /// A check begins: the next conflicts are the first of a trial.
  void start_check(const SearchStatistics& search);

  /// Hands over what waits, as far as it pays, and appends the constraints that
  /// have come to follow. `edge_of(id)` is a constraint's edge.
  /// Requires: what was pushed is consistent.
  template <class EdgeOf>
  void run(const SearchStatistics& search, const EdgeOf& edge_of,
           std::vector<int>& consequences) {
    if (!start(search, edge_of)) return;
    [[maybe_unused]] const bool consistent = feed();
    assert(consistent);
    int id = 0;
    while (closure_->next_consequence(&id)) consequences.push_back(id);
  }
  /// Hands over what waits, as far as it pays, up to the first constraint that
  /// closes a negative cycle. Calls `visit` with that cycle, in its order, and
  /// with those that others behind it close, as far as a few of them show. They
  /// prefer older constraints to the shortest cycle, so that the search learns
  /// more (docs/solving.md). Requires: what was pushed is inconsistent.
  template <class EdgeOf, class Visit>
  void find_cycles(const SearchStatistics& search, const EdgeOf& edge_of,
                   const Visit& visit) {
    if (!start(search, edge_of) || feed()) return;
    const std::size_t end = std::min(trail_.size(), num_fed_ + kMostRefused);
    const std::uint64_t last_step =
        closure_->counters().steps + kStepsForCycles;
    for (std::size_t place = num_fed_;
         place < end && closure_->counters().steps < last_step; ++place) {
      if (closure_->push_edge(trail_[place])) {
        closure_->pop_edge();
        continue;
      }
      cycle_.clear();
      closure_->get_cycle(trail_[place], &cycle_);
      visit(cycle_);
    }
  }
  /// As Closure::get_path. Requires: the constraint is known.
  void explain(int id, std::vector<int>* path) const {
    closure_->get_path(id, path);
  }

  /// What finds consequences, to look at.
  const dl::Closure& closure() const { return *closure_; }
  /// What closures have done since construction, this one's included.
  dl::Closure::Counters closure_counters() const;
  /// What was done so far.
  const Counters& counters() const { return counters_; }

 private:
  /// Parts of a trial, and what follows it.
  enum class Stage {
    kWith,     // the first part, with propagation
    kWithout,  // the second part, without
    kWon,      // propagation until the next trial
    kLost,     // none until the next trial
  };

  // Constraints looked at for cycles, and the steps after which no more are.
  static constexpr std::size_t kMostRefused = 20;
  static constexpr std::uint64_t kStepsForCycles = 200'000;
  // Constraints told in one call, so that it does not hold the search up for
  // long.
  static constexpr std::size_t kTold = 20'000;

  // Whether there is something to hand over that may pay; then all that was
  // announced has been told.
  template <class EdgeOf>
  bool start(const SearchStatistics& search, const EdgeOf& edge_of) {
    if (num_fed_ == trail_.size() || !wants_to_run(search)) return false;
    for (std::size_t n = 0; n < kTold && !untold_.empty(); ++n) {
      const int id = untold_.front();
      closure_->tell_edge(id, edge_of(id));
      num_told_ = id + 1;
      untold_.pop_front();
    }
    return untold_.empty();
  }
  bool wants_to_run(const SearchStatistics& search);
  bool feed();
  void watch(const SearchStatistics& search);
  void enter(Stage stage, std::uint64_t conflicts,
             const SearchStatistics& search);
  void end_trial(bool won, const SearchStatistics& search);

  PropagationOptions options_;
  std::unique_ptr<dl::Closure> closure_;
  /// What the closures before it have done.
  dl::Closure::Counters past_;
  /// Announced constraints that the closure has not been told of, ascending.
  std::deque<int> untold_;
  /// Above all numbers that the closure was told.
  int num_told_ = 0;
  /// Pushed constraints, the first num_fed_ of which the closure has.
  std::vector<int> trail_;
  std::size_t num_fed_ = 0;
  /// Scratch space.
  std::vector<int> cycle_;

  // Credit, in steps of the closure.
  std::int64_t credit_ = 0;
  /// Constraints announced since the last check began, if there was one.
  std::int64_t num_new_ = 0;
  bool was_checked_ = false;
  std::uint64_t paid_steps_ = 0;
  std::uint64_t paid_propagations_ = 0;
  std::uint64_t paid_implied_ = 0;
  bool pausing_ = false;

  // Trials.
  Stage stage_ = Stage::kWith;
  /// The search's counters when the stage began.
  SearchStatistics start_;
  /// Conflicts of the search at which the stage ends.
  std::uint64_t stage_end_ = 0;
  /// Conflicts between this trial and the next.
  std::uint64_t distance_ = 0;

  Counters counters_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_BOUND_PROPAGATION_H
