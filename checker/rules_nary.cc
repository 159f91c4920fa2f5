// SPDX-License-Identifier: MIT
#include <optional>
#include <vector>

#include "checker/inference.h"

// Rules about `and` and `or`, which have any number of arguments.

namespace vorn::checker {
namespace {

constexpr Verdict kWrongPosition = "the argument is no position in the term";

// The first literal of a clause of at least one and at most `most`, without its
// `not` if `negated`, if it is `op`; otherwise kNoTerm.
TermId first(const Inference& s, const Clause& clause, Op op, bool negated,
             std::size_t most) {
  if (clause.size == 0 || clause.size > most) return kNoTerm;
  TermId term = clause[0];
  if (negated) term = s.is(term, Op::kNot) ? s.arg(term, 0) : kNoTerm;
  return s.is(term, op) ? term : kNoTerm;
}

// The arguments of a term that the argument of the step names: one of them, or
// kNoTerm if it names none.
TermId chosen(const Inference& s, TermId term) {
  const mpq_class* value = s.terms.value(s.arguments[0]);
  if (value == nullptr || value->get_den() != 1 || *value < 0 ||
      *value >= s.terms.num_args(term)) {
    return kNoTerm;
  }
  return s.arg(term, value->get_num().get_ui());
}

// The literals of `start`, and behind them each argument of the term, or its
// negation.
std::vector<TermId> with_all(Inference& s, std::vector<TermId> start,
                             TermId term, bool negated) {
  for (const TermId p : s.terms.args(term)) {
    start.push_back(negated ? s.no(p) : p);
  }
  return start;
}

// and (i): from (and p0 ... pn) conclude (cl pi).
Verdict and_one(Inference& s) {
  const TermId t = first(s, s.premises[0], Op::kAnd, false, 1);
  if (t == kNoTerm) return kWrongPremise;
  const TermId p = chosen(s, t);
  return p == kNoTerm ? kWrongPosition : s.concludes({p});
}

// or: from (or p0 ... pn) conclude (cl p0 ... pn).
Verdict or_all(Inference& s) {
  const TermId t = first(s, s.premises[0], Op::kOr, false, 1);
  return t == kNoTerm ? kWrongPremise : s.concludes(with_all(s, {}, t, false));
}

// not_and: from (not (and p0 ... pn)) conclude (cl (not p0) ... (not pn)).
Verdict not_and(Inference& s) {
  const TermId t = first(s, s.premises[0], Op::kAnd, true, 1);
  return t == kNoTerm ? kWrongPremise : s.concludes(with_all(s, {}, t, true));
}

// not_or (i): from (not (or p0 ... pn)) conclude (cl (not pi)).
Verdict not_or(Inference& s) {
  const TermId t = first(s, s.premises[0], Op::kOr, true, 1);
  if (t == kNoTerm) return kWrongPremise;
  const TermId p = chosen(s, t);
  return p == kNoTerm ? kWrongPosition : s.concludes({s.no(p)});
}

// and_pos (i): (cl (not (and p0 ... pn)) pi).
Verdict and_pos(Inference& s) {
  const TermId t = first(s, s.conclusion, Op::kAnd, true, 2);
  if (t == kNoTerm) return kWrongConclusion;
  const TermId p = chosen(s, t);
  return p == kNoTerm ? kWrongPosition : s.concludes({s.no(t), p});
}

// and_neg: (cl (and p0 ... pn) (not p0) ... (not pn)).
Verdict and_neg(Inference& s) {
  const TermId t = first(s, s.conclusion, Op::kAnd, false, SIZE_MAX);
  return t == kNoTerm ? kWrongConclusion
                      : s.concludes(with_all(s, {t}, t, true));
}

// or_pos: (cl (not (or p0 ... pn)) p0 ... pn).
Verdict or_pos(Inference& s) {
  const TermId t = first(s, s.conclusion, Op::kOr, true, SIZE_MAX);
  return t == kNoTerm ? kWrongConclusion
                      : s.concludes(with_all(s, {s.no(t)}, t, false));
}

// or_neg (i): (cl (or p0 ... pn) (not pi)).
Verdict or_neg(Inference& s) {
  const TermId t = first(s, s.conclusion, Op::kOr, false, 2);
  if (t == kNoTerm) return kWrongConclusion;
  const TermId p = chosen(s, t);
  return p == kNoTerm ? kWrongPosition : s.concludes({t, s.no(p)});
}

}  // namespace

const std::vector<Rule> kNaryRules = {
    {"and", 1, 1, and_one},     {"or", 1, 0, or_all},
    {"not_and", 1, 0, not_and}, {"not_or", 1, 1, not_or},
    {"and_pos", 0, 1, and_pos}, {"and_neg", 0, 0, and_neg},
    {"or_pos", 0, 0, or_pos},   {"or_neg", 0, 1, or_neg},
};

}  // namespace vorn::checker
