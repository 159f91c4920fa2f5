// SPDX-License-Identifier: MIT
#include "vorn/solver/script.h"

#include <chrono>

#include "solver/api/common.h"
#include "solver/engine/graph_recorder.h"
#include "solver/explain/constraint_picture.h"
#include "solver/explain/schedule_chart.h"
#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/options.h"
#include "solver/smtlib/session_host.h"
#include "solver/smtlib/source.h"

namespace vorn::api {
namespace inner {

using solver::Engine;
using solver::SessionHost;

static solver::ScriptOptions script_options(const ScriptSettings& settings) {
  solver::ScriptOptions options;
  if (settings.exit_on_error) {
    options.error_behavior = solver::ErrorBehavior::kImmediateExit;
  }
  options.verbosity = settings.verbosity;
  options.minimize_unsat_cores = settings.minimize_cores;
  options.explain = settings.explain;
  options.slack = settings.show_bounds;
  options.keep_picture = settings.keep_picture;
  options.keep_chart = settings.keep_schedule;
  options.keep_proof = settings.keep_proofs;
  options.engine = engine_options(settings);
  return options;
}

// The text that a host hands out.
class HostedText : public solver::Source {
 public:
  explicit HostedText(ScriptHost& host) : host_(host) {}

  std::size_t read(char* data, std::size_t capacity) override {
    return host_.read(data, capacity);
  }

 private:
  ScriptHost& host_;
};

// Stands between the interpreter and a host: connects each engine with it, and
// keeps the limits of checks where the host does not.
class HostedSession : public SessionHost {
 public:
  HostedSession(ScriptHost& host, std::ostream* recording)
      : host_(host), host_flag_(host.stop_flag()) {
    if (recording != nullptr) recorder_.emplace(*recording);
  }

  bool write_output(std::string_view reply) override {
    return host_.write_output(reply);
  }
  bool write_diagnostics(std::string_view reply) override {
    return host_.write_diagnostics(reply);
  }
  bool set_output(const std::string& channel) override {
    return host_.set_output(channel);
  }
  bool set_diagnostics(const std::string& channel,
                       std::uint64_t verbosity) override {
    // The host may do away with the logger that it had.
    if (engine_ != nullptr) engine_->set_logger(nullptr);
    const bool is_set = host_.set_diagnostics(channel, verbosity);
    if (engine_ != nullptr) engine_->set_logger(host_.logger());
    return is_set;
  }

  void engine_made(Engine& engine) override {
    engine_ = &engine;
    engine.set_logger(host_.logger());
    if (recorder_.has_value()) engine.set_graph_recorder(&*recorder_);
    engine.set_progress([this](const solver::SearchStatistics& statistics) {
      host_.progress(progress_of(statistics));
    });
    engine.set_stop(keeps_limits() ? &stop_flag_ : host_flag_);
    if (keeps_limits()) engine.set_poll([this] { poll(); });
  }
  void engine_gone() override { engine_ = nullptr; }

  void reading() override { host_.reading(); }
  void command_started() override { host_.command_started(); }
  void reporting() override { host_.reporting(); }
  void check_started(std::uint64_t milliseconds,
                     std::string_view answer) override {
    if (keeps_limits()) {
      was_stopped_ = Stop::kNone;
      deadline_.reset();
      // A deadline beyond what the clock can say is none.
      constexpr std::uint64_t kLongest =
          std::uint64_t{1000} * 60 * 60 * 24 * 365;
      if (milliseconds > 0 && milliseconds < kLongest) {
        deadline_ = Clock::now() + std::chrono::milliseconds(milliseconds);
      }
    }
    host_.check_started(milliseconds, answer);
  }
  void check_resumed(std::string_view answer) override {
    host_.check_resumed(answer);
  }
  bool check_finished() override {
    if (keeps_limits()) {
      was_stopped_ = stop();
      stop_flag_.store(false, std::memory_order_relaxed);
    }
    return host_.check_finished();
  }
  Stop stop() const override {
    if (keeps_limits()) {
      if (was_stopped_ != Stop::kNone) return was_stopped_;
      return stop_flag_.load(std::memory_order_relaxed) ? Stop::kInterrupt
                                                        : Stop::kNone;
    }
    switch (host_.stop()) {
      case ScriptHost::Stop::kNone:
        return Stop::kNone;
      case ScriptHost::Stop::kTimeout:
        return Stop::kTimeout;
      case ScriptHost::Stop::kInterrupt:
        break;
    }
    return Stop::kInterrupt;
  }

  void bounds_changed(const Bounds& bounds) override {
    host_.bounds_changed(
        {bounds.objective, bounds.best, bounds.limit, bounds.gap});
  }
  void add_statistics(Statistics& rows) const override {
    host_.add_statistics(rows);
  }
  void command_failed() override { host_.command_failed(); }
  void release_reserve() override { host_.release_reserve(); }

  void stop_check() noexcept {
    stop_flag_.store(true, std::memory_order_relaxed);
  }
  bool finish_recording() { return inner::finish_recording(recorder_); }

 private:
  using Clock = std::chrono::steady_clock;

  bool keeps_limits() const { return host_flag_ == nullptr; }
  void poll() {
    if (!deadline_.has_value() || Clock::now() < *deadline_) return;
    was_stopped_ = Stop::kTimeout;
    stop_flag_.store(true, std::memory_order_relaxed);
  }

  ScriptHost& host_;
  Engine* engine_ = nullptr;
  std::optional<solver::GraphRecorder> recorder_;
  // Null: limits are kept here, and all of the following counts.
  const std::atomic<bool>* host_flag_;
  std::atomic<bool> stop_flag_{false};
  // Of the check at hand or the last one.
  Stop was_stopped_ = Stop::kNone;
  std::optional<Clock::time_point> deadline_;
};

}  // namespace inner

// --- ScriptHost ---

ScriptHost::~ScriptHost() = default;

bool ScriptHost::write_diagnostics(std::string_view /*reply*/) {
  return true;
}

bool ScriptHost::is_standard_channel(std::string_view channel) {
  return solver::is_standard_channel(channel);
}

bool ScriptHost::set_output(const std::string& channel) {
  return is_standard_channel(channel);
}

bool ScriptHost::set_diagnostics(const std::string& channel,
                                 std::uint64_t /*verbosity*/) {
  return is_standard_channel(channel);
}

// --- Script ---

struct Script::State {
  State(ScriptHost& script_host, const ScriptSettings& settings)
      : text(script_host),
        session(script_host, settings.recording),
        interpreter(text, session, inner::script_options(settings)) {}

  inner::HostedText text;
  inner::HostedSession session;
  solver::Interpreter interpreter;
};

Script::Script(ScriptHost& host, const ScriptSettings& settings)
    : state_(std::make_unique<State>(host, settings)) {}

Script::~Script() {
  finish_recording();
}

bool Script::run_command() {
  return state_->interpreter.run_command();
}

void Script::stop() noexcept {
  state_->session.stop_check();
}

bool Script::had_error() const {
  return state_->interpreter.had_error();
}

bool Script::output_lost() const {
  return state_->interpreter.output_lost();
}

Statistics Script::statistics() const {
  return state_->interpreter.statistics();
}

const std::string& Script::proof() const {
  return state_->interpreter.proof();
}

bool Script::write_picture(std::ostream& out) {
  const solver::ConstraintPicture* picture = state_->interpreter.picture();
  solver::write_dot(picture == nullptr ? solver::ConstraintPicture() : *picture,
                    out);
  return picture != nullptr;
}

std::optional<std::string> Script::chart() const {
  const solver::ScheduleChart* chart = state_->interpreter.chart();
  if (chart == nullptr) return std::nullopt;
  return inner::chart_text(*chart);
}

bool Script::finish_recording() {
  return state_->session.finish_recording();
}

}  // namespace vorn::api
