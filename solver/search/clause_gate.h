// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_CLAUSE_GATE_H
#define VORN_SOLVER_SEARCH_CLAUSE_GATE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "solver/search/clause_origin.h"
#include "solver/search/literal.h"

namespace vorn::solver {

/// Identifies a clause among all that a search has ever had: 1, 2, 3, ...;
/// 0 while nobody listens.
using ClauseNumber = std::uint32_t;

/// Hears of each clause that a search comes to know, and why.
///
/// Calls must not change the search. Vectors are the search's.
class ClauseListener {
 public:
  virtual ~ClauseListener() = default;

  /// A clause that does not follow from others. Clauses of a theory may leave
  /// out literals that are false at level 0 if they say kMachine.
  virtual void added(ClauseNumber number, const std::vector<Literal>& clause,
                     ClauseOrigin origin) = 0;
  /// A clause that follows from earlier ones by unit propagation: when all its
  /// literals are false, each premise in turn has one literal left, and the
  /// last has none. The empty clause says that there is no model; a clause of
  /// negated assumptions, that they have none in common.
  virtual void derived(ClauseNumber number, const std::vector<Literal>& clause,
                       const std::vector<ClauseNumber>& premises) = 0;
  /// A clause that is used no more. Reasons that a theory gave, and clauses of
  /// one literal, are not reported.
  virtual void forgotten(ClauseNumber number) = 0;
  /// The variables from this one on are gone; others may get their numbers.
  virtual void shrunk(int num_variables) = 0;
};

/// Where clauses enter a search: numbers them and tells the listener, if there
/// is one.
class ClauseGate {
 public:
  /// Requires: no clause has come yet.
  void set_listener(ClauseListener* listener) { listener_ = listener; }
  /// Whether there is a listener. If not, all calls below do nothing.
  bool is_watched() const { return listener_ != nullptr; }

  /// A clause that holds by itself.
  ClauseNumber add(const std::vector<Literal>& clause, ClauseOrigin origin) {
    if (!is_watched()) return 0;
    listener_->added(++last_, clause, origin);
    return last_;
  }
  /// A clause that follows from others; see ClauseListener::derived.
  ClauseNumber derive(const std::vector<Literal>& clause,
                      const std::vector<ClauseNumber>& premises) {
    if (!is_watched()) return 0;
    listener_->derived(++last_, clause, premises);
    return last_;
  }
  /// A clause goes.
  void forget(ClauseNumber number) {
    if (is_watched()) listener_->forgotten(number);
  }

  /// Notes the clause that says all there is to know of a level-0 variable.
  void set_unit(int variable, ClauseNumber number) {
    if (!is_watched()) return;
    const auto position = static_cast<std::size_t>(variable);
    if (position >= units_.size()) units_.resize(position + 1, 0);
    units_[position] = number;
  }
  /// That clause; 0 if none was noted.
  ClauseNumber unit(int variable) const {
    const auto position = static_cast<std::size_t>(variable);
    return position < units_.size() ? units_[position] : 0;
  }
  /// Forgets what was noted of variables from `count` on.
  void shrink_variables(int count) {
    if (is_watched()) listener_->shrunk(count);
    if (units_.size() > static_cast<std::size_t>(count)) {
      units_.resize(static_cast<std::size_t>(count));
    }
  }

 private:
  ClauseListener* listener_ = nullptr;  // borrowed
  ClauseNumber last_ = 0;
  std::vector<ClauseNumber> units_;  // by variable
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_CLAUSE_GATE_H
