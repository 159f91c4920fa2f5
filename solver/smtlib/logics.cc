// SPDX-License-Identifier: MIT
#include "solver/smtlib/logics.h"

#include "solver/terms/term_printer.h"

// The names of SMT-LIB's logics are made of parts: QF_ without quantifiers;
// theories in a fixed order; last the arithmetic. So they are read by their
// parts, and a combination that nobody has used yet is known, too.

namespace vorn::solver {
namespace {

constexpr std::string_view kQuantifierFree = "QF_";

struct TheoryName {
  std::string_view name;
  // Whether scripts can do without its own sorts.
  bool is_optional;
};

// Arrays, uninterpreted functions, bit vectors, floating point, data types,
// strings, in the order in which names have them. AX comes before A.
constexpr TheoryName kTheories[] = {{"AX", true},  {"A", true},   {"UF", true},
                                    {"BV", false}, {"FP", false}, {"DT", true},
                                    {"S", false}};

struct ArithmeticName {
  std::string_view name;
  Arithmetic arithmetic;
};

constexpr Arithmetic kInts{true, false, Sort::kInt};
constexpr Arithmetic kReals{false, true, Sort::kReal};
constexpr Arithmetic kBoth{true, true, Sort::kInt};
constexpr Arithmetic kNone{false, false, Sort::kInt};

constexpr ArithmeticName kArithmetics[] = {
    {"IDL", kInts},  {"RDL", kReals}, {"LIA", kInts},  {"LRA", kReals},
    {"LIRA", kBoth}, {"NIA", kInts},  {"NRA", kReals}, {"NIRA", kBoth},
};

bool take(std::string_view& text, std::string_view start) {
  if (text.substr(0, start.size()) != start) return false;
  text.remove_prefix(start.size());
  return true;
}

}  // namespace

std::optional<Arithmetic> arithmetic_of_logic(std::string_view name) {
  if (name == "ALL") return kBoth;
  std::string_view rest = name;
  if (!take(rest, kQuantifierFree) || rest.empty()) return std::nullopt;
  bool needs_arithmetic = false;
  for (const TheoryName& theory : kTheories) {
    if (take(rest, theory.name) && !theory.is_optional) needs_arithmetic = true;
  }
  if (rest.empty() && !needs_arithmetic) return kNone;
  for (const ArithmeticName& known : kArithmetics) {
    if (rest == known.name) return known.arithmetic;
  }
  return std::nullopt;
}

std::string describe_unknown_logic(std::string_view name) {
  const std::string text = "logic " + print_symbol(name);
  const std::string without = std::string(kQuantifierFree) + std::string(name);
  if (arithmetic_of_logic(without).has_value()) {
    return text + " has quantifiers, which are not supported; " + without +
           " is the same without";
  }
  return text +
         " is not supported, only ALL and quantifier-free logics with integers "
         "or reals, such as QF_IDL, QF_RDL and QF_LIA";
}

}  // namespace vorn::solver
