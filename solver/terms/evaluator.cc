// SPDX-License-Identifier: MIT
#include "solver/terms/evaluator.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <utility>

// A stack of terms to compute replaces recursion. A term stays on the stack
// until all its arguments are known; it is then computed from the memo. All
// arguments are computed, also those that could not change the outcome: that
// keeps the order of work, and with it the cost, independent of the values.

namespace vorn::solver {

void Evaluator::forget() {
  num_numbers_ = 0;
  if (++round_ != 0) return;
  memo_.clear();
  round_ = 1;
}

bool Evaluator::known(const Term* term) const {
  return term->id < memo_.size() && memo_[term->id].round == round_;
}

bool Evaluator::known_bool(const Term* term) const {
  assert(term->is_bool() && known(term));
  return memo_[term->id].value == kTrue;
}

const QNumber& Evaluator::known_number(const Term* term) const {
  assert(term->is_arithmetic() && known(term));
  return numbers_[memo_[term->id].value - kFirstNumber];
}

std::uint32_t Evaluator::keep(QNumber value) {
  if (num_numbers_ == numbers_.size()) {
    numbers_.push_back(std::move(value));
  } else {
    numbers_[num_numbers_] = std::move(value);
  }
  return static_cast<std::uint32_t>(num_numbers_++) + kFirstNumber;
}

bool Evaluator::bool_value(const Term* term) {
  if (const auto small = compare_small(term)) return *small;
  if (term->kind == Kind::kAnd) {
    // A long one is mostly small ones.
    for (std::size_t k = 0; k < term->num_args; ++k) {
      fetch_ahead(term->args() + k, term->num_args - k);
      const Term* part = term->arg(k);
      if (const auto small = compare_small(part)) {
        if (!*small) return false;
        continue;
      }
      compute(part);
      if (!known_bool(part)) return false;
    }
    return true;
  }
  compute(term);
  return known_bool(term);
}

// A comparison of sums of few symbols and numbers with constant factors;
// nothing for other terms.
std::optional<bool> Evaluator::compare_small(const Term* term) {
  if (term->kind != Kind::kLeq && term->kind != Kind::kLess) return {};
  QNumber sides[2];
  for (const std::size_t k : {0U, 1U}) {
    const Term* side = term->arg(k);
    if (side->kind == Kind::kPlus) {
      if (side->num_args > kFewSummands) return {};
      for (std::size_t i = 0; i < side->num_args; ++i) {
        if (!add_small(side->arg(i), sides[k])) return {};
      }
    } else if (!add_small(side, sides[k])) {
      return {};
    }
  }
  return term->kind == Kind::kLess ? sides[0] < sides[1] : sides[0] <= sides[1];
}

bool Evaluator::add_small(const Term* term, QNumber& sum) {
  if (term->kind == Kind::kNumber) {
    sum += term->number();
    return true;
  }
  if (term->kind == Kind::kSymbol) {
    sum += number_value(term);
    return true;
  }
  if (term->kind != Kind::kTimes || term->arg(0)->kind != Kind::kNumber ||
      term->arg(1)->kind != Kind::kSymbol) {
    return false;
  }
  const QNumber& factor = term->arg(0)->number();
  const QNumber& value = number_value(term->arg(1));
  if (factor == QNumber(-1)) {
    sum -= value;
    return true;
  }
  QNumber product = factor;
  product *= value;
  sum += product;
  return true;
}

const QNumber& Evaluator::number_value(const Term* term) {
  compute(term);
  return known_number(term);
}

void Evaluator::compute(const Term* term) {
  if (known(term)) return;
  // Arguments have smaller ids than the terms that use them.
  if (memo_.size() <= term->id) memo_.resize(term->id + 1);
  stack_.assign(1, term);
  while (!stack_.empty()) {
    const Term* top = stack_.back();
    const std::size_t height = stack_.size();
    if (!known(top)) {
      for (std::size_t i = 0; i < top->num_args; ++i) {
        if (!known(top->arg(i))) stack_.push_back(top->arg(i));
      }
      if (stack_.size() > height) continue;
      memo_[top->id] = {round_, compute_root(top)};
    }
    stack_.pop_back();
  }
}

// Computes a term whose arguments are known; gives its memo entry.
std::uint32_t Evaluator::compute_root(const Term* term) {
  const auto entry = [](bool value) { return value ? kTrue : kFalse; };
  const auto first = term->args();
  const auto last = first + term->num_args;
  const auto holds = [this](const Term* arg) { return known_bool(arg); };
  switch (term->kind) {
    case Kind::kTrue:
      return kTrue;
    case Kind::kFalse:
      return kFalse;
    case Kind::kSymbol:
      return term->is_bool() ? entry(symbols_.bool_value(term))
                             : keep(symbols_.number_value(term));
    case Kind::kNumber:
      return keep(term->number());
    case Kind::kNot:
      return entry(!holds(first[0]));
    case Kind::kAnd:
      return entry(std::all_of(first, last, holds));
    case Kind::kOr:
      return entry(std::any_of(first, last, holds));
    case Kind::kXor:
      return entry(holds(first[0]) != holds(first[1]));
    case Kind::kImplies:
      return entry(!holds(first[0]) || holds(first[1]));
    case Kind::kEqual:
      return entry(are_equal(first[0], first[1]));
    case Kind::kDistinct:
      return entry(are_distinct(term));
    case Kind::kIte: {
      const Term* branch = first[holds(first[0]) ? 1 : 2];
      return term->is_bool() ? entry(holds(branch))
                             : keep(known_number(branch));
    }
    case Kind::kLeq:
      return entry(known_number(first[0]) <= known_number(first[1]));
    case Kind::kLess:
      return entry(known_number(first[0]) < known_number(first[1]));
    case Kind::kPlus: {
      QNumber sum = known_number(first[0]);
      for (auto arg = first + 1; arg != last; ++arg) sum += known_number(*arg);
      return keep(std::move(sum));
    }
    case Kind::kTimes: {
      QNumber product = known_number(first[0]);
      product *= known_number(first[1]);
      return keep(std::move(product));
    }
  }
  assert(false && "no such kind");
  return kFalse;
}

bool Evaluator::are_equal(const Term* a, const Term* b) const {
  if (a->is_bool()) return known_bool(a) == known_bool(b);
  return known_number(a) == known_number(b);
}

bool Evaluator::are_distinct(const Term* term) const {
  if (term->arg(0)->is_bool()) {
    // There are but two truth values.
    return term->num_args == 2 && !are_equal(term->arg(0), term->arg(1));
  }
  std::vector<const QNumber*> sorted;
  sorted.reserve(term->num_args);
  for (std::size_t i = 0; i < term->num_args; ++i) {
    sorted.push_back(&known_number(term->arg(i)));
  }
  std::sort(sorted.begin(), sorted.end(),
            [](const QNumber* a, const QNumber* b) { return *a < *b; });
  return std::adjacent_find(sorted.begin(), sorted.end(),
                            [](const QNumber* a, const QNumber* b) {
                              return *a == *b;
                            }) == sorted.end();
}

}  // namespace vorn::solver
