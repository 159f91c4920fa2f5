// SPDX-License-Identifier: MIT
#include <gmp.h>

#include <cstddef>
#include <cstdint>
#include <ios>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

#include "vorn/numbers/big_repr.h"
#include "vorn/numbers/q_number.h"

// Decimal text of QNumber, in and out.

namespace vorn {
namespace {

// Into a buffer of ours: GMP loses one of its own if it gets no memory to cut
// it to length.
std::string decimal(mpz_srcptr value) {
  // Room for a sign and the final zero; the base's size may be 1 too large.
  std::string text(mpz_sizeinbase(value, 10) + 2, '\0');
  mpz_get_str(text.data(), 10, value);
  text.resize(std::char_traits<char>::length(text.c_str()));
  return text;
}

// Length of the run of digits that `text` starts with.
std::size_t count_digits(std::string_view text) {
  std::size_t n = 0;
  while (n < text.size() && text[n] >= '0' && text[n] <= '9') ++n;
  return n;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const QNumber& q) {
  if (!q.is_big()) {
    out << q.num_;
    if (q.den_ != 1) out << "/" << q.den_;
    return out;
  }
  out << decimal(q.block()->num);
  if (!q.big_integer()) out << "/" << decimal(q.block()->den);
  return out;
}

std::string QNumber::to_str() const {
  std::ostringstream out;
  // Or running out of memory would cut the text short.
  out.exceptions(std::ios_base::badbit);
  out << *this;
  return out.str();
}

std::optional<QNumber> QNumber::from_string(std::string_view text) {
  const bool negative = !text.empty() && text.front() == '-';
  if (negative) text.remove_prefix(1);
  const std::size_t whole = count_digits(text);
  if (whole == 0) return std::nullopt;
  // So many digits are always a word.
  constexpr std::size_t kFewDigits = 18;
  if (whole == text.size() && whole <= kFewDigits) {
    std::int64_t value = 0;
    for (const char digit : text) value = 10 * value + (digit - '0');
    return QNumber(negative ? -value : value);
  }
  std::string num(text.substr(0, whole));
  std::string den = "1";
  text.remove_prefix(whole);
  if (!text.empty()) {
    const char mark = text.front();
    text.remove_prefix(1);
    const std::size_t rest = count_digits(text);
    if ((mark != '/' && mark != '.') || rest == 0 || rest != text.size()) {
      return std::nullopt;
    }
    if (mark == '/') {
      den.assign(text);
    } else {
      num.append(text);
      den.append(rest, '0');
    }
  }
  QNumber result;
  result.promote();
  big_repr* block = result.block();
  mpz_set_str(block->num, num.c_str(), 10);
  mpz_set_str(block->den, den.c_str(), 10);
  if (mpz_sgn(block->den) == 0) return std::nullopt;
  if (negative) mpz_neg(block->num, block->num);
  Integer g;
  mpz_gcd(g.get(), block->num, block->den);
  mpz_divexact(block->num, block->num, g.get());
  mpz_divexact(block->den, block->den, g.get());
  result.shrink_if_it_fits();
  return result;
}

}  // namespace vorn
