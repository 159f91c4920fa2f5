// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_PROOF_TAUTOLOGIES_H
#define VORN_SOLVER_PROOF_TAUTOLOGIES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "solver/proof/proof_text.h"
#include "solver/proof/written_terms.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Clauses about written terms that hold by themselves, and what follows from
/// them by unit propagation, with distinctions of cases where that does not do.
///
/// Nothing is written of a clause until a proof makes use of it, and then once.
///
/// Cost: of a proof, the propagation of its negation.
/// Ownership: borrows all. Threads: none.
class Tautologies {
 public:
  /// Has none.
  Tautologies(TermStore& store, WrittenTerms& terms, ProofText& text)
      : store_(store), terms_(terms), text_(text) {}

  /// A clause that a rule concludes from nothing. Requires, for this and all
  /// other ways to add clauses: no root is set.
  void add(std::vector<WrittenLiteral> raw, const char* rule,
           std::string arguments = "");
  /// That two Boolean terms are equal, which the rule says.
  void add_equality(WrittenId term, WrittenId meaning, const char* rule);
  /// That a number by cases is its branch if its condition says so.
  /// `equal`: the equality of the two.
  void add_case(WrittenId number, WrittenId equal, bool is_then);
  /// A clause that follows from those that there are: when it is asked for, the
  /// cases of `split` are looked at first if there have to be cases. False if
  /// nothing was found.
  bool add_lemma(const std::vector<WrittenLiteral>& clause,
                 WrittenLiteral split);

  /// From now on what this term says may be used.
  void set_root(WrittenId term, std::uint64_t step);
  /// From now on nothing may be used but what holds by itself.
  void clear_root();

  /// A clause of some of the literals. Its step is 0 if none was found.
  ProvedClause prove(const std::vector<WrittenLiteral>& clause);
  /// What is left of a clause without literals that are false anyway.
  ProvedClause reduce(const ProvedClause& clause);
  /// Writes what prove_branch needs of several numbers, in fewer steps than of
  /// each by itself.
  void write_cases(const std::vector<WrittenId>& numbers);
  /// That a number by cases is its first branch if its condition holds, or its
  /// second one if not: a clause of two literals.
  ProvedClause prove_branch(WrittenId number, bool is_first);
  /// The resolvent of `first` with each of the others that has the opposite of
  /// a literal of what there is then.
  ProvedClause resolve(const ProvedClause& first,
                       const std::vector<const ProvedClause*>& others);
  /// Likewise its literals alone: nothing is written.
  std::vector<WrittenLiteral> resolvent(
      const ProvedClause& first,
      const std::vector<const ProvedClause*>& others);

  /// The positive literal.
  static WrittenLiteral positive(WrittenId term) {
    return 2 * WrittenLiteral{term};
  }

 private:
  struct Tautology {
    std::vector<WrittenLiteral> literals;  // without double negations
    std::vector<WrittenLiteral> raw;       // as its rule gives it
    const char* rule = nullptr;            // null for a lemma
    std::string arguments;
    /// What must be written first: an equality of two terms, or the cases of a
    /// number.
    const char* equality_rule = nullptr;
    WrittenId left = kNotWritten;
    WrittenId right = kNotWritten;
    /// Of a lemma: tautologies, to be resolved with the first in this order.
    std::vector<int> parts;
    ProvedClause proved;
  };
  // A clause that follows from some, see Tautology::parts.
  struct Chain {
    std::vector<WrittenLiteral> literals;
    std::vector<int> parts;
  };

  void insert(Tautology made);
  const ProvedClause& write(int number);
  void write_one(Tautology& tautology);
  std::uint64_t cases_of(WrittenId number);

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
  int settle();
  int falsify(const std::vector<WrittenLiteral>& clause);
  ProvedClause do_prove(std::vector<WrittenLiteral>& clause);
  WrittenLiteral pick_case();
  Chain trace(const std::vector<WrittenLiteral>& start) const;
  ProvedClause analyze(int conflict);
  ProvedClause do_reduce(const ProvedClause& clause);
  int derive(std::vector<WrittenLiteral>& clause, WrittenLiteral split,
             int depth);

  TermStore& store_;
  WrittenTerms& terms_;
  ProofText& text_;
  std::unordered_map<WrittenId, std::uint64_t> case_steps_;
  std::unordered_map<WrittenId, std::uint64_t> equality_steps_;

  std::vector<Tautology> tautologies_;
  std::vector<std::vector<int>> watches_;  // by literal: tautologies
  std::vector<char> values_;  // by literal: 1 true, -1 false, 0 neither
  std::vector<int> reasons_;  // by term
  std::vector<WrittenLiteral> trail_;
  std::size_t head_ = 0;
  // Of the trail: what holds by itself, and with the root.
  std::size_t ground_ = 0;
  std::size_t base_ = 0;
  bool is_root_settled_ = true;
  int root_conflict_ = kNoReason;
  int num_cases_ = 0;  // of the proof at hand
  ProvedClause root_;

  // Of resolve.
  std::vector<char> open_;  // by literal; all 0 between calls
  std::vector<std::uint64_t> premises_;
  std::vector<WrittenLiteral> pivots_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_PROOF_TAUTOLOGIES_H
