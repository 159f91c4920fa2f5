// SPDX-License-Identifier: MIT
#include "solver/explain/explanation.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/smtlib/text_session.h"

namespace vorn::solver {
namespace {

std::string explained(const std::string& script) {
  ScriptOptions options;
  options.explain = true;
  return run_text(script, nullptr, options);
}

// The layout that the guides show: places, names and statements in columns.
TEST(ExplanationTest, ConflictOfRealsIsAChainWithItsSum) {
  EXPECT_EQ(explained("(set-logic QF_RDL)\n"
                      "(declare-const x Real)\n"
                      "(declare-const y Real)\n"
                      "(declare-const z Real)\n"
                      "(assert (! (<= (- y x) 2) :named a1))\n"
                      "(assert (<= y 100))\n"
                      "(assert (<= (- z y) (- 3)))\n"
                      "(assert\n"
                      "  (< x (+ z 0.5)))\n"
                      "(check-sat)\n"),
            "unsat\n"
            "; unsat, because these 3 assertions cannot hold together:\n"
            ";   line 5 (a1)   y - x <= 2\n"
            ";   line 7        z - y <= -3\n"
            ";   line 8        x - z < 1/2\n"
            ";   sum           0 < -1/2, which is false\n");
}

// Rounding is what makes integers differ from reals; unsaid, the chain would
// not follow from what the user wrote.
TEST(ExplanationTest, ConflictOfIntegersShowsRoundedAndUnrounded) {
  EXPECT_EQ(
      explained("(set-logic QF_IDL)\n"
                "(declare-const x Int)\n"
                "(declare-const y Int)\n"
                "(assert (< x y))\n"
                "(assert (not (< (* 2 x) (- (* 2 y) 1))))\n"
                "(check-sat)\n"),
      "unsat\n"
      "; unsat, because these 2 assertions cannot hold together:\n"
      ";   line 4   x - y <= -1               from x - y < 0 over the "
      "integers\n"
      ";   line 5   y - x <= 0                from 2*y - 2*x <= 1 over the "
      "integers\n"
      ";   sum      0 <= -1, which is false\n");
}

// Bounds on one variable: the chain begins at the constant 0 and ends there.
TEST(ExplanationTest, ConflictOfSingleBoundsBeginsAtZero) {
  EXPECT_EQ(explained("(set-logic QF_RDL)\n"
                      "(declare-const x Real)\n"
                      "(declare-const |a \"b\"| Real)\n"
                      "(assert (>= |a \"b\"| (+ x 1)))\n"
                      "(assert (and (= x 4) (<= |a \"b\"| 4.5)))\n"
                      "(check-sat)\n"),
            "unsat\n"
            "; unsat, because these 2 assertions cannot hold together:\n"
            ";   line 5   |a \"b\"| <= 9/2\n"
            ";   line 4   x - |a \"b\"| <= -1\n"
            ";   line 5   -x <= -4                    from x = 4\n"
            ";   sum      0 <= -1/2, which is false\n");
}

// What `let` and definitions stand for is what counts; the line is that of the
// assertion.
TEST(ExplanationTest, ConflictThroughLetAndDefinitionNamesTheAssertions) {
  EXPECT_EQ(explained("(set-logic QF_RDL)\n"
                      "(declare-const x Real)\n"
                      "(declare-const y Real)\n"
                      "(define-fun gap ((a Real) (b Real)) Real (- a b))\n"
                      "(define-fun far () Bool (> (gap x y) 1))\n"
                      "(assert (let ((d (gap x y)) (e 1)) (<= d e)))\n"
                      "(assert far)\n"
                      "(check-sat)\n"),
            "unsat\n"
            "; unsat, because these 2 assertions cannot hold together:\n"
            ";   line 6   x - y <= 1\n"
            ";   line 7   y - x < -1\n"
            ";   sum      0 < 0, which is false\n");
}

// Each unsat has an explanation of its own, and sat has none.
TEST(ExplanationTest, EachUnsatCheckIsExplained) {
  EXPECT_EQ(explained("(set-logic QF_RDL)\n"
                      "(declare-const x Real)\n"
                      "(assert (<= x 1))\n"
                      "(push 1)\n"
                      "(assert (>= x 2))\n"
                      "(check-sat)\n"
                      "(pop 1)\n"
                      "(check-sat)\n"
                      "(check-sat-assuming ((< x 5)\n"
                      "  (> x 1)))\n"
                      "(check-sat-assuming ((< x x)))\n"),
            "unsat\n"
            "; unsat, because these 2 assertions cannot hold together:\n"
            ";   line 3   x <= 1\n"
            ";   line 5   -x <= -2\n"
            ";   sum      0 <= -1, which is false\n"
            "sat\n"
            "unsat\n"
            "; unsat, because these 2 assertions and assumptions cannot hold "
            "together:\n"
            ";   line 3              x <= 1\n"
            ";   line 10 (assumed)   -x < -1\n"
            ";   sum                 0 < 0, which is false\n"
            "unsat\n"
            "; unsat, because this assumption cannot hold:\n"
            ";   line 11 (assumed)   (< x x)\n");
}

// Without arithmetic there is no chain, but still a reason.
TEST(ExplanationTest, ContradictionOfBooleansShowsBothSides) {
  EXPECT_EQ(explained("(set-logic QF_IDL)\n"
                      "(declare-const p Bool)\n"
                      "(declare-const q Bool)\n"
                      "(assert (! (not (or q p)) :named neither))\n"
                      "(assert q)\n"
                      "(check-sat)\n"),
            "unsat\n"
            "; unsat, because these 2 assertions cannot hold together:\n"
            ";   line 4 (neither)   (! (not (or q p)) :named neither)\n"
            ";   line 5             q\n"
            ";   since q would have to be both true and false\n");
}

// A formula that is false by itself is the whole reason.
TEST(ExplanationTest, FalseAssertionStandsAlone) {
  EXPECT_EQ(explained("(set-logic QF_IDL)\n"
                      "(declare-const x Int)\n"
                      "(assert (<= x 3))\n"
                      "(assert (= (+ x 1) x))\n"
                      "(check-sat)\n"),
            "unsat\n"
            "; unsat, because this assertion cannot hold:\n"
            ";   line 4   (= (+ x 1) x)\n");
}

// Where cases must be told apart no chain is made up; the core is minimal and
// its texts are on one line each.
TEST(ExplanationTest, ConflictOfCasesIsACore) {
  EXPECT_EQ(explained("(set-logic QF_IDL)\n"
                      "(declare-const x Int)\n"
                      "(declare-const y Int)\n"
                      "(assert (! (or (= x 1)\n"
                      "               (= x 2)) :named two))\n"
                      "(assert (> x 7))\n"
                      "(assert (> y 7))\n"
                      "(check-sat)\n"),
            "unsat\n"
            "; unsat, but no single chain of inequalities shows it: it takes a "
            "distinction of cases.\n"
            "; These 2 assertions cannot hold together:\n"
            ";   line 4 (two)   (! (or (= x 1) (= x 2)) :named two)\n"
            ";   line 6         (> x 7)\n");
}

// A name with a line break in it must not break out of the comment.
TEST(ExplanationTest, NamesWithLineBreaksStayInTheComment) {
  const std::string text = explained(
      "(set-logic QF_RDL)\n(declare-const |x\ny| Real)\n"
      "(assert (! (<= |x\ny| 1) :named |a\nb|))(assert (> |x\ny| 1))\n"
      "(check-sat)\n");
  EXPECT_EQ(text,
            "unsat\n"
            "; unsat, because these 2 assertions cannot hold together:\n"
            ";   line 4 (|a b|)   |x y| <= 1\n"
            ";   line 6           -|x y| < -1\n"
            ";   sum              0 < 0, which is false\n");
}

// A stopped search for a core says so, and names all assertions if these are
// few.
TEST(ExplanationTest, CoreThatIsStoppedIsWhatThereIs) {
  TermStore store;
  const Term* p = store.make_symbol("p", Sort::kBool);
  const Term* q = store.make_symbol("q", Sort::kBool);
  std::vector<ScriptFormula> formulas(4);
  formulas[0].term = store.make_or(p, q);
  formulas[1].term = store.make_or(p, store.make_not(q));
  formulas[2].term = store.make_or(store.make_not(p), q);
  formulas[3].term = store.make_or(store.make_not(p), store.make_not(q));
  const std::atomic<bool> stop{true};
  const std::string text =
      explain_unsat(store, EngineOptions(), &stop, false, formulas);
  EXPECT_NE(text.find("; These 4 assertions cannot hold together:\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("there was no time to find out"), std::string::npos)
      << text;
  formulas.resize(17, formulas[0]);
  const std::string longer =
      explain_unsat(store, EngineOptions(), &stop, false, formulas);
  EXPECT_NE(longer.find("There was not enough time or memory to find out which "
                        "of the 17 assertions it takes."),
            std::string::npos)
      << longer;
}

// Without the option nothing is added.
TEST(ExplanationTest, NothingIsSaidUnlessAskedFor) {
  EXPECT_EQ(run_text("(set-logic QF_IDL)(assert false)(check-sat)"), "unsat\n");
}

// The texts of long assertions end after whole characters.
TEST(ExplanationTest, OnOneLineJoinsAndCutsShort) {
  EXPECT_EQ(on_one_line("  (a\n\t b)  ", 10), "(a b)");
  EXPECT_EQ(on_one_line("abcdef", 6), "abcdef");
  EXPECT_EQ(on_one_line("abcdef", 5), "abcde...");
  EXPECT_EQ(on_one_line("\xc3\xa9\xc3\xa9\xc3\xa9", 2), "\xc3\xa9\xc3\xa9...");
}

}  // namespace
}  // namespace vorn::solver
