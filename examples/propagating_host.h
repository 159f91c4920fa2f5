// SPDX-License-Identifier: MIT
#ifndef VORN_PROPAGATING_HOST_H
#define VORN_PROPAGATING_HOST_H

#include <cstddef>
#include <cstdlib>
#include <vector>

#include "vorn/dl/closure.h"
#include "vorn/dl/graph.h"

// A small solver that learns from conflicts, with or without a closure beside
// its graph: clauses over bounds on differences of integers. What to look at:
// when constraints are pushed and popped, how a literal that follows is taken,
// and where its explanation comes from. All else is as simple as it can be.
class PropagatingHost {
 public:
  using Clause = std::vector<int>;

  explicit PropagatingHost(bool propagates) : propagates_(propagates) {}

  // The literal "target - source <= weight", over integers.
  int bound(int source, int target, int weight) {
    const int v = static_cast<int>(values_.size());
    values_.push_back(0);
    tell({source, target, {weight, 0}, 2 * v - 1});
    tell({target, source, {-weight - 1, 0}, 2 * v});
    return v;
  }
  void add_clause(const Clause& clause) { clauses_.push_back(clause); }

  // Whether clauses and bounds have a common solution.
  bool solve() {
    for (;;) {
      Clause conflict;  // literals that hold and cannot all hold
      if (!propagate(conflict)) {
        ++num_conflicts_;
        if (!resolve(conflict)) return false;
        continue;
      }
      std::size_t free = 1;
      while (free < values_.size() && values_[free] != 0) ++free;
      if (free == values_.size()) return true;
      ++num_decisions_;
      levels_.push_back(trail_.size());
      assign(static_cast<int>(free), kDecision);
    }
  }
  // After solve returned true.
  vorn::QNumber value(int node) const {
    vorn::QNumber value = graph_.get_potential(node).rational();
    value -= graph_.get_potential(0).rational();
    return value;
  }

  int num_decisions() const { return num_decisions_; }
  int num_conflicts() const { return num_conflicts_; }
  int num_implied() const { return num_implied_; }

 private:
  // Literal v or -v says that a bound holds or not. Either is a constraint:
  // 2v - 1, or 2v.
  static int constraint_of(int literal) {
    return literal > 0 ? 2 * literal - 1 : -2 * literal;
  }
  static int literal_of(int constraint) {
    return constraint % 2 == 1 ? (constraint + 1) / 2 : -constraint / 2;
  }

  // Why a literal holds; a place in clauses_ says that this clause left nothing
  // else.
  static constexpr int kDecision = -1;
  static constexpr int kFollows = -2;
  struct Assigned {
    int literal;
    int why;
  };

  void tell(const vorn::dl::Edge& edge) {
    graph_.tell_edge(edge.id, edge);
    if (propagates_) closure_.tell_edge(edge.id, edge);
  }
  int value_of(int literal) const {
    const int value = values_[static_cast<std::size_t>(std::abs(literal))];
    return literal > 0 ? value : -value;
  }
  void assign(int literal, int why) {
    values_[static_cast<std::size_t>(std::abs(literal))] = literal > 0 ? 1 : -1;
    trail_.push_back({literal, why});
  }

  // Clauses first, then the graph, then the closure: each is dearer than the
  // one before, and only what the graph found consistent may go to the closure.
  bool propagate(Clause& conflict) {
    for (;;) {
      if (!propagate_clauses(conflict)) return false;
      for (; pushed_ < trail_.size(); ++pushed_) {
        graph_.push_edge(constraint_of(trail_[pushed_].literal));
      }
      const bool consistent = graph_.check(true);
      if (!consistent) {
        std::vector<int> constraints;
        graph_.get_conflict_set(&constraints);
        for (const int k : constraints) conflict.push_back(literal_of(k));
      }
      if (!consistent || !propagates_) return consistent;
      for (; in_closure_ < pushed_; ++in_closure_) {
        closure_.push_edge(constraint_of(trail_[in_closure_].literal));
      }
      // None of them is false: its opposite would not have been consistent.
      for (int k = 0; closure_.next_consequence(&k);) {
        if (value_of(literal_of(k)) != 0) continue;
        assign(literal_of(k), kFollows);
        ++num_implied_;
      }
      if (pushed_ == trail_.size()) return true;
    }
  }
  // Assigns the last free literal of each clause that nothing else satisfies.
  bool propagate_clauses(Clause& conflict) {
    for (bool changed = true; changed;) {
      changed = false;
      for (std::size_t c = 0; c < clauses_.size(); ++c) {
        int free = 0;
        int last = 0;
        bool satisfied = false;
        for (const int literal : clauses_[c]) {
          satisfied = satisfied || value_of(literal) > 0;
          if (value_of(literal) == 0 && ++free > 0) last = literal;
        }
        if (satisfied || free > 1) continue;
        if (free == 0) {
          for (const int literal : clauses_[c]) conflict.push_back(-literal);
          return false;
        }
        assign(last, static_cast<int>(c));
        changed = true;
      }
    }
    return true;
  }

  // What made the literal at hand hold: literals assigned before it. Those of a
  // bound that follows are asked for only now, when a conflict needs them.
  Clause reasons_of(const Assigned& assigned) const {
    Clause reasons;
    if (assigned.why == kFollows) {
      std::vector<int> path;
      closure_.get_path(constraint_of(assigned.literal), &path);
      for (const int k : path) reasons.push_back(literal_of(k));
    } else {
      for (const int literal : clauses_[static_cast<std::size_t>(assigned.why)])
        if (literal != assigned.literal) reasons.push_back(-literal);
    }
    return reasons;
  }
  // Traces a conflict to the decisions behind it, which cannot all be right,
  // and goes back to where all of them but the last were made. False if there
  // are none.
  bool resolve(const Clause& conflict) {
    std::vector<char> involved(values_.size());
    const auto involve = [&involved](const Clause& literals) {
      for (const int literal : literals)
        involved[static_cast<std::size_t>(std::abs(literal))] = 1;
    };
    involve(conflict);
    Clause learnt;
    std::size_t level = levels_.size();  // of the place looked at
    std::size_t back_to = 0;
    for (std::size_t place = trail_.size(); place-- > 0;) {
      const Assigned assigned = trail_[place];
      if (level > 0 && place < levels_[level - 1]) --level;
      if (involved[static_cast<std::size_t>(std::abs(assigned.literal))] == 0)
        continue;
      if (assigned.why != kDecision) {
        involve(reasons_of(assigned));
        continue;
      }
      learnt.push_back(-assigned.literal);
      if (learnt.size() == 2) back_to = level;
    }
    if (learnt.empty()) return false;
    undo_to(levels_[back_to]);
    levels_.resize(back_to);
    add_clause(learnt);
    return true;
  }
  // Pops in the reverse order of pushes, each from what it was pushed to.
  void undo_to(std::size_t size) {
    for (; trail_.size() > size; trail_.pop_back()) {
      const int literal = trail_.back().literal;
      values_[static_cast<std::size_t>(std::abs(literal))] = 0;
      if (in_closure_ == trail_.size()) {
        closure_.pop_edge();
        --in_closure_;
      }
      if (pushed_ == trail_.size()) {
        graph_.pop_edge(constraint_of(literal));
        --pushed_;
      }
    }
  }

  bool propagates_;
  vorn::Configuration::Theory::La settings_;
  vorn::dl::Graph graph_{&settings_, nullptr, nullptr};
  vorn::dl::Closure closure_;
  std::vector<int> values_{0};  // by variable: 1, -1, or 0 for none
  std::vector<Clause> clauses_;
  std::vector<Assigned> trail_;
  std::vector<std::size_t> levels_;  // places of decisions on the trail
  // How many of the trail's constraints the graph and the closure have.
  std::size_t pushed_ = 0;
  std::size_t in_closure_ = 0;
  int num_decisions_ = 0;
  int num_conflicts_ = 0;
  int num_implied_ = 0;
};

#endif  // VORN_PROPAGATING_HOST_H
