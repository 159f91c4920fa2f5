// SPDX-License-Identifier: MIT
#include "solver/smtlib/lexer.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <utility>

#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 16;
// A command text longer than this is given back to the allocator once the
// next command starts.
constexpr std::size_t kKeptCapacity = std::size_t{1} << 20;

enum CharacterClass : unsigned char {
  kOther = 0,
  kSpace = 1,
  kDigit = 2,
  kSymbolStart = 4,
};

constexpr std::array<unsigned char, 256> make_classes() {
  std::array<unsigned char, 256> classes{};
  for (const char c : {' ', '\t', '\r', '\n'}) {
    classes[static_cast<unsigned char>(c)] = kSpace;
  }
  for (unsigned c = '0'; c <= '9'; ++c) classes[c] = kDigit;
  for (unsigned c = 'a'; c <= 'z'; ++c) classes[c] = kSymbolStart;
  for (unsigned c = 'A'; c <= 'Z'; ++c) classes[c] = kSymbolStart;
  for (const char c : kSymbolPunctuation) {
    classes[static_cast<unsigned char>(c)] = kSymbolStart;
  }
  return classes;
}

constexpr std::array<unsigned char, 256> kClasses = make_classes();

unsigned class_of(char c) {
  return kClasses[static_cast<unsigned char>(c)];
}

// Printable in strings and quoted symbols: everything but control characters
// that are no white space.
bool is_text_character(char c) {
  const auto code = static_cast<unsigned char>(c);
  return (code >= 32 && code != 127) || class_of(c) == kSpace;
}

std::string describe_byte(char c) {
  constexpr char kDigits[] = "0123456789abcdef";
  const auto code = static_cast<unsigned char>(c);
  if (code > 32 && code < 127) return std::string("'") + c + "'";
  return std::string("byte 0x") + kDigits[code / 16] + kDigits[code % 16];
}

std::string shorten(const std::string& text) {
  constexpr std::size_t kShown = 40;
  return text.size() <= kShown ? text : text.substr(0, kShown) + "...";
}

}  // namespace

bool is_symbol_character(char c) {
  return (class_of(c) & (kDigit | kSymbolStart)) != 0;
}

std::string without_comments(std::string_view text) {
  if (text.find(';') == std::string_view::npos) return std::string(text);
  std::string result;
  char quote = 0;
  bool in_comment = false;
  for (const char c : text) {
    if (in_comment && (c == '\n' || c == '\r')) in_comment = false;
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (!in_comment) {
      if (c == '"' || c == '|') quote = c;
      in_comment = c == ';';
    }
    if (!in_comment) result += c;
  }
  return result;
}

bool is_symbol(const Token& token) {
  return token.kind == TokenKind::kQuotedSymbol ||
         (token.kind == TokenKind::kSymbol && !is_reserved_word(token.text));
}

Lexer::Lexer(Source& source) : source_(source), buffer_(kBufferSize) {}

// Precondition of every use: pos_ == limit_. Saves the command's text before
// the buffer is overwritten.
bool Lexer::fill() {
  if (exhausted_) return false;
  if (depth_ > 0 && !skipping_) {
    captured_.append(buffer_.data() + unsaved_, pos_ - unsaved_);
  }
  pos_ = 0;
  limit_ = 0;
  unsaved_ = 0;
  limit_ = source_.read(buffer_.data(), buffer_.size());
  exhausted_ = limit_ == 0;
  return !exhausted_;
}

void Lexer::advance() {
  const char c = buffer_[pos_++];
  // Each of \n, \r and the two together ends a line.
  const bool ended = after_return_ && here_.column == 1;
  after_return_ = c == '\r';
  if (c == '\n' || c == '\r') {
    if (c == '\n' && ended) return;
    ++here_.line;
    here_.column = 1;
  } else if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80U) {
    ++here_.column;
  }
}

std::string_view Lexer::text(std::size_t first, std::size_t last) {
  assert(first <= last && last <= end());
  captured_.append(buffer_.data() + unsaved_, pos_ - unsaved_);
  unsaved_ = pos_;
  return std::string_view(captured_).substr(first, last - first);
}

void Lexer::accept_close(std::size_t count, bool has_line_end) {
  assert(depth_ > 0 && 0 < count && count <= limit_ - pos_);
  if (has_line_end) {
    for (std::size_t n = 0; n < count; ++n) advance();
  } else {
    pos_ += count;
    here_.column += static_cast<std::uint32_t>(count);
    after_return_ = false;
  }
  --depth_;
  token_.kind = TokenKind::kClose;
  token_.position = {here_.line, here_.column - 1};
  token_.begin = end() - 1;
  token_.text.clear();
}

void Lexer::skip_command() {
  // Saving the text of a long command may be what there is no memory for.
  skipping_ = true;
  captured_ = std::string();
  token_.text = std::string();
  // An exception inside a quoted token left the rest of it unread.
  while (open_quote_ != 0 && !at_end()) {
    if (peek() == open_quote_) open_quote_ = 0;
    advance();
  }
  open_quote_ = 0;
  while (depth_ > 0 && next().kind != TokenKind::kEnd) {
  }
  depth_ = 0;
  skipping_ = false;
}

void Lexer::invalid(Position position, std::string message) {
  token_.kind = TokenKind::kInvalid;
  token_.position = position;
  token_.text = std::move(message);
}

void Lexer::skip_space() {
  while (!at_end()) {
    const char c = peek();
    if (c == ';') {
      while (!at_end() && peek() != '\n' && peek() != '\r') advance();
    } else if (class_of(c) == kSpace) {
      advance();
    } else {
      return;
    }
  }
}

// A mark in UTF-8, at the start of the script. False if there is another byte
// behind its first one; that one has become a malformed token then.
bool Lexer::skip_mark() {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  at_start_ = false;
  if (at_end() || peek() != kMark[0]) return true;
  const Position start = here_;
  for (const char c : kMark) {
    if (at_end() || peek() != c) {
      invalid(start, describe_byte(kMark[0]) + " is not allowed here");
      return false;
    }
    advance();
  }
  here_ = start;
  return true;
}

const Token& Lexer::next() {
  if (at_start_ && !skip_mark()) return token_;
  skip_space();
  token_.position = here_;
  token_.begin = end();
  token_.text.clear();
  if (at_end()) {
    token_.kind = TokenKind::kEnd;
    return token_;
  }
  const char c = peek();
  switch (c) {
    case '(':
      if (depth_ == 0) {
        captured_.clear();
        if (captured_.capacity() > kKeptCapacity) captured_.shrink_to_fit();
        unsaved_ = pos_;
        token_.begin = 0;
        command_position_ = here_;
      }
      ++depth_;
      token_.kind = TokenKind::kOpen;
      advance();
      return token_;
    case ')':
      if (depth_ > 0) --depth_;
      token_.kind = TokenKind::kClose;
      advance();
      return token_;
    case '"':
    case '|':
      read_quoted(c);
      return token_;
    case '#':
      read_hash();
      return token_;
    default:
      break;
  }
  if (class_of(c) == kDigit) {
    read_number();
  } else if (class_of(c) == kSymbolStart) {
    token_.kind = TokenKind::kSymbol;
    read_symbol_characters();
  } else if (c == ':') {
    token_.kind = TokenKind::kKeyword;
    token_.text += c;
    advance();
    read_symbol_characters();
    if (token_.text.size() == 1) {
      invalid(token_.position, "a keyword needs a name after its colon");
    }
  } else {
    // One report for a run of the same byte: a binary file holds long ones.
    invalid(token_.position, describe_byte(c) + " is not allowed here");
    while (!at_end() && peek() == c) advance();
  }
  return token_;
}

void Lexer::read_symbol_characters() {
  while (!at_end() && is_symbol_character(peek())) {
    const std::size_t start = pos_;
    while (pos_ < limit_ && is_symbol_character(peek())) ++pos_;
    if (!skipping_) token_.text.append(buffer_.data() + start, pos_ - start);
    here_.column += static_cast<std::uint32_t>(pos_ - start);
  }
}

void Lexer::read_number() {
  read_symbol_characters();
  const std::string& text = token_.text;
  const auto is_digit = [](char c) { return class_of(c) == kDigit; };
  const auto point = std::find_if_not(text.begin(), text.end(), is_digit);
  const std::size_t whole = static_cast<std::size_t>(point - text.begin());
  const bool decimal = point != text.end();
  if (decimal && (*point != '.' || point + 1 == text.end() ||
                  !std::all_of(point + 1, text.end(), is_digit))) {
    invalid(token_.position, "malformed number " + shorten(text));
  } else if (whole > 1 && text.front() == '0') {
    invalid(token_.position, "number " + shorten(text) + " starts with 0");
  } else {
    token_.kind = decimal ? TokenKind::kDecimal : TokenKind::kNumeral;
  }
}

void Lexer::read_hash() {
  advance();
  read_symbol_characters();
  const std::string& text = token_.text;
  const auto all_of = [&text](std::string_view allowed) {
    return text.size() > 1 &&
           text.find_first_not_of(allowed, 1) == std::string::npos;
  };
  if (!text.empty() && text.front() == 'x' &&
      all_of("0123456789abcdefABCDEF")) {
    token_.kind = TokenKind::kHexadecimal;
  } else if (!text.empty() && text.front() == 'b' && all_of("01")) {
    token_.kind = TokenKind::kBinary;
  } else {
    invalid(token_.position, "malformed constant #" + shorten(text));
  }
}

// Strings and quoted symbols. Only a string can hold its own quote, doubled;
// only a quoted symbol may not hold a backslash.
void Lexer::read_quoted(char quote) {
  const bool is_string = quote == '"';
  const char* const noun = is_string ? "string" : "quoted symbol";
  const Position start = here_;
  token_.kind = is_string ? TokenKind::kString : TokenKind::kQuotedSymbol;
  open_quote_ = quote;
  advance();
  ScriptError error;
  for (;;) {
    if (at_end()) {
      open_quote_ = 0;
      invalid(start, std::string(noun) + " is not closed");
      return;
    }
    const char c = peek();
    const Position position = here_;
    advance();
    if (c == quote) {
      // Looking at the next character waits for one more byte where a string
      // ends what has arrived; a string is never the last of a command.
      if (!is_string || at_end() || peek() != quote) break;
      advance();
    } else if ((!is_text_character(c) || (c == '\\' && !is_string)) &&
               error.message.empty()) {
      error = {position, describe_byte(c) + " is not allowed in a " + noun};
    }
    if (!skipping_) token_.text += c;
  }
  open_quote_ = 0;
  if (!error.message.empty()) {
    invalid(error.position, std::move(error.message));
  }
}

}  // namespace vorn::solver
