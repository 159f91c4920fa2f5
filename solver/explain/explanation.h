// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_EXPLAIN_EXPLANATION_H
#define VORN_SOLVER_EXPLAIN_EXPLANATION_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/explain/script_formula.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Says in words why the formulas have no model. Each line of the text is a
/// comment, which a reader of replies skips, and ends with a line break.
///
/// If the bounds that they state outright close a negative cycle, that is
/// written as a chain of inequalities that adds up to a contradiction.
/// Otherwise, if one formula states what another denies, these two are shown.
/// Otherwise it takes a distinction of cases, and the text names formulas that
/// have no model together: a core, found by an engine of its own. "Why not?
/// Explanations" in docs/command.md shows both kinds of text.
///
/// `stop`, `poll`: as for Engine::set_stop and set_poll; a core is left out or
/// larger than it need be when it was stopped, and the text says so. Requires:
/// the formulas are inside difference logic and have no model. Cost: linear in
/// the formulas and a graph of their bounds; for a core also the checks of a
/// CoreMinimiser, which minimises a small core or if `minimize`.
std::string explain_unsat(TermStore& store, const EngineOptions& options,
                          const std::atomic<bool>* stop, bool minimize,
                          const std::vector<ScriptFormula>& formulas,
                          const std::function<void()>& poll = {});

/// The text on one line: blanks and line breaks in a row count as one, and what
/// is longer than `limit` characters is cut short with "...".
std::string on_one_line(std::string_view text, std::size_t limit);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_EXPLAIN_EXPLANATION_H
