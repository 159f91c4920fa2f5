// SPDX-License-Identifier: MIT
#include "solver/smtlib/options.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::solver {
namespace {

Token token(TokenKind kind, const std::string& text) {
  Token result;
  result.kind = kind;
  result.text = text;
  return result;
}

// A value that is taken must be the one that is given back.
TEST(OptionsTest, SetOptionIsReadBackByGetOption) {
  ScriptOptions options;
  std::string expected;
  const auto set = [&](const char* keyword, TokenKind kind, const char* text) {
    return set_option(options, keyword, token(kind, text), false, expected);
  };
  EXPECT_EQ(set(":print-success", TokenKind::kSymbol, "true"), SetResult::kSet);
  EXPECT_EQ(set(":dl-tlemma-kinds", TokenKind::kNumeral, "3"), SetResult::kSet);
  EXPECT_EQ(set(":dl-tlemma-min-overlap", TokenKind::kDecimal, "0.25"),
            SetResult::kSet);
  EXPECT_EQ(set(":regular-output-channel", TokenKind::kString, "a\"b"),
            SetResult::kSet);
  EXPECT_EQ(set(":random-seed", TokenKind::kNumeral, "18446744073709551615"),
            SetResult::kSet);
  EXPECT_EQ(set(":propagation", TokenKind::kSymbol, "full"), SetResult::kSet);
  EXPECT_EQ(set(":machines", TokenKind::kSymbol, "off"), SetResult::kSet);
  EXPECT_TRUE(options.print_success);
  EXPECT_EQ(options.engine.propagation.mode, Propagation::kFull);
  EXPECT_EQ(get_option(options, ":propagation"), "full");
  EXPECT_EQ(options.engine.machines, Machines::kOff);
  EXPECT_EQ(get_option(options, ":machines"), "off");
  EXPECT_EQ(options.engine.lemmas.dl_tlemma_kinds, 3);
  EXPECT_EQ(options.engine.lemmas.dl_tlemma_min_overlap, 0.25F);
  EXPECT_EQ(get_option(options, ":print-success"), "true");
  EXPECT_EQ(get_option(options, ":dl-tlemma-kinds"), "3");
  EXPECT_EQ(get_option(options, ":dl-tlemma-min-overlap"), "0.25");
  EXPECT_EQ(get_option(options, ":regular-output-channel"), "\"a\"\"b\"");
  EXPECT_EQ(get_option(options, ":random-seed"), "18446744073709551615");
  EXPECT_EQ(get_option(options, ":no-such-option"), std::nullopt);
}

// A bad value must leave the option alone.
TEST(OptionsTest, SetOptionToBadValueChangesNothing) {
  ScriptOptions options;
  std::string expected;
  EXPECT_EQ(set_option(options, ":dl-tlemma-kinds",
                       token(TokenKind::kNumeral, "4"), false, expected),
            SetResult::kBadValue);
  EXPECT_EQ(expected, "0, 1, 2 or 3");
  EXPECT_EQ(options.engine.lemmas.dl_tlemma_kinds,
            ScriptOptions().engine.lemmas.dl_tlemma_kinds);
  EXPECT_EQ(set_option(options, ":propagation",
                       token(TokenKind::kSymbol, "some"), false, expected),
            SetResult::kBadValue);
  EXPECT_EQ(expected, "auto, full or off");
  EXPECT_EQ(options.engine.propagation.mode, Propagation::kAuto);
  EXPECT_EQ(set_option(options, ":machines", token(TokenKind::kSymbol, "full"),
                       false, expected),
            SetResult::kBadValue);
  EXPECT_EQ(expected, "auto or off");
  EXPECT_EQ(set_option(options, ":verbosity",
                       token(TokenKind::kNumeral, "18446744073709551616"),
                       false, expected),
            SetResult::kBadValue);
  EXPECT_EQ(set_option(options, ":dl-tlemma-min-overlap",
                       token(TokenKind::kDecimal, "1.5"), false, expected),
            SetResult::kBadValue);
}

// What decides how answers are prepared is fixed by then; what only allows
// commands is not, and what changes nothing is never refused.
TEST(OptionsTest, SetOptionOnceAssertedRefusesWhatIsFixed) {
  ScriptOptions options;
  std::string expected;
  const Token yes = token(TokenKind::kSymbol, "true");
  const Token no = token(TokenKind::kSymbol, "false");
  EXPECT_EQ(set_option(options, ":produce-unsat-cores", yes, true, expected),
            SetResult::kTooLate);
  EXPECT_FALSE(options.produce_unsat_cores);
  EXPECT_EQ(set_option(options, ":produce-unsat-cores", no, true, expected),
            SetResult::kSet);
  EXPECT_EQ(set_option(options, ":produce-assertions", no, true, expected),
            SetResult::kTooLate);
  EXPECT_EQ(set_option(options, ":produce-assertions", no, false, expected),
            SetResult::kSet);
  EXPECT_EQ(set_option(options, ":produce-models", no, true, expected),
            SetResult::kSet);
  EXPECT_FALSE(options.produce_models);
  EXPECT_EQ(set_option(options, ":print-success", yes, true, expected),
            SetResult::kSet);
  EXPECT_EQ(set_option(options, ":produce-proofs", yes, true, expected),
            SetResult::kTooLate);
}

}  // namespace
}  // namespace vorn::solver
