// SPDX-License-Identifier: MIT
#ifndef VORN_DL_RELAXATION_QUEUE_H
#define VORN_DL_RELAXATION_QUEUE_H

#include <cstddef>
#include <utility>
#include <vector>

namespace vorn::dl {

/// First-in, first-out queue of edge ids for one run, in storage that outlives
/// it. A ring of a power-of-two size, so that a step is an index and a mask.
class RelaxationQueue {
 public:
  /// An empty queue. Requires: `ring` outlives it, and is empty or as an
  /// earlier queue left it.
  explicit RelaxationQueue(std::vector<int>& ring) : ring_(ring) {}

  bool empty() const { return head_ == tail_; }

  void push(int edge) {
    if (tail_ - head_ == ring_.size()) grow(1);
    ring_[tail_++ & (ring_.size() - 1)] = edge;
  }
  /// Pushes in list order.
  void push_all(const std::vector<int>& edges) {
    if (ring_.size() - (tail_ - head_) < edges.size()) grow(edges.size());
    // Into locals: the stores to the ring would make compilers read the members
    // anew each time.
    int* const ring = ring_.data();
    const std::size_t mask = ring_.size() - 1;
    std::size_t tail = tail_;
    for (const int edge : edges) ring[tail++ & mask] = edge;
    tail_ = tail;
  }
  /// Requires: not empty.
  int pop() { return ring_[head_++ & (ring_.size() - 1)]; }

 private:
  // Makes room for `more` entries.
  void grow(std::size_t more) {
    const std::size_t count = tail_ - head_;
    std::size_t size = ring_.empty() ? 64 : 2 * ring_.size();
    while (size - count < more) size *= 2;
    std::vector<int> larger(size);
    for (std::size_t k = 0; k < count; ++k) {
      larger[k] = ring_[(head_ + k) & (ring_.size() - 1)];
    }
    ring_ = std::move(larger);
    head_ = 0;
    tail_ = count;
  }

  std::vector<int>& ring_;
  // Counts of pops and pushes; their difference is the queue's length.
  std::size_t head_ = 0;
  std::size_t tail_ = 0;
};

}  // namespace vorn::dl

#endif  // VORN_DL_RELAXATION_QUEUE_H
