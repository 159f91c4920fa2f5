// SPDX-License-Identifier: MIT
#ifndef VORN_DPLL_ATOMS_H
#define VORN_DPLL_ATOMS_H

#include <cstddef>
#include <map>
#include <vector>

#include "examples/constraint_mapper.h"
#include "solver/terms/term_store.h"
#include "vorn/dl/graph.h"

// What the literals of the host in dpll_host.h mean.
//
// A literal is v or -v for a variable v from 1 on. A bound and its negation are
// an edge each, so variable v has constraints 2v - 1 and 2v. Constraint 0 stays
// unused and no number is given twice: the lemma search relies on both.
class DpllAtoms {
 public:
  using Term = vorn::solver::Term;

  int new_node(const char* name) {
    const Term* term = terms_.make_symbol(name, vorn::solver::Sort::kInt);
    return mapper_.add_variable(term);
  }

  // The literal "target - source <= weight", over integers. The edges of a new
  // one go to the graph.
  int literal(int source, int target, const vorn::QNumber& weight,
              vorn::dl::Graph& graph) {
    const Term* limit =
        terms_.make_plus(term(source), terms_.make_number(weight));
    const Term* atom = terms_.make_leq(term(target), limit);
    const auto [place, is_new] = variables_.emplace(atom, num_variables() + 1);
    const int v = place->second;
    if (!is_new) return v;
    mapper_.add_constraint(atom, false);
    mapper_.add_constraint(atom, true);
    // Not target - source <= w is source - target <= -w - 1.
    vorn::QNumber opposite = -weight;
    opposite += vorn::QNumber(-1);
    graph.tell_edge(2 * v - 1, {source, target, {weight, 0}, v});
    graph.tell_edge(2 * v, {target, source, {opposite, 0}, -v});
    return v;
  }

  static int constraint_of(int literal) {
    return literal > 0 ? 2 * literal - 1 : -2 * literal;
  }
  static int literal_of(int constraint) {
    return constraint % 2 == 1 ? (constraint + 1) / 2 : -constraint / 2;
  }
  int num_variables() const { return static_cast<int>(variables_.size()); }

  // Reads a lemma, a clause of terms that the graph made with our store. A
  // bound that is no atom yet becomes one. False if it holds trivially.
  bool read(const vorn::dl::Graph::Lemma& lemma, std::vector<int>& clause,
            vorn::dl::Graph& graph) {
    for (const vorn::Term_* disjunct : lemma.second) {
      const Term* atom = static_cast<const Term*>(disjunct);
      const bool negated = atom->kind == vorn::solver::Kind::kNot;
      if (negated) atom = atom->arg(0);
      // The store has made a constant of a bound between equal nodes.
      if (atom->kind != vorn::solver::Kind::kLeq) return false;
      // "y <= x + w", or "y <= w" if x is the number 0, whose node is 0.
      const Term* limit = atom->arg(1);
      const bool sum = limit->kind == vorn::solver::Kind::kPlus;
      const Term* weight = sum ? limit->arg(1) : limit;
      const int source = sum ? mapper_.node_of(limit->arg(0)) : 0;
      const int target = mapper_.node_of(atom->arg(0));
      const int v = literal(source, target, weight->number(), graph);
      clause.push_back(negated ? -v : v);
    }
    return true;
  }

  vorn::solver::TermStore& terms() { return terms_; }
  ConstraintMapper& mapper() { return mapper_; }

 private:
  const Term* term(int node) {
    if (node == 0) return terms_.make_number(vorn::QNumber(0));
    return static_cast<const Term*>(mapper_.term(node));
  }

  vorn::solver::TermStore terms_;
  ConstraintMapper mapper_;
  std::map<const Term*, int> variables_;
};

#endif  // VORN_DPLL_ATOMS_H
