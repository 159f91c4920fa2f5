// SPDX-License-Identifier: MIT
#include "solver/engine/target.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>
#include <utility>

namespace vorn::solver {
namespace {

QNumber magnitude(const QNumber& number) {
  return number.sign() < 0 ? -number : number;
}

}  // namespace

Target::Target(const Term* term) : term_(term) {
  // Depth first over the ites, on a stack of our own.
  std::vector<const Term*> stack{term};
  std::unordered_set<const Term*> seen;
  while (!stack.empty()) {
    std::vector<const Term*> missing;
    const Term* top = stack.back();
    if (size_of(top, missing) != nullptr) {
      stack.pop_back();
    } else {
      stack.insert(stack.end(), missing.begin(), missing.end());
    }
  }
  for (const auto& [part, size] : sizes_) {
    if (part->kind == Kind::kIte && seen.insert(part->arg(0)).second) {
      conditions_.push_back(part->arg(0));
    }
  }
  // Not in the order of addresses, which differs from run to run.
  std::sort(conditions_.begin(), conditions_.end(),
            [](const Term* a, const Term* b) { return a->id < b->id; });
  most_factor_ = sizes_.at(term).factor;
  most_constant_ = sizes_.at(term).constant;
  sizes_.clear();
}

// Null if the sizes of `missing` are needed first.
const Target::Size* Target::size_of(const Term* term,
                                    std::vector<const Term*>& missing) {
  const auto known = sizes_.find(term);
  if (known != sizes_.end()) return &known->second;
  Size size;
  if (term->kind == Kind::kSymbol) {
    size.factor = QNumber(1);
  } else if (term->kind == Kind::kIte) {
    for (const std::size_t k : {1U, 2U}) {
      const Size* branch = size_of(term->arg(k), missing);
      if (branch == nullptr) {
        missing.push_back(term->arg(k));
        continue;
      }
      size.factor = std::max(size.factor, branch->factor);
      size.constant = std::max(size.constant, branch->constant);
    }
  } else {
    LinearSum sum;
    Lineariser().linearise(term, sum);
    for (const LinearSum::Monomial& m : sum.monomials) {
      if (sizes_.count(m.leaf) == 0) missing.push_back(m.leaf);
    }
    if (!missing.empty()) return nullptr;
    size.constant = magnitude(sum.constant);
    denominator_ *= sum.constant.denominator();
    for (const LinearSum::Monomial& m : sum.monomials) {
      const Size& leaf = sizes_.at(m.leaf);
      const QNumber coefficient = magnitude(m.coefficient);
      QNumber factor = leaf.factor;
      factor *= coefficient;
      size.factor += factor;
      QNumber constant = leaf.constant;
      constant *= coefficient;
      size.constant += constant;
      denominator_ *= m.coefficient.denominator();
    }
  }
  if (!missing.empty()) return nullptr;
  return &sizes_.emplace(term, std::move(size)).first->second;
}

Target::Difference Target::in_case(
    const std::function<bool(const Term*)>& truth) const {
  LinearSum sum;
  Lineariser().linearise(term_, sum);
  for (;;) {
    const auto ite =
        std::find_if(sum.monomials.begin(), sum.monomials.end(),
                     [](const auto& m) { return m.leaf->kind == Kind::kIte; });
    if (ite == sum.monomials.end()) break;
    const Term* leaf = ite->leaf;
    const QNumber coefficient = ite->coefficient;
    sum.monomials.erase(ite);
    LinearSum branch;
    Lineariser().linearise(leaf->arg(truth(leaf->arg(0)) ? 1 : 2), branch);
    add(sum, branch, coefficient);
  }
  assert(sum.monomials.size() <= 2);
  Difference result;
  result.constant = sum.constant;
  for (const LinearSum::Monomial& m : sum.monomials) {
    (m.coefficient.sign() > 0 ? result.minuend : result.subtrahend) = m.leaf;
    result.factor = magnitude(m.coefficient);
  }
  return result;
}

}  // namespace vorn::solver
