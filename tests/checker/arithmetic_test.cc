// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/checker/checking.h"

namespace vorn::checker {
namespace {

const std::string kIntegers =
    "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
    "(declare-const z Int)(declare-const c Bool)(check-sat)";
const std::string kReals =
    "(set-logic QF_RDL)(declare-const x Real)(declare-const y Real)"
    "(declare-const z Real)(declare-const c Bool)(check-sat)";

bool accepts(const std::string& script, const std::string& literals,
             const std::string& coefficients) {
  return first_mistake(script, "(step t (cl " + literals +
                                   ") :rule la_generic :args (" + coefficients +
                                   "))")
      .empty();
}

// Whether x - y <= a and y - x <= b fit together: exactly if a + b >= 0.
TEST(ArithmeticTest, TwoBoundsAreRefutedExactlyBelowZero) {
  for (int a = -3; a <= 3; ++a) {
    for (int b = -3; b <= 3; ++b) {
      const std::string literals = "(not (<= (- x y) (- " + std::to_string(-a) +
                                   "))) (not (<= (- y x) (- " +
                                   std::to_string(-b) + ")))";
      std::string spelled = literals;
      // -(-3) is no numeral.
      for (std::size_t at = 0;
           (at = spelled.find("(- -")) != std::string::npos;) {
        spelled.replace(at, spelled.find(')', at) - at + 1,
                        spelled.substr(at + 4, spelled.find(')', at) - at - 4));
      }
      EXPECT_EQ(accepts(kIntegers, spelled, "1 1"), a + b < 0) << spelled;
      EXPECT_EQ(accepts(kReals, spelled, "1 1"), a + b < 0) << spelled;
    }
  }
}

TEST(ArithmeticTest, StrictBoundsAreSharpenedOverIntegersOnly) {
  // x < y and y < x + 1.
  const std::string literals = "(not (< x y)) (not (< y (+ x 1)))";
  EXPECT_TRUE(accepts(kIntegers, literals, "1 1"));
  EXPECT_FALSE(accepts(kReals, literals, "1 1"));
  // x < y and y < x.
  EXPECT_TRUE(accepts(kReals, "(not (< x y)) (not (< y x))", "1 1"));
  // x <= y and y <= x fit together; one of the two strict does not.
  EXPECT_FALSE(accepts(kReals, "(not (<= x y)) (not (<= y x))", "1 1"));
  EXPECT_TRUE(accepts(kReals, "(not (<= x y)) (not (< y x))", "1 1"));
  EXPECT_FALSE(accepts(kIntegers, "(not (<= x y)) (not (<= y x))", "1 1"));
}

// A strict bound that is not added makes nothing strict.
TEST(ArithmeticTest, StrictBoundWithCoefficientZeroCountsNot) {
  const std::string literals = "(not (<= x y)) (not (<= y x)) (not (< z y))";
  EXPECT_FALSE(accepts(kReals, literals, "1 1 0"));
  EXPECT_FALSE(accepts(kReals, literals, "0 0 0"));
}

TEST(ArithmeticTest, PositiveLiteralsAreNegated) {
  EXPECT_TRUE(accepts(kReals, "(<= x y) (<= y x)", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(< x y) (< y x)", "1 1"));
  EXPECT_TRUE(accepts(kReals, "(< x y) (>= x y)", "1 1"));
  EXPECT_TRUE(accepts(kReals, "(> x y) (<= x y)", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(> x y) (<= y x)", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(> x y) (< x y)", "1 1"));
  EXPECT_TRUE(accepts(kIntegers, "(not (<= x 3)) (< x 4)", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(not (<= x 4)) (< x 4)", "1 1"));
}

TEST(ArithmeticTest, CommonDivisorIsTakenOutBeforeRounding) {
  // 2x - 2y <= 3 and x - y >= 2.
  const std::string bounds =
      "(not (<= (- (* 2 x) (* 2 y)) 3)) "
      "(not (>= (- x y) 2))";
  EXPECT_TRUE(accepts(kIntegers, bounds, "(/ 1 2) 1"));
  EXPECT_TRUE(accepts(kIntegers, bounds, "1 2"));
  EXPECT_FALSE(accepts(kIntegers, bounds, "1 1"));
  EXPECT_TRUE(accepts(kReals, bounds, "0.5 1"));
  // 2x - 2y <= 3 and x - y > 1, that is >= 2, over the integers alone.
  const std::string sharp =
      "(not (<= (- (* 2 x) (* 2 y)) 3)) "
      "(not (> (- x y) 1))";
  EXPECT_TRUE(accepts(kIntegers, sharp, "(/ 1 2) 1"));
  EXPECT_FALSE(accepts(kReals, sharp, "(/ 1 2) 1"));
  // 2x + 3y has no common divisor.
  EXPECT_FALSE(accepts(kIntegers,
                       "(not (<= (+ (* 2 x) (* 3 y)) 3)) "
                       "(not (>= (+ (* 2 x) (* 3 y)) 3))",
                       "1 1"));
}

TEST(ArithmeticTest, CoefficientsCountByAbsoluteValueButNotOfEqualities) {
  EXPECT_TRUE(accepts(kReals, "(not (< x y)) (not (< y x))", "(- 1) 1"));
  for (const std::string& script : {kReals, kIntegers}) {
    EXPECT_TRUE(accepts(script, "(not (= x y)) (not (< y x))", "(- 1) 1"));
    EXPECT_TRUE(accepts(script, "(not (= x y)) (not (< x y))", "1 1"));
  }
  EXPECT_FALSE(accepts(kReals, "(not (= x y)) (not (< y x))", "1 1"));
  EXPECT_TRUE(accepts(kReals, "(not (= x y)) (not (> y x))", "1 1"));
  EXPECT_TRUE(accepts(kReals, "(not (= x y)) (not (= y (- x 3)))", "1 1") !=
              accepts(kReals, "(not (= x y)) (not (= y (- x 3)))", "-1 -1"));
  EXPECT_FALSE(accepts(kReals, "(= x y) (not (= x y))", "1 1"));
}

TEST(ArithmeticTest, TermsAreLinearSumsOfWhatIsNoSum) {
  // v and v * w stand for themselves, whatever they are made of.
  const std::string v = "(ite c x (+ y 1))";
  EXPECT_TRUE(accepts(kIntegers, "(<= " + v + " 3) (>= " + v + " 4)", "1 1"));
  EXPECT_FALSE(accepts(kIntegers, "(<= " + v + " 3) (>= x 4)", "1 1"));
  EXPECT_TRUE(accepts(kIntegers, "(<= (* x y) 3) (>= (* x y) 4)", "1 1"));
  EXPECT_FALSE(accepts(kIntegers, "(<= (* x y) 3) (>= (* x z) 4)", "1 1"));
  EXPECT_FALSE(accepts(kIntegers, "(<= (* x y) 3) (>= y 4)", "1 1"));
  EXPECT_FALSE(accepts(kIntegers, "(<= (* x y) 3) (>= x 4)", "1 1"));
  EXPECT_TRUE(accepts(kReals,
                      "(not (<= (- (/ (+ x x 6) 2) y (- 3) (* 2 z)) 1)) "
                      "(not (>= (+ x (- y) (* (- 2) z) (- 0.25)) (- 5.0)))",
                      "1 1"));
}

// An integer beside a real is its value; functions of variables are variables.
TEST(ArithmeticTest, IntegersBesideRealsKeepWhatTheyAre) {
  const std::string kMixed =
      "(set-logic ALL)(declare-const x Int)(declare-const y Int)"
      "(declare-const r Real)(check-sat)";
  EXPECT_TRUE(accepts(kMixed, "(<= (to_real x) r) (<= r x)", "1 1"));
  EXPECT_FALSE(accepts(kMixed, "(< x r) (< r x)", "1 1"));
  EXPECT_TRUE(
      accepts(kMixed, "(not (<= (- x r) 2.5)) (not (>= x (+ r 3)))", "1 1"));
  // Rounded only where there is nothing but integers.
  EXPECT_TRUE(
      accepts(kMixed, "(not (<= x 2.5)) (not (> (to_real x) 2))", "1 1"));
  EXPECT_FALSE(accepts(kMixed, "(not (<= r 2.5)) (not (> r 2))", "1 1"));
  EXPECT_FALSE(
      accepts(kMixed, "(not (<= (- x r) 2.5)) (not (> (- x r) 2))", "1 1"));
  for (const char* term : {"(abs x)", "(div x 2)", "(mod x 2)", "(to_int r)"}) {
    const std::string t = term;
    EXPECT_TRUE(
        accepts(kMixed, "(not (> " + t + " 2)) (not (< " + t + " 3))", "1 1"))
        << t;
    EXPECT_FALSE(accepts(kMixed, "(not (> " + t + " 2)) (not (< x 3))", "1 1"))
        << t;
    EXPECT_FALSE(accepts(kMixed, "(< " + t + " 0)", "1")) << t;
  }
  for (const char* truth : {"(<= (abs (- 3)) 3)", "(<= (mod (- 7) 2) 1)",
                            "(<= (div 7 2) 3)", "(<= (to_int 2.5) 2)"}) {
    EXPECT_TRUE(accepts(kMixed, truth, "1")) << truth;
  }
}

// A bound on one variable leaves that variable, on whichever side it stands.
TEST(ArithmeticTest, LeftSidesMustCancel) {
  EXPECT_FALSE(accepts(kReals, "(<= x 3)", "1"));
  EXPECT_FALSE(accepts(kReals, "(>= x (- 3))", "1"));
  EXPECT_FALSE(accepts(kReals, "(<= x 3) (>= y (- 4))", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(<= (+ x y) 3) (> y 3)", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(<= x 3) (>= x 3)", "2 1"));
  EXPECT_FALSE(accepts(kReals, "(<= x 3) (>= x 3)", "1 2"));
  EXPECT_TRUE(accepts(kReals, "(<= x 3) (>= x 3)", "2 2"));
}

TEST(ArithmeticTest, WhatIsNoInequalityIsRejected) {
  EXPECT_FALSE(accepts(kReals, "c (not c)", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(<= x y z) (<= y x)", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(not (not (<= x y))) (<= y x)", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(not (= c true)) (not (= c false))", "1 1"));
  EXPECT_FALSE(accepts(kReals, "(<= x y) (<= y x)", "1"));
  EXPECT_FALSE(accepts(kReals, "(<= x y) (<= y x)", "1 1 1"));
  EXPECT_FALSE(accepts(kReals, "(<= x y) (<= y x)", "1 x"));
  EXPECT_FALSE(accepts(kReals, "(<= x y) (<= y x)", "1 true"));
  EXPECT_FALSE(accepts(kReals, "", ""));
  EXPECT_TRUE(accepts(kReals, "(<= 1 1)", "1"));
  EXPECT_FALSE(accepts(kReals, "(<= 1 0)", "1"));
}

TEST(ArithmeticTest, NumbersHaveAnyLength) {
  const std::string large(5000, '9');
  EXPECT_TRUE(accepts(
      kIntegers,
      "(not (<= (- x y) " + large + ")) (not (> (- x y) " + large + "))",
      "1 1"));
  EXPECT_FALSE(accepts(
      kIntegers,
      "(not (<= (- x y) " + large + ")) (not (>= (- x y) " + large + "))",
      "1 1"));
  EXPECT_TRUE(accepts(kReals,
                      "(not (<= (- x y) 0." + large + ")) (not (>= (- x y) 1))",
                      "1 1"));
}

// Against the definition: a cycle of differences is refuted exactly if its
// bounds, over the integers each rounded down, add up to less than zero, or to
// zero with a strict one.
TEST(ArithmeticTest, RandomCyclesAreRefutedExactlyIfTheySumBelowZero) {
  std::mt19937 random(20240611);
  const auto draw = [&random](int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random);
  };
  const std::vector<std::string> kNames = {"x", "y", "z"};
  int num_refuted = 0;
  for (int round = 0; round < 3000; ++round) {
    const bool is_int = draw(0, 1) == 0;
    const int length = draw(2, 3);
    std::string literals;
    std::string coefficients;
    int sum = 0;
    bool is_any_strict = false;
    for (int i = 0; i < length; ++i) {
      const std::string& a = kNames[static_cast<std::size_t>(i)];
      const std::string& b = kNames[static_cast<std::size_t>((i + 1) % length)];
      const bool is_strict = draw(0, 2) == 0;
      const int scale = draw(1, 3);
      const int bound = draw(-3, 3) * scale;
      // scale a - scale b <= bound, in one of four spellings.
      const std::string k = std::to_string(scale);
      const std::string left =
          "(- (* " + k + ' ' + a + ") (* " + k + ' ' + b + "))";
      const std::string right = bound < 0 ? "(- " + std::to_string(-bound) + ")"
                                          : std::to_string(bound);
      switch (draw(0, 3)) {
        case 0:
          literals += std::string(" (not (") + (is_strict ? "<" : "<=") + ' ' +
                      left + ' ' + right + "))";
          break;
        case 1:
          literals += std::string(" (not (") + (is_strict ? ">" : ">=") + ' ' +
                      right + ' ' + left + "))";
          break;
        case 2:
          literals += std::string(" (") + (is_strict ? ">=" : ">") + ' ' +
                      left + ' ' + right + ")";
          break;
        default:
          literals += std::string(" (") + (is_strict ? "<=" : "<") + ' ' +
                      right + ' ' + left + ")";
          break;
      }
      coefficients += " (/ 1 " + k + ')';
      sum += bound / scale;
      if (is_strict && is_int) --sum;
      is_any_strict = is_any_strict || (is_strict && !is_int);
    }
    const bool is_refuted = sum < 0 || (sum == 0 && is_any_strict);
    if (is_refuted) ++num_refuted;
    ASSERT_EQ(accepts(is_int ? kIntegers : kReals, literals, coefficients),
              is_refuted)
        << literals;
  }
  EXPECT_GT(num_refuted, 1000);
}

}  // namespace
}  // namespace vorn::checker
