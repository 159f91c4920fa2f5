// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_ASSERTION_STACK_H
#define VORN_SMTLIB_ASSERTION_STACK_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/explain/script_formula.h"
#include "solver/optimise/optimiser.h"
#include "solver/terms/scope_stack.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "solver/terms/term_sweep.h"

namespace vorn::solver {

/// What a script wants to be small or great, or to hold.
struct ScriptObjective {
  /// An arithmetic term, or a formula that is to hold.
  const Term* term = nullptr;
  /// Whether it is to be great.
  bool is_maximised = false;
  /// Of a formula, what it costs if it does not hold. Those of one name are one
  /// objective, which stands where the first of them does.
  QNumber weight = QNumber(0);
  /// What the script calls it, as it prints.
  std::string name;
  /// Its number in the record of what is written, if proofs are kept.
  std::uint32_t written = 0;
};

/// What is known of an objective after a check.
struct ObjectiveResult {
  /// As the script calls it.
  std::string name;
  /// Of its values.
  Sort sort = Sort::kInt;
  /// Whether it is to be great.
  bool is_maximised = false;
  /// Where its best value lies.
  Interval interval;
  /// What it is made of: positions among the stack's objectives.
  std::vector<std::size_t> members;
};

/// The assertions and objectives of a script, by levels, in front of an engine.
///
/// Named assertions can be kept out of the engine's own assertions and handed
/// to it as assumptions in each check; the failed ones are then an
/// unsatisfiable core.
///
/// Errors: only std::bad_alloc leaves a call; after it the stack may only be
/// destroyed.
class AssertionStack {
 public:
  /// How far core() can be trusted.
  enum class CoreState {
    /// A check of its own confirmed that it is unsatisfiable, and all was done.
    kConfirmed,
    /// A check was stopped: that one, and the core is what the search reported,
    /// or a later one, and the core is smaller, but could be smaller still.
    kReported,
    /// The first check found a model: the engine contradicts itself.
    kRefuted,
  };

  /// `store` is borrowed. `assume_named`: whether to keep named assertions
  /// apart, for cores.
  AssertionStack(TermStore& store, const EngineOptions& options,
                 bool assume_named)
      : store_(store), engine_(store, options), assume_named_(assume_named) {}

  /// Keeps the terms of assertions and of the last assumptions; the engine
  /// keeps its own.
  void keep_terms(TermSweep& sweep) const;

  /// The engine behind it. Its assertions are not to be changed.
  Engine& engine() { return engine_; }
  /// The assertions of all levels, oldest first.
  const std::vector<ScriptFormula>& assertions() const { return assertions_; }

  /// Whether an assertion is handed to the engine as an assumption.
  bool is_assumed(const ScriptFormula& assertion) const {
    return assume_named_ && assertion.name != nullptr;
  }
  /// As the constructor's. Requires: it stays as it was, or there is no
  /// assertion.
  void assume_named(bool assume_named) {
    assert(assume_named == assume_named_ || assertions_.empty());
    assume_named_ = assume_named;
  }

  /// Requires: a Boolean term inside the engine's fragment.
  void add(ScriptFormula assertion);
  /// Adds an assertion without a name, as Engine::assert_bound.
  void add_bound(ScriptFormula assertion, const LinearSum& sum, bool is_strict);

  /// Wants something of the models that checks find, after what was wanted
  /// before. Requires: comparisons of its term with numbers are inside the
  /// engine's fragment.
  void add(ScriptObjective objective) {
    optimiser_.reset();
    objectives_.push_back(std::move(objective));
  }
  /// Those of all levels, oldest first.
  const std::vector<ScriptObjective>& objectives() const { return objectives_; }

  /// How many levels are open.
  std::size_t levels() const { return scopes_.size(); }
  /// Opens a level.
  void push();
  /// Requires: levels() > 0.
  void pop();

  /// Whether the assertions and the assumptions are satisfiable together; with
  /// objectives, kSat is the answer once the best model is found, and there may
  /// be a model after kUnknown. Requires: as for add.
  Answer check(const std::vector<const Term*>& assumptions);

  /// What the last check has found out about its objectives.
  const std::vector<ObjectiveResult>& results() const { return results_; }
  /// After a check that answered kSat, until the next change: the least and the
  /// greatest value of a term in all models that it could have answered with,
  /// as far as its limits let it be known. The engine's model stays. Requires:
  /// as for an objective.
  std::pair<Interval, Interval> find_bounds(const Term* term);
  /// Likewise: whether there is a model that satisfies a formula as well. The
  /// model stays; the engine has the refutation after kUnsat. Requires: Boolean
  /// and inside the engine's fragment.
  Answer check_besides(const Term* formula);
  /// Called when a check has found out more.
  void set_progress(std::function<void(const ObjectiveResult&)> progress) {
    progress_ = std::move(progress);
  }

  /// After a check that answered kUnsat, until the next change: indices of the
  /// assumptions that contradict the assertions, ascending.
  const std::vector<std::size_t>& failed_assumptions() const {
    return failed_assumptions_;
  }

  /// Likewise: indices of the named assertions that contradict the unnamed ones
  /// and the assumptions, ascending.
  const std::vector<std::size_t>& core() const { return core_; }

  /// Confirms core() by a check of its own and, if `minimize`, leaves out what
  /// can be left out. To be called again, as long as it is kReported, to go on
  /// with that. core() is a core also if memory runs out. Cost: one check, then
  /// that of CoreMinimiser::minimise().
  CoreState settle_core(bool minimize);

 private:
  std::vector<OptimiserGoal> read_objectives();
  Answer optimise();

  TermStore& store_;
  Engine engine_;
  bool assume_named_;
  std::vector<ScriptFormula> assertions_;
  std::vector<ScriptObjective> objectives_;
  ScopeStack<std::vector<ScriptFormula>, std::vector<ScriptObjective>> scopes_{
      assertions_, objectives_};
  std::vector<ObjectiveResult> results_;
  // What has found the last model; null if there was a change since.
  std::unique_ptr<Optimiser> optimiser_;
  std::function<void(const ObjectiveResult&)> progress_;
  std::vector<const Term*> assumptions_;
  // These behind the assertions that are assumed.
  std::vector<const Term*> assumed_;
  std::vector<std::size_t> failed_assumptions_;
  std::vector<std::size_t> core_;
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_ASSERTION_STACK_H
