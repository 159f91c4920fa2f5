// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <sstream>
#include <string>

#include "solver/explain/constraint_picture.h"
#include "tests/smtlib/text_session.h"

// Pictures of whole scripts.

namespace vorn::solver {
namespace {

// What `vorn --dot` writes for the script. `answers`: what it replies.
std::string dot_of(const std::string& script, std::string* answers = nullptr) {
  TextHost host;
  StringSource source(script);
  ScriptOptions options;
  options.keep_picture = true;
  Interpreter interpreter(source, host, options);
  while (interpreter.run_command()) {
  }
  if (answers != nullptr) *answers = host.output();
  const ConstraintPicture* picture = interpreter.picture();
  EXPECT_NE(picture, nullptr);
  std::ostringstream out;
  write_dot(*picture, out);
  return out.str();
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// A name, of the comparison or of the assertion around it, is what the user
// looks for; without one, the text as written.
TEST(PictureTest, EdgesHaveNamesOrTexts) {
  const std::string dot = dot_of(
      "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
      "(define-fun after ((a Int) (b Int)) Bool (> a b))"
      "(assert (! (and (>= (- x y) 3) (! (<= x 9) :named top)) :named both))"
      "(assert (or (after y x) (not (>  y\n 4))))"
      "(check-sat)");
  EXPECT_TRUE(contains(dot, "[label=\"<= -3\\nboth\", style=solid]")) << dot;
  EXPECT_TRUE(contains(dot, "[label=\"<= 9\\ntop\", style=solid]")) << dot;
  EXPECT_TRUE(contains(dot, "[label=\"<= -1\\n(after y x)\", style=dashed]"))
      << dot;
  EXPECT_TRUE(contains(dot, "[label=\"<= 4\\n(not (> y 4))\", style=solid]"))
      << dot;
}

// The last check counts: a scope closed behind it takes nothing away.
TEST(PictureTest, PictureIsThatOfTheLastCheck) {
  std::string answers;
  const std::string dot = dot_of(
      "(set-logic QF_RDL)(declare-const x Real)(assert (< x 3))(check-sat)"
      "(push 1)(assert (> x 2))(check-sat-assuming ((= x 5)))(pop 1)"
      "(assert (> x 1))(exit)",
      &answers);
  EXPECT_EQ(answers, "sat\nunsat\n");
  EXPECT_TRUE(contains(dot, "< 3\\n(< x 3)\", style=solid, color=red")) << dot;
  EXPECT_TRUE(contains(dot, "< -2\\n(> x 2)\", style=solid]")) << dot;
  EXPECT_TRUE(contains(dot, "<= -5\\n(= x 5)\", style=solid, color=red"))
      << dot;
  EXPECT_FALSE(contains(dot, "(> x 1)")) << dot;
}

// A cycle of a check before the last is no news.
TEST(PictureTest, SatAfterUnsatHasNoCycle) {
  std::string answers;
  const std::string dot = dot_of(
      "(set-logic QF_RDL)(declare-const x Real)(declare-const y Real)"
      "(declare-const z Real)(assert (< x y))(assert (< y z))"
      "(check-sat-assuming ((< z x)))(check-sat)",
      &answers);
  EXPECT_EQ(answers, "unsat\nsat\n");
  EXPECT_FALSE(contains(dot, "color=red")) << dot;
}

// Before any check there is still a graph, and of nothing an empty one.
TEST(PictureTest, ScriptWithoutCheckIsDrawnAsItStands) {
  EXPECT_TRUE(contains(dot_of("(set-logic QF_RDL)(declare-const x Real)"
                              "(assert (< x 3))"),
                       "n0 -> n1 [label=\"< 3\\n(< x 3)\", style=solid]"));
  EXPECT_FALSE(contains(dot_of("(echo \"\")"), "n0"));
}

/// The red edges of a drawing, read back: "n1 -> n2 [label=\"< 3\\n...".
struct RedCycle {
  int num_edges = 0;
  bool strict = false;
  mpq_class weight;
  // Edges into each node, less edges out of it.
  std::map<std::string, int> balance;
};

RedCycle read_red(const std::string& dot) {
  RedCycle cycle;
  std::istringstream lines(dot);
  for (std::string line; std::getline(lines, line);) {
    if (!contains(line, "color=red")) continue;
    std::istringstream words(line);
    std::string source;
    std::string arrow;
    std::string target;
    std::string comparison;
    std::string weight;
    words >> source >> arrow >> target >> comparison >> weight;
    EXPECT_EQ(arrow, "->") << line;
    ++cycle.num_edges;
    --cycle.balance[source];
    ++cycle.balance[target];
    cycle.strict = cycle.strict || comparison == "[label=\"<";
    cycle.weight += mpq_class(weight.substr(0, weight.find('\\')), 10);
  }
  return cycle;
}

// Red must be a cycle, and negative, or it shows no contradiction.
TEST(PictureTest, RedEdgesOfRandomConflictsAreANegativeCycle) {
  std::mt19937 random(20250303);
  const auto below = [&random](int n) {
    return static_cast<int>(random() % static_cast<unsigned>(n));
  };
  int num_cycles = 0;
  int num_with_cases = 0;
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE("round " + std::to_string(round) + " of seed 20250303");
    std::string script = "(set-logic QF_RDL)\n";
    for (int k = 0; k < 5; ++k) {
      script += "(declare-const x" + std::to_string(k) + " Real)\n";
    }
    const auto atom = [&below] {
      const int i = below(5);
      const std::string x = "x" + std::to_string(i);
      const std::string y = "x" + std::to_string((i + 1 + below(4)) % 5);
      const std::string limit = "(/ (- " + std::to_string(below(9)) + " 5) " +
                                std::to_string(1 + below(3)) + ")";
      const char* comparison = below(2) == 0 ? "(< " : "(<= ";
      if (below(5) == 0) return comparison + x + ' ' + limit + ')';
      return comparison + ("(- " + x) + ' ' + y + ") " + limit + ')';
    };
    const bool cases = below(2) == 0;
    for (int k = 12; k > 0; --k) {
      const bool is_case = cases && below(3) > 0;
      script += is_case ? "(assert (or " + atom() + ' ' + atom() + "))\n"
                        : "(assert " + atom() + ")\n";
    }
    script += "(check-sat)\n";
    SCOPED_TRACE(script);
    std::string answers;
    const RedCycle cycle = read_red(dot_of(script, &answers));
    // Whether propagation found it or the graph.
    if (answers == "unsat\n" && !cases) {
      EXPECT_GT(cycle.num_edges, 0);
    }
    if (cycle.num_edges == 0) continue;
    ++num_cycles;
    if (cases) ++num_with_cases;
    for (const auto& [node, sum] : cycle.balance) EXPECT_EQ(sum, 0) << node;
    EXPECT_TRUE(cycle.weight < 0 || (cycle.weight == 0 && cycle.strict));
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(num_cycles, 100) << "too few scripts have a cycle";
  EXPECT_GT(num_with_cases, 20) << "too few cycles come from the search";
}

}  // namespace
}  // namespace vorn::solver
