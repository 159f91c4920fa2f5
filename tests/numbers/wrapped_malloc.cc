// SPDX-License-Identifier: MIT
#include <cstddef>

#include "tests/numbers/allocation_hooks.h"

// The malloc of a program that is linked with --wrap=malloc, for the code under
// test that calls it: the hash table, which gets its nodes so.

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names.
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);

extern "C" void* __wrap_malloc(std::size_t size) {
  return vorn::test::refuse_malloc(size) ? nullptr : __real_malloc(size);
}
// NOLINTEND(bugprone-reserved-identifier)
