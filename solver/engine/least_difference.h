// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_LEAST_DIFFERENCE_H
#define VORN_SOLVER_ENGINE_LEAST_DIFFERENCE_H

#include <optional>
#include <vector>

#include "solver/engine/atom_table.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// The least value of the difference of two nodes while some constraints hold.
///
/// Constraints target - source <= weight leave minuend - subtrahend no less
/// than the length, negated, of the shortest path from the one to the other,
/// and every node as low above the subtrahend as its own path lets it, all at
/// once. Where an integer meets a real, the integers get integers, and a least
/// value that they do not reach grows until they do.
///
/// Cost: one pass, Dijkstra's, since a solution is at hand; where integers meet
/// reals, that of IntegralValues, and again for each time that it grows.
/// Ownership: borrows the table. Threads: none.
class LeastDifference {
 public:
  /// By node; nothing: there is none.
  using Numbers = std::vector<std::optional<la::DNumber>>;

  /// Looks at the constraints of these numbers, with `solution`, by node.
  /// Requires: it satisfies them, as for IntegralValues::find.
  LeastDifference(const AtomTable& atoms, const std::vector<int>& active,
                  const std::vector<la::DNumber>& solution)
      : atoms_(atoms), active_(active), solution_(solution) {}

  /// The least value; a part of eps says that it is approached and not reached.
  /// Nothing if there is none. Then solution() is as it was, otherwise one that
  /// has this value.
  std::optional<la::DNumber> find(int minuend, int subtrahend);

  /// As above.
  const std::vector<la::DNumber>& solution() const { return solution_; }

  /// By node, the least value of its difference to the subtrahend, as if all
  /// were reals; nothing where there is none. Cost: one pass.
  Numbers least_above(int subtrahend) const;
  /// The same for the differences of the minuend to each node.
  Numbers least_below(int minuend) const;

 private:
  enum class Direction { kIncoming, kOutgoing };
  Numbers find_room(int end, Direction direction) const;
  bool lower_towards(int subtrahend, int minuend);
  la::DNumber difference(int minuend, int subtrahend) const;

  const AtomTable& atoms_;
  const std::vector<int>& active_;
  std::vector<la::DNumber> solution_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_LEAST_DIFFERENCE_H
