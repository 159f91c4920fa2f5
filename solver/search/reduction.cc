// SPDX-License-Identifier: MIT
// Storing clauses and getting rid of them.
//
// Learnt clauses with glue up to SearchOptions::keep_glue stay for good. Each
// reduction lets every other clause live that is a reason or was used lately
// (see use_clause; the better half by glue has to be unused for longer),
// and deletes the given fraction of the rest, the least active first. The
// distance between reductions grows with the square root of their number, so
// that the clauses kept do, too.
//
// Clauses true at level 0 go, and literals false at level 0 go out of clauses,
// when enough propagation has been done to pay for looking at all clauses.
#include <algorithm>
#include <cassert>
#include <cmath>

#include "solver/search/search.h"

namespace vorn::solver {

namespace {

constexpr float kMaxClauseIncrement = 1e20F;

}  // namespace

ClauseRef Search::store_clause(const std::vector<Literal>& literals,
                               bool learnt, int glue, ClauseNumber number) {
  // The list has room before the clause exists, so that no clause is lost.
  std::vector<ClauseRef>& list = learnt ? learnts_ : given_;
  list.push_back(0);
  list.back() = clauses_.add(literals, learnt, glue, number);
  return list.back();
}

/// The caller then has to call drop_deleted.
void Search::remove_clause(ClauseRef ref) {
  gate_.forget(clauses_.number(ref));
  clauses_.remove(ref);
}

void Search::attach_clause(ClauseRef ref) {
  const Clause clause = clauses_[ref];
  const bool binary = clause.size() == 2;
  watches_of(clause[0]).push_back(Watch(ref, clause[1], binary));
  watches_of(clause[1]).push_back(Watch(ref, clause[0], binary));
}

/// Whether some literal is assigned because of the clause.
bool Search::is_reason(ClauseRef ref) const {
  const ConstClause clause = clauses_[ref];
  // Visits of long clauses move the implied literal to the front.
  const int candidates = clause.size() == 2 ? 2 : 1;
  for (int i = 0; i < candidates; ++i) {
    if (value(clause[i]) == Value::kTrue &&
        variable_at(clause[i].variable()).reason == ref) {
      return true;
    }
  }
  return false;
}

void Search::bump_clause(Clause clause) {
  clause.set_activity(clause.activity() + clause_increment_);
}

/// Makes later bumps of clauses count more than the ones so far.
void Search::decay_clauses() {
  clause_increment_ /= static_cast<float>(options_.clause_decay);
  // Leaves room for any number of bumps on top.
  if (clause_increment_ <= kMaxClauseIncrement) return;
  for (const ClauseRef ref : learnts_) {
    const Clause clause = clauses_[ref];
    clause.set_activity(clause.activity() / kMaxClauseIncrement);
  }
  clause_increment_ /= kMaxClauseIncrement;
}

/// Deletes the less useful learnt clauses. Requires: propagated.
void Search::reduce_clauses() {
  assert(clause_head_ == trail_.size());
  ++statistics_.reductions;
  const double growth =
      std::sqrt(static_cast<double>(statistics_.reductions + 1));
  next_reduction_ = statistics_.conflicts +
                    static_cast<std::uint64_t>(
                        static_cast<double>(options_.reduce_interval) * growth);
  if (wants_simplification()) mark_satisfied();
  delete_useless();
  drop_deleted();
}

void Search::delete_useless() {
  std::vector<ClauseRef> candidates;
  for (const ClauseRef ref : learnts_) {
    const Clause clause = clauses_[ref];
    if (clause.is_deleted() || clause.size() == 2 ||
        clause.glue() <= options_.keep_glue || is_reason(ref)) {
      continue;
    }
    if (clause.use() > 0) {
      clause.set_use(clause.use() - 1);
      continue;
    }
    candidates.push_back(ref);
  }
  // Ties go to the older clause, so that the order is the same everywhere.
  std::sort(
      candidates.begin(), candidates.end(), [this](ClauseRef a, ClauseRef b) {
        const float activity_a = clauses_[a].activity();
        const float activity_b = clauses_[b].activity();
        return activity_a < activity_b || (activity_a == activity_b && a > b);
      });
  const double share = std::clamp(options_.reduce_fraction, 0.0, 1.0);
  const auto count =
      static_cast<std::size_t>(share * static_cast<double>(candidates.size()));
  for (std::size_t i = 0; i < count; ++i) remove_clause(candidates[i]);
  statistics_.deleted_clauses += count;
}

/// Whether there are new level-0 literals and the last look at all clauses has
/// been paid for by propagation.
bool Search::wants_simplification() const {
  return num_fixed() > simplified_literals_ &&
         statistics_.propagations >= next_simplification_;
}

/// Deletes clauses true at level 0 and takes literals false at level 0 out of
/// the others. The caller then has to call drop_deleted.
void Search::mark_satisfied() {
  assert(clause_head_ == trail_.size());
  simplified_literals_ = num_fixed();
  // All watches are looked at, too.
  next_simplification_ = statistics_.propagations +
                         std::max(clauses_.num_words(), watches_.size() / 2);
  for (const std::vector<ClauseRef>* list : {&given_, &learnts_}) {
    for (const ClauseRef ref : *list) simplify_clause(ref);
  }
}

void Search::simplify_clause(ClauseRef ref) {
  const Clause clause = clauses_[ref];
  for (int i = 0; i < clause.size(); ++i) {
    if (!is_true_at_level_0(clause[i])) continue;
    assert(!is_reason(ref));
    remove_clause(ref);
    return;
  }
  // The watches stay: one of them false at level 0 would make the other true.
  assert(!is_false_at_level_0(clause[0]) && !is_false_at_level_0(clause[1]));
  int kept = 2;
  while (kept < clause.size() && !is_false_at_level_0(clause[kept])) ++kept;
  if (kept == clause.size()) return;
  if (gate_.is_watched()) {
    reason_.clear();
    for (int i = 0; i < clause.size(); ++i) reason_.push_back(clause[i]);
  }
  for (int i = kept + 1; i < clause.size(); ++i) {
    const Literal literal = clause[i];
    if (!is_false_at_level_0(literal)) clause.set(kept++, literal);
  }
  clauses_.shrink(ref, kept);
  if (!gate_.is_watched()) return;
  lemma_.clear();
  for (int i = 0; i < kept; ++i) lemma_.push_back(clause[i]);
  clauses_.set_number(ref, note_shorter(reason_, lemma_, clauses_.number(ref)));
}

/// Removes all mention of deleted clauses, renews the entries of clauses that
/// have been simplified, and collects garbage if there is much.
void Search::drop_deleted() {
  for (std::size_t i = 0; i < watches_.size(); ++i) {
    const Literal watched = Literal::from_code(static_cast<int>(i));
    std::vector<Watch>& list = watches_[i];
    auto keep = list.begin();
    for (const Watch& watch : list) {
      const Clause clause = clauses_[watch.clause()];
      if (clause.is_deleted()) continue;
      *keep = watch;
      // A blocker false at level 0 may have left the clause, and its variable
      // may be forgotten before the clause is.
      const bool is_binary = clause.size() == 2;
      if (is_binary || is_false_at_level_0(watch.blocker())) {
        const Literal other = clause[clause[0] == watched ? 1 : 0];
        *keep = Watch(watch.clause(), other, is_binary);
      }
      ++keep;
    }
    list.erase(keep, list.end());
  }
  drop_deleted(given_, &Checkpoint::num_given);
  drop_deleted(learnts_, &Checkpoint::num_learnts);
  if (clauses_.wants_collection()) collect_garbage();
}

/// Removes deleted clauses from a list, and from its lengths in checkpoints.
void Search::drop_deleted(std::vector<ClauseRef>& list,
                          std::size_t Checkpoint::*length) {
  auto checkpoint = checkpoints_.begin();
  std::size_t num_settled = settled_.*length;
  std::size_t kept = 0;
  for (std::size_t k = 0; k <= list.size(); ++k) {
    if (settled_.*length == k) num_settled = kept;
    for (; checkpoint != checkpoints_.end() && (*checkpoint).*length == k;
         ++checkpoint) {
      (*checkpoint).*length = kept;
    }
    if (k < list.size() && !clauses_[list[k]].is_deleted()) {
      list[kept++] = list[k];
    }
  }
  settled_.*length = num_settled;
  list.resize(kept);
}

void Search::collect_garbage() {
  clauses_.begin_collection();
  for (std::vector<ClauseRef>* list : {&given_, &learnts_}) {
    for (ClauseRef& ref : *list) ref = clauses_.moved(ref);
  }
  for (std::vector<Watch>& list : watches_) {
    for (Watch& watch : list) watch.set_clause(clauses_.moved(watch.clause()));
  }
  for (const Literal literal : trail_) {
    ClauseRef& reason = variable_at(literal.variable()).reason;
    if (!is_explanation(reason)) reason = clauses_.moved(reason);
  }
  clauses_.end_collection();
}

/// Drops the explanations that are no longer reasons.
void Search::collect_explanations() {
  explanations_.begin_collection();
  // None is asked for at level 0.
  for (std::size_t k = num_fixed(); k < trail_.size(); ++k) {
    ClauseRef& reason = variable_at(trail_[k].variable()).reason;
    if (!is_explanation(reason) || reason == kNoReason ||
        reason == kTheoryReason) {
      continue;
    }
    reason = explanations_.moved(reason & ~kExplanationBit) | kExplanationBit;
  }
  explanations_.end_collection();
  explanations_limit_ =
      std::max(kMinExplanationsLimit, 2 * explanations_.num_words());
}

}  // namespace vorn::solver
