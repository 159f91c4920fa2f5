// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_ANSWER_H
#define VORN_CHECKER_ANSWER_H

#include <cstddef>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "checker/script.h"

namespace vorn::checker {

/// Rejects unless the printed answer to check number `check`, from 1, is `sat`
/// and is followed by a model that makes all assertions and assumptions of the
/// script true. `answer` is all that was printed for the script, or for this
/// one check alone; of other replies nothing is believed or checked.
void check_model(Script& script, const std::string& answer, std::size_t check);

/// The formulas of which a printed core says that they are unsatisfiable: the
/// assertions that it names, those without a name, and the assumptions. Rejects
/// unless the answer to check number `check` is `unsat` and a core follows.
std::vector<TermId> read_core(const Script& script, const std::string& answer,
                              std::size_t check);

/// The constants that the symbols of a script stand for.
using Values = std::unordered_map<TermId, TermId>;

/// The first formula of the script that is false where symbols have these
/// values, or null. Throws Rejection at a formula whose symbols have none.
/// Cost: linear in the distinct subterms, no recursion.
const Script::Assertion* find_false(const Script& script, const Terms& terms,
                                    const Values& values);

}  // namespace vorn::checker

#endif  // VORN_CHECKER_ANSWER_H
