// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/build_kind.h"
#include "tests/command/scripts.h"

// A client on the other end of two pipes, as people write them: it sends
// commands, one at a time or many, reads a reply to each that has one, and
// interrupts and starts anew as it likes. All that it is told is compared with
// what enumeration says.

namespace vorn::command {
namespace {

using Clock = std::chrono::steady_clock;

// Numbers from -2 to 2 and Booleans, so few that all values can be tried.
constexpr int kNumbers = 3;
constexpr int kBools = 2;
constexpr int kLargest = 2;

struct Values {
  int numbers[kNumbers];
  bool bools[kBools];
};

struct Formula {
  std::string text;
  std::function<bool(const Values&)> holds;
};

struct Assertion {
  Formula formula;
  std::string name;  // empty: none
};

const std::vector<Values>& all_values() {
  static const std::vector<Values> all = [] {
    std::vector<Values> values(1);
    for (int k = 0; k < kNumbers + kBools; ++k) {
      std::vector<Values> longer;
      for (Values value : values) {
        const int most = k < kNumbers ? kLargest : 1;
        for (int n = k < kNumbers ? -kLargest : 0; n <= most; ++n) {
          if (k < kNumbers) {
            value.numbers[k] = n;
          } else {
            value.bools[k - kNumbers] = n != 0;
          }
          longer.push_back(value);
        }
      }
      values = std::move(longer);
    }
    return values;
  }();
  return all;
}

bool have_model(const std::vector<Formula>& formulas) {
  return std::any_of(
      all_values().begin(), all_values().end(), [&](const Values& values) {
        return std::all_of(formulas.begin(), formulas.end(),
                           [&](const Formula& f) { return f.holds(values); });
      });
}

std::string numeral(int n) {
  return n < 0 ? "(- " + std::to_string(-n) + ')' : std::to_string(n);
}

class Client {
 public:
  Client(std::uint32_t seed, bool prints_success)
      : random_(seed), prints_success_(prints_success) {
    start();
  }

  // Rounds, over as many sessions as it takes.
  void run(int rounds) {
    while (rounds_ < rounds && !::testing::Test::HasFailure()) {
      try {
        round();
      } catch (const SessionEnded&) {
        start();
      }
    }
  }

  // What must have happened for a test to mean anything.
  void expect_variety() const {
    EXPECT_GT(num_sat_, rounds_ / 20);
    EXPECT_GT(num_unsat_, rounds_ / 20);
    EXPECT_GT(num_unknown_, 0);
    EXPECT_GT(num_cores_, 0);
    EXPECT_GT(num_plain_ends_, 0);
    std::cout << rounds_ << " rounds: " << num_sat_ << " sat, " << num_unsat_
              << " unsat, " << num_unknown_ << " unknown, " << num_cores_
              << " cores; " << num_signals_ << " signals, of which "
              << num_ends_ << " ended a session, " << num_plain_ends_
              << " of these the only one; longest wait after one "
              << 1000 * longest_ << " ms\n";
  }

 private:
  /// Thrown where a session ended by a signal that it was sent.
  struct SessionEnded {};

  // A few commands and the questions that follow from their answers.
  void round() {
    if (draw(60) == 0) {
      if (draw(2) == 0) {
        tell("(exit)");
        const Ended ended = child_->wait();
        EXPECT_TRUE(ended.status == 0 ||
                    (ended.status == 130 && unused_signals_ > 0))
            << ended.status << history();
      }
      child_.reset();  // or ended from outside, whatever it is doing
      start();
    }
    if (draw(40) == 0) {
      ask_what_takes_for_ever();
    } else {
      ask();
    }
    ++rounds_;
    if (unused_signals_ > 0 && draw(10) == 0) settle();
  }

  int draw(int count) {
    return std::uniform_int_distribution<int>(0, count - 1)(random_);
  }

  // --- Talking ---

  void start() {
    child_ = std::make_unique<Child>(
        VORN_COMMAND, std::vector<std::string>{},
        Streams{Streams::kPipe, Streams::kPipe, Streams::kDefault});
    unused_signals_ = 0;
    owed_before_signal_ = 0;
    pending_.clear();
    sent_.clear();
    // Until it answers it may not have taken the signal over.
    EXPECT_EQ(tell("(echo \"ready\")"), "\"ready\"\n");
    if (prints_success_) command("(set-option :print-success true)");
    begin();
  }

  // What comes first after a start or a reset.
  void begin() {
    command("(set-option :produce-unsat-cores true)");
    minimizes_ = draw(2) == 0;
    if (minimizes_) command("(set-option :minimize-unsat-cores true)");
    command("(set-option :machines off)");
    command("(set-logic QF_IDL)");
    levels_.assign(1, {});
    declare();
  }

  void declare() {
    for (int k = 0; k < kNumbers; ++k) {
      const std::string name(1, static_cast<char>('a' + k));
      command("(declare-const " + name + " Int)");
      command("(assert (<= (- 2) " + name + " 2))");
    }
    for (int k = 0; k < kBools; ++k) {
      command("(declare-const p" + std::to_string(k) + " Bool)");
    }
  }

  // A command whose reply, if there is one, says nothing.
  void command(const std::string& text) {
    pending_.push_back({text, prints_success_});
  }

  struct Pending {
    std::string text;
    bool has_reply;
  };

  // Sends what is pending and `question`, at once or one by one, maybe with a
  // signal at any moment, and returns the reply to the question.
  std::string tell(const std::string& question, bool interrupts = false) {
    pending_.push_back({question, question != "(exit)" || prints_success_});
    const bool at_once = draw(2) == 0;
    const int victim =
        interrupts ? draw(static_cast<int>(pending_.size())) : -1;
    std::string all;
    std::string reply;
    std::size_t owed = 0;
    for (std::size_t k = 0; k < pending_.size(); ++k) {
      all += pending_[k].text + (draw(2) == 0 ? "\n" : "");
      if (pending_[k].has_reply) ++owed;
      const bool is_last = k + 1 == pending_.size();
      if (at_once && !is_last && static_cast<int>(k) != victim) continue;
      child_->send(all);
      all.clear();
      if (static_cast<int>(k) == victim) signal(owed);
      while (owed > 0 && (is_last || !at_once)) {
        reply = read_reply();
        --owed;
        if (owed > 0 || !is_last) {
          EXPECT_EQ(reply, "success\n") << history();
        }
      }
    }
    for (Pending& done : pending_) sent_.push_back(std::move(done.text));
    pending_.clear();
    return reply;
  }

  // Once the session has what `owed` replies are owed to.
  void signal(std::size_t owed) {
    // As many moments within ten microseconds as within a millisecond.
    std::uniform_real_distribution<double> exponent(-5, -3);
    std::this_thread::sleep_for(
        std::chrono::duration<double>(std::pow(10, exponent(random_))));
    child_->send_signal(SIGINT);
    signalled_ = Clock::now();
    ++num_signals_;
    ++unused_signals_;
    owed_before_signal_ = owed;
  }

  // Whatever was signalled is done after this.
  void settle() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(tell("(echo \"settled\")"), "\"settled\"\n");
    unused_signals_ = 0;
  }

  std::string read_reply() {
    std::string reply;
    int depth = 0;
    do {
      const std::string line = child_->read_line();
      if (line.empty()) {
        end_of_session(reply);
      }
      depth += static_cast<int>(std::count(line.begin(), line.end(), '(')) -
               static_cast<int>(std::count(line.begin(), line.end(), ')'));
      reply += line;
    } while (depth > 0);
    if (owed_before_signal_ > 0 && --owed_before_signal_ == 0) {
      const std::chrono::duration<double> wait = Clock::now() - signalled_;
      longest_ = std::max(longest_, wait.count());
    }
    EXPECT_EQ(reply.find("(error"), std::string::npos) << reply << history();
    return reply;
  }

  // Only a signal may end a session, and not before all is answered that it had
  // received by then.
  [[noreturn]] void end_of_session(const std::string& partial) {
    const Ended ended = child_->wait();
    EXPECT_EQ(ended.status, 130) << history();
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(partial, "");
    EXPECT_GT(unused_signals_, 0) << history();
    // Of several, the first may have ended it.
    if (unused_signals_ == 1) {
      EXPECT_EQ(owed_before_signal_, 0U) << history();
      ++num_plain_ends_;
    }
    ++num_ends_;
    throw SessionEnded();
  }

  std::string history() const {
    std::string text = "\n";
    for (const std::string& line : sent_) text += line + '\n';
    for (const Pending& line : pending_) text += line.text + '\n';
    return text;
  }

  // --- Asking ---

  Formula random_formula(int depth) {
    const int kind = draw(depth == 0 ? 3 : 7);
    if (kind == 0) {
      const int k = draw(kBools);
      return {"p" + std::to_string(k),
              [k](const Values& v) { return v.bools[k]; }};
    }
    if (kind < 3) {
      const int x = draw(kNumbers);
      const int y = draw(kNumbers);
      const int bound = draw(2 * kLargest + 3) - kLargest - 1;
      const int op = draw(4);
      const char* const names[] = {"<=", "<", "=", ">="};
      const std::string difference =
          kind == 1 ? std::string(1, static_cast<char>('a' + x))
                    : std::string("(- ") + static_cast<char>('a' + x) + ' ' +
                          static_cast<char>('a' + y) + ')';
      return {std::string("(") + names[op] + ' ' + difference + ' ' +
                  numeral(bound) + ')',
              [=](const Values& v) {
                const int value = v.numbers[x] - (kind == 1 ? 0 : v.numbers[y]);
                return op == 0   ? value <= bound
                       : op == 1 ? value < bound
                       : op == 2 ? value == bound
                                 : value >= bound;
              }};
    }
    const Formula f = random_formula(depth - 1);
    if (kind == 3) {
      return {"(not " + f.text + ')',
              [f](const Values& v) { return !f.holds(v); }};
    }
    const Formula g = random_formula(depth - 1);
    const char* const names[] = {"and", "or", "=>"};
    return {
        std::string("(") + names[kind - 4] + ' ' + f.text + ' ' + g.text + ')',
        [=](const Values& v) {
          return kind == 4   ? f.holds(v) && g.holds(v)
                 : kind == 5 ? f.holds(v) || g.holds(v)
                             : !f.holds(v) || g.holds(v);
        }};
  }

  void change() {
    switch (draw(8)) {
      case 0:
        command("(push 1)");
        levels_.emplace_back();
        break;
      case 1:
        if (levels_.size() == 1) break;
        command("(pop 1)");
        levels_.pop_back();
        break;
      case 2:
        if (draw(10) == 0) {
          command("(reset)");
          begin();
        } else if (draw(10) == 0) {
          command("(reset-assertions)");
          levels_.assign(1, {});
          declare();
        }
        break;
      default: {
        Assertion assertion{random_formula(draw(3)), ""};
        if (draw(2) == 0) assertion.name = "n" + std::to_string(num_names_++);
        command("(assert " +
                (assertion.name.empty()
                     ? assertion.formula.text
                     : "(! " + assertion.formula.text + " :named " +
                           assertion.name + ')') +
                ')');
        levels_.back().push_back(std::move(assertion));
        break;
      }
    }
  }

  // The formulas of unnamed assertions, and of those named in `names`; of all
  // if that is null.
  std::vector<Formula> formulas(const std::vector<std::string>* names) const {
    std::vector<Formula> result;
    for (const auto& level : levels_) {
      for (const Assertion& assertion : level) {
        if (names == nullptr || assertion.name.empty() ||
            std::count(names->begin(), names->end(), assertion.name) > 0) {
          result.push_back(assertion.formula);
        }
      }
    }
    return result;
  }

  void ask() {
    for (int k = draw(6); k > 0; --k) change();
    std::vector<Formula> assumptions;
    std::string question = "(check-sat)";
    if (draw(3) == 0) {
      question = "(check-sat-assuming (";
      for (int k = draw(3); k >= 0; --k) {
        assumptions.push_back(random_formula(1));
        question += ' ' + assumptions.back().text;
      }
      question += "))";
    }
    const bool interrupts = draw(4) == 0;
    const std::string answer = tell(question, interrupts);
    std::vector<Formula> all = formulas(nullptr);
    all.insert(all.end(), assumptions.begin(), assumptions.end());
    if (answer == "unknown\n") {
      expect_interrupted();
    } else if (answer == "sat\n") {
      ++num_sat_;
      EXPECT_TRUE(have_model(all)) << history();
      ask_for_values(all);
    } else {
      ++num_unsat_;
      EXPECT_EQ(answer, "unsat\n") << history();
      EXPECT_FALSE(have_model(all)) << history();
      ask_for_core(assumptions);
    }
  }

  void expect_interrupted() {
    ++num_unknown_;
    // One signal, one answer at most.
    EXPECT_GT(unused_signals_, 0) << history();
    --unused_signals_;
    EXPECT_EQ(tell("(get-info :reason-unknown)"),
              "(:reason-unknown interrupted)\n")
        << history();
  }

  // From get-value or get-model: names and values in the order of declaration.
  void ask_for_values(const std::vector<Formula>& all) {
    const bool as_model = draw(2) == 0;
    std::string reply = tell(
        as_model ? "(get-model)" : "(get-value (a b c p0 p1))", draw(4) == 0);
    std::replace_if(
        reply.begin(), reply.end(), [](char c) { return c == '(' || c == ')'; },
        ' ');
    std::istringstream words(reply);
    Values values{};
    for (int k = 0; k < kNumbers + kBools; ++k) {
      std::string word;
      for (int skipped = as_model ? 3 : 1; skipped > 0; --skipped)
        words >> word;
      words >> word;
      if (k >= kNumbers) {
        values.bools[k - kNumbers] = word == "true";
        continue;
      }
      const bool negative = word == "-";
      if (negative) words >> word;
      values.numbers[k] = (negative ? -1 : 1) * std::stoi(word);
    }
    for (const Formula& formula : all) {
      EXPECT_TRUE(formula.holds(values)) << reply << formula.text << history();
    }
  }

  void ask_for_core(const std::vector<Formula>& assumptions) {
    ++num_cores_;
    const int signals = num_signals_;
    const std::string reply = tell("(get-unsat-core)", draw(4) == 0);
    ASSERT_EQ(reply.substr(reply.size() - 2), ")\n");
    std::istringstream words(reply.substr(1, reply.size() - 3));
    std::vector<std::string> names;
    for (std::string name; words >> name;) names.push_back(name);
    const auto fails = [&](const std::vector<std::string>& some) {
      std::vector<Formula> all = formulas(&some);
      all.insert(all.end(), assumptions.begin(), assumptions.end());
      return !have_model(all);
    };
    EXPECT_TRUE(fails(names)) << reply << history();
    // A signal may have cut the minimising short.
    if (!minimizes_ || num_signals_ > signals || unused_signals_ > 0) return;
    for (std::size_t k = 0; k < names.size(); ++k) {
      std::vector<std::string> fewer = names;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(k));
      EXPECT_FALSE(fails(fewer)) << reply << history();
    }
  }

  // Nothing but a signal ends this.
  void ask_what_takes_for_ever() {
    std::ostringstream hard;
    write_hard_assertions(hard, 40);
    std::string text = hard.str();
    command("(push 1)");
    text.erase(0, text.find('\n') + 1);  // options and logic
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = text.find('\n', begin);
      std::string line = text.substr(begin, end - begin);
      const std::size_t second = line.find("(assert", 1);
      if (second != std::string::npos) {
        command(line.substr(0, second));
        line.erase(0, second);
      }
      command(line);
      begin = end + 1;
    }
    const bool is_open = have_model(formulas(nullptr));
    if (is_open) {
      tell("(echo \"x\")");
      child_->send("(check-sat)");
      sent_.push_back("(check-sat)");
      std::this_thread::sleep_for(std::chrono::milliseconds(draw(20)));
      signal(1);
      const std::string answer = read_reply();
      // The shops may be done for before the signal, if a formula helps.
      if (answer == "unknown\n") {
        expect_interrupted();
      } else {
        EXPECT_EQ(answer, "unsat\n") << history();
      }
    }
    command("(pop 1)");
  }

  std::mt19937 random_;
  bool prints_success_;
  bool minimizes_ = false;
  std::unique_ptr<Child> child_;
  std::vector<std::vector<Assertion>> levels_;
  // What is to be sent, and what this session was sent.
  std::vector<Pending> pending_;
  std::vector<std::string> sent_;
  // Signals that no answer tells of, and how many replies were owed when the
  // last one was sent, that have not come.
  int unused_signals_ = 0;
  std::size_t owed_before_signal_ = 0;
  Clock::time_point signalled_;
  double longest_ = 0;
  int rounds_ = 0;
  int num_names_ = 0;
  int num_sat_ = 0;
  int num_unsat_ = 0;
  int num_unknown_ = 0;
  int num_cores_ = 0;
  int num_signals_ = 0;
  int num_ends_ = 0;
  int num_plain_ends_ = 0;
};

void converse(bool prints_success) {
  constexpr int kRounds = test::kSanitized ? 100 : 400;
  // More than a test of every day takes time for.
  const char* const wanted = std::getenv("VORN_CONVERSATION_ROUNDS");
  const int rounds = wanted == nullptr ? kRounds : std::atoi(wanted);
  constexpr std::uint32_t kSeed = 20240611;
  SCOPED_TRACE("seed " + std::to_string(kSeed));
  Client client(kSeed, prints_success);
  client.run(rounds);
  client.expect_variety();
}

// A client that waits for `success` after each command is never left waiting.
TEST(ConversationTest, RandomSessionsWithSuccessAreAnsweredRight) {
  converse(true);
}

// One that does not is told what it asked for and no more.
TEST(ConversationTest, RandomSessionsWithoutSuccessAreAnsweredRight) {
  converse(false);
}

}  // namespace
}  // namespace vorn::command
