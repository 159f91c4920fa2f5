// SPDX-License-Identifier: MIT
#include "solver/engine/atom_normaliser.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

#include "solver/terms/difference_bound.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "tests/engine/point_values.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

class AtomNormaliserTest : public ::testing::Test {
 protected:
  const Term* symbol(const std::string& name, Sort sort) {
    return store.make_symbol(name, sort);
  }
  const Term* number(int value, Sort sort = Sort::kInt) {
    return store.make_number(QNumber(value), sort);
  }
  const Term* times(int factor, const Term* term) {
    return store.make_times(number(factor, term->sort), term);
  }

  // Whether every arithmetic atom below `term` is a bound. Branches of ites
  // that are themselves leaves are not looked into.
  void expect_only_bounds(const Term* term) {
    std::unordered_set<const Term*> seen;
    std::vector<const Term*> stack{term};
    while (!stack.empty()) {
      const Term* top = stack.back();
      stack.pop_back();
      if (!seen.insert(top).second) continue;
      if (is_arithmetic_atom(top)) {
        ASSERT_TRUE(top->kind == Kind::kLeq || top->kind == Kind::kLess);
        ASSERT_EQ(normaliser.normalise(top).term, top);
        continue;
      }
      stack.insert(stack.end(), top->args(), top->args() + top->num_args);
    }
  }

  void expect_bound(const Term* atom, const Term* source, const Term* target,
                    const la::DNumber& weight, bool expect_integer) {
    const AtomNormaliser::NormalForm& normal = normaliser.normalise(atom);
    ASSERT_EQ(normal.term, atom);
    EXPECT_EQ(normal.bound.source, source);
    EXPECT_EQ(normal.bound.target, target);
    EXPECT_EQ(normal.bound.weight.rational(), weight.rational());
    EXPECT_EQ(normal.bound.weight.eps(), weight.eps());
    EXPECT_EQ(normal.integer, expect_integer);
  }

  TermStore store;
  AtomNormaliser normaliser{store};
  const Term* x = symbol("x", Sort::kInt);
  const Term* y = symbol("y", Sort::kInt);
  const Term* z = symbol("z", Sort::kInt);
  const Term* r = symbol("r", Sort::kReal);
  const Term* s = symbol("s", Sort::kReal);
  const Term* p = symbol("p", Sort::kBool);
  const Term* q = symbol("q", Sort::kBool);
};

// A bound rewritten into another term would be two atoms to the search.
TEST_F(AtomNormaliserTest, NormaliseBoundGivesTheBoundItself) {
  const Term* sum = store.make_plus(y, number(3));

  expect_bound(store.make_leq(x, sum), y, x, la::DNumber(3, 0), true);
  expect_bound(store.make_less(x, sum), y, x, la::DNumber(2, 0), true);
  expect_bound(store.make_leq(x, number(4)), nullptr, x, la::DNumber(4, 0),
               true);
  expect_bound(store.make_less(number(4), x), x, nullptr, la::DNumber(-5, 0),
               true);
  expect_bound(store.make_less(r, s), s, r, la::DNumber(0, -1), false);
}

// A wrong rounding loses solutions or invents them.
TEST_F(AtomNormaliserTest, NormaliseDividesAndRoundsIntegers) {
  expect_bound(store.make_leq(times(2, x), number(5)), nullptr, x,
               la::DNumber(2, 0), true);
  expect_bound(store.make_less(times(2, x), number(5)), nullptr, x,
               la::DNumber(2, 0), true);
  expect_bound(store.make_less(times(2, x), number(4)), nullptr, x,
               la::DNumber(1, 0), true);
  expect_bound(store.make_leq(times(-2, x), number(5)), x, nullptr,
               la::DNumber(2, 0), true);
  expect_bound(store.make_leq(times(-2, x), number(-5)), x, nullptr,
               la::DNumber(-3, 0), true);
  expect_bound(
      store.make_leq(times(3, store.make_plus(x, store.make_negate(y))),
                     number(-7)),
      y, x, la::DNumber(-3, 0), true);
  QNumber half(5);
  half /= QNumber(2);
  expect_bound(store.make_less(times(2, r), number(5, Sort::kReal)), nullptr, r,
               la::DNumber(half, QNumber(-1)), false);
}

// An equality is both bounds; one of them alone would be too weak.
TEST_F(AtomNormaliserTest, NormaliseEqualityGivesTwoBounds) {
  const Term* equal = store.make_equal(x, store.make_plus(y, number(1)));

  const Term* normal = normaliser.normalise(equal).term;

  ASSERT_NE(normal, nullptr);
  ASSERT_EQ(normal->kind, Kind::kAnd);
  EXPECT_EQ(normal->num_args, 2U);
  expect_only_bounds(normal);
  EXPECT_EQ(normaliser.normalise(equal).term, normal);
}

// 2x = 3 has no integer solution but reads like a bound on each side.
TEST_F(AtomNormaliserTest, NormaliseEqualityWithoutIntegerSolutionHasNone) {
  const Term* normal =
      normaliser.normalise(store.make_equal(times(2, x), number(3))).term;

  ASSERT_NE(normal, nullptr);
  for (int value = -3; value <= 4; ++value) {
    testing::Point point;
    point.numbers[x] = value;
    EXPECT_FALSE(testing::holds_at(point, normal));
  }
}

// Pairs left out would let two of the terms be equal.
TEST_F(AtomNormaliserTest, NormaliseDistinctSeparatesEveryPair) {
  const Term* distinct = store.make_distinct({x, y, z, number(0)});

  const Term* normal = normaliser.normalise(distinct).term;

  ASSERT_NE(normal, nullptr);
  expect_only_bounds(normal);
  for (int i = 0; i < 125; ++i) {
    testing::Point point;
    point.numbers = {{x, i % 5 - 2}, {y, i / 5 % 5 - 2}, {z, i / 25 - 2}};
    EXPECT_EQ(testing::holds_at(point, normal),
              testing::naive_bool(distinct, point));
  }
}

// Atoms about nothing are constants, not bounds from a node to itself.
TEST_F(AtomNormaliserTest, NormaliseAtomWithoutVariablesGivesConstant) {
  const Term* next = store.make_plus(x, number(1));

  EXPECT_EQ(normaliser.normalise(store.make_leq(x, x)).term,
            store.make_bool(true));
  EXPECT_EQ(normaliser.normalise(store.make_less(x, x)).term,
            store.make_bool(false));
  EXPECT_EQ(normaliser.normalise(store.make_leq(next, x)).term,
            store.make_bool(false));
  EXPECT_EQ(normaliser.normalise(store.make_equal(next, x)).term,
            store.make_bool(false));
  EXPECT_EQ(normaliser.normalise(store.make_distinct({next, x})).term,
            store.make_bool(true));
}

// What is no difference must be refused, not approximated.
TEST_F(AtomNormaliserTest, NormaliseAtomOutsideGivesNull) {
  const Term* zero = number(0);
  const std::vector<const Term*> sums = {
      store.make_plus(x, y),
      store.make_plus(times(2, x), store.make_negate(y)),
      store.make_plus({x, times(-1, y), z}),
      store.make_times(x, y),
      store.make_plus(x, r),
      store.make_ite(p, store.make_plus(x, y), zero),
  };
  for (const Term* sum : sums) {
    EXPECT_EQ(normaliser.normalise(store.make_leq(sum, zero)).term, nullptr);
    EXPECT_EQ(normaliser.normalise(store.make_less(zero, sum)).term, nullptr);
    EXPECT_EQ(normaliser.normalise(store.make_equal(sum, zero)).term, nullptr);
    EXPECT_EQ(normaliser.normalise(store.make_distinct({zero, x, sum})).term,
              nullptr);
  }
}

// Lifting such ites would double the atom with each of them.
TEST_F(AtomNormaliserTest, NormaliseNameableIteKeepsIt) {
  const Term* inner = store.make_ite(q, x, number(5));
  const Term* ite = store.make_ite(p, inner, store.make_plus(y, number(1)));

  expect_bound(store.make_leq(ite, store.make_plus(z, number(3))), z, ite,
               la::DNumber(3, 0), true);
  expect_bound(store.make_leq(times(2, ite), number(3)), nullptr, ite,
               la::DNumber(1, 0), true);
}

// An ite that is no variable in disguise becomes an ite of atoms.
TEST_F(AtomNormaliserTest, NormaliseOtherIteLiftsIt) {
  const Term* doubled = store.make_ite(p, times(2, x), y);
  const Term* sum = store.make_plus(store.make_ite(p, x, y),
                                    store.make_ite(q, number(1), number(-1)));
  // Each branch takes z away again.
  const Term* cancelling = store.make_plus(
      store.make_ite(p, store.make_plus(z, x), store.make_plus(z, y)),
      store.make_negate(z));
  const std::vector<const Term*> atoms = {
      store.make_leq(doubled, number(3)),
      store.make_less(sum, z),
      store.make_equal(sum, z),
      store.make_leq(cancelling, number(1)),
      store.make_distinct({doubled, number(2), number(4)}),
  };
  for (const Term* atom : atoms) {
    const Term* normal = normaliser.normalise(atom).term;
    ASSERT_NE(normal, nullptr);
    EXPECT_NE(normal, atom);
    expect_only_bounds(normal);
    for (int i = 0; i < 4 * 125; ++i) {
      testing::Point point;
      point.bools = {{p, i % 2 == 0}, {q, i / 2 % 2 == 0}};
      point.numbers = {
          {x, i / 4 % 5 - 2}, {y, i / 20 % 5 - 2}, {z, i / 100 - 2}};
      ASSERT_EQ(testing::holds_at(point, normal),
                testing::naive_bool(atom, point));
    }
  }
}

// The call stack must not grow with the term.
TEST_F(AtomNormaliserTest, NormaliseDeepIteChainsEnds) {
  constexpr int kDepth = 10000;
  const Term* named = x;
  const Term* unnamed = times(2, x);
  for (int i = 0; i < kDepth; ++i) {
    const Term* condition = symbol("c" + std::to_string(i), Sort::kBool);
    const Term* leaf = i % 3 == 0 ? y : number(i);
    named = store.make_ite(condition, leaf, named);
    unnamed = store.make_ite(condition, leaf, unnamed);
  }
  const Term* bound = store.make_leq(named, z);
  const Term* lifted = store.make_leq(unnamed, number(7));
  const Term* outside = store.make_leq(unnamed, z);

  EXPECT_EQ(normaliser.normalise(bound).term, bound);
  EXPECT_EQ(normaliser.first_outside(bound), nullptr);
  const Term* normal = normaliser.normalise(lifted).term;
  ASSERT_NE(normal, nullptr);
  expect_only_bounds(normal);
  EXPECT_EQ(normaliser.first_outside(lifted), nullptr);
  EXPECT_EQ(normaliser.normalise(outside).term, nullptr);
  EXPECT_EQ(normaliser.first_outside(outside), outside);
}

// The message to the user names this atom.
TEST_F(AtomNormaliserTest, FirstOutsideNamesTheAtom) {
  const Term* good = store.make_leq(x, y);
  const Term* bad = store.make_leq(store.make_plus(x, y), number(3));
  const Term* worse = store.make_equal(store.make_times(x, y), z);
  const Term* inside = store.make_or({store.make_not(good), p});

  EXPECT_EQ(normaliser.first_outside(inside), nullptr);
  EXPECT_EQ(normaliser.first_outside(bad), bad);
  EXPECT_EQ(normaliser.first_outside(
                store.make_and({inside, store.make_implies(q, bad), worse})),
            bad);
  EXPECT_EQ(normaliser.first_outside(store.make_and({worse, bad})), worse);
  // Asked again, when parts are known already.
  EXPECT_EQ(normaliser.first_outside(store.make_and({bad, worse, good})), bad);
  EXPECT_EQ(normaliser.first_outside(inside), nullptr);
}

// A condition is solved as any formula is, so it must be inside, too.
TEST_F(AtomNormaliserTest, FirstOutsideLooksIntoConditions) {
  const Term* bad = store.make_less(store.make_plus(x, y), z);
  const Term* ite = store.make_ite(bad, x, y);

  EXPECT_EQ(normaliser.first_outside(store.make_leq(ite, number(3))), bad);
}

// Every rewriting, on random atoms, against the meaning of the atom.
TEST_F(AtomNormaliserTest, NormaliseKeepsTheMeaningOfRandomAtoms) {
  int num_inside = 0;
  int num_rewritten = 0;
  int num_outside = 0;
  for (unsigned seed = 0; seed < 150; ++seed) {
    SCOPED_TRACE(seed);
    testing::RandomTerms terms(store, seed, true);
    terms.grow(40);
    for (int round = 0; round < 30; ++round) {
      const auto pick = [&terms] {
        return terms.numbers[static_cast<std::size_t>(
            terms.pick(static_cast<int>(terms.numbers.size())))];
      };
      const Term* a = pick();
      const Term* b = pick();
      const Term* atom = nullptr;
      switch (terms.pick(4)) {
        case 0:
          atom = store.make_leq(a, b);
          break;
        case 1:
          atom = store.make_less(a, b);
          break;
        case 2:
          atom = store.make_equal(a, b);
          break;
        default:
          atom = store.make_distinct({a, b, pick()});
          break;
      }
      if (!is_arithmetic_atom(atom)) continue;
      const Term* normal = normaliser.normalise(atom).term;
      if (normal == nullptr) {
        ++num_outside;
        continue;
      }
      ++num_inside;
      if (normal != atom) ++num_rewritten;
      for (int k = 0; k < 10; ++k) {
        const testing::Point point = terms.random_point();
        ASSERT_EQ(testing::holds_at(point, normal),
                  testing::holds_at(point, atom));
      }
    }
  }
  EXPECT_GT(num_inside, 500);
  EXPECT_GT(num_rewritten, 200);
  EXPECT_GT(num_outside, 100);
}

}  // namespace
}  // namespace vorn::solver
