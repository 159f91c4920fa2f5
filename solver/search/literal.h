// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_LITERAL_H
#define VORN_SOLVER_SEARCH_LITERAL_H

#include <cassert>
#include <cstddef>

namespace vorn::solver {

/// What an assignment says about a literal or a variable. The numeric values
/// make negation of a literal the negation of its value.
enum class Value : signed char { kFalse = -1, kUnassigned = 0, kTrue = 1 };

/// A Boolean variable or its negation, as one integer.
///
/// The code is 2 * variable + negated, so that the two literals of a variable
/// are neighbours and arrays over literals are dense. The order is the order
/// of the codes. A default-made literal is undefined: it equals only itself
/// and must not be asked for its variable or negated.
class Literal {
 public:
  /// Largest variable index plus one: codes must leave room for one tag bit
  /// in an unsigned 32-bit word.
  static constexpr int kMaxVariables = 1 << 30;

  constexpr Literal() = default;
  /// Requires: 0 <= variable < kMaxVariables.
  constexpr Literal(int variable, bool negated)
      : code_(2 * variable + static_cast<int>(negated)) {}

  /// Requires: `code` came from code() of a defined literal.
  static constexpr Literal from_code(int code) {
    Literal result;
    result.code_ = code;
    return result;
  }

  /// False for a default-made literal only.
  constexpr bool is_defined() const { return code_ >= 0; }
  /// The variable, negated or not. Requires: is_defined().
  constexpr int variable() const {
    assert(is_defined());
    return code_ >> 1;
  }
  /// Whether it is the negation of its variable. Requires: is_defined().
  constexpr bool is_negated() const { return (code_ & 1) != 0; }
  /// 2 * variable + negated; below 0 if undefined.
  constexpr int code() const { return code_; }
  /// The code as a position in an array over literals.
  constexpr std::size_t index() const {
    assert(is_defined());
    return static_cast<std::size_t>(code_);
  }

  /// The negation. Requires: is_defined().
  constexpr Literal operator~() const {
    assert(is_defined());
    return from_code(code_ ^ 1);
  }
  /// Undefined literals are equal.
  friend constexpr bool operator==(Literal a, Literal b) {
    return a.code_ == b.code_;
  }
  /// Not equal.
  friend constexpr bool operator!=(Literal a, Literal b) {
    return a.code_ != b.code_;
  }
  /// By variable, the negation second; the undefined one is first.
  friend constexpr bool operator<(Literal a, Literal b) {
    return a.code_ < b.code_;
  }

 private:
  int code_ = -1;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_LITERAL_H
