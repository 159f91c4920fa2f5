// SPDX-License-Identifier: MIT
#include "vorn/numbers/block_pool.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace vorn::la {

bool BlockPool::opens() noexcept {
  if (closed_ || most_kept_ != 0) return false;
  // Registering the destructor ends the process if memory has run out, so it is
  // seen beforehand that there is some: enough that a block of it, freed, can
  // be cut to any size.
  constexpr std::size_t kRoom = 4096;
  void* const room = std::malloc(kRoom);
  if (room == nullptr) return false;
  std::free(room);
  // Runs at the end of the thread; the pool itself has no destructor.
  struct Closer {
    Closer() = default;
    Closer(const Closer&) = delete;
    Closer& operator=(const Closer&) = delete;
    ~Closer() { block_pool.close(); }
  };
  thread_local const Closer closer;
  static_cast<void>(closer);
  most_kept_ = kMostKept;
  return true;
}

void BlockPool::close() noexcept {
  closed_ = true;
  most_kept_ = 0;
  num_kept_ = 0;
  while (first_ != nullptr) {
    Kept* const next = first_->next;
    ::operator delete(first_);
    first_ = next;
  }
}

}  // namespace vorn::la
