// SPDX-License-Identifier: MIT
#ifndef VORN_DPLL_HOST_H
#define VORN_DPLL_HOST_H

#include <cstddef>
#include <cstdlib>
#include <vector>

#include "examples/dpll_atoms.h"
#include "vorn/dl/graph.h"

// A small backtracking solver around the graph, for those who write their own:
// clauses over bounds on differences of integers. What to look at: where
// constraints are told, pushed, checked and popped, and in which order; what
// becomes of a conflict; how lemmas are taken, and why that ends. All else is
// as simple as it can be: no watched literals, no jumping back.
class DpllHost {
 public:
  using Clause = std::vector<int>;

  DpllHost() {
    settings_.dl_tlemma_min_overlap = 0.2F;
    // Or a search for lemmas, which is part of a check, may not come back.
    graph_.guard_lemma_walks(true);
  }

  int new_node(const char* name) { return atoms_.new_node(name); }
  // The literal "target - source <= weight".
  int bound(int source, int target, int weight) {
    return atoms_.literal(source, target, weight, graph_);
  }
  void add_clause(const Clause& clause) { clauses_.push_back(clause); }

  // Whether clauses and bounds have a common solution.
  bool solve() {
    for (;;) {
      if (propagate_clauses() && check_graph()) {
        int free = 1;
        while (free <= atoms_.num_variables() && value_of(free) != 0) ++free;
        if (free > atoms_.num_variables()) return true;
        decisions_.push_back(trail_.size());
        assign(free);
      } else if (decisions_.empty()) {
        return false;
      } else {
        // The latest decision was wrong, so its opposite holds from here on.
        const int decision = trail_[decisions_.back()];
        undo_to(decisions_.back());
        decisions_.pop_back();
        assign(-decision);
      }
    }
  }

  // After solve returned true: the potentials satisfy every active edge.
  vorn::QNumber value(int node) const {
    vorn::QNumber value = graph_.get_potential(node).rational();
    value -= graph_.get_potential(0).rational();
    return value;
  }
  int num_lemmas() const { return num_lemmas_; }

 private:
  // A lemma may bring a new atom. Without a limit they could go on doing so.
  static constexpr int kMostLemmas = 200;

  int value_of(int literal) {
    const auto v = static_cast<std::size_t>(std::abs(literal));
    if (v >= values_.size()) values_.resize(v + 1);
    return literal > 0 ? values_[v] : -values_[v];
  }

  // A push only queues the constraint; the next check looks at it.
  void assign(int literal) {
    values_[static_cast<std::size_t>(std::abs(literal))] = literal > 0 ? 1 : -1;
    trail_.push_back(literal);
    graph_.push_edge(DpllAtoms::constraint_of(literal));
  }

  // Pops come in exactly the reverse order of pushes; the graph relies on it.
  // It does not matter whether a check has seen a constraint yet.
  void undo_to(std::size_t size) {
    for (; trail_.size() > size; trail_.pop_back()) {
      const int literal = trail_.back();
      values_[static_cast<std::size_t>(std::abs(literal))] = 0;
      graph_.pop_edge(DpllAtoms::constraint_of(literal));
    }
  }

  // Assigns the last free literal of each clause that nothing else satisfies.
  bool propagate_clauses() {
    for (bool changed = true; changed;) {
      changed = false;
      for (const Clause& clause : clauses_) {
        int free = 0;
        int last = 0;
        bool satisfied = false;
        for (const int literal : clause) {
          satisfied = satisfied || value_of(literal) > 0;
          if (value_of(literal) == 0 && ++free > 0) last = literal;
        }
        if (satisfied || free > 1) continue;
        if (free == 0) return false;
        assign(last);
        changed = true;
      }
    }
    return true;
  }

  // Called when the clauses have come to rest: they are cheaper to ask.
  bool check_graph() {
    settings_.dl_tlemma_kinds = num_lemmas_ < kMostLemmas ? 3 : 0;
    if (graph_.check(true)) return true;
    // The constraints of a conflict cannot all hold. That is a clause, and the
    // search is better off for keeping it.
    std::vector<int> conflict;
    graph_.get_conflict_set(&conflict);
    Clause reason;
    for (const int k : conflict) reason.push_back(-DpllAtoms::literal_of(k));
    add_clause(reason);
    while (graph_.has_lemmas()) {
      Clause lemma;
      if (atoms_.read(graph_.get_next_lemma(), lemma, graph_)) {
        add_clause(lemma);
        ++num_lemmas_;
      }
    }
    return false;
  }

  // What the graph borrows comes before it, and so outlives it.
  DpllAtoms atoms_;
  vorn::Configuration::Theory::La settings_;
  vorn::dl::Graph graph_{&settings_, &atoms_.mapper(), &atoms_.terms()};
  std::vector<int> values_;  // by variable: 1, -1, or 0 for none
  std::vector<Clause> clauses_;
  std::vector<int> trail_;
  std::vector<std::size_t> decisions_;  // places on the trail
  int num_lemmas_ = 0;
};

#endif  // VORN_DPLL_HOST_H
