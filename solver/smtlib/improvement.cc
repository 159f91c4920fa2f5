// SPDX-License-Identifier: MIT
#include "solver/smtlib/improvement.h"

#include <cassert>
#include <utility>

namespace vorn::solver {

PlacedTerm Improvement::apply(Operator op, std::vector<PlacedTerm> arguments) {
  if (op == Operator::kPlus && arguments.size() == 1) return arguments[0];
  PlacedTerm result;
  ScriptError error;
  result.term =
      builder_.apply(op, {}, arguments.data(), arguments.size(), error);
  assert(result.term != nullptr);
  result.written =
      record_.apply(op, arguments.data(), arguments.size(), result.term);
  return result;
}

// As values are printed.
PlacedTerm Improvement::number(const QNumber& value, Sort sort) {
  if (sort == Sort::kInt) sort = numerals_;
  const auto leaf = [&](const QNumber& whole) {
    const Term* term = store_.make_number(whole, sort);
    return PlacedTerm{term, {}, record_.leaf(term)};
  };
  if (value.is_integer()) return leaf(value);
  if (value.sign() < 0) {
    return apply(Operator::kMinus, {number(-value, sort)});
  }
  QNumber numerator = value;
  numerator *= value.denominator();
  return apply(Operator::kDivide, {leaf(numerator), leaf(value.denominator())});
}

// The objective as a term: what formulas cost is a sum.
PlacedTerm Improvement::written(const std::vector<ScriptObjective>& objectives,
                                const ObjectiveResult& result) {
  std::vector<PlacedTerm> costs;
  for (const std::size_t k : result.members) {
    const ScriptObjective& objective = objectives[k];
    const PlacedTerm term = {objective.term, {}, objective.written};
    if (!objective.term->is_bool()) return term;
    costs.push_back(
        apply(Operator::kIte, {term, number(QNumber(0), result.sort),
                               number(objective.weight, result.sort)}));
  }
  return apply(Operator::kPlus, std::move(costs));
}

PlacedTerm Improvement::formula(const std::vector<ScriptObjective>& objectives,
                                const std::vector<ObjectiveResult>& results) {
  // Objectives that count: all up to the first that no model is best in.
  std::size_t count = 0;
  bool is_reached = true;
  for (; count < results.size() && is_reached; ++count) {
    const Extent& best = results[count].interval.low;
    assert(results[count].interval.is_settled);
    if (best.kind != Extent::Kind::kNumber) break;
    is_reached = best.value.eps().sign() == 0;
  }
  PlacedTerm better;
  for (std::size_t k = count; k-- > 0;) {
    const ObjectiveResult& result = results[k];
    const bool is_great = result.is_maximised;
    const PlacedTerm term = written(objectives, result);
    const PlacedTerm best =
        number(result.interval.low.value.rational(), result.sort);
    const Operator at_least = is_great ? Operator::kGeq : Operator::kLeq;
    const Operator beyond = is_great ? Operator::kGreater : Operator::kLess;
    if (k + 1 == count) {
      better = apply(is_reached ? beyond : at_least, {term, best});
      continue;
    }
    better =
        apply(Operator::kOr,
              {apply(beyond, {term, best}),
               apply(Operator::kAnd, {apply(at_least, {term, best}), better})});
  }
  return better;
}

}  // namespace vorn::solver
