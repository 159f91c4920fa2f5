// SPDX-License-Identifier: MIT
#include "solver/engine/atom_normaliser.h"

#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

namespace vorn::solver {

bool is_arithmetic_atom(const Term* term) {
  switch (term->kind) {
    case Kind::kLeq:
    case Kind::kLess:
      return true;
    case Kind::kEqual:
    case Kind::kDistinct:
      return term->arg(0)->is_arithmetic();
    default:
      return false;
  }
}

const AtomNormaliser::NormalForm& AtomNormaliser::normalise(const Term* atom) {
  const auto found = normal_forms_.find(atom);
  if (found != normal_forms_.end()) return found->second;
  too_many_sums_ = false;
  NormalForm result = read(atom);
  result.too_many_sums = too_many_sums_ && result.term == nullptr;
  return normal_forms_.emplace(atom, std::move(result)).first->second;
}

AtomNormaliser::NormalForm AtomNormaliser::read(const Term* atom) {
  NormalForm result;
  if (atom->kind == Kind::kDistinct) {
    result.term = normalise_pairs(atom);
    return result;
  }
  LinearSum sum;
  if (!lineariser_.linearise_difference(atom->arg(0), atom->arg(1), sum)) {
    return result;
  }
  if (atom->kind == Kind::kEqual) {
    const Term* leq = normalise_sum(sum, false);
    for (LinearSum::Monomial& m : sum.monomials) m.coefficient = -m.coefficient;
    sum.constant = -sum.constant;
    const Term* geq = leq == nullptr ? nullptr : normalise_sum(sum, false);
    if (geq != nullptr) result.term = store_.make_and({leq, geq});
    return result;
  }
  const bool strict = atom->kind == Kind::kLess;
  result.integer = is_integer(sum);
  if (!CaseSums::needs_lifting(shapes_, sum) &&
      to_bound(sum, strict, result.integer, result.bound) ==
          BoundOutcome::kBound) {
    result.term = atom;
  } else {
    result.term = normalise_sum(sum, strict);
  }
  return result;
}

CaseSums::Lifting AtomNormaliser::lifting(const Term* atom) {
  CaseSums::Lifting result;
  LinearSum& sum = result.root.sum;
  lineariser_.linearise_difference(atom->arg(0), atom->arg(1), sum);
  result.root.term = normalise(atom).term;
  if (CaseSums::needs_lifting(shapes_, sum)) {
    const LinearSum given = sum;
    const Term* term = nullptr;
    CaseSums(store_, shapes_)
        .lift(given, atom->kind == Kind::kLess, term, &result);
    result.root.term = term;
  }
  return result;
}

const Term* AtomNormaliser::normalise_pairs(const Term* distinct) {
  std::vector<const Term*> pairs;
  for (std::size_t i = 0; i < distinct->num_args; ++i) {
    for (std::size_t j = i + 1; j < distinct->num_args; ++j) {
      const Term* equal = store_.make_equal(distinct->arg(i), distinct->arg(j));
      const Term* normal =
          is_arithmetic_atom(equal) ? normalise(equal).term : equal;
      if (normal == nullptr) {
        too_many_sums_ = normal_forms_.at(equal).too_many_sums;
        return nullptr;
      }
      pairs.push_back(store_.make_not(normal));
    }
  }
  return store_.make_and(pairs);
}

// `sum` <= 0, or < 0, as a Boolean combination of bounds.
const Term* AtomNormaliser::normalise_sum(const LinearSum& sum, bool strict) {
  const Term* result = nullptr;
  if (CaseSums::needs_lifting(shapes_, sum)) {
    const auto outcome = CaseSums(store_, shapes_).lift(sum, strict, result);
    if (outcome == CaseSums::Outcome::kTooMany) too_many_sums_ = true;
    return result;
  }
  DifferenceBound bound;
  switch (to_bound(sum, strict, is_integer(sum), bound)) {
    case BoundOutcome::kTrue:
      return store_.make_bool(true);
    case BoundOutcome::kFalse:
      return store_.make_bool(false);
    case BoundOutcome::kOutside:
      return nullptr;
    case BoundOutcome::kBound:
      break;
  }
  const Term* left = make_sum(store_, sum);
  const Term* zero = store_.make_number(QNumber(0));
  return strict ? store_.make_less(left, zero) : store_.make_leq(left, zero);
}

bool AtomNormaliser::read_plain(const Term* atom, DifferenceBound& bound,
                                bool& integer) {
  return is_plain(atom) &&
         to_bound(sum_, atom->kind == Kind::kLess, integer = is_integer(sum_),
                  bound) == BoundOutcome::kBound;
}

// Whether the term compares sums of symbols, which leaves their difference in
// sum_.
bool AtomNormaliser::is_plain(const Term* atom) {
  return (atom->kind == Kind::kLeq || atom->kind == Kind::kLess) &&
         lineariser_.linearise_symbols(atom->arg(0), atom->arg(1), sum_);
}

const Term* AtomNormaliser::first_outside(const Term* term) {
  // Post-order, so that a term is recorded as inside only with all below it.
  std::vector<std::pair<const Term*, std::size_t>> stack;
  const auto is_plain_bound = [this](const Term* t) {
    DifferenceBound bound;
    return is_plain(t) &&
           to_bound(sum_, t->kind == Kind::kLess, is_integer(sum_), bound) !=
               BoundOutcome::kOutside;
  };
  const auto visit = [&](const Term* t) {
    if (!is_plain_bound(t) && inside_.count(t) == 0) stack.emplace_back(t, 0);
  };
  visit(term);
  while (!stack.empty()) {
    auto& [top, next] = stack.back();
    if (next < top->num_args) {
      visit(top->arg(next++));
      continue;
    }
    const Term* done = top;
    stack.pop_back();
    if (inside_.count(done) != 0) continue;
    if (is_arithmetic_atom(done) && normalise(done).term == nullptr)
      return done;
    inside_.insert(done);
  }
  return nullptr;
}

void AtomNormaliser::forget_swept(const TermSweep& sweep) {
  for (auto form = normal_forms_.begin(); form != normal_forms_.end();) {
    const NormalForm& normal = form->second;
    const bool stays = sweep.is_kept(form->first) &&
                       sweep.is_kept(normal.term) &&
                       sweep.is_kept(normal.bound.source) &&
                       sweep.is_kept(normal.bound.target);
    form = stays ? std::next(form) : normal_forms_.erase(form);
  }
  shapes_.forget_swept(sweep);
  for (auto term = inside_.begin(); term != inside_.end();) {
    term = sweep.is_kept(*term) ? std::next(term) : inside_.erase(term);
  }
}

}  // namespace vorn::solver
