// SPDX-License-Identifier: MIT
#include "checker/reader.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

namespace vorn::checker {
namespace {

// Whether symbols, numbers and keywords may hold the character.
constexpr std::array<bool, 256> kIsInWord = [] {
  std::array<bool, 256> result = {};
  for (const char c : std::string_view("abcdefghijklmnopqrstuvwxyz"
                                       "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                       "0123456789@_-.~!$%^&*+=<>?/")) {
    result[static_cast<unsigned char>(c)] = true;
  }
  return result;
}();

bool is_in_word(char c) {
  return kIsInWord[static_cast<unsigned char>(c)];
}

}  // namespace

bool is_number(std::string_view text) {
  return !text.empty() && text.front() != '.' && text.back() != '.' &&
         std::count(text.begin(), text.end(), '.') <= 1 &&
         text.find_first_not_of("0123456789.") == std::string_view::npos;
}

Reader::Reader(std::istream& in) : in_(in), buffer_(1 << 16) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (at_end()) return;
  const std::string_view start(buffer_.data(), limit_);
  if (start.substr(0, 3) == kByteOrderMark) pos_ = 3;
}

// Fills the buffer anew where it has been read.
bool Reader::at_end() {
  if (pos_ < limit_) return false;
  in_.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  if (in_.bad()) throw std::runtime_error("a file cannot be read");
  pos_ = 0;
  limit_ = static_cast<std::size_t>(in_.gcount());
  return limit_ == 0;
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
  for (bool is_comment = false; !at_end(); advance()) {
    const char c = buffer_[pos_];
    const bool is_line_end = c == '\n' || c == '\r';
    is_comment = !is_line_end && (is_comment || c == ';');
    if (!is_comment && !is_line_end && c != ' ' && c != '\t') return;
  }
}

const Token& Reader::next() {
  skip_space();
  token_.position = position_;
  token_.text.clear();
  token_.kind = TokenKind::kEnd;
  if (at_end()) return token_;
  const char c = buffer_[pos_];
  if (c == '(' || c == ')') {
    token_.kind = c == '(' ? TokenKind::kOpen : TokenKind::kClose;
    advance();
  } else if (c == '|' || c == '"') {
    token_.kind = c == '|' ? TokenKind::kQuotedSymbol : TokenKind::kConstant;
    read_until(c, c == '"');
  } else if (c >= '0' && c <= '9') {
    token_.kind = TokenKind::kNumber;
    read_word();
    require(is_number(token_.text), "malformed number");
  } else if (is_in_word(c)) {
    token_.kind = TokenKind::kSymbol;
    read_word();
  } else if (c == ':' || c == '#') {
    token_.kind = c == ':' ? TokenKind::kKeyword : TokenKind::kConstant;
    token_.text = c;
    advance();
    read_word();
  } else {
    fail("no token of SMT-LIB starts with this character");
  }
  return token_;
}

// Its characters are one byte each and end no line.
void Reader::read_word() {
  while (!at_end() && is_in_word(buffer_[pos_])) {
    const std::size_t first = pos_;
    while (pos_ < limit_ && is_in_word(buffer_[pos_])) ++pos_;
    token_.text.append(&buffer_[first], pos_ - first);
    position_.column += pos_ - first;
  }
  after_return_ = false;
}

// `doubled`: two of `end` in a row stand for one.
void Reader::read_until(char end, bool doubled) {
  advance();
  for (;;) {
    if (at_end()) fail("this has no end");
    const char c = buffer_[pos_];
    advance();
    if (c == end) {
      if (!doubled || at_end() || buffer_[pos_] != end) return;
      advance();
    }
    token_.text += c;
  }
}

const Token& Reader::expect(TokenKind kind, const char* what) {
  if (next().kind != kind) fail(std::string("expected ") + what);
  return token_;
}

const Token& Reader::expect_symbol(const char* what) {
  if (!next().is_symbol()) fail(std::string("expected ") + what);
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
  require(token_.kind != TokenKind::kClose && token_.kind != TokenKind::kEnd,
          "expected an expression");
  if (token_.kind == TokenKind::kOpen) skip_rest();
}

}  // namespace vorn::checker
