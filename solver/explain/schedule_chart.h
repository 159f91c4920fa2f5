// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_EXPLAIN_SCHEDULE_CHART_H
#define VORN_SOLVER_EXPLAIN_SCHEDULE_CHART_H

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// A schedule to look at: a row for each machine, with its tasks as bars along
/// one axis of time.
struct ScheduleChart {
  /// A bar.
  struct Task {
    /// Not escaped; any bytes.
    std::string name;
    /// Where it begins.
    QNumber start;
    /// How long it is; positive.
    QNumber duration;
    /// Tasks of one chain have one colour. Counted from 0.
    std::size_t chain = 0;
  };

  /// By machine, each by time.
  std::vector<std::vector<Task>> rows;
};

/// The machines of the engine's model, which find_schedule says more about,
/// those included that the search leaves alone. A task is named as its start
/// is, and as long as the least time that must pass before another task of its
/// machine may start; so set-up times that depend on what comes next are gaps,
/// if a shorter one is possible. Tasks that are not there are not drawn, nor
/// are those that share no machine.
///
/// Requires: as for Engine::schedule. Ensures: no row is empty.
/// Cost: that of Engine::schedule.
ScheduleChart draw_schedule(Engine& engine);

/// Writes the chart as SVG, for any viewer: sizes are chosen for names to fit
/// their bars, upright or not, as far as that is possible, and each bar tells
/// its name, start and end to who points at it. The same chart gives the same
/// text everywhere. Requires: there is a row, and none is empty.
void write_svg(const ScheduleChart& chart, std::ostream& out);

}  // namespace vorn::solver

#endif  // VORN_SOLVER_EXPLAIN_SCHEDULE_CHART_H
