// SPDX-License-Identifier: MIT
#include "solver/smtlib/interpreter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <limits>
#include <new>
#include <sstream>
#include <string>

#include "tests/smtlib/text_session.h"

namespace vorn::solver {
namespace {

struct Session {
  const char* name;
  const char* script;
  const char* output;
};

// Sessions without any error.
const Session kSessions[] = {
    {"integers",
     "(set-logic QF_IDL)(declare-fun x () Int)(declare-const y Int)"
     "(assert (< x y))(check-sat)(assert (< y x))(check-sat)",
     "sat\nunsat\n"},
    {"reals are dense",
     "(set-logic QF_RDL)(declare-fun x () Real)(declare-const y Real)"
     "(assert (< x y))(assert (< y (+ x (/ 1 3))))(check-sat)",
     "sat\n"},
    {"integers are not",
     "(set-logic QF_IDL)(declare-fun x () Int)(declare-const y Int)"
     "(assert (< x y))(assert (< y (+ x 1)))(check-sat)",
     "unsat\n"},
    {"both sorts in one script",
     "(set-logic ALL)(declare-const i Int)(declare-const r Real)"
     "(assert (and (< 0 i) (< i 2) (< 0 r) (< r 1)))(check-sat)"
     "(assert (distinct i 1))(check-sat)",
     "sat\nunsat\n"},
    {"push and pop",
     "(set-logic QF_IDL)(declare-const p Bool)(assert p)(push)(assert (not p))"
     "(check-sat)(pop)(check-sat)(push 2)(assert (not p))(check-sat)(pop 1)"
     "(check-sat)(get-info :assertion-stack-levels)(push 0)(pop 0)(pop)"
     "(get-info :assertion-stack-levels)",
     "unsat\nsat\nunsat\nsat\n(:assertion-stack-levels 1)\n"
     "(:assertion-stack-levels 0)\n"},
    {"a popped name is free again",
     "(set-logic ALL)(push)(declare-const x Int)(assert (< x 0))(pop)"
     "(declare-const x Real)(assert (< 0 x 1))(check-sat)",
     "sat\n"},
    {"check-sat-assuming",
     "(set-logic QF_IDL)(declare-const x Int)(declare-const p Bool)"
     "(assert (=> p (< x 0)))(check-sat-assuming (p (< 0 x)))"
     "(check-sat-assuming (p))(check-sat-assuming ())(check-sat)",
     "unsat\nsat\nsat\nsat\n"},
    {"models",
     "(set-option :produce-models true)(set-logic ALL)"
     "(declare-const x Int)(declare-fun |a b| () Real)(declare-const p Bool)"
     "(declare-const unused Int)(declare-const r Real)"
     "(assert (= x (- 3)))(assert (= |a b| (/ (- 1) 3)))(assert p)"
     "(assert (= r 2))"
     "(check-sat)(get-model)(get-value (x (- x 1)   (+ |a b| 1)))"
     "(get-value ((let ((y x)) (<  y\n0))))",
     "sat\n(\n"
     "  (define-fun x () Int (- 3))\n"
     "  (define-fun |a b| () Real (- (/ 1.0 3.0)))\n"
     "  (define-fun p () Bool true)\n"
     "  (define-fun unused () Int 0)\n"
     "  (define-fun r () Real 2.0)\n"
     ")\n"
     "((x (- 3))\n ((- x 1) (- 4))\n ((+ |a b| 1) (/ 2.0 3.0)))\n"
     "(((let ((y x)) (<  y\n0)) true))\n"},
    {"definitions",
     "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
     "(define-fun before ((a Int) (b Int) (gap Int)) Bool (<= (+ a gap) b))"
     "(define-fun low () Int 5)(define-const same Bool (= x y))"
     "(define-fun twice ((a Bool) (b Bool)) Bool (and a b))"
     "(assert (twice (before x y 3) (before y low 0)))(check-sat)"
     "(push)(assert (< 2 x))(check-sat)(pop)(assert same)(check-sat)",
     "sat\nunsat\nunsat\n"},
    {"a parameter hides a constant, and may be a factor",
     "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
     "(define-fun f ((x Int) (c Int)) Bool (< (* c x) (* c y)))"
     "(assert (f y 1))(check-sat)",
     "unsat\n"},
    {"unsat cores",
     "(set-option :produce-unsat-cores true)(set-logic QF_IDL)"
     "(declare-const x Int)(declare-const y Int)(declare-const z Int)"
     "(assert (! (< x y) :named |first one|))(assert (! (< z 5) :named b))"
     "(assert (! (< y x) :named c))(check-sat)(get-unsat-core)",
     "unsat\n(|first one| c)\n"},
    {"an unsat core may be empty",
     "(set-option :produce-unsat-cores true)(set-logic QF_IDL)"
     "(declare-const p Bool)(assert (! p :named a))(assert false)"
     "(check-sat)(get-unsat-core)",
     "unsat\n()\n"},
    {"minimal cores",
     "(set-option :produce-unsat-cores true)"
     "(set-option :minimize-unsat-cores true)(set-logic QF_IDL)"
     "(declare-const x Int)(declare-const p Bool)(declare-const q Bool)"
     "(assert (! p :named a))(assert (! (=> p q) :named b))"
     "(assert (! (not q) :named c))(assert (! (or p q) :named d))"
     "(assert (! (< x 0) :named e))"
     "(check-sat)(get-unsat-core)(get-unsat-core)",
     "unsat\n(a b c)\n(a b c)\n"},
    {"a core beside assumptions",
     "(set-option :produce-unsat-cores true)"
     "(set-option :produce-unsat-assumptions true)(set-logic QF_IDL)"
     "(declare-const p Bool)(declare-const q Bool)(declare-const s Bool)"
     "(assert (! (=> p (not q)) :named a))(assert (! s :named b))"
     "(check-sat-assuming (s p (! q :note 1)))(get-unsat-core)"
     "(get-unsat-assumptions)(get-unsat-core)",
     "unsat\n(a)\n(p (! q :note 1))\n(a)\n"},
    {"names as terms",
     "(set-option :produce-assignments true)(set-logic QF_IDL)"
     "(declare-const x Int)(assert (or (! (< x 0) :named neg)"
     " (! (< 5 x) :named big)))(assert (! (not neg) :named top))(check-sat)"
     "(get-assignment)(push)(assert (! true :named t))(pop)(check-sat)"
     "(get-assignment)",
     "sat\n((neg false) (big true) (top true))\nsat\n"
     "((neg false) (big true) (top true))\n"},
    {"named assertions without cores hold as usual",
     "(set-logic QF_IDL)(declare-const p Bool)(assert (! p :named a))"
     "(assert (not p))(check-sat)",
     "unsat\n"},
    {"assertions as written",
     "(set-logic QF_IDL)(declare-const x Int)(get-assertions)"
     "(assert (<   x ; less\n 3))(push)(assert (! (> x 0) :named n))"
     "(get-assertions)(pop)(get-assertions)",
     "()\n((<   x \n 3)\n (! (> x 0) :named n))\n((<   x \n 3))\n"},
    {"comments inside terms",
     "(set-logic QF_IDL)(set-option :produce-unsat-assumptions true)"
     "(declare-const |a;b| Int)(check-sat)(get-value ((+ |a;b|;one)\n 1); two"
     "\r |a;b|))(check-sat-assuming ((< |a;b|;)\n |a;b|)))"
     "(get-unsat-assumptions)",
     "sat\n(((+ |a;b|\n 1) 1)\n (|a;b| 0))\nunsat\n((< |a;b|\n |a;b|))\n"},
    {"print-success",
     "(set-option :print-success true)(set-logic QF_IDL)"
     "(declare-const x Int)(assert (< x 0))(push)(set-info :status sat)"
     "(check-sat)(echo \"x\")(set-option :print-success false)(pop)(exit)",
     "success\nsuccess\nsuccess\nsuccess\nsuccess\nsuccess\nsat\n\"x\"\n"},
    {"options and information",
     "(get-option :print-success)(get-option :verbosity)"
     "(get-option :regular-output-channel)(get-option :foo)"
     "(set-option :foo (a b))(set-option :produce-abducts true)"
     "(get-option :produce-proofs)"
     "(get-info :name)(get-info :authors)(get-info :error-behavior)"
     "(get-info :foo)(set-info :x)(set-info :y (a (b) \"c\"))",
     "false\n0\n\"stdout\"\nunsupported\nunsupported\nunsupported\nfalse\n"
     "(:name \"vorn\")\n(:authors \"the Vorn authors\")\n"
     "(:error-behavior continued-execution)\nunsupported\n"},
    {"commands of other logics",
     "(set-logic QF_IDL)(declare-datatype S ((a)))(define-sort T () Int)"
     "(define-fun-rec f ((x Int)) Int (f x))(check-sat)",
     "unsupported\nunsupported\nsat\n"},
    {"echo keeps quotes", "(echo \"a \"\"b\"\"\")", "\"a \"\"b\"\"\"\n"},
    {"exit ends the script", "(echo \"a\")(exit)(echo \"b\")", "\"a\"\n"},
    {"reset forgets everything",
     "(set-option :produce-models false)(set-logic QF_IDL)"
     "(declare-const x Int)(assert (< x x))(check-sat)(reset)"
     "(get-option :produce-models)(set-logic QF_RDL)(declare-const x Real)"
     "(check-sat)",
     "unsat\ntrue\nsat\n"},
    {"reset goes on saying success",
     "(set-option :print-success true)(set-logic QF_IDL)(push)(reset)"
     "(get-option :print-success)(set-logic QF_RDL)",
     "success\nsuccess\nsuccess\nsuccess\ntrue\nsuccess\n"},
    {"reset-assertions forgets assertions and declarations",
     "(set-logic QF_IDL)(push)(declare-const x Int)(assert (< x x))"
     "(reset-assertions)(get-info :assertion-stack-levels)"
     "(declare-const x Int)(assert (< x 0))(check-sat)",
     "(:assertion-stack-levels 0)\nsat\n"},
    {"global declarations survive",
     "(set-option :global-declarations true)"
     "(set-option :produce-models true)(set-logic QF_IDL)(push)"
     "(declare-const x Int)(define-fun big () Bool (< 5 x))(assert (< x 0))"
     "(pop)(assert big)(check-sat)(reset-assertions)(assert (= x 2))"
     "(check-sat)(get-model)",
     "sat\nsat\n(\n  (define-fun x () Int 2)\n)\n"},
    {"an option of the graph between checks",
     "(set-logic QF_IDL)(declare-const x Int)(assert (< x 0))(check-sat)"
     "(set-option :dl-tlemma-kinds 3)(set-option :dl-dedup-tlemmas true)"
     "(set-option :dl-tlemma-min-overlap 0.75)(check-sat)"
     "(get-option :dl-tlemma-min-overlap)",
     "sat\nsat\n0.75\n"},
    {"options after set-logic",
     "(set-logic QF_IDL)(set-option :produce-models true)(push)"
     "(set-option :produce-unsat-cores true)(declare-const x Int)"
     "(set-option :produce-unsat-assumptions true)(set-option :random-seed 7)"
     "(assert (! (< x 0) :named low))(assert (! (< 0 x) :named high))"
     "(assert (! (< x 9) :named free))(set-option :produce-unsat-cores true)"
     "(set-option :produce-assignments true)(check-sat)(get-unsat-core)"
     "(pop)(set-option :produce-unsat-cores false)"
     "(set-option :global-declarations true)(push)(declare-const y Int)(pop)"
     "(check-sat-assuming ((! (< y 0) :note 1)))(get-value (y))",
     "unsat\n(low high)\nsat\n((y (- 1)))\n"},
    {"a seed between checks",
     "(set-logic QF_IDL)(declare-const x Int)(assert (< x 0))(check-sat)"
     "(set-option :random-seed 3)(set-option :propagation off)"
     "(set-option :machines off)(check-sat)(get-option :random-seed)",
     "sat\nsat\n3\n"},
    {"sorts by other names",
     "(set-logic QF_LIA)(define-sort Time () Int)(define-sort T () Time)"
     "(declare-const x T)(declare-fun T () Time)"
     "(define-fun late ((t T)) Bool (< 5 t))(assert (late x))"
     "(assert (= T (as x T)))(check-sat)(get-model)(push)"
     "(define-sort P () Bool)(declare-const p P)(pop)(define-sort P () Int)"
     "(declare-const p P)(check-sat)(get-value (p))",
     "sat\n(\n  (define-fun x () Int 6)\n  (define-fun T () Int 6)\n)\n"
     "sat\n((p 0))\n"},
    {"absolute values",
     "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
     "(assert (<= (abs (- x y)) 3))(assert (< 2 (abs (- y x))))(push)"
     "(assert (< x y))(check-sat)(get-value ((- y x) (abs (- x y))))(pop)"
     "(assert (distinct (abs (- x y)) 3))(check-sat)",
     "sat\n(((- y x) 3)\n ((abs (- x y)) 3))\nunsat\n"},
    {"an integer means its value among reals",
     "(declare-const x Int)(declare-const y Int)(declare-const r Real)"
     "(define-fun half ((a Real)) Real (+ a 0.5))"
     "(assert (< 1.5 x (half 2)))(assert (= y (+ x (to_real 2))))"
     "(assert (<= (half y) (+ x 2.5)))"
     "(assert (= r (ite (< x 0) 1 2.5)))(check-sat)"
     "(get-value (x (to_real x) (/ x 4) (to_int (+ x 0.5)) y r))"
     "(assert (or (= x 1.5) (< y (half 3))))(check-sat)",
     "sat\n((x 2)\n ((to_real x) 2.0)\n ((/ x 4) (/ 1.0 2.0))\n"
     " ((to_int (+ x 0.5)) 2)\n (y 4)\n (r (/ 5.0 2.0)))\nunsat\n"},
    {"integers and reals apart by a fraction",
     "(declare-const x Int)(declare-const y Int)(declare-const r Real)"
     "(assert (<= (- x r) 0.5))(assert (<= (- r y) 0.4))(check-sat)(push)"
     "(assert (< y x))(check-sat)(pop)(assert (< 1.5 r 1.6 (+ r 0.1)))"
     "(assert (distinct x y r))(check-sat)"
     "(get-value ((<= (- x r) 0.5) (< (- r y) 0.5) (distinct r y x)))",
     "sat\nunsat\nsat\n(((<= (- x r) 0.5) true)\n"
     " ((< (- r y) 0.5) true)\n ((distinct r y x) true))\n"},
    {"a cycle that only rounding closes",
     "(set-option :produce-unsat-cores true)"
     "(set-option :minimize-unsat-cores true)(set-logic QF_LIRA)"
     "(declare-const x Int)(declare-const y Int)(declare-const z Int)"
     "(declare-const r Real)(declare-const s Real)"
     "(assert (! (< x r) :named a))(assert (! (<= r (+ y 0.75)) :named b))"
     "(assert (! (< y s) :named c))(assert (! (<= s (+ z 0.75)) :named d))"
     "(assert (! (< s 9.5) :named e))(check-sat)"
     "(assert (! (<= z (- x 1)) :named f))(check-sat)(get-unsat-core)",
     "sat\nunsat\n(a b c d f)\n"},
    {"names that only some logics have",
     "(set-logic QF_IDL)(declare-const mod Int)"
     "(define-fun abs ((x Int)) Int x)(assert (< (abs mod) 0))(check-sat)"
     "(get-value ((abs mod)))",
     "sat\n(((abs mod) (- 1)))\n"},
    {"huge numbers",
     "(set-option :produce-models true)(set-logic QF_IDL)"
     "(declare-const x Int)(declare-const y Int)"
     "(assert (= x 123456789012345678901234567890))"
     "(assert (= (- y x) 9223372036854775807))"
     "(check-sat)(get-value (x y))",
     "sat\n((x 123456789012345678901234567890)\n"
     " (y 123456789021569050938089343697))\n"},
};

// Each session is answered word for word.
TEST(InterpreterTest, RunOfSoundSessionsGivesTheirAnswers) {
  for (const Session& session : kSessions) {
    SCOPED_TRACE(session.name);
    bool had_error = true;
    EXPECT_EQ(run_text(session.script, &had_error), session.output);
    EXPECT_FALSE(had_error);
  }
}

// Cores that were merely reported could be satisfiable: each is checked by
// itself here, through a session of its own.
TEST(InterpreterTest, CoreOfManyNamesIsUnsatisfiableAlone) {
  std::string script =
      "(set-option :produce-unsat-cores true)(set-logic QF_IDL)";
  for (int i = 0; i < 20; ++i) {
    script += "(declare-const x" + std::to_string(i) + " Int)";
  }
  for (int i = 0; i < 20; ++i) {
    script += "(assert (! (< x" + std::to_string(i) + " x" +
              std::to_string((i * 7 + 1) % 20) + ") :named n" +
              std::to_string(i) + "))";
  }
  const std::string output = run_text(script + "(check-sat)(get-unsat-core)");
  ASSERT_EQ(output.rfind("unsat\n(", 0), 0U) << output;
  std::istringstream names(output.substr(7, output.size() - 9));
  std::string alone;
  for (std::string name; names >> name;) {
    const int i = std::stoi(name.substr(1));
    alone += "(assert (< x" + std::to_string(i) + " x" +
             std::to_string((i * 7 + 1) % 20) + "))";
  }
  const std::string declarations = script.substr(0, script.find("(assert"));
  EXPECT_EQ(run_text(declarations + alone + "(check-sat)"), "unsat\n");
}

// The statistics are one list of keywords and values.
TEST(InterpreterTest, AllStatisticsIsAListOfKeywordsAndValues) {
  const std::string output = run_text(
      "(set-logic QF_IDL)(declare-const x Int)(assert (< x x))(check-sat)"
      "(get-info :all-statistics)");
  EXPECT_EQ(output.rfind("unsat\n(:decisions ", 0), 0U) << output;
  EXPECT_NE(output.find("\n :dl-conflicts "), std::string::npos);
  EXPECT_EQ(output.substr(output.size() - 2), ")\n");
}

// Replies go where the script sends them.
TEST(InterpreterTest, OutputChannelMovesReplies) {
  TextHost host;
  StringSource source(
      "(echo \"a\")(set-option :regular-output-channel \"file\")"
      "(echo \"b\")(set-option :regular-output-channel \"refused\")"
      "(echo \"c\")(set-option :regular-output-channel \"stdout\")"
      "(echo \"d\")");
  Interpreter interpreter(source, host);
  while (interpreter.run_command()) {
  }
  EXPECT_EQ(host.output(), "\"a\"\n\"d\"\n");
  EXPECT_EQ(host.outputs["file"],
            "\"b\"\n(error \"line 1 column 100: cannot write to file "
            "refused\")\n\"c\"\n");
}

// How much is logged is for the host to know.
TEST(InterpreterTest, VerbosityReachesTheHost) {
  TextHost host;
  StringSource source("(set-option :verbosity 2)");
  Interpreter interpreter(source, host);
  while (interpreter.run_command()) {
  }
  EXPECT_EQ(host.verbosity, 2U);
}

// A reset takes back where replies go and how much is said besides.
TEST(InterpreterTest, ResetRestoresTheChannels) {
  TextHost host;
  StringSource source(
      "(set-option :regular-output-channel \"stderr\")"
      "(set-option :verbosity 2)(echo \"b\")(reset)(echo \"c\")");
  Interpreter interpreter(source, host);
  while (interpreter.run_command()) {
  }
  EXPECT_EQ(host.outputs["stderr"], "\"b\"\n");
  EXPECT_EQ(host.output(), "\"c\"\n");
  EXPECT_EQ(host.verbosity, 0U);
}

// Who would rather stop than go on behind an error says so.
TEST(InterpreterTest, ErrorBehaviorEndsTheScriptOrGoesOn) {
  const Session sessions[] = {
      {"an error ends what says so",
       "(get-info :error-behavior)(foo)"
       "(set-option :error-behavior immediate-exit)(get-info :error-behavior)"
       "(get-option :error-behavior)\n(set-option :error-behavior 7)(echo "
       "\"no\")",
       "(:error-behavior continued-execution)\n"
       "(error \"line 1 column 28: unknown command foo\")\n"
       "(:error-behavior immediate-exit)\nimmediate-exit\n"
       "(error \"line 2 column 29: option :error-behavior expects "
       "continued-execution or immediate-exit\")\n"},
      {"what is no command ends it, too",
       "(set-option :error-behavior immediate-exit)foo(echo \"no\")",
       "(error \"line 1 column 44: expected a command, not foo\")\n"},
      {"a reset takes that back",
       "(set-option :error-behavior immediate-exit)(reset)(foo)(echo \"b\")",
       "(error \"line 1 column 52: unknown command foo\")\n\"b\"\n"},
  };
  for (const Session& session : sessions) {
    SCOPED_TRACE(session.name);
    bool had_error = false;
    EXPECT_EQ(run_text(session.script, &had_error), session.output);
    EXPECT_TRUE(had_error);
  }
}

// What a question after a check lacks is said, and does no harm to the next.
TEST(InterpreterTest, QuestionsAfterAnAnswerSayWhatIsMissing) {
  const Session sessions[] = {
      {"terms without brackets",
       "(set-option :produce-models true)(set-logic QF_IDL)"
       "(declare-const x Int)(check-sat)\n(get-value x)(get-value ((= x x)))",
       "sat\n(error \"line 2 column 12: expected '(' before the terms, not x\")"
       "\n(((= x x) true))\n"},
      {"no terms at all",
       "(set-option :produce-models true)(set-logic QF_IDL)"
       "(declare-const x Int)(check-sat)\n(get-value ())(get-value ((= x x)))",
       "sat\n(error \"line 2 column 13: expected a term, not ')'\")\n"
       "(((= x x) true))\n"},
      {"no models",
       "(set-option :produce-models false)(set-logic QF_IDL)"
       "(declare-const x Int)(check-sat)\n(get-value (x))",
       "sat\n(error \"line 2 column 1: option :produce-models has to be true "
       "for this command\")\n"},
      {"no assumptions",
       "(set-option :produce-unsat-assumptions true)(set-logic QF_IDL)"
       "(assert false)(check-sat)\n(get-unsat-assumptions)",
       "unsat\n(error \"line 2 column 1: the last check had no assumptions\")"
       "\n"},
      {"a parameter that is none",
       "(set-logic QF_IDL)\n(define-fun z ((a Int) 3) Int a)"
       "(define-fun z ((a Int)) Int a)(assert (= 3 (z 3)))(check-sat)",
       "(error \"line 2 column 24: expected a parameter or ')', not 3\")\n"
       "sat\n"},
  };
  for (const Session& session : sessions) {
    SCOPED_TRACE(session.name);
    EXPECT_EQ(run_text(session.script), session.output);
  }
}

// A count of many conditions is a comparison like any other: it takes part in
// cores, and its text is what was written.
TEST(InterpreterTest, CountsOfManyConditionsAreDecided) {
  std::string script =
      "(set-option :produce-unsat-cores true)"
      "(set-option :minimize-unsat-cores true)(set-logic QF_LIA)"
      "(declare-const x Int)";
  std::string sum = "(+";
  std::string twice = "(+";
  for (int i = 0; i < 12; ++i) {
    const std::string name = "p" + std::to_string(i);
    script += "(declare-const " + name + " Bool)";
    sum += " (ite " + name + " 1 0)";
    twice += " (ite " + name + " 2 (- 3))";
  }
  sum += ")";
  twice += ")";
  script += "(define-fun count () Int " + sum + ")" +
            "(assert (! (= x count) :named a))" +
            "(assert (! (< 8 x) :named b))(check-sat)(get-value ((< 8 x)))" +
            "(push)(assert (! (<= " + twice + " 0) :named c))" +
            "(assert (! (distinct x 7) :named d))(check-sat)" +
            "(get-unsat-core)(pop)(assert (! (>= count (+ x 1)) :named e))" +
            "(check-sat)(get-unsat-core)";
  EXPECT_EQ(run_text(script),
            "sat\n(((< 8 x) true))\nunsat\n(a b c)\nunsat\n(a e)\n");
}

// Who meets the limit has to know that there is one, and a way round it.
TEST(InterpreterTest, TooManySumsOfCasesAreRefusedWithTheLimit) {
  std::string script = "(set-logic QF_LIA)(declare-const x Int)";
  std::string sum;
  for (int i = 0; i < 30; ++i) {
    const std::string name = "p" + std::to_string(i);
    script += "(declare-const " + name + " Bool)";
    sum += " (ite " + name + " (+ x " + std::to_string(1U << i) + ") 0)";
  }
  const std::string output =
      run_text(script + "\n(assert (< (+" + sum + ") 3))(check-sat)");
  EXPECT_EQ(output.rfind("(error \"line 2 column 9: (< (+ (ite p0 ", 0), 0U);
  EXPECT_NE(output.find("... has more than 100000 sums of its cases; state it "
                        "in steps, each adding some of the cases to a "
                        "constant of its own\")\nsat\n"),
            std::string::npos)
      << output;
}

// Declarations must not be lost to a level that was opened under another rule.
TEST(InterpreterTest, GlobalDeclarationsStayAsTheyAreInsideALevel) {
  EXPECT_EQ(
      run_text("(set-logic QF_IDL)(push)\n(set-option :global-declarations "
               "true)(set-option :global-declarations false)(pop)"
               "(set-option :global-declarations true)"
               "(get-option :global-declarations)"),
      "(error \"line 2 column 1: option :global-declarations can be changed "
      "only while no level is open\")\ntrue\n");
}

// A reader that is gone ends the script, and nothing more is computed.
TEST(InterpreterTest, RunAfterOutputIsLostEnds) {
  TextHost host;
  host.writes_left = 1;
  StringSource source("(echo \"a\")(echo \"b\")(echo \"c\")");
  Interpreter interpreter(source, host);
  int commands = 0;
  while (interpreter.run_command()) ++commands;
  EXPECT_EQ(commands, 1);
  EXPECT_TRUE(interpreter.output_lost());
}

// A check that has to stop is answered, with its reason, and no model is to be
// had from it.
TEST(InterpreterTest, CheckWhenStoppedAnswersUnknown) {
  TextHost host;
  StringSource source(
      "(set-option :produce-models true)(set-option :timeout 250)"
      "(set-logic QF_IDL)(declare-const x Int)(assert (< x 0))(check-sat)"
      "(get-info :reason-unknown)(get-model)(check-sat)(get-model)");
  Interpreter interpreter(source, host);
  for (int i = 0; i < 5; ++i) interpreter.run_command();
  host.stop_now = SessionHost::Stop::kTimeout;
  for (int i = 0; i < 3; ++i) interpreter.run_command();
  host.stop_now = SessionHost::Stop::kNone;
  while (interpreter.run_command()) {
  }
  EXPECT_EQ(host.limit, 250U);
  EXPECT_EQ(host.output(),
            "unknown\n(:reason-unknown timeout)\n"
            "(error \"line 1 column 151: there is no assignment to show\")\n"
            "sat\n(\n  (define-fun x () Int (- 1))\n)\n");
}

// Where the host had to answer, that is the answer, and the only one, whatever
// the check comes to.
TEST(InterpreterTest, CheckThatTheHostAnsweredHasNoOtherAnswer) {
  TextHost host;
  StringSource source(
      "(set-option :print-success true)(set-option :produce-unsat-cores true)"
      "(set-option :timeout 250)(set-logic QF_IDL)(assert (! false :named a))"
      "(check-sat)(get-info :reason-unknown)(check-sat)(get-unsat-core)"
      "(get-unsat-core)");
  ScriptOptions options;
  options.explain = true;
  Interpreter interpreter(source, host, options);
  for (int i = 0; i < 5; ++i) interpreter.run_command();
  host.output().clear();
  host.gives_answers = true;
  host.stop_now = SessionHost::Stop::kInterrupt;
  interpreter.run_command();
  EXPECT_EQ(host.output(), "unknown\n");
  interpreter.run_command();
  EXPECT_EQ(host.output(), "unknown\n(:reason-unknown interrupted)\n");
  host.output().clear();
  host.gives_answers = false;
  host.stop_now = SessionHost::Stop::kNone;
  interpreter.run_command();
  EXPECT_EQ(host.output().rfind("unsat\n; unsat, because", 0), 0U);
  EXPECT_EQ(host.ready_answer, "; no explanation: out of time\n");
  host.output().clear();
  host.gives_answers = true;
  interpreter.run_command();
  EXPECT_EQ(host.output(), "(a)\n");
  // Without time, the core that the search has named.
  host.gives_answers = false;
  host.stop_now = SessionHost::Stop::kTimeout;
  interpreter.run_command();
  EXPECT_EQ(host.output(), "(a)\n(a)\n");
  EXPECT_EQ(host.limit, 250U);
  EXPECT_FALSE(interpreter.run_command());
}

// The script that `most` conflicts of its check are not enough for: more
// different numbers than there are values, without any bound to see that by.
std::string crowd(int people, int most) {
  std::string script =
      "(set-logic QF_IDL)(set-option :machines off)"
      "(set-option :reproducible-resource-limit " +
      std::to_string(most) + ")";
  std::string all;
  for (int i = 0; i < people; ++i) {
    const std::string name = "x" + std::to_string(i);
    script += "(declare-const " + name + " Int)(assert (or";
    for (int k = 1; k < people; ++k) {
      script += " (= " + name + " " + std::to_string(k * k) + ")";
    }
    script += "))";
    all += " " + name;
  }
  return script + "(assert (distinct" + all + "))(check-sat)";
}

// What a machine does in a second is no measure; so many conflicts are, and
// they are counted anew in each check.
TEST(InterpreterTest, ResourceLimitEndsEachCheckAtTheSamePlace) {
  const std::string script =
      crowd(7, 40) + "(get-info :reason-unknown)(get-model)";
  const std::string output = run_text(script);
  EXPECT_EQ(output.rfind("unknown\n(:reason-unknown resource-limit)\n(\n", 0),
            0U)
      << output;
  EXPECT_EQ(run_text(script), output);
  const std::string unlimited =
      "(set-option :reproducible-resource-limit 0)(check-sat)";
  EXPECT_EQ(run_text(crowd(7, 40) + unlimited), "unknown\nunsat\n");
  // By what a check has learnt the next one of them gets further.
  std::string checks = crowd(7, 40);
  for (int i = 0; i < 200; ++i) checks += "(check-sat)";
  const std::string answers = run_text(checks);
  EXPECT_NE(answers.find("unknown\nunknown\n"), std::string::npos);
  EXPECT_EQ(answers.substr(answers.size() - 6), "unsat\n");
}

// Values that contradict each other would be worth nothing at all.
TEST(InterpreterTest, AssignmentAfterUnknownIsOneOfTheSymbols) {
  const std::string output =
      run_text(crowd(7, 40) +
               "(define-fun sum () Bool (= x0 (+ x1 1)))"
               "(check-sat)(get-value (x0 x1 sum (+ x0 1)))");
  int x0 = 0;
  int x1 = 0;
  int next = 0;
  char sum[6] = "";
  ASSERT_EQ(std::sscanf(output.c_str(),
                        "unknown unknown ((x0 %d) (x1 %d) (sum %5[a-z]) "
                        "((+ x0 1) %d))",
                        &x0, &x1, sum, &next),
            4)
      << output;
  EXPECT_EQ(next, x0 + 1);
  EXPECT_EQ(std::string(sum), x0 == x1 + 1 ? "true" : "false");
}

// What a script says of itself is repeated, and held against the next answer.
TEST(InterpreterTest, StatusIsComparedWithTheNextAnswer) {
  TextHost host;
  StringSource source(
      "(get-info :status)(set-info :status sat)(get-info :status)\n"
      "(declare-const p Bool)(check-sat-assuming ((and p (not p))))\n"
      "(check-sat-assuming ((and p (not p))))(set-info :status unsat)\n"
      "(check-sat)(set-info :status unknown)(check-sat)"
      "(set-info :status maybe)(set-info :status sat)(check-sat)\n"
      "(get-info :status)(reset)(get-info :status)");
  Interpreter interpreter(source, host);
  while (interpreter.run_command()) {
  }
  EXPECT_FALSE(interpreter.had_error());
  EXPECT_EQ(host.output(),
            "(:status unknown)\n(:status sat)\nunsat\nunsat\nsat\nsat\nsat\n"
            "(:status sat)\n(:status unknown)\n");
  EXPECT_EQ(host.diagnostics,
            "vorn: line 2: the answer is unsat, but the script gives the "
            "status as sat\n"
            "vorn: line 4: the answer is sat, but the script gives the status "
            "as unsat\n");
}

// Whatever runs out of memory: the check says unknown, and a reset helps.
TEST(InterpreterTest, RunOutOfMemoryAnswersUnknownUntilReset) {
  // Fails where memory would: in the middle of reading a command.
  class FailingSource : public Source {
   public:
    std::size_t read(char* data, std::size_t capacity) override {
      if (next == 1 && !failed) {
        failed = true;
        throw std::bad_alloc();
      }
      if (next == 3) return 0;
      const std::string& piece = pieces[next++];
      EXPECT_LE(piece.size(), capacity);
      piece.copy(data, piece.size());
      return piece.size();
    }
    std::string pieces[3] = {
        "(set-option :produce-models true)(set-logic QF_IDL)"
        "(declare-const x Int)(assert (and (< x 0) |q(",
        "(|))(assert (< x 1))(check-sat)(get-info :reason-unknown)(get-model)",
        "(push)(pop 7)(check-sat-assuming (x))(get-assertions)(reset)"
        "(set-logic QF_IDL)(declare-const x Int)(assert (< x x))(check-sat)"};
    std::size_t next = 0;
    bool failed = false;
  };
  TextHost host;
  FailingSource source;
  Interpreter interpreter(source, host);
  while (interpreter.run_command()) {
  }
  EXPECT_EQ(host.output(),
            "unknown\n(:reason-unknown memout)\n"
            "(error \"line 1 column 154: there is no assignment to show\")\n"
            "unknown\n"
            "(error \"line 1 column 202: out of memory\")\nunsat\n");
}

}  // namespace
}  // namespace vorn::solver
