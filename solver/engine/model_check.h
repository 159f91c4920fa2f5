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
  /// far as they were not taken back, and new ones behind them. All symbols of
  /// numbers with other values than in the last call are in `changed`; null if
  /// that may be any.
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
  // Positions in the lists below, and none of them.
  using Index = std::uint32_t;
  static constexpr Index kNone = UINT32_MAX;

  /// A term of the split assertions.
  struct Conjunct {
    const Term* term;
    /// In mentions_, where its own begin. It has none, if it is large or not
    /// the first of its pair.
    Index mentions;
    /// In pairs_, or kNone.
    Index pair;
    /// The conjunct that was the closest of its pair before it; itself, if it
    /// is no closer than that.
    Index former;
    /// It mentions too many symbols to list them.
    bool is_large;
    /// It was found true with the values of its symbols, or waits in
    /// unsettled_. Of no meaning if a closer bound is evaluated in its place.
    bool is_settled;
  };
  /// The bounds on the difference of two symbols.
  struct Pair {
    std::uint64_t key;
    /// The one that says most, evaluated for all.
    Index closest;
  };
  /// A symbol of a conjunct, and the mention of the symbol before this one.
  struct Mention {
    Index symbol;
    Index conjunct;
    Index former;
  };
  struct Symbol {
    const Term* term;
    /// Its values in the model that was checked last.
    bool truth;
    QNumber number;
    Index last_mention;
  };

  void compare(Interpretation& values, const std::vector<const Term*>* changed);
  void compare(Symbol& symbol, Interpretation& values);
  void unsettle(Index position);
  bool evaluate_unsettled(Evaluator& evaluator);
  bool evaluate(Index position, Evaluator& evaluator);
  void add(const Term* assertion, Interpretation& values);
  void add_conjunct(const Term* term, Interpretation& values);
  void add_bound(Conjunct& conjunct, const PairBound& bound,
                 Interpretation& values);
  void add_mention(const Term* symbol, Interpretation& values);
  void leave_pair(const Conjunct& conjunct);
  Index position_of(const Term* symbol, Interpretation& values);
  static bool update(Symbol& symbol, Interpretation& values);
  bool see(const Term* term);

  /// Those of the first ends_.size() assertions, which were checked twice, and
  /// where the conjuncts of each end.
  std::vector<Conjunct> conjuncts_;
  std::vector<std::size_t> ends_;
  std::vector<Mention> mentions_;
  /// In the order of the first conjunct of each; so they go with it.
  std::vector<Pair> pairs_;
  std::unordered_map<std::uint64_t, Index> pair_positions_;
  /// Positions in conjuncts_: of large ones, ascending, and of those that are
  /// to be evaluated, some of which may be gone.
  std::vector<Index> large_;
  std::vector<Index> unsettled_;
  /// Assertions that were checked at least once.
  std::size_t num_checked_ = 0;
  /// The symbols in these conjuncts, in the order of the first conjunct that
  /// mentions each; so they go with it.
  std::vector<Symbol> symbols_;
  /// Positions of those that are Boolean.
  std::vector<Index> truths_;
  std::unordered_map<const Term*, Index> positions_;
  std::uint64_t num_evaluated_ = 0;
  // Scratch space: terms seen in a walk, by id, and what it still has to see.
  std::vector<std::uint64_t> seen_;
  std::uint64_t walk_ = 0;
  std::vector<const Term*> pending_;
  std::vector<const Term*> found_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_MODEL_CHECK_H
