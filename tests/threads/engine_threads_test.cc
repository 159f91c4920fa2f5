// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term_store.h"
#include "tests/build_kind.h"
#include "tests/engine/random_problems.h"
#include "tests/threads/in_threads.h"

// Engines in threads of their own, with stores of their own.

namespace vorn::solver {
namespace {

constexpr int kThreads = 8;
constexpr int kProblems = test::kSanitized ? 5 : 20;

// What an engine answers to a series of random questions, with all values. An
// engine is deterministic, so the same number always gives the same text.
std::string transcript(int number) {
  std::string text;
  for (int i = 0; i < kProblems; ++i) {
    TermStore store;
    EngineOptions options;
    options.lemmas.dl_tlemma_kinds = number % 4;
    options.lemmas.dl_tlemma_min_overlap = 0.3F;
    Engine engine(store, options);
    testing::RandomProblems problems(
        store, static_cast<unsigned>(1000 * number + i), 5, number % 2 == 0);
    for (int level = 0; level < 5; ++level) {
      engine.push();
      for (int k = 0; k < 7; ++k) engine.assert_term(problems.make_clause());
      const Answer answer = engine.check({problems.make_literal()});
      text += answer == Answer::kSat     ? "sat"
              : answer == Answer::kUnsat ? "unsat"
                                         : "unknown";
      if (answer == Answer::kSat) {
        for (const Term* symbol : problems.symbols()) {
          text += ' ' + symbol->name() + '=';
          text += symbol->is_bool() ? std::to_string(engine.bool_value(symbol))
                                    : engine.number_value(symbol).to_str();
        }
      }
      text += '\n';
      if (answer == Answer::kUnsat) engine.pop();
    }
  }
  return text;
}

// A table or a number that engines share by mistake.
TEST(EngineThreadsTest, EightEnginesInEightThreadsAnswerAsIfAlone) {
  std::vector<std::string> alone;
  std::string all;
  for (int i = 0; i < kThreads; ++i) all += alone.emplace_back(transcript(i));
  std::vector<std::string> together(kThreads);

  test::in_threads(kThreads, [&together](int thread) {
    together[static_cast<std::size_t>(thread)] = transcript(thread);
  });

  for (std::size_t i = 0; i < kThreads; ++i) {
    EXPECT_EQ(together[i], alone[i]) << "engine " << i;
  }
  // Were one answer rare, little would be tested.
  EXPECT_NE(all.find("\nsat"), std::string::npos);
  EXPECT_NE(all.find("\nunsat"), std::string::npos);
  EXPECT_EQ(all.find("unknown"), std::string::npos);
}

}  // namespace
}  // namespace vorn::solver
