// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_BRUTEFORCE_FORMULA_H
#define VORN_TESTS_BRUTEFORCE_FORMULA_H

#include <gmpxx.h>

#include <memory>
#include <vector>

// Formulas as the tests understand them: a tree of SMT-LIB applications with
// let and macros already expanded. Nothing here is shared with the solver, so
// that a misreading of the language there cannot hide behind the same one here.

namespace vorn::bruteforce {

enum class Sort { kBool, kInt, kReal };

enum class Op {
  kTrue,
  kFalse,
  kNumber,
  kVariable,
  kParameter,  // of a macro; replaced where the macro is used
  kNot,
  kAnd,
  kOr,
  kXor,      // left associative
  kImplies,  // right associative
  kEqual,    // of neighbours
  kDistinct,
  kIte,
  kLeq,  // the four comparisons hold of all neighbours
  kLess,
  kGeq,
  kGreater,
  kPlus,
  kMinus,  // of one argument: negation
  kTimes,
  kDivide,
  kAbs,
  kIntDivide,  // by its definition: a remainder from 0 to below the divisor
  kRemainder,
  kToReal,
  kToInt,
  kIsInt,
};

struct Node;
using Formula = std::shared_ptr<const Node>;

struct Node {
  Op op;
  Sort sort;
  std::vector<Formula> args;
  /// kVariable: which one of its sort. kParameter: the position.
  int index = 0;
  mpq_class value;  // kNumber
};

Formula make_variable(Sort sort, int index);
Formula make_parameter(Sort sort, int position);
Formula make_number(const mpq_class& value, Sort sort);
Formula make(Op op, Sort sort, std::vector<Formula> args);

/// `body` with arguments[i] in place of parameter i.
Formula substitute(const Formula& body, const std::vector<Formula>& arguments);

/// The greatest integer that is not above the value.
mpq_class floor(const mpq_class& value);

/// Values of the variables of each sort, by index.
struct Values {
  std::vector<bool> bools;
  std::vector<mpq_class> ints;
  std::vector<mpq_class> reals;
};

/// The value of a formula or term, by its definition.
bool truth(const Node& node, const Values& values);
mpq_class number(const Node& node, const Values& values);

}  // namespace vorn::bruteforce

#endif  // VORN_TESTS_BRUTEFORCE_FORMULA_H
