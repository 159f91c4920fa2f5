// SPDX-License-Identifier: MIT
#include "tests/numbers/allocation_hooks.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <new>
#include <string>
#include <vector>

// The linker's names: the code under test that calls malloc gets the second,
// and the first is what it would have got.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);
// NOLINTEND(bugprone-reserved-identifier)

namespace vorn::test {
namespace {

constexpr std::size_t kNever = static_cast<std::size_t>(-1);

std::size_t new_calls = 0;
std::size_t gmp_calls = 0;
std::ptrdiff_t live = 0;
std::size_t allowed = kNever;
std::size_t failed = 0;
// The FailAllocation that lives has refused something.
bool refused = false;
std::size_t refused_size = 0;

bool logging = false;
std::array<const void*, 64> freed;
std::size_t num_freed = 0;

// Counts one allocation down; throws when none is left.
void spend() {
  if (allowed == kNever) return;
  if (allowed == 0) {
    if (!refused) ++failed;
    refused = true;
    throw std::bad_alloc();
  }
  --allowed;
}

void* gmp_allocate(std::size_t size) {
  spend();
  void* memory = __real_malloc(size);
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

// With an alignment of more than malloc gives, or 0.
void* allocate(std::size_t size, std::size_t alignment = 0) {
  spend();
  // aligned_alloc takes whole multiples of the alignment, other than 0.
  void* memory =
      alignment == 0
          ? __real_malloc(size == 0 ? 1 : size)
          : std::aligned_alloc(alignment, (size / alignment + 1) * alignment);
  if (memory == nullptr) throw std::bad_alloc();
  ++new_calls;
  ++live;
  return memory;
}

void* malloc_or_null(std::size_t size) noexcept {
  try {
    spend();
  } catch (const std::bad_alloc&) {
    refused_size = size;
    return nullptr;
  }
  return __real_malloc(size);
}

void release(void* memory) noexcept {
  if (memory == nullptr) return;
  if (logging && num_freed < freed.size()) freed[num_freed++] = memory;
  --live;
  std::free(memory);
}

/// Says how much was refused, on the console and in a report in XML.
class FailureReport : public testing::Environment {
 public:
  void TearDown() override {
    if (failed == 0) return;
    testing::Test::RecordProperty("failed_allocations", std::to_string(failed));
    std::cout << failed << " allocations were made to fail\n";
  }
};

[[maybe_unused]] testing::Environment* const report =
    testing::AddGlobalTestEnvironment(new FailureReport);

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

std::size_t num_failed() {
  return failed;
}

std::size_t refused_malloc_size() {
  return refused_size;
}

FailAllocation::FailAllocation(std::size_t after) {
  allowed = after;
  refused = false;
}
FailAllocation::~FailAllocation() {
  allowed = kNever;
}

Reprieve::Reprieve() : suspended_(allowed) {
  allowed = kNever;
}
Reprieve::~Reprieve() {
  allowed = suspended_;
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

extern "C" void* __wrap_malloc(std::size_t size) {
  return vorn::test::malloc_or_null(size);
}

void* operator new(std::size_t size) {
  return vorn::test::allocate(size);
}
void* operator new[](std::size_t size) {
  return vorn::test::allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return vorn::test::allocate(size, static_cast<std::size_t>(alignment));
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
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
  vorn::test::release(memory);
}
void operator delete(void* memory, std::size_t /*size*/,
                     std::align_val_t /*alignment*/) noexcept {
  vorn::test::release(memory);
}
