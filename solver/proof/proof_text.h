// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_PROOF_PROOF_TEXT_H
#define VORN_SOLVER_PROOF_PROOF_TEXT_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

#include "solver/proof/written_terms.h"

namespace vorn::solver {

/// A Boolean written term or its negation: 2 * term, plus 1 if negated. In
/// clauses that proofs reason about the term is no `not`.
using WrittenLiteral = std::uint64_t;

/// A clause of a proof, and the step that concludes it.
struct ProvedClause {
  /// In no order, each once.
  std::vector<WrittenLiteral> literals;
  /// The number of the step; 0 for none.
  std::uint64_t step = 0;
};

/// Clauses that were proved, by numbers that say how: literals or steps, say.
struct ProvedClausesHash {
  /// Over all of them, in their order.
  std::size_t operator()(const std::vector<std::uint64_t>& key) const {
    std::uint64_t hash = key.size();
    for (const std::uint64_t word : key) {
      hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
      hash ^= hash >> 29U;
    }
    return hash;
  }
};
/// See above.
using ProvedClauses = std::unordered_map<std::vector<std::uint64_t>,
                                         ProvedClause, ProvedClausesHash>;

/// Writes the steps of a proof in Alethe.
///
/// Each Boolean application, and each number by cases, gets a name where it is
/// written first, and stands by that name from then on.
/// Cost: linear in the text, for terms of any depth.
/// Ownership: borrows terms and stream. Threads: none.
class ProofText {
 public:
  /// Nothing is written yet.
  ProofText(WrittenTerms& terms, std::ostream& out)
      : terms_(terms), out_(out) {}

  /// Hands all that was written to the stream, which gets it in blocks.
  void flush();

  /// The positive literal of a term, or the negative one, with all `not`s at
  /// its top counted.
  WrittenLiteral literal(WrittenId term, bool negated = false) const;

  /// Assumes a term. `(not (not p))` is concluded as p.
  ProvedClause assume(WrittenId term);
  /// A step. Literals are of any terms, a `not` at the top of one as well; what
  /// is concluded has each literal without double negations.
  /// `premises`: steps; `arguments`: as text.
  ProvedClause step(const std::vector<WrittenLiteral>& literals,
                    const char* rule,
                    const std::vector<std::uint64_t>& premises = {},
                    const std::string& arguments = "");
  /// A step that may not be simplified: its literals are as they are given.
  std::uint64_t plain_step(const std::vector<WrittenLiteral>& literals,
                           const char* rule,
                           const std::vector<std::uint64_t>& premises,
                           const std::string& arguments);

  /// The step `resolution`, of premises that each but the first have a pivot:
  /// the literal as it stands in this premise.
  std::uint64_t resolution(const std::vector<WrittenLiteral>& literals,
                           const std::vector<std::uint64_t>& premises,
                           const std::vector<WrittenLiteral>& pivots);

  /// A term's text, with a name from now on.
  std::string text(WrittenId term);

 private:
  ProvedClause without_double_negations(
      const std::vector<WrittenLiteral>& literals, std::uint64_t step);
  bool is_named(WrittenId term) const;

  // These write at the end of buffer_.
  void put_number(std::uint64_t number);
  void put_term(WrittenId term);
  void put_application(WrittenId term);
  void put_clause(const std::vector<WrittenLiteral>& literals);
  void put_premises(const std::vector<std::uint64_t>& premises);

  WrittenTerms& terms_;
  std::ostream& out_;
  std::string buffer_;
  std::vector<char> has_name_;  // by term
  std::uint64_t num_steps_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_PROOF_PROOF_TEXT_H
