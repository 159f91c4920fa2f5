// SPDX-License-Identifier: MIT
#include "bench/scratch_graph.h"

#include <algorithm>
#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/bellman_ford_shortest_paths.hpp>
#include <vector>

#include "bench/weights.h"

namespace vorn::bench {

using BoostGraph =
    boost::adjacency_list<boost::vecS, boost::vecS, boost::directedS,
                          boost::no_property,
                          boost::property<boost::edge_weight_t, long>>;

struct ScratchGraph::Parts {
  const Trace& trace;
  BoostGraph graph;
  std::vector<long> distances;
};

ScratchGraph::ScratchGraph(const Trace& trace) {
  const auto nodes = static_cast<std::size_t>(trace.num_nodes);
  parts_.reset(new Parts{trace, BoostGraph(nodes), std::vector<long>(nodes)});
}

ScratchGraph::~ScratchGraph() = default;

void ScratchGraph::push(int k) {
  const TraceEdge& edge = parts_->trace.edges[static_cast<std::size_t>(k) - 1];
  boost::add_edge(static_cast<std::size_t>(edge.source),
                  static_cast<std::size_t>(edge.target), edge.weight.num,
                  parts_->graph);
}

void ScratchGraph::pop(int /*k*/) {
  fail("the from-scratch graph cannot pop");
}

std::size_t ScratchGraph::check() {
  std::fill(parts_->distances.begin(), parts_->distances.end(), 0L);
  const bool consistent = boost::bellman_ford_shortest_paths(
      parts_->graph, boost::num_vertices(parts_->graph),
      boost::weight_map(boost::get(boost::edge_weight, parts_->graph))
          .distance_map(parts_->distances.data()));
  return consistent ? 0 : 1;
}

}  // namespace vorn::bench
