// SPDX-License-Identifier: MIT
#ifndef VORN_SERVICES_LOGGER_H
#define VORN_SERVICES_LOGGER_H

#include <ostream>
#include <set>
#include <string>

#include "vorn/export.h"

namespace vorn {

struct Inspector;

/// Level of the message being written, streamed right after its tag.
struct loglevel {
  /// 0 is the most important.
  int level;
};

/// Closes a message.
struct EndLog {};
inline constexpr EndLog endlog{};

/// Whether `stream` writes to a terminal. What counts is its buffer: the ones
/// that the standard output streams start with, whichever stream they are lent
/// to, lead to what their descriptor stands for; memory and files are none.
VORN_EXPORT bool is_terminal(const std::ostream& stream);

/// Writes leveled, tagged messages to a stream.
///
///   logger("DL") << loglevel{2} << "text " << 3 << endlog;
///
/// A piece is written when its message's tag is not switched off and the
/// message's level lies between 0 and the verbosity. The tag itself is not
/// printed. On a terminal the first piece of a line is preceded by a carriage
/// return, so that it overwrites a progress line.
///
/// Ownership: the stream is borrowed and must outlive the logger.
class VORN_EXPORT Logger {
 public:
  /// Writes messages up to level `verbosity` to `out`.
  Logger(std::ostream& out, int verbosity);

  /// Messages under this tag are suppressed, or written again.
  void switch_off(const std::string& tag) { switched_off_.insert(tag); }
  /// Undoes switch_off.
  void switch_on(const std::string& tag) { switched_off_.erase(tag); }

  /// Opens a message, at level 0 until a loglevel is streamed.
  Logger& operator()(const char* tag);
  /// Sets the level of the message at hand.
  Logger& operator<<(const loglevel& l) {
    msg_level_ = l.level;
    return *this;
  }
  /// Ends the line and flushes, if anything of the message was written.
  Logger& operator<<(const EndLog& end);

  /// One piece: a string, a string literal or an int.
  template <class T>
  Logger& operator<<(const T& piece) {
    if (suppressed_ || msg_level_ < 0 || msg_level_ > verbosity_) return *this;
    if (line_start_) begin_line();
    out_ << piece;
    return *this;
  }

 private:
  friend struct Inspector;

  void begin_line();

  /// The highest level written.
  int verbosity_;
  int msg_level_;
  std::ostream& out_;
  std::set<std::string> switched_off_;
  /// The current message's tag is switched off.
  bool suppressed_;
  /// Nothing has been written since the last line ended.
  bool line_start_;
};

}  // namespace vorn

#endif  // VORN_SERVICES_LOGGER_H
