// SPDX-License-Identifier: MIT
#include "solver/smtlib/substitution.h"

#include <gtest/gtest.h>

#include <vector>

#include "solver/terms/term_store.h"

namespace vorn::solver {
namespace {

class SubstitutionTest : public ::testing::Test {
 protected:
  TermStore store_;
  const Term* x_ = store_.make_symbol("x", Sort::kInt);
  const Term* y_ = store_.make_symbol("y", Sort::kInt);
  const Term* p_ = store_.make_symbol("p", Sort::kBool);
  const Term* q_ = store_.make_symbol("q", Sort::kBool);
};

// All kinds of terms are rebuilt as what they were.
TEST_F(SubstitutionTest, SubstituteReachesEveryKind) {
  const auto build = [this](const Term* x, const Term* p) {
    const Term* three = store_.make_number(3, Sort::kInt);
    const Term* sum =
        store_.make_plus({x, store_.make_times(three, y_), three});
    return store_.make_and({store_.make_leq(sum, x), store_.make_less(x, y_),
                            store_.make_equal(store_.make_ite(p, x, y_), three),
                            store_.make_distinct({x, y_, three}),
                            store_.make_or({p, q_, store_.make_xor(q_, p)}),
                            store_.make_not(store_.make_implies(p, q_))});
  };
  const Term* z = store_.make_symbol("z", Sort::kInt);
  const Term* r = store_.make_symbol("r", Sort::kBool);
  EXPECT_EQ(substitute(store_, build(x_, p_), {{x_, z}, {p_, r}}), build(z, r));
}

// Replacements are simultaneous: a swap must not end in one symbol.
TEST_F(SubstitutionTest, SubstituteSwapsAtOnce) {
  EXPECT_EQ(substitute(store_, store_.make_less(x_, y_), {{x_, y_}, {y_, x_}}),
            store_.make_less(y_, x_));
}

// A shared term is visited once: a tree of 2^60 nodes is a chain of 60.
TEST_F(SubstitutionTest, SubstituteKeepsSharing) {
  const auto tower = [this](const Term* base) {
    for (int i = 0; i < 60; ++i) {
      base = store_.make_xor(store_.make_or({base, q_}),
                             store_.make_implies(base, q_));
    }
    return base;
  };
  EXPECT_EQ(substitute(store_, tower(p_), {{p_, store_.make_not(p_)}}),
            tower(store_.make_not(p_)));
}

// The place of an error depends on finding an atom at any depth.
TEST_F(SubstitutionTest, OccursInFindsSubtermsOnly) {
  const Term* atom = store_.make_less(x_, y_);
  const Term* whole = store_.make_or({p_, store_.make_not(atom)});
  EXPECT_TRUE(occurs_in(atom, whole));
  EXPECT_TRUE(occurs_in(whole, whole));
  EXPECT_FALSE(occurs_in(q_, whole));
}

}  // namespace
}  // namespace vorn::solver
