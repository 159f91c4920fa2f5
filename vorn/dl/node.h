// SPDX-License-Identifier: MIT
#ifndef VORN_DL_NODE_H
#define VORN_DL_NODE_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include "vorn/export.h"

namespace vorn {
struct Inspector;
}

namespace vorn::dl {

/// One variable of the graph: the edges that leave it, and the edge that last
/// lowered its potential. All operations return true.
///
/// A node fills a cache line and is aligned to one, so that it is fetched at
/// once. Cost: push and retract scan the notified edges of the node, pop is
/// O(1) and does not allocate. Errors: only exhausted memory, in tell and push,
/// and then the node is as it was.
class VORN_EXPORT __attribute__((aligned(64))) Node {
 public:
  Node() : pred_edge_(-1) {}
  Node(const Node&) = default;
  Node(Node&&) noexcept = default;
  Node& operator=(const Node&) = default;
  Node& operator=(Node&&) noexcept = default;
  virtual ~Node() = default;

  /// Lists a newly registered edge.
  bool tell_edge(int id) {
    // Room for every edge of the node, so that taking an activation back never
    // allocates and backtracking cannot fail.
    const std::size_t edges = pushed_.size() + notified_.size() + 1;
    if (notified_.capacity() < edges) {
      notified_.reserve(std::max(edges, 2 * notified_.capacity()));
    }
    notified_.push_back(id);
    return true;
  }

  /// Lists an edge as active, after all that are; it is notified no more.
  bool push_edge(int id) {
    if (pushed_.capacity() == 0 && notified_.size() == 1 &&
        notified_.front() == id) {
      // The one edge of a node takes its room along.
      pushed_.swap(notified_);
      return true;
    }
    pushed_.push_back(id);
    return retract_edge(id);
  }

  /// Undoes the latest push, whatever edge that was, and lists `id` as
  /// notified. It deliberately does not look: pops undo pushes in reverse
  /// order, and the graph asserts that in debug builds.
  /// Requires: an edge is active.
  bool pop_edge(int id) {
    pushed_.pop_back();
    if (notified_.capacity() == 0 && pushed_.empty()) pushed_.swap(notified_);
    notified_.push_back(id);
    return true;
  }

  /// Takes every entry of `id` out of the notified edges; the rest keep their
  /// order.
  bool retract_edge(int id) {
    if (notified_.size() > kFew) {
      retract_from_many(id);
      return true;
    }
    notified_.erase(std::remove(notified_.begin(), notified_.end(), id),
                    notified_.end());
    return true;
  }

  /// Active edges leaving this node, in activation order.
  const std::vector<int>& pushed() const { return pushed_; }
  /// Edges leaving this node that are registered and not active.
  const std::vector<int>& notified() const { return notified_; }
  /// The edge that last lowered this node's potential; -1 for none.
  int pred_edge() const { return pred_edge_; }
  /// Notes which edge lowered the potential; -1 for none.
  void set_pred_edge(int id) { pred_edge_ = id; }

 private:
  friend struct vorn::Inspector;

  /// Up to so many entries one plain pass is fastest.
  static constexpr std::size_t kFew = 8;

  void retract_from_many(int id);

  std::vector<int> pushed_;
  std::vector<int> notified_;
  int pred_edge_;
};

}  // namespace vorn::dl

#endif  // VORN_DL_NODE_H
