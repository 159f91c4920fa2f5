// SPDX-License-Identifier: MIT
#include "solver/smtlib/lexer.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/string_source.h"

namespace vorn::solver {
namespace {

std::string name_of(TokenKind kind) {
  switch (kind) {
    case TokenKind::kOpen:
      return "(";
    case TokenKind::kClose:
      return ")";
    case TokenKind::kNumeral:
      return "numeral";
    case TokenKind::kDecimal:
      return "decimal";
    case TokenKind::kHexadecimal:
      return "hexadecimal";
    case TokenKind::kBinary:
      return "binary";
    case TokenKind::kString:
      return "string";
    case TokenKind::kSymbol:
      return "symbol";
    case TokenKind::kQuotedSymbol:
      return "quoted";
    case TokenKind::kKeyword:
      return "keyword";
    case TokenKind::kInvalid:
      return "invalid";
    case TokenKind::kEnd:
      return "end";
  }
  return "?";
}

// Each token as "line:column kind text".
std::vector<std::string> tokens(const std::string& script,
                                std::size_t piece = 1 << 16) {
  StringSource source(script, piece);
  Lexer lexer(source);
  std::vector<std::string> result;
  while (lexer.next().kind != TokenKind::kEnd) {
    const Token& token = lexer.token();
    std::string line = std::to_string(token.position.line) + ":" +
                       std::to_string(token.position.column) + " " +
                       name_of(token.kind);
    if (!token.text.empty()) line += " " + token.text;
    result.push_back(line);
  }
  return result;
}

using Lines = std::vector<std::string>;

// Every kind of token is told from the others, with its place.
TEST(LexerTest, NextOverEachKindGivesKindTextAndPlace) {
  EXPECT_EQ(
      tokens("(a 12 1.50 #xA9 #b01 \"s\"\n |q s| :key-1 - -3 <=)"),
      (Lines{"1:1 (", "1:2 symbol a", "1:4 numeral 12", "1:7 decimal 1.50",
             "1:12 hexadecimal xA9", "1:17 binary b01", "1:22 string s",
             "2:2 quoted q s", "2:8 keyword :key-1", "2:15 symbol -",
             "2:17 symbol -3", "2:20 symbol <=", "2:22 )"}));
}

// The result must not depend on how the bytes arrive.
TEST(LexerTest, NextWithOneBytePiecesGivesTheSameTokens) {
  const std::string script =
      "(assert (< x 1.25)) ; done\n(echo \"a\"\"b\") |x\ny| :k #b1";
  EXPECT_EQ(tokens(script, 1), tokens(script));
}

// Comments end with their line, also when that is the last one.
TEST(LexerTest, NextSkipsComments) {
  EXPECT_EQ(tokens("; (x\na;b\n;"), (Lines{"2:1 symbol a"}));
  EXPECT_EQ(tokens("; (x\ra;b\r;"), (Lines{"2:1 symbol a"}));
}

// Some editors write it; who did not see it will not look for it.
TEST(LexerTest, NextPassesOverAByteOrderMark) {
  const std::string mark = "\xEF\xBB\xBF";
  for (const std::size_t piece : {1U, 2U, 3U, 100U}) {
    EXPECT_EQ(tokens(mark + "(a", piece),
              (std::vector<std::string>{"1:1 (", "1:2 symbol a"}));
    EXPECT_EQ(tokens(mark, piece), std::vector<std::string>{});
    // It is one only at the start, and only if it is whole.
    EXPECT_EQ(tokens("\xEF\xBB(", piece),
              (std::vector<std::string>{
                  "1:1 invalid byte 0xef is not allowed here", "1:2 ("}));
    EXPECT_EQ(tokens(" \xEF", piece),
              (std::vector<std::string>{
                  "1:2 invalid byte 0xef is not allowed here"}));
  }
}

// What stands in quotes is no comment, and what ends a comment is no part of
// it.
TEST(LexerTest, WithoutCommentsKeepsAllElse) {
  EXPECT_EQ(without_comments("(a ; b \" |\n c)"), "(a \n c)");
  EXPECT_EQ(without_comments("(a;\r\n;;\r b);"), "(a\r\n\r b)");
  EXPECT_EQ(without_comments("(|x;y| \"a;\"\";b\" ;\"\n|;|)"),
            "(|x;y| \"a;\"\";b\" \n|;|)");
  EXPECT_EQ(without_comments(""), "");
}

// A character of several bytes is one column, or errors point beside it.
TEST(LexerTest, NextAfterUtf8CountsCharacters) {
  EXPECT_EQ(tokens("\"\xC3\xA4\xE2\x82\xAC\" a"),
            (Lines{"1:1 string \xC3\xA4\xE2\x82\xAC", "1:6 symbol a"}));
}

// A doubled quote is one quote inside a string.
TEST(LexerTest, NextOverDoubledQuoteKeepsOne) {
  EXPECT_EQ(tokens("(\"a\"\"b\" \"\" \"\"\"\")"),
            (Lines{"1:1 (", "1:2 string a\"b", "1:9 string", "1:12 string \"",
                   "1:16 )"}));
}

// An empty quoted symbol is a symbol.
TEST(LexerTest, NextOverEmptyQuotedSymbolGivesIt) {
  EXPECT_EQ(tokens("||a"), (Lines{"1:1 quoted", "1:3 symbol a"}));
}

// Malformed tokens name what is wrong and where, and reading goes on.
TEST(LexerTest, NextOverMalformedTokensReportsAndGoesOn) {
  EXPECT_EQ(tokens("01 a"),
            (Lines{"1:1 invalid number 01 starts with 0", "1:4 symbol a"}));
  EXPECT_EQ(tokens("1x a"),
            (Lines{"1:1 invalid malformed number 1x", "1:4 symbol a"}));
  EXPECT_EQ(tokens("1. 1.2.3"), (Lines{"1:1 invalid malformed number 1.",
                                       "1:4 invalid malformed number 1.2.3"}));
  EXPECT_EQ(tokens("#y1 #"), (Lines{"1:1 invalid malformed constant #y1",
                                    "1:5 invalid malformed constant #"}));
  EXPECT_EQ(tokens(": a"),
            (Lines{"1:1 invalid a keyword needs a name after its colon",
                   "1:3 symbol a"}));
  EXPECT_EQ(tokens("a{{b"),
            (Lines{"1:1 symbol a", "1:2 invalid '{' is not allowed here",
                   "1:4 symbol b"}));
  EXPECT_EQ(
      tokens(std::string("(\0\0\0)", 5)),
      (Lines{"1:1 (", "1:2 invalid byte 0x00 is not allowed here", "1:5 )"}));
  EXPECT_EQ(tokens("\"a\001b\" c"),
            (Lines{"1:3 invalid byte 0x01 is not allowed in a string",
                   "1:7 symbol c"}));
  EXPECT_EQ(tokens("|a\\b| c"),
            (Lines{"1:3 invalid '\\' is not allowed in a quoted symbol",
                   "1:7 symbol c"}));
}

// What is cut off by the end is reported where it starts.
TEST(LexerTest, NextAtEndInsideQuotesReportsTheStart) {
  EXPECT_EQ(
      tokens("(echo \"abc\n)"),
      (Lines{"1:1 (", "1:2 symbol echo", "1:7 invalid string is not closed"}));
  EXPECT_EQ(tokens("x |abc\n)"),
            (Lines{"1:1 symbol x", "1:3 invalid quoted symbol is not closed"}));
}

// Terms are quoted from this text: it must be exact across pieces.
TEST(LexerTest, TextGivesTheCommandAsWritten) {
  for (const std::size_t piece :
       {std::size_t{1}, std::size_t{3}, std::size_t{1000}}) {
    SCOPED_TRACE(piece);
    StringSource source(" (a)  (assert (< x\n 1) ; c\n)(b)", piece);
    Lexer lexer(source);
    while (lexer.next().text != "assert") {
    }
    EXPECT_EQ(lexer.command_position().column, 7U);
    const std::size_t begin = lexer.next().begin;
    while (lexer.next().kind != TokenKind::kClose) {
    }
    EXPECT_EQ(lexer.text(begin, lexer.end()), "(< x\n 1)");
    lexer.next();
    EXPECT_EQ(lexer.depth(), 0U);
    EXPECT_EQ(lexer.text(0, lexer.end()), "(assert (< x\n 1) ; c\n)");
    lexer.next();
    EXPECT_EQ(lexer.next().text, "b");
    EXPECT_EQ(lexer.text(0, lexer.end()), "(b");
  }
}

// Recovery from an error depends on it: brackets inside quotes do not count.
TEST(LexerTest, SkipCommandStopsBehindItsBracket) {
  StringSource source("(a (b \")\" |)| ; )\n (c))) (next)", 4);
  Lexer lexer(source);
  lexer.next();
  lexer.next();

  lexer.skip_command();

  EXPECT_EQ(lexer.depth(), 0U);
  EXPECT_EQ(lexer.next().kind, TokenKind::kOpen);
  EXPECT_EQ(lexer.next().text, "next");
}

// Hands out its pieces one by one, and fails the test if the lexer asks for
// more before it was let.
class GatedSource : public Source {
 public:
  std::size_t read(char* data, std::size_t capacity) override {
    if (next == pieces.size()) return 0;
    EXPECT_LT(next, allowed) << "read ahead of piece " << next;
    const std::string& piece = pieces[next++];
    EXPECT_LE(piece.size(), capacity);
    piece.copy(data, piece.size());
    return piece.size();
  }

  std::vector<std::string> pieces;
  std::size_t next = 0;
  std::size_t allowed = 0;
};

// At a terminal an answer must not wait for the next command.
TEST(LexerTest, NextAtClosingBracketDoesNotReadOn) {
  GatedSource source;
  source.pieces = {"(check-sat)", "\n(exit)"};
  Lexer lexer(source);
  source.allowed = 1;
  while (lexer.next().kind != TokenKind::kClose) {
  }
  EXPECT_EQ(source.next, 1U);
  source.allowed = 2;
  EXPECT_EQ(lexer.next().kind, TokenKind::kOpen);
}

}  // namespace
}  // namespace vorn::solver
