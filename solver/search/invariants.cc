// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>

#include "solver/search/search.h"

namespace vorn::solver {

void Search::check_invariants() const {
#ifndef NDEBUG
  assert(level() == 0);
  heap_.check_invariants();

  // (1), (2).
  std::size_t assigned = 0;
  for (int variable = 0; variable < num_variables(); ++variable) {
    const Literal literal(variable, false);
    const auto number = static_cast<int>(value(literal));
    assert(static_cast<int>(value(~literal)) == -number);
    if (number != 0) ++assigned;
    assert(marks_[static_cast<std::size_t>(variable)] == Mark::kNone);
    // (4).
    assert(!is_open(variable) || heap_.contains(variable));
  }
  assert(assigned == trail_.size());
  for (const Literal literal : trail_) {
    assert(is_true_at_level_0(literal));
    assert(variable_at(literal.variable()).reason == kNoReason);
  }
  assert(clause_head_ <= trail_.size() && theory_head_ <= trail_.size());

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

  // (6), at level 0, the only one there is now.
  if (!consistent_ || clause_head_ < trail_.size()) return;
  for (const std::vector<ClauseRef>* list : {&given_, &learnts_}) {
    for (const ClauseRef ref : *list) {
      const ConstClause clause = clauses_[ref];
      assert(clause.is_learnt() == (list == &learnts_));
      bool is_true = false;
      for (int i = 0; i < clause.size(); ++i) {
        is_true = is_true || value(clause[i]) == Value::kTrue;
      }
      assert(is_true || (value(clause[0]) != Value::kFalse &&
                         value(clause[1]) != Value::kFalse));
    }
  }
#endif
}

}  // namespace vorn::solver
