// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_RECORDED_GRAPH_H
#define VORN_SOLVER_ENGINE_RECORDED_GRAPH_H

#include <vector>

#include "solver/engine/graph_recorder.h"
#include "vorn/dl/graph.h"

namespace vorn::solver {

/// A constraint graph and what notes the calls that change it, each before it
/// is made. Without a recorder a call costs one test more than the graph's own.
///
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
  /// The graph, for what changes nothing.
  const dl::Graph& graph() const { return graph_; }

  /// Where the graph logs; null for nowhere.
  void set_logger(Logger* logger) { graph_.set_logger(logger); }
  /// Registers a constraint.
  void tell_edge(int k, const dl::Edge& edge) {
    if (recorder_ != nullptr) recorder_->tell(k, edge);
    graph_.tell_edge(k, edge);
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
  }
  /// The constraints of the last negative cycle.
  void get_conflict_set(std::vector<int>* out) { graph_.get_conflict_set(out); }

 private:
  dl::Graph graph_;
  GraphRecorder* recorder_ = nullptr;  // borrowed
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_RECORDED_GRAPH_H
