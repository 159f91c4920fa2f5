// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// Limits that fall into a search which spends its time on what the active
// constraints imply, with a matrix of distances and with paths.

namespace vorn::command {
namespace {

// Long enough for thousands of steps of the closure behind the facts.
constexpr std::chrono::milliseconds kIntoTheSearch{test::kSanitized ? 1500
                                                                    : 500};

/// A question without an answer in time, on jobs in too little time that are
/// followed by chains of nodes. Whatever moves a job moves its followers, of
/// which the search knows nothing: nearly all time is the closure's.
struct BusyQuestion {
  const char* way;
  int jobs;
  int followers;
  bool by_matrix;
};

// The matrix has fewer than 643 rows, and paths more.
constexpr BusyQuestion kBusyQuestions[] = {
    {"matrix", 30, test::kSanitized ? 2 : 5, true},
    {"paths", 24, 30, false},
};

void write_busy_assertions(std::ostream& out, const BusyQuestion& question) {
  write_hard_assertions(out, question.jobs);
  for (int i = 0; i < question.jobs; ++i) {
    std::string last = "s" + std::to_string(i);
    for (int k = 0; k < question.followers; ++k) {
      const std::string next =
          "f" + std::to_string(i) + '_' + std::to_string(k);
      out << "(declare-const " << next << " Int)(assert (<= 0 (- " << next
          << ' ' << last << ") " << 1 + k % 3 << "))\n";
      last = next;
    }
  }
  out << "(echo \"read\")";
}

// The number that --stats prints for this counter; -1 if it prints none.
std::int64_t printed(const std::string& output, const std::string& counter) {
  const std::string key = "\n; " + counter + ": ";
  const std::size_t place = output.find(key);
  return place == std::string::npos
             ? -1
             : std::stoll(output.substr(place + key.size()));
}

// It was the closure, and the right half of it, that was at work.
void expect_busy(const std::string& output, const BusyQuestion& question) {
  EXPECT_GT(printed(output, "closure steps"), 500000) << output;
  EXPECT_EQ(printed(output, "closure matrix bytes") > 0, question.by_matrix);
}

// The flag is looked at between steps of the closure: the limit holds, is the
// reason given, and the script goes on with a stack that is whole.
TEST(PropagationLimitsTest, LimitOfCheckAnswersTimeoutAndGoesOn) {
  for (const BusyQuestion& question : kBusyQuestions) {
    SCOPED_TRACE(question.way);
    const ScriptFile script([&question](std::ostream& out) {
      out << "(set-option :timeout " << kIntoTheSearch.count() << ')';
      write_busy_assertions(out, question);
      out << "(check-sat)(get-info :reason-unknown)"
             "(push 1)(assert (< s0 s0))(check-sat)(pop 1)(echo \"end\")";
    });
    const Ended ended =
        run({"--propagation", "full", "--stats", script.name()});
    EXPECT_EQ(
        ended.output.rfind("\"read\"\nunknown\n(:reason-unknown timeout)\n"
                           "unsat\n\"end\"\n; ",
                           0),
        0U)
        << ended.output;
    expect_busy(ended.output, question);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.status, 0);
    EXPECT_LE(ended.seconds, kGrace);
  }
}

// Ctrl-C answers what is owed and prints what was asked for.
TEST(PropagationLimitsTest, InterruptAnswersUnknownAndPrintsStatistics) {
  for (const BusyQuestion& question : kBusyQuestions) {
    SCOPED_TRACE(question.way);
    const ScriptFile script([&question](std::ostream& out) {
      write_busy_assertions(out, question);
      out << "(check-sat)(echo \"no\")";
    });
    Child child(VORN_COMMAND,
                {"--propagation", "full", "--stats", script.name()});
    ASSERT_TRUE(child.wait_for_output("read"));
    std::this_thread::sleep_for(kIntoTheSearch);
    child.send_signal(SIGINT);
    const Ended ended = child.wait();
    EXPECT_EQ(ended.output.rfind("\"read\"\nunknown\n; decisions: ", 0), 0U)
        << ended.output;
    EXPECT_EQ(ended.output.find("no\""), std::string::npos);
    expect_busy(ended.output, question);
    EXPECT_EQ(ended.status, 130);
    EXPECT_EQ(ended.signal, 0);
    EXPECT_LE(ended.seconds, kGrace);
  }
}

// Diamonds in a row, of which each side takes two steps, in less than that: a
// matrix for all their nodes takes most of what the whole process does without.
void write_diamonds(std::ostream& out, int count) {
  out << "(set-logic QF_IDL)(declare-const a0 Int)\n";
  for (int i = 0; i < count; ++i) {
    out << "(declare-const b" << i << " Int)(declare-const c" << i
        << " Int)(declare-const a" << i + 1 << " Int)\n(assert (or (and (< a"
        << i << " b" << i << ") (< b" << i << " a" << i + 1 << ")) (and (< a"
        << i << " c" << i << ") (< c" << i << " a" << i + 1 << "))))\n";
  }
  out << "(assert (< a" << count << " (+ a0 " << 2 * count << ")))\n"
      << "(check-sat)(echo \"end\")";
}

// A matrix that would not leave room for all else must give way to paths:
// propagation costs no answer that there is without it.
TEST(PropagationLimitsTest, MemoryLimitIsNoTighterForTheMatrix) {
  if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  const ScriptFile script([](std::ostream& out) { write_diamonds(out, 120); });
  const auto answer = [&script](const char* mode, int limit) {
    return run({"--propagation", mode, "--stats", "--memory-limit",
                std::to_string(limit), script.name()});
  };
  const auto has_answer = [](const Ended& ended) {
    return ended.output.rfind("unsat\n\"end\"\n", 0) == 0;
  };
  int least = 8;
  while (least < 64 && !has_answer(answer("off", least))) ++least;
  ASSERT_LT(least, 64);
  for (const char* mode : {"auto", "full"}) {
    SCOPED_TRACE(mode);
    // Bounds and links of the closure itself take a little.
    const Ended tight = answer(mode, least + 2);
    EXPECT_TRUE(has_answer(tight)) << tight.output << tight.errors;
    EXPECT_EQ(printed(tight.output, "closure matrix bytes"), 0);
    EXPECT_GT(printed(tight.output, "closure activations"), 0);
    const Ended ample = answer(mode, 512);
    EXPECT_TRUE(has_answer(ample)) << ample.output;
    // Without a limit it is larger than what is left under a tight one.
    EXPECT_GT(printed(ample.output, "closure matrix bytes"), 2 << 20);
  }
}

}  // namespace
}  // namespace vorn::command
