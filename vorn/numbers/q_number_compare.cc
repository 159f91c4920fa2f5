// SPDX-License-Identifier: MIT
#include <gmp.h>

#include <cstdint>

#include "vorn/numbers/big_repr.h"
#include "vorn/numbers/q_number.h"

// Order and equality of QNumber.
//
// Signs decide first. Otherwise a/b < c/d is decided by the cross products
// as they are if both fit 64 bits, otherwise after the common factors are gone:
// with g1 = gcd(|a|, |c|), g2 = gcd(b, d),
//   a/b < c/d  iff  (a/g1) * (d/g2) < (c/g1) * (b/g2),
// which is exact since g1, g2, b and d are positive, and keeps the products
// within 64 bits as long as possible.

namespace vorn {

namespace {

__extension__ using Wide = __int128;

// Whether a word lies within +-(2^31 - 1), or is -2^31.
bool is_short(std::int64_t x) {
  return x == static_cast<std::int32_t>(x);
}

}  // namespace

/// The comparisons that are not inline, with access to a QNumber's parts.
struct QNumberBig {
  using Block = QNumber::big_repr;

  // Whether all three are small and made of words that fit 32 bits.
  static bool all_short(const QNumber& a, const QNumber& b, const QNumber& c) {
    bool all = true;
    for (const QNumber* q : {&a, &b, &c}) {
      all = all && q->den_ != 0 && is_short(q->num_) && is_short(q->den_);
    }
    return all;
  }

  // Left and right cross product in GMP, from words.
  static bool products_less(std::int64_t l1, std::int64_t l2, std::int64_t r1,
                            std::int64_t r2) {
    Integer left(l1);
    Integer right(r1);
    mpz_mul_si(left.get(), left.get(), l2);
    mpz_mul_si(right.get(), right.get(), r2);
    return mpz_cmp(left.get(), right.get()) < 0;
  }

  static bool small_small(const QNumber& a, const QNumber& b) {
    std::int64_t left = 0;
    std::int64_t right = 0;
    // What fits unreduced fits reduced, and compares the same.
    if (QNumber::mul_fits(a.num_, b.den_, &left) &&
        QNumber::mul_fits(b.num_, a.den_, &right)) {
      return left < right;
    }
    const std::int64_t g1 = signed_gcd(magnitude(a.num_), magnitude(b.num_));
    const std::int64_t g2 = signed_gcd(static_cast<std::uint64_t>(a.den_),
                                       static_cast<std::uint64_t>(b.den_));
    const std::int64_t l1 = a.num_ / g1;
    const std::int64_t l2 = b.den_ / g2;
    const std::int64_t r1 = b.num_ / g1;
    const std::int64_t r2 = a.den_ / g2;
    if (QNumber::mul_fits(l1, l2, &left) && QNumber::mul_fits(r1, r2, &right)) {
      return left < right;
    }
    return products_less(l1, l2, r1, r2);
  }

  // The sign of big * small's denominator - small's numerator * big's
  // denominator: how the big value compares with the small one. Requires: the
  // small value is not zero.
  static int compare_big_small(const Block& big, const QNumber& small) {
    const std::uint64_t g1 =
        mpz_gcd_ui(nullptr, big.num, magnitude(small.num_));
    const std::uint64_t g2 =
        mpz_gcd_ui(nullptr, big.den, magnitude(small.den_));
    Integer left;
    Integer right;
    mpz_divexact_ui(left.get(), big.num, g1);
    mpz_divexact_ui(right.get(), big.den, g2);
    mpz_mul_si(left.get(), left.get(),
               small.den_ / static_cast<std::int64_t>(g2));
    // Divide the magnitude, then give the sign back: g1 can be 2^63, which has
    // no signed word.
    const auto part = static_cast<std::int64_t>(magnitude(small.num_) / g1);
    mpz_mul_si(right.get(), right.get(), small.num_ < 0 ? -part : part);
    return mpz_cmp(left.get(), right.get());
  }

  static bool big_big(const Block& a, const Block& b) {
    Integer g1;
    Integer g2;
    Integer left;
    Integer right;
    Integer part;
    mpz_gcd(g1.get(), a.num, b.num);
    mpz_gcd(g2.get(), a.den, b.den);
    mpz_divexact(left.get(), a.num, g1.get());
    mpz_divexact(part.get(), b.den, g2.get());
    mpz_mul(left.get(), left.get(), part.get());
    mpz_divexact(right.get(), b.num, g1.get());
    mpz_divexact(part.get(), a.den, g2.get());
    mpz_mul(right.get(), right.get(), part.get());
    return mpz_cmp(left.get(), right.get()) < 0;
  }
};

int QNumber::compare_sum_slow(const QNumber& a, const QNumber& b,
                              const QNumber& c) {
  if (QNumberBig::all_short(a, b, c)) {
    // a + b < c  iff  (a.num b.den + b.num a.den) c.den < c.num a.den b.den,
    // as denominators are positive. From words of 32 bits the first factors
    // come to no more than 63 bits, the products to no more than 94.
    const Wide left = Wide{a.num_ * b.den_ + b.num_ * a.den_} * c.den_;
    const Wide right = Wide{c.num_ * a.den_} * b.den_;
    return (left > right ? 1 : 0) - (left < right ? 1 : 0);
  }
  QNumber sum(a);
  sum += b;
  if (sum == c) return 0;
  return sum < c ? -1 : 1;
}

bool QNumber::less_slow(const QNumber& a, const QNumber& b) {
  const int sign_a = a.sign();
  const int sign_b = b.sign();
  if (sign_a < 0 && sign_b >= 0) return true;
  if (sign_a >= 0 && sign_b <= 0) return false;
  if (a.is_integer() && b.is_integer()) {
    if (!a.is_big() && !b.is_big()) return a.num_ < b.num_;
    if (!a.is_big()) return mpz_cmp_si(b.block()->num, a.num_) > 0;
    if (!b.is_big()) return mpz_cmp_si(a.block()->num, b.num_) < 0;
    return mpz_cmp(a.block()->num, b.block()->num) < 0;
  }
  if (sign_a == 0) return true;
  if (!a.is_big() && !b.is_big()) return QNumberBig::small_small(a, b);
  if (!a.is_big()) return QNumberBig::compare_big_small(*b.block(), a) > 0;
  if (!b.is_big()) return QNumberBig::compare_big_small(*a.block(), b) < 0;
  return QNumberBig::big_big(*a.block(), *b.block());
}

bool QNumber::equal_slow(const QNumber& a, const QNumber& b) {
  if (a.is_big() && b.is_big()) {
    return mpz_cmp(a.block()->num, b.block()->num) == 0 &&
           mpz_cmp(a.block()->den, b.block()->den) == 0;
  }
  const QNumber& big = a.is_big() ? a : b;
  const QNumber& small = a.is_big() ? b : a;
  return mpz_cmp_si(big.block()->num, small.num_) == 0 &&
         mpz_cmp_si(big.block()->den, small.den_) == 0;
}

}  // namespace vorn
