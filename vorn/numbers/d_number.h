// SPDX-License-Identifier: MIT
#ifndef VORN_NUMBERS_D_NUMBER_H
#define VORN_NUMBERS_D_NUMBER_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>

#include "vorn/export.h"
#include "vorn/numbers/q_number.h"

namespace vorn::la {

/// Delta-rational: r + k*eps, where eps is a positive infinitesimal.
///
/// A strict bound x - y < c is kept as the non-strict x - y <= c - eps, so one
/// order serves both. One machine word refers to a shared, counted block with
/// the two rationals: copies share the block, addition writes in place when
/// nobody else has a share and makes a new block otherwise.
///
/// A word with its lowest bit set is a *tagged* value. It still points at a
/// block, which the order reads, but has no share in it and absorbs under
/// addition. A tagged value whose rational part is not zero lies above every
/// untagged value, one whose rational part is zero lies below every untagged
/// value. Nothing here makes tagged values by itself; see tagged().
///
/// Cost: copying is a word and a count. An addition to a shared value makes a
/// block, one to a sole owner none while the parts stay small.
/// Errors: none but exhausted memory (see QNumber), which leaves
///  - the operands of a sum alone,
///  - the target of += with its old value if it owned its block alone and the
///    rational part's sum failed, with the rational part alone added if the
///    eps part's sum failed, and with the shared zero if its block was shared
///    (the share is given up before anything is allocated, so that a failure
///    cannot release it twice).
/// Threads: counts are plain integers. A value belongs to the thread that made
/// it, with all that share its block, and must not be handed to another; only
/// the shared zero, which is never counted, is common to all.
class VORN_EXPORT DNumber {
  template <class R, class E>
  static constexpr bool kPlainParts =
      !std::is_class_v<R> && !std::is_class_v<E>;
  template <class R, class E>
  static constexpr bool kExactParts =
      std::is_convertible_v<R, QNumber>&& std::is_convertible_v<E, QNumber>;

 public:
  /// The block behind the values that share it. Final: the blocks that a thread
  /// keeps for its next ones have just this size.
  struct alignas(8) num_repr final {
    /// The part without eps.
    QNumber rational;
    /// The coefficient of eps.
    QNumber eps;
    /// The number of untagged words that own a share.
    std::int32_t refcount;

    /// Zero with one share.
    constexpr num_repr() noexcept : refcount(1) {}
    /// r + e*eps with `refs` shares, exactly, from what a QNumber is made of.
    template <class R, class E,
              std::enable_if_t<std::is_constructible_v<QNumber, R> &&
                                   std::is_constructible_v<QNumber, E>,
                               int> = 0>
    constexpr num_repr(R r, E e, int refs)
        : rational(r), eps(e), refcount(refs) {}
    /// r + e*eps with one share.
    num_repr(QNumber&& r, QNumber&& e) noexcept
        : rational(std::move(r)), eps(std::move(e)), refcount(1) {}

    /// A new block r/1, e/1 with `refs` shares; the caller owns them.
    template <class R, class E>
    static num_repr* alloc(const R& r, const E& e, int refs) {
      return new num_repr(r, e, refs);
    }

    /// Blocks come from, and go back to, a list that each thread keeps for
    /// itself, up to 2.6 MB; its memory goes back when the thread ends.
    static void* operator new(std::size_t size);
    /// As above.
    static void operator delete(void* block) noexcept;
  };

  /// The shared zero. Ready before any constructor of the program runs, never
  /// counted, never written: its count stays above 1, and addition writes only
  /// into blocks with a count of at most 1.
  static num_repr zero;

  /// The shared zero; no allocation.
  DNumber() noexcept : repr_(word(&zero)) {}
  /// r + e*eps in a block of its own, also for 0 and 0.
  DNumber(int r, int e) : repr_(word(num_repr::alloc(r, e, 1))) {}
  /// The same from other integral types, each taken exactly. Without it they
  /// would be cut to ints.
  template <class R, class E,
            std::enable_if_t<kPlainParts<R, E> && kExactParts<R, E>, int> = 0>
  DNumber(R r, E e) : repr_(word(num_repr::alloc(r, e, 1))) {}
  /// From nothing that a QNumber is not made of, floating point above all.
  template <class R, class E,
            std::enable_if_t<kPlainParts<R, E> && !kExactParts<R, E>, int> = 0>
  DNumber(R r, E e) = delete;
  /// rational + eps*eps in a block of its own.
  DNumber(const QNumber& rational, const QNumber& eps)
      : repr_(word(new num_repr(QNumber(rational), QNumber(eps)))) {}
  /// A share of the other's block.
  DNumber(const DNumber& other) noexcept : repr_(other.repr_) { take_share(); }
  /// Takes the other's share; `other` becomes the shared zero.
  DNumber(DNumber&& other) noexcept
      : repr_(std::exchange(other.repr_, word(&zero))) {}
  ~DNumber() { release(); }

  /// Gives up the target's share first, then takes one of the other's block.
  /// Requires: not an assignment to itself by the only owner of a block, which
  /// the release would free before it is read.
  DNumber& operator=(const DNumber& other) noexcept {
    assert(this != &other || !is_counted() || repr()->refcount > 1);
    release();
    repr_ = other.repr_;
    take_share();
    return *this;
  }
  /// Takes the other's share; `other` becomes the shared zero.
  DNumber& operator=(DNumber&& other) noexcept {
    const std::uintptr_t taken = std::exchange(other.repr_, word(&zero));
    release();
    repr_ = taken;
    return *this;
  }

  /// A tagged value over `block`, which is borrowed, not counted, and must
  /// outlive every copy. For hosts that need values above or below all others.
  static DNumber tagged(const num_repr& block) noexcept {
    DNumber result;
    result.repr_ = reinterpret_cast<std::uintptr_t>(&block) | kTag;
    return result;
  }

  /// rational + eps*eps in a block of its own. Requires: neither is -2^63.
  static DNumber from_words(std::int64_t rational, std::int64_t eps) {
    DNumber result;
    result.repr_ = word(word_block(rational, eps));
    return result;
  }
  /// Whether the two share a block with each other and with nobody else.
  static bool are_pair(const DNumber& a, const DNumber& b) {
    return a.repr_ == b.repr_ && a.is_counted() && a.repr()->refcount == 2;
  }
  /// Makes both numbers of a pair rational + eps*eps, in place. Requires: they
  /// are a pair; neither part is -2^63.
  static void set_pair(DNumber& a, [[maybe_unused]] const DNumber& b,
                       std::int64_t rational, std::int64_t eps) noexcept {
    assert(are_pair(a, b));
    a.repr()->rational = QNumber::from_word(rational);
    a.repr()->eps = QNumber::from_word(eps);
  }

  /// Adds. A tagged target stays as it is; a tagged `other` replaces the
  /// target.
  DNumber& operator+=(const DNumber& other);

  /// (a + b) < c without making the sum's block. Cost: no allocation while the
  /// sums of the parts stay small.
  static bool sum_less(const DNumber& a, const DNumber& b, const DNumber& c) {
    if (((a.repr_ | b.repr_ | c.repr_) & kTag) != 0) {
      return sum_less_tagged(a, b, c);
    }
    const num_repr& x = *a.repr();
    const num_repr& y = *b.repr();
    const num_repr& z = *c.repr();
    const int order = QNumber::compare_sum(x.rational, y.rational, z.rational);
    if (order != 0) return order < 0;
    return QNumber::compare_sum(x.eps, y.eps, z.eps) < 0;
  }

  /// Makes `target` the sum a + b if that is less, and says whether it was.
  /// The operands may be the target. Cost: while the parts stay small, a block
  /// for a target that shares its own and is lowered, otherwise nothing. On
  /// failing memory the target is as it was.
  static bool lower(DNumber& target, const DNumber& a, const DNumber& b) {
    if (((a.repr_ | b.repr_ | target.repr_) & kTag) != 0) {
      return lower_slow(target, a, b);
    }
    const num_repr& x = *a.repr();
    const num_repr& y = *b.repr();
    num_repr& z = *target.repr();
    std::int64_t rational = 0;
    std::int64_t eps = 0;
    if (!x.rational.is_word() || !y.rational.is_word() ||
        !z.rational.is_word() ||
        !QNumber::add_fits(x.rational.word(), y.rational.word(), &rational)) {
      return lower_slow(target, a, b);
    }
    if (rational > z.rational.word()) return false;
    if (!x.eps.is_word() || !y.eps.is_word() || !z.eps.is_word() ||
        !QNumber::add_fits(x.eps.word(), y.eps.word(), &eps)) {
      return lower_slow(target, a, b);
    }
    if (rational == z.rational.word() && eps >= z.eps.word()) return false;
    if (z.refcount == 1) {
      z.rational = QNumber::from_word(rational);
      z.eps = QNumber::from_word(eps);
      return true;
    }
    num_repr* const block = word_block(rational, eps);
    target.release();
    target.repr_ = word(block);
    return true;
  }

  /// Whether the value lies above or below all untagged ones.
  bool is_tagged() const { return (repr_ & kTag) != 0; }
  /// The part without eps. Requires: the value outlives the reference.
  const QNumber& rational() const { return repr()->rational; }
  /// The coefficient of eps. Requires: as above.
  const QNumber& eps() const { return repr()->eps; }

  /// The rational part; then, for a non-zero coefficient k, " + " or " - ",
  /// |k| and "*" unless |k| is 1, and "eps": "4", "1/2 - eps", "0 + 3*eps". A
  /// tagged value is "inf", or "-inf" when its rational part is zero.
  std::string to_str() const;

 private:
  friend struct vorn::Inspector;
  friend VORN_EXPORT DNumber operator+(const DNumber& a, const DNumber& b);
  friend bool operator<(const DNumber& a, const DNumber& b);

  static constexpr std::uintptr_t kTag = 1;

  static std::uintptr_t word(num_repr* block) {
    return reinterpret_cast<std::uintptr_t>(block);
  }
  num_repr* repr() const {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the tag lives in the pointer.
    return reinterpret_cast<num_repr*>(repr_ & ~kTag);
  }
  bool is_counted() const { return !is_tagged() && repr() != &zero; }
  void take_share() noexcept {
    if (is_counted()) ++repr()->refcount;
  }
  void release() noexcept {
    if (is_counted() && --repr()->refcount == 0) free_block(repr());
  }
  // Out of line: inlined, it makes compilers warn of uses after it that the
  // count rules out.
  static void free_block(num_repr* block) noexcept;
  static num_repr* sum_block(const num_repr& a, const num_repr& b);
  static num_repr* word_block(std::int64_t rational, std::int64_t eps);
  static bool lower_slow(DNumber& target, const DNumber& a, const DNumber& b);
  /// Free blocks that the calling thread keeps for reuse.
  static std::size_t num_kept_blocks() noexcept;
  static bool mixed_less(const DNumber& a, const DNumber& b);
  static bool sum_less_tagged(const DNumber& a, const DNumber& b,
                              const DNumber& c);

  /// Address of a num_repr; bit 0 is the tag.
  std::uintptr_t repr_;
};

/// A new block even when one operand is zero; a tagged operand (the left one
/// first) is the result itself.
VORN_EXPORT DNumber operator+(const DNumber& a, const DNumber& b);

/// Lexicographic on (rational, eps); tagged values as said above. Two words
/// that are the same are not less.
inline bool operator<(const DNumber& a, const DNumber& b) {
  if (a.repr_ == b.repr_) return false;
  if (((a.repr_ ^ b.repr_) & DNumber::kTag) != 0) {
    return DNumber::mixed_less(a, b);
  }
  const DNumber::num_repr& x = *a.repr();
  const DNumber::num_repr& y = *b.repr();
  if (y.rational < x.rational) return false;
  if (!(x.rational == y.rational)) return true;
  return x.eps < y.eps;
}

/// Writes the text of to_str.
VORN_EXPORT std::ostream& operator<<(std::ostream& out, const DNumber& d);

}  // namespace vorn::la

#endif  // VORN_NUMBERS_D_NUMBER_H
