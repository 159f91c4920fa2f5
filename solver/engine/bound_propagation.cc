// SPDX-License-Identifier: MIT
#include "solver/engine/bound_propagation.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace vorn::solver {
namespace {

// Credit, in steps of the closure: with all that comes of it, one takes some
// eighty instructions of the matrix and forty of a search for paths, and a
// propagation of the search and the graph takes a thousand.
constexpr std::int64_t kFirstCredit = 100'000;
// A later check has no more than this for each constraint that has come since:
// else each of many small ones would take what the first may take.
constexpr std::int64_t kCreditPerConstraint = 200;
constexpr std::int64_t kStepsPerPropagation = 4;
constexpr std::int64_t kStepsPerImplied = 500;
// What has been earned beyond this is forgotten: a phase of the search in which
// little follows is to end the work soon.
constexpr std::int64_t kLargestCredit = 20'000'000;
// A pause ends when so much has been earned, which pays for catching up.
constexpr std::int64_t kCreditAfterPause = 100'000;

// Of one call: some 20 ms. The rest waits for the next.
constexpr std::uint64_t kStepsPerCall = 3'000'000;

// Trials, in conflicts. Each part ends early where it is clear: the first one
// when constraints imply few of the literals that are propagated, the second
// one if it began with conflicts of the graph.
constexpr std::uint64_t kWithPart = 500;
constexpr std::uint64_t kEarlyWith = 100;
constexpr double kFewImplied = 0.15;
constexpr std::uint64_t kWithoutPart = 300;
constexpr std::uint64_t kEarly = 50;
constexpr double kEarlyShare = 0.9;
constexpr double kShare = 0.75;
constexpr std::uint64_t kFirstDistance = 4000;

// Of `all`, those by which a counter has grown.
double share_since(std::uint64_t then, std::uint64_t now, std::uint64_t all) {
  return static_cast<double>(now - then) / static_cast<double>(all);
}

}  // namespace

bool BoundPropagation::retract(int id) {
  if (!is_on()) return true;
  if (!untold_.empty() && untold_.back() == id) {
    untold_.pop_back();
    return true;
  }
  num_told_ = id;
  return closure_->retract_edge(id);
}

// A closure keeps its nodes and pairs, and walks them when it is built anew.
void BoundPropagation::retract_all() {
  assert(trail_.empty());
  auto next = std::make_unique<dl::Closure>(options_.limits);
  past_ = closure_counters();
  closure_ = std::move(next);
  untold_.clear();
  num_told_ = 0;
  paid_steps_ = 0;
}

dl::Closure::Counters BoundPropagation::closure_counters() const {
  dl::Closure::Counters sum = closure_->counters();
  sum.activations += past_.activations;
  sum.improvements += past_.improvements;
  sum.consequences += past_.consequences;
  sum.rebuilds += past_.rebuilds;
  sum.steps += past_.steps;
  return sum;
}

void BoundPropagation::start_check(const SearchStatistics& search) {
  distance_ = kFirstDistance;
  enter(Stage::kWith, kWithPart, search);
  std::int64_t credit = kFirstCredit;
  if (was_checked_) {
    constexpr std::int64_t kMany = kFirstCredit / kCreditPerConstraint;
    credit = kCreditPerConstraint * std::min(num_new_, kMany);
  }
  credit_ = std::max(credit_, credit);
  num_new_ = 0;
  was_checked_ = true;
  pausing_ = false;
}

bool BoundPropagation::wants_to_run(const SearchStatistics& search) {
  // At level 0 there may be nothing to decide; what is fixed there goes in
  // with the first decision.
  if (!is_on() || search.decisions == 0) return false;
  if (options_.mode == Propagation::kFull) return true;
  watch(search);
  credit_ +=
      static_cast<std::int64_t>(search.propagations - paid_propagations_) *
          kStepsPerPropagation +
      static_cast<std::int64_t>(search.theory_propagations - paid_implied_) *
          kStepsPerImplied;
  paid_propagations_ = search.propagations;
  paid_implied_ = search.theory_propagations;
  credit_ = std::min(credit_, kLargestCredit);
  if (pausing_ && credit_ >= kCreditAfterPause) pausing_ = false;
  return !pausing_ && (stage_ == Stage::kWith || stage_ == Stage::kWon);
}

// False if the next one that waits makes a negative cycle.
bool BoundPropagation::feed() {
  const bool is_free = options_.mode == Propagation::kFull;
  const std::uint64_t end = closure_->counters().steps + kStepsPerCall;
  bool consistent = true;
  while (consistent && num_fed_ < trail_.size() && (is_free || credit_ > 0) &&
         closure_->counters().steps < end) {
    consistent = closure_->push_edge(trail_[num_fed_]);
    if (consistent) ++num_fed_;
    const std::uint64_t steps = closure_->counters().steps;
    credit_ -= static_cast<std::int64_t>(steps - paid_steps_);
    paid_steps_ = steps;
  }
  if (!is_free && credit_ <= 0) {
    pausing_ = true;
    ++counters_.pauses;
  }
  return consistent;
}

void BoundPropagation::enter(Stage stage, std::uint64_t conflicts,
                             const SearchStatistics& search) {
  stage_ = stage;
  start_ = search;
  stage_end_ = search.conflicts + conflicts;
}

// Goes on to the next stage if the one under way is over.
void BoundPropagation::watch(const SearchStatistics& search) {
  const bool is_over = search.conflicts >= stage_end_;
  const std::uint64_t conflicts = search.conflicts - start_.conflicts;
  if (stage_ == Stage::kWith) {
    const bool is_clear =
        conflicts >= kEarlyWith &&
        share_since(start_.theory_propagations, search.theory_propagations,
                    search.propagations - start_.propagations) < kFewImplied;
    if (is_clear || is_over) enter(Stage::kWithout, kWithoutPart, search);
    return;
  }
  if (stage_ != Stage::kWithout) {
    if (is_over) enter(Stage::kWith, kWithPart, search);
    return;
  }
  if (conflicts < kEarly) return;
  const double share =
      share_since(start_.theory_conflicts, search.theory_conflicts, conflicts);
  const bool is_clear = conflicts == kEarly && share >= kEarlyShare;
  if (is_clear || is_over) end_trial(share >= kShare, search);
}

void BoundPropagation::end_trial(bool won, const SearchStatistics& search) {
  ++(won ? counters_.trials_won : counters_.trials_lost);
  enter(won ? Stage::kWon : Stage::kLost, distance_, search);
  distance_ *= 2;
}

}  // namespace vorn::solver
