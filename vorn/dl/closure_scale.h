// SPDX-License-Identifier: MIT
#ifndef VORN_DL_CLOSURE_SCALE_H
#define VORN_DL_CLOSURE_SCALE_H

#include <cstdint>

#include "vorn/export.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::dl::closure {

/// Delta-rationals as machine words: sums of words are the words of the sums,
/// in the same order.
///
/// With D and F common denominators of the rational parts and of the eps
/// coefficients, r + k*eps becomes (r*D)*M + k*F. A shortest path visits each
/// of n nodes at most once, so the eps part of its sum stays within n times the
/// largest; with M more than twice that, it never reaches into the rational
/// part, and the order of words is the lexicographic one.
class VORN_EXPORT Scale {
 public:
  /// The least numbers that hold all sums.
  enum class Size { kWord32, kWord64, kExact };

  /// What has to be covered: all weights told so far, and paths of so many
  /// nodes.
  struct Need {
    /// Least common multiples of denominators.
    QNumber rational_denominator = 1;
    QNumber eps_denominator = 1;
    /// Largest magnitudes.
    QNumber largest_rational = 0;
    QNumber largest_eps = 0;
    int num_nodes = 0;

    /// Covers a weight. On failing memory, part of it.
    void add(const la::DNumber& weight);
  };

  /// Whether sums of words stay in place, with the words that there are.
  bool covers(const Need& need) const;
  /// Chooses new words, with room for more nodes. On failing memory the scale
  /// is as it was.
  void fit(const Need& need);

  Size size() const { return size_; }
  /// Requires: size() is not kExact; the weight is covered.
  std::int64_t to_word(const la::DNumber& weight) const;
  /// The sum that a word stands for. Requires: size() is not kExact.
  la::DNumber to_number(std::int64_t word) const;

 private:
  /// Where all sums for `need` fit.
  Size size_for(const Need& need) const;

  QNumber rational_denominator_ = 1;
  QNumber eps_denominator_ = 1;
  /// M.
  QNumber step_ = 1;
  Size size_ = Size::kWord32;
};

}  // namespace vorn::dl::closure

#endif  // VORN_DL_CLOSURE_SCALE_H
