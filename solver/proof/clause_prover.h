// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_PROOF_CLAUSE_PROVER_H
#define VORN_SOLVER_PROOF_CLAUSE_PROVER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/engine/case_sums.h"
#include "solver/proof/proof_text.h"
#include "solver/proof/tautologies.h"
#include "solver/proof/written_sums.h"
#include "solver/proof/written_terms.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Proves clauses about written terms from what their connectives and
/// comparisons mean.
///
/// Each term that is made known brings tautologies: the clauses that define a
/// connective by its arguments, an equality by two comparisons, a chain by its
/// links, a number by cases by its branches; two comparisons that say the same
/// are linked, and one that was lifted is what it is in either case of its
/// conditions. A clause is proved from them, see Tautologies.
///
/// So no simplification on the way from a script to the search needs a proof of
/// its own: what it did follows from what the terms mean. No sum is written
/// that WrittenSums does not find right.
///
/// Cost: linear in what is made known, where nothing is lifted; else see
/// CaseSums. Ownership: borrows all. Threads: none.
class ClauseProver {
 public:
  /// Knows no terms.
  ClauseProver(TermStore& store, AtomNormaliser& normaliser,
               WrittenTerms& terms, ProofText& text)
      : store_(store),
        normaliser_(normaliser),
        terms_(terms),
        text_(text),
        tautologies_(store, terms, text),
        sums_(terms) {}

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
  /// See Tautologies::write_cases.
  void write_cases(const std::vector<WrittenId>& numbers) {
    tautologies_.write_cases(numbers);
  }
  /// See Tautologies::prove_branch.
  ProvedClause prove_branch(WrittenId number, bool is_first) {
    return tautologies_.prove_branch(number, is_first);
  }

  /// From now on what this term says may be used. Requires: it is known.
  void set_root(WrittenId term, std::uint64_t step) {
    tautologies_.set_root(term, step);
  }
  /// From now on nothing may be used but what holds by itself.
  void clear_root() { tautologies_.clear_root(); }

  /// A clause of some of the literals. Its step is 0 if none was found.
  ProvedClause prove(const std::vector<WrittenLiteral>& clause) {
    return tautologies_.prove(clause);
  }

  /// The clause, or a part of it, which says that bounds leave no values: their
  /// sum is less than nothing, perhaps once sums that end at integers are
  /// rounded. As above.
  const ProvedClause& prove_sum(const std::vector<WrittenLiteral>& clause);

  /// See Tautologies::resolve.
  ProvedClause resolve(const ProvedClause& first,
                       const std::vector<const ProvedClause*>& others) {
    return tautologies_.resolve(first, others);
  }
  /// See Tautologies::resolvent.
  std::vector<WrittenLiteral> resolvent(
      const ProvedClause& first,
      const std::vector<const ProvedClause*>& others) {
    return tautologies_.resolvent(first, others);
  }

 private:
  /// A bound, the same for a bound and its negation.
  using Key = std::tuple<std::uint64_t, std::uint64_t, la::DNumber>;
  struct SignedKey {
    Key key;
    bool negated;
  };
  // A number by cases that is a sum in either case.
  struct Link {
    WrittenId sum = kNotWritten;
    WrittenId at_most = kNotWritten;
    WrittenId at_least = kNotWritten;
  };
  // Literals of a sum, and what their negations are multiplied with.
  struct Sum {
    std::vector<WrittenLiteral> literals;
    std::vector<QNumber> factors;
  };
  // A sum that follows from bounds between integers over reals.
  struct RoundedPath {
    DifferenceBound bound;
    std::vector<std::size_t> edges;
  };

  // Boolean terms.
  bool learn_one(WrittenId term);
  void learn_connective(WrittenId term);
  void learn_equality(WrittenId term, WrittenId meaning, const char* rule);
  void know(const Term* meaning, WrittenLiteral literal);
  WrittenId written(const Term* term);
  WrittenId as_real(WrittenId term);

  // Comparisons.
  bool learn_comparison(WrittenId term);
  void learn_bound(WrittenId term, const DifferenceBound& bound);
  bool has_other_spellings(const std::vector<WrittenId>& sides);
  bool learn_plain(WrittenId term);
  void learn_chain(WrittenId term);
  const Term* compare(WrittenKind kind, const Term* a, const Term* b);
  WrittenId write_comparison(WrittenKind kind, WrittenId a, WrittenId b);
  static SignedKey key_of(const DifferenceBound& bound);
  const QNumber& scale_of(WrittenId comparison);
  WrittenId write_bound(const DifferenceBound& bound);

  // Numbers by cases.
  void learn_cases(WrittenId term);
  void learn_lifted(WrittenId term);
  void learn_node(const CaseSums::Lifting& lifting, std::size_t number,
                  const std::vector<const Term*>& rests,
                  std::vector<WrittenId>& comparisons, bool strict);
  void learn_place(WrittenId comparison, const CaseSums::Lifting::Place& place,
                   WrittenId other, WrittenLiteral assumed,
                   const std::vector<WrittenId>& at_most,
                   const std::vector<WrittenId>& at_least);
  std::vector<const Term*> link_rests(const CaseSums::Lifting& lifting);
  void link_steps(const CaseSums::Lifting& lifting);
  bool leads_to(WrittenId sum, WrittenId number);
  void link(WrittenId number, WrittenId sum);
  void hold_by_cases(WrittenId comparison, WrittenLiteral condition);
  WrittenId range_of(WrittenId number, bool is_upper);
  void find_cases(WrittenId number);
  WrittenId equality_with_branch(WrittenId number, std::size_t branch);
  std::size_t branch_of(WrittenId number, WrittenLiteral assumed) const;

  // Sums.
  bool close(Sum& sum, WrittenLiteral assumed, bool uses_ranges);
  bool add_sum(Sum sum, WrittenLiteral assumed = 0, bool uses_ranges = false);
  static std::string arguments_of(const Sum& sum);
  ProvedClause write_sum(const Sum& sum);
  ProvedClause do_prove_sum(const std::vector<WrittenLiteral>& clause);
  ProvedClause prove_rounded(const std::vector<WrittenLiteral>& clause);
  static std::vector<RoundedPath> find_rounded_cycle(
      const std::vector<DifferenceBound>& edges);

  static WrittenLiteral positive(WrittenId term) {
    return Tautologies::positive(term);
  }

  TermStore& store_;
  AtomNormaliser& normaliser_;
  WrittenTerms& terms_;
  ProofText& text_;
  Tautologies tautologies_;
  WrittenSums sums_;
  Lineariser lineariser_;
  IteShapes shapes_;

  std::vector<char> is_known_;  // by term
  std::vector<WrittenId> pending_;
  // Clauses, and the conditions by whose cases they hold.
  std::vector<std::pair<std::vector<WrittenLiteral>, WrittenLiteral>> lemmas_;
  /// Literals by what they mean.
  std::unordered_map<const Term*, WrittenLiteral> meanings_;
  std::map<Key, WrittenLiteral> bounds_;
  std::unordered_map<const Term*, WrittenId> numbers_;  // with cases
  std::unordered_map<const Term*, WrittenId> written_;
  std::unordered_map<WrittenId, Link> links_;
  std::unordered_set<WrittenId> linked_;  // parts of the sums of links
  std::map<std::pair<WrittenId, bool>, WrittenId> ranges_;
  std::unordered_set<WrittenId> has_cases_;
  std::unordered_set<WrittenId> nodes_;  // comparisons in the midst of lifting
  std::vector<QNumber> scales_;          // by comparison; 0 for not known
  // Of prove_sum.
  Sum sum_;
  std::vector<WrittenLiteral> sorted_;
  ProvedClauses sums_proved_;  // by their literals, ascending
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_PROOF_CLAUSE_PROVER_H
