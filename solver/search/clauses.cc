// SPDX-License-Identifier: MIT
// Clauses from outside: given ones between solves, and lemmas at any level.
//
// A lemma is stored as if it had been there all the time: if it would have
// implied a literal, or been a conflict, at a lower level than the current one,
// the search goes back there. So the watches need no special case.
#include <algorithm>
#include <cassert>
#include <limits>
#include <optional>

#include "solver/search/search.h"

namespace vorn::solver {

bool Search::add_clause(const std::vector<Literal>& clause,
                        ClauseOrigin origin) {
  if (!consistent_) return false;
  ClauseNumber number = gate_.add(clause, origin);
  lemma_ = clause;
  if (!normalise_clause(lemma_)) {
    gate_.forget(number);
    return true;
  }
  number = note_shorter(clause, lemma_, number);
  if (!finds_watches(lemma_)) backtrack(0);
  if (lemma_.empty()) {
    refutation_ = number;
    consistent_ = false;
  } else if (lemma_.size() == 1) {
    assign_unit(lemma_[0], number);
  } else {
    attach_clause(store_clause(lemma_, false, 0, number));
  }
  if (level() > 0) return true;
  const ClauseRef conflict = propagate_clauses();
  note_units();
  if (conflict != kNoReason) {
    note_conflict(conflict);
    refutation_ = derive_empty();
    consistent_ = false;
  }
  return consistent_;
}

/// Sorts the clause and drops repeated literals and those false at level 0.
/// Returns false if the clause is always true or true at level 0.
bool Search::normalise_clause(std::vector<Literal>& clause) {
  std::sort(clause.begin(), clause.end());
  std::size_t kept = 0;
  Literal previous;
  for (const Literal literal : clause) {
    assert(literal.variable() < num_variables());
    if (literal == previous || is_false_at_level_0(literal)) continue;
    if (is_true_at_level_0(literal)) return false;
    if (previous.is_defined() && literal == ~previous) return false;
    previous = literal;
    clause[kept++] = literal;
  }
  clause.resize(kept);
  return true;
}

/// Puts two literals that are not false first. False if there are none: then
/// the clause implies something, at a level that need not be the last.
bool Search::finds_watches(std::vector<Literal>& clause) const {
  if (level() == 0) return true;
  std::size_t num_found = 0;
  for (std::size_t k = 0; k < clause.size() && num_found < 2; ++k) {
    if (value(clause[k]) == Value::kFalse) continue;
    std::swap(clause[num_found++], clause[k]);
  }
  return num_found == 2;
}

/// Takes in the theory's lemma in lemma_.
Search::LemmaOutcome Search::add_lemma() {
  return add_implied(theory_->origin(), std::nullopt);
}

/// Takes in the clause in lemma_, which the problem implies: a lemma, or what
/// another search has learnt, with the glue that it had there.
Search::LemmaOutcome Search::add_implied(ClauseOrigin origin,
                                         std::optional<int> shared_glue) {
  ClauseNumber number = 0;
  if (gate_.is_watched()) {
    number = gate_.add(lemma_, origin);
    reason_ = lemma_;
  }
  if (!normalise_clause(lemma_)) {
    gate_.forget(number);
    return LemmaOutcome::kDone;
  }
  number = note_shorter(reason_, lemma_, number);
  if (!shared_glue) ++statistics_.lemmas;
  if (lemma_.empty()) {
    refutation_ = number;
    return LemmaOutcome::kUnsat;
  }
  if (lemma_.size() == 1) {
    backtrack(0);
    assign_unit(lemma_[0], number);
    return LemmaOutcome::kDone;
  }

  // Watch true literals before unassigned ones before false ones, and of these
  // the ones assigned last.
  const auto rank = [this](Literal literal) {
    switch (value(literal)) {
      case Value::kTrue:
        return std::numeric_limits<int>::max();
      case Value::kUnassigned:
        return std::numeric_limits<int>::max() - 1;
      default:
        return level_of(literal.variable());
    }
  };
  std::partial_sort(lemma_.begin(), lemma_.begin() + 2, lemma_.end(),
                    [&](Literal a, Literal b) { return rank(a) > rank(b); });
  const Literal first = lemma_[0];
  const Literal second = lemma_[1];

  // Literals without a level count one level each.
  int glue = stamp_levels(lemma_);
  for (const Literal literal : lemma_) {
    if (value(literal) == Value::kUnassigned) ++glue;
  }
  if (shared_glue) glue = std::min(glue, *shared_glue);
  const ClauseRef ref = store_clause(lemma_, true, glue, number);
  if (shared_glue) {
    // Else the next reduction would drop it before it was tried.
    clauses_[ref].set_use(use_for(glue));
  } else {
    clauses_[ref].set_lemma();
  }
  attach_clause(ref);

  if (value(second) != Value::kFalse) return LemmaOutcome::kDone;
  // Only `first` can make the lemma true from this level on.
  const int implied_at = level_of(second.variable());
  if (value(first) != Value::kUnassigned &&
      level_of(first.variable()) <= implied_at) {
    if (value(first) == Value::kTrue) return LemmaOutcome::kDone;
    note_conflict(ref);
    return LemmaOutcome::kConflict;
  }
  backtrack(implied_at);
  assign(first, ref);
  return LemmaOutcome::kDone;
}

/// Tells the other searches what level 0 says, and takes in what they have told
/// since the last time. False if the clauses have no model.
bool Search::exchange_clauses() {
  next_exchange_ = statistics_.conflicts + options_.exchange_interval;
  for (; num_published_units_ < num_fixed(); ++num_published_units_) {
    lemma_.assign(1, trail_[num_published_units_]);
    port_->publish(lemma_, 1);
  }
  int glue = 0;
  while (port_->next(lemma_, glue)) {
    switch (add_implied({ClauseKind::kShared}, glue)) {
      case LemmaOutcome::kDone:
        break;
      case LemmaOutcome::kConflict:
        if (!resolve_conflict(false)) return false;
        break;
      case LemmaOutcome::kUnsat:
        consistent_ = false;
        return false;
    }
  }
  return true;
}

}  // namespace vorn::solver
