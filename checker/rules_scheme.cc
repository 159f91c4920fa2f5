// SPDX-License-Identifier: MIT
#include <array>
#include <string_view>
#include <unordered_map>

#include "checker/inference.h"

// Rules of a fixed form. Each is its own statement, read by `Match`: letters
// stand for terms, the same everywhere in a rule. p, q and c are Booleans
// because literals are: each `=` between Booleans has an argument that is one.
// `...` stands for all arguments of a connective, `~...` for their negations,
// and `i` for the one whose number, from 0, is the step's argument.

namespace vorn::checker {
namespace {

struct Scheme {
  const char* name;
  const char* premise;  // its only literal; "": no premise
  const char* conclusion;
};

constexpr Scheme kSchemes[] = {
    // What a premise of one literal says.
    {"and", "(and ...)", "i"},
    {"or", "(or ...)", "..."},
    {"not_and", "(not (and ...))", "~..."},
    {"not_or", "(not (or ...))", "(not i)"},
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
    {"and_pos", "", "(not (and ...)) i"},
    {"and_neg", "", "(and ...) ~..."},
    {"or_pos", "", "(not (or ...)) ..."},
    {"or_neg", "", "(or ...) (not i)"},
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
  // `position`: what `i` is.
  Match(Terms& terms, const mpq_class* position)
      : terms_(terms), position_(position) {}

  // Whether the clause is what the text says, literal by literal.
  bool clause(const char* text, const Clause& clause) {
    rest_ = text;
    std::size_t next = 0;
    while (!rest_.empty()) {
      if (rest_ != "..." && rest_ != "~...") {
        if (next == clause.size || !term(clause[next++])) return false;
        continue;
      }
      const bool negated = take() == "~...";
      for (const TermId p : terms_.args(list_)) {
        const TermId wanted = negated ? terms_.negate(p) : p;
        if (next == clause.size || clause[next++] != wanted) return false;
      }
    }
    return next == clause.size;
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
      return position_ != nullptr && position_->get_den() == 1 &&
             *position_ >= 0 && *position_ < terms_.num_args(list_) &&
             term == terms_.arg(list_, position_->get_num().get_ui());
    }
    if (word.size() > 1) return term == terms_.boolean(word == "true");
    TermId& meant = letters_[static_cast<unsigned char>(word[0])];
    if (meant == kNoTerm) meant = term;
    return meant == term;
  }

  Terms& terms_;
  const mpq_class* position_;  // of a term that is no `not`
  std::string_view rest_;
  std::array<TermId, 128> letters_ = {};  // what they stand for so far
  TermId list_ = kNoTerm;                 // what has the arguments `...`
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
  const std::string_view conclusion = scheme.conclusion;
  const bool has_position =
      conclusion == "i" || conclusion.find(" i") != std::string_view::npos;
  if (inference.arguments.size() != (has_position ? 1 : 0)) {
    return kWrongArgumentCount;
  }
  Match match(
      inference.terms,
      has_position ? inference.terms.value(inference.arguments[0]) : nullptr);
  if (has_premise && !match.clause(scheme.premise, inference.premises[0])) {
    return kWrongPremise;
  }
  return match.clause(scheme.conclusion, inference.conclusion)
             ? kRight
             : kWrongConclusion;
}

}  // namespace vorn::checker
