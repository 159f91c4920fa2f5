// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// A session outlives what stops one of its checks, and what is known by then is
// its answer.

namespace vorn::command {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Streams kDialogue{Streams::kPipe, Streams::kPipe, Streams::kDefault};
constexpr std::chrono::milliseconds kIntoTheWork{300};
// A step of seconds.
constexpr int kSomeNodes = test::kSanitized ? 4000 : kLongRelaxation / 3;
// Two signals that follow each other as closely are one.
constexpr std::chrono::milliseconds kApart{250};

// A question for ever.
std::string hard_question() {
  std::ostringstream out;
  write_hard_assertions(out, 60);
  return out.str();
}

// a, b and c cannot hold together, which shows at once, and none can be left
// out; but to find that of c takes for ever.
std::string hard_core() {
  std::ostringstream all;
  constexpr int kJobs = 60;
  std::string script =
      "(set-option :produce-unsat-cores true)"
      "(set-option :minimize-unsat-cores true)"
      "(set-option :machines off)(set-logic QF_IDL)"
      "(declare-const r Bool)(declare-const s Bool)";
  for (int i = 0; i < kJobs; ++i) {
    const std::string x = "s" + std::to_string(i);
    script += "(declare-const " + x + " Int)";
    all << "(<= 0 " << x << ' ' << 2 * kJobs - 3 << ')';
    for (int j = 0; j < i; ++j) {
      all << "(or (<= 2 (- " << x << " s" << j << ")) (<= 2 (- s" << j << ' '
          << x << ")))";
    }
  }
  return script + "(assert (! (and (=> r (and " + all.str() +
         ")) (not (and r s))) :named a))(assert (! r :named b))"
         "(assert (! s :named c))";
}

// Ctrl-C after a while; returns the line that comes next, which is to be soon.
std::string line_after_interrupt(const Child& process) {
  std::this_thread::sleep_for(kIntoTheWork);
  const Clock::time_point start = Clock::now();
  process.send_signal(SIGINT);
  const std::string line = process.read_line();
  const std::chrono::duration<double> seconds = Clock::now() - start;
  EXPECT_LE(seconds.count(), kGrace);
  return line;
}

// One check is given up; all that was said before and comes after it counts.
TEST(InterruptTest, InACheckAnswersUnknownAndGoesOn) {
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send(hard_question());
  for (int i = 0; i < 3; ++i) {
    process.send("(check-sat)");
    EXPECT_EQ(line_after_interrupt(process), "unknown\n");
    process.send("(get-info :reason-unknown)");
    EXPECT_EQ(process.read_line(), "(:reason-unknown interrupted)\n");
    process.send("(push)(assert (< s0 0))(check-sat)(pop)");
    EXPECT_EQ(process.read_line(), "unsat\n");
  }
  process.close_input();
  EXPECT_EQ(process.wait().status, 0);
}

// All searches of a check end with it, for Ctrl-C and for a limit, and the next
// check has as many again.
TEST(InterruptTest, ThreadsEndWithTheirCheck) {
  Child process(VORN_COMMAND, {"--threads", "4"}, kDialogue);
  process.send(hard_question() + "(echo \"read\")");
  EXPECT_EQ(process.read_line(), "\"read\"\n");
  const std::size_t before = process.num_threads();
  // Those that have ended are gone, and no more than those.
  const auto wait_for = [&process](std::size_t count) {
    const Clock::time_point end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(
                           std::chrono::duration<double>(kGrace));
    while (process.num_threads() != count && Clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return process.num_threads();
  };
  for (const bool is_limited : {false, true}) {
    if (is_limited) process.send("(set-option :timeout 1000)");
    process.send("(check-sat)");
    EXPECT_EQ(wait_for(before + 3), before + 3);
    const std::string line =
        is_limited ? process.read_line() : line_after_interrupt(process);
    EXPECT_EQ(line, "unknown\n");
    EXPECT_EQ(process.num_threads(), before);
    process.send("(push)(assert (< s0 0))(check-sat)(pop)");
    EXPECT_EQ(process.read_line(), "unsat\n");
  }
  process.close_input();
  EXPECT_EQ(process.wait().status, 0);
}

// Two signals for one check are one, if they come together.
TEST(InterruptTest, TwiceAtOnceIsOnce) {
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send("(echo \"read\")");
  EXPECT_EQ(process.read_line(), "\"read\"\n");
  std::ostringstream script;
  write_long_relaxation(script);
  process.send(script.str() + "(check-sat)");
  EXPECT_EQ(process.read_line(), "\"read\"\n");
  std::this_thread::sleep_for(kIntoTheCheck);
  process.send_signal(SIGINT);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  process.send_signal(SIGINT);
  EXPECT_EQ(process.read_line(), "unknown\n");
  // The step still goes on, and this one means it.
  std::this_thread::sleep_for(kApart);
  process.send_signal(SIGINT);
  EXPECT_EQ(process.read_output(), "");
  const Ended ended = process.wait();
  EXPECT_EQ(ended.status, 130);
  EXPECT_EQ(ended.errors, "");
}

// Inside one step that looks at no flag the answer comes in time all the same,
// once, and the session goes on when the step is over.
TEST(InterruptTest, InsideOneRelaxationAnswersAtOnceAndGoesOn) {
  std::ostringstream script;
  write_long_relaxation(script, kSomeNodes);
  for (const std::string success : {"", "success\n"}) {
    SCOPED_TRACE(success);
    Child process(VORN_COMMAND, {}, kDialogue);
    process.send(script.str());
    EXPECT_EQ(process.read_line(), "\"read\"\n");
    if (!success.empty()) {
      process.send("(set-option :print-success true)");
      EXPECT_EQ(process.read_line(), success);
    }
    process.send("(check-sat)");
    EXPECT_EQ(line_after_interrupt(process), "unknown\n");
    process.send("(get-info :reason-unknown)(check-sat)(echo \"end\")");
    EXPECT_EQ(process.read_line(), "(:reason-unknown interrupted)\n");
    EXPECT_EQ(process.read_line(), "sat\n");
    EXPECT_EQ(process.read_line(), "\"end\"\n");
    process.close_input();
    EXPECT_EQ(process.wait().status, 0);
  }
}

// The limit of a check is no other end of it.
TEST(InterruptTest, LimitInsideOneRelaxationKeepsTheSession) {
  std::ostringstream script;
  write_long_relaxation(script, kSomeNodes);
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send(script.str() + "(set-option :timeout 300)(check-sat)" +
               "(get-info :reason-unknown)(set-option :timeout 0)(check-sat)");
  EXPECT_EQ(process.read_line(), "\"read\"\n");
  EXPECT_EQ(process.read_line(), "unknown\n");
  EXPECT_EQ(process.read_line(), "(:reason-unknown timeout)\n");
  EXPECT_EQ(process.read_line(), "sat\n");
  process.close_input();
  EXPECT_EQ(process.wait().status, 0);
}

// The core is there from the check on; there may be no time to make it smaller.
TEST(InterruptTest, MinimisingEndsWithTheCoreAtHand) {
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send(hard_core() + "(check-sat)");
  EXPECT_EQ(process.read_line(), "unsat\n");
  for (int i = 0; i < 2; ++i) {
    process.send("(get-unsat-core)");
    EXPECT_EQ(line_after_interrupt(process), "(a b c)\n");
  }
  process.send("(set-option :timeout 200)(get-unsat-core)(echo \"end\")");
  EXPECT_EQ(process.read_line(), "(a b c)\n");
  EXPECT_EQ(process.read_line(), "\"end\"\n");
  process.close_input();
  EXPECT_EQ(process.wait().status, 0);
}

// The limit of the run, as well: the core is printed, and what is asked behind
// it.
TEST(InterruptTest, LimitOfRunEndsMinimisingWithTheCoreAtHand) {
  const ScriptFile script(hard_core() +
                          "(check-sat)(get-unsat-core)(get-unsat-core)"
                          "(echo \"end\")(check-sat)");
  const Ended ended = run({"--timeout", "1", script.name()});
  EXPECT_EQ(ended.output, "unsat\n(a b c)\n(a b c)\n\"end\"\nunknown\n");
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.status, 0);
  EXPECT_LE(ended.seconds, 1 + kGrace);
}

// What --explain has to say by then is an explanation.
TEST(InterruptTest, ExplanationEndsWithWhatIsFound) {
  const std::string head =
      "; unsat, but no single chain of inequalities shows it: it takes a "
      "distinction of cases.\n";
  const std::string last = ";   maybe fewer; there was no time to find out\n";
  const auto explanation = [](const Child& process) {
    std::string text;
    for (;;) {
      const std::string line = process.read_line();
      if (line.rfind("; ", 0) != 0) return text + line;
      text += line;
    }
  };
  Child process(VORN_COMMAND, {"--explain"}, kDialogue);
  process.send(hard_core() + "(check-sat)");
  EXPECT_EQ(process.read_line(), "unsat\n");
  EXPECT_EQ(line_after_interrupt(process), head);
  process.send("(echo \"end\")");
  std::string text = explanation(process);
  EXPECT_EQ(text.rfind("; These 3 assertions cannot hold together:\n", 0), 0U)
      << text;
  EXPECT_EQ(text.find(last + "\"end\"\n") + last.size() + 6, text.size())
      << text;

  process.send("(set-option :timeout 300)(check-sat)(echo \"end\")");
  EXPECT_EQ(process.read_line(), "unsat\n");
  text = explanation(process);
  EXPECT_EQ(text.rfind(head, 0), 0U) << text;
  EXPECT_EQ(text.find(last + "\"end\"\n") + last.size() + 6, text.size())
      << text;
  process.close_input();
  EXPECT_EQ(process.wait().status, 0);
}

// The best schedule so far is no worse for the end of the search.
TEST(InterruptTest, OfASearchForTheBestLeavesTheBestSoFar) {
  Child process(VORN_COMMAND, {"--machines", "off"}, kDialogue);
  const std::string folder = VORN_JOBSHOP_DIR;
  const Ended question =
      test::run_program(folder + "/question.sh", {folder + "/ft20.txt"});
  std::string script = question.output;
  script.resize(script.find("(check-sat)"));
  process.send(script + "(check-sat)");
  EXPECT_EQ(line_after_interrupt(process), "unknown\n");
  process.send("(get-objectives)(get-value (end))(echo \"end\")");
  const std::string found = process.read_line();
  int low = 0;
  int high = 0;
  ASSERT_EQ(std::sscanf(found.c_str(), "(objectives (end (interval %d %d)))",
                        &low, &high),
            2)
      << found;
  EXPECT_LE(low, 1165);
  EXPECT_GE(high, 1165);
  EXPECT_EQ(process.read_line(), "((end " + std::to_string(high) + "))\n");
  EXPECT_EQ(process.read_line(), "\"end\"\n");
  process.close_input();
  EXPECT_EQ(process.wait().status, 0);
}

// A session that is given something to read, and nothing to do, ends.
TEST(InterruptTest, WithNothingToDoEndsTheSession) {
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send("(set-logic QF_IDL)(declare-const x Int)(check-sat)\n");
  EXPECT_EQ(process.read_line(), "sat\n");
  // At once: the command may still be on its way from the answer to the wait.
  process.send_signal(SIGINT);
  EXPECT_EQ(process.read_output(), "");
  EXPECT_EQ(process.wait().status, 130);
}

// SIGTERM is no question of one check.
TEST(InterruptTest, TerminationEndsTheSession) {
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send(hard_question() + "(check-sat)(echo \"no\")");
  std::this_thread::sleep_for(kIntoTheWork);
  process.send_signal(SIGTERM);
  EXPECT_EQ(process.read_output(), "unknown\n");
  EXPECT_EQ(process.wait().status, 143);
}

}  // namespace
}  // namespace vorn::command
