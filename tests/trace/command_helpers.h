// SPDX-License-Identifier: MIT
#ifndef VORN_TRACE_COMMAND_HELPERS_H
#define VORN_TRACE_COMMAND_HELPERS_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vorn::trace {

/// A new folder that goes with this object.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_(::testing::TempDir() + "vorn-trace-XXXXXX") {
    EXPECT_NE(mkdtemp(path_.data()), nullptr);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  /// Writes the file and gives its path.
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name)) << text;
    return file(name);
  }

 private:
  std::string path_;
};

inline std::string text_of_file(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

struct Ended {
  int status;
  /// Of both standard streams.
  std::string output;
};

/// Runs a shell command. Its status is -1 if a signal ended it.
inline Ended run_shell(const std::string& command) {
  Ended ended{-1, ""};
  std::FILE* pipe = popen(("exec 2>&1; " + command).c_str(), "r");
  EXPECT_NE(pipe, nullptr);
  if (pipe == nullptr) return ended;
  std::array<char, 4096> buffer{};
  for (std::size_t size = 0;
       (size = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    ended.output.append(buffer.data(), size);
  }
  const int status = pclose(pipe);
  if (WIFEXITED(status)) ended.status = WEXITSTATUS(status);
  return ended;
}

}  // namespace vorn::trace

#endif  // VORN_TRACE_COMMAND_HELPERS_H
