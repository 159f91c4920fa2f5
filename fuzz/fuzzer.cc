// SPDX-License-Identifier: MIT
#include "fuzz/fuzzer.h"

#include <cstdlib>
#include <iostream>

namespace vorn::fuzz {

void fail(const std::string& what) {
  std::cerr << "wrong: " << what << std::endl;
  std::abort();
}

}  // namespace vorn::fuzz
