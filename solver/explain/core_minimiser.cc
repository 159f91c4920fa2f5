// SPDX-License-Identifier: MIT
#include "solver/explain/core_minimiser.h"

#include <cstddef>
#include <numeric>
#include <utility>

namespace vorn::solver {

CoreMinimiser::CoreMinimiser(Engine& engine,
                             const std::vector<const Term*>& formulas,
                             const std::vector<const Term*>& given)
    : engine_(engine),
      formulas_(formulas),
      given_(given),
      core_(formulas.size()) {
  std::iota(core_.begin(), core_.end(), std::size_t{0});
}

Answer CoreMinimiser::narrow() {
  const Answer answer = shrink_to(core_);
  if (answer != Answer::kUnsat) return answer;
  for (std::size_t before = 0; before != core_.size();) {
    before = core_.size();
    if (shrink_to(core_) != Answer::kUnsat) break;
  }
  return answer;
}

void CoreMinimiser::minimise() {
  // Without what stands before position `i` what is left, and so each part of
  // it, has a model.
  for (std::size_t i = 0; i < core_.size();) {
    std::vector<std::size_t> smaller = core_;
    smaller.erase(smaller.begin() + static_cast<std::ptrdiff_t>(i));
    const Answer answer = shrink_to(smaller);
    if (answer == Answer::kUnsat) continue;
    if (engine_.unknown_reason() == UnknownReason::kStopped) return;
    ++i;
  }
}

Answer CoreMinimiser::ask(const std::vector<std::size_t>& members) {
  std::vector<const Term*> terms;
  terms.reserve(members.size() + given_.size());
  for (const std::size_t k : members) terms.push_back(formulas_[k]);
  terms.insert(terms.end(), given_.begin(), given_.end());
  const Answer answer = engine_.check(terms);
  if (answer == Answer::kUnknown) gave_up_ = true;
  return answer;
}

// If these members have no model, those of them that the engine names are the
// core.
Answer CoreMinimiser::shrink_to(const std::vector<std::size_t>& members) {
  const Answer answer = ask(members);
  if (answer != Answer::kUnsat) return answer;
  std::vector<std::size_t> failed;
  for (const std::size_t i : engine_.failed_assumptions()) {
    if (i < members.size()) failed.push_back(members[i]);
  }
  core_ = std::move(failed);
  return answer;
}

}  // namespace vorn::solver
