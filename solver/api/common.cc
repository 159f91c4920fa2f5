// SPDX-License-Identifier: MIT
#include "solver/api/common.h"

#include <algorithm>
#include <cerrno>
#include <sstream>

namespace vorn::api::inner {
namespace {

void set_lemmas(const Settings& settings, solver::EngineOptions& options) {
  options.lemmas.dl_tlemma_min_overlap = settings.lemma_overlap;
  options.lemmas.dl_dedup_tlemmas = settings.drop_repeated_lemmas;
  options.lemma_trials = settings.lemmas == Lemmas::kAuto;
  // A kind is a bit.
  constexpr int kShort = 1;
  constexpr int kLong = 2;
  switch (settings.lemmas) {
    case Lemmas::kNone:
    case Lemmas::kAuto:
      options.lemmas.dl_tlemma_kinds = 0;
      break;
    case Lemmas::kShort:
      options.lemmas.dl_tlemma_kinds = kShort;
      break;
    case Lemmas::kLong:
      options.lemmas.dl_tlemma_kinds = kLong;
      break;
    case Lemmas::kBoth:
      options.lemmas.dl_tlemma_kinds = kShort | kLong;
      break;
  }
}

solver::Propagation mode_of(Propagation propagation) {
  switch (propagation) {
    case Propagation::kAuto:
      break;
    case Propagation::kFull:
      return solver::Propagation::kFull;
    case Propagation::kOff:
      return solver::Propagation::kOff;
  }
  return solver::Propagation::kAuto;
}

}  // namespace

solver::EngineOptions engine_options(const Settings& settings) {
  solver::EngineOptions options;
  options.search.seed = settings.seed;
  options.keep_proofs = settings.keep_proofs;
  options.keep_schedule = settings.keep_schedule;
  options.check_models = settings.check_models;
  options.machines =
      settings.find_machines ? solver::Machines::kAuto : solver::Machines::kOff;
  options.propagation.mode = mode_of(settings.propagation);
  options.portfolio.threads = std::max(settings.threads, 1U);
  if (settings.table_bytes != 0) {
    std::size_t& bytes = options.propagation.limits.matrix_bytes;
    bytes = std::min(bytes, settings.table_bytes / options.portfolio.threads);
  }
  set_lemmas(settings, options);
  return options;
}

Progress progress_of(const solver::SearchStatistics& statistics) {
  Progress progress;
  progress.decisions = statistics.decisions;
  progress.conflicts = statistics.conflicts;
  progress.restarts = statistics.restarts;
  progress.learnt_clauses = statistics.learnt_clauses;
  return progress;
}

std::string chart_text(const solver::ScheduleChart& chart) {
  if (chart.rows.empty()) return "";
  std::ostringstream out;
  out.exceptions(std::ostream::badbit);
  solver::write_svg(chart, out);
  return out.str();
}

bool finish_recording(std::optional<solver::GraphRecorder>& recorder) {
  if (!recorder.has_value() || recorder->finish()) return true;
  errno = recorder->error();
  return false;
}

}  // namespace vorn::api::inner
