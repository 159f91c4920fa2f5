// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// Input beyond what anybody writes by hand: 100 MB in one line, brackets a
// million deep. The sanitizers' builds try a tenth of each, those with the
// checked library a hundredth of the depth.

namespace vorn::command {
namespace {

constexpr int kDepth = test::kCheckedLibrary ? 10000
                       : test::kSanitized    ? 100000
                                             : 1000000;
constexpr int kLine = test::kSanitized ? 10000000 : 100000000;

constexpr char kStart[] =
    "(set-logic QF_IDL)(declare-const x Int)(declare-const p Bool)";

struct Nest {
  const char* name;
  /// What stands before the nest, is repeated, in its middle, and behind.
  const char* before;
  const char* open;
  const char* middle;
  const char* close;
  const char* behind;
  int status;
  const char* output;
};

std::ostream& operator<<(std::ostream& out, const Nest& nest) {
  return out << nest.name;
}

const Nest kNests[] = {
    {"not", "(assert ", "(not ", "p", ")", ")(check-sat)(get-value (p))", 0,
     "sat\n((p true))\n"},
    {"and", "(assert ", "(and p ", "p", ")", ")(check-sat)(get-value (p))", 0,
     "sat\n((p true))\n"},
    {"implies", "(assert ", "(=> p ", "false", ")",
     ")(check-sat)(get-value (p))", 0, "sat\n((p false))\n"},
    {"ite", "(assert (= 3 ", "(ite p x ", "x", ")",
     "))(check-sat)(get-value (x))", 0, "sat\n((x 3))\n"},
    {"sum", "(assert (= 0 ", "(+ 1 ", "x", ")", "))(check-sat)", 0, "sat\n"},
    {"let body", "(assert ", "(let ((v p)) ", "v", ")",
     ")(check-sat)(get-value (p))", 0, "sat\n((p true))\n"},
    {"let binding", "(assert ", "(let ((v ", "p", ")) v)",
     ")(check-sat)(get-value (p))", 0, "sat\n((p true))\n"},
    {"annotation", "(assert ", "(! ", "p", " :a b)", ")(check-sat)", 0,
     "sat\n"},
    {"attribute", "(set-info :a ", "(", "p", ")", ")(check-sat)", 0, "sat\n"},
    {"plain brackets", "(assert ", "(", "p", ")", ")(check-sat)", 1,
     "(error \"line 1 column 71: expected a function, not '('\")\nsat\n"},
    {"never closed", "(assert ", "(", "", "", "", 1,
     "(error \"line 1 column 71: expected a function, not '('\")\n"},
    {"never opened", "", ")", "", "", "(check-sat)", 1,
     "(error \"line 1 column 62: expected a command, not ')'\")\nsat\n"},
};

class NestTest : public ::testing::TestWithParam<Nest> {};

// Neither the reader nor anything behind it recurses: depth costs memory, in
// proportion, and no stack.
TEST_P(NestTest, AMillionDeepAnswersOrSaysWhere) {
  const Nest& nest = GetParam();
  const ScriptFile script([&nest](std::ostream& out) {
    out << kStart << nest.before;
    repeat(out, nest.open, kDepth);
    out << nest.middle;
    repeat(out, nest.close, kDepth);
    out << nest.behind;
  });
  const Ended ended = run({script.name()});
  EXPECT_EQ(ended.output, nest.output);
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.status, nest.status);
  if (!test::kSanitized) {
    EXPECT_LE(ended.peak_mebibytes, 400);
  }
  RecordProperty("peak_mebibytes", std::to_string(ended.peak_mebibytes));
  RecordProperty("seconds", std::to_string(ended.seconds));
}

INSTANTIATE_TEST_SUITE_P(All, NestTest, ::testing::ValuesIn(kNests));

struct Line {
  const char* name;
  const char* before;
  const char* part;
  const char* behind;
  int status;
  const char* output;
  /// The most memory, as a multiple of the script's size.
  double memory;
};

std::ostream& operator<<(std::ostream& out, const Line& line) {
  return out << line.name;
}

const Line kLines[] = {
    {"comment", "; ", "ccccccccc ", "\n(check-sat)", 0, "sat\n", 0.5},
    {"symbol", "(set-logic QF_IDL)(declare-const ", "aaaaaaaaaa",
     " Int)(check-sat)", 0, "sat\n", 8},
    {"conjunction", "(set-logic QF_IDL)(declare-const pppp Bool)(assert (and",
     " pppp pppp", "))(check-sat)", 0, "sat\n", 10},
    {"rubbish", "", "rubbish { ", "", 1,
     "(error \"line 1 column 1: expected a command, not rubbish\")\n", 0.5},
    {"skipped command", "(set-logic QF_IDL)(assert (foo ", "rubbish ab",
     "))(check-sat)", 1,
     "(error \"line 1 column 28: unknown function foo\")\nsat\n", 0.5},
};

class LineTest : public ::testing::TestWithParam<Line> {};

// A line is no unit of reading; what is not kept costs nothing.
TEST_P(LineTest, OfAHundredMegabytesAnswersOrSaysWhere) {
  const Line& line = GetParam();
  const ScriptFile script([&line](std::ostream& out) {
    out << line.before;
    repeat(out, line.part, kLine / 10);
    out << line.behind;
  });
  const Ended ended = run({script.name()});
  EXPECT_EQ(ended.output, line.output);
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.status, line.status);
  if (!test::kSanitized) {
    EXPECT_LE(ended.peak_mebibytes, 160 * line.memory);
  }
  RecordProperty("peak_mebibytes", std::to_string(ended.peak_mebibytes));
  RecordProperty("seconds", std::to_string(ended.seconds));
}

INSTANTIATE_TEST_SUITE_P(All, LineTest, ::testing::ValuesIn(kLines));

}  // namespace
}  // namespace vorn::command
