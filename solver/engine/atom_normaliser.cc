// SPDX-License-Identifier: MIT
#include "solver/engine/atom_normaliser.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace vorn::solver {
namespace {

// Lifting recurses once per ite; the stack must hold that.
constexpr int kMaxLiftDepth = 500;

// sum with `branch` in place of the leaf at `position`.
LinearSum replace_leaf(const LinearSum& sum, std::size_t position,
                       const LinearSum& branch) {
  const QNumber factor = sum.monomials[position].coefficient;
  LinearSum result;
  result.constant = branch.constant;
  result.constant *= factor;
  result.constant += sum.constant;
  std::map<std::uint64_t, LinearSum::Monomial> by_id;
  const auto add = [&by_id](const Term* leaf, const QNumber& coefficient) {
    const auto [place, is_new] =
        by_id.try_emplace(leaf->id, LinearSum::Monomial{leaf, coefficient});
    if (!is_new) place->second.coefficient += coefficient;
  };
  for (std::size_t k = 0; k < sum.monomials.size(); ++k) {
    if (k != position) add(sum.monomials[k].leaf, sum.monomials[k].coefficient);
  }
  for (const LinearSum::Monomial& m : branch.monomials) {
    QNumber coefficient = m.coefficient;
    coefficient *= factor;
    add(m.leaf, coefficient);
  }
  for (auto& [id, m] : by_id) {
    if (m.coefficient.sign() != 0) result.monomials.push_back(std::move(m));
  }
  return result;
}

}  // namespace

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
  lifts_ = 0;
  NormalForm result = read(atom);
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
    const Term* leq = normalise_sum(sum, false, 0);
    for (LinearSum::Monomial& m : sum.monomials) m.coefficient = -m.coefficient;
    sum.constant = -sum.constant;
    const Term* geq = leq == nullptr ? nullptr : normalise_sum(sum, false, 0);
    if (geq != nullptr) result.term = store_.make_and({leq, geq});
    return result;
  }
  const bool strict = atom->kind == Kind::kLess;
  result.integer = is_integer(sum);
  if (ite_to_lift(sum) == nullptr &&
      to_bound(sum, strict, result.integer, result.bound) ==
          BoundOutcome::kBound) {
    result.term = atom;
  } else {
    result.term = normalise_sum(sum, strict, 0);
  }
  return result;
}

AtomNormaliser::Cases AtomNormaliser::cases(const Term* atom) {
  LinearSum sum;
  lineariser_.linearise_difference(atom->arg(0), atom->arg(1), sum);
  Cases result;
  result.ite = ite_to_lift(sum);
  assert(result.ite != nullptr);
  const auto place =
      std::find_if(sum.monomials.begin(), sum.monomials.end(),
                   [&result](const auto& m) { return m.leaf == result.ite; });
  result.factor = place->coefficient;
  const auto position = static_cast<std::size_t>(place - sum.monomials.begin());
  const Term* zero = store_.make_number(QNumber(0));
  for (const std::size_t k : {1U, 2U}) {
    LinearSum branch;
    lineariser_.linearise(result.ite->arg(k), branch);
    const Term* left = term_of(replace_leaf(sum, position, branch));
    (k == 1 ? result.first : result.second) = atom->kind == Kind::kLess
                                                  ? store_.make_less(left, zero)
                                                  : store_.make_leq(left, zero);
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
      if (normal == nullptr) return nullptr;
      pairs.push_back(store_.make_not(normal));
    }
  }
  return store_.make_and(pairs);
}

// `sum` <= 0, or < 0, as a Boolean combination of bounds.
const Term* AtomNormaliser::normalise_sum(const LinearSum& sum, bool strict,
                                          int depth) {
  const Term* ite = ite_to_lift(sum);
  if (ite == nullptr) {
    NormalForm normal;
    normal.integer = is_integer(sum);
    switch (to_bound(sum, strict, normal.integer, normal.bound)) {
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
    const Term* atom =
        strict ? store_.make_less(left, zero) : store_.make_leq(left, zero);
    normal.term = atom;
    normal_forms_.emplace(atom, std::move(normal));
    return atom;
  }
  if (depth == kMaxLiftDepth || ++lifts_ > kMaxLifts) return nullptr;
  const auto position = static_cast<std::size_t>(
      std::find_if(sum.monomials.begin(), sum.monomials.end(),
                   [ite](const auto& m) { return m.leaf == ite; }) -
      sum.monomials.begin());
  const Term* branches[2];
  for (std::size_t k = 0; k < 2; ++k) {
    LinearSum branch;
    if (!lineariser_.linearise(ite->arg(k + 1), branch)) return nullptr;
    branches[k] =
        normalise_sum(replace_leaf(sum, position, branch), strict, depth + 1);
    if (branches[k] == nullptr) return nullptr;
  }
  return store_.make_ite(ite->arg(0), branches[0], branches[1]);
}

// The ite to lift next, or null if the sum is a bound over variables and named
// ites, or has no ite at all. One that cannot be named goes first.
const Term* AtomNormaliser::ite_to_lift(const LinearSum& sum) {
  const Term* candidate = nullptr;
  for (const LinearSum::Monomial& m : sum.monomials) {
    if (m.leaf->kind != Kind::kIte) continue;
    if (!is_nameable(m.leaf)) return m.leaf;
    candidate = m.leaf;
  }
  if (candidate == nullptr) return nullptr;
  DifferenceBound bound;
  const bool inside =
      to_bound(sum, false, is_integer(sum), bound) != BoundOutcome::kOutside;
  return inside ? nullptr : candidate;
}

bool AtomNormaliser::is_nameable(const Term* ite) {
  // Depth first over ites that are branches of ites, on a stack of our own:
  // chains of them can be long.
  std::vector<const Term*> stack{ite};
  while (!stack.empty()) {
    const Term* top = stack.back();
    if (nameable_.count(top) != 0) {
      stack.pop_back();
      continue;
    }
    bool result = true;
    const Term* waiting_for = nullptr;
    for (std::size_t k = 1; k <= 2 && result; ++k) {
      LinearSum branch;
      result = lineariser_.linearise(top->arg(k), branch) &&
               branch.monomials.size() <= 1;
      if (!result || branch.monomials.empty()) continue;
      const Term* leaf = branch.monomials[0].leaf;
      result = branch.monomials[0].coefficient == QNumber(1) &&
               leaf->sort == top->sort;
      if (!result || leaf->kind != Kind::kIte) continue;
      const auto known = nameable_.find(leaf);
      if (known == nameable_.end()) {
        waiting_for = leaf;
      } else {
        result = known->second;
      }
    }
    if (result && waiting_for != nullptr) {
      stack.push_back(waiting_for);
      continue;
    }
    nameable_.emplace(top, result);
    stack.pop_back();
  }
  return nameable_.at(ite);
}

const Term* AtomNormaliser::first_outside(const Term* term) {
  // Post-order, so that a term is recorded as inside only with all below it.
  std::vector<std::pair<const Term*, std::size_t>> stack;
  const auto visit = [this, &stack](const Term* t) {
    if (inside_.count(t) == 0) stack.emplace_back(t, 0);
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

}  // namespace vorn::solver
