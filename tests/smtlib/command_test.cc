// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/build_kind.h"
#include "tests/pseudo_terminal.h"

// Runs the vorn command itself, as a user would.

namespace vorn::solver {
namespace {

using Clock = std::chrono::steady_clock;

// How late an answer may come after its limit: a tenth of a second, and what
// starting a process may take on a busy machine.
constexpr double kLate = 0.1 + 0.4;

/// A running command, with its three standard streams.
class Process {
 public:
  /// `error_fd`: where its standard error goes instead of a pipe.
  explicit Process(const std::vector<std::string>& arguments,
                   int error_fd = -1) {
    int in[2] = {};
    int out[2] = {};
    int err[2] = {};
    EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
    std::vector<std::string> words = {VORN_COMMAND};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      dup2(error_fd >= 0 ? error_fd : err[1], STDERR_FILENO);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    in_ = in[1];
    out_ = out[0];
    err_ = err[0];
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    close_input();
    close_output();
    close(err_);
  }

  void send(const std::string& text) const {
    std::size_t sent = 0;
    while (sent < text.size()) {
      const ssize_t size = write(in_, text.data() + sent, text.size() - sent);
      if (size <= 0) return;
      sent += static_cast<std::size_t>(size);
    }
  }
  void close_input() {
    if (in_ >= 0) close(in_);
    in_ = -1;
  }
  void close_output() {
    if (out_ >= 0) close(out_);
    out_ = -1;
  }
  void interrupt() const { kill(pid_, SIGINT); }

  /// One line of output, with its end; what there is after ten seconds.
  std::string read_line() const {
    std::string line;
    while (line.empty() || line.back() != '\n') {
      pollfd ready = {out_, POLLIN, 0};
      char c = 0;
      if (poll(&ready, 1, 10000) != 1 || read(out_, &c, 1) != 1) break;
      line += c;
    }
    return line;
  }
  std::string read_output() const { return read_all(out_); }
  std::string read_errors() const { return read_all(err_); }

  /// Its exit status, or minus the signal that ended it.
  int wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  static std::string read_all(int fd) {
    std::string text;
    std::array<char, 4096> buffer{};
    for (;;) {
      const ssize_t size = read(fd, buffer.data(), buffer.size());
      if (size < 0 && errno == EINTR) continue;
      if (size <= 0) return text;
      text.append(buffer.data(), static_cast<std::size_t>(size));
    }
  }

  pid_t pid_ = -1;
  int in_ = -1;
  int out_ = -1;
  int err_ = -1;
};

struct Result {
  int status = 0;
  std::string output;
  std::string errors;
  double seconds = 0;
};

Result run(const std::vector<std::string>& arguments,
           const std::string& input = "") {
  const Clock::time_point start = Clock::now();
  Process process(arguments);
  // Beside reading: a script longer than a pipe may be answered meanwhile.
  std::thread sender([&process, &input] {
    process.send(input);
    process.close_input();
  });
  Result result;
  result.output = process.read_output();
  result.errors = process.read_errors();
  sender.join();
  result.status = process.wait();
  result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return result;
}

/// A file that lasts as long as this.
class ScriptFile {
 public:
  explicit ScriptFile(const std::string& text)
      : name_(::testing::TempDir() + "vorn_command_test_" +
              std::to_string(getpid()) + ".smt2") {
    std::ofstream(name_) << text;
  }
  ScriptFile(const ScriptFile&) = delete;
  ScriptFile& operator=(const ScriptFile&) = delete;
  ~ScriptFile() { std::remove(name_.c_str()); }
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

/// Jobs of length 2, one after the other, in too little time: each order has
/// to be refuted, since adding up what they take is off. A few are done at
/// once, twenty take for ever.
std::string hard_assertions(int jobs = 20) {
  std::string text = "(set-option :machines off)(set-logic QF_IDL)";
  for (int i = 0; i < jobs; ++i) {
    const std::string s = "s" + std::to_string(i);
    text += "(declare-const " + s + " Int)(assert (<= 0 " + s + " " +
            std::to_string(2 * jobs - 3) + "))\n";
  }
  for (int i = 0; i < jobs; ++i) {
    for (int j = 0; j < i; ++j) {
      const std::string a = "s" + std::to_string(i);
      const std::string b = "s" + std::to_string(j);
      text += "(assert (or (<= 2 (- " + a + " " + b + ")) (<= 2 (- " + b + " " +
              a + "))))\n";
    }
  }
  return text;
}

class CommandTest : public ::testing::Test {
 protected:
  // A command that ends early must not end the test.
  void SetUp() override { std::signal(SIGPIPE, SIG_IGN); }
};

// A file, and standard input by both its names.
TEST_F(CommandTest, RunOfScriptAnswersIt) {
  const std::string script =
      "(set-logic QF_IDL)(declare-const x Int)(assert (< x x))(check-sat)";
  const ScriptFile file(script);
  for (const Result& result :
       {run({file.name()}), run({"-"}, script), run({}, script)}) {
    EXPECT_EQ(result.output, "unsat\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
  }
}

// The status tells errors apart; the script still runs to its end.
TEST_F(CommandTest, RunOfScriptWithErrorEndsWithOne) {
  const Result result = run({}, "(foo)(set-logic ALL)(check-sat)");
  EXPECT_EQ(result.output,
            "(error \"line 1 column 2: unknown command foo\")\nsat\n");
  EXPECT_EQ(result.status, 1);
}

// Help and version are answers, not errors.
TEST_F(CommandTest, HelpAndVersionEndWithZero) {
  const Result help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* option :
       {"--timeout", "--memory-limit", "--stats", "-v", "--lemmas",
        "--lemma-overlap", "--lemma-dedup", "--propagation", "--machines",
        "--check-models", "--seed", "--explain", "--dot"}) {
    EXPECT_NE(help.output.find(option), std::string::npos) << option;
  }
  const Result version = run({"--version"});
  EXPECT_EQ(version.output.rfind("vorn ", 0), 0U);
  EXPECT_EQ(version.status, 0);
}

// What cannot be read is said so, on standard error.
TEST_F(CommandTest, RunOfUnreadableInputSaysWhy) {
  const Result missing = run({"/nonexistent/file.smt2"});
  EXPECT_EQ(missing.output, "");
  EXPECT_EQ(missing.errors,
            "vorn: cannot open /nonexistent/file.smt2: No such file or "
            "directory\n");
  EXPECT_EQ(missing.status, 1);
  const Result directory = run({"/"});
  EXPECT_EQ(directory.errors, "vorn: cannot read /: it is a directory\n");
  EXPECT_EQ(directory.status, 1);
}

// Wrong options are refused before anything runs.
TEST_F(CommandTest, RunWithWrongOptionsEndsWithOne) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--foo"},
                                             {"--lemmas", "many"},
                                             {"--lemma-overlap", "2"},
                                             {"--propagation", "some"},
                                             {"--machines", "full"},
                                             {"--timeout", "-1"},
                                             {"--seed", "x"},
                                             {"a", "b"}}) {
    SCOPED_TRACE(arguments.back());
    const Result result = run(arguments, "(echo \"ran\")");
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors, "");
    EXPECT_EQ(result.status, 1);
  }
}

// Every option is taken, and none changes an answer.
TEST_F(CommandTest, RunWithEveryOptionAnswers) {
  const std::string script =
      "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
      "(assert (< x y))(assert (or (< y x) (< y (- x 1))))(check-sat)";
  const std::vector<std::string> arguments = {
      "--lemmas",      "both", "--lemma-overlap", "0.25",
      "--lemma-dedup", "on",   "--check-models",  "on",
      "--seed",        "7",    "--timeout",       "60",
      "--propagation", "full", "--machines",      "off"};
  const Result result = run(arguments, script);
  EXPECT_EQ(result.output, "unsat\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

// The options of the command are those of the script.
TEST_F(CommandTest, OptionsAreWhatTheScriptSees) {
  EXPECT_EQ(
      run({"--lemmas", "long", "--lemma-overlap", "0.25", "--lemma-dedup", "on",
           "--seed", "7", "-vv", "--propagation", "off", "--machines", "off"},
          "(get-option :dl-tlemma-kinds)"
          "(get-option :dl-tlemma-min-overlap)"
          "(get-option :dl-dedup-tlemmas)(get-option :random-seed)"
          "(get-option :verbosity)(get-option :propagation)"
          "(get-option :machines)")
          .output,
      "2\n0.25\ntrue\n7\n2\noff\noff\n");
}

// Explanations are comments too, at once behind the answer they explain.
TEST_F(CommandTest, ExplainFollowsEachUnsat) {
  const Result result =
      run({"--explain"},
          "(set-logic QF_IDL)\n(declare-const x Int)\n(assert (< x 2))\n"
          "(check-sat)\n(assert (! (> x 1) :named big))\n(check-sat)\n"
          "(echo \"end\")\n");
  EXPECT_EQ(
      result.output,
      "sat\nunsat\n"
      "; unsat, because these 2 assertions cannot hold together:\n"
      ";   line 3         x <= 1                    from x < 2 over the "
      "integers\n"
      ";   line 5 (big)   -x <= -2                  from -x < -1 over the "
      "integers\n"
      ";   sum            0 <= -1, which is false\n"
      "\"end\"\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

std::string text_of_file(const std::string& name) {
  std::ifstream file(name);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The picture goes to its file; replies stay as they are.
TEST_F(CommandTest, DotWritesThePictureAtTheEnd) {
  const ScriptFile file("");
  const Result result =
      run({"--dot", file.name()},
          "(set-logic QF_RDL)(declare-const x Real)(assert (< x 2))"
          "(assert (> x 3))(check-sat)(exit)");
  EXPECT_EQ(result.output, "unsat\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
  const std::string dot = text_of_file(file.name());
  EXPECT_EQ(dot.rfind("digraph vorn {\n", 0), 0U) << dot;
  EXPECT_NE(dot.find("[label=\"< 2\\n(< x 2)\", style=solid, color=red"),
            std::string::npos)
      << dot;
  EXPECT_EQ(dot.substr(dot.size() - 2), "}\n");
}

// A place that cannot be written is told before hours of search, not after.
TEST_F(CommandTest, DotToAPlaceThatCannotBeWrittenRunsNothing) {
  const Result result =
      run({"--dot", "/nonexistent/file.dot"}, "(echo \"ran\")");
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "vorn: cannot write /nonexistent/file.dot: No such file or "
            "directory\n");
  EXPECT_EQ(result.status, 1);
}

// A full disk is an error, and the answers stay.
TEST_F(CommandTest, DotThatCannotBeWrittenOutIsAnError) {
  const Result result = run(
      {"--dot", "/dev/full"},
      "(set-logic QF_RDL)(declare-const x Real)(assert (< x 2))(check-sat)");
  EXPECT_EQ(result.output, "sat\n");
  EXPECT_EQ(result.errors, "vorn: cannot write /dev/full\n");
  EXPECT_EQ(result.status, 1);
}

// Replies go to the end of the file that the script names, comes what may;
// what the user asked for besides stays with the user.
TEST_F(CommandTest, OutputChannelReceivesRepliesAndNothingElse) {
  const ScriptFile file("\"kept\"\n");
  const Result result =
      run({"--stats"}, "(echo \"a\")(set-option :regular-output-channel \"" +
                           file.name() +
                           "\")(echo \"b\")\n(pop 0)"
                           "(set-option :regular-output-channel \"stderr\")"
                           "(echo \"c\")");
  EXPECT_EQ(result.output.rfind("\"a\"\n; seconds: ", 0), 0U) << result.output;
  EXPECT_EQ(result.errors, "\"c\"\n");
  std::ifstream stream(file.name());
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  EXPECT_EQ(text,
            "\"kept\"\n\"b\"\n(error \"line 2 column 1: pop needs a logic; "
            "set-logic comes first\")\n");
}

// Statistics are comments, so that the output stays readable as answers.
TEST_F(CommandTest, StatsAreCommentLinesAtTheEnd) {
  const Result result =
      run({"--stats"},
          "(set-logic QF_IDL)(declare-const x Int)(assert (< x x))(check-sat)");
  EXPECT_EQ(result.output.rfind("unsat\n; decisions: ", 0), 0U)
      << result.output;
  EXPECT_NE(result.output.find("\n; dl conflicts: "), std::string::npos);
  EXPECT_NE(result.output.find("\n; seconds: "), std::string::npos);
  EXPECT_EQ(result.errors, "");
}

// The log goes to standard error, and only when asked for.
TEST_F(CommandTest, VerboseLogsLemmasOnStandardError) {
  const std::string script = hard_assertions(5) + "(check-sat)";
  const auto log = [&script](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--lemmas", "both", "--lemma-overlap",
                                       "0", "--propagation", "off"});
    const Result result = run(arguments, script);
    EXPECT_EQ(result.output, "unsat\n");
    return result.errors;
  };
  EXPECT_EQ(log({}), "");
  EXPECT_EQ(log({"-v"}), "");
  EXPECT_EQ(log({"-vv"}).rfind("DL(graph) - ", 0), 0U);
}

// At a terminal or from a program: each answer before the next question.
TEST_F(CommandTest, AnswerComesBeforeTheInputEnds) {
  Process process({});
  process.send("(set-logic QF_IDL)(declare-const x Int)(check-sat)");
  EXPECT_EQ(process.read_line(), "sat\n");
  process.send("(assert (< x x))\n(check-sat)\n");
  EXPECT_EQ(process.read_line(), "unsat\n");
  process.send("(echo \"half");
  process.send(" done\")");
  EXPECT_EQ(process.read_line(), "\"half done\"\n");
  process.send("(exit)");
  EXPECT_EQ(process.wait(), 0);
}

// A reader that has seen enough, like `head`, is no reason to complain.
TEST_F(CommandTest, ClosedOutputEndsQuietlyWithOne) {
  Process process({});
  process.send("(echo \"a\")");
  EXPECT_EQ(process.read_line(), "\"a\"\n");
  process.close_output();
  process.send("(echo \"b\")(echo \"c\")");
  process.close_input();
  EXPECT_EQ(process.read_errors(), "");
  EXPECT_EQ(process.wait(), 1);
}

// The limit holds, is the reason given, and the script goes on behind it.
TEST_F(CommandTest, TimeoutAnswersUnknownInTime) {
  const Result result = run({"--timeout", "0.5", "--stats"},
                            hard_assertions() +
                                "(check-sat)(get-info :reason-unknown)"
                                "(check-sat)(echo \"end\")");
  EXPECT_EQ(result.output.rfind(
                "unknown\n(:reason-unknown timeout)\nunknown\n\"end\"\n; ", 0),
            0U)
      << result.output;
  EXPECT_GE(result.seconds, 0.5);
  EXPECT_LE(result.seconds, 0.5 + kLate);
  EXPECT_EQ(result.status, 0);
}

// The limit of one check leaves the next one its own.
TEST_F(CommandTest, TimeoutOptionLimitsEachCheck) {
  const Result result =
      run({}, "(set-option :timeout 200)" + hard_assertions() +
                  "(check-sat)(get-info :reason-unknown)(check-sat)"
                  "(set-option :timeout 0)(assert (< s0 s0))(check-sat)");
  EXPECT_EQ(result.output,
            "unknown\n(:reason-unknown timeout)\nunknown\nunsat\n");
  EXPECT_GE(result.seconds, 0.4);
  EXPECT_LE(result.seconds, 0.4 + 2 * kLate);
}

// Where nothing looks at the stop flag, the watchdog answers.
TEST_F(CommandTest, TimeoutWhileReadingAnswersUnknownInTime) {
  std::string script = "(set-logic QF_IDL)(declare-const x Int)(assert (and";
  for (int i = 0; i < 1500000; ++i) {
    script += " (< x " + std::to_string(i + 5) + ")";
  }
  const ScriptFile file(script + "))(check-sat)");
  const Result result = run({"--timeout", "0.1", file.name()});
  EXPECT_EQ(result.output, "unknown\n");
  EXPECT_LE(result.seconds, 0.1 + kLate);
  EXPECT_EQ(result.status, 0);
}

// A session that waits for its user has not run out of time.
TEST_F(CommandTest, TimeoutWhileWaitingEndsNothing) {
  Process process({"--timeout", "0.1"});
  process.send("(echo \"a\")");
  EXPECT_EQ(process.read_line(), "\"a\"\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  process.send("(set-logic QF_IDL)(check-sat)(get-info :reason-unknown)");
  EXPECT_EQ(process.read_line(), "unknown\n");
  EXPECT_EQ(process.read_line(), "(:reason-unknown timeout)\n");
  process.close_input();
  EXPECT_EQ(process.wait(), 0);
}

// Ctrl-C answers what is owed, prints what was asked for, and says so.
TEST_F(CommandTest, InterruptAnswersUnknownAndPrintsStatistics) {
  Process process({"--stats"});
  process.send(hard_assertions() + "(echo \"now\")(check-sat)(echo \"no\")");
  EXPECT_EQ(process.read_line(), "\"now\"\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  process.interrupt();
  EXPECT_EQ(process.read_line(), "unknown\n");
  EXPECT_EQ(process.read_line().rfind("; decisions: ", 0), 0U);
  EXPECT_EQ(process.read_output().find("no"), std::string::npos);
  EXPECT_EQ(process.wait(), 130);
}

// While it waits there is nothing to answer.
TEST_F(CommandTest, InterruptWhileWaitingEndsTheSession) {
  Process process({});
  process.send("(echo \"a\")(assert");
  EXPECT_EQ(process.read_line(), "\"a\"\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  process.interrupt();
  EXPECT_EQ(process.read_output(), "");
  EXPECT_EQ(process.wait(), 130);
}

// Memory that runs out, anywhere, is an unknown and never a crash.
TEST_F(CommandTest, MemoryLimitAnswersUnknown) {
  if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  std::string script = "(set-logic QF_IDL)(declare-const x Int)(assert (or";
  for (int i = 0; i < 500000; ++i) {
    script += " (< x " + std::to_string(i) + ")";
  }
  script += "))\n(check-sat)(get-info :reason-unknown)";
  // The program alone, not optimised, takes 17 MiB.
  for (const char* limit : {"24", "32", "64", "96"}) {
    SCOPED_TRACE(limit);
    const Result result = run({"--memory-limit", limit}, script);
    EXPECT_EQ(result.output, "unknown\n(:reason-unknown memout)\n");
    EXPECT_EQ(result.status, 0);
  }
}

// The same inside GMP, which would end the process by itself.
TEST_F(CommandTest, MemoryLimitInsideBigNumbersAnswersUnknown) {
  if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  std::string script = "(set-logic QF_RDL)(declare-const x Real)";
  script += "(assert (< x (/ 1 " + std::string(8000000, '7') + ")))";
  const Result result = run({"--memory-limit", "40"},
                            script + "(check-sat)(get-info :reason-unknown)");
  EXPECT_EQ(result.output, "unknown\n(:reason-unknown memout)\n");
  EXPECT_EQ(result.status, 0);
}

// Progress is for eyes: on a terminal, and nowhere else.
TEST_F(CommandTest, ProgressAppearsOnATerminalOnly) {
  const std::string script = hard_assertions() + "(check-sat)";
  const std::vector<std::string> arguments = {"--timeout", "1.5"};
  EXPECT_EQ(run(arguments, script).errors, "");

  const test::PseudoTerminal terminal = test::open_pseudo_terminal();
  if (!terminal.ok()) GTEST_SKIP() << test::kNoTerminal;
  Process process(arguments, terminal.program);
  process.send(script);
  process.close_input();
  EXPECT_EQ(process.read_output(), "unknown\n");
  EXPECT_EQ(process.wait(), 0);
  std::array<char, 4096> buffer{};
  const ssize_t size = read(terminal.screen, buffer.data(), buffer.size());
  ASSERT_GT(size, 0);
  const std::string shown(buffer.data(), static_cast<std::size_t>(size));
  EXPECT_NE(shown.find(" conflicts, "), std::string::npos) << shown;
  EXPECT_NE(shown.find(" learnt clauses, "), std::string::npos) << shown;
  close(terminal.program);
  close(terminal.screen);
}

}  // namespace
}  // namespace vorn::solver
