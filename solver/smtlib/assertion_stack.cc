// SPDX-License-Identifier: MIT
#include "solver/smtlib/assertion_stack.h"

#include <string>
#include <unordered_map>
#include <utility>

#include "solver/explain/core_minimiser.h"

namespace vorn::solver {

void AssertionStack::add(ScriptFormula assertion) {
  optimiser_.reset();
  const bool assumed = assume_named_ && assertion.name != nullptr;
  assertions_.push_back(std::move(assertion));
  if (!assumed) engine_.assert_term(assertions_.back().term);
}

void AssertionStack::add_bound(ScriptFormula assertion, const LinearSum& sum,
                               bool is_strict) {
  optimiser_.reset();
  assertions_.push_back(std::move(assertion));
  engine_.assert_bound(assertions_.back().term, sum, is_strict);
}

void AssertionStack::keep_terms(TermSweep& sweep) const {
  for (const ScriptFormula& assertion : assertions_) sweep.keep(assertion.term);
  for (const ScriptObjective& objective : objectives_) {
    sweep.keep(objective.term);
  }
  sweep.keep(assumptions_);
  if (optimiser_) optimiser_->keep_terms(sweep);
}

void AssertionStack::push() {
  optimiser_.reset();
  scopes_.push();
  engine_.push();
}

void AssertionStack::pop() {
  optimiser_.reset();
  engine_.pop();
  scopes_.pop();
}

Answer AssertionStack::check(const std::vector<const Term*>& assumptions) {
  assumptions_ = assumptions;
  failed_assumptions_.clear();
  core_.clear();
  results_.clear();
  std::vector<std::size_t> named;
  for (std::size_t i = 0; assume_named_ && i < assertions_.size(); ++i) {
    if (assertions_[i].name != nullptr) named.push_back(i);
  }

  assumed_.clear();
  for (const std::size_t i : named) assumed_.push_back(assertions_[i].term);
  assumed_.insert(assumed_.end(), assumptions.begin(), assumptions.end());
  const std::vector<OptimiserGoal> goals = read_objectives();
  optimiser_ = std::make_unique<Optimiser>(store_, engine_, assumed_, goals);
  const Answer answer = goals.empty() ? engine_.check(assumed_) : optimise();
  if (answer != Answer::kUnsat) return answer;
  for (const std::size_t failed : engine_.failed_assumptions()) {
    if (failed < named.size()) {
      core_.push_back(named[failed]);
    } else {
      failed_assumptions_.push_back(failed - named.size());
    }
  }
  return answer;
}

std::vector<OptimiserGoal> AssertionStack::read_objectives() {
  std::vector<OptimiserGoal> goals;
  std::unordered_map<std::string, std::size_t> softs;
  for (std::size_t k = 0; k < objectives_.size(); ++k) {
    const ScriptObjective& objective = objectives_[k];
    const Term* term = objective.term;
    if (term->is_bool()) {
      const auto [goal, is_new] = softs.emplace(objective.name, goals.size());
      if (is_new) {
        goals.emplace_back();
        results_.push_back({objective.name, Sort::kInt, false, Interval(), {}});
      }
      goals[goal->second].softs.push_back({term, objective.weight});
      results_[goal->second].members.push_back(k);
      if (!objective.weight.is_integer()) {
        results_[goal->second].sort = Sort::kReal;
      }
      continue;
    }
    // The optimiser makes terms small: what is to be great is negated.
    goals.push_back(
        {objective.is_maximised ? store_.make_negate(term) : term, {}});
    results_.push_back(
        {objective.name, term->sort, objective.is_maximised, Interval(), {k}});
  }
  return goals;
}

Answer AssertionStack::optimise() {
  optimiser_->set_progress([this](std::size_t k) {
    ObjectiveResult& result = results_[k];
    result.interval = optimiser_->intervals()[k];
    if (result.is_maximised) result.interval = negate(result.interval);
    if (progress_) progress_(result);
  });
  return optimiser_->run();
}

std::pair<Interval, Interval> AssertionStack::find_bounds(const Term* term) {
  const Interval least = optimiser_->find_least(term);
  return {least, negate(optimiser_->find_least(store_.make_negate(term)))};
}

Answer AssertionStack::check_besides(const Term* formula) {
  engine_.keep_model();
  std::vector<const Term*> terms = assumed_;
  terms.push_back(formula);
  const Answer answer = engine_.check(terms);
  engine_.show_kept_model();
  return answer;
}

AssertionStack::CoreState AssertionStack::settle_core(bool minimize) {
  std::vector<const Term*> terms;
  for (const std::size_t i : core_) terms.push_back(assertions_[i].term);
  CoreMinimiser minimiser(engine_, terms, assumptions_);
  const Answer answer = minimiser.confirm();
  if (answer == Answer::kSat) return CoreState::kRefuted;
  if (answer == Answer::kUnsat && minimize) minimiser.minimise();
  std::vector<std::size_t> kept;
  for (const std::size_t k : minimiser.core()) kept.push_back(core_[k]);
  core_ = std::move(kept);
  return minimiser.gave_up() ? CoreState::kReported : CoreState::kConfirmed;
}

}  // namespace vorn::solver
