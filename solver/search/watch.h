// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_WATCH_H
#define VORN_SOLVER_SEARCH_WATCH_H

#include <cstdint>

#include "solver/search/clause_database.h"
#include "solver/search/literal.h"

namespace vorn::solver {

/// An entry of a literal's watch list: a clause to visit when the literal
/// becomes false, with another literal of the clause (the blocker). If the
/// blocker is true the clause need not be looked at. In a binary clause the
/// blocker is the other literal, so such a clause is never looked at.
class Watch {
 public:
  /// Watches `clause`, which has two literals if `binary`.
  Watch(ClauseRef clause, Literal blocker, bool binary)
      : clause_(clause),
        tagged_blocker_(static_cast<std::uint32_t>(blocker.code()) << 1 |
                        static_cast<std::uint32_t>(binary)) {}

  /// The clause to visit.
  ClauseRef clause() const { return clause_; }
  /// Follows the clause to where a collection has moved it.
  void set_clause(ClauseRef clause) { clause_ = clause; }
  /// Another literal of the clause.
  Literal blocker() const {
    return Literal::from_code(static_cast<int>(tagged_blocker_ >> 1));
  }
  /// Whether the clause has two literals.
  bool is_binary() const { return (tagged_blocker_ & 1) != 0; }

 private:
  ClauseRef clause_;
  std::uint32_t tagged_blocker_;  // 2 * blocker's code + is binary
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_WATCH_H
