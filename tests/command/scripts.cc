// SPDX-License-Identifier: MIT
#include "tests/command/scripts.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <iterator>
#include <ostream>

namespace vorn::command {

ScriptFile::ScriptFile(const std::function<void(std::ostream&)>& write)
    : name_(::testing::TempDir() + "vorn-test-XXXXXX") {
  const int fd = mkostemp(name_.data(), O_CLOEXEC);
  EXPECT_GE(fd, 0);
  close(fd);
  std::ofstream out(name_, std::ios::binary);
  write(out);
  EXPECT_TRUE(out.flush().good());
}

ScriptFile::ScriptFile(const std::string& text)
    : ScriptFile([&text](std::ostream& out) { out << text; }) {}

ScriptFile::~ScriptFile() {
  std::remove(name_.c_str());
}

std::string ScriptFile::text() const {
  std::ifstream in(name_, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void repeat(std::ostream& out, const char* text, int count) {
  for (int i = 0; i < count; ++i) out << text;
}

void write_hard_assertions(std::ostream& out, int jobs) {
  // Adding up the jobs would answer at once.
  out << "(set-option :machines off)(set-logic QF_IDL)\n";
  for (int i = 0; i < jobs; ++i) {
    out << "(declare-const s" << i << " Int)(assert (<= 0 s" << i << ' '
        << 2 * jobs - 3 << "))\n";
  }
  for (int i = 0; i < jobs; ++i) {
    for (int j = 0; j < i; ++j) {
      out << "(assert (or (<= 2 (- s" << i << " s" << j << ")) (<= 2 (- s" << j
          << " s" << i << "))))\n";
    }
  }
}

void write_long_relaxation(std::ostream& out, int nodes) {
  out << "(set-logic QF_IDL)\n";
  for (int i = 0; i < nodes; ++i) out << "(declare-const x" << i << " Int)\n";
  for (int i = 0; i + 1 < nodes; ++i) {
    if (i + 2 < nodes) {
      out << "(assert (<= (- x" << i + 2 << " x" << i << ") 4))\n";
    }
    out << "(assert (<= (- x" << i + 1 << " x" << i << ") 1))\n";
  }
  out << "(echo \"read\")(declare-const z Int)"
         "(assert (<= (- x0 z) (- 1000000)))\n";
}

void write_limited_relaxation(std::ostream& out) {
  out << "(set-option :timeout " << kIntoTheCheck.count() << ')';
  write_long_relaxation(out);
}

}  // namespace vorn::command
