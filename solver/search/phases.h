// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_PHASES_H
#define VORN_SOLVER_SEARCH_PHASES_H

#include <cstddef>
#include <vector>

#include "solver/search/literal.h"
#include "solver/search/random.h"

namespace vorn::solver {

/// Which value a decision on a variable tries.
///
/// Each variable has its saved phase, the value it had last, false at first;
/// and perhaps a target phase, its value in the largest assignment without
/// conflict since the last rephasing.
///
/// Cost: all O(1), but record_assignment, rephase and shrink are linear.
class Phases {
 public:
  /// Makes the next variable, without a target.
  void new_variable();
  /// Forgets the variables from `count` on.
  void shrink(int count);

  /// Makes the literal's value the saved phase of its variable.
  void save(Literal literal) {
    saved_[to_index(literal.variable())] = to_phase(literal);
  }

  /// Takes the first `size` literals of `trail`, which have no conflict, as the
  /// new target if they are more than any since the last rephasing. The first
  /// num_fixed of them are fixed for good: nothing is to be tried there.
  void record_assignment(const std::vector<Literal>& trail,
                         std::size_t num_fixed, std::size_t size) {
    if (size > best_size_) do_record_assignment(trail, num_fixed, size);
  }

  /// The next in the round of: the saved phases become the target's, all false,
  /// the target's, random ones. Drops the target.
  void rephase(Random& random);

  /// Makes these the saved phases, by variable, and drops the target.
  void replace(const std::vector<char>& phases);
  /// The saved phases, by variable.
  std::vector<char> saved() const;

  /// The saved phase.
  bool saved(int variable) const {
    return saved_[to_index(variable)] == Value::kTrue;
  }
  /// The target phase, or the saved one if there is none.
  bool target(int variable) const {
    const Value target = target_[to_index(variable)];
    return target == Value::kUnassigned ? saved(variable)
                                        : target == Value::kTrue;
  }

 private:
  static std::size_t to_index(int i) { return static_cast<std::size_t>(i); }
  static Value to_phase(Literal literal) {
    return literal.is_negated() ? Value::kFalse : Value::kTrue;
  }
  void drop_target();
  void do_record_assignment(const std::vector<Literal>& trail,
                            std::size_t num_fixed, std::size_t size);

  std::vector<Value> saved_;   // never kUnassigned
  std::vector<Value> target_;  // kUnassigned: no target
  std::size_t best_size_ = 0;
  int num_rephases_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_PHASES_H
