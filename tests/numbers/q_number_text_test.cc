// SPDX-License-Identifier: MIT
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "tests/inspector.h"
#include "tests/numbers/allocation_hooks.h"
#include "tests/numbers/reference.h"
#include "vorn/numbers/q_number.h"

// Decimal text of QNumber, in both directions.

namespace vorn {
namespace {

using test::big;
using test::holds;
using test::huge;
using test::kMax;
using test::small;

std::string streamed(const QNumber& q) {
  std::ostringstream out;
  out << q;
  return out.str();
}

// Edge and lemma texts are compared as strings, so forms must not show.
TEST(QNumberTest, TextIsTheSameInBothForms) {
  const struct {
    QNumber value;
    const char* text;
  } table[] = {{small(0), "0"},
               {small(5), "5"},
               {small(-5), "-5"},
               {small(1, 2), "1/2"},
               {small(-1, 2), "-1/2"},
               {small(kMax), "9223372036854775807"},
               {small(-kMax, 2), "-9223372036854775807/2"}};
  for (const auto& [value, text] : table) {
    EXPECT_EQ(streamed(value), text);
    EXPECT_EQ(streamed(big(value)), text);
    EXPECT_EQ(value.to_str(), text);
    EXPECT_EQ(big(value).to_str(), text);
  }
}

// Beyond the words the digits come from GMP.
TEST(QNumberTest, TextOfLargeValuesIsComplete) {
  const std::string digits = "1" + std::string(40, '0');
  EXPECT_EQ(huge().to_str(), digits);
  EXPECT_EQ((-huge()).to_str(), "-" + digits);
  QNumber inverse = 1;
  inverse /= -huge();
  EXPECT_EQ(inverse.to_str(), "-1/" + digits);
}

// GMP's text buffers must be given back.
TEST(QNumberTest, TextOfBigValueReleasesItsBuffers) {
  const QNumber q = test::number("-100000000000000000003/7");
  (void)streamed(q);
  const std::ptrdiff_t live = test::num_live();

  (void)streamed(q);
  (void)q.to_str();

  EXPECT_EQ(test::num_live(), live);
}

// Insertion must not end a line or touch what was written before.
TEST(QNumberTest, StreamInsertionChains) {
  std::ostringstream out;
  out << "[" << small(1, 2) << "," << big(-3) << "]";
  EXPECT_EQ(out.str(), "[1/2,-3]");
}

// Every accepted spelling gives the reduced value, small when it fits.
TEST(QNumberTest, FromStringReadsIntegersFractionsAndDecimals) {
  const struct {
    const char* text;
    const char* value;
  } table[] = {
      {"0", "0"},
      {"-0", "0"},
      {"000", "0"},
      {"7", "7"},
      {"-7", "-7"},
      {"007", "7"},
      {"1/2", "1/2"},
      {"-1/2", "-1/2"},
      {"6/4", "3/2"},
      {"-6/4", "-3/2"},
      {"0/5", "0"},
      {"-0/5", "0"},
      {"8/4", "2"},
      {"10/010", "1"},
      {"1.5", "3/2"},
      {"-1.5", "-3/2"},
      {"0.25", "1/4"},
      {"-0.25", "-1/4"},
      {"-0.0", "0"},
      {"2.000", "2"},
      {"00.10", "1/10"},
      {"3.14159", "314159/100000"},
      {"9223372036854775807", "9223372036854775807"},
      {"-9223372036854775807", "-9223372036854775807"},
      {"9223372036854775808", "9223372036854775808"},
      {"-9223372036854775808", "-9223372036854775808"},
      {"1/9223372036854775807", "1/9223372036854775807"},
      {"1/9223372036854775808", "1/9223372036854775808"},
      {"18446744073709551614/2", "9223372036854775807"},
      {"-18446744073709551616/2", "-9223372036854775808"},
      {"36893488147419103232/18446744073709551616", "2"},
      {"922337203685477580.7", "9223372036854775807/10"},
      {"0.9223372036854775807", "9223372036854775807/10000000000000000000"},
      {"100000000000000000000000000000000000000000.5",
       "200000000000000000000000000000000000000001/2"},
  };
  for (const auto& [text, value] : table) {
    const std::optional<QNumber> read = QNumber::from_string(text);
    ASSERT_TRUE(read.has_value()) << text;
    const mpq_class expected(value);
    EXPECT_TRUE(holds(*read, expected)) << text;
    EXPECT_EQ(Inspector::is_big(*read), !test::fits(expected)) << text;
  }
}

// A text that is no number must not turn into one.
TEST(QNumberTest, FromStringRefusesEverythingElse) {
  using std::literals::string_view_literals::operator""sv;
  for (const std::string_view text : {
           ""sv,      "-"sv,       "+1"sv,           "--1"sv,   " 1"sv,
           "1 "sv,    "1\n"sv,     "\t1"sv,          "1/0"sv,   "1/00"sv,
           "0/0"sv,   "-1/0"sv,    "1/"sv,           "/2"sv,    "-/2"sv,
           "1//2"sv,  "1/-2"sv,    "1/+2"sv,         "1/2/3"sv, "1/ 2"sv,
           "1 /2"sv,  "1."sv,      ".5"sv,           "-.5"sv,   "."sv,
           "1.-5"sv,  "1.5.2"sv,   "1.5/2"sv,        "1/2.5"sv, "1e3"sv,
           "1.5e3"sv, "0x10"sv,    "1,5"sv,          "1_000"sv, "abc"sv,
           "1a"sv,    "a1"sv,      "inf"sv,          "nan"sv,   "1-"sv,
           "1-2"sv,   "1+2"sv,     "\0"sv,           "1\0"sv,   "1\0002"sv,
           "1/2\0"sv, "1/\0002"sv, "\xEF\xBC\x91"sv, "- 1"sv,   "(- 1)"sv,
       }) {
    EXPECT_FALSE(QNumber::from_string(text).has_value())
        << ::testing::PrintToString(std::string(text));
  }
}

// The view need not end where its text does.
TEST(QNumberTest, FromStringReadsNothingBeyondTheView) {
  const std::string_view text("12/345678", 5);

  EXPECT_TRUE(holds(*QNumber::from_string(text), 6, 17));
  EXPECT_TRUE(holds(*QNumber::from_string(text.substr(0, 2)), 12));
  EXPECT_FALSE(QNumber::from_string(text.substr(0, 3)).has_value());
}

// A refused text must not leave its half-made value behind.
TEST(QNumberTest, FromStringLeaksNothing) {
  const std::ptrdiff_t live = test::num_live();
  for (const char* text : {"1/0", "x", "12/18", "100000000000000000000000/7",
                           "1.5", "9223372036854775808"}) {
    (void)QNumber::from_string(text);
  }
  EXPECT_EQ(test::num_live(), live);
}

}  // namespace
}  // namespace vorn
