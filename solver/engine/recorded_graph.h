// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_RECORDED_GRAPH_H
#define VORN_SOLVER_ENGINE_RECORDED_GRAPH_H

#include <vector>

#include "solver/engine/graph_recorder.h"
#include "vorn/containers/index.h"
#include "vorn/dl/edge.h"
#include "vorn/dl/graph.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {

/// A constraint graph, what notes the calls that change it, each before it is
/// made, and where nodes begin. Without a recorder a call costs one test more
/// than the graph's own.
///
/// A node that no constraint mentions can be put anywhere: its potential is the
/// graph's and a number besides, its lift, and constraints are told to the
/// graph with weights to match. So what is to lie above others starts there,
/// where the graph would lower all those others. While somebody records or logs
/// what the graph does, nodes stay where they are, so that weights are seen as
/// they are.
///
/// Memory: with lifts, 16 bytes a node up to the last that has one.
/// Ownership: borrows the recorder, and what the graph borrows. Threads: none.
class RecordedGraph {
 public:
  /// As dl::Graph's.
  RecordedGraph(Configuration::Theory::La* config, la::LinearTermMapper* mapper,
                TermManager* manager)
      : graph_(config, mapper, manager) {}

  /// Null for none. Requires: the graph is empty.
  void set_recorder(GraphRecorder* recorder) {
    recorder_ = recorder;
    if (recorder_ != nullptr) recorder_->new_graph();
  }
  /// The graph, for what changes nothing. Its potentials and weights are
  /// without lifts.
  const dl::Graph& graph() const { return graph_; }

  /// Where the graph logs; null for nowhere.
  void set_logger(Logger* logger) {
    graph_.set_logger(logger);
    is_logged_ = logger != nullptr;
  }
  /// Registers a constraint.
  void tell_edge(int k, const dl::Edge& edge) {
    if (recorder_ != nullptr) recorder_->tell(k, edge);
    if (lifts_.empty()) {
      graph_.tell_edge(k, edge);
    } else {
      graph_.tell_edge(k, {edge.source, edge.target,
                           moved(edge.weight, edge.source, edge.target), k});
    }
  }
  /// A constraint that is registered, as it was told.
  dl::Edge edge(int k) const {
    dl::Edge edge = graph_.get_edge(2 * k);
    // The other way round.
    edge.weight = moved(edge.weight, edge.target, edge.source);
    return edge;
  }
  /// Makes it pending.
  void push_edge(int k) {
    if (recorder_ != nullptr) recorder_->push(k);
    graph_.push_edge(k);
  }
  /// Whether what was pushed is consistent.
  bool check() {
    if (recorder_ != nullptr) recorder_->check();
    return graph_.check(true);
  }
  /// Takes the latest push back.
  void pop_edge(int k) {
    if (recorder_ != nullptr) recorder_->pop(k);
    graph_.pop_edge(k);
  }
  /// Forgets a constraint.
  void retract_edge(int k) {
    if (recorder_ != nullptr) recorder_->retract(k);
    graph_.retract_edge(k);
  }
  /// Forgets all constraints, nodes and potentials.
  void reset() {
    if (recorder_ != nullptr) recorder_->reset();
    graph_.reset(true);
    lifts_.clear();
  }
  /// The constraints of the last negative cycle.
  void get_conflict_set(std::vector<int>* out) { graph_.get_conflict_set(out); }

  /// The potential of a node, with its lift.
  la::DNumber potential(int node) const {
    la::DNumber result = graph_.get_potential(node);
    if (index(node) < lifts_.size()) result += lifts_[index(node)];
    return result;
  }
  /// Whether nodes may be put anywhere.
  bool places_nodes() const { return recorder_ == nullptr && !is_logged_; }
  /// Gives a node a potential. Requires: places_nodes(); no constraint that is
  /// registered mentions the node, and it is not node 0.
  void place(int node, const la::DNumber& potential) {
    if (lifts_.size() <= index(node)) lifts_.resize(index(node) + 1);
    lifts_[index(node)] = difference(potential, graph_.get_potential(node));
  }
  /// a - b.
  static la::DNumber difference(const la::DNumber& a, const la::DNumber& b) {
    QNumber rational = a.rational();
    rational -= b.rational();
    QNumber eps = a.eps();
    eps -= b.eps();
    return {rational, eps};
  }

 private:
  // A weight plus the lift of one node and less that of another.
  la::DNumber moved(const la::DNumber& weight, int up, int down) const {
    la::DNumber result = weight;
    if (index(up) < lifts_.size()) result += lifts_[index(up)];
    if (index(down) < lifts_.size()) {
      result = difference(result, lifts_[index(down)]);
    }
    return result;
  }

  dl::Graph graph_;
  GraphRecorder* recorder_ = nullptr;  // borrowed
  bool is_logged_ = false;
  /// For the first nodes; those behind them have none.
  std::vector<la::DNumber> lifts_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_RECORDED_GRAPH_H
