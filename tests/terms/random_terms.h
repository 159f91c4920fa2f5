// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_TERMS_RANDOM_TERMS_H
#define VORN_TESTS_TERMS_RANDOM_TERMS_H

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver::testing {

inline mpq_class to_mpq(const QNumber& value) {
  return mpq_class(value.to_str());
}

inline QNumber to_q(const mpq_class& value) {
  return *QNumber::from_string(value.get_str());
}

/// Values of symbols.
struct Point {
  std::map<const Term*, bool> bools;
  std::map<const Term*, mpq_class> numbers;
};

mpq_class naive_number(const Term* term, const Point& point);

/// The meaning of Boolean terms, by plain recursion: the oracle. Exponential
/// in the worst case, so only for small terms.
inline bool naive_bool(const Term* term, const Point& point) {
  const auto holds = [&](std::size_t i) {
    return naive_bool(term->arg(i), point);
  };
  const auto number = [&](std::size_t i) {
    return naive_number(term->arg(i), point);
  };
  const auto same = [&](std::size_t i, std::size_t j) {
    return term->arg(i)->is_bool() ? holds(i) == holds(j)
                                   : number(i) == number(j);
  };
  switch (term->kind) {
    case Kind::kTrue:
      return true;
    case Kind::kFalse:
      return false;
    case Kind::kSymbol:
      return point.bools.at(term);
    case Kind::kNot:
      return !holds(0);
    case Kind::kAnd: {
      bool all = true;
      for (std::size_t i = 0; i < term->num_args; ++i) all = all && holds(i);
      return all;
    }
    case Kind::kOr: {
      bool any = false;
      for (std::size_t i = 0; i < term->num_args; ++i) any = any || holds(i);
      return any;
    }
    case Kind::kXor:
      return holds(0) != holds(1);
    case Kind::kImplies:
      return !holds(0) || holds(1);
    case Kind::kEqual:
      return same(0, 1);
    case Kind::kDistinct: {
      bool differ = true;
      for (std::size_t i = 0; i < term->num_args; ++i) {
        for (std::size_t j = 0; j < i; ++j) differ = differ && !same(i, j);
      }
      return differ;
    }
    case Kind::kIte:
      return holds(0) ? holds(1) : holds(2);
    case Kind::kLeq:
      return number(0) <= number(1);
    case Kind::kLess:
      return number(0) < number(1);
    default:
      ADD_FAILURE() << "not a Boolean kind";
      return false;
  }
}

/// The same for arithmetic terms.
inline mpq_class naive_number(const Term* term, const Point& point) {
  switch (term->kind) {
    case Kind::kSymbol:
      return point.numbers.at(term);
    case Kind::kNumber:
      return to_mpq(term->number());
    case Kind::kIte:
      return naive_number(term->arg(naive_bool(term->arg(0), point) ? 1 : 2),
                          point);
    case Kind::kPlus: {
      mpq_class sum = 0;
      for (std::size_t i = 0; i < term->num_args; ++i) {
        sum += naive_number(term->arg(i), point);
      }
      return sum;
    }
    case Kind::kTimes:
      return naive_number(term->arg(0), point) *
             naive_number(term->arg(1), point);
    default:
      ADD_FAILURE() << "not an arithmetic kind";
      return 0;
  }
}

/// A pool of random terms over a few symbols of all sorts, which grows out of
/// itself. Beside each term stands the value that the operation asked for has
/// at one random point, whatever the store made of the operation.
class RandomTerms {
 public:
  RandomTerms(TermStore& store, unsigned seed, bool linear_only)
      : store_(store), rng_(seed), linear_only_(linear_only) {
    for (int i = 0; i < 4; ++i) {
      const std::string suffix = std::to_string(i);
      symbols_.push_back(store.make_symbol("p" + suffix, Sort::kBool));
      symbols_.push_back(store.make_symbol("i" + suffix, Sort::kInt));
      symbols_.push_back(store.make_symbol("r" + suffix, Sort::kReal));
    }
    point_ = random_point();
    for (const Term* symbol : symbols_) {
      if (symbol->is_bool()) {
        add_bool(symbol, point_.bools[symbol]);
      } else {
        add_number(symbol, point_.numbers[symbol]);
      }
    }
    add_bool(store.make_bool(true), true);
    add_bool(store.make_bool(false), false);
    for (int i = -2; i <= 2; ++i) {
      add_number(store.make_number(QNumber(i)), i);
      add_number(store.make_number(to_q(half(i)), Sort::kReal), half(i));
    }
  }

  /// Small values, so that equalities and ties do occur.
  Point random_point() {
    Point point;
    for (const Term* symbol : symbols_) {
      const int value = pick(7) - 3;
      if (symbol->is_bool()) point.bools[symbol] = pick(2) == 0;
      if (symbol->sort == Sort::kInt) point.numbers[symbol] = value;
      if (symbol->sort == Sort::kReal) point.numbers[symbol] = half(value);
    }
    return point;
  }

  void grow_bool() {
    const std::size_t a = pick_bool();
    const std::size_t b = pick_bool();
    const std::size_t c = pick_bool();
    const std::size_t x = pick_number();
    const std::size_t y = pick_number();
    const std::size_t z = pick_number();
    const bool va = bool_values[a];
    const bool vb = bool_values[b];
    const bool vc = bool_values[c];
    const Term* ta = bools[a];
    const Term* tb = bools[b];
    const Term* tc = bools[c];
    const mpq_class& vx = number_values[x];
    const mpq_class& vy = number_values[y];
    const mpq_class& vz = number_values[z];
    const Term* tx = numbers[x];
    const Term* ty = numbers[y];
    const Term* tz = numbers[z];
    switch (pick(15)) {
      case 0:
        return add_bool(store_.make_not(ta), !va);
      case 1:
        return add_bool(store_.make_and({ta, tb, tc}), va && vb && vc);
      case 2:
        return add_bool(store_.make_or({ta, tb, tc}), va || vb || vc);
      case 3:
        return add_bool(store_.make_or(ta, tb), va || vb);
      case 4:
        return add_bool(store_.make_xor(ta, tb), va != vb);
      case 5:
        return add_bool(store_.make_implies(ta, tb), !va || vb);
      case 6:
        return add_bool(store_.make_equal(ta, tb), va == vb);
      case 7:
        return add_bool(store_.make_distinct({ta, tb}), va != vb);
      case 8:
        return add_bool(store_.make_distinct({ta, tb, tc}), false);
      case 9:
        return add_bool(store_.make_ite(ta, tb, tc), va ? vb : vc);
      case 10:
        return add_bool(store_.make_and({ta, tb}), va && vb);
      case 11:
        return add_bool(store_.make_equal(tx, ty), vx == vy);
      case 12:
        return add_bool(store_.make_distinct({tx, ty, tz}),
                        vx != vy && vx != vz && vy != vz);
      case 13:
        return add_bool(store_.make_leq(tx, ty), vx <= vy);
      default:
        return add_bool(store_.make_less(tx, ty), vx < vy);
    }
  }

  void grow_number() {
    const std::size_t a = pick_bool();
    const std::size_t x = pick_number();
    const std::size_t y = pick_number();
    const std::size_t z = pick_number();
    const mpq_class vx = number_values[x];
    const mpq_class vy = number_values[y];
    const mpq_class vz = number_values[z];
    const Term* tx = numbers[x];
    const Term* ty = numbers[y];
    const Term* tz = numbers[z];
    const int factor = pick(7) - 3;
    const Term* constant = store_.make_number(to_q(half(factor)), Sort::kReal);
    switch (pick(linear_only_ ? 7 : 8)) {
      case 0:
        return add_number(store_.make_plus(tx, ty), vx + vy);
      case 1:
        return add_number(store_.make_plus({tx, ty, tz}), vx + vy + vz);
      case 2:
        return add_number(store_.make_plus(tx, store_.make_negate(ty)),
                          vx - vy);
      case 3:
        return add_number(store_.make_negate(tx), -vx);
      case 4:
        return add_number(store_.make_ite(bools[a], tx, ty),
                          bool_values[a] ? vx : vy);
      case 5:
        return add_number(store_.make_times(constant, tx), half(factor) * vx);
      case 6:
        return add_number(store_.make_times(tx, constant), half(factor) * vx);
      default:
        return add_number(store_.make_times(tx, ty), vx * vy);
    }
  }

  void grow(int steps) {
    for (int i = 0; i < steps; ++i) {
      if (pick(2) == 0) {
        grow_bool();
      } else {
        grow_number();
      }
    }
  }

  /// From 0 to bound - 1.
  int pick(int bound) {
    return std::uniform_int_distribution<int>(0, bound - 1)(rng_);
  }

  const Point& point() const { return point_; }

  std::vector<const Term*> bools;
  std::vector<bool> bool_values;
  std::vector<const Term*> numbers;
  std::vector<mpq_class> number_values;

 private:
  static mpq_class half(int value) {
    mpq_class result(value, 2);
    result.canonicalize();
    return result;
  }
  std::size_t pick_bool() {
    return static_cast<std::size_t>(pick(static_cast<int>(bools.size())));
  }
  std::size_t pick_number() {
    return static_cast<std::size_t>(pick(static_cast<int>(numbers.size())));
  }
  void add_bool(const Term* term, bool value) {
    bools.push_back(term);
    bool_values.push_back(value);
  }
  void add_number(const Term* term, const mpq_class& value) {
    numbers.push_back(term);
    number_values.push_back(value);
  }

  TermStore& store_;
  std::mt19937 rng_;
  bool linear_only_;
  std::vector<const Term*> symbols_;
  Point point_;
};

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_TERMS_RANDOM_TERMS_H
