// SPDX-License-Identifier: MIT
#include "solver/search/clause_database.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "solver/search/random.h"

namespace vorn::solver {
namespace {

std::vector<Literal> literals_of(const ClauseDatabase& database,
                                 ClauseRef ref) {
  const ConstClause clause = database[ref];
  std::vector<Literal> result;
  for (int i = 0; i < clause.size(); ++i) result.push_back(clause[i]);
  return result;
}

std::vector<Literal> make_clause(Random& random, int size) {
  std::vector<Literal> result;
  for (int i = 0; i < size; ++i) {
    result.emplace_back(random.below(1000), random.below(2) == 0);
  }
  return result;
}

// Some number that belongs to the literals.
ClauseNumber number_of(const std::vector<Literal>& literals) {
  ClauseNumber result = 1;
  for (const Literal literal : literals) {
    result = 31 * result + static_cast<ClauseNumber>(literal.code());
  }
  return result;
}

// The header fields share words: writing one must not change another.
TEST(ClauseDatabaseTest, HeaderFieldsAreIndependent) {
  ClauseDatabase database;
  const std::vector<Literal> literals = {Literal(4, true), Literal(2, false)};
  const ClauseRef ref = database.add(literals, true, 5);

  const Clause clause = database[ref];
  clause.set_activity(2.5F);
  clause.set_use(3);
  clause.set_glue(17);
  clause.set_use(1);

  EXPECT_TRUE(clause.is_learnt());
  EXPECT_FALSE(clause.is_deleted());
  EXPECT_EQ(clause.glue(), 17);
  EXPECT_EQ(clause.use(), 1);
  EXPECT_EQ(clause.activity(), 2.5F);
  EXPECT_EQ(literals_of(database, ref), literals);
}

// A glue past its field must not spill into the flags.
TEST(ClauseDatabaseTest, GlueSaturates) {
  ClauseDatabase database;
  const ClauseRef ref =
      database.add({Literal(0, false)}, false, Clause::kMaxGlue + 1);

  EXPECT_EQ(database[ref].glue(), Clause::kMaxGlue);
  EXPECT_FALSE(database[ref].is_learnt());
  EXPECT_EQ(database[ref].use(), 0);
}

// Waste decides when to collect; it must count what a collection frees.
TEST(ClauseDatabaseTest, ShrinkAndRemoveCountWaste) {
  ClauseDatabase database;
  Random random(1);
  const ClauseRef first = database.add(make_clause(random, 9), false, 0);
  const ClauseRef second = database.add(make_clause(random, 4), false, 0);
  const std::vector<Literal> kept = literals_of(database, first);

  database.shrink(first, 5);
  database.remove(second);

  EXPECT_EQ(database[first].size(), 5);
  EXPECT_TRUE(database[second].is_deleted());
  EXPECT_EQ(database.num_wasted_words(), 4U + 4U + Clause::kHeaderWords);
  database.begin_collection();
  const ClauseRef moved = database.moved(first);
  database.end_collection();
  EXPECT_EQ(database.num_words(), 5U + Clause::kHeaderWords);
  EXPECT_EQ(database.num_wasted_words(), 0U);
  EXPECT_EQ(literals_of(database, moved),
            std::vector<Literal>(kept.begin(), kept.begin() + 5));
}

// A collection that loses or mixes up a clause makes the search unsound.
TEST(ClauseDatabaseTest, CollectionKeepsLiveClauses) {
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(::testing::Message() << "seed " << seed);
    Random random(seed);
    ClauseDatabase database;
    const bool keeps_numbers = seed % 2 == 0;
    if (keeps_numbers) database.keep_numbers();
    std::map<ClauseRef, std::vector<Literal>> expected;
    for (int round = 0; round < 5; ++round) {
      for (int i = 0; i < 40; ++i) {
        const std::vector<Literal> literals =
            make_clause(random, 1 + random.below(2 * Clause::kMaxShort));
        const ClauseRef ref =
            database.add(literals, random.below(2) == 0, random.below(9),
                         number_of(literals));
        ASSERT_TRUE(expected.emplace(ref, literals).second);
      }
      for (auto entry = expected.begin(); entry != expected.end();) {
        if (random.below(3) == 0) {
          database.remove(entry->first);
          entry = expected.erase(entry);
        } else {
          ++entry;
        }
      }
      std::map<ClauseRef, std::vector<Literal>> moved;
      database.begin_collection();
      for (const auto& [ref, literals] : expected) {
        const ClauseRef to = database.moved(ref);
        EXPECT_EQ(database.moved(ref), to) << "second mention";
        ASSERT_TRUE(moved.emplace(to, literals).second);
      }
      database.end_collection();
      expected.swap(moved);
      std::size_t words = 0;
      for (const auto& [ref, literals] : expected) {
        EXPECT_EQ(literals_of(database, ref), literals);
        EXPECT_EQ(database.number(ref),
                  keeps_numbers ? number_of(literals) : 0);
        words += literals.size() + Clause::kHeaderWords;
        if (literals.size() > Clause::kMaxShort) ++words;
        if (keeps_numbers) ++words;
      }
      EXPECT_EQ(database.num_words(), words);
    }
  }
}

}  // namespace
}  // namespace vorn::solver
