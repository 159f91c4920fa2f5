// SPDX-License-Identifier: MIT
#include "vorn/dl/graph.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "solver/c/guard.h"
#include "vorn/dl/closure.h"

// The graph and, if it is asked for, the closure beside it, with a record of
// what is registered and active, so that each call can tell whether it is
// right.

using vorn::QNumber;
using vorn::c::require;
using vorn::la::DNumber;

struct vorn_graph {
  vorn::c::Guard guard;
  vorn::Configuration::Theory::La settings;
  vorn::dl::Graph graph{&settings, nullptr, nullptr};
  std::unique_ptr<vorn::dl::Closure> closure;
  // By constraint.
  std::vector<char> is_registered;
  std::vector<char> is_active;
  // In the order of activation; the first num_checked are consistent, and the
  // first num_closed known to the closure.
  std::vector<int> trail;
  std::size_t num_checked = 0;
  std::size_t num_closed = 0;
  // The one behind them closed the conflict; nothing can be checked before it
  // is taken back.
  bool in_conflict = false;
  // Memory ran out in the closure, which may know what is not registered.
  bool lost_closure = false;
  std::vector<int> conflict;
  std::vector<int> path;
  std::string value_text;
  std::string eps_text;
};

namespace {

static_assert(sizeof(int) == sizeof(std::int32_t),
              "constraints are handed out as they are");

bool is_registered(const vorn_graph& graph, std::int32_t k) {
  return k > 0 && static_cast<std::size_t>(k) < graph.is_registered.size() &&
         graph.is_registered[static_cast<std::size_t>(k)] != 0;
}

void do_register(vorn_graph& graph, std::int32_t k, std::int32_t source,
                 std::int32_t target, const QNumber& weight, bool strict) {
  // An edge is 2k.
  require(k > 0 && k < std::numeric_limits<std::int32_t>::max() / 2,
          VORN_ERROR_ARGUMENT, "no number of a constraint");
  require(source >= 0 && target >= 0, VORN_ERROR_ARGUMENT,
          "no number of a node");
  require(!is_registered(graph, k), VORN_ERROR_ARGUMENT,
          "the constraint is registered already");
  const auto position = static_cast<std::size_t>(k);
  if (graph.is_registered.size() <= position) {
    const std::size_t size = position + position / 2 + 1;
    graph.is_active.resize(size);
    graph.is_registered.resize(size);
  }
  // What a registration that failed has left.
  if (graph.graph.get_edge(2 * k).source >= 0) graph.graph.retract_edge(k);
  const vorn::dl::Edge edge(source, target,
                            DNumber(weight, QNumber(strict ? -1 : 0)), k);
  graph.graph.tell_edge(k, edge);
  try {
    if (graph.closure) graph.closure->tell_edge(k, edge);
  } catch (...) {
    graph.closure.reset();
    graph.lost_closure = true;
    throw;
  }
  graph.is_registered[position] = 1;
}

DNumber potential_of(vorn_graph& graph, std::int32_t node) {
  require(node >= 0 && graph.graph.var_is_known(node), VORN_ERROR_ARGUMENT,
          "no constraint is about this node");
  const DNumber zero = graph.graph.get_potential(0);
  const DNumber own = graph.graph.get_potential(node);
  return DNumber(-zero.rational(), -zero.eps()) + own;
}

void follow(vorn_graph& graph) {
  if (graph.lost_closure) throw std::bad_alloc();
  require(graph.closure != nullptr, VORN_ERROR_STATE,
          "the graph was made without consequences");
  // What the closure refuses the graph has refused before.
  while (graph.num_closed < graph.num_checked) {
    if (!graph.closure->push_edge(graph.trail[graph.num_closed])) {
      throw vorn::c::Failure{VORN_ERROR_DEFECT, ""};
    }
    ++graph.num_closed;
  }
}

}  // namespace

vorn_graph* vorn_graph_new(int with_consequences) {
  try {
    auto graph = std::make_unique<vorn_graph>();
    if (with_consequences != 0) {
      graph->closure = std::make_unique<vorn::dl::Closure>();
    }
    return graph.release();
  } catch (...) {
    return nullptr;
  }
}

void vorn_graph_free(vorn_graph* graph) {
  delete graph;
}

vorn_error vorn_graph_error(const vorn_graph* graph) {
  return graph == nullptr ? VORN_ERROR_ARGUMENT : graph->guard.error();
}

const char* vorn_graph_error_text(const vorn_graph* graph) {
  return graph == nullptr ? "no graph" : graph->guard.text();
}

vorn_error vorn_graph_register(vorn_graph* graph, int32_t k, int32_t source,
                               int32_t target, int64_t weight, int strict) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    do_register(*graph, k, source, target, QNumber(weight), strict != 0);
  });
}

vorn_error vorn_graph_register_text(vorn_graph* graph, int32_t k,
                                    int32_t source, int32_t target,
                                    const char* weight, int strict) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    do_register(*graph, k, source, target, vorn::c::read_number(weight),
                strict != 0);
  });
}

vorn_error vorn_graph_forget(vorn_graph* graph, int32_t k) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    require(is_registered(*graph, k), VORN_ERROR_ARGUMENT,
            "the constraint is not registered");
    const auto position = static_cast<std::size_t>(k);
    require(graph->is_active[position] == 0, VORN_ERROR_STATE,
            "the constraint is active");
    require(graph->closure == nullptr || graph->num_closed == 0,
            VORN_ERROR_STATE, "a constraint is active");
    graph->graph.retract_edge(k);
    if (graph->closure) graph->closure->retract_edge(k);
    graph->is_registered[position] = 0;
  });
}

vorn_error vorn_graph_activate(vorn_graph* graph, int32_t k) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    require(is_registered(*graph, k), VORN_ERROR_ARGUMENT,
            "the constraint is not registered");
    const auto position = static_cast<std::size_t>(k);
    require(graph->is_active[position] == 0, VORN_ERROR_STATE,
            "the constraint is active already");
    graph->trail.reserve(graph->trail.size() + 1);
    graph->graph.push_edge(k);
    graph->trail.push_back(k);
    graph->is_active[position] = 1;
  });
}

vorn_error vorn_graph_take_back(vorn_graph* graph) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    require(!graph->trail.empty(), VORN_ERROR_STATE, "no constraint is active");
    const int k = graph->trail.back();
    graph->trail.pop_back();
    graph->graph.pop_edge(k);
    graph->is_active[static_cast<std::size_t>(k)] = 0;
    const std::size_t size = graph->trail.size();
    if (graph->num_closed > size) {
      if (graph->closure) graph->closure->pop_edge();
      graph->num_closed = size;
    }
    if (size <= graph->num_checked) {
      graph->num_checked = size;
      graph->in_conflict = false;
    }
  });
}

size_t vorn_graph_num_active(const vorn_graph* graph) {
  return graph == nullptr ? 0 : graph->trail.size();
}

int vorn_graph_check(vorn_graph* graph) {
  if (graph == nullptr) return -1;
  return graph->guard.value(-1, [&] {
    if (graph->in_conflict) return 0;
    if (!graph->graph.check(true)) {
      graph->in_conflict = true;
      graph->graph.get_conflict_set(&graph->conflict);
      const auto closing =
          std::find(graph->trail.begin(), graph->trail.end(),
                    graph->conflict.empty() ? 0 : graph->conflict.front());
      if (closing != graph->trail.end()) {
        graph->num_checked =
            static_cast<std::size_t>(closing - graph->trail.begin());
      }
      return 0;
    }
    graph->num_checked = graph->trail.size();
    return 1;
  });
}

vorn_error vorn_graph_conflict(vorn_graph* graph, size_t* count,
                               const int32_t** constraints) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    require(count != nullptr && constraints != nullptr, VORN_ERROR_ARGUMENT,
            "there is no place for the conflict");
    *count = graph->conflict.size();
    *constraints = graph->conflict.data();
  });
}

vorn_error vorn_graph_potential(vorn_graph* graph, int32_t node, int64_t* value,
                                int64_t* eps) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    const DNumber potential = potential_of(*graph, node);
    const std::int64_t whole = vorn::c::word_of(potential.rational());
    const std::int64_t part = vorn::c::word_of(potential.eps());
    if (value != nullptr) *value = whole;
    if (eps != nullptr) *eps = part;
  });
}

vorn_error vorn_graph_potential_text(vorn_graph* graph, int32_t node,
                                     const char** value, const char** eps) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    const DNumber potential = potential_of(*graph, node);
    graph->value_text = potential.rational().to_str();
    graph->eps_text = potential.eps().to_str();
    if (value != nullptr) *value = graph->value_text.c_str();
    if (eps != nullptr) *eps = graph->eps_text.c_str();
  });
}

int32_t vorn_graph_next_consequence(vorn_graph* graph) {
  if (graph == nullptr) return -1;
  return graph->guard.value(std::int32_t{-1}, [&]() -> std::int32_t {
    follow(*graph);
    int k = 0;
    return graph->closure->next_consequence(&k) ? k : 0;
  });
}

vorn_error vorn_graph_why(vorn_graph* graph, int32_t k, size_t* count,
                          const int32_t** constraints) {
  if (graph == nullptr) return VORN_ERROR_ARGUMENT;
  return graph->guard.run([&] {
    require(count != nullptr && constraints != nullptr, VORN_ERROR_ARGUMENT,
            "there is no place for the constraints");
    require(is_registered(*graph, k), VORN_ERROR_ARGUMENT,
            "the constraint is not registered");
    follow(*graph);
    require(graph->closure->is_known(k), VORN_ERROR_STATE,
            "the constraint does not follow");
    graph->path.clear();
    graph->closure->get_path(k, &graph->path);
    *count = graph->path.size();
    *constraints = graph->path.data();
  });
}
