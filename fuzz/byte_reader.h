// SPDX-License-Identifier: MIT
#ifndef VORN_FUZZ_BYTE_READER_H
#define VORN_FUZZ_BYTE_READER_H

#include <cstddef>
#include <cstdint>

namespace vorn::fuzz {

/// Hands out an input's bytes as choices. Behind its end all choices are 0.
///
/// A byte counts from the character '0', so that a choice below ten is its
/// digit in the input and inputs can be written by hand. Spaces and newlines
/// are passed over.
class ByteReader {
 public:
  /// `data` is borrowed.
  ByteReader(const std::uint8_t* data, std::size_t size)
      : data_(data), size_(size) {
    skip_space();
  }

  bool at_end() const { return position_ == size_; }

  /// The next byte as it is, 0 behind the end.
  std::uint8_t byte() {
    if (at_end()) return 0;
    const std::uint8_t result = data_[position_++];
    skip_space();
    return result;
  }

  /// A choice from 0 to bound - 1, by one byte while the bound is at most 256
  /// and by two beyond. Requires: 0 < bound <= 65536.
  unsigned below(unsigned bound) {
    if (at_end()) return 0;
    unsigned value = digit();
    if (bound > 256) value = 256 * value + digit();
    return value % bound;
  }
  int below_int(int bound) {
    return static_cast<int>(below(static_cast<unsigned>(bound)));
  }

 private:
  void skip_space() {
    while (!at_end() && (data_[position_] == ' ' || data_[position_] == '\n')) {
      ++position_;
    }
  }
  unsigned digit() { return (byte() - unsigned{'0'}) & 0xFFU; }

  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t position_ = 0;
};

}  // namespace vorn::fuzz

#endif  // VORN_FUZZ_BYTE_READER_H
