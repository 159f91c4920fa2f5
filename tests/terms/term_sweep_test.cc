// SPDX-License-Identifier: MIT
#include "solver/terms/term_sweep.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "solver/terms/term_printer.h"
#include "solver/terms/term_store.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver {
namespace {

// A term that is needed and goes, or changes its meaning, is a wrong answer
// somewhere; so are ids that no longer put arguments first.
TEST(TermSweepTest, FinishKeepsWhatIsNeededAsItWas) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    SCOPED_TRACE(seed);
    TermStore store;
    testing::RandomTerms terms(store, seed, false);
    for (int round = 0; round < 4; ++round) {
      const std::size_t first = terms.bools.size();
      terms.grow(60);
      std::map<const Term*, std::string> texts;
      TermSweep sweep(store);
      for (const auto& [symbol, value] : terms.point().bools) {
        sweep.keep(symbol);
      }
      for (const auto& [symbol, value] : terms.point().numbers) {
        sweep.keep(symbol);
      }
      std::vector<const Term*> kept;
      const auto choose = [&](auto& list, auto& values) {
        std::size_t count = 0;
        for (std::size_t k = 0; k < list.size(); ++k) {
          if (k >= 20 && terms.pick(3) != 0) continue;
          sweep.keep(list[k]);
          texts[list[k]] = print_term(list[k]);
          kept.push_back(list[k]);
          list[count] = list[k];
          values[count++] = values[k];
        }
        list.resize(count);
        values.resize(count);
      };
      choose(terms.bools, terms.bool_values);
      choose(terms.numbers, terms.number_values);
      sweep.spread();
      std::vector<const Term*> before;
      std::vector<const Term*> in_order;
      for (std::size_t id = 0; id < store.size(); ++id) {
        before.push_back(store.term(id));
        if (sweep.is_kept(before.back())) in_order.push_back(before.back());
      }
      for (const Term* term : kept) ASSERT_TRUE(sweep.is_kept(term));
      sweep.finish();

      ASSERT_EQ(store.size(), in_order.size());
      ASSERT_EQ(store.size_when_swept(), store.size());
      for (std::size_t id = 0; id < store.size(); ++id) {
        const Term* term = store.term(id);
        ASSERT_EQ(term, in_order[id]);
        ASSERT_EQ(term->id, id);
        for (std::size_t i = 0; i < term->num_args; ++i) {
          ASSERT_LT(term->arg(i)->id, id);
        }
      }
      for (std::size_t id = 0; id < before.size(); ++id) {
        const auto found =
            std::find(in_order.begin(), in_order.end(), before[id]);
        if (found == in_order.end()) continue;
        ASSERT_EQ(sweep.new_id(id), before[id]->id);
      }
      for (const auto& [term, text] : texts) ASSERT_EQ(print_term(term), text);
      for (std::size_t k = 0; k < terms.bools.size(); ++k) {
        ASSERT_EQ(testing::naive_bool(terms.bools[k], terms.point()),
                  terms.bool_values[k]);
      }
      for (std::size_t k = 0; k < terms.numbers.size(); ++k) {
        ASSERT_EQ(testing::naive_number(terms.numbers[k], terms.point()),
                  terms.number_values[k]);
      }
      ASSERT_GT(before.size(), store.size());
      ASSERT_GT(terms.bools.size(), first / 10);
    }
  }
}

class SmallSweepTest : public ::testing::Test {
 protected:
  void sweep_all_but(const std::vector<const Term*>& kept) {
    TermSweep sweep(store);
    sweep.keep(kept);
    sweep.spread();
    sweep.finish();
  }

  TermStore store;
  const Term* x = store.make_symbol("x", Sort::kInt);
  const Term* y = store.make_symbol("y", Sort::kInt);
};

// Equal terms must stay one term, those that went included.
TEST_F(SmallSweepTest, MakeAfterwardsFindsWhatStayed) {
  const Term* three = store.make_number(QNumber(3));
  const Term* sum = store.make_plus(y, three);
  const Term* leq = store.make_leq(x, sum);
  store.make_less(x, store.make_number(QNumber(4)));
  sweep_all_but({leq});
  EXPECT_EQ(store.size(), 7U);  // with true and false

  EXPECT_EQ(store.make_leq(store.make_symbol("x", Sort::kInt),
                           store.make_plus(y, store.make_number(QNumber(3)))),
            leq);
  EXPECT_EQ(store.size(), 7U);
  const Term* less = store.make_less(x, store.make_number(QNumber(4)));
  EXPECT_EQ(store.size(), 9U);
  EXPECT_EQ(store.make_less(x, store.make_number(QNumber(4))), less);
  EXPECT_EQ(print_term(less), "(< x 4)");
  EXPECT_EQ(store.make_bool(true)->id, 0U);
  EXPECT_EQ(store.make_not(store.make_bool(true)), store.make_bool(false));
}

// A fresh symbol that another call gives is a parameter that somebody else
// asserts about.
TEST_F(SmallSweepTest, FreshSymbolsStayFresh) {
  const Term* fresh = store.make_fresh_symbol("x", Sort::kInt);
  sweep_all_but({fresh});

  EXPECT_NE(store.make_symbol(fresh->name(), Sort::kInt), fresh);
  EXPECT_NE(store.make_fresh_symbol("x", Sort::kInt)->name(), fresh->name());
}

// What ends early has freed nothing.
TEST_F(SmallSweepTest, WithoutFinishNothingChanges) {
  const Term* less = store.make_less(x, y);
  const std::size_t size = store.size();
  {
    TermSweep sweep(store);
    sweep.spread();
    EXPECT_FALSE(sweep.is_kept(less));
    EXPECT_TRUE(sweep.is_kept(nullptr));
  }

  EXPECT_EQ(store.size(), size);
  EXPECT_EQ(store.make_less(x, y), less);
}

// Places are taken again: a session of any length works in the same memory.
TEST_F(SmallSweepTest, RoundsUseTheSamePlaces) {
  std::set<const Term*> places;
  for (int round = 0; round < 1000; ++round) {
    const Term* n = store.make_symbol("n" + std::to_string(round), Sort::kInt);
    const Term* sum = store.make_plus(n, store.make_number(QNumber(round)));
    const Term* leq = store.make_leq(x, sum);
    places.insert(leq);
    EXPECT_EQ(print_term(leq), "(<= x (+ n" + std::to_string(round) + " " +
                                   std::to_string(round) + "))");
    sweep_all_but({x, y});
    ASSERT_EQ(store.size(), 4U);
  }
  EXPECT_LE(places.size(), 4U);
}

}  // namespace
}  // namespace vorn::solver
