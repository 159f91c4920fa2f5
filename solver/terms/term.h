// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_TERM_H
#define VORN_SOLVER_TERMS_TERM_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <string>

#include "vorn/numbers/q_number.h"
#include "vorn/services/term.h"

namespace vorn::solver {

enum class Sort : std::uint8_t { kBool, kInt, kReal };

/// What a term's root is. The number of arguments is fixed by the kind, except
/// where "n-ary" says two or more.
enum class Kind : std::uint8_t {
  kTrue,
  kFalse,
  kSymbol,    // a declared constant of any sort; carries name()
  kNumber,    // an exact rational of sort kInt or kReal; carries number()
  kNot,       // unary
  kAnd,       // n-ary
  kOr,        // n-ary
  kXor,       // binary
  kImplies,   // binary
  kEqual,     // binary; both arguments Boolean, or both arithmetic
  kDistinct,  // n-ary, pairwise; all arguments Boolean, or all arithmetic
  kIte,       // condition, then, else; the branches Boolean, or arithmetic
  kLeq,       // binary, arithmetic arguments
  kLess,      // binary, arithmetic arguments
  kPlus,      // n-ary, arithmetic
  kTimes,     // binary, arithmetic; linearity is the lineariser's business
};

/// One immutable node of the term graph, made by a TermStore and handled as
/// `const Term*` everywhere.
///
/// Two terms of one store are equal exactly when they are the same pointer, so
/// a pointer comparison and `id` (an inherited member) stand in for structural
/// comparison and hashing.
///
/// Invariants:
///  (1) every argument was made before the term itself, so its id is smaller:
///      descending ids visit parents before children, without a search;
///  (2) a term is Boolean or arithmetic by its sort; an arithmetic term is
///      kReal as soon as one of its arithmetic arguments is.
/// Ownership: the store owns the node and all it points to; pointers stay valid
/// until the store is destroyed or swept without keeping the term.
struct Term : Term_ {
  /// What the root is.
  Kind kind = Kind::kTrue;
  /// What kind of value it has.
  Sort sort = Sort::kBool;
  /// How many arguments it has.
  std::uint32_t num_args = 0;

  Term(const Term&) = delete;
  Term& operator=(const Term&) = delete;

  /// The arguments, `num_args` of them, in the order they were given.
  const Term* const* args() const {
    return num_args == 0 ? nullptr : payload_.args;
  }

  /// Requires: i < num_args.
  const Term* arg(std::size_t i) const {
    assert(i < num_args);
    return payload_.args[i];
  }

  /// Requires: kind is kNumber.
  const QNumber& number() const {
    assert(kind == Kind::kNumber);
    return *payload_.number;
  }

  /// The name as declared, without the bars of a quoted symbol.
  /// Requires: kind is kSymbol.
  const std::string& name() const {
    assert(kind == Kind::kSymbol);
    return *payload_.name;
  }

  /// Whether its sort is Bool, so that it has a truth value.
  bool is_bool() const { return sort == Sort::kBool; }
  /// Whether its sort is Int or Real, so that it has a number for a value.
  bool is_arithmetic() const { return sort != Sort::kBool; }

 private:
  friend class TermStore;

  Term() : Term_() {}

  // Which member is live follows from `kind`. One word for all three keeps a
  // leaf at 24 bytes; the arguments lie in the store's argument pool.
  union Payload {
    const Term* const* args;
    const QNumber* number;
    const std::string* name;
  };
  Payload payload_ = {nullptr};
};

// A literal keeps its negation flag in the lowest bit of a term pointer.
static_assert(alignof(Term) >= 2, "the lowest pointer bit must be free");

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_TERM_H
