// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_SYMBOLS_H
#define VORN_CHECKER_SYMBOLS_H

#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include "checker/names.h"
#include "checker/terms.h"

namespace vorn::checker {

/// A define-fun with parameters.
struct Macro {
  /// Its parameters, as terms.
  std::vector<TermId> parameters;
  /// What it stands for.
  TermId body = kNoTerm;
};

/// What a symbol means.
struct Meaning {
  /// A term, if it stands for one.
  TermId term = kNoTerm;
  /// An operator of the language, if it stands for one.
  Op op = Op::kNone;
  /// A number for Symbols::macro(), if it stands for a macro, or 0.
  std::size_t macro = 0;

  /// Whether it means anything.
  bool exists() const {
    return term != kNoTerm || op != Op::kNone || macro > 0;
  }
};

/// What the symbols of a script mean, now: the language's own, declarations,
/// definitions, named terms, and for a while the variables of let.
class Symbols {
 public:
  /// Knows the operators, true and false.
  explicit Symbols(const Terms& terms);

  /// The meaning of a symbol; one that does not exist for an unknown symbol.
  Meaning find(std::string_view name);

  /// Gives a symbol a meaning, which hides the one that it may have.
  void bind(std::string_view name, Meaning meaning);

  /// How many times bind() counts.
  std::size_t num_bound() const { return hidden_.size(); }

  /// Takes all back that was bound after the first `count`.
  void unbind_to(std::size_t count);

  /// Keeps a macro and returns its number.
  std::size_t add_macro(Macro macro);

  /// A macro by its number.
  const Macro& macro(std::size_t number) const { return macros_[number - 1]; }

  /// Names of symbols.
  Names& names() { return names_; }

 private:
  Names names_;
  std::vector<Meaning> meanings_;                   // by number of the name
  std::vector<std::pair<NameId, Meaning>> hidden_;  // what bind() has hidden
  std::vector<Macro> macros_;
};

/// The body of the macro with these arguments, which have the parameters'
/// sorts, in the parameters' place. Cost: linear in the body's distinct
/// subterms.
TermId expand(Terms& terms, const Macro& macro,
              const std::vector<TermId>& arguments);

/// The distinct subterms of `roots`, bottom up.
std::vector<TermId> subterms(const Terms& terms,
                             const std::vector<TermId>& roots);

}  // namespace vorn::checker

#endif  // VORN_CHECKER_SYMBOLS_H
