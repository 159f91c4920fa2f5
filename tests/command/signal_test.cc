// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// SIGINT and SIGTERM at any moment.

namespace vorn::command {
namespace {

// Rounds of cheap questions, and then one that is never answered. `expected`
// becomes what all of the cheap ones print.
void write_rounds(std::ostream& out, std::string& expected) {
  constexpr int kRounds = 1500;
  constexpr int kRead = 100;
  // As the hard question wants it; its first line is left out below.
  out << "(set-option :machines off)"
         "(set-option :global-declarations true)(set-logic QF_IDL)\n"
         "(declare-const a Int)(declare-const b Int)\n";
  for (int i = 0; i < kRounds; ++i) {
    // Much to read before the first answer, so that a signal seldom comes while
    // one is written.
    out << "(push 1)(assert (and";
    for (int j = i + kRead; j >= i; --j) out << " (<= (- a b) " << j << ')';
    out << "))(check-sat)"
        << "(assert (= b 0))(assert (= a " << i << "))(check-sat)"
        << "(get-value (a b))\n(assert (> a " << i
        << "))(check-sat)(pop 1)(echo \"round " << i << "\")\n";
    const std::string value = std::to_string(i);
    expected += "sat\nsat\n((a " + value + ")\n (b 0))\nunsat\n\"round " +
                value + "\"\n";
  }
  std::ostringstream hard;
  write_hard_assertions(hard, 60);
  const std::string text = hard.str();
  // Without its options and set-logic.
  out << text.substr(text.find('\n')) << "(check-sat)(echo \"no\")";
}

// Ends, tells of the signal, and everything printed is whole and right: the
// beginning of what the script prints, and "unknown" if an answer was owed.
void expect_clean_end(const Ended& ended, int signal,
                      const std::string& expected) {
  EXPECT_EQ(ended.status, 128 + signal);
  // Before the command has taken signals over, they end it themselves.
  EXPECT_TRUE(ended.signal == 0 ||
              (ended.signal == signal && ended.output.empty()))
      << ended.signal << ' ' << ended.output;
  std::string answers = ended.output;
  const std::string owed = "unknown\n";
  if (answers.size() >= owed.size() &&
      answers.compare(answers.size() - owed.size(), owed.size(), owed) == 0) {
    answers.resize(answers.size() - owed.size());
  }
  EXPECT_EQ(expected.compare(0, answers.size(), answers), 0) << answers.substr(
      answers.size() - std::min<std::size_t>(answers.size(), 200));
  EXPECT_TRUE(answers.empty() || answers.back() == '\n');
}

// Whatever the command is doing, it ends at once, with whole lines.
TEST(SignalTest, AtRandomMomentsEndsCleanly) {
  constexpr unsigned kSeed = 20240607;
  SCOPED_TRACE("seed " + std::to_string(kSeed));
  std::string expected;
  const ScriptFile script(
      [&expected](std::ostream& out) { write_rounds(out, expected); });
  std::mt19937 random(kSeed);
  // As many in the first millisecond as in the last hundred.
  std::uniform_real_distribution<double> exponent(-4, -0.7);
  int after_answers = 0;
  int with_unknown = 0;
  for (int i = 0; i < 100; ++i) {
    const double delay =
        (test::kSanitized ? 5 : 1) * std::pow(10, exponent(random));
    const int signal = random() % 2 == 0 ? SIGINT : SIGTERM;
    SCOPED_TRACE("run " + std::to_string(i) + " signal " +
                 std::to_string(signal) + " after " + std::to_string(delay));
    Child child(VORN_COMMAND, {script.name()});
    std::this_thread::sleep_for(std::chrono::duration<double>(delay));
    child.send_signal(signal);
    const Ended ended = child.wait();
    expect_clean_end(ended, signal, expected);
    EXPECT_LE(ended.seconds, delay + (test::kSanitized ? 20 : 5));
    if (ended.output.empty()) continue;
    ++after_answers;
    if (ended.output.find("unknown\n") != std::string::npos) ++with_unknown;
  }
  EXPECT_GE(after_answers, 10);
  // Most of the time the command is on the way to an answer.
  EXPECT_GE(with_unknown, after_answers / 2);
}

// A signal that comes while the command is about to take signals over is not
// lost.
TEST(SignalTest, BehindTheFirstHandlerEndsTheRun) {
  if (test::kSanitized) GTEST_SKIP() << "sanitizers stand before sigaction";
  const ScriptFile script([](std::ostream& out) {
    write_hard_assertions(out, 60);
    out << "(check-sat)(echo \"no\")";
  });
  setenv("LD_PRELOAD", VORN_SIGNAL_IN_SIGACTION, 1);
  Child child(VORN_COMMAND, {script.name()});
  unsetenv("LD_PRELOAD");
  const Ended ended = child.wait();
  EXPECT_EQ(ended.status, 128 + SIGTERM);
  EXPECT_EQ(ended.signal, 0);
  EXPECT_EQ(ended.output, "unknown\n");
  EXPECT_EQ(ended.errors, "");
}

// A batch system sends SIGTERM before it kills: the answer that is owed and
// the counters still come.
TEST(SignalTest, TerminationInACheckAnswersAndPrintsStatistics) {
  const ScriptFile script([](std::ostream& out) {
    write_hard_assertions(out, 60);
    out << "(check-sat)(echo \"no\")";
  });
  Child child(VORN_COMMAND, {"--stats", script.name()});
  std::this_thread::sleep_for(kIntoTheCheck);
  child.send_signal(SIGTERM);
  const Ended ended = child.wait();
  EXPECT_EQ(ended.status, 143);
  EXPECT_EQ(ended.signal, 0);
  EXPECT_EQ(ended.output.rfind("unknown\n; decisions: ", 0), 0U)
      << ended.output;
  EXPECT_EQ(ended.output.find("no\""), std::string::npos);
}

// Sends the signals, a hundredth of a second apart, to a command that is inside
// one long step.
Ended signal_inside_one_relaxation(const std::vector<int>& signals) {
  const ScriptFile script([](std::ostream& out) {
    write_long_relaxation(out);
    out << "(check-sat)(echo \"no\")";
  });
  Child child(VORN_COMMAND, {script.name()});
  EXPECT_TRUE(child.wait_for_output("read"));
  std::this_thread::sleep_for(kIntoTheCheck);
  for (const int signal : signals) {
    child.send_signal(signal);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return child.wait();
}

// Programs that limit the time of others send SIGTERM to their child, and at
// once to the whole group: the child gets it twice. Inside one step there is
// time for both before the answer.
TEST(SignalTest, TwiceAtOnceIsOnce) {
  const Ended ended = signal_inside_one_relaxation({SIGTERM, SIGTERM});
  EXPECT_EQ(ended.status, 143);
  EXPECT_EQ(ended.output, "\"read\"\nunknown\n");
}

// Inside one step that looks at no flag the watchdog ends the run.
TEST(SignalTest, InsideOneRelaxationAnswersUnknown) {
  const Ended ended = signal_inside_one_relaxation({SIGINT});
  EXPECT_EQ(ended.status, 130);
  EXPECT_EQ(ended.output, "\"read\"\nunknown\n");
}

}  // namespace
}  // namespace vorn::command
