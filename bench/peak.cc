// SPDX-License-Identifier: MIT
#include "bench/peak.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <fstream>

namespace vorn::bench {

double status_bytes(const std::string& key) {
  std::ifstream in("/proc/self/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, key.size() + 1, key + ":") == 0) {
      return 1024.0 * std::strtod(line.c_str() + key.size() + 1, nullptr);
    }
  }
  fail("no such line in /proc/self/status");
}

double measured_by_child(const std::string& which) {
  std::array<char, PATH_MAX> path{};
  if (readlink("/proc/self/exe", path.data(), path.size() - 1) < 0) {
    fail("cannot find the program");
  }
  std::string option = "--measure-memory=" + which;
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) fail("cannot make a pipe");
  const pid_t child = fork();
  if (child < 0) fail("cannot fork");
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    std::array<char*, 3> arguments = {path.data(), option.data(), nullptr};
    execv(path.data(), arguments.data());
    _exit(EXIT_FAILURE);
  }
  close(ends[1]);
  std::string text;
  std::array<char, 64> buffer{};
  for (;;) {
    const ssize_t got = read(ends[0], buffer.data(), buffer.size());
    if (got <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != EXIT_SUCCESS) {
    fail("a memory measurement failed");
  }
  return std::strtod(text.c_str(), nullptr);
}

}  // namespace vorn::bench
