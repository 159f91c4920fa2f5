// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_TERM_PARSER_H
#define VORN_SMTLIB_TERM_PARSER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "solver/smtlib/bound_reader.h"
#include "solver/smtlib/lexer.h"
#include "solver/smtlib/logics.h"
#include "solver/smtlib/operators.h"
#include "solver/smtlib/symbol_table.h"
#include "solver/smtlib/term_record.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// A term with the place of its text in its command.
struct WrittenTerm : PlacedTerm {
  /// Where its text begins, counted like Token::begin.
  std::size_t begin = 0;
  /// Where it ends, likewise.
  std::size_t end = 0;
};

/// A term read from a script.
struct ParsedTerm : WrittenTerm {
  /// The name that an annotation around the whole term gives to it.
  std::optional<std::string> name;
};

/// Reads terms, building them while it reads.
///
/// There is no recursion: depth costs one frame on an explicit stack per open
/// bracket. A variable bound by `let` stands for its shared term, so nothing
/// is ever written out twice.
///
/// Names given by `:named` enter the symbol table at once; after an error the
/// caller rolls the table back.
class TermParser {
 public:
  /// A name given by `:named`.
  struct Name {
    /// As declared, without bars.
    std::string name;
    /// What it names.
    const Term* term;
  };

  /// All are borrowed.
  TermParser(Lexer& lexer, TermStore& store, SymbolTable& symbols)
      : lexer_(lexer), store_(store), symbols_(symbols), builder_(store) {}

  /// Which sorts and numerals there are from now on.
  void set_arithmetic(const Arithmetic& arithmetic) {
    arithmetic_ = arithmetic;
    builder_.set_mixed(arithmetic.is_mixed());
  }

  /// Keeps terms as they are written, too, from now on. Borrowed.
  void set_record(TermRecord* record) { record_ = record; }

  /// Reads with this where it can, from now on. Borrowed.
  void set_bounds(BoundReader* bounds) { bounds_ = bounds; }

  /// To be called before the first term of each command. `names_allowed`:
  /// whether its terms may carry `:named`.
  void start_command(bool names_allowed);

  /// Reads the term that starts with the lexer's current token; the term's last
  /// token is current afterwards. False with error() set if there is none.
  bool parse(ParsedTerm& result);

  /// Reads the sort that starts with the current token, likewise.
  bool parse_sort(Sort& sort);

  /// After a call has returned false: why.
  const ScriptError& error() const { return error_; }

  /// The terms named since start_command, in order.
  const std::vector<Name>& names() const { return names_; }

  /// The comparisons read since start_command, in order. A chain of them has
  /// each of its atoms at the place of the whole.
  const std::vector<WrittenTerm>& atoms() const { return atoms_; }
  /// The uses of functions with parameters.
  const std::vector<WrittenTerm>& expansions() const { return expansions_; }

  /// What was written for `atom`, made in the course of reading `term` in this
  /// command; if that is not known, the term.
  WrittenTerm find_atom(const Term* atom, const WrittenTerm& term) const;

  /// What applies functions.
  OperatorBuilder& builder() { return builder_; }

 private:
  enum class FrameKind : std::uint8_t {
    kApply,
    kLetBindings,
    kLetBody,
    kAnnotation,
  };
  struct Frame {
    FrameKind kind;
    Operator op = Operator::kNone;
    const Macro* macro = nullptr;  // if op is kNone and kind is kApply
    Position open;
    Position head;
    std::size_t begin = 0;
    // Index into arguments_ of the first one.
    std::size_t first = 0;
    // kLetBindings: index into variables_ of the first one. kLetBody: the
    // number of variables bound around the `let`.
    std::size_t mark = 0;
  };

  bool fail(Position position, std::string message);
  bool fail_at_token(const char* expected);
  bool expect_close(const char* expected);
  // Requires: nothing is left of the term before.
  bool do_parse(ParsedTerm& result);
  bool read_start(PlacedTerm& value);
  bool read_number(PlacedTerm& value);
  bool read_name(PlacedTerm& value);
  bool open_bracket(PlacedTerm& value);
  bool read_bound(PlacedTerm& value);
  bool read_qualified(PlacedTerm& value);
  bool open_application(Position open, std::size_t begin, PlacedTerm& value);
  bool open_binding();
  bool deliver(PlacedTerm& value);
  bool next_binding(PlacedTerm& value);
  bool read_attributes(PlacedTerm& value);
  bool read_attribute_name(const PlacedTerm& value);
  bool finish_application(PlacedTerm& value);
  bool expand_macro(const Frame& frame, PlacedTerm& value);
  void note_atoms(const Frame& frame, const Term* term);

  Lexer& lexer_;
  TermStore& store_;
  SymbolTable& symbols_;
  OperatorBuilder builder_;
  Arithmetic arithmetic_;
  bool names_allowed_ = false;
  TermRecord* record_ = nullptr;
  BoundReader* bounds_ = nullptr;
  std::vector<Frame> frames_;
  std::vector<PlacedTerm> arguments_;
  std::vector<std::string> variables_;
  std::optional<std::string> outer_name_;
  std::vector<Name> names_;
  std::vector<WrittenTerm> atoms_;
  // Uses of macros, whose atoms are not in atoms_.
  std::vector<WrittenTerm> expansions_;
  ScriptError error_;
};

/// The error that the lexer's current token is, where `expected` was expected.
ScriptError unexpected_token(const Lexer& lexer, const char* expected);

/// Reads the rest of the expression that starts with the current token.
/// False if it holds a malformed token or the script ends; that token is
/// current then.
bool skip_expression(Lexer& lexer);

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_TERM_PARSER_H
