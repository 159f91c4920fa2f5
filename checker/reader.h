// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_READER_H
#define VORN_CHECKER_READER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vorn::checker {

/// A place in a file.
struct Position {
  std::uint64_t line = 1;    ///< From 1; lines are ended by LF, CR or CR LF.
  std::uint64_t column = 1;  ///< From 1, in characters.
};

/// Thrown at the first thing that is wrong with a script, proof or answer: by
/// far most functions have nothing to do with it but to get out of the way.
struct Rejection {
  Position position;   ///< Where it is.
  std::string reason;  ///< What is wrong.
};

/// Throws a Rejection unless this holds.
inline void require(bool holds, const Position& position, const char* reason) {
  if (!holds) throw Rejection{position, reason};
}

/// What a token is.
enum class TokenKind : std::uint8_t {
  kOpen,
  kClose,
  kNumber,  // digits, and perhaps a point between two of them
  kSymbol,
  kQuotedSymbol,  // |text|, which is never a reserved word
  kKeyword,
  kConstant,  // "text", #b01, #xff: read, but of no use here
  kEnd,
};

/// Whether a text is that of a number.
bool is_number(std::string_view text);

/// A token and where it starts.
struct Token {
  TokenKind kind = TokenKind::kEnd;  ///< What it is.
  Position position;                 ///< Of its first character.
  /// Without the bars of a quoted symbol and the quotes of a string; a keyword
  /// with its colon.
  std::string text;

  /// Whether it is a symbol, quoted or not.
  bool is_symbol() const {
    return kind == TokenKind::kSymbol || kind == TokenKind::kQuotedSymbol;
  }
  /// Whether it is this word, not quoted.
  bool is(std::string_view word) const {
    return kind == TokenKind::kSymbol && text == word;
  }
};

/// What names stand for. A value stays where it is.
template <class Value>
class Names {
 public:
  /// The value of the name; Value() for a new one.
  Value& operator[](const std::string& name) {
    // Most names are counted up: ten in a row take one block of memory.
    key_ = name;
    std::size_t last = 10;
    if (!key_.empty() && key_.back() >= '0' && key_.back() <= '9') {
      last = static_cast<std::size_t>(key_.back() - '0');
      key_.pop_back();
    }
    return blocks_[key_][last];
  }

 private:
  std::unordered_map<std::string, std::array<Value, 11>> blocks_;
  std::string key_;
};

/// Cuts a text into the tokens of SMT-LIB, one at a time.
///
/// Cost: linear in the text, with a buffer of fixed size.
class Reader {
 public:
  /// `in` is borrowed.
  explicit Reader(std::istream& in);

  /// Reads the next token; the reference is to the same token each time.
  /// Throws Rejection at a malformed one, and std::runtime_error if the text
  /// cannot be read to its end, as does all that reads.
  const Token& next();

  /// The token read last.
  const Token& token() const { return token_; }
  /// Whether that is of this kind.
  bool at(TokenKind kind) const { return token_.kind == kind; }

  /// Throws a Rejection at the current token.
  [[noreturn]] void fail(const std::string& reason) const {
    throw Rejection{token_.position, reason};
  }

  /// The same unless this holds.
  void require(bool holds, const char* reason) const {
    checker::require(holds, token_.position, reason);
  }

  /// Reads the next token, which must be of this kind.
  const Token& expect(TokenKind kind, const char* what);

  /// Reads the next token, which must be a symbol, quoted or not.
  const Token& expect_symbol(const char* what);

  /// Reads up to the bracket that closes the innermost open one.
  void skip_rest();

  /// Reads the rest of the expression that the current token begins.
  void skip_expression();

 private:
  bool at_end();
  void advance();
  void skip_space();
  void read_word();
  void read_until(char end, bool doubled);

  std::istream& in_;
  std::vector<char> buffer_;
  std::size_t pos_ = 0;
  std::size_t limit_ = 0;
  Position position_;
  bool after_return_ = false;  // the last character was a CR
  Token token_;
};

}  // namespace vorn::checker

#endif  // VORN_CHECKER_READER_H
