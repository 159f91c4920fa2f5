// SPDX-License-Identifier: MIT
#include "solver/terms/linear_sum.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "solver/terms/term_store.h"
#include "tests/build_kind.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

class LineariserTest : public ::testing::Test {
 protected:
  const Term* number(int value) { return store.make_number(QNumber(value)); }
  const Term* times(int factor, const Term* term) {
    return store.make_times(number(factor), term);
  }

  TermStore store;
  const Term* p = store.make_symbol("p", Sort::kBool);
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  LinearSum sum;
};

void expect_invariant(const LinearSum& sum) {
  for (std::size_t i = 0; i < sum.monomials.size(); ++i) {
    const Term* leaf = sum.monomials[i].leaf;
    EXPECT_TRUE(leaf->kind == Kind::kSymbol || leaf->kind == Kind::kIte);
    EXPECT_NE(sum.monomials[i].coefficient.sign(), 0);
    if (i > 0) {
      EXPECT_LT(sum.monomials[i - 1].leaf->id, leaf->id);
    }
  }
}

mpq_class value_of(const LinearSum& sum, const testing::Point& point) {
  mpq_class value = testing::to_mpq(sum.constant);
  for (const LinearSum::Monomial& monomial : sum.monomials) {
    value += testing::to_mpq(monomial.coefficient) *
             testing::naive_number(monomial.leaf, point);
  }
  return value;
}

// Atoms are recognised from these numbers.
TEST_F(LineariserTest, LineariseCollectsCoefficientsAndConstant) {
  const Term* ite = store.make_ite(p, x, number(7));
  const Term* term = store.make_plus(
      {times(3, store.make_plus({y, number(2), ite})), times(-1, x), number(4),
       store.make_times(y, number(2))});

  ASSERT_TRUE(Lineariser().linearise(term, sum));

  ASSERT_EQ(sum.monomials.size(), 3U);
  EXPECT_EQ(sum.monomials[0].leaf, x);
  EXPECT_EQ(sum.monomials[0].coefficient, QNumber(-1));
  EXPECT_EQ(sum.monomials[1].leaf, y);
  EXPECT_EQ(sum.monomials[1].coefficient, QNumber(5));
  EXPECT_EQ(sum.monomials[2].leaf, ite);
  EXPECT_EQ(sum.monomials[2].coefficient, QNumber(3));
  EXPECT_EQ(sum.constant, QNumber(10));
}

// A reused object must not carry an earlier sum along, not even a failed one.
TEST_F(LineariserTest, LineariseProductOfLeavesFailsAndLeavesNothingBehind) {
  Lineariser lineariser;
  EXPECT_FALSE(lineariser.linearise(
      store.make_plus({times(2, y), store.make_times(x, y), x}), sum));
  EXPECT_FALSE(lineariser.linearise(times(0, store.make_times(x, x)), sum));

  ASSERT_TRUE(lineariser.linearise(number(3), sum));

  EXPECT_TRUE(sum.monomials.empty());
  EXPECT_EQ(sum.constant, QNumber(3));
}

// Whether an atom is in the fragment must not hang on coefficients.
TEST_F(LineariserTest, LineariseProductThatCancelsStillFails) {
  const Term* product = store.make_times(x, y);
  EXPECT_FALSE(Lineariser().linearise(
      store.make_plus(product, store.make_negate(product)), sum));
}

// What is inside an ite is decided elsewhere.
TEST_F(LineariserTest, LineariseLooksIntoNoIte) {
  const Term* ite = store.make_ite(p, store.make_times(x, y), x);
  ASSERT_TRUE(Lineariser().linearise(ite, sum));
  ASSERT_EQ(sum.monomials.size(), 1U);
  EXPECT_EQ(sum.monomials[0].leaf, ite);
}

// An atom over equal sides must come out as a constant.
TEST_F(LineariserTest, LineariseDifferenceCancelsEqualSides) {
  const Term* term = store.make_plus(times(3, x), y);
  ASSERT_TRUE(Lineariser().linearise_difference(
      term, store.make_plus(term, number(1)), sum));
  EXPECT_TRUE(sum.monomials.empty());
  EXPECT_EQ(sum.constant, QNumber(-1));
}

// The sum must be the term, at any values of the leaves.
TEST_F(LineariserTest, LineariseAgreesWithEvaluationAtRandomPoints) {
  std::size_t num_checked = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    TermStore own;
    testing::RandomTerms terms(own, seed, true);
    terms.grow(80);
    Lineariser lineariser;
    for (std::size_t i = 1; i < terms.numbers.size(); ++i) {
      const Term* term = terms.numbers[i];
      const Term* other = terms.numbers[i - 1];
      LinearSum difference;
      ASSERT_TRUE(lineariser.linearise(term, sum));
      ASSERT_TRUE(lineariser.linearise_difference(term, other, difference));
      expect_invariant(sum);
      expect_invariant(difference);
      for (int k = 0; k < 5; ++k) {
        const testing::Point point = terms.random_point();
        const mpq_class value = testing::naive_number(term, point);
        ASSERT_EQ(value_of(sum, point), value);
        ASSERT_EQ(value_of(difference, point),
                  value - testing::naive_number(other, point));
        ++num_checked;
      }
    }
  }
  EXPECT_GT(num_checked, 10000U);
}

// A sum stored per level would need a trillion steps here.
TEST_F(LineariserTest, LineariseAMillionDeepOverManySymbolsEnds) {
  constexpr int kDepth = test::kCheckedLibrary ? 10000 : 1000000;
  const Term* term = number(0);
  for (int i = 0; i < kDepth; ++i) {
    const Term* leaf =
        i % 2 == 0 ? x : store.make_symbol("s" + std::to_string(i), Sort::kInt);
    term = store.make_plus(leaf, term);
  }

  ASSERT_TRUE(Lineariser().linearise(term, sum));

  expect_invariant(sum);
  EXPECT_EQ(sum.monomials.size(), kDepth / 2 + 1U);
  EXPECT_EQ(sum.monomials[0].leaf, x);
  EXPECT_EQ(sum.monomials[0].coefficient, QNumber(kDepth / 2));
}

// The tree has 2^10000 leaves.
TEST_F(LineariserTest, LineariseDoublingGraphIsExact) {
  const Term* term = x;
  for (int i = 0; i < 10000; ++i) term = store.make_plus(term, term);

  ASSERT_TRUE(Lineariser().linearise(term, sum));

  ASSERT_EQ(sum.monomials.size(), 1U);
  mpz_class expected = 1;
  expected <<= 10000;
  EXPECT_TRUE(testing::to_mpq(sum.monomials[0].coefficient) == expected);
}

// Sums that cancel on every level must stay small.
TEST_F(LineariserTest, LineariseCancellingGraphStaysSmall) {
  const Term* term = x;
  for (int i = 0; i < 10000; ++i) {
    term = store.make_plus({term, times(-1, term), y});
  }

  ASSERT_TRUE(Lineariser().linearise(term, sum));

  ASSERT_EQ(sum.monomials.size(), 1U);
  EXPECT_EQ(sum.monomials[0].leaf, y);
  EXPECT_EQ(sum.monomials[0].coefficient, QNumber(1));
}

}  // namespace
}  // namespace vorn::solver
