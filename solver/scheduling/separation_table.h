// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_SEPARATION_TABLE_H
#define VORN_SOLVER_SCHEDULING_SEPARATION_TABLE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "solver/scheduling/separation.h"
#include "solver/search/literal.h"

namespace vorn::solver {

/// Separations, as clauses say them ("Sets of tasks" in docs/solving.md): in
/// one clause with both orders of two tasks, or in two with one order each that
/// resolve on a literal. An order may also stand behind a literal that implies
/// it, its name.
///
/// What was read once stays, since a search drops clauses that it needs no
/// more, until its variables go.
/// Ownership: all its own. Threads: none.
class SeparationTable {
 public:
  /// What a clause looks like to whoever knows what its literals mean.
  struct Clause {
    /// Orders of two tasks, each true if one comes first, by so much.
    std::vector<std::pair<Literal, Precedence>> orders;
    /// Literals that are true as long as the clause is wanted; the clause has
    /// their negations.
    std::vector<Literal> conditions;
    /// All else, without what is false for good.
    std::vector<Literal> others;
    /// What it follows from, see Separation::premises.
    std::vector<ClauseNumber> premises = {};
  };

  /// Takes what the clause says, alone or with one that was added before. There
  /// may be two other literals, in both together; they are taken for the
  /// absence of one of the tasks (see match_presences). Cost: logarithmic.
  void add(const Clause& clause);
  /// Whether names are known, so that add_named may find something.
  bool has_names() const { return !names_.empty(); }
  /// Takes what the clause says with orders in place of their names, of which
  /// those count that were added before.
  void add_named(const Clause& clause);
  /// Forgets what mentions a variable that is no longer there. Cost: linear in
  /// all, unless nothing does.
  void shrink_variables(int num_variables);
  /// Takes over new numbers of the nodes, by their old ones.
  void renumber(const std::vector<int>& nodes);

  /// How many there are.
  std::size_t size() const { return separations_.size(); }
  /// How often there were others than before.
  std::uint64_t num_changes() const { return num_changes_; }
  /// All of them, in an order that does not depend on that of additions.
  std::vector<Separation> separations() const;

 private:
  /// Both orders, and the others, sorted.
  using Key = std::pair<std::pair<Literal, Literal>, std::vector<Literal>>;

  void note_variables(const Clause& clause);
  void add_separation(const std::pair<Literal, Precedence>& a,
                      const std::pair<Literal, Precedence>& b,
                      std::vector<Literal> conditions,
                      std::vector<Literal> others,
                      std::vector<ClauseNumber> premises);

  std::map<Key, Separation> separations_;
  /// Clauses with one order, by one of their other literals and both tasks, the
  /// lower node first.
  std::map<std::pair<Literal, std::pair<int, int>>, std::vector<Clause>>
      halves_;
  /// Of these clauses, some that say that a literal implies an order.
  std::map<Literal, Clause> names_;
  /// No variable is greater.
  int last_variable_ = -1;
  std::uint64_t num_changes_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_SEPARATION_TABLE_H
