// SPDX-License-Identifier: MIT
// What the listener is told: from which clauses each learnt one follows.
//
// Nothing here runs while nobody listens, and nothing that the search does
// depends on it. Analysis leaves behind what it resolved with, from the
// conflict backwards, which is turned round: each premise comes after those
// that it needs. In front of that stands why minimisation took literals out:
// binary clauses, and reasons, found anew for the literals that went, depth
// first.
//
// At level 0 reasons are kept until the level is propagated, and then each
// literal becomes a clause of its own.
#include <algorithm>
#include <cassert>

#include "solver/search/search.h"

namespace vorn::solver {

void Search::set_listener(ClauseListener* listener) {
  assert(given_.empty() && trail_.empty());
  gate_.set_listener(listener);
  if (listener == nullptr) return;
  clauses_.keep_numbers();
  explanations_.keep_numbers();
}

/// Numbers the theory's clause in conflict_.
void Search::note_theory_conflict() {
  if (gate_.is_watched()) {
    conflict_number_ = gate_.add(conflict_, theory_->origin());
  }
}

/// Makes a clause of each literal that level 0 has implied since the last call.
/// Requires: level 0. Ensures: no literal has a reason.
void Search::note_units() {
  if (!gate_.is_watched()) return;
  assert(level() == 0);
  for (; num_noted_units_ < trail_.size(); ++num_noted_units_) {
    const Literal literal = trail_[num_noted_units_];
    ClauseRef& reason = variable_at(literal.variable()).reason;
    if (reason == kNoReason) continue;  // was a clause
    premises_.clear();
    const auto use = [&](Literal other) {
      if (other != literal) premises_.push_back(gate_.unit(other.variable()));
    };
    if (reason == kTheoryReason) {
      reason_.clear();
      theory_->explain(literal, reason_);
      for (const Literal other : reason_) use(other);
      premises_.push_back(gate_.add(reason_, theory_->origin()));
    } else {
      const Clause clause = clauses_[reason];
      for (int i = 0; i < clause.size(); ++i) use(clause[i]);
      premises_.push_back(clauses_.number(reason));
    }
    reason = kNoReason;
    gate_.set_unit(literal.variable(), gate_.derive({literal}, premises_));
  }
}

/// The number of `shorter`, which is `clause` less what is false at level 0:
/// that of `clause`, or a new one if something is missing.
ClauseNumber Search::note_shorter(const std::vector<Literal>& clause,
                                  const std::vector<Literal>& shorter,
                                  ClauseNumber number) {
  if (!gate_.is_watched()) return 0;
  premises_.clear();
  for (const Literal literal : clause) {
    if (!is_false_at_level_0(literal)) continue;
    premises_.push_back(gate_.unit(literal.variable()));
  }
  if (premises_.empty()) return number;
  premises_.push_back(number);
  const ClauseNumber result = gate_.derive(shorter, premises_);
  gate_.forget(number);
  return result;
}

/// Level 0 has a premise for a variable, which is marked.
void Search::use_unit(int variable) {
  mark_of(variable) = Mark::kSeen;
  marked_.push_back(variable);
  premises_.push_back(gate_.unit(variable));
}

/// Notes the reasons of removed_, each after those that it needs.
/// Requires: literals that reasons lead to are marked, and kRedundant if they
/// were removed or lead to others themselves. Ensures: they are kSeen.
void Search::use_reasons_of_removed() {
  frames_.clear();
  const auto need = [this](Literal literal) {
    Mark& mark = mark_of(literal.variable());
    if (mark != Mark::kRedundant) return;
    mark = Mark::kSeen;
    frames_.push_back({literal, variable_at(literal.variable()).reason, 0});
  };
  for (const Literal literal : removed_) {
    need(literal);
    while (!frames_.empty()) {
      Frame& frame = frames_.back();
      const Clause reason = clause_of(frame.reason);
      if (frame.next < reason.size()) {
        const Literal next = reason[frame.next++];
        const int variable = next.variable();
        if (level_of(variable) > 0) {
          need(next);
        } else if (mark_of(variable) == Mark::kNone) {
          use_unit(variable);
        }
        continue;
      }
      premises_.push_back(number_of(frame.reason));
      frames_.pop_back();
    }
  }
}

/// The number of a clause that follows from premises_, and from resolved_ from
/// the last one to the first.
ClauseNumber Search::derive_from_resolved(const std::vector<Literal>& clause) {
  premises_.insert(premises_.end(), resolved_.rbegin(), resolved_.rend());
  return gate_.derive(clause, premises_);
}

/// The number of learnt_.
ClauseNumber Search::derive_learnt() {
  if (!gate_.is_watched()) return 0;
  for (const auto& [variable, binary] : shortened_) {
    mark_of(variable) = Mark::kSeen;
    premises_.push_back(clauses_.number(binary));
  }
  use_reasons_of_removed();
  return derive_from_resolved(learnt_);
}

/// The number of the empty clause. Requires: level 0 contradicts conflict_.
ClauseNumber Search::derive_empty() {
  if (!gate_.is_watched()) return 0;
  premises_.clear();
  for (const Literal literal : conflict_) {
    premises_.push_back(gate_.unit(literal.variable()));
  }
  premises_.push_back(conflict_number_);
  return gate_.derive({}, premises_);
}

/// The number of a clause that says that the assumptions in failed_ have no
/// model in common; 0 if the first is the opposite of another.
/// Requires: the first of them is false; resolved_ and premises_ say why.
ClauseNumber Search::derive_failed() {
  if (!gate_.is_watched()) return 0;
  const int variable = failed_[0].variable();
  if (level_of(variable) == 0) return gate_.unit(variable);
  if (variable_at(variable).reason == kNoReason) return 0;
  std::vector<Literal> negated;
  for (const Literal literal : failed_) negated.push_back(~literal);
  return derive_from_resolved(negated);
}

}  // namespace vorn::solver
