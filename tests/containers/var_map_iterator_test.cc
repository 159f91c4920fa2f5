// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/containers/probe.h"
#include "tests/inspector.h"
#include "vorn/containers/var_map.h"

namespace vorn::la {
namespace {

using IntMap = VarMap<int, true, true>;
using Iterator = IntMap::VarMapIterator;
using test::Probe;
using ProbeMap = VarMap<Probe, true, true>;

static_assert(
    std::is_same_v<decltype(Inspector::map(std::declval<Iterator&>())),
                   const IntMap*&>);
static_assert(
    std::is_same_v<decltype(Inspector::flags(std::declval<Iterator&>())),
                   const std::vector<char>*&>);
static_assert(
    std::is_same_v<decltype(Inspector::pos(std::declval<Iterator&>())),
                   std::size_t&>);
static_assert(
    std::is_same_v<decltype(Inspector::cur(std::declval<Iterator&>())),
                   std::pair<int, int>&>);
static_assert(
    std::is_same_v<decltype(Inspector::cur_valid(std::declval<Iterator&>())),
                   bool&>);

// The iterator's cache stands behind its position.
TEST(VarMapIteratorTest, LayoutIsMapFlagsPositionCacheValidity) {
  const IntMap map;
  const Iterator it = map.begin();
  EXPECT_EQ(Inspector::offset_in(&it, &Inspector::map(it)), 0);
  EXPECT_EQ(Inspector::offset_in(&it, &Inspector::flags(it)),
            std::ptrdiff_t{sizeof(void*)});
  EXPECT_LT(Inspector::offset_in(&it, &Inspector::flags(it)),
            Inspector::offset_in(&it, &Inspector::pos(it)));
  EXPECT_LT(Inspector::offset_in(&it, &Inspector::pos(it)),
            Inspector::offset_in(&it, &Inspector::cur(it)));
  EXPECT_LT(Inspector::offset_in(&it, &Inspector::cur(it)),
            Inspector::offset_in(&it, &Inspector::cur_valid(it)));
  EXPECT_EQ(Inspector::map(it), &map);
  EXPECT_EQ(Inspector::flags(it), &Inspector::present(map));
}

// A loop that writes through its iterator changes nothing, on purpose.
TEST(VarMapIteratorTest, DereferenceGivesCopyThatMapNeverSees) {
  IntMap map;
  map[3] = 33;

  Iterator it = map.begin();
  (*it).second = 99;

  EXPECT_EQ(map.at(3), 33);
  EXPECT_EQ((*it).second, 99);
  EXPECT_EQ(&*it, &Inspector::cur(it));
  EXPECT_NE(&(*it).second, &map.at(3));
}

// The cache is made once per position, also when the slot changes meanwhile.
TEST(VarMapIteratorTest, DereferenceCopiesOncePerPosition) {
  IntMap map;
  map[3] = 33;
  map[4] = 44;
  Iterator it = map.begin();
  EXPECT_FALSE(Inspector::cur_valid(it));

  EXPECT_EQ(it->second, 33);
  EXPECT_TRUE(Inspector::cur_valid(it));
  map.at(3) = 34;
  EXPECT_EQ(it->second, 33);
  ++it;
  EXPECT_FALSE(Inspector::cur_valid(it));
  EXPECT_EQ(it->second, 44);
  EXPECT_EQ(map.find(3)->second, 34);
}

// Copying a node copies two lists; once per position is the promise.
TEST(VarMapIteratorTest, RepeatedDereferenceCopiesNothing) {
  ProbeMap map;
  map[1].payload = 5;
  ProbeMap::VarMapIterator it = map.begin();
  Probe::reset();

  EXPECT_EQ((*it).second.payload, 5);
  EXPECT_EQ(Probe::copies, 1);
  EXPECT_EQ((*it).second.payload, 5);
  EXPECT_EQ(it->second.payload, 5);

  EXPECT_EQ(Probe::copies, 1);
}

// Existence checks on the hot path must build no value.
TEST(VarMapIteratorTest, MakingIteratorBuildsOneDefaultAndContainsNone) {
  ProbeMap map;
  map[1];

  Probe::reset();
  EXPECT_TRUE(map.contains(1));
  EXPECT_FALSE(map.contains(0));
  EXPECT_EQ(Probe::defaults + Probe::copies, 0);

  const ProbeMap::VarMapIterator it(&map, 1);
  EXPECT_EQ(Probe::defaults, 1);
  EXPECT_EQ(Probe::copies, 0);
}

// Advancing skips what is absent and stops at the end.
TEST(VarMapIteratorTest, IncrementSkipsAbsentSlotsAndReachesEnd) {
  IntMap map;
  map[0];
  map[3];
  map[5];
  map.key_erase(5);
  Iterator it = map.begin();

  EXPECT_EQ(&++it, &it);
  EXPECT_EQ(Inspector::pos(it), 3U);
  ++it;
  EXPECT_EQ(Inspector::pos(it), Inspector::values(map).size());
  EXPECT_TRUE(it == map.end());
}

// Erasing under an iterator moves it on at the next comparison.
TEST(VarMapIteratorTest, ComparisonFirstMovesOverSlotsGoneAbsent) {
  IntMap map;
  map[1] = 11;
  map[4] = 44;
  Iterator it = map.find(1);
  EXPECT_EQ(it->second, 11);
  map.key_erase(1);

  EXPECT_TRUE(it == map.find(4));
  EXPECT_EQ(Inspector::pos(it), 4U);
  EXPECT_FALSE(Inspector::cur_valid(it));
  EXPECT_EQ(it->second, 44);

  map.key_erase(4);
  EXPECT_TRUE(map.end() == it);
  EXPECT_FALSE(it != map.end());
}

// Different positions of one map are different.
TEST(VarMapIteratorTest, ComparisonTellsPositionsApart) {
  IntMap map;
  map[1];
  map[4];
  EXPECT_TRUE(map.find(1) == map.begin());
  EXPECT_TRUE(map.find(1) != map.find(4));
  EXPECT_FALSE(map.find(1) == map.end());
}

}  // namespace
}  // namespace vorn::la
