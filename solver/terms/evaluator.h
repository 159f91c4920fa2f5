// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_EVALUATOR_H
#define VORN_SOLVER_TERMS_EVALUATOR_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "solver/terms/fetch.h"
#include "solver/terms/term.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// An interpretation: where an Evaluator gets the values of symbols from. It is
/// asked at most once per symbol, and must not change until the evaluator
/// forgets what it was told.
class Interpretation {
 public:
  Interpretation() = default;
  Interpretation(const Interpretation&) = delete;
  Interpretation& operator=(const Interpretation&) = delete;
  virtual ~Interpretation() = default;

  /// The value of a symbol of sort kBool.
  virtual bool bool_value(const Term* symbol) = 0;
  /// The value of a symbol of sort kInt or kReal.
  virtual QNumber number_value(const Term* symbol) = 0;
};

/// Computes exact values of terms under an interpretation.
///
/// It is the judge of models: it follows the meaning of the term kinds and
/// nothing else, and shares no code with the normalisation that the search
/// works on, so that a mistake there cannot hide itself.
///
/// Cost: each distinct subterm is computed once and remembered, for any depth,
/// but not comparisons of small sums that are asked for themselves, where that
/// would be dearer than to compute them again;
/// one word per term id up to the greatest one seen, and a number per
/// arithmetic subterm, which stay for later use when values are forgotten.
/// Ownership: borrows the interpretation; terms must stay
/// alive. Threads: none.
class Evaluator {
 public:
  /// Asks `symbols` for the values of symbols.
  explicit Evaluator(Interpretation& symbols) : symbols_(symbols) {}

  /// The symbols, or ids of terms, mean something else from now on. Cost: O(1).
  void forget();

  /// The value of a Boolean term.
  bool bool_value(const Term* term);
  /// The value of an arithmetic term.
  const QNumber& number_value(const Term* term);

  /// Of the `count` terms whose values will be asked for next, fetches into the
  /// cache what those some places on need: in large scripts it is in none, and
  /// one thing says where the next is. Cost: O(1).
  void fetch_ahead(const Term* const* next, std::size_t count) const {
    constexpr std::size_t kStage = 6;
    const auto at_stage = [next, count](std::size_t stage, const auto& visit) {
      const std::size_t place = kStage * (kNumStages - stage);
      if (place < count) visit_small(next[place], visit);
    };
    at_stage(0, [](const Term* part) { fetch(part); });
    at_stage(1, [](const Term* part) { fetch(leaf_of(part)); });
    at_stage(2, [this](const Term* part) {
      const std::size_t id = leaf_of(part)->id;
      if (id < memo_.size()) fetch(&memo_[id]);
    });
    at_stage(3, [this](const Term* part) {
      const Term* leaf = leaf_of(part);
      if (leaf->is_arithmetic() && known(leaf)) {
        fetch(&known_number(leaf));
      }
    });
  }

 private:
  // What is known of a term. From kFirstNumber on, a value is an index into
  // numbers_ with kFirstNumber added.
  static constexpr std::uint32_t kFalse = 0;
  static constexpr std::uint32_t kTrue = 1;
  static constexpr std::uint32_t kFirstNumber = 2;
  struct Entry {
    std::uint32_t round = 0;  // it counts in this round alone
    std::uint32_t value = kFalse;
  };

  static constexpr std::size_t kFewSummands = 4;
  static constexpr std::size_t kNumStages = 4;

  // Of a comparison of small sums each summand; of other terms none.
  template <class Visit>
  static void visit_small(const Term* term, const Visit& visit) {
    if (term->kind != Kind::kLeq && term->kind != Kind::kLess) return;
    for (const std::size_t k : {0U, 1U}) {
      const Term* side = term->arg(k);
      if (side->kind != Kind::kPlus) {
        visit(side);
      } else if (side->num_args <= kFewSummands) {
        for (std::size_t i = 0; i < side->num_args; ++i) visit(side->arg(i));
      }
    }
  }
  // The symbol of a symbol with a factor, and other summands themselves.
  static const Term* leaf_of(const Term* summand) {
    return summand->kind == Kind::kTimes ? summand->arg(1) : summand;
  }

  std::optional<bool> compare_small(const Term* term);
  bool add_small(const Term* term, QNumber& sum);
  void compute(const Term* term);
  std::uint32_t compute_root(const Term* term);
  bool known(const Term* term) const;
  bool known_bool(const Term* term) const;
  const QNumber& known_number(const Term* term) const;
  bool are_equal(const Term* a, const Term* b) const;
  bool are_distinct(const Term* term) const;
  std::uint32_t keep(QNumber value);

  Interpretation& symbols_;
  std::uint32_t round_ = 1;
  std::vector<Entry> memo_;  // by term id
  // The first num_numbers_ are of this round.
  std::deque<QNumber> numbers_;
  std::size_t num_numbers_ = 0;
  std::vector<const Term*> stack_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_EVALUATOR_H
