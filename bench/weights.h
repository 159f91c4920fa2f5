// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_WEIGHTS_H
#define VORN_BENCH_WEIGHTS_H

#include <gmpxx.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "bench/trace.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

// The weights that the baselines compute with, and how each is made of a
// trace's weight.

namespace vorn::bench {

[[noreturn]] inline void fail(const char* text) {
  std::fprintf(stderr, "vorn_bench: %s\n", text);
  std::abort();
}

inline mpq_class to_mpq(const TraceWeight& weight) {
  mpq_class q(weight.num, weight.den);
  q.canonicalize();
  mpz_mul_2exp(q.get_num_mpz_t(), q.get_num_mpz_t(),
               static_cast<mp_bitcnt_t>(weight.shift));
  q.canonicalize();
  return q;
}

inline la::DNumber to_d_number(const TraceWeight& weight) {
  // Without a detour through GMP, whose temporaries would come to lie between
  // the graph's blocks.
  if (weight.shift == 0 && weight.num >= INT_MIN && weight.num <= INT_MAX) {
    QNumber q(static_cast<int>(weight.num));
    if (weight.den != 1) q /= QNumber(weight.den);
    return la::DNumber(q, QNumber(weight.eps));
  }
  const auto q = QNumber::from_string(to_mpq(weight).get_str());
  return la::DNumber(*q, QNumber(weight.eps));
}

/// Two machine words, with no more than a check that they do not overflow.
struct RawPair {
  std::int64_t rational = 0;
  std::int64_t eps = 0;

  static RawPair from(const TraceWeight& weight, std::int32_t scale) {
    if (weight.shift != 0) fail("a weight does not fit a word");
    return {weight.num * (scale / weight.den), weight.eps};
  }
  /// Makes `to` the sum a + b if that is less; says whether it was.
  static bool lower(const RawPair& a, const RawPair& b, RawPair& to) {
    RawPair sum;
    if (__builtin_add_overflow(a.rational, b.rational, &sum.rational) ||
        __builtin_add_overflow(a.eps, b.eps, &sum.eps)) {
      fail("a sum does not fit a word");
    }
    if (!(sum < to)) return false;
    to = sum;
    return true;
  }
  RawPair& operator+=(const RawPair& other) {
    if (__builtin_add_overflow(rational, other.rational, &rational) ||
        __builtin_add_overflow(eps, other.eps, &eps)) {
      fail("a sum does not fit a word");
    }
    return *this;
  }
  friend bool operator<(const RawPair& a, const RawPair& b) {
    return a.rational < b.rational ||
           (a.rational == b.rational && a.eps < b.eps);
  }
};

/// The obvious exact weight: two of GMP's C++ rationals.
struct MpqPair {
  mpq_class rational;
  mpq_class eps;

  static MpqPair from(const TraceWeight& weight, std::int32_t /*scale*/) {
    return {to_mpq(weight), mpq_class(weight.eps)};
  }
  static bool lower(const MpqPair& a, const MpqPair& b, MpqPair& to) {
    MpqPair sum{a.rational + b.rational, a.eps + b.eps};
    if (!(sum < to)) return false;
    to = std::move(sum);
    return true;
  }
  MpqPair& operator+=(const MpqPair& other) {
    rational += other.rational;
    eps += other.eps;
    return *this;
  }
  friend bool operator<(const MpqPair& a, const MpqPair& b) {
    const int order = cmp(a.rational, b.rational);
    return order < 0 || (order == 0 && a.eps < b.eps);
  }
};

}  // namespace vorn::bench

#endif  // VORN_BENCH_WEIGHTS_H
