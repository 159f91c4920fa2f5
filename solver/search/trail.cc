// SPDX-License-Identifier: MIT
// The assignment: opening levels and taking them back.
#include <algorithm>
#include <cassert>

#include "solver/search/search.h"

namespace vorn::solver {

void Search::open_level() {
  level_starts_.push_back(trail_.size());
  if (level_stamps_.size() <= level_starts_.size()) level_stamps_.push_back(0);
  if (theory_ != nullptr) theory_->new_level();
}

void Search::backtrack(int level) {
  assert(level >= 0);
  if (level >= this->level()) return;
  const auto target = static_cast<std::size_t>(level);
  const std::size_t start = level_starts_[target];
  for (std::size_t i = trail_.size(); i-- > start;) {
    const Literal literal = trail_[i];
    values_[literal.index()] = Value::kUnassigned;
    values_[(~literal).index()] = Value::kUnassigned;
    phases_.save(literal);
    const int variable = literal.variable();
    if (!heap_.contains(variable)) heap_.insert(variable);
  }
  trail_.resize(start);
  level_starts_.resize(target);
  clause_head_ = std::min(clause_head_, start);
  theory_head_ = std::min(theory_head_, start);
  num_saved_ = std::min(num_saved_, start);
  if (!checkpoints_.empty()) {
    std::size_t& num_lasting = checkpoints_.back().num_lasting;
    num_lasting = std::min(num_lasting, start);
  }
  if (theory_ != nullptr) theory_->backtrack(level);
}

}  // namespace vorn::solver
