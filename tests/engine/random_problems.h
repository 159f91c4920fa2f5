// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_ENGINE_RANDOM_PROBLEMS_H
#define VORN_TESTS_ENGINE_RANDOM_PROBLEMS_H

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver::testing {

/// Random assertions of difference logic over a few symbols of each sort,
/// mostly short clauses of bounds.
class RandomProblems {
 public:
  RandomProblems(TermStore& store, unsigned seed, int num_variables,
                 bool with_reals)
      : store_(store), rng_(seed), with_reals_(with_reals) {
    for (int i = 0; i < num_variables; ++i) {
      const std::string suffix = std::to_string(i);
      ints_.push_back(store.make_symbol("i" + suffix, Sort::kInt));
      reals_.push_back(store.make_symbol("r" + suffix, Sort::kReal));
    }
    for (int i = 0; i < 4; ++i) {
      bools_.push_back(store.make_symbol("p" + std::to_string(i), Sort::kBool));
    }
  }

  const Term* make_atom() {
    if (pick(6) == 0) return any(bools_);
    const auto& variables = with_reals_ && pick(2) == 0 ? reals_ : ints_;
    const Term* x = any(variables);
    const Term* y = any(variables);
    if (pick(8) == 0) y = store_.make_ite(any(bools_), y, any(variables));
    const Term* limit = store_.make_number(QNumber(pick(9) - 4), x->sort);
    if (pick(4) == 0) return store_.make_less(x, limit);
    const Term* sum = store_.make_plus(y, limit);
    switch (pick(8)) {
      case 0:
        return store_.make_equal(x, sum);
      case 1:
      case 2:
        return store_.make_less(x, sum);
      default:
        return store_.make_leq(x, sum);
    }
  }

  const Term* make_literal() {
    const Term* atom = make_atom();
    return pick(3) == 0 ? store_.make_not(atom) : atom;
  }

  const Term* make_clause() {
    std::vector<const Term*> literals;
    const int size = pick(12) == 0 ? 1 : 2 + pick(2);
    for (int i = 0; i < size; ++i) literals.push_back(make_literal());
    if (pick(12) == 0) {
      return store_.make_xor(literals[0], literals.back());
    }
    return store_.make_or(literals);
  }

  /// From 0 to bound - 1.
  int pick(int bound) {
    return static_cast<int>(rng_() % static_cast<unsigned>(bound));
  }

  /// All symbols that the assertions may mention.
  std::vector<const Term*> symbols() const {
    std::vector<const Term*> all = bools_;
    all.insert(all.end(), ints_.begin(), ints_.end());
    all.insert(all.end(), reals_.begin(), reals_.end());
    return all;
  }

 private:
  const Term* any(const std::vector<const Term*>& from) {
    return from[static_cast<std::size_t>(pick(static_cast<int>(from.size())))];
  }

  TermStore& store_;
  std::mt19937 rng_;
  bool with_reals_;
  std::vector<const Term*> bools_;
  std::vector<const Term*> ints_;
  std::vector<const Term*> reals_;
};

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_ENGINE_RANDOM_PROBLEMS_H
