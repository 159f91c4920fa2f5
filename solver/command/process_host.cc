// SPDX-License-Identifier: MIT
#include "solver/command/process_host.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <limits>
#include <utility>

namespace vorn::command {
namespace {

// Large enough to be a mapping of its own, which goes back to the system.
constexpr std::size_t kReserve = std::size_t{1} << 20;

constexpr std::chrono::milliseconds kProgressPause{200};

}  // namespace

ProcessHost::ProcessHost(DescriptorSource& source, Watchdog& watchdog,
                         Watchdog::Clock::time_point start)
    : source_(source),
      watchdog_(watchdog),
      start_(start),
      shows_progress_(isatty(STDERR_FILENO) == 1),
      last_progress_(start_),
      reserve_(new char[kReserve]) {}

bool ProcessHost::write_output(std::string_view reply) {
  if (watchdog_.write_output(reply)) return true;
  const int error = errno;
  const bool is_stdout = output_name_ == "stdout";
  // A reader that has seen enough is no reason to complain.
  if (!is_stdout || error != EPIPE) {
    write_diagnostics("vorn: cannot write " +
                      (is_stdout ? "standard output" : output_name_) + ": " +
                      std::strerror(error) + '\n');
  }
  return false;
}

bool ProcessHost::set_output(const std::string& channel) {
  int fd = channel == "stderr" ? STDERR_FILENO : STDOUT_FILENO;
  if (!is_standard_channel(channel)) {
    constexpr mode_t kMode = 0666;  // the user's mask takes away from it
    fd =
        open(channel.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kMode);
    if (fd < 0) return false;
  }
  output_name_ = channel;
  watchdog_.set_output(fd);
  return true;
}

bool ProcessHost::set_diagnostics(const std::string& channel,
                                  std::uint64_t verbosity) {
  std::unique_ptr<std::ofstream> file;
  std::ostream* stream = channel == "stdout" ? &std::cout : &std::cerr;
  if (!is_standard_channel(channel)) {
    file = std::make_unique<std::ofstream>(channel, std::ios::app);
    if (!file->is_open()) return false;
    stream = file.get();
  }
  std::unique_ptr<Logger> logger;
  if (verbosity > 0) {
    constexpr std::uint64_t kMost = std::numeric_limits<int>::max();
    logger = std::make_unique<Logger>(
        *stream, static_cast<int>(std::min(verbosity, kMost)));
  }
  note_lost_log();
  logger_ = std::move(logger);
  log_file_ = std::move(file);
  log_name_ = channel;
  return true;
}

bool ProcessHost::finish_diagnostics() {
  note_lost_log();
  return !log_lost_;
}

void ProcessHost::note_lost_log() {
  if (log_lost_) return;
  log_lost_ = !std::cerr.good() || !std::cout.good();
  if (log_file_ != nullptr && !log_file_->flush()) {
    log_lost_ = true;
    write_diagnostics("vorn: cannot write all of the log to " + log_name_ +
                      '\n');
  }
  if (log_lost_) watchdog_.note_failure();
}

void ProcessHost::check_started(std::uint64_t milliseconds,
                                std::string_view answer) {
  note_lost_log();
  bounds_.clear();
  watchdog_.start_check(milliseconds, answer);
}

bool ProcessHost::check_finished() {
  const bool answers = watchdog_.finish_check();
  clear_progress();
  return answers;
}

void ProcessHost::bounds_changed(const Bounds& bounds) {
  const std::string text = bounds.objective + ": best " + bounds.best +
                           ", limit " + bounds.limit + ", gap " + bounds.gap;
  bounds_ = text + ", ";
  if (logger_ == nullptr) return;
  std::array<char, 32> time{};
  std::snprintf(time.data(), time.size(), "%.2f s: ", seconds());
  (*logger_)("OPT") << loglevel{1} << std::string(time.data()) << text
                    << endlog;
}

double ProcessHost::seconds() const {
  return std::chrono::duration<double>(Watchdog::Clock::now() - start_).count();
}

void ProcessHost::add_statistics(api::Statistics& rows) const {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  std::array<char, 32> text{};
  const auto row = [&rows, &text](const char* key, const char* format,
                                  double value) {
    std::snprintf(text.data(), text.size(), format, value);
    rows.emplace_back(key, text.data());
  };
  row("seconds", "%.3f", seconds());
  row("peak memory MiB", "%.1f", static_cast<double>(usage.ru_maxrss) / 1024.0);
}

void ProcessHost::release_reserve() {
  if (reserve_ == nullptr) return;
  reserve_.reset();
  write_diagnostics("vorn: out of memory\n");
}

void ProcessHost::progress(const api::Progress& progress) {
  if (!shows_progress_) return;
  const Watchdog::Clock::time_point now = Watchdog::Clock::now();
  if (now - last_progress_ < kProgressPause) return;
  last_progress_ = now;
  progress_shown_ = true;
  std::fprintf(
      stderr,
      "\r%s%" PRIu64 " conflicts, %" PRIu64 " learnt clauses, %.1f s\033[K",
      bounds_.c_str(), progress.conflicts, progress.learnt_clauses, seconds());
}

void ProcessHost::clear_progress() {
  if (progress_shown_) std::fputs("\r\033[K", stderr);
  progress_shown_ = false;
}

}  // namespace vorn::command
