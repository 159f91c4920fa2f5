// SPDX-License-Identifier: MIT
#include "tests/trace/guarded_run.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

namespace vorn::trace {
namespace {

void write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t size = write(fd, text.data(), text.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(size));
  }
}

std::string read_all(int fd) {
  std::string text;
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t size = read(fd, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(size));
  }
}

// The counters on one line, then the difference.
std::string result_text(const model::RunResult& result) {
  std::ostringstream out;
  out << result.agrees << ' ' << result.met_endless_walk << ' ' << result.calls
      << ' ' << result.checks << ' ' << result.conflicts << ' ' << result.lemmas
      << ' ' << result.consequences << '\n'
      << result.difference;
  return out.str();
}

model::RunResult result_from_text(const std::string& text) {
  model::RunResult result;
  std::istringstream in(text);
  in >> result.agrees >> result.met_endless_walk >> result.calls >>
      result.checks >> result.conflicts >> result.lemmas >> result.consequences;
  result.difference = text.substr(text.find('\n') + 1);
  return result;
}

}  // namespace

void limit_processor_time(double seconds) {
  itimerval timer = {};
  timer.it_value.tv_sec = static_cast<time_t>(std::floor(seconds));
  timer.it_value.tv_usec = static_cast<suseconds_t>(
      std::floor((seconds - std::floor(seconds)) * 1e6));
  setitimer(ITIMER_PROF, &timer, nullptr);
}

void forbid_core_files() {
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

std::string end_text(int status) {
  if (WIFEXITED(status)) {
    return "ended with status " + std::to_string(WEXITSTATUS(status));
  }
  const int signal = WTERMSIG(status);
  if (signal == SIGPROF) return "was stopped for taking too long";
  return "ended by signal " + std::to_string(signal) + " (" +
         strsignal(signal) + ")";
}

model::RunResult run_guarded(const Run& run, const model::Trace& trace,
                             const Patience& patience, Words words) {
  std::fflush(nullptr);
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  const pid_t child = fork();
  if (child < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (child == 0) {
    forbid_core_files();
    if (words == Words::kHidden) {
      const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
      dup2(nowhere, STDERR_FILENO);
    }
    limit_processor_time(patience.of(trace));
    write_all(ends[1], result_text(run(trace)));
    _exit(0);
  }
  close(ends[1]);
  const std::string text = read_all(ends[0]);
  close(ends[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    return result_from_text(text);
  }
  model::RunResult result;
  result.agrees = false;
  result.difference = "the run " + end_text(status) + "\n";
  return result;
}

}  // namespace vorn::trace
