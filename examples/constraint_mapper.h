// SPDX-License-Identifier: MIT
#ifndef VORN_CONSTRAINT_MAPPER_H
#define VORN_CONSTRAINT_MAPPER_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "solver/terms/term.h"
#include "vorn/services/linear_term_mapper.h"

// Tells a difference-logic graph which term a node stands for and which
// literal a constraint id stands for. It is the mapper to copy from when
// embedding the graph into another solver.
//
// Nodes: node 0 is the constant 0. The graph never asks for its term, so
// numbering starts at 1.
//
// Constraints: the graph keeps edges 2c and 2c + 1 for constraint id c and
// asks for the literal of c alone, whichever of the two it used. A literal
// that may be asserted either way therefore needs two constraint ids when each
// polarity is an edge of its own: one for the atom, one for its negation. They
// are numbered from 1, since the graph's lemma search takes edge 0 for no
// edge, and no id is given twice: the graph may still hold an id's old edge in
// one of its last two conflicts.
//
// Literals: a pointer to the atom whose lowest bit is the negation flag. Only
// is_negated and atom_of may look at such a pointer; with the flag set it does
// not point at a term.
//
// Ownership: borrows the terms, which must live as long as the mapper and the
// graph that holds it. Threads: none.
class ConstraintMapper final : public vorn::la::LinearTermMapper {
 public:
  using Term = vorn::solver::Term;

  // The node of an arithmetic term: the one it has, or the next free one.
  int add_variable(const Term* term) {
    const auto [place, is_new] = nodes_.emplace(term, num_variables() + 1);
    if (is_new) terms_.push_back(term);
    return place->second;
  }
  // The node of the term, or 0 when it has none.
  int node_of(const Term* term) const {
    const auto place = nodes_.find(term);
    return place == nodes_.end() ? 0 : place->second;
  }
  // Registers the literal "atom" or "not atom" and gives its constraint id: 1,
  // 2, 3 and so on. Every call takes a new id.
  int add_constraint(const Term* atom, bool negated) {
    literals_.push_back(make_literal(atom, negated));
    return num_constraints();
  }

  int num_variables() const { return static_cast<int>(terms_.size()); }
  int num_constraints() const { return static_cast<int>(literals_.size()); }

  // Requires: 1 <= var <= num_variables().
  const vorn::Term_* term(int var) const override {
    assert(var >= 1 && var <= num_variables());
    return terms_[static_cast<std::size_t>(var) - 1];
  }
  // Requires: 1 <= constraint <= num_constraints().
  const vorn::Term_* constraint_to_lit(int constraint) override {
    assert(constraint >= 1 && constraint <= num_constraints());
    return literals_[static_cast<std::size_t>(constraint) - 1];
  }

  // The atom's pointer with the negation flag put in, and back.
  static const vorn::Term_* make_literal(const Term* atom, bool negated) {
    return from_bits(bits_of(atom) | (negated ? 1U : 0U));
  }
  static bool is_negated(const vorn::Term_* literal) {
    return (bits_of(literal) & 1U) != 0;
  }
  static const Term* atom_of(const vorn::Term_* literal) {
    return static_cast<const Term*>(
        from_bits(bits_of(literal) & ~std::uintptr_t{1}));
  }

 private:
  static std::uintptr_t bits_of(const vorn::Term_* literal) {
    return reinterpret_cast<std::uintptr_t>(literal);
  }
  static const vorn::Term_* from_bits(std::uintptr_t bits) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the tag lives in the pointer.
    return reinterpret_cast<const vorn::Term_*>(bits);
  }

  std::vector<const Term*> terms_;            // by node, less one
  std::vector<const vorn::Term_*> literals_;  // by constraint id, less one
  std::unordered_map<const Term*, int> nodes_;
};

#endif  // VORN_CONSTRAINT_MAPPER_H
