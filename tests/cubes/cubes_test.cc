// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "tests/build_kind.h"
#include "tests/cubes/cube_runs.h"

// Random questions in parts: what the answers to the parts come to is what the
// whole says, and the checker, which shares nothing with what joined them,
// accepts the evidence.

namespace vorn::solver {
namespace {

// Clauses of bounds and Boolean symbols, about half of them without a model,
// with names, shared terms and strange symbols here and there.
class QuestionGenerator {
 public:
  explicit QuestionGenerator(std::uint32_t seed)
      : random_(seed), is_real_(seed % 2 == 0) {}

  std::string make() {
    std::string text = "; a question\n(set-option :produce-proofs true)\n";
    if (pick(3) == 0) text += "(set-option :produce-unsat-cores true)\n";
    text += "(set-info :status unknown)\n(set-logic ";
    text += is_real_ ? "QF_RDL)\n" : "QF_IDL)\n";
    for (int k = 0; k < kNumbers; ++k) {
      text += "(declare-const " + number(k) + (is_real_ ? " Real)" : " Int)");
    }
    for (int k = 0; k < kTruths; ++k) {
      text += "(declare-const " + truth(k) + " Bool)\n";
    }
    text += "(define-fun near ((d " + std::string(is_real_ ? "Real" : "Int") +
            ")) Bool (or (<= " + number(0) + " d) (<= " + number(1) +
            " d)))\n(assert (near " + constant(8) + "))\n";
    const int num_clauses = 24 + pick(12);
    for (int k = 0; k < num_clauses; ++k) text += clause(k);
    return text + "; ( what now?\n  (check-sat)\n(get-info :version)(exit)";
  }

 private:
  static constexpr int kNumbers = 9;
  static constexpr int kTruths = 3;

  int pick(int bound) {
    return static_cast<int>(random_() % static_cast<std::uint32_t>(bound));
  }
  static std::string number(int k) {
    return k == 2 ? "|a number|" : "x" + std::to_string(k);
  }
  static std::string truth(int k) { return "p" + std::to_string(k); }
  std::string constant(int value) const {
    const std::string digits =
        std::to_string(value < 0 ? -value : value) + (is_real_ ? ".5" : "");
    return value < 0 ? "(- " + digits + ')' : digits;
  }
  std::string literal() {
    if (pick(4) == 0) {
      const std::string symbol = truth(pick(kTruths));
      return pick(2) == 0 ? symbol : "(not " + symbol + ')';
    }
    const int a = pick(kNumbers);
    const int b = (a + 1 + pick(kNumbers - 1)) % kNumbers;
    const char* comparisons[] = {"<=", "<", ">=", ">"};
    return std::string("(") + comparisons[pick(4)] + " (- " + number(a) + ' ' +
           number(b) + ") " + constant(pick(9) - 5) + ')';
  }
  std::string clause(int k) {
    std::string body;
    switch (pick(6)) {
      case 0:
        body = "(=> " + literal() + ' ' + literal() + ')';
        break;
      case 1:
        body = "(ite " + literal() + ' ' + literal() + ' ' + literal() + ')';
        break;
      case 2:
        body = "(let ((l " + literal() + ")) (xor l " + literal() + "))";
        break;
      default:
        body = "(or " + literal() + ' ' + literal() + ')';
    }
    if (pick(5) == 0)
      body = "(! " + body + " :named a" + std::to_string(k) + ')';
    return "(assert " + body + ")\n";
  }

  std::mt19937 random_;
  bool is_real_;
};

TEST(CubesTest, RandomQuestionsJoinToWhatTheWholeSays) {
  const std::uint32_t count = test::kSanitized ? 20 : 120;
  std::size_t num_unsat = 0;
  std::size_t num_sat = 0;
  std::size_t num_cubes = 0;
  for (std::uint32_t seed = 1; seed <= count; ++seed) {
    SCOPED_TRACE(seed);
    const std::string script = QuestionGenerator(seed).make();
    const std::string whole = run_script(script).output;
    test::TemporaryFolder folder;
    const SplitOutcome split =
        split_question(script, 1 + seed % 9, folder.path(), {}, quick_limits());
    ASSERT_EQ(split.error, "");
    ASSERT_LE(split.num_cubes, 1 + seed % 9);
    EXPECT_EQ(split.num_cubes, cubes_in(folder.path()).size());
    num_cubes += split.num_cubes;
    answer_all(folder);
    const std::string proof = folder.file("proof");
    const JoinOutcome joined =
        join_answers(folder.path(), proof, {}, quick_limits());
    ASSERT_EQ(joined.error, "");
    ASSERT_EQ(joined.proof_error, "");
    if (whole.rfind("unsat", 0) == 0) {
      ++num_unsat;
      ASSERT_EQ(joined.verdict, Answer::kUnsat) << script;
      EXPECT_EQ(joined.reply, "unsat\n");
      ASSERT_EQ(problem_of(script, test::text_of_file(proof)), "") << script;
    } else {
      ++num_sat;
      ASSERT_EQ(joined.verdict, Answer::kSat) << script;
      ASSERT_EQ(problem_of_model(script, joined.reply), "") << script;
      EXPECT_FALSE(std::filesystem::exists(proof));
    }
  }
  EXPECT_GT(num_unsat, count / 4);
  EXPECT_GT(num_sat, count / 8);
  EXPECT_GT(num_cubes, count + count / 3);
}

}  // namespace
}  // namespace vorn::solver
