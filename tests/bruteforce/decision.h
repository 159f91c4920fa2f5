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

}  // namespace vorn::bruteforce

#endif  // VORN_TESTS_BRUTEFORCE_DECISION_H
