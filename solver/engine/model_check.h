// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_MODEL_CHECK_H
#define VORN_SOLVER_ENGINE_MODEL_CHECK_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "solver/engine/pair_bound.h"
#include "solver/terms/evaluator.h"
#include "solver/terms/term.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// Checks models of a stack of assertions, one after the other, by evaluation.
///
/// A model vouches for no more than its values: what was found true and has
/// only symbols that kept their values is true still, and is not evaluated
/// again. So a check costs a comparison for each symbol that may have changed,
/// and the evaluation of what is new or mentions a symbol with another value.
/// Nothing else is believed; in particular not that the search is the same as
/// before, or that it has changed something. Which symbols may have changed is
/// only for those to say whose values come from where that is noted.
///
/// Conjunctions are split, so that a long one is as many assertions. Of bounds
/// on the same two symbols the closest one is evaluated, which the others
/// follow from. What mentions many symbols is evaluated in each check; so the
/// memory taken is linear in the assertions. An assertion that is checked once,
/// as that of a scope that is left soon, is only evaluated.
///
/// Ownership: borrows the terms. Threads: none. On failing memory the object
/// can only be cleared.
class ModelCheck {
 public:
  /// Whether all assertions hold in the model of `values`, of which
  /// `evaluator` knows the terms. `assertions` are those of the last call, as
  /// far as they were not taken back, and new ones behind them. All symbols
  /// with other values than in the last call are in `changed`; null if that may
  /// be any.
  bool holds(const std::vector<const Term*>& assertions, Interpretation& values,
             Evaluator& evaluator,
             const std::vector<const Term*>* changed = nullptr);

  /// The assertions from this position on are gone.
  void rollback(std::size_t num_assertions);
  /// Forgets everything: all that comes is new.
  void clear();

  /// Terms evaluated for assertions since construction, conjunctions split.
  std::uint64_t num_evaluated() const { return num_evaluated_; }

 private:
  /// A term of the split assertions, and the symbols in it.
  struct Conjunct {
    const Term* term;
    /// It mentions too many symbols to list them.
    bool is_large;
    /// It was found true with the values of its symbols, or waits in
    /// unsettled_. Of no meaning if another bound is evaluated in its place.
    bool is_settled;
    /// A position in pairs_, or kNoPair.
    std::uint32_t pair;
    /// Positions in symbols_. None, if it is not the first of its pair.
    std::vector<std::uint32_t> symbols;
  };
  /// The bounds on the difference of two symbols.
  struct Pair {
    std::uint64_t key;
    /// Positions in conjuncts_, ascending, of those that were closer than all
    /// before. The last one is evaluated for all.
    std::vector<std::pair<std::uint32_t, PairBound>> closest;
  };
  static constexpr std::uint32_t kNoPair = UINT32_MAX;
  struct Symbol {
    const Term* term;
    /// Its values in the model that was checked last.
    bool truth;
    QNumber number;
    /// Positions in conjuncts_ that mention it, ascending.
    std::vector<std::uint32_t> conjuncts;
  };

  void compare(Interpretation& values, const std::vector<const Term*>* changed);
  void compare(Symbol& symbol, Interpretation& values);
  void unsettle(std::uint32_t position);
  bool evaluate_unsettled(Evaluator& evaluator);
  bool evaluate(std::uint32_t position, Evaluator& evaluator);
  void add(const Term* assertion, Interpretation& values);
  void add_conjunct(const Term* term, Interpretation& values);
  bool add_to_pair(Conjunct& conjunct, std::uint32_t position);
  void leave_pair(const Conjunct& conjunct, std::uint32_t position);
  std::uint32_t position_of(const Term* symbol, Interpretation& values);
  static bool update(Symbol& symbol, Interpretation& values);
  bool see(const Term* term);

  /// Those of the first ends_.size() assertions, which were checked twice, and
  /// where the conjuncts of each end.
  std::vector<Conjunct> conjuncts_;
  std::vector<std::size_t> ends_;
  /// In the order of the first conjunct of each; so they go with it.
  std::vector<Pair> pairs_;
  std::unordered_map<std::uint64_t, std::uint32_t> pair_positions_;
  /// Positions in conjuncts_: of large ones, ascending, and of those that are
  /// to be evaluated, some of which may be gone.
  std::vector<std::uint32_t> large_;
  std::vector<std::uint32_t> unsettled_;
  /// Assertions that were checked at least once.
  std::size_t num_checked_ = 0;
  /// The symbols in these conjuncts, in the order of the first conjunct that
  /// mentions each; so they go with it.
  std::vector<Symbol> symbols_;
  std::unordered_map<const Term*, std::uint32_t> positions_;
  std::uint64_t num_evaluated_ = 0;
  // Scratch space: terms seen in a walk, by id, and what it still has to see.
  std::vector<std::uint64_t> seen_;
  std::uint64_t walk_ = 0;
  std::vector<const Term*> pending_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_MODEL_CHECK_H
