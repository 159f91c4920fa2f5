// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <random>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tests/inspector.h"
#include "vorn/containers/hashtable.h"
#include "vorn/services/term.h"

namespace vorn::hsh {
namespace {

using Value = std::pair<const Term_*, const Term_*>;
using Table =
    Hashtable<Value, GetKey_pair<const Term_*, const Term_*>, const Term_*,
              hash<const Term_*>, std::equal_to<const Term_*>>;
using Bucket = Table::Bucket;

// A table next to an unordered map, and next to lists that follow the rules
// for chains, free nodes and chunks.
class Twin {
 public:
  Twin(std::uint64_t seed, std::size_t num_terms, std::uint64_t num_ids)
      : random_(seed) {
    for (std::size_t k = 0; k < num_terms; ++k) {
      terms_.push_back(Term_{random_() % num_ids});
    }
  }

  void step() {
    const Term_* const key = &terms_[random_() % terms_.size()];
    switch (random_() % 8) {
      case 0:
      case 1:
        find(key);
        break;
      case 2:
        if (random_() % 300 == 0) clear();
        break;
      default:
        insert(key, &terms_[random_() % terms_.size()]);
        break;
    }
  }

  void check_all() {
    ASSERT_EQ(table_.size(), expected_.size());
    const std::vector<Bucket*>& buckets = Inspector::buckets(table_);
    ASSERT_EQ(buckets.size(), chains_.size());
    for (std::size_t index = 0; index < buckets.size(); ++index) {
      std::vector<const Term_*> keys;
      for (const Bucket* n = buckets[index]; n != nullptr; n = n->next) {
        keys.push_back(n->value.first);
        ASSERT_EQ(n->value.second, expected_.at(n->value.first).mapped);
        ASSERT_EQ(n, expected_.at(n->value.first).node);
      }
      ASSERT_TRUE(std::equal(keys.begin(), keys.end(), chains_[index].rbegin(),
                             chains_[index].rend()))
          << "chain " << index;
    }
    ASSERT_EQ(Inspector::num_free(table_), capacity_ - expected_.size());
    ASSERT_EQ(Inspector::num_chunks(table_), num_chunks_);
  }

 private:
  struct Entry {
    const Term_* mapped;
    const Bucket* node;
  };

  std::size_t index_of(const Term_* key) const {
    return static_cast<std::size_t>(key->id % chains_.size());
  }

  // Chains are kept with their front at the back.
  void grow_if_loaded() {
    const float load = static_cast<float>(expected_.size()) /
                       static_cast<float>(chains_.size());
    if (!(static_cast<double>(load) > 0.7)) return;
    const auto* next = std::find_if(
        primes.begin(), primes.end(),
        [this](std::uint64_t prime) { return prime > chains_.size(); });
    std::vector<std::vector<const Term_*>> old(*next);
    old.swap(chains_);
    for (std::vector<const Term_*>& chain : old) {
      for (auto key = chain.rbegin(); key != chain.rend(); ++key) {
        chains_[index_of(*key)].push_back(*key);
      }
    }
  }

  void insert(const Term_* key, const Term_* mapped) {
    grow_if_loaded();
    std::size_t index = 0;
    Bucket* node = nullptr;
    const bool added = table_.do_insert(Value(key, mapped), &index, &node);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(index, index_of(key));
    const bool fresh = expected_.count(key) == 0;
    EXPECT_EQ(added, fresh);
    if (fresh) {
      chains_[index_of(key)].push_back(key);
      if (expected_.size() == capacity_) {
        capacity_ += chunk_;
        chunk_ = std::min<std::size_t>(2 * chunk_, 8192);
        ++num_chunks_;
      }
      expected_[key] = {mapped, node};
    }
    EXPECT_EQ(node, expected_.at(key).node);
    EXPECT_EQ(node->value, Value(key, expected_.at(key).mapped));
    EXPECT_EQ(Inspector::buckets(table_).size(), chains_.size());
  }

  void find(const Term_* key) {
    const Table::iterator it = table_.find(key);
    EXPECT_EQ(it.table, &Inspector::buckets(table_));
    EXPECT_EQ(it.nbuckets, chains_.size());
    const auto entry = expected_.find(key);
    if (entry == expected_.end()) {
      EXPECT_EQ(it.node, nullptr);
      EXPECT_EQ(it.index, chains_.size());
    } else {
      EXPECT_EQ(it.node, entry->second.node);
      EXPECT_EQ(it.index, index_of(key));
    }
  }

  void clear() {
    table_.clear();
    expected_.clear();
    for (std::vector<const Term_*>& chain : chains_) chain.clear();
  }

  std::mt19937_64 random_;
  std::deque<Term_> terms_;
  Table table_;
  std::unordered_map<const Term_*, Entry> expected_;
  std::vector<std::vector<const Term_*>> chains_{31};
  std::size_t capacity_ = 0;
  std::size_t chunk_ = 16;
  std::size_t num_chunks_ = 0;
};

class HashtableRandomTest : public ::testing::TestWithParam<std::uint64_t> {};

// The lemma filter loses or repeats clauses if its table does.
TEST_P(HashtableRandomTest, AgreesWithModel) {
  // Few ids give long chains, many ids large tables.
  const std::uint64_t ids[] = {3, 200, 100000, ~std::uint64_t{0}};
  const std::size_t terms[] = {60, 400, 3000, 20000};
  for (int shape = 0; shape < 4; ++shape) {
    Twin twin(GetParam(), terms[shape], ids[shape]);
    for (int step = 0; step < 12000 && !HasFailure(); ++step) {
      SCOPED_TRACE(::testing::Message() << "seed " << GetParam() << ", shape "
                                        << shape << ", step " << step);
      twin.step();
      if (step % 500 == 0 || step < 120) twin.check_all();
    }
    twin.check_all();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, HashtableRandomTest,
                         ::testing::Range(std::uint64_t{1}, std::uint64_t{6}));

}  // namespace
}  // namespace vorn::hsh
