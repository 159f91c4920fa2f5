// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <ostream>
#include <string>

#include "tests/command/scripts.h"

// Standard streams that are closed from the start, or whose reader goes away.

namespace vorn::command {
namespace {

constexpr char kThreeEchoes[] = "(echo \"a\")(echo \"b\")(echo \"c\")";

class ClosedStreamsTest : public ::testing::Test {
 protected:
  void SetUp() override { std::signal(SIGPIPE, SIG_IGN); }
};

// A command without standard input must not wait for ever on a descriptor of
// its own that took the number 0.
TEST_F(ClosedStreamsTest, RunWithoutStandardInputSaysSo) {
  Streams streams;
  streams.in = Streams::kClosed;
  const Ended ended = run({}, streams);
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.output, "");
  EXPECT_EQ(ended.errors, "vorn: cannot read -: Bad file descriptor\n");
}

// A file needs no standard input.
TEST_F(ClosedStreamsTest, RunOfFileWithoutStandardInputAnswers) {
  const ScriptFile script(std::string{"(set-logic QF_IDL)(check-sat)"});
  Streams streams;
  streams.in = Streams::kClosed;
  const Ended ended = run({script.name()}, streams);
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.output, "sat\n");
  EXPECT_EQ(ended.errors, "");
}

// Replies that nobody can get must not land in a file that took number 1.
TEST_F(ClosedStreamsTest, RunWithoutStandardOutputLeavesRecordingAlone) {
  const ScriptFile script(
      std::string{"(set-logic QF_IDL)(declare-const x Int)(assert (< x 3))"
                  "(check-sat)(echo \"reply\")"});
  const ScriptFile recording(std::string{});
  Streams streams;
  streams.out = Streams::kClosed;
  const Ended ended =
      run({"--record-graph", recording.name(), script.name()}, streams);
  EXPECT_EQ(ended.status, 1);
  const std::string text = recording.text();
  EXPECT_NE(text.find("check"), std::string::npos) << text;
  EXPECT_EQ(text.find("sat"), std::string::npos) << text;
  EXPECT_EQ(text.find("reply"), std::string::npos) << text;
}

// Without any stream there is still a status.
TEST_F(ClosedStreamsTest, RunWithoutAnyStreamEndsWithOne) {
  const ScriptFile script(std::string{kThreeEchoes});
  Streams streams;
  streams.in = Streams::kClosed;
  streams.out = Streams::kClosed;
  streams.err = Streams::kClosed;
  EXPECT_EQ(run({script.name()}, streams).status, 1);
  EXPECT_EQ(run({}, streams).status, 1);
  EXPECT_EQ(run({"/nonexistent/file"}, streams).status, 1);
}

// Answers do not depend on somebody listening to complaints.
TEST_F(ClosedStreamsTest, RunWithoutStandardErrorAnswers) {
  const ScriptFile script(std::string{kThreeEchoes});
  Streams streams;
  streams.err = Streams::kClosed;
  const Ended ended = run({"-vv", script.name()}, streams);
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.output, "\"a\"\n\"b\"\n\"c\"\n");
}

// A reader that takes one line and leaves, like `head -1`, ends the command
// long before it is through, without a word.
TEST_F(ClosedStreamsTest, ReaderThatLeavesEndsTheRun) {
  const ScriptFile script([](std::ostream& out) {
    repeat(out, "(echo \"a line of output\")\n", 200000);
    write_hard_assertions(out, 60);
    out << "(check-sat)";
  });
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  Streams streams;
  streams.out = ends[1];
  Child child(VORN_COMMAND, {script.name()}, streams);
  close(ends[1]);
  std::string line;
  char c = 0;
  while (line.find('\n') == std::string::npos && read(ends[0], &c, 1) == 1) {
    line += c;
  }
  close(ends[0]);
  EXPECT_EQ(line, "\"a line of output\"\n");
  const Ended ended = child.wait();
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors, "");
}

// The same when it left before anything was written.
TEST_F(ClosedStreamsTest, ReaderThatNeverCameEndsTheRun) {
  const ScriptFile script(std::string{kThreeEchoes});
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  close(ends[0]);
  Streams streams;
  streams.out = ends[1];
  const Ended ended = run({"--stats", script.name()}, streams);
  close(ends[1]);
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors, "");
}

}  // namespace
}  // namespace vorn::command
