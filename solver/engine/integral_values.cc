// SPDX-License-Identifier: MIT
#include "solver/engine/integral_values.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "vorn/containers/index.h"

// The integers start at the values rounded down, and fall as the rounded paths
// ask. The solution that this ends in is the greatest one below the start, so
// no integer ends above its value; that is why the reals, which fall only as
// integers below them ask, keep what they owe to each other and to integers.

namespace vorn::solver {
namespace {

// The greatest integer that is not above the value.
QNumber round_down(const la::DNumber& value) {
  QNumber result = value.rational().floor();
  if (value.rational().is_integer() && value.eps().sign() < 0) {
    result += QNumber(-1);
  }
  return result;
}

}  // namespace

IntegralValues::IntegralValues(const AtomTable& atoms,
                               const std::vector<int>& active)
    : atoms_(atoms), outgoing_(index(atoms.num_nodes())) {
  for (const int id : active) add_constraint(id);
}

IntegralValues::IntegralValues(const AtomTable& atoms,
                               const std::vector<int>& active,
                               const dl::Edge& extra)
    : IntegralValues(atoms, active) {
  extra_ = extra;
  add_constraint(kExtra);
}

void IntegralValues::add_constraint(int id) {
  const dl::Edge& e = edge(id);
  outgoing_[index(e.source)].push_back(id);
  // The constant 0 belongs to both.
  if (e.source != 0 && e.target != 0 &&
      is_integer(e.source) != is_integer(e.target)) {
    mixed_ = true;
  }
}

bool IntegralValues::is_integer(int node) const {
  return node == 0 || atoms_.term_of(node)->sort == Sort::kInt;
}

bool IntegralValues::find(std::vector<la::DNumber>& values) {
  paths_.clear();
  conflict_.clear();
  for (int node = 0; node < atoms_.num_nodes(); ++node) {
    if (is_integer(node)) add_paths_from(node);
  }
  if (!lower_integers(values)) return false;
  lower_reals(values);
  return true;
}

// The shortest paths that have no integer inside. Over the reals alone there is
// no negative cycle, since the values satisfy all constraints.
void IntegralValues::add_paths_from(int source) {
  struct Reached {
    bool reached = false;
    la::DNumber length;
    int constraint = 0;  // the last one on the path
  };
  std::vector<Reached> reached(outgoing_.size());
  std::vector<int> pending{source};
  std::vector<int> integers;
  while (!pending.empty()) {
    std::vector<int> next;
    for (const int node : pending) {
      for (const int id : outgoing_[index(node)]) {
        const dl::Edge& e = edge(id);
        la::DNumber length = e.weight;
        if (node != source) length += reached[index(node)].length;
        Reached& target = reached[index(e.target)];
        if (target.reached && !(length < target.length)) continue;
        const bool is_first = !target.reached;
        target = {true, length, id};
        if (!is_integer(e.target)) {
          next.push_back(e.target);
        } else if (is_first) {
          integers.push_back(e.target);
        }
      }
    }
    std::sort(next.begin(), next.end());
    next.erase(std::unique(next.begin(), next.end()), next.end());
    pending = std::move(next);
  }
  for (const int target : integers) {
    const la::DNumber& length = reached[index(target)].length;
    RoundedPath path{source, target, round_down(length), length, {}};
    int node = target;
    do {
      path.constraints.push_back(reached[index(node)].constraint);
      node = edge(path.constraints.back()).source;
    } while (node != source);
    paths_.push_back(std::move(path));
  }
}

bool IntegralValues::lower_integers(std::vector<la::DNumber>& values) {
  std::vector<int> parents(outgoing_.size(), -1);  // positions in paths_
  for (int node = 0; node < atoms_.num_nodes(); ++node) {
    if (!is_integer(node)) continue;
    values[index(node)] =
        la::DNumber(round_down(values[index(node)]), QNumber(0));
  }
  bool changed = true;
  while (changed) {
    changed = false;
    for (std::size_t k = 0; k < paths_.size(); ++k) {
      const RoundedPath& path = paths_[k];
      la::DNumber limit = values[index(path.source)];
      limit += la::DNumber(path.length, QNumber(0));
      if (!(limit < values[index(path.target)])) continue;
      values[index(path.target)] = limit;
      parents[index(path.target)] = static_cast<int>(k);
      changed = true;
      if (close_cycle(parents, path.target)) return false;
    }
  }
  return true;
}

// Whether the node has been lowered because of itself: then that can go on for
// ever, and the constraints on the way are a conflict.
bool IntegralValues::close_cycle(const std::vector<int>& parents, int node) {
  conflict_.clear();
  cycle_.clear();
  for (int at = node; parents[index(at)] >= 0;) {
    cycle_.push_back(parents[index(at)]);
    const RoundedPath& path = paths_[index(cycle_.back())];
    conflict_.insert(conflict_.end(), path.constraints.begin(),
                     path.constraints.end());
    at = path.source;
    if (at == node) return true;
  }
  conflict_.clear();
  return false;
}

void IntegralValues::lower_reals(std::vector<la::DNumber>& values) const {
  std::vector<int> pending;
  for (int node = 0; node < atoms_.num_nodes(); ++node) pending.push_back(node);
  while (!pending.empty()) {
    const int node = pending.back();
    pending.pop_back();
    for (const int id : outgoing_[index(node)]) {
      const dl::Edge& e = edge(id);
      la::DNumber limit = values[index(node)];
      limit += e.weight;
      if (!(limit < values[index(e.target)])) continue;
      assert(!is_integer(e.target));
      values[index(e.target)] = limit;
      pending.push_back(e.target);
    }
  }
}

// With more weight in the extra constraint, each path through it grows until
// its length reaches the next integer; the first to do so lengthens the cycle
// by 1. The fewest such steps make the cycle 0.
la::DNumber IntegralValues::least_weight() const {
  QNumber length(0);
  // What each path through the extra constraint lacks to the next integer.
  std::vector<la::DNumber> lacking;
  for (const int k : cycle_) {
    const RoundedPath& path = paths_[index(k)];
    length += path.length;
    if (std::find(path.constraints.begin(), path.constraints.end(), kExtra) ==
        path.constraints.end()) {
      continue;
    }
    QNumber next = path.length;
    next += QNumber(1);
    next -= path.exact_length.rational();
    lacking.emplace_back(next, -path.exact_length.eps());
  }
  assert(!lacking.empty());
  la::DNumber more;
  while (length.sign() < 0) {
    auto first = std::min_element(lacking.begin(), lacking.end());
    more = *first;
    *first += la::DNumber(QNumber(1), QNumber(0));
    length += QNumber(1);
  }
  return extra_->weight + more;
}

}  // namespace vorn::solver
