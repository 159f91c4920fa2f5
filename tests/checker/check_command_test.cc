// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#ifdef VORN_COMMAND
#include "tests/bruteforce/script_generator.h"
#include "tests/build_kind.h"
#endif

// Runs the vorn-check command as a user would, and on what vorn prints.

namespace vorn::checker {
namespace {

struct Output {
  std::string output;  // both streams
  int status = -1;
};

Output run(const std::string& command) {
  Output result;
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  std::array<char, 4096> buffer;
  for (std::size_t count = 0;
       (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    result.output.append(buffer.data(), count);
  }
  const int status = pclose(pipe);
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  return result;
}

class CheckCommandTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string path = testing::TempDir() + "vorn-check-XXXXXX";
    ASSERT_NE(mkdtemp(path.data()), nullptr);
    folder_ = path + '/';
  }
  void TearDown() override {
    for (const char* name : {"a.smt2", "a.proof", "a.answer"}) {
      std::remove((folder_ + name).c_str());
    }
    rmdir(folder_.c_str());
  }

  void write(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ + name) << text;
  }
  // vorn-check in the folder of the test.
  Output check(const std::string& arguments) const {
    return run("cd " + folder_ + " && " VORN_CHECK " " + arguments);
  }

  std::string folder_;
};

constexpr const char* kScript =
    "(set-logic QF_IDL)(declare-const a Bool)(assert (! a :named n))"
    "(check-sat)(assert (! (not a) :named m))(check-sat)";
constexpr const char* kProof =
    "(assume h a)\n(assume g (not a))\n(step t (cl) :rule resolution "
    ":premises (h g) :args (a true))\n";

TEST_F(CheckCommandTest, ProofIsCheckedAgainstTheChosenCheck) {
  write("a.smt2", kScript);
  write("a.proof", kProof);
  EXPECT_EQ(check("a.smt2 a.proof").output, "valid\n");
  EXPECT_EQ(check("a.smt2 a.proof").status, 0);
  EXPECT_EQ(check("--check 2 a.smt2 a.proof").status, 0);
  const Output first = check("a.smt2 a.proof --check 1");
  EXPECT_EQ(first.status, 1);
  EXPECT_EQ(first.output,
            "invalid\na.proof: line 2 column 11: assume g: this is not "
            "asserted\n");
  const Output third = check("--check 3 a.smt2 a.proof");
  EXPECT_EQ(third.status, 1);
  EXPECT_EQ(third.output.find("valid\n"), 2U) << third.output;
}

TEST_F(CheckCommandTest, CoresAndModelsAreChecked) {
  write("a.smt2", kScript);
  write("a.proof", kProof);
  write("a.answer", "sat\n(\n  (define-fun a () Bool true)\n)\nunsat\n(n m)\n");
  EXPECT_EQ(check("--core a.smt2 a.proof a.answer").output, "valid\n");
  EXPECT_EQ(check("--model --check 1 a.smt2 a.answer").output, "valid\n");
  EXPECT_EQ(check("--model a.smt2 a.answer").status, 1);
  EXPECT_EQ(check("--core --check 1 a.smt2 a.proof a.answer").status, 1);
}

// A proof that takes more than what was said to be assumed.
TEST_F(CheckCommandTest, FormulasAreAssumedThatAreGiven) {
  write("a.smt2", kScript);
  write("a.proof", kProof);
  write("a.answer", "sat\n(\n  (define-fun a () Bool true)\n)\n");
  const std::string first = "--check 1 a.smt2 a.proof ";
  EXPECT_EQ(check(first + "--assume '(not a)'").output, "valid\n");
  EXPECT_EQ(check(first + "--assume a --assume '(not a)'").output, "valid\n");
  EXPECT_EQ(check(first + "--assume '(not (not a))'").status, 1);
  EXPECT_EQ(check(first + "--assume '(not'").output,
            "invalid\n--assume: line 2 column 1: expected a term\n");
  EXPECT_EQ(check(first + "--assume b").status, 1);
  EXPECT_EQ(check(first + "--assume").status, 2);
  const std::string model = "--model --check 1 a.smt2 a.answer --assume ";
  EXPECT_EQ(check(model + "'(or a (not a))'").output, "valid\n");
  EXPECT_EQ(check(model + "'(not a)'").status, 1);
}

TEST_F(CheckCommandTest, WrongUseIsNeitherValidNorInvalid) {
  write("a.smt2", kScript);
  write("a.proof", kProof);
  for (const char* arguments :
       {"", "a.smt2", "a.smt2 a.proof a.proof", "--core a.smt2 a.proof",
        "--model a.smt2", "--check a.smt2 a.proof", "--check 0 a.smt2 a.proof",
        "--check -1 a.smt2 a.proof", "--check 1x a.smt2 a.proof",
        "--check 99999999999999999999 a.smt2 a.proof", "--chek a.smt2 a.proof",
        "--core --model a.smt2 a.proof", "a.smt2 no-such-file",
        "no-such-file a.proof", ". a.proof", "a.smt2 .",
        "--model a.smt2 no-such-file", "--model a.smt2 ."}) {
    const Output result = check(arguments);
    EXPECT_EQ(result.status, 2) << arguments << '\n' << result.output;
    EXPECT_EQ(result.output.find("valid\n"), std::string::npos) << arguments;
  }
}

TEST_F(CheckCommandTest, HelpAndVersionAreSuccesses) {
  EXPECT_EQ(check("--help").status, 0);
  EXPECT_NE(check("--help").output.find("--model"), std::string::npos);
  EXPECT_EQ(check("--version").status, 0);
}

// An answer that was not written is not given.
TEST_F(CheckCommandTest, FullDiskIsNoSuccess) {
  write("a.smt2", kScript);
  write("a.proof", kProof);
  EXPECT_EQ(check("a.smt2 a.proof >/dev/full").status, 2);
}

// What checks the solver would share its mistakes if it shared its code.
TEST_F(CheckCommandTest, CheckerIncludesNothingOfTheSolver) {
  const std::string source = VORN_SOURCE;
  EXPECT_EQ(
      run("cd " + source + " && grep -lE '#include .(vorn|solver)/' checker/*")
          .output,
      "");
  EXPECT_EQ(
      run("cd " + source + " && grep -rlE '#include .checker/' vorn solver")
          .output,
      "");
}

#ifdef VORN_COMMAND

// The answers of the command to a script; how many models hold is checked.
TEST_F(CheckCommandTest, ModelsOfRandomScriptsAreValid) {
  int num_models = 0;
  for (const auto logic :
       {bruteforce::Logic::kIntegers, bruteforce::Logic::kReals,
        bruteforce::Logic::kAll}) {
    constexpr std::uint64_t kSeeds = test::kSanitized ? 20 : 40;
    for (std::uint64_t seed = 1; seed <= kSeeds; ++seed) {
      std::string script;
      for (const auto& step :
           bruteforce::ScriptGenerator(logic, seed, true).make().steps) {
        script += step.text + '\n';
        if (step.kind == bruteforce::Step::Kind::kCheck) {
          script += "(get-model)\n";
        }
      }
      write("a.smt2", script);
      const std::string answer =
          run(VORN_COMMAND " " + folder_ + "a.smt2").output;
      write("a.answer", answer);
      std::size_t number = 0;
      for (std::size_t at = 0; at < answer.size();) {
        const std::size_t end = answer.find('\n', at);
        const std::string line = answer.substr(at, end - at);
        at = end == std::string::npos ? answer.size() : end + 1;
        if (line != "sat" && line != "unsat" && line != "unknown") continue;
        ++number;
        const Output result = check(
            "--model --check " + std::to_string(number) + " a.smt2 a.answer");
        ASSERT_EQ(result.status, line == "sat" ? 0 : 1)
            << "seed " << seed << " check " << number << '\n'
            << result.output << script << answer;
        if (line == "sat") ++num_models;
      }
    }
  }
  EXPECT_GT(num_models, 50);
}

TEST_F(CheckCommandTest, ModelOfAJobShopIsValid) {
  const std::string question =
      "cd " VORN_SOURCE "/examples/jobshop && ./question.sh ft06.txt 55";
  write("a.smt2", run(question).output + "(get-model)\n");
  write("a.answer", run(VORN_COMMAND " " + folder_ + "a.smt2").output);
  const Output result = check("--model a.smt2 a.answer");
  EXPECT_EQ(result.output, "valid\n");
}

// What one machine cannot do is refuted at once, and so has to be its proof.
TEST_F(CheckCommandTest, ProofsThatTablesTakeLongerAreValid) {
  for (const char* table : {"la06.txt 924", "la06.txt 925", "la11.txt 1221"}) {
    SCOPED_TRACE(table);
    write("a.smt2",
          run("cd " VORN_SOURCE "/examples/jobshop && ./question.sh " +
              std::string(table))
              .output);
    const Output answer = run(VORN_COMMAND " --proof " + folder_ + "a.proof " +
                              folder_ + "a.smt2");
    EXPECT_EQ(answer.output, "unsat\n");
    EXPECT_EQ(check("a.smt2 a.proof").output, "valid\n");
  }
}

#endif

}  // namespace
}  // namespace vorn::checker
