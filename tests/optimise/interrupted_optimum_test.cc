// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include "checker/checker.h"
#include "tests/bruteforce/replies.h"
#include "tests/build_kind.h"
#include "tests/child.h"

// Ctrl-C at random moments of the search for the best schedule.
//
// VORN_MOMENTS sets their number.

namespace vorn::solver {
namespace {

using Clock = std::chrono::steady_clock;
using test::Child;
using test::Streams;

constexpr char kTable[] = "ft10";

std::uint64_t num_moments() {
  const char* given = std::getenv("VORN_MOMENTS");
  if (given != nullptr) return std::strtoull(given, nullptr, 10);
  return test::kSanitized ? 2 : 20;
}

// The least end of the table, as it is published.
int published_optimum() {
  std::ifstream table(VORN_JOBSHOP_DIR "/optima.tsv");
  std::string name;
  int jobs = 0;
  int machines = 0;
  int end = 0;
  std::string line;
  std::getline(table, line);
  while (table >> name >> jobs >> machines >> end >> line) {
    if (name == kTable) return end;
  }
  ADD_FAILURE() << "no such table: " << kTable;
  return 0;
}

// With the objective, up to the check.
std::string question_up_to_check() {
  const std::string script = VORN_JOBSHOP_DIR "/question.sh";
  const std::string table = std::string(VORN_JOBSHOP_DIR "/") + kTable + ".txt";
  const test::Ended written = test::run_program(script, {table});
  EXPECT_EQ(written.status, 0) << written.errors;
  return written.output.substr(0, written.output.find("(check-sat)"));
}

// What the command says to the question and what is asked behind it, with a
// signal after `seconds` if that is a number above 0.
std::string replies(const std::string& question, std::uint64_t seed,
                    double seconds) {
  Child process(VORN_COMMAND, {"--seed", std::to_string(seed)},
                {Streams::kPipe, Streams::kPipe, Streams::kDefault});
  process.send("(echo \"begin\")");
  EXPECT_EQ(process.read_line(), "\"begin\"\n");
  process.send(question + "(check-sat)(get-objectives)(get-model)\n");
  if (seconds > 0) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    process.send_signal(SIGINT);
  }
  process.close_input();
  std::string output = process.read_output();
  const test::Ended ended = process.wait();
  // A signal when all is said and done ends the session.
  EXPECT_TRUE(ended.status == 0 || ended.status == 130) << ended.status;
  EXPECT_EQ(ended.errors, "");
  return output;
}

struct Found {
  std::string answer;
  bruteforce::Expression value;
  std::string model;
};

// Nothing if there is less, because the end of the session came first.
std::optional<Found> read_replies(const std::string& output) {
  const std::size_t answer = output.find('\n');
  const std::size_t objectives = output.find('\n', answer + 1);
  if (answer == std::string::npos || objectives == std::string::npos) return {};
  const auto list = bruteforce::read_expression(
      output.substr(answer + 1, objectives - answer - 1));
  if (!list || list->items.size() != 2) {
    ADD_FAILURE() << output;
    return {};
  }
  return Found{output.substr(0, answer), list->items[1].items.at(1),
               output.substr(objectives + 1)};
}

// Whenever the signal comes, the interval holds the best end, and what is
// printed as the best schedule so far is one, with that end.
TEST(InterruptedOptimumTest, IntervalHoldsTheBestAndItsEndHasASchedule) {
  const std::string question = question_up_to_check();
  const int best = published_optimum();
  std::mt19937 random(3);
  std::uint64_t cut_short = 0;
  std::uint64_t with_schedule = 0;
  const Clock::time_point start = Clock::now();
  const auto whole = read_replies(replies(question, 0, 0));
  const std::chrono::duration<double> longest = Clock::now() - start;
  ASSERT_TRUE(whole.has_value());
  EXPECT_EQ(whole->value.atom, std::to_string(best));
  for (std::uint64_t moment = 0; moment < num_moments(); ++moment) {
    const std::uint64_t seed = moment % 10;
    const double seconds =
        longest.count() * (1 + static_cast<double>(random() % 1000)) / 1000;
    SCOPED_TRACE("seed " + std::to_string(seed) + ", after " +
                 std::to_string(seconds) + " s");
    const auto found = read_replies(replies(question, seed, seconds));
    if (!found) continue;
    std::string end = found->value.atom;
    if (found->answer == "unknown") {
      ++cut_short;
      ASSERT_EQ(found->value.items.size(), 3U);
      const bruteforce::Expression& low = found->value.items[1];
      if (low.is_list) {
        EXPECT_EQ(bruteforce::to_text(low), "(- oo)");
      } else {
        EXPECT_LE(std::stoi(low.atom), best);
      }
      end = found->value.items[2].atom;
      // There need be no schedule yet.
      if (end == "oo") continue;
      EXPECT_GE(std::stoi(end), best);
    } else {
      EXPECT_EQ(found->answer, "sat");
      EXPECT_EQ(end, std::to_string(best));
    }
    const std::string script = question + "(check-sat)";
    const std::string answer = "sat\n" + found->model;
    const checker::Outcome outcome =
        checker::check({script, 1, nullptr, &answer, "(= end " + end + ')'});
    EXPECT_EQ(outcome.reason, "");
    ++with_schedule;
  }
  std::cout << cut_short << " cut short, " << with_schedule
            << " schedules looked at\n";
  // A few may all come too late or too early.
  if (num_moments() < 20) return;
  EXPECT_GT(cut_short, 0U);
  EXPECT_GT(with_schedule, 0U);
}

}  // namespace
}  // namespace vorn::solver
