// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_MACHINE_CERTIFICATE_H
#define VORN_SOLVER_SCHEDULING_MACHINE_CERTIFICATE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "solver/search/clause_gate.h"
#include "solver/search/literal.h"
#include "solver/terms/term.h"
#include "vorn/numbers/d_number.h"

// How a clause about sets of tasks was found, in enough detail to be proved:
// which constraints moved which times, and which rules of MachineRules were
// applied to which tasks. Values are left out: going through the steps again
// finds times that are at least as good as those that were asked for.

namespace vorn::solver {

/// Which way time goes.
enum TimeDirection : std::uint8_t { kForward, kBackward };

/// What a step of reasoning about times is.
enum class MachineRule : std::uint8_t {
  /// A constraint carries a time from one node to another.
  kConstraint,
  /// A task comes after all of a set, so it starts when they can have ended.
  kPreceded,
  /// A task cannot come first, so it starts when the first can have ended.
  kNotFirst,
  // These end an explanation.
  /// A task cannot end with a set, so it does not come before one of it.
  kLast,
  /// A set does not fit.
  kOverload,
  /// A node has to be later than it can be.
  kCrossing,
  /// Two times rule out an order.
  kOrder,
};

/// A step. Tasks are numbered within their machine.
struct MachineStep {
  /// What it is.
  MachineRule rule;
  /// Of a rule about a set, in which direction of time it was applied; of a
  /// constraint, whether it carries earliest times or latest ones.
  TimeDirection direction = kForward;
  /// The machine's position, for rules about sets.
  int machine = 0;
  /// The task that is moved, or that a literal says comes first or last; of
  /// kCrossing, the node.
  std::uint32_t task = 0;
  /// The constraint's of kConstraint; else the order that is ruled out, for
  /// kLast and kOrder.
  Literal literal = Literal();
  /// The set: where it begins among the tasks of all steps, and its size.
  std::uint32_t first_task = 0;
  /// As above.
  std::uint32_t num_tasks = 0;
};

/// A machine, for whoever has forgotten the search that it was found in:
/// literals are those of a ProofLog.
struct CertifiedMachine {
  /// A task.
  struct Task {
    /// When it starts; null for the constant 0.
    const Term* start;
    /// As Machine::durations.
    la::DNumber duration;
  };
  /// Two tasks, a before b.
  struct Pair {
    /// True if a comes first; undefined if it always or never does.
    Literal order;
    /// The clause that says that one of the two comes first; 0 if one always
    /// does.
    ClauseNumber separation = 0;
    /// If a always comes before b: constraints that add up to it, each of which
    /// always holds.
    std::vector<Literal> path;
    /// The clauses of one literal that say so.
    std::vector<ClauseNumber> path_units;
  };
  /// By number.
  std::vector<Task> tasks;
  /// By a * tasks.size() + b.
  std::vector<Pair> pairs;
};

/// How one clause was found.
struct MachineCertificate {
  /// What times are counted from; null for the constant 0.
  const Term* origin = nullptr;
  /// The node of kCrossing; null for the constant 0.
  const Term* crossing = nullptr;
  /// In the order of reasoning; machines are positions in the ProofLog's.
  std::vector<MachineStep> steps;
  /// What the sets consist of.
  std::vector<std::uint32_t> tasks;

  /// The set of a step.
  std::vector<std::uint32_t> set(const MachineStep& step) const {
    const auto first =
        tasks.begin() + static_cast<std::ptrdiff_t>(step.first_task);
    return {first, first + step.num_tasks};
  }
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_MACHINE_CERTIFICATE_H
