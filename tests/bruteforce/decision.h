// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_BRUTEFORCE_DECISION_H
#define VORN_TESTS_BRUTEFORCE_DECISION_H

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/bruteforce/formula.h"

namespace vorn::bruteforce {

/// Whether the formulas have a common model: by enumeration of the truth values
/// of Boolean variables and of the bounds that the formulas speak of, each
/// choice of bounds tested by shortest paths between all pairs of variables.
///
/// Requires: every comparison, whatever its conditional terms choose, says
/// k * (x - y) against a number, k * x against a number, or nothing about
/// variables; what is turned into an integer is
/// whole but for a number added to it.
/// Cost: exponential in the number of bounds.
bool is_satisfiable(const std::vector<Formula>& formulas);

/// The same, or nothing once `most_states` states were looked at.
/// Cost: proportional to `most_states` times the size of the formulas as trees.
std::optional<bool> is_satisfiable_within(const std::vector<Formula>& formulas,
                                          std::uint64_t most_states);

/// What is wanted of a model.
struct Objective {
  /// An arithmetic term that fits where is_satisfiable takes one.
  Formula term;
  /// Great, not small.
  bool is_maximised = false;
};

/// The best value of an objective.
struct Optimum {
  /// -1: below all numbers, 1: above.
  int infinity = 0;
  /// Otherwise the number, not quite exact behind an objective that has no best
  /// model: closer to it than any other number is that it could be.
  mpq_class value;
  /// Whether it is approached, and from which side, and not reached.
  int side = 0;
};

/// The best value of each objective, among the models that are best for those
/// before it, by looking at all states. Where one has no best model, those near
/// enough count, or far enough out. Nothing once `most_states` were looked at,
/// and in rare cases that it knows no answer for.
/// Requires: the formulas have a model; as is_satisfiable.
std::optional<std::vector<Optimum>> find_optima(
    const std::vector<Formula>& formulas,
    const std::vector<Objective>& objectives, std::uint64_t most_states);

}  // namespace vorn::bruteforce

#endif  // VORN_TESTS_BRUTEFORCE_DECISION_H
