// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_ATOM_NORMALISER_H
#define VORN_SOLVER_ENGINE_ATOM_NORMALISER_H

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "solver/engine/case_sums.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "solver/terms/term_sweep.h"

namespace vorn::solver {

/// Rewrites arithmetic atoms into Boolean combinations of *bounds*: atoms
/// kLeq or kLess that state one bound on a variable or on the difference of
/// two. Says which atoms cannot be written so: those outside difference logic.
///
/// An arithmetic ite counts as a variable of its own where it can be given a
/// name, which is when each branch is a constant or a variable plus a constant:
/// then "name = branch" is itself a difference. Where that does not make the
/// atom a bound, the ite is lifted: the atom becomes an ite of atoms.
///
/// Pure: makes terms, keeps a memo, and has no other state; popping assertions
/// invalidates nothing. The memo needs no term to be kept for its sake.
/// Cost: linear in the atom, and for lifting that of CaseSums; an atom with
/// more than CaseSums::kMaxSums sums of cases counts as outside. Ownership:
/// borrows the store. Threads: none.
class AtomNormaliser {
 public:
  /// Makes terms in `store`.
  explicit AtomNormaliser(TermStore& store) : store_(store) {}

  /// What an atom says.
  struct NormalForm {
    /// The rewritten atom; the atom itself if it is a bound; null if it is
    /// outside.
    const Term* term = nullptr;
    /// The bound, if `term` is the atom itself.
    DifferenceBound bound;
    /// Whether the bound is over integers.
    bool integer = false;
    /// Whether it is outside only because there are too many sums of its cases.
    bool too_many_sums = false;
  };

  /// The normal form of an atom, read once and kept as long as the normaliser
  /// is. Requires: kLeq, kLess, or kEqual or kDistinct over arithmetic.
  const NormalForm& normalise(const Term* atom);

  /// Whether an atom is a bound on symbols, without ites, and which. Cost:
  /// linear in the atom, but no more than to remember it.
  bool read_plain(const Term* atom, DifferenceBound& bound, bool& integer);

  /// How ites were lifted out of an atom, found anew. Requires: kLeq or kLess,
  /// and its normal form is another term.
  CaseSums::Lifting lifting(const Term* atom);

  /// The first arithmetic atom outside difference logic in `term`, or null.
  /// Cost: visits each subterm once in the life of the object, but bounds on
  /// symbols each time, which is no dearer than to remember them.
  const Term* first_outside(const Term* term);

  /// Forgets terms that a sweep does not keep.
  void forget_swept(const TermSweep& sweep);

 private:
  NormalForm read(const Term* atom);
  bool is_plain(const Term* atom);
  const Term* normalise_pairs(const Term* distinct);
  const Term* normalise_sum(const LinearSum& sum, bool strict);

  TermStore& store_;
  Lineariser lineariser_;
  LinearSum sum_;  // scratch space
  std::unordered_map<const Term*, NormalForm> normal_forms_;
  IteShapes shapes_;
  std::unordered_set<const Term*> inside_;
  bool too_many_sums_ = false;  // in the atom at hand
};

/// Whether `term` compares arithmetic terms.
bool is_arithmetic_atom(const Term* term);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_ATOM_NORMALISER_H
