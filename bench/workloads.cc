// SPDX-License-Identifier: MIT
#include "bench/workloads.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include "bench/graphs.h"

namespace vorn::bench {
namespace {

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

void activate(std::vector<Call>& calls, int k) {
  calls.push_back(Call::push(k));
  calls.push_back(Call::check());
}

std::vector<int> random_potentials(Random& random, int nodes, int range) {
  std::vector<int> potentials(at(nodes));
  for (int& p : potentials) p = -1 - random.below(range);
  return potentials;
}

/// Two different nodes.
std::pair<int, int> random_ends(Random& random, int nodes) {
  const int source = random.below(nodes);
  const int target = (source + 1 + random.below(nodes - 1)) % nodes;
  return {source, target};
}

/// A weight that the potentials, in units of 1/60 for fractions, satisfy.
TraceWeight feasible_weight(Random& random, const std::vector<int>& potentials,
                            int source, int target, Weights weights) {
  const int gap = potentials[at(target)] - potentials[at(source)];
  TraceWeight weight;
  switch (weights) {
    case Weights::kIntegers:
      weight.num = gap + random.below(20);
      break;
    case Weights::kStrict:
      // The hidden solution is potential - node * eps.
      weight.num = gap + random.below(20);
      weight.eps = -random.below(2);
      if (weight.num == gap && target < source) weight.eps = 0;
      break;
    case Weights::kFractions: {
      weight.den = 1 + random.below(6);
      const int scaled = gap * weight.den;
      // Rounded up to a multiple of 1/den.
      weight.num = scaled >= 0 ? (scaled + 59) / 60 : -(-scaled / 60);
      weight.num += random.below(3);
      break;
    }
    case Weights::kPast64Bits:
      weight.num = gap + random.below(20);
      weight.shift = 70;
      break;
  }
  return weight;
}

}  // namespace

std::vector<int> Random::permutation(int n) {
  std::vector<int> result(at(n));
  std::iota(result.begin(), result.end(), 1);
  std::shuffle(result.begin(), result.end(), engine_);
  return result;
}

Trace satisfied_edges(int nodes, int edges, bool shuffled) {
  Random random(101);
  Trace trace;
  trace.repeatable = true;
  const std::vector<int> potentials = random_potentials(random, nodes, 1000);
  for (int k = 0; k < edges; ++k) {
    const auto [source, target] = random_ends(random, nodes);
    trace.add(source, target,
              feasible_weight(random, potentials, source, target,
                              Weights::kIntegers));
  }
  // A tree that takes every node but the root straight to its potential, which
  // is below the root's 0 and fits it.
  for (int n = 1; n < nodes; ++n) {
    const int parent = (n - 1) / 2;
    const int above = parent == 0 ? 0 : potentials[at(parent)];
    TraceWeight weight;
    weight.num = potentials[at(n)] - above;
    activate(trace.prepare, trace.add(parent, n, weight));
  }
  // The root itself, from the deepest node.
  TraceWeight weight;
  weight.num = potentials[0] - potentials[at(nodes - 1)];
  activate(trace.prepare, trace.add(nodes - 1, 0, weight));
  std::vector<Call> undo;
  for (const Call call : trace.prepare) {
    if (call.kind() == Call::Kind::kPush) {
      undo.push_back(Call::pop(call.constraint()));
    }
  }
  trace.prepare.insert(trace.prepare.end(), undo.rbegin(), undo.rend());

  std::vector<int> order(at(edges));
  std::iota(order.begin(), order.end(), 1);
  if (shuffled) order = random.permutation(edges);
  for (const int k : order) activate(trace.measured, k);
  for (auto k = order.rbegin(); k != order.rend(); ++k) {
    trace.measured.push_back(Call::pop(*k));
  }
  return trace;
}

Trace feasible_edges(int nodes, int edges, Weights weights) {
  Random random(102);
  Trace trace;
  if (weights == Weights::kFractions) trace.scale = 60;
  const std::vector<int> potentials = random_potentials(random, nodes, 1000);
  for (int k = 0; k < edges; ++k) {
    const auto [source, target] = random_ends(random, nodes);
    trace.add(source, target,
              feasible_weight(random, potentials, source, target, weights));
  }
  for (const int k : random.permutation(edges)) activate(trace.measured, k);
  return trace;
}

Trace relaxing_edges(int nodes, int edges, int relaxing) {
  Trace trace = feasible_edges(nodes, edges, Weights::kIntegers);
  trace.prepare.swap(trace.measured);
  Random random(103);
  FloorGraph floor(trace);
  make_calls(floor, trace.prepare);
  for (int made = 0; made < relaxing;) {
    const auto [source, target] = random_ends(random, nodes);
    TraceWeight weight;
    weight.num =
        floor.potential(target).rational - floor.potential(source).rational - 1;
    const TraceEdge edge{source, target, weight};
    const int k = static_cast<int>(trace.edges.size()) + 1;
    floor.tell(edge, RawPair::from(weight, 1));
    floor.push(k);
    trace.add(source, target, weight);
    if (floor.check() != 0) {
      floor.pop(k);
      continue;
    }
    activate(trace.measured, k);
    ++made;
  }
  return trace;
}

Trace search_shape(int nodes, int edges, int pushes, int per_check) {
  Random random(104);
  Trace trace;
  const std::vector<int> potentials = random_potentials(random, nodes, 1000);
  for (int k = 0; k < edges; ++k) {
    const auto [source, target] = random_ends(random, nodes);
    TraceWeight weight =
        feasible_weight(random, potentials, source, target, Weights::kIntegers);
    // What the hidden solution does not satisfy: the source of conflicts.
    if (random.below(10) == 0) weight.num -= 200 + random.below(200);
    trace.add(source, target, weight);
  }
  FloorGraph floor(trace);
  std::vector<int> stack;
  std::vector<char> is_active(at(edges) + 1, 0);
  int unchecked = 0;
  for (int made = 0; made < pushes;) {
    const int k = 1 + random.below(edges);
    if (is_active[at(k)] == 0) {
      is_active[at(k)] = 1;
      stack.push_back(k);
      floor.push(k);
      trace.measured.push_back(Call::push(k));
      ++made;
      ++unchecked;
    }
    const bool is_full = 4 * stack.size() > 3 * at(edges);
    if (unchecked < per_check && !is_full) continue;
    trace.measured.push_back(Call::check());
    const bool consistent = floor.check() == 0;
    if (consistent && !is_full) {
      unchecked = 0;
      continue;
    }
    const auto depth = static_cast<int>(stack.size());
    const bool far = is_full || random.below(50) == 0;
    int kept = depth - unchecked - random.below(40);
    if (far) kept = depth / 10 + random.below(depth / 2 + 1);
    unchecked = 0;
    while (static_cast<int>(stack.size()) > std::max(kept, 0)) {
      const int last = stack.back();
      stack.pop_back();
      is_active[at(last)] = 0;
      floor.pop(last);
      trace.measured.push_back(Call::pop(last));
    }
  }
  return trace;
}

Trace sparse_search(int nodes, int pushes) {
  Random random(108);
  Trace trace;
  trace.repeatable = true;
  const std::vector<int> potentials = random_potentials(random, nodes, 1000);
  const int edges = 6 * nodes;
  for (int k = 0; k < edges; ++k) {
    const auto [source, target] = random_ends(random, nodes);
    TraceWeight weight;
    weight.num = potentials[at(target)] - potentials[at(source)];
    weight.num += random.below(60);
    // What the hidden solution may not satisfy, so that it is never settled.
    if (random.below(10) == 0) weight.num -= random.below(60);
    trace.add(source, target, weight);
  }
  FloorGraph floor(trace);
  std::vector<int> stack;
  std::vector<char> is_active(at(edges) + 1, 0);
  // Activates one more edge; what would conflict is not part of the trace.
  const auto push = [&](std::vector<Call>& calls) {
    for (;;) {
      const int k = 1 + random.below(edges);
      if (is_active[at(k)] != 0) continue;
      floor.push(k);
      if (floor.check() != 0) {
        floor.pop(k);
        continue;
      }
      activate(calls, k);
      is_active[at(k)] = 1;
      stack.push_back(k);
      return;
    }
  };
  const auto back_to = [&](int depth) {
    for (; stack.size() > at(depth); stack.pop_back()) {
      is_active[at(stack.back())] = 0;
      floor.pop(stack.back());
      trace.measured.push_back(Call::pop(stack.back()));
    }
  };
  const int top = 3 * nodes;
  const int base = top - 100;
  while (stack.size() < at(base)) push(trace.prepare);
  for (int made = 0; made < pushes; ++made) {
    if (stack.size() == at(top)) {
      back_to(random.below(10) == 0 ? base : top - 1 - random.below(40));
    }
    push(trace.measured);
  }
  back_to(base);
  return trace;
}

Trace chain(int length, bool from_the_end) {
  Trace trace;
  TraceWeight weight;
  weight.num = -1;
  for (int n = 0; n < length; ++n) trace.add(n, n + 1, weight);
  for (int n = 0; n < length; ++n) {
    activate(trace.measured, from_the_end ? length - n : n + 1);
  }
  return trace;
}

Trace star(int edges) {
  Random random(105);
  Trace trace;
  for (int n = 1; n <= edges; ++n) {
    TraceWeight weight;
    weight.num = -1 - random.below(1000);
    trace.add(0, n, weight);
    activate(trace.measured, n);
  }
  for (int n = edges; n >= 1; --n) trace.measured.push_back(Call::pop(n));
  return trace;
}

Trace grid(int side) {
  Random random(106);
  Trace trace;
  const std::vector<int> potentials =
      random_potentials(random, side * side, 1000);
  const auto connect = [&](int a, int b) {
    trace.add(a, b,
              feasible_weight(random, potentials, a, b, Weights::kIntegers));
    trace.add(b, a,
              feasible_weight(random, potentials, b, a, Weights::kIntegers));
  };
  for (int row = 0; row < side; ++row) {
    for (int column = 0; column < side; ++column) {
      const int node = row * side + column;
      if (column + 1 < side) connect(node, node + 1);
      if (row + 1 < side) connect(node, node + side);
    }
  }
  const auto edges = static_cast<int>(trace.edges.size());
  for (const int k : random.permutation(edges)) activate(trace.measured, k);
  return trace;
}

Trace one_edge_per_node(int nodes) {
  Random random(107);
  Trace trace;
  const std::vector<int> potentials = random_potentials(random, nodes, 1000);
  for (const int n : random.permutation(nodes)) {
    const int source = n - 1;
    const int target = (source + 1 + random.below(nodes - 1)) % nodes;
    trace.add(source, target,
              feasible_weight(random, potentials, source, target,
                              Weights::kIntegers));
  }
  for (const int k : random.permutation(nodes)) activate(trace.measured, k);
  return trace;
}

Trace long_cycle(int length) {
  Trace trace;
  trace.repeatable = true;
  for (int n = 0; n + 1 < length; ++n) {
    activate(trace.prepare, trace.add(n, n + 1, TraceWeight()));
  }
  TraceWeight weight;
  weight.num = -1;
  const int closing = trace.add(length - 1, 0, weight);
  activate(trace.measured, closing);
  trace.measured.push_back(Call::pop(closing));
  return trace;
}

Trace overlapping_cycles(int length, int rounds) {
  Trace trace;
  trace.repeatable = true;
  // Ten edges at a time: eight in common, then two for each of the cycles.
  std::vector<int> own[2];
  int node = 0;
  for (int done = 0; done + 1 < length; done += 10) {
    for (int n = 0; n < 8; ++n, ++node) {
      activate(trace.prepare, trace.add(node, node + 1, TraceWeight()));
    }
    for (int cycle = 0; cycle < 2; ++cycle) {
      const int middle = node + 1 + cycle;
      own[cycle].push_back(trace.add(node, middle, TraceWeight()));
      own[cycle].push_back(trace.add(middle, node + 3, TraceWeight()));
    }
    node += 3;
  }
  TraceWeight weight;
  weight.num = -1;
  const int closing = trace.add(node, 0, weight);
  for (int round = 0; round < rounds; ++round) {
    for (const std::vector<int>& pieces : own) {
      for (const int k : pieces) trace.measured.push_back(Call::push(k));
      activate(trace.measured, closing);
      trace.measured.push_back(Call::pop(closing));
      for (auto k = pieces.rbegin(); k != pieces.rend(); ++k) {
        trace.measured.push_back(Call::pop(*k));
      }
    }
  }
  return trace;
}

}  // namespace vorn::bench
