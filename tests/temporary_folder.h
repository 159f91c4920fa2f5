// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_TEMPORARY_FOLDER_H
#define VORN_TESTS_TEMPORARY_FOLDER_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vorn::test {

/// A new folder that goes with this object.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_(::testing::TempDir() + "vorn-test-XXXXXX") {
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

}  // namespace vorn::test

#endif  // VORN_TESTS_TEMPORARY_FOLDER_H
