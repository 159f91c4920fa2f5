// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <streambuf>
#include <string>

#include "tests/inspector.h"
#include "tests/pseudo_terminal.h"
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
    const test::PseudoTerminal ends = test::open_pseudo_terminal();
    out_ = ends.screen;
    in_ = ends.program;
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

// Gives a stream another buffer while it lives.
class BufferSwap {
 public:
  BufferSwap(std::ostream& stream, std::streambuf* buffer)
      : stream_(stream), own_(stream.rdbuf(buffer)) {}
  ~BufferSwap() { stream_.rdbuf(own_); }
  BufferSwap(const BufferSwap&) = delete;
  BufferSwap& operator=(const BufferSwap&) = delete;

 private:
  std::ostream& stream_;
  std::streambuf* own_;
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

class LoggerTerminalTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!terminal_.ok()) GTEST_SKIP() << test::kNoTerminal;
  }

  Terminal terminal_;
};

// A progress line on the terminal must be overwritten by the message.
TEST_F(LoggerTerminalTest, MessageOnTerminalBeginsWithOneCarriageReturn) {
  const std::string text = written_to(terminal_, [](Logger& logger) {
    logger("DL") << loglevel{2} << "DL(graph) - " << std::string("n: ") << 3
                 << endlog;
  });

  EXPECT_EQ(text, "\rDL(graph) - n: 3\n");
}

// A log file must stay free of carriage returns.
TEST(LoggerPipeTest, MessageOnPipeHasNoCarriageReturn) {
  Pipe pipe;
  ASSERT_TRUE(pipe.ok());

  const std::string text = written_to(
      pipe, [](Logger& logger) { logger("DL") << "text " << 3 << endlog; });

  EXPECT_EQ(text, "text 3\n");
}

// Each line starts anew.
TEST_F(LoggerTerminalTest, EveryMessageOnTerminalBeginsWithCarriageReturn) {
  const std::string text = written_to(terminal_, [](Logger& logger) {
    logger("DL") << "a" << 1 << endlog;
    logger("DL") << "b" << 2 << endlog;
  });

  EXPECT_EQ(text, "\ra1\n\rb2\n");
}

// Dropped messages write nothing, and the next one still starts its line.
TEST_F(LoggerTerminalTest, DroppedMessageOnTerminalWritesNothingAtAll) {
  const std::string text = written_to(terminal_, [](Logger& logger) {
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
TEST_F(LoggerTerminalTest, UnendedMessageOnTerminalGetsNoSecondCarriageReturn) {
  const std::string text = written_to(terminal_, [](Logger& logger) {
    logger("DL") << "a";
    logger("DL") << "b" << endlog;
  });

  EXPECT_EQ(text, "\rab\n");
}

// What passes the guard first decides where the carriage return stands.
TEST_F(LoggerTerminalTest, CarriageReturnStandsBeforeFirstWrittenPiece) {
  const std::string text = written_to(terminal_, [](Logger& logger) {
    logger("DL") << loglevel{3} << "hidden" << loglevel{1} << "shown" << 7
                 << endlog;
  });

  EXPECT_EQ(text, "\rshown7\n");
}

// A host may write through a stream of its own.
TEST_F(LoggerTerminalTest, OtherStreamOnTheBufferOfCoutIsOnTheTerminal) {
  const std::string text = written_to(terminal_, [](Logger&) {
    std::ostream other(std::cout.rdbuf());
    Logger logger(other, 2);
    logger("DL") << "text" << endlog;
  });

  EXPECT_EQ(text, "\rtext\n");
}

// Captured output must stay free of carriage returns.
TEST_F(LoggerTerminalTest, CoutIntoAStringIsNoTerminal) {
  std::ostringstream captured;

  const std::string text = written_to(terminal_, [&](Logger& logger) {
    const BufferSwap swap(std::cout, captured.rdbuf());
    logger("DL") << "text" << endlog;
  });

  EXPECT_EQ(text, "");
  EXPECT_EQ(captured.str(), "text\n");
}

// The same for cerr on the buffer of cout, and the other way round.
TEST_F(LoggerTerminalTest, StandardStreamAnswersForTheBufferThatItHas) {
  Pipe pipe;
  ASSERT_TRUE(pipe.ok());
  bool cerr_on_terminal = false;
  bool cout_on_pipe = true;
  {
    const Redirection out(STDOUT_FILENO, terminal_.in());
    const Redirection err(STDERR_FILENO, pipe.in());
    std::streambuf* const pipe_buffer = std::cerr.rdbuf();
    const BufferSwap cerr_swap(std::cerr, std::cout.rdbuf());
    const BufferSwap cout_swap(std::cout, pipe_buffer);
    cerr_on_terminal = is_terminal(std::cerr);
    cout_on_pipe = is_terminal(std::cout);
  }

  EXPECT_TRUE(cerr_on_terminal);
  EXPECT_FALSE(cout_on_pipe);
}

// 0 if std::cout is known for a terminal with buffers of its own.
[[noreturn]] void ask_without_c_streams(const Channel& channel) {
  std::ios_base::sync_with_stdio(false);
  ::dup2(channel.in(), STDOUT_FILENO);
  std::ostream other(std::cout.rdbuf());
  const bool known = is_terminal(std::cout) && is_terminal(other);
  std::ostringstream captured;
  const BufferSwap swap(std::cout, captured.rdbuf());
  std::_Exit(known && !is_terminal(std::cout) ? 0 : 1);
}

// Programs that print much give the standard streams other buffers.
TEST_F(LoggerTerminalTest, CoutWithoutCStreamsIsOnTheTerminal) {
  EXPECT_EXIT(ask_without_c_streams(terminal_), testing::ExitedWithCode(0), "");
}

// Each standard stream answers for its own descriptor.
TEST_F(LoggerTerminalTest, IsTerminalAnswersForEachStandardStream) {
  Pipe pipe;
  ASSERT_TRUE(pipe.ok());
  bool cout_on_terminal = false;
  bool cout_on_pipe = true;
  bool errors_on_terminal = false;
  bool errors_on_pipe = true;
  {
    const Redirection out(STDOUT_FILENO, terminal_.in());
    const Redirection err(STDERR_FILENO, pipe.in());
    cout_on_terminal = is_terminal(std::cout);
    errors_on_pipe = is_terminal(std::cerr) || is_terminal(std::clog);
  }
  {
    const Redirection out(STDOUT_FILENO, pipe.in());
    const Redirection err(STDERR_FILENO, terminal_.in());
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
