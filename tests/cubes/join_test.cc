// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "solver/cubes/cube_answer.h"
#include "solver/cubes/cube_tree.h"
#include "tests/cubes/cube_runs.h"

// Answers as machines leave them: late, cut off, twice, or wrong.

namespace vorn::solver {
namespace {

// Three tasks on a machine in too little time, or in just enough.
std::string shop(int end) {
  std::string text = "(set-logic QF_IDL)\n";
  const std::string tasks[] = {"a", "b", "c", "d", "e"};
  for (const std::string& task : tasks) {
    text += "(declare-const " + task + " Int)(assert (and (>= " + task +
            " 0) (<= " + task + ' ' + std::to_string(end - 2) + ")))\n";
  }
  for (const std::string& a : tasks) {
    for (const std::string& b : tasks) {
      if (a >= b) continue;
      text += "(assert (or (>= (- " + a + ' ' + b + ") 2) (>= (- " + b + ' ' +
              a + ") 2)))\n";
    }
  }
  return text + "(check-sat)\n";
}

class JoinTest : public ::testing::Test {
 protected:
  // So that it takes a search.
  JoinTest() { options_.machines = Machines::kOff; }

  void split(const std::string& script, std::size_t num_cubes = 4) {
    const SplitOutcome outcome = split_question(
        script, num_cubes, folder_.path(), options_, quick_limits());
    ASSERT_EQ(outcome.error, "");
    ASSERT_LE(outcome.num_cubes, num_cubes);
  }
  JoinOutcome join(const std::string& proof = "") {
    return join_answers(folder_.path(), proof, options_, quick_limits());
  }
  std::string text(const std::string& file) const {
    return test::text_of_file(folder_.file(file));
  }
  // The path of a file, as messages have it.
  std::string path(const std::string& file) const {
    return folder_.path() + '/' + file;
  }

  test::TemporaryFolder folder_;
  EngineOptions options_;
};

// Nothing may be lost: whatever is not there is named.
TEST_F(JoinTest, MissingAnswersAreNamed) {
  split(shop(9));
  for (const std::string& cube : cubes_in(folder_.path())) {
    std::filesystem::remove(folder_.file(cube + ".answer"));
  }
  answer_cube(folder_, "cube-002");
  folder_.write("cube-003.answer", "");
  const JoinOutcome joined = join();
  EXPECT_EQ(joined.error, "");
  EXPECT_EQ(joined.verdict, Answer::kUnknown);
  EXPECT_EQ(joined.missing,
            (std::vector<std::string>{"cube-001", "cube-003", "cube-004"}));
  EXPECT_EQ(joined.reply,
            "unknown\n; missing, 3 of 4 cubes:\n;   cube-001.smt2\n"
            ";   cube-003.smt2\n;   cube-004.smt2\n; remarks:\n"
            ";   cube-003.answer: it is empty\n");
  answer_cube(folder_, "cube-003");
  answer_all(folder_);
  EXPECT_EQ(join().reply, "unsat\n");
}

// A job that was killed, or a disk that was full, leaves a part of an answer:
// that is no other answer.
TEST_F(JoinTest, PartOfAnAnswerIsTheAnswerOrNone) {
  for (const int end : {9, 10}) {
    const std::string script = shop(end);
    ScriptError error;
    const CubeQuestion question = *read_question(script, error);
    const std::string whole =
        run_script(question.cube_text("cube-001", {})).output;
    const std::string signature = question.signature("cube-001", {});
    const CubeAnswer answer = read_answer(whole, signature);
    ASSERT_EQ(answer.kind,
              end == 9 ? CubeAnswer::Kind::kUnsat : CubeAnswer::Kind::kSat);
    for (std::size_t size = 0; size < whole.size() - 1; ++size) {
      const CubeAnswer part = read_answer(whole.substr(0, size), signature);
      EXPECT_TRUE(part.kind == CubeAnswer::Kind::kCutOff ||
                  (part.kind == answer.kind && part.model == answer.model))
          << whole.substr(0, size);
    }
  }
}

// A machine that lies, in one of two answers to one cube.
TEST_F(JoinTest, ContradictionsNameTheFiles) {
  split(shop(10));
  answer_all(folder_);
  ASSERT_EQ(join().verdict, Answer::kSat);
  std::string sat;
  for (const std::string& cube : cubes_in(folder_.path())) {
    if (text(cube + ".answer").find("\nsat") != std::string::npos) sat = cube;
  }
  const std::string answer = text(sat + ".answer");
  const std::string start = answer.substr(0, answer.find('\n') + 1);
  // The same again is no contradiction, and unknown is none.
  folder_.write(sat + ".again.answer", answer);
  folder_.write(sat + ".late.answer", start + "unknown\n");
  EXPECT_EQ(join().verdict, Answer::kSat);
  folder_.write(sat + ".other.answer", start + "unsat\n");
  EXPECT_EQ(join().error, path(sat + ".answer") + " says sat and " +
                              path(sat + ".other.answer") +
                              " says unsat; the model of the first one "
                              "satisfies all that is asserted");
  std::filesystem::remove(folder_.file(sat + ".other.answer"));
  // A model that is none, in the question's own words.
  folder_.write(
      sat + ".answer",
      start + "sat\n((define-fun a () Int 1) (define-fun b () Int 2))");
  EXPECT_EQ(join().error, path(sat + ".answer") +
                              ": its model does not satisfy what is asserted");
  // Or in others.
  folder_.write(sat + ".answer", start + "sat\n((define-fun nobody () Int 1))");
  EXPECT_NE(join().error, "");
  // The answer to another cube.
  folder_.write(sat + ".answer", "\"cube-999" + answer.substr(9));
  EXPECT_EQ(join().error,
            path(sat + ".answer") + ": it is not an answer to this cube");
}

// What nobody could decide is asked in smaller parts, until it is decided.
TEST_F(JoinTest, UnknownCubesAreSplitAgain) {
  const std::string script = shop(9);
  split(script, 2);
  for (const std::string& cube : cubes_in(folder_.path())) {
    std::filesystem::remove(folder_.file(cube + ".answer"));
    const std::string start = run_script(text(cube + ".smt2")).output;
    folder_.write(cube + ".answer",
                  start.substr(0, start.find('\n') + 1) + "unknown\n");
  }
  const JoinOutcome first = join();
  EXPECT_EQ(first.error, "");
  EXPECT_EQ(first.verdict, Answer::kUnknown);
  EXPECT_EQ(first.missing.size(), 4);
  EXPECT_NE(first.reply.find("cube-001 was unknown, and is split again"),
            std::string::npos);
  EXPECT_EQ(cubes_in(folder_.path()),
            (std::vector<std::string>{"cube-003", "cube-004", "cube-005",
                                      "cube-006"}));
  // Asked again, it goes on from there.
  EXPECT_EQ(join().missing.size(), 4);
  constexpr int kMostRounds = 30;
  int round = 0;
  while (join().verdict == Answer::kUnknown && round++ < kMostRounds) {
    answer_all(folder_, 2);
  }
  const std::string proof = folder_.file("proof");
  const JoinOutcome last = join(proof);
  EXPECT_EQ(last.verdict, Answer::kUnsat);
  EXPECT_EQ(last.proof_error, "");
  EXPECT_EQ(problem_of(script, test::text_of_file(proof)), "");
}

// An interrupted split is no split, and no folder is written to twice.
TEST_F(JoinTest, FoldersAreWholeAndUsedOnce) {
  const std::string script = shop(9);
  split(script);
  const SplitOutcome again =
      split_question(script, 4, folder_.path(), options_, quick_limits());
  EXPECT_EQ(again.error.rfind(folder_.path() + " has something in it", 0), 0);
  std::filesystem::remove(folder_.file("manifest"));
  EXPECT_NE(join().error.find("manifest"), std::string::npos);
}

// Files of another question are not mixed with these.
TEST_F(JoinTest, OtherQuestionIsAnError) {
  split(shop(9));
  folder_.write("question.smt2", shop(10));
  EXPECT_EQ(join().error,
            path("question.smt2") + " is not the question that was split");
}

// A proof that is missing, or is no proof, is named; the verdict stands.
TEST_F(JoinTest, ProofsThatCannotBeUsedAreNamed) {
  split(shop(9));
  answer_all(folder_);
  const std::string good = text("cube-002.proof");
  const std::string out = folder_.file("joined");
  ASSERT_EQ(join(out).proof_error, "");
  std::filesystem::remove(out);
  const std::string file = path("cube-002.proof") + ": ";
  std::filesystem::remove(folder_.file("cube-002.proof"));
  EXPECT_EQ(join(out).proof_error, file + "cannot be read");
  folder_.write("cube-002.proof", good.substr(0, good.size() / 2));
  EXPECT_EQ(join(out).verdict, Answer::kUnsat);
  EXPECT_NE(join(out).proof_error.find(file), std::string::npos);
  const std::size_t last = good.rfind("(step");
  folder_.write("cube-002.proof", good.substr(0, last));
  EXPECT_EQ(join(out).proof_error,
            file + "its last step is not the empty clause");
  folder_.write("cube-002.proof", "nonsense");
  EXPECT_EQ(join(out).proof_error, file + "it is no proof");
  EXPECT_FALSE(std::filesystem::exists(out));
}

// The manifest is read as it is written, and nothing else is.
TEST(CubeTreeTest, TextReadsBack) {
  CubeTree tree("0123456789abcdef");
  tree.split(0, "(<= x 3)");
  tree.split(tree.node(0).sides[1], "p");
  tree.name_in_order();
  const std::string text =
      "vorn cubes 1\nquestion 0123456789abcdef\nnamed 3\nsplit (<= x 3)\n"
      "  cube-001\n  split p\n    cube-002\n    cube-003\n";
  EXPECT_EQ(tree.text(), text);
  std::string error;
  const std::optional<CubeTree> read = CubeTree::read(text, error);
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(read->text(), text);
  EXPECT_EQ(read->literals(read->leaves()[2]),
            (std::vector<std::string>{"(not (<= x 3))", "(not p)"}));
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_FALSE(CubeTree::read(text.substr(0, size), error).has_value())
        << size;
  }
  EXPECT_FALSE(CubeTree::read(text + "cube-004\n", error).has_value());
  EXPECT_EQ(error, "line 9: expected nothing more");
}

}  // namespace
}  // namespace vorn::solver
