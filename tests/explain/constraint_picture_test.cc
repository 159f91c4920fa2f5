// SPDX-License-Identifier: MIT
#include "solver/explain/constraint_picture.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {
namespace {

std::string dot_of(const ConstraintPicture& picture) {
  std::ostringstream out;
  write_dot(picture, out);
  return out.str();
}

// The lines with nodes and edges.
std::string body_of(const ConstraintPicture& picture) {
  std::istringstream lines(dot_of(picture));
  std::string body;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("  n", 0) == 0 && line.rfind("  node ", 0) != 0) {
      body += line.substr(2) + '\n';
    }
  }
  return body;
}

class ConstraintPictureTest : public ::testing::Test {
 protected:
  const Term* at_most(const Term* a, const Term* b, int limit) {
    return store_.make_leq(store_.make_plus(a, store_.make_negate(b)),
                           store_.make_number(QNumber(limit), Sort::kReal));
  }
  ConstraintPicture draw(Answer expected,
                         const std::vector<const Term*>& formulas,
                         const PictureTexts& texts = {}) {
    Engine engine(store_);
    for (const Term* formula : formulas) engine.assert_term(formula);
    EXPECT_EQ(engine.check(), expected);
    return draw_constraints(store_, engine, expected, formulas, texts);
  }

  TermStore store_;
  const Term* x_ = store_.make_symbol("x", Sort::kReal);
  const Term* y_ = store_.make_symbol("y", Sort::kReal);
  const Term* z_ = store_.make_symbol("z", Sort::kReal);
  const Term* p_ = store_.make_symbol("p", Sort::kBool);
};

// One line each, and no line for what is not there.
TEST_F(ConstraintPictureTest, WritingGivesOneLinePerNodeAndEdge) {
  ConstraintPicture picture;
  picture.nodes = {"0", "x"};
  picture.active_means = "required";
  picture.edges.push_back({0, 1, {QNumber(3), QNumber(-1)}, "a", true, false});
  picture.edges.push_back({1, 0, {QNumber(-7), QNumber(0)}, "b", false, true});
  EXPECT_EQ(
      dot_of(picture),
      "digraph vorn {\n"
      "  rankdir=LR;\n"
      "  node [shape=box, style=rounded, fontname=\"sans-serif\"];\n"
      "  edge [fontname=\"sans-serif\", fontsize=11];\n"
      "  fontname=\"sans-serif\";\n"
      "  fontsize=11;\n"
      "  labelloc=b;\n"
      "  label=\"x -> y with <= c says y - x <= c. Solid: required. Dashed: "
      "not. Red: the last negative cycle.\";\n"
      "  n0 [label=\"0\"];\n"
      "  n1 [label=\"x\"];\n"
      "  n0 -> n1 [label=\"< 3\\na\", style=solid];\n"
      "  n1 -> n0 [label=\"<= -7\\nb\", style=dashed, color=red, "
      "fontcolor=red, penwidth=2];\n"
      "}\n");
}

// A symbol may hold whatever stands between bars; unquoted it would end the
// label, or show as another text.
TEST_F(ConstraintPictureTest, WritingQuotesNames) {
  ConstraintPicture picture;
  picture.nodes = {"|a \"b\"|", "|x\ny|", "a&lt;\\n", "\t\x7f]; n9"};
  EXPECT_EQ(body_of(picture),
            "n0 [label=\"|a \\\"b\\\"|\"];\n"
            "n1 [label=\"|x\\ny|\"];\n"
            "n2 [label=\"a&amp;lt;\\\\n\"];\n"
            "n3 [label=\"  ]; n9\"];\n");
}

// After unsat: what is required is solid, and the contradiction is red.
TEST_F(ConstraintPictureTest, DrawingOfConflictMarksItsCycle) {
  PictureTexts texts;
  const Term* a = at_most(x_, y_, 1);
  const Term* b = store_.make_not(at_most(x_, y_, 1));
  const Term* c = store_.make_or(p_, at_most(z_, y_, 4));
  texts.names = {{b, "odd name"}};
  texts.written = {{a, "(>= 1 (- x y))"}};

  EXPECT_EQ(body_of(draw(Answer::kUnsat, {a, c, b}, texts)),
            "n0 [label=\"y\"];\n"
            "n1 [label=\"x\"];\n"
            "n2 [label=\"z\"];\n"
            "n0 -> n1 [label=\"<= 1\\n(>= 1 (- x y))\", style=solid, "
            "color=red, fontcolor=red, penwidth=2];\n"
            "n1 -> n0 [label=\"< -1\\n|odd name|\", style=solid, color=red, "
            "fontcolor=red, penwidth=2];\n"
            "n0 -> n2 [label=\"<= 4\\n(<= (+ z (* (- 1.0) y)) 4.0)\", "
            "style=dashed];\n");
}

// After sat: solid is what holds in the model, whichever case that is.
TEST_F(ConstraintPictureTest, DrawingOfModelShowsWhatHolds) {
  const Term* formula =
      store_.make_ite(p_, at_most(x_, y_, -1), at_most(y_, x_, -1));
  const ConstraintPicture picture =
      draw(Answer::kSat, {formula, store_.make_not(p_)});

  ASSERT_EQ(picture.edges.size(), 2U);
  EXPECT_FALSE(picture.edges[0].active);
  EXPECT_TRUE(picture.edges[1].active);
  EXPECT_EQ(picture.active_means, "holds in the model found");
}

// With cases, the red cycle is one that the search has met.
TEST_F(ConstraintPictureTest, DrawingOfCasesMarksACycleOfTheSearch) {
  const Term* low = at_most(x_, y_, -1);
  const Term* formula = store_.make_or(low, at_most(x_, y_, -5));
  const ConstraintPicture picture =
      draw(Answer::kUnsat, {at_most(y_, z_, 0), at_most(z_, x_, 0), formula});

  QNumber sum(0);
  int num_red = 0;
  for (const ConstraintPicture::Edge& edge : picture.edges) {
    if (!edge.on_cycle) continue;
    ++num_red;
    sum += edge.weight.rational();
  }
  EXPECT_EQ(num_red, 3);
  EXPECT_LT(sum, QNumber(0));
}

// A long comparison would drown the drawing.
TEST_F(ConstraintPictureTest, DrawingCutsLongNamesShort) {
  const std::string name = std::string(58, 'a') + "\xc3\xa9\xc3\xa9";
  const Term* long_name = store_.make_symbol(name, Sort::kReal);
  const ConstraintPicture picture =
      draw(Answer::kSat, {at_most(long_name, y_, 1)});
  ASSERT_EQ(picture.nodes.size(), 2U);
  // Sixty characters, of which the last is two bytes long.
  EXPECT_EQ(picture.nodes[1], '|' + std::string(58, 'a') + "\xc3\xa9...");
}

}  // namespace
}  // namespace vorn::solver
