// SPDX-License-Identifier: MIT
#include "solver/engine/pair_bound.h"

#include <cstddef>
#include <utility>

namespace vorn::solver {
namespace {

// Adds a summand to first - second - limit.
bool add_summand(const Term* term, bool is_negated, PairBound& bound) {
  switch (term->kind) {
    case Kind::kNumber:
      if (is_negated) {
        bound.limit += term->number();
      } else {
        bound.limit -= term->number();
      }
      return true;
    case Kind::kTimes:
      return term->arg(0)->kind == Kind::kNumber &&
             term->arg(0)->number() == QNumber(-1) &&
             term->arg(1)->kind == Kind::kSymbol &&
             add_summand(term->arg(1), !is_negated, bound);
    case Kind::kSymbol: {
      if (term == bound.first || term == bound.second) return false;
      const Term*& place = is_negated ? bound.second : bound.first;
      return std::exchange(place, term) == nullptr;
    }
    default:
      return false;
  }
}

bool add_side(const Term* side, bool is_negated, PairBound& bound) {
  if (side->kind != Kind::kPlus) return add_summand(side, is_negated, bound);
  constexpr std::size_t kFewSummands = 4;
  if (side->num_args > kFewSummands) return false;
  for (std::size_t i = 0; i < side->num_args; ++i) {
    if (!add_summand(side->arg(i), is_negated, bound)) return false;
  }
  return true;
}

}  // namespace

std::optional<PairBound> read_pair_bound(const Term* term) {
  // Not a <= b is b < a.
  const bool is_negated = term->kind == Kind::kNot;
  const Term* atom = is_negated ? term->arg(0) : term;
  if (atom->kind != Kind::kLeq && atom->kind != Kind::kLess) return {};
  PairBound bound;
  bound.is_strict = (atom->kind == Kind::kLess) != is_negated;
  if (!add_side(atom->arg(0), is_negated, bound) ||
      !add_side(atom->arg(1), !is_negated, bound) ||
      (bound.first == nullptr && bound.second == nullptr)) {
    return {};
  }
  return bound;
}

}  // namespace vorn::solver
