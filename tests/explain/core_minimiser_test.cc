// SPDX-License-Identifier: MIT
#include "solver/explain/core_minimiser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bitset>
#include <cstddef>
#include <random>
#include <vector>

#include "solver/terms/term_store.h"

namespace vorn::solver {
namespace {

using Positions = std::vector<std::size_t>;

// Random formulas over two Booleans and differences of three integers, each
// with the set of all assignments that satisfy it. With bounds from -2 to 2, a
// set of formulas that has a model has one within 4 of the first integer.
class Formulas {
 public:
  static constexpr int kMost = 4;
  static constexpr int kWidth = 2 * kMost + 1;
  using Models = std::bitset<4 * kWidth * kWidth>;

  Formulas(TermStore& store, std::mt19937& random)
      : store_(store), random_(random) {}

  void add() {
    const Term* term = store_.make_bool(false);
    Models models;
    for (int k = 1 + below(3); k > 0; --k) {
      const Part part = below(3) == 0 ? boolean() : bound();
      term = store_.make_or(term, part.term);
      models |= part.models;
    }
    terms.push_back(term);
    models_.push_back(models);
  }

  bool has_model(const Positions& positions, const Positions& given) const {
    Models common = Models().set();
    for (const std::size_t k : positions) common &= models_[k];
    for (const std::size_t k : given) common &= models_[k];
    return common.any();
  }

  std::vector<const Term*> terms;

 private:
  struct Part {
    const Term* term;
    Models models;
  };

  int below(int n) {
    return static_cast<int>(random_() % static_cast<unsigned>(n));
  }

  // The assignments that `holds` is true of: two bits, then three integers, the
  // first of which is 0.
  template <class Holds>
  static Models models_of(const Holds& holds) {
    Models models;
    std::size_t place = 0;
    for (int bits = 0; bits < 4; ++bits) {
      for (int x = -kMost; x <= kMost; ++x) {
        for (int y = -kMost; y <= kMost; ++y) {
          const int values[] = {0, x, y};
          models[place++] = holds(bits, values);
        }
      }
    }
    return models;
  }

  Part boolean() {
    const int bit = below(2);
    const bool wanted = below(2) == 1;
    const Term* symbol = store_.make_symbol(bit == 0 ? "p" : "q", Sort::kBool);
    return {wanted ? symbol : store_.make_not(symbol),
            models_of([bit, wanted](int bits, const int*) {
              return ((bits >> bit) & 1) == (wanted ? 1 : 0);
            })};
  }

  Part bound() {
    const char* names[] = {"x", "y", "z"};
    const int a = below(3);
    const int b = (a + 1 + below(2)) % 3;
    const int weight = below(5) - 2;
    const Term* difference = store_.make_plus(
        store_.make_symbol(names[a], Sort::kInt),
        store_.make_negate(store_.make_symbol(names[b], Sort::kInt)));
    return {store_.make_leq(difference, store_.make_number(QNumber(weight))),
            models_of([a, b, weight](int, const int* values) {
              return values[a] - values[b] <= weight;
            })};
  }

  TermStore& store_;
  std::mt19937& random_;
  std::vector<Models> models_;
};

// A core with a member that is not needed, or one that is none, sends its
// reader after the wrong assertions. All subsets by enumeration of models.
TEST(RandomCoreMinimiserTest, MinimiseAgainstEnumerationGivesMinimalCores) {
  int num_unsat = 0;
  int num_shrunk = 0;
  for (unsigned seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    TermStore store;
    Formulas formulas(store, random);
    for (int k = 0; k < 14; ++k) formulas.add();
    // The first two are asserted, the next two given.
    Engine engine(store);
    engine.assert_term(formulas.terms[0]);
    engine.assert_term(formulas.terms[1]);
    const std::vector<const Term*> given{formulas.terms[2], formulas.terms[3]};
    const std::vector<const Term*> members(formulas.terms.begin() + 4,
                                           formulas.terms.end());
    const auto has_model = [&formulas](const Positions& core) {
      Positions shifted;
      for (const std::size_t k : core) shifted.push_back(k + 4);
      return formulas.has_model(shifted, {0, 1, 2, 3});
    };
    CoreMinimiser minimiser(engine, members, given);
    const Positions all = minimiser.core();
    const Answer answer =
        seed % 2 == 0 ? minimiser.narrow() : minimiser.confirm();
    ASSERT_EQ(answer == Answer::kSat, has_model(all));
    if (answer == Answer::kSat) continue;
    ++num_unsat;
    ASSERT_FALSE(has_model(minimiser.core()));

    minimiser.minimise();

    const Positions core = minimiser.core();
    EXPECT_FALSE(minimiser.gave_up());
    EXPECT_FALSE(has_model(core));
    EXPECT_TRUE(std::is_sorted(core.begin(), core.end()));
    for (std::size_t k = 0; k < core.size(); ++k) {
      Positions smaller = core;
      smaller.erase(smaller.begin() + static_cast<std::ptrdiff_t>(k));
      EXPECT_TRUE(has_model(smaller)) << "without " << core[k];
    }
    if (core.size() < all.size()) ++num_shrunk;
  }
  EXPECT_GT(num_unsat, 100);
  EXPECT_GT(num_shrunk, 100);
}

class CoreMinimiserTest : public ::testing::Test {
 protected:
  TermStore store_;
  Engine engine_{store_};
  const Term* p_ = store_.make_symbol("p", Sort::kBool);
  const Term* q_ = store_.make_symbol("q", Sort::kBool);
};

// What stands twice is one member: both would be left in or out together.
TEST_F(CoreMinimiserTest, RepeatedFormulasCountOnce) {
  const Term* not_p = store_.make_not(p_);
  CoreMinimiser minimiser(engine_, {p_, q_, p_, not_p, not_p});
  ASSERT_EQ(minimiser.narrow(), Answer::kUnsat);
  minimiser.minimise();
  EXPECT_EQ(minimiser.core(), (Positions{0, 3}));
}

// What is given is no member, even where a member says the same; so nothing is
// left of a core when what is given has no model by itself.
TEST_F(CoreMinimiserTest, WhatIsGivenIsNoMember) {
  const Term* not_p = store_.make_not(p_);
  CoreMinimiser minimiser(engine_, {p_, q_}, {not_p, p_});
  ASSERT_EQ(minimiser.confirm(), Answer::kUnsat);
  EXPECT_EQ(minimiser.core(), (Positions{0, 1}));
  minimiser.minimise();
  EXPECT_EQ(minimiser.core(), Positions{});
}

// The work can be stopped at any time, and what is at hand then is still a
// core. The four clauses keep the search from an answer at level 0.
TEST_F(CoreMinimiserTest, MinimiseWhenStoppedKeepsTheCore) {
  const Term* not_p = store_.make_not(p_);
  const Term* not_q = store_.make_not(q_);
  CoreMinimiser minimiser(
      engine_, {store_.make_or(p_, q_), store_.make_or(p_, not_q),
                store_.make_or(not_p, q_), store_.make_or(not_p, not_q)});
  ASSERT_EQ(minimiser.confirm(), Answer::kUnsat);
  EXPECT_FALSE(minimiser.gave_up());
  const std::atomic<bool> stop{true};
  engine_.set_stop(&stop);
  minimiser.minimise();
  EXPECT_TRUE(minimiser.gave_up());
  EXPECT_EQ(minimiser.core(), (Positions{0, 1, 2, 3}));
}

}  // namespace
}  // namespace vorn::solver
