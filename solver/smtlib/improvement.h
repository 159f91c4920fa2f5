// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_IMPROVEMENT_H
#define VORN_SMTLIB_IMPROVEMENT_H

#include <vector>

#include "solver/smtlib/assertion_stack.h"
#include "solver/smtlib/operators.h"
#include "solver/smtlib/term_record.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// The formula that says that objectives have better values than the best:
/// whoever shows that no model satisfies it shows that these are the best. It
/// is made as a script would write it, of the objectives as they are written:
///
///   (< a 5)                                       of (minimize a)
///   (or (> a 5) (and (>= a 5) (< b 7)))           (maximize a)(minimize b)
///   (< (+ (ite p 0 2) (ite q 0 1)) 2)             (assert-soft p :weight 2)...
///   (<= r 3)                                      (minimize r), 3 not reached
///
/// Objectives behind one that has no best value, or does not reach it, are best
/// among models that no formula tells from others; they are left out, and so is
/// one without a best value.
class Improvement {
 public:
  /// Borrows all; terms are added to the store and to the record. `numerals`:
  /// the sort of a number without a point.
  Improvement(TermStore& store, OperatorBuilder& builder, TermRecord& record,
              Sort numerals)
      : store_(store),
        builder_(builder),
        record_(record),
        numerals_(numerals) {}

  /// The formula, without a term if nothing is left of it. Requires: the
  /// results are those of the objectives, all settled.
  PlacedTerm formula(const std::vector<ScriptObjective>& objectives,
                     const std::vector<ObjectiveResult>& results);

 private:
  PlacedTerm apply(Operator op, std::vector<PlacedTerm> arguments);
  PlacedTerm number(const QNumber& value, Sort sort);
  PlacedTerm written(const std::vector<ScriptObjective>& objectives,
                     const ObjectiveResult& result);

  TermStore& store_;
  OperatorBuilder& builder_;
  TermRecord& record_;
  Sort numerals_;
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_IMPROVEMENT_H
