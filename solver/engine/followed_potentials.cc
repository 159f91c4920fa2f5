// SPDX-License-Identifier: MIT
#include "solver/engine/followed_potentials.h"

#include <algorithm>
#include <cassert>
#include <utility>

// A check lowers the target of a new constraint, then what constraints say that
// leave a node that was lowered. So each node that has changed is reached from
// the target of a new one over nodes that have, and the walk below need not
// look further than one constraint behind them: no more of them than the check
// had to try.

namespace vorn::solver {
namespace {

bool is_same(const la::DNumber& a, const la::DNumber& b) {
  return a.rational() == b.rational() && a.eps() == b.eps();
}

}  // namespace

void FollowedPotentials::start(int num_nodes) {
  stop();
  for (int node = 0; node < num_nodes; ++node) add_node();
}

void FollowedPotentials::stop() {
  nodes_.clear();
  links_.clear();
  potentials_.clear();
  changed_.clear();
  changes_.clear();
}

void FollowedPotentials::add_node() {
  const auto node = static_cast<int>(nodes_.size());
  nodes_.emplace_back();
  potentials_.push_back(graph_.potential(node));
  note(node, Change::kAny);
}

void FollowedPotentials::remove_node() {
  assert(nodes_.size() > 1 && is_alone(static_cast<int>(nodes_.size()) - 1));
  nodes_.pop_back();
  potentials_.pop_back();
}

void FollowedPotentials::tell(int source, int target, int graph_id) {
  if (links_.empty()) links_.push_back({0, 0, 0, 0, 0});
  const auto id = static_cast<int>(links_.size());
  int& first_out = nodes_[index(source)].first_out;
  int& first_in = nodes_[index(target)].first_in;
  links_.push_back({source, target, first_out, first_in, graph_id});
  first_out = id;
  first_in = id;
}

void FollowedPotentials::take_back() {
  const Links& last = links_.back();
  nodes_[index(last.source)].first_out = last.next_out;
  nodes_[index(last.target)].first_in = last.next_in;
  links_.pop_back();
}

void FollowedPotentials::place(int node, const la::DNumber& potential) {
  assert(node > 0 && is_alone(node));
  if (is_same(potentials_[index(node)], potential)) return;
  graph_.place(node, potential);
  potentials_[index(node)] = potential;
  note(node, Change::kAny);
}

void FollowedPotentials::follow(int first) {
  for (std::size_t id = index(first); id < links_.size(); ++id) {
    ++num_steps_;
    if (!update(links_[id].target)) continue;
    pending_.assign(1, links_[id].target);
    while (!pending_.empty()) {
      const int node = pending_.back();
      pending_.pop_back();
      for (int out = nodes_[index(node)].first_out; out != 0;
           out = links_[index(out)].next_out) {
        ++num_steps_;
        const int target = links_[index(out)].target;
        if (update(target)) pending_.push_back(target);
      }
    }
  }
}

// Takes over the graph's potential; whether it is another one.
bool FollowedPotentials::update(int node) {
  la::DNumber now = graph_.potential(node);
  la::DNumber& known = potentials_[index(node)];
  if (is_same(known, now)) return false;
  const bool is_down = now < known && now.eps() <= known.eps();
  known = std::move(now);
  note(node, is_down ? Change::kDown : Change::kAny);
  return true;
}

void FollowedPotentials::note(int node, Change change) {
  if (changes_.size() <= index(node)) {
    changes_.resize(index(node) + 1, Change::kNone);
  }
  Change& known = changes_[index(node)];
  if (known == Change::kNone) changed_.push_back(node);
  known = std::max(known, change);
}

void FollowedPotentials::forget_changed() {
  for (const int node : changed_) changes_[index(node)] = Change::kNone;
  changed_.clear();
}

}  // namespace vorn::solver
