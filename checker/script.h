// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_SCRIPT_H
#define VORN_CHECKER_SCRIPT_H

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

#include "checker/reader.h"
#include "checker/symbols.h"
#include "checker/term_reader.h"
#include "checker/terms.h"

namespace vorn::checker {

/// How many checks a script makes: its check-sat and check-sat-assuming up to
/// an exit. Throws Rejection and Unreadable.
std::size_t count_checks(std::istream& in);

/// What one check of a script asks, with all that is in scope there.
class Script {
 public:
  /// What an assertion says, and its name or "".
  struct Assertion {
    /// The formula.
    TermId formula = kNoTerm;
    /// The name that its outermost (! ... :named) gives, or "".
    std::string name;
    /// Where the formula stands.
    Position position;
  };

  Script();
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;

  /// Reads a script up to its check number `check`, from 1. Throws Rejection,
  /// also if there are fewer checks, and Unreadable.
  void read(std::istream& in, std::size_t check);

  /// The assertions in scope.
  const std::vector<Assertion>& assertions() const { return assertions_; }
  /// The assumptions of a check-sat-assuming.
  const std::vector<Assertion>& assumptions() const { return assumptions_; }

  /// The terms of the script; proofs and models add theirs.
  Terms& terms() { return terms_; }
  /// What is in scope.
  Symbols& symbols() { return symbols_; }
  /// The sort of numbers without a point.
  Sort numerals() const { return numerals_; }

 private:
  struct Scope {
    std::size_t num_assertions;
    std::size_t num_bound;
  };

  void run(const std::string& command, Reader& reader, TermReader& term_reader);
  std::string read_new_symbol(Reader& reader);
  void declare(Reader& reader, TermReader& term_reader, bool has_parameters);
  void define(Reader& reader, TermReader& term_reader, bool has_parameters);
  void set_option(Reader& reader);
  void change_scopes(const std::string& command, Reader& reader);
  void reset_assertions();
  static Assertion read_formula(Reader& reader, TermReader& term_reader);

  Terms terms_;
  Symbols symbols_;
  Sort numerals_ = Sort::kInt;
  bool global_declarations_ = false;
  std::vector<Assertion> assertions_;
  std::vector<Assertion> assumptions_;
  std::vector<Scope> scopes_;
};

}  // namespace vorn::checker

#endif  // VORN_CHECKER_SCRIPT_H
