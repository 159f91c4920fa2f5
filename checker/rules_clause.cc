// SPDX-License-Identifier: MIT
#include <algorithm>
#include <vector>

#include "checker/inference.h"

// Rules that see no further than literals. p and (not (not p)) are different
// literals for all of them.

namespace vorn::checker {
namespace {

// resolution: from the clauses C0 ... Cn and the arguments p1 b1 ... pn bn
// conclude what is left when one after the other is taken in: for b = true, p
// is taken out of what there is and (not p) out of the next clause, for false
// (not p) and p, and the rest of both is what there is then. Clauses are sets.
Verdict resolution(Inference& s) {
  if (s.premises.empty()) return "there are no premises";
  if (s.arguments.size() != 2 * (s.premises.size() - 1)) {
    return "there must be a pivot and its sign for each premise but the first";
  }
  s.set.clear();
  for (const TermId literal : s.premises[0]) s.set.insert(literal);
  for (std::size_t i = 1; i < s.premises.size(); ++i) {
    const TermId pivot = s.arguments[2 * i - 2];
    const TermId sign = s.arguments[2 * i - 1];
    if (s.terms.sort(pivot) != Sort::kBool) return "a pivot is not Boolean";
    const bool is_positive = sign == s.terms.boolean(true);
    if (!is_positive && sign != s.terms.boolean(false)) {
      return "the sign of a pivot is true or false";
    }
    const TermId here = is_positive ? pivot : s.no(pivot);
    const TermId there = is_positive ? s.no(pivot) : pivot;
    if (!s.set.erase(here)) {
      return "a pivot is not in what the premises before give";
    }
    bool is_there = false;
    for (const TermId literal : s.premises[i]) {
      if (literal == there) {
        is_there = true;
      } else {
        s.set.insert(literal);
      }
    }
    if (!is_there) return "a pivot is not in its premise";
  }
  std::vector<TermId> literals(s.conclusion.begin(), s.conclusion.end());
  std::sort(literals.begin(), literals.end());
  literals.erase(std::unique(literals.begin(), literals.end()), literals.end());
  for (const TermId literal : literals) {
    if (!s.set.erase(literal)) return kWrongConclusion;
  }
  return s.set.size() == 0 ? kRight : kWrongConclusion;
}

// contraction: from C conclude C without each literal that was there before.
Verdict contraction(Inference& s) {
  s.set.clear();
  std::vector<TermId> literals;
  for (const TermId literal : s.premises[0]) {
    if (s.set.insert(literal)) literals.push_back(literal);
  }
  return s.concludes(literals);
}

// reordering: from C conclude the same literals, each as often, in any order.
Verdict reordering(Inference& s) {
  std::vector<TermId> before(s.premises[0].begin(), s.premises[0].end());
  std::vector<TermId> after(s.conclusion.begin(), s.conclusion.end());
  std::sort(before.begin(), before.end());
  std::sort(after.begin(), after.end());
  return before == after ? kRight : kWrongConclusion;
}

// weakening: from C conclude C with any literals behind it.
Verdict weakening(Inference& s) {
  const Clause& premise = s.premises[0];
  return premise.size <= s.conclusion.size &&
                 std::equal(premise.begin(), premise.end(),
                            s.conclusion.begin())
             ? kRight
             : kWrongConclusion;
}

}  // namespace

const std::vector<Rule> kClauseRules = {
    {"resolution", -1, -1, resolution}, {"th_resolution", -1, -1, resolution},
    {"contraction", 1, 0, contraction}, {"reordering", 1, 0, reordering},
    {"weakening", 1, 0, weakening},
};

}  // namespace vorn::checker
