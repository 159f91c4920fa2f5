// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_EXPLAIN_SCRIPT_FORMULA_H
#define VORN_SOLVER_EXPLAIN_SCRIPT_FORMULA_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "solver/explain/kept_text.h"
#include "solver/terms/term.h"

namespace vorn::solver {

/// What a script asserts or assumes, and where.
struct ScriptFormula {
  /// What it says.
  const Term* term = nullptr;
  /// As it was written; empty if texts are not kept.
  KeptText text;
  /// The name that the script gives to the whole of it; null for none.
  std::shared_ptr<const std::string> name;
  /// Where it starts in the script; an assertion, where its command does.
  std::uint32_t line = 0;
  /// An assumption of the check, not an assertion.
  bool assumed = false;
  /// Its number in the record of what is written, if proofs are kept.
  std::uint32_t written = 0;
  /// There is no script: `line` says which assertion or assumption it is, from
  /// 1 on.
  bool is_numbered = false;
};

/// What the formulas say, in their order.
inline std::vector<const Term*> terms_of(
    const std::vector<ScriptFormula>& formulas) {
  std::vector<const Term*> terms;
  terms.reserve(formulas.size());
  for (const ScriptFormula& formula : formulas) terms.push_back(formula.term);
  return terms;
}

}  // namespace vorn::solver

#endif  // VORN_SOLVER_EXPLAIN_SCRIPT_FORMULA_H
