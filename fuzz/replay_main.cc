// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/fuzzer.h"

// Runs a fuzzer's entry point on files, and on all files of folders, in a
// build without libFuzzer:
//
//   vorn_replay_NAME PATH...
//
// So what a fuzzer once found stays a test of every build. Fails if there is
// nothing to run, lest a moved corpus go unnoticed.

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    const fs::path path(argv[i]);
    if (!fs::is_directory(path)) {
      files.push_back(path);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(path)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  if (files.empty()) {
    std::cerr << "there is no file to run\n";
    return 1;
  }
  for (const fs::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::cerr << "cannot read " << file << '\n';
      return 1;
    }
    const std::vector<char> text{std::istreambuf_iterator<char>(in),
                                 std::istreambuf_iterator<char>()};
    // Flushed, so that an abort comes behind the name of its file.
    std::cout << file.string() << ": " << text.size() << " bytes" << std::endl;
    // A copy of exactly its size, so that sanitizers see a read past the end.
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
  return 0;
}
