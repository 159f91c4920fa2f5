// SPDX-License-Identifier: MIT
#include "checker/terms.h"

#include <algorithm>
#include <functional>
#include <set>
#include <stdexcept>
#include <unordered_set>
#include <utility>

namespace vorn::checker {
namespace {

constexpr std::size_t kAny = SIZE_MAX;

}  // namespace

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

std::optional<mpq_class> compute(Op op,
                                 const std::vector<const mpq_class*>& args) {
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
  switch (op) {
    case Op::kTrue:
    case Op::kFalse:
      return truth(op == Op::kTrue);
    case Op::kNot:
      return truth(!is_true(args[0]));
    case Op::kAnd:
      return truth(std::all_of(args.begin(), args.end(), is_true));
    case Op::kOr:
      return truth(std::any_of(args.begin(), args.end(), is_true));
    case Op::kXor:
      return truth(std::count_if(args.begin(), args.end(), is_true) % 2 == 1);
    case Op::kImplies:
      return truth(is_true(args.back()) ||
                   !std::all_of(args.begin(), args.end() - 1, is_true));
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
  add(Op::kTrue, Sort::kBool);
  add(Op::kFalse, Sort::kBool);
}

// A term without arguments that is not there yet.
TermId Terms::add(Op op, Sort sort) {
  if (nodes_.size() >= UINT32_MAX) throw std::length_error("too many terms");
  static const TermIds kNoArgs;
  nodes_.push_back({&kNoArgs, nullptr, op, sort});
  return static_cast<TermId>(nodes_.size() - 1);
}

TermId Terms::number(const mpq_class& value, Sort sort) {
  // A base that is a power of 2 takes linear time.
  const std::string key = (sort == Sort::kInt ? 'i' : 'r') + value.get_str(16);
  const auto [entry, is_new] = numbers_.emplace(key, kNoTerm);
  if (is_new) {
    entry->second = add(Op::kNumber, sort);
    nodes_[entry->second].value = &values_.emplace_back(value);
  }
  return entry->second;
}

TermId Terms::as_sort(TermId term, Sort sort) {
  if (nodes_[term].sort == sort) return term;
  if (nodes_[term].sort != Sort::kInt || sort != Sort::kReal) return kNoTerm;
  if (op(term) == Op::kNumber) {
    return number(*value(term), Sort::kReal);
  }
  if (op(term) == Op::kMinus && num_args(term) == 1 &&
      op(arg(term, 0)) == Op::kNumber) {
    return make(Op::kMinus, {as_sort(arg(term, 0), Sort::kReal)});
  }
  return make(Op::kToReal, {term});
}

// Brings arguments to a sort that fits; returns what is wrong, or null.
const char* Terms::unify(Args wanted, TermId* first, TermId* last) {
  const bool is_any_real = std::any_of(
      first, last, [this](TermId term) { return sort(term) == Sort::kReal; });
  const Sort common = wanted == Args::kBools                  ? Sort::kBool
                      : wanted == Args::kInts                 ? Sort::kInt
                      : wanted == Args::kReals || is_any_real ? Sort::kReal
                                                              : sort(*first);
  if (wanted == Args::kNumbers && common == Sort::kBool) {
    return "an argument is not a number";
  }
  for (; first != last; ++first) {
    *first = as_sort(*first, common);
    if (*first == kNoTerm) return "an argument is of a wrong sort";
  }
  return nullptr;
}

TermId Terms::apply(const Operator& function, TermIds& args,
                    std::string& error) {
  const Op op = function.op;
  const char* wrong = nullptr;
  if (args.size() < function.least || args.size() > function.most) {
    wrong = "the number of arguments is wrong";
  } else if (op == Op::kIte && sort(args[0]) != Sort::kBool) {
    wrong = "the condition is not of sort Bool";
  } else {
    TermId* const first = args.data() + (op == Op::kIte ? 1 : 0);
    wrong = unify(function.args, first, args.data() + args.size());
  }
  const bool divides = op == Op::kDivide || op == Op::kDiv || op == Op::kMod;
  for (std::size_t i = 1; divides && wrong == nullptr && i < args.size(); ++i) {
    if (value(args[i]) == nullptr || *value(args[i]) == 0) {
      wrong = "only division by a number other than zero has a meaning";
    }
  }
  if (wrong != nullptr) {
    error = std::string(function.name) + ": " + wrong;
    return kNoTerm;
  }
  // Its argument has become what it makes of it.
  return op == Op::kToReal ? args[0] : make(op, args);
}

TermId Terms::replace(TermId term,
                      std::unordered_map<TermId, TermId> replaced) {
  std::unordered_set<TermId> seen = {term};
  TermIds found = {term};
  for (std::size_t next = 0; next < found.size(); ++next) {
    for (const TermId part : args(found[next])) {
      if (seen.insert(part).second) found.push_back(part);
    }
  }
  std::sort(found.begin(), found.end());
  for (const TermId old : found) {
    TermIds parts = args(old);
    for (TermId& part : parts) part = replaced.at(part);
    replaced.emplace(old, parts.empty() ? old : make(op(old), parts));
  }
  return replaced.at(term);
}

std::size_t Terms::Hash::operator()(const TermIds& args) const {
  std::uint64_t hash = args.size();
  for (const TermId part : args) {
    hash = (hash ^ part) * 0x9E3779B97F4A7C15U;
    hash ^= hash >> 29U;
  }
  return static_cast<std::size_t>(hash);
}

TermId Terms::make(Op op, const TermIds& args) {
  auto& applications = applications_[static_cast<std::size_t>(op)];
  const auto known = applications.find(args);
  if (known != applications.end()) return known->second;
  const Sort sort = op < Op::kIte       ? Sort::kBool
                    : op == Op::kToReal ? Sort::kReal
                    : op == Op::kToInt  ? Sort::kInt
                                        : nodes_[args.back()].sort;
  const TermId term = add(op, sort);
  nodes_[term].args = &applications.emplace(args, term).first->first;
  if (op <= Op::kIte) return term;
  std::vector<const mpq_class*> numbers;
  for (const TermId part : args) {
    numbers.push_back(value(part));
    if (numbers.back() == nullptr) return term;
  }
  if (auto result = compute(op, numbers)) {
    nodes_[term].value = &values_.emplace_back(std::move(*result));
  }
  return term;
}

}  // namespace vorn::checker
