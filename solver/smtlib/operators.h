// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_OPERATORS_H
#define VORN_SMTLIB_OPERATORS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "solver/smtlib/lexer.h"
#include "solver/smtlib/logics.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// The predefined functions.
enum class Operator : std::uint8_t {
  kNone,
  kTrue,
  kFalse,
  kNot,
  kAnd,
  kOr,
  kXor,
  kImplies,
  kEqual,
  kDistinct,
  kIte,
  kLeq,
  kLess,
  kGeq,
  kGreater,
  kPlus,
  kMinus,
  kTimes,
  kDivide,
  kAbs,
  kDiv,
  kMod,
  kToReal,
  kToInt,
  kIsInt,
};

inline constexpr std::pair<std::string_view, Operator> kOperatorNames[] = {
    {"true", Operator::kTrue},
    {"false", Operator::kFalse},
    {"not", Operator::kNot},
    {"and", Operator::kAnd},
    {"or", Operator::kOr},
    {"xor", Operator::kXor},
    {"=>", Operator::kImplies},
    {"=", Operator::kEqual},
    {"distinct", Operator::kDistinct},
    {"ite", Operator::kIte},
    {"<=", Operator::kLeq},
    {"<", Operator::kLess},
    {">=", Operator::kGeq},
    {">", Operator::kGreater},
    {"+", Operator::kPlus},
    {"-", Operator::kMinus},
    {"*", Operator::kTimes},
    {"/", Operator::kDivide},
};

/// Functions that some logics have and others have not. So a script may give
/// their names to something of its own.
inline constexpr std::pair<std::string_view, Operator> kArithmeticNames[] = {
    {"abs", Operator::kAbs},      {"div", Operator::kDiv},
    {"mod", Operator::kMod},      {"to_real", Operator::kToReal},
    {"to_int", Operator::kToInt}, {"is_int", Operator::kIsInt},
};

/// What this is the name of in a logic with such arithmetic: one of
/// kArithmeticNames, or kNone.
Operator find_arithmetic_operator(std::string_view name,
                                  const Arithmetic& arithmetic);

/// The name of a predefined function other than kNone.
std::string_view operator_name(Operator op);

/// The number of a term in a TermRecord.
using RecordId = std::uint32_t;

/// The number of no term.
inline constexpr RecordId kNotRecorded = 0;

/// A term together with where it was written.
struct PlacedTerm {
  /// The term.
  const Term* term = nullptr;
  /// Where its text begins.
  Position position;
  /// As it is written; kNotRecorded unless proofs are kept.
  RecordId written = kNotRecorded;
};

/// Applies predefined functions with the rules of SMT-LIB for their numbers
/// and sorts of arguments: chains of comparisons, left and right
/// associativity, numerals that become reals beside reals. In a logic with both
/// sorts an integer term stands beside reals as its value: 1.0 times the term.
///
/// Cost: O(arguments) new terms for one application; `distinct` is one term.
class OperatorBuilder {
 public:
  /// `store` is borrowed.
  explicit OperatorBuilder(TermStore& store) : store_(store) {}

  /// Whether there are both integers and reals from now on; at first not.
  void set_mixed(bool mixed) { mixed_ = mixed; }

  /// The application of `op`, written at `position`, or null with `error` set.
  /// May turn numbers of sort kInt in `arguments` into reals.
  /// Requires: op is not kNone.
  const Term* apply(Operator op, Position position, PlacedTerm* arguments,
                    std::size_t count, ScriptError& error);

  /// The term as one of this sort, or null if it has another one and cannot be
  /// read as it: numbers can, and in a logic with both sorts all integers.
  const Term* as_sort(const Term* term, Sort sort);

 private:
  bool check_count(Operator op, Position position, std::size_t count,
                   ScriptError& error) const;
  bool check_bool(Operator op, const PlacedTerm& argument,
                  ScriptError& error) const;
  bool unify(Operator op, PlacedTerm* arguments, std::size_t count,
             bool bool_allowed, ScriptError& error);
  const Term* apply_bool(Operator op, const PlacedTerm* arguments,
                         std::size_t count);
  const Term* apply_arithmetic(Operator op, const PlacedTerm* arguments,
                               std::size_t count);
  const Term* chain(Operator op, const PlacedTerm* arguments,
                    std::size_t count);
  const Term* divide(PlacedTerm* arguments, std::size_t count,
                     ScriptError& error);
  const Term* divide_integers(Operator op, const PlacedTerm* arguments,
                              std::size_t count, ScriptError& error);
  const Term* absolute(const Term* term);
  const Term* convert(Operator op, const PlacedTerm& argument,
                      ScriptError& error);
  std::vector<const Term*> terms(const PlacedTerm* arguments,
                                 std::size_t count) const;

  TermStore& store_;
  Lineariser lineariser_;
  bool mixed_ = false;
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_OPERATORS_H
