// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_PROOF_H
#define VORN_CHECKER_PROOF_H

#include <gmpxx.h>

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "checker/script.h"
#include "checker/terms.h"

namespace vorn::checker {

/// The literals of a clause.
using Clause = TermIds;

/// sum + constant >= 0, > 0 or = 0, of rational numbers.
struct Inequality {
  /// How the left side compares with 0.
  enum class Relation : std::uint8_t { kGeq, kGreater, kEqual };
  /// Variables, which are all terms that are no sums, with coefficients but 0.
  std::vector<std::pair<TermId, mpq_class>> sum;
  mpq_class constant;                  ///< What is added to them.
  Relation relation = Relation::kGeq;  ///< How the left side compares with 0.
};

/// Premises are too few, too many, or not of the form that the rule takes.
constexpr const char* kWrongPremise = "the rule takes other premises";
/// The clause is another one.
constexpr const char* kWrongConclusion =
    "the clause is not what the rule gives";

/// One step of a proof, as the rules see it. A rule is a function that throws a
/// Rejection unless the conclusion follows.
struct Inference {
  Terms& terms;                         ///< All; rules make what they expect.
  Position position;                    ///< Of the name of the step.
  Clause conclusion;                    ///< The clause of the step.
  std::vector<const Clause*> premises;  ///< The clauses of its premises.
  TermIds arguments;                    ///< Its arguments.

  std::vector<bool> is_in;  ///< By term: a set, empty before each step.
  TermIds touched;          ///< What has been put into it.
  /// By literal: what its negation says, or null if nobody has asked.
  std::vector<std::unique_ptr<Inequality>> negations;
  /// By variable: its coefficient in a sum, 0 before each step.
  std::unordered_map<TermId, mpq_class> coefficients;

  /// `all` is borrowed.
  explicit Inference(Terms& all) : terms(all) {}
  /// Whether the term is `op` of `count` arguments, or of any number for 0.
  bool is(TermId term, Op op, std::size_t count = 0) const {
    return terms.op(term) == op &&
           (count == 0 || terms.num_args(term) == count);
  }
  /// Argument number i of a term.
  TermId arg(TermId term, std::size_t i) const { return terms.arg(term, i); }
  /// The value of a term that is a number whatever symbols stand for, or null.
  const mpq_class* number(TermId term) const {
    return terms.sort(term) == Sort::kBool ? nullptr : terms.value(term);
  }
  /// (not t).
  TermId no(TermId term) { return terms.negate(term); }
  /// (= s t).
  TermId equal(TermId s, TermId t) { return terms.make(Op::kEqual, {s, t}); }

  /// Throws a Rejection unless this holds.
  void require(bool holds, const char* reason) const {
    checker::require(holds, position, reason);
  }
  /// The same unless there are so many premises and arguments; -1: any number.
  void takes(int num_premises, int num_arguments) const;
  /// The same unless the conclusion is these literals, in this order.
  void concludes(const Clause& literals) const {
    require(conclusion == literals, kWrongConclusion);
  }
};

/// Rejects unless the step follows the rule of this name. What is no rule here
/// proves nothing.
void check_inference(std::string_view rule, Inference& inference);

/// The rule la_generic, which is in arithmetic.cc.
void la_generic(Inference& inference);

/// Checks a proof from the formulas `assumed`, or some of them: returns if each
/// step is right and the last one is the empty clause, and throws Rejection at
/// the first thing that is wrong. Terms and names are added to the script.
///
/// Cost: linear in the proof; of each step the clause and the name are kept.
void check_proof(std::istream& in, Script& script, const TermIds& assumed);

}  // namespace vorn::checker

#endif  // VORN_CHECKER_PROOF_H
