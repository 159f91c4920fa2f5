// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/checker/checking.h"

namespace vorn::checker {
namespace {

// One right use of a rule. Each list of literals is as it stands in a proof.
struct Example {
  std::string rule;
  std::vector<std::vector<std::string>> premises;
  std::vector<std::string> conclusion;
  std::vector<std::string> arguments;
};

const std::vector<Example>& examples() {
  static const std::vector<Example> kExamples = {
      {"and", {{"(and p q r)"}}, {"q"}, {"1"}},
      {"or", {{"(or p q r)"}}, {"p", "q", "r"}, {}},
      {"not_and", {{"(not (and p q))"}}, {"(not p)", "(not q)"}, {}},
      {"not_or", {{"(not (or p q r))"}}, {"(not r)"}, {"2"}},
      {"implies", {{"(=> p q)"}}, {"(not p)", "q"}, {}},
      {"not_implies1", {{"(not (=> p q))"}}, {"p"}, {}},
      {"not_implies2", {{"(not (=> p q))"}}, {"(not q)"}, {}},
      {"equiv1", {{"(= p q)"}}, {"(not p)", "q"}, {}},
      {"equiv2", {{"(= p q)"}}, {"p", "(not q)"}, {}},
      {"not_equiv1", {{"(not (= p q))"}}, {"p", "q"}, {}},
      {"not_equiv2", {{"(not (= p q))"}}, {"(not p)", "(not q)"}, {}},
      {"xor1", {{"(xor p q)"}}, {"p", "q"}, {}},
      {"xor2", {{"(xor p q)"}}, {"(not p)", "(not q)"}, {}},
      {"not_xor1", {{"(not (xor p q))"}}, {"p", "(not q)"}, {}},
      {"not_xor2", {{"(not (xor p q))"}}, {"(not p)", "q"}, {}},
      {"ite1", {{"(ite r p q)"}}, {"r", "q"}, {}},
      {"ite2", {{"(ite r p q)"}}, {"(not r)", "p"}, {}},
      {"not_ite1", {{"(not (ite r p q))"}}, {"r", "(not q)"}, {}},
      {"not_ite2", {{"(not (ite r p q))"}}, {"(not r)", "(not p)"}, {}},
      {"true", {}, {"true"}, {}},
      {"false", {}, {"(not false)"}, {}},
      {"not_not", {}, {"(not (not (not p)))", "p"}, {}},
      {"and_pos", {}, {"(not (and p q))", "q"}, {"1"}},
      {"and_neg", {}, {"(and p q)", "(not p)", "(not q)"}, {}},
      {"or_pos", {}, {"(not (or p q))", "p", "q"}, {}},
      {"or_neg", {}, {"(or p q)", "(not q)"}, {"1"}},
      {"implies_pos", {}, {"(not (=> p q))", "(not p)", "q"}, {}},
      {"implies_neg1", {}, {"(=> p q)", "p"}, {}},
      {"implies_neg2", {}, {"(=> p q)", "(not q)"}, {}},
      {"equiv_pos1", {}, {"(not (= p q))", "p", "(not q)"}, {}},
      {"equiv_pos2", {}, {"(not (= p q))", "(not p)", "q"}, {}},
      {"equiv_neg1", {}, {"(= p q)", "(not p)", "(not q)"}, {}},
      {"equiv_neg2", {}, {"(= p q)", "p", "q"}, {}},
      {"xor_pos1", {}, {"(not (xor p q))", "p", "q"}, {}},
      {"xor_pos2", {}, {"(not (xor p q))", "(not p)", "(not q)"}, {}},
      {"xor_neg1", {}, {"(xor p q)", "p", "(not q)"}, {}},
      {"xor_neg2", {}, {"(xor p q)", "(not p)", "q"}, {}},
      {"ite_pos1", {}, {"(not (ite r p q))", "r", "q"}, {}},
      {"ite_pos2", {}, {"(not (ite r p q))", "(not r)", "p"}, {}},
      {"ite_neg1", {}, {"(ite r p q)", "r", "(not q)"}, {}},
      {"ite_neg2", {}, {"(ite r p q)", "(not r)", "(not p)"}, {}},
      {"refl", {}, {"(= x x)"}, {}},
      {"eq_reflexive", {}, {"(= p p)"}, {}},
      {"symm", {{"(= x y)"}}, {"(= y x)"}, {}},
      {"trans", {{"(= x y)"}, {"(= y z)"}}, {"(= x z)"}, {}},
      {"cong", {{"(= x y)"}}, {"(= (<= x z) (<= y z))"}, {}},
      {"cong", {{"(= x y)"}, {"(= y z)"}}, {"(= (+ x 1 y) (+ y 1 z))"}, {}},
      {"la_disequality",
       {},
       {"(or (= x y) (not (<= x y)) (not (<= y x)))"},
       {}},
      {"la_totality", {}, {"(or (<= x y) (<= y x))"}, {}},
      {"la_rw_eq", {}, {"(= (= x y) (and (<= x y) (<= y x)))"}, {}},
      {"distinct_elim", {}, {"(= (distinct x y) (not (= x y)))"}, {}},
      {"distinct_elim", {}, {"(= (distinct p q) (not (= p q)))"}, {}},
      {"distinct_elim",
       {},
       {"(= (distinct x y z) (and (not (= x y)) (not (= x z)) (not (= y z))))"},
       {}},
      {"distinct_elim", {}, {"(= (distinct p q r) false)"}, {}},
      {"nary_elim", {}, {"(= (<= x y z) (and (<= x y) (<= y z)))"}, {}},
      {"nary_elim", {}, {"(= (> x y z) (and (> x y) (> y z)))"}, {}},
      {"nary_elim", {}, {"(= (= p q r) (and (= p q) (= q r)))"}, {}},
      {"nary_elim", {}, {"(= (xor p q r) (xor (xor p q) r))"}, {}},
      {"nary_elim", {}, {"(= (=> p q r) (=> p (=> q r)))"}, {}},
      {"ite_intro",
       {},
       {"(= (<= (ite p x y) 3) (and (<= (ite p x y) 3) (ite p (= (ite p x y) "
        "x) (= (ite p x y) y))))"},
       {}},
      {"la_generic",
       {},
       {"(not (<= (- x y) 2))", "(not (< (- y z) 1))", "(not (<= z (- x 3)))"},
       {"1", "1", "1"}},
      {"resolution",
       {{"p", "q"}, {"(not p)", "r"}, {"(not r)"}},
       {"q"},
       {"p", "true", "r", "true"}},
      {"th_resolution",
       {{"(not p)", "q"}, {"p", "(not q)", "r"}},
       {"q", "(not q)", "r"},
       {"p", "false"}},
      {"contraction", {{"p", "q", "p", "q"}}, {"p", "q"}, {}},
      {"reordering", {{"p", "q", "p"}}, {"q", "p", "p"}, {}},
      {"weakening", {{"p"}}, {"p", "q"}, {}},
  };
  return kExamples;
}

std::string join(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += ' ' + part;
  return text;
}

constexpr const char* kRuleDeclarations =
    "(set-logic QF_IDL)(declare-const p Bool)(declare-const q Bool)"
    "(declare-const r Bool)(declare-const x Int)(declare-const y Int)"
    "(declare-const z Int)(declare-const unused Bool)(assert true)(check-sat)";

// What is wrong with the step. Premises are put into place by a local proof
// that assumes them: clauses of more than one literal by `or` from a
// disjunction.
std::string mistake(const Example& example) {
  std::string proof = "(anchor :step end)";
  std::string names;
  for (std::size_t i = 0; i < example.premises.size(); ++i) {
    const std::string name = "h" + std::to_string(i);
    const std::vector<std::string>& literals = example.premises[i];
    if (literals.size() == 1) {
      proof += "(assume " + name + join(literals) + ')';
    } else if (literals.empty()) {
      proof += "(assume " + name + "a false)";
      proof += "(step " + name + "b (cl (not false)) :rule false)";
      proof += "(step " + name + " (cl) :rule resolution :premises (" + name +
               "a " + name + "b) :args (false true))";
    } else {
      proof += "(assume " + name + "a (or" + join(literals) + "))";
      proof += "(step " + name + " (cl" + join(literals) +
               ") :rule or :premises (" + name + "a))";
    }
    names += ' ' + name;
  }
  proof += "\n(step tested (cl" + join(example.conclusion) + ") :rule " +
           example.rule;
  if (!names.empty()) proof += " :premises (" + names + ')';
  if (!example.arguments.empty()) {
    proof += " :args (" + join(example.arguments) + ')';
  }
  const Outcome outcome = check_text(kRuleDeclarations, proof + ')');
  const bool is_open =
      outcome.reason.find("of an anchor is missing") != std::string::npos;
  EXPECT_TRUE(is_open || outcome.position.line == 2) << outcome.reason << proof;
  return is_open ? "" : outcome.reason;
}

std::string negation(const std::string& literal) {
  return "(not " + literal + ')';
}

// All lists that differ from one by a literal negated, stripped of its `not`,
// dropped, written twice, replaced, added, or by two neighbours swapped.
std::vector<std::vector<std::string>> neighbours(
    const std::vector<std::string>& list) {
  std::vector<std::vector<std::string>> result;
  for (std::size_t i = 0; i < list.size(); ++i) {
    auto changed = list;
    changed[i] = negation(list[i]);
    result.push_back(changed);
    changed[i] = "unused";
    result.push_back(changed);
    if (list[i].compare(0, 5, "(not ") == 0) {
      changed[i] = list[i].substr(5, list[i].size() - 6);
      result.push_back(changed);
    }
    changed = list;
    changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(i));
    result.push_back(changed);
    changed = list;
    changed.push_back(list[i]);
    result.push_back(changed);
    if (i > 0 && list[i] != list[i - 1]) {
      changed = list;
      std::swap(changed[i], changed[i - 1]);
      result.push_back(changed);
    }
  }
  auto longer = list;
  longer.emplace_back("unused");
  result.push_back(longer);
  return result;
}

// Rules that see clauses as sets, or take more than one clause from a premise.
bool is_about_sets(const std::string& rule) {
  return rule == "resolution" || rule == "th_resolution" ||
         rule == "contraction" || rule == "reordering" || rule == "weakening" ||
         rule == "la_generic";
}

// A rule that is refused when it is used well makes good proofs worthless.
TEST(RulesTest, EachExampleIsAccepted) {
  for (const Example& example : examples()) {
    EXPECT_EQ(mistake(example), "") << example.rule;
  }
}

TEST(RulesTest, EachChangeOfAConclusionIsRejected) {
  for (const Example& example : examples()) {
    if (is_about_sets(example.rule)) continue;
    for (const auto& conclusion : neighbours(example.conclusion)) {
      Example changed = example;
      changed.conclusion = conclusion;
      EXPECT_NE(mistake(changed), "") << example.rule << join(conclusion);
    }
  }
}

TEST(RulesTest, EachChangeOfAPremiseIsRejected) {
  for (const Example& example : examples()) {
    if (is_about_sets(example.rule)) continue;
    for (std::size_t i = 0; i < example.premises.size(); ++i) {
      for (const auto& premise : neighbours(example.premises[i])) {
        Example changed = example;
        changed.premises[i] = premise;
        EXPECT_NE(mistake(changed), "") << example.rule << join(premise);
      }
    }
  }
}

TEST(RulesTest, AnotherNumberOfPremisesIsRejected) {
  for (const Example& example : examples()) {
    Example more = example;
    more.premises.push_back({"unused"});
    EXPECT_NE(mistake(more), "") << example.rule;
    if (example.premises.empty()) continue;
    Example fewer = example;
    fewer.premises.pop_back();
    EXPECT_NE(mistake(fewer), "") << example.rule;
  }
}

TEST(RulesTest, OtherArgumentsAreRejected) {
  for (const Example& example : examples()) {
    Example more = example;
    more.arguments.emplace_back("1");
    EXPECT_NE(mistake(more), "") << example.rule;
    if (example.arguments.empty()) continue;
    Example fewer = example;
    fewer.arguments.pop_back();
    EXPECT_NE(mistake(fewer), "") << example.rule;
    if (example.arguments.size() != 1) continue;
    for (const char* other :
         {"0", "3", "-1", "(- 1)", "1.5", "99999999999999999999", "p", "x",
          "true", "false"}) {
      Example changed = example;
      changed.arguments[0] = other;
      if (changed.arguments == example.arguments) continue;
      EXPECT_NE(mistake(changed), "") << example.rule << other;
    }
  }
}

// Each rule in the name of each other: what follows by one and is claimed by
// another may be right, but only where the rules say the same.
TEST(RulesTest, ExamplesUnderOtherNamesAreRejectedOrTheSame) {
  for (const Example& example : examples()) {
    for (const Example& other : examples()) {
      if (other.rule == example.rule) continue;
      Example changed = example;
      changed.rule = other.rule;
      if (!mistake(changed).empty()) continue;
      const bool is_alias =
          (example.rule == "refl" && other.rule == "eq_reflexive") ||
          (example.rule == "eq_reflexive" && other.rule == "refl") ||
          example.rule == "th_resolution" || example.rule == "resolution" ||
          // As sets they are the same.
          ((example.rule == "contraction" || example.rule == "reordering") &&
           other.rule.find("resolution") != std::string::npos);
      EXPECT_TRUE(is_alias) << example.rule << " as " << other.rule;
    }
  }
}

TEST(RulesTest, UntrustworthyAndUnknownRulesAreRejected) {
  for (const char* rule : {"hole", "trust", "lia_generic", "all_simplify", "",
                           "RESOLUTION", "resolution2", "rup"}) {
    Example example{"hole", {{"p"}}, {"p"}, {}};
    example.rule = *rule == '\0' ? "||" : rule;
    EXPECT_NE(mistake(example), "") << rule;
  }
}

// --- Rules about sets ---

TEST(RulesTest, ResolutionTakesEitherOrderOfTheResult) {
  Example example{
      "resolution", {{"p", "q"}, {"(not p)", "r"}}, {"r", "q"}, {"p", "true"}};
  EXPECT_EQ(mistake(example), "");
  example.conclusion = {"q", "r"};
  EXPECT_EQ(mistake(example), "");
}

TEST(RulesTest, ResolutionRejectsAnyOtherResult) {
  const std::vector<std::vector<std::string>> kWrong = {{},
                                                        {"q"},
                                                        {"r"},
                                                        {"q", "p"},
                                                        {"q", "r", "p"},
                                                        {"q", "r", "(not p)"},
                                                        {"q", "(not r)"}};
  for (const auto& conclusion : kWrong) {
    const Example example{"resolution",
                          {{"p", "q"}, {"(not p)", "r"}},
                          conclusion,
                          {"p", "true"}};
    EXPECT_NE(mistake(example), "") << join(conclusion);
  }
}

TEST(RulesTest, ResolutionRejectsWrongPivotsAndSigns) {
  const std::vector<std::vector<std::string>> kWrong = {
      {},
      {"p"},
      {"p", "false"},
      {"q", "true"},
      {"r", "true"},
      {"true", "p"},
      {"(not p)", "true"},
      {"x", "true"},
      {"p", "p"},
      {"p", "true", "p", "true"}};
  for (const auto& arguments : kWrong) {
    const Example example{
        "resolution", {{"p", "q"}, {"(not p)", "r"}}, {"q", "r"}, arguments};
    EXPECT_NE(mistake(example), "") << join(arguments);
  }
}

// The clause is what would be left if a pivot that is missing had been there.
TEST(RulesTest, ResolutionNeedsThePivotOnBothSides) {
  EXPECT_NE(mistake({"resolution",
                     {{"p", "q"}, {"unused", "r"}},
                     {"q", "unused", "r"},
                     {"p", "true"}}),
            "");
  EXPECT_NE(mistake({"resolution",
                     {{"unused", "q"}, {"(not p)", "r"}},
                     {"unused", "q", "r"},
                     {"p", "true"}}),
            "");
  EXPECT_NE(mistake({"resolution",
                     {{"(not p)", "q"}, {"unused"}},
                     {"q", "unused"},
                     {"p", "false"}}),
            "");
  EXPECT_NE(mistake({"resolution", {{"q"}, {"p"}}, {"q"}, {"p", "false"}}), "");
}

// p and (not (not p)) are different literals: what makes one of the other is
// the rule not_not alone.
TEST(RulesTest, ResolutionKeepsDoubleNegationsApart) {
  Example example{
      "resolution", {{"(not (not p))"}, {"(not p)"}}, {}, {"p", "true"}};
  EXPECT_NE(mistake(example), "");
  example.arguments = {"(not p)", "false"};
  EXPECT_EQ(mistake(example), "");
}

TEST(RulesTest, ResolutionKeepsBothSignsOfALiteral) {
  const Example example{
      "resolution", {{"p", "(not p)"}, {"(not p)"}}, {}, {"p", "true"}};
  EXPECT_NE(mistake(example), "");
  Example kept = example;
  kept.conclusion = {"(not p)"};
  EXPECT_EQ(mistake(kept), "");
}

TEST(RulesTest, ResolutionOfOnePremiseKeepsIt) {
  EXPECT_EQ(mistake({"resolution", {{"p", "q"}}, {"q", "p"}, {}}), "");
  EXPECT_NE(mistake({"resolution", {{"p", "q"}}, {"q"}, {}}), "");
}

TEST(RulesTest, ContractionReorderingWeakeningRejectLosses) {
  const std::vector<Example> kWrong = {
      {"contraction", {{"p", "q", "p"}}, {"p", "q", "p"}, {}},
      {"contraction", {{"p", "q", "p"}}, {"q", "p"}, {}},
      {"contraction", {{"p", "q", "p"}}, {"p"}, {}},
      {"contraction", {{"p", "q", "p"}}, {"p", "q", "r"}, {}},
      {"reordering", {{"p", "q", "p"}}, {"p", "q"}, {}},
      {"reordering", {{"p", "q", "p"}}, {"p", "q", "q"}, {}},
      {"reordering", {{"p", "q", "p"}}, {"p", "q", "p", "p"}, {}},
      {"weakening", {{"p", "q"}}, {"p"}, {}},
      {"weakening", {{"p", "q"}}, {"q", "p", "r"}, {}},
      {"weakening", {{"p", "q"}}, {"r", "p", "q"}, {}},
      {"weakening", {{"p", "q"}}, {}, {}},
  };
  for (const Example& example : kWrong) {
    EXPECT_NE(mistake(example), "") << example.rule << join(example.conclusion);
  }
}

// --- Equalities ---

TEST(RulesTest, EqualitiesInsideRulesAreNotTurned) {
  const std::vector<Example> kWrong = {
      {"symm", {{"(= x y)"}}, {"(= x y)"}, {}},
      {"trans", {{"(= x y)"}, {"(= z y)"}}, {"(= x z)"}, {}},
      {"trans", {{"(= x y)"}, {"(= y z)"}}, {"(= z x)"}, {}},
      {"trans", {{"(= x y)"}, {"(= z z)"}}, {"(= x z)"}, {}},
      {"cong", {{"(= y x)"}}, {"(= (<= x z) (<= y z))"}, {}},
      {"cong", {{"(= x y)"}}, {"(= (<= x z) (< y z))"}, {}},
      {"cong", {{"(= x y)"}}, {"(= (<= x z) (<= y x))"}, {}},
      {"cong", {{"(= x y)"}}, {"(= (+ x z) (+ y z z))"}, {}},
      {"cong", {{"(= x y)"}}, {"(= x y)"}, {}},
      {"cong", {{"(= x y)"}, {"(= x y)"}}, {"(= (<= x z) (<= y z))"}, {}},
      {"distinct_elim", {}, {"(= (not (= x y)) (distinct x y))"}, {}},
      {"distinct_elim", {}, {"(= (distinct x y) (not (= y x)))"}, {}},
      {"distinct_elim",
       {},
       {"(= (distinct x y z) (and (not (= x y)) (not (= y z))))"},
       {}},
      {"distinct_elim",
       {},
       {"(= (distinct x y z) (and (not (= x y)) (not (= x z)) (not (= x y))))"},
       {}},
      {"distinct_elim", {}, {"(= (distinct x y z) false)"}, {}},
      {"distinct_elim", {}, {"(= (distinct p q) false)"}, {}},
      {"distinct_elim", {}, {"(= (distinct p q r) true)"}, {}},
      {"nary_elim", {}, {"(= (<= x y) (and (<= x y)))"}, {}},
      {"nary_elim", {}, {"(= (<= x y z) (and (<= x y) (<= x z)))"}, {}},
      {"nary_elim", {}, {"(= (<= x y z) (and (<= x y) (< y z)))"}, {}},
      {"nary_elim", {}, {"(= (<= x y z) (and (<= x y)))"}, {}},
      {"nary_elim",
       {},
       {"(= (distinct x y z) (and (distinct x y) "
        "(distinct y z)))"},
       {}},
      {"nary_elim", {}, {"(= (xor p q r) (xor p (xor q r)))"}, {}},
      {"nary_elim", {}, {"(= (=> p q r) (=> (=> p q) r))"}, {}},
      {"nary_elim", {}, {"(= (- x y z) (and p q))"}, {}},
      {"equiv1", {{"(= x y)"}}, {"(not p)", "q"}, {}},
      {"la_rw_eq", {}, {"(= (= p q) (and (<= x y) (<= y x)))"}, {}},
      {"la_rw_eq", {}, {"(= (= x y) (and (<= x y) (< y x)))"}, {}},
      {"la_disequality",
       {},
       {"(or (= x y) (not (<= x y)) (not (<= x y)))"},
       {}},
      {"la_totality", {}, {"(or (<= x y) (<= x y))"}, {}},
      {"la_totality", {}, {"(or (< x y) (< y x))"}, {}},
      {"implies", {{"(=> p q r)"}}, {"(not p)", "q"}, {}},
      {"xor1", {{"(xor p q r)"}}, {"p", "q"}, {}},
      {"equiv1", {{"(= p q r)"}}, {"(not p)", "q"}, {}},
  };
  for (const Example& example : kWrong) {
    EXPECT_NE(mistake(example), "") << example.rule << join(example.conclusion);
  }
}

TEST(RulesTest, IteIntroRejectsWhatIsNotSaidOfTheTerm) {
  const std::string v = "(ite p x y)";
  const std::string t = "(<= " + v + " 3)";
  const std::vector<std::string> kWrong = {
      "(ite p (= " + v + " y) (= " + v + " x))",
      "(ite p (= " + v + " x) (= " + v + " x))",
      "(ite q (= " + v + " x) (= " + v + " y))",
      "(ite p (= x " + v + ") (= " + v + " y))",
      "(ite p (= " + v + " x) p)",
      "(ite p (= x x) (= x y))",
      "(ite p (= (ite p q p) q) (= (ite p q p) p))",
      "p",
  };
  for (const std::string& choice : kWrong) {
    EXPECT_NE(mistake({"ite_intro",
                       {},
                       {"(= " + t + " (and " + t + ' ' + choice + "))"},
                       {}}),
              "")
        << choice;
  }
  EXPECT_NE(mistake({"ite_intro",
                     {},
                     {"(= " + t + " (and q (ite p (= " + v + " x) (= " + v +
                      " y))))"},
                     {}}),
            "");
}

}  // namespace
}  // namespace vorn::checker
