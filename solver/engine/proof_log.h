// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_PROOF_LOG_H
#define VORN_SOLVER_ENGINE_PROOF_LOG_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "solver/engine/number_log.h"
#include "solver/engine/problem.h"
#include "solver/scheduling/machine_certificate.h"
#include "solver/search/clause_gate.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term.h"

namespace vorn::solver {

/// All clauses that a search has had, with what they follow from, so that the
/// way to a contradiction can be told afterwards.
///
/// A search gives the numbers of forgotten variables to others. Here each
/// variable has a name of its own for good: literals below are of names.
///
/// Cost: for each clause some 12 bytes, and 1 to 4 for each premise and
/// literal; for one about sets of tasks another 24, and 1 to 4 for each
/// constraint and task that took part. Nothing is ever forgotten.
/// Ownership: borrows the problem, whose meanings it needs (see
/// Problem::Problem), and their terms. Threads: none.
class ProofLog final : public ClauseListener {
 public:
  /// What a variable stands for.
  struct Name {
    /// A Boolean term; null for a bound and for a scope's selector.
    const Term* term = nullptr;
    /// The variable is true when the term is false.
    bool is_negated = false;
    /// Whether it is true when `bound` holds.
    bool is_bound = false;
    /// As above.
    DifferenceBound bound;
  };
  /// A clause.
  struct Step {
    /// Whether it follows from premises; else it has an origin.
    bool is_derived = false;
    /// Why it holds if it is not derived.
    ClauseOrigin origin;
    /// Its literals, without selectors.
    std::vector<Literal> literals;
    /// What it follows from, see ClauseListener::derived.
    std::vector<ClauseNumber> premises;
  };

  /// Looks up variables in `problem`.
  explicit ProofLog(const Problem& problem) : problem_(problem) {}

  void added(ClauseNumber number, const std::vector<Literal>& clause,
             ClauseOrigin origin) override;
  void derived(ClauseNumber number, const std::vector<Literal>& clause,
               const std::vector<ClauseNumber>& premises) override;
  void forgotten(ClauseNumber /*number*/) override {}
  void shrunk(int num_variables) override;

  /// Notes a machine, and returns its number.
  int add_machine(CertifiedMachine machine) {
    machines_.push_back(std::move(machine));
    return static_cast<int>(machines_.size()) - 1;
  }
  /// That machine.
  const CertifiedMachine& machine(int number) const {
    return machines_[static_cast<std::size_t>(number)];
  }
  /// Notes how the next clause of kind kMachine was found, and returns what is
  /// to be its detail.
  std::uint32_t add_certificate(const MachineCertificate& certificate);
  /// That certificate.
  MachineCertificate certificate(std::uint32_t detail) const;

  /// What a variable of these literals stands for.
  const Name& name(int variable) const {
    return names_[static_cast<std::size_t>(variable)];
  }
  /// The literal under the name of its variable; undefined for a selector's.
  Literal named(Literal literal) {
    const auto variable = static_cast<std::size_t>(literal.variable());
    if (variable >= name_of_.size()) name_of_.resize(variable + 1, kUnnamed);
    int& name = name_of_[variable];
    if (name == kUnnamed) name = make_name(literal.variable());
    return name == kSelector ? Literal() : Literal(name, literal.is_negated());
  }
  /// A clause. Requires: it was reported.
  Step step(ClauseNumber number) const;
  /// A clause that takes part.
  struct Needed {
    /// Its number.
    ClauseNumber number;
    /// Whether a single other one follows from it.
    bool is_used_once;
  };
  /// The clauses that `last` follows from, itself included, by number.
  std::vector<Needed> needed(ClauseNumber last);
  /// How many clauses there are.
  std::size_t size() const { return clauses_.size(); }
  /// How many the last call of needed() returned.
  std::size_t num_needed() const { return num_needed_; }

 private:
  // In place of a variable's name.
  static constexpr int kUnnamed = -1;
  static constexpr int kSelector = -2;

  int make_name(int variable);
  template <class Visit>
  void for_each_premise(ClauseNumber number, const Visit& visit) const;
  NumberLog::Writer begin(ClauseNumber number,
                          const std::vector<Literal>& clause, unsigned kind,
                          std::size_t num_more);

  const Problem& problem_;
  // By number, less one: the kind, or kDerived; how many literals there are,
  // and their codes; then the detail, or how many premises there are, and by
  // how much each is older.
  NumberLog clauses_;
  std::vector<Literal> own_;  // of the clause at hand
  std::size_t num_needed_ = 0;
  std::vector<Name> names_;
  std::vector<CertifiedMachine> machines_;
  // A certificate's terms; and how many steps it has, with the numbers of each.
  struct Certified {
    const Term* origin;
    const Term* crossing;
  };
  std::vector<Certified> certified_;
  NumberLog certificates_;
  std::vector<int> name_of_;  // by the search's variable; kUnnamed, kSelector
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_PROOF_LOG_H
