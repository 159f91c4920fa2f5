// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_BRUTEFORCE_REPLIES_H
#define VORN_TESTS_BRUTEFORCE_REPLIES_H

#include <gmpxx.h>

#include <optional>
#include <string>
#include <vector>

namespace vorn::bruteforce {

/// An s-expression: an atom, or a list.
struct Expression {
  bool is_list = false;
  std::string atom;
  std::vector<Expression> items;
};

/// Reads one expression that fills the text; nothing if there is none.
std::optional<Expression> read_expression(const std::string& text);

/// The expression with single spaces between its parts.
std::string to_text(const Expression& expression);

/// A value of sort Int or Real as SMT-LIB prints it: 3, 3.0, (- 3),
/// (/ 1.0 3.0), (- (/ 1.0 3.0)). Nothing for other expressions.
std::optional<mpq_class> read_number(const Expression& expression);

/// Whether the expression is "true" or "false"; nothing if neither.
std::optional<bool> read_truth(const Expression& expression);

}  // namespace vorn::bruteforce

#endif  // VORN_TESTS_BRUTEFORCE_REPLIES_H
