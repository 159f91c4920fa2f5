// SPDX-License-Identifier: MIT
#include "solver/engine/graph_recorder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <sstream>
#include <streambuf>
#include <string>

#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {
namespace {

la::DNumber weight(const char* rational, const char* eps) {
  return la::DNumber(*QNumber::from_string(rational),
                     *QNumber::from_string(eps));
}

/// Takes so many bytes and then no more.
class FullDisk : public std::streambuf {
 public:
  explicit FullDisk(std::size_t room) : room_(room) {}
  std::size_t taken() const { return taken_; }

 protected:
  std::streamsize xsputn(const char* /*text*/, std::streamsize size) override {
    const std::size_t wanted = static_cast<std::size_t>(size);
    if (taken_ + wanted > room_) {
      errno = ENOSPC;
      return 0;
    }
    taken_ += wanted;
    return size;
  }
  int_type overflow(int_type /*c*/) override { return traits_type::eof(); }

 private:
  std::size_t room_;
  std::size_t taken_ = 0;
};

// The form that whoever makes the calls again reads.
TEST(GraphRecorderTest, EachCallGivesOneLine) {
  std::ostringstream out;
  GraphRecorder recorder(out);
  recorder.new_graph();
  recorder.tell(1, dl::Edge(0, 2, weight("-7", "0"), 1));
  recorder.tell(2, dl::Edge(3, 0, weight("-36893488147419103232/3", "-1"), 5));
  recorder.push(1);
  recorder.check();
  recorder.pop(1);
  recorder.retract(std::numeric_limits<int>::max());
  recorder.new_graph();
  EXPECT_TRUE(recorder.finish());

  EXPECT_EQ(out.str(),
            "# The calls of a solver on its constraint graph.\n"
            "tell 1 0 2 1 -7 0\n"
            "tell 2 3 0 5 -36893488147419103232/3 -1\n"
            "push 1\n"
            "check\n"
            "pop 1\n"
            "retract 2147483647\n"
            "reset 1\n");
}

// A recording is wanted most when a check crashes or does not end.
TEST(GraphRecorderTest, CheckWritesAllUpToIt) {
  std::ostringstream out;
  GraphRecorder recorder(out);
  recorder.new_graph();
  recorder.push(3);
  recorder.check();
  recorder.pop(3);

  EXPECT_EQ(out.str(),
            "# The calls of a solver on its constraint graph.\n"
            "push 3\n"
            "check\n");
}

// Lines longer than the buffer, or many of them, must come out whole and in
// order.
TEST(GraphRecorderTest, LongRecordingsKeepTheirOrder) {
  std::ostringstream out;
  GraphRecorder recorder(out);
  std::string expected = "# The calls of a solver on its constraint graph.\n";
  for (int k = 1; k <= 20000; ++k) {
    recorder.push(k);
    expected += "push " + std::to_string(k) + "\n";
  }
  const std::string digits = "1" + std::string(100000, '0');
  recorder.tell(1, dl::Edge(0, 1, weight(digits.c_str(), "0"), 1));
  expected += "tell 1 0 1 1 " + digits + " 0\n";
  recorder.pop(7);
  expected += "pop 7\n";
  EXPECT_TRUE(recorder.finish());

  EXPECT_EQ(out.str(), expected);
}

// A recording with a hole must not pass for a whole one.
TEST(GraphRecorderTest, FinishTellsOfAFullDisk) {
  FullDisk disk(60);
  std::ostream out(&disk);
  GraphRecorder recorder(out);
  recorder.push(1);
  EXPECT_TRUE(recorder.finish());
  EXPECT_EQ(recorder.error(), 0);
  const std::size_t taken = disk.taken();
  for (int k = 2; k < 20; ++k) recorder.push(k);

  EXPECT_FALSE(recorder.finish());
  EXPECT_EQ(recorder.error(), ENOSPC);
  recorder.push(1);
  EXPECT_FALSE(recorder.finish());
  EXPECT_EQ(disk.taken(), taken);
}

}  // namespace
}  // namespace vorn::solver
