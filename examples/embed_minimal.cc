// SPDX-License-Identifier: MIT
//
// The least a program needs to embed the graph: terms, a mapper, a graph, three
// constraints, a conflict and its explanation. It prints
//
//   consistent: a = 0, b = -1
//   adding "b - a >= 1": contradiction
//     b - a >= 1
//     c - a <= 1
//     c - b >= 1
//
// Lemmas are off, so the graph never asks for a term here. The two classes show
// what a host hands over for the day when they are on.

#include <cstddef>
#include <deque>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "vorn/dl/graph.h"

namespace {

// A term of this host is its text. Equal terms must be one object, since the
// graph compares addresses; deque elements never move.
struct Text : vorn::Term_ {
  std::string text;
};

class Terms final : public vorn::TermManager {
 public:
  const vorn::Term_* make(const std::string& text) {
    const auto [place, is_new] = index_.emplace(text, terms_.size());
    if (is_new) {
      Text term;
      term.id = terms_.size();
      term.text = text;
      terms_.push_back(term);
    }
    return &terms_[place->second];
  }
  const vorn::Term_* make_number(const vorn::QNumber& q) override {
    return make(q.to_str());
  }
  const vorn::Term_* make_plus(const vorn::Term_* a,
                               const vorn::Term_* b) override {
    return make(text(a) + " + " + text(b));
  }
  const vorn::Term_* make_leq(const vorn::Term_* a,
                              const vorn::Term_* b) override {
    return make(text(a) + " <= " + text(b));
  }
  const vorn::Term_* make_not(const vorn::Term_* t) override {
    return make("not (" + text(t) + ")");
  }
  const vorn::Term_* make_or(const vorn::Term_* a,
                             const vorn::Term_* b) override {
    return make(text(a) + " or " + text(b));
  }
  static std::string text(const vorn::Term_* t) {
    return static_cast<const Text*>(t)->text;
  }

 private:
  std::deque<Text> terms_;
  std::map<std::string, std::size_t> index_;
};

// Which term a node and which literal a constraint stands for. Both are
// numbered from 1: node 0 is the number 0, and constraint 0 stays unused.
class Mapper final : public vorn::la::LinearTermMapper {
 public:
  int add_variable(const vorn::Term_* term) {
    variables_.push_back(term);
    return static_cast<int>(variables_.size());
  }
  int add_constraint(const vorn::Term_* literal) {
    literals_.push_back(literal);
    return static_cast<int>(literals_.size());
  }
  const vorn::Term_* term(int var) const override {
    return variables_.at(static_cast<std::size_t>(var) - 1);
  }
  const vorn::Term_* constraint_to_lit(int constraint) override {
    return literals_.at(static_cast<std::size_t>(constraint) - 1);
  }

 private:
  std::vector<const vorn::Term_*> variables_;
  std::vector<const vorn::Term_*> literals_;
};

}  // namespace

int main() {
  // Made before the graph, so that they outlive it.
  vorn::Configuration::Theory::La settings;
  Terms terms;
  Mapper mapper;
  vorn::dl::Graph graph(&settings, &mapper, &terms);

  const int a = mapper.add_variable(terms.make("a"));
  const int b = mapper.add_variable(terms.make("b"));
  const int c = mapper.add_variable(terms.make("c"));

  // The edge (source, target, w) says target - source <= w.
  const auto tell = [&](const char* text, int source, int target, int w) {
    const int k = mapper.add_constraint(terms.make(text));
    graph.tell_edge(k, {source, target, vorn::la::DNumber(w, 0), k});
    return k;
  };
  const int at_most = tell("c - a <= 1", a, c, 1);
  const int then_c = tell("c - b >= 1", c, b, -1);  // that is, b - c <= -1
  const int then_b = tell("b - a >= 1", b, a, -1);

  graph.push_edge(at_most);
  graph.push_edge(then_c);
  if (!graph.check(true)) return 1;
  std::cout << "consistent: a = " << graph.get_potential(a)
            << ", b = " << graph.get_potential(b) << '\n';

  graph.push_edge(then_b);
  if (graph.check(true)) return 1;
  std::vector<int> conflict;
  graph.get_conflict_set(&conflict);
  std::cout << "adding \"" << Terms::text(mapper.constraint_to_lit(then_b))
            << "\": contradiction\n";
  for (const int k : conflict) {
    std::cout << "  " << Terms::text(mapper.constraint_to_lit(k)) << '\n';
  }

  // The latest push goes first; without it the rest is consistent again.
  graph.pop_edge(then_b);
  return graph.check(true) ? 0 : 1;
}
