// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_SUBSTITUTION_H
#define VORN_SMTLIB_SUBSTITUTION_H

#include <unordered_map>

#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// What to put in the place of which symbol.
using Replacements = std::unordered_map<const Term*, const Term*>;

/// The term with its symbols replaced, all at once. A replacement has the sort
/// of the symbol it replaces.
/// Cost: linear in the distinct subterms of `term`, for any depth.
const Term* substitute(TermStore& store, const Term* term,
                       const Replacements& replacements);

/// Whether `part` is `whole` or occurs in it. Cost: as above.
bool occurs_in(const Term* part, const Term* whole);

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_SUBSTITUTION_H
