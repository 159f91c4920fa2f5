// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// Time that runs out where nothing looks at the clock.

namespace vorn::command {
namespace {

constexpr char kLastWords[] =
    "vorn: time limit reached; the rest of the script was not run\n";

// One bound sets off a relaxation that no flag interrupts: the limit of the
// check still holds.
TEST(TimeoutTest, LimitOfCheckInsideOneRelaxationAnswersUnknown) {
  const ScriptFile script([](std::ostream& out) {
    write_limited_relaxation(out);
    out << "(check-sat)(echo \"end\")";
  });
  const Ended ended = run({script.name()});
  EXPECT_EQ(ended.output, "\"read\"\nunknown\n");
  EXPECT_EQ(ended.errors, kLastWords);
  EXPECT_EQ(ended.status, 0);
}

// The answer goes where the script wants its replies.
TEST(TimeoutTest, LimitInsideOneRelaxationAnswersOnTheScriptsChannel) {
  const ScriptFile replies(std::string{});
  const ScriptFile script([&replies](std::ostream& out) {
    out << "(set-option :regular-output-channel \"" << replies.name() << "\")";
    write_limited_relaxation(out);
    out << "(check-sat)";
  });
  const Ended ended = run({script.name()});
  EXPECT_EQ(replies.text(), "\"read\"\nunknown\n");
  EXPECT_EQ(ended.output, "");
  EXPECT_EQ(ended.errors, kLastWords);
  EXPECT_EQ(ended.status, 0);
}

// It is no better an end than others: what was in error, what is lost and what
// would have come at the end show in the status.
TEST(TimeoutTest, LimitInsideOneRelaxationKeepsTheStatus) {
  const auto relaxation = [](const std::string& start) {
    return ScriptFile([&start](std::ostream& out) {
      out << start;
      write_limited_relaxation(out);
      out << "(check-sat)";
    });
  };
  const ScriptFile plain = relaxation("");
  const ScriptFile with_error = relaxation("(foo)");
  const Ended error = run({with_error.name()});
  EXPECT_NE(error.output.find("(error "), std::string::npos);
  EXPECT_EQ(error.output.substr(error.output.size() - 15),
            "\"read\"\nunknown\n");
  EXPECT_EQ(error.status, 1);

  const ScriptFile recording(std::string{});
  const std::vector<std::string> wanted[] = {
      {"--stats"},
      {"--dot", recording.name()},
      {"--record-graph", recording.name()}};
  for (std::vector<std::string> arguments : wanted) {
    SCOPED_TRACE(arguments.front());
    arguments.push_back(plain.name());
    const Ended ended = run(arguments);
    EXPECT_EQ(ended.output, "\"read\"\nunknown\n");
    EXPECT_EQ(ended.errors, kLastWords);
    EXPECT_EQ(ended.status, 1);
  }
}

// The limit of the run, wherever it falls: reading, or the relaxation.
TEST(TimeoutTest, LimitOfRunAnswersUnknownWhereverItFalls) {
  const ScriptFile script([](std::ostream& out) {
    write_long_relaxation(out);
    out << "(check-sat)(echo \"end\")";
  });
  for (const char* limit : {"0.001", "0.05", "0.3", "1.5"}) {
    SCOPED_TRACE(limit);
    const Ended ended = run({"--timeout", limit, script.name()});
    if (ended.errors.empty()) {
      // Between two steps, where the flag is seen.
      EXPECT_EQ(ended.output, "\"read\"\nunknown\n\"end\"\n");
    } else {
      EXPECT_TRUE(ended.output == "unknown\n" ||
                  ended.output == "\"read\"\nunknown\n")
          << ended.output;
      EXPECT_EQ(ended.errors, kLastWords);
    }
    EXPECT_EQ(ended.status, 0);
    EXPECT_LE(ended.seconds, std::stod(limit) + kGrace);
  }
}

// Lemmas are searched for at every conflict; the flag is looked at between.
TEST(TimeoutTest, LimitInsideLemmaSearchesAnswersTimeout) {
  const ScriptFile script([](std::ostream& out) {
    write_hard_assertions(out, 20);
    out << "(check-sat)(get-info :reason-unknown)(echo \"end\")";
  });
  for (const char* kinds : {"short", "long", "both"}) {
    SCOPED_TRACE(kinds);
    const Ended ended = run({"--timeout", "1.5", "--lemmas", kinds,
                             "--lemma-overlap", "0", "--stats", script.name()});
    EXPECT_EQ(ended.output.rfind(
                  "unknown\n(:reason-unknown timeout)\n\"end\"\n; ", 0),
              0U)
        << ended.output;
    const std::string key = "\n; dl tlemma searches: ";
    const std::size_t place = ended.output.find(key);
    ASSERT_NE(place, std::string::npos) << ended.output;
    EXPECT_GT(std::stoi(ended.output.substr(place + key.size())), 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.status, 0);
    EXPECT_LE(ended.seconds, 1.5 + kGrace);
  }
}

// A limit of the run and a smaller one of memory: one of them answers.
TEST(TimeoutTest, BothLimitsAnswerUnknown) {
  if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  const ScriptFile script([](std::ostream& out) {
    write_long_relaxation(out);
    out << "(check-sat)";
  });
  for (const char* limit : {"32", "64", "128", "192"}) {
    SCOPED_TRACE(limit);
    const Ended ended =
        run({"--timeout", "2", "--memory-limit", limit, script.name()});
    EXPECT_TRUE(ended.output == "unknown\n" ||
                ended.output == "\"read\"\nunknown\n")
        << ended.output;
    EXPECT_EQ(ended.status, 0);
    EXPECT_LE(ended.seconds, 2 + kGrace);
  }
}

}  // namespace
}  // namespace vorn::command
