// SPDX-License-Identifier: MIT
#include "solver/search/phases.h"

#include <algorithm>
#include <cassert>

namespace vorn::solver {

void Phases::new_variable(bool first) {
  const Value value = first ? Value::kTrue : Value::kFalse;
  first_.push_back(value);
  saved_.push_back(value);
  target_.push_back(Value::kUnassigned);
}

void Phases::shrink(int count) {
  assert(to_index(count) <= first_.size());
  first_.resize(to_index(count));
  saved_.resize(to_index(count));
  target_.resize(to_index(count));
  best_size_ = 0;
}

void Phases::set(int variable, bool value) {
  const Value phase = value ? Value::kTrue : Value::kFalse;
  first_[to_index(variable)] = phase;
  saved_[to_index(variable)] = phase;
  target_[to_index(variable)] = Value::kUnassigned;
}

void Phases::do_record_assignment(const std::vector<Literal>& trail,
                                  std::size_t size) {
  assert(size <= trail.size());
  best_size_ = size;
  for (std::size_t i = 0; i < size; ++i) {
    target_[to_index(trail[i].variable())] = to_phase(trail[i]);
  }
}

void Phases::rephase(Random& random) {
  switch (num_rephases_++ % 4) {
    case 1:
      saved_ = first_;
      break;
    case 3:
      for (Value& phase : saved_) {
        phase = (random.next() & 1) != 0 ? Value::kTrue : Value::kFalse;
      }
      break;
    default:
      for (std::size_t i = 0; i < saved_.size(); ++i) {
        if (target_[i] != Value::kUnassigned) saved_[i] = target_[i];
      }
      break;
  }
  std::fill(target_.begin(), target_.end(), Value::kUnassigned);
  best_size_ = 0;
}

}  // namespace vorn::solver
