// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_NUMBERS_ALLOCATION_HOOKS_H
#define VORN_TESTS_NUMBERS_ALLOCATION_HOOKS_H

#include <cstddef>
#include <new>
#include <vector>

// Watches and breaks memory allocation. A program that links this replaces
// operator new and operator delete, hands its own functions to GMP, and wraps
// the calls of malloc in what it links statically. All of them stand on malloc,
// so that memory of either kind may cross the moment at which they are put in
// place. Not for several threads.

namespace vorn::test {

/// Successful calls of operator new since the program's start.
std::size_t num_new();
/// Successful allocations and reallocations of GMP since the program's start.
std::size_t num_gmp();
/// Blocks of either kind that are not freed yet.
std::ptrdiff_t num_live();
/// FailAllocations that had something to refuse, since the program's start. A
/// program says at its end how many there were.
std::size_t num_failed();

/// The size that the latest refused malloc asked for.
std::size_t refused_malloc_size();

/// While it lives, allocation number `after` (from 0, of any kind) throws
/// std::bad_alloc, and so do all that come later. A malloc returns null
/// instead, where it is wrapped.
class FailAllocation {
 public:
  explicit FailAllocation(std::size_t after);
  ~FailAllocation();
  FailAllocation(const FailAllocation&) = delete;
  FailAllocation& operator=(const FailAllocation&) = delete;
};

/// While it lives, the test itself allocates: nothing fails, nothing is counted
/// down.
class Reprieve {
 public:
  Reprieve();
  ~Reprieve();
  Reprieve(const Reprieve&) = delete;
  Reprieve& operator=(const Reprieve&) = delete;

 private:
  std::size_t suspended_;
};

/// Calls f with allocation number k failing; true if that ended the call.
template <class F>
bool fails_at(std::size_t k, F&& f) {
  const FailAllocation fail(k);
  try {
    f();
  } catch (const std::bad_alloc&) {
    return true;
  }
  return false;
}

/// Records what operator delete frees while it lives, up to a fixed number.
class FreeLog {
 public:
  FreeLog();
  ~FreeLog();
  FreeLog(const FreeLog&) = delete;
  FreeLog& operator=(const FreeLog&) = delete;

  /// Stops recording. The addresses in order of their release.
  std::vector<const void*> stop();
};

}  // namespace vorn::test

#endif  // VORN_TESTS_NUMBERS_ALLOCATION_HOOKS_H
