// SPDX-License-Identifier: MIT
#ifndef VORN_NUMBERS_Q_NUMBER_H
#define VORN_NUMBERS_Q_NUMBER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "vorn/export.h"

namespace vorn {

/// Never defined by the library: a friend through which tests read private
/// members.
struct Inspector;

/// Exact rational number: two machine words while it fits, GMP integers beyond.
///
/// Two forms hold a value. The small form is a pair of signed 64-bit words and
/// never touches the heap. The big form owns one heap block with two GMP
/// integers; the first 64-bit step that would overflow moves a value there.
/// The same value may stand in either form and every operation accepts any mix
/// of forms. A value never goes back to the small form by itself: a program
/// whose numbers have once outgrown a word keeps working on blocks that it
/// already has, instead of freeing and making them in turn.
///
/// Invariants:
///  (1) lowest terms, denominator > 0, the sign is the numerator's; zero is
///      0/1. Equality by parts depends on it.
///  (2) den_ == 0 marks the big form; num_ then holds the block's address.
///  (3) small numerators lie in +-(2^63 - 1): each has a magnitude in a word.
///  (4) a block is owned by one QNumber; both its integers always own at least
///      one limb, so storing a 64-bit value into a block cannot fail.
/// Cost: small form O(1) with one gcd for fractions and no allocation; the big
/// form costs what GMP costs on operands of that size.
/// Errors: none. Only memory can run out: as std::bad_alloc from the block, or
/// as whatever GMP's allocation functions do (by default they end the process;
/// a host changes that with mp_set_memory_functions). After a failure the
/// target of an operation holds its old value, perhaps in the big form.
/// Threads: distinct values may be used in distinct threads. A number made in
/// one thread must not be handed to another.
class VORN_EXPORT QNumber {
 public:
  /// Zero, small form.
  constexpr QNumber() noexcept : num_(0), den_(1) {}
  /// n/1, exactly, from any integral type: those without a constructor of their
  /// own, bool and characters among them, are promoted to one that has.
  /// Implicit: constants in formulas read as numbers.
  // NOLINTBEGIN(google-explicit-constructor)
  constexpr QNumber(int n) noexcept : num_(n), den_(1) {}
  /// The same for an unsigned.
  constexpr QNumber(unsigned n) noexcept : num_(n), den_(1) {}
  /// The same for a long; in the big form if it is the lowest, whose magnitude
  /// no word holds.
  constexpr QNumber(long n) : QNumber(static_cast<long long>(n)) {}
  /// The same for a long long; as for a long.
  constexpr QNumber(long long n) : num_(n), den_(1) {
    if (n == kLowest) make_big(std::uint64_t{1} << 63, true);
  }
  /// The same for an unsigned long; in the big form from 2^63 on.
  constexpr QNumber(unsigned long n)
      : QNumber(static_cast<unsigned long long>(n)) {}
  /// The same for an unsigned long long; as for an unsigned long.
  constexpr QNumber(unsigned long long n)
      : num_(static_cast<std::int64_t>(n)), den_(1) {
    if (num_ < 0) make_big(n, false);
  }
  /// Floating point has to be rounded, or read from text, by the caller.
  template <class Float,
            std::enable_if_t<std::is_floating_point_v<Float>, int> = 0>
  QNumber(Float) = delete;
  // NOLINTEND(google-explicit-constructor)
  /// An independent copy in the same form. Cost: a block for a big one.
  QNumber(const QNumber& other) : num_(other.num_), den_(other.den_) {
    if (den_ == 0) num_ = clone_block(other);
  }
  /// Takes the block of a big `other`, which becomes 0.
  QNumber(QNumber&& other) noexcept : num_(other.num_), den_(other.den_) {
    if (den_ == 0) other.become_zero();
  }
  ~QNumber() {
    if (den_ == 0) free_block();
  }

  /// Takes the value. A target in the big form stays in the big form, also for
  /// a small value: its block is written, none is made or freed.
  QNumber& operator=(const QNumber& other) {
    if (den_ != 0 && other.den_ != 0) {
      num_ = other.num_;
      den_ = other.den_;
      return *this;
    }
    assign_slow(other);
    return *this;
  }
  /// As above; may take the other's block, and leaves `other` valid.
  QNumber& operator=(QNumber&& other) noexcept {
    if (den_ != 0) {
      // Only a small target is overwritten, so no block is lost. A big
      // `other` hands its block over.
      num_ = other.num_;
      den_ = other.den_;
      if (den_ == 0 && this != &other) other.become_zero();
      return *this;
    }
    move_into_big(other);
    return *this;
  }

  /// Reads an optional "-", digits, then optionally "/digits" or ".digits".
  /// The result is canonical, and small whenever numerator and denominator fit
  /// in +-(2^63 - 1). Nothing for any other text, a zero denominator included.
  static std::optional<QNumber> from_string(std::string_view text);

  /// Adds.
  QNumber& operator+=(const QNumber& other) {
    if (den_ == 1 && other.den_ == 1 && add_fits(num_, other.num_, &num_)) {
      return *this;
    }
    return add_slow(other);
  }
  /// Subtracts.
  QNumber& operator-=(const QNumber& other);
  /// Multiplies.
  QNumber& operator*=(const QNumber& other);
  /// Requires: other is not zero.
  QNumber& operator/=(const QNumber& other);
  /// The negative.
  QNumber operator-() const;

  /// -1, 0 or 1.
  int sign() const {
    if (den_ == 0) return big_sign();
    return (num_ > 0 ? 1 : 0) - (num_ < 0 ? 1 : 0);
  }
  /// Whether the denominator of the lowest terms is 1.
  bool is_integer() const { return den_ == 1 || (den_ == 0 && big_integer()); }
  /// The greatest integer not above the value; in the small form if it fits.
  QNumber floor() const;
  /// The least integer not below the value; in the small form if it fits.
  QNumber ceil() const;
  /// Numerator and denominator of the lowest terms, as integers.
  QNumber numerator() const;
  /// As above; at least 1.
  QNumber denominator() const;

  /// Equal values have equal hashes, whatever their forms.
  std::size_t hash() const;

  /// "n" for an integer, otherwise "n/d", decimal. The same text as `<<`.
  std::string to_str() const;

  /// Negative, zero or positive as a + b is below, equal to or above c. Makes
  /// no sum while all three are small integers; otherwise costs an addition and
  /// a comparison.
  static int compare_sum(const QNumber& a, const QNumber& b, const QNumber& c) {
    std::int64_t sum = 0;
    if (a.den_ == 1 && b.den_ == 1 && c.den_ == 1 &&
        !__builtin_add_overflow(a.num_, b.num_, &sum)) {
      return (sum > c.num_ ? 1 : 0) - (sum < c.num_ ? 1 : 0);
    }
    return compare_sum_slow(a, b, c);
  }

  /// The integer n in the small form. Requires: n is not -2^63.
  static QNumber from_word(std::int64_t n) noexcept {
    QNumber result;
    result.num_ = n;
    return result;
  }
  /// Whether the value is an integer in the small form.
  bool is_word() const { return den_ == 1; }
  /// That integer. Requires: is_word().
  std::int64_t word() const { return num_; }

  /// The number layer's own 64-bit tests, for code that works on words.
  ///
  /// On words within +-(2^63 - 1) both report false for a result outside that
  /// range, and leave *result alone then. A sum of exactly -2^63 made of two
  /// negative words counts as overflow on purpose: the magnitude of every small
  /// numerator that addition makes can then be represented.
  static bool add_fits(std::int64_t x, std::int64_t y, std::int64_t* result) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(x, y, &sum)) return false;
    if (sum == kLowest && x < 0 && y < 0) return false;
    *result = sum;
    return true;
  }
  /// The same for a product, whose result -2^63 counts as overflow too.
  static bool mul_fits(std::int64_t x, std::int64_t y, std::int64_t* result) {
    std::int64_t product = 0;
    if (__builtin_mul_overflow(x, y, &product)) return false;
    if (product == kLowest) return false;
    *result = product;
    return true;
  }

 private:
  friend struct Inspector;
  friend struct QNumberBig;
  friend bool operator<(const QNumber& a, const QNumber& b);
  friend bool operator==(const QNumber& a, const QNumber& b);
  friend VORN_EXPORT std::ostream& operator<<(std::ostream& out,
                                              const QNumber& q);
  struct big_repr;

  static constexpr std::int64_t kLowest =
      std::numeric_limits<std::int64_t>::min();

  bool is_big() const { return den_ == 0; }
  big_repr* block() const;
  void adopt(big_repr* block) noexcept;
  void become_zero() noexcept {
    num_ = 0;
    den_ = 1;
  }
  static std::int64_t clone_block(const QNumber& other);
  void free_block() noexcept;
  void promote();
  void make_big(std::uint64_t magnitude, bool negative);
  void shrink_if_it_fits();
  void assign_slow(const QNumber& other);
  void move_into_big(QNumber& other) noexcept;
  QNumber& add_slow(const QNumber& other);
  bool add_small_fractions(const QNumber& other);
  void add_small_to_big(std::int64_t num, std::int64_t den);
  void add_big_to_big(const QNumber& other);
  void negate();
  int big_sign() const;
  bool big_integer() const;
  static int compare_sum_slow(const QNumber& a, const QNumber& b,
                              const QNumber& c);
  static bool less_slow(const QNumber& a, const QNumber& b);
  static bool equal_slow(const QNumber& a, const QNumber& b);

  /// Small form: the numerator. Big form: the address of the owned block.
  std::int64_t num_;
  /// Small form: the denominator, at least 1. Big form: 0.
  std::int64_t den_;
};

/// The order of rationals, exact for any mix of forms.
inline bool operator<(const QNumber& a, const QNumber& b) {
  if (a.den_ == 1 && b.den_ == 1) return a.num_ < b.num_;
  return QNumber::less_slow(a, b);
}
/// Equality of values, whatever their forms.
inline bool operator==(const QNumber& a, const QNumber& b) {
  if (a.den_ != 0 && b.den_ != 0) {
    return a.num_ == b.num_ && a.den_ == b.den_;
  }
  return QNumber::equal_slow(a, b);
}
inline bool operator!=(const QNumber& a, const QNumber& b) {
  return !(a == b);
}
inline bool operator>(const QNumber& a, const QNumber& b) {
  return b < a;
}
inline bool operator<=(const QNumber& a, const QNumber& b) {
  return !(b < a);
}
inline bool operator>=(const QNumber& a, const QNumber& b) {
  return !(a < b);
}
/// Writes the text of to_str.
VORN_EXPORT std::ostream& operator<<(std::ostream& out, const QNumber& q);

}  // namespace vorn

/// Lets a QNumber be a key of the standard containers.
template <>
struct std::hash<vorn::QNumber> {
  /// QNumber::hash.
  std::size_t operator()(const vorn::QNumber& q) const { return q.hash(); }
};

#endif  // VORN_NUMBERS_Q_NUMBER_H
