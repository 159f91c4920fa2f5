// SPDX-License-Identifier: MIT
#include "solver/terms/constraint_mapper.h"

#include <cassert>
#include <cstddef>
#include <cstdint>

namespace vorn::solver {
namespace {

constexpr std::uintptr_t kNegated = 1;

std::uintptr_t bits_of(const Term_* literal) {
  return reinterpret_cast<std::uintptr_t>(literal);
}

const Term_* from_bits(std::uintptr_t bits) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the tag lives in the pointer.
  return reinterpret_cast<const Term_*>(bits);
}

}  // namespace

int ConstraintMapper::add_variable(const Term* term) {
  assert(term->is_arithmetic());
  const auto [position, is_new] = nodes_.emplace(term, num_variables() + 1);
  if (is_new) terms_.push_back(term);
  return position->second;
}

int ConstraintMapper::node_of(const Term* term) const {
  const auto position = nodes_.find(term);
  return position == nodes_.end() ? 0 : position->second;
}

int ConstraintMapper::add_constraint(const Term* atom, bool negated) {
  assert(atom->is_bool());
  literals_.push_back(make_literal(atom, negated));
  return num_constraints();
}

const Term_* ConstraintMapper::term(int var) const {
  assert(var >= 1 && var <= num_variables());
  return terms_[static_cast<std::size_t>(var) - 1];
}

const Term_* ConstraintMapper::constraint_to_lit(int constraint) {
  assert(constraint >= 1 && constraint <= num_constraints());
  return literals_[static_cast<std::size_t>(constraint) - 1];
}

const Term_* ConstraintMapper::make_literal(const Term* atom, bool negated) {
  assert(!is_negated(atom));
  return from_bits(bits_of(atom) | (negated ? kNegated : 0));
}

bool ConstraintMapper::is_negated(const Term_* literal) {
  return (bits_of(literal) & kNegated) != 0;
}

const Term* ConstraintMapper::atom_of(const Term_* literal) {
  return static_cast<const Term*>(from_bits(bits_of(literal) & ~kNegated));
}

}  // namespace vorn::solver
