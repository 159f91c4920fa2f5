// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_LEXER_H
#define VORN_SMTLIB_LEXER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "solver/smtlib/source.h"

namespace vorn::solver {

/// A place in a script. Both counts start at 1; a column is one character,
/// where a multi-byte UTF-8 character counts once and a tab counts once. Lines
/// end as in SMT-LIB: with a line feed, a carriage return, or a carriage return
/// and a line feed.
struct Position {
  /// Lines up to here.
  std::uint32_t line = 1;
  /// Characters of the line up to here.
  std::uint32_t column = 1;
};

/// What is wrong with a script, and where.
struct ScriptError {
  /// Where the mistake begins.
  Position position;
  /// What is wrong, as the end of a sentence "line 1 column 2: ...".
  std::string message;
};

enum class TokenKind : std::uint8_t {
  kOpen,
  kClose,
  kNumeral,
  kDecimal,
  kHexadecimal,
  kBinary,
  kString,
  kSymbol,
  kQuotedSymbol,
  kKeyword,
  kInvalid,
  kEnd,
};

/// A token, and where it stands.
struct Token {
  /// What it is.
  TokenKind kind = TokenKind::kEnd;
  /// Where its first character stands.
  Position position;
  /// Where the token starts in the text of its command, in bytes.
  std::size_t begin = 0;
  /// A string without its quotes and with "" undone; a quoted symbol without
  /// its bars; a keyword with its colon; for kInvalid what is wrong.
  std::string text;
};

/// Cuts a script into the tokens of SMT-LIB 2.6.
///
/// Reads no byte beyond the token it hands out, except where the token's end
/// shows only in the next byte (symbols and numbers; never brackets). Each
/// command can therefore be answered before the next one has arrived.
///
/// A malformed token is handed out as kInvalid and reading goes on behind it,
/// so that brackets stay balanced and the commands after it can be read.
///
/// A byte order mark before the first token is passed over.
///
/// The text of the command at hand, from its opening bracket on, is kept so
/// that terms can be quoted as they were written.
class Lexer {
 public:
  /// `source` is borrowed.
  explicit Lexer(Source& source);
  Lexer(const Lexer&) = delete;
  Lexer& operator=(const Lexer&) = delete;

  /// Reads the next token and returns it; it stays valid until the next call.
  const Token& next();

  /// The token read last.
  const Token& token() const { return token_; }

  /// How many brackets are open behind the token read last.
  std::size_t depth() const { return depth_; }

  /// Where the command at hand starts.
  Position command_position() const { return command_position_; }

  /// Where the token read last ends, counted like Token::begin.
  std::size_t end() const { return captured_.size() + (pos_ - unsaved_); }

  /// The text of the command at hand from `first` to `last`, counted like
  /// Token::begin. Requires: first <= last <= end(). Ensures: valid until the
  /// next call to next().
  std::string_view text(std::size_t first, std::size_t last);

  /// What has arrived behind the token read last, perhaps not all of the
  /// command: for who can read it in one pass. Ensures: valid until the next
  /// call to next().
  std::string_view rest() const {
    return {buffer_.data() + pos_, limit_ - pos_};
  }
  /// Passes over `count` bytes of rest(), the last of which is the bracket that
  /// closes the innermost open one and becomes the current token. Requires:
  /// brackets are balanced before it, and there are only blanks, line ends if
  /// `has_line_end`, and characters of unquoted symbols besides.
  void accept_close(std::size_t count, bool has_line_end);

  /// Reads up to the end of the command at hand: until no bracket is open or
  /// the script ends. The texts of the command and its tokens are lost. May
  /// follow on any exception out of next(). Cost: allocates nothing to speak
  /// of.
  void skip_command();

 private:
  bool fill();
  bool at_end() { return pos_ == limit_ && !fill(); }
  char peek() const { return buffer_[pos_]; }
  void advance();
  void invalid(Position position, std::string message);
  void skip_space();
  bool skip_mark();
  void read_quoted(char quote);
  void read_number();
  void read_hash();
  void read_symbol_characters();

  Source& source_;
  std::vector<char> buffer_;
  std::size_t pos_ = 0;
  std::size_t limit_ = 0;
  bool exhausted_ = false;
  // Whether nothing was read yet.
  bool at_start_ = true;
  std::size_t depth_ = 0;
  Position here_;
  // Whether a carriage return was the last byte that advance() passed.
  bool after_return_ = false;
  Position command_position_;
  Token token_;
  // The command's text is captured_ followed by buffer_[unsaved_, pos_).
  // Outside a command nothing is saved.
  std::string captured_;
  std::size_t unsaved_ = 0;
  // Whether texts are being thrown away.
  bool skipping_ = false;
  // The quote that ends the token being read; 0 if it is not a quoted one.
  char open_quote_ = 0;
};

/// Whether an unquoted symbol may have this character, not as its first one
/// perhaps.
bool is_symbol_character(char c);

/// The text of a term or a command without its comments.
std::string without_comments(std::string_view text);

/// Whether the token can name something.
bool is_symbol(const Token& token);

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_LEXER_H
