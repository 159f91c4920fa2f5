// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "tests/proof/proved_script.h"

// Proofs are about formulas as they are written, with definitions expanded,
// whatever the solver has made of them.

namespace vorn::solver {
namespace {

const std::string kHead =
    "(set-option :produce-proofs true)(set-logic QF_IDL)"
    "(declare-const x Int)(declare-const y Int)"
    "(declare-const p Bool)(declare-const q Bool)\n";

// The body of g has the x that is no parameter of f.
TEST(SpellingProofTest, ParametersHideNoOtherSymbols) {
  EXPECT_EQ(
      problem_of_proof(
          kHead + "(define-fun g () Int x)"
                  "(define-fun f ((x Int) (b Bool)) Bool"
                  " (and (or b (< x g)) (let ((a (<= x g))) (and a (=> b a)))))"
                  "(define-fun h ((x Int)) Bool (and (f x true) (f y (= x y))))"
                  "(assert (! (h y) :named first))"
                  "(assert (or (not first) (< x y)))(check-sat)(get-proof)"),
      "");
}

// Written out, it would be of the size of 2^200.
TEST(SpellingProofTest, DefinitionsByDefinitionsAreWrittenOnce) {
  constexpr int kDepth = 200;
  std::string script = kHead + "(define-fun f0 ((a Int)) Bool (< a y))";
  const auto use = [](int k, const std::string& argument) {
    return "(f" + std::to_string(k) + ' ' + argument + ')';
  };
  for (int k = 1; k <= kDepth; ++k) {
    script += "(define-fun f" + std::to_string(k) + " ((a Int)) Bool (and " +
              use(k - 1, "a") + ' ' + use(k - 1, "a") + "))";
  }
  script += "(assert " + use(kDepth, "x") + ")(assert " + use(kDepth - 1, "y") +
            ")(check-sat)(get-proof)";
  EXPECT_EQ(problem_of_proof(script), "");
}

TEST(SpellingProofTest, SortsAndNumbersHaveOtherNames) {
  EXPECT_EQ(
      problem_of_proof(
          kHead + "(define-sort Time () Int)(declare-const z Time)"
                  "(assert (<= (- z (as x Time)) (* 2 (div (- 7) 2))))"
                  "(assert (>= (- (as z Int) x) (- (+ 3 (mod (- 10) 7) (abs (- "
                  "0))))))(check-sat)(get-proof)"),
      "");
}

TEST(SpellingProofTest, SumsAreRoundedWhateverTheirPartsAreWrittenAs) {
  for (const char* sum :
       {"(= (+ (ite p (- 2) (- 2)) (* (- 2) (ite p (ite q (- 2) 3) 4))) (- 1))",
        "(= (+ x (ite p 2 3) (ite (not p) 3 2)) (+ x 3))"}) {
    EXPECT_EQ(
        problem_of_proof(kHead + "(assert " + sum + ")(check-sat)(get-proof)"),
        "")
        << sum;
  }
}

}  // namespace
}  // namespace vorn::solver
