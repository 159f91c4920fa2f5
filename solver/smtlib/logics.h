// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_LOGICS_H
#define VORN_SMTLIB_LOGICS_H

#include <optional>
#include <string>
#include <string_view>

#include "solver/terms/term.h"

namespace vorn::solver {

/// Which arithmetic a script may use.
struct Arithmetic {
  /// Whether there is a sort Int.
  bool has_int = true;
  /// Whether there is a sort Real.
  bool has_real = true;
  /// What a numeral is by itself; beside a real it is a real anyway.
  Sort numeral_sort = Sort::kInt;

  /// Whether an integer may stand where a real is expected, as its value.
  bool is_mixed() const { return has_int && has_real; }
};

/// The arithmetic of a logic that holds difference logic, or a part of it:
/// ALL, and each quantifier-free logic with arithmetic or with nothing but
/// uninterpreted functions, arrays and data types beside the Booleans. What
/// else such a logic has is refused where a script uses it. Nothing for other
/// names.
std::optional<Arithmetic> arithmetic_of_logic(std::string_view name);

/// Why arithmetic_of_logic gives nothing, as the end of a sentence.
std::string describe_unknown_logic(std::string_view name);

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_LOGICS_H
