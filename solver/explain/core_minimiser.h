// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_EXPLAIN_CORE_MINIMISER_H
#define VORN_SOLVER_EXPLAIN_CORE_MINIMISER_H

#include <cstddef>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term.h"

namespace vorn::solver {

/// Finds few of some formulas that have no model together with the assertions
/// of an engine, by leaving formulas out and asking again.
///
/// The formulas are assumptions of each check, so the engine keeps from check
/// to check what it learns. minimise() gives a core of which each member is
/// needed; there may be others of fewer members.
///
/// Limits: none but the engine's. A check that is stopped by its flag ends the
/// work, with the core at hand. One that has no answer for another reason,
/// memory say, costs no more than the member that it was about, which stays.
/// Ownership: borrows the engine and leaves its assertions as they are.
class CoreMinimiser {
 public:
  /// Looks among `formulas`. `given`: assumptions of each check beside them.
  /// Requires: as Engine::check.
  CoreMinimiser(Engine& engine, const std::vector<const Term*>& formulas,
                const std::vector<const Term*>& given = {});

  /// The formulas looked at now, all at first: ascending positions.
  const std::vector<std::size_t>& core() const { return core_; }

  /// Whether a check has had no answer, so that core() may hold more than it
  /// need.
  bool gave_up() const { return gave_up_; }

  /// Asks about core() and leaves it as it is. Cost: one check.
  Answer confirm() { return ask(core_); }

  /// Asks about core() and keeps what the engine names, again and again, for
  /// what failed is often less when nothing else is there.
  /// Ensures: the answer of the first check.
  /// Cost: a check, then one for each time that fewer were named, and one more.
  Answer narrow();

  /// Leaves out, one after the other, what is not needed.
  /// Requires: core() has no model, as confirm() or narrow() has answered.
  /// Cost: at most one check for each member of core().
  void minimise();

 private:
  Answer ask(const std::vector<std::size_t>& members);
  Answer shrink_to(const std::vector<std::size_t>& members);

  Engine& engine_;
  std::vector<const Term*> formulas_;
  std::vector<const Term*> given_;
  std::vector<std::size_t> core_;
  bool gave_up_ = false;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_EXPLAIN_CORE_MINIMISER_H
