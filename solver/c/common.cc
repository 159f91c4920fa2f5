// SPDX-License-Identifier: MIT
#include <gmp.h>

#include <cstdlib>
#include <new>

#include "solver/c/vorn.h"

namespace {

void* gmp_allocate(std::size_t size) {
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* gmp_reallocate(void* old, std::size_t /*old_size*/, std::size_t size) {
  void* memory = std::realloc(old, size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void gmp_free(void* memory, std::size_t /*size*/) {
  std::free(memory);
}

}  // namespace

const char* vorn_version(void) {
  return VORN_VERSION;
}

const char* vorn_error_name(vorn_error error) {
  switch (error) {
    case VORN_OK:
      return "no error";
    case VORN_ERROR_MEMORY:
      return "out of memory";
    case VORN_ERROR_ARGUMENT:
      return "wrong argument";
    case VORN_ERROR_OUTSIDE:
      return "outside difference logic";
    case VORN_ERROR_STATE:
      return "no such call now";
    case VORN_ERROR_RANGE:
      return "no integer of 64 bits";
    case VORN_ERROR_BUSY:
      return "another call is under way";
    case VORN_ERROR_DEFECT:
      break;
  }
  return "a defect of Vorn";
}

void vorn_catch_memory(void) {
  mp_set_memory_functions(gmp_allocate, gmp_reallocate, gmp_free);
}
