// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "tests/command/scripts.h"

// Input that is no script, or one from another system.

namespace vorn::command {
namespace {

// The errors a user meets first.
TEST(OddInputTest, MissingFileAndFolderAreTold) {
  const Ended missing = run({"/nonexistent/file.smt2"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.output, "");
  EXPECT_EQ(missing.errors,
            "vorn: cannot open /nonexistent/file.smt2: No such file or "
            "directory\n");
  const Ended folder = run({"/"});
  EXPECT_EQ(folder.status, 1);
  EXPECT_EQ(folder.output, "");
  EXPECT_EQ(folder.errors, "vorn: cannot read /: it is a directory\n");
}

// Nothing is a script without commands.
TEST(OddInputTest, EmptyInputIsAScript) {
  const ScriptFile script(std::string{});
  for (const Ended& ended : {run({script.name()}), run({})}) {
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, "");
  }
}

// Random bytes: one-line errors, a status, an end.
TEST(OddInputTest, RandomBytesAreErrorsInWholeLines) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const ScriptFile script([seed](std::ostream& out) {
      std::mt19937 random(seed);
      for (int i = 0; i < 20000; ++i) out.put(static_cast<char>(random()));
    });
    const Ended ended = run({script.name()});
    EXPECT_EQ(ended.status, 1);
    std::istringstream lines(ended.output);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
      EXPECT_EQ(line.rfind("(error \"line ", 0), 0U) << line;
    }
    EXPECT_GE(count, 1);
    EXPECT_EQ(ended.output.back(), '\n');
    EXPECT_EQ(ended.errors, "");
  }
}

// A program handed over in place of a script.
TEST(OddInputTest, ProgramAsScriptIsAnError) {
  const Ended ended = run({VORN_COMMAND});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.signal, 0);
  EXPECT_EQ(ended.output.rfind("(error \"line 1 column 1: ", 0), 0U);
}

// NUL bytes are no end of text, and no space.
TEST(OddInputTest, NulBytesAreToldWithTheirPlace) {
  const ScriptFile script(
      std::string("(echo \"a\")\0\0\0\n(echo \"b\")\n(assert (\0))", 36));
  const Ended ended = run({script.name()});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.output,
            "\"a\"\n(error \"line 1 column 11: byte 0x00 is not allowed "
            "here\")\n\"b\"\n(error \"line 3 column 10: byte 0x00 is not "
            "allowed here\")\n");
}

// A last line without an end is a line; half a command is an error.
TEST(OddInputTest, MissingLastNewlineChangesNothing) {
  const ScriptFile whole(std::string{"(set-logic QF_IDL)(check-sat)"});
  EXPECT_EQ(run({whole.name()}).output, "sat\n");
  EXPECT_EQ(run({whole.name()}).status, 0);
  const ScriptFile half(std::string{"(set-logic QF_IDL)\n(check-sat"});
  const Ended ended = run({half.name()});
  EXPECT_EQ(ended.output,
            "(error \"line 2 column 11: the script ends inside the command "
            "that starts at line 2 column 1\")\n");
  EXPECT_EQ(ended.status, 1);
}

// The same script with the line ends of each system is the same script: above
// all, a comment hides no more than its line.
TEST(OddInputTest, EveryLineEndGivesTheSameAnswers) {
  for (const char* const end : {"\n", "\r\n", "\r"}) {
    std::string text;
    for (const char* const line :
         {"(set-logic QF_IDL) ; a comment", "(declare-const x Int)",
          "; another", "(assert (< x 3)) ; and", "(assert (> x 3))",
          "(check-sat)", "", " (foo)"}) {
      text += line;
      text += end;
    }
    const ScriptFile script(text);
    const Ended ended = run({script.name()});
    EXPECT_EQ(ended.output,
              "unsat\n(error \"line 8 column 3: unknown command foo\")\n");
    EXPECT_EQ(ended.status, 1);
  }
}

// The mark that some editors put before UTF-8 is no part of the script.
TEST(OddInputTest, ByteOrderMarkIsPassedOver) {
  const ScriptFile script(std::string{"\xEF\xBB\xBF(echo \"a\")"});
  const Ended ended = run({script.name()});
  EXPECT_EQ(ended.output, "\"a\"\n");
  EXPECT_EQ(ended.status, 0);
}

}  // namespace
}  // namespace vorn::command
