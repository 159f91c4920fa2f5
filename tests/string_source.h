// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_STRING_SOURCE_H
#define VORN_TESTS_STRING_SOURCE_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "solver/smtlib/source.h"

namespace vorn::solver {

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

#endif  // VORN_TESTS_STRING_SOURCE_H
