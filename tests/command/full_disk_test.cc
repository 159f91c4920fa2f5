// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// A disk that is full, which /dev/full always is.

namespace vorn::command {
namespace {

// Conflicts that overlap, so that the log of lemmas has something to say.
void write_conflicts(std::ostream& out) {
  out << "(set-option :propagation off)";
  write_hard_assertions(out, 5);
  out << "(check-sat)";
}

class FullDiskTest : public ::testing::Test {
 protected:
  FullDiskTest() : full_(open("/dev/full", O_WRONLY | O_CLOEXEC)) {
    streams_.out = full_;
  }
  ~FullDiskTest() override { close(full_); }
  void SetUp() override {
    if (full_ < 0) GTEST_SKIP() << "there is no /dev/full";
  }
  int full_;
  Streams streams_;
};

// Answers that were lost must not look like a script without answers.
TEST_F(FullDiskTest, StandardOutputEndsTheRunWithTheReason) {
  const ScriptFile script(std::string{"(echo \"a\")(echo \"b\")"});
  const Ended ended = run({script.name()}, streams_);
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors,
            "vorn: cannot write standard output: No space left on device\n");
}

// Help and version are output like any other.
TEST_F(FullDiskTest, HelpAndVersionEndWithOne) {
  for (const char* option : {"--help", "--version"}) {
    SCOPED_TRACE(option);
    const Ended ended = run({option}, streams_);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.errors, "vorn: cannot write standard output\n");
  }
}

// Counters at the end are the last thing that can fail.
TEST_F(FullDiskTest, StatisticsEndWithOne) {
  const ScriptFile script(std::string{"(set-logic QF_IDL)"});
  const Ended ended = run({"--stats", script.name()}, streams_);
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors,
            "vorn: cannot write standard output: No space left on device\n");
}

// A channel of the script's own choice is named.
TEST_F(FullDiskTest, RegularOutputChannelEndsTheRunWithItsName) {
  const ScriptFile script(
      std::string{"(echo \"before\")"
                  "(set-option :regular-output-channel \"/dev/full\")"
                  "(echo \"a\")(echo \"b\")"});
  const Ended ended = run({script.name()});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.output, "\"before\"\n");
  EXPECT_EQ(ended.errors,
            "vorn: cannot write /dev/full: No space left on device\n");
}

// The last words of a run that is stuck in one step are lost like any others.
TEST_F(FullDiskTest, UnknownFromInsideOneRelaxationEndsWithOne) {
  const ScriptFile script([](std::ostream& out) {
    write_limited_relaxation(out);
    out << "(set-option :regular-output-channel \"/dev/full\")(check-sat)";
  });
  const Ended ended = run({script.name()});
  EXPECT_EQ(ended.output, "\"read\"\n");
  EXPECT_EQ(ended.status, 1);
}

// So is what is said where there is no memory to start with.
TEST_F(FullDiskTest, UnknownWithoutMemoryEndsWithOne) {
  if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  const ScriptFile script(std::string{"(set-logic QF_IDL)(check-sat)"});
  const std::vector<std::string> arguments = {"--memory-limit", "1",
                                              script.name()};
  EXPECT_EQ(run(arguments).output, "unknown\n");
  EXPECT_EQ(run(arguments, streams_).status, 1);
}

// A lost log takes no answer away, but is told.
TEST_F(FullDiskTest, DiagnosticOutputChannelAnswersAndEndsWithOne) {
  const ScriptFile script([](std::ostream& out) {
    out << "(set-option :diagnostic-output-channel \"/dev/full\")"
        << "(set-option :verbosity 2)";
    write_conflicts(out);
    out << "(echo \"end\")";
  });
  const Ended ended =
      run({"--lemmas", "both", "--lemma-overlap", "0", script.name()});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.output, "unsat\n\"end\"\n");
  EXPECT_EQ(ended.errors, "vorn: cannot write all of the log to /dev/full\n");
}

// The same when the script turns to another channel afterwards.
TEST_F(FullDiskTest, DiagnosticOutputChannelThatIsLeftEndsWithOne) {
  const ScriptFile script([](std::ostream& out) {
    out << "(set-option :diagnostic-output-channel \"/dev/full\")"
        << "(set-option :verbosity 2)";
    write_conflicts(out);
    out << "(set-option :diagnostic-output-channel \"stderr\")";
  });
  const Ended ended =
      run({"--lemmas", "both", "--lemma-overlap", "0", script.name()});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors, "vorn: cannot write all of the log to /dev/full\n");
}

// Standard error cannot complain about itself; the status does.
TEST_F(FullDiskTest, StandardErrorAnswersAndEndsWithOne) {
  const ScriptFile script(write_conflicts);
  Streams streams;
  streams.err = full_;
  const Ended ended =
      run({"-vv", "--lemmas", "both", "--lemma-overlap", "0", script.name()},
          streams);
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.output, "unsat\n");
}

// A recording that is cut short would be taken for a whole one.
TEST_F(FullDiskTest, RecordingEndsWithOneAndTheReason) {
  const ScriptFile script(write_conflicts);
  const Ended ended = run({"--record-graph", "/dev/full", script.name()});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.output, "unsat\n");
  EXPECT_EQ(ended.errors,
            "vorn: cannot write /dev/full: No space left on device\n");
}

}  // namespace
}  // namespace vorn::command
