// SPDX-License-Identifier: MIT
#ifndef VORN_NUMBERS_BIG_REPR_H
#define VORN_NUMBERS_BIG_REPR_H

#include <gmp.h>

#include <cstdint>

#include "vorn/numbers/q_number.h"

// Internal to vorn/numbers: the block behind a big QNumber and the helpers that
// its source files share. Not installed with the public headers' promises.

namespace vorn {

// mpz_*_si and mpz_*_ui take longs; the word arithmetic relies on 64 bits.
static_assert(sizeof(long) == sizeof(std::int64_t),
              "a long must hold a 64-bit word");

/// A GMP integer that frees itself. Starts at 0 with one limb of its own, so
/// that a value swapped out of it into a block keeps the block's promise that
/// a 64-bit value can be stored without allocating.
class Integer {
 public:
  Integer() { mpz_init_set_si(value_, 0); }
  explicit Integer(std::int64_t n) { mpz_init_set_si(value_, n); }
  ~Integer() { mpz_clear(value_); }
  Integer(const Integer&) = delete;
  Integer& operator=(const Integer&) = delete;
  mpz_ptr get() { return value_; }

 private:
  mpz_t value_;
};

/// Numerator and denominator of a value in the big form.
struct QNumber::big_repr {
  mpz_t num;
  mpz_t den;

  big_repr(std::int64_t n, std::int64_t d) : big_repr() {
    mpz_set_si(num, n);
    mpz_set_si(den, d);
  }
  big_repr(const big_repr& other) : big_repr(0, 1) {
    mpz_set(num, other.num);
    mpz_set(den, other.den);
  }
  big_repr& operator=(const big_repr&) = delete;
  ~big_repr() {
    mpz_clear(num);
    mpz_clear(den);
  }

 private:
  // mpz_init allocates nothing. The other constructors delegate here, so that
  // the destructor runs when one of their allocations fails.
  big_repr() {
    mpz_init(num);
    mpz_init(den);
  }
};

inline QNumber::big_repr* QNumber::block() const {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the word is the pointer.
  return reinterpret_cast<big_repr*>(static_cast<std::uintptr_t>(num_));
}

/// Magnitude as an unsigned word; right for -2^63 too.
inline std::uint64_t magnitude(std::int64_t x) {
  const auto word = static_cast<std::uint64_t>(x);
  return x < 0 ? std::uint64_t{0} - word : word;
}

/// Greatest common divisor; gcd(0, b) = b. Stein's binary algorithm: shifts
/// and subtractions where Euclid's loop divides, which takes several times as
/// long. The shift of the next step is read off the difference before its
/// magnitude is known (x and -x end in as many zero bits), which shortens each
/// step.
inline std::uint64_t gcd(std::uint64_t a, std::uint64_t b) {
  if (a == 0) return b;
  if (b == 0) return a;
  const int twos = __builtin_ctzll(a | b);
  a >>= __builtin_ctzll(a);
  b >>= __builtin_ctzll(b);
  while (a != b) {
    const std::uint64_t difference = a - b;
    const int shift = __builtin_ctzll(difference);
    const std::uint64_t apart = a < b ? b - a : difference;
    b = a < b ? a : b;
    a = apart >> shift;
  }
  return b << twos;
}

/// gcd of two magnitudes of which one is at most 2^63 - 1, as a signed word.
inline std::int64_t signed_gcd(std::uint64_t a, std::uint64_t b) {
  return static_cast<std::int64_t>(gcd(a, b));
}

/// x / d, exact or truncated. Requires: d > 0. Divides words of 32 bits, which
/// is faster, when both are that short, as the parts of most fractions are.
inline std::int64_t quotient(std::int64_t x, std::int64_t d) {
  if (d == 1) return x;
  if (((x | d) >> 32) == 0) {
    return static_cast<std::int64_t>(static_cast<std::uint32_t>(x) /
                                     static_cast<std::uint32_t>(d));
  }
  return x / d;
}

}  // namespace vorn

#endif  // VORN_NUMBERS_BIG_REPR_H
