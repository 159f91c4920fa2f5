// SPDX-License-Identifier: MIT
#include "vorn/numbers/q_number.h"

#include <gmp.h>

#include <cassert>
#include <cstdint>

#include "vorn/numbers/big_repr.h"

// Storage and arithmetic of QNumber.
//
// Addition keeps the common factor of the denominators out of the products
// (the least-common-multiple method; Knuth, The Art of Computer Programming,
// volume 2, section 4.5.1): with g = gcd(b, d),
//   a/b + c/d = n / (b/g * d),  n = a * (d/g) + c * (b/g),
// and every common factor of n and the denominator divides g, so that one more
// gcd, of n with g, restores lowest terms. Products stay small, and 64 bits
// are left only when they must be.
//
// Every step into the big form works on temporaries and swaps the result in at
// the end: a failing allocation leaves the target's value as it was.

namespace vorn {

void QNumber::adopt(big_repr* block) noexcept {
  num_ = static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(block));
  den_ = 0;
}

std::int64_t QNumber::clone_block(const QNumber& other) {
  auto* copy = new big_repr(*other.block());
  return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(copy));
}

void QNumber::free_block() noexcept {
  delete block();
}

void QNumber::promote() {
  adopt(new big_repr(num_, den_));
}

// Requires: den_ == 1. Whatever the numerator is, its block has room for a
// word.
void QNumber::make_big(std::uint64_t magnitude, bool negative) {
  promote();
  mpz_set_ui(block()->num, magnitude);
  if (negative) mpz_neg(block()->num, block()->num);
}

void QNumber::assign_slow(const QNumber& other) {
  if (!is_big()) {
    adopt(new big_repr(*other.block()));
    return;
  }
  big_repr* mine = block();
  if (!other.is_big()) {
    mpz_set_si(mine->num, other.num_);
    mpz_set_si(mine->den, other.den_);
    return;
  }
  const big_repr* theirs = other.block();
  if (mine == theirs) return;
  // Room for the denominator first: after that only the numerator's copy can
  // fail, and it fails before it changes anything.
  const std::size_t bits = mpz_sizeinbase(theirs->den, 2);
  if (mpz_sizeinbase(mine->den, 2) < bits) mpz_realloc2(mine->den, bits);
  mpz_set(mine->num, theirs->num);
  mpz_set(mine->den, theirs->den);
}

void QNumber::move_into_big(QNumber& other) noexcept {
  if (other.is_big()) {
    std::int64_t mine = num_;
    num_ = other.num_;
    other.num_ = mine;
    return;
  }
  // Cannot allocate: each integer of a block owns a limb.
  mpz_set_si(block()->num, other.num_);
  mpz_set_si(block()->den, other.den_);
}

QNumber& QNumber::add_slow(const QNumber& other) {
  if (!is_big() && !other.is_big()) {
    const bool integers = den_ == 1 && other.den_ == 1;
    if (!integers && add_small_fractions(other)) return *this;
    // a += a: the words must be read before they become an address.
    const std::int64_t num = other.num_;
    const std::int64_t den = other.den_;
    promote();
    add_small_to_big(num, den);
    return *this;
  }
  if (!other.is_big()) {
    add_small_to_big(other.num_, other.den_);
    return *this;
  }
  if (!is_big()) promote();
  add_big_to_big(other);
  return *this;
}

bool QNumber::add_small_fractions(const QNumber& other) {
  const std::int64_t g = signed_gcd(static_cast<std::uint64_t>(den_),
                                    static_cast<std::uint64_t>(other.den_));
  const std::int64_t my_rest = quotient(den_, g);
  const std::int64_t other_rest = quotient(other.den_, g);
  std::int64_t p1 = 0;
  std::int64_t p2 = 0;
  std::int64_t n = 0;
  if (!mul_fits(other.num_, my_rest, &p1)) return false;
  if (!mul_fits(num_, other_rest, &p2)) return false;
  if (!add_fits(p1, p2, &n)) return false;
  const std::int64_t g2 =
      g == 1 ? 1 : signed_gcd(magnitude(n), static_cast<std::uint64_t>(g));
  std::int64_t d = 0;
  if (!mul_fits(my_rest, quotient(other.den_, g2), &d)) return false;
  num_ = quotient(n, g2);
  den_ = d;
  return true;
}

void QNumber::add_small_to_big(std::int64_t num, std::int64_t den) {
  big_repr* mine = block();
  if (den == 1 && mpz_cmp_ui(mine->den, 1) == 0) {
    if (num >= 0) {
      mpz_add_ui(mine->num, mine->num, magnitude(num));
    } else {
      mpz_sub_ui(mine->num, mine->num, magnitude(num));
    }
    return;
  }
  const std::uint64_t g = mpz_gcd_ui(nullptr, mine->den, magnitude(den));
  Integer rest;
  Integer sum;
  Integer term;
  mpz_divexact_ui(rest.get(), mine->den, g);
  mpz_mul_si(sum.get(), mine->num, den / static_cast<std::int64_t>(g));
  mpz_mul_si(term.get(), rest.get(), num);
  mpz_add(sum.get(), sum.get(), term.get());
  const std::uint64_t g2 = mpz_gcd_ui(nullptr, sum.get(), g);
  mpz_divexact_ui(sum.get(), sum.get(), g2);
  mpz_mul_si(rest.get(), rest.get(), den / static_cast<std::int64_t>(g2));
  mpz_swap(mine->num, sum.get());
  mpz_swap(mine->den, rest.get());
}

void QNumber::add_big_to_big(const QNumber& other) {
  big_repr* mine = block();
  const big_repr* theirs = other.block();
  if (mpz_cmp_ui(mine->den, 1) == 0 && mpz_cmp_ui(theirs->den, 1) == 0) {
    mpz_add(mine->num, mine->num, theirs->num);
    return;
  }
  // Results go into temporaries and are swapped in, which also makes a += a
  // right: the operands are read to the end.
  Integer g;
  Integer my_rest;
  Integer other_rest;
  Integer sum;
  Integer term;
  mpz_gcd(g.get(), mine->den, theirs->den);
  mpz_divexact(my_rest.get(), mine->den, g.get());
  mpz_divexact(other_rest.get(), theirs->den, g.get());
  mpz_mul(sum.get(), mine->num, other_rest.get());
  mpz_mul(term.get(), theirs->num, my_rest.get());
  mpz_add(sum.get(), sum.get(), term.get());
  mpz_gcd(g.get(), sum.get(), g.get());
  mpz_divexact(sum.get(), sum.get(), g.get());
  mpz_divexact(other_rest.get(), theirs->den, g.get());
  mpz_mul(my_rest.get(), my_rest.get(), other_rest.get());
  mpz_swap(mine->num, sum.get());
  mpz_swap(mine->den, my_rest.get());
}

void QNumber::negate() {
  if (is_big()) {
    mpz_neg(block()->num, block()->num);
  } else {
    num_ = -num_;
  }
}

QNumber QNumber::operator-() const {
  QNumber result(*this);
  result.negate();
  return result;
}

QNumber& QNumber::operator-=(const QNumber& other) {
  // Negating other's numerator decides nothing else about the sum, so the
  // rules of addition hold, overflow to the big form included.
  return *this += -other;
}

QNumber& QNumber::operator*=(const QNumber& other) {
  if (!is_big() && !other.is_big()) {
    // Cross-cancelling leaves the product in lowest terms.
    const std::int64_t g1 =
        signed_gcd(magnitude(num_), static_cast<std::uint64_t>(other.den_));
    const std::int64_t g2 =
        signed_gcd(magnitude(other.num_), static_cast<std::uint64_t>(den_));
    std::int64_t n = 0;
    std::int64_t d = 0;
    if (mul_fits(num_ / g1, other.num_ / g2, &n) &&
        mul_fits(den_ / g2, other.den_ / g1, &d)) {
      num_ = n;
      den_ = d;
      return *this;
    }
  }
  const QNumber* factor = &other;
  QNumber copy;
  if (!other.is_big()) {
    copy = other;
    copy.promote();
    factor = &copy;
  }
  if (!is_big()) promote();
  big_repr* mine = block();
  const big_repr* theirs = factor->block();
  Integer g1;
  Integer g2;
  Integer n;
  Integer d;
  Integer part;
  mpz_gcd(g1.get(), mine->num, theirs->den);
  mpz_gcd(g2.get(), theirs->num, mine->den);
  mpz_divexact(n.get(), mine->num, g1.get());
  mpz_divexact(part.get(), theirs->num, g2.get());
  mpz_mul(n.get(), n.get(), part.get());
  mpz_divexact(d.get(), mine->den, g2.get());
  mpz_divexact(part.get(), theirs->den, g1.get());
  mpz_mul(d.get(), d.get(), part.get());
  mpz_swap(mine->num, n.get());
  mpz_swap(mine->den, d.get());
  return *this;
}

QNumber& QNumber::operator/=(const QNumber& other) {
  assert(other.sign() != 0);
  QNumber inverse(other);
  if (inverse.is_big()) {
    big_repr* block = inverse.block();
    mpz_swap(block->num, block->den);
    if (mpz_sgn(block->den) < 0) {
      mpz_neg(block->num, block->num);
      mpz_neg(block->den, block->den);
    }
  } else {
    const std::int64_t negative = inverse.num_ < 0 ? -1 : 1;
    const std::int64_t den = inverse.num_ * negative;
    inverse.num_ = inverse.den_ * negative;
    inverse.den_ = den;
  }
  return *this *= inverse;
}

QNumber QNumber::floor() const {
  QNumber result(*this);
  if (is_big()) {
    big_repr* block = result.block();
    mpz_fdiv_q(block->num, block->num, block->den);
    mpz_set_si(block->den, 1);
    result.shrink_if_it_fits();
    return result;
  }
  const std::int64_t quotient = num_ / den_;
  // Truncation rounds towards zero; only a negative fraction lies below it.
  result.num_ = num_ < 0 && num_ % den_ != 0 ? quotient - 1 : quotient;
  result.den_ = 1;
  return result;
}

QNumber QNumber::ceil() const {
  QNumber result = -*this;
  result = result.floor();
  result.negate();
  result.shrink_if_it_fits();
  return result;
}

QNumber QNumber::numerator() const {
  QNumber result(*this);
  if (result.is_big()) {
    mpz_set_si(result.block()->den, 1);
    result.shrink_if_it_fits();
  } else {
    result.den_ = 1;
  }
  return result;
}

QNumber QNumber::denominator() const {
  QNumber result(*this);
  if (result.is_big()) {
    big_repr* block = result.block();
    mpz_swap(block->num, block->den);
    mpz_set_si(block->den, 1);
    result.shrink_if_it_fits();
  } else {
    result.num_ = den_;
    result.den_ = 1;
  }
  return result;
}

void QNumber::shrink_if_it_fits() {
  if (!is_big()) return;
  const big_repr* block = this->block();
  if (mpz_fits_slong_p(block->num) == 0 || mpz_fits_slong_p(block->den) == 0) {
    return;
  }
  const std::int64_t num = mpz_get_si(block->num);
  if (num == kLowest) return;
  const std::int64_t den = mpz_get_si(block->den);
  free_block();
  num_ = num;
  den_ = den;
}

int QNumber::big_sign() const {
  return mpz_sgn(block()->num);
}

bool QNumber::big_integer() const {
  return mpz_cmp_ui(block()->den, 1) == 0;
}

std::size_t QNumber::hash() const {
  std::uint64_t num = 0;
  std::uint64_t den = 0;
  // The low words of the magnitudes and the sign: the same in both forms.
  if (is_big()) {
    num = mpz_get_ui(block()->num);
    den = mpz_get_ui(block()->den);
  } else {
    num = magnitude(num_);
    den = static_cast<std::uint64_t>(den_);
  }
  // Multiplication by odd constants spreads the entropy to the high bits, the
  // shift brings it back to the low ones, which hash tables use.
  std::uint64_t h = num * 0x9e3779b97f4a7c15U + den;
  h = (h ^ (h >> 32)) * 0xd6e8feb86659fd93U;
  if (sign() < 0) h = ~h;
  return h ^ (h >> 32);
}

}  // namespace vorn
