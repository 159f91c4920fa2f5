// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "checker/checker.h"
#include "tests/bruteforce/replies.h"
#include "tests/build_kind.h"
#include "tests/smtlib/text_session.h"

namespace vorn::solver {
namespace {

struct Case {
  const char* title;
  std::string script;
  std::string reply;
};

const char kReals[] =
    "(set-logic QF_RDL)(declare-const x Real)(declare-const y Real)";
const char kIntegers[] =
    "(set-logic QF_IDL)(declare-const x Int)(declare-const y Int)"
    "(declare-const p Bool)";
const char kMixed[] =
    "(declare-const i Int)(declare-const j Int)"
    "(declare-const r Real)(declare-const s Real)";
const char kAsk[] = "(check-sat)(get-objectives)";

// Values that no model has, or that there are none of; what stands behind them;
// what ends with a level; what is no objective.
TEST(OptimiseTest, RepliesAreThoseOfTheTable) {
  const std::vector<Case> cases = {
      {"nothing wanted", kReals + std::string(kAsk), "sat\n(objectives)\n"},
      {"no bound",
       kIntegers + std::string("(minimize x)(maximize (- x y))") + kAsk,
       "sat\n(objectives (x (- oo))\n ((- x y) oo))\n"},
      // However far out the cases of the first model are bounded.
      {"no bound in another case",
       kIntegers +
           std::string("(assert (or (and p (>= x 3)) (and (not p) (<= "
                       "x (- 10)) (<= y x))))(assert (or p (>= y (- "
                       "5)) (< x (- 1000))))(minimize x)") +
           kAsk,
       "sat\n(objectives (x (- oo)))\n"},
      {"behind no bound",
       kIntegers +
           std::string("(assert (<= y (+ x 4)))(assert (>= y 2))(assert"
                       " (or p (< x 7)))(maximize x)(maximize (- y x))"
                       "(minimize y)(maximize (ite p 1 0))") +
           kAsk,
       "sat\n(objectives (x oo)\n ((- y x) 4)\n (y oo)\n ((ite p 1 0) 1))\n"},
      {"not reached",
       kReals +
           std::string("(assert (> x 3))(assert (< x 4))(minimize x :id a)"
                       "(maximize x :id b)") +
           kAsk,
       "sat\n(objectives (a (+ 3.0 epsilon))\n (b (+ 3.0 epsilon)))\n"},
      {"not reached, below",
       kReals + std::string("(assert (< x 0.5))(maximize (* 2 x))") + kAsk,
       "sat\n(objectives ((* 2 x) (- 1.0 epsilon)))\n"},
      {"reached behind what is not",
       kReals +
           std::string("(assert (> x 3))(assert (>= y (+ x 1)))(assert (or"
                       " (<= y 4.5) (>= y 6)))(minimize x)(minimize (- y "
                       "x))(maximize y)") +
           kAsk,
       "sat\n(objectives (x (+ 3.0 epsilon))\n ((- y x) 1.0)\n (y (+ 4.0 "
       "epsilon)))\n"},
      {"reached elsewhere",
       kReals +
           std::string("(assert (or (> x 3) (>= x y)))(assert (= y 3))"
                       "(minimize x)") +
           kAsk,
       "sat\n(objectives (x 3.0))\n"},
      // Over reals alone s - r could be as low as i - j allows.
      {"integers among reals",
       kMixed +
           std::string("(assert (and (> (- r i) 0.25) (< (- r i) 0.75) (> "
                       "(- s j) 0.25) (< (- s j) 0.75)))(assert (<= 0 i 4)"
                       ")(assert (<= 0 j 4))(assert (< i s))(minimize (- "
                       "s r))(maximize (- i r))(minimize i)") +
           kAsk,
       "sat\n(objectives ((- s r) (+ (- (/ 1.0 2.0)) epsilon))\n ((- i r) (+ "
       "(- (/ 3.0 4.0)) epsilon))\n (i 0))\n"},
      {"no model",
       kIntegers + std::string("(minimize x)(assert (< x y x))(check-sat)"
                               "(get-objectives)"),
       "unsat\n(error \"line 1 column 124: get-objectives is possible only "
       "while the last answer is sat or unknown\")\n"},
      {"levels",
       kIntegers +
           std::string("(assert (<= 0 x 9))(minimize x)(push)(assert (> x 2))"
                       "(maximize y)(assert (<= y x))") +
           kAsk + "(pop)" + kAsk + "(push)(assert (> x 4))" + kAsk + "(pop)" +
           "(reset-assertions)" + kAsk,
       "sat\n(objectives (x 3)\n (y 3))\nsat\n(objectives (x 0))\n"
       "sat\n(objectives (x 5))\nsat\n(objectives)\n"},
      {"assumptions",
       kIntegers +
           std::string("(assert (=> p (>= x 5)))(assert (>= x 1))"
                       "(minimize x)(check-sat-assuming (p))"
                       "(get-objectives)(get-value (x p))(check-sat-"
                       "assuming (p (< x 5)))") +
           kAsk,
       "sat\n(objectives (x 5))\n((x 5)\n (p true))\nunsat\nsat\n(objectives "
       "(x "
       "1))\n"},
      // Bounds that are asked for have a case each, and the one that does not
      // count may be all that holds a model where it is.
      {"far off, with cases",
       kReals +
           std::string("(declare-const p Bool)(declare-const q Bool)(assert "
                       "(or p (>= x 3000000000000.0)))(assert (>= x 0.25))"
                       "(minimize (+ x (ite q 0.5 0.0)))") +
           kAsk,
       "sat\n(objectives ((+ x (ite q 0.5 0.0)) (/ 1.0 4.0)))\n"},
      {"cases",
       kIntegers +
           std::string("(assert (<= 0 x 3))(assert (<= 1 (- y x) 2))"
                       "(maximize (+ (ite p x 1) (ite p 0 3)))"
                       "(minimize (- y (ite p x y)))") +
           kAsk,
       "sat\n(objectives ((+ (ite p x 1) (ite p 0 3)) 4)\n ((- y (ite p x y)) "
       "0))\n"},
      {"formulas with weights",
       kIntegers +
           std::string(
               "(assert (<= 0 x 9))(assert-soft (> x 7) :weight 0.5 :id a)"
               "(assert-soft (< x 3) :weight (/ 2 3) :id a)(minimize (- x))"
               "(assert-soft p)(assert-soft (> x 5) :id a :weight 0.25)"
               "(assert-soft (not p) :weight 0)(assert-soft false :weight 3)") +
           kAsk + "(get-bounds x)(push)(assert (> x 2))" + kAsk + "(pop)" +
           kAsk,
       "sat\n(objectives (a (/ 2.0 3.0))\n ((- x) (- 9))\n (soft 3))\n(x 9 9)\n"
       "sat\n(objectives (a (/ 2.0 3.0))\n ((- x) (- 9))\n (soft 3))\n"
       "sat\n(objectives (a (/ 2.0 3.0))\n ((- x) (- 9))\n (soft 3))\n"},
      {"weights that are none",
       kIntegers +
           std::string("\n(assert-soft p :weight (- 1))\n(assert-soft p "
                       ":weight -1)\n(assert-soft x)\n(assert-soft p "
                       ":weight (/ 1 0))\n(assert-soft p :wait 1)") +
           kAsk,
       "(error \"line 2 column 25: expected /, not -\")\n(error \"line 3 "
       "column "
       "24: expected a number, not below 0, not -1\")\n(error \"line 4 column "
       "14: expected a Bool, not an Int\")\n(error \"line 5 column 29: "
       "expected "
       "a number above 0, not 0\")\n(error \"line 6 column 16: expected "
       "':weight', ':id' or ')', not :wait\")\nsat\n(objectives)\n"},
      {"bounds",
       kIntegers +
           std::string("(assert (<= 0 x 9))(assert (or (<= y (- x 2)) "
                       "(> y 20)))(get-bounds x)(check-sat)(get-bounds "
                       "(- x y))(get-bounds y)(push)(maximize y)(assert"
                       " (< y 20))(check-sat)(get-bounds x)(get-bounds "
                       "(ite p x 0))(get-objectives)(pop)(check-sat-"
                       "assuming ((< 3 x 6)))(get-bounds x)(get-bounds "
                       "p)(check-sat-assuming ((< x 0)))(get-bounds x)"),
       "(error \"line 1 column 139: get-bounds is possible only while the last "
       "answer is sat\")\nsat\n((- x y) (- oo) oo)\n(y (- oo) oo)\nsat\n(x 9 "
       "9)\n((ite p x 0) 0 9)\n(objectives (y 7))\nsat\n(x 4 5)\n(error \"line "
       "1 column 361: expected an Int or a Real, not a Bool\")\nunsat\n(error "
       "\"line 1 column 393: get-bounds is possible only while the last answer "
       "is sat\")\n"},
      {"no term",
       "(set-logic QF_IDL)\n(declare-const x Int)(declare-const y Int)\n"
       "(minimize (+ x y))\n(maximize true)\n(minimize x :ID a)\n(minimize)\n"
       "(minimize x :id 3)" +
           std::string(kAsk),
       "(error \"line 3 column 11: (+ x y) is outside difference logic\")\n"
       "(error \"line 4 column 11: expected an Int or a Real, not a Bool\")\n"
       "(error \"line 5 column 13: expected ':id' or ')', not :ID\")\n"
       "(error \"line 6 column 10: expected a term, not ')'\")\n"
       "(error \"line 7 column 17: expected a symbol, not 3\")\n"
       "sat\n(objectives)\n"},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(run_text(one.script), one.reply) << one.title;
  }
}

// As far as each can move while the end stays; comments, so that replies are
// as ever.
TEST(OptimiseTest, SlackIsShownBehindSat) {
  ScriptOptions options;
  options.slack = true;
  EXPECT_EQ(run_text(kReals + std::string("(declare-const q Bool)(assert (> x "
                                          "1))(assert (>= (- y x) 2))(assert "
                                          "(<= y 8.5))(check-sat)(minimize y)"
                                          "(check-sat)(assert (> x y))"
                                          "(check-sat)"),
                     nullptr, options),
            "sat\n; each variable, and from where to where it can be:\n"
            ";   x   (+ 1.0 epsilon) to (/ 13.0 2.0)\n"
            ";   y   (+ 3.0 epsilon) to (/ 17.0 2.0)\n"
            "sat\n; each variable, and from where to where it can be:\n"
            ";   x   (+ 1.0 epsilon)\n;   y   (+ 3.0 epsilon)\nunsat\n");
}

using Step = std::pair<int, int>;  // machine, duration
using Shop = std::vector<std::vector<Step>>;

Shop make_shop(std::mt19937& random, int jobs, int machines) {
  Shop shop;
  for (int j = 0; j < jobs; ++j) {
    std::vector<Step>& job = shop.emplace_back();
    for (int m = 0; m < machines; ++m) {
      const auto place =
          static_cast<std::ptrdiff_t>(random() % (job.size() + 1));
      job.insert(job.begin() + place, {m, 1 + static_cast<int>(random() % 20)});
    }
  }
  return shop;
}

std::string start_of(std::size_t job, std::size_t step) {
  return "s" + std::to_string(job) + "_" + std::to_string(step);
}

// The end is wanted as early as it can be.
std::string question_about(const Shop& shop) {
  std::string text = "(set-logic QF_IDL)(declare-const end Int)\n";
  const auto after = [](const std::string& a, const std::string& b, int d) {
    return "(>= (- " + b + ' ' + a + ") " + std::to_string(d) + ")";
  };
  for (std::size_t j = 0; j < shop.size(); ++j) {
    for (std::size_t k = 0; k < shop[j].size(); ++k) {
      text += "(declare-const " + start_of(j, k) + " Int)(assert ";
      text += k == 0 ? "(>= " + start_of(j, k) + " 0)"
                     : after(start_of(j, k - 1), start_of(j, k),
                             shop[j][k - 1].second);
      text += ")\n";
    }
    text +=
        "(assert " +
        after(start_of(j, shop[j].size() - 1), "end", shop[j].back().second) +
        ")\n";
    for (std::size_t l = 0; l < j; ++l) {
      for (std::size_t k = 0; k < shop[j].size(); ++k) {
        for (std::size_t m = 0; m < shop[l].size(); ++m) {
          if (shop[j][k].first != shop[l][m].first) continue;
          text += "(assert (or " +
                  after(start_of(j, k), start_of(l, m), shop[j][k].second) +
                  after(start_of(l, m), start_of(j, k), shop[l][m].second) +
                  "))\n";
        }
      }
    }
  }
  return text + "(minimize end)\n";
}

// What the checker says against a printed model that is to have this end;
// nothing if it is one.
std::string problem_of_model(const std::string& question,
                             const std::string& model, const std::string& end) {
  const std::string answer = "sat\n" + model;
  const std::string script = question + "(check-sat)";
  return checker::check({script, 1, nullptr, &answer, "(= end " + end + ')'})
      .reason;
}

// Whenever a check is cut short, the best end lies in the interval, and the
// schedule at hand ends where the interval does.
TEST(OptimiseTest, IntervalsOfChecksCutShortHoldTheBest) {
  std::mt19937 random(20);
  int cut_short = 0;
  constexpr int kRounds = test::kSanitized ? 1 : 4;
  for (int round = 0; round < kRounds; ++round) {
    const Shop shop = make_shop(random, 8, 7);
    const std::string question = question_about(shop);
    const std::string ask = "(check-sat)(get-objectives)(get-model)";
    const auto best = bruteforce::read_expression(
        '(' +
        run_text(question + std::string(kAsk) + "(get-info :all-statistics)") +
        ')');
    ASSERT_TRUE(best.has_value());
    const int least = std::stoi(best->items[1].items[1].items[1].atom);
    const std::vector<bruteforce::Expression>& counters = best->items[2].items;
    const auto conflicts = std::find_if(
        counters.begin(), counters.end(),
        [](const auto& item) { return item.atom == ":conflicts"; });
    const auto all = std::stoul((conflicts + 1)->atom);
    for (int moment = 0; moment < 25; ++moment) {
      TextHost host;
      StringSource source("(set-option :reproducible-resource-limit " +
                          std::to_string(1 + random() % all) + ")" + question +
                          ask);
      Interpreter interpreter(source, host);
      const auto next = [&] {
        do {
          if (!interpreter.run_command()) break;
        } while (host.output().empty());
        return std::exchange(host.output(), std::string());
      };
      const std::string answer = next();
      const auto found = bruteforce::read_expression(next());
      ASSERT_TRUE(found.has_value());
      const bruteforce::Expression& value = found->items[1].items[1];
      if (answer == "sat\n") {
        EXPECT_EQ(value.atom, std::to_string(least));
        EXPECT_EQ(problem_of_model(question, next(), value.atom), "");
        continue;
      }
      ++cut_short;
      ASSERT_EQ(answer, "unknown\n");
      ASSERT_EQ(value.items[0].atom, "interval");
      EXPECT_LE(std::stoi(value.items[1].atom), least);
      // There need be no schedule yet.
      if (value.items[2].atom == "oo") continue;
      EXPECT_GE(std::stoi(value.items[2].atom), least);
      EXPECT_EQ(problem_of_model(question, next(), value.items[2].atom), "");
    }
  }
  EXPECT_GT(cut_short, 12 * kRounds);
}

}  // namespace
}  // namespace vorn::solver
