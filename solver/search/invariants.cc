// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>
#include <limits>

#include "solver/search/search.h"

namespace vorn::solver {

void Search::check_invariants() const {
#ifndef NDEBUG
  heap_.check_invariants();
  const auto to_index = [](int i) { return static_cast<std::size_t>(i); };

  // (1), (2).
  std::size_t assigned = 0;
  for (int variable = 0; variable < num_variables(); ++variable) {
    const Literal literal(variable, false);
    const auto number = static_cast<int>(value(literal));
    assert(static_cast<int>(value(~literal)) == -number);
    if (number != 0) ++assigned;
    assert(marks_[to_index(variable)] == Mark::kNone);
    // (4).
    assert(!is_open(variable) || heap_.contains(variable));
  }
  assert(assigned == trail_.size());
  assert(std::is_sorted(level_starts_.begin(), level_starts_.end()));
  assert(level_starts_.empty() || level_starts_.back() <= trail_.size());
  std::vector<std::size_t> places(variables_.size(), trail_.size());
  int now = 0;
  for (std::size_t k = 0; k < trail_.size(); ++k) {
    const Literal literal = trail_[k];
    const Variable& variable = variable_at(literal.variable());
    const bool is_first = now < level() && level_starts_[to_index(now)] == k;
    while (now < level() && level_starts_[to_index(now)] == k) ++now;
    assert(value(literal) == Value::kTrue);
    assert(variable.level == now);
    places[to_index(literal.variable())] = k;
    // (7).
    assert(now > 0 || variable.reason == kNoReason);
    assert(now == 0 || is_first || variable.reason != kNoReason);
    if (variable.reason == kNoReason || variable.reason == kTheoryReason) {
      continue;
    }
    const ConstClause reason =
        is_explanation(variable.reason)
            ? explanations_[variable.reason & ~kExplanationBit]
            : clauses_[variable.reason];
    assert(!reason.is_deleted());
    bool implies = false;
    for (int i = 0; i < reason.size(); ++i) {
      implies = implies || reason[i] == literal;
      assert(reason[i] == literal ||
             (value(reason[i]) == Value::kFalse &&
              places[to_index(reason[i].variable())] < k));
    }
    assert(implies);
  }
  assert(clause_head_ <= trail_.size() && theory_head_ <= trail_.size());
  assert(num_saved_ <= trail_.size());

  // (3): as many entries as watched positions, and an entry for each.
  std::size_t entries = 0;
  for (const std::vector<Watch>& list : watches_) entries += list.size();
  assert(entries == 2 * (given_.size() + learnts_.size()));
  for (std::size_t i = 0; i < watches_.size(); ++i) {
    const Literal watched = Literal::from_code(static_cast<int>(i));
    for (const Watch& watch : watches_[i]) {
      const ConstClause clause = clauses_[watch.clause()];
      assert(!clause.is_deleted());
      assert(clause[0] == watched || clause[1] == watched);
      assert(!watch.is_binary() || clause.size() == 2);
      // (5).
      bool has_blocker = false;
      for (int k = 0; k < clause.size(); ++k) {
        has_blocker = has_blocker || clause[k] == watch.blocker();
      }
      assert(has_blocker && watch.blocker() != watched);
    }
  }

  // (8): the first checkpoint that reaches so far has the fewest variables.
  const auto last_variable = [](const ConstClause& clause) {
    int last = -1;
    for (int i = 0; i < clause.size(); ++i) {
      last = std::max(last, clause[i].variable());
    }
    return last;
  };
  std::size_t num_lasting = trail_.size();
  for (std::size_t n = checkpoints_.size(); n-- > 0;) {
    const Checkpoint& next = checkpoints_[n];
    num_lasting = std::min(num_lasting, next.num_lasting);
    assert(next.num_fixed <= num_fixed() && next.num_given <= given_.size() &&
           next.num_learnts <= learnts_.size());
    const Checkpoint before = n > 0 ? checkpoints_[n - 1] : Checkpoint();
    assert(n == 0 || before.num_variables < next.num_variables);
    for (std::size_t k = before.num_given; k < next.num_given; ++k) {
      assert(last_variable(clauses_[given_[k]]) < next.num_variables);
    }
    for (std::size_t k = before.num_learnts; k < next.num_learnts; ++k) {
      assert(last_variable(clauses_[learnts_[k]]) < next.num_variables);
    }
    for (std::size_t k = before.num_fixed; k < next.num_fixed; ++k) {
      assert(trail_[k].variable() < next.num_variables);
    }
    for (std::size_t k = std::min(before.num_lasting, num_lasting);
         k < num_lasting; ++k) {
      assert(trail_[k].variable() < next.num_variables);
    }
  }

  // (6).
  if (!consistent_ || clause_head_ < trail_.size()) return;
  const auto level_if = [this](Literal literal, Value wanted) {
    return value(literal) == wanted ? level_of(literal.variable())
                                    : std::numeric_limits<int>::max();
  };
  for (const std::vector<ClauseRef>* list : {&given_, &learnts_}) {
    for (const ClauseRef ref : *list) {
      const ConstClause clause = clauses_[ref];
      assert(clause.is_learnt() == (list == &learnts_));
      int true_since = std::numeric_limits<int>::max();
      for (int i = 0; i < clause.size(); ++i) {
        true_since = std::min(true_since, level_if(clause[i], Value::kTrue));
      }
      assert(true_since <= level_if(clause[0], Value::kFalse));
      assert(true_since <= level_if(clause[1], Value::kFalse));
    }
  }
#endif
}

}  // namespace vorn::solver
