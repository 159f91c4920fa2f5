// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_PROOF_CLAUSE_PROVER_H
#define VORN_SOLVER_PROOF_CLAUSE_PROVER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/engine/case_sums.h"
#include "solver/proof/proof_text.h"
#include "solver/proof/written_terms.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Proves clauses about written terms from what their connectives and
/// comparisons mean.
///
/// Each term that is made known brings *tautologies*: the clauses that define a
/// connective by its arguments, an equality by two comparisons, a chain by its
/// links, a number by cases by its branches; two comparisons that say the same
/// are linked. A clause is proved by unit propagation over the tautologies,
/// with a distinction of cases where that does not do; only the tautologies
/// that took part are written, each once.
///
/// So no simplification on the way from a script to the search needs a proof of
/// its own: what it did follows from what the terms mean.
///
/// Cost of a proof: the propagation of its negation, in what is known.
/// Ownership: borrows all. Threads: none.
class ClauseProver {
 public:
  /// Knows no terms.
  ClauseProver(TermStore& store, AtomNormaliser& normaliser,
               WrittenTerms& terms, ProofText& text)
      : store_(store), normaliser_(normaliser), terms_(terms), text_(text) {}

  /// Makes a Boolean term known, and what it consists of. False if a part of it
  /// is outside what can be proved. Requires: no root is set.
  bool learn(WrittenId term);
  /// The literal of a Boolean term; one that means the same if there is one,
  /// which else is made and known. Requires: as learn.
  WrittenLiteral literal_of(const Term* term);
  /// The literal of a bound, likewise.
  WrittenLiteral literal_of(const DifferenceBound& bound);

  /// A number, as it is written.
  WrittenId number(const Term* term) { return written(term); }
  /// What a comparison of a clause is multiplied by in a sum of bounds.
  std::string coefficient_of(WrittenLiteral comparison);
  /// That a number by cases is its first branch if its condition holds, or its
  /// second one if not: a clause of two literals.
  ProvedClause prove_branch(WrittenId number, bool is_first);

  /// From now on what this term says may be used. Requires: it is known.
  void set_root(WrittenId term, std::uint64_t step);
  /// From now on nothing may be used but what holds by itself.
  void clear_root();

  /// A clause of some of the literals. Its step is 0 if none was found.
  ProvedClause prove(const std::vector<WrittenLiteral>& clause);

  /// The clause, which says that bounds add up to less than nothing.
  ProvedClause prove_sum(const std::vector<WrittenLiteral>& clause);

  /// The resolvent of `first` with each of the others that has the opposite of
  /// a literal of what there is then.
  ProvedClause resolve(const ProvedClause& first,
                       const std::vector<const ProvedClause*>& others);

 private:
  /// A clause that holds by itself.
  struct Tautology {
    std::vector<WrittenLiteral> literals;  // without double negations
    std::vector<WrittenLiteral> raw;       // as its rule gives it
    const char* rule;
    std::string arguments;
    /// What must be written first: an equality of two terms, or the cases of a
    /// number.
    const char* equality_rule = nullptr;
    WrittenId left = kNotWritten;
    WrittenId right = kNotWritten;
    ProvedClause proved;
  };
  /// A bound, the same for a bound and its negation.
  using Key = std::tuple<std::uint64_t, std::uint64_t, la::DNumber>;
  struct SignedKey {
    Key key;
    bool negated;
  };

  bool learn_one(WrittenId term);
  void learn_connective(WrittenId term);
  bool learn_comparison(WrittenId term);
  void learn_bound(WrittenId term, const DifferenceBound& bound);
  void learn_chain(WrittenId term);
  void learn_constant(WrittenId term, bool holds);
  void learn_lift(WrittenId term);
  bool learn_foreign(WrittenId term, WrittenId number);
  void learn_cases(WrittenId term);
  WrittenId find_foreign(WrittenId term) const;
  const Term* compare(WrittenKind kind, const Term* a, const Term* b);
  const Term* apply(const std::string& function,
                    const std::vector<const Term*>& args);
  const Term* replace(WrittenId sum, WrittenId number, const Term* by,
                      WrittenId by_written, WrittenId* result);
  void add_case(WrittenId term, WrittenId number, WrittenId branch,
                const QNumber& factor, WrittenId other);
  void add(std::vector<WrittenLiteral> raw, const char* rule,
           std::string arguments = "");
  void add_equality(WrittenId term, WrittenId meaning, const char* rule);
  void add_cases(WrittenId number, WrittenId equal, bool is_then);
  void add_sum(const std::vector<WrittenLiteral>& literals,
               const std::vector<QNumber>& coefficients);
  void know(const Term* meaning, WrittenLiteral literal);
  WrittenId written(const Term* term);
  static SignedKey key_of(const DifferenceBound& bound);
  QNumber scale_of(WrittenId comparison);

  WrittenLiteral positive(WrittenId term) const {
    return 2 * WrittenLiteral{term};
  }
  const ProvedClause& write(Tautology& tautology);
  std::uint64_t write_cases(WrittenId number);

  // Propagation.
  static constexpr int kNoReason = -1;
  static constexpr int kRoot = -2;
  char& value(WrittenLiteral literal) {
    if (literal >= values_.size()) grow(literal);
    return values_[literal];
  }
  void grow(WrittenLiteral literal);
  void assign(WrittenLiteral literal, int reason);
  int propagate();
  void undo(std::size_t size);
  void rebase();
  ProvedClause do_prove(std::vector<WrittenLiteral>& clause, int depth);
  WrittenLiteral pick_case();
  ProvedClause analyze(int conflict);

  TermStore& store_;
  AtomNormaliser& normaliser_;
  WrittenTerms& terms_;
  ProofText& text_;
  Lineariser lineariser_;
  IteShapes shapes_;

  std::vector<char> is_known_;  // by term
  std::vector<WrittenId> pending_;
  /// Literals by what they mean.
  std::unordered_map<const Term*, WrittenLiteral> meanings_;
  std::map<Key, WrittenLiteral> bounds_;
  std::unordered_map<const Term*, WrittenId> numbers_;  // with cases
  std::unordered_map<const Term*, WrittenId> written_;
  std::unordered_map<WrittenId, std::uint64_t> case_steps_;
  std::unordered_map<WrittenId, std::uint64_t> equality_steps_;

  std::vector<Tautology> tautologies_;
  std::vector<int> units_;
  std::vector<std::vector<int>> watches_;  // by literal: tautologies
  std::vector<char> values_;  // by literal: 1 true, -1 false, 0 neither
  std::vector<int> reasons_;  // by term
  std::vector<WrittenLiteral> trail_;
  std::size_t head_ = 0;
  std::size_t base_ = 0;  // of the trail: what holds anyway
  bool is_based_ = false;
  int base_conflict_ = kNoReason;
  ProvedClause root_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_PROOF_CLAUSE_PROVER_H
