// SPDX-License-Identifier: MIT
#include "solver/terms/term_store.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>
#include <vector>

#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

class TermStoreTest : public ::testing::Test {
 protected:
  const Term* number(int value) { return store.make_number(QNumber(value)); }
  const Term* real(const char* text) {
    return store.make_number(*QNumber::from_string(text), Sort::kReal);
  }

  TermStore store;
  const Term* p = store.make_symbol("p", Sort::kBool);
  const Term* q = store.make_symbol("q", Sort::kBool);
  const Term* r = store.make_symbol("r", Sort::kBool);
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
  const Term* u = store.make_symbol("u", Sort::kReal);
  const Term* yes = store.make_bool(true);
  const Term* no = store.make_bool(false);

  std::vector<const Term*> make_one_of_each() {
    return {yes,
            no,
            p,
            x,
            u,
            number(3),
            real("3"),
            real("1/3"),
            store.make_not(p),
            store.make_and({p, q, r}),
            store.make_or({p, q, r}),
            store.make_xor(p, q),
            store.make_implies(p, q),
            store.make_equal(p, q),
            store.make_equal(x, y),
            store.make_distinct({p, q}),
            store.make_distinct({x, y, number(3)}),
            store.make_ite(p, q, r),
            store.make_ite(p, x, y),
            store.make_leq(x, y),
            store.make_less(x, y),
            store.make_plus({x, y, number(3)}),
            store.make_times(number(3), x)};
  }
};

// Pointer comparison must decide equality, for every kind.
TEST_F(TermStoreTest, MakeTwiceGivesTheSamePointerAndNoNewTerm) {
  const std::vector<const Term*> first = make_one_of_each();
  const std::size_t size = store.size();

  const std::vector<const Term*> second = make_one_of_each();

  EXPECT_EQ(first, second);
  EXPECT_EQ(store.size(), size);
  EXPECT_EQ(std::set<const Term*>(first.begin(), first.end()).size(),
            first.size());
}

// Terms that differ in one respect only must not be merged.
TEST_F(TermStoreTest, MakeKeepsDifferentTermsApart) {
  EXPECT_NE(store.make_leq(x, y), store.make_leq(y, x));
  EXPECT_NE(store.make_leq(x, y), store.make_less(x, y));
  EXPECT_NE(store.make_and({p, q}), store.make_or({p, q}));
  EXPECT_NE(store.make_and({p, q}), store.make_and({q, p}));
  EXPECT_NE(store.make_and({p, q}), store.make_and({p, q, r}));
  EXPECT_NE(store.make_symbol("x", Sort::kReal), x);
  EXPECT_NE(store.make_symbol("x2", Sort::kInt), x);
  EXPECT_NE(number(3), real("3"));
  EXPECT_NE(number(3), number(-3));
}

// Tables elsewhere are indexed by id and walk arguments before users.
TEST_F(TermStoreTest, IdsAreDenseAndArgumentsComeFirst) {
  testing::RandomTerms terms(store, 1, false);
  terms.grow(5000);

  for (std::size_t id = 0; id < store.size(); ++id) {
    const Term* term = store.term(id);
    ASSERT_EQ(term->id, id);
    for (std::size_t i = 0; i < term->num_args; ++i) {
      ASSERT_LT(term->arg(i)->id, id);
    }
  }
}

// Accessors must give back what the maker was given.
TEST_F(TermStoreTest, MakeStoresItsParts) {
  const Term* ite = store.make_ite(p, x, y);
  EXPECT_EQ(ite->kind, Kind::kIte);
  EXPECT_EQ(ite->sort, Sort::kInt);
  ASSERT_EQ(ite->num_args, 3U);
  EXPECT_EQ(ite->arg(0), p);
  EXPECT_EQ(ite->args()[1], x);
  EXPECT_EQ(ite->arg(2), y);
  EXPECT_EQ(x->name(), "x");
  EXPECT_EQ(x->num_args, 0U);
  EXPECT_EQ(x->args(), nullptr);
  EXPECT_EQ(real("-7/2")->number(), *QNumber::from_string("-7/2"));
}

// The graph's lemma filter breaks when one number has two terms.
TEST_F(TermStoreTest, MakeNumberIgnoresTheNumbersInnerForm) {
  QNumber grown = *QNumber::from_string("9223372036854775807");
  const QNumber small = grown;
  grown += QNumber(1);
  grown += QNumber(-1);

  EXPECT_EQ(store.make_number(small), store.make_number(grown));
  EXPECT_EQ(store.make_number(small)->sort, Sort::kInt);
  EXPECT_EQ(store.make_number(*QNumber::from_string("1/2"))->sort, Sort::kReal);
}

// Lemmas would grow a layer per pass if double negation stayed.
TEST_F(TermStoreTest, MakeNotFoldsConstantsAndNegations) {
  EXPECT_EQ(store.make_not(store.make_not(p)), p);
  EXPECT_EQ(store.make_not(yes), no);
  EXPECT_EQ(store.make_not(no), yes);
}

// The front end leans on these to keep assertions small.
TEST_F(TermStoreTest, MakeAndOrDropsConstantsAndRepetitions) {
  EXPECT_EQ(store.make_and(std::vector<const Term*>()), yes);
  EXPECT_EQ(store.make_or(std::vector<const Term*>()), no);
  EXPECT_EQ(store.make_and({p, yes, p}), p);
  EXPECT_EQ(store.make_and({p, no, q}), no);
  EXPECT_EQ(store.make_or({no, p, q, p}), store.make_or(p, q));
  EXPECT_EQ(store.make_or({p, yes}), yes);
  EXPECT_EQ(store.make_and({yes, yes}), yes);
  EXPECT_EQ(store.make_or(p, p), p);
}

// Long lists take another way to find repetitions; order must survive.
TEST_F(TermStoreTest, MakeOrOfManyKeepsFirstOccurrences) {
  std::vector<const Term*> symbols;
  std::vector<const Term*> repeated;
  for (int i = 0; i < 5000; ++i) {
    symbols.push_back(store.make_symbol("b" + std::to_string(i), Sort::kBool));
    repeated.push_back(symbols.back());
    repeated.push_back(symbols[static_cast<std::size_t>(i / 2)]);
  }

  const Term* clause = store.make_or(repeated);

  EXPECT_EQ(std::vector<const Term*>(clause->args(),
                                     clause->args() + clause->num_args),
            symbols);
  EXPECT_EQ(clause, store.make_or(symbols));
}

// Wrong folding here silently changes a formula.
TEST_F(TermStoreTest, MakeXorImpliesEqualFoldConstants) {
  EXPECT_EQ(store.make_xor(p, p), no);
  EXPECT_EQ(store.make_xor(p, yes), store.make_not(p));
  EXPECT_EQ(store.make_xor(no, p), p);
  EXPECT_EQ(store.make_implies(no, p), yes);
  EXPECT_EQ(store.make_implies(yes, p), p);
  EXPECT_EQ(store.make_implies(p, no), store.make_not(p));
  EXPECT_EQ(store.make_implies(p, yes), yes);
  EXPECT_EQ(store.make_equal(p, no), store.make_not(p));
  EXPECT_EQ(store.make_equal(yes, p), p);
  EXPECT_EQ(store.make_equal(x, x), yes);
  EXPECT_EQ(store.make_equal(number(3), real("3")), yes);
  EXPECT_EQ(store.make_equal(number(3), number(4)), no);
}

// Distinct over numbers compares values, not pointers.
TEST_F(TermStoreTest, MakeDistinctFoldsWhatIsDecided) {
  EXPECT_EQ(store.make_distinct({x, y, x}), no);
  EXPECT_EQ(store.make_distinct({number(1), number(2), number(3)}), yes);
  EXPECT_EQ(store.make_distinct({number(1), number(2), real("1")}), no);
  EXPECT_EQ(store.make_distinct({p, q, r}), no);
  EXPECT_EQ(store.make_distinct({x, number(1)})->kind, Kind::kDistinct);
}

// A constant condition must not turn a real ite into an integer term.
TEST_F(TermStoreTest, MakeIteFoldsAndKeepsItsSort) {
  EXPECT_EQ(store.make_ite(yes, x, y), x);
  EXPECT_EQ(store.make_ite(no, x, y), y);
  EXPECT_EQ(store.make_ite(p, x, x), x);
  EXPECT_EQ(store.make_ite(yes, number(3), u), real("3"));
  EXPECT_EQ(store.make_ite(yes, x, u)->sort, Sort::kReal);
  EXPECT_EQ(store.make_ite(p, number(3), u)->sort, Sort::kReal);
}

// Numbers fold exactly, and a sum or product is real when an argument is.
TEST_F(TermStoreTest, MakeArithmeticFoldsNumbersAndJoinsSorts) {
  EXPECT_EQ(store.make_plus({number(1), number(2), number(3)}), number(6));
  EXPECT_EQ(store.make_plus(number(1), real("2")), real("3"));
  EXPECT_EQ(store.make_plus({x}), x);
  EXPECT_EQ(store.make_times(real("1/3"), real("3")), real("1"));
  EXPECT_EQ(store.make_negate(number(3)), number(-3));
  EXPECT_EQ(store.make_plus(number(3), store.make_negate(number(5))),
            number(-2));
  EXPECT_EQ(store.make_plus(number(1), u)->sort, Sort::kReal);
  EXPECT_EQ(store.make_times(number(2), x)->sort, Sort::kInt);
  EXPECT_EQ(store.make_negate(u)->arg(0), real("-1"));
  EXPECT_EQ(store.make_leq(number(3), real("3")), yes);
  EXPECT_EQ(store.make_less(number(3), real("3")), no);
  EXPECT_EQ(store.make_less(real("5/2"), number(3)), yes);
}

// The layers above recognise atoms by shape.
TEST_F(TermStoreTest, MakeLeavesAtomsOverSymbolsAsWritten) {
  const Term* atom = store.make_leq(x, store.make_plus(x, number(-1)));
  EXPECT_EQ(atom->kind, Kind::kLeq);
  EXPECT_EQ(atom->arg(1)->kind, Kind::kPlus);
  EXPECT_EQ(store.make_leq(x, x)->kind, Kind::kLeq);
  EXPECT_EQ(store.make_less(x, x)->kind, Kind::kLess);
  EXPECT_EQ(store.make_plus(x, number(0))->kind, Kind::kPlus);
  EXPECT_EQ(store.make_times(number(1), x)->kind, Kind::kTimes);
  EXPECT_EQ(store.make_times(number(0), x)->kind, Kind::kTimes);
}

// A fresh symbol that met a declared one would change a formula's meaning.
TEST_F(TermStoreTest, MakeFreshSymbolMeetsNoOther) {
  const Term* taken = store.make_symbol("k!0", Sort::kReal);

  const Term* a = store.make_fresh_symbol("k", Sort::kBool);
  const Term* b = store.make_fresh_symbol("k", Sort::kBool);

  EXPECT_NE(a, b);
  EXPECT_NE(a->name(), b->name());
  EXPECT_NE(a->name(), taken->name());
  EXPECT_EQ(a->name().compare(0, 1, "k"), 0);
  EXPECT_EQ(a->sort, Sort::kBool);
  EXPECT_NE(store.make_symbol(a->name(), Sort::kBool), a);
  EXPECT_EQ(store.term(a->id), a);
}

// The graph only knows the base class; its clauses must come out shared.
TEST_F(TermStoreTest, MakeThroughTheManagerInterfaceShares) {
  TermManager& manager = store;
  const auto make_clause = [&] {
    const Term_* sum = manager.make_plus(x, manager.make_number(QNumber(4)));
    const Term_* left = manager.make_leq(y, sum);
    const Term_* right = manager.make_not(manager.make_leq(sum, y));
    return manager.make_or(manager.make_or(manager.make_not(p), left), right);
  };

  const Term_* clause = make_clause();
  const std::size_t size = store.size();

  EXPECT_EQ(make_clause(), clause);
  EXPECT_EQ(store.size(), size);
  EXPECT_EQ(static_cast<const Term*>(clause)->kind, Kind::kOr);
}

// Growth of the index and long lists must neither move nor lose a term.
TEST_F(TermStoreTest, MakeOfAMillionTermsStaysShared) {
  constexpr int kCount = 1000000;
  std::vector<const Term*> atoms;
  for (int i = 0; i < kCount; ++i) {
    atoms.push_back(store.make_leq(x, number(i)));
  }
  const Term* all = store.make_and(atoms);
  const std::size_t size = store.size();

  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(store.make_leq(x, number(i)), atoms[static_cast<std::size_t>(i)]);
  }
  EXPECT_EQ(store.make_and(atoms), all);
  EXPECT_EQ(store.size(), size);
}

// Making and destroying must not recurse.
TEST_F(TermStoreTest, MakeNestedAMillionDeepStaysShared) {
  const auto make_deep = [&] {
    const Term* term = p;
    for (int i = 0; i < 1000000; ++i) {
      term = store.make_not(store.make_and({term, i % 2 == 0 ? q : r}));
    }
    return term;
  };

  const Term* deep = make_deep();
  const std::size_t size = store.size();

  EXPECT_EQ(make_deep(), deep);
  EXPECT_EQ(store.size(), size);
}

// Every fold must keep the value of what was asked for.
TEST_F(TermStoreTest, MakeKeepsValuesOnRandomTerms) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    TermStore own;
    testing::RandomTerms terms(own, seed, false);
    terms.grow(60);
    for (std::size_t i = 0; i < terms.bools.size(); ++i) {
      ASSERT_TRUE(terms.bools[i]->is_bool());
      ASSERT_EQ(testing::naive_bool(terms.bools[i], terms.point()),
                terms.bool_values[i]);
    }
    for (std::size_t i = 0; i < terms.numbers.size(); ++i) {
      ASSERT_TRUE(terms.numbers[i]->is_arithmetic());
      ASSERT_EQ(testing::naive_number(terms.numbers[i], terms.point()),
                terms.number_values[i]);
    }
  }
}

}  // namespace
}  // namespace vorn::solver
