// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_EXPLAIN_STATED_BOUNDS_H
#define VORN_SOLVER_EXPLAIN_STATED_BOUNDS_H

#include <cstddef>
#include <optional>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// A bound that a formula states, outright or in one of its cases.
struct StatedBound {
  /// The first formula that states it.
  std::size_t formula = 0;
  /// What is written there: the comparison, with the `not` around it if there
  /// is one. An equality states two bounds, and both have it here.
  const Term* written = nullptr;
  /// The kLeq or kLess term of this one bound, and whether the bound is its
  /// negation.
  const Term* atom = nullptr;
  /// Of `atom`: the bound says that it is false.
  bool negated = false;
  /// Whether it holds whenever the formula does, with no case to distinguish.
  bool outright = false;

  /// The bound before coefficients are divided out and integers rounded:
  /// `sum` < 0 if strict, else `sum` <= 0.
  LinearSum sum;
  /// Whether `sum` is below 0, not only at most 0.
  bool strict = false;
  /// Whether every leaf is an integer.
  bool integer = false;
  /// The bound as the graph takes it.
  DifferenceBound bound;
};

/// Formulas that state a term and its negation: two, or one twice.
struct Clash {
  /// What is both stated and denied.
  const Term* term = nullptr;
  /// The formula that states it.
  std::size_t affirmed = 0;
  /// The formula that denies it.
  std::size_t denied = 0;
};

/// What formulas say about bounds, read off their structure: no search, no
/// propagation.
struct Statements {
  /// All bounds found, those stated outright first, each in the order of the
  /// formulas.
  std::vector<StatedBound> bounds;
  /// Of terms that formulas state outright, the first that another (or the
  /// same) denies. A formula that no values satisfy, such as `false` or x < x,
  /// clashes with itself; the term is true or false then.
  std::optional<Clash> clash;
};

/// Reads the bounds that `formulas` state outright: as themselves, in
/// conjunctions, in negated disjunctions and implications. With
/// `conditional_too`, also those in cases: in disjunctions, under ite, in
/// equivalences (there in the polarity in which they are written) and in the
/// meaning of arithmetic ites.
///
/// Requires: Boolean formulas inside difference logic.
/// Cost: linear in the distinct subterms visited; normalises their atoms.
Statements read_statements(TermStore& store, AtomNormaliser& normaliser,
                           const std::vector<const Term*>& formulas,
                           bool conditional_too);

/// Positions of bounds that form a negative cycle, in the order of its
/// direction: the target of each is the source of the next, and the sum of
/// their weights is below 0. Begins at the constant 0 if the cycle goes through
/// it, else with the bound of the first formula. Empty if the bounds that are
/// stated outright have a solution; the others are not looked at.
std::vector<std::size_t> find_negative_cycle(
    const std::vector<StatedBound>& bounds);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_EXPLAIN_STATED_BOUNDS_H
