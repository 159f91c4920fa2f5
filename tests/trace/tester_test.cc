// SPDX-License-Identifier: MIT
#include "tests/trace/tester.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/child.h"
#include "tests/model/runner.h"
#include "tests/model/trace.h"
#include "tests/temporary_folder.h"

// Does the tester find what it is there for? The faults are planted: the graph
// gets slightly other calls than the model, or the run itself ends badly.

namespace vorn::trace {
namespace {

using model::Call;
using model::CallKind;
using model::RunResult;
using model::Trace;
using test::TemporaryFolder;

bool is_tell(const Call& call) {
  return call.kind == CallKind::kTell || call.kind == CallKind::kTellBi;
}

std::size_t count(const Trace& trace, CallKind kind) {
  return static_cast<std::size_t>(
      std::count_if(trace.begin(), trace.end(),
                    [kind](const Call& call) { return call.kind == kind; }));
}

RunResult run_plainly(const Trace& trace) {
  return model::run_trace(trace);
}

/// A graph that loses the last bit of weights beyond a word.
RunResult run_with_lost_bits(const Trace& trace) {
  Trace for_graph = trace;
  for (Call& call : for_graph) {
    mpq_class& weight = call.first.weight.rational;
    if (is_tell(call) && abs(weight) >= mpq_class(mpz_class(1) << 63)) {
      weight -= sgn(weight);
    }
  }
  return model::run_traces(for_graph, trace);
}

/// A graph whose second retraction crashes.
RunResult run_with_crash(const Trace& trace) {
  if (count(trace, CallKind::kRetract) >= 2) std::abort();
  return model::run_trace(trace);
}

/// A graph that does not return from a reset with something pushed.
RunResult run_without_end(const Trace& trace) {
  model::Contract contract;
  for (const Call& call : trace) {
    if (call.kind == CallKind::kReset && !contract.stack().empty()) {
      for (std::atomic<bool> forever{true}; forever;) {
      }
    }
    contract.apply(call);
  }
  return model::run_trace(trace);
}

TesterOptions options_for(const TemporaryFolder& folder) {
  TesterOptions options;
  options.seed = 100;
  options.count = 500;
  options.folder = folder.path();
  return options;
}

/// The files of the folder whose names end so.
std::vector<std::string> files_with(const TemporaryFolder& folder,
                                    const std::string& ending) {
  std::vector<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
    const std::string name = entry.path().string();
    if (name.size() >= ending.size() &&
        name.compare(name.size() - ending.size(), ending.size(), ending) == 0) {
      found.push_back(name);
    }
  }
  return found;
}

Trace trace_in(const std::string& path) {
  std::ifstream in(path);
  Trace trace;
  EXPECT_TRUE(model::read_trace(in, &trace)) << path;
  return trace;
}

/// A search that finds something, and the shrunk trace that it leaves.
Trace find_and_shrink(const TesterOptions& options,
                      const TemporaryFolder& folder, const Run& run) {
  std::ostringstream out;
  EXPECT_EQ(Tester(options, run, out).search(), Verdict::kDifference)
      << out.str();
  const std::vector<std::string> all = files_with(folder, ".trace");
  const std::vector<std::string> shrunk = files_with(folder, ".shrunk.trace");
  EXPECT_EQ(all.size(), 2U);
  if (shrunk.size() != 1) {
    ADD_FAILURE() << out.str();
    return {};
  }
  EXPECT_NE(out.str().find("\n  " + options.program + " --replay " + shrunk[0]),
            std::string::npos)
      << out.str();

  // What was written brings the difference out again, and only with the fault.
  for (const std::string& file : all) {
    std::ostringstream again;
    EXPECT_EQ(Tester(options, run, again).replay({file}), Verdict::kDifference)
        << again.str();
    EXPECT_EQ(Tester(options, run_plainly, again).replay({file}),
              Verdict::kAgree)
        << again.str();
  }
  return trace_in(shrunk[0]);
}

// A tester that misses a wrong number misses everything; one that reports it
// with a hundred other calls around leaves the work to the reader.
TEST(TesterTest, SearchFindsWrongNumbersAndShrinksToOneCall) {
  const TemporaryFolder folder;
  const Trace least =
      find_and_shrink(options_for(folder), folder, run_with_lost_bits);

  EXPECT_EQ(least.size(), 1U);
  EXPECT_EQ(count(least, CallKind::kTell), 1U);
}

// A crash takes the process with it; the trace must still come out.
TEST(TesterTest, SearchSurvivesCrashes) {
  const TemporaryFolder folder;
  TesterOptions options = options_for(folder);
  options.calls = 80;
  const Trace least = find_and_shrink(options, folder, run_with_crash);

  EXPECT_EQ(least.size(), 4U);
  EXPECT_EQ(count(least, CallKind::kTell), 2U);
  EXPECT_EQ(count(least, CallKind::kRetract), 2U);
}

// Nor may a graph that never returns hold up the search, or the shrinking.
TEST(TesterTest, SearchSurvivesRunsWithoutEnd) {
  const TemporaryFolder folder;
  TesterOptions options = options_for(folder);
  options.calls = 25;
  options.patience.seconds = 0.1;
  options.patience.seconds_per_call = 0.01;
  const Trace least = find_and_shrink(options, folder, run_without_end);

  EXPECT_EQ(least.size(), 3U);
  EXPECT_EQ(count(least, CallKind::kReset), 1U);
}

// Several processes share out the seeds: none may run twice or be left out.
TEST(TesterTest, SearchWithJobsRunsEachSeedOnce) {
  const TemporaryFolder folder;
  TesterOptions options = options_for(folder);
  options.count = 30;
  const auto totals = [&options] {
    std::ostringstream out;
    EXPECT_EQ(Tester(options, run_plainly, out).search(), Verdict::kAgree)
        << out.str();
    const std::string line = out.str();
    return line.substr(0, line.find(" consequences"));
  };
  const std::string alone = totals();
  options.jobs = 3;

  EXPECT_EQ(totals(), alone);
  EXPECT_EQ(alone.rfind("30 traces, ", 0), 0U) << alone;
  EXPECT_TRUE(files_with(folder, "").empty());
}

// Traces of one length only would leave either short or long stories untold.
TEST(TesterTest, DrawnLengthsAreTensWithATailOfHundreds) {
  std::size_t sum = 0;
  std::size_t most = 0;
  for (std::uint64_t seed = 0; seed < 1000; ++seed) {
    const std::size_t length = drawn_length(seed);
    EXPECT_GE(length, 10U);
    sum += length;
    most = std::max(most, length);
  }

  EXPECT_GT(sum, 1000U * 40);
  EXPECT_LT(sum, 1000U * 100);
  EXPECT_GT(most, 400U);
}

// Damaged files are mistakes of the caller, to be told apart from findings.
TEST(TesterTest, ReplayRefusesWhatIsNoTrace) {
  const TemporaryFolder folder;
  const struct {
    std::string text;
    std::string complaint;
  } cases[] = {
      {"check\n\nfrobnicate 3\n", ":3: no call"},
      {"# a remark\npush 1\n", "call 0, push 1, breaks the contract"},
      {"tell 1 1 2 2 1 0\npush 1\nretract 1\n", "call 2, retract 1, breaks"},
  };
  for (const auto& bad : cases) {
    const std::string file = folder.write("bad.trace", bad.text);
    std::ostringstream out;
    Tester tester(options_for(folder), run_plainly, out);
    EXPECT_EQ(tester.replay({file}), Verdict::kUsage);
    EXPECT_NE(out.str().find(file), std::string::npos) << out.str();
    EXPECT_NE(out.str().find(bad.complaint), std::string::npos) << out.str();
  }
  std::ostringstream out;
  Tester tester(options_for(folder), run_plainly, out);
  EXPECT_EQ(tester.replay({folder.file("none")}), Verdict::kUsage);
  EXPECT_EQ(tester.replay({folder.path()}), Verdict::kUsage);
}

// A trace kept from elsewhere can be made small, too.
TEST(TesterTest, ShrinkFileWritesTheShrunkTrace) {
  const TemporaryFolder folder;
  const std::string file = folder.write(
      "found.trace",
      "tell 1 1 2 2 36893488147419103232 -1\ntell 2 2 3 4 1 0\npush 1\n"
      "check\npush 2\ncheck\n");
  std::ostringstream out;
  Tester tester(options_for(folder), run_with_lost_bits, out);

  EXPECT_EQ(tester.shrink_file(file), Verdict::kDifference);
  EXPECT_EQ(trace_in(folder.file("found.shrunk.trace")).size(), 1U);
  EXPECT_EQ(Tester(options_for(folder), run_plainly, out).shrink_file(file),
            Verdict::kAgree);
}

// Scripts look at the exit status of the program.
TEST(TesterProgramTest, ExitStatusTellsAgreementFromMisuse) {
  const TemporaryFolder folder;
  const auto run = [](const std::vector<std::string>& arguments) {
    return test::run_program(VORN_TRACE_TESTER, arguments);
  };
  const test::Ended agree =
      run({"--seed", "3", "--count", "5", "--out", folder.path()});
  EXPECT_EQ(agree.status, 0) << agree.output << agree.errors;
  EXPECT_EQ(agree.output.rfind("5 traces, ", 0), 0U) << agree.output;
  EXPECT_EQ(run({"--seconds", "0.1", "--jobs", "2"}).status, 0);
  const std::string good =
      folder.write("good.trace", "tell 1 1 2 2 1 0\npush 1\ncheck\n");
  EXPECT_EQ(run({"--replay", good, good}).status, 0);
  EXPECT_EQ(run({"--shrink", good}).status, 0);
  EXPECT_EQ(run({"--help"}).status, 0);

  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{
           {"--count", "x"},
           {"--count", "0"},
           {"--frobnicate"},
           {"--jobs", "0"},
           {"file"},
           {"--replay", folder.file("none")},
           {"--replay", good, "--shrink", good}}) {
    EXPECT_EQ(run(arguments).status, 2) << arguments.back();
  }
}

}  // namespace
}  // namespace vorn::trace
