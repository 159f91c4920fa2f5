// SPDX-License-Identifier: MIT
#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "checker/answer.h"

// Subterms are evaluated bottom up, each once, by their meaning in SMT-LIB:
// chains hold link by link, xor counts, => leans to the right.

namespace vorn::checker {
namespace {

struct Value {
  bool truth = false;
  mpq_class number;
  bool exists = true;
};

bool holds(Op op, const Value& a, const Value& b, bool is_bool) {
  switch (op) {
    case Op::kEqual:
      return is_bool ? a.truth == b.truth : a.number == b.number;
    case Op::kLeq:
      return a.number <= b.number;
    case Op::kLess:
      return a.number < b.number;
    case Op::kGeq:
      return a.number >= b.number;
    default:
      return a.number > b.number;
  }
}

bool are_distinct(const std::vector<const Value*>& args, bool is_bool) {
  if (is_bool) return args.size() == 2 && args[0]->truth != args[1]->truth;
  std::set<mpq_class> seen;
  return std::all_of(args.begin(), args.end(), [&seen](const Value* value) {
    return seen.insert(value->number).second;
  });
}

// The value of a term from those of its arguments, all of which exist. A
// divisor is not 0: the reader of terms takes none that may be.
Value apply(Op op, const std::vector<const Value*>& args, bool is_bool) {
  const auto is_true = [](const Value* value) { return value->truth; };
  std::vector<const mpq_class*> numbers;
  Value result;
  switch (op) {
    case Op::kTrue:
      result.truth = true;
      break;
    case Op::kFalse:
      break;
    case Op::kNot:
      result.truth = !args[0]->truth;
      break;
    case Op::kAnd:
      result.truth = std::all_of(args.begin(), args.end(), is_true);
      break;
    case Op::kOr:
      result.truth = std::any_of(args.begin(), args.end(), is_true);
      break;
    case Op::kXor:
      result.truth = std::count_if(args.begin(), args.end(), is_true) % 2 == 1;
      break;
    case Op::kImplies:
      result.truth = args.back()->truth ||
                     !std::all_of(args.begin(), args.end() - 1, is_true);
      break;
    case Op::kDistinct:
      result.truth = are_distinct(args, is_bool);
      break;
    case Op::kIte:
      return *args[args[0]->truth ? 1 : 2];
    case Op::kPlus:
    case Op::kMinus:
    case Op::kTimes:
    case Op::kDivide:
      for (const Value* value : args) numbers.push_back(&value->number);
      if (auto number = compute(op, numbers)) {
        result.number = std::move(*number);
      } else {
        result.exists = false;
      }
      break;
    default:
      result.truth = true;
      for (std::size_t i = 1; i < args.size() && result.truth; ++i) {
        result.truth = holds(op, *args[i - 1], *args[i], is_bool);
      }
      break;
  }
  return result;
}

}  // namespace

const Script::Assertion* find_false(const Script& script, const Terms& terms,
                                    const Values& values) {
  std::vector<const Script::Assertion*> formulas;
  std::vector<TermId> roots;
  for (const auto* list : {&script.assertions(), &script.assumptions()}) {
    for (const Script::Assertion& formula : *list) {
      formulas.push_back(&formula);
      roots.push_back(formula.formula);
    }
  }
  std::unordered_map<TermId, Value> known;
  for (const TermId term : subterms(terms, roots)) {
    const auto given = values.find(term);
    const TermId constant = given == values.end() ? term : given->second;
    Value value;
    if (const mpq_class* number = terms.value(constant)) {
      value.number = *number;
    } else if (terms.op(constant) == Op::kSymbol) {
      value.exists = false;
    } else {
      std::vector<const Value*> args;
      for (std::size_t i = 0; i < terms.num_args(constant); ++i) {
        args.push_back(&known[terms.arg(constant, i)]);
        value.exists = value.exists && args.back()->exists;
      }
      const bool is_bool =
          !args.empty() && terms.sort(terms.arg(constant, 0)) == Sort::kBool;
      if (value.exists) value = apply(terms.op(constant), args, is_bool);
    }
    known.emplace(term, std::move(value));
  }
  for (const Script::Assertion* formula : formulas) {
    const Value& value = known[formula->formula];
    if (!value.exists) {
      throw Rejection{
          formula->position,
          "this formula has no value: a symbol has none in the model, "
          "or a number gets too long"};
    }
    if (!value.truth) return formula;
  }
  return nullptr;
}

}  // namespace vorn::checker
