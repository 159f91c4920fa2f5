// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_SMALL_DOMAINS_H
#define VORN_SOLVER_ENGINE_SMALL_DOMAINS_H

#include <cstddef>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "solver/engine/problem.h"
#include "solver/search/literal.h"
#include "solver/search/search.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// Ties bounds between integer variables that have few values to atoms for
/// those values.
///
/// Small domains are integer variables that the assertions confine to a few
/// values above a common node; docs/solving.md says what they bring. Each gets
/// an atom for each of its values ("x is at most v"), and each bound between
/// two of them is tied to those atoms by clauses, as in an order encoding
/// (Crawford and Baker, "Experimental Results on the Application of
/// Satisfiability Algorithms to Scheduling Problems", 1994): with base z and D
/// = (t - s <= c),
///   t - z <= a and s - z >= a - c  imply D, and
///   D and s - z <= a               imply t - z <= a + c.
/// Then one comparison propagates to all others without the graph.
///
/// Ownership: borrows the problem. Threads: none.
class SmallDomains {
 public:
  /// Adds atoms and clauses to `problem`.
  explicit SmallDomains(Problem& problem) : problem_(problem) {}

  /// Adds the clauses for the domains that level 0 of the search gives and that
  /// are not tied yet. Requires: no solve is under way. Cost: linear in the
  /// literals that the search has not settled and in new atoms, unless there is
  /// something to tie; then in all atoms.
  void split(const Search& search);
  /// How many atoms there are, to go back to with rollback.
  std::size_t mark() const { return problem_.atoms().atoms().size(); }
  /// Forgets the ties of atoms from `mark` on.
  void rollback(std::size_t mark);
  /// Takes over the numbers that AtomTable::renumber gave to the nodes.
  void renumber(const std::vector<int>& nodes);

 private:
  /// The values low, low + 1, ..., high.
  struct Domain {
    QNumber low;
    QNumber high;
  };

  bool may_tie(const Search& search) const;
  bool confines(const Search& search, const AtomTable::Pair& pair) const;
  std::optional<la::DNumber> fact_of(const Search& search, int position) const;
  std::optional<Domain> domain_of(const Search& search,
                                  const AtomTable::Pair& pair) const;
  Literal at_most(int base, int node, const Domain& domain,
                  const QNumber& value);
  std::size_t tie(std::size_t atom, int base, const Domain& source_domain,
                  const Domain& target_domain);

  Problem& problem_;
  /// By atom and base: the newest atom in the clauses that tie the atom to the
  /// values above the base.
  std::map<std::pair<std::size_t, int>, std::size_t> tied_;
  /// The newest of all.
  std::size_t newest_ = 0;
  /// Nodes that had a domain when all atoms were looked at last, by node, and
  /// how many atoms have been looked at. Some may have none any more.
  std::vector<char> has_domain_;
  std::size_t num_seen_ = 0;
  /// Likewise facts that no scope has stated.
  std::size_t num_facts_seen_ = 0;
  /// A tie is gone whose atom is not.
  bool lacks_tie_ = false;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_SMALL_DOMAINS_H
