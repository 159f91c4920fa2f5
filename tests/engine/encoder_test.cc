// SPDX-License-Identifier: MIT
#include "solver/engine/encoder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/search/search.h"
#include "solver/terms/term_store.h"
#include "tests/build_kind.h"
#include "tests/engine/problem_rig.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

// An encoder with all that it needs, over a store of the caller.
struct Rig : testing::ProblemRig {
  explicit Rig(TermStore& store)
      : ProblemRig(store),
        normaliser(store),
        encoder(store, normaliser, problem) {}

  AtomNormaliser normaliser;
  Encoder encoder;
};

class EncoderTest : public ::testing::Test {
 protected:
  EncoderTest() {
    for (int i = 0; i < 4; ++i) {
      bools.push_back(store.make_symbol("p" + std::to_string(i), Sort::kBool));
    }
    x = store.make_symbol("x", Sort::kInt);
    y = store.make_symbol("y", Sort::kInt);
  }

  const Term* number(int value) { return store.make_number(QNumber(value)); }

  // Assumptions that fix the symbols to the bits.
  std::vector<Literal> assume(Rig& rig, int bits) {
    std::vector<Literal> literals;
    for (std::size_t i = 0; i < bools.size(); ++i) {
      const Literal literal = rig.encoder.literal_of(bools[i]);
      literals.push_back((bits >> i & 1) != 0 ? literal : ~literal);
    }
    return literals;
  }
  testing::Point point(int bits) const {
    testing::Point result;
    for (std::size_t i = 0; i < bools.size(); ++i) {
      result.bools[bools[i]] = (bits >> i & 1) != 0;
    }
    return result;
  }

  static bool is_sat(Rig& rig, const std::vector<Literal>& assumptions) {
    const Search::Result result = rig.solve(assumptions);
    EXPECT_NE(result, Search::Result::kUnknown);
    return result == Search::Result::kSat;
  }

  // The literal of the term, an assertion of it, and one of its negation all
  // follow the term's truth table.
  void expect_truth_table(const Term* term) {
    Rig literals(store);
    Rig asserted(store);
    Rig denied(store);
    const Literal literal = literals.encoder.literal_of(term);
    asserted.encoder.assert_term(term);
    denied.encoder.assert_term(store.make_not(term));
    for (int bits = 0; bits < 1 << bools.size(); ++bits) {
      const bool value = testing::naive_bool(term, point(bits));
      std::vector<Literal> assumptions = assume(literals, bits);
      ASSERT_TRUE(is_sat(literals, assumptions)) << bits;
      ASSERT_EQ(literals.search.model_value(literal), value) << bits;
      assumptions.push_back(value ? ~literal : literal);
      ASSERT_FALSE(is_sat(literals, assumptions)) << bits;
      ASSERT_EQ(is_sat(asserted, assume(asserted, bits)), value) << bits;
      ASSERT_EQ(is_sat(denied, assume(denied, bits)), !value) << bits;
    }
  }

  TermStore store;
  std::vector<const Term*> bools;
  const Term* x;
  const Term* y;
};

// A wrong clause in a definition is a wrong answer later on.
TEST_F(EncoderTest, LiteralOfConnectiveFollowsItsTruthTable) {
  const Term* p = bools[0];
  const Term* q = bools[1];
  const Term* r = bools[2];
  const Term* s = bools[3];
  const std::vector<const Term*> terms = {
      store.make_bool(true),
      store.make_bool(false),
      p,
      store.make_not(p),
      store.make_and({p, q}),
      store.make_and({p, q, r, s}),
      store.make_or({p, q}),
      store.make_or({p, q, r, s}),
      store.make_implies(p, q),
      store.make_implies(p, store.make_implies(q, r)),
      store.make_implies(store.make_implies(p, q), r),
      store.make_xor(p, q),
      store.make_xor(store.make_xor(p, q), store.make_xor(r, s)),
      store.make_equal(p, q),
      store.make_equal(store.make_equal(p, q), r),
      store.make_distinct({p, q}),
      store.make_distinct({p, q, r}),
      store.make_ite(p, q, r),
      store.make_ite(store.make_xor(p, q), store.make_and({q, r}),
                     store.make_or({r, s})),
      store.make_or(
          {store.make_not(store.make_and({p, q})), store.make_implies(r, s)}),
      store.make_not(store.make_or({store.make_not(p), store.make_or(q, r)})),
      store.make_and({store.make_or({p, q}), store.make_and({r, s})}),
  };
  for (std::size_t i = 0; i < terms.size(); ++i) {
    SCOPED_TRACE(i);
    ASSERT_NO_FATAL_FAILURE(expect_truth_table(terms[i]));
  }
}

// The connectives in each other.
TEST_F(EncoderTest, LiteralOfRandomTermFollowsItsTruthTable) {
  for (unsigned seed = 0; seed < 120; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 rng(seed);
    std::vector<const Term*> pool = bools;
    const auto any = [&] { return pool[rng() % pool.size()]; };
    for (int i = 0; i < 20; ++i) {
      switch (rng() % 8) {
        case 0:
          pool.push_back(store.make_not(any()));
          break;
        case 1:
          pool.push_back(store.make_and({any(), any(), any()}));
          break;
        case 2:
          pool.push_back(store.make_or({any(), any(), any()}));
          break;
        case 3:
          pool.push_back(store.make_xor(any(), any()));
          break;
        case 4:
          pool.push_back(store.make_implies(any(), any()));
          break;
        case 5:
          pool.push_back(store.make_equal(any(), any()));
          break;
        case 6:
          pool.push_back(store.make_distinct({any(), any()}));
          break;
        default:
          pool.push_back(store.make_ite(any(), any(), any()));
          break;
      }
    }
    ASSERT_NO_FATAL_FAILURE(expect_truth_table(pool.back()));
  }
}

// In a scope each clause has one more literal: its selector false, it asserts
// nothing.
TEST_F(EncoderTest, AssertTermInScopeHoldsWithItsSelector) {
  Rig rig(store);
  rig.problem.open_scope();
  const Literal selector = rig.problem.selectors().back();
  const Term* p = bools[0];
  const Term* q = bools[1];
  rig.encoder.assert_term(store.make_and({p, store.make_equal(p, q)}));
  const Literal not_q = ~rig.encoder.literal_of(q);

  EXPECT_TRUE(is_sat(rig, {~selector, not_q}));
  EXPECT_TRUE(is_sat(rig, {selector}));
  EXPECT_FALSE(is_sat(rig, {selector, not_q}));
  rig.encoder.assert_term(store.make_bool(false));
  EXPECT_FALSE(is_sat(rig, {selector}));
  EXPECT_TRUE(is_sat(rig, {~selector}));
}

// Encoding a shared subterm again and again is exponential in the worst case.
TEST_F(EncoderTest, LiteralOfSharedSubtermIsEncodedOnce) {
  Rig rig(store);
  const Term* atom = store.make_leq(x, y);
  const Term* shared = store.make_xor(atom, bools[0]);
  const Literal literal = rig.encoder.literal_of(shared);
  const int num_variables = rig.problem.num_variables();
  const std::size_t size = rig.encoder.mark();

  EXPECT_EQ(rig.encoder.literal_of(shared), literal);
  EXPECT_EQ(rig.encoder.literal_of(store.make_not(shared)), ~literal);
  EXPECT_EQ(rig.encoder.find(shared), literal);
  EXPECT_EQ(rig.problem.num_variables(), num_variables);
  EXPECT_EQ(rig.encoder.mark(), size + 1);  // the negation
  rig.encoder.literal_of(store.make_and({shared, bools[0], atom}));
  EXPECT_EQ(rig.problem.num_variables(), num_variables + 1);
}

// Terms whose trees are far too large to walk.
TEST_F(EncoderTest, LiteralOfDoublingDagIsLinear) {
  Rig rig(store);
  const Term* term = bools[0];
  for (int i = 0; i < 200; ++i) {
    term = store.make_xor(store.make_and({term, bools[1]}),
                          store.make_or({term, bools[2]}));
  }

  rig.encoder.literal_of(term);
  EXPECT_LT(rig.problem.num_variables(), 1000);
  EXPECT_TRUE(is_sat(rig, {}));
}

// The call stack must not grow with the term.
TEST_F(EncoderTest, LiteralOfDeepTermEnds) {
  Rig rig(store);
  const Term* chain = bools[0];
  const Term* number_chain = x;
  constexpr int kDepth = test::kSanitized ? 5000 : 20000;
  for (int i = 0; i < kDepth; ++i) {
    chain = i % 2 == 0 ? store.make_not(store.make_and({chain, bools[1]}))
                       : store.make_ite(bools[2], chain, bools[3]);
    const Term* condition =
        store.make_symbol("c" + std::to_string(i), Sort::kBool);
    number_chain = store.make_ite(condition, number(i), number_chain);
  }

  rig.encoder.literal_of(chain);
  rig.encoder.assert_term(store.make_leq(number_chain, y));
  EXPECT_TRUE(is_sat(rig, {}));
}

// Symbols that nothing mentions have no literal; the model makes them false.
TEST_F(EncoderTest, FindUnknownTermGivesNothing) {
  Rig rig(store);
  rig.encoder.literal_of(bools[0]);

  EXPECT_TRUE(rig.encoder.find(bools[0]).has_value());
  EXPECT_FALSE(rig.encoder.find(bools[1]).has_value());
}

// Popping a scope forgets its variables; a literal that stays behind would be
// another variable's soon.
TEST_F(EncoderTest, RollbackForgetsWhatCameLater) {
  Rig rig(store);
  const Term* old_term = store.make_and({bools[0], store.make_leq(x, y)});
  const Literal old_literal = rig.encoder.literal_of(old_term);
  const int num_variables = rig.problem.num_variables();
  const std::size_t num_atoms = rig.num_atoms();
  const std::size_t size = rig.encoder.mark();
  const Term* ite = store.make_ite(bools[1], x, number(4));
  const Term* new_term =
      store.make_xor(old_term, store.make_leq(ite, number(7)));
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE(round);
    rig.problem.open_scope();
    const Literal new_literal = rig.encoder.literal_of(new_term);
    const Literal p1 = rig.encoder.literal_of(bools[1]);
    const Literal big = rig.encoder.literal_of(store.make_leq(number(8), x));
    // With p1 the ite is x, else 4.
    EXPECT_TRUE(is_sat(rig, {p1, big, old_literal, new_literal}));
    EXPECT_FALSE(is_sat(rig, {p1, big, ~old_literal, new_literal}));
    EXPECT_TRUE(is_sat(rig, {~p1, big, ~old_literal, new_literal}));
    EXPECT_FALSE(is_sat(rig, {~p1, big, old_literal, new_literal}));

    rig.close_scope(num_atoms, num_variables);
    rig.encoder.rollback(size);
    EXPECT_EQ(rig.encoder.mark(), size);
    EXPECT_EQ(rig.encoder.find(old_term), old_literal);
    EXPECT_FALSE(rig.encoder.find(new_term).has_value());
    EXPECT_FALSE(rig.encoder.find(bools[1]).has_value());
    EXPECT_EQ(rig.problem.num_variables(), num_variables);
  }
}

// A named ite without its definition could have any value.
TEST_F(EncoderTest, AssertTermDefinesNamedItes) {
  Rig rig(store);
  const Term* inner = store.make_ite(bools[1], x, number(2));
  const Term* ite = store.make_ite(bools[0], inner, y);
  rig.encoder.assert_term(store.make_leq(number(10), ite));
  const Literal p0 = rig.encoder.literal_of(bools[0]);
  const Literal p1 = rig.encoder.literal_of(bools[1]);
  const Literal small_x = rig.encoder.literal_of(store.make_leq(x, number(9)));
  const Literal small_y = rig.encoder.literal_of(store.make_leq(y, number(9)));

  EXPECT_TRUE(is_sat(rig, {p0, p1, small_y}));
  EXPECT_FALSE(is_sat(rig, {p0, p1, small_x}));
  EXPECT_FALSE(is_sat(rig, {p0, ~p1}));
  EXPECT_TRUE(is_sat(rig, {~p0, small_x}));
  EXPECT_FALSE(is_sat(rig, {~p0, small_y}));
  EXPECT_FALSE(is_sat(rig, {small_x, small_y}));
}

}  // namespace
}  // namespace vorn::solver
