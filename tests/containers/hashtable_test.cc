// SPDX-License-Identifier: MIT
#include "vorn/containers/hashtable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "vorn/services/term.h"

// Under the address sanitizer a request for more memory than there is must
// fail as malloc does, not end the program.
extern "C" const char* __asan_default_options() {  // NOLINT
  return "allocator_may_return_null=1";
}

namespace vorn::hsh {
namespace {

using Value = std::pair<const Term_*, const Term_*>;
using Table =
    Hashtable<Value, GetKey_pair<const Term_*, const Term_*>, const Term_*,
              hash<const Term_*>, std::equal_to<const Term_*>>;
using Bucket = Table::Bucket;
using Iterator = Table::iterator;

// The graph's own table is this one.
static_assert(std::is_same_v<Table, Inspector::LearntLemmas>);

static_assert(std::is_same_v<decltype(Bucket::next), Bucket*>);
static_assert(std::is_same_v<decltype(Bucket::value), Value>);
static_assert(offsetof(Bucket, next) == 0);
static_assert(offsetof(Bucket, value) == sizeof(Bucket*));
static_assert(sizeof(Bucket) == 3 * sizeof(void*));

static_assert(
    std::is_same_v<decltype(Iterator::table), const std::vector<Bucket*>*>);
static_assert(std::is_same_v<decltype(Iterator::nbuckets), std::size_t>);
static_assert(std::is_same_v<decltype(Iterator::index), std::size_t>);
static_assert(std::is_same_v<decltype(Iterator::node), Bucket*>);
static_assert(offsetof(Iterator, table) == 0);
static_assert(offsetof(Iterator, nbuckets) == sizeof(void*));
static_assert(offsetof(Iterator, index) == 2 * sizeof(void*));
static_assert(offsetof(Iterator, node) == 3 * sizeof(void*));

static_assert(
    std::is_same_v<decltype(Inspector::chunk_size(std::declval<Table&>())),
                   std::size_t&>);
static_assert(
    std::is_same_v<decltype(Inspector::chunk_growth(std::declval<Table&>())),
                   float&>);
static_assert(
    std::is_same_v<decltype(Inspector::max_chunk_size(std::declval<Table&>())),
                   std::size_t&>);
static_assert(
    std::is_same_v<decltype(Inspector::free_list(std::declval<Table&>())),
                   Bucket*&>);
static_assert(
    std::is_same_v<decltype(Inspector::buckets(std::declval<Table&>())),
                   std::vector<Bucket*>&>);
static_assert(std::is_same_v<decltype(Inspector::size(std::declval<Table&>())),
                             std::size_t&>);
static_assert(
    std::is_same_v<std::invoke_result_t<hash<const Term_*>, const Term_*>,
                   std::uint64_t>);

// Terms with ids 0, 1, 2, ... at addresses that do not change.
class Terms {
 public:
  const Term_* operator[](std::size_t id) {
    while (terms_.size() <= id) terms_.push_back(Term_{terms_.size()});
    return &terms_[id];
  }

 private:
  std::deque<Term_> terms_;
};

struct Inserted {
  bool added;
  std::size_t index;
  Bucket* node;
};

Inserted insert(Table& table, const Term_* key, const Term_* mapped = nullptr) {
  Inserted result{false, static_cast<std::size_t>(-1), nullptr};
  result.added =
      table.do_insert(Value(key, mapped), &result.index, &result.node);
  return result;
}

void fill(Table& table, Terms& terms, std::size_t count) {
  for (std::size_t id = 0; id < count; ++id) insert(table, terms[id]);
}

std::size_t num_buckets(const Table& table) {
  return Inspector::buckets(table).size();
}

// Ids in chain order.
std::vector<std::uint64_t> chain(const Table& table, std::size_t index) {
  std::vector<std::uint64_t> ids;
  for (const Bucket* node = Inspector::buckets(table)[index]; node != nullptr;
       node = node->next) {
    ids.push_back(node->value.first->id);
  }
  return ids;
}

class HashtableTest : public ::testing::Test {
 protected:
  Terms terms_;
  Table table_;
};

// Bucket counts decide when a table grows and how ids spread.
TEST(PrimesTest, TableIsTheKnownAscendingPrimes) {
  const std::array<std::uint64_t, 28> expected = {
      31,        73,         151,        313,       643,       1291,
      2593,      5233,       10501,      21013,     42073,     84181,
      168451,    337219,     674701,     1349473,   2699299,   5398891,
      10798093,  21596719,   43193641,   86387383,  172775299, 345550609,
      691101253, 1382202559, 2764405229, 4294867387};
  EXPECT_EQ(primes, expected);
  EXPECT_TRUE(std::is_sorted(primes.begin(), primes.end()));
  static_assert(std::is_same_v<decltype(primes)::value_type, std::uint64_t>);
}

// The hash must be the id: addresses differ from run to run.
TEST(HashTest, HashOfPointerIsItsId) {
  const Term_ term{0xfedcba9876543210U};
  EXPECT_EQ(hash<const Term_*>()(&term), 0xfedcba9876543210U);
}

// The key of a value is its first half.
TEST(GetKeyPairTest, ReturnsFirst) {
  Terms terms;
  const Value value(terms[1], terms[2]);
  const GetKey_pair<const Term_*, const Term_*> get_key;
  EXPECT_EQ(&get_key(value), &value.first);
}

// Declaration order, checked through the members' addresses.
TEST_F(HashtableTest, LayoutFollowsDeclarationOrder) {
  const auto place = [this](const auto& member) {
    return reinterpret_cast<const char*>(&member) -
           reinterpret_cast<const char*>(&table_);
  };
  EXPECT_EQ(place(Inspector::chunk_size(table_)), 0);
  const std::vector<std::ptrdiff_t> places = {
      place(Inspector::chunk_size(table_)),
      place(Inspector::chunk_growth(table_)),
      place(Inspector::max_chunk_size(table_)),
      place(Inspector::chunks(table_)),
      place(Inspector::free_list(table_)),
      place(Inspector::get_key(table_)),
      place(Inspector::hash(table_)),
      place(Inspector::equal(table_)),
      place(Inspector::buckets(table_)),
      place(Inspector::size(table_))};
  EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
  EXPECT_EQ(std::adjacent_find(places.begin(), places.end()), places.end());
}

// A new table costs its bucket array and nothing else.
TEST_F(HashtableTest, NewTableHasEmptyPoolAndSmallestBucketArray) {
  EXPECT_EQ(Inspector::chunk_size(table_), 16U);
  EXPECT_EQ(Inspector::chunk_growth(table_), 2.0F);
  EXPECT_EQ(Inspector::max_chunk_size(table_), 8192U);
  EXPECT_EQ(Inspector::chunks(table_), nullptr);
  EXPECT_EQ(Inspector::free_list(table_), nullptr);
  EXPECT_EQ(Inspector::buckets(table_), std::vector<Bucket*>(31, nullptr));
  EXPECT_EQ(Inspector::size(table_), 0U);
  EXPECT_EQ(table_.size(), 0U);
}

// No term is at this address. Hidden from the compiler, which would warn.
const Term_* key_nobody_may_read() {
  static const volatile std::uintptr_t address = 8;
  return reinterpret_cast<const Term_*>(address);
}

// An empty filter must answer without reading the term.
TEST_F(HashtableTest, FindInEmptyTableDoesNotTouchTheKey) {
  const Iterator it = table_.find(key_nobody_may_read());

  EXPECT_EQ(it.node, nullptr);
  EXPECT_EQ(it.table, &Inspector::buckets(table_));
  EXPECT_EQ(it.nbuckets, 31U);
  EXPECT_EQ(it.index, 31U);
}

// The same holds for a table that clear() has emptied.
TEST_F(HashtableTest, FindInClearedTableDoesNotTouchTheKey) {
  fill(table_, terms_, 30);
  table_.clear();

  const Iterator it = table_.find(key_nobody_may_read());

  EXPECT_EQ(it.node, nullptr);
  EXPECT_EQ(it.index, 73U);
}

// Callers test the node only; the rest tells where it stands.
TEST_F(HashtableTest, FindOfPresentKeyReportsItsPosition) {
  const Inserted inserted = insert(table_, terms_[40], terms_[3]);

  const Iterator it = table_.find(terms_[40]);

  EXPECT_EQ(it.node, inserted.node);
  EXPECT_EQ(it.node->value, Value(terms_[40], terms_[3]));
  EXPECT_EQ(it.index, 9U);
  EXPECT_EQ(it.nbuckets, 31U);
  EXPECT_EQ(it.table, &Inspector::buckets(table_));
}

// A miss in a filled chain must come to the end position too.
TEST_F(HashtableTest, FindOfAbsentKeyIsEnd) {
  insert(table_, terms_[9]);
  insert(table_, terms_[40]);

  for (const std::size_t id : {71U, 10U}) {
    const Iterator it = table_.find(terms_[id]);
    EXPECT_EQ(it.node, nullptr);
    EXPECT_EQ(it.index, 31U);
    EXPECT_EQ(it.nbuckets, 31U);
  }
}

// The graph writes the mapped term through the reported node.
TEST_F(HashtableTest, InsertOfNewKeyReportsBucketAndNode) {
  const Inserted inserted = insert(table_, terms_[35], terms_[2]);

  EXPECT_TRUE(inserted.added);
  EXPECT_EQ(inserted.index, 4U);
  ASSERT_NE(inserted.node, nullptr);
  EXPECT_EQ(inserted.node->value, Value(terms_[35], terms_[2]));
  EXPECT_EQ(inserted.node->next, nullptr);
  EXPECT_EQ(Inspector::buckets(table_)[4], inserted.node);
  EXPECT_EQ(table_.size(), 1U);
  inserted.node->value.second = terms_[35];
  EXPECT_EQ(table_.find(terms_[35]).node->value.second, terms_[35]);
}

// A clause that is known must not be recorded twice nor overwritten.
TEST_F(HashtableTest, InsertOfPresentKeyReportsOldNodeAndKeepsItsValue) {
  const Inserted first = insert(table_, terms_[35], terms_[2]);

  const Inserted second = insert(table_, terms_[35], terms_[7]);

  EXPECT_FALSE(second.added);
  EXPECT_EQ(second.index, 4U);
  EXPECT_EQ(second.node, first.node);
  EXPECT_EQ(second.node->value.second, terms_[2]);
  EXPECT_EQ(table_.size(), 1U);
  EXPECT_EQ(chain(table_, 4), (std::vector<std::uint64_t>{35}));
}

// A present key can stand anywhere in its chain.
TEST_F(HashtableTest, InsertFindsPresentKeyDeepInItsChain) {
  const Inserted deepest = insert(table_, terms_[4]);
  insert(table_, terms_[35]);
  insert(table_, terms_[66]);

  EXPECT_EQ(insert(table_, terms_[4]).node, deepest.node);
  EXPECT_EQ(table_.find(terms_[4]).node, deepest.node);
  EXPECT_EQ(table_.size(), 3U);
}

// New nodes go in front.
TEST_F(HashtableTest, InsertPushesOntoFrontOfChain) {
  insert(table_, terms_[4]);
  insert(table_, terms_[35]);
  insert(table_, terms_[66]);
  EXPECT_EQ(chain(table_, 4), (std::vector<std::uint64_t>{66, 35, 4}));
}

// Ids need not be unique: keys are compared by address.
TEST_F(HashtableTest, DistinctTermsOfOneIdAreDistinctKeys) {
  const Term_ a{7};
  const Term_ b{7};
  const Term_ c{7};
  const Inserted first = insert(table_, &a, &a);

  EXPECT_EQ(table_.find(&b).node, nullptr);
  const Inserted second = insert(table_, &b, &b);

  EXPECT_TRUE(second.added);
  EXPECT_EQ(second.index, first.index);
  EXPECT_NE(second.node, first.node);
  EXPECT_EQ(table_.find(&a).node, first.node);
  EXPECT_EQ(table_.find(&b).node, second.node);
  EXPECT_EQ(table_.find(&c).node, nullptr);
  EXPECT_EQ(table_.size(), 2U);
}

// The load limit of 0.7 is passed at these three sizes first.
TEST_F(HashtableTest, GrowthHappensOnTheCallBehindTheLoadLimit) {
  const std::pair<std::size_t, std::size_t> points[] = {
      {22, 31}, {52, 73}, {106, 151}};
  std::size_t id = 0;
  for (const auto& [limit, buckets] : points) {
    while (table_.size() < limit) {
      insert(table_, terms_[id++]);
      ASSERT_EQ(num_buckets(table_), buckets) << table_.size();
    }
    insert(table_, terms_[id++]);
    ASSERT_GT(num_buckets(table_), buckets);
  }
  EXPECT_EQ(num_buckets(table_), 313U);
  for (std::size_t k = 0; k < id; ++k) {
    EXPECT_NE(table_.find(terms_[k]).node, nullptr);
  }
}

// The load is tested before the key is looked up.
TEST_F(HashtableTest, InsertOfPresentKeyAtLoadLimitGrows) {
  fill(table_, terms_, 22);
  ASSERT_EQ(num_buckets(table_), 31U);

  const Inserted inserted = insert(table_, terms_[21]);

  EXPECT_FALSE(inserted.added);
  EXPECT_EQ(num_buckets(table_), 73U);
  EXPECT_EQ(inserted.index, 21U);
  EXPECT_EQ(table_.size(), 22U);
}

// The reported index must belong to the array after the growth.
TEST_F(HashtableTest, InsertThatGrowsReportsNewIndex) {
  fill(table_, terms_, 22);

  const Inserted inserted = insert(table_, terms_[72]);

  EXPECT_TRUE(inserted.added);
  EXPECT_EQ(inserted.index, 72U);
  EXPECT_EQ(Inspector::buckets(table_)[72], inserted.node);
}

// Hosts may hold nodes: a growth moves links, not nodes.
TEST_F(HashtableTest, GrowthKeepsNodeAddressesAndAllocatesNoNode) {
  std::vector<const Bucket*> nodes;
  for (std::size_t id = 0; id < 22; ++id) {
    nodes.push_back(insert(table_, terms_[id]).node);
  }
  const std::size_t chunks = Inspector::num_chunks(table_);

  insert(table_, terms_[0]);

  ASSERT_EQ(num_buckets(table_), 73U);
  for (std::size_t id = 0; id < 22; ++id) {
    EXPECT_EQ(table_.find(terms_[id]).node, nodes[id]);
  }
  EXPECT_EQ(Inspector::num_chunks(table_), chunks);
}

// Old buckets in order, each from head to tail, pushed onto new fronts.
TEST_F(HashtableTest, GrowthReversesNodesThatStayTogether) {
  // 5, 78 and 151 share bucket 5 of 73. In 31 buckets they stand in buckets 5,
  // 16 and 27; 2268 = 31 * 73 + 5 stands with 5 in both.
  for (const std::size_t id : {151U, 5U, 2268U, 78U}) {
    insert(table_, terms_[id]);
  }
  ASSERT_EQ(chain(table_, 5), (std::vector<std::uint64_t>{2268, 5}));
  for (std::size_t id = 200; table_.size() < 22; ++id) {
    if (id % 73 != 5) insert(table_, terms_[id]);
  }

  insert(table_, terms_[5]);

  ASSERT_EQ(num_buckets(table_), 73U);
  EXPECT_EQ(chain(table_, 5), (std::vector<std::uint64_t>{151, 78, 5, 2268}));
}

// Chunks double: few allocations, little waste.
TEST_F(HashtableTest, ChunksDoubleAndNodesComeInAddressOrder) {
  const Bucket* const first = insert(table_, terms_[0]).node;
  EXPECT_EQ(Inspector::num_chunks(table_), 1U);
  EXPECT_EQ(Inspector::chunk_size(table_), 32U);
  EXPECT_EQ(Inspector::num_free(table_), 15U);
  // The nodes start right behind the link word.
  EXPECT_EQ(static_cast<const void*>(first),
            static_cast<const void*>(Inspector::chunks(table_) + 1));
  for (std::size_t id = 1; id < 16; ++id) {
    EXPECT_EQ(insert(table_, terms_[id]).node, first + id);
  }
  EXPECT_EQ(Inspector::free_list(table_), nullptr);
  EXPECT_EQ(Inspector::num_chunks(table_), 1U);
}

// The 17th value needs a second chunk, of 32 nodes.
TEST_F(HashtableTest, SeventeenthInsertionAllocatesSecondChunk) {
  fill(table_, terms_, 16);
  const auto* const oldest = Inspector::chunks(table_);

  insert(table_, terms_[16]);

  EXPECT_EQ(Inspector::num_chunks(table_), 2U);
  EXPECT_EQ(Inspector::num_free(table_), 31U);
  EXPECT_EQ(Inspector::chunk_size(table_), 64U);
  // Newest first.
  EXPECT_NE(Inspector::chunks(table_), oldest);
  EXPECT_EQ(Inspector::chunks(table_)->older, oldest);
  EXPECT_EQ(oldest->older, nullptr);
}

// Beyond 8192 nodes a doubling would waste more than it saves.
TEST_F(HashtableTest, ChunkSizeStopsAtItsBound) {
  std::size_t capacity = 0;
  std::size_t size = 16;
  std::size_t chunks = 0;
  for (std::size_t id = 0; id < 40000; ++id) {
    if (id == capacity) {
      capacity += size;
      size = std::min<std::size_t>(2 * size, 8192);
      ++chunks;
    }
    insert(table_, terms_[id]);
    ASSERT_EQ(Inspector::chunk_size(table_), size);
  }
  EXPECT_EQ(size, 8192U);
  EXPECT_EQ(Inspector::num_chunks(table_), chunks);
  EXPECT_EQ(Inspector::num_free(table_), capacity - 40000);
}

// A bound of 0 is none.
TEST_F(HashtableTest, ChunkSizeWithoutBoundKeepsGrowing) {
  Inspector::max_chunk_size(table_) = 0;
  Inspector::chunk_size(table_) = 8192;
  insert(table_, terms_[0]);
  EXPECT_EQ(Inspector::chunk_size(table_), 16384U);
}

// Fractions of a node are cut off, and only a larger size is bounded.
TEST_F(HashtableTest, ChunkSizeIsTruncatedAndBounded) {
  Inspector::chunk_growth(table_) = 1.5F;
  Inspector::chunk_size(table_) = 5;
  insert(table_, terms_[0]);
  EXPECT_EQ(Inspector::num_free(table_), 4U);
  EXPECT_EQ(Inspector::chunk_size(table_), 7U);

  Inspector::max_chunk_size(table_) = 9;
  for (std::size_t id = 1; id < 6; ++id) insert(table_, terms_[id]);
  EXPECT_EQ(Inspector::chunk_size(table_), 9U);
}

// After clear() the values are gone; bucket array and pool stay.
TEST_F(HashtableTest, ClearRemovesValuesAndKeepsBucketsAndPool) {
  fill(table_, terms_, 48);
  const std::size_t chunks = Inspector::num_chunks(table_);
  const Bucket* const* array = Inspector::buckets(table_).data();
  ASSERT_EQ(chunks, 2U);

  table_.clear();

  EXPECT_EQ(table_.size(), 0U);
  EXPECT_EQ(num_buckets(table_), 73U);
  EXPECT_EQ(Inspector::buckets(table_).data(), array);
  EXPECT_EQ(Inspector::buckets(table_), std::vector<Bucket*>(73, nullptr));
  EXPECT_EQ(Inspector::num_chunks(table_), chunks);
  EXPECT_EQ(Inspector::num_free(table_), 48U);
  for (std::size_t id = 0; id < 48; ++id) {
    EXPECT_EQ(table_.find(terms_[id]).node, nullptr);
  }
}

// A solver clears the table in every run; the pool must be used again.
TEST_F(HashtableTest, ReinsertionAfterClearAllocatesNoChunk) {
  fill(table_, terms_, 48);
  const std::size_t chunks = Inspector::num_chunks(table_);
  const std::size_t next = Inspector::chunk_size(table_);
  table_.clear();

  for (std::size_t id = 100; id < 148; ++id) insert(table_, terms_[id]);

  EXPECT_EQ(Inspector::num_chunks(table_), chunks);
  EXPECT_EQ(Inspector::chunk_size(table_), next);
  EXPECT_EQ(Inspector::free_list(table_), nullptr);
  EXPECT_EQ(table_.size(), 48U);
  EXPECT_EQ(table_.find(terms_[0]).node, nullptr);
  EXPECT_NE(table_.find(terms_[147]).node, nullptr);
}

// Each chain's nodes go onto the free list's front, bucket by bucket.
TEST_F(HashtableTest, ClearPutsNodesOntoFrontOfFreeList) {
  const Bucket* const low = insert(table_, terms_[3]).node;
  const Bucket* const tail = insert(table_, terms_[8]).node;
  const Bucket* const head = insert(table_, terms_[39]).node;

  table_.clear();

  const Bucket* node = Inspector::free_list(table_);
  EXPECT_EQ(node, tail);
  EXPECT_EQ(node->next, head);
  EXPECT_EQ(node->next->next, low);
  EXPECT_EQ(Inspector::num_free(table_), 16U);
}

// Nothing to clear, nothing to change.
TEST_F(HashtableTest, ClearOfEmptyTableChangesNothing) {
  table_.clear();
  EXPECT_EQ(num_buckets(table_), 31U);
  EXPECT_EQ(Inspector::num_free(table_), 0U);
  fill(table_, terms_, 3);
  table_.clear();
  const Bucket* const free = Inspector::free_list(table_);
  table_.clear();
  EXPECT_EQ(Inspector::free_list(table_), free);
}

// Keys are borrowed: the destructor must not look at them.
TEST(HashtableLifetimeTest, DestructorDoesNotTouchKeys) {
  Table table;
  {
    Terms terms;
    fill(table, terms, 20);
  }
  EXPECT_EQ(table.size(), 20U);
}

// Nor must clear(), which may run after the host's terms are gone.
TEST(HashtableLifetimeTest, ClearDoesNotTouchKeys) {
  Table table;
  {
    Terms terms;
    fill(table, terms, 20);
  }
  table.clear();
  EXPECT_EQ(table.size(), 0U);
}

// No memory for a chunk: the table is as it was and goes on working.
TEST_F(HashtableTest, FailedChunkThrowsAndLeavesTableAsItWas) {
  fill(table_, terms_, 16);
  const auto* const chunks = Inspector::chunks(table_);
  constexpr std::size_t kTooMany = (std::size_t{1} << 61) / sizeof(Bucket);
  Inspector::chunk_size(table_) = kTooMany;

  EXPECT_THROW(insert(table_, terms_[16]), std::bad_alloc);

  EXPECT_EQ(table_.size(), 16U);
  EXPECT_EQ(Inspector::chunks(table_), chunks);
  EXPECT_EQ(Inspector::chunk_size(table_), kTooMany);
  EXPECT_EQ(Inspector::free_list(table_), nullptr);
  EXPECT_EQ(table_.find(terms_[16]).node, nullptr);
  EXPECT_NE(table_.find(terms_[15]).node, nullptr);

  Inspector::chunk_size(table_) = 32;
  EXPECT_TRUE(insert(table_, terms_[16]).added);
  EXPECT_EQ(table_.size(), 17U);
}

// A chunk of so many nodes that the count of their bytes comes round to 0 is
// still asked for: what malloc does with 0 bytes differs from system to system.
TEST_F(HashtableTest, ChunkOfNoBytesIsAskedForAsOneByte) {
  // 8 bytes for the link and 24 for each of (2^62 - 1) / 3 nodes are 2^65.
  static_assert(sizeof(Bucket) == 24 && sizeof(void*) == 8);
  Inspector::chunk_size(table_) = ((std::size_t{1} << 62) - 1) / 3;
  (void)terms_[0];

  EXPECT_TRUE(test::fails_at(0, [&] { insert(table_, terms_[0]); }));

  EXPECT_EQ(test::refused_malloc_size(), 1U);
  EXPECT_EQ(table_.size(), 0U);
}

// No memory for a larger bucket array: a graph goes on with the table of its
// lemmas, so the table must find what it had and take what comes.
TEST(HashtableLifetimeTest, FailedGrowthThrowsAndLeavesTableAsItWas) {
  Terms terms;
  (void)terms[22];
  const std::ptrdiff_t live = test::num_live();
  {
    Table table;
    fill(table, terms, 22);
    EXPECT_TRUE(test::fails_at(0, [&] { insert(table, terms[22]); }));

    EXPECT_EQ(table.size(), 22U);
    EXPECT_EQ(Inspector::buckets(table).size(), 31U);
    EXPECT_NE(table.find(terms[21]).node, nullptr);
    EXPECT_EQ(table.find(terms[22]).node, nullptr);

    EXPECT_TRUE(insert(table, terms[22]).added);
    EXPECT_EQ(Inspector::buckets(table).size(), 73U);
    for (std::size_t k = 0; k <= 22; ++k) {
      EXPECT_NE(table.find(terms[k]).node, nullptr) << k;
    }
  }
  EXPECT_EQ(test::num_live(), live);
}

}  // namespace
}  // namespace vorn::hsh
