// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_API_COMMON_H
#define VORN_SOLVER_API_COMMON_H

#include <optional>
#include <string>

#include "solver/engine/engine.h"
#include "solver/engine/graph_recorder.h"
#include "solver/explain/schedule_chart.h"
#include "solver/search/statistics.h"
#include "vorn/solver/answers.h"
#include "vorn/solver/settings.h"

// What a Session and a Script do in the same way.

namespace vorn::api::inner {

/// What an engine is made with. Default settings are the engine's own.
solver::EngineOptions engine_options(const Settings& settings);

/// Of the search, without an objective.
Progress progress_of(const solver::SearchStatistics& statistics);

/// The chart as SVG; empty if it has no row.
std::string chart_text(const solver::ScheduleChart& chart);

/// Hands all that was noted to the stream. False, with errno set, if that did
/// not take something; true without a recorder.
bool finish_recording(std::optional<solver::GraphRecorder>& recorder);

}  // namespace vorn::api::inner

#endif  // VORN_SOLVER_API_COMMON_H
