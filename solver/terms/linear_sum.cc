// SPDX-License-Identifier: MIT
#include "solver/terms/linear_sum.h"

#include <algorithm>
#include <cassert>
#include <utility>

// Coefficients flow from the root down. A heap holds pairs (term, coefficient)
// that are still to be added to the sum, greatest id first. Since arguments
// have smaller ids than the terms that use them, all shares of a term are in
// the heap by the time it comes out; they are added up and handed to its
// arguments at once. So every distinct subterm is expanded once, even where
// the tree is exponential, and no partial sum is ever stored: memoising a sum
// per subterm would cost the square of a long chain's length. Leaves come out
// by descending id, which leaves the sum sorted once it is turned around.
//
// A term whose shares cancel is still expanded, so that whether a term is
// linear does not depend on the values of coefficients.

namespace vorn::solver {

bool is_integer(const LinearSum& sum) {
  return std::all_of(
      sum.monomials.begin(), sum.monomials.end(),
      [](const LinearSum::Monomial& m) { return m.leaf->sort == Sort::kInt; });
}

void add(LinearSum& sum, const LinearSum& other, const QNumber& factor) {
  QNumber constant = other.constant;
  constant *= factor;
  sum.constant += constant;
  if (other.monomials.empty()) return;
  std::vector<LinearSum::Monomial> merged;
  auto a = sum.monomials.begin();
  auto b = other.monomials.begin();
  while (a != sum.monomials.end() || b != other.monomials.end()) {
    const bool takes_a =
        b == other.monomials.end() ||
        (a != sum.monomials.end() && a->leaf->id <= b->leaf->id);
    const bool takes_b =
        a == sum.monomials.end() ||
        (b != other.monomials.end() && b->leaf->id <= a->leaf->id);
    LinearSum::Monomial m{takes_a ? a->leaf : b->leaf, QNumber(0)};
    if (takes_a) m.coefficient = (a++)->coefficient;
    if (takes_b) {
      QNumber coefficient = (b++)->coefficient;
      coefficient *= factor;
      m.coefficient += coefficient;
    }
    if (m.coefficient.sign() != 0) merged.push_back(std::move(m));
  }
  sum.monomials = std::move(merged);
}

const Term* make_sum(TermStore& store, const LinearSum& sum) {
  std::vector<const Term*> parts;
  for (const LinearSum::Monomial& m : sum.monomials) {
    const Term* factor = store.make_number(m.coefficient);
    parts.push_back(m.coefficient == QNumber(1)
                        ? m.leaf
                        : store.make_times(factor, m.leaf));
  }
  if (parts.empty() || sum.constant.sign() != 0) {
    parts.push_back(store.make_number(sum.constant));
  }
  return store.make_plus(parts);
}

bool Lineariser::linearise(const Term* term, LinearSum& sum) {
  heap_.clear();
  push(term, QNumber(1));
  return run(sum);
}

bool Lineariser::linearise_symbols(const Term* left, const Term* right,
                                   LinearSum& sum) {
  sum.monomials.clear();
  sum.constant = QNumber(0);
  if (!add_flat(left, QNumber(1), sum) || !add_flat(right, QNumber(-1), sum)) {
    return false;
  }
  auto& monomials = sum.monomials;
  monomials.erase(std::remove_if(monomials.begin(), monomials.end(),
                                 [](const LinearSum::Monomial& m) {
                                   return m.coefficient.sign() == 0;
                                 }),
                  monomials.end());
  std::sort(monomials.begin(), monomials.end(),
            [](const LinearSum::Monomial& a, const LinearSum::Monomial& b) {
              return a.leaf->id < b.leaf->id;
            });
  return true;
}

bool Lineariser::add_flat(const Term* term, const QNumber& factor,
                          LinearSum& sum) {
  if (term->kind != Kind::kPlus) return add_product(term, factor, sum);
  for (std::size_t i = 0; i < term->num_args; ++i) {
    if (!add_product(term->arg(i), factor, sum)) return false;
  }
  return true;
}

// A symbol or a number, with a constant factor or two perhaps.
bool Lineariser::add_product(const Term* term, QNumber factor, LinearSum& sum) {
  // Each is looked for among those before it.
  constexpr std::size_t kMostSymbols = 8;
  while (term->kind == Kind::kTimes && term->arg(0)->kind == Kind::kNumber) {
    factor *= term->arg(0)->number();
    term = term->arg(1);
  }
  if (term->kind == Kind::kNumber) {
    factor *= term->number();
    sum.constant += factor;
    return true;
  }
  if (term->kind != Kind::kSymbol) return false;
  for (LinearSum::Monomial& m : sum.monomials) {
    if (m.leaf != term) continue;
    m.coefficient += factor;
    return true;
  }
  if (sum.monomials.size() == kMostSymbols) return false;
  sum.monomials.push_back({term, std::move(factor)});
  return true;
}

bool Lineariser::linearise_difference(const Term* left, const Term* right,
                                      LinearSum& sum) {
  if (linearise_symbols(left, right, sum)) return true;
  heap_.clear();
  push(left, QNumber(1));
  push(right, QNumber(-1));
  return run(sum);
}

void Lineariser::push(const Term* term, const QNumber& coefficient) {
  assert(term->is_arithmetic());
  heap_.push_back({term, coefficient});
  std::push_heap(heap_.begin(), heap_.end(), later);
}

Lineariser::Pending Lineariser::pop() {
  std::pop_heap(heap_.begin(), heap_.end(), later);
  Pending top = std::move(heap_.back());
  heap_.pop_back();
  return top;
}

bool Lineariser::run(LinearSum& sum) {
  sum.monomials.clear();
  sum.constant = QNumber(0);
  while (!heap_.empty()) {
    Pending next = pop();
    while (!heap_.empty() && heap_.front().term == next.term) {
      next.coefficient += pop().coefficient;
    }
    const Term* term = next.term;
    switch (term->kind) {
      case Kind::kNumber:
        next.coefficient *= term->number();
        sum.constant += next.coefficient;
        break;
      case Kind::kPlus:
        for (std::size_t i = 0; i < term->num_args; ++i) {
          push(term->arg(i), next.coefficient);
        }
        break;
      case Kind::kTimes: {
        // The store folds numbers, so a constant factor is a number.
        const std::size_t factor = term->arg(0)->kind == Kind::kNumber ? 0 : 1;
        if (term->arg(factor)->kind != Kind::kNumber) return false;
        next.coefficient *= term->arg(factor)->number();
        push(term->arg(1 - factor), next.coefficient);
        break;
      }
      default:
        assert(term->kind == Kind::kSymbol || term->kind == Kind::kIte);
        if (next.coefficient.sign() != 0) {
          sum.monomials.push_back({term, std::move(next.coefficient)});
        }
        break;
    }
  }
  std::reverse(sum.monomials.begin(), sum.monomials.end());
  return true;
}

}  // namespace vorn::solver
