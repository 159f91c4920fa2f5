// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_C_ACCOUNT_H
#define VORN_TESTS_C_ACCOUNT_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "tests/bruteforce/decision.h"
#include "tests/bruteforce/formula.h"
#include "tests/bruteforce/script_generator.h"

namespace vorn::test {

/// What a script has asserted and wants at some point of it, by meaning alone.
class Account {
 public:
  struct Assertion {
    bruteforce::Formula formula;
    std::string label;
  };

  /// Follows a step that is not a check.
  void run(const bruteforce::Step& step) {
    using Kind = bruteforce::Step::Kind;
    switch (step.kind) {
      case Kind::kAssert:
        assertions_.push_back({step.formula, step.label});
        break;
      case Kind::kPush:
        for (std::size_t k = 0; k < step.count; ++k) {
          levels_.push_back({assertions_.size(), wanted_.size()});
        }
        break;
      case Kind::kPop:
        for (std::size_t k = 0; k < step.count; ++k) {
          assertions_.resize(levels_.back().assertions);
          wanted_.resize(levels_.back().wanted);
          levels_.pop_back();
        }
        break;
      case Kind::kObjective:
        wanted_.push_back({step.objective.meaning, step.is_maximised,
                           step.weight, step.group});
        break;
      case Kind::kSilent:
      case Kind::kDeclare:
      case Kind::kCheck:
        break;
    }
  }

  const std::vector<Assertion>& assertions() const { return assertions_; }
  /// Whether there is any objective.
  bool has_objectives() const { return !wanted_.empty(); }

  /// What is asserted.
  std::vector<bruteforce::Formula> formulas() const {
    std::vector<bruteforce::Formula> all;
    for (const Assertion& one : assertions_) all.push_back(one.formula);
    return all;
  }

  /// What is wanted: a group is a sum of what its formulas cost.
  std::vector<bruteforce::Objective> objectives() const {
    using bruteforce::Op;
    using bruteforce::Sort;
    std::vector<bruteforce::Objective> objectives;
    std::map<std::string, std::size_t> groups;
    for (const Wanted& wanted : wanted_) {
      if (wanted.group.empty()) {
        objectives.push_back({wanted.meaning, wanted.is_maximised});
        continue;
      }
      const bruteforce::Formula cost = bruteforce::make(
          Op::kIte, Sort::kReal,
          {wanted.meaning, bruteforce::make_number(0, Sort::kReal),
           bruteforce::make_number(wanted.weight, Sort::kReal)});
      const auto [group, is_new] =
          groups.emplace(wanted.group, objectives.size());
      if (is_new) {
        objectives.push_back({cost, false});
      } else {
        bruteforce::Formula& sum = objectives[group->second].term;
        sum = bruteforce::make(Op::kPlus, Sort::kReal, {sum, cost});
      }
    }
    return objectives;
  }

 private:
  // An objective, or with a group a formula that is to hold.
  struct Wanted {
    bruteforce::Formula meaning;
    bool is_maximised;
    mpq_class weight;
    std::string group;
  };
  struct Level {
    std::size_t assertions;
    std::size_t wanted;
  };

  std::vector<Assertion> assertions_;
  std::vector<Wanted> wanted_;
  std::vector<Level> levels_;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_C_ACCOUNT_H
