// SPDX-License-Identifier: MIT
#include "solver/search/phases.h"

#include <algorithm>
#include <cassert>

namespace vorn::solver {

void Phases::new_variable() {
  saved_.push_back(Value::kFalse);
  target_.push_back(Value::kUnassigned);
}

void Phases::shrink(int count) {
  assert(to_index(count) <= saved_.size());
  saved_.resize(to_index(count));
  target_.resize(to_index(count));
  best_size_ = 0;
}

void Phases::do_record_assignment(const std::vector<Literal>& trail,
                                  std::size_t num_fixed, std::size_t size) {
  assert(num_fixed <= size && size <= trail.size());
  best_size_ = size;
  for (std::size_t i = num_fixed; i < size; ++i) {
    target_[to_index(trail[i].variable())] = to_phase(trail[i]);
  }
}

void Phases::rephase(Random& random) {
  switch (num_rephases_++ % 4) {
    case 1:
      std::fill(saved_.begin(), saved_.end(), Value::kFalse);
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
  drop_target();
}

void Phases::replace(const std::vector<char>& phases) {
  assert(phases.size() == saved_.size());
  for (std::size_t i = 0; i < saved_.size(); ++i) {
    saved_[i] = phases[i] != 0 ? Value::kTrue : Value::kFalse;
  }
  drop_target();
}

std::vector<char> Phases::saved() const {
  std::vector<char> result(saved_.size());
  for (std::size_t i = 0; i < saved_.size(); ++i) {
    result[i] = saved_[i] == Value::kTrue ? 1 : 0;
  }
  return result;
}

void Phases::drop_target() {
  std::fill(target_.begin(), target_.end(), Value::kUnassigned);
  best_size_ = 0;
}

}  // namespace vorn::solver
