// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_CLAUSE_AUDITOR_H
#define VORN_SOLVER_ENGINE_CLAUSE_AUDITOR_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "solver/engine/problem.h"
#include "solver/search/clause_gate.h"

namespace vorn::solver {

/// Checks the clauses of a search as they come: arithmetic ones are sums below
/// zero, derived ones follow from their premises by unit propagation. Engines
/// of debug builds have one, and every wrong clause trips an assertion there.
///
/// Cost: linear in the clauses and their premises. Keeps up to kMostLiterals
/// literals; after that it looks only at derived clauses whose premises it has.
/// Ownership: borrows the problem. Threads: none.
class ClauseAuditor final : public ClauseListener {
 public:
  /// Literals that are kept, at most.
  static constexpr std::size_t kMostLiterals = 200'000;

  /// Looks up bounds in `problem`. `facts`: those that the clause of a theory
  /// rests on that comes next, borrowed; null if there never are any.
  explicit ClauseAuditor(const Problem& problem,
                         const std::vector<int>* facts = nullptr)
      : problem_(problem), facts_(facts) {}

  void added(ClauseNumber number, const std::vector<Literal>& clause,
             ClauseOrigin origin) override;
  void derived(ClauseNumber number, const std::vector<Literal>& clause,
               const std::vector<ClauseNumber>& premises) override;
  void forgotten(ClauseNumber number) override;
  void shrunk(int /*num_variables*/) override {}

  /// Whether the negations of the literals, those of guards left out, and the
  /// facts are bounds that add up to less than nothing: each node is left as
  /// often as it is entered, and the weights' sum is negative.
  static bool is_sum(const AtomTable& atoms, const std::vector<Literal>& clause,
                     const std::vector<int>& facts = {});

  /// Clauses that were looked at and found right.
  std::uint64_t num_right() const { return num_right_; }
  /// Clauses that were looked at and found wrong.
  std::uint64_t num_wrong() const { return num_wrong_; }

 private:
  void keep(ClauseNumber number, const std::vector<Literal>& clause);
  bool follows(const std::vector<Literal>& clause,
               const std::vector<ClauseNumber>& premises);
  void count(bool is_right) { ++(is_right ? num_right_ : num_wrong_); }

  const Problem& problem_;
  const std::vector<int>* facts_;
  std::unordered_map<ClauseNumber, std::vector<Literal>> clauses_;
  std::size_t num_literals_ = 0;
  bool is_full_ = false;
  std::vector<char> is_false_;  // by Literal::index; all 0 between calls
  std::uint64_t num_right_ = 0;
  std::uint64_t num_wrong_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_CLAUSE_AUDITOR_H
