// SPDX-License-Identifier: MIT
#ifndef VORN_NUMBERS_BLOCK_POOL_H
#define VORN_NUMBERS_BLOCK_POOL_H

#include <cstddef>
#include <new>

// Recycling of the blocks behind delta-rationals; internal to the numbers.
//
// Each lowering of a potential makes a block and drops one, so the general
// allocator would take a good part of a check. A thread keeps the blocks that
// it drops, up to a bound, on a list of its own, last in, first out, so that
// the next one made is likely to be in the cache. What is beyond the bound
// goes back at once, the rest when the thread ends.
//
// Under sanitizers every block goes to the general allocator, which knows about
// uses after a free and about leaks, unless VORN_RECYCLES_BLOCKS is set to 1
// for the whole build; to see the pool itself at work in threads, say.

#ifndef VORN_RECYCLES_BLOCKS
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VORN_RECYCLES_BLOCKS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define VORN_RECYCLES_BLOCKS 0
#endif
#endif
#ifndef VORN_RECYCLES_BLOCKS
#define VORN_RECYCLES_BLOCKS 1
#endif
#endif

namespace vorn::la {

/// The blocks that one thread keeps. Trivially destructible, so that numbers in
/// static objects, which may go after everything else of the main thread, still
/// find it: closed, and passing blocks on.
///
/// Cost: a few instructions; the general allocator only when the list is empty
/// or full.
class BlockPool {
 public:
  /// 2.6 MB of blocks: more than a relaxation that stays in the cache moves.
  static constexpr std::size_t kMostKept = std::size_t{1} << 16;

  /// Memory for a block. Errors: std::bad_alloc.
  void* take(std::size_t size) {
    if (!VORN_RECYCLES_BLOCKS || first_ == nullptr) {
      return ::operator new(size);
    }
    Kept* const block = first_;
    first_ = block->next;
    --num_kept_;
    return block;
  }

  /// Takes the memory of a block back. Requires: room for a pointer in it.
  void give(void* block) noexcept {
    if (!VORN_RECYCLES_BLOCKS || (num_kept_ >= most_kept_ && !opens())) {
      ::operator delete(block);
      return;
    }
    first_ = ::new (block) Kept{first_};
    ++num_kept_;
  }

  std::size_t num_kept() const { return num_kept_; }

 private:
  struct Kept {
    Kept* next;
  };

  /// Opens the pool when the thread's first block comes back, with someone to
  /// close it; false if the pool is full or closed.
  bool opens() noexcept;
  void close() noexcept;

  Kept* first_ = nullptr;
  std::size_t num_kept_ = 0;
  /// 0 before the thread's first block comes back and after the thread's end.
  std::size_t most_kept_ = 0;
  bool closed_ = false;
};

/// The pool of the calling thread. Constant-initialised here, in sight of its
/// users, which then reach it without a test of whether it is ready.
inline thread_local BlockPool block_pool;

}  // namespace vorn::la

#endif  // VORN_NUMBERS_BLOCK_POOL_H
