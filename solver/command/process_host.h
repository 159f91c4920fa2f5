// SPDX-License-Identifier: MIT
#ifndef VORN_COMMAND_PROCESS_HOST_H
#define VORN_COMMAND_PROCESS_HOST_H

#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "solver/command/descriptor_source.h"
#include "solver/command/watchdog.h"
#include "vorn/services/logger.h"
#include "vorn/solver/answers.h"
#include "vorn/solver/script.h"

namespace vorn::command {

/// The process around a script: its file, standard streams, time limits,
/// Ctrl-C, the log and, on a terminal, a line of progress.
class ProcessHost : public api::ScriptHost {
 public:
  /// Borrows source and watchdog. `start`: of the process.
  ProcessHost(DescriptorSource& source, Watchdog& watchdog,
              Watchdog::Clock::time_point start);

  std::size_t read(char* data, std::size_t capacity) override {
    return source_.read(data, capacity);
  }
  bool write_output(std::string_view reply) override;
  bool write_diagnostics(std::string_view reply) override {
    return watchdog_.write(STDERR_FILENO, reply);
  }
  bool set_output(const std::string& channel) override;
  bool set_diagnostics(const std::string& channel,
                       std::uint64_t verbosity) override;
  /// False if part of the log was lost so far, which is said on standard error
  /// where that is not what failed.
  bool finish_diagnostics();
  Logger* logger() override { return logger_.get(); }
  void reading() override { watchdog_.enter(Watchdog::Phase::kBetween); }
  void command_started() override {
    watchdog_.enter(Watchdog::Phase::kReading);
  }
  void reporting() override { watchdog_.enter(Watchdog::Phase::kReporting); }
  void check_started(std::uint64_t milliseconds,
                     std::string_view answer) override;
  void check_resumed(std::string_view answer) override {
    watchdog_.resume_check(answer);
  }
  bool check_finished() override;
  const std::atomic<bool>* stop_flag() const override {
    return watchdog_.stop_flag();
  }
  Stop stop() const override { return watchdog_.stop(); }
  void progress(const api::Progress& progress) override;
  void bounds_changed(const Bounds& bounds) override;
  void add_statistics(api::Statistics& rows) const override;
  void command_failed() override { watchdog_.note_failure(); }
  void release_reserve() override;

 private:
  double seconds() const;
  void clear_progress();
  void note_lost_log();

  DescriptorSource& source_;
  Watchdog& watchdog_;
  std::string output_name_ = "stdout";
  Watchdog::Clock::time_point start_;
  // The log's stream if that is a file, and the file's name.
  std::unique_ptr<std::ofstream> log_file_;
  std::string log_name_;
  bool log_lost_ = false;
  std::unique_ptr<Logger> logger_;
  bool shows_progress_;
  bool progress_shown_ = false;
  // Of the check at hand, for the line of progress; empty if there are none.
  std::string bounds_;
  Watchdog::Clock::time_point last_progress_;
  // Given back when memory has run out, so that there is some to say so.
  std::unique_ptr<char[]> reserve_;
};

}  // namespace vorn::command

#endif  // VORN_COMMAND_PROCESS_HOST_H
