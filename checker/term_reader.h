// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_TERM_READER_H
#define VORN_CHECKER_TERM_READER_H

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "checker/reader.h"
#include "checker/symbols.h"
#include "checker/terms.h"

namespace vorn::checker {

/// Reads terms, with let and definitions expanded and names of terms bound.
///
/// Nesting costs memory, but no stack of the machine.
class TermReader {
 public:
  /// All are borrowed. `numerals`: the sort of numbers without a point.
  TermReader(Reader& reader, Terms& terms, Symbols& symbols, Sort numerals)
      : reader_(reader),
        terms_(terms),
        symbols_(symbols),
        numerals_(numerals) {}

  /// Reads the term that the current token begins, to its last token.
  TermId read(bool names_allowed = true);

  /// The same of a term that must be of sort Bool.
  TermId read_formula();

  /// The name that the outermost (! ... :named) of the last term gave to it.
  const std::optional<std::string>& outer_name() const { return outer_name_; }

  /// Reads a sort, from the next token on.
  Sort read_sort();

  /// Sets the sort of numbers without a point.
  void set_numerals(Sort numerals) { numerals_ = numerals; }

 private:
  enum class FrameKind { kApply, kBindings, kBody, kNote };
  struct Frame {
    FrameKind kind;
    Meaning head;           // kApply: operator or macro
    Position position;      // of the bracket
    std::size_t first = 0;  // of its arguments in args_, variables in names_
    std::size_t bound = 0;  // what was bound outside of a let
  };

  TermId start();
  TermId deliver(TermId term);
  TermId open();
  TermId close_application();
  TermId read_number();
  TermId read_symbol();
  void open_binding();
  void close_bindings();
  void read_attributes(TermId term);

  Reader& reader_;
  Terms& terms_;
  Symbols& symbols_;
  Sort numerals_;
  std::vector<Frame> frames_;
  std::vector<TermId> args_;            // of all open frames
  std::vector<std::string> variables_;  // of all open bindings
  // Names given inside the term at hand. They outlast the lets around them, and
  // so are bound only behind the term.
  std::unordered_map<std::string, TermId> named_;
  bool names_allowed_ = true;
  std::optional<std::string> outer_name_;
};

}  // namespace vorn::checker

#endif  // VORN_CHECKER_TERM_READER_H
