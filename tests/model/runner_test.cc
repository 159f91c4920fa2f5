// SPDX-License-Identifier: MIT
#include "tests/model/runner.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

#include "tests/build_kind.h"

// The side-by-side comparison of the graph with the model. VORN_TRACES sets
// the number of random traces and VORN_TRACE_SEED the first seed.

namespace vorn::model {
namespace {

constexpr std::size_t kTraceLength = 300;

constexpr std::uint64_t kDefaultTraces = test::kSanitized ? 80 : 1000;

std::uint64_t number_from_environment(const char* name,
                                      std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

Trace trace_from_text(const std::string& text) {
  std::istringstream in(text);
  Trace trace;
  EXPECT_TRUE(read_trace(in, &trace));
  EXPECT_TRUE(keeps_contract(trace));
  return trace;
}

/// Two cycles over a shared chain, with `middle` between them.
std::string two_conflicts(const std::string& settings,
                          const std::string& middle) {
  return "logger 2\n" + settings +
         "tell 1 1 2 2 1 0\n"
         "tell 2 2 3 4 1 0\n"
         "tell 3 3 1 6 -3 0\n"
         "tell 4 3 1 8 -4 0\n"
         "push 1\ncheck\npush 2\ncheck\npush 3\ncheck\npop 3\n" +
         middle + "push 4\ncheck\npop 4\ndrain 2\n";
}

// Every difference below is made on purpose; one that goes unseen means that
// the comparison of the random traces has a blind spot.
TEST(RunnerTest, RunTracesSeesPlantedDifferences) {
  const std::string settings = "configure 3 0.5 0\n";
  const std::string plain = two_conflicts(settings, "drain 0\n");
  const Trace model = trace_from_text(plain);
  ASSERT_TRUE(run_trace(model).agrees) << run_trace(model).difference;
  const auto seen = [&model](const std::string& text) {
    return run_traces(trace_from_text(text), model).difference;
  };
  const auto with = [&plain](const std::string& from, const std::string& to) {
    std::string text = plain;
    return text.replace(text.find(from), from.size(), to);
  };

  EXPECT_NE(seen(with("tell 2 2 3 4 1 0", "tell 2 2 3 4 1 1"))
                .find("dump_debug_status"),
            std::string::npos);
  EXPECT_NE(seen(with("tell 3 3 1 6 -3 0", "tell 3 3 1 6 -2 0")), "");
  EXPECT_NE(seen(with("configure 3", "configure 1")).find("stats"),
            std::string::npos);
  EXPECT_NE(seen(with("configure 3 0.5", "configure 3 0.9")), "");
  EXPECT_NE(seen(with("logger 2", "logger 1")).find("log"), std::string::npos);
  EXPECT_NE(seen(with("drain 2", "drain 1")).find("get_next_lemma"),
            std::string::npos);
}

// Edges told again under old ids, and conflicts that name them.
TEST(RunnerTest, RunTraceAgreesAfterRetractAndRetell) {
  for (const char* overlap : {"0", "0.5", "0.7"}) {
    const std::string settings = std::string("configure 3 ") + overlap + " 1\n";
    for (const char* middle :
         {"retract 3\ndump_conflicts\n", "retract 3\ntell 3 2 1 6 -1 0\n",
          "retract 3\ntell_bi 3 1 4 6 -1 0 4 2 7 0 -1\n",
          "pop 2\npush 2\npush 3\ncheck\npop 3\n"}) {
      const RunResult result =
          run_trace(trace_from_text(two_conflicts(settings, middle)));
      EXPECT_TRUE(result.agrees) << result.difference;
      EXPECT_GE(result.conflicts, 2U);
    }
  }
}

// A walk without end must stop the run before the graph is asked.
TEST(RunnerTest, RunTraceStopsBeforeEndlessWalk) {
  const RunResult result = run_trace(trace_from_text(
      "configure 3 0 0\n"
      "tell 1 1 2 2 0 0\ntell 2 2 3 4 0 0\ntell 3 3 1 6 -1 0\n"
      "tell 4 1 3 8 0 0\ntell 5 3 2 10 0 0\ntell 6 2 1 12 -1 0\n"
      "push 1\npush 2\npush 3\ncheck\npop 3\npop 2\npop 1\n"
      "push 4\npush 5\npush 6\ncheck\ncheck\n"));

  EXPECT_TRUE(result.agrees) << result.difference;
  EXPECT_TRUE(result.met_endless_walk);
  EXPECT_EQ(result.calls, 17U);
}

// The main guard of the graph: any change of meaning shows up as a difference.
TEST(RunnerTest, RandomTracesAgree) {
  const std::uint64_t traces =
      number_from_environment("VORN_TRACES", kDefaultTraces);
  const std::uint64_t first = number_from_environment("VORN_TRACE_SEED", 1);
  std::size_t calls = 0;
  std::size_t conflicts = 0;
  std::size_t lemmas = 0;
  std::size_t endless = 0;
  for (std::uint64_t seed = first; seed < first + traces; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Trace trace = random_trace(seed, kTraceLength);
    const RunResult result = run_trace(trace);
    calls += result.calls;
    conflicts += result.conflicts;
    lemmas += result.lemmas;
    endless += result.met_endless_walk ? 1 : 0;
    ASSERT_TRUE(result.agrees) << explain_difference(trace);
  }
  std::cout << traces << " traces from seed " << first << ": " << calls
            << " calls, " << conflicts << " conflicts, " << lemmas
            << " lemmas, " << endless << " stopped before an endless walk\n";
  if (traces >= 100) {
    EXPECT_GT(conflicts, traces);
    EXPECT_GT(lemmas, traces);
  }
}

}  // namespace
}  // namespace vorn::model
