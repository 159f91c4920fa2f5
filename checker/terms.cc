// SPDX-License-Identifier: MIT
#include "checker/terms.h"

#include <algorithm>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

namespace vorn::checker {

constexpr std::size_t kAny = SIZE_MAX;

// Conjunctions and sums of one argument are not in the standard, but in
// scripts.
const std::vector<Operator> kOperators = {
    {Op::kNot, "not", 1, 1, Args::kBools},
    {Op::kAnd, "and", 1, kAny, Args::kBools},
    {Op::kOr, "or", 1, kAny, Args::kBools},
    {Op::kXor, "xor", 2, kAny, Args::kBools},
    {Op::kImplies, "=>", 2, kAny, Args::kBools},
    {Op::kEqual, "=", 2, kAny, Args::kSame},
    {Op::kDistinct, "distinct", 2, kAny, Args::kSame},
    {Op::kLeq, "<=", 2, kAny, Args::kNumbers},
    {Op::kLess, "<", 2, kAny, Args::kNumbers},
    {Op::kGeq, ">=", 2, kAny, Args::kNumbers},
    {Op::kGreater, ">", 2, kAny, Args::kNumbers},
    {Op::kIsInt, "is_int", 1, 1, Args::kReals, true},
    {Op::kIte, "ite", 3, 3, Args::kSame},
    {Op::kPlus, "+", 1, kAny, Args::kNumbers},
    {Op::kMinus, "-", 1, kAny, Args::kNumbers},
    {Op::kTimes, "*", 1, kAny, Args::kNumbers},
    {Op::kDivide, "/", 2, kAny, Args::kReals},
    {Op::kDiv, "div", 2, kAny, Args::kInts, true},
    {Op::kMod, "mod", 2, 2, Args::kInts, true},
    {Op::kAbs, "abs", 1, 1, Args::kNumbers, true},
    {Op::kToReal, "to_real", 1, 1, Args::kReals, true},
    {Op::kToInt, "to_int", 1, 1, Args::kReals, true},
};

std::size_t bits(const mpq_class& value) {
  return mpz_sizeinbase(value.get_num_mpz_t(), 2) +
         mpz_sizeinbase(value.get_den_mpz_t(), 2);
}

mpz_class floor_of(const mpq_class& value) {
  mpz_class result;
  mpz_fdiv_q(result.get_mpz_t(), value.get_num_mpz_t(), value.get_den_mpz_t());
  return result;
}

// What an operator makes of the values of its arguments, by its meaning in
// SMT-LIB. Nothing if one has none, if that divides by 0, or if numbers get too
// long: products of products can square the length of a number with each term,
// which no sensible script does.
std::optional<mpq_class> Terms::compute(Op op, const TermIds& terms) const {
  const auto has_value = [this](TermId term) { return value(term) != nullptr; };
  if (!std::all_of(terms.begin(), terms.end(), has_value)) return std::nullopt;
  std::vector<const mpq_class*> args;
  for (const TermId term : terms) args.push_back(value(term));
  const auto is_true = [](const mpq_class* value) { return *value != 0; };
  const auto truth = [](bool value) { return mpq_class(value ? 1 : 0); };
  const auto fails = [op](const mpq_class* a, const mpq_class* b) {
    const int order = cmp(*a, *b);
    return !(op == Op::kEqual  ? order == 0
             : op == Op::kLeq  ? order <= 0
             : op == Op::kLess ? order < 0
             : op == Op::kGeq  ? order >= 0
                               : order > 0);
  };
  const auto num_true = std::count_if(args.begin(), args.end(), is_true);
  const auto num_false = static_cast<std::ptrdiff_t>(args.size()) - num_true;
  switch (op) {
    case Op::kNot:
      return truth(num_true == 0);
    case Op::kAnd:
      return truth(num_false == 0);
    case Op::kOr:
      return truth(num_true > 0);
    case Op::kXor:
      return truth(num_true % 2 == 1);
    case Op::kImplies:
      return truth(is_true(args.back()) || num_false > 1);
    case Op::kDistinct: {
      std::set<mpq_class> seen;
      for (const mpq_class* value : args) seen.insert(*value);
      return truth(seen.size() == args.size());
    }
    case Op::kEqual:
    case Op::kLeq:
    case Op::kLess:
    case Op::kGeq:
    case Op::kGreater:
      return truth(std::adjacent_find(args.begin(), args.end(), fails) ==
                   args.end());
    case Op::kIsInt:
      return truth(args[0]->get_den() == 1);
    case Op::kIte:
      return *args[is_true(args[0]) ? 1 : 2];
    case Op::kAbs:
      return mpq_class(abs(*args[0]));
    case Op::kToReal:
      return *args[0];
    case Op::kToInt:
      return mpq_class(floor_of(*args[0]));
    default:
      break;
  }
  // The others calculate from left to right.
  constexpr std::size_t kMostBits = std::size_t{1} << 20U;
  mpq_class result = *args[0];
  if (op == Op::kMinus && args.size() == 1) result = -result;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const mpq_class& number = *args[i];
    if (op == Op::kPlus || op == Op::kMinus) {
      result += op == Op::kPlus ? number : mpq_class(-number);
      continue;
    }
    if (bits(result) + bits(number) > kMostBits) return std::nullopt;
    if (op != Op::kTimes && number == 0) return std::nullopt;
    mpq_class product = result * (op == Op::kTimes ? number : 1 / number);
    // Rounded so that no remainder is negative.
    if (op == Op::kDiv || op == Op::kMod) {
      product = number > 0 ? floor_of(product) : mpz_class(-floor_of(-product));
    }
    result = op == Op::kMod ? mpq_class(result - number * product) : product;
  }
  return result;
}

Terms::Terms()
    : applications_(static_cast<std::size_t>(Op::kToInt) + 1, &memory_) {
  add(Op::kSymbol, Sort::kBool);  // kNoTerm
  for (const bool value : {true, false}) {
    nodes_[add(value ? Op::kTrue : Op::kFalse, Sort::kBool)].value =
        &values_.emplace_back(value ? 1 : 0);
  }
}

// A term without arguments that is not there yet.
TermId Terms::add(Op op, Sort sort) {
  if (nodes_.size() >= UINT32_MAX) throw std::length_error("too many terms");
  static const TermIds kNoArgs;
  nodes_.push_back({&kNoArgs, nullptr, kNoTerm, op, sort});
  return static_cast<TermId>(nodes_.size() - 1);
}

TermId Terms::number(const std::string& digits, Sort sort) {
  TermId& number = numbers_[(sort == Sort::kInt ? 'i' : 'r') + digits];
  if (number != kNoTerm) return number;
  const std::size_t point = digits.find('.');
  if (point == std::string::npos) {
    return number = number_of(mpz_class(digits, 10), sort);
  }
  std::string numerator = digits;
  mpz_class denominator;
  mpz_ui_pow_ui(denominator.get_mpz_t(), 10, digits.size() - point - 1);
  mpq_class value(mpz_class(numerator.erase(point, 1), 10), denominator);
  value.canonicalize();
  return number = number_of(value, Sort::kReal);
}

TermId Terms::number_of(const mpq_class& value, Sort sort) {
  // A base that is a power of 2 takes linear time.
  TermId& number =
      numbers_[(sort == Sort::kInt ? 'I' : 'R') + value.get_str(16)];
  if (number == kNoTerm) {
    number = add(Op::kNumber, sort);
    nodes_[number].value = &values_.emplace_back(value);
  }
  return number;
}

TermId Terms::as_sort(TermId term, Sort sort) {
  if (nodes_[term].sort == sort) return term;
  if (nodes_[term].sort != Sort::kInt || sort != Sort::kReal) return kNoTerm;
  if (op(term) == Op::kNumber) return number_of(*value(term), Sort::kReal);
  if (op(term) == Op::kMinus && num_args(term) == 1 &&
      op(arg(term, 0)) == Op::kNumber) {
    return make(Op::kMinus, {as_sort(arg(term, 0), Sort::kReal)});
  }
  return make(Op::kToReal, {term});
}

TermId Terms::apply(const Operator& function, TermIds& args,
                    const Position& position) {
  const auto demand = [&](bool holds, const char* reason) {
    if (holds) return;
    throw Rejection{position, std::string(function.name) + ": " + reason};
  };
  const Op op = function.op;
  demand(args.size() >= function.least && args.size() <= function.most,
         "the number of arguments is wrong");
  demand(op != Op::kIte || sort(args[0]) == Sort::kBool,
         "the condition is not of sort Bool");
  // The sort that fits all but a condition.
  const auto first = args.begin() + (op == Op::kIte ? 1 : 0);
  const bool is_any_real = std::any_of(first, args.end(), [this](TermId term) {
    return sort(term) == Sort::kReal;
  });
  const Sort common = function.args == Args::kBools  ? Sort::kBool
                      : function.args == Args::kInts ? Sort::kInt
                      : function.args == Args::kReals || is_any_real
                          ? Sort::kReal
                          : sort(*first);
  demand(function.args != Args::kNumbers || common != Sort::kBool,
         "an argument is not a number");
  const bool divides = op == Op::kDivide || op == Op::kDiv || op == Op::kMod;
  for (auto arg = first; arg != args.end(); ++arg) {
    *arg = as_sort(*arg, common);
    demand(*arg != kNoTerm, "an argument is of a wrong sort");
    const bool is_divisor = divides && arg != first;
    demand(!is_divisor || (value(*arg) != nullptr && *value(*arg) != 0),
           "only division by a number other than zero has a meaning");
  }
  // The argument of to_real has become what that makes of it.
  if (op == Op::kToReal) return args[0];
  return op == Op::kNot ? negate(args[0]) : make(op, args);
}

TermId Terms::replace(TermId term,
                      std::unordered_map<TermId, TermId> replaced) {
  TermIds found;
  const auto visit = [&](TermId part) {
    if (replaced.emplace(part, kNoTerm).second) found.push_back(part);
  };
  visit(term);
  for (std::size_t next = 0; next < found.size(); ++next) {
    for (const TermId part : args(found[next])) visit(part);
  }
  std::sort(found.begin(), found.end());
  for (const TermId old : found) {
    TermIds parts = args(old);
    for (TermId& part : parts) part = replaced.at(part);
    replaced[old] = parts.empty() ? old : make(op(old), parts);
  }
  return replaced.at(term);
}

std::size_t Terms::Hash::operator()(const TermIds& args) const {
  const void* const bytes = args.data();
  return std::hash<std::string_view>()(
      {static_cast<const char*>(bytes), args.size() * sizeof(TermId)});
}

TermId Terms::negate(TermId term) {
  if (nodes_[term].negation == kNoTerm) {
    const TermId negation = make(Op::kNot, {term});
    nodes_[term].negation = negation;
  }
  return nodes_[term].negation;
}

TermId Terms::make(Op op, const TermIds& args) {
  auto& applications = applications_[static_cast<std::size_t>(op)];
  const auto [entry, is_new] = applications.try_emplace(args, kNoTerm);
  if (!is_new) return entry->second;
  const Sort sort = op < Op::kIte       ? Sort::kBool
                    : op == Op::kToReal ? Sort::kReal
                    : op == Op::kToInt  ? Sort::kInt
                                        : nodes_[args.back()].sort;
  const TermId term = entry->second = add(op, sort);
  nodes_[term].args = &entry->first;
  if (auto result = compute(op, args)) {
    nodes_[term].value = &values_.emplace_back(std::move(*result));
  }
  return term;
}

}  // namespace vorn::checker
