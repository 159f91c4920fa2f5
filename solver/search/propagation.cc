// SPDX-License-Identifier: MIT
// Propagation of clauses and theory.
//
// Each clause of two or more literals is watched by its first two. Only when a
// watched literal becomes false is the clause visited: it then either has
// another literal to watch, or implies its other watch, or is a conflict.
// Taking back levels needs no work on the watches, because a watch that is
// false has, after a visit, a true literal of its clause at no higher a level.
//
// A visit may find a true literal beyond the first two. It becomes the blocker
// of the entry while the false literal stays watched. That keeps the sentence
// above: literals are visited before the next level opens, so the false watch
// is of the highest level there is.
//
// Clauses come first, since they are cheap; the theory is asked when they have
// nothing to add.
#include <cassert>

#include "solver/search/search.h"

namespace vorn::solver {

Search::Fixpoint Search::propagate() {
  for (;;) {
    const ClauseRef conflict = propagate_clauses();
    if (conflict != kNoReason) {
      note_conflict(conflict);
      return Fixpoint::kClauseConflict;
    }
    if (theory_ == nullptr) return Fixpoint::kReached;
    bool progress = false;
    const Fixpoint result = propagate_theory(progress);
    if (result != Fixpoint::kReached || !progress) return result;
  }
}

/// Makes a stored clause, all of whose literals are false but perhaps the one
/// that it is the reason of, the conflict.
void Search::note_conflict(ClauseRef conflict) {
  const Clause clause = clause_of(conflict);
  conflict_.clear();
  for (int i = 0; i < clause.size(); ++i) conflict_.push_back(clause[i]);
  conflict_ref_ = conflict;
  conflict_number_ = number_of(conflict);
}

/// The value of a literal beyond the first two that is not false, with its
/// position, or kFalse. A long clause is searched from where the last search
/// ended.
Value Search::find_not_false(Clause clause, int& position) const {
  const int size = clause.size();
  const int first = clause.first_to_try();
  for (position = first; position < size; ++position) {
    const Value found = value(clause[position]);
    if (found == Value::kFalse) continue;
    clause.set_first_to_try(position);
    return found;
  }
  for (position = 2; position < first; ++position) {
    const Value found = value(clause[position]);
    if (found == Value::kFalse) continue;
    clause.set_first_to_try(position);
    return found;
  }
  return Value::kFalse;
}

/// Returns a clause all of whose literals are false, or kNoReason.
ClauseRef Search::propagate_clauses() {
  while (clause_head_ < trail_.size()) {
    const Literal falsified = ~trail_[clause_head_++];
    ++statistics_.propagations;
    if (clause_head_ < trail_.size()) {
      // The next list is on its way from memory while this one is read.
      __builtin_prefetch(watches_of(~trail_[clause_head_]).data());
    }
    // Entries are only added to lists of other literals.
    std::vector<Watch>& list = watches_of(falsified);
    Watch* const begin = list.data();
    Watch* const end = begin + list.size();
    Watch* keep = begin;
    ClauseRef conflict = kNoReason;
    for (const Watch* next = begin; next != end;) {
      const Watch watch = *next++;
      *keep++ = watch;
      const Literal blocker = watch.blocker();
      const Value blocker_value = value(blocker);
      if (blocker_value == Value::kTrue) continue;
      const ClauseRef ref = watch.clause();
      if (watch.is_binary()) {
        if (blocker_value == Value::kUnassigned) {
          assign(blocker, ref);
          continue;
        }
        conflict = ref;
      } else {
        const Clause clause = clauses_[ref];
        if (clause[0] == falsified) clause.swap(0, 1);
        const Literal other = clause[0];
        const Value other_value = value(other);
        if (other_value == Value::kTrue) {
          keep[-1] = Watch(ref, other, false);
          continue;
        }
        int position = 2;
        const Value found = find_not_false(clause, position);
        if (found == Value::kTrue) {
          keep[-1] = Watch(ref, clause[position], false);
          continue;
        }
        if (found == Value::kUnassigned) {
          const Literal replacement = clause[position];
          clause.set(1, replacement);
          clause.set(position, falsified);
          watches_of(replacement).push_back(Watch(ref, other, false));
          --keep;
          continue;
        }
        if (other_value == Value::kUnassigned) {
          assign(other, ref);
          continue;
        }
        conflict = ref;
      }
      while (next != end) *keep++ = *next++;
    }
    list.erase(list.begin() + (keep - begin), list.end());
    if (conflict != kNoReason) return conflict;
  }
  return kNoReason;
}

/// Tells the theory what is new and asks it. `progress` becomes true if it
/// implied literals, which then are assigned.
Search::Fixpoint Search::propagate_theory(bool& progress) {
  assert(clause_head_ == trail_.size());
  for (; theory_head_ < trail_.size(); ++theory_head_) {
    const Literal literal = trail_[theory_head_];
    if (variable_at(literal.variable()).theory) theory_->assigned(literal);
  }
  implied_.clear();
  conflict_.clear();
  conflict_ref_ = kNoReason;
  if (!theory_->propagate(implied_, conflict_)) {
    note_theory_conflict();
    return Fixpoint::kTheoryConflict;
  }
  for (const Literal literal : implied_) {
    switch (value(literal)) {
      case Value::kTrue:
        break;  // reported twice
      case Value::kUnassigned:
        assign(literal, kTheoryReason);
        ++statistics_.theory_propagations;
        progress = true;
        break;
      case Value::kFalse:
        // Its opposite was reported, too: the reason is a conflict. At level
        // 0 the empty clause is as good.
        conflict_.clear();
        if (level() > 0 || gate_.is_watched()) {
          ++statistics_.theory_explanations;
          theory_->explain(literal, conflict_);
          note_theory_conflict();
        }
        return Fixpoint::kTheoryConflict;
    }
  }
  return Fixpoint::kReached;
}

}  // namespace vorn::solver
