// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_SCRIPT_H
#define VORN_CHECKER_SCRIPT_H

#include <cstddef>
#include <deque>
#include <istream>
#include <string>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "checker/reader.h"
#include "checker/terms.h"

namespace vorn::checker {

/// A define-fun with parameters.
struct Macro {
  TermIds parameters;     ///< Symbols in the body.
  TermId body = kNoTerm;  ///< What it stands for.
};

/// What a symbol means: nothing, a term, a function of the language, a
/// definition with parameters, or a sort.
using Meaning =
    std::variant<std::monostate, TermId, const Operator*, const Macro*, Sort>;

/// What symbols mean, now: the language's own, declarations, definitions, named
/// terms, and for a while variables.
class Symbols {
 public:
  /// Meanings to take back, the last one first.
  using Hidden = std::vector<std::pair<Meaning*, Meaning>>;

  Hidden global;  ///< What the script has bound.
  Hidden local;   ///< What let and definitions have, while they are read.

  /// Knows what the language defines.
  explicit Symbols(const Terms& terms);
  Symbols(const Symbols&) = delete;
  Symbols& operator=(const Symbols&) = delete;

  /// The meaning of a symbol. That of a sort has a bar before its name, which
  /// no other symbol has.
  Meaning find(const std::string& name) { return meanings_[name]; }

  /// Whether a script may give the symbol a meaning.
  bool is_free(const std::string& name);

  /// Gives a symbol a meaning, and puts what that hides into `global` or
  /// `local`. Of symbols in `local`, none is bound in `global`.
  void bind(const std::string& name, Meaning meaning, Hidden& hidden) {
    Meaning& now = meanings_[name];
    hidden.emplace_back(&now, now);
    now = meaning;
  }

  /// Takes all back that was bound after the first `count`.
  static void unbind(Hidden& hidden, std::size_t count) {
    for (; hidden.size() > count; hidden.pop_back()) {
      *hidden.back().first = hidden.back().second;
    }
  }

 private:
  Names<Meaning> meanings_;
};

/// A term of sort Bool where it is written.
struct Formula {
  TermId term = kNoTerm;  ///< What it says.
  std::string name;       ///< What its outermost (! ... :named) gives, or "".
  Position position;      ///< Where it stands.
};

/// What one check of a script asks, with all that is in scope there. Proofs and
/// models add their terms.
struct Script {
  Terms terms;                 ///< All terms.
  Symbols symbols{terms};      ///< What is in scope.
  std::deque<Macro> macros;    ///< What symbols refer to.
  Sort numerals = Sort::kInt;  ///< Of numbers without a point.
  /// The assertions in scope, and the check's assumptions, without names.
  std::vector<Formula> assertions;
};

/// Reads terms, with let and definitions expanded and names of terms bound.
///
/// Nesting costs memory, but no stack of the machine.
class TermReader : public Reader {
 public:
  /// Both are borrowed; terms and names are added to the script.
  TermReader(std::istream& in, Script& script)
      : Reader(in),
        script_(script),
        terms_(script.terms),
        symbols_(script.symbols) {}

  /// Reads the term that the current token begins, to its last token.
  TermId read();

  /// The same of a term that must be of sort Bool.
  Formula read_formula();

  /// Reads what stands behind the name in a definition: parameters, if there
  /// are any, a sort and a term of it.
  Macro read_definition(bool has_parameters);

  /// Reads a sort, from the next token on.
  Sort read_sort();

 protected:
  Script& script_;    ///< What is added to.
  Terms& terms_;      ///< Its terms.
  Symbols& symbols_;  ///< Its symbols.

 private:
  enum class FrameKind { kApply, kLet, kBinding, kNote };
  struct Frame {
    FrameKind kind = FrameKind::kApply;
    Position position;            // of the bracket
    std::size_t first = 0;        // of its arguments in args_
    Meaning head = {};            // kApply: function or definition
    std::size_t num_outside = 0;  // kLet: how many symbols are local
  };

  void open();
  void close();
  void read_binding();
  void read_attributes();
  TermId read_symbol();
  TermId apply(const Frame& frame);

  std::vector<Frame> frames_;
  TermIds args_;                        // of all open frames
  TermIds last_args_;                   // of the frame that is being closed
  std::vector<std::string> variables_;  // with a value in args_, each of a let
  bool names_allowed_ = true;
  std::string outer_name_;
};

/// Reads a script up to its check number `check`, from 1, or the last one for
/// 0, into an empty Script; returns the number of that check. Throws Rejection,
/// also if there are fewer checks.
std::size_t read_script(const std::string& text, std::size_t check,
                        Script& script);

}  // namespace vorn::checker

#endif  // VORN_CHECKER_SCRIPT_H
