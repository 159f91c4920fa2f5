// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_INFERENCE_H
#define VORN_CHECKER_INFERENCE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "checker/arithmetic.h"
#include "checker/terms.h"

namespace vorn::checker {

/// The literals of a clause, owned by someone else.
struct Clause {
  /// The first literal.
  const TermId* literals = nullptr;
  /// How many there are.
  std::size_t size = 0;

  /// The literal at a place.
  TermId operator[](std::size_t i) const { return literals[i]; }
  /// For loops over the literals.
  const TermId* begin() const { return literals; }
  /// For loops over the literals.
  const TermId* end() const { return literals + size; }
};

/// A set of terms that is emptied in constant time.
class TermSet {
 public:
  /// Makes it empty.
  void clear() {
    ++stamp_;
    size_ = 0;
  }
  /// Adds a term; whether it was missing.
  bool insert(TermId term) {
    if (term >= stamps_.size()) stamps_.resize(std::size_t{term} + 1);
    if (stamps_[term] == stamp_) return false;
    stamps_[term] = stamp_;
    ++size_;
    return true;
  }
  /// Takes a term out; whether it was there.
  bool erase(TermId term) {
    if (!contains(term)) return false;
    stamps_[term] = 0;
    --size_;
    return true;
  }
  /// Whether a term is in it.
  bool contains(TermId term) const {
    return term < stamps_.size() && stamps_[term] == stamp_;
  }
  /// How many terms are in it.
  std::size_t size() const { return size_; }

 private:
  std::vector<std::uint64_t> stamps_;
  std::uint64_t stamp_ = 1;
  std::size_t size_ = 0;
};

/// Null if an inference is right, otherwise what is wrong with it.
using Verdict = const char*;

/// The verdict on an inference that is right.
constexpr Verdict kRight = nullptr;
/// The rule takes another number of premises.
constexpr Verdict kWrongPremiseCount = "the rule takes other premises";
/// The rule takes another number of arguments.
constexpr Verdict kWrongArgumentCount = "the rule takes other arguments";
/// The premise is not of the form that the rule takes.
constexpr Verdict kWrongPremise = "the premise is not what the rule takes";
/// The clause is not what the rule gives.
constexpr Verdict kWrongConclusion = "the clause is not what the rule gives";

/// One step of a proof, as the rules see it. A rule is a function that says
/// whether the conclusion follows.
struct Inference {
  /// `all` is borrowed.
  explicit Inference(Terms& all) : terms(all), arithmetic(all) {}

  Terms& terms;                   ///< All terms; rules make what they expect.
  Arithmetic arithmetic;          ///< For la_generic.
  TermSet set;                    ///< For rules that see clauses as sets.
  Clause conclusion;              ///< The clause of the step.
  std::vector<Clause> premises;   ///< The clauses of its premises.
  std::vector<TermId> arguments;  ///< Its arguments.

  /// Whether the term is `op` of `count` arguments, or of any number for 0.
  bool is(TermId term, Op op, std::size_t count = 0) const {
    return terms.op(term) == op &&
           (count == 0 || terms.num_args(term) == count);
  }
  /// Argument number i of a term.
  TermId arg(TermId term, std::size_t i) const { return terms.arg(term, i); }
  /// (not t).
  TermId no(TermId term) { return terms.negate(term); }
  /// (= s t).
  TermId equal(TermId s, TermId t) { return terms.make(Op::kEqual, {s, t}); }
  /// Right if the conclusion is exactly these literals.
  Verdict concludes(const std::vector<TermId>& literals) const {
    const bool same = std::equal(literals.begin(), literals.end(),
                                 conclusion.begin(), conclusion.end());
    return same ? kRight : kWrongConclusion;
  }
};

/// A rule of the format.
struct Rule {
  /// Its name in proofs.
  const char* name;
  /// How many premises it has; -1: the function looks.
  int num_premises;
  /// How many arguments it has; -1: the function looks.
  int num_arguments;
  /// Says whether an inference with so many follows the rule.
  Verdict (*check)(Inference&);
};

/// Rules that see no further than literals: rules_clause.cc.
extern const std::vector<Rule> kClauseRules;
/// Rules about equalities and numbers: rules_equality.cc.
extern const std::vector<Rule> kEqualityRules;

/// Whether the step follows the rule of this name, with as many premises and
/// arguments as it takes. What is no rule here proves nothing.
Verdict check_inference(const std::string& rule, Inference& inference);

/// The verdict of the scheme of this name; nothing if there is none.
std::optional<Verdict> check_scheme(const std::string& rule,
                                    Inference& inference);

}  // namespace vorn::checker

#endif  // VORN_CHECKER_INFERENCE_H
