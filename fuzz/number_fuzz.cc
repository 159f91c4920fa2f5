// SPDX-License-Identifier: MIT
#include <gmpxx.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "fuzz/byte_reader.h"
#include "fuzz/fuzzer.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

// Bytes as a program for a machine with registers of both kinds of numbers,
// run next to the same machine on GMP's C++ rationals. What an instruction
// wrote is compared at once: value, normal form, text, order and hash.
//
// Registers that hold equal values in different forms, small and big, come
// about by way of values that outgrow words and fall back; blocks that are
// shared, by way of copies. Operand registers may be the same, so that all
// operations are met with aliases.

namespace vorn {
namespace {

using fuzz::ByteReader;
using fuzz::fail;

// An exact rational, in both implementations.
struct Pair {
  QNumber number;
  mpq_class value;
};

// A delta-rational of the reference. `tag` is -1 below all others, 1 above.
struct Delta {
  mpq_class rational;
  mpq_class eps;
  int tag = 0;
};

struct DeltaPair {
  la::DNumber number;
  Delta value;
};

const la::DNumber::num_repr kTop(3, 0, 1);
const la::DNumber::num_repr kBottom(0, 0, 1);

// Values beyond this would make each instruction slow and find no more.
constexpr std::size_t kMostBits = 700;

std::size_t num_bits(const mpq_class& value) {
  return mpz_sizeinbase(value.get_num_mpz_t(), 2) +
         mpz_sizeinbase(value.get_den_mpz_t(), 2);
}

std::string text_of(const QNumber& number) {
  std::ostringstream out;
  out << number;
  return out.str();
}

int order(const mpq_class& a, const mpq_class& b) {
  const int difference = cmp(a, b);
  return (difference > 0 ? 1 : 0) - (difference < 0 ? 1 : 0);
}

int order(const Delta& a, const Delta& b) {
  if (a.tag != b.tag) return a.tag < b.tag ? -1 : 1;
  // Tagged values of one tag have one block.
  if (a.tag != 0) return 0;
  const int by_rational = order(a.rational, b.rational);
  return by_rational != 0 ? by_rational : order(a.eps, b.eps);
}

// A tagged value, the left one first, absorbs.
Delta sum_of(const Delta& a, const Delta& b) {
  if (a.tag != 0) return a;
  if (b.tag != 0) return b;
  return {a.rational + b.rational, a.eps + b.eps, 0};
}

std::string text_of(const Delta& d) {
  if (d.tag != 0) return d.tag < 0 ? "-inf" : "inf";
  std::string text = d.rational.get_str();
  if (sgn(d.eps) == 0) return text;
  const mpq_class size = abs(d.eps);
  text += sgn(d.eps) < 0 ? " - " : " + ";
  return text + (size == 1 ? "" : size.get_str() + "*") + "eps";
}

// Texts as QNumber::from_string is documented to read them.
std::optional<mpq_class> read_number(const std::string& text) {
  const auto digits_end = [&text](std::size_t from) {
    while (from < text.size() && text[from] >= '0' && text[from] <= '9') {
      ++from;
    }
    return from;
  };
  const std::size_t first = !text.empty() && text[0] == '-' ? 1 : 0;
  const std::size_t middle = digits_end(first);
  if (middle == first) return std::nullopt;
  mpq_class value(mpz_class(text.substr(first, middle - first), 10));
  if (middle < text.size()) {
    const std::size_t end = digits_end(middle + 1);
    if (end == middle + 1 || end != text.size()) return std::nullopt;
    const std::string rest = text.substr(middle + 1);
    const mpz_class below(rest, 10);
    if (text[middle] == '/') {
      if (below == 0) return std::nullopt;
      value /= below;
    } else if (text[middle] == '.') {
      mpz_class ten_to_the;
      mpz_ui_pow_ui(ten_to_the.get_mpz_t(), 10, rest.size());
      value += mpq_class(below) / ten_to_the;
    } else {
      return std::nullopt;
    }
  }
  return first == 1 ? mpq_class(-value) : value;
}

class Machine {
 public:
  explicit Machine(ByteReader input) : input_(input) {}

  void run() {
    // Enough for any input of a length worth having.
    for (int i = 0; i < 400 && !input_.at_end(); ++i) {
      if (input_.below(3) < 2) {
        rational_step();
      } else {
        delta_step();
      }
    }
    for (const Pair& q : rationals_) check_value(q);
    for (const DeltaPair& d : deltas_) check_value(d);
  }

 private:
  Pair& rational() { return rationals_[input_.below(kRationals)]; }
  DeltaPair& delta() { return deltas_[input_.below(kDeltas)]; }

  void rational_step();
  void set_literal(Pair& target);
  void set_from_text(Pair& target);
  void set_near_power(Pair& target);
  void delta_step();

  void check(const Pair& written);
  void check(const DeltaPair& written);
  static void check_value(const Pair& q);
  static void check_value(const DeltaPair& d);

  static constexpr unsigned kRationals = 6;
  static constexpr unsigned kDeltas = 6;
  ByteReader input_;
  std::array<Pair, kRationals> rationals_;
  std::array<DeltaPair, kDeltas> deltas_;
};

void Machine::set_literal(Pair& target) {
  const int n = input_.below_int(256) - 128;
  target.number = QNumber(n);
  target.value = n;
}

// Powers of two where words, products and sums overflow, and their neighbours.
void Machine::set_near_power(Pair& target) {
  static constexpr std::array<unsigned, 8> kExponents = {31, 32, 61,  62,
                                                         63, 64, 126, 200};
  mpz_class z = 1;
  z <<= kExponents[input_.below(8)];
  z += input_.below_int(7) - 3;
  if (input_.below(2) == 1) z = -z;
  mpq_class value(z);
  if (input_.below(2) == 1 && z != 0) value = 1 / value;
  const std::optional<QNumber> number = QNumber::from_string(value.get_str());
  if (!number) fail("cannot read " + value.get_str());
  target.number = *number;
  target.value = value;
}

// Text of the letters that numbers are made of, right or wrong.
void Machine::set_from_text(Pair& target) {
  static constexpr std::string_view kLetters = "0123456789/.-+ ";
  std::string text;
  for (unsigned length = input_.below(48); length > 0; --length) {
    text += kLetters[input_.below(static_cast<unsigned>(kLetters.size()))];
  }
  const std::optional<QNumber> number = QNumber::from_string(text);
  const std::optional<mpq_class> value = read_number(text);
  if (number.has_value() != value.has_value()) {
    fail("reading \"" + text + "\": " + (number ? "a number" : "no number"));
  }
  if (!number) return;
  target.number = *number;
  target.value = *value;
}

void Machine::rational_step() {
  const unsigned operation = input_.below(20);
  Pair& a = rational();
  const Pair& b = rational();
  switch (operation) {
    case 0:
      set_literal(a);
      break;
    case 1:
      set_near_power(a);
      break;
    case 2:
      set_from_text(a);
      break;
    case 3:
    case 4:
      a.number += b.number;
      a.value += mpq_class(b.value);
      break;
    case 5:
    case 6:
      a.number -= b.number;
      a.value -= mpq_class(b.value);
      break;
    case 7:
    case 8:
      a.number *= b.number;
      a.value *= mpq_class(b.value);
      break;
    case 9:
    case 10:
      if (sgn(b.value) == 0) return;
      a.number /= b.number;
      a.value /= mpq_class(b.value);
      break;
    case 11:
      a.number = -b.number;
      a.value = -b.value;
      break;
    case 12:
      a.number = b.number;
      a.value = b.value;
      break;
    case 13: {
      // What was moved from is valid, and written at once.
      Pair& from = rational();
      if (&from == &a) return;
      a.number = std::move(from.number);
      a.value = from.value;
      from.number = QNumber(1);
      from.value = 1;
      check(from);
      break;
    }
    case 14: {
      QNumber copy(b.number);
      QNumber taken(std::move(copy));
      copy = a.number;
      copy += taken;
      std::swap(a.number, copy);
      a.value += mpq_class(b.value);
      break;
    }
    case 15:
    case 16: {
      mpz_class z;
      if (operation == 15) {
        a.number = b.number.floor();
        mpz_fdiv_q(z.get_mpz_t(), b.value.get_num_mpz_t(),
                   b.value.get_den_mpz_t());
      } else {
        a.number = b.number.ceil();
        mpz_cdiv_q(z.get_mpz_t(), b.value.get_num_mpz_t(),
                   b.value.get_den_mpz_t());
      }
      a.value = mpq_class(z);
      break;
    }
    case 17: {
      const mpq_class value(b.value.get_num());
      a.number = b.number.numerator();
      a.value = value;
      break;
    }
    case 18: {
      const mpq_class value(b.value.get_den());
      a.number = b.number.denominator();
      a.value = value;
      break;
    }
    default: {
      // A sum that is outgrown and falls back, perhaps in the big form.
      Pair power;
      set_near_power(power);
      a.number += power.number;
      a.number -= power.number;
      break;
    }
  }
  if (num_bits(a.value) > kMostBits) {
    a.number = QNumber(2);
    a.value = 2;
  }
  check(a);
}

void Machine::delta_step() {
  const unsigned operation = input_.below(12);
  DeltaPair& a = delta();
  const DeltaPair& b = delta();
  switch (operation) {
    case 0: {
      const int r = input_.below_int(9) - 4;
      const int e = input_.below_int(5) - 2;
      a = DeltaPair{la::DNumber(r, e), {r, e, 0}};
      break;
    }
    case 1: {
      const Pair& r = rational();
      const Pair& e = rational();
      a = DeltaPair{la::DNumber(r.number, e.number), {r.value, e.value, 0}};
      break;
    }
    case 2:
      a = DeltaPair();
      break;
    case 3:
    case 4:
      // A sole owner must not be assigned to itself.
      if (&a == &b) return;
      a = b;
      break;
    case 5: {
      DeltaPair& from = delta();
      if (&from == &a) return;
      a = std::move(from);
      from = DeltaPair();
      check(from);
      break;
    }
    case 6: {
      const bool top = input_.below(2) == 1;
      a = DeltaPair{la::DNumber::tagged(top ? kTop : kBottom),
                    {top ? 3 : 0, 0, top ? 1 : -1}};
      break;
    }
    case 7: {
      const Delta sum = sum_of(b.value, a.value);
      a.number = b.number + a.number;
      a.value = sum;
      break;
    }
    case 8: {
      // In place, whoever else has a share of the block.
      const Delta sum = sum_of(a.value, b.value);
      a.number += b.number;
      a.value = sum;
      break;
    }
    case 9: {
      const Delta sum = sum_of(a.value, b.value);
      a.number += la::DNumber(b.number);
      a.value = sum;
      break;
    }
    default: {
      const DeltaPair& c = delta();
      const Delta sum = sum_of(b.value, c.value);
      const bool lowers = order(sum, a.value) < 0;
      if (la::DNumber::lower(a.number, b.number, c.number) != lowers) {
        fail("lowering " + text_of(a.value) + " to " + text_of(sum));
      }
      if (lowers) a.value = sum;
      break;
    }
  }
  if (num_bits(a.value.rational) > kMostBits ||
      num_bits(a.value.eps) > kMostBits) {
    a = DeltaPair();
  }
  check(a);
}

void Machine::check_value(const Pair& q) {
  const std::string expected = q.value.get_str();
  const auto expect = [&expected](const char* what, const std::string& found,
                                  const std::string& wanted) {
    if (found != wanted) {
      fail(std::string(what) + " of " + expected + ": " + found + ", not " +
           wanted);
    }
  };
  // GMP's text is of lowest terms with a positive denominator; and the
  // library's shows the parts as they are.
  expect("text", q.number.to_str(), expected);
  expect("streamed text", text_of(q.number), expected);
  expect("numerator", q.number.numerator().to_str(),
         q.value.get_num().get_str());
  expect("denominator", q.number.denominator().to_str(),
         q.value.get_den().get_str());
  expect("sign", std::to_string(q.number.sign()), std::to_string(sgn(q.value)));
  if (q.number.is_integer() != (q.value.get_den() == 1)) {
    fail("is_integer of " + expected);
  }
  if (q.number.is_word() &&
      (q.value.get_den() != 1 || q.value.get_num() != q.number.word() ||
       !(QNumber::from_word(q.number.word()) == q.number))) {
    fail("the word of " + expected);
  }
  const std::optional<QNumber> back = QNumber::from_string(expected);
  if (!back || !(*back == q.number) || !(q.number == *back)) {
    fail("reading back " + expected);
  }
  if (back->hash() != q.number.hash() ||
      std::hash<QNumber>()(*back) != q.number.hash()) {
    fail("hash of " + expected);
  }
}

void Machine::check_value(const DeltaPair& d) {
  const std::string expected = text_of(d.value);
  std::ostringstream out;
  out << d.number;
  if (d.number.to_str() != expected || out.str() != expected) {
    fail("text " + d.number.to_str() + ", not " + expected);
  }
  if (d.number.is_tagged() != (d.value.tag != 0)) fail("tag of " + expected);
  check_value(Pair{d.number.rational(), d.value.rational});
  check_value(Pair{d.number.eps(), d.value.eps});
}

// With registers of the input's choice.
void Machine::check(const Pair& written) {
  check_value(written);
  const Pair& b = rational();
  const Pair& c = rational();
  check_value(b);
  const int expected = order(written.value, b.value);
  const auto expect = [&](const char* relation, bool found, bool wanted) {
    if (found != wanted) {
      fail(written.value.get_str() + relation + b.value.get_str() + ": " +
           (found ? "true" : "false"));
    }
  };
  expect(" < ", written.number < b.number, expected < 0);
  expect(" > ", written.number > b.number, expected > 0);
  expect(" <= ", written.number <= b.number, expected <= 0);
  expect(" >= ", written.number >= b.number, expected >= 0);
  expect(" == ", written.number == b.number, expected == 0);
  expect(" != ", written.number != b.number, expected != 0);
  if (expected == 0 && written.number.hash() != b.number.hash()) {
    fail("equal values with two hashes: " + b.value.get_str());
  }
  const int found = QNumber::compare_sum(written.number, b.number, c.number);
  if (order(found, 0) != order(written.value + b.value, c.value)) {
    fail(written.value.get_str() + " + " + b.value.get_str() + " against " +
         c.value.get_str() + ": " + std::to_string(found));
  }
}

void Machine::check(const DeltaPair& written) {
  check_value(written);
  const DeltaPair& b = delta();
  const DeltaPair& c = delta();
  check_value(b);
  if ((written.number < b.number) != (order(written.value, b.value) < 0)) {
    fail(text_of(written.value) + " < " + text_of(b.value));
  }
  const Delta sum = sum_of(written.value, b.value);
  if (la::DNumber::sum_less(written.number, b.number, c.number) !=
      (order(sum, c.value) < 0)) {
    fail(text_of(written.value) + " + " + text_of(b.value) + " < " +
         text_of(c.value));
  }
}

}  // namespace
}  // namespace vorn

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  vorn::Machine(vorn::fuzz::ByteReader(data, size)).run();
  return 0;
}
