// SPDX-License-Identifier: MIT
#ifndef VORN_COMMAND_WATCHDOG_H
#define VORN_COMMAND_WATCHDOG_H

#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>

#include "solver/smtlib/session_host.h"

namespace vorn::solver {

/// Keeps the time limits and receives Ctrl-C, on a thread of its own.
///
/// At a limit it asks the main thread to stop, by a flag. If that has not
/// answered a grace period later, because it is deep inside one step, the
/// watchdog itself writes `unknown` and ends the process. Both write under one
/// lock, so that exactly one of them answers.
///
/// The main thread says what it is doing by phases. The watchdog acts at once
/// only where `unknown` is a right answer: in a check, or on the way to one.
/// While a reply is being made or written it waits longer and then ends the
/// process without an answer; while the script has nothing to read, time limits
/// do nothing.
///
/// Threads: the public operations are for the main thread.
class Watchdog {
 public:
  /// What the main thread is doing: reading a command, waiting for input to
  /// arrive, making a reply, checking, or writing.
  enum class Phase { kReading, kWaiting, kReporting, kChecking, kWriting };
  /// Why a check has to stop.
  using Stop = SessionHost::Stop;
  /// The clock of all limits: one that nobody sets back.
  using Clock = std::chrono::steady_clock;

  /// Starts the thread and takes over SIGINT, SIGTERM and SIGUSR1. To be made
  /// before any other thread. `deadline`: of the whole run.
  explicit Watchdog(std::optional<Clock::time_point> deadline);
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog();

  /// Set while the engine has to stop.
  const std::atomic<bool>* stop_flag() const { return &stop_flag_; }
  /// Becomes readable when Ctrl-C was pressed.
  int interrupt_fd() const { return interrupt_fd_; }

  /// Says that the main thread does something else now.
  void enter(Phase phase);
  /// Enters kChecking, with a limit of its own if `milliseconds` is not 0.
  void start_check(std::uint64_t milliseconds);
  /// Enters kReporting.
  void finish_check();
  /// Enters kReporting for good: no answer is owed and no limit holds any more.
  void finish_script();

  /// Says that the process must not end with 0 if the watchdog ends it:
  /// something was in error, or is to come at the end and will then be missing.
  void note_failure();

  /// Why the check at hand, or the last one, was to stop.
  Stop stop() const;
  /// Whether Ctrl-C was pressed, or SIGTERM came, which is treated alike.
  bool interrupted() const { return stop() == Stop::kInterrupt; }
  /// What the process then ends with: 128 and the signal's number.
  int interrupt_status() const;
  /// Whether Ctrl-C was pressed while an answer was owed that has not been
  /// given since.
  bool owes_answer() const;

  /// Where answers go from now on; standard output at first. Takes the file
  /// descriptor over if it is not that of a standard stream, and closes the one
  /// before.
  void set_output(int fd);
  /// Writes all of `text` to where answers go. False, with errno set, if that
  /// is not possible. Enters kWriting, and afterwards the phase before.
  bool write_output(std::string_view text);
  /// The same for a file descriptor.
  bool write(int fd, std::string_view text);

 private:
  static void* run(void* self);
  void loop();
  void note_interrupt(int signal);
  std::optional<Clock::time_point> act(Clock::time_point now);
  [[noreturn]] void end_process(bool can_answer);
  void set_phase(Phase phase);
  void wake() const;
  void close_output();

  mutable std::mutex mutex_;  // guards what follows, up to stop_flag_
  Phase phase_ = Phase::kReading;
  std::optional<Clock::time_point> run_deadline_;
  std::optional<Clock::time_point> check_deadline_;
  // Why the run is to stop, and since when it is.
  Stop run_stop_ = Stop::kNone;
  Clock::time_point run_stopped_;
  int interrupt_status_ = 0;
  bool check_timed_out_ = false;
  Clock::time_point check_stopped_;
  // When the main thread last began to read or check after a wait or a report.
  Clock::time_point busy_since_;
  // Whether a check has been answered since run_stopped_.
  bool answered_ = false;
  // Whether there was something to answer at run_stopped_.
  bool owed_ = false;
  bool failed_ = false;
  bool quit_ = false;
  int output_fd_ = STDOUT_FILENO;

  std::atomic<bool> stop_flag_{false};
  int interrupt_fd_ = -1;
  pthread_t thread_{};
};

}  // namespace vorn::solver

#endif  // VORN_COMMAND_WATCHDOG_H
