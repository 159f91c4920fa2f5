// SPDX-License-Identifier: MIT
#include "checker/reader.h"

#include <string_view>

namespace vorn::checker {
namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_symbol_character(char c) {
  constexpr std::string_view kPunctuation = "~!@$%^&*_-+=<>.?/";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) ||
         kPunctuation.find(c) != std::string_view::npos;
}

}  // namespace

bool Reader::fill() {
  in_.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  if (in_.bad()) throw Unreadable();
  pos_ = 0;
  limit_ = static_cast<std::size_t>(in_.gcount());
  return limit_ > 0;
}

void Reader::advance() {
  const char c = buffer_[pos_++];
  if (c == '\r' || (c == '\n' && !after_return_)) {
    ++position_.line;
    position_.column = 1;
  } else if (c != '\n' && (static_cast<unsigned char>(c) & 0xC0U) != 0x80U) {
    // Not a further byte of a character in UTF-8.
    ++position_.column;
  }
  after_return_ = c == '\r';
}

void Reader::skip_space() {
  while (!at_end()) {
    const char c = peek();
    if (c == ';') {
      while (!at_end() && peek() != '\n' && peek() != '\r') advance();
    } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
      advance();
    } else {
      return;
    }
  }
}

const Token& Reader::next() {
  skip_space();
  token_.position = position_;
  token_.text.clear();
  if (at_end()) {
    token_.kind = TokenKind::kEnd;
    return token_;
  }
  const char c = peek();
  if (c == '(' || c == ')') {
    token_.kind = c == '(' ? TokenKind::kOpen : TokenKind::kClose;
    advance();
  } else if (c == '|' || c == '"') {
    token_.kind = c == '|' ? TokenKind::kQuotedSymbol : TokenKind::kString;
    read_until(c, c == '"');
  } else if (is_digit(c)) {
    read_number();
  } else if (is_symbol_character(c) || c == ':' || c == '#') {
    token_.kind = c == ':'   ? TokenKind::kKeyword
                  : c == '#' ? TokenKind::kLiteral
                             : TokenKind::kSymbol;
    do {
      token_.text += peek();
      advance();
    } while (!at_end() && is_symbol_character(peek()));
  } else {
    fail("no token of SMT-LIB starts with this character");
  }
  return token_;
}

void Reader::read_number() {
  token_.kind = TokenKind::kNumeral;
  while (!at_end() && is_symbol_character(peek())) {
    if (peek() == '.' && token_.kind == TokenKind::kNumeral) {
      token_.kind = TokenKind::kDecimal;
    } else if (!is_digit(peek())) {
      fail("malformed number");
    }
    token_.text += peek();
    advance();
  }
  if (token_.text.back() == '.') fail("malformed number");
}

// `doubled`: two of `end` in a row stand for one.
void Reader::read_until(char end, bool doubled) {
  advance();
  for (;;) {
    if (at_end()) fail("this has no end");
    const char c = peek();
    advance();
    if (c == end) {
      if (!doubled || at_end() || peek() != end) return;
      advance();
    }
    token_.text += c;
  }
}

void Reader::fail(const std::string& reason) const {
  throw Rejection{token_.position, reason};
}

const Token& Reader::expect(TokenKind kind, const char* what) {
  if (next().kind != kind) fail(std::string("expected ") + what);
  return token_;
}

const Token& Reader::expect_symbol(const char* what) {
  next();
  if (token_.kind != TokenKind::kSymbol &&
      token_.kind != TokenKind::kQuotedSymbol) {
    fail(std::string("expected ") + what);
  }
  return token_;
}

void Reader::skip_rest() {
  for (std::size_t depth = 1; depth > 0;) {
    next();
    if (token_.kind == TokenKind::kEnd) fail("the file ends too early");
    if (token_.kind == TokenKind::kOpen) ++depth;
    if (token_.kind == TokenKind::kClose) --depth;
  }
}

void Reader::skip_expression() {
  if (token_.kind == TokenKind::kOpen) {
    skip_rest();
  } else if (token_.kind == TokenKind::kClose ||
             token_.kind == TokenKind::kEnd) {
    fail("expected an expression");
  }
}

}  // namespace vorn::checker
