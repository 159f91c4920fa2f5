// SPDX-License-Identifier: MIT
#include "solver/command/watchdog.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <ctime>
#include <system_error>

// The thread sleeps in sigtimedwait until a signal or the next point in time
// at which something is due. All signals it waits for are blocked in every
// thread, so none interrupts the main thread and no handler ever runs. The
// main thread wakes it by SIGUSR1 when a limit has changed.

namespace vorn::command {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kAnswerGrace{50};
constexpr milliseconds kReportGrace{1000};

// Signals that follow each other as closely are one: a program that limits the
// time of others signals its child first, and then the whole group.
constexpr milliseconds kSameSignal{200};

// A small stack: it counts against a memory limit.
constexpr std::size_t kStackSize = std::size_t{256} * 1024;

sigset_t watched_signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGUSR1);
  return set;
}

bool write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && errno == EAGAIN) {
      pollfd ready = {fd, POLLOUT, 0};
      poll(&ready, 1, -1);
      continue;
    }
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// What takes nothing must not hold up the end of the process. False if part of
// the text is lost.
bool write_if_possible(int fd, std::string_view text) {
  // A pipe that takes anything takes so much.
  constexpr std::size_t kPiece = PIPE_BUF;
  constexpr int kPatience = 100;
  int patience = 0;
  while (!text.empty()) {
    pollfd ready = {fd, POLLOUT, 0};
    if (poll(&ready, 1, patience) != 1 || (ready.revents & POLLOUT) == 0 ||
        !write_all(fd, text.substr(0, kPiece))) {
      return false;
    }
    text.remove_prefix(std::min(text.size(), kPiece));
    patience = kPatience;
  }
  return true;
}

// Whether write_if_possible takes all of the text or nothing.
bool can_be_whole(std::string_view text) {
  return text.size() <= PIPE_BUF;
}

void ignore_signal(int /*signal*/) {}

}  // namespace

Watchdog::Watchdog(std::optional<Clock::time_point> deadline)
    : run_deadline_(deadline), busy_since_(Clock::now()) {
  interrupt_fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (interrupt_fd_ < 0) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  // Blocked before there is a handler, which would swallow a signal that comes
  // between the two.
  const sigset_t signals = watched_signals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  // A handler, never run, in the place of what was inherited: a signal that is
  // ignored, as in a shell script's background job, would not be seen.
  struct sigaction action = {};
  action.sa_handler = ignore_signal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGUSR1, &action, nullptr);

  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kStackSize);
  const int error = pthread_create(&thread_, &attributes, run, this);
  pthread_attr_destroy(&attributes);
  if (error != 0) {
    close(interrupt_fd_);
    throw std::system_error(error, std::generic_category(), "pthread_create");
  }
}

Watchdog::~Watchdog() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    quit_ = true;
  }
  wake();
  pthread_join(thread_, nullptr);
  close(interrupt_fd_);
  close_output();
}

void Watchdog::wake() const {
  pthread_kill(thread_, SIGUSR1);
}

// --- The main thread ---

void Watchdog::note_failure() {
  const std::lock_guard<std::mutex> lock(mutex_);
  failed_ = true;
}

void Watchdog::keep_session(int input) {
  const std::lock_guard<std::mutex> lock(mutex_);
  session_input_ = input;
}

void Watchdog::set_phase(Phase phase) {
  if (phase == phase_) return;
  const bool was_busy =
      phase_ != Phase::kWaiting && phase_ != Phase::kReporting;
  if (!was_busy) busy_since_ = Clock::now();
  phase_ = phase;
  // What is due now may be due earlier than in the phase before.
  if (run_stop_ != Stop::kNone && !answered_) wake();
}

void Watchdog::enter(Phase phase) {
  const std::lock_guard<std::mutex> lock(mutex_);
  set_phase(phase);
  if (!interrupted_.has_value()) return;
  if (phase == Phase::kReading) {
    interrupted_in_ = Phase::kReading;
  } else if (phase == Phase::kBetween && interrupted_in_ == Phase::kReporting) {
    // It came before the command was answered, so it meant that one.
    interrupted_.reset();
  }
}

void Watchdog::start_wait() {
  const std::lock_guard<std::mutex> lock(mutex_);
  phase_before_wait_ = phase_;
  wait_start_ = Clock::now();
  set_phase(Phase::kWaiting);
  if (phase_before_wait_ != Phase::kBetween || !interrupted_.has_value() ||
      has_input()) {
    return;
  }
  interrupted_.reset();
  // Who pressed it may have seen the last answer.
  if (interrupted_in_ == Phase::kBetween ||
      interrupted_in_ == Phase::kWriting) {
    end_run(SIGINT);
  }
}

void Watchdog::finish_wait() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (run_deadline_.has_value()) *run_deadline_ += Clock::now() - wait_start_;
  set_phase(phase_before_wait_);
}

void Watchdog::start_check(std::uint64_t limit, std::string_view answer) {
  const std::lock_guard<std::mutex> lock(mutex_);
  check_stop_ = Stop::kNone;
  check_deadline_.reset();
  if (limit != 0) {
    // Beyond this the sum with the present could overflow; it is a year.
    constexpr std::uint64_t kLongest = std::uint64_t{1000} * 3600 * 24 * 365;
    check_deadline_ =
        Clock::now() +
        milliseconds(static_cast<std::int64_t>(std::min(limit, kLongest)));
  }
  begin_check(answer);
}

void Watchdog::resume_check(std::string_view answer) {
  const std::lock_guard<std::mutex> lock(mutex_);
  begin_check(answer);
}

void Watchdog::begin_check(std::string_view answer) {
  set_phase(Phase::kChecking);
  answer_ = answer;
  gave_answer_ = false;
  const Clock::time_point now = Clock::now();
  if (interrupted_.has_value()) stop_check(Stop::kInterrupt, now);
  // There is a grace period for each answer.
  check_stopped_ = now;
  stop_flag_ = run_stop_ != Stop::kNone || check_stop_ != Stop::kNone;
  if (check_deadline_.has_value() || check_stop_ != Stop::kNone) wake();
}

bool Watchdog::finish_check() {
  const std::lock_guard<std::mutex> lock(mutex_);
  set_phase(Phase::kReporting);
  interrupted_.reset();
  stop_flag_ = run_stop_ != Stop::kNone;
  // The thread may not have come to the limit yet, while stop() tells of it.
  answered_ = run_stop_ != Stop::kNone ||
              (run_deadline_.has_value() && Clock::now() >= *run_deadline_);
  return !gave_answer_;
}

void Watchdog::finish_script() {
  const std::lock_guard<std::mutex> lock(mutex_);
  set_phase(Phase::kReporting);
  run_deadline_.reset();
  answered_ = true;
}

Watchdog::Stop Watchdog::stop() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (run_stop_ != Stop::kNone) return run_stop_;
  // The thread may be a little late, or not have come to it yet.
  if (run_deadline_.has_value() && Clock::now() >= *run_deadline_) {
    return Stop::kTimeout;
  }
  return check_stop_;
}

bool Watchdog::interrupted() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return run_stop_ == Stop::kInterrupt;
}

int Watchdog::interrupt_status() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return interrupt_status_;
}

bool Watchdog::owes_answer() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return run_stop_ == Stop::kInterrupt && owed_ && !answered_;
}

void Watchdog::close_output() {
  if (output_fd_ > STDERR_FILENO) close(output_fd_);
}

void Watchdog::set_output(int fd) {
  const std::lock_guard<std::mutex> lock(mutex_);
  close_output();
  output_fd_ = fd;
}

bool Watchdog::write_output(std::string_view text) {
  // Changed by this thread alone, so it need not be locked to be read here.
  return write(output_fd_, text);
}

bool Watchdog::write(int fd, std::string_view text) {
  Phase before = Phase::kReading;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    before = phase_;
    set_phase(Phase::kWriting);
  }
  const bool written = write_all(fd, text);
  const int error = errno;
  enter(before);
  errno = error;
  return written;
}

// --- The watchdog's thread ---

void* Watchdog::run(void* self) {
  static_cast<Watchdog*>(self)->loop();
  return nullptr;
}

void Watchdog::loop() {
  const sigset_t signals = watched_signals();
  for (;;) {
    std::optional<Clock::time_point> due;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (quit_) return;
      due = act(Clock::now());
    }
    int signal = -1;
    if (due.has_value()) {
      const auto left = std::max(
          std::chrono::nanoseconds{0},
          std::chrono::ceil<std::chrono::nanoseconds>(*due - Clock::now()));
      const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
      timespec timeout = {};
      timeout.tv_sec = static_cast<time_t>(seconds.count());
      timeout.tv_nsec = static_cast<long>((left - seconds).count());
      signal = sigtimedwait(&signals, nullptr, &timeout);
    } else {
      signal = sigwaitinfo(&signals, nullptr);
    }
    if (signal == SIGINT || signal == SIGTERM) note_signal(signal);
  }
}

void Watchdog::note_signal(int signal) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (run_stop_ == Stop::kInterrupt) {
    // Pressed once more, Ctrl-C means now.
    if (Clock::now() - run_stopped_ >= kSameSignal) _exit(interrupt_status_);
    return;
  }
  if (signal == SIGINT && session_input_ >= 0 && note_interrupt()) return;
  end_run(signal);
}

// What a session makes of Ctrl-C. False if it has to end.
bool Watchdog::note_interrupt() {
  const Clock::time_point now = Clock::now();
  Phase phase = phase_;
  if (phase == Phase::kWaiting) {
    // What was sent before the signal is there by now.
    if (!has_input()) return false;
    phase = phase_before_wait_;
  }
  if (interrupted_.has_value()) return now - *interrupted_ < kSameSignal;
  interrupted_ = now;
  interrupted_in_ = phase;
  if (phase == Phase::kChecking) stop_check(Stop::kInterrupt, now);
  return true;
}

bool Watchdog::has_input() const {
  pollfd ready = {session_input_, POLLIN, 0};
  return poll(&ready, 1, 0) == 1;
}

void Watchdog::end_run(int signal) {
  interrupt_status_ = 128 + signal;
  run_stop_ = Stop::kInterrupt;
  run_stopped_ = Clock::now();
  answered_ = false;
  owed_ = phase_ == Phase::kBetween || phase_ == Phase::kReading ||
          (phase_ == Phase::kChecking && !gave_answer_);
  stop_flag_ = true;
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written =
      ::write(interrupt_fd_, &one, sizeof one);
}

// The first reason counts.
void Watchdog::stop_check(Stop stop, Clock::time_point now) {
  if (check_stop_ != Stop::kNone) return;
  check_stop_ = stop;
  check_stopped_ = now;
  stop_flag_ = true;
}

// Does what is due, and says when the next thing will be.
std::optional<Watchdog::Clock::time_point> Watchdog::act(
    Clock::time_point now) {
  std::optional<Clock::time_point> next;
  const auto consider = [&next](Clock::time_point time) {
    next = next.has_value() ? std::min(*next, time) : time;
  };
  const bool is_waiting = phase_ == Phase::kWaiting;
  if (run_stop_ == Stop::kNone && run_deadline_.has_value()) {
    const Clock::duration left =
        *run_deadline_ - (is_waiting ? wait_start_ : now);
    if (left <= Clock::duration::zero()) {
      run_stop_ = Stop::kTimeout;
      run_stopped_ = now;
      stop_flag_ = true;
    } else {
      // No earlier than that, if a wait ended now; so nobody need tell of it.
      consider(now + left);
    }
  }
  if (is_waiting) return next;
  const bool is_checking = phase_ == Phase::kChecking;
  if (is_checking && check_deadline_.has_value()) {
    if (now >= *check_deadline_) {
      stop_check(Stop::kTimeout, now);
    } else {
      consider(*check_deadline_);
    }
  }

  const bool is_owed = !answered_ && (run_stop_ != Stop::kInterrupt || owed_);
  const bool can_answer =
      is_owed && !(is_checking && gave_answer_) &&
      (phase_ == Phase::kBetween || phase_ == Phase::kReading || is_checking);
  const milliseconds grace = can_answer ? kAnswerGrace : kReportGrace;
  // After a time limit the script goes on once a check has been answered; all
  // later checks are answered at once.
  const bool run_presses = run_stop_ == Stop::kInterrupt ||
                           (run_stop_ == Stop::kTimeout && !answered_);
  if (run_presses) {
    const Clock::time_point end = std::max(run_stopped_, busy_since_) + grace;
    if (now >= end) end_process(can_answer);
    consider(end);
  }
  if (is_checking && check_stop_ != Stop::kNone && !gave_answer_) {
    Clock::time_point end = check_stopped_ + kAnswerGrace;
    if (now >= end) {
      if (session_input_ < 0) end_process(true);
      gave_answer_ =
          can_be_whole(answer_) && write_if_possible(output_fd_, answer_);
      end = now + kAnswerGrace;
    }
    if (!gave_answer_) consider(end);
  }
  return next;
}

// Called with the lock held, which is never given back: the main thread cannot
// begin to write any more.
void Watchdog::end_process(bool can_answer) {
  const std::string_view answer =
      phase_ == Phase::kChecking ? std::string_view(answer_) : "unknown\n";
  if (can_answer && !write_if_possible(output_fd_, answer)) failed_ = true;
  if (run_stop_ == Stop::kInterrupt) _exit(interrupt_status_);
  write_if_possible(STDERR_FILENO,
                    "vorn: time limit reached; the rest of the script was not "
                    "run\n");
  if (!can_answer && phase_ == Phase::kReporting) {
    write_if_possible(output_fd_, "(error \"the time limit ended a reply\")\n");
  }
  _exit(can_answer && !failed_ ? 0 : 1);
}

}  // namespace vorn::command
