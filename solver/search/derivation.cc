// SPDX-License-Identifier: MIT
// What the listener is told: from which clauses each learnt one follows.
//
// Nothing here runs while nobody listens, and nothing that the search does
// depends on it. A derivation is found anew, after the clause is: from the
// conflict backwards through the reasons of literals that the clause does not
// have, depth first, so that each premise comes after those that it needs.
// That covers minimisation without any bookkeeping in it; a literal that a
// binary clause made superfluous has that clause in place of its reason.
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

/// The number of a clause that follows from conflict_ and reasons.
/// Requires: the reasons were asked for, and lead to literals of the clause.
ClauseNumber Search::derive(const std::vector<Literal>& clause) {
  if (!gate_.is_watched()) return 0;
  premises_.clear();
  ++settled_stamp_;
  settled_stamps_.resize(variables_.size(), 0);
  const auto settle = [this](Literal literal) {
    const auto position = static_cast<std::size_t>(literal.variable());
    return std::exchange(settled_stamps_[position], settled_stamp_) !=
           settled_stamp_;
  };
  for (const Literal literal : clause) settle(literal);
  frames_.clear();
  const auto need = [&](Literal literal) {
    const int variable = literal.variable();
    if (!settle(literal)) return;
    if (level_of(variable) == 0) {
      premises_.push_back(gate_.unit(variable));
      return;
    }
    const auto binary = std::find_if(
        shortened_.begin(), shortened_.end(),
        [variable](const auto& entry) { return entry.first == variable; });
    if (binary != shortened_.end()) {
      premises_.push_back(clauses_.number(binary->second));
      return;
    }
    const ClauseRef reason = variable_at(variable).reason;
    assert(reason != kNoReason && reason != kTheoryReason);
    frames_.push_back({literal, reason, 0});
  };
  for (const Literal literal : conflict_) {
    need(literal);
    while (!frames_.empty()) {
      Frame& frame = frames_.back();
      const Clause reason = clause_of(frame.reason);
      if (frame.next < reason.size()) {
        const Literal next = reason[frame.next++];
        if (next.variable() != frame.literal.variable()) need(next);
        continue;
      }
      premises_.push_back(number_of(frame.reason));
      frames_.pop_back();
    }
  }
  premises_.push_back(conflict_number_);
  return gate_.derive(clause, premises_);
}

/// The number of a clause that says that the assumptions in failed_ have no
/// model in common; 0 if the first is the opposite of another.
/// Requires: the first of them is false.
ClauseNumber Search::derive_failed() {
  if (!gate_.is_watched()) return 0;
  const int variable = failed_[0].variable();
  if (level_of(variable) == 0) return gate_.unit(variable);
  const ClauseRef reason = variable_at(variable).reason;
  if (reason == kNoReason) return 0;
  note_conflict(reason);
  // Of the clause learnt last, which has nothing to do with this one.
  shortened_.clear();
  std::vector<Literal> negated;
  for (const Literal literal : failed_) negated.push_back(~literal);
  return derive(negated);
}

}  // namespace vorn::solver
