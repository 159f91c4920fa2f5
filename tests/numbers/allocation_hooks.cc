// SPDX-License-Identifier: MIT
#include "tests/numbers/allocation_hooks.h"

#include <gmp.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

namespace vorn::test {
namespace {

constexpr std::size_t kNever = static_cast<std::size_t>(-1);

std::size_t new_calls = 0;
std::size_t gmp_calls = 0;
std::ptrdiff_t live = 0;
std::size_t allowed = kNever;

bool logging = false;
std::array<const void*, 64> freed;
std::size_t num_freed = 0;

// Counts one allocation down; throws when none is left.
void spend() {
  if (allowed == kNever) return;
  if (allowed == 0) throw std::bad_alloc();
  --allowed;
}

void* gmp_allocate(std::size_t size) {
  spend();
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  ++gmp_calls;
  ++live;
  return memory;
}

void* gmp_reallocate(void* old, std::size_t /*old_size*/, std::size_t size) {
  spend();
  void* memory = std::realloc(old, size);
  if (memory == nullptr) throw std::bad_alloc();
  ++gmp_calls;
  return memory;
}

void gmp_free(void* memory, std::size_t /*size*/) {
  --live;
  std::free(memory);
}

[[maybe_unused]] const bool installed = [] {
  mp_set_memory_functions(gmp_allocate, gmp_reallocate, gmp_free);
  return true;
}();

void* allocate(std::size_t size) {
  spend();
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  ++new_calls;
  ++live;
  return memory;
}

void release(void* memory) noexcept {
  if (memory == nullptr) return;
  if (logging && num_freed < freed.size()) freed[num_freed++] = memory;
  --live;
  std::free(memory);
}

}  // namespace

std::size_t num_new() {
  return new_calls;
}
std::size_t num_gmp() {
  return gmp_calls;
}
std::ptrdiff_t num_live() {
  return live;
}

FailAllocation::FailAllocation(std::size_t after) {
  allowed = after;
}
FailAllocation::~FailAllocation() {
  allowed = kNever;
}

FreeLog::FreeLog() {
  num_freed = 0;
  logging = true;
}
FreeLog::~FreeLog() {
  logging = false;
}
std::vector<const void*> FreeLog::stop() {
  logging = false;
  const auto end = freed.begin() + static_cast<std::ptrdiff_t>(num_freed);
  return std::vector<const void*>(freed.begin(), end);
}

}  // namespace vorn::test

void* operator new(std::size_t size) {
  return vorn::test::allocate(size);
}
void* operator new[](std::size_t size) {
  return vorn::test::allocate(size);
}
void operator delete(void* memory) noexcept {
  vorn::test::release(memory);
}
void operator delete[](void* memory) noexcept {
  vorn::test::release(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  vorn::test::release(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  vorn::test::release(memory);
}
