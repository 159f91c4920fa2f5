// SPDX-License-Identifier: MIT
#ifndef VORN_FUZZ_WEIGHT_READER_H
#define VORN_FUZZ_WEIGHT_READER_H

#include <gmpxx.h>

#include <cstddef>

#include "fuzz/byte_reader.h"
#include "tests/model/graph_model.h"

namespace vorn::fuzz {

/// A magnitude: a digit, or a number beside a power of two with one of the
/// exponents, which are to be those of the edges of words and beyond.
template <std::size_t N>
mpq_class read_size(ByteReader& input, const unsigned (&exponents)[N]) {
  const int digit = input.below_int(10 + static_cast<int>(N));
  if (digit < 10) return digit;
  mpz_class power = 1;
  power <<= exponents[digit - 10];
  return mpq_class(mpz_class(power + input.below_int(7) - 3));
}

/// A weight: a digit for its kind, and one or more for its sizes.
template <std::size_t N>
model::Weight read_weight(ByteReader& input, const unsigned (&exponents)[N]) {
  model::Weight weight;
  const int kind = input.below_int(10);
  weight.rational = read_size(input, exponents);
  switch (kind) {
    case 0:  // a size
    case 1:  // the negative of one
      break;
    case 2:  // strict
    case 3:
      weight.eps = -1;
      break;
    case 4:  // a size over another
    case 5:
    case 6:
    case 7: {
      const mpq_class second = read_size(input, exponents);
      if (second != 0) weight.rational /= second;
      weight.eps = kind < 6 ? 0 : -1;
      break;
    }
    default:  // with any eps part
      weight.eps = read_size(input, exponents);
      if (input.below(2) == 1) weight.eps = -weight.eps;
      if (input.below(4) == 1) weight.eps /= 3;
      break;
  }
  if (kind % 2 == 1) weight.rational = -weight.rational;
  return weight;
}

}  // namespace vorn::fuzz

#endif  // VORN_FUZZ_WEIGHT_READER_H
