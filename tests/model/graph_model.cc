// SPDX-License-Identifier: MIT
#include "tests/model/graph_model.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <queue>

// Edges, nodes, potentials and the consistency check. Each active edge from s
// to t with weight w keeps beta[t] <= beta[s] + w. Adding an edge relaxes
// potentials from it in first-in first-out order; lowering the new edge's own
// source closes a negative cycle, which is read off the predecessor edges.
//
// The comparison of two successive cycles is in graph_model_lemmas.cc.

namespace vorn::model {

namespace {

void erase_all(std::vector<int>& list, int value) {
  list.erase(std::remove(list.begin(), list.end(), value), list.end());
}

bool contains(const std::vector<int>& list, int value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

std::string average_text(std::size_t numerator, std::size_t denominator) {
  const float quotient =
      static_cast<float>(numerator) / static_cast<float>(denominator);
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.2f", static_cast<double>(quotient));
  return buffer;
}

}  // namespace

Weight operator+(const Weight& a, const Weight& b) {
  return Weight{a.rational + b.rational, a.eps + b.eps};
}

bool operator<(const Weight& a, const Weight& b) {
  if (a.rational != b.rational) {
    return a.rational < b.rational;
  }
  return a.eps < b.eps;
}

std::string weight_text(const Weight& weight) {
  std::string text = weight.rational.get_str();
  const int sign = sgn(weight.eps);
  if (sign == 0) {
    return text;
  }
  text += sign < 0 ? " - " : " + ";
  const mpq_class size = abs(weight.eps);
  if (size != 1) {
    text += size.get_str() + "*";
  }
  return text + "eps";
}

std::string edge_text(const EdgeRecord& edge) {
  std::string text = "x" + std::to_string(edge.source) + " -[";
  text += edge.weight.rational.get_str();
  if (edge.weight.eps < 0) {
    text += " - eps";
  } else if (edge.weight.eps > 0) {
    text += " + eps";
  }
  return text + "]-> x" + std::to_string(edge.target) +
         " [id: " + std::to_string(edge.id) + "]";
}

bool GraphModel::tell_edge(int constraint, const EdgeRecord& edge) {
  do_tell_edge(2 * constraint, edge);
  return true;
}

bool GraphModel::tell_bi_edge(int constraint, const EdgeRecord& first,
                              const EdgeRecord& second) {
  do_tell_edge(2 * constraint, first);
  do_tell_edge(2 * constraint + 1, second);
  return true;
}

void GraphModel::do_tell_edge(int id, const EdgeRecord& edge) {
  for (int node : {edge.source, edge.target}) {
    if (nodes_.count(node) == 0) {
      cur_beta_[node] = Weight();
      saved_beta_[node] = Weight();
      nodes_[node] = Node();
    }
  }
  edges_[id] = edge;
  nodes_[edge.source].notified.push_back(id);
}

bool GraphModel::push_edge(int constraint) {
  assert(edge_is_registered(2 * constraint));
  pending_.push_back(2 * constraint);
  if (edge_is_registered(2 * constraint + 1)) {
    pending_.push_back(2 * constraint + 1);
  }
  return true;
}

bool GraphModel::check() {
  while (!pending_.empty()) {
    if (!do_check_edge(pending_.front())) {
      return false;
    }
    pending_.erase(pending_.begin());
  }
  return true;
}

bool GraphModel::do_check_edge(int id) {
  const int source = get_edge(id).source;
  std::queue<int> queue;
  queue.push(id);
  std::vector<int> lowered;
  while (!queue.empty()) {
    const int cur = queue.front();
    queue.pop();
    const EdgeRecord edge = get_edge(cur);
    const Weight candidate = cur_beta_[edge.source] + edge.weight;
    if (!(candidate < cur_beta_[edge.target])) {
      continue;
    }
    cur_beta_[edge.target] = candidate;
    lowered.push_back(edge.target);
    nodes_[edge.target].pred_edge = cur;
    if (edge.target == source) {
      for (int node : lowered) {
        cur_beta_[node] = saved_beta_[node];
      }
      prev_conflict_ = cur_conflict_;
      cur_conflict_ = {cur};
      int node = edge.source;
      while (node != source) {
        const int pred = nodes_[node].pred_edge;
        assert(edge_is_registered(pred));
        if (!contains(cur_conflict_, pred)) {
          cur_conflict_.push_back(pred);
        }
        node = get_edge(pred).source;
      }
      std::reverse(cur_conflict_.begin(), cur_conflict_.end());
      ++num_conflicts_;
      do_search_lemmas();
      return false;
    }
    for (int next : nodes_[edge.target].pushed) {
      queue.push(next);
    }
  }
  for (int node : lowered) {
    saved_beta_[node] = cur_beta_[node];
  }
  nodes_[source].pushed.push_back(id);
  erase_all(nodes_[source].notified, id);
  return true;
}

bool GraphModel::pop_edge(int constraint) {
  if (edge_is_registered(2 * constraint + 1)) {
    do_pop_edge(2 * constraint + 1);
  }
  do_pop_edge(2 * constraint);
  return true;
}

void GraphModel::do_pop_edge(int id) {
  assert(edge_is_registered(id));
  if (contains(pending_, id)) {
    erase_all(pending_, id);
    return;
  }
  const EdgeRecord edge = get_edge(id);
  Node& source = nodes_[edge.source];
  assert(!source.pushed.empty());
  source.pushed.pop_back();
  source.notified.push_back(id);
  if (nodes_[edge.target].pred_edge == id) {
    nodes_[edge.target].pred_edge = -1;
  }
}

bool GraphModel::retract_edge(int constraint) {
  do_retract_edge(2 * constraint);
  if (edge_is_registered(2 * constraint + 1)) {
    do_retract_edge(2 * constraint + 1);
  }
  return true;
}

void GraphModel::do_retract_edge(int id) {
  assert(edge_is_registered(id));
  const EdgeRecord edge = get_edge(id);
  erase_all(nodes_[edge.source].notified, id);
  if (nodes_[edge.target].pred_edge == id) {
    nodes_[edge.target].pred_edge = -1;
  }
  edges_.erase(id);
}

void GraphModel::reset(bool full) {
  pending_.clear();
  edges_.clear();
  nodes_.clear();
  cur_conflict_.clear();
  if (full) {
    cur_beta_.clear();
    saved_beta_.clear();
  }
  learnt_.clear();
}

bool GraphModel::next_check_would_not_end() const {
  // A walk needs a conflict before the one that the check may find.
  if (settings_.tlemma_kinds == 0 || pending_.empty() ||
      cur_conflict_.empty()) {
    return false;
  }
  GraphModel copy = *this;
  copy.check();
  return copy.walk_did_not_end_;
}

std::vector<int> GraphModel::get_conflict_set() const {
  std::vector<int> constraints;
  for (int id : cur_conflict_) {
    constraints.push_back(id / 2);
  }
  return constraints;
}

bool GraphModel::has_negative_cycle(Potential& potential) const {
  for (const auto& [number, node] : nodes_) {
    for (int id : node.pushed) {
      const EdgeRecord edge = get_edge(id);
      const Weight reached = potential[edge.source] + edge.weight;
      if (reached < potential[edge.target]) {
        return true;
      }
    }
  }
  return false;
}

Lemma GraphModel::get_next_lemma() {
  assert(has_lemmas());
  Lemma lemma = lemmas_.front();
  lemmas_.pop_front();
  return lemma;
}

bool GraphModel::var_is_known(int node) const {
  return cur_beta_.count(node) != 0 && saved_beta_.count(node) != 0 &&
         nodes_.count(node) != 0;
}

EdgeRecord GraphModel::get_edge(int id) const {
  const auto found = edges_.find(id);
  return found == edges_.end() ? EdgeRecord() : found->second;
}

std::vector<int> GraphModel::registered_edges() const {
  std::vector<int> ids;
  for (const auto& entry : edges_) {
    ids.push_back(entry.first);
  }
  return ids;
}

std::string GraphModel::dump_debug_status() const {
  std::string text = "DL - Saved Beta:\n";
  for (const auto& [index, beta] : saved_beta_) {
    text += "saved_beta_[" + std::to_string(index) + "]: " + weight_text(beta) +
            "\n";
  }
  text += "DL - Current Beta:\n";
  for (const auto& [index, beta] : cur_beta_) {
    text +=
        "cur_beta_[" + std::to_string(index) + "]: " + weight_text(beta) + "\n";
  }
  text += "DL - Graph:\n";
  for (const auto& entry : cur_beta_) {
    const auto found = nodes_.find(entry.first);
    const Node node = found == nodes_.end() ? Node() : found->second;
    text += "nodes_[" + std::to_string(entry.first) + "] - pushed: { ";
    for (int id : node.pushed) {
      text += edge_text(get_edge(id)) + ", ";
    }
    text += "}, notified: { ";
    for (int id : node.notified) {
      text += edge_text(get_edge(id)) + ", ";
    }
    text += "}\n";
  }
  return text;
}

std::string GraphModel::dump_edge_list(const std::vector<int>& ids,
                                       bool full) const {
  if (ids.empty()) {
    return "{ }";
  }
  std::string text = "{ ";
  for (std::size_t k = 0; k < ids.size(); ++k) {
    if (k != 0) {
      text += ", ";
    }
    text += full ? edge_text(get_edge(ids[k])) : std::to_string(ids[k]);
  }
  return text + " }";
}

void GraphModel::dump_conflict_sets() {
  log("cur_conflict_:  " + dump_edge_list(cur_conflict_, true));
  log("prev_conflict_: " + dump_edge_list(prev_conflict_, true));
}

GraphModel::Rows GraphModel::stat_rows(bool labels) const {
  const auto name = [labels](const char* key, const char* label) {
    return std::string(labels ? label : key);
  };
  Rows rows;
  rows.emplace_back(name("dl conflicts", "DL - Conflicts: "),
                    std::to_string(num_conflicts_));
  rows.emplace_back(name("dl tlemma searches", "DL - TLemma Searches: "),
                    std::to_string(num_searches_));
  rows.emplace_back(name("dl short tlemmas", "DL - Short TLemmas: "),
                    std::to_string(num_short_));
  rows.emplace_back(name("dl long tlemmas", "DL - Long TLemmas: "),
                    std::to_string(num_long_));
  rows.emplace_back(name("dl dup short tlemmas", "DL - Dup Short TLemmas: "),
                    std::to_string(num_dup_short_));
  rows.emplace_back(name("dl dup long tlemmas", "DL - Dup Long TLemmas: "),
                    std::to_string(num_dup_long_));
  if (num_searches_ == 0) {
    return rows;
  }
  rows.emplace_back(name("dl avg searches for conflicts",
                         "DL - Avg. Searches for Conflicts: "),
                    average_text(num_searches_, num_conflicts_));
  rows.emplace_back(name("dl avg short tlemmas for search",
                         "DL - Avg. Short TLemmas for search: "),
                    average_text(num_short_, num_searches_));
  rows.emplace_back(name("dl avg long tlemmas for search",
                         "DL - Avg. Long TLemmas for search: "),
                    average_text(num_long_, num_searches_));
  return rows;
}

GraphModel::Rows GraphModel::get_stats() const {
  return stat_rows(false);
}

std::string GraphModel::print_stats() const {
  std::string text;
  for (const auto& [label, value] : stat_rows(true)) {
    text += label + value + "\n";
  }
  return text;
}

std::vector<std::string> GraphModel::take_log() {
  std::vector<std::string> taken;
  taken.swap(log_);
  return taken;
}

void GraphModel::log(const std::string& message) {
  if (logging_) {
    log_.push_back("DL(graph) - " + message);
  }
}

}  // namespace vorn::model
