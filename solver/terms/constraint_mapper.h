// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_CONSTRAINT_MAPPER_H
#define VORN_SOLVER_TERMS_CONSTRAINT_MAPPER_H

#include <unordered_map>
#include <vector>

#include "solver/terms/term.h"
#include "vorn/services/linear_term_mapper.h"

namespace vorn::solver {

/// Tells a difference-logic graph which term a node stands for and which
/// literal a constraint id stands for. It is the mapper to copy from when
/// embedding the graph into another solver.
///
/// Nodes: node 0 is the constant 0. The graph never asks for its term, so
/// numbering starts at 1.
///
/// Constraints: the graph keeps edges 2c and 2c + 1 for constraint id c and
/// asks for the literal of c alone, whichever of the two it used. A literal
/// that may be asserted either way therefore needs two constraint ids when each
/// polarity is an edge of its own: one for the atom, one for its negation. They
/// are numbered from 1, since the graph's lemma search takes edge 0 for no
/// edge, and no id is given twice: the graph may still hold an id's old edge in
/// one of its last two conflicts.
///
/// Literals: a pointer to the atom whose lowest bit is the negation flag. Only
/// is_negated and atom_of may look at such a pointer; with the flag set it does
/// not point at a term.
///
/// Ownership: borrows the terms, which must live as long as the mapper and the
/// graph that holds it. Threads: none.
class ConstraintMapper final : public la::LinearTermMapper {
 public:
  /// The node of the term: the one it already has, or the next free one.
  /// Requires: an arithmetic term. Cost: O(1) expected.
  int add_variable(const Term* term);

  /// The node of the term, or 0 when it has none.
  int node_of(const Term* term) const;

  /// Registers the literal "atom" or "not atom" and gives its constraint id:
  /// 1, 2, 3 and so on. Every call takes a new id.
  /// Requires: a Boolean term.
  int add_constraint(const Term* atom, bool negated);

  /// The highest node in use; 0 when there is none.
  int num_variables() const { return static_cast<int>(terms_.size()); }
  /// The highest constraint id given; 0 when there is none.
  int num_constraints() const { return static_cast<int>(literals_.size()); }

  /// Requires: 1 <= var <= num_variables().
  const Term_* term(int var) const override;
  /// Requires: 1 <= constraint <= num_constraints().
  const Term_* constraint_to_lit(int constraint) override;

  /// The atom's pointer with the negation flag put in.
  static const Term_* make_literal(const Term* atom, bool negated);
  /// Whether the negation flag is in.
  static bool is_negated(const Term_* literal);
  /// The atom of a literal, whether negated or not.
  static const Term* atom_of(const Term_* literal);

 private:
  std::vector<const Term*> terms_;      // by node, less one
  std::vector<const Term_*> literals_;  // by constraint id, less one
  std::unordered_map<const Term*, int> nodes_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_CONSTRAINT_MAPPER_H
