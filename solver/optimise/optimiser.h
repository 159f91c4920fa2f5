// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_OPTIMISE_OPTIMISER_H
#define VORN_SOLVER_OPTIMISE_OPTIMISER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/engine/target.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "solver/terms/term_sweep.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// An end of an interval.
struct Extent {
  /// Whether it lies below all numbers, is one, or lies above all.
  enum class Kind { kBelow, kNumber, kAbove };
  /// As above.
  Kind kind = Kind::kBelow;
  /// If it is a number; with an infinitesimal where it is approached, from the
  /// side that the sign says, and not reached.
  la::DNumber value;
};

/// Where the least value of an objective lies.
struct Interval {
  /// No model is below this.
  Extent low = {Extent::Kind::kBelow, {}};
  /// There is a model with this value, or one near it; above all numbers if
  /// none is known.
  Extent high = {Extent::Kind::kAbove, {}};
  /// The two are the same.
  bool is_settled = false;
};

/// The interval of the negated values.
Interval negate(const Interval& interval);

/// What is to be as small as it can be: a term, as for Target, or, if there is
/// none, the weights of formulas that do not hold.
struct OptimiserGoal {
  /// A formula, and what it costs if it does not hold.
  struct Soft {
    /// As for an assumption of Engine::check.
    const Term* formula = nullptr;
    /// Not below 0.
    QNumber weight;
  };

  /// As above.
  const Term* term = nullptr;
  /// As above.
  std::vector<Soft> softs;
};

/// Finds models in which terms are as small as they can be: the first term
/// before all others, the second one among the models where the first is least,
/// and so on.
///
/// Each model is first made the best with its own truth values, which takes one
/// pass over the graph; then a better one is asked for. What cannot be bettered
/// is least. The bounds asked for are assumptions of the engine's checks, so
/// what it learns stays, for later checks as well. What sets of tasks make
/// likely is asked about first. Values from which on the search soon finds that
/// they are too small are looked for with few conflicts each, in growing steps
/// from the lower end, then by halving; so there is a lower bound early on. A
/// term that nothing bounds at once is asked to be
/// below all that sums of bounds can reach: if that can be, it has no least
/// value, since a model with it is a direction.
///
/// Formulas with weights are all assumed, the heaviest first. Of some that fail
/// together one at least does not hold, which costs the least of their weights;
/// from then on that much of each weight pays for it, and what is assumed
/// instead is that no second one fails, and if that fails no third one. So what
/// it costs at least grows until a model costs no more (Morgado, Dodaro and
/// Marques-Silva, "Core-Guided MaxSAT with Soft Cardinality Constraints",
/// 2014).
///
/// A least value may be approached and not reached, or be none. What comes
/// after is then the least among the models that are near enough to it, or far
/// enough out, for what that changes not to depend on how near or far. So a
/// number is taken that no other number of the problem comes close to. Such
/// bounds are in a scope of their own, which is left at the end: otherwise the
/// next one would have to be further out, or nearer, than these.
///
/// Cost: one check for each model found, as many as there are sets of truth
/// values at most; one that has no model for each objective, and one for each
/// set of formulas that fail together. Ownership: borrows
/// both. Threads: none. Errors: only std::bad_alloc leaves a call.
class Optimiser {
 public:
  /// Nothing is done yet.
  Optimiser(TermStore& store, Engine& engine,
            const std::vector<const Term*>& assumptions,
            const std::vector<OptimiserGoal>& objectives);

  /// Called with the position of an objective when its interval has changed.
  void set_progress(std::function<void(std::size_t)> progress) {
    progress_ = std::move(progress);
  }

  /// kUnsat if the assumptions have no model, as Engine::check; kSat with the
  /// best model; kUnknown, and if any model was found with the best one so far.
  /// The engine's limit of conflicts is one for all of it.
  Answer run();
  /// After kSat: where the least value of another term lies among the models
  /// that run() could have ended with. The model stays. Requires: the engine's
  /// assertions are as they were.
  Interval find_least(const Term* term);
  /// By objective.
  const std::vector<Interval>& intervals() const { return intervals_; }
  /// Keeps the terms that find_least needs.
  void keep_terms(TermSweep& sweep) const;

 private:
  // What is known of the objective at hand; nothing of `low`: no bound.
  struct Range {
    std::optional<la::DNumber> low;
    la::DNumber high;
    bool is_unbounded = false;
  };

  Answer minimise_from(std::size_t first);
  void isolate();
  // A formula that is assumed as long as it costs something not to.
  struct Assumed {
    const Term* formula;
    QNumber weight;
    // If it says that no more than `most` of some formulas fail: these.
    std::vector<const Term*> members;
    std::size_t most;
  };

  Answer ask(const std::vector<const Term*>& bounds,
             std::uint64_t most_conflicts);
  bool minimise_softs(std::size_t position);
  bool take_core(std::vector<Assumed>& assumed,
                 const std::vector<std::size_t>& asked);
  const Term* at_most_fail(const std::vector<const Term*>& members,
                           std::size_t most);
  bool minimise(std::size_t position);
  void take_model(std::size_t position);
  bool has_no_bound(std::size_t position);
  bool probe(std::size_t position);
  QNumber unit_of(const Target& target) const;
  bool probe_below(std::size_t position, const la::DNumber& likely);
  bool may_go_on() const;
  std::optional<Answer> probe_at(std::size_t position, const QNumber& value);
  void refute(std::size_t position, const QNumber& value);
  bool is_settled() const;
  void report(std::size_t position);
  void fix(std::size_t position);
  Extent extent_of(const la::DNumber& value, const Target& target) const;
  const Term* at_most(const Target& target, const QNumber& value);
  const Term* better(const Target& target);
  static QNumber reach_of(const Target& target, const QNumber& reach);
  QNumber all_factors() const;
  QNumber all_denominators() const;

  TermStore& store_;
  Engine& engine_;
  const std::vector<const Term*> given_;
  // These, and what holds objectives.
  std::vector<const Term*> assumptions_;
  std::vector<Target> targets_;
  // By objective.
  std::vector<std::vector<OptimiserGoal::Soft>> softs_;
  // What holds in all models in which the weights at hand are least.
  std::vector<const Term*> kept_softs_;
  std::vector<Interval> intervals_;
  std::function<void(std::size_t)> progress_;
  bool keeps_models_ = true;
  bool has_model_ = false;
  // A scope of the engine is open for bounds that are to go at the end.
  bool is_isolated_ = false;
  // When there are so many conflicts in all, it ends.
  std::uint64_t last_conflict_ = 0;
  Range range_;
  // Once an objective was held near its least value: all values were multiples
  // of 1 over this before. Once one was held far out: how far bounds reached.
  std::optional<QNumber> denominator_;
  std::optional<QNumber> reach_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_OPTIMISE_OPTIMISER_H
