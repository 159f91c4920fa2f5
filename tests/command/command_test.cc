// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"
#include "tests/pseudo_terminal.h"
#include "tests/temporary_folder.h"

// Runs the vorn command itself, as a user would.

namespace vorn::command {
namespace {

// How late an answer may come after its limit: a tenth of a second, and what
// starting a process may take on a busy machine.
constexpr double kLate = 0.1 + 0.4;

constexpr Streams kDialogue = {Streams::kPipe, Streams::kPipe};

/// Runs vorn on what it reads from a pipe.
Ended answer(const std::vector<std::string>& arguments,
             const std::string& input) {
  Child child(VORN_COMMAND, arguments, {Streams::kPipe});
  child.send(input);
  child.close_input();
  return child.wait();
}

/// Twenty jobs take for ever.
std::string hard_assertions(int jobs = 20) {
  std::ostringstream out;
  write_hard_assertions(out, jobs);
  return out.str();
}

// A file, and standard input by both its names.
TEST(CommandTest, RunOfScriptAnswersIt) {
  const std::string script =
      "(set-logic QF_IDL)(declare-const x Int)(assert (< x x))(check-sat)";
  const ScriptFile file(script);
  for (const Ended& result :
       {run({file.name()}), answer({"-"}, script), answer({}, script)}) {
    EXPECT_EQ(result.output, "unsat\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, 0);
  }
}

// The status tells errors apart; the script still runs to its end.
TEST(CommandTest, RunOfScriptWithErrorEndsWithOne) {
  const Ended result = answer({}, "(foo)(set-logic ALL)(check-sat)");
  EXPECT_EQ(result.output,
            "(error \"line 1 column 2: unknown command foo\")\nsat\n");
  EXPECT_EQ(result.status, 1);
}

// The first error ends what is strict, before the rest of its command is there.
TEST(CommandTest, StrictRunEndsWithTheFirstError) {
  const Ended result =
      answer({"--strict"}, "(set-logic ALL)(check-sat)(foo)(check-sat)");
  EXPECT_EQ(result.output,
            "sat\n(error \"line 1 column 28: unknown command foo\")\n");
  EXPECT_EQ(result.status, 1);

  Child process(VORN_COMMAND, {"--strict"}, kDialogue);
  process.send("(foo ");
  EXPECT_EQ(process.read_line(),
            "(error \"line 1 column 2: unknown command foo\")\n");
  EXPECT_EQ(process.wait().status, 1);
}

// Help and version are answers, not errors.
TEST(CommandTest, HelpAndVersionEndWithZero) {
  const Ended help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* option :
       {"--timeout", "--memory-limit", "--stats", "-v", "--lemmas",
        "--lemma-overlap", "--lemma-dedup", "--propagation", "--machines",
        "--check-models", "--seed", "--explain", "--dot", "--strict"}) {
    EXPECT_NE(help.output.find(option), std::string::npos) << option;
  }
  const Ended version = run({"--version"});
  EXPECT_EQ(version.output.rfind("vorn ", 0), 0U);
  EXPECT_EQ(version.status, 0);
}

// What cannot be read is said so, on standard error.
TEST(CommandTest, RunOfUnreadableInputSaysWhy) {
  const Ended missing = run({"/nonexistent/file.smt2"});
  EXPECT_EQ(missing.output, "");
  EXPECT_EQ(missing.errors,
            "vorn: cannot open /nonexistent/file.smt2: No such file or "
            "directory\n");
  EXPECT_EQ(missing.status, 1);
  const Ended directory = run({"/"});
  EXPECT_EQ(directory.errors, "vorn: cannot read /: it is a directory\n");
  EXPECT_EQ(directory.status, 1);
}

// Wrong options are refused before anything runs.
TEST(CommandTest, RunWithWrongOptionsEndsWithOne) {
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
    const Ended result = answer(arguments, "(echo \"ran\")");
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors, "");
    EXPECT_EQ(result.status, 1);
  }
}

// Every option is taken, and none changes an answer.
TEST(CommandTest, RunWithEveryOptionAnswers) {
  const std::string script =
      "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
      "(assert (< x y))(assert (or (< y x) (< y (- x 1))))(check-sat)";
  const std::vector<std::string> arguments = {
      "--lemmas",      "both", "--lemma-overlap", "0.25",
      "--lemma-dedup", "on",   "--check-models",  "on",
      "--seed",        "7",    "--timeout",       "60",
      "--propagation", "full", "--machines",      "off",
      "--strict"};
  const Ended result = answer(arguments, script);
  EXPECT_EQ(result.output, "unsat\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

// The options of the command are those of the script.
TEST(CommandTest, OptionsAreWhatTheScriptSees) {
  EXPECT_EQ(answer({"--lemmas", "long", "--lemma-overlap", "0.25",
                    "--lemma-dedup", "on", "--seed", "7", "-vv",
                    "--propagation", "off", "--machines", "off"},
                   "(get-option :dl-tlemma-kinds)"
                   "(get-option :dl-tlemma-min-overlap)"
                   "(get-option :dl-dedup-tlemmas)(get-option :random-seed)"
                   "(get-option :verbosity)(get-option :propagation)"
                   "(get-option :machines)")
                .output,
            "2\n0.25\ntrue\n7\n2\noff\noff\n");
}

// Explanations are comments too, at once behind the answer they explain.
TEST(CommandTest, ExplainFollowsEachUnsat) {
  const Ended result =
      answer({"--explain"},
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

// The picture goes to its file; replies stay as they are.
TEST(CommandTest, DotWritesThePictureAtTheEnd) {
  const ScriptFile file("");
  const Ended result =
      answer({"--dot", file.name()},
             "(set-logic QF_RDL)(declare-const x Real)(assert (< x 2))"
             "(assert (> x 3))(check-sat)(exit)");
  EXPECT_EQ(result.output, "unsat\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
  const std::string dot = file.text();
  EXPECT_EQ(dot.rfind("digraph vorn {\n", 0), 0U) << dot;
  EXPECT_NE(dot.find("[label=\"< 2\\n(< x 2)\", style=solid, color=red"),
            std::string::npos)
      << dot;
  EXPECT_EQ(dot.substr(dot.size() - 2), "}\n");
}

// A place that cannot be written is told before hours of search, not after.
TEST(CommandTest, DotToAPlaceThatCannotBeWrittenRunsNothing) {
  const Ended result =
      answer({"--dot", "/nonexistent/file.dot"}, "(echo \"ran\")");
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "vorn: cannot write /nonexistent/file.dot: No such file or "
            "directory\n");
  EXPECT_EQ(result.status, 1);
}

// A full disk is an error, and the answers stay.
TEST(CommandTest, DotThatCannotBeWrittenOutIsAnError) {
  const Ended result = answer(
      {"--dot", "/dev/full"},
      "(set-logic QF_RDL)(declare-const x Real)(assert (< x 2))(check-sat)");
  EXPECT_EQ(result.output, "sat\n");
  EXPECT_EQ(result.errors, "vorn: cannot write /dev/full\n");
  EXPECT_EQ(result.status, 1);
}

// Replies go to the end of the file that the script names, comes what may;
// what the user asked for besides stays with the user.
TEST(CommandTest, OutputChannelReceivesRepliesAndNothingElse) {
  const ScriptFile file("\"kept\"\n");
  const Ended result =
      answer({"--stats"}, "(echo \"a\")(set-option :regular-output-channel \"" +
                              file.name() +
                              "\")(echo \"b\")\n(pop 1)"
                              "(set-option :regular-output-channel \"stderr\")"
                              "(echo \"c\")");
  EXPECT_EQ(result.output.rfind("\"a\"\n; seconds: ", 0), 0U) << result.output;
  EXPECT_EQ(result.errors, "\"c\"\n");
  EXPECT_EQ(file.text(),
            "\"kept\"\n\"b\"\n(error \"line 2 column 6: there are 0 levels to "
            "pop\")\n");
}

// Statistics are comments, so that the output stays readable as answers.
TEST(CommandTest, StatsAreCommentLinesAtTheEnd) {
  const Ended result = answer(
      {"--stats"},
      "(set-logic QF_IDL)(declare-const x Int)(assert (< x x))(check-sat)");
  EXPECT_EQ(result.output.rfind("unsat\n; decisions: ", 0), 0U)
      << result.output;
  EXPECT_NE(result.output.find("\n; dl conflicts: "), std::string::npos);
  EXPECT_NE(result.output.find("\n; seconds: "), std::string::npos);
  EXPECT_EQ(result.errors, "");
}

// A session asks for the same, with the same values, while it goes on: keywords
// as SMT-LIB writes them, each followed by a numeral, a decimal or a string.
TEST(CommandTest, AllStatisticsAreThoseOfStats) {
  const Ended result =
      answer({"--stats", "--lemmas", "both"},
             "(get-info :all-statistics)" + hard_assertions(4) +
                 "(check-sat)(push)(assert (< s0 s0))(check-sat)(pop)(reset)" +
                 "(get-info :all-statistics)");
  const std::size_t first = result.output.rfind("\n(:");
  const std::size_t last = result.output.find(")\n; ", first);
  ASSERT_NE(last, std::string::npos) << result.output;
  std::istringstream told(result.output.substr(first + 2, last - first - 2));
  std::istringstream printed(result.output.substr(last + 2));
  const std::regex row(
      "[ (]?:([a-zA-Z][-a-zA-Z0-9._]*) "
      "((0|[1-9][0-9]*)([.][0-9]+)?|\"[^\"]*\")");
  std::set<std::string> keys;
  std::string line;
  std::string comment;
  while (std::getline(told, line)) {
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(line, parts, row)) << line;
    EXPECT_TRUE(keys.insert(parts[1]).second) << line;
    ASSERT_TRUE(std::getline(printed, comment)) << line;
    std::string name = comment.substr(2, comment.find(": ") - 2);
    std::replace(name.begin(), name.end(), ' ', '-');
    EXPECT_EQ(parts[1], name);
    // Time goes on.
    if (name == "seconds" || name == "peak-memory-MiB") continue;
    EXPECT_EQ(parts[2], comment.substr(comment.find(": ") + 2));
  }
  EXPECT_FALSE(std::getline(printed, comment)) << comment;
  EXPECT_EQ(keys.count("conflicts"), 1U);
  EXPECT_EQ(keys.count("closure-steps"), 1U);
  EXPECT_EQ(keys.count("dl-conflicts"), 1U);
  EXPECT_EQ(keys.count("peak-memory-MiB"), 1U);
}

// The log goes to standard error, and only when asked for.
TEST(CommandTest, VerboseLogsLemmasOnStandardError) {
  const std::string script = hard_assertions(5) + "(check-sat)";
  const auto log = [&script](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--lemmas", "both", "--lemma-overlap",
                                       "0", "--propagation", "off"});
    const Ended result = answer(arguments, script);
    EXPECT_EQ(result.output, "unsat\n");
    return result.errors;
  };
  EXPECT_EQ(log({}), "");
  EXPECT_EQ(log({"-v"}), "");
  EXPECT_EQ(log({"-vv"}).rfind("DL(graph) - ", 0), 0U);
}

// At a terminal or from a program: each answer before the next question.
TEST(CommandTest, AnswerComesBeforeTheInputEnds) {
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send("(set-logic QF_IDL)(declare-const x Int)(check-sat)");
  EXPECT_EQ(process.read_line(), "sat\n");
  process.send("(assert (< x x))\n(check-sat)\n");
  EXPECT_EQ(process.read_line(), "unsat\n");
  process.send("(echo \"half");
  process.send(" done\")");
  EXPECT_EQ(process.read_line(), "\"half done\"\n");
  process.send("(exit)");
  EXPECT_EQ(process.wait().status, 0);
}

// A reader that has seen enough, like `head`, is no reason to complain.
TEST(CommandTest, ClosedOutputEndsQuietlyWithOne) {
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send("(echo \"a\")");
  EXPECT_EQ(process.read_line(), "\"a\"\n");
  process.close_output();
  process.send("(echo \"b\")(echo \"c\")");
  process.close_input();
  const Ended ended = process.wait();
  EXPECT_EQ(ended.errors, "");
  EXPECT_EQ(ended.status, 1);
}

// The limit holds, is the reason given, and the script goes on behind it.
TEST(CommandTest, TimeoutAnswersUnknownInTime) {
  const Ended result = answer({"--timeout", "0.5", "--stats"},
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
TEST(CommandTest, TimeoutOptionLimitsEachCheck) {
  const Ended result =
      answer({}, "(set-option :timeout 200)" + hard_assertions() +
                     "(check-sat)(get-info :reason-unknown)(check-sat)"
                     "(set-option :timeout 0)(assert (< s0 s0))(check-sat)");
  EXPECT_EQ(result.output,
            "unknown\n(:reason-unknown timeout)\nunknown\nunsat\n");
  EXPECT_GE(result.seconds, 0.4);
  EXPECT_LE(result.seconds, 0.4 + 2 * kLate);
}

// Where nothing looks at the stop flag, the watchdog answers.
TEST(CommandTest, TimeoutWhileReadingAnswersUnknownInTime) {
  std::string script = "(set-logic QF_IDL)(declare-const x Int)(assert (and";
  for (int i = 0; i < 1500000; ++i) {
    script += " (< x " + std::to_string(i + 5) + ")";
  }
  const ScriptFile file(script + "))(check-sat)");
  const Ended result = run({"--timeout", "0.1", file.name()});
  EXPECT_EQ(result.output, "unknown\n");
  EXPECT_LE(result.seconds, 0.1 + kLate);
  EXPECT_EQ(result.status, 0);
}

// The time of a session stands still while it waits for its user.
TEST(CommandTest, TimeoutCountsNoWaiting) {
  Child process(VORN_COMMAND, {"--timeout", "1.5"}, kDialogue);
  for (int i = 0; i < 4; ++i) {
    process.send("(echo \"a\")");
    EXPECT_EQ(process.read_line(), "\"a\"\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
  }
  process.send("(set-logic QF_IDL)(check-sat)");
  EXPECT_EQ(process.read_line(), "sat\n");
  process.send("(reset)" + hard_assertions() +
               "(check-sat)(get-info :reason-unknown)(check-sat)");
  EXPECT_EQ(process.read_line(), "unknown\n");
  EXPECT_EQ(process.read_line(), "(:reason-unknown timeout)\n");
  EXPECT_EQ(process.read_line(), "unknown\n");
  process.close_input();
  EXPECT_EQ(process.wait().status, 0);
}

// Ctrl-C answers what is owed, prints what was asked for, and says so.
TEST(CommandTest, InterruptOfAFileAnswersUnknownAndPrintsStatistics) {
  const ScriptFile script(hard_assertions() +
                          "(echo \"now\")(check-sat)(echo \"no\")");
  Child process(VORN_COMMAND, {"--stats", script.name()},
                {Streams::kDefault, Streams::kPipe, Streams::kDefault});
  EXPECT_EQ(process.read_line(), "\"now\"\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  process.send_signal(SIGINT);
  EXPECT_EQ(process.read_line(), "unknown\n");
  EXPECT_EQ(process.read_line().rfind("; decisions: ", 0), 0U);
  EXPECT_EQ(process.read_output().find("no"), std::string::npos);
  EXPECT_EQ(process.wait().status, 130);
}

// While it waits there is nothing to answer.
TEST(CommandTest, InterruptWhileWaitingEndsTheSession) {
  Child process(VORN_COMMAND, {}, kDialogue);
  process.send("(echo \"a\")(assert");
  EXPECT_EQ(process.read_line(), "\"a\"\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  process.send_signal(SIGINT);
  EXPECT_EQ(process.read_output(), "");
  EXPECT_EQ(process.wait().status, 130);
}

// Memory that runs out, anywhere, is an unknown and never a crash.
TEST(CommandTest, MemoryLimitAnswersUnknown) {
  if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  std::string script = "(set-logic QF_IDL)(declare-const x Int)(assert (or";
  for (int i = 0; i < 500000; ++i) {
    script += " (< x " + std::to_string(i) + ")";
  }
  script += "))\n(check-sat)(get-info :reason-unknown)";
  // The program alone, not optimised, takes 24 MiB.
  for (const char* limit : {"28", "32", "64", "96"}) {
    SCOPED_TRACE(limit);
    const Ended result = answer({"--memory-limit", limit}, script);
    EXPECT_EQ(result.output, "unknown\n(:reason-unknown memout)\n");
    EXPECT_EQ(result.status, 0);
  }
}

// The same inside GMP, which would end the process by itself.
TEST(CommandTest, MemoryLimitInsideBigNumbersAnswersUnknown) {
  if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  std::string script = "(set-logic QF_RDL)(declare-const x Real)";
  script += "(assert (< x (/ 1 " + std::string(8000000, '7') + ")))";
  const Ended result = answer({"--memory-limit", "40"},
                              script + "(check-sat)(get-info :reason-unknown)");
  EXPECT_EQ(result.output, "unknown\n(:reason-unknown memout)\n");
  EXPECT_EQ(result.status, 0);
}

// Progress is for eyes: on a terminal, and nowhere else.
TEST(CommandTest, ProgressAppearsOnATerminalOnly) {
  const std::string script = hard_assertions() + "(check-sat)";
  const std::vector<std::string> arguments = {"--timeout", "1.5"};
  EXPECT_EQ(answer(arguments, script).errors, "");

  const test::PseudoTerminal terminal = test::open_pseudo_terminal();
  if (!terminal.ok()) GTEST_SKIP() << test::kNoTerminal;
  Child process(VORN_COMMAND, arguments,
                {Streams::kPipe, Streams::kPipe, terminal.program});
  process.send(script);
  process.close_input();
  EXPECT_EQ(process.read_output(), "unknown\n");
  EXPECT_EQ(process.wait().status, 0);
  std::array<char, 4096> buffer{};
  const ssize_t size = read(terminal.screen, buffer.data(), buffer.size());
  ASSERT_GT(size, 0);
  const std::string shown(buffer.data(), static_cast<std::size_t>(size));
  EXPECT_NE(shown.find(" conflicts, "), std::string::npos) << shown;
  EXPECT_NE(shown.find(" learnt clauses, "), std::string::npos) << shown;
  close(terminal.program);
  close(terminal.screen);
}

// A proof that is cut short would prove nothing, and one of another run would
// prove something else.
TEST(CommandTest, ProofIsWrittenAsAWholeOrNotAtAll) {
  const test::TemporaryFolder folder;
  const std::string script =
      "(set-logic QF_IDL)(declare-const x Int)(assert (< x 3))";
  const std::vector<std::string> arguments{"--proof", folder.file("proof")};
  EXPECT_EQ(answer(arguments, script + "(check-sat)").output, "sat\n");
  EXPECT_EQ(test::text_of_file(folder.file("proof")), "");
  const std::string unsat = script + "(assert (> x 3))(check-sat)";
  EXPECT_EQ(answer(arguments, unsat).output, "unsat\n");
  const std::string proof = test::text_of_file(folder.file("proof"));
  EXPECT_EQ(proof.rfind("(assume t1 ", 0), 0U) << proof;
  EXPECT_NE(proof.find("(cl) :rule resolution"), std::string::npos) << proof;
  EXPECT_EQ(test::text_of_file(folder.file("proof.partial")), "");
  for (const char* file : {"/nonexistent/proof", "/dev/full"}) {
    const Ended ended = answer({"--proof", file}, unsat);
    EXPECT_EQ(ended.output, "unsat\n");
    EXPECT_EQ(ended.errors.rfind("vorn: cannot write " + std::string(file), 0),
              0U)
        << ended.errors;
    EXPECT_EQ(ended.status, 1);
  }
}

// The proof of a short script may take more memory than its search.
TEST(CommandTest, ProofWithoutMemoryMakesTheAnswerUnknown) {
  if (test::kSanitized) GTEST_SKIP() << test::kNoMemoryLimit;
  std::string script = "(set-logic QF_IDL)";
  std::string some = "(+";
  std::string others = "(+";
  for (int i = 0; i < 22; ++i) {
    const std::string name = "p" + std::to_string(i);
    script += "(declare-const " + name + " Bool)";
    some += " (ite " + name + " 1 0)";
    others += " (ite (not " + name + ") 0 1)";
  }
  script += "(assert (<= " + some + ") 11))(assert (>= " + others +
            ") 12))(check-sat)";
  bool is_ever_short = false;
  for (const char* limit : {"28", "32", "40", "400"}) {
    SCOPED_TRACE(limit);
    const test::TemporaryFolder folder;
    const Ended result = answer(
        {"--memory-limit", limit, "--proof", folder.file("proof")}, script);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(test::text_of_file(folder.file("proof.partial")), "");
    const std::string proof = test::text_of_file(folder.file("proof"));
    if (result.output == "unknown\n") {
      is_ever_short = true;
      EXPECT_EQ(proof, "");
      continue;
    }
    EXPECT_EQ(result.output, "unsat\n");
    const std::size_t last = proof.rfind("(step ");
    ASSERT_NE(last, std::string::npos);
    EXPECT_NE(proof.find(" (cl) ", last), std::string::npos);
  }
  EXPECT_TRUE(is_ever_short);
}

// What question.sh asks about a table.
std::string question(const std::string& table,
                     const std::vector<std::string>& horizon = {}) {
  const std::string folder(VORN_JOBSHOP_DIR);
  std::vector<std::string> arguments{folder + "/" + table + ".txt"};
  arguments.insert(arguments.end(), horizon.begin(), horizon.end());
  return test::run_program(folder + "/question.sh", arguments).output;
}

/// Bars of a chart: name, start and duration, by their rows' places.
struct Bar {
  std::string name;
  std::string start;
  int duration;
};
std::map<int, std::vector<Bar>> bars_of(const std::string& svg) {
  std::map<int, std::vector<Bar>> rows;
  const std::regex bar(" y=\"(\\d+)\"[^>]*><title>(s_._.): (\\d+) to (\\d+)<");
  for (std::sregex_iterator match(svg.begin(), svg.end(), bar), end;
       match != end; ++match) {
    const int duration = std::stoi((*match)[4]) - std::stoi((*match)[3]);
    rows[std::stoi((*match)[1])].push_back(
        {(*match)[2], (*match)[3], duration});
  }
  return rows;
}

// How long each of its machines works, sorted; six times six operations.
void expect_loads_of_ft06(const std::string& svg) {
  std::vector<int> loads;
  for (const auto& [place, bars] : bars_of(svg)) {
    EXPECT_EQ(bars.size(), 6U) << svg;
    loads.push_back(0);
    for (const Bar& bar : bars) loads.back() += bar.duration;
  }
  std::sort(loads.begin(), loads.end());
  EXPECT_EQ(loads, (std::vector<int>{22, 26, 26, 40, 40, 43})) << svg;
}

// All of a chart, of a schedule that leaves no choice. The picture was looked
// at; one that has changed should be, too.
TEST(CommandTest, GanttDrawsAScheduleAsEver) {
  const test::TemporaryFolder folder;
  constexpr int kStarts[6][6] = {
      {22, 27, 30, 36, 43, 49}, {0, 8, 13, 28, 40, 50},
      {0, 5, 9, 18, 27, 30},    {8, 13, 23, 28, 37, 46},
      {13, 22, 25, 38, 50, 54}, {13, 16, 19, 30, 45, 49}};
  std::string script = question("ft06", {"55"});
  script.resize(script.rfind("(check-sat)"));
  for (int j = 0; j < 6; ++j) {
    for (int i = 0; i < 6; ++i) {
      script += "(assert (= s_" + std::to_string(j) + '_' + std::to_string(i) +
                ' ' + std::to_string(kStarts[j][i]) + "))\n";
    }
  }
  const Ended result =
      answer({"--gantt", folder.file("ft06.svg")}, script + "(check-sat)");
  EXPECT_EQ(result.output, "sat\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
  const std::string svg = test::text_of_file(folder.file("ft06.svg"));
  EXPECT_EQ(svg, test::text_of_file(VORN_EXPECTED "/ft06.svg"))
      << "in " << VORN_EXPECTED;
  expect_loads_of_ft06(svg);
}

// Each bar starts where its task does in the model that is printed.
void expect_starts(const std::string& svg, const std::string& model) {
  for (const auto& [place, bars] : bars_of(svg)) {
    for (const Bar& bar : bars) {
      EXPECT_NE(
          model.find("(define-fun " + bar.name + " () Int " + bar.start + ")"),
          std::string::npos)
          << bar.name << " at " << bar.start << '\n'
          << model;
    }
  }
}

// Whichever of the best schedules comes out, its chart has the starts that the
// model has, and on each of the six machines the durations of the table.
TEST(CommandTest, GanttDrawsTheBestModel) {
  const test::TemporaryFolder folder;
  const std::string file = folder.file("best.svg");
  const Ended result =
      answer({"--gantt", file}, question("ft06") + "(get-model)");
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output.rfind("sat\n(objectives (end 55))\n", 0), 0U);
  const std::string svg = test::text_of_file(file);
  expect_loads_of_ft06(svg);
  expect_starts(svg, result.output);
}

// Whoever runs out of time has a schedule nevertheless, and wants to see it.
TEST(CommandTest, GanttDrawsTheBestModelSoFar) {
  const test::TemporaryFolder folder;
  const std::string file = folder.file("best.svg");
  const Ended result = answer({"--gantt", file},
                              "(set-option :reproducible-resource-limit 300)" +
                                  question("ft10") + "(get-model)");
  EXPECT_EQ(result.output.rfind("unknown\n(objectives (end (interval ", 0), 0U)
      << result.output;
  const std::string svg = test::text_of_file(file);
  EXPECT_EQ(bars_of(svg).size(), 10U);
  expect_starts(svg, result.output);
}

// Half a chart is none; and who asked for one is told why there is none.
TEST(CommandTest, GanttIsWrittenAsAWholeOrNotAtAll) {
  const test::TemporaryFolder folder;
  const std::string script =
      "(set-logic QF_IDL)(declare-const a Int)(declare-const b Int)";
  const std::string machine = "(assert (or (< a b) (> a (+ b 2))))(check-sat)";
  const std::string file = folder.file("chart");
  for (const std::string& without :
       {script + "(check-sat)", script + "(assert (< a a))(check-sat)"}) {
    const Ended ended = answer({"--gantt", file}, without);
    EXPECT_EQ(ended.errors,
              "vorn: nothing is written to " + file +
                  ": there is no model with tasks that cannot overlap\n");
    EXPECT_EQ(ended.status, 0);
    EXPECT_FALSE(std::filesystem::exists(file));
  }
  // The last sat counts.
  const Ended drawn =
      answer({"--gantt", file}, script + machine + "(assert false)(check-sat)");
  EXPECT_EQ(drawn.output, "sat\nunsat\n");
  EXPECT_EQ(test::text_of_file(file).rfind("<svg ", 0), 0U);
  EXPECT_FALSE(std::filesystem::exists(file + ".partial"));
  for (const char* unwritable : {"/nonexistent/chart", "/dev/full"}) {
    const Ended ended = answer({"--gantt", unwritable}, script + machine);
    EXPECT_EQ(ended.output, "sat\n");
    EXPECT_EQ(
        ended.errors.rfind("vorn: cannot write " + std::string(unwritable), 0),
        0U)
        << ended.errors;
    EXPECT_EQ(ended.status, 1);
  }
}

}  // namespace
}  // namespace vorn::command
