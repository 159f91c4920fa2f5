// SPDX-License-Identifier: MIT
// The variables: making them, their settings, and forgetting them.
#include <algorithm>
#include <cassert>

#include "solver/search/search.h"

namespace vorn::solver {

int Search::new_variable(bool theory_variable) {
  const int result = num_variables();
  assert(result < Literal::kMaxVariables);
  Variable variable;
  variable.theory = theory_variable;
  variables_.push_back(variable);
  values_.resize(2 * variables_.size(), Value::kUnassigned);
  watches_.resize(2 * variables_.size());
  marks_.push_back(Mark::kNone);
  trail_.reserve(variables_.capacity());
  phases_.new_variable();
  // Far below one bump: only breaks ties.
  heap_.new_variable(options_.seed == 0 ? 0.0 : 1e-3 * random_.fraction());
  heap_.insert(result);
  return result;
}

void Search::set_passive(int variable, bool passive) {
  variable_at(variable).passive = passive;
  if (is_open(variable)) heap_.insert(variable);
}

std::size_t Search::mark() const {
  Checkpoint now;
  now.num_variables = num_variables();
  now.num_given = given_.size();
  now.num_learnts = learnts_.size();
  now.num_fixed = num_fixed();
  now.num_lasting = trail_.size();
  if (!checkpoints_.empty() &&
      checkpoints_.back().num_variables == now.num_variables) {
    drop_checkpoint();
  }
  checkpoints_.push_back(now);
  return variables_.size();
}

/// Forgets the last one.
void Search::drop_checkpoint() const {
  const std::size_t num_lasting = checkpoints_.back().num_lasting;
  checkpoints_.pop_back();
  if (checkpoints_.empty()) return;
  checkpoints_.back().num_lasting =
      std::min(checkpoints_.back().num_lasting, num_lasting);
}

/// The last one with no more variables. Forgets those with more.
Search::Checkpoint Search::last_checkpoint(int num_variables) {
  while (!checkpoints_.empty() &&
         checkpoints_.back().num_variables > num_variables) {
    drop_checkpoint();
  }
  return checkpoints_.empty() ? Checkpoint() : checkpoints_.back();
}

/// Takes back all levels on which a variable from this one on has a value, and
/// with these all whose reasons mention one. All levels, if there is more on
/// level 0 than there was at the start.
void Search::leave_levels_of(int first_variable, const Checkpoint& start) {
  if (num_fixed() > start.num_fixed) {
    backtrack(0);
    return;
  }
  for (std::size_t k = start.num_lasting; k < trail_.size(); ++k) {
    const int variable = trail_[k].variable();
    if (variable < first_variable) continue;
    backtrack(level_of(variable) - 1);
    return;
  }
}

void Search::shrink_variables(int count) {
  assert(count >= 0);
  if (count >= num_variables()) return;
  const Checkpoint start = last_checkpoint(count);
  leave_levels_of(count, start);
  settled_.num_given = std::min(settled_.num_given, start.num_given);
  settled_.num_fixed = std::min(settled_.num_fixed, start.num_fixed);
  const auto num_literals = 2 * static_cast<std::size_t>(count);
  watches_.resize(num_literals);
  forget_clauses(given_, start.num_given);
  forget_clauses(learnts_, start.num_learnts);
  // Where many are watched there is but one look at each list.
  std::sort(touched_.begin(), touched_.end());
  touched_.erase(std::unique(touched_.begin(), touched_.end()), touched_.end());
  for (const Literal literal : touched_) drop_deleted_from(literal);
  touched_.clear();
  // A collection looks at all watches.
  if (clauses_.wants_collection() &&
      clauses_.num_wasted_words() >= watches_.size()) {
    collect_garbage();
  }

  if (level() == 0) forget_fixed(count, start.num_fixed);
  gate_.shrink_variables(count);

  values_.resize(num_literals);
  variables_.resize(static_cast<std::size_t>(count));
  marks_.resize(static_cast<std::size_t>(count));
  heap_.shrink(count);
  phases_.shrink(count);
}

/// Forgets literals of level 0 from this place on, those of variables from
/// `count` on for good. The theory is told of the others again.
void Search::forget_fixed(int count, std::size_t start) {
  for (std::size_t k = theory_head_; k-- > start;) {
    if (theory_ == nullptr) break;
    if (variable_at(trail_[k].variable()).theory) theory_->retract(trail_[k]);
  }
  theory_head_ = std::min(theory_head_, start);
  num_saved_ = std::min(num_saved_, start);
  // Propagated literals stay ahead of the others.
  std::size_t kept = start;
  std::size_t propagated = std::min(clause_head_, start);
  for (std::size_t k = start; k < trail_.size(); ++k) {
    if (trail_[k].variable() >= count) continue;
    if (k < clause_head_) ++propagated;
    trail_[kept++] = trail_[k];
  }
  trail_.resize(kept);
  clause_head_ = propagated;
  simplified_literals_ = std::min(simplified_literals_, trail_.size());
  num_noted_units_ = trail_.size();
}

/// Forgets the clauses from `start` on that mention a variable without watches.
/// Ensures: the literals with such clauses among their watches are touched.
void Search::forget_clauses(std::vector<ClauseRef>& list, std::size_t start) {
  const auto is_kept = [this](Literal literal) {
    return literal.index() < watches_.size();
  };
  std::size_t kept = start;
  for (std::size_t k = start; k < list.size(); ++k) {
    const ClauseRef ref = list[k];
    const Clause clause = clauses_[ref];
    bool stays = true;
    for (int i = 0; i < clause.size(); ++i) stays = stays && is_kept(clause[i]);
    if (stays) {
      list[kept++] = ref;
      continue;
    }
    for (const int i : {0, 1}) {
      if (is_kept(clause[i])) touched_.push_back(clause[i]);
    }
    remove_clause(ref);
  }
  list.resize(kept);
}

/// Removes deleted clauses from the watches of a literal.
void Search::drop_deleted_from(Literal watched) {
  std::vector<Watch>& list = watches_of(watched);
  list.erase(std::remove_if(list.begin(), list.end(),
                            [this](const Watch& watch) {
                              return clauses_[watch.clause()].is_deleted();
                            }),
             list.end());
}

void Search::retell_theory() {
  leave_levels();
  theory_head_ = 0;
  if (theory_ != nullptr) theory_->backtrack(-1);
}

}  // namespace vorn::solver
