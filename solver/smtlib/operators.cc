// SPDX-License-Identifier: MIT
#include "solver/smtlib/operators.h"

#include <algorithm>
#include <cassert>

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
      return {1, 1};
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
  assert(false && "kNone has no name");
  return "";
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
  if (term->kind == Kind::kNumber && sort == Sort::kReal) {
    return store_.make_number(term->number(), Sort::kReal);
  }
  return nullptr;
}

// Makes the arguments agree in their sort.
bool OperatorBuilder::unify(Operator op, PlacedTerm* arguments,
                            std::size_t count, bool bool_allowed,
                            ScriptError& error) {
  const std::string name(operator_name(op));
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
      error.message = name + " expects a number here, not a Bool";
      return false;
    }
    const Term* term = as_sort(arguments[i].term, sort);
    if (term == nullptr) {
      error.message = name + " mixes " + print_sort(sort) + " and " +
                      print_sort(own) + " arguments";
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

}  // namespace vorn::solver
