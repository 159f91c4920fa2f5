// SPDX-License-Identifier: MIT
// From a conflict to a learnt clause, and from a false assumption to a core.
//
// A conflict is a clause whose literals are all false. As long as it has
// several literals of the highest level, the one assigned last is resolved away
// with its reason. The single literal that is left of that level is implied, by
// the resulting clause, at the next lower level of the clause: the search goes
// back there and assigns it. A conflict that has only one literal of its
// highest level from the start needs no special case, nor one whose highest
// level is below the current: the search first goes back to that level.
//
// The clause is then minimised: a literal goes if its falsity follows, by
// reasons, from that of the others. The search for that goes depth first
// through the reasons on an explicit stack; each variable is settled once per
// conflict, so the whole minimisation is linear in the reasons it looks at. A
// literal of a level that the clause does not mention cannot follow, which cuts
// most of the search.
//
// A reason from the theory is asked for when it is first needed, and kept as an
// unwatched clause for as long as the literal is assigned.
#include <algorithm>
#include <cassert>

#include "solver/search/search.h"

namespace vorn::solver {

namespace {

// Shortening by binary clauses pays only for clauses that will be used much.
constexpr int kMaxShortenedSize = 30;
constexpr int kMaxShortenedGlue = 6;

}  // namespace

/// Learns from the conflict in conflict_ and backjumps; then, if it came from
/// the theory, takes in the theory's lemmas. Returns false if there is no model
/// without assumptions.
bool Search::resolve_conflict(bool from_theory) {
  if (from_theory) ++statistics_.theory_conflicts;
  for (;;) {
    ++statistics_.conflicts;
    int highest = 0;
    for (const Literal literal : conflict_) {
      assert(value(literal) == Value::kFalse);
      highest = std::max(highest, level_of(literal.variable()));
    }
    if (highest == 0) {
      if (level() == 0) note_units();
      refutation_ = derive_empty();
      consistent_ = false;
      return false;
    }
    learn_from_conflict(highest);
    if (!from_theory) return true;

    LemmaOutcome outcome = LemmaOutcome::kDone;
    while (outcome == LemmaOutcome::kDone) {
      lemma_.clear();
      if (!theory_->next_lemma(lemma_)) return true;
      outcome = add_lemma();
    }
    if (outcome == LemmaOutcome::kUnsat) {
      consistent_ = false;
      return false;
    }
  }
}

void Search::learn_from_conflict(int level) {
  backtrack(level);
  phases_.record_assignment(trail_, num_fixed(), level_starts_.back());
  analyze();
  minimise();
  learn(derive_learnt());
  clear_marks();
  heap_.decay();
  decay_clauses();
  if (progress_ && statistics_.conflicts % options_.progress_interval == 0) {
    progress_(statistics_);
  }
}

/// Resolves conflict_ into learnt_, with the literal of the current level
/// first. Ensures: the variables of learnt_ are marked kSeen; premises_ and
/// resolved_ are what learnt_ follows from.
void Search::analyze() {
  int open = 0;  // marked literals of the current level, not yet resolved away
  learnt_.assign(1, Literal());
  resolved_.assign(1, conflict_number_);
  premises_.clear();
  if (conflict_ref_ != kNoReason) use_clause(conflict_ref_);
  for (const Literal literal : conflict_) mark_literal(literal, open);
  std::size_t position = trail_.size();
  for (;;) {
    Literal last;
    do {
      last = trail_[--position];
    } while (mark_of(last.variable()) == Mark::kNone);
    if (--open == 0) {
      learnt_[0] = ~last;
      return;
    }
    const ClauseRef reason = reason_of(last);
    assert(reason != kNoReason);
    if (!is_explanation(reason)) use_clause(reason);
    if (gate_.is_watched()) resolved_.push_back(number_of(reason));
    const Clause clause = clause_of(reason);
    for (int i = 0; i < clause.size(); ++i) {
      if (clause[i] != last) mark_literal(clause[i], open);
    }
  }
}

void Search::mark_literal(Literal literal, int& open) {
  const int variable = literal.variable();
  const int variable_level = level_of(variable);
  if (mark_of(variable) != Mark::kNone) return;
  assert(value(literal) == Value::kFalse);
  if (variable_level == 0) {
    note_fixed(variable);
    return;
  }
  mark_of(variable) = Mark::kSeen;
  marked_.push_back(variable);
  heap_.bump(variable);
  if (variable_level == level()) {
    ++open;
  } else {
    learnt_.push_back(literal);
  }
}

/// The reason of a true literal, after asking the theory if need be. Literals
/// false at level 0 are left out of what the theory says. Cost: views of
/// explanations become invalid.
ClauseRef Search::reason_of(Literal literal) {
  const int variable = literal.variable();
  const ClauseRef known = variable_at(variable).reason;
  if (known != kTheoryReason) return known;
  ++statistics_.theory_explanations;
  reason_.clear();
  theory_->explain(literal, reason_);
  assert(!reason_.empty() && reason_[0] == literal);
  // The listener's clause is the theory's, and has them all.
  const bool keeps_all = gate_.is_watched();
  const ClauseNumber number =
      keeps_all ? gate_.add(reason_, theory_->origin()) : 0;
  std::size_t kept = 1;
  for (std::size_t i = 1; i < reason_.size(); ++i) {
    assert(value(reason_[i]) == Value::kFalse);
    if (!keeps_all && is_false_at_level_0(reason_[i])) continue;
    reason_[kept++] = reason_[i];
  }
  reason_.resize(kept);
  const ClauseRef ref =
      explanations_.add(reason_, false, 0, number) | kExplanationBit;
  assert(ref != kNoReason && ref != kTheoryReason);
  variable_at(variable).reason = ref;
  return ref;
}

/// Notes that a clause took part in a conflict: keeps it longer, and improves
/// its glue, which tends to fall over time.
void Search::use_clause(ClauseRef ref) {
  const Clause clause = clauses_[ref];
  if (!clause.is_learnt()) return;
  ++statistics_.learnt_uses;
  if (clause.is_lemma()) ++statistics_.lemma_uses;
  bump_clause(clause);
  int glue = clause.glue();
  if (glue > options_.keep_glue) {
    ++stamp_;
    int levels = 0;
    for (int i = 0; i < clause.size() && levels < glue; ++i) {
      if (stamp_level(clause[i])) ++levels;
    }
    if (levels < glue) {
      glue = levels;
      clause.set_glue(glue);
    }
  }
  clause.set_use(use_for(glue));
}

/// Stamps the level of an assigned literal. False if it is 0 or was stamped.
bool Search::stamp_level(Literal literal) {
  const int level = level_of(literal.variable());
  std::uint64_t& seen = level_stamps_[static_cast<std::size_t>(level)];
  return level != 0 && std::exchange(seen, stamp_) != stamp_;
}

/// Stamps the levels of the assigned literals of `clause`, level 0 left out,
/// and returns how many there are.
int Search::stamp_levels(const std::vector<Literal>& clause) {
  ++stamp_;
  int result = 0;
  for (const Literal literal : clause) {
    if (value(literal) != Value::kUnassigned && stamp_level(literal)) ++result;
  }
  return result;
}

/// Takes out of learnt_ what follows from the rest of it. Ensures: what was
/// taken out is in removed_, marked kRedundant, or in shortened_.
void Search::minimise() {
  removed_.clear();
  shortened_.clear();
  const std::size_t before = learnt_.size();
  const int glue = stamp_levels(learnt_);
  std::size_t kept = 1;
  for (std::size_t i = 1; i < learnt_.size(); ++i) {
    const Literal literal = learnt_[i];
    if (!is_redundant(literal)) {
      learnt_[kept++] = literal;
    } else if (gate_.is_watched()) {
      mark_of(literal.variable()) = Mark::kRedundant;
      removed_.push_back(literal);
    }
  }
  learnt_.resize(kept);
  if (glue <= kMaxShortenedGlue &&
      learnt_.size() <= static_cast<std::size_t>(kMaxShortenedSize)) {
    shorten_by_binaries();
  }
  statistics_.minimised_literals += before - learnt_.size();
}

/// Whether the falsity of `literal`, of learnt_, follows from that of the rest
/// of learnt_. Requires: the levels of learnt_ are stamped.
bool Search::is_redundant(Literal literal) {
  if (variable_at(literal.variable()).reason == kNoReason) return false;
  frames_.clear();
  frames_.push_back({literal, reason_of(~literal), 0});
  while (!frames_.empty()) {
    Frame& frame = frames_.back();
    const Clause clause = clause_of(frame.reason);
    Literal next;  // a literal of the reason that is not settled
    bool failed = false;
    for (; frame.next < clause.size(); ++frame.next) {
      const Literal candidate = clause[frame.next];
      const int variable = candidate.variable();
      if (variable == frame.literal.variable()) continue;
      const Mark mark = mark_of(variable);
      const int variable_level = level_of(variable);
      if (variable_level == 0 || mark == Mark::kSeen ||
          mark == Mark::kRedundant) {
        continue;
      }
      failed =
          mark == Mark::kNeeded || variable_at(variable).reason == kNoReason ||
          level_stamps_[static_cast<std::size_t>(variable_level)] != stamp_;
      next = candidate;
      break;
    }
    if (failed) {
      // The literals on the path all need `next`.
      for (const Frame& open : frames_) {
        Mark& mark = mark_of(open.literal.variable());
        if (mark != Mark::kNone) continue;
        mark = Mark::kNeeded;
        marked_.push_back(open.literal.variable());
      }
      return false;
    }
    if (next.is_defined()) {
      ++frame.next;
      const ClauseRef reason = reason_of(~next);
      frames_.push_back({next, reason, 0});
      continue;
    }
    Mark& mark = mark_of(frame.literal.variable());
    if (mark == Mark::kNone) {
      mark = Mark::kRedundant;
      marked_.push_back(frame.literal.variable());
    }
    frames_.pop_back();
  }
  return true;
}

/// A binary clause of learnt_[0] and the opposite of another literal of learnt_
/// makes that literal superfluous.
void Search::shorten_by_binaries() {
  const Literal first = learnt_[0];
  bool shorter = false;
  // All marks so far have done their work; from here on a literal of learnt_ is
  // kRedundant exactly if a binary clause makes it so.
  for (std::size_t i = 1; i < learnt_.size(); ++i) {
    mark_of(learnt_[i].variable()) = Mark::kNeeded;
  }
  for (const Watch& watch : watches_of(first)) {
    if (!watch.is_binary()) continue;
    const Literal other = watch.blocker();
    Mark& mark = mark_of(other.variable());
    // True now, so that its opposite is in learnt_ if the variable is.
    if (value(other) != Value::kTrue || mark != Mark::kNeeded) continue;
    mark = Mark::kRedundant;
    shorter = true;
    if (gate_.is_watched()) {
      shortened_.emplace_back(other.variable(), watch.clause());
    }
  }
  if (!shorter) return;
  learnt_.erase(std::remove_if(learnt_.begin() + 1, learnt_.end(),
                               [this](Literal literal) {
                                 return mark_of(literal.variable()) ==
                                        Mark::kRedundant;
                               }),
                learnt_.end());
}

void Search::clear_marks() {
  for (const int variable : marked_) mark_of(variable) = Mark::kNone;
  marked_.clear();
}

/// Backjumps to where learnt_ implies its first literal, and stores it.
void Search::learn(ClauseNumber number) {
  const int glue = stamp_levels(learnt_);
  restarts_.record_conflict(glue);
  ++statistics_.learnt_clauses;
  // What level 0 says is told from there.
  if (port_ != nullptr && learnt_.size() > 1) port_->publish(learnt_, glue);
  if (learnt_.size() == 1) {
    backtrack(0);
    assign_unit(learnt_[0], number);
    return;
  }
  std::size_t second = 1;
  for (std::size_t i = 2; i < learnt_.size(); ++i) {
    if (level_of(learnt_[i].variable()) >
        level_of(learnt_[second].variable())) {
      second = i;
    }
  }
  std::swap(learnt_[1], learnt_[second]);
  backtrack(level_of(learnt_[1].variable()));
  const ClauseRef ref = store_clause(learnt_, true, glue, number);
  const Clause clause = clauses_[ref];
  bump_clause(clause);
  clause.set_use(use_for(glue));
  attach_clause(ref);
  assign(learnt_[0], ref);
}

/// Fills failed_ for an assumption that is false: the assumptions that its
/// falsity was derived from, and itself.
void Search::analyze_assumption(Literal assumption) {
  failed_.assign(1, assumption);
  resolved_.clear();
  premises_.clear();
  if (level_of(assumption.variable()) == 0) {
    refutation_ = derive_failed();
    return;
  }
  mark_of(assumption.variable()) = Mark::kSeen;
  marked_.push_back(assumption.variable());
  for (std::size_t i = trail_.size(); i-- > level_starts_[0];) {
    const Literal literal = trail_[i];
    if (mark_of(literal.variable()) == Mark::kNone) continue;
    const ClauseRef reason = reason_of(literal);
    if (reason == kNoReason) {
      // All decisions so far are assumptions.
      failed_.push_back(literal);
      continue;
    }
    if (gate_.is_watched()) resolved_.push_back(number_of(reason));
    const Clause clause = clause_of(reason);
    for (int k = 0; k < clause.size(); ++k) {
      const int variable = clause[k].variable();
      if (mark_of(variable) != Mark::kNone) continue;
      if (level_of(variable) == 0) {
        note_fixed(variable);
        continue;
      }
      mark_of(variable) = Mark::kSeen;
      marked_.push_back(variable);
    }
  }
  clear_marks();
  refutation_ = derive_failed();
}

}  // namespace vorn::solver
