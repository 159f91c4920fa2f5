// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// Memory that runs out while a script is read, turned into clauses and bounds,
// or solved.

namespace vorn::command {
namespace {

constexpr char kMemout[] = "unknown\n(:reason-unknown memout)\n";
constexpr char kQuestion[] = "(check-sat)(get-info :reason-unknown)\n";

class MemoryLimitTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  }
};

// The declarations and assertions themselves are too many.
TEST_F(MemoryLimitTest, WhileReadingAnswersMemout) {
  const ScriptFile script([](std::ostream& out) {
    out << "(set-logic QF_IDL)(declare-const x0 Int)\n";
    for (int i = 0; i < 200000; ++i) {
      out << "(declare-const x" << i + 1 << " Int)(assert (< x" << i << " x"
          << i + 1 << "))\n";
    }
    out << kQuestion;
  });
  for (const char* limit : {"16", "32", "64"}) {
    SCOPED_TRACE(limit);
    const Ended ended = run({"--memory-limit", limit, script.name()});
    EXPECT_EQ(ended.output, kMemout);
    EXPECT_EQ(ended.errors, "vorn: out of memory\n");
    EXPECT_EQ(ended.status, 0);
    EXPECT_LE(ended.peak_mebibytes, std::stod(limit));
  }
}

// The terms fit, their clauses and bounds do not.
TEST_F(MemoryLimitTest, WhileEncodingAnswersMemout) {
  const ScriptFile script([](std::ostream& out) {
    out << "(set-logic QF_IDL)(declare-const x Int)(assert (or";
    for (int i = 0; i < 300000; ++i) out << " (< x " << i << ")";
    out << "))(echo \"read\")" << kQuestion;
  });
  for (const char* limit : {"96", "128", "160"}) {
    SCOPED_TRACE(limit);
    const Ended ended = run({"--memory-limit", limit, script.name()});
    EXPECT_EQ(ended.output, std::string("\"read\"\n") + kMemout);
    EXPECT_EQ(ended.status, 0);
    EXPECT_LE(ended.peak_mebibytes, std::stod(limit));
  }
}

// Every limit around what a hard question needs: the smallest fail while the
// command starts, larger ones deep in the search, the largest not at all.
TEST_F(MemoryLimitTest, AnyLimitAroundTheNeedAnswersUnknown) {
  const ScriptFile script([](std::ostream& out) {
    write_hard_assertions(out, 60);
    out << "(echo \"read\")" << kQuestion;
  });
  int at_start = 0;
  int behind_reading = 0;
  int in_time = 0;
  for (int limit = 1; limit <= 28; ++limit) {
    SCOPED_TRACE(limit);
    const Ended ended = run({"--timeout", "1", "--memory-limit",
                             std::to_string(limit), script.name()});
    EXPECT_EQ(ended.status, 0);
    if (ended.output == "unknown\n") {
      ++at_start;
    } else if (ended.output == std::string("\"read\"\n") + kMemout) {
      ++behind_reading;
    } else if (ended.output ==
               "\"read\"\nunknown\n(:reason-unknown timeout)\n") {
      ++in_time;
    } else {
      EXPECT_EQ(ended.output, std::string("\"read\"\n") + kMemout);
    }
  }
  EXPECT_GE(at_start, 4);
  EXPECT_GE(behind_reading, 1);
  EXPECT_GE(in_time, 1);
}

// A limit below what the program itself takes is one like any other.
TEST_F(MemoryLimitTest, BelowTheProgramAnswersUnknown) {
  const ScriptFile script(std::string{"(set-logic QF_IDL)(check-sat)"});
  for (const char* limit : {"1", "2", "4", "6"}) {
    SCOPED_TRACE(limit);
    const Ended ended = run({"--memory-limit", limit, script.name()});
    EXPECT_EQ(ended.output, "unknown\n");
    EXPECT_EQ(ended.errors, "vorn: out of memory\n");
    EXPECT_EQ(ended.status, 0);
  }
}

// What has been answered stays answered, and a reset gives the memory back.
TEST_F(MemoryLimitTest, ResetAfterMemoutGoesOn) {
  const ScriptFile script([](std::ostream& out) {
    out << "(set-logic QF_IDL)(declare-const x Int)(assert (< x 1))"
           "(check-sat)\n(assert (or";
    for (int i = 0; i < 300000; ++i) out << " (< x " << i << ")";
    out << "))" << kQuestion
        << "(reset)(set-logic QF_RDL)(declare-const y Real)"
           "(assert (< y y))(check-sat)\n";
  });
  for (const char* limit : {"24", "48", "128"}) {
    SCOPED_TRACE(limit);
    const Ended ended = run({"--memory-limit", limit, script.name()});
    EXPECT_EQ(ended.output, std::string("sat\n") + kMemout + "unsat\n");
    EXPECT_EQ(ended.status, 0);
  }
}

}  // namespace
}  // namespace vorn::command
