// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>
#include <iterator>

#include "tests/model/graph_model.h"

// The comparison of the latest negative cycle with the one before it. Both are
// walked from a node that they leave on different edges. Edges that they share
// form a stretch, which implies one constraint between its ends; detours that
// leave one node and meet again at another imply a constraint between those
// two nodes each. A side that reaches a node of both cycles waits there for
// the other. Both sides can come to wait at two different nodes, and then the
// walk has no way on: the model stops and reports that.

namespace vorn::model {

std::string node_term(int node) {
  return node == 0 ? "0" : "x" + std::to_string(node);
}

std::string literal_term(int constraint) {
  const std::string atom = "c" + std::to_string(constraint);
  return constraint % 2 == 0 ? atom : "(not " + atom + ")";
}

namespace {

std::string negation(const std::string& term) {
  return "(not " + term + ")";
}

std::string disjunction(const std::string& a, const std::string& b) {
  return "(or " + a + " " + b + ")";
}

std::string at_most(const std::string& a, const std::string& b) {
  return "(<= " + a + " " + b + ")";
}

/// The implied edge y - x <= weight as a term.
std::string implied_edge_term(int x, int y, const Weight& weight) {
  const std::string sum =
      "(+ " + node_term(x) + " " + weight.rational.get_str() + ")";
  if (weight.eps == 0) {
    return at_most(node_term(y), sum);
  }
  return negation(at_most(sum, node_term(y)));
}

std::string negated_literal(int edge_id) {
  return negation(literal_term(edge_id / 2));
}

/// "Not all of these edges hold". Requires: `edges` is not empty.
std::string not_all_term(const std::vector<int>& edges) {
  assert(!edges.empty());
  std::string term = negated_literal(edges.front());
  for (std::size_t k = 1; k < edges.size(); ++k) {
    term = disjunction(term, negated_literal(edges[k]));
  }
  return term;
}

std::size_t position(const std::vector<int>& list, int value) {
  return static_cast<std::size_t>(std::find(list.begin(), list.end(), value) -
                                  list.begin());
}

}  // namespace

bool GraphModel::conflicts_are_registered() const {
  const auto registered = [this](int id) { return edge_is_registered(id); };
  return std::all_of(cur_conflict_.begin(), cur_conflict_.end(), registered) &&
         std::all_of(prev_conflict_.begin(), prev_conflict_.end(), registered);
}

float GraphModel::similarity() const {
  const std::set<int> cur(cur_conflict_.begin(), cur_conflict_.end());
  const std::set<int> prev(prev_conflict_.begin(), prev_conflict_.end());
  std::vector<int> shared;
  std::set_intersection(cur.begin(), cur.end(), prev.begin(), prev.end(),
                        std::back_inserter(shared));
  const std::size_t larger =
      std::max(cur_conflict_.size(), prev_conflict_.size());
  return static_cast<float>(shared.size()) / static_cast<float>(larger);
}

GraphModel::Offsets GraphModel::do_synch_conflicts(NodeMap& node_map) const {
  for (int id : cur_conflict_) {
    node_map[get_edge(id).source].first = id;
  }
  int meet = -1;
  for (int id : prev_conflict_) {
    const int source = get_edge(id).source;
    std::pair<int, int>& leaving = node_map[source];
    leaving.second = id;
    if (leaving.first != leaving.second && leaving.first != 0) {
      meet = source;
    }
  }
  Offsets offsets;
  if (meet == -1) {
    const std::size_t place = position(prev_conflict_, cur_conflict_[0]);
    offsets.cur = 0;
    offsets.prev = place < prev_conflict_.size() ? place : 0;
    return offsets;
  }
  offsets.cur = position(cur_conflict_, node_map[meet].first);
  offsets.prev = position(prev_conflict_, node_map[meet].second);
  return offsets;
}

void GraphModel::do_search_lemmas() {
  if (prev_conflict_.empty() || settings_.tlemma_kinds == 0) {
    return;
  }
  if (settings_.tlemma_min_overlap > similarity()) {
    return;
  }
  ++num_searches_;
  if (conflicts_are_registered()) {
    do_walk_conflicts();
  }
}

void GraphModel::do_walk_conflicts() {
  NodeMap node_map;
  const Offsets offsets = do_synch_conflicts(node_map);
  const auto on_both = [&node_map](int node) {
    const auto found = node_map.find(node);
    return found != node_map.end() && found->second.first != 0 &&
           found->second.second != 0;
  };
  const bool want_short = (settings_.tlemma_kinds & 1) != 0;
  const bool want_long = (settings_.tlemma_kinds & 2) != 0;
  const std::size_t n_cur = cur_conflict_.size();
  const std::size_t n_prev = prev_conflict_.size();

  bool in_common = false;
  int common_start = -1;
  int common_end = -1;
  Weight sum_common;
  std::vector<int> list_common;

  int start = -1;
  Weight sum_a;
  Weight sum_b;
  std::vector<int> list_a;
  std::vector<int> list_b;
  bool wait_a = false;
  bool wait_b = false;

  std::size_t i = 0;
  std::size_t j = 0;
  while (i < n_cur && j < n_prev) {
    const int cur = cur_conflict_[(offsets.cur + i) % n_cur];
    const int prev = prev_conflict_[(offsets.prev + j) % n_prev];
    const EdgeRecord a = get_edge(cur);
    const EdgeRecord b = get_edge(prev);
    if (cur == prev) {
      if (!in_common) {
        common_start = a.source;
        sum_common = Weight();
        list_common.clear();
      }
      common_end = a.target;
      sum_common = sum_common + a.weight;
      list_common.push_back(cur);
      ++i;
      ++j;
      in_common = true;
      continue;
    }
    if (in_common && want_long) {
      do_learn_long(common_start, common_end, sum_common, list_common);
    }
    in_common = false;
    if (start == -1) {
      start = a.source;
    }
    if (!wait_a) {
      sum_a = sum_a + a.weight;
      list_a.push_back(cur);
    }
    if (!wait_b) {
      sum_b = sum_b + b.weight;
      list_b.push_back(prev);
    }
    if (a.target == b.target) {
      if (want_short) {
        do_learn_short(start, a.target, sum_b < sum_a ? sum_a : sum_b, list_a,
                       list_b);
      }
      sum_a = Weight();
      sum_b = Weight();
      list_a.clear();
      list_b.clear();
      start = -1;
      wait_a = false;
      wait_b = false;
      ++i;
      ++j;
      continue;
    }
    if (wait_a && wait_b) {
      walk_did_not_end_ = true;
      return;
    }
    const bool stop_a = wait_a || on_both(a.target);
    const bool stop_b = wait_b || on_both(b.target);
    if (!stop_a && !stop_b) {
      ++i;
      ++j;
    } else if (stop_a && !stop_b) {
      ++j;
    } else if (!stop_a && stop_b) {
      ++i;
    }
    wait_a = stop_a;
    wait_b = stop_b;
  }
  if (in_common && want_long) {
    do_learn_long(common_start, common_end, sum_common, list_common);
  }
}

void GraphModel::do_learn_short(int x, int y, const Weight& weight,
                                const std::vector<int>& premises_a,
                                const std::vector<int>& premises_b) {
  log_interpolant("short", x, y, weight);
  const std::string term = implied_edge_term(x, y, weight);
  do_queue_lemma(premises_a, term, num_short_, num_dup_short_);
  do_queue_lemma(premises_b, term, num_short_, num_dup_short_);
}

void GraphModel::do_learn_long(int x, int y, const Weight& weight,
                               const std::vector<int>& premises) {
  if (premises.size() < 2) {
    return;
  }
  log_interpolant("long", x, y, weight);
  do_queue_lemma(premises, implied_edge_term(x, y, weight), num_long_,
                 num_dup_long_);
}

void GraphModel::do_queue_lemma(const std::vector<int>& premises,
                                const std::string& edge_term,
                                std::size_t& learnt, std::size_t& duplicates) {
  Lemma lemma;
  lemma.clause = disjunction(not_all_term(premises), edge_term);
  for (int id : premises) {
    lemma.disjuncts.push_back(negated_literal(id));
  }
  lemma.disjuncts.push_back(edge_term);
  if (settings_.dedup_tlemmas && !learnt_.insert(lemma.clause).second) {
    ++duplicates;
    return;
  }
  lemmas_.push_back(lemma);
  ++learnt;
}

void GraphModel::log_interpolant(const char* what, int x, int y,
                                 const Weight& weight) {
  log(std::string("found ") + what + " interpolant: x" + std::to_string(x) +
      " -[" + weight_text(weight) + "]-> x" + std::to_string(y));
}

}  // namespace vorn::model
