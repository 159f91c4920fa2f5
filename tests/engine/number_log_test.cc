// SPDX-License-Identifier: MIT
#include "solver/engine/number_log.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace vorn::solver {
namespace {

// Rows of all lengths, some longer than a block, of numbers of all sizes.
TEST(NumberLogTest, GivesBackWhatWasPut) {
  std::mt19937_64 rng(1);
  std::vector<std::vector<std::uint64_t>> rows;
  NumberLog log;
  for (int i = 0; i < 2000; ++i) {
    const std::size_t length = i % 500 == 0 ? 70'000 : rng() % 200;
    rows.emplace_back();
    NumberLog::Writer row = log.begin_row(length + rng() % 3);
    for (std::size_t k = 0; k < length; ++k) {
      rows.back().push_back(rng() >> (29U + rng() % 35));
      row.put(rows.back().back());
    }
    log.end_row(row);
  }
  ASSERT_EQ(log.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    NumberLog::Reader reader = log.row(i);
    for (const std::uint64_t number : rows[i]) {
      ASSERT_EQ(reader.next(), number);
    }
  }
}

}  // namespace
}  // namespace vorn::solver
