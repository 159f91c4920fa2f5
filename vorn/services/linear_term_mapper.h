// SPDX-License-Identifier: MIT
#ifndef VORN_SERVICES_LINEAR_TERM_MAPPER_H
#define VORN_SERVICES_LINEAR_TERM_MAPPER_H

#include "vorn/export.h"
#include "vorn/services/term.h"

namespace vorn::la {

/// What a host lends to the core to turn variables and constraints into terms.
class VORN_EXPORT LinearTermMapper {
 public:
  virtual ~LinearTermMapper() = default;

  /// The arithmetic term of a difference variable (a node). Node 0 stands for
  /// the number 0 and is never asked for.
  virtual const Term_* term(int var) const = 0;

  /// The literal of a constraint: its atom, with the lowest pointer bit set if
  /// the constraint is the atom's negation. Both edges of a pair belong to one
  /// constraint and have one literal. Not const: a host may make it here.
  virtual const Term_* constraint_to_lit(int constraint) = 0;

 protected:
  LinearTermMapper() = default;
  LinearTermMapper(const LinearTermMapper&) = default;
  LinearTermMapper& operator=(const LinearTermMapper&) = default;
};

}  // namespace vorn::la

#endif  // VORN_SERVICES_LINEAR_TERM_MAPPER_H
