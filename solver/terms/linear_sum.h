// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_LINEAR_SUM_H
#define VORN_SOLVER_TERMS_LINEAR_SUM_H

#include <vector>

#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// An arithmetic term as a sum of coefficients times leaves, plus a constant.
/// A leaf is a symbol or an arithmetic ite; the inside of an ite is not looked
/// at.
///
/// Invariant: the monomials are sorted by ascending leaf id, no leaf occurs
/// twice and no coefficient is zero; so equal sums are equal member by member.
struct LinearSum {
  /// A leaf and its coefficient.
  struct Monomial {
    /// A symbol or an arithmetic ite.
    const Term* leaf;
    /// Not zero.
    QNumber coefficient;
  };

  /// What is multiplied and added up.
  std::vector<Monomial> monomials;
  /// What is added to that.
  QNumber constant;
};

/// Whether every leaf is an integer.
bool is_integer(const LinearSum& sum);

/// Adds `factor` times another sum. Cost: linear in both.
void add(LinearSum& sum, const LinearSum& other, const QNumber& factor);

/// The sum as a term, of sort Int if every leaf is an integer and every number
/// in it is integral.
const Term* make_sum(TermStore& store, const LinearSum& sum);

/// Turns arithmetic terms into linear sums. An object keeps its buffer between
/// calls, which saves allocations when many small atoms are turned.
///
/// Cost of a call: O(n log n) number operations for n argument places reachable
/// from the term, however deep it is and however its subterms are shared.
/// Threads: none.
class Lineariser {
 public:
  /// Sets `sum` to the value of `term`. False, with `sum` unspecified, when
  /// the term multiplies two terms of which neither is a number.
  /// Requires: an arithmetic term.
  bool linearise(const Term* term, LinearSum& sum);

  /// The same for left - right, which puts an atom that compares the two into
  /// the form "sum against 0" without making a term.
  bool linearise_difference(const Term* left, const Term* right,
                            LinearSum& sum);
  /// The same where both sides are sums of a few numbers and symbols, with
  /// constant factors perhaps, as most are. False for all others, of which
  /// nothing is said, and `sum` is unspecified then.
  bool linearise_symbols(const Term* left, const Term* right, LinearSum& sum);

 private:
  static bool add_flat(const Term* term, const QNumber& factor, LinearSum& sum);
  static bool add_product(const Term* term, QNumber factor, LinearSum& sum);
  // `coefficient` times `term` is still to be added to the sum.
  struct Pending {
    const Term* term;
    QNumber coefficient;
  };

  static bool later(const Pending& a, const Pending& b) {
    return a.term->id < b.term->id;
  }
  void push(const Term* term, const QNumber& coefficient);
  Pending pop();
  bool run(LinearSum& sum);

  std::vector<Pending> heap_;  // greatest id first
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_LINEAR_SUM_H
