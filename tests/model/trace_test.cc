// SPDX-License-Identifier: MIT
#include "tests/model/trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace vorn::model {
namespace {

Trace parsed(const std::string& text) {
  std::istringstream in(text);
  Trace trace;
  EXPECT_TRUE(read_trace(in, &trace));
  return trace;
}

std::string text_of(const Trace& trace) {
  std::ostringstream out;
  write_trace(out, trace);
  return out.str();
}

std::size_t count(const Trace& trace, CallKind kind) {
  return static_cast<std::size_t>(
      std::count_if(trace.begin(), trace.end(),
                    [kind](const Call& call) { return call.kind == kind; }));
}

// A failure is kept as text; a field lost on the way would lose the failure.
TEST(TraceTest, ReadTraceBringsBackEveryKindOfCall) {
  const std::string text =
      "tell 3 1 2 6 -1/2 -1\n"
      "tell_bi 4 0 5 8 18446744073709551616 0 5 0 9 2/3 1/7\n"
      "push 3\n"
      "check\n"
      "pop 3\n"
      "retract 3\n"
      "reset 1\n"
      "configure 3 0.300000012 1\n"
      "drain 4\n"
      "dump_conflicts\n"
      "dump_list 1 3 7 9\n"
      "dump_list 0\n"
      "logger -1\n";

  EXPECT_EQ(text_of(parsed(text)), text);
  EXPECT_EQ(text_of(parsed("# a remark\n\n" + text)), text);
}

// Generated traces must survive the file as well, floats included.
TEST(TraceTest, ReadTraceBringsBackRandomTraces) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::string text = text_of(random_trace(seed, 200));
    EXPECT_EQ(text_of(parsed(text)), text);
  }
}

// Damaged text has to be refused, not read as some other call.
TEST(TraceTest, CallFromTextRefusesDamagedLines) {
  Call call;
  for (const char* line :
       {"", "tell", "tell 3 1 2 6 1/0 0", "tell 3 1 2 6 1/2", "push", "push x",
        "push 3 4", "check now", "frobnicate 1", "tell 3 1 2 6 1/ 0",
        "tell 3 1 2 6 --1 0", "tell 3 1 2 6 0x1 0", "dump_list 1 2 x"}) {
    EXPECT_FALSE(call_from_text(line, &call)) << line;
  }
}

// A generator that breaks the contract would test what nobody promises.
TEST(TraceTest, RandomTraceKeepsContractAndIsReproducible) {
  for (std::uint64_t seed = 1; seed <= 200; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Trace trace = random_trace(seed, 300);
    EXPECT_TRUE(keeps_contract(trace));
    EXPECT_LE(trace.size(), 300U);
    if (seed <= 5) {
      EXPECT_EQ(text_of(trace), text_of(random_trace(seed, 300)));
    }
  }
}

// Traces without conflicts, pairs or big numbers would compare nothing much.
TEST(TraceTest, RandomTracesReachEveryKindOfCall) {
  Trace all;
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    const Trace trace = random_trace(seed, 300);
    all.insert(all.end(), trace.begin(), trace.end());
  }

  for (CallKind kind :
       {CallKind::kTell, CallKind::kTellBi, CallKind::kPush, CallKind::kCheck,
        CallKind::kPop, CallKind::kRetract, CallKind::kReset,
        CallKind::kConfigure, CallKind::kDrain, CallKind::kDumpConflicts,
        CallKind::kDumpList, CallKind::kLogger}) {
    EXPECT_GT(count(all, kind), 10U);
  }
  const auto any = [&all](bool (*wanted)(const Call&)) {
    return std::any_of(all.begin(), all.end(), wanted);
  };
  const mpq_class word = rational_from_text("9223372036854775808");
  EXPECT_TRUE(std::any_of(all.begin(), all.end(), [&word](const Call& call) {
    return call.first.weight.rational > word * word;
  }));
  EXPECT_TRUE(std::any_of(all.begin(), all.end(), [&word](const Call& call) {
    return call.first.weight.rational.get_den() > word / 4;
  }));
  EXPECT_TRUE(any([](const Call& call) { return call.first.weight.eps < 0; }));
  EXPECT_TRUE(any([](const Call& call) { return call.first.weight.eps > 0; }));
  EXPECT_TRUE(any([](const Call& call) {
    return call.kind == CallKind::kTell && call.first.source == 0;
  }));
  EXPECT_TRUE(any([](const Call& call) {
    return call.kind == CallKind::kTell && call.constraint == 0;
  }));
  EXPECT_TRUE(any([](const Call& call) {
    return call.kind == CallKind::kTell &&
           call.first.source == call.first.target;
  }));
}

// Pops out of order and the like must be seen, or shrinking leaves contracts.
TEST(TraceTest, WithoutBreachesDropsOnlyBreaches) {
  const Trace trace = parsed(
      "push 1\n"
      "tell 1 1 2 2 4 0\n"
      "tell 1 1 2 2 5 0\n"
      "tell 2 2 1 4 4 0\n"
      "push 1\n"
      "push 2\n"
      "push 2\n"
      "pop 1\n"
      "retract 2\n"
      "pop 2\n"
      "retract 2\n"
      "retract 2\n"
      "reset 0\n"
      "pop 1\n");

  EXPECT_FALSE(keeps_contract(trace));
  EXPECT_EQ(text_of(without_breaches(trace)),
            "tell 1 1 2 2 4 0\n"
            "tell 2 2 1 4 4 0\n"
            "push 1\n"
            "push 2\n"
            "pop 2\n"
            "retract 2\n"
            "reset 0\n");
}

// Shrinking must keep the failure and drop what plays no part in it.
TEST(TraceTest, ShrinkLeavesOnlyCallsThatMatter) {
  Trace trace = random_trace(7, 200);
  const Trace wanted = parsed("reset 1\ntell 900 1 2 6 4 0\npush 900\n");
  trace.insert(trace.begin() + 100, wanted.begin(), wanted.end());
  trace = without_breaches(trace);
  const auto fails = [](const Trace& part) {
    return std::any_of(part.begin(), part.end(), [](const Call& call) {
      return call.kind == CallKind::kPush && call.constraint == 900;
    });
  };
  ASSERT_TRUE(fails(trace));

  EXPECT_EQ(text_of(shrink(trace, fails)), "tell 900 1 2 0 0 0\npush 900\n");
}

// Digits that play no part hide those that do; weights that have to change
// together must not stop the rest from becoming simple.
TEST(TraceTest, ShrinkMakesWeightsSimple) {
  const Trace trace = parsed(
      "tell_bi 1 1 2 2 1267650600228229401496703205376/7 5/3 2 1 3 4 0\n"
      "tell 2 2 1 4 -1267650600228229401496703205376/7 -7\n"
      "tell 3 2 3 6 99 1\n"
      "push 1\n"
      "push 3\n");
  // Needs constraint 1 pushed, its weight 3 or more, and 2 its exact opposite.
  const auto fails = [](const Trace& part) {
    return part.size() >= 3 && part[0].constraint == 1 &&
           part[1].constraint == 2 && part[0].first.weight.rational >= 3 &&
           part[0].first.weight.rational == -part[1].first.weight.rational &&
           std::any_of(part.begin(), part.end(), [](const Call& call) {
             return call.kind == CallKind::kPush && call.constraint == 1;
           });
  };
  ASSERT_TRUE(fails(trace));

  EXPECT_EQ(text_of(shrink(trace, fails)),
            "tell 1 1 2 0 3 0\ntell 2 2 1 0 -3 0\npush 1\n");
}

// Whoever mends a damaged file has to find the line.
TEST(TraceTest, ReadTraceNamesTheFirstBadLine) {
  std::istringstream in("# a remark\ncheck\n\ntell 3\nfrobnicate\n");
  Trace trace;
  std::size_t bad_line = 0;

  EXPECT_FALSE(read_trace(in, &trace, &bad_line));
  EXPECT_EQ(bad_line, 4U);
}

}  // namespace
}  // namespace vorn::model
