// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_CLAUSE_ORIGIN_H
#define VORN_SOLVER_SEARCH_CLAUSE_ORIGIN_H

#include <cstdint>
#include <string_view>

namespace vorn::solver {

/// Why a clause that was not derived from others holds.
enum class ClauseKind : std::uint8_t {
  /// Asserted. Detail: the assertion's position.
  kAsserted,
  // What a subterm's literal means. Detail: the subterm's id.
  kConstant,   // true holds
  kArgument,   // a conjunction or disjunction against one argument
  kArguments,  // the same against all of them
  kXor,        // also of equivalences, which are negations
  kIte,        // with its condition
  kBranches,   // what both branches of an ite say
  kNamedIte,   // an arithmetic ite that stands for a variable
  // Arithmetic: the negations of the literals are bounds that add up to
  // 0 < 0, or to 0 <= -1.
  kNeighbours,   // of two bounds on one pair; detail: the constraint of the
                 // one that is a fact, with its guard in the clause, or 0
  kSmallDomain,  // a difference against values of its ends
  kCycle,        // a conflict of the graph
  kPath,         // a bound that others imply
  kLemma,        // learnt from successive conflicts
  /// Bounds that leave no integers: sums that end at integers are rounded
  /// before they are added up.
  kRounding,
  /// From reasoning about sets of tasks.
  kMachine,
  /// Learnt by another search over the same problem.
  kShared,
};

/// The names of the kinds, in their order.
constexpr std::string_view kClauseKindNames[] = {
    "asserted", "constant",  "argument",   "arguments",    "xor",   "ite",
    "branches", "named ite", "neighbours", "small domain", "cycle", "path",
    "lemma",    "rounding",  "machine",    "shared"};

/// The kind's name.
constexpr std::string_view name_of(ClauseKind kind) {
  return kClauseKindNames[static_cast<int>(kind)];
}

/// A kind, and what of it.
struct ClauseOrigin {
  /// Which of the rules makes the clause hold.
  ClauseKind kind = ClauseKind::kAsserted;
  /// See ClauseKind; 0 where nothing is said there.
  std::uint32_t detail = 0;
};

/// Whether the detail is the id of a term.
constexpr bool is_definition(ClauseKind kind) {
  return kind > ClauseKind::kConstant && kind <= ClauseKind::kNamedIte;
}

/// Whether the clause is a sum of bounds.
constexpr bool is_arithmetic(ClauseKind kind) {
  return kind >= ClauseKind::kNeighbours && kind <= ClauseKind::kLemma;
}

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_CLAUSE_ORIGIN_H
