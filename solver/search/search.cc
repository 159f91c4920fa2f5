// SPDX-License-Identifier: MIT
// The main loop: propagate; learn from a conflict; else restart, reduce or
// decide; done when nothing is left to decide.
//
// Assumptions are the first decisions. A conflict may take them back; they are
// then made again, and one that has become false ends the search. Those that
// the next solve makes, too, may stay until then.
#include "solver/search/search.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace vorn::solver {

namespace {

// For so many conflicts, the first of all, the theory is asked for values
// first. With times of tasks it builds a first schedule, which finds models
// early; later, what was learnt knows better.
constexpr std::uint64_t kAdvisedConflicts = 100;

// Conflicts after which the theory is asked for phases again.
constexpr std::uint64_t kImprovementInterval = 10;

}  // namespace

Search::Search(Theory* theory, const SearchOptions& options)
    : theory_(theory),
      options_(options),
      next_reduction_(options.reduce_interval),
      heap_(options.variable_decay),
      restarts_(options),
      random_(options.seed),
      next_rephase_(options.rephase_interval),
      level_stamps_(1, 0) {}

Search::Result Search::solve(const std::vector<Literal>& assumptions,
                             std::size_t num_kept) {
  assert(static_cast<std::size_t>(level()) <= assumptions_.size());
  num_model_variables_ = 0;
  failed_.clear();
  if (!consistent_) return Result::kUnsat;
  const auto made = assumptions_.begin() + level();
  const auto differs = std::mismatch(assumptions_.begin(), made,
                                     assumptions.begin(), assumptions.end());
  backtrack(static_cast<int>(differs.first - assumptions_.begin()));
  assumptions_ = assumptions;
  last_conflict_ = std::numeric_limits<std::uint64_t>::max();
  if (conflict_limit_ < last_conflict_ - statistics_.conflicts &&
      conflict_limit_ > 0) {
    last_conflict_ = statistics_.conflicts + conflict_limit_;
  }
  last_advised_conflict_ =
      std::max(kAdvisedConflicts, statistics_.conflicts + num_advised_);
  const Result result = do_solve();
  if (result != Result::kUnsat) save_model();
  if (result == Result::kUnknown) save_unassigned();
  if (result == Result::kUnknown && theory_ != nullptr) theory_->stopped();
  backtrack(consistent_
                ? static_cast<int>(std::min(num_kept, assumptions_.size()))
                : 0);
  assumptions_.resize(static_cast<std::size_t>(level()));
  // At level 0 nothing has a reason.
  if (level() == 0 || explanations_.num_words() > kMinExplanationsLimit) {
    collect_explanations();
  }
  return result;
}

std::optional<std::size_t> Search::look_ahead(
    const std::vector<Literal>& assumptions) {
  looks_ahead_ = true;
  num_implied_.reset();
  solve(assumptions);
  looks_ahead_ = false;
  num_model_variables_ = 0;
  return num_implied_;
}

Search::Result Search::do_solve() {
  for (;;) {
    if (is_stopped()) return Result::kUnknown;
    const Fixpoint fixpoint = propagate();
    if (fixpoint != Fixpoint::kReached) {
      if (!resolve_conflict(fixpoint == Fixpoint::kTheoryConflict)) {
        return Result::kUnsat;
      }
      continue;
    }
    if (level() == 0) {
      note_units();
      if (wants_simplification()) {
        mark_satisfied();
        drop_deleted();
      }
    }
    if (port_ != nullptr && statistics_.conflicts >= next_exchange_) {
      const std::size_t before = trail_.size();
      if (!exchange_clauses()) return Result::kUnsat;
      if (clause_head_ < trail_.size() || trail_.size() < before) continue;
    }
    if (restarts_.wants_restart()) restart();
    if (statistics_.conflicts >= next_improvement_) improve_phases();
    if (statistics_.conflicts >= next_reduction_) reduce_clauses();
    if (explanations_.num_words() > explanations_limit_) {
      collect_explanations();
    }

    bool failed = false;
    Literal next = pick_assumption(failed);
    if (failed) return Result::kUnsat;
    if (!next.is_defined()) {
      if (looks_ahead_) {
        num_implied_ = trail_.size();
        return Result::kUnknown;
      }
      next = pick_decision();
    }
    if (next.is_defined()) {
      ++statistics_.decisions;
      open_level();
      assign(next, kNoReason);
      continue;
    }
    if (theory_ == nullptr) return Result::kSat;
    conflict_.clear();
    conflict_ref_ = kNoReason;
    if (theory_->final_check(conflict_)) return Result::kSat;
    note_theory_conflict();
    if (!resolve_conflict(true)) return Result::kUnsat;
  }
}

/// The next assumption without a value, or undefined if all are true. Opens an
/// empty level for each true one, so that level i + 1 is assumption i's. If
/// there is a false one, fills failed_ and sets `failed`.
Literal Search::pick_assumption(bool& failed) {
  while (level() < static_cast<int>(assumptions_.size())) {
    const Literal assumption = assumptions_[level_starts_.size()];
    switch (value(assumption)) {
      case Value::kUnassigned:
        return assumption;
      case Value::kTrue:
        open_level();
        break;
      case Value::kFalse:
        analyze_assumption(assumption);
        failed = true;
        return Literal();
    }
  }
  return Literal();
}

/// The literal to decide on, or undefined if all is decided.
Literal Search::pick_decision() {
  int variable = 0;
  do {
    if (heap_.is_empty()) return Literal();
    variable = heap_.pop();
  } while (!is_open(variable));
  if (theory_ != nullptr && statistics_.conflicts < last_advised_conflict_) {
    const std::optional<bool> advice = theory_->advise(variable);
    if (advice) return Literal(variable, !*advice);
  }
  const bool phase = restarts_.is_stable() ? phases_.target(variable)
                                           : phases_.saved(variable);
  return Literal(variable, !phase);
}

void Search::restart() {
  ++statistics_.restarts;
  restarts_.record_restart();
  if (statistics_.conflicts >= next_rephase_) {
    ++num_rephases_;
    next_rephase_ =
        statistics_.conflicts + options_.rephase_interval * (num_rephases_ + 1);
    backtrack(std::min(level(), static_cast<int>(assumptions_.size())));
    phases_.rephase(random_);
    return;
  }
  backtrack(reusable_level());
}

/// Takes over phases from the theory if it wants that, with the assumptions
/// made and nothing decided.
void Search::improve_phases() {
  const int num_assumptions = static_cast<int>(assumptions_.size());
  if (level() < num_assumptions) return;
  next_improvement_ = statistics_.conflicts + kImprovementInterval;
  if (theory_ == nullptr || !theory_->wants_phases()) return;
  backtrack(num_assumptions);
  std::vector<char> phases = phases_.saved();
  theory_->improve_phases(phases);
  phases_.replace(phases);
}

/// The level up to which a restart would make the same decisions again: those
/// on assumptions and on variables that come before the most active free one.
int Search::reusable_level() {
  while (!heap_.is_empty() && !is_open(heap_.top())) heap_.pop();
  int result = std::min(level(), static_cast<int>(assumptions_.size()));
  if (heap_.is_empty()) return level();
  const int next = heap_.top();
  while (result < level()) {
    const std::size_t start = level_starts_[static_cast<std::size_t>(result)];
    if (!heap_.is_before(trail_[start].variable(), next)) break;
    ++result;
  }
  return result;
}

/// Cost: linear in the literals of the trail that are not of the last model.
void Search::save_model() {
  model_.resize(variables_.size());
  num_model_variables_ = variables_.size();
  for (; num_saved_ < trail_.size(); ++num_saved_) {
    const Literal literal = trail_[num_saved_];
    model_[static_cast<std::size_t>(literal.variable())] =
        value(Literal(literal.variable(), false));
  }
}

/// Of variables without a value, the one that would have been tried first.
void Search::save_unassigned() {
  for (int variable = 0; variable < num_variables(); ++variable) {
    if (value(Literal(variable, false)) != Value::kUnassigned) continue;
    model_[static_cast<std::size_t>(variable)] =
        phases_.saved(variable) ? Value::kTrue : Value::kFalse;
  }
}

}  // namespace vorn::solver
