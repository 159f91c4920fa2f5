// SPDX-License-Identifier: MIT
#include "solver/proof/written_sums.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <string>

// Terms wait with the coefficients that they have so far, those with the
// greatest number first: when one is taken, all that it is an argument of have
// been, so each is taken once, however often it is shared.

namespace vorn::solver {
namespace {

QNumber greatest_common_divisor(QNumber a, QNumber b) {
  while (b.sign() != 0) {
    QNumber quotient = a;
    quotient /= b;
    quotient = quotient.floor();
    quotient *= b;
    a -= quotient;
    std::swap(a, b);
  }
  return a;
}

}  // namespace

// The value of a number as it is written: of digits, or a function of numbers.
// What means a number may be written with other terms, too.
std::optional<QNumber> WrittenSums::value_of(WrittenId term) {
  const Term* meaning = terms_.meaning(term);
  if (meaning->kind != Kind::kNumber) return std::nullopt;
  std::vector<WrittenId> stack{term};
  while (!stack.empty()) {
    const WrittenId top = stack.back();
    const WrittenKind kind = terms_.kind(top);
    bool is_number = kind == WrittenKind::kLeaf || kind == WrittenKind::kOther;
    is_number = is_number && terms_.meaning(top)->kind == Kind::kNumber;
    const std::size_t height = stack.size();
    if (is_number && numbers_.count(top) == 0) {
      for (std::size_t k = 0; k < terms_.num_args(top); ++k) {
        const auto part = numbers_.find(terms_.arg(top, k));
        if (part == numbers_.end()) stack.push_back(terms_.arg(top, k));
        is_number = is_number && part != numbers_.end() && part->second;
      }
      if (stack.size() > height) continue;
    }
    numbers_.emplace(top, is_number);
    stack.pop_back();
  }
  if (!numbers_.at(term)) return std::nullopt;
  return meaning->number();
}

bool WrittenSums::read_product(WrittenId term, const QNumber& factor,
                               Shares& shares) {
  const bool divides = terms_.text(term) == "/";
  QNumber product = factor;
  WrittenId variable = kNotWritten;
  for (std::size_t k = 0; k < terms_.num_args(term); ++k) {
    const WrittenId part = terms_.arg(term, k);
    std::optional<QNumber> number = value_of(part);
    if (!number) {
      if (variable != kNotWritten || (divides && k > 0)) return false;
      variable = part;
    } else if (divides && k > 0) {
      if (number->sign() == 0) return false;
      product /= *number;
    } else {
      product *= *number;
    }
  }
  if (variable == kNotWritten) return false;
  shares[variable] += product;
  return true;
}

bool WrittenSums::read(Shares shares, Sum& sum, QNumber& constant) {
  while (!shares.empty()) {
    const auto last = std::prev(shares.end());
    const WrittenId term = last->first;
    const QNumber factor = last->second;
    shares.erase(last);
    if (const std::optional<QNumber> number = value_of(term)) {
      QNumber product = *number;
      product *= factor;
      constant += product;
      continue;
    }
    const bool is_function = terms_.kind(term) == WrittenKind::kOther;
    const std::string& function = terms_.text(term);
    const std::size_t count = terms_.num_args(term);
    if (is_function && (function == "+" || function == "-")) {
      for (std::size_t k = 0; k < count; ++k) {
        const bool is_taken_off = function == "-" && (k > 0 || count == 1);
        QNumber& share = shares[terms_.arg(term, k)];
        share += is_taken_off ? -factor : factor;
      }
    } else if (is_function && function == "to_real") {
      shares[terms_.arg(term, 0)] += factor;
    } else if (is_function && (function == "*" || function == "/")) {
      if (!read_product(term, factor, shares)) return false;
    } else {
      sum[term] += factor;
    }
  }
  for (auto part = sum.begin(); part != sum.end();) {
    part = part->second.sign() == 0 ? sum.erase(part) : std::next(part);
  }
  return true;
}

const WrittenSums::Sum* WrittenSums::sum_of(WrittenId term) {
  const auto [place, is_new] = sums_.try_emplace(term);
  if (is_new) {
    Sum sum;
    QNumber constant;
    if (read({{term, QNumber(1)}}, sum, constant))
      place->second = std::move(sum);
  }
  return place->second ? &*place->second : nullptr;
}

void WrittenSums::sharpen(Inequality& inequality) {
  QNumber divisor;
  for (const auto& [variable, coefficient] : inequality.sum) {
    if (!coefficient.is_integer()) return;
    divisor = greatest_common_divisor(
        coefficient.sign() < 0 ? -coefficient : coefficient, divisor);
  }
  if (divisor.sign() == 0) return;
  QNumber bound = inequality.bound;
  bound /= divisor;
  if (inequality.relation == Relation::kGreater) {
    bound = bound.floor();
    bound += QNumber(1);
  } else {
    bound = bound.ceil();
  }
  bound *= divisor;
  inequality.bound = bound;
  inequality.relation = Relation::kGeq;
}

std::optional<WrittenSums::Inequality> WrittenSums::negation_of(
    WrittenLiteral literal) {
  const auto atom = static_cast<WrittenId>(literal / 2);
  const bool is_negated = literal % 2 != 0;
  const WrittenKind kind = terms_.kind(atom);
  const bool is_bound =
      kind >= WrittenKind::kLeq && kind <= WrittenKind::kGreater;
  const bool is_equality = kind == WrittenKind::kEqual && is_negated;
  if (terms_.num_args(atom) != 2 || (!is_bound && !is_equality)) {
    return std::nullopt;
  }
  const WrittenId left = terms_.arg(atom, 0);
  const WrittenId right = terms_.arg(atom, 1);
  if (terms_.meaning(left)->is_bool()) return std::nullopt;

  // not (s <= t) and s > t and s >= t say something of s - t.
  const bool is_upper = kind == WrittenKind::kLeq || kind == WrittenKind::kLess;
  const bool is_left_greater = is_upper != is_negated;
  Shares shares;
  shares[left] += is_left_greater ? QNumber(1) : QNumber(-1);
  shares[right] += is_left_greater ? QNumber(-1) : QNumber(1);
  Sum sum;
  QNumber constant;
  if (!read(std::move(shares), sum, constant)) return std::nullopt;
  Inequality result;
  result.sum.assign(sum.begin(), sum.end());
  result.bound = -constant;
  const bool is_strict =
      kind == WrittenKind::kLess || kind == WrittenKind::kGreater;
  result.relation = is_equality               ? Relation::kEqual
                    : is_strict == is_negated ? Relation::kGreater
                                              : Relation::kGeq;
  const auto is_int = [this](WrittenId side) {
    return terms_.meaning(side)->sort == Sort::kInt;
  };
  if (!is_equality && is_int(left) && is_int(right)) sharpen(result);
  return result;
}

const WrittenSums::Inequality* WrittenSums::inequality_of(
    WrittenLiteral literal) {
  if (literal >= is_read_.size()) {
    is_read_.resize(2 * terms_.size(), 0);
    inequalities_.resize(2 * terms_.size());
  }
  if (std::exchange(is_read_[literal], 1) == 0) {
    if (auto read = negation_of(literal)) {
      inequalities_[literal] =
          std::make_unique<const Inequality>(std::move(*read));
    }
  }
  return inequalities_[literal].get();
}

bool WrittenSums::do_add_up(const std::vector<WrittenLiteral>& literals,
                            const std::vector<QNumber>& coefficients) {
  assert(literals.size() == coefficients.size());
  for (const WrittenId variable : touched_) totals_[variable] = QNumber(0);
  touched_.clear();
  totals_.resize(std::max(totals_.size(), terms_.size()));
  bound_ = QNumber(0);
  is_strict_ = false;
  for (std::size_t k = 0; k < literals.size(); ++k) {
    const Inequality* inequality = inequality_of(literals[k]);
    if (inequality == nullptr) return false;
    const bool counts_by_size = inequality->relation != Relation::kEqual;
    const QNumber factor = counts_by_size && coefficients[k].sign() < 0
                               ? -coefficients[k]
                               : coefficients[k];
    if (factor.sign() == 0) continue;
    const bool is_one = factor == QNumber(1);
    const auto times_factor = [&](const QNumber& value) {
      QNumber product = value;
      if (!is_one) product *= factor;
      return product;
    };
    for (const auto& [variable, coefficient] : inequality->sum) {
      totals_[variable] += times_factor(coefficient);
      touched_.push_back(variable);
    }
    bound_ += times_factor(inequality->bound);
    is_strict_ = is_strict_ || inequality->relation == Relation::kGreater;
  }
  return true;
}

std::optional<WrittenSums::Sum> WrittenSums::add_up(
    const std::vector<WrittenLiteral>& literals,
    const std::vector<QNumber>& coefficients) {
  if (!do_add_up(literals, coefficients)) return std::nullopt;
  Sum sum;
  for (const WrittenId variable : touched_) sum[variable] = totals_[variable];
  return sum;
}

bool WrittenSums::refutes(const std::vector<WrittenLiteral>& literals,
                          const std::vector<QNumber>& coefficients) {
  return do_add_up(literals, coefficients) &&
         std::all_of(touched_.begin(), touched_.end(),
                     [this](WrittenId variable) {
                       return totals_[variable].sign() == 0;
                     }) &&
         (bound_.sign() > 0 || (is_strict_ && bound_.sign() == 0));
}

}  // namespace vorn::solver
