// SPDX-License-Identifier: MIT
#include "solver/explain/schedule_chart.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/smtlib/text_session.h"

namespace vorn::solver {
namespace {

using ChartTask = ScheduleChart::Task;

ScheduleChart chart_of(const std::string& script, bool has_machines = true,
                       std::string* answers = nullptr) {
  TextHost host;
  StringSource source(script);
  ScriptOptions options;
  options.keep_chart = options.engine.keep_schedule = true;
  if (!has_machines) options.engine.machines = Machines::kOff;
  Interpreter interpreter(source, host, options);
  while (interpreter.run_command()) {
  }
  EXPECT_FALSE(interpreter.had_error()) << host.output();
  if (answers != nullptr) *answers = host.output();
  EXPECT_NE(interpreter.chart(), nullptr);
  return *interpreter.chart();
}

// "a 0+3, b 3+2; c 1/2+4": rows of names, starts and durations.
std::string text_of(const ScheduleChart& chart) {
  std::string text;
  const char* row_separator = "";
  for (const auto& row : chart.rows) {
    text += row_separator;
    row_separator = "; ";
    const char* separator = "";
    for (const ChartTask& task : row) {
      text += separator + task.name + ' ' + task.start.to_str() + '+' +
              task.duration.to_str();
      separator = ", ";
    }
  }
  return text;
}

// Four tasks, and what keeps x, which takes dx, and y apart.
constexpr char kTasks[] =
    "(declare-const a Int)(declare-const b Int)(declare-const c Int)"
    "(declare-const d Int)(declare-const p Bool)(declare-const q Bool)"
    "(define-fun apart ((x Int) (dx Int) (y Int) (dy Int)) Bool"
    " (or (>= (- y x) dx) (>= (- x y) dy)))";

struct Case {
  const char* what;
  const char* script;
  const char* expected;
};
constexpr Case kCases[] = {
    {"two tasks are a machine, others are not drawn",
     "(assert (apart a 3 b 2))(assert (= a 0))(assert (= b 3))(assert (= c 1))"
     "(assert (>= d 5))(check-sat)",
     "a 0+3, b 3+2"},
    {"the shortest of several gaps is the duration, and rows are by time",
     "(assert (apart b 4 a 5))(assert (apart b 6 c 1))(assert (apart a 3 c 2))"
     "(assert (= b 0))(assert (= c 6))(assert (= a 8))(check-sat)",
     "b 0+4, c 6+1, a 8+3"},
    {"one of two visits comes first",
     "(assert (apart a 3 b 2))(assert (apart c 1 b 2))(assert (>= (- c d) 4))"
     "(assert (>= (- d a) 3))"
     "(assert (= a 0))(assert (= b 3))(assert (= c 8))(check-sat)",
     "a 0+3, b 3+2, c 8+1"},
    {"machines one behind the other are two",
     "(assert (apart a 3 b 2))(assert (apart c 1 d 2))(assert (>= (- c a) 3))"
     "(assert (>= (- d a) 3))(assert (>= (- c b) 2))(assert (>= (- d b) 2))"
     "(assert (and (= a 0) (= b 3) (= c 5) (= d 6)))(check-sat)",
     "a 0+3, b 3+2; c 5+1, d 6+2"},
    {"what all wait for is on no machine",
     "(assert (>= (- a d) 1))(assert (>= (- b d) 1))(assert (apart a 3 b 2))"
     "(assert (= d 0))(assert (= a 1))(assert (= b 4))(check-sat)",
     "a 1+3, b 4+2"},
    {"a task that is elsewhere is not drawn",
     "(assert (=> p (apart a 3 b 2)))(assert (=> q (apart a 3 c 1)))"
     "(assert (=> (and p q) (apart b 2 c 1)))"
     "(assert (and p (not q) (= a 0) (= b 3) (= c 0)))(check-sat)",
     "a 0+3, b 3+2"},
    {"one that is alone is",
     "(assert (=> p (apart a 3 b 2)))(assert (=> q (apart a 3 c 1)))"
     "(assert (=> (and p q) (apart b 2 c 1)))"
     "(assert (and (not p) (not q) (= a 0) (= b 0) (= c 0)))(check-sat)",
     "a 0+3"},
    {"but not where it is unclear whether it is there",
     "(assert (=> p (apart a 3 b 2)))(assert (not p))(check-sat)", ""},
    {"values of a number are machines, too",
     "(declare-const m Int)(assert (<= 1 m 2))(assert (= m 2))"
     "(assert (=> (= m 1) (and (apart a 3 b 2) (apart a 3 d 1))))"
     "(assert (apart b 2 d 1))(assert (=> (= m 2) (apart a 3 c 2)))"
     "(assert (and (= a 0) (= b 0) (= c 3) (= d 2)))(check-sat)",
     "a 0+3, c 3+2; b 0+2, d 2+1"},
    {"each task may be done on each machine",
     "(declare-const k Int)(declare-const m Int)(declare-const n Int)"
     "(assert (and (<= 1 k 2) (<= 1 m 2) (<= 1 n 2) (= k m) (< m n)))"
     "(define-fun on ((x Int)) Bool (and (=> (and (= k x) (= m x)) (apart a 3 "
     "b "
     "2)) (=> (and (= k x) (= n x)) (apart a 3 c 1))"
     " (=> (and (= m x) (= n x)) (apart b 2 c 1))))(assert (and (on 1) (on 2)))"
     "(assert (and (= a 0) (= b 3) (= c 1)))(check-sat)",
     "a 0+3, b 3+2; c 1+1"},
    {"names and assumptions are no presence",
     "(set-option :produce-unsat-cores true)"
     "(assert (! (apart a 3 b 2) :named ab))"
     "(assert (! (and (apart a 3 c 1) (apart b 2 c 1)) :named others))"
     "(assert (= a 0))(assert (= b 3))(assert (= c 5))(check-sat)",
     "a 0+3, b 3+2, c 5+1"},
    {"what is only assumed counts as well",
     "(assert (= a 0))(assert (= b 3))(check-sat-assuming ((apart a 3 b 2)))",
     "a 0+3, b 3+2"},
    {"the last sat counts, with its scope",
     "(assert (and (= a 0) (= b 3)))(push 1)(assert (apart a 3 b 2))(check-sat)"
     "(pop 1)(assert (< a 0))(check-sat)",
     "a 0+3, b 3+2"},
    {"a machine goes with its scope",
     "(assert (and (= a 0) (= b 3)))(push 1)(assert (apart a 3 b 2))(check-sat)"
     "(pop 1)(check-sat)",
     ""},
    {"a choice of orders, as two implications",
     "(assert (ite p (>= (- b a) 3) (>= (- a b) 2)))"
     "(assert (and (= a 2) (= b 0)))(check-sat)",
     "b 0+2, a 2+3"},
    {"the best model is drawn",
     "(declare-const end Int)(assert (apart a 3 b 2))(assert (>= a 0))"
     "(assert (>= b 1))(assert (>= (- end a) 3))(assert (>= (- end b) 2))"
     "(minimize end)(check-sat)",
     "a 0+3, b 3+2"},
    {"being before or after noon is no task",
     "(assert (or (<= a (- 3)) (>= a 4)))(check-sat)", ""},
};

// Who looks at the chart plans with it: what is drawn has to be what the script
// says, with the search reasoning about machines or not.
TEST(ScheduleChartTest, DrawingShowsTheMachinesOfTheLastModel) {
  for (const Case& c : kCases) {
    for (const bool has_machines : {true, false}) {
      SCOPED_TRACE(std::string(c.what) + (has_machines ? "" : ", off"));
      std::string script = c.script;
      // Options come before all declarations.
      const bool has_option = script.rfind("(set-option", 0) == 0;
      const std::size_t options = has_option ? script.find(')') + 1 : 0;
      script.insert(options, kTasks);
      EXPECT_EQ(text_of(chart_of(script, has_machines)), c.expected);
    }
  }
}

// Colours tell jobs apart: steps of one are of one chain, and an order that was
// found for a machine joins nothing.
TEST(ScheduleChartTest, ChainsAreThoseOfJobs) {
  const ScheduleChart chart = chart_of(
      std::string(kTasks) +
      "(assert (apart a 3 c 2))(assert (apart b 3 d 2))"
      "(assert (>= (- b a) 3))(assert (>= (- d c) 2))(assert (>= c 0))"
      "(assert (<= c 2))(assert (>= a 0))(assert (>= (- a c) 2))(check-sat)");
  ASSERT_EQ(chart.rows.size(), 2U);
  for (const auto& row : chart.rows) {
    for (const ChartTask& task : row) {
      EXPECT_EQ(task.chain, task.name == "a" || task.name == "b" ? 0U : 1U)
          << task.name;
    }
  }
}

// In random shops, with conditions that are asserted, assumed or left to the
// search: whatever is drawn in one row does not overlap, and tasks that are
// kept apart in the model have a row together.
TEST(ScheduleChartTest, RowsAreThePairsThatAreKeptApart) {
  int num_rows = 0;
  for (unsigned seed = 0; seed < 90; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto pick = [&random](int n) {
      return static_cast<int>(random() % static_cast<unsigned>(n));
    };
    constexpr int kNumTasks = 6;
    std::ostringstream script;
    script << "(declare-const p0 Bool)(declare-const p1 Bool)";
    for (int t = 0; t < kNumTasks; ++t) {
      script << "(declare-const t" << t << " Int)(assert (<= 0 t" << t
             << " 40))";
    }
    // Pairs with the condition of each: a Boolean's number, or none.
    std::vector<std::pair<std::pair<int, int>, int>> pairs;
    for (int a = 0; a < kNumTasks; ++a) {
      for (int b = a + 1; b < kNumTasks; ++b) {
        const int condition = pick(8);
        if (condition > 4) continue;
        pairs.push_back({{a, b}, condition});
        script << "(assert (or ";
        if (condition < 2) script << "(not p" << condition << ") ";
        script << "(>= (- t" << b << " t" << a << ") " << 1 + pick(4)
               << ") (>= (- t" << a << " t" << b << ") " << 1 + pick(4)
               << ")))";
      }
    }
    const std::string truths = std::string(pick(2) == 0 ? "p0 " : "(not p0) ") +
                               (pick(2) == 0 ? "p1" : "(not p1)");
    const char* const kChecks[] = {"(assert (and TRUTHS))(check-sat)",
                                   "(check-sat-assuming (TRUTHS))",
                                   "(check-sat)"};
    std::string check = kChecks[seed % 3];
    const std::size_t place = check.find("TRUTHS");
    if (place != std::string::npos) check.replace(place, 6, truths);
    script << check << "(get-value (p0 p1))";
    std::string answer;
    const ScheduleChart chart = chart_of(script.str(), pick(2) == 0, &answer);
    SCOPED_TRACE(script.str() + answer + text_of(chart));
    std::set<std::pair<std::string, std::string>> together;
    for (const auto& row : chart.rows) {
      ++num_rows;
      for (std::size_t k = 0; k < row.size(); ++k) {
        for (const ChartTask& task : row) {
          together.insert({row[k].name, task.name});
        }
        if (k == 0) continue;
        QNumber end = row[k - 1].start;
        end += row[k - 1].duration;
        EXPECT_LE(end, row[k].start);
      }
    }
    for (const auto& [pair, condition] : pairs) {
      const std::string holds = "(p" + std::to_string(condition) + " true)";
      if (condition < 2 && answer.find(holds) == std::string::npos) continue;
      EXPECT_EQ(together.count({"t" + std::to_string(pair.first),
                                "t" + std::to_string(pair.second)}),
                1U);
    }
  }
  EXPECT_GT(num_rows, 100);
}

std::string svg_of(const ScheduleChart& chart) {
  std::ostringstream out;
  write_svg(chart, out);
  return out.str();
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t result = 0;
  for (std::size_t at = text.find(part); at != std::string::npos;
       at = text.find(part, at + part.size())) {
    ++result;
  }
  return result;
}

// A name may hold whatever stands between bars; unescaped, or broken, it would
// make the file none that a viewer reads.
TEST(ScheduleChartTest, WritingKeepsNamesOutOfTheMarkup) {
  const std::string svg = svg_of(
      {{{{"<a & \"b\">", QNumber(0), QNumber(5), 0},
         {"na\xC3\xAFve \xE2\x82\xAC", QNumber(5), QNumber(5), 0},
         {"\x01\xFF\xC3\x7F\xED\xA0\x80", QNumber(10), QNumber(5), 0}}}});
  EXPECT_NE(svg.find(">&lt;a &amp; \"b\"&gt;: 0 to 5</title>"),
            std::string::npos)
      << svg;
  EXPECT_NE(svg.find(">&lt;a &amp; \"b\"&gt;</text>"), std::string::npos);
  EXPECT_NE(svg.find("na\xC3\xAFve \xE2\x82\xAC"), std::string::npos);
  // One sign that something is missing for each byte that makes no character.
  EXPECT_EQ(count(svg, "\xEF\xBF\xBD"), 2U * 7U) << svg;
}

// Any times have an axis: large, tiny, below zero, with fractions.
TEST(ScheduleChartTest, WritingFindsAnAxisForAnyTimes) {
  struct Times {
    const char* start;
    const char* duration;
    // The first two labels, and the last.
    std::vector<std::string> labels;
  };
  const Times kTimes[] = {
      {"0", "55", {">0<", ">5<", ">55<"}},
      {"100000000000000000000",
       "3",
       {">100000000000000000000<", ">100000000000000000003<"}},
      {"-7", "6", {">-7<", ">-6.5<", ">-1<"}},
      {"1/8", "1/4", {">0<", ">0.05<", ">0.375<"}},
      {"0", "1/300", {">0<", ">0.0005<", ">1/300<"}},
  };
  for (const Times& times : kTimes) {
    SCOPED_TRACE(times.start);
    const std::string svg =
        svg_of({{{{"a", *QNumber::from_string(times.start),
                   *QNumber::from_string(times.duration), 0}}}});
    for (const std::string& label : times.labels) {
      EXPECT_EQ(count(svg, label), 1U) << label << '\n' << svg;
    }
    EXPECT_LE(count(svg, "<path"), 30U);
  }
}

// What does not fit is turned, cut or left to the pointer; nothing stands out.
TEST(ScheduleChartTest, WritingFitsNamesToTheirBars) {
  std::vector<ChartTask> row;
  const std::string name = "a_name_of_some_length";
  QNumber start(0);
  for (const int duration : {400, 60, 12, 4}) {
    row.push_back({name, start, QNumber(duration), 0});
    start += QNumber(duration);
  }
  row.push_back({"b", start, QNumber(2000), 0});
  const std::string svg = svg_of({{row}});
  EXPECT_EQ(count(svg, name + ": "), 4U) << svg;
  EXPECT_EQ(count(svg, '>' + name + "</text>"), 1U) << svg;
  EXPECT_EQ(count(svg, "rotate(-90)"), 1U) << svg;
  EXPECT_EQ(count(svg, "\xE2\x80\xA6</text>"), 1U) << svg;
}

}  // namespace
}  // namespace vorn::solver
