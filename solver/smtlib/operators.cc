// SPDX-License-Identifier: MIT
#include "solver/smtlib/operators.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

struct Arity {
  std::size_t least;
  std::size_t most;  // 0: no limit
};

Arity arity_of(Operator op) {
  switch (op) {
    case Operator::kNot:
    case Operator::kAbs:
    case Operator::kToReal:
    case Operator::kToInt:
    case Operator::kIsInt:
      return {1, 1};
    case Operator::kMod:
      return {2, 2};
    case Operator::kIte:
      return {3, 3};
    // The standard asks for two, but generators of scripts write conjunctions
    // and sums of one argument, whose meaning is plain.
    case Operator::kAnd:
    case Operator::kOr:
    case Operator::kPlus:
    case Operator::kMinus:
    case Operator::kTimes:
      return {1, 0};
    default:
      return {2, 0};
  }
}

std::string plural(std::size_t count, const char* noun) {
  return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

}  // namespace

std::string_view operator_name(Operator op) {
  for (const auto& [name, named] : kOperatorNames) {
    if (named == op) return name;
  }
  for (const auto& [name, named] : kArithmeticNames) {
    if (named == op) return name;
  }
  assert(false && "kNone has no name");
  return "";
}

Operator find_arithmetic_operator(std::string_view name,
                                  const Arithmetic& arithmetic) {
  const auto* const found =
      std::find_if(std::begin(kArithmeticNames), std::end(kArithmeticNames),
                   [name](const auto& entry) { return entry.first == name; });
  if (found == std::end(kArithmeticNames)) return Operator::kNone;
  bool exists = false;
  switch (found->second) {
    case Operator::kDiv:
    case Operator::kMod:
      exists = arithmetic.has_int;
      break;
    case Operator::kToReal:
      exists = arithmetic.has_real;
      break;
    case Operator::kToInt:
    case Operator::kIsInt:
      exists = arithmetic.is_mixed();
      break;
    default:
      exists = arithmetic.has_int || arithmetic.has_real;
      break;
  }
  return exists ? found->second : Operator::kNone;
}

bool OperatorBuilder::check_count(Operator op, Position position,
                                  std::size_t count, ScriptError& error) const {
  const Arity arity = arity_of(op);
  if (count >= arity.least && (arity.most == 0 || count <= arity.most)) {
    return true;
  }
  error.position = position;
  error.message = std::string(operator_name(op)) + " takes " +
                  (arity.most == 0 ? "at least " : "") +
                  plural(arity.least, "argument") + ", not " +
                  std::to_string(count);
  return false;
}

bool OperatorBuilder::check_bool(Operator op, const PlacedTerm& argument,
                                 ScriptError& error) const {
  if (argument.term->is_bool()) return true;
  error.position = argument.position;
  error.message = std::string(operator_name(op)) +
                  " expects a Bool here, not " +
                  (argument.term->sort == Sort::kInt ? "an " : "a ") +
                  print_sort(argument.term->sort);
  return false;
}

const Term* OperatorBuilder::as_sort(const Term* term, Sort sort) {
  if (term->sort == sort) return term;
  if (term->is_bool() || sort != Sort::kReal) return nullptr;
  if (term->kind == Kind::kNumber) {
    return store_.make_number(term->number(), Sort::kReal);
  }
  if (!mixed_) return nullptr;
  return store_.make_times(store_.make_number(QNumber(1), Sort::kReal), term);
}

// Makes the arguments agree in their sort.
bool OperatorBuilder::unify(Operator op, PlacedTerm* arguments,
                            std::size_t count, bool bool_allowed,
                            ScriptError& error) {
  const auto is_real = [](const PlacedTerm& a) {
    return a.term->sort == Sort::kReal;
  };
  Sort sort = arguments[0].term->sort;
  if (sort == Sort::kInt &&
      std::any_of(arguments, arguments + count, is_real)) {
    sort = Sort::kReal;
  }
  for (std::size_t i = 0; i < count; ++i) {
    const Sort own = arguments[i].term->sort;
    error.position = arguments[i].position;
    if (own == Sort::kBool && !bool_allowed) {
      error.message =
          std::string(operator_name(op)) + " expects a number here, not a Bool";
      return false;
    }
    const Term* term = as_sort(arguments[i].term, sort);
    if (term == nullptr) {
      error.message = std::string(operator_name(op)) + " mixes " +
                      print_sort(sort) + " and " + print_sort(own) +
                      " arguments";
      return false;
    }
    arguments[i].term = term;
  }
  return true;
}

std::vector<const Term*> OperatorBuilder::terms(const PlacedTerm* arguments,
                                                std::size_t count) const {
  std::vector<const Term*> result;
  result.reserve(count);
  for (std::size_t i = 0; i < count; ++i) result.push_back(arguments[i].term);
  return result;
}

const Term* OperatorBuilder::apply(Operator op, Position position,
                                   PlacedTerm* arguments, std::size_t count,
                                   ScriptError& error) {
  if (op == Operator::kTrue || op == Operator::kFalse) {
    error = {position, std::string(operator_name(op)) + " takes no arguments"};
    return nullptr;
  }
  if (!check_count(op, position, count, error)) return nullptr;
  switch (op) {
    case Operator::kNot:
    case Operator::kAnd:
    case Operator::kOr:
    case Operator::kXor:
    case Operator::kImplies:
      for (std::size_t i = 0; i < count; ++i) {
        if (!check_bool(op, arguments[i], error)) return nullptr;
      }
      return apply_bool(op, arguments, count);
    case Operator::kIte:
      if (!check_bool(op, arguments[0], error) ||
          !unify(op, arguments + 1, 2, true, error)) {
        return nullptr;
      }
      return store_.make_ite(arguments[0].term, arguments[1].term,
                             arguments[2].term);
    case Operator::kEqual:
      if (!unify(op, arguments, count, true, error)) return nullptr;
      return chain(op, arguments, count);
    case Operator::kDistinct:
      if (!unify(op, arguments, count, true, error)) return nullptr;
      return store_.make_distinct(terms(arguments, count));
    case Operator::kDivide:
      return divide(arguments, count, error);
    case Operator::kDiv:
    case Operator::kMod:
      return divide_integers(op, arguments, count, error);
    case Operator::kToReal:
    case Operator::kToInt:
    case Operator::kIsInt:
      return convert(op, arguments[0], error);
    default:
      if (!unify(op, arguments, count, false, error)) return nullptr;
      return apply_arithmetic(op, arguments, count);
  }
}

const Term* OperatorBuilder::apply_bool(Operator op,
                                        const PlacedTerm* arguments,
                                        std::size_t count) {
  switch (op) {
    case Operator::kNot:
      return store_.make_not(arguments[0].term);
    case Operator::kAnd:
      return store_.make_and(terms(arguments, count));
    case Operator::kOr:
      return store_.make_or(terms(arguments, count));
    case Operator::kXor: {
      const Term* result = arguments[0].term;
      for (std::size_t i = 1; i < count; ++i) {
        result = store_.make_xor(result, arguments[i].term);
      }
      return result;
    }
    default: {
      assert(op == Operator::kImplies);
      const Term* result = arguments[count - 1].term;
      for (std::size_t i = count - 1; i-- > 0;) {
        result = store_.make_implies(arguments[i].term, result);
      }
      return result;
    }
  }
}

// a op b op c means (a op b) and (b op c).
const Term* OperatorBuilder::chain(Operator op, const PlacedTerm* arguments,
                                   std::size_t count) {
  std::vector<const Term*> links;
  links.reserve(count - 1);
  for (std::size_t i = 1; i < count; ++i) {
    const Term* a = arguments[i - 1].term;
    const Term* b = arguments[i].term;
    switch (op) {
      case Operator::kEqual:
        links.push_back(store_.make_equal(a, b));
        break;
      case Operator::kLeq:
        links.push_back(store_.make_leq(a, b));
        break;
      case Operator::kLess:
        links.push_back(store_.make_less(a, b));
        break;
      case Operator::kGeq:
        links.push_back(store_.make_leq(b, a));
        break;
      default:
        assert(op == Operator::kGreater);
        links.push_back(store_.make_less(b, a));
        break;
    }
  }
  return links.size() == 1 ? links.front() : store_.make_and(links);
}

const Term* OperatorBuilder::apply_arithmetic(Operator op,
                                              const PlacedTerm* arguments,
                                              std::size_t count) {
  switch (op) {
    case Operator::kAbs:
      return absolute(arguments[0].term);
    case Operator::kPlus:
      return store_.make_plus(terms(arguments, count));
    case Operator::kMinus: {
      if (count == 1) return store_.make_negate(arguments[0].term);
      std::vector<const Term*> summands = {arguments[0].term};
      for (std::size_t i = 1; i < count; ++i) {
        summands.push_back(store_.make_negate(arguments[i].term));
      }
      return store_.make_plus(summands);
    }
    case Operator::kTimes: {
      const Term* result = arguments[0].term;
      for (std::size_t i = 1; i < count; ++i) {
        result = store_.make_times(result, arguments[i].term);
      }
      return result;
    }
    default:
      return chain(op, arguments, count);
  }
}

const Term* OperatorBuilder::divide(PlacedTerm* arguments, std::size_t count,
                                    ScriptError& error) {
  for (std::size_t i = 0; i < count; ++i) {
    const Term* real = as_sort(arguments[i].term, Sort::kReal);
    error.position = arguments[i].position;
    if (real == nullptr) {
      error.message = std::string("/ expects a Real here, not ") +
                      (arguments[i].term->is_bool() ? "a Bool" : "an Int");
      return nullptr;
    }
    if (i > 0 && real->kind != Kind::kNumber) {
      error.message = "/ by a term that is no number is not supported";
      return nullptr;
    }
    if (i > 0 && real->number().sign() == 0) {
      error.message = "division by zero";
      return nullptr;
    }
    arguments[i].term = real;
  }
  const Term* result = arguments[0].term;
  for (std::size_t i = 1; i < count; ++i) {
    QNumber inverse = 1;
    inverse /= arguments[i].term->number();
    result =
        store_.make_times(store_.make_number(inverse, Sort::kReal), result);
  }
  return result;
}

// The greatest q with q * divisor <= dividend for a positive divisor, the least
// for a negative one: the remainder is never below 0.
const Term* OperatorBuilder::divide_integers(Operator op,
                                             const PlacedTerm* arguments,
                                             std::size_t count,
                                             ScriptError& error) {
  const std::string name(operator_name(op));
  for (std::size_t i = 0; i < count; ++i) {
    const Term* term = arguments[i].term;
    error.position = arguments[i].position;
    if (term->sort != Sort::kInt) {
      error.message =
          name + " expects an Int here, not a " + print_sort(term->sort);
      return nullptr;
    }
    if (term->kind != Kind::kNumber) {
      error.message = name + " of a term that is no number is not supported";
      return nullptr;
    }
    if (i > 0 && term->number().sign() == 0) {
      error.message = name + " by zero";
      return nullptr;
    }
  }
  QNumber result = arguments[0].term->number();
  for (std::size_t i = 1; i < count; ++i) {
    const QNumber& divisor = arguments[i].term->number();
    QNumber quotient = result;
    quotient /= divisor;
    quotient = divisor.sign() > 0 ? quotient.floor() : quotient.ceil();
    if (op == Operator::kMod) {
      quotient *= divisor;
      result -= quotient;
    } else {
      result = quotient;
    }
  }
  return store_.make_number(result, Sort::kInt);
}

const Term* OperatorBuilder::absolute(const Term* term) {
  const Term* zero = store_.make_number(QNumber(0), term->sort);
  const Term* negative = term->kind == Kind::kNumber
                             ? store_.make_number(-term->number(), term->sort)
                             : store_.make_negate(term);
  return store_.make_ite(store_.make_leq(zero, term), term, negative);
}

// Integers times integers, plus a constant, are whole but for that constant:
// then the integer below is the same with the constant rounded down.
const Term* OperatorBuilder::convert(Operator op, const PlacedTerm& argument,
                                     ScriptError& error) {
  const std::string name(operator_name(op));
  error.position = argument.position;
  const Term* real = as_sort(argument.term, Sort::kReal);
  if (real == nullptr) {
    error.message = name + " expects a number here, not a Bool";
    return nullptr;
  }
  if (op == Operator::kToReal) return real;
  LinearSum sum;
  const bool is_whole =
      lineariser_.linearise(real, sum) && is_integer(sum) &&
      std::all_of(sum.monomials.begin(), sum.monomials.end(),
                  [](const auto& m) { return m.coefficient.is_integer(); });
  if (!is_whole) {
    error.message = name + " of a term that need not be whole is not supported";
    return nullptr;
  }
  if (op == Operator::kIsInt)
    return store_.make_bool(sum.constant.is_integer());
  sum.constant = sum.constant.floor();
  return make_sum(store_, sum);
}

}  // namespace vorn::solver
