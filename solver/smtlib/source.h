// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_SOURCE_H
#define VORN_SMTLIB_SOURCE_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

namespace vorn::solver {

/// Where a script's bytes come from.
class Source {
 public:
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  virtual ~Source() = default;

  /// Writes between 1 and `capacity` bytes to `data` and returns how many; 0
  /// means that there will never be more. Must return as soon as some bytes
  /// are there, even if fewer than asked for: a command typed at a terminal
  /// is answered only if its last line does not wait for the next one.
  virtual std::size_t read(char* data, std::size_t capacity) = 0;
};

/// A script held in memory, handed out in pieces of at most `piece` bytes.
class StringSource : public Source {
 public:
  /// Hands out `text`. Requires: piece > 0.
  explicit StringSource(std::string text, std::size_t piece = 1 << 16)
      : text_(std::move(text)), piece_(piece) {}

  std::size_t read(char* data, std::size_t capacity) override {
    const std::size_t size =
        std::min({capacity, piece_, text_.size() - position_});
    std::copy_n(text_.data() + position_, size, data);
    position_ += size;
    return size;
  }

 private:
  std::string text_;
  std::size_t piece_;
  std::size_t position_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_SOURCE_H
