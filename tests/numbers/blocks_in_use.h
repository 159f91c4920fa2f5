// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_NUMBERS_BLOCKS_IN_USE_H
#define VORN_TESTS_NUMBERS_BLOCKS_IN_USE_H

#include <cstddef>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"

namespace vorn::test {

/// Blocks that are not freed, without those of numbers that are free and wait
/// for reuse.
inline std::ptrdiff_t blocks_in_use() {
  return num_live() - static_cast<std::ptrdiff_t>(Inspector::num_kept_blocks());
}

}  // namespace vorn::test

#endif  // VORN_TESTS_NUMBERS_BLOCKS_IN_USE_H
