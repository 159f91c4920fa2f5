// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_BOUND_READER_H
#define VORN_SMTLIB_BOUND_READER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "solver/smtlib/lexer.h"
#include "solver/smtlib/operators.h"
#include "solver/smtlib/symbol_table.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// Reads assertions that state one bound, as large scripts have them by the
/// million, in one pass over their text: a comparison of a symbol or the
/// difference of two with a number or a symbol, as in
///
///   (<= (- x y) 3)    (> x (- 4))    (<= (- x y) 2.5)    (< x y)
///
/// without comments or quoted symbols inside, and with numbers of up to 18
/// digits; and the same as members of an asserted conjunction and under names.
/// What it gives is what the TermParser would give, except that
/// nothing shares the terms made for the assertion alone; such a bound is
/// always inside difference logic. All else is left to the TermParser, mistakes
/// included.
///
/// Ownership: borrows all three. Threads: none.
class BoundReader {
 public:
  /// A reader of what lies ahead of the lexer, which makes its terms in the
  /// store.
  BoundReader(Lexer& lexer, TermStore& store, const SymbolTable& symbols)
      : lexer_(lexer), store_(store), symbols_(symbols) {}

  /// What the numbers and operators of the logic are.
  void set_arithmetic(const Arithmetic& arithmetic) {
    arithmetic_ = arithmetic;
  }

  /// A bound as it was read.
  struct Bound {
    /// The atom.
    const Term* term = nullptr;
    /// The same: the sum is at most 0, or below.
    const LinearSum* sum = nullptr;
    /// Whether it is below.
    bool is_strict = false;
    /// As written.
    std::string_view text;
  };

  /// Reads the rest of the command, of which "assert" is the current token; its
  /// closing bracket is current afterwards. Null, with nothing read, if this is
  /// no such bound, or not all of it has arrived. The bound is there until the
  /// lexer reads on.
  const Bound* read();
  /// Reads the rest of a term of which the opening bracket is the current
  /// token; its closing bracket is current afterwards. Null, with nothing read,
  /// as above.
  const Term* read_atom();

 private:
  /// A side of the comparison.
  struct Side {
    // The difference of two symbols, or the only one and null; both null for a
    // number.
    const Term* first = nullptr;
    const Term* second = nullptr;
    QNumber number;
    bool is_decimal = false;
  };

  /// A comparison.
  struct Comparison {
    bool is_strict = false;
    bool is_reversed = false;
    Side left;
    Side right;
    Sort sort = Sort::kInt;
  };

  void start();
  void look_ahead();
  bool read_comparison(Comparison& comparison);
  const Term* make_atom(const Comparison& comparison);
  bool skip(char c);
  bool skip_blanks();
  std::string_view read_word();
  bool read_side(Side& side);
  bool read_inner(Side& side);
  bool read_number(Side& side);
  const Term* read_symbol();
  const Term* make_side(const Side& side, Sort sort);
  void add_to_sum(const Side& side, bool is_negated);

  Lexer& lexer_;
  TermStore& store_;
  const SymbolTable& symbols_;
  Arithmetic arithmetic_;
  std::string_view text_;  // what has arrived
  std::size_t pos_ = 0;
  bool has_line_end_ = false;
  /// Up to where names that come were seen; and the last of these, by number.
  const char* seen_ = nullptr;
  static constexpr std::size_t kNamesAhead = 32;
  std::array<std::uint32_t, kNamesAhead> names_ahead_{};
  std::size_t num_names_ = 0;
  Bound bound_;
  LinearSum sum_;
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_BOUND_READER_H
