// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_TERM_PRINTER_H
#define VORN_SOLVER_TERMS_TERM_PRINTER_H

#include <cstddef>
#include <string>
#include <string_view>

#include "solver/terms/term.h"

namespace vorn::solver {

/// The term as SMT-LIB 2.6 text, on one line.
///
/// A subterm that is used more than once is written once and bound by `let`,
/// so the text is linear in the number of distinct subterms. A term whose full
/// tree has at most `expand_limit` nodes is written out without `let` instead.
/// The bound names clash with no symbol of the term.
///
/// Numbers follow their own sort: 3 and (- 3) for kInt; 3.0, (- 3.0),
/// (/ 1.0 3.0) and (- (/ 1.0 3.0)) for kReal.
/// Cost: linear in the distinct subterms plus the text, for any depth.
std::string print_term(const Term* term, std::size_t expand_limit = 0);

/// The number as a value of the sort, in the forms that print_term uses.
/// Requires: sort is kInt and the value integral, or sort is kReal.
std::string print_value(const QNumber& value, Sort sort);

/// The symbol's spelling: in bars when it is no simple symbol of SMT-LIB or is
/// a reserved word. Requires: no '|' and no '\' in the name.
std::string print_symbol(std::string_view name);

/// Characters of unquoted symbols that are neither letters nor digits.
inline constexpr std::string_view kSymbolPunctuation = "~!@$%^&*_-+=<>.?/";

/// Whether an unquoted `name` belongs to the syntax of terms and can name
/// nothing.
bool is_reserved_word(std::string_view name);

/// "Bool", "Int" or "Real".
const char* print_sort(Sort sort);

/// How SMT-LIB calls what makes such terms of others, or a truth value.
/// Requires: kind is neither Kind::kSymbol nor Kind::kNumber.
const char* operator_of(Kind kind);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_TERM_PRINTER_H
