// SPDX-License-Identifier: MIT
#ifndef VORN_DL_EDGE_H
#define VORN_DL_EDGE_H

#include <ostream>
#include <string>

#include "vorn/export.h"
#include "vorn/numbers/d_number.h"

namespace vorn::dl {

/// One difference constraint as a weighted edge: target - source <= weight.
///
/// A plain value. Copies share the weight's block. The weight of a default edge
/// is a zero in a block of its own, so making one allocates.
struct VORN_EXPORT Edge {
  Edge() : source(-1), target(-1), weight(0, 0), id(-1) {}
  /// The constraint to - from <= bound.
  Edge(int from, int to, const la::DNumber& bound, int edge_id)
      : source(from), target(to), weight(bound), id(edge_id) {}
  Edge(const Edge&) = default;
  Edge(Edge&&) noexcept = default;
  Edge& operator=(const Edge&) = default;
  Edge& operator=(Edge&&) noexcept = default;
  virtual ~Edge() = default;

  /// The text of `<<`.
  std::string to_str() const;

  /// The node the edge leaves; -1 in a default edge.
  int source;
  /// The node the edge enters; -1 in a default edge.
  int target;
  /// The most by which the target may exceed the source.
  la::DNumber weight;
  /// The caller's own id for the edge, which the graph keeps and prints but
  /// does not use; -1 in a default edge.
  int id;
};

/// "x3 -[-1/2 - eps]-> x5 [id: 7]". Of the eps part only the sign shows.
VORN_EXPORT std::ostream& operator<<(std::ostream& out, const Edge& e);

}  // namespace vorn::dl

#endif  // VORN_DL_EDGE_H
