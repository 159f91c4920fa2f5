// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <iostream>
#include <string>

#include "tests/inspector.h"
#include "vorn/services/logger.h"

// The logger on std::cout, which the tests point at a terminal or at a pipe.

namespace vorn {
namespace {

// A pair of connected descriptors: what is written to in() comes out of read().
class Channel {
 public:
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;
  virtual ~Channel() {
    close_in();
    if (out_ >= 0) ::close(out_);
  }

  int in() const { return in_; }
  bool ok() const { return in_ >= 0 && out_ >= 0; }

  // Closes the writing end. All that was written.
  std::string drain() {
    close_in();
    std::string text;
    std::array<char, 256> piece;
    for (;;) {
      pollfd ready = {out_, POLLIN, 0};
      if (::poll(&ready, 1, 2000) <= 0) break;
      const ssize_t n = ::read(out_, piece.data(), piece.size());
      if (n <= 0) break;
      text.append(piece.data(), static_cast<std::size_t>(n));
    }
    return text;
  }

 protected:
  Channel() = default;

  int in_ = -1;
  int out_ = -1;

 private:
  void close_in() {
    if (in_ >= 0) ::close(in_);
    in_ = -1;
  }
};

class Terminal : public Channel {
 public:
  Terminal() {
    out_ = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (out_ < 0 || ::grantpt(out_) != 0 || ::unlockpt(out_) != 0) return;
    in_ = ::open(::ptsname(out_), O_RDWR | O_NOCTTY);
    termios raw = {};
    if (in_ < 0 || ::tcgetattr(in_, &raw) != 0) return;
    // The terminal must not put carriage returns of its own before line ends.
    ::cfmakeraw(&raw);
    ::tcsetattr(in_, TCSANOW, &raw);
  }
};

class Pipe : public Channel {
 public:
  Pipe() {
    std::array<int, 2> ends = {-1, -1};
    if (::pipe(ends.data()) != 0) return;
    out_ = ends[0];
    in_ = ends[1];
  }
};

// Points a standard descriptor at another one while it lives.
class Redirection {
 public:
  Redirection(int standard, int target) : standard_(standard) {
    flush();
    saved_ = ::dup(standard);
    ::dup2(target, standard);
  }
  ~Redirection() {
    flush();
    ::dup2(saved_, standard_);
    ::close(saved_);
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  static void flush() {
    std::cout.flush();
    std::cerr.flush();
    std::clog.flush();
    std::fflush(stdout);
    std::fflush(stderr);
  }

  int standard_;
  int saved_;
};

// Runs `write` with std::cout on the channel. What it wrote.
template <class F>
std::string written_to(Channel& channel, F&& write) {
  {
    const Redirection redirection(STDOUT_FILENO, channel.in());
    Logger logger(std::cout, 2);
    write(logger);
  }
  return channel.drain();
}

// A progress line on the terminal must be overwritten by the message.
TEST(LoggerTerminalTest, MessageOnTerminalBeginsWithOneCarriageReturn) {
  Terminal terminal;
  ASSERT_TRUE(terminal.ok());

  const std::string text = written_to(terminal, [](Logger& logger) {
    logger("DL") << loglevel{2} << "DL(graph) - " << std::string("n: ") << 3
                 << endlog;
  });

  EXPECT_EQ(text, "\rDL(graph) - n: 3\n");
}

// A log file must stay free of carriage returns.
TEST(LoggerTerminalTest, MessageOnPipeHasNoCarriageReturn) {
  Pipe pipe;
  ASSERT_TRUE(pipe.ok());

  const std::string text = written_to(
      pipe, [](Logger& logger) { logger("DL") << "text " << 3 << endlog; });

  EXPECT_EQ(text, "text 3\n");
}

// Each line starts anew.
TEST(LoggerTerminalTest, EveryMessageOnTerminalBeginsWithCarriageReturn) {
  Terminal terminal;
  ASSERT_TRUE(terminal.ok());

  const std::string text = written_to(terminal, [](Logger& logger) {
    logger("DL") << "a" << 1 << endlog;
    logger("DL") << "b" << 2 << endlog;
  });

  EXPECT_EQ(text, "\ra1\n\rb2\n");
}

// Dropped messages write nothing, and the next one still starts its line.
TEST(LoggerTerminalTest, DroppedMessageOnTerminalWritesNothingAtAll) {
  Terminal terminal;
  ASSERT_TRUE(terminal.ok());

  const std::string text = written_to(terminal, [](Logger& logger) {
    logger("DL") << loglevel{3} << "hidden" << 1 << endlog;
    logger("DL") << loglevel{-1} << "hidden" << 1 << endlog;
    logger.switch_off("LA");
    logger("LA") << "hidden" << endlog;
    logger("DL") << endlog;
    logger("DL") << loglevel{2} << "shown" << endlog;
  });

  EXPECT_EQ(text, "\rshown\n");
}

// Without a line end in between, two messages share one line.
TEST(LoggerTerminalTest, UnendedMessageOnTerminalGetsNoSecondCarriageReturn) {
  Terminal terminal;
  ASSERT_TRUE(terminal.ok());

  const std::string text = written_to(terminal, [](Logger& logger) {
    logger("DL") << "a";
    logger("DL") << "b" << endlog;
  });

  EXPECT_EQ(text, "\rab\n");
}

// What passes the guard first decides where the carriage return stands.
TEST(LoggerTerminalTest, CarriageReturnStandsBeforeFirstWrittenPiece) {
  Terminal terminal;
  ASSERT_TRUE(terminal.ok());

  const std::string text = written_to(terminal, [](Logger& logger) {
    logger("DL") << loglevel{3} << "hidden" << loglevel{1} << "shown" << 7
                 << endlog;
  });

  EXPECT_EQ(text, "\rshown7\n");
}

// A stream that is none of the three is no terminal, wherever it writes.
TEST(LoggerTerminalTest, OtherStreamOnTerminalGetsNoCarriageReturn) {
  Terminal terminal;
  ASSERT_TRUE(terminal.ok());

  const std::string text = written_to(terminal, [](Logger&) {
    std::ostream other(std::cout.rdbuf());
    Logger logger(other, 2);
    logger("DL") << "text" << endlog;
  });

  EXPECT_EQ(text, "text\n");
}

// Each standard stream answers for its own descriptor.
TEST(IsTerminalTest, StandardStreamsAnswerForTheirDescriptors) {
  Terminal terminal;
  Pipe pipe;
  ASSERT_TRUE(terminal.ok());
  ASSERT_TRUE(pipe.ok());
  bool cout_on_terminal = false;
  bool cout_on_pipe = true;
  bool errors_on_terminal = false;
  bool errors_on_pipe = true;
  {
    const Redirection out(STDOUT_FILENO, terminal.in());
    const Redirection err(STDERR_FILENO, pipe.in());
    cout_on_terminal = is_terminal(std::cout);
    errors_on_pipe = is_terminal(std::cerr) || is_terminal(std::clog);
  }
  {
    const Redirection out(STDOUT_FILENO, pipe.in());
    const Redirection err(STDERR_FILENO, terminal.in());
    cout_on_pipe = is_terminal(std::cout);
    errors_on_terminal = is_terminal(std::cerr) && is_terminal(std::clog);
  }
  EXPECT_TRUE(cout_on_terminal);
  EXPECT_FALSE(cout_on_pipe);
  EXPECT_TRUE(errors_on_terminal);
  EXPECT_FALSE(errors_on_pipe);
}

}  // namespace
}  // namespace vorn
