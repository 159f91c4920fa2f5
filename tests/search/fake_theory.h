// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_SEARCH_FAKE_THEORY_H
#define VORN_TESTS_SEARCH_FAKE_THEORY_H

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "solver/search/search.h"
#include "solver/search/theory.h"

namespace vorn::solver::testing {

/// A theory that follows the search and checks every promise that the search
/// makes to theories. What it answers is up to the functions that a test
/// installs; without them it agrees to everything.
class FakeTheory : public Theory {
 public:
  void attach(const Search* search) { search_ = search; }

  /// Registers a variable made with new_variable(true).
  void watch_variable(int variable) { variables_.push_back(variable); }
  /// To be called with Search::shrink_variables.
  void forget_variables(int count) {
    for (const Literal literal : told_) EXPECT_LT(literal.variable(), count);
    variables_.erase(
        std::remove_if(variables_.begin(), variables_.end(),
                       [count](int variable) { return variable >= count; }),
        variables_.end());
  }

  const std::vector<Literal>& told() const { return told_; }
  bool is_told(Literal literal) const {
    return std::count(told_.begin(), told_.end(), literal) > 0;
  }
  int level() const { return static_cast<int>(starts_.size()); }
  int num_full_resets() const { return num_full_resets_; }
  int num_retracted() const { return num_retracted_; }

  /// How many literals had been told when `literal` was reported as implied.
  std::size_t told_before(Literal literal) const {
    return reported_.at(literal);
  }

  std::function<bool(std::vector<Literal>&, std::vector<Literal>&)>
      on_propagate;
  std::function<void(Literal, std::vector<Literal>&)> on_explain;
  std::function<bool(std::vector<Literal>&)> on_final_check;
  std::function<bool(std::vector<Literal>&)> on_next_lemma;

  std::function<void(std::vector<char>&)> on_improve_phases;

  std::map<int, bool> advice;

  std::optional<bool> advise(int variable) const override {
    EXPECT_EQ(search_->value(Literal(variable, false)), Value::kUnassigned);
    const auto found = advice.find(variable);
    if (found == advice.end()) return {};
    return found->second;
  }

  bool wants_phases() const override {
    return static_cast<bool>(on_improve_phases);
  }
  void improve_phases(std::vector<char>& phases) override {
    EXPECT_EQ(level(), search_->level());
    EXPECT_EQ(phases.size(),
              static_cast<std::size_t>(search_->num_variables()));
    on_improve_phases(phases);
  }

  void assigned(Literal literal) override {
    EXPECT_EQ(level(), search_->level());
    EXPECT_EQ(search_->value(literal), Value::kTrue);
    EXPECT_EQ(search_->level_of(literal.variable()), level());
    EXPECT_TRUE(is_registered(literal)) << "not a theory variable";
    EXPECT_FALSE(is_told(literal)) << "told twice";
    told_.push_back(literal);
  }

  void new_level() override {
    expect_all_told();
    starts_.push_back(told_.size());
    EXPECT_EQ(level(), search_->level());
  }

  void backtrack(int to) override {
    EXPECT_GE(to, -1);
    if (to < 0) {
      told_.clear();
      starts_.clear();
      reported_.clear();
      ++num_full_resets_;
      return;
    }
    ASSERT_LT(to, level()) << "nothing to take back";
    told_.resize(starts_[static_cast<std::size_t>(to)]);
    starts_.resize(static_cast<std::size_t>(to));
    for (auto entry = reported_.begin(); entry != reported_.end();) {
      // Reported after `to` was left: the search has taken it back.
      entry = entry->second > told_.size() || !is_assigned(entry->first)
                  ? reported_.erase(entry)
                  : std::next(entry);
    }
  }

  void retract(Literal literal) override {
    EXPECT_EQ(level(), 0);
    EXPECT_FALSE(told_.empty());
    if (told_.empty()) return;
    EXPECT_EQ(told_.back(), literal);
    told_.pop_back();
    reported_.erase(literal);
    ++num_retracted_;
  }

  bool propagate(std::vector<Literal>& implied,
                 std::vector<Literal>& conflict) override {
    EXPECT_TRUE(implied.empty());
    EXPECT_TRUE(conflict.empty());
    EXPECT_EQ(level(), search_->level());
    expect_all_told();
    if (!on_propagate) return true;
    const bool result = on_propagate(implied, conflict);
    if (result) {
      for (const Literal literal : implied) {
        EXPECT_EQ(search_->value(literal), Value::kUnassigned);
        reported_[literal] = told_.size();
      }
    } else {
      expect_false(conflict);
    }
    return result;
  }

  void explain(Literal literal, std::vector<Literal>& reason) override {
    EXPECT_TRUE(reason.empty());
    ASSERT_EQ(reported_.count(literal), 1U) << "never reported";
    EXPECT_NE(search_->level_of(literal.variable()), 0);
    on_explain(literal, reason);
  }

  bool final_check(std::vector<Literal>& conflict) override {
    EXPECT_TRUE(conflict.empty());
    expect_all_told();
    for (const int variable : variables_) {
      EXPECT_NE(search_->value(Literal(variable, false)), Value::kUnassigned);
    }
    if (!on_final_check) return true;
    const bool result = on_final_check(conflict);
    if (!result) expect_false(conflict);
    return result;
  }

  bool next_lemma(std::vector<Literal>& clause) override {
    EXPECT_TRUE(clause.empty());
    EXPECT_EQ(level(), search_->level());
    return on_next_lemma && on_next_lemma(clause);
  }

 private:
  bool is_registered(Literal literal) const {
    return std::count(variables_.begin(), variables_.end(),
                      literal.variable()) > 0;
  }
  bool is_assigned(Literal literal) const {
    return search_->value(literal) != Value::kUnassigned;
  }
  void expect_false(const std::vector<Literal>& clause) const {
    for (const Literal literal : clause) {
      EXPECT_EQ(search_->value(literal), Value::kFalse) << "test's own mistake";
    }
  }
  /// Exactly the assigned theory literals have been told, level by level.
  void expect_all_told() const {
    std::size_t assigned = 0;
    for (const int variable : variables_) {
      const Literal literal(variable, false);
      if (is_assigned(literal)) ++assigned;
    }
    EXPECT_EQ(assigned, told_.size());
    int previous = 0;
    for (const Literal literal : told_) {
      EXPECT_EQ(search_->value(literal), Value::kTrue);
      const int now = search_->level_of(literal.variable());
      EXPECT_GE(now, previous);
      previous = now;
    }
  }

  const Search* search_ = nullptr;
  std::vector<int> variables_;
  std::vector<Literal> told_;
  std::vector<std::size_t> starts_;  // size of told_ when level i + 1 opened
  std::map<Literal, std::size_t> reported_;
  int num_full_resets_ = 0;
  int num_retracted_ = 0;
};

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_SEARCH_FAKE_THEORY_H
