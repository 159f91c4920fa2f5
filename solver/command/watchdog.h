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
#include <string>
#include <string_view>

#include "vorn/solver/script.h"

namespace vorn::command {

/// Keeps the time limits and receives Ctrl-C, on a thread of its own.
///
/// At a limit it asks the main thread to stop, by a flag. If that has not
/// answered a grace period later, because it is deep inside one step, the
/// watchdog itself writes the answer that the main thread has left with it,
/// `unknown` in general, and ends the process. Both write under one lock, so
/// that exactly one of them answers.
///
/// The main thread says what it is doing by phases. The watchdog acts at once
/// only where `unknown` is a right answer: in a check, or on the way to one.
/// While a reply is being made or written it waits longer and then ends the
/// process without an answer. While the script waits for input, its time stands
/// still.
///
/// A session, see keep_session, outlives what stops one of its checks: the
/// limit of a check, and Ctrl-C, which means the check at hand, or the one that
/// is being read; other commands are run to their end. Where the watchdog had
/// to answer, the main thread goes on when it comes out of its step.
///
/// Threads: the public operations are for the main thread.
class Watchdog {
 public:
  /// What the main thread is doing: looking for the next command, reading one
  /// or running it, waiting for input to arrive, making a reply, checking, or
  /// writing.
  enum class Phase {
    kBetween,
    kReading,
    kWaiting,
    kReporting,
    kChecking,
    kWriting
  };
  /// Why a check has to stop.
  using Stop = api::ScriptHost::Stop;
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

  /// From now on Ctrl-C stops checks and not the run, unless nothing runs while
  /// it is pressed, or a check is still to be stopped by the one before.
  /// `input`: where the script's commands come from; borrowed.
  void keep_session(int input);

  /// Says that the main thread does something else now. Not for waits.
  void enter(Phase phase);
  /// Enters kWaiting. Ctrl-C that came while no command was at hand, and none
  /// follows, now ends the run.
  void start_wait();
  /// Goes back to the phase before.
  void finish_wait();
  /// Enters kChecking, with a limit of its own if `milliseconds` is not 0.
  /// `answer`: what to write where the main thread cannot.
  void start_check(std::uint64_t milliseconds, std::string_view answer);
  /// Goes on with the same check, within what is left of its limit, for the
  /// sake of another answer.
  void resume_check(std::string_view answer);
  /// Enters kReporting. False if the answer was written by the watchdog.
  bool finish_check();
  /// Enters kReporting for good: no answer is owed and no limit holds any more.
  void finish_script();

  /// Says that the process must not end with 0 if the watchdog ends it:
  /// something was in error, or is to come at the end and will then be missing.
  void note_failure();

  /// Why the check at hand, or the last one, was to stop.
  Stop stop() const;
  /// Whether the run is to end since Ctrl-C was pressed, or SIGTERM came, which
  /// is treated alike outside sessions.
  bool interrupted() const;
  /// What the process then ends with: 128 and the signal's number.
  int interrupt_status() const;
  /// Whether that was so while an answer was owed that has not been given
  /// since.
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
  void note_signal(int signal);
  bool note_interrupt();
  void end_run(int signal);
  bool has_input() const;
  void begin_check(std::string_view answer);
  void stop_check(Stop stop, Clock::time_point now);
  std::optional<Clock::time_point> act(Clock::time_point now);
  [[noreturn]] void end_process(bool can_answer);
  void set_phase(Phase phase);
  void wake() const;
  void close_output();

  mutable std::mutex mutex_;  // guards what follows, up to stop_flag_
  Phase phase_ = Phase::kBetween;
  // The phase before a wait, and when the wait began.
  Phase phase_before_wait_ = Phase::kBetween;
  Clock::time_point wait_start_;
  // Put off by each wait.
  std::optional<Clock::time_point> run_deadline_;
  std::optional<Clock::time_point> check_deadline_;
  // Why the run is to stop, and since when it is.
  Stop run_stop_ = Stop::kNone;
  Clock::time_point run_stopped_;
  int interrupt_status_ = 0;
  // The same for the check.
  Stop check_stop_ = Stop::kNone;
  Clock::time_point check_stopped_;
  // What to write in place of the main thread, and whether that was done.
  std::string answer_;
  bool gave_answer_ = false;
  // Where a session's commands come from; below 0 if there is no session.
  int session_input_ = -1;
  // When the session was interrupted, until a check has been stopped by it or
  // turned out not to be there; and the phase of that time.
  std::optional<Clock::time_point> interrupted_;
  Phase interrupted_in_ = Phase::kBetween;
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

}  // namespace vorn::command

#endif  // VORN_COMMAND_WATCHDOG_H
