// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_EXPLAIN_CONSTRAINT_PICTURE_H
#define VORN_SOLVER_EXPLAIN_CONSTRAINT_PICTURE_H

#include <cstddef>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// A constraint graph to look at: variables as nodes, bounds as edges.
struct ConstraintPicture {
  /// A bound, drawn as an arrow from one variable to another.
  struct Edge {
    /// Position in `nodes` of the variable that is taken off.
    std::size_t source = 0;
    /// Position in `nodes` of the variable that it is taken off from.
    std::size_t target = 0;
    /// What target - source is at most; strictly if the eps coefficient is
    /// below 0.
    la::DNumber weight;
    /// What to call it, not escaped.
    std::string name;
    /// Whether it holds, in the sense of `active_means`.
    bool active = false;
    /// Whether it belongs to the last negative cycle.
    bool on_cycle = false;
  };

  /// Names, not escaped; that of the constant 0 is "0".
  std::vector<std::string> nodes;
  /// The bounds, those stated outright first.
  std::vector<Edge> edges;
  /// What "active" means in this picture: "required", say.
  std::string active_means;
};

/// The names under which a picture shows comparisons and variables.
struct PictureTexts {
  /// Texts by term.
  using Map = std::unordered_map<const Term*, std::string>;
  /// Names, without bars, of comparisons or formulas.
  Map names;
  /// Comparisons as they were written.
  Map written;
};

/// Draws the bounds in `formulas`, as the engine sees them after its last
/// check.
///
/// "Pictures" in docs/command.md says which edges are active and on the cycle.
/// The name of an edge is that of what is written there or, if it is stated
/// outright, of its formula; else the text, cut short when it is long. A cycle
/// that the engine's search has met may use bounds that no formula states as
/// they are (negations, say): these become edges, too.
///
/// Requires: the formulas are the engine's assertions and the assumptions of
/// the check, of terms in `store`; `answer` is that check's, and nothing was
/// changed since. kUnknown if there was no check.
/// Cost: linear in the formulas, and a graph of their bounds.
ConstraintPicture draw_constraints(TermStore& store, Engine& engine,
                                   Answer answer,
                                   const std::vector<const Term*>& formulas,
                                   const PictureTexts& texts);

/// Writes the picture in Graphviz DOT: one line for each node ("n0", "n1" and
/// so on, with its name as label) and each edge.
void write_dot(const ConstraintPicture& picture, std::ostream& out);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_EXPLAIN_CONSTRAINT_PICTURE_H
