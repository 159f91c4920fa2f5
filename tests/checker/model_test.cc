// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "tests/checker/checking.h"

namespace vorn::checker {
namespace {

const std::string kDeclarations =
    "(set-logic ALL)(declare-const p Bool)(declare-const q Bool)"
    "(declare-const x Int)(declare-const y Int)(declare-const r Real)";

const std::string kModel =
    "sat\n(\n  (define-fun p () Bool true)\n  (define-fun q () Bool false)\n"
    "  (define-fun x () Int (- 3))\n  (define-fun y () Int 4)\n"
    "  (define-fun r () Real (/ 1.0 3.0))\n)\n";

std::string script_of(const std::string& formula) {
  return kDeclarations + "(assert " + formula + ")(check-sat)";
}

bool holds(const std::string& formula) {
  const Outcome outcome = check_model_text(script_of(formula), kModel);
  EXPECT_TRUE(outcome.is_valid ||
              outcome.reason.find("false") != std::string::npos)
      << outcome.reason;
  return outcome.is_valid;
}

// Each formula with what it is worth where p, not q, x = -3, y = 4, r = 1/3.
TEST(ModelTest, FormulasMeanWhatTheStandardSays) {
  const struct {
    const char* formula;
    bool truth;
  } kCases[] = {
      {"p", true},
      {"q", false},
      {"true", true},
      {"false", false},
      {"(not q)", true},
      {"(and p p)", true},
      {"(and p q)", false},
      {"(or q q)", false},
      {"(or q p q)", true},
      {"(xor p q)", true},
      {"(xor p p)", false},
      {"(xor p p p)", true},
      {"(=> p q)", false},
      {"(=> q q)", true},
      {"(=> p q q)", true},
      {"(=> q p q)", true},
      {"(=> p p q)", false},
      {"(=> p p p)", true},
      {"(= p q)", false},
      {"(= q q q)", true},
      {"(= q q p)", false},
      {"(distinct p q)", true},
      {"(distinct p p)", false},
      {"(distinct p q p)", false},
      {"(distinct x y 0)", true},
      {"(distinct x y (- 3))", false},
      {"(= x (- 3))", true},
      {"(= x y)", false},
      {"(= y 4 4)", true},
      {"(= y 4 5)", false},
      {"(<= x x)", true},
      {"(< x x)", false},
      {"(<= x y 4)", true},
      {"(< x y 4)", false},
      {"(>= y 4 x)", true},
      {"(> y 4 x)", false},
      {"(> y x)", true},
      {"(< y x)", false},
      {"(= (ite p x y) (- 3))", true},
      {"(= (ite q x y) 4)", true},
      {"(= (+ x y 1) 2)", true},
      {"(= (- x y 1) (- 8))", true},
      {"(= (- x) 3)", true},
      {"(= (* x y) (- 12))", true},
      {"(= r (/ 1.0 3.0))", true},
      {"(= r 0.3333333333)", false},
      {"(= (/ r 2) (/ 1 6))", true},
      {"(< r 0.34)", true},
      {"(let ((x y)) (= x 4))", true},
      {"(< x r y)", true},
      {"(= r x)", false},
      {"(= (+ x (to_real y)) 1.0)", true},
      {"(= (* 3 r) 1)", true},
      {"(= (/ y 8) (/ 1 2))", true},
      {"(= (abs x) (abs 3))", true},
      {"(= (abs (- r)) r)", true},
      {"(= (to_int r) 0)", true},
      {"(= (to_int (- r)) (- 1))", true},
      {"(= (to_int x) x)", true},
      {"(is_int r)", false},
      {"(is_int (* 3 r))", true},
      {"(is_int x)", true},
      {"(= (div 7 2) 3)", true},
      {"(= (div (- 7) 2) (- 4))", true},
      {"(= (div 7 (- 2)) (- 3))", true},
      {"(= (div (- 7) (- 2)) 4)", true},
      {"(= (div 100 3 3) 11)", true},
      {"(= (mod 7 2) (mod (- 7) 2) (mod 7 (- 2)) (mod (- 7) (- 2)) 1)", true},
      {"(= (mod x 2) (div y 3))", true},
  };
  for (const auto& [formula, truth] : kCases) {
    EXPECT_EQ(holds(formula), truth) << formula;
  }
}

TEST(ModelTest, FalseFormulaIsNamed) {
  const Outcome outcome = check_model_text(
      kDeclarations + "(assert p)\n(assert q)(check-sat)", kModel);
  EXPECT_EQ(outcome.reason,
            "the model makes the formula at line 2 column 9 of the script "
            "false");
}

TEST(ModelTest, AssumptionsMustHoldToo) {
  EXPECT_TRUE(check_model_text(
                  kDeclarations + "(check-sat-assuming (p (not q)))", kModel)
                  .is_valid);
  EXPECT_FALSE(
      check_model_text(kDeclarations + "(check-sat-assuming (p q))", kModel)
          .is_valid);
}

// The model with one text replaced.
bool holds_in(const std::string& from, const std::string& to) {
  std::string answer = kModel;
  answer.replace(answer.find(from), from.size(), to);
  return check_model_text(script_of("(and p (< x y) (> r 0.0))"), answer)
      .is_valid;
}

TEST(ModelTest, ValuesAreConstantsOfTheDeclaredSort) {
  EXPECT_TRUE(holds_in("Int 4", "Int 5"));
  EXPECT_FALSE(holds_in("Int 4", "Int 4.0"));
  EXPECT_FALSE(holds_in("Int 4", "Int (/ 9 2)"));
  EXPECT_FALSE(holds_in("Int 4", "Int (/ 8 2)"));
  EXPECT_FALSE(holds_in("Int 4", "Real 4.0"));
  EXPECT_FALSE(holds_in("Int 4", "Int x"));
  EXPECT_FALSE(holds_in("Int 4", "Int y"));
  EXPECT_FALSE(holds_in("Int 4", "Int true"));
  EXPECT_FALSE(holds_in("Bool true", "Bool (not false)"));
  EXPECT_FALSE(holds_in("Bool true", "Bool p"));
  EXPECT_FALSE(holds_in("(/ 1.0 3.0)", "(/ 1.0 0.0)"));
  EXPECT_TRUE(holds_in("(/ 1.0 3.0)", "3"));
}

TEST(ModelTest, EachSymbolHasOneValue) {
  const std::string y = "(define-fun y () Int 4)";
  EXPECT_FALSE(holds_in(y, ""));
  EXPECT_FALSE(holds_in(y, y + y));
  EXPECT_FALSE(holds_in(y, y + "(define-fun z () Int 4)"));
  EXPECT_FALSE(holds_in(y, "(define-fun y ((u Int)) Int 4)"));
  EXPECT_FALSE(holds_in(y, "(define-const y Int 4)"));
  // What no formula speaks of needs none.
  EXPECT_TRUE(holds_in("(define-fun q () Bool false)", ""));
}

TEST(ModelTest, AnswerMustBeSatWithAModel) {
  for (const char* answer :
       {"", "sat", "unsat", "unknown", "sat\n(error \"no model\")",
        "sat\n((x 3))", "sat\n(", "sat\n((define-fun", "sat )"}) {
    EXPECT_FALSE(check_model_text(script_of("true"), answer).is_valid)
        << answer;
  }
  EXPECT_FALSE(check_model_text(script_of("true"), "un" + kModel).is_valid);
  EXPECT_TRUE(check_model_text(script_of("true"), "sat\n()").is_valid);
  EXPECT_TRUE(check_model_text(script_of("true"), "sat\n(\n)\n").is_valid);
  EXPECT_TRUE(check_model_text(script_of("true"), "sat\n(model)").is_valid);
  EXPECT_FALSE(check_model_text(script_of("p"), "sat\n()").is_valid);
}

TEST(ModelTest, AnswerToTheRightCheckIsTaken) {
  const std::string script =
      kDeclarations + "(check-sat)(assert (= x 1))(check-sat)(check-sat)";
  const std::string one = "sat\n((x 1))\n((define-fun x () Int 1))\n";
  const std::string two = "sat\n((define-fun x () Int 2))\n";
  EXPECT_TRUE(check_model_text(script, two + one + "unknown", 2).is_valid);
  EXPECT_TRUE(
      check_model_text(script, "; \nsuccess\n" + two + one + two, 1).is_valid);
  EXPECT_FALSE(check_model_text(script, two + one + two).is_valid);
  EXPECT_TRUE(check_model_text(script, one).is_valid);
  EXPECT_FALSE(check_model_text(script, one + one, 3).is_valid);
}

TEST(ModelTest, DeepFormulasCostNoStack) {
  constexpr int kDepth = 300000;
  std::string formula;
  for (int i = 0; i < kDepth; ++i) formula += "(not ";
  formula += 'p';
  formula.append(kDepth, ')');
  EXPECT_TRUE(holds(formula));
}

}  // namespace
}  // namespace vorn::checker
