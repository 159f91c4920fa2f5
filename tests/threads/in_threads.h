// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_THREADS_IN_THREADS_H
#define VORN_TESTS_THREADS_IN_THREADS_H

#include <atomic>
#include <thread>
#include <vector>

namespace vorn::test {

/// Runs work(0), ..., work(count - 1), each in a thread of its own, and waits
/// for all. No work begins before all threads are there, so that they overlap
/// as far as the machine lets them.
template <class Work>
void in_threads(int count, const Work& work) {
  std::atomic<int> missing(count);
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([i, &work, &missing] {
      --missing;
      while (missing > 0) std::this_thread::yield();
      work(i);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace vorn::test

#endif  // VORN_TESTS_THREADS_IN_THREADS_H
