// SPDX-License-Identifier: MIT
#ifndef VORN_SERVICES_TERM_MANAGER_H
#define VORN_SERVICES_TERM_MANAGER_H

#include "vorn/export.h"
#include "vorn/numbers/q_number.h"
#include "vorn/services/term.h"

namespace vorn {

/// The term factory that a host lends to the core, which states lemmas with it.
///
/// Called only from inside Graph::check, on the thread of that call.
/// Requires: terms are shared, so that equal arguments give the same pointer,
/// and live as long as the graph may hold them. Exceptions pass through the
/// graph; see Graph::check for the state they leave.
class VORN_EXPORT TermManager {
 public:
  virtual ~TermManager() = default;

  /// The numeral of an exact rational.
  virtual const Term_* make_number(const QNumber& q) = 0;
  /// a + b.
  virtual const Term_* make_plus(const Term_* a, const Term_* b) = 0;
  /// The atom a <= b.
  virtual const Term_* make_leq(const Term_* a, const Term_* b) = 0;
  /// The negation of an atom, or of a literal that may be one already.
  virtual const Term_* make_not(const Term_* t) = 0;
  /// The disjunction of two. Clauses are built left-nested.
  virtual const Term_* make_or(const Term_* a, const Term_* b) = 0;

 protected:
  TermManager() = default;
  TermManager(const TermManager&) = default;
  TermManager& operator=(const TermManager&) = default;
};

}  // namespace vorn

#endif  // VORN_SERVICES_TERM_MANAGER_H
