// SPDX-License-Identifier: MIT
#include "vorn/dl/node.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace vorn::dl {
namespace {

// The first position of `id` that is not before `from`; the size for none.
std::size_t find_from(const std::vector<int>& ids, std::size_t from, int id) {
  // Whole strides without a way out in between, which compilers turn into
  // comparisons of vectors.
  constexpr std::size_t kStride = 16;
  const int* const data = ids.data();
  for (; ids.size() - from >= kStride; from += kStride) {
    bool found = false;
    for (std::size_t k = 0; k < kStride; ++k) found |= data[from + k] == id;
    if (found) break;
  }
  while (from < ids.size() && data[from] != id) ++from;
  return from;
}

}  // namespace

void Node::retract_from_many(int id) {
  const std::size_t first = find_from(notified_, 0, id);
  if (first == notified_.size()) return;
  const auto place = notified_.begin() + static_cast<std::ptrdiff_t>(first);
  if (find_from(notified_, first + 1, id) == notified_.size()) {
    // Listed once, as edges are unless they were told anew: what follows moves
    // in one piece.
    notified_.erase(place);
    return;
  }
  notified_.erase(std::remove(place, notified_.end(), id), notified_.end());
}

}  // namespace vorn::dl
