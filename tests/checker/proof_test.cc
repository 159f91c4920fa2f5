// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "tests/checker/checking.h"

namespace vorn::checker {
namespace {

const std::string kScript = R"((set-logic QF_IDL)
(declare-const x Int)
(declare-const y Int)
(declare-const a Bool)
(assert (! (or a (<= (- x y) 2)) :named first))
(assert (! (<= (- y x) (- 3)) :named second))
(assert (! (not a) :named third))
(check-sat)
)";

const std::string kProof = R"((assume h1 (or a (! (<= (- x y) 2) :named @p1)))
(assume h2 (! (<= (- y x) (- 3)) :named @p2))
(assume h3 (not a))
(step t1 (cl a @p1) :rule or :premises (h1))
(step t2 (cl (not @p1) (not @p2)) :rule la_generic :args (1 1.0))
(step t3 (cl @p1) :rule resolution :premises (t1 h3) :args (a true))
(step t4 (cl) :rule resolution :premises (t3 t2 h2) :args (@p1 true @p2 false))
)";

// The proof with the first occurrence of one text replaced by another.
std::string with(const std::string& from, const std::string& to) {
  std::string text = kProof;
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

// What is wrong with the proof.
std::string reason(const std::string& proof) {
  return check_text(kScript, proof).reason;
}

TEST(ProofTest, WholeProofIsValid) {
  EXPECT_TRUE(check_text(kScript, kProof).is_valid);
  EXPECT_TRUE(check_text(kScript, "unsat\n" + kProof).is_valid);
}

TEST(ProofTest, MistakeIsNamedWithItsPlace) {
  const Outcome outcome = check_text(kScript, with("(cl @p1)", "(cl @p2)"));
  EXPECT_FALSE(outcome.is_valid);
  EXPECT_EQ(outcome.file, Outcome::File::kProof);
  EXPECT_EQ(outcome.position.line, 6U);
  EXPECT_EQ(outcome.position.column, 7U);
  EXPECT_EQ(outcome.reason,
            "step t3: rule resolution: the clause is not what the rule gives");
}

// A proof that was cut off must never look whole.
TEST(ProofTest, EachTruncationIsRejected) {
  const std::size_t length = kProof.size() - 1;  // the last line feed
  for (std::size_t size = 0; size < length; ++size) {
    EXPECT_FALSE(check_text(kScript, kProof.substr(0, size)).is_valid) << size;
  }
  EXPECT_TRUE(check_text(kScript, kProof.substr(0, length)).is_valid);
}

TEST(ProofTest, LastStepMustBeTheEmptyClause) {
  EXPECT_EQ(reason(""), "the last step is not the empty clause");
  EXPECT_EQ(reason(kProof + "(assume h4 (not a))"),
            "the last step is not the empty clause");
  EXPECT_EQ(reason(kProof + "(step t5 (cl true) :rule true)"),
            "the last step is not the empty clause");
  EXPECT_TRUE(check_text(kScript, kProof + "(step t5 (cl) :rule resolution "
                                           ":premises (t4))")
                  .is_valid);
}

TEST(ProofTest, AssumedTermsMustBeAsserted) {
  const std::string kNotAsserted = "this is not asserted";
  EXPECT_NE(
      reason(with("(assume h3 (not a))", "(assume h3 a)")).find(kNotAsserted),
      std::string::npos);
  EXPECT_NE(reason(with("(- 3)", "(- 4)")).find(kNotAsserted),
            std::string::npos);
  EXPECT_NE(reason(with("(or a (! (<= (- x y) 2) :named @p1))",
                        "(or (! (<= (- x y) 2) :named @p1) a)"))
                .find(kNotAsserted),
            std::string::npos);
  EXPECT_NE(reason(with("(not a)", "(not (not (not a)))")).find(kNotAsserted),
            std::string::npos);
  EXPECT_NE(reason("(assume h false)").find(kNotAsserted), std::string::npos);
}

TEST(ProofTest, NamesOfStepsAreKnownBeforeAndOnce) {
  EXPECT_NE(reason(with("(t1 h3)", "(t1 h4)")), "");
  EXPECT_NE(reason(with("(t1 h3)", "(t1 t3)")), "");
  EXPECT_NE(reason(with("(t1 h3)", "(t1 t4)")), "");
  EXPECT_NE(reason(with("(assume h3", "(assume h2")), "");
  EXPECT_NE(reason(with("(step t2", "(step t1")), "");
}

TEST(ProofTest, AttributesAreThoseOfTheFormat) {
  EXPECT_NE(reason(with(":rule or", "")), "");
  EXPECT_NE(reason(with(":rule or", ":rule or :rule or")), "");
  EXPECT_NE(reason(with(":rule or", ":rule or :colour (red)")), "");
  EXPECT_NE(reason(with(":rule or", ":rule (or)")), "");
  EXPECT_NE(reason(with(":premises (h1)", ":premises h1")), "");
  EXPECT_NE(reason(with(":premises (h1)", ":discharge (h1)")), "");
  EXPECT_NE(reason(with(":premises (h1)", ":premises (h1) :discharge ()")), "");
  EXPECT_NE(reason(with(":args (1 1.0)",
                        ":args (1 1.0) :premises () "
                        ":premises ()")),
            "");
  EXPECT_NE(reason(with("(cl a @p1)", "(a @p1)")), "");
  EXPECT_NE(reason(with("(cl a @p1)", "(cl a x)")), "");
  EXPECT_NE(reason(with("(step t1", "(leap t1")), "");
  EXPECT_NE(reason(kProof + ")"), "");
  EXPECT_NE(reason("(" + kProof + ")"), "");
  // In any order.
  EXPECT_TRUE(check_text(kScript, with(":rule or :premises (h1)",
                                       ":premises (h1) :rule or"))
                  .is_valid);
}

TEST(ProofTest, NamesOfTermsAreGivenOnceAndUsedBehind) {
  EXPECT_NE(reason(with(":named @p2", ":named @p1")), "");
  EXPECT_NE(reason(with(":named @p1", ":named x")), "");
  EXPECT_NE(reason(with(" :named @p1", "")), "");
  EXPECT_TRUE(check_text(kScript, with("(assume h3 (not a))",
                                       "(assume h3 (! (not a) :named @p3))"))
                  .is_valid);
}

TEST(ProofTest, ProofOfAnotherScriptIsRejected) {
  std::string script = kScript;
  script.replace(script.find("(- 3)"), 5, "(- 2)");
  EXPECT_FALSE(check_text(script, kProof).is_valid);
}

// --- Subproofs ---

const std::string kLocal = R"((assume h1 (or a (! (<= (- x y) 2) :named @p1)))
(assume h2 (! (<= (- y x) (- 3)) :named @p2))
(assume h3 (not a))
(anchor :step t1)
(assume t1.h @p1)
(step t1.1 (cl (not @p1) (not @p2)) :rule la_generic :args (1 1))
(step t1.2 (cl) :rule resolution :premises (t1.h t1.1 h2) :args (@p1 true @p2 false))
(step t1 (cl (not @p1)) :rule subproof :discharge (t1.h))
(step t2 (cl a @p1) :rule or :premises (h1))
(step t3 (cl) :rule resolution :premises (t2 h3 t1) :args (a true @p1 true))
)";

std::string local_with(const std::string& from, const std::string& to) {
  std::string text = kLocal;
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST(SubproofTest, LocalAssumptionIsDischarged) {
  EXPECT_EQ(reason(kLocal), "");
}

// Otherwise what was assumed for a while would be taken as asserted.
TEST(SubproofTest, NothingInsideIsKnownBehindItsEnd) {
  EXPECT_NE(reason(kLocal + "(step t4 (cl @p1) :rule reordering "
                            ":premises (t1.h))(step t5 (cl) :rule resolution "
                            ":premises (t1.2))"),
            "");
  EXPECT_NE(
      reason(local_with(":premises (t2 h3 t1)", ":premises (t2 h3 t1.2)")), "");
}

TEST(SubproofTest, EveryAssumptionMustBeDischarged) {
  EXPECT_NE(reason(local_with("(cl (not @p1)) :rule subproof :discharge (t1.h)",
                              "(cl) :rule subproof :discharge ()")),
            "");
  EXPECT_NE(reason(local_with("(cl (not @p1)) :rule subproof :discharge (t1.h)",
                              "(cl) :rule subproof")),
            "");
  EXPECT_NE(reason(local_with(":discharge (t1.h)", ":discharge (t1.h t1.h)")),
            "");
  EXPECT_NE(reason(local_with(":discharge (t1.h)", ":discharge (h3)")), "");
}

TEST(SubproofTest, ConclusionIsTheNegatedAssumptionsAndTheLastClause) {
  EXPECT_NE(reason(local_with("(cl (not @p1)) :rule", "(cl @p1) :rule")), "");
  EXPECT_NE(reason(local_with("(cl (not @p1)) :rule", "(cl) :rule")), "");
  EXPECT_NE(
      reason(local_with("(cl (not @p1)) :rule", "(cl (not @p1) a) :rule")), "");
}

TEST(SubproofTest, AnchorsAreEndedByTheirStepsInOrder) {
  EXPECT_NE(reason(local_with("(anchor :step t1)\n", "")), "");
  EXPECT_NE(reason(local_with("(anchor :step t1)", "(anchor :step t9)")), "");
  EXPECT_NE(reason(local_with(":rule subproof", ":rule weakening")), "");
  EXPECT_NE(reason("(anchor :step t9)" + kLocal), "");
  EXPECT_NE(reason("(anchor :step t1)" + kProof), "");
  EXPECT_NE(reason("(anchor :step t1 :args (z))" + kLocal), "");
  EXPECT_NE(reason("(anchor :step t0)(step t0 (cl) :rule subproof)"), "");
  EXPECT_EQ(reason("(step s (cl) :rule subproof)"),
            "step s: rule subproof: no anchor names this step");
  // An empty clause inside of a subproof is no end.
  EXPECT_NE(reason(kLocal.substr(0, kLocal.find("(step t1 (cl"))), "");
}

TEST(SubproofTest, SubproofsMayStandInside) {
  EXPECT_EQ(first_mistake(kScript, R"((anchor :step s)
(assume s.h a)
(anchor :step s.1)
(assume s.1.h (not a))
(step s.1.1 (cl) :rule resolution :premises (s.h s.1.h) :args (a true))
(step s.1 (cl (not (not a))) :rule subproof :discharge (s.1.h))
(step s (cl (not a) (not (not a))) :rule subproof :discharge (s.h)))"),
            "");
  // The outer assumption is not for the inner one to discharge.
  EXPECT_NE(first_mistake(kScript, R"((anchor :step s)
(assume s.h a)
(anchor :step s.1)
(assume s.1.h (not a))
(step s.1.1 (cl) :rule resolution :premises (s.h s.1.h) :args (a true))
(step s.1 (cl (not (not a)) (not a)) :rule subproof :discharge (s.1.h s.h))
(step s (cl (not (not a)) (not a)) :rule subproof :discharge ()))"),
            "");
}

// --- Cores ---

TEST(CoreTest, ProofFromTheCoreIsValid) {
  EXPECT_TRUE(check_core_text(kScript, kProof, "unsat\n(first second third)\n")
                  .is_valid);
}

TEST(CoreTest, ProofFromMoreThanTheCoreIsRejected) {
  EXPECT_NE(check_core_text(kScript, kProof, "unsat\n(first third)\n").reason,
            "");
  EXPECT_NE(check_core_text(kScript, kProof, "unsat\n()\n").reason, "");
}

TEST(CoreTest, AnswerMustHoldACoreOfTheScript) {
  for (const char* answer :
       {"", "unsat", "sat\n(first second third)", "(first second third)",
        "unsat\n(first second third fourth)", "unsat\n(first second third",
        "unsat\nsat\n(first second third)", "unknown"}) {
    EXPECT_FALSE(check_core_text(kScript, kProof, answer).is_valid) << answer;
  }
}

// --- Hostile input ---

TEST(HostileTest, DeepNestingCostsNoStack) {
  constexpr int kDepth = 1000000;
  std::string term;
  for (int i = 0; i < kDepth; ++i) term += "(not ";
  term += 'a';
  term.append(kDepth, ')');
  EXPECT_EQ(reason("(assume h " + term + ')'),
            "assume h: this is not asserted");
  EXPECT_EQ(first_mistake(kScript, "(step t (cl (= " + term + ' ' + term +
                                       ")) :rule refl)"),
            "");
  EXPECT_NE(reason("(assume h " + term), "");
  EXPECT_NE(reason(std::string(kDepth, '(')), "");
  EXPECT_NE(reason(std::string(kDepth, ')')), "");
  std::string lets;
  for (int i = 0; i < kDepth / 10; ++i) lets += "(let ((v a)) ";
  lets += 'v';
  lets.append(kDepth / 10, ')');
  EXPECT_EQ(reason("(assume h " + lets + ')'),
            "assume h: this is not asserted");
}

TEST(HostileTest, DeepSumsCostNoStack) {
  constexpr int kDepth = 200000;
  std::string sum;
  for (int i = 0; i < kDepth; ++i) sum += "(+ 1 ";
  sum += 'x';
  sum.append(kDepth, ')');
  EXPECT_EQ(first_mistake(kScript, "(step t (cl (<= " + sum + " 0) (>= " + sum +
                                       " 0)) :rule la_generic :args (1 1))"),
            "");
}

// Terms that would be of exponential size as trees, or hold numbers that are.
TEST(HostileTest, SharedTermsAreNotUnfolded) {
  std::string proof = "(step s0 (cl (= (! (+ x x) :named n0) n0)) :rule refl)";
  for (int i = 1; i < 1000; ++i) {
    const std::string before = "n" + std::to_string(i - 1);
    const std::string name = "n" + std::to_string(i);
    proof += "(step s" + std::to_string(i) + " (cl (= (! (+ " + before + ' ' +
             before + ") :named " + name + ") " + name + ")) :rule refl)";
  }
  proof += "(step t (cl (<= n999 0) (> n999 0)) :rule la_generic :args (1 1))";
  EXPECT_EQ(first_mistake(kScript, proof), "");
}

TEST(HostileTest, RepeatedSquaresAreNotComputed) {
  std::string proof = "(step s0 (cl (= (! (* 2 2) :named n0) n0)) :rule refl)";
  for (int i = 1; i < 64; ++i) {
    const std::string before = "n" + std::to_string(i - 1);
    const std::string name = "n" + std::to_string(i);
    proof += "(step s" + std::to_string(i) + " (cl (= (! (* " + before + ' ' +
             before + ") :named " + name + ") " + name + ")) :rule refl)";
  }
  proof += "(step t (cl (<= n63 0) (> n63 0)) :rule la_generic :args (1 1))";
  EXPECT_EQ(first_mistake(kScript, proof), "");
}

// Numbers too long to be divided are no reason to divide by zero.
TEST(HostileTest, ZeroOverALongNumberIsNoDivisor) {
  const std::string quotient = "(/ 0.0 1" + std::string(400000, '0') + ".0)";
  EXPECT_EQ(first_mistake(kScript, "(step t (cl (<= " + quotient + " 0.0) (> " +
                                       quotient +
                                       " 0.0)) :rule la_generic :args (1 1))"),
            "");
}

TEST(HostileTest, BytesThatAreNoTextAreRejected) {
  for (int byte = 0; byte < 256; ++byte) {
    std::string proof = kProof;
    proof[proof.find("(cl a @p1)") + 3] = static_cast<char>(byte);
    // Blanks stand between the literals anyhow.
    if (byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r') continue;
    EXPECT_FALSE(check_text(kScript, proof).is_valid) << byte;
  }
}

}  // namespace
}  // namespace vorn::checker
