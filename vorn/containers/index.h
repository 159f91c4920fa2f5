// SPDX-License-Identifier: MIT
#ifndef VORN_CONTAINERS_INDEX_H
#define VORN_CONTAINERS_INDEX_H

#include <cstddef>

namespace vorn {

/// The place of a number in an array: nodes, edges, atoms and levels are ints.
/// Requires: i >= 0.
inline std::size_t index(int i) {
  return static_cast<std::size_t>(i);
}

}  // namespace vorn

#endif  // VORN_CONTAINERS_INDEX_H
