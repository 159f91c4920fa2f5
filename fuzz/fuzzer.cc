// SPDX-License-Identifier: MIT
#include "fuzz/fuzzer.h"

#include <cstdlib>
#include <iostream>

namespace vorn::fuzz {

void fail(const std::string& what) {
  std::cerr << "wrong: " << what << std::endl;
  std::abort();
}

std::vector<std::size_t> line_lengths(const std::string& text) {
  std::vector<std::size_t> lengths(1, 0);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool inside = text[i] == '\r' && text[i + 1] == '\n';
    if (inside) continue;
    if (text[i] == '\n' || text[i] == '\r') {
      lengths.push_back(0);
    } else {
      ++lengths.back();
    }
  }
  return lengths;
}

}  // namespace vorn::fuzz
