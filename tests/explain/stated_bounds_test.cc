// SPDX-License-Identifier: MIT
#include "solver/explain/stated_bounds.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/terms/term_store.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {
namespace {

class StatedBoundsTest : public ::testing::Test {
 protected:
  const Term* symbol(const char* name, Sort sort = Sort::kReal) {
    return store_.make_symbol(name, sort);
  }
  const Term* number(int value, Sort sort = Sort::kReal) {
    return store_.make_number(QNumber(value), sort);
  }
  // a - b <= limit.
  const Term* at_most(const Term* a, const Term* b, int limit) {
    return store_.make_leq(store_.make_plus(a, store_.make_negate(b)),
                           number(limit, a->sort));
  }
  Statements read(const std::vector<const Term*>& formulas,
                  bool conditional_too = false) {
    return read_statements(store_, normaliser_, formulas, conditional_too);
  }

  TermStore store_;
  AtomNormaliser normaliser_{store_};
  const Term* x_ = symbol("x");
  const Term* y_ = symbol("y");
  const Term* z_ = symbol("z");
  const Term* p_ = symbol("p", Sort::kBool);
};

// What holds outright is what a chain may use; a disjunct is not.
TEST_F(StatedBoundsTest, ReadingSeesThroughConjunctions) {
  const Term* a = at_most(x_, y_, 1);
  const Term* b = at_most(y_, z_, 2);
  const Term* c = at_most(z_, x_, 3);
  const Term* formula = store_.make_and(
      {store_.make_and({a, store_.make_not(store_.make_or(b, p_))}),
       store_.make_or(p_, c)});

  const Statements outright = read({p_, formula});

  ASSERT_EQ(outright.bounds.size(), 2U);
  EXPECT_EQ(outright.bounds[0].written, a);
  EXPECT_FALSE(outright.bounds[0].negated);
  EXPECT_EQ(outright.bounds[0].formula, 1U);
  EXPECT_EQ(outright.bounds[1].atom, b);
  EXPECT_TRUE(outright.bounds[1].negated);
  // Not y - z <= 2 is z - y < -2.
  EXPECT_EQ(outright.bounds[1].bound.target, z_);
  EXPECT_EQ(outright.bounds[1].bound.source, y_);
  EXPECT_EQ(outright.bounds[1].bound.weight.to_str(), "-2 - eps");
  EXPECT_TRUE(outright.bounds[1].strict);
}

// A picture shows the bounds of all cases, told apart from the rest.
TEST_F(StatedBoundsTest, ReadingOfCasesMarksThem) {
  const Term* a = at_most(x_, y_, 1);
  const Term* b = at_most(y_, z_, 2);
  const Term* c = at_most(z_, x_, 3);

  const Statements all = read({store_.make_implies(p_, store_.make_and({a, b})),
                               store_.make_not(store_.make_implies(a, c))},
                              true);

  std::vector<const Term*> atoms;
  std::vector<bool> outright;
  for (const StatedBound& stated : all.bounds) {
    atoms.push_back(stated.atom);
    outright.push_back(stated.outright);
  }
  EXPECT_EQ(atoms, (std::vector<const Term*>{a, c, b}));
  EXPECT_EQ(outright, (std::vector<bool>{true, true, false}));
}

// An arithmetic ite is a variable whose meaning is a bound in each case.
TEST_F(StatedBoundsTest, ReadingOfCasesDefinesItes) {
  const Term* ite = store_.make_ite(p_, x_, y_);

  const Statements all = read({at_most(ite, z_, 1)}, true);

  ASSERT_EQ(all.bounds.size(), 5U);
  EXPECT_EQ(all.bounds[0].bound.target, ite);
  for (std::size_t k = 1; k < 5; ++k) {
    EXPECT_FALSE(all.bounds[k].outright);
    EXPECT_EQ(all.bounds[k].written->kind, Kind::kEqual);
  }
  EXPECT_EQ(read({at_most(ite, z_, 1)}).bounds.size(), 1U);
}

// Affirmed here and denied there: the reason when no bounds contradict.
TEST_F(StatedBoundsTest, ReadingFindsTheFirstClash) {
  const Term* q = symbol("q", Sort::kBool);

  EXPECT_FALSE(read({p_, q}).clash.has_value());
  const Statements both =
      read({q, store_.make_and({p_, q}), store_.make_not(p_)});

  ASSERT_TRUE(both.clash.has_value());
  EXPECT_EQ(both.clash->term, p_);
  EXPECT_EQ(both.clash->affirmed, 1U);
  EXPECT_EQ(both.clash->denied, 2U);
  const Statements never = read({p_, store_.make_less(x_, x_)});
  ASSERT_TRUE(never.clash.has_value());
  EXPECT_EQ(never.clash->affirmed, 1U);
  EXPECT_EQ(never.clash->denied, 1U);
}

// The order lets neighbours cancel when they are read one after the other.
TEST_F(StatedBoundsTest, CycleRunsInItsDirectionFromTheFirstFormula) {
  const std::vector<const Term*> formulas = {
      at_most(x_, z_, 1), at_most(z_, y_, -3), at_most(y_, x_, 1)};
  const Statements statements = read(formulas);

  const std::vector<std::size_t> cycle = find_negative_cycle(statements.bounds);

  EXPECT_EQ(cycle, (std::vector<std::size_t>{0, 2, 1}));
  EXPECT_TRUE(
      find_negative_cycle(read({formulas[0], formulas[1]}).bounds).empty());
}

// Bounds on single variables meet at 0, where the reader starts.
TEST_F(StatedBoundsTest, CycleThroughZeroBeginsThere) {
  const Statements statements =
      read({store_.make_leq(number(5), x_), at_most(x_, y_, 1),
            store_.make_less(y_, number(4))});

  EXPECT_EQ(find_negative_cycle(statements.bounds),
            (std::vector<std::size_t>{2, 1, 0}));
}

// What is stated in a case contradicts nothing.
TEST_F(StatedBoundsTest, CycleLeavesOutCases) {
  const Statements statements =
      read({at_most(x_, y_, 1), store_.make_or(p_, at_most(y_, x_, -2))}, true);

  EXPECT_EQ(statements.bounds.size(), 2U);
  EXPECT_TRUE(find_negative_cycle(statements.bounds).empty());
}

}  // namespace
}  // namespace vorn::solver
