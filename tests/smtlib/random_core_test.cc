// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/smtlib/text_session.h"

namespace vorn::solver {
namespace {

// A small script over a few integers and Booleans, as texts of assertions.
std::vector<std::string> random_formulas(std::mt19937& random) {
  const auto below = [&random](int n) {
    return static_cast<int>(random() % static_cast<unsigned>(n));
  };
  const auto literal = [&below] {
    const std::string p = "p" + std::to_string(below(3));
    if (below(3) == 0) return below(2) == 0 ? p : "(not " + p + ")";
    return "(<= (- x" + std::to_string(below(4)) + " x" +
           std::to_string(below(4)) + ") " + std::to_string(below(5)) + ")";
  };
  const auto negative = [&below] {
    return "(< x" + std::to_string(below(4)) + " x" + std::to_string(below(4)) +
           ")";
  };
  std::vector<std::string> formulas;
  const int count = 6 + below(8);
  for (int i = 0; i < count; ++i) {
    formulas.push_back(below(2) == 0 ? negative()
                                     : "(or " + literal() + " " + negative() +
                                           " " + literal() + ")");
  }
  return formulas;
}

std::string declarations() {
  std::string text = "(set-logic QF_IDL)";
  for (int i = 0; i < 4; ++i) {
    text += "(declare-const x" + std::to_string(i) + " Int)";
  }
  for (int i = 0; i < 3; ++i) {
    text += "(declare-const p" + std::to_string(i) + " Bool)";
  }
  return text;
}

// Asserts some of the formulas in a session of their own.
std::string answer(const std::vector<std::string>& formulas,
                   const std::vector<std::size_t>& chosen) {
  std::string script = declarations();
  for (const std::size_t i : chosen) script += "(assert " + formulas[i] + ")";
  return run_text(script + "(check-sat)");
}

// Every third formula is unnamed, and so is no part of a core.
bool is_named(std::size_t i) {
  return i % 3 != 0;
}

// Cores: ascending, unsatisfiable with the unnamed rest, and when minimised
// satisfiable as soon as any one of them is left out.
TEST(RandomCoreTest, CoresAreUnsatisfiableAndMinimal) {
  std::mt19937 random(20240611);
  int num_unsat = 0;
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE("round " + std::to_string(round) + " of seed 20240611");
    const std::vector<std::string> formulas = random_formulas(random);
    std::string script =
        "(set-option :produce-unsat-cores true)"
        "(set-option :minimize-unsat-cores true)" +
        declarations();
    std::vector<std::size_t> all;
    for (std::size_t i = 0; i < formulas.size(); ++i) {
      all.push_back(i);
      script += is_named(i) ? "(assert (! " + formulas[i] + " :named n" +
                                  std::to_string(i) + "))"
                            : "(assert " + formulas[i] + ")";
    }
    const std::string output = run_text(script + "(check-sat)(get-unsat-core)");
    const std::string expected = answer(formulas, all);
    ASSERT_EQ(output.substr(0, output.find('\n') + 1), expected);
    if (expected != "unsat\n") continue;

    ++num_unsat;
    std::istringstream names(output.substr(7, output.size() - 9));
    std::vector<std::size_t> core;
    for (std::string name; names >> name;) {
      core.push_back(static_cast<std::size_t>(std::stoul(name.substr(1))));
    }
    EXPECT_TRUE(std::is_sorted(core.begin(), core.end())) << output;
    std::vector<std::size_t> kept = core;
    for (std::size_t i = 0; i < formulas.size(); ++i) {
      if (!is_named(i)) kept.push_back(i);
    }
    EXPECT_EQ(answer(formulas, kept), "unsat\n") << script << output;
    for (std::size_t k = 0; k < core.size(); ++k) {
      std::vector<std::size_t> smaller = kept;
      smaller.erase(smaller.begin() + static_cast<std::ptrdiff_t>(k));
      EXPECT_EQ(answer(formulas, smaller), "sat\n")
          << script << output << " without n" << core[k];
    }
  }
  EXPECT_GT(num_unsat, 50) << "too few of the scripts say anything";
}

}  // namespace
}  // namespace vorn::solver
