// SPDX-License-Identifier: MIT
#include <array>
#include <string_view>
#include <unordered_map>

#include "checker/inference.h"

// Rules of a fixed form. Each is its own statement, read by `Match`: letters
// stand for terms, the same everywhere in a rule, and p, q and c for Booleans.

namespace vorn::checker {
namespace {

struct Scheme {
  const char* name;
  const char* premise;  // its only literal; "": no premise
  const char* conclusion;
};

constexpr Scheme kSchemes[] = {
    // What a premise of one literal says.
    {"implies", "(=> p q)", "(not p) q"},
    {"not_implies1", "(not (=> p q))", "p"},
    {"not_implies2", "(not (=> p q))", "(not q)"},
    {"equiv1", "(= p q)", "(not p) q"},
    {"equiv2", "(= p q)", "p (not q)"},
    {"not_equiv1", "(not (= p q))", "p q"},
    {"not_equiv2", "(not (= p q))", "(not p) (not q)"},
    {"xor1", "(xor p q)", "p q"},
    {"xor2", "(xor p q)", "(not p) (not q)"},
    {"not_xor1", "(not (xor p q))", "p (not q)"},
    {"not_xor2", "(not (xor p q))", "(not p) q"},
    {"ite1", "(ite c p q)", "c q"},
    {"ite2", "(ite c p q)", "(not c) p"},
    {"not_ite1", "(not (ite c p q))", "c (not q)"},
    {"not_ite2", "(not (ite c p q))", "(not c) (not p)"},
    {"symm", "(= s t)", "(= t s)"},
    // What holds by itself.
    {"true", "", "true"},
    {"false", "", "(not false)"},
    {"not_not", "", "(not (not (not p))) p"},
    {"implies_pos", "", "(not (=> p q)) (not p) q"},
    {"implies_neg1", "", "(=> p q) p"},
    {"implies_neg2", "", "(=> p q) (not q)"},
    {"equiv_pos1", "", "(not (= p q)) p (not q)"},
    {"equiv_pos2", "", "(not (= p q)) (not p) q"},
    {"equiv_neg1", "", "(= p q) (not p) (not q)"},
    {"equiv_neg2", "", "(= p q) p q"},
    {"xor_pos1", "", "(not (xor p q)) p q"},
    {"xor_pos2", "", "(not (xor p q)) (not p) (not q)"},
    {"xor_neg1", "", "(xor p q) p (not q)"},
    {"xor_neg2", "", "(xor p q) (not p) q"},
    {"ite_pos1", "", "(not (ite c p q)) c q"},
    {"ite_pos2", "", "(not (ite c p q)) (not c) p"},
    {"ite_neg1", "", "(ite c p q) c (not q)"},
    {"ite_neg2", "", "(ite c p q) (not c) (not p)"},
    {"refl", "", "(= t t)"},
    {"eq_reflexive", "", "(= t t)"},
    {"la_disequality", "", "(or (= s t) (not (<= s t)) (not (<= t s)))"},
    {"la_totality", "", "(or (<= s t) (<= t s))"},
    {"la_rw_eq", "", "(= (= s t) (and (<= s t) (<= t s)))"},
};

// A comparison of terms with the text of a scheme. Recursion is as deep as the
// text, whatever the depth of the terms.
class Match {
 public:
  explicit Match(const Terms& terms) : terms_(terms) {}

  // Whether the clause is what the text says, literal by literal.
  bool clause(const char* text, const Clause& clause) {
    rest_ = text;
    for (const TermId literal : clause) {
      if (rest_.empty() || !term(literal)) return false;
    }
    return rest_.empty();
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
      if (find_op(take()) != terms_.op(term)) return false;
      for (std::size_t i = 0; i < terms_.num_args(term); ++i) {
        if (rest_[0] == ')' || !this->term(terms_.arg(term, i))) return false;
      }
      return take() == ")";
    }
    if (word.size() > 1) return term == terms_.boolean(word == "true");
    const bool is_bool = word == "p" || word == "q" || word == "c";
    if (is_bool && terms_.sort(term) != Sort::kBool) return false;
    TermId& meant = letters_[static_cast<unsigned char>(word[0])];
    if (meant == kNoTerm) meant = term;
    return meant == term;
  }

  const Terms& terms_;
  std::string_view rest_;
  std::array<TermId, 128> letters_ = {};  // what they stand for so far
};

}  // namespace

std::optional<Verdict> check_scheme(const std::string& rule,
                                    Inference& inference) {
  static const auto kByName = [] {
    std::unordered_map<std::string_view, const Scheme*> schemes;
    for (const Scheme& scheme : kSchemes) schemes.emplace(scheme.name, &scheme);
    return schemes;
  }();
  const auto found = kByName.find(rule);
  if (found == kByName.end()) return std::nullopt;
  const Scheme& scheme = *found->second;
  const bool has_premise = scheme.premise[0] != '\0';
  if (inference.premises.size() != (has_premise ? 1 : 0)) {
    return kWrongPremiseCount;
  }
  if (!inference.arguments.empty()) return kWrongArgumentCount;
  Match match(inference.terms);
  if (has_premise && !match.clause(scheme.premise, inference.premises[0])) {
    return kWrongPremise;
  }
  return match.clause(scheme.conclusion, inference.conclusion)
             ? kRight
             : kWrongConclusion;
}

}  // namespace vorn::checker
