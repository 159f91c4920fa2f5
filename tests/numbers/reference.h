// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_NUMBERS_REFERENCE_H
#define VORN_TESTS_NUMBERS_REFERENCE_H

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "tests/inspector.h"
#include "vorn/numbers/big_repr.h"
#include "vorn/numbers/q_number.h"

// The oracle of the number tests: GMP's rationals, and numbers drawn where the
// 64-bit arithmetic has its corners.

namespace vorn::test {

inline constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
inline constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

/// Parts as they stand, not reduced.
inline mpq_class to_mpq(const QNumber& q) {
  if (!Inspector::is_big(q)) {
    return {mpz_class(Inspector::num(q)), mpz_class(Inspector::den(q))};
  }
  return {mpz_class(Inspector::big_block(q)->num),
          mpz_class(Inspector::big_block(q)->den)};
}

/// Whether an integer lies in +-(2^63 - 1), a small numerator's range.
inline bool fits(const mpz_class& z) {
  return abs(z) <= kMax;
}
inline bool fits(const mpq_class& v) {
  return fits(v.get_num()) && fits(v.get_den());
}

/// The value n/d in the small form, word for word.
inline QNumber small(std::int64_t n, std::int64_t d = 1) {
  QNumber q;
  Inspector::num(q) = n;
  Inspector::den(q) = d;
  return q;
}

/// 10^40, beyond any word.
inline const QNumber& huge() {
  static const QNumber value =
      *QNumber::from_string("1" + std::string(40, '0'));
  return value;
}

/// The same value in the big form: a value never comes back from there.
inline QNumber big(const QNumber& q) {
  QNumber result(q);
  result += huge();
  result -= huge();
  return result;
}
inline QNumber big(std::int64_t n, std::int64_t d = 1) {
  return big(small(n, d));
}

/// The value of a decimal text that is known to be good.
inline QNumber number(const std::string& text) {
  return *QNumber::from_string(text);
}

/// Whether q holds `expected` and every invariant of its form.
inline ::testing::AssertionResult holds(const QNumber& q,
                                        const mpq_class& expected) {
  const mpq_class found = to_mpq(q);
  const auto fail = [&](const char* what) {
    return ::testing::AssertionFailure()
           << what << ": " << found << (Inspector::is_big(q) ? " (big)" : "")
           << ", expected " << expected;
  };
  if (sgn(found.get_den()) <= 0) return fail("denominator not positive");
  if (gcd(found.get_num(), found.get_den()) != 1) return fail("common factor");
  if (found != expected) return fail("wrong value");
  if (Inspector::is_big(q)) {
    const Inspector::BigRepr* block = Inspector::big_block(q);
    if (block->num[0]._mp_alloc < 1 || block->den[0]._mp_alloc < 1) {
      return fail("an integer without a limb");
    }
  } else if (Inspector::num(q) == kMin) {
    return fail("small numerator without a magnitude");
  }
  return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult holds(const QNumber& q, std::int64_t n,
                                        std::int64_t d = 1) {
  return holds(q, mpq_class(mpz_class(n), mpz_class(d)));
}

/// Draws numbers that crowd at 0, among small fractions and at the powers of
/// two where words, products and sums overflow.
class Draw {
 public:
  explicit Draw(std::uint64_t seed) : random_(seed) {}

  std::uint64_t below(std::uint64_t n) { return random_() % n; }
  bool flip() { return below(2) == 0; }

  mpq_class value() {
    mpq_class v(integer(), denominator());
    v.canonicalize();
    return v;
  }
  mpq_class small_value() {
    for (;;) {
      mpq_class v = value();
      if (fits(v)) return v;
    }
  }

  /// The value in a form that can hold it, drawn if both can.
  QNumber in_some_form(const mpq_class& v) {
    if (!fits(v)) return number(v.get_str());
    const QNumber q = small(v.get_num().get_si(), v.get_den().get_si());
    return flip() ? q : big(q);
  }

 private:
  mpz_class near_power(std::uint64_t exponent) {
    mpz_class z(1);
    z <<= exponent;
    return z + static_cast<long>(below(7)) - 3;
  }
  mpz_class integer() {
    mpz_class z;
    switch (below(10)) {
      case 0:
        break;
      case 1:
      case 2:
      case 3:
        z = static_cast<long>(below(13));
        break;
      case 4:
        z = near_power(31);
        break;
      case 5:
        z = near_power(32);
        break;
      case 6:
        z = near_power(62);
        break;
      case 7:
      case 8:
        z = near_power(63);
        break;
      default:
        z = near_power(flip() ? 64 : 100);
        break;
    }
    if (flip()) z = -z;
    return z;
  }
  mpz_class denominator() {
    switch (below(10)) {
      case 0:
      case 1:
      case 2:
      case 3:
        return 1;
      case 4:
      case 5:
        return static_cast<long>(1 + below(12));
      case 6:
        return near_power(31);
      case 7:
        return near_power(62);
      case 8:
        return near_power(63);
      default:
        return near_power(flip() ? 32 : 70);
    }
  }

  std::mt19937_64 random_;
};

}  // namespace vorn::test

#endif  // VORN_TESTS_NUMBERS_REFERENCE_H
