// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_TEXT_SOURCE_H
#define VORN_CUBES_TEXT_SOURCE_H

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "solver/smtlib/source.h"

namespace vorn::solver {

/// A script that is held in memory.
class TextSource : public Source {
 public:
  /// Borrows the text.
  explicit TextSource(std::string_view text) : text_(text) {}

  std::size_t read(char* data, std::size_t capacity) override {
    const std::size_t size = std::min(capacity, text_.size());
    std::copy_n(text_.data(), size, data);
    text_.remove_prefix(size);
    return size;
  }

 private:
  std::string_view text_;
};

}  // namespace vorn::solver

#endif  // VORN_CUBES_TEXT_SOURCE_H
