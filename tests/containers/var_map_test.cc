// SPDX-License-Identifier: MIT
#include "vorn/containers/var_map.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/build_kind.h"
#include "tests/containers/probe.h"
#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/blocks_in_use.h"
#include "vorn/dl/edge.h"
#include "vorn/dl/node.h"
#include "vorn/numbers/block_pool.h"
#include "vorn/numbers/d_number.h"

namespace vorn::la {
namespace {

using IntMap = VarMap<int, true, true>;
using Iterator = IntMap::VarMapIterator;
using test::Probe;

static_assert(
    std::is_same_v<decltype(Inspector::values(std::declval<IntMap&>())),
                   std::vector<int>&>);
static_assert(
    std::is_same_v<decltype(Inspector::present(std::declval<IntMap&>())),
                   std::vector<char>&>);
static_assert(
    std::is_same_v<decltype(Inspector::num_keys(std::declval<IntMap&>())),
                   std::size_t&>);
static_assert(sizeof(IntMap) == sizeof(std::vector<int>) +
                                    sizeof(std::vector<char>) +
                                    sizeof(std::size_t));
static_assert(std::is_same_v<decltype(std::declval<const IntMap&>()[0]), int&>);

std::vector<int> keys_of(const IntMap& map) {
  std::vector<int> keys;
  for (IntMap::VarMapIterator it = map.begin(); it != map.end(); ++it) {
    keys.push_back((*it).first);
  }
  return keys;
}

using ProbeMap = VarMap<Probe, true, true>;

// The tests read private members by name; their places are part of the type.
TEST(VarMapTest, LayoutIsValuesThenPresenceThenCount) {
  const IntMap map;
  EXPECT_EQ(Inspector::offset_in(&map, &Inspector::values(map)), 0);
  EXPECT_EQ(Inspector::offset_in(&map, &Inspector::present(map)),
            std::ptrdiff_t{sizeof(std::vector<int>)});
  EXPECT_EQ(Inspector::offset_in(&map, &Inspector::num_keys(map)),
            std::ptrdiff_t{sizeof(std::vector<int>)} +
                std::ptrdiff_t{sizeof(std::vector<char>)});
}

// An empty map must not offer a position.
TEST(VarMapTest, NewMapIsEmpty) {
  const IntMap map;

  EXPECT_TRUE(Inspector::values(map).empty());
  EXPECT_TRUE(Inspector::present(map).empty());
  EXPECT_EQ(Inspector::num_keys(map), 0U);
  EXPECT_EQ(map.num_slots(), 0);
  EXPECT_TRUE(map.begin() == map.end());
  EXPECT_TRUE(map.find(0) == map.end());
  EXPECT_FALSE(map.contains(0));
}

/// What stands in a slot, whether its key is present or not.
template <class Map>
const auto& slot(const Map& map, int key) {
  return Inspector::values(map)[static_cast<std::size_t>(key)];
}

// Slots below a far key exist but are absent, with default values.
TEST(VarMapTest, IndexBeyondEmptyMapMakesExactlyTheSlotsNeeded) {
  IntMap map;

  map[5] = 42;

  EXPECT_EQ(map.num_slots(), 6);
  EXPECT_EQ(Inspector::present(map).size(), 6U);
  for (int key = 0; key < 5; ++key) {
    EXPECT_FALSE(map.contains(key));
    EXPECT_EQ(slot(map, key), 0);
  }
  EXPECT_TRUE(map.contains(5));
  EXPECT_EQ(map.at(5), 42);
  EXPECT_EQ(Inspector::num_keys(map), 1U);
}

// A key counted twice would never be counted out.
TEST(VarMapTest, IndexOfPresentKeyCountsItOnce) {
  IntMap map;
  map[5] = 42;

  EXPECT_EQ(map[5], 42);

  EXPECT_EQ(Inspector::num_keys(map), 1U);
  EXPECT_EQ(map.num_slots(), 6);
}

// Presence is a one in a byte, which begin() and others read.
TEST(VarMapTest, PresenceFlagsAreZeroAndOne) {
  IntMap map;
  map[0];
  map[2];
  EXPECT_EQ(Inspector::present(map), (std::vector<char>{1, 0, 1}));
}

// Doubling keeps insertion amortised; a jump must not double in steps.
TEST(VarMapTest, GrowthDoublesOrJumpsToKey) {
  IntMap from_zero;
  from_zero[0];
  EXPECT_EQ(from_zero.num_slots(), 1);
  from_zero[1];
  EXPECT_EQ(from_zero.num_slots(), 2);
  from_zero[2];
  EXPECT_EQ(from_zero.num_slots(), 4);

  IntMap from_nine;
  from_nine[9];
  EXPECT_EQ(from_nine.num_slots(), 10);
  from_nine[10];
  EXPECT_EQ(from_nine.num_slots(), 20);

  IntMap doubled;
  doubled[5];
  doubled[6];
  EXPECT_EQ(doubled.num_slots(), 12);

  IntMap jumped;
  jumped[5];
  jumped[40];
  EXPECT_EQ(jumped.num_slots(), 41);
  EXPECT_EQ(Inspector::present(jumped).size(), 41U);
}

// The last key that needs no growth.
TEST(VarMapTest, IndexOfLastSlotDoesNotGrow) {
  IntMap map;
  map[5];
  map[6];
  map[11];
  EXPECT_EQ(map.num_slots(), 12);
}

// A growth relocates the values; none may be lost.
TEST(VarMapTest, GrowthKeepsOldEntriesAndAbsences) {
  IntMap map;
  map[0] = 10;
  map[3] = 13;

  map[100] = 110;

  EXPECT_EQ(map.at(0), 10);
  EXPECT_EQ(map.at(3), 13);
  EXPECT_EQ(map.at(100), 110);
  EXPECT_EQ(keys_of(map), (std::vector<int>{0, 3, 100}));
}

// Potentials are read through maps that are only lent.
TEST(VarMapTest, IndexOfConstMapMakesAbsentKeyPresent) {
  const IntMap map;

  EXPECT_EQ(map[3], 0);
  map[4] = 7;

  EXPECT_TRUE(map.contains(3));
  EXPECT_EQ(map.at(4), 7);
  EXPECT_EQ(Inspector::num_keys(map), 2U);
}

// Within one growth all references name the slots themselves.
TEST(VarMapTest, IndexReturnsTheSlotItself) {
  IntMap map;
  map[9];
  int& slot = map[4];
  slot = 17;
  EXPECT_EQ(&slot, &map[4]);
  EXPECT_EQ(&slot, &Inspector::values(map)[4]);
  EXPECT_EQ(&slot, &map.at(4));
  EXPECT_EQ(map[4], 17);
}

// Absent keys, within and beyond the slots, must not yield a position.
TEST(VarMapTest, FindOfAbsentKeyIsEnd) {
  IntMap map;
  map[5];

  EXPECT_TRUE(map.find(2) == map.end());
  EXPECT_TRUE(map.find(6) == map.end());
  EXPECT_TRUE(map.find(1000000) == map.end());
  const Iterator it = map.find(2);
  EXPECT_EQ(Inspector::pos(it), 6U);
}

// The position that find gives has not been read yet.
TEST(VarMapTest, FindOfPresentKeyPointsAtIt) {
  IntMap map;
  map[5] = 50;
  map[9] = 90;

  Iterator it = map.find(5);

  EXPECT_EQ(Inspector::pos(it), 5U);
  EXPECT_FALSE(Inspector::cur_valid(it));
  EXPECT_FALSE(it == map.end());
  EXPECT_EQ(*it, std::pair(5, 50));
  EXPECT_EQ(it->second, 50);
  ++it;
  EXPECT_EQ(*it, std::pair(9, 90));
}

// Looking must not leave anything behind.
TEST(VarMapTest, FindAndContainsInsertNothing) {
  IntMap map;
  map[2];
  (void)map.find(1);
  (void)map.find(50);
  EXPECT_FALSE(map.contains(1));
  EXPECT_FALSE(map.contains(50));
  EXPECT_EQ(map.num_slots(), 3);
  EXPECT_EQ(Inspector::num_keys(map), 1U);
}

// A slot is handed out again later and must hold a default then.
TEST(VarMapTest, KeyEraseOfPresentKeyResetsSlot) {
  IntMap map;
  map[2] = 22;
  map[5] = 55;

  EXPECT_TRUE(map.key_erase(2));

  EXPECT_FALSE(map.contains(2));
  EXPECT_EQ(Inspector::values(map)[2], 0);
  EXPECT_EQ(Inspector::num_keys(map), 1U);
  EXPECT_EQ(map.num_slots(), 6);
  EXPECT_EQ(map.at(5), 55);
  EXPECT_EQ(map[2], 0);
}

// A false count would let begin() overlook keys.
TEST(VarMapTest, KeyEraseOfAbsentKeyChangesNothing) {
  IntMap map;
  map[5] = 55;

  EXPECT_FALSE(map.key_erase(2));
  EXPECT_FALSE(map.key_erase(6));
  EXPECT_FALSE(map.key_erase(1000));
  EXPECT_EQ(Inspector::num_keys(map), 1U);
  EXPECT_EQ(map.num_slots(), 6);

  EXPECT_TRUE(map.key_erase(5));
  EXPECT_FALSE(map.key_erase(5));
  EXPECT_EQ(Inspector::num_keys(map), 0U);
}

// Iteration order is what dumps and reset rely on.
TEST(VarMapTest, IterationVisitsPresentKeysInAscendingOrder) {
  IntMap map;
  map[7] = 77;
  map[0] = 1;
  map[3] = 33;
  map[11];
  ASSERT_EQ(map.num_slots(), 16);
  map.key_erase(11);

  EXPECT_EQ(keys_of(map), (std::vector<int>{0, 3, 7}));
}

// As in a table of twelve slots whose last ones are absent.
TEST(VarMapTest, IterationStopsBehindLastPresentKey) {
  IntMap map;
  map[5];
  map[6];
  map.key_erase(5);
  map.key_erase(6);
  ASSERT_EQ(map.num_slots(), 12);
  map[0];
  map[3];
  map[7];

  EXPECT_EQ(keys_of(map), (std::vector<int>{0, 3, 7}));
}

// begin() starts at the lowest present key, not at slot 0.
TEST(VarMapTest, BeginSkipsAbsentSlots) {
  IntMap map;
  map[4] = 44;
  Iterator it = map.begin();
  EXPECT_EQ(Inspector::pos(it), 4U);
  EXPECT_EQ(it->first, 4);
}

// The count lets begin() of an emptied map answer without a scan.
TEST(VarMapTest, BeginWithCountZeroIsEndAtOnce) {
  IntMap map;
  map[4] = 44;
  Inspector::num_keys(map) = 0;

  const Iterator it = map.begin();

  EXPECT_EQ(Inspector::pos(it), 5U);
}

// All keys gone, slots still there.
TEST(VarMapTest, BeginAfterErasingAllKeysIsEnd) {
  IntMap map;
  map[4];
  map.key_erase(4);
  const Iterator it = map.begin();
  EXPECT_TRUE(it == map.end());
  EXPECT_EQ(Inspector::pos(it), 5U);
}

// The count is a hint that may be too high; begin() must survive that.
TEST(VarMapTest, ClearDestroysSlotsAndKeepsCount) {
  IntMap map;
  map[4] = 44;
  map[2] = 22;

  map.clear();

  EXPECT_EQ(map.num_slots(), 0);
  EXPECT_TRUE(Inspector::present(map).empty());
  EXPECT_EQ(Inspector::num_keys(map), 2U);
  EXPECT_TRUE(map.begin() == map.end());
  EXPECT_TRUE(map.find(4) == map.end());
  EXPECT_FALSE(map.contains(4));
  EXPECT_FALSE(map.key_erase(4));
}

// A cleared map is used again by the next run of a solver.
TEST(VarMapTest, ClearedMapStartsFromNoSlots) {
  IntMap map;
  map[40] = 44;
  map.clear();

  map[2] = 5;

  EXPECT_EQ(map.num_slots(), 3);
  EXPECT_EQ(keys_of(map), (std::vector<int>{2}));
  EXPECT_EQ(map.at(2), 5);
  EXPECT_FALSE(map.contains(1));
}

// Values own blocks; clearing must release them.
TEST(VarMapTest, ClearAndEraseReleaseTheValues) {
  const DNumber watched(7, 0);
  VarMap<DNumber, true, true> map;
  map[0] = watched;
  map[3] = watched;
  EXPECT_EQ(Inspector::refcount(watched), 3);

  map.key_erase(0);
  EXPECT_EQ(Inspector::refcount(watched), 2);
  EXPECT_EQ(Inspector::block(slot(map, 0)), &DNumber::zero);
  map.clear();
  EXPECT_EQ(Inspector::refcount(watched), 1);
}

// The two slot kinds of the graph: absent edges and nodes must be defaults.
TEST(VarMapTest, AbsentEdgesAndNodesAreDefaults) {
  VarMap<dl::Edge, true, true> edges;
  edges[3] = dl::Edge(1, 2, DNumber(5, 0), 9);
  EXPECT_EQ(slot(edges, 0).source, -1);
  EXPECT_EQ(slot(edges, 0).target, -1);
  EXPECT_EQ(slot(edges, 0).id, -1);
  edges.key_erase(3);
  EXPECT_EQ(slot(edges, 3).source, -1);
  EXPECT_EQ(slot(edges, 3).id, -1);
  EXPECT_EQ(slot(edges, 3).weight.to_str(), "0");

  VarMap<dl::Node, true, true> nodes;
  nodes[2].set_pred_edge(7);
  EXPECT_EQ(slot(nodes, 1).pred_edge(), -1);
  EXPECT_TRUE(slot(nodes, 1).pushed().empty());
  nodes.key_erase(2);
  EXPECT_EQ(slot(nodes, 2).pred_edge(), -1);
}

// One default per growth: a block per new slot would be a waste of memory.
TEST(VarMapTest, GrowthFillsSlotsWithCopiesOfOneDefault) {
  ProbeMap probes;
  Probe::reset();
  probes[9];
  EXPECT_EQ(Probe::defaults, 1);

  VarMap<dl::Edge, true, true> edges;
  edges[9];
  EXPECT_EQ(Inspector::refcount(slot(edges, 0).weight), 10);
  EXPECT_EQ(Inspector::block(slot(edges, 0).weight),
            Inspector::block(slot(edges, 8).weight));

  const std::size_t news = test::num_new();
  VarMap<DNumber, true, true> numbers;
  numbers[9];
  EXPECT_EQ(Inspector::block(slot(numbers, 4)), &DNumber::zero);
  EXPECT_EQ(test::num_new(), news + 2);
}

// The pair map of the lemma search reads (0, 0) where nothing was written.
TEST(VarMapTest, AbsentPairsAreZeros) {
  VarMap<std::pair<int, int>, true, true> pairs;
  pairs[3] = {4, 5};
  EXPECT_EQ(pairs[1], std::pair(0, 0));
  pairs.key_erase(3);
  EXPECT_EQ(pairs[3], std::pair(0, 0));
}

// Every allocation of a growth fails in turn; the second belongs to the flags
// and finds the values already grown.
TEST(VarMapTest, FailedGrowthLeavesMapAsItWas) {
  IntMap map;
  map[1] = 11;
  map[2] = 22;
  ASSERT_EQ(map.num_slots(), 4);
  for (std::size_t k = 0; k < 2; ++k) {
    EXPECT_TRUE(test::fails_at(k, [&] { map[50] = 5; })) << k;
    EXPECT_EQ(map.num_slots(), 4) << k;
    EXPECT_EQ(Inspector::present(map).size(), 4U) << k;
    EXPECT_EQ(Inspector::num_keys(map), 2U) << k;
    EXPECT_EQ(keys_of(map), (std::vector<int>{1, 2})) << k;
    EXPECT_EQ(map.at(1), 11) << k;
    EXPECT_EQ(map.at(2), 22) << k;
    EXPECT_TRUE(map.find(50) == map.end()) << k;
  }

  EXPECT_FALSE(test::fails_at(2, [&] { map[50] = 5; }));
  EXPECT_EQ(map.at(50), 5);
  EXPECT_EQ(keys_of(map), (std::vector<int>{1, 2, 50}));
}

// An edge map's growth also allocates the default edge's weight.
TEST(VarMapTest, FailedGrowthOfEdgesLeaksNothing) {
  // A thread's first block to come back opens its pool, if there is memory.
  static_cast<void>(DNumber(1, 0));
  const DNumber weight(7, 0);
  VarMap<dl::Edge, true, true> map;
  map[1] = dl::Edge(3, 4, weight, 5);
  const std::ptrdiff_t before = test::blocks_in_use();
  std::size_t failures = 0;
  while (test::fails_at(failures, [&] { map[50]; })) {
    ++failures;
    ASSERT_LT(failures, 10U);
    EXPECT_EQ(map.num_slots(), 2);
    EXPECT_EQ(Inspector::present(map).size(), 2U);
    EXPECT_EQ(map.at(1).source, 3);
    EXPECT_EQ(Inspector::refcount(weight), 2);
    EXPECT_EQ(test::blocks_in_use(), before);
  }
  // A block that one failure left over serves the next attempt.
  EXPECT_EQ(failures, VORN_RECYCLES_BLOCKS != 0 ? 2U : 3U);
  EXPECT_EQ(map.num_slots(), 51);
}

// A value whose copy throws stops the filling half way.
TEST(VarMapTest, FailedCopyDuringGrowthLeavesMapAsItWas) {
  ProbeMap map;
  map[3].payload = 33;
  for (int allowed = 0; allowed < 8; ++allowed) {
    Probe::copies_allowed = allowed;
    EXPECT_THROW(map[9], std::bad_alloc) << allowed;
    Probe::reset();
    EXPECT_EQ(map.num_slots(), 4);
    EXPECT_EQ(Inspector::present(map).size(), 4U);
    EXPECT_EQ(Inspector::num_keys(map), 1U);
    EXPECT_EQ(map.at(3).payload, 33);
  }
  map[9];
  EXPECT_EQ(map.num_slots(), 10);
}

// An absent key would be read as a default, or beyond the slots.
TEST(VarMapDeathTest, AtOfAbsentKeyIsAssertedInDebugBuilds) {
  if (!test::kAsserts) GTEST_SKIP() << "built without assertions";
  IntMap map;
  map[3] = 5;
  const IntMap& constant = map;

  EXPECT_EQ(map.at(3) + constant.at(3), 10);
  EXPECT_DEATH(map.at(2), "contains");
  EXPECT_DEATH(constant.at(4), "contains");
  map.key_erase(3);
  EXPECT_DEATH(map.at(3), "contains");
}

}  // namespace
}  // namespace vorn::la
