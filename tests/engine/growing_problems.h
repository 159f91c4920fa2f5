// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_ENGINE_GROWING_PROBLEMS_H
#define VORN_TESTS_ENGINE_GROWING_PROBLEMS_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver::testing {

/// Random assertions whose scopes bring more and more variables and larger
/// numbers.
///
/// Each variable has a secret value, from a few units up to far past 64 bits,
/// for reals with fractions, and bounds lie within a few units of the secret
/// differences: however large their numbers are, they add up along paths and
/// cycles as small ones do.
class GrowingProblems {
 public:
  GrowingProblems(TermStore& store, unsigned seed, bool with_reals)
      : store_(store), rng_(seed), with_reals_(with_reals) {
    for (int i = 0; i < 3; ++i) {
      bools_.push_back(store.make_symbol("p" + std::to_string(i), Sort::kBool));
      symbols_.push_back(bools_.back());
    }
    for (int i = 0; i < 6; ++i) add_variable(kUnits);
  }

  /// Brings new variables, or some that went with a scope, and a size of
  /// numbers for them.
  void open_scope() {
    scopes_.push_back(variables_.size());
    const int size = pick(kNumSizes);
    const int count = 1 + pick(3);
    for (int i = 0; i < count; ++i) {
      if (!retired_.empty() && pick(2) == 0) {
        variables_.push_back(retired_.back());
        retired_.pop_back();
      } else {
        add_variable(size);
      }
    }
  }
  /// Its variables are mentioned no more, until a later scope brings them back.
  void close_scope() {
    while (variables_.size() > scopes_.back()) {
      retired_.push_back(variables_.back());
      variables_.pop_back();
    }
    scopes_.pop_back();
  }

  /// A bound or a clause that holds for the secret values; in scopes also a
  /// choice of which side of its secret difference from another a variable is
  /// on, and now and then something random. Room for the choices is scarce, so
  /// they meet in conflicts.
  const Term* make_assertion() {
    const int kind = pick(8);
    if (!scopes_.empty() && kind < 4) return make_choice();
    const bool holds = scopes_.empty() || pick(20) > 0;
    const Term* first = holds ? make_bound(pick(7)) : make_literal();
    if (kind % 2 == 0) return first;
    std::vector<const Term*> literals(2 + below(2));
    for (const Term*& literal : literals) literal = make_literal();
    literals[below(literals.size())] = first;
    return store_.make_or(literals);
  }

  const Term* make_literal() {
    if (pick(8) == 0) return bools_[below(bools_.size())];
    const Term* bound = make_bound(pick(7) - 4);
    return pick(3) == 0 ? store_.make_not(bound) : bound;
  }

  /// From 0 to bound - 1.
  int pick(int bound) {
    return static_cast<int>(rng_() % static_cast<unsigned>(bound));
  }

  /// All symbols that assertions have ever mentioned.
  const std::vector<const Term*>& symbols() const { return symbols_; }

 private:
  /// Sizes of secret values: a path of small ones fits 32 bits, then 64, then
  /// none. The next is for reals, and for integers as the first.
  enum Size { kUnits, kPast32Bits, kPast64Bits, kFractions, kNumSizes };

  struct Variable {
    const Term* symbol;
    QNumber secret;
  };

  void add_variable(int size) {
    const bool is_real = with_reals_ && (size == kFractions || pick(2) == 0);
    QNumber secret(pick(9) - 4);
    if (size == kPast32Bits) {
      secret *= QNumber::from_word(std::int64_t{1} << 37);
    } else if (size == kPast64Bits) {
      secret *= *QNumber::from_string("1000000000000000000000003");
    } else if (is_real && size == kFractions) {
      secret /= QNumber(3 + pick(9));
    }
    const std::string name =
        (is_real ? "r" : "i") + std::to_string(symbols_.size());
    const Sort sort = is_real ? Sort::kReal : Sort::kInt;
    variables_.push_back({store_.make_symbol(name, sort), secret});
    symbols_.push_back(variables_.back().symbol);
  }

  const Variable& any() { return variables_[below(variables_.size())]; }

  const Term* make_choice() {
    const std::size_t i = below(variables_.size());
    const std::size_t j =
        (i + 1 + below(variables_.size() - 1)) % variables_.size();
    const Variable& x = variables_[i];
    const Variable& y = variables_[j];
    const Term* below_it = bound(x, y, -1 - pick(3));
    return store_.make_or(below_it, bound(y, x, -1 - pick(3)));
  }

  const Term* make_bound(int slack) {
    const Variable& x = any();
    return bound(x, any(), slack);
  }

  /// x - y <= secret difference + slack, or strict if that changes nothing for
  /// the secret values, or an equation. One variable less where that makes no
  /// sense, and now and then.
  const Term* bound(const Variable& x, const Variable& y, int slack) {
    QNumber limit = x.secret;
    const bool is_single = x.symbol->sort != y.symbol->sort || pick(6) == 0;
    if (!is_single) limit -= y.secret;
    limit += QNumber(slack);
    const Term* right = store_.make_number(limit, x.symbol->sort);
    if (!is_single) right = store_.make_plus(y.symbol, right);
    if (slack == 0 && pick(4) == 0) return store_.make_equal(x.symbol, right);
    if (slack != 0 && pick(3) == 0) return store_.make_less(x.symbol, right);
    return store_.make_leq(x.symbol, right);
  }

  std::size_t below(std::size_t bound) {
    return static_cast<std::size_t>(pick(static_cast<int>(bound)));
  }

  TermStore& store_;
  std::mt19937 rng_;
  bool with_reals_;
  std::vector<const Term*> bools_;
  std::vector<const Term*> symbols_;
  std::vector<Variable> variables_;
  std::vector<Variable> retired_;
  /// How many variables there were before each open scope.
  std::vector<std::size_t> scopes_;
};

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_ENGINE_GROWING_PROBLEMS_H
