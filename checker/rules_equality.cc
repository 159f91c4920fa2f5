// SPDX-License-Identifier: MIT
#include <vector>

#include "checker/inference.h"

// Rules about equality, about what distinct, chains and conditional numbers
// stand for, and about sums. `=` has two arguments, of any sort.

namespace vorn::checker {
namespace {

// The equality that is the only literal of the clause, or kNoTerm.
TermId equality(const Inference& s, const Clause& clause) {
  return clause.size == 1 && s.is(clause[0], Op::kEqual, 2) ? clause[0]
                                                            : kNoTerm;
}

// trans: from (= t0 t1), (= t1 t2), ... (= tm tn) conclude (cl (= t0 tn)).
Verdict trans(Inference& s) {
  if (s.premises.empty()) return "there are no premises";
  TermId first = kNoTerm;
  TermId last = kNoTerm;
  for (const Clause& premise : s.premises) {
    const TermId e = equality(s, premise);
    if (e == kNoTerm) return kWrongPremise;
    if (first == kNoTerm) {
      first = s.arg(e, 0);
    } else if (s.arg(e, 0) != last) {
      return "a premise does not begin where the one before ends";
    }
    last = s.arg(e, 1);
  }
  return s.concludes({s.equal(first, last)});
}

// cong: from equalities conclude (cl (= (f s1 ... sn) (f t1 ... tn))): for each
// i, in this order, either the next premise is (= si ti) or si is ti.
Verdict cong(Inference& s) {
  const TermId e = equality(s, s.conclusion);
  if (e == kNoTerm) return kWrongConclusion;
  const TermId left = s.arg(e, 0);
  const TermId right = s.arg(e, 1);
  const std::size_t count = s.terms.num_args(left);
  if (count == 0 || !s.is(right, s.terms.op(left), count)) {
    return kWrongConclusion;
  }
  std::size_t used = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const TermId a = s.arg(left, i);
    const TermId b = s.arg(right, i);
    const TermId known =
        used < s.premises.size() ? equality(s, s.premises[used]) : kNoTerm;
    if (known != kNoTerm && s.arg(known, 0) == a && s.arg(known, 1) == b) {
      ++used;
    } else if (a != b) {
      return "the next premise does not say that two arguments are equal";
    }
  }
  return used == s.premises.size() ? kRight : "a premise is not used";
}

// distinct_elim: (cl (= (distinct t0 ... tn) (and (not (= t0 t1)) ...))) with
// all pairs i < j in order; for two terms without the `and`; for three or more
// Booleans (cl (= (distinct ...) false)).
Verdict distinct_elim(Inference& s) {
  const TermId e = equality(s, s.conclusion);
  if (e == kNoTerm || !s.is(s.arg(e, 0), Op::kDistinct)) {
    return kWrongConclusion;
  }
  const TermId distinct = s.arg(e, 0);
  const TermId meaning = s.arg(e, 1);
  const std::size_t count = s.terms.num_args(distinct);
  if (count > 2 && s.terms.sort(s.arg(distinct, 0)) == Sort::kBool) {
    return meaning == s.terms.boolean(false) ? kRight : kWrongConclusion;
  }
  const std::size_t pairs = count * (count - 1) / 2;
  if (pairs > 1 && !s.is(meaning, Op::kAnd, pairs)) return kWrongConclusion;
  std::size_t next = 0;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = i + 1; j < count; ++j) {
      const TermId pair = pairs > 1 ? s.arg(meaning, next++) : meaning;
      if (pair != s.no(s.equal(s.arg(distinct, i), s.arg(distinct, j)))) {
        return kWrongConclusion;
      }
    }
  }
  return kRight;
}

// nary_elim: (cl (= (r t0 t1 ... tn) (and (r t0 t1) (r t1 t2) ...))) for three
// or more arguments of r among =, <=, <, >= and >; for xor (cl (= (xor t0 t1
// ... tn) (xor (... (xor t0 t1) ...) tn))), and for => (cl (= (=> t0 ... tm tn)
// (=> t0 (... (=> tm tn) ...)))).
Verdict nary_elim(Inference& s) {
  const TermId e = equality(s, s.conclusion);
  if (e == kNoTerm) return kWrongConclusion;
  const TermId chain = s.arg(e, 0);
  const std::vector<TermId> parts = s.terms.args(chain);
  if (parts.size() < 3) return kWrongConclusion;
  const Op op = s.terms.op(chain);
  TermId meaning = kNoTerm;
  if (op == Op::kXor) {
    meaning = parts.front();
    for (std::size_t i = 1; i < parts.size(); ++i) {
      meaning = s.terms.make(op, {meaning, parts[i]});
    }
  } else if (op == Op::kImplies) {
    meaning = parts.back();
    for (std::size_t i = parts.size() - 1; i-- > 0;) {
      meaning = s.terms.make(op, {parts[i], meaning});
    }
  } else if (op == Op::kEqual || op == Op::kLeq || op == Op::kLess ||
             op == Op::kGeq || op == Op::kGreater) {
    std::vector<TermId> links;
    for (std::size_t i = 1; i < parts.size(); ++i) {
      links.push_back(s.terms.make(op, {parts[i - 1], parts[i]}));
    }
    meaning = s.terms.make(Op::kAnd, links);
  }
  return meaning == s.arg(e, 1) ? kRight : kWrongConclusion;
}

// ite_intro: (cl (= t (and t (ite c (= v a) (= v b)) ...))) where each v is a
// number (ite c a b). That t holds them is of no matter: what is said of v is
// true of every such v.
Verdict ite_intro(Inference& s) {
  const TermId e = equality(s, s.conclusion);
  if (e == kNoTerm || !s.is(s.arg(e, 1), Op::kAnd)) return kWrongConclusion;
  const TermId all = s.arg(e, 1);
  if (s.arg(all, 0) != s.arg(e, 0)) return kWrongConclusion;
  for (std::size_t i = 1; i < s.terms.num_args(all); ++i) {
    const TermId choice = s.arg(all, i);
    if (!s.is(choice, Op::kIte) || !s.is(s.arg(choice, 1), Op::kEqual, 2)) {
      return kWrongConclusion;
    }
    const TermId v = s.arg(s.arg(choice, 1), 0);
    if (!s.is(v, Op::kIte) || s.terms.sort(v) == Sort::kBool ||
        s.arg(v, 0) != s.arg(choice, 0) ||
        s.arg(choice, 1) != s.equal(v, s.arg(v, 1)) ||
        s.arg(choice, 2) != s.equal(v, s.arg(v, 2))) {
      return kWrongConclusion;
    }
  }
  return kRight;
}

// la_generic (c1 ... cn): (cl l1 ... ln), where the negations of the literals,
// each multiplied by its coefficient, add up to something false; see
// Arithmetic::refutes.
Verdict la_generic(Inference& s) {
  if (s.arguments.size() != s.conclusion.size) {
    return "there must be a coefficient for each literal";
  }
  std::vector<mpq_class> coefficients;
  for (const TermId argument : s.arguments) {
    const mpq_class* value = s.terms.value(argument);
    if (value == nullptr) return "a coefficient is not a number";
    coefficients.push_back(*value);
  }
  return s.arithmetic.refutes(s.conclusion.literals, coefficients);
}

}  // namespace

const std::vector<Rule> kEqualityRules = {
    {"trans", -1, 0, trans},
    {"cong", -1, 0, cong},
    {"distinct_elim", 0, 0, distinct_elim},
    {"nary_elim", 0, 0, nary_elim},
    {"ite_intro", 0, 0, ite_intro},
    {"la_generic", 0, -1, la_generic},
};

}  // namespace vorn::checker
