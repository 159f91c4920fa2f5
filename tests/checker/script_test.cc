// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/checker/checking.h"

namespace vorn::checker {
namespace {

const std::string kVariables =
    "(set-logic QF_IDL)(declare-const a Bool)(declare-fun b () Bool)"
    "(declare-const x Int)(declare-const y Int)";

// Whether the check asserts the term.
bool asserts(const std::string& script, const std::string& term,
             std::size_t number = 0) {
  const Outcome outcome = check_text(script, "(assume h " + term + ')', number);
  const bool is_asserted =
      outcome.reason == "the last step is not the empty clause";
  EXPECT_TRUE(is_asserted || outcome.reason == "assume h: this is not asserted")
      << outcome.reason;
  return is_asserted;
}

std::string mistake(const std::string& script, std::size_t number = 0) {
  const Outcome outcome =
      check_text(script, "(step t (cl true) :rule true)", number);
  return outcome.file == Outcome::File::kScript ? outcome.reason : "";
}

TEST(ScriptTest, TermsAreExpandedButKeptAsWritten) {
  const std::string script =
      kVariables +
      "(define-fun f ((u Int) (p Bool)) Bool (let ((y u) (x y)) "
      "(=> p (<= y x))))"
      "(define-const k Int (- 3))"
      "(assert (! (f (+ x 1) (! (and a b) :named both)) :named whole))"
      "(assert (or both (<= x k)))"
      "(assert whole)(check-sat)";
  EXPECT_TRUE(asserts(script, "(=> (and a b) (<= (+ x 1) y))"));
  EXPECT_TRUE(asserts(script, "(or (and a b) (<= x (- 3)))"));
  EXPECT_TRUE(asserts(script, "(or both (<= x k))"));
  EXPECT_TRUE(asserts(script, "whole"));
  EXPECT_FALSE(asserts(script, "(or (and b a) (<= x (- 3)))"));
  EXPECT_FALSE(asserts(script, "(or both (<= x (- 0 3)))"));
  EXPECT_FALSE(asserts(script, "both"));
}

// The parameter u of f must not catch a u outside.
TEST(ScriptTest, DefinitionsCatchNoVariables) {
  const std::string script =
      kVariables +
      "(define-fun f ((x Int)) Bool (<= x y))"
      "(define-fun g ((y Int)) Bool (f (+ y x)))"
      "(assert (g x))(assert (let ((x y) (y x)) (f x)))(check-sat)";
  EXPECT_TRUE(asserts(script, "(<= (+ x x) y)"));
  EXPECT_TRUE(asserts(script, "(<= y y)"));
  EXPECT_FALSE(asserts(script, "(<= x y)"));
}

TEST(ScriptTest, EachCheckHasWhatIsInScope) {
  const std::string script =
      kVariables +
      "(assert a)(check-sat)(push)(assert (not b))(declare-const c Bool)"
      "(check-sat-assuming (c (not a)))(pop 1)(assert b)(check-sat)";
  EXPECT_TRUE(asserts(script, "a", 1));
  EXPECT_FALSE(asserts(script, "b", 1));
  EXPECT_TRUE(asserts(script, "(not b)", 2));
  EXPECT_TRUE(asserts(script, "c", 2));
  EXPECT_TRUE(asserts(script, "(not a)", 2));
  EXPECT_FALSE(asserts(script, "(not b)", 3));
  EXPECT_TRUE(asserts(script, "b", 3));
  EXPECT_TRUE(asserts(script, "b"));
  EXPECT_FALSE(asserts(script, "(not a)", 3));
  EXPECT_EQ(mistake(script, 4), "the script has 3 checks");
}

TEST(ScriptTest, ResetsForgetAndKeep) {
  const std::string script =
      kVariables +
      "(assert a)(reset-assertions)(declare-const a Bool)(check-sat)"
      "(reset)(set-option :global-declarations true)(set-logic QF_RDL)"
      "(push 2)(declare-const r Real)(assert (< r 1))(pop 1)(assert (< r 2))"
      "(reset-assertions)(assert (> r 3))(check-sat)(exit)(check-sat) junk";
  EXPECT_FALSE(asserts(script, "a", 1));
  EXPECT_TRUE(asserts(script, "(> r 3.0)"));
  EXPECT_TRUE(asserts(script, "(> r 3.00)"));
  EXPECT_FALSE(asserts(script, "(< r 2)"));
  EXPECT_FALSE(asserts(script, "(< r 1)"));
}

TEST(ScriptTest, NumeralsAreOfTheLogicsSort) {
  const std::string mixed =
      "(set-logic ALL)(declare-const x Int)(declare-const r Real)"
      "(assert (< r 2))(assert (< (- r) (- 2)))(assert (< x 2))(check-sat)";
  EXPECT_TRUE(asserts(mixed, "(< r 2.0)"));
  EXPECT_TRUE(asserts(mixed, "(< (- r) (- 2.0))"));
  EXPECT_TRUE(asserts(mixed, "(< x 2)"));
  EXPECT_NE(check_text(mixed, "(assume h (< x 2.0))").reason, "");
  EXPECT_NE(check_text(mixed, "(assume h (< x r))").reason, "");
}

// What scripts hold beyond the standard, and beyond differences.
TEST(ScriptTest, WiderLanguageIsRead) {
  const std::string script =
      "\xEF\xBB\xBF(set-option :error-behavior immediate-exit)"
      "(set-logic QF_AUFLIRA)(declare-datatypes ((T 0)) (((t))))"
      "(define-sort Time () Int)(define-sort |Odd one| () Time)"
      "(declare-const x Time)(declare-fun y () |Odd one|)"
      "(declare-const r Real)(declare-const abs Bool)"
      "(define-fun half ((v Real)) Real (/ v 2))"
      "(push 1)(define-sort Local () Bool)(pop 1)(define-sort Local () Real)"
      "(declare-const l Local)"
      "(assert (< x r))"
      "(assert (= (half x) (as r Real)))"
      "(assert (= (div x 2) (mod (as y Time) (- 3))))"
      "(assert (ite abs (is_int r) (= (to_int r) -3)))"
      "(assert (! (<= l (to_real 2) (ite abs x r)) :named to_real))"
      "(check-sat)";
  EXPECT_TRUE(asserts(script, "(< x r)"));
  EXPECT_TRUE(asserts(script, "to_real"));
  EXPECT_TRUE(asserts(script, "(= (/ x 2.0) r)"));
  EXPECT_TRUE(asserts(script, "(= (div x 2) (mod y (- 3)))"));
  EXPECT_FALSE(asserts(script, "(= (div x 2) (mod x (- 3)))"));
  EXPECT_TRUE(asserts(script, "(ite abs (is_int r) (= (to_int r) (- 3)))"));
  EXPECT_TRUE(asserts(script, "(<= l 2 (ite abs x r))"));
  EXPECT_FALSE(asserts(script, "(<= l 2 (ite abs r x))"));
}

TEST(ScriptTest, IntegerBesideRealsIsUnderToReal) {
  const std::string script =
      "(declare-const x Int)(declare-const r Real)(assert (< x r))"
      "(assert (= (to_real x) (to_real r) (to_real (+ 1 2))))(check-sat)";
  EXPECT_TRUE(asserts(script, "(< (to_real x) r)"));
  EXPECT_TRUE(asserts(script, "(< x (to_real r))"));
  EXPECT_TRUE(asserts(script, "(= x r (+ 1 2))"));
  EXPECT_FALSE(asserts(script, "(= x r 3)"));
}

TEST(ScriptTest, RealsMayBeWrittenWithoutPoint) {
  for (const char* logic : {"QF_RDL", "QF_LRA", "QF_UFNRA"}) {
    EXPECT_TRUE(asserts(std::string("(set-logic ") + logic +
                            ")(declare-const r Real)(assert (< (- r) -2))"
                            "(check-sat)",
                        "(< (- r) (- 2.0))"))
        << logic;
  }
}

TEST(ScriptTest, MistakesAreRejected) {
  for (const char* text :
       {"(assert x)(check-sat)",
        "(assert (and a x))(check-sat)",
        "(assert (<= a x))(check-sat)",
        "(assert (not a b))(check-sat)",
        "(assert (ite x a b))(check-sat)",
        "(assert (= a x))(check-sat)",
        "(assert (<= x (/ x 0)))(check-sat)",
        "(assert (= x (div x 0)))(check-sat)",
        "(assert (= x (div 1.0 2)))(check-sat)",
        "(assert (= x (mod x y)))(check-sat)",
        "(assert (= x (mod x 2 3)))(check-sat)",
        "(assert (= x (abs a)))(check-sat)",
        "(assert (is_int a))(check-sat)",
        "(assert (= (as x Real) x))(check-sat)",
        "(assert (as a))(check-sat)",
        "(assert ((as a Bool)))(check-sat)",
        "(define-sort Int () Bool)(check-sat)",
        "(define-sort T () Int)(define-sort T () Int)(check-sat)",
        "(define-sort T (U) Int)(check-sat)",
        "(define-sort T () S)(check-sat)",
        "(declare-sort S 0)(declare-const s S)(check-sat)",
        "(declare-const x1 (Array Int Int))(check-sat)",
        "(assert unknown)(check-sat)",
        "(assert (unknown a))(check-sat)",
        "(assert (a))(check-sat)",
        "(assert not)(check-sat)",
        "(assert a b)(check-sat)",
        "(assert (let ((v a) (v b)) v))(check-sat)",
        "(assert (let () a))(check-sat)",
        "(assert (let (v) a))(check-sat)",
        "(assert (let ((v)) a))(check-sat)",
        "(assert (let ((v a) b) v))(check-sat)",
        "(assert (let ((v a b)) v))(check-sat)",
        "(assert (let ((v a))))(check-sat)",
        "(assert (let ((v a)) v v))(check-sat)",
        "(assert (let))(check-sat)",
        "(assert (! a))(check-sat)",
        "(assert (! a b :named n))(check-sat)",
        "(assert (! :named n))(check-sat)",
        "(assert (! a :named n b))(check-sat)",
        "(assert (and a :named n))(check-sat)",
        "(assert :named)(check-sat)",
        "(assert \"a\")(check-sat)",
        "(assert ())(check-sat)",
        "(assert (<= x \"3\"))(check-sat)",
        "(assert (<= x #b1))(check-sat)",
        "(assert (<= x ",
        "(assert (forall ((v Int)) a))"
        "(check-sat)",
        "(declare-const a Bool)(check-sat)",
        "(declare-fun f (Int) Bool)(check-sat)",
        "(declare-const s String)(check-sat)",
        "(define-fun f ((u Int) (u Int)) Bool a)(check-sat)",
        "(define-fun f ((u Int)) Bool u)(check-sat)",
        "(define-fun f ((u Int)) Bool (! (<= u 1) :named n))(check-sat)",
        "(define-fun f ((u Int)) Bool (<= u 1))(assert (f a))(check-sat)",
        "(define-fun f ((u Int)) Bool (<= u 1))(assert (f x x))(check-sat)",
        "(assert (! a :named x))(check-sat)",
        "(pop 1)(check-sat)",
        "(push 99999999999999999999)(check-sat)",
        "(pop)(check-sat)",
        "(push a)(check-sat)",
        "(push 1 1)(check-sat)",
        "(check-sat",
        "(check-sat))",
        "check-sat",
        "(assert a",
        "(assert |a)(check-sat)",
        "(echo \"open)(check-sat)",
        "(assert (<= x 1.))(check-sat)",
        "(assert (<= x 1a))(check-sat)",
        "(assert a)",
        ""}) {
    EXPECT_NE(mistake(kVariables + text), "") << text;
  }
}

TEST(ScriptTest, SymbolsMayBeQuotedAndOddlySpaced) {
  const std::string script =
      "(set-logic QF_IDL)(declare-const |a b| Bool)(declare-const |let| Bool)"
      "(declare-const |c| Bool) ; )\r(assert\t(or |a b| (not |let|)))\r\n"
      "(assert c)(echo \"(\"\"\")(set-info :source |(|)(check-sat)";
  EXPECT_TRUE(asserts(script, "(or |a b| (not |let|))"));
  EXPECT_TRUE(asserts(script, "|c|"));
}

TEST(ScriptTest, PlacesCountLinesAndCharacters) {
  const Outcome outcome = check_text(
      "(set-logic QF_IDL)\r\n; \xC3\xA4\n\r(echo \"\xC3\xA4\")(assert q)", "");
  EXPECT_EQ(outcome.reason, "the script has no check");
  const Outcome placed = check_text(
      "(set-logic QF_IDL)\r\n; \xC3\xA4\n\r(echo \"\xC3\xA4\")(assert q)"
      "(check-sat)",
      "");
  EXPECT_EQ(placed.position.line, 4U);
  EXPECT_EQ(placed.position.column, 19U);
}

}  // namespace
}  // namespace vorn::checker
