// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_MACHINE_PROPAGATION_H
#define VORN_SOLVER_SCHEDULING_MACHINE_PROPAGATION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "solver/scheduling/machine_certificate.h"
#include "solver/scheduling/separation.h"
#include "solver/search/literal.h"
#include "solver/search/search.h"
#include "vorn/dl/edge.h"

namespace vorn::solver {

/// Whether machines are looked for and reasoned about.
enum class Machines : int {
  /// As far as it pays.
  kAuto,
  kOff,
};

/// The names of the values, in their order.
constexpr std::string_view kMachinesNames[] = {"auto", "off"};
constexpr std::string_view machines_name(Machines mode) {
  return kMachinesNames[static_cast<int>(mode)];
}

/// Finds orders of tasks that follow because a machine does one task at a time,
/// and sets of tasks that do not fit; see MachineRules for how.
///
/// It follows a search's trail. Times of tasks are kept by TimeWindows, from
/// the active constraints and from what the rules have found. What the rules
/// find is either an order of two tasks, a literal that is implied, or a later
/// or earlier time, which stays inside: learnt clauses are made of the
/// problem's own literals alone. An explanation is made when it is asked for.
///
/// A rule runs when a time of one of the machine's tasks moved, or the order of
/// two of them was decided; what is cheap first, and the search goes on with
/// the first orders that are found. "Sets of tasks" in docs/solving.md tells
/// of the rules.
///
/// Cost: O(n^2) for a machine of n tasks, each time. Memory: n^2 words for a
/// machine.
/// Ownership: all its own. Threads: none.
class MachinePropagation {
 public:
  /// What was done so far.
  struct Counters {
    /// Sets of tasks that did not fit.
    std::uint64_t overloads = 0;
    /// Tasks with no place between earliest and latest time.
    std::uint64_t crossings = 0;
    /// Orders that times alone decided.
    std::uint64_t orders = 0;
    /// Orders that edge-finding decided.
    std::uint64_t edges = 0;
    /// Times moved because a task is not first, or not last.
    std::uint64_t not_first = 0;
    /// Times moved because of all that comes before a task, or after it.
    std::uint64_t preceded = 0;
    /// Times that the rules of one machine ran.
    std::uint64_t runs = 0;
    /// Literals explained.
    std::uint64_t explanations = 0;
    /// Machines looked at, and constraints followed.
    std::uint64_t steps = 0;
  };

  /// What to reason about.
  struct Problem {
    /// Nodes are numbered from 0 to this.
    int num_nodes = 0;
    /// The node that times are counted from.
    int origin = 0;
    /// What machines refer to.
    std::vector<Separation> separations;
    /// Sets of tasks.
    std::vector<Machine> machines;
    /// Whether steps() is wanted.
    bool certifies = false;
    /// Weights of all constraints there may be; one that is pushed without
    /// being among them may be passed over.
    std::vector<const la::DNumber*> weights;
  };

  /// With words for times if all sums fit, else exact numbers. Borrows the
  /// search, for its values.
  static std::unique_ptr<MachinePropagation> make(Problem problem,
                                                  const Search& search);
  virtual ~MachinePropagation() = default;

  /// A constraint of the graph became active, because `literal` did.
  virtual void push(Literal literal, int id, const dl::Edge& edge) = 0;
  /// A literal became true, with a constraint pushed or not.
  virtual void assigned(Literal literal) = 0;
  /// A level begins.
  virtual void new_level() = 0;
  /// Takes back all levels above `level`, all of level 0 too if that is -1.
  virtual void backtrack(int level) = 0;

  /// Appends unassigned literals that follow. Or else returns false, with a
  /// clause of literals that are all false. To be called again until it finds
  /// nothing. Requires: the active constraints are consistent.
  virtual bool run(std::vector<Literal>& implied,
                   std::vector<Literal>& conflict) = 0;
  /// Whether the literal is one that run has found, on the trail as it is.
  virtual bool has_reason(Literal literal) const = 0;
  /// Appends literals, all false and before `literal`, that with it make a
  /// clause that holds. Requires: has_reason(literal).
  virtual void explain(Literal literal, std::vector<Literal>& reason) = 0;

  /// For a variable that orders two tasks: the value that leaves more room
  /// between the earliest time of one and the latest of the other.
  virtual std::optional<bool> advise(int variable) const = 0;

  /// What was done so far.
  virtual Counters counters() const = 0;
  /// The machines.
  virtual const std::vector<Machine>& machines() const = 0;
  /// How the clause of the last call of run or explain was found, the last step
  /// first. Requires: Problem::certifies.
  virtual const std::vector<MachineStep>& steps() const = 0;
  /// What the sets of these steps consist of.
  virtual const std::vector<std::uint32_t>& tasks_of_steps() const = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_MACHINE_PROPAGATION_H
