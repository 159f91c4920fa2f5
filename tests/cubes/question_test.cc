// SPDX-License-Identifier: MIT
#include "solver/cubes/question.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::solver {
namespace {

std::string error_of(const std::string& script) {
  ScriptError error;
  if (read_question(script, error).has_value()) return "";
  return std::to_string(error.position.line) + ':' +
         std::to_string(error.position.column) + ": " + error.message;
}

// What cannot be split must not be split into something else.
TEST(QuestionTest, OtherThanOneCheckIsRefusedWithItsPlace) {
  const std::string head = "(set-logic QF_IDL)\n(declare-const x Int)\n";
  EXPECT_EQ(error_of(head + "(check-sat)(get-model)(exit)(pop 1)"), "");
  EXPECT_EQ(error_of(head), "2:1: there is no (check-sat) to split");
  EXPECT_EQ(error_of(""), "1:1: there is no (check-sat) to split");
  EXPECT_EQ(error_of(head + "(exit)"),
            "3:1: there is no (check-sat) before this to split");
  EXPECT_EQ(error_of(head + "(check-sat)\n(check-sat)"),
            "4:1: a second check: what is split is one question");
  EXPECT_EQ(error_of(head + "(check-sat-assuming ())"),
            "3:1: what is assumed cannot be split; assert it instead");
  EXPECT_EQ(error_of(head + " (push 1)(check-sat)"),
            "3:2: push cannot be split: what is split is one question");
  EXPECT_EQ(error_of(head + "(reset)(check-sat)"),
            "3:1: reset cannot be split: what is split is one question");
  EXPECT_EQ(error_of(head + "(minimize x)(check-sat)"),
            "3:1: objectives cannot be split; ask about one value of them");
  EXPECT_EQ(error_of(head + "(check-sat)(assert (< x 0))"),
            "3:12: assert behind the check has nothing to do with it");
  EXPECT_EQ(error_of(head + "(assert (< x 0)"), "3:16: expected ')'");
  EXPECT_EQ(error_of(head + "x"), "3:1: expected a command");
  EXPECT_EQ(error_of(head + "(\"x\")"), "3:2: expected a command name");
}

// A cube says what its question does, and its answer says whose it is, whatever
// the script says about printing.
TEST(QuestionTest, CubeIsTheQuestionAndWhatItAdds) {
  const std::string script =
      "; (check-sat)\n"
      "(set-info :status sat) (set-option :print-success true) ; a (\n"
      "(set-option :regular-output-channel \"f\")"
      "(set-option :produce-unsat-cores\n true)"
      "(set-logic QF_IDL)(echo \"(\")(declare-const |(| Int)\n"
      "(assert (! (< |(| 0) :named n))\r\n(check-sat)";
  ScriptError error;
  const auto question = read_question(script, error);
  ASSERT_TRUE(question.has_value());
  const std::string blank(22, ' ');
  EXPECT_EQ(question->head, "; (check-sat)\n" + blank + ' ' +
                                std::string(32, ' ') + " ; a (\n" +
                                std::string(40, ' ') +
                                "(set-option :produce-unsat-cores\n true)"
                                "(set-logic QF_IDL)" +
                                std::string(10, ' ') +
                                "(declare-const |(| Int)\n"
                                "(assert (! (< |(| 0) :named n))\r\n");
  EXPECT_EQ(question->bare.size(), question->head.size());
  EXPECT_EQ(question->bare.find("set-option"), std::string::npos);
  const std::string signature = question->signature("cube-7", {"p", "q"});
  EXPECT_EQ(question->cube_text("cube-7", {"p", "q"}),
            question->head +
                "; cube-7: what it adds.\n(assert p)\n(assert q)\n"
                "(set-option :print-models true)\n(echo \"" +
                signature + "\")\n(check-sat)\n(exit)\n");
  EXPECT_NE(question->signature("cube-7", {"p", "r"}), signature);
  EXPECT_NE(question->signature("cube-8", {"p", "q"}), signature);
  const auto other = read_question(script + ' ', error);
  EXPECT_NE(other->signature("cube-7", {"p", "q"}), signature);
}

}  // namespace
}  // namespace vorn::solver
