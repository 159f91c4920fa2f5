// SPDX-License-Identifier: MIT
#include "solver/terms/evaluator.h"

#include <gtest/gtest.h>

#include <map>

#include "solver/terms/term_store.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

// Values from a point; counts how often each symbol is asked for.
class PointValues : public Interpretation {
 public:
  explicit PointValues(testing::Point values) : point(std::move(values)) {}

  bool bool_value(const Term* symbol) override {
    ++num_asked[symbol];
    return point.bools.at(symbol);
  }
  QNumber number_value(const Term* symbol) override {
    ++num_asked[symbol];
    return testing::to_q(point.numbers.at(symbol));
  }

  testing::Point point;
  std::map<const Term*, int> num_asked;
};

// The evaluator vouches for every model; it must mean what the terms mean.
TEST(EvaluatorTest, EvaluateAgreesWithPlainRecursion) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    TermStore store;
    testing::RandomTerms terms(store, seed, false);
    terms.grow(60);
    PointValues values(terms.random_point());
    for (int round = 0; round < 3; ++round) {
      Evaluator evaluator(values);
      for (const Term* term : terms.bools) {
        ASSERT_EQ(evaluator.bool_value(term),
                  testing::naive_bool(term, values.point));
      }
      for (const Term* term : terms.numbers) {
        ASSERT_EQ(testing::to_mpq(evaluator.number_value(term)),
                  testing::naive_number(term, values.point));
      }
      values.point = terms.random_point();
    }
  }
}

// Kinds that folding makes rare in random terms.
TEST(EvaluatorTest, EvaluateDistinctComparesPairwise) {
  TermStore store;
  const Term* a = store.make_symbol("a", Sort::kInt);
  const Term* b = store.make_symbol("b", Sort::kInt);
  const Term* c = store.make_symbol("c", Sort::kInt);
  const Term* p = store.make_symbol("p", Sort::kBool);
  const Term* q = store.make_symbol("q", Sort::kBool);
  const Term* numbers = store.make_distinct({a, b, c});
  const Term* bools = store.make_distinct({p, q});
  const auto value = [](const Term* term, testing::Point point) {
    PointValues values(std::move(point));
    return Evaluator(values).bool_value(term);
  };

  EXPECT_TRUE(value(numbers, {{}, {{a, 1}, {b, 2}, {c, 3}}}));
  EXPECT_FALSE(value(numbers, {{}, {{a, 1}, {b, 2}, {c, 1}}}));
  EXPECT_TRUE(value(bools, {{{p, true}, {q, false}}, {}}));
  EXPECT_FALSE(value(bools, {{{p, true}, {q, true}}, {}}));
}

// Without memo this takes 2^10000 steps; the number outgrows every word.
TEST(EvaluatorTest, EvaluateDoublingGraphIsExactAndAsksOnce) {
  TermStore store;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* term = x;
  for (int i = 0; i < 10000; ++i) term = store.make_plus(term, term);
  PointValues values({{}, {{x, 3}}});
  Evaluator evaluator(values);

  const QNumber result = evaluator.number_value(term);

  mpz_class expected = 3;
  expected <<= 10000;
  EXPECT_TRUE(testing::to_mpq(result) == expected);
  EXPECT_EQ(values.num_asked[x], 1);
}

// Recursion would end the process here.
TEST(EvaluatorTest, EvaluateAMillionDeep) {
  TermStore store;
  const Term* p = store.make_symbol("p", Sort::kBool);
  const Term* q = store.make_symbol("q", Sort::kBool);
  const Term* term = p;
  for (int i = 0; i < 1000000; ++i) {
    term = store.make_xor(store.make_not(term), q);
  }
  PointValues values({{{p, true}, {q, true}}, {}});

  // (not t) xor true is t.
  EXPECT_TRUE(Evaluator(values).bool_value(term));
}

}  // namespace
}  // namespace vorn::solver
