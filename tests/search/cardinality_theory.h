// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_SEARCH_CARDINALITY_THEORY_H
#define VORN_TESTS_SEARCH_CARDINALITY_THEORY_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "solver/search/search.h"
#include "tests/search/fake_theory.h"
#include "tests/search/oracle.h"

namespace vorn::solver::testing {

using Literals = std::vector<Literal>;

/// At most `limit` of the literals are true.
struct Group {
  Literals literals;
  int limit;
};

/// The clauses of a group: of any limit + 1 literals one is false.
inline Clauses clauses_of(const Group& group) {
  Clauses result;
  const auto count = group.literals.size();
  for (unsigned bits = 0; bits < 1U << count; ++bits) {
    Literals clause;
    for (std::size_t i = 0; i < count; ++i) {
      if ((bits >> i & 1U) != 0) clause.push_back(~group.literals[i]);
    }
    if (static_cast<int>(clause.size()) == group.limit + 1) {
      result.push_back(clause);
    }
  }
  return result;
}

/// Cardinality constraints as a theory.
class CardinalityTheory {
 public:
  /// `laziness` is the chance that propagate looks the other way.
  CardinalityTheory(std::uint64_t seed, double laziness, double talkativeness,
                    const SearchOptions& options)
      : search_(&theory_, options),
        random_(seed),
        laziness_(laziness),
        talkativeness_(talkativeness) {
    theory_.attach(&search_);
    theory_.on_propagate = [this](Literals& implied, Literals& conflict) {
      return propagate(implied, conflict);
    };
    theory_.on_explain = [this](Literal literal, Literals& reason) {
      explain(literal, reason);
    };
    theory_.on_final_check = [this](Literals& conflict) {
      return check(conflict);
    };
    theory_.on_next_lemma = [this](Literals& clause) {
      return next_lemma(clause);
    };
    theory_.on_improve_phases = [this](std::vector<char>& phases) {
      for (char& phase : phases) phase = is_chance(0.5) ? 1 : 0;
    };
  }

  Search& search() { return search_; }

  int new_variable() {
    const int variable = search_.new_variable(true);
    theory_.watch_variable(variable);
    return variable;
  }
  void add_group(const Group& group) { groups_.push_back(group); }
  const std::vector<Group>& groups() const { return groups_; }
  const FakeTheory& follower() const { return theory_; }
  /// Lemmas make no variables beyond so many in all.
  void set_most_variables(int number) { most_variables_ = number; }
  /// The theory's meaning in clauses, new variables of lemmas included.
  Clauses clauses() const {
    Clauses result;
    for (const Group& group : groups_) {
      const Clauses more = clauses_of(group);
      result.insert(result.end(), more.begin(), more.end());
    }
    return result;
  }
  void shrink(int count) {
    search_.shrink_variables(count);
    theory_.forget_variables(count);
    groups_.erase(std::remove_if(groups_.begin(), groups_.end(),
                                 [count](const Group& group) {
                                   return std::any_of(
                                       group.literals.begin(),
                                       group.literals.end(),
                                       [count](Literal literal) {
                                         return literal.variable() >= count;
                                       });
                                 }),
                  groups_.end());
  }

 private:
  bool is_true(Literal literal) const {
    return search_.value(literal) == Value::kTrue;
  }
  bool is_chance(double chance) { return random_.fraction() < chance; }

  Literals true_of(const Group& group) const {
    Literals result;
    for (const Literal literal : group.literals) {
      if (is_true(literal)) result.push_back(literal);
    }
    return result;
  }

  bool check(Literals& conflict) {
    for (const Group& group : groups_) {
      const Literals all = true_of(group);
      if (static_cast<int>(all.size()) <= group.limit) continue;
      for (int i = 0; i <= group.limit; ++i) {
        conflict.push_back(~all[static_cast<std::size_t>(i)]);
        if (is_chance(0.2)) conflict.push_back(conflict.front());
      }
      pending_lemmas_ = is_chance(talkativeness_) ? 1 + random_.below(4) : 0;
      return false;
    }
    return true;
  }

  bool propagate(Literals& implied, Literals& conflict) {
    if (is_chance(laziness_)) return true;
    if (!check(conflict)) return false;
    if (is_chance(laziness_)) return true;
    for (const Group& group : groups_) {
      if (static_cast<int>(true_of(group).size()) < group.limit) continue;
      for (const Literal literal : group.literals) {
        if (search_.value(literal) != Value::kUnassigned) continue;
        if (is_chance(0.8)) implied.push_back(~literal);
      }
    }
    return true;
  }

  /// Looks only now for a group that implied the literal, among what had been
  /// told when it was reported.
  void explain(Literal literal, Literals& reason) {
    const Literals& told = theory_.told();
    const std::size_t before =
        std::min(told.size(), theory_.told_before(literal));
    for (const Group& group : groups_) {
      if (std::count(group.literals.begin(), group.literals.end(), ~literal) ==
          0) {
        continue;
      }
      reason.assign(1, literal);
      for (std::size_t i = 0; i < before; ++i) {
        if (static_cast<int>(reason.size()) == group.limit + 1) break;
        if (std::count(group.literals.begin(), group.literals.end(), told[i]) >
            0) {
          reason.push_back(~told[i]);
        }
      }
      if (static_cast<int>(reason.size()) == group.limit + 1) return;
    }
    ADD_FAILURE() << "cannot explain";
  }

  bool next_lemma(Literals& clause) {
    if (pending_lemmas_ == 0 || groups_.empty()) return false;
    --pending_lemmas_;
    if (is_chance(0.3) && search_.num_variables() < most_variables_) {
      // A new variable that some literal implies.
      const Literal literal(random_.below(search_.num_variables()), false);
      const bool is_known =
          std::any_of(groups_.begin(), groups_.end(), [&](const Group& group) {
            return std::count(group.literals.begin(), group.literals.end(),
                              literal) > 0;
          });
      if (is_known) {
        const Literal fresh(new_variable(), is_chance(0.5));
        groups_.push_back({{literal, ~fresh}, 1});
        clause = {~literal, fresh};
        return true;
      }
    }
    const Clauses all = clauses_of(groups_[static_cast<std::size_t>(
        random_.below(static_cast<int>(groups_.size())))]);
    if (all.empty()) return next_lemma(clause);
    clause = all[static_cast<std::size_t>(
        random_.below(static_cast<int>(all.size())))];
    // The weaker clause is still true: sometimes a tautology.
    if (is_chance(0.2)) clause.push_back(clause.front());
    if (is_chance(0.2)) {
      clause.emplace_back(random_.below(search_.num_variables()),
                          is_chance(0.5));
    }
    return true;
  }

  FakeTheory theory_;
  Search search_;
  Random random_;
  double laziness_;
  double talkativeness_;
  std::vector<Group> groups_;
  int pending_lemmas_ = 0;
  int most_variables_ = 60;
};

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_SEARCH_CARDINALITY_THEORY_H
