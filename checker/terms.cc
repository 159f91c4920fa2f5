// SPDX-License-Identifier: MIT
#include "checker/terms.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace vorn::checker {
namespace {

struct Operator {
  std::string_view name;
  Op op;
  std::size_t least;  // arguments
  std::size_t most;
};

constexpr std::size_t kAny = SIZE_MAX;
// Conjunctions and sums of one argument are not in the standard, but in
// scripts.
constexpr std::array<Operator, 16> kOperators = {{
    {"not", Op::kNot, 1, 1},
    {"and", Op::kAnd, 1, kAny},
    {"or", Op::kOr, 1, kAny},
    {"xor", Op::kXor, 2, kAny},
    {"=>", Op::kImplies, 2, kAny},
    {"=", Op::kEqual, 2, kAny},
    {"distinct", Op::kDistinct, 2, kAny},
    {"ite", Op::kIte, 3, 3},
    {"<=", Op::kLeq, 2, kAny},
    {"<", Op::kLess, 2, kAny},
    {">=", Op::kGeq, 2, kAny},
    {">", Op::kGreater, 2, kAny},
    {"+", Op::kPlus, 1, kAny},
    {"-", Op::kMinus, 1, kAny},
    {"*", Op::kTimes, 1, kAny},
    {"/", Op::kDivide, 2, kAny},
}};

bool is_arithmetic(Op op) {
  return op == Op::kPlus || op == Op::kMinus || op == Op::kTimes ||
         op == Op::kDivide;
}

std::size_t bits(const mpq_class& value) {
  return mpz_sizeinbase(value.get_num_mpz_t(), 2) +
         mpz_sizeinbase(value.get_den_mpz_t(), 2);
}

}  // namespace

std::optional<mpq_class> compute(Op op,
                                 const std::vector<const mpq_class*>& args) {
  constexpr std::size_t kMostBits = std::size_t{1} << 20U;
  mpq_class result = *args[0];
  if (op == Op::kMinus && args.size() == 1) result = -result;
  for (std::size_t i = 1; i < args.size(); ++i) {
    const mpq_class& number = *args[i];
    if (op == Op::kPlus) {
      result += number;
    } else if (op == Op::kMinus) {
      result -= number;
    } else {
      if (bits(result) + bits(number) > kMostBits) return std::nullopt;
      if (op == Op::kDivide && number == 0) return std::nullopt;
      if (op == Op::kTimes) result *= number;
      if (op == Op::kDivide) result /= number;
    }
  }
  return result;
}

Op find_op(std::string_view name) {
  for (const Operator& entry : kOperators) {
    if (entry.name == name) return entry.op;
  }
  return Op::kNone;
}

Terms::Terms() : slots_(1024) {
  nodes_.push_back({0, 0, kNoPayload, Op::kNone, Sort::kBool});
  intern(Op::kTrue, Sort::kBool, kNoPayload, nullptr, 0);
  intern(Op::kFalse, Sort::kBool, kNoPayload, nullptr, 0);
}

TermId Terms::symbol(NameId name, Sort sort) {
  return intern(Op::kSymbol, sort, name, nullptr, 0);
}

TermId Terms::parameter(Sort sort) {
  return intern(Op::kParameter, sort, num_parameters_++, nullptr, 0);
}

TermId Terms::number(const mpq_class& value, Sort sort) {
  // A base that is a power of 2 takes linear time.
  const std::string key = (sort == Sort::kInt ? 'i' : 'r') + value.get_str(16);
  const auto [entry, is_new] = numbers_.emplace(key, kNoTerm);
  if (is_new) {
    const auto place = static_cast<std::uint32_t>(values_.size());
    values_.push_back(value);
    entry->second = intern(Op::kNumber, sort, place, nullptr, 0);
  }
  return entry->second;
}

TermId Terms::make(Op op, const std::vector<TermId>& args) {
  Sort sort = Sort::kBool;
  if (op == Op::kDivide) {
    sort = Sort::kReal;
  } else if (op == Op::kIte || is_arithmetic(op)) {
    sort = nodes_[args.back()].sort;
  }
  const std::size_t before = nodes_.size();
  const TermId term = intern(op, sort, kNoPayload, args.data(), args.size());
  if (nodes_.size() > before && is_arithmetic(op)) fold(term);
  return term;
}

// Gives a new term its value if its arguments have one.
void Terms::fold(TermId term) {
  std::vector<const mpq_class*> numbers;
  for (std::size_t i = 0; i < num_args(term); ++i) {
    numbers.push_back(value(arg(term, i)));
    if (numbers.back() == nullptr) return;
  }
  std::optional<mpq_class> result = compute(nodes_[term].op, numbers);
  if (!result.has_value()) return;
  nodes_[term].payload = static_cast<std::uint32_t>(values_.size());
  values_.push_back(std::move(*result));
}

const mpq_class* Terms::value(TermId term) const {
  const Node& node = nodes_[term];
  const bool has_value = node.op == Op::kNumber || is_arithmetic(node.op);
  if (!has_value || node.payload == kNoPayload) return nullptr;
  return &values_[node.payload];
}

std::vector<TermId> Terms::args(TermId term) const {
  std::vector<TermId> result(num_args(term));
  for (std::size_t i = 0; i < result.size(); ++i) result[i] = arg(term, i);
  return result;
}

TermId Terms::as_sort(TermId term, Sort sort) {
  if (nodes_[term].sort == sort) return term;
  if (nodes_[term].sort != Sort::kInt || sort != Sort::kReal) return kNoTerm;
  if (op(term) == Op::kNumber) {
    const mpq_class number_value = *value(term);
    return number(number_value, Sort::kReal);
  }
  if (op(term) == Op::kMinus && num_args(term) == 1 &&
      op(arg(term, 0)) == Op::kNumber) {
    return make(Op::kMinus, {as_sort(arg(term, 0), Sort::kReal)});
  }
  return kNoTerm;
}

// Makes the arguments from number `first` on agree in their sort.
const char* Terms::unify(std::vector<TermId>& args, std::size_t first) {
  Sort sort = nodes_[args[first]].sort;
  for (std::size_t i = first; i < args.size(); ++i) {
    if (sort == Sort::kInt && nodes_[args[i]].sort == Sort::kReal) {
      sort = Sort::kReal;
    }
  }
  for (std::size_t i = first; i < args.size(); ++i) {
    args[i] = as_sort(args[i], sort);
    if (args[i] == kNoTerm) return "the arguments are of different sorts";
  }
  return nullptr;
}

TermId Terms::apply(Op op, std::vector<TermId>& args, std::string& error) {
  const auto* entry =
      std::find_if(kOperators.begin(), kOperators.end(),
                   [op](const Operator& known) { return known.op == op; });
  if (args.size() < entry->least || args.size() > entry->most) {
    error = std::string(entry->name) + " has a wrong number of arguments";
    return kNoTerm;
  }
  const char* wrong = nullptr;
  const auto is_bool = [this](TermId t) { return sort(t) == Sort::kBool; };
  switch (op) {
    case Op::kNot:
    case Op::kAnd:
    case Op::kOr:
    case Op::kXor:
    case Op::kImplies:
      if (!std::all_of(args.begin(), args.end(), is_bool)) {
        wrong = "an argument is not of sort Bool";
      }
      break;
    case Op::kIte:
      wrong = is_bool(args[0]) ? unify(args, 1)
                               : "the condition is not of sort Bool";
      break;
    case Op::kEqual:
    case Op::kDistinct:
      wrong = unify(args, 0);
      break;
    case Op::kDivide:
      for (std::size_t i = 0; i < args.size() && wrong == nullptr; ++i) {
        args[i] = as_sort(args[i], Sort::kReal);
        if (args[i] == kNoTerm) {
          wrong = "an argument is not of sort Real";
        } else if (i > 0 &&
                   (value(args[i]) == nullptr || *value(args[i]) == 0)) {
          wrong = "only division by a number other than zero has a meaning";
        }
      }
      break;
    default:
      wrong = std::any_of(args.begin(), args.end(), is_bool)
                  ? "an argument is not a number"
                  : unify(args, 0);
      break;
  }
  if (wrong != nullptr) {
    error = std::string(entry->name) + ": " + wrong;
    return kNoTerm;
  }
  return make(op, args);
}

std::size_t Terms::hash_of(Op op, Sort sort, std::uint32_t payload,
                           const TermId* args, std::size_t count) const {
  std::uint64_t hash =
      static_cast<std::uint64_t>(op) * 4 + static_cast<std::uint64_t>(sort) + 1;
  const auto mix = [&hash](std::uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    hash ^= hash >> 29U;
  };
  // What has arguments gets its payload, if any, only later.
  if (count == 0) mix(payload);
  for (std::size_t i = 0; i < count; ++i) mix(args[i]);
  return static_cast<std::size_t>(hash);
}

TermId Terms::intern(Op op, Sort sort, std::uint32_t payload,
                     const TermId* args, std::size_t count) {
  if (2 * (nodes_.size() + 1) > slots_.size()) grow();
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash_of(op, sort, payload, args, count) & mask;
  for (; slots_[slot] != kNoTerm; slot = (slot + 1) & mask) {
    const Node& node = nodes_[slots_[slot]];
    if (node.op == op && node.sort == sort && node.num_args == count &&
        (count > 0 ? std::equal(args, args + count, &args_[node.first_arg])
                   : node.payload == payload)) {
      return slots_[slot];
    }
  }
  if (nodes_.size() >= UINT32_MAX || count >= UINT32_MAX) {
    throw std::length_error("too many terms");
  }
  const auto id = static_cast<TermId>(nodes_.size());
  nodes_.push_back(
      {args_.size(), static_cast<std::uint32_t>(count), payload, op, sort});
  args_.insert(args_.end(), args, args + count);
  slots_[slot] = id;
  return id;
}

void Terms::grow() {
  std::vector<TermId> slots(2 * slots_.size());
  const std::size_t mask = slots.size() - 1;
  for (TermId id = 1; id < nodes_.size(); ++id) {
    const Node& node = nodes_[id];
    std::size_t slot = hash_of(node.op, node.sort, node.payload,
                               args_.data() + node.first_arg, node.num_args) &
                       mask;
    while (slots[slot] != kNoTerm) slot = (slot + 1) & mask;
    slots[slot] = id;
  }
  slots_ = std::move(slots);
}

}  // namespace vorn::checker
