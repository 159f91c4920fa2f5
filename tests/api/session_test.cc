// SPDX-License-Identifier: MIT
#include "vorn/solver/session.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

namespace vorn::api {
namespace {

// Two tasks on one machine, of 3 and 2; whoever waits for both wants it early.
struct Workshop {
  Session session;
  Expression a = session.integer("a");
  Expression b = session.integer("b");
  Expression end = session.integer("end");

  explicit Workshop(const Settings& settings = {}) : session(settings) {
    session.add((b - a >= 3 || a - b >= 2) && a >= 0 && b >= 0);
    session.add(end - a >= 3 && end - b >= 2);
  }
};

// 12 tasks of length 2 within 22: no check has an answer within a test's time.
void add_pigeons(Session& session) {
  std::vector<Expression> starts;
  for (int k = 0; k < 12; ++k) {
    starts.push_back(session.integer("t" + std::to_string(k)));
    session.add(starts.back() >= 0 && starts.back() <= 20);
    for (int j = 0; j < k; ++j) {
      const Expression& other = starts[static_cast<std::size_t>(j)];
      session.add(starts.back() - other >= 2 || other - starts.back() >= 2 ||
                  equal(starts.back() - other, 100));
    }
  }
}

// The whole way from operators to the best model.
TEST(SessionTest, MinimizeGivesBestModelAndItsValue) {
  Workshop workshop;
  Session& session = workshop.session;
  ASSERT_TRUE(session.minimize(workshop.end, "end"));

  ASSERT_EQ(session.check(), Answer::kSat);

  EXPECT_EQ(session.value(workshop.end), QNumber(5));
  EXPECT_TRUE(session.value(workshop.b - workshop.a >= 3 ||
                            workshop.a - workshop.b >= 2));
  const std::vector<Objective> objectives = session.objectives();
  ASSERT_EQ(objectives.size(), 1U);
  EXPECT_EQ(objectives[0].name, "end");
  EXPECT_TRUE(objectives[0].is_settled);
  EXPECT_EQ(objectives[0].best.low.value, QNumber(5));
  const Interval slack = session.bounds(workshop.a);
  EXPECT_EQ(slack.low.value, QNumber(0));
  EXPECT_EQ(slack.high.value, QNumber(2));
}

// What a scope asserts, wants and names ends with it.
TEST(SessionTest, PopTakesBackAssertionsLabelsAndObjectives) {
  Workshop workshop;
  Session& session = workshop.session;
  session.push();
  session.add(workshop.end <= 4, "early");
  session.maximize(workshop.a);
  EXPECT_FALSE(session.is_free_label("early"));
  EXPECT_EQ(session.check(), Answer::kUnsat);
  EXPECT_EQ(session.core(), std::vector<std::string>{"early"});

  session.pop();

  EXPECT_TRUE(session.is_free_label("early"));
  EXPECT_EQ(session.check(), Answer::kSat);
  EXPECT_TRUE(session.objectives().empty());
  EXPECT_EQ(session.num_assertions(), 2U);
}

// Positions, not terms, come back; and in the explanation numbers, not lines.
TEST(SessionTest, FailedAssumptionsAndExplanationSayWhich) {
  Session session;
  const Expression x = session.integer("x");
  const Expression y = session.integer("y");
  session.add(x - y <= 3);

  ASSERT_EQ(session.check({y <= 10, x >= 6, y <= 2}), Answer::kUnsat);

  EXPECT_EQ(session.failed(), (std::vector<std::size_t>{1, 2}));
  const std::string text = session.explanation();
  EXPECT_NE(text.find("assertion 1"), std::string::npos) << text;
  EXPECT_NE(text.find("assumption 2"), std::string::npos) << text;
  EXPECT_EQ(text.find(';'), std::string::npos) << text;
}

// A sum is no difference: nothing is asserted, and the text says what it is.
TEST(SessionTest, AddOutsideDifferenceLogicChangesNothing) {
  Session session;
  const Expression x = session.integer("x");
  const Expression y = session.real("y");

  EXPECT_FALSE(session.add(x + y <= 3 || x <= 1));
  EXPECT_FALSE(session.minimize(x + y));
  EXPECT_NE(session.objection(x + y <= 3).find("outside difference logic"),
            std::string::npos);

  EXPECT_EQ(session.num_assertions(), 0U);
  EXPECT_EQ(session.objection(2 * x - 2 * y <= 3), "");
}

// Numbers have no size, and a bound that is approached says so.
TEST(SessionTest, ValuesAreExactAtAnySize) {
  Session session;
  const Expression x = session.real("x");
  const QNumber huge =
      QNumber::from_string("123456789012345678901234567890/7").value();
  session.add(x > huge);
  session.minimize(x);

  ASSERT_EQ(session.check(), Answer::kSat);

  EXPECT_LT(huge, session.value(x));
  const Objective objective = session.objectives().at(0);
  EXPECT_EQ(objective.best.low.value, huge);
  EXPECT_EQ(objective.best.low.side, 1);
}

// The heavier wish counts, and what it costs is the objective.
TEST(SessionTest, SoftFormulasCostTheirWeights) {
  Session session;
  const Expression x = session.integer("x");
  session.soften(x <= 1, 2);
  session.soften(x >= 5, 3);

  ASSERT_EQ(session.check(), Answer::kSat);

  EXPECT_GE(session.value(x), QNumber(5));
  EXPECT_EQ(session.objectives().at(0).best.high.value, QNumber(2));
}

// Limits end a check that has an end far away, and say which limit it was.
TEST(SessionTest, LimitsEndCheckWithReason) {
  Session session;
  add_pigeons(session);
  std::size_t polls = 0;
  session.set_conflict_limit(20);
  EXPECT_EQ(session.check(), Answer::kUnknown);
  EXPECT_EQ(session.reason(), Reason::kConflictLimit);
  session.set_conflict_limit(0);
  session.set_timeout(50);
  EXPECT_EQ(session.check(), Answer::kUnknown);
  EXPECT_EQ(session.reason(), Reason::kTimeout);
  session.set_timeout(0);
  session.set_poll([&polls] { return ++polls == 3; });
  EXPECT_EQ(session.check(), Answer::kUnknown);
  EXPECT_EQ(session.reason(), Reason::kInterrupted);
  EXPECT_EQ(polls, 3U);
  session.set_poll({});
  session.stop();
  EXPECT_EQ(session.check(), Answer::kUnknown);
  EXPECT_EQ(session.reason(), Reason::kInterrupted);
}

// What is drawn is the model's; without a machine there is nothing to draw.
TEST(SessionTest, ChartShowsMachines) {
  Settings settings;
  settings.keep_schedule = true;
  Workshop workshop(settings);

  ASSERT_EQ(workshop.session.check(), Answer::kSat);

  EXPECT_NE(workshop.session.chart().find("<svg"), std::string::npos);
}

// Each operator says what it does to numbers, whole or not, and what is an
// integer stays one.
TEST(SessionTest, OperatorsMeanWhatTheyDoToNumbers) {
  // In sixths, so that plain integers know the results.
  const auto sixths = [](int n, int parts = 6) {
    QNumber number(n);
    number /= QNumber(parts);
    return number;
  };
  for (const int m : {-12, 0, 18, 21, -2}) {
    for (const int n : {-12, 0, 18, 21, -2}) {
      Session session;
      const auto variable = [&](const char* name, int value) {
        const Expression made =
            value % 6 == 0 ? session.integer(name) : session.real(name);
        session.add(equal(made, sixths(value)));
        return made;
      };
      const Expression x = variable("x", m);
      const Expression y = variable("y", n);
      const QNumber q = sixths(n);
      ASSERT_EQ(session.check(), Answer::kSat);
      SCOPED_TRACE(std::to_string(m) + "/6 and " + std::to_string(n) + "/6");

      EXPECT_EQ(session.value(x + y), sixths(m + n));
      EXPECT_EQ(session.value(x - y), sixths(m - n));
      EXPECT_EQ(session.value(-x), sixths(-m));
      EXPECT_EQ(session.value(x + q), sixths(m + n));
      EXPECT_EQ(session.value(x - q), sixths(m - n));
      EXPECT_EQ(session.value(q * x), sixths(m * n, 36));
      EXPECT_EQ(session.value(choose(x < y, x, y)), sixths(m < n ? m : n));
      EXPECT_EQ(session.value(x <= y), m <= n);
      EXPECT_EQ(session.value(x < y), m < n);
      EXPECT_EQ(session.value(x >= y), m >= n);
      EXPECT_EQ(session.value(x > y), m > n);
      EXPECT_EQ(session.value(x <= q), m <= n);
      EXPECT_EQ(session.value(x < q), m < n);
      EXPECT_EQ(session.value(x >= q), m >= n);
      EXPECT_EQ(session.value(x > q), m > n);
      EXPECT_EQ(session.value(equal(x, y)), m == n);
      EXPECT_EQ(session.value(equal(x, q)), m == n);
      EXPECT_EQ((x - y).is_integer(), m % 6 == 0 && n % 6 == 0);
      EXPECT_EQ((2 * x + 1).is_integer(), m % 6 == 0);
    }
  }
}

// Who watches hears of the best value so far, and the log has the graph's
// words.
TEST(SessionTest, ProgressAndLogTellWhatHappens) {
  Workshop workshop;
  Session& session = workshop.session;
  session.maximize(-workshop.end, "haste");
  std::vector<std::string> told;
  session.set_progress([&told](const Progress& progress) {
    if (progress.objective == nullptr) return;
    told.push_back(progress.objective->name);
    EXPECT_TRUE(progress.objective->is_maximized);
  });

  ASSERT_EQ(session.check(), Answer::kSat);

  EXPECT_FALSE(told.empty());
  for (const std::string& name : told) EXPECT_EQ(name, "haste");
}

// The graph's words about lemmas come as long as somebody wants them.
TEST(SessionTest, LoggerHearsOfLemmas) {
  Settings settings;
  settings.lemmas = Lemmas::kBoth;
  settings.lemma_overlap = 0;
  settings.find_machines = false;
  settings.propagation = Propagation::kOff;
  Session session(settings);
  add_pigeons(session);
  session.set_conflict_limit(300);
  std::ostringstream log;
  Logger logger(log, 2);
  session.set_logger(&logger);
  EXPECT_EQ(session.check(), Answer::kUnknown);
  const std::string heard = log.str();
  EXPECT_NE(heard, "");
  session.set_logger(nullptr);
  EXPECT_EQ(session.check(), Answer::kUnknown);
  EXPECT_EQ(log.str(), heard);
}

// Names that SMT-LIB could not tell apart are refused beforehand.
TEST(SessionTest, NamesAreFreeOnce) {
  Session session;
  EXPECT_TRUE(session.is_free("two words"));
  session.integer("two words");
  for (const char* taken :
       {"two words", "and", "ite", "abs", "", "a|b", "\\"}) {
    EXPECT_FALSE(session.is_free(taken)) << taken;
  }
}

}  // namespace
}  // namespace vorn::api
