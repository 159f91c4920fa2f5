// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstddef>
#include <iomanip>
#include <ios>
#include <limits>
#include <locale>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "tests/dl/graph_under_test.h"
#include "vorn/dl/graph.h"

namespace vorn::dl {
namespace {

using dl_test::GraphUnderTest;
using Stats = std::vector<std::pair<std::string, std::string>>;

/// A graph with given counters.
struct CountedGraph : GraphUnderTest {
  CountedGraph(std::size_t conflicts, std::size_t searches, std::size_t shorts,
               std::size_t longs) {
    Inspector::num_conflicts(graph) = conflicts;
    Inspector::num_tlemma_searches(graph) = searches;
    Inspector::num_short_tlemmas(graph) = shorts;
    Inspector::num_long_tlemmas(graph) = longs;
    Inspector::num_dup_short_tlemmas(graph) = 11;
    Inspector::num_dup_long_tlemmas(graph) = 12;
  }
};

std::string printed(const Graph& graph) {
  std::ostringstream out;
  graph.print_stats(out);
  return out.str();
}

Stats collected(const Graph& graph) {
  Stats stats;
  graph.get_stats(stats);
  return stats;
}

// Six zeros; no search has run, so there is nothing to average.
TEST(GraphTest, StatsOfFreshGraphAreSixZeros) {
  const GraphUnderTest t;

  EXPECT_EQ(printed(t.graph),
            "DL - Conflicts: 0\n"
            "DL - TLemma Searches: 0\n"
            "DL - Short TLemmas: 0\n"
            "DL - Long TLemmas: 0\n"
            "DL - Dup Short TLemmas: 0\n"
            "DL - Dup Long TLemmas: 0\n");
  EXPECT_EQ(collected(t.graph), (Stats{{"dl conflicts", "0"},
                                       {"dl tlemma searches", "0"},
                                       {"dl short tlemmas", "0"},
                                       {"dl long tlemmas", "0"},
                                       {"dl dup short tlemmas", "0"},
                                       {"dl dup long tlemmas", "0"}}));
}

// Each counter stands at its own name, and the averages divide the right way
// round.
TEST(GraphTest, StatsWithSearchesHaveThreeAverages) {
  const CountedGraph t(4, 6, 3, 0);

  EXPECT_EQ(printed(t.graph),
            "DL - Conflicts: 4\n"
            "DL - TLemma Searches: 6\n"
            "DL - Short TLemmas: 3\n"
            "DL - Long TLemmas: 0\n"
            "DL - Dup Short TLemmas: 11\n"
            "DL - Dup Long TLemmas: 12\n"
            "DL - Avg. Searches for Conflicts: 1.50\n"
            "DL - Avg. Short TLemmas for search: 0.50\n"
            "DL - Avg. Long TLemmas for search: 0.00\n");
  EXPECT_EQ(collected(t.graph),
            (Stats{{"dl conflicts", "4"},
                   {"dl tlemma searches", "6"},
                   {"dl short tlemmas", "3"},
                   {"dl long tlemmas", "0"},
                   {"dl dup short tlemmas", "11"},
                   {"dl dup long tlemmas", "12"},
                   {"dl avg searches for conflicts", "1.50"},
                   {"dl avg short tlemmas for search", "0.50"},
                   {"dl avg long tlemmas for search", "0.00"}}));
}

// The two lemma averages are over searches, each of its own counter.
TEST(GraphTest, StatsAverageLemmasOverSearches) {
  const Stats stats = collected(CountedGraph(9, 4, 1, 12).graph);

  ASSERT_EQ(stats.size(), 9U);
  EXPECT_EQ(stats[6].second, "0.44");
  EXPECT_EQ(stats[7].second, "0.25");
  EXPECT_EQ(stats[8].second, "3.00");
}

// Without searches the averages are left out, whatever the other counters say.
TEST(GraphTest, StatsWithoutSearchesStopAfterTheCounters) {
  const CountedGraph t(4, 0, 3, 2);

  EXPECT_EQ(collected(t.graph).size(), 6U);
  EXPECT_EQ(printed(t.graph).find("Avg"), std::string::npos);
}

// Counters that do not fit together show as an infinity.
TEST(GraphTest, StatsWithSearchesButNoConflictsPrintInf) {
  const CountedGraph t(0, 2, 1, 4);

  const Stats stats = collected(t.graph);
  ASSERT_EQ(stats.size(), 9U);
  EXPECT_EQ(stats[6].second, "inf");
  EXPECT_EQ(stats[7].second, "0.50");
  EXPECT_EQ(stats[8].second, "2.00");
  EXPECT_NE(printed(t.graph).find("DL - Avg. Searches for Conflicts: inf\n"
                                  "DL - Avg. Short TLemmas for search: 0.50\n"
                                  "DL - Avg. Long TLemmas for search: 2.00\n"),
            std::string::npos);
}

// Counts are converted to single precision one by one, and divided in it.
TEST(GraphTest, StatsAverageInSinglePrecision) {
  const Stats stats = collected(CountedGraph(1, 16777217, 1, 0).graph);

  ASSERT_EQ(stats.size(), 9U);
  EXPECT_EQ(stats[6].second, "16777216.00");
  // The float nearest to 5000.035 lies above it, the double nearest below.
  EXPECT_EQ(collected(CountedGraph(200, 1000007, 0, 0).graph)[6].second,
            "5000.04");
}

// Counters are unsigned; the upper half of their range is not negative.
TEST(GraphTest, StatsTakeCountsUpToTheLargest) {
  const std::size_t most = std::numeric_limits<std::size_t>::max();

  const Stats stats = collected(CountedGraph(1, most, most, 0).graph);

  ASSERT_EQ(stats.size(), 9U);
  EXPECT_EQ(stats[1].second, "18446744073709551615");
  EXPECT_EQ(stats[6].second, "18446744073709551616.00");
  EXPECT_EQ(stats[7].second, "1.00");
}

// A host collects from many parts into one list, and again and again.
TEST(GraphTest, GetStatsAppends) {
  const GraphUnderTest fresh;
  Stats stats = {{"host", "1"}};
  fresh.graph.get_stats(stats);
  fresh.graph.get_stats(stats);
  ASSERT_EQ(stats.size(), 13U);
  EXPECT_EQ(stats[0].first, "host");
  EXPECT_EQ(stats[1].first, "dl conflicts");
  EXPECT_EQ(stats[7].first, "dl conflicts");

  const CountedGraph counted(4, 6, 3, 0);
  Stats twice;
  counted.graph.get_stats(twice);
  counted.graph.get_stats(twice);
  ASSERT_EQ(twice.size(), 18U);
  for (std::size_t k = 0; k < 9; ++k) EXPECT_EQ(twice[k], twice[k + 9]);
}

// Reporting counts nothing.
TEST(GraphTest, StatsAreReadOnly) {
  const CountedGraph t(4, 6, 3, 0);

  EXPECT_EQ(printed(t.graph), printed(t.graph));
}

// The stream is the caller's: formatting set for other output must survive,
// and must not leak into the averages.
TEST(GraphTest, PrintStatsLeavesTheFormattingOfTheStreamAlone) {
  const CountedGraph t(4, 6, 3, 0);
  std::ostringstream out;
  out << std::scientific << std::setprecision(6) << std::setfill('*')
      << std::showpos;
  const std::ios_base::fmtflags flags = out.flags();

  t.graph.print_stats(out);

  EXPECT_EQ(out.flags(), flags);
  EXPECT_EQ(out.precision(), 6);
  EXPECT_EQ(out.fill(), '*');
  EXPECT_EQ(out.width(), 0);
  EXPECT_NE(out.str().find("Conflicts: +1.50\n"), std::string::npos);
  EXPECT_NE(out.str().find("search: +0.50\n"), std::string::npos);
  EXPECT_NE(out.str().find("search: +0.00\n"), std::string::npos);
}

// The counters follow whatever formatting the caller has set.
TEST(GraphTest, PrintStatsPrintsCountersInTheFormattingOfTheStream) {
  CountedGraph t(255, 0, 16, 0);
  std::ostringstream out;
  out << std::hex << std::showbase;

  t.graph.print_stats(out);

  EXPECT_EQ(out.str(),
            "DL - Conflicts: 0xff\n"
            "DL - TLemma Searches: 0\n"
            "DL - Short TLemmas: 0x10\n"
            "DL - Long TLemmas: 0\n"
            "DL - Dup Short TLemmas: 0xb\n"
            "DL - Dup Long TLemmas: 0xc\n");
}

/// Thousands are grouped.
struct Grouped : std::numpunct<char> {
  char do_thousands_sep() const override { return '\''; }
  std::string do_grouping() const override { return "\3"; }
};

// The caller's locale is the caller's formatting; get_stats has none.
TEST(GraphTest, PrintStatsFollowsTheLocaleOfTheStreamAndKeepsIt) {
  const CountedGraph t(1234567, 1, 0, 0);
  std::ostringstream out;
  const std::locale grouped(std::locale::classic(), new Grouped);
  out.imbue(grouped);

  t.graph.print_stats(out);

  EXPECT_EQ(out.str().substr(0, out.str().find('\n')),
            "DL - Conflicts: 1'234'567");
  EXPECT_EQ(out.getloc(), grouped);
  EXPECT_EQ(collected(t.graph)[0].second, "1234567");
}

// A stream that throws on errors has none here, and goes on throwing.
TEST(GraphTest, PrintStatsKeepsTheExceptionsOfTheStream) {
  const CountedGraph t(4, 6, 3, 0);
  std::ostringstream out;
  const auto all =
      std::ios_base::badbit | std::ios_base::failbit | std::ios_base::eofbit;
  out.exceptions(all);
  out << std::scientific;

  EXPECT_NO_THROW(t.graph.print_stats(out));

  EXPECT_EQ(out.exceptions(), all);
  EXPECT_TRUE(out.good());
  EXPECT_NE(out.flags() & std::ios_base::scientific, std::ios_base::fmtflags{});
  EXPECT_NE(out.str().find("1.50"), std::string::npos);
}

/// Takes so many characters, then fails.
class FullDisk : public std::streambuf {
 public:
  explicit FullDisk(int room) : room_(room) {}

 protected:
  int_type overflow(int_type c) override {
    if (room_ == 0) return traits_type::eof();
    --room_;
    return traits_type::not_eof(c);
  }

 private:
  int room_;
};

// Wherever the output fails, the stream reports it in its owner's way and has
// its formatting back.
TEST(GraphTest, PrintStatsOnFailingStreamRestoresItsFormatting) {
  const CountedGraph t(4, 6, 3, 0);
  const int length = static_cast<int>(printed(t.graph).size());
  for (int room = 0; room < length; ++room) {
    SCOPED_TRACE(room);
    FullDisk disk(room);
    std::ostream out(&disk);
    out << std::scientific << std::setprecision(6);

    t.graph.print_stats(out);

    EXPECT_TRUE(out.bad());
    EXPECT_EQ(out.precision(), 6);
    EXPECT_EQ(out.flags() & std::ios_base::floatfield,
              std::ios_base::scientific);

    FullDisk throwing_disk(room);
    std::ostream throwing(&throwing_disk);
    throwing << std::scientific << std::setprecision(6);
    throwing.exceptions(std::ios_base::badbit);
    EXPECT_THROW(t.graph.print_stats(throwing), std::ios_base::failure);
    EXPECT_TRUE(throwing.bad());
    EXPECT_EQ(throwing.exceptions(), std::ios_base::badbit);
    EXPECT_EQ(throwing.precision(), 6);
    EXPECT_EQ(throwing.flags() & std::ios_base::floatfield,
              std::ios_base::scientific);
  }
}

}  // namespace
}  // namespace vorn::dl
