// SPDX-License-Identifier: MIT
#include "vorn/services/logger.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <limits>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/inspector.h"

// The rules of a message on streams that are no terminal.

namespace vorn {
namespace {

static_assert(std::is_same_v<
              decltype(Inspector::verbosity(std::declval<Logger&>())), int&>);
static_assert(std::is_same_v<
              decltype(Inspector::msg_level(std::declval<Logger&>())), int&>);
static_assert(std::is_same_v<decltype(Inspector::out(std::declval<Logger&>())),
                             std::ostream&>);
static_assert(std::is_same_v<
              decltype(Inspector::suppressed(std::declval<Logger&>())), bool&>);
static_assert(std::is_same_v<
              decltype(Inspector::line_start(std::declval<Logger&>())), bool&>);

// Counts how often the stream on top is flushed.
class CountingBuffer : public std::stringbuf {
 public:
  int flushes() const { return flushes_; }

 protected:
  int sync() override {
    ++flushes_;
    return std::stringbuf::sync();
  }

 private:
  int flushes_ = 0;
};

class LoggerTest : public ::testing::Test {
 protected:
  std::string text() const { return buffer_.str(); }
  int flushes() const { return buffer_.flushes(); }

  CountingBuffer buffer_;
  std::ostream out_{&buffer_};
  Logger logger_{out_, 2};
};

// The graph's message, whole: no tag, no level, one line.
TEST_F(LoggerTest, MessageWithinVerbosityIsWrittenAsOneLine) {
  logger_("DL") << loglevel{2} << "DL(graph) - " << std::string("n: ") << 3
                << endlog;

  EXPECT_EQ(text(), "DL(graph) - n: 3\n");
}

// The pieces the graph streams, each in its stream's own form.
TEST_F(LoggerTest, PiecesAreWrittenByTheStreamsOwnInsertion) {
  const char array[] = "ab\0cd";
  const char* const pointer = "ef";
  logger_("DL") << array << pointer << -12 << std::string("g\0h", 3) << 0
                << std::numeric_limits<int>::min() << "" << endlog;

  EXPECT_EQ(text(), std::string("abef-12g\0h0-2147483648\n", 23));
}

// Operators chain on the logger itself.
TEST_F(LoggerTest, EveryOperationReturnsTheLogger) {
  EXPECT_EQ(&logger_("DL"), &logger_);
  EXPECT_EQ(&(logger_ << loglevel{1}), &logger_);
  EXPECT_EQ(&(logger_ << "text"), &logger_);
  EXPECT_EQ(&(logger_ << 5), &logger_);
  EXPECT_EQ(&(logger_ << endlog), &logger_);
  EXPECT_EQ(&(logger_ << loglevel{9} << "dropped"), &logger_);
}

// Members in the order that the inline insertion relies on.
TEST_F(LoggerTest, LayoutIsVerbosityLevelStreamThenFlags) {
  const auto* const start = reinterpret_cast<const char*>(&logger_);
  const auto place = [start](const auto& member) {
    return reinterpret_cast<const char*>(&member) - start;
  };
  EXPECT_EQ(place(Inspector::verbosity(logger_)), 0);
  EXPECT_EQ(place(Inspector::msg_level(logger_)),
            static_cast<std::ptrdiff_t>(sizeof(int)));
  // A reference has no address of its own: its slot holds the stream's.
  const std::ostream* stream = nullptr;
  std::memcpy(&stream, start + 2 * sizeof(int), sizeof(stream));
  EXPECT_EQ(stream, &out_);
  EXPECT_EQ(&Inspector::out(logger_), &out_);
  EXPECT_GT(place(Inspector::suppressed(logger_)),
            static_cast<std::ptrdiff_t>(2 * sizeof(int)));
  EXPECT_GT(place(Inspector::line_start(logger_)),
            place(Inspector::suppressed(logger_)));
}

// A new logger stands at the start of a line and suppresses nothing.
TEST_F(LoggerTest, NewLoggerStandsAtLineStart) {
  EXPECT_EQ(Inspector::verbosity(logger_), 2);
  EXPECT_EQ(Inspector::msg_level(logger_), 0);
  EXPECT_FALSE(Inspector::suppressed(logger_));
  EXPECT_TRUE(Inspector::line_start(logger_));
  EXPECT_EQ(text(), "");
}

// A level above the verbosity writes nothing at all, no line end either.
TEST_F(LoggerTest, MessageAboveVerbosityWritesNothing) {
  logger_("DL") << loglevel{3} << "text" << 1 << endlog;

  EXPECT_EQ(text(), "");
  EXPECT_EQ(flushes(), 0);
  EXPECT_TRUE(Inspector::line_start(logger_));
}

// The comparison is signed: no negative level passes as a large one or as 0.
TEST_F(LoggerTest, MessageOfNegativeLevelWritesNothing) {
  for (const int level : {-1, -3, std::numeric_limits<int>::min()}) {
    logger_("DL") << loglevel{level} << "text" << endlog;
    EXPECT_EQ(text(), "") << level;
  }
}

// Levels run from 0 up to the verbosity, both included.
TEST_F(LoggerTest, LevelsFromZeroToVerbosityAreWritten) {
  for (int level = -2; level <= 4; ++level) {
    logger_("DL") << loglevel{level} << level << endlog;
  }
  EXPECT_EQ(text(), "0\n1\n2\n");
}

// A negative verbosity silences the logger.
TEST(LoggerVerbosityTest, NegativeVerbositySilencesEveryLevel) {
  std::ostringstream out;
  Logger logger(out, -1);
  for (int level = -2; level <= 2; ++level) {
    logger("DL") << loglevel{level} << "text" << endlog;
  }
  EXPECT_EQ(out.str(), "");
}

// A message without a level is one of level 0, not of the last message's.
TEST_F(LoggerTest, OpeningMessageResetsLevelToZero) {
  logger_("DL") << loglevel{9} << "hidden" << endlog;
  logger_("DL") << "shown" << endlog;
  EXPECT_EQ(text(), "shown\n");
  EXPECT_EQ(Inspector::msg_level(logger_), 0);
}

// The guard is asked again for every piece.
TEST_F(LoggerTest, LevelMayChangeWithinMessage) {
  logger_("DL") << loglevel{1} << "a" << loglevel{3} << "b" << loglevel{2}
                << "c" << loglevel{-1} << "d" << endlog;
  EXPECT_EQ(text(), "ac\n");
}

// Also the suppression flag and the verbosity are read per piece.
TEST_F(LoggerTest, GuardIsEvaluatedAfreshForEachPiece) {
  logger_("DL") << "a";
  Inspector::suppressed(logger_) = true;
  logger_ << "b";
  Inspector::suppressed(logger_) = false;
  Inspector::verbosity(logger_) = -1;
  logger_ << "c";
  Inspector::verbosity(logger_) = 0;
  logger_ << "d" << endlog;
  EXPECT_EQ(text(), "ad\n");
}

// A dropped piece leaves the logger as it was.
TEST_F(LoggerTest, DroppedPieceChangesNoMember) {
  logger_("DL") << loglevel{3};
  logger_ << "text";
  EXPECT_TRUE(Inspector::line_start(logger_));
  EXPECT_EQ(Inspector::msg_level(logger_), 3);
  EXPECT_FALSE(Inspector::suppressed(logger_));
}

// The first written piece, and only a written one, leaves the line's start.
TEST_F(LoggerTest, FirstWrittenPieceClearsLineStart) {
  logger_("DL") << loglevel{2};
  EXPECT_TRUE(Inspector::line_start(logger_));
  logger_ << "";
  EXPECT_FALSE(Inspector::line_start(logger_));
  logger_ << endlog;
  EXPECT_TRUE(Inspector::line_start(logger_));
}

// A host that watches the log must see a message when it is complete.
TEST_F(LoggerTest, EndlogFlushesOnceAfterTheLineEnd) {
  logger_("DL") << "text";
  EXPECT_EQ(flushes(), 0);
  logger_ << endlog;
  EXPECT_EQ(flushes(), 1);
  EXPECT_EQ(text(), "text\n");
}

// Nothing written, nothing to end: no empty lines in the log.
TEST_F(LoggerTest, EndlogWithoutPiecesWritesAndFlushesNothing) {
  logger_("DL") << endlog;
  logger_ << endlog << endlog;
  EXPECT_EQ(text(), "");
  EXPECT_EQ(flushes(), 0);

  logger_("DL") << "text" << endlog << endlog;
  EXPECT_EQ(text(), "text\n");
  EXPECT_EQ(flushes(), 1);
}

// A line that was begun is ended even if its last pieces were dropped.
TEST_F(LoggerTest, EndlogEndsLineWhoseLastPieceWasDropped) {
  logger_("DL") << "a" << loglevel{7} << "b" << endlog;
  EXPECT_EQ(text(), "a\n");
  EXPECT_EQ(flushes(), 1);
}

// The tag is an address, not a part of the text.
TEST_F(LoggerTest, TagSwitchedOffSuppressesItsMessagesOnly) {
  logger_.switch_off("DL");

  logger_("DL") << "hidden" << endlog;
  logger_("LA") << "shown" << endlog;
  logger_("D") << "also shown" << endlog;

  EXPECT_EQ(text(), "shown\nalso shown\n");
}

// A switched-off tag wins over every level.
TEST_F(LoggerTest, TagSwitchedOffWinsOverLevel) {
  logger_.switch_off("DL");
  logger_("DL") << loglevel{0} << "hidden" << loglevel{2} << 5 << endlog;
  EXPECT_EQ(text(), "");
  EXPECT_EQ(flushes(), 0);
  EXPECT_TRUE(Inspector::suppressed(logger_));
}

// Switching is undone by name.
TEST_F(LoggerTest, TagSwitchedOnAgainIsWritten) {
  logger_.switch_off("DL");
  logger_.switch_off("LA");
  logger_.switch_off("DL");
  logger_("DL") << "hidden" << endlog;
  logger_.switch_on("DL");
  logger_.switch_on("never off");

  logger_("DL") << "shown" << endlog;
  logger_("LA") << "hidden" << endlog;

  EXPECT_EQ(text(), "shown\n");
}

// A switch takes effect from the next message on.
TEST_F(LoggerTest, SwitchingWithinMessageActsOnNextMessage) {
  logger_("DL") << "a";
  logger_.switch_off("DL");
  logger_ << "b" << endlog;
  logger_("DL") << "c";
  logger_.switch_on("DL");
  logger_ << "d" << endlog;
  EXPECT_EQ(text(), "ab\n");
}

// Tags are compared as texts: two literals may have two addresses.
TEST_F(LoggerTest, TagsAreComparedAsTexts) {
  logger_.switch_off("DL");
  const std::string same = std::string("D") + "L";
  logger_(same.c_str()) << "hidden" << endlog;
  EXPECT_EQ(text(), "");
}

// Memory, files and nothing at all are no terminals.
TEST(IsTerminalTest, OtherStreamsAreNone) {
  const std::ostringstream text;
  const std::ofstream file("/dev/null");
  const std::ofstream closed;
  const std::ostream nowhere(nullptr);
  ASSERT_TRUE(file.is_open());
  EXPECT_FALSE(is_terminal(text));
  EXPECT_FALSE(is_terminal(file));
  EXPECT_FALSE(is_terminal(closed));
  EXPECT_FALSE(is_terminal(nowhere));
}

}  // namespace
}  // namespace vorn
