// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "checker/proof.h"

// Each function has its rule above it. p and (not (not p)) are different
// literals for all of them; `=` has two arguments, of any sort.

namespace vorn::checker {
namespace {

// --- Clauses ---

// resolution: from the clauses C0 ... Cn and the arguments p1 b1 ... pn bn
// conclude what is left when one after the other is taken in: for b = true, p
// is taken out of what there is and (not p) out of the next clause, for false
// (not p) and p, and the rest of both is what there is then. Clauses are sets.
void resolution(Inference& s) {
  s.require(!s.premises.empty(), "there are no premises");
  s.require(
      s.arguments.size() == 2 * (s.premises.size() - 1),
      "there must be a pivot and its sign for each premise but the first");
  const auto add = [&s](TermId literal) {
    if (!s.is_in[literal]) s.touched.push_back(literal);
    s.is_in[literal] = true;
  };
  s.is_in.resize(s.terms.size());
  for (const TermId literal : *s.premises[0]) add(literal);
  for (std::size_t i = 1; i < s.premises.size(); ++i) {
    const TermId pivot = s.arguments[2 * i - 2];
    const TermId sign = s.arguments[2 * i - 1];
    s.require(s.terms.sort(pivot) == Sort::kBool, "a pivot is not Boolean");
    const bool is_positive = sign == s.terms.boolean(true);
    s.require(is_positive || sign == s.terms.boolean(false),
              "the sign of a pivot is true or false");
    const TermId opposite = s.no(pivot);
    s.is_in.resize(s.terms.size());
    const TermId here = is_positive ? pivot : opposite;
    const TermId there = is_positive ? opposite : pivot;
    s.require(s.is_in[here], "a pivot is not in what the premises before give");
    s.is_in[here] = false;
    bool is_there = false;
    for (const TermId literal : *s.premises[i]) {
      is_there = is_there || literal == there;
      if (literal != there) add(literal);
    }
    s.require(is_there, "a pivot is not in its premise");
  }
  for (const TermId literal : s.conclusion) {
    s.require(s.is_in[literal], kWrongConclusion);
  }
  for (const TermId literal : s.conclusion) s.is_in[literal] = false;
  for (const TermId literal : s.touched) {
    s.require(!s.is_in[literal], kWrongConclusion);
  }
  s.touched.clear();
}

// contraction: from C conclude C without each literal that was there before.
void contraction(Inference& s) {
  std::unordered_set<TermId> seen;
  Clause literals;
  for (const TermId literal : *s.premises[0]) {
    if (seen.insert(literal).second) literals.push_back(literal);
  }
  s.concludes(literals);
}

// reordering: from C conclude the same literals, each as often, in any order.
void reordering(Inference& s) {
  Clause before = *s.premises[0];
  Clause after = s.conclusion;
  std::sort(before.begin(), before.end());
  std::sort(after.begin(), after.end());
  s.require(before == after, kWrongConclusion);
}

// weakening: from C conclude C with any literals behind it.
void weakening(Inference& s) {
  const Clause& premise = *s.premises[0];
  s.require(
      premise.size() <= s.conclusion.size() &&
          std::equal(premise.begin(), premise.end(), s.conclusion.begin()),
      kWrongConclusion);
}

// --- Equalities, what distinct, chains and conditional numbers stand for ---

// The two sides of the equality that is the only literal of the clause; any
// other clause is wrong for this reason.
const TermIds& sides(const Inference& s, const Clause& clause,
                     const char* reason) {
  s.require(clause.size() == 1 && s.is(clause[0], Op::kEqual, 2), reason);
  return s.terms.args(clause[0]);
}

// trans: from (= t0 t1), (= t1 t2), ... (= tm tn) conclude (cl (= t0 tn)).
void trans(Inference& s) {
  s.require(!s.premises.empty(), "there are no premises");
  const TermId first = sides(s, *s.premises[0], kWrongPremise)[0];
  TermId last = first;
  for (const Clause* premise : s.premises) {
    const TermIds& e = sides(s, *premise, kWrongPremise);
    s.require(e[0] == last,
              "a premise does not begin where the one before ends");
    last = e[1];
  }
  s.concludes({s.equal(first, last)});
}

// cong: from equalities conclude (cl (= (f s1 ... sn) (f t1 ... tn))): for each
// i, in this order, either the next premise is (= si ti) or si is ti.
void cong(Inference& s) {
  const TermIds& e = sides(s, s.conclusion, kWrongConclusion);
  const std::size_t count = s.terms.num_args(e[0]);
  s.require(count > 0 && s.is(e[1], s.terms.op(e[0]), count), kWrongConclusion);
  std::size_t used = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const TermId a = s.arg(e[0], i);
    const TermId b = s.arg(e[1], i);
    if (used < s.premises.size() &&
        *s.premises[used] == Clause{s.equal(a, b)}) {
      ++used;
    } else {
      s.require(a == b,
                "the next premise does not say that two arguments are equal");
    }
  }
  s.require(used == s.premises.size(), "a premise is not used");
}

// distinct_elim: (cl (= (distinct t0 ... tn) (and (not (= t0 t1)) ...))) with
// all pairs i < j in order; for two terms without the `and`; for three or more
// Booleans (cl (= (distinct ...) false)).
void distinct_elim(Inference& s) {
  const TermIds& e = sides(s, s.conclusion, kWrongConclusion);
  s.require(s.is(e[0], Op::kDistinct), kWrongConclusion);
  const TermIds& parts = s.terms.args(e[0]);
  const std::size_t count = parts.size();
  TermId meaning = s.terms.boolean(false);
  if (count == 2) {
    meaning = s.no(s.equal(parts[0], parts[1]));
  } else if (s.terms.sort(parts[0]) != Sort::kBool) {
    // No more pairs are made than are written.
    s.require(s.is(e[1], Op::kAnd, count * (count - 1) / 2), kWrongConclusion);
    TermIds pairs;
    for (std::size_t i = 0; i < count; ++i) {
      for (std::size_t j = i + 1; j < count; ++j) {
        pairs.push_back(s.no(s.equal(parts[i], parts[j])));
      }
    }
    meaning = s.terms.make(Op::kAnd, pairs);
  }
  s.require(e[1] == meaning, kWrongConclusion);
}

// nary_elim: (cl (= (r t0 t1 ... tn) (and (r t0 t1) (r t1 t2) ...))) for three
// or more arguments of r among =, <=, <, >= and >; for xor (cl (= (xor t0 t1
// ... tn) (xor (... (xor t0 t1) ...) tn))), and for => (cl (= (=> t0 ... tm tn)
// (=> t0 (... (=> tm tn) ...)))).
void nary_elim(Inference& s) {
  const TermIds& e = sides(s, s.conclusion, kWrongConclusion);
  const TermIds& parts = s.terms.args(e[0]);
  s.require(parts.size() >= 3, kWrongConclusion);
  const Op op = s.terms.op(e[0]);
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
  } else if (op == Op::kEqual || (op >= Op::kLeq && op <= Op::kGreater)) {
    TermIds links;
    for (std::size_t i = 1; i < parts.size(); ++i) {
      links.push_back(s.terms.make(op, {parts[i - 1], parts[i]}));
    }
    meaning = s.terms.make(Op::kAnd, links);
  }
  s.require(e[1] == meaning, kWrongConclusion);
}

// --- Rules of a fixed form ---

// Each is its own statement, read by `Match`: letters stand for terms, the same
// everywhere in a rule. p, q and c are Booleans because literals are: each `=`
// between Booleans has an argument that is one. `...` stands for all arguments
// of a connective, `~...` for their negations, and `i` for the one whose
// number, from 0, is the step's argument.
struct Scheme {
  std::string_view premise;  // its only literal; "": no premise
  std::string_view conclusion;
};

const std::unordered_map<std::string_view, Scheme> kSchemes = {
    // What a premise of one literal says.
    {"and", {"(and ...)", "i"}},
    {"or", {"(or ...)", "..."}},
    {"not_and", {"(not (and ...))", "~..."}},
    {"not_or", {"(not (or ...))", "(not i)"}},
    {"implies", {"(=> p q)", "(not p) q"}},
    {"not_implies1", {"(not (=> p q))", "p"}},
    {"not_implies2", {"(not (=> p q))", "(not q)"}},
    {"equiv1", {"(= p q)", "(not p) q"}},
    {"equiv2", {"(= p q)", "p (not q)"}},
    {"not_equiv1", {"(not (= p q))", "p q"}},
    {"not_equiv2", {"(not (= p q))", "(not p) (not q)"}},
    {"xor1", {"(xor p q)", "p q"}},
    {"xor2", {"(xor p q)", "(not p) (not q)"}},
    {"not_xor1", {"(not (xor p q))", "p (not q)"}},
    {"not_xor2", {"(not (xor p q))", "(not p) q"}},
    {"ite1", {"(ite c p q)", "c q"}},
    {"ite2", {"(ite c p q)", "(not c) p"}},
    {"not_ite1", {"(not (ite c p q))", "c (not q)"}},
    {"not_ite2", {"(not (ite c p q))", "(not c) (not p)"}},
    {"symm", {"(= s t)", "(= t s)"}},
    // What holds by itself.
    {"true", {"", "true"}},
    {"false", {"", "(not false)"}},
    {"not_not", {"", "(not (not (not p))) p"}},
    {"and_pos", {"", "(not (and ...)) i"}},
    {"and_neg", {"", "(and ...) ~..."}},
    {"or_pos", {"", "(not (or ...)) ..."}},
    {"or_neg", {"", "(or ...) (not i)"}},
    {"implies_pos", {"", "(not (=> p q)) (not p) q"}},
    {"implies_neg1", {"", "(=> p q) p"}},
    {"implies_neg2", {"", "(=> p q) (not q)"}},
    {"equiv_pos1", {"", "(not (= p q)) p (not q)"}},
    {"equiv_pos2", {"", "(not (= p q)) (not p) q"}},
    {"equiv_neg1", {"", "(= p q) (not p) (not q)"}},
    {"equiv_neg2", {"", "(= p q) p q"}},
    {"xor_pos1", {"", "(not (xor p q)) p q"}},
    {"xor_pos2", {"", "(not (xor p q)) (not p) (not q)"}},
    {"xor_neg1", {"", "(xor p q) p (not q)"}},
    {"xor_neg2", {"", "(xor p q) (not p) q"}},
    {"ite_pos1", {"", "(not (ite c p q)) c q"}},
    {"ite_pos2", {"", "(not (ite c p q)) (not c) p"}},
    {"ite_neg1", {"", "(ite c p q) c (not q)"}},
    {"ite_neg2", {"", "(ite c p q) (not c) (not p)"}},
    {"refl", {"", "(= t t)"}},
    {"eq_reflexive", {"", "(= t t)"}},
    {"la_disequality", {"", "(or (= s t) (not (<= s t)) (not (<= t s)))"}},
    {"la_totality", {"", "(or (<= s t) (<= t s))"}},
    {"la_rw_eq", {"", "(= (= s t) (and (<= s t) (<= t s)))"}},
};

// A comparison of terms with the text of a scheme. Recursion is as deep as the
// text, whatever the depth of the terms.
class Match {
 public:
  explicit Match(Inference& step) : step_(step), terms_(step.terms) {}

  void check(const Scheme& scheme) {
    const auto& [premise, conclusion] = scheme;
    const bool has_position =
        conclusion == "i" || conclusion.find(" i") != std::string_view::npos;
    step_.takes(premise.empty() ? 0 : 1, has_position ? 1 : 0);
    step_.require(premise.empty() || clause(premise, *step_.premises[0]),
                  kWrongPremise);
    step_.require(clause(conclusion, step_.conclusion), kWrongConclusion);
  }

  // Whether the clause is what the text says, literal by literal.
  bool clause(std::string_view text, const Clause& clause) {
    rest_ = text;
    std::size_t next = 0;
    while (!rest_.empty()) {
      if (rest_ != "..." && rest_ != "~...") {
        if (next == clause.size() || !term(clause[next++])) return false;
        continue;
      }
      const bool negated = take() == "~...";
      for (const TermId p : terms_.args(list_)) {
        const TermId wanted = negated ? terms_.negate(p) : p;
        if (next == clause.size() || clause[next++] != wanted) return false;
      }
    }
    return next == clause.size();
  }

 private:
  // The next bracket or word, with the blanks behind it taken away.
  std::string_view take() {
    std::size_t end =
        rest_[0] == '(' || rest_[0] == ')' ? 1 : rest_.find_first_of(" ()");
    end = std::min(end, rest_.size());
    const std::string_view taken = rest_.substr(0, end);
    while (end < rest_.size() && rest_[end] == ' ') ++end;
    rest_.remove_prefix(end);
    return taken;
  }

  bool term(TermId term) {
    const std::string_view word = take();
    if (word == "(") {
      if (take() != name_of(terms_.op(term))) return false;
      if (rest_[0] == '.') {
        list_ = term;
        take();
        return take() == ")";
      }
      for (std::size_t i = 0; i < terms_.num_args(term); ++i) {
        if (rest_[0] == ')' || !this->term(terms_.arg(term, i))) return false;
      }
      return take() == ")";
    }
    if (word == "i") {
      const mpq_class* i = step_.number(step_.arguments[0]);
      return i != nullptr && i->get_den() == 1 && *i >= 0 &&
             *i < terms_.num_args(list_) &&
             term == terms_.arg(list_, i->get_num().get_ui());
    }
    if (word.size() > 1) return term == terms_.boolean(word == "true");
    TermId& meant = letters_[static_cast<unsigned char>(word[0])];
    if (meant == kNoTerm) meant = term;
    return meant == term;
  }

  Inference& step_;
  Terms& terms_;
  std::string_view rest_;
  std::array<TermId, 128> letters_ = {};  // what they stand for so far
  TermId list_ = kNoTerm;                 // what has the arguments `...`
};

// ite_intro: (cl (= t (and t (ite c (= v a) (= v b)) ...))) where each v is a
// number (ite c a b). That t holds them is of no matter: what is said of v is
// true of every such v.
void ite_intro(Inference& s) {
  const TermIds& e = sides(s, s.conclusion, kWrongConclusion);
  s.require(s.is(e[1], Op::kAnd), kWrongConclusion);
  const TermIds& parts = s.terms.args(e[1]);
  s.require(parts[0] == e[0], kWrongConclusion);
  for (std::size_t i = 1; i < parts.size(); ++i) {
    const std::string_view text = "(ite c (= (ite c a b) a) (= (ite c a b) b))";
    s.require(Match(s).clause(text, {parts[i]}), kWrongConclusion);
    const TermId v = s.arg(s.arg(parts[i], 1), 0);
    s.require(s.terms.sort(v) != Sort::kBool, kWrongConclusion);
  }
}

// --- All rules ---

struct Rule {
  void (*check)(Inference&);
  int num_premises;   // -1: the function looks
  int num_arguments;  // likewise
};

const std::unordered_map<std::string_view, Rule> kRules = {
    {"resolution", {resolution, -1, -1}},
    {"th_resolution", {resolution, -1, -1}},
    {"contraction", {contraction, 1, 0}},
    {"reordering", {reordering, 1, 0}},
    {"weakening", {weakening, 1, 0}},
    {"trans", {trans, -1, 0}},
    {"cong", {cong, -1, 0}},
    {"distinct_elim", {distinct_elim, 0, 0}},
    {"nary_elim", {nary_elim, 0, 0}},
    {"ite_intro", {ite_intro, 0, 0}},
    {"la_generic", {la_generic, 0, -1}},
};

}  // namespace

void Inference::takes(int num_premises, int num_arguments) const {
  const auto fits = [](int wanted, std::size_t count) {
    return wanted < 0 || static_cast<std::size_t>(wanted) == count;
  };
  require(fits(num_premises, premises.size()), kWrongPremise);
  require(fits(num_arguments, arguments.size()),
          "the rule takes other arguments");
}

void check_inference(std::string_view rule, Inference& s) {
  const auto scheme = kSchemes.find(rule);
  if (scheme != kSchemes.end()) return Match(s).check(scheme->second);
  const auto found = kRules.find(rule);
  s.require(found != kRules.end(), "there is no such rule");
  const auto& [check, num_premises, num_arguments] = found->second;
  s.takes(num_premises, num_arguments);
  check(s);
}

}  // namespace vorn::checker
