// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "tests/inspector.h"
#include "vorn/containers/var_map.h"

namespace vorn::la {
namespace {

using Map = VarMap<int, true, true>;
using Entries = std::vector<std::pair<int, int>>;

// A VarMap next to an ordered map and the arithmetic of its growth.
class Twin {
 public:
  explicit Twin(std::uint64_t seed) : random_(seed) {}

  void step() {
    const int key = static_cast<int>(random_() % limit_);
    switch (random_() % 12) {
      case 0:
      case 1:
      case 2:
        map_[key] = value_;
        note(key) = value_;
        ++value_;
        break;
      case 3: {
        const Map& lent = map_;
        EXPECT_EQ(lent[key], note(key));
        break;
      }
      case 4:
      case 5:
      case 6:
        EXPECT_EQ(map_.key_erase(key), expected_.erase(key) == 1);
        break;
      case 7:
        if (random_() % 40 == 0) clear();
        break;
      case 8:
        limit_ = 1 + random_() % 70;
        break;
      default:
        look_up(key);
        break;
    }
  }

  void check() {
    ASSERT_EQ(map_.num_slots(), slots_);
    ASSERT_EQ(Inspector::values(map_).size(), Inspector::present(map_).size());
    ASSERT_EQ(Inspector::num_keys(map_), expected_.size() + overcount_);
    Entries found;
    for (Map::VarMapIterator it = map_.begin(); it != map_.end(); ++it) {
      found.push_back(*it);
    }
    ASSERT_EQ(found, Entries(expected_.begin(), expected_.end()));
    for (int key = 0; key < slots_; ++key) {
      const auto entry = expected_.find(key);
      ASSERT_EQ(Inspector::values(map_)[static_cast<std::size_t>(key)],
                entry == expected_.end() ? 0 : entry->second);
    }
  }

 private:
  int& note(int key) {
    if (key >= slots_) slots_ = std::max(2 * slots_, key + 1);
    return expected_[key];
  }
  void look_up(int key) {
    const auto entry = expected_.find(key);
    const bool there = entry != expected_.end();
    Map::VarMapIterator it = map_.find(key);
    EXPECT_EQ(map_.contains(key), there);
    EXPECT_EQ(it != map_.end(), there);
    if (there) {
      EXPECT_EQ(*it, std::pair(key, entry->second));
    }
  }
  void clear() {
    map_.clear();
    // The count is kept, and stays too high by the keys that were there.
    overcount_ += expected_.size();
    expected_.clear();
    slots_ = 0;
  }

  std::mt19937_64 random_;
  std::uint64_t limit_ = 8;
  int value_ = 1;
  Map map_;
  std::map<int, int> expected_;
  int slots_ = 0;
  std::size_t overcount_ = 0;
};

class VarMapRandomTest : public ::testing::TestWithParam<std::uint64_t> {};

// Each graph table is such a map; any difference loses or invents entries.
TEST_P(VarMapRandomTest, AgreesWithOrderedMapAfterEveryStep) {
  Twin twin(GetParam());
  for (int step = 0; step < 5000 && !HasFailure(); ++step) {
    SCOPED_TRACE(::testing::Message()
                 << "seed " << GetParam() << ", step " << step);
    twin.step();
    twin.check();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, VarMapRandomTest,
                         ::testing::Range(std::uint64_t{1}, std::uint64_t{11}));

}  // namespace
}  // namespace vorn::la
