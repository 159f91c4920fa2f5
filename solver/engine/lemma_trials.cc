// SPDX-License-Identifier: MIT
#include "solver/engine/lemma_trials.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace vorn::solver {
namespace {

// The look: so many conflicts of the graph, of which so many must be alike.
constexpr std::uint64_t kLook = 40;
constexpr std::uint64_t kAlike = 37;
// Conflicts of the search from a look that showed little to the first trial.
constexpr std::uint64_t kFirstPause = 4000;
// Trials, in conflicts of the search.
constexpr std::uint64_t kFirstTrial = 500;
constexpr std::uint64_t kAfterWon = 2000;
// Between a lost trial and the next, in lengths of the trial.
constexpr std::uint64_t kPause = 8;
// The least share of lemmas in what is used.
constexpr double kShare = 0.12;
// Or how many times as often a lemma is used as a learnt clause.
constexpr double kRatio = 1.5;

}  // namespace

void LemmaTrials::start_check(const SearchStatistics& search) {
  num_seen_ = 0;
  num_alike_ = 0;
  previous_.clear();
  trial_ = kFirstTrial;
  enter(Stage::kLook, 0, search);
}

bool LemmaTrials::wants_lemmas(const SearchStatistics& search,
                               const std::vector<int>& conflict) {
  if (stage_ == Stage::kLook) {
    if (resembles_previous(conflict)) ++num_alike_;
    if (num_alike_ >= kAlike) {
      enter(Stage::kTrial, trial_, search);
    } else if (++num_seen_ >= kLook) {
      enter(Stage::kPause, kFirstPause, search);
    }
    return stage_ == Stage::kTrial;
  }
  if (search.conflicts < stage_end_) return stage_ == Stage::kTrial;
  if (stage_ == Stage::kPause) {
    enter(Stage::kTrial, trial_, search);
  } else if (has_paid(search)) {
    ++num_won_;
    enter(Stage::kTrial, kAfterWon, search);
  } else {
    ++num_lost_;
    enter(Stage::kPause, kPause * trial_, search);
    trial_ *= 2;
  }
  return stage_ == Stage::kTrial;
}

bool LemmaTrials::resembles_previous(const std::vector<int>& conflict) {
  current_ = conflict;
  std::sort(current_.begin(), current_.end());
  common_.clear();
  std::set_intersection(current_.begin(), current_.end(), previous_.begin(),
                        previous_.end(), std::back_inserter(common_));
  const std::size_t larger = std::max(current_.size(), previous_.size());
  current_.swap(previous_);
  return static_cast<float>(common_.size()) >=
         least_overlap_ * static_cast<float>(larger);
}

bool LemmaTrials::has_paid(const SearchStatistics& search) const {
  const auto since = [](std::uint64_t now, std::uint64_t then) {
    return static_cast<double>(now - then);
  };
  const double uses = since(search.learnt_uses, start_.learnt_uses);
  const double of_lemmas = since(search.lemma_uses, start_.lemma_uses);
  const double lemmas = since(search.lemmas, start_.lemmas);
  const double clauses = since(search.learnt_clauses, start_.learnt_clauses);
  return of_lemmas >= kShare * uses ||
         of_lemmas * clauses >= kRatio * (uses - of_lemmas) * lemmas;
}

void LemmaTrials::enter(Stage stage, std::uint64_t conflicts,
                        const SearchStatistics& search) {
  stage_ = stage;
  stage_end_ = search.conflicts + conflicts;
  start_ = search;
}

}  // namespace vorn::solver
