// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/command/scripts.h"
#include "tests/model/runner.h"
#include "tests/model/trace.h"
#include "tests/temporary_folder.h"

// The command's recordings of its calls on the graph, made again beside the
// model.

namespace vorn::command {
namespace {

using test::TemporaryFolder;
using test::text_of_file;

class RecordingTest : public ::testing::Test {
 protected:
  /// What the command did on the script, with its recording.
  Ended record(const std::string& script,
               std::vector<std::string> options = {}) {
    options.insert(options.end(), {"--record-graph", recording(),
                                   folder_.write("script.smt2", script)});
    return run(options);
  }

  std::string recording() const { return folder_.file("calls.trace"); }

  model::Trace recorded() const {
    std::ifstream in(recording());
    model::Trace trace;
    std::size_t bad_line = 0;
    EXPECT_TRUE(model::read_trace(in, &trace, &bad_line)) << bad_line;
    EXPECT_TRUE(model::keeps_contract(trace));
    return trace;
  }

  /// Makes the recorded calls again.
  model::RunResult replay() const {
    const model::RunResult result = model::run_trace(recorded());
    EXPECT_TRUE(result.agrees) << result.difference;
    return result;
  }

  TemporaryFolder folder_;
};

// The recording must hold the conflicts that the solver met.
TEST_F(RecordingTest, UnsatisfiableScriptGivesItsConflict) {
  const Ended ended = record(
      "(set-logic QF_IDL)\n"
      "(declare-const x Int)(declare-const y Int)(declare-const z Int)\n"
      "(assert (or (< (- x y) 3) (< (- y x) 100000000000000000000)))\n"
      "(assert (and (< x y) (< y z) (< z x)))\n"
      "(check-sat)\n");
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.output, "unsat\n");

  const model::RunResult result = replay();
  EXPECT_EQ(result.conflicts, 1U);
  EXPECT_GE(result.calls, 10U);
}

// Strict bounds, fractions and numbers of any size must survive the text.
TEST_F(RecordingTest, RealWeightsComeBackExactly) {
  const Ended ended = record(
      "(set-logic QF_RDL)\n"
      "(declare-const x Real)(declare-const y Real)\n"
      "(assert (< (- x y) (/ 36893488147419103232 3)))\n"
      "(assert (> (- x y) (/ 36893488147419103231 3)))\n"
      "(check-sat)\n"
      "(assert (>= (- x y) (/ 36893488147419103232 3)))\n"
      "(check-sat)\n");
  EXPECT_EQ(ended.output, "sat\nunsat\n");
  const std::string text = text_of_file(recording());

  EXPECT_NE(text.find(" 36893488147419103232/3 -1\n"), std::string::npos)
      << text;
  EXPECT_GE(replay().checks, 1U);
}

// Scopes retract constraints, resets and changed options make new graphs; one
// recording has to hold all of it.
TEST_F(RecordingTest, SessionsKeepTheContract) {
  const std::string questions =
      "(set-logic QF_IDL)\n"
      "(declare-const x Int)(declare-const y Int)(declare-const z Int)\n"
      "(declare-const b Bool)\n"
      "(assert (=> b (<= (- x y) 3)))\n"
      "(check-sat-assuming (b))\n"
      "(push 1)\n"
      "(assert (>= (- x y) 4))\n"
      "(check-sat-assuming (b))\n"
      "(check-sat)\n"
      "(pop 1)\n"
      "(push 1)\n"
      "(assert (and (xor (= x y) b) (< x y) (< y z) (< z x)))\n"
      "(check-sat)\n"
      "(pop 1)\n"
      "(set-option :dl-tlemma-kinds 3)\n"
      "(check-sat)\n";
  const Ended ended =
      record("(set-option :global-declarations true)" + questions + "(reset)" +
             questions + "(reset-assertions)(assert (< 1 2))(check-sat)");
  EXPECT_EQ(ended.status, 0) << ended.output;

  const model::Trace trace = recorded();
  std::size_t retracted = 0;
  std::size_t resets = 0;
  for (const model::Call& call : trace) {
    retracted += call.kind == model::CallKind::kRetract ? 1 : 0;
    resets += call.kind == model::CallKind::kReset ? 1 : 0;
  }
  EXPECT_GT(retracted, 0U);
  EXPECT_GE(resets, 2U);
  EXPECT_GT(replay().conflicts, 0U);
}

// Job shops push, pop and fail by the thousand, without propagation and sets of
// tasks more than with them. Recording must not change a run: the same seed
// makes the same calls.
TEST_F(RecordingTest, JobShopGivesTheSameCallsEachTime) {
  const std::string script =
      text_of_file(std::string(VORN_JOBSHOP_DIR) + "/ft06-54.smt2");
  for (const std::string mode : {"auto", "off"}) {
    const std::vector<std::string> options = {
        "--seed", "3", "--propagation", mode, "--machines", mode};
    EXPECT_EQ(record(script, options).output, "unsat\n");
    const std::string first = text_of_file(recording());
    EXPECT_EQ(record(script, options).output, "unsat\n");
    EXPECT_EQ(text_of_file(recording()), first) << mode;
  }

  model::Trace trace = recorded();
  ASSERT_GT(trace.size(), 3000U);
  trace.resize(3000);
  const model::RunResult result = model::run_trace(trace);
  EXPECT_TRUE(result.agrees) << result.difference;
  EXPECT_GT(result.conflicts, 10U);
}

// A run that ends at a limit ends without tidying up; what it leaves must be a
// trace all the same.
TEST_F(RecordingTest, StoppedRunLeavesWholeLines) {
  const std::string folder = VORN_JOBSHOP_DIR;
  const Ended question =
      test::run_program(folder + "/question.sh", {folder + "/ft10.txt", "900"});
  ASSERT_EQ(question.status, 0) << question.errors;
  // With all that the search knows it would be answered in time.
  const Ended ended =
      record(question.output,
             {"--timeout", "1", "--propagation", "off", "--machines", "off"});
  EXPECT_EQ(ended.output, "unknown\n");

  // The beginning of a long file, and its last line.
  std::istringstream in(text_of_file(recording()));
  std::string line;
  std::string last;
  model::Call call;
  model::Contract contract;
  std::size_t calls = 0;
  std::getline(in, line);
  while (std::getline(in, line)) {
    ++calls;
    last = line;
    if (calls > 20000) continue;
    ASSERT_TRUE(model::call_from_text(line, &call)) << line;
    ASSERT_TRUE(contract.allows(call)) << line;
    contract.apply(call);
  }
  EXPECT_TRUE(model::call_from_text(last, &call)) << last;
  EXPECT_EQ(text_of_file(recording()).back(), '\n');
  EXPECT_GT(calls, 1000U);
}

// A recording that is missing or has a hole must not go unnoticed.
TEST_F(RecordingTest, UnwritableFileIsAnError) {
  const std::string script =
      folder_.write("script.smt2",
                    "(set-logic QF_IDL)(declare-const x Int)\n"
                    "(assert (< x 3))(check-sat)\n");
  const Ended missing =
      run({"--record-graph", folder_.file("no/such/folder"), script});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.output, "");
  EXPECT_EQ(missing.errors, "vorn: cannot open " +
                                folder_.file("no/such/folder") +
                                ": No such file or directory\n");
  const Ended full = run({"--record-graph", "/dev/full", script});
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.output, "sat\n");
  EXPECT_EQ(full.errors,
            "vorn: cannot write /dev/full: No space left on device\n");
}

}  // namespace
}  // namespace vorn::command
