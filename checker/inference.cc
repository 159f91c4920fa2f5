// SPDX-License-Identifier: MIT
#include "checker/inference.h"

#include <string_view>
#include <unordered_map>

namespace vorn::checker {

Verdict check_inference(const std::string& rule, Inference& inference) {
  static const auto kByName = [] {
    std::unordered_map<std::string_view, const Rule*> rules;
    for (const auto* list : {&kClauseRules, &kEqualityRules}) {
      for (const Rule& entry : *list) rules.emplace(entry.name, &entry);
    }
    return rules;
  }();
  const auto found = kByName.find(rule);
  if (found == kByName.end()) {
    return check_scheme(rule, inference).value_or("there is no such rule");
  }
  const auto fits = [](int wanted, std::size_t count) {
    return wanted < 0 || static_cast<std::size_t>(wanted) == count;
  };
  const Rule& known = *found->second;
  if (!fits(known.num_premises, inference.premises.size())) {
    return kWrongPremiseCount;
  }
  if (!fits(known.num_arguments, inference.arguments.size())) {
    return kWrongArgumentCount;
  }
  return known.check(inference);
}

}  // namespace vorn::checker
