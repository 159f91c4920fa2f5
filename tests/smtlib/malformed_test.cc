// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/smtlib/text_session.h"

namespace vorn::solver {
namespace {

std::string error(const std::string& text) {
  return "(error \"" + text + "\")\n";
}

struct Malformed {
  std::string command;
  std::string message;
};

// Each is run on line 2 of a session; the lines after it have to come out as
// if it had not been there.
const Malformed kTable[] = {
    // Brackets and tokens.
    {"check-sat", "line 2 column 1: expected a command, not check-sat"},
    {"x y (z", "line 2 column 1: expected a command, not x"},
    {"()", "line 2 column 2: expected a command name, not ')'"},
    {"((assert p))", "line 2 column 2: expected a command name, not '('"},
    {"(|assert| p)", "line 2 column 2: expected a command name, not |assert|"},
    {"(3)", "line 2 column 2: expected a command name, not 3"},
    {"(frobnicate (a) \")\" |)|)",
     "line 2 column 2: unknown command frobnicate"},
    {")", "line 2 column 1: expected a command, not ')'"},
    {"(assert p))", "line 2 column 11: expected a command, not ')'"},
    {"(assert (and p \\ q))", "line 2 column 16: '\\' is not allowed here"},
    {std::string("(assert (and p \0 q))", 20),
     "line 2 column 16: byte 0x00 is not allowed here"},
    {std::string("(echo \"a\0b\")", 12),
     "line 2 column 9: byte 0x00 is not allowed in a string"},
    {std::string("(declare-const |a\0b| Int)", 25),
     "line 2 column 18: byte 0x00 is not allowed in a quoted symbol"},
    {"(assert (< x 0007))", "line 2 column 14: number 0007 starts with 0"},
    {"(assert (< x 1.2.3))", "line 2 column 14: malformed number 1.2.3"},
    {"(assert (< x #b12))", "line 2 column 14: malformed constant #b12"},
    // Commands.
    {"(assert)", "line 2 column 8: expected a term, not ')'"},
    {"(assert p q)", "line 2 column 11: expected ')', not q"},
    {"(assert x)", "line 2 column 9: expected a Bool, not an Int"},
    {"(assert unknown)", "line 2 column 9: unknown symbol unknown"},
    {"(assert (unknown x))", "line 2 column 10: unknown function unknown"},
    {"(assert (< x p))",
     "line 2 column 14: < expects a number here, not a Bool"},
    {"(assert (not p p))", "line 2 column 10: not takes 1 argument, not 2"},
    {"(assert (! p :named x))", "line 2 column 21: symbol x is already in use"},
    {"(check-sat p)", "line 2 column 12: expected ')', not p"},
    {"(check-sat-assuming p)",
     "line 2 column 21: expected '(' before the assumptions, not p"},
    {"(check-sat-assuming (p x))",
     "line 2 column 24: expected a Bool, not an Int"},
    {"(check-sat-assuming ((! p :named n)))",
     "line 2 column 34: a term cannot be named here"},
    {"(push x)", "line 2 column 7: expected a numeral, not x"},
    {"(push 1 1)", "line 2 column 9: expected ')', not 1"},
    {"(push 99999999999999999999)",
     "line 2 column 7: there cannot be more than 1000000 levels"},
    {"(pop)", "line 2 column 5: there are 0 levels to pop"},
    {"(declare-const x Int)", "line 2 column 16: symbol x is already in use"},
    {"(declare-const and Bool)", "line 2 column 16: symbol and is predefined"},
    {"(declare-const let Bool)",
     "line 2 column 16: expected a symbol, not let"},
    {"(declare-const 3 Bool)", "line 2 column 16: expected a symbol, not 3"},
    {"(declare-const z Foo)", "line 2 column 18: unknown sort Foo"},
    {"(declare-const z (_ BitVec 8))",
     "line 2 column 18: unknown sort (_ BitVec 8)"},
    {"(declare-const z Real)",
     "line 2 column 18: sort Real does not exist in this logic"},
    {"(declare-const z Int Int)", "line 2 column 22: expected ')', not Int"},
    {"(declare-fun f (Int) Int)",
     "line 2 column 17: a function with arguments cannot be declared"},
    {"(declare-fun z Int)", "line 2 column 16: expected '(', not Int"},
    {"(define-sort S (X) X)",
     "line 2 column 17: a sort with parameters cannot be defined"},
    {"(define-sort S () T)", "line 2 column 19: unknown sort T"},
    {"(define-sort Int () Int)",
     "line 2 column 14: sort Int is already in use"},
    {"(define-sort S Int)", "line 2 column 16: expected '(', not Int"},
    {"(define-sort S () Int Int)", "line 2 column 23: expected ')', not Int"},
    {"(declare-sort S 0)",
     "line 2 column 15: sort S cannot be declared; there are Bool, Int and "
     "Real"},
    {"(define-fun z () Int p)",
     "line 2 column 22: the definition is to be of sort Int, but this is of "
     "sort Bool"},
    {"(define-fun z ((a Int) (a Int)) Int a)",
     "line 2 column 25: parameter a occurs twice"},
    {"(define-fun z ((a Int)) Int b)", "line 2 column 29: unknown symbol b"},
    {"(define-fun z ((a Int)) Bool (! (< a 0) :named n))",
     "line 2 column 48: a term cannot be named here"},
    {"(define-fun z () Bool (! p :named z))",
     "line 2 column 1: symbol z is named in its own body"},
    {"(define-fun z () Bool (< (* x x) 1))",
     "line 2 column 23: (< (* x x) 1) is outside difference logic"},
    {"(define-const z Int)", "line 2 column 20: expected a term, not ')'"},
    {"(set-logic QF_RDL)", "line 2 column 1: the logic is already set"},
    {"(set-option :produce-unsat-cores true)",
     "line 2 column 1: option :produce-unsat-cores can be changed only while "
     "nothing is asserted"},
    {"(set-option :print-success 1)",
     "line 2 column 28: option :print-success expects true or false"},
    {"(set-option :verbosity)", "line 2 column 23: expected a value, not ')'"},
    {"(set-option print-success true)",
     "line 2 column 13: expected a keyword, not print-success"},
    {"(set-option :regular-output-channel \"refused\")",
     "line 2 column 37: cannot write to file refused"},
    {"(set-option :diagnostic-output-channel \"refused\")",
     "line 2 column 40: cannot write to file refused"},
    {"(set-info x)", "line 2 column 11: expected a keyword, not x"},
    {"(get-info :reason-unknown)",
     "line 2 column 1: the last answer is not unknown"},
    {"(echo a)", "line 2 column 7: expected a string, not a"},
    {"(get-model)",
     "line 2 column 1: get-model is possible only while the last answer is "
     "sat"},
    {"(get-value (x))",
     "line 2 column 1: get-value is possible only while the last answer is "
     "sat"},
    {"(get-assignment)",
     "line 2 column 1: get-assignment is possible only while the last answer "
     "is sat"},
    {"(get-unsat-core)",
     "line 2 column 1: get-unsat-core is possible only while the last answer "
     "is unsat"},
    {"(get-unsat-assumptions)",
     "line 2 column 1: get-unsat-assumptions is possible only while the last "
     "answer is unsat"},
    // Outside the fragment, with the place of the atom and not of the command.
    {"(assert (or p (< (+ x y) 3)))",
     "line 2 column 15: (< (+ x y) 3) is outside difference logic"},
    {"(assert (<= 0 (* x y)))",
     "line 2 column 9: (<= 0 (* x y)) is outside difference logic"},
    {"(assert (<= (* 2 x) y))",
     "line 2 column 9: (<= (* 2 x) y) is outside difference logic"},
    {"(assert (let ((s (+ x y))) (and p (=  s\n   1))))",
     "line 2 column 35: (= s 1) is outside difference logic"},
    {"(assert (<= 0 (+ 1 (abs (+ x  y)))))",
     "line 2 column 20: (abs (+ x y)) is outside difference logic"},
    {"(assert (< (abs (- x y)) y))",
     "line 2 column 9: (< (abs (- x y)) y) is outside difference logic"},
    {"(assert (and p (product x y)))",
     "line 2 column 16: (product x y) is outside difference logic"},
    {"(check-sat-assuming (p (> (+ x y) 3)))",
     "line 2 column 24: (> (+ x y) 3) is outside difference logic"},
};

// An error is exact, changes nothing, and the script goes on behind it.
TEST(MalformedTest, CommandInErrorIsReportedAndChangesNothing) {
  for (const Malformed& row : kTable) {
    SCOPED_TRACE(row.command);
    bool had_error = false;
    std::string command = row.command;
    // Where a command is left open on purpose, close it.
    if (command == "x y (z") command = "x y (check-sat)";
    const bool checks = command == "x y (check-sat)";
    const std::string output = run_text(
        "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
        "(declare-const p Bool)(assert (< x y))(define-fun product ((a Int) "
        "(b Int)) Bool (< (* a b) 0))(declare-const n2 Int)\n" +
            command +
            "\n(declare-const z Int)(assert (! (< y z) :named n))"
            "(get-info :assertion-stack-levels)(check-sat)"
            "(assert (< z x))(check-sat)",
        &had_error);
    EXPECT_EQ(output, error(row.message) + (checks ? "sat\n" : "") +
                          "(:assertion-stack-levels 0)\nsat\nunsat\n");
    EXPECT_TRUE(had_error);
  }
}

// A script without a logic runs as well, in ALL; but not in two logics.
TEST(MalformedTest, SetLogicAfterOtherCommandsIsAnError) {
  EXPECT_EQ(run_text("(declare-const x Int)(declare-const r Real)\n"
                     "(set-logic QF_IDL)(assert (< x 0))(check-sat)"),
            error("line 2 column 1: set-logic comes too late: without it, the "
                  "logic of the commands before is ALL") +
                "sat\n");
  // What is in error leaves the choice open.
  EXPECT_EQ(run_text("(declare-const x Foo)(pop)(set-logic QF_IDL)"
                     "(declare-const x Int)(check-sat)"),
            error("line 1 column 18: unknown sort Foo") +
                error("line 1 column 26: there are 0 levels to pop") + "sat\n");
}

// What is in none of the logics that are known is refused by name.
TEST(MalformedTest, SetLogicToUnknownNameIsAnError) {
  EXPECT_EQ(run_text("(set-logic LIA)(set-logic QF_BV)(set-logic |a b|)"
                     "(set-logic QF_LIA)(check-sat)"),
            error("line 1 column 12: logic LIA has quantifiers, which are not "
                  "supported; QF_LIA is the same without") +
                error("line 1 column 27: logic QF_BV is not supported, only "
                      "ALL and quantifier-free logics with integers or reals, "
                      "such as QF_IDL, QF_RDL and QF_LIA") +
                error("line 1 column 44: logic |a b| is not supported, only "
                      "ALL and quantifier-free logics with integers or reals, "
                      "such as QF_IDL, QF_RDL and QF_LIA") +
                "sat\n");
}

// What an answer does not allow, and what was not asked for in time.
TEST(MalformedTest, QueryAfterTheWrongAnswerIsAnError) {
  EXPECT_EQ(
      run_text("(set-option :produce-models false)(set-logic QF_IDL)"
               "(declare-const x Int)(check-sat)\n"
               "(get-model)(get-unsat-core)(get-assignment)\n"
               "(assert (< x x))(get-value (x))(check-sat)\n"
               "(get-unsat-core)(get-unsat-assumptions)"),
      "sat\n" +
          error("line 2 column 1: option :produce-models has to be true for "
                "this command") +
          error("line 2 column 12: get-unsat-core is possible only while the "
                "last answer is unsat") +
          error("line 2 column 28: option :produce-assignments has to be true "
                "for this command") +
          error("line 3 column 17: get-value is possible only while the last "
                "answer is sat") +
          "unsat\n" +
          error("line 4 column 1: option :produce-unsat-cores has to be true "
                "for this command") +
          error("line 4 column 17: option :produce-unsat-assumptions has to be "
                "true for this command"));
}

// Cut off anywhere, a script is in error at its end or where the open quote
// is, and what came before it stays answered.
TEST(MalformedTest, ScriptCutOffIsReported) {
  const Malformed table[] = {
      {"(assert (< x",
       "line 2 column 13: the script ends inside the command "
       "that starts at line 2 column 1"},
      {"(assert\n",
       "line 3 column 1: the script ends inside the command that "
       "starts at line 2 column 1"},
      {"(",
       "line 2 column 2: the script ends inside the command that starts "
       "at line 2 column 1"},
      {"(foo (", "line 2 column 2: unknown command foo"},
      {"(echo \"abc", "line 2 column 7: string is not closed"},
      {"(declare-const |abc", "line 2 column 16: quoted symbol is not closed"},
      {"(assert ; (< x 0))",
       "line 2 column 19: the script ends inside the "
       "command that starts at line 2 column 1"},
      {"(set-info :source |abc",
       "line 2 column 19: quoted symbol is not "
       "closed"},
      {"(set-info :source (a b",
       "line 2 column 23: the script ends inside the "
       "command that starts at line 2 column 1"},
  };
  for (const Malformed& row : table) {
    SCOPED_TRACE(row.command);
    EXPECT_EQ(run_text("(set-logic QF_IDL)(declare-const x Int)(check-sat)\n" +
                       row.command),
              "sat\n" + error(row.message));
  }
  EXPECT_EQ(run_text("(echo \"a\") ; (echo \"b\")"), "\"a\"\n");
}

// A message must itself be one string literal.
TEST(MalformedTest, QuotesInMessagesAreDoubled) {
  EXPECT_EQ(run_text("(set-logic QF_IDL)(assert |a\"b|)"),
            error("line 1 column 27: unknown symbol |a\"\"b|"));
}

// Long texts are cut in messages.
TEST(MalformedTest, LongTextsInMessagesAreCut) {
  const std::string output = run_text(
      "(set-logic QF_IDL)(assert " + std::string(100000, 'a') + ")(check-sat)");
  EXPECT_EQ(output, error("line 1 column 27: unknown symbol " +
                          std::string(60, 'a') + "...") +
                        "sat\n");
}

// Numbers, brackets and lines of any size are read or refused, never a crash.
TEST(MalformedTest, HugeInputIsReadOrRefused) {
  const std::string start = "(set-logic QF_IDL)(declare-const x Int)";
  EXPECT_EQ(run_text(start + "(assert (< x " + std::string(100000, '9') +
                     "))(check-sat)"),
            "sat\n");
  EXPECT_EQ(run_text(start + "(assert " + std::string(1000000, '(') + "\n"),
            error("line 1 column 49: expected a function, not '('"));
  EXPECT_EQ(run_text(start + "(set-info :x " + std::string(1000000, '(') +
                     std::string(1000000, ')') + ")(check-sat)"),
            "sat\n");
  EXPECT_EQ(run_text(std::string(1000000, ')') + "(check-sat)"),
            error("line 1 column 1: expected a command, not ')'") + "sat\n");
}

}  // namespace
}  // namespace vorn::solver
