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

void Search::shrink_variables(int count) {
  assert(level() == 0);
  assert(count >= 0);
  if (count >= num_variables()) return;
  const auto is_kept = [count](Literal literal) {
    return literal.variable() < count;
  };
  for (const std::vector<ClauseRef>* list : {&given_, &learnts_}) {
    for (const ClauseRef ref : *list) {
      const Clause clause = clauses_[ref];
      for (int i = 0; i < clause.size(); ++i) {
        if (is_kept(clause[i])) continue;
        remove_clause(ref);
        break;
      }
    }
  }
  const auto num_literals = 2 * static_cast<std::size_t>(count);
  watches_.resize(num_literals);
  drop_deleted();

  // Propagated literals stay ahead of the others.
  const auto begin = trail_.begin();
  const auto head = begin + static_cast<std::ptrdiff_t>(clause_head_);
  clause_head_ = static_cast<std::size_t>(std::count_if(begin, head, is_kept));
  trail_.erase(std::remove_if(begin, trail_.end(),
                              [&](Literal l) { return !is_kept(l); }),
               trail_.end());
  simplified_literals_ = std::min(simplified_literals_, trail_.size());
  num_noted_units_ = trail_.size();
  gate_.shrink_variables(count);
  theory_head_ = 0;
  if (theory_ != nullptr) theory_->backtrack(-1);

  values_.resize(num_literals);
  variables_.resize(static_cast<std::size_t>(count));
  marks_.resize(static_cast<std::size_t>(count));
  heap_.shrink(count);
  phases_.shrink(count);
}

}  // namespace vorn::solver
