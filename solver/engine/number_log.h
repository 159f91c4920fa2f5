// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_NUMBER_LOG_H
#define VORN_SOLVER_ENGINE_NUMBER_LOG_H

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace vorn::solver {

/// Rows of numbers, written once and then kept where they are.
///
/// A number has at most 35 bits, and takes a byte for each seven of them. Rows
/// lie in blocks, since an array that grows by copying would touch twice the
/// memory.
///
/// Usage: begin a row, put its numbers, end it; later read it from where it
/// began, as many numbers as there were. A row that is being written stands by
/// itself, so that its position can stay in a register.
/// Cost: 8 bytes a row. Ownership: owns all. Threads: none.
class NumberLog {
 public:
  /// Reads a row.
  class Reader {
   public:
    /// At the row's first number.
    explicit Reader(const std::uint8_t* position) : position_(position) {}
    /// The next one. Requires: there is one.
    std::uint64_t next() {
      std::uint64_t result = 0;
      for (unsigned shift = 0;; shift += kBits) {
        const std::uint8_t byte = *position_++;
        result |= std::uint64_t{byte & (kMore - 1U)} << shift;
        if (byte < kMore) return result;
      }
    }
    /// As next(), where it is known to have at most 32 bits.
    std::uint32_t next_word() { return static_cast<std::uint32_t>(next()); }

   private:
    const std::uint8_t* position_;
  };

  /// Writes a row.
  class Writer {
   public:
    /// Adds a number. Requires: there is room.
    void put(std::uint64_t number) {
      for (; number >= kMore; number >>= kBits) {
        *position_++ = static_cast<std::uint8_t>(number | kMore);
      }
      *position_++ = static_cast<std::uint8_t>(number);
    }

   private:
    friend NumberLog;
    explicit Writer(std::uint8_t* position) : position_(position) {}

    std::uint8_t* position_;
  };

  /// Starts a row of at most so many numbers. Requires: the last one was ended.
  Writer begin_row(std::size_t most_numbers) {
    const std::size_t most_bytes = most_numbers * kMostBytes;
    if (static_cast<std::size_t>(end_ - next_) < most_bytes) {
      add_block(most_bytes);
    }
    rows_.push_back(next_);
    return Writer(next_);
  }
  /// Ends the row that was begun last.
  void end_row(const Writer& row) {
    assert(row.position_ <= end_);
    next_ = row.position_;
  }

  /// How many rows there are.
  std::size_t size() const { return rows_.size(); }
  /// Reads row number i, from 0.
  Reader row(std::size_t i) const { return Reader(rows_[i]); }

 private:
  static constexpr unsigned kBits = 7;
  static constexpr std::uint8_t kMore = 1U << kBits;  // another byte follows
  static constexpr std::size_t kMostBytes = 5;        // of a number
  static constexpr std::size_t kBlock = std::size_t{1} << 16U;

  void add_block(std::size_t least) {
    const std::size_t size = std::max(kBlock, least);
    // Owned before the list may have to grow.
    std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[size]);
    blocks_.push_back(std::move(block));
    next_ = blocks_.back().get();
    end_ = next_ + size;
  }

  std::vector<std::unique_ptr<std::uint8_t[]>> blocks_;
  std::vector<const std::uint8_t*> rows_;
  // Of the last block, what is free.
  std::uint8_t* next_ = nullptr;
  std::uint8_t* end_ = nullptr;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_NUMBER_LOG_H
