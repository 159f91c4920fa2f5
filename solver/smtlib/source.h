// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_SOURCE_H
#define VORN_SMTLIB_SOURCE_H

#include <cstddef>

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

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_SOURCE_H
