// SPDX-License-Identifier: MIT
#include "vorn/solver/script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "solver/api/common.h"
#include "vorn/solver/session.h"

namespace vorn::api {
namespace {

// What a program has to write at least, and what the tests look at.
class TextHost : public ScriptHost {
 public:
  explicit TextHost(std::string script) : script_(std::move(script)) {}

  std::size_t read(char* data, std::size_t capacity) override {
    if (position_ == script_.size() && breaks) {
      throw std::runtime_error("no more");
    }
    const std::size_t size = std::min(capacity, script_.size() - position_);
    script_.copy(data, size, position_);
    position_ += size;
    return size;
  }
  bool write_output(std::string_view reply) override {
    replies += reply;
    return true;
  }

  std::string replies;
  // Whether the text ends with an exception.
  bool breaks = false;

 private:
  std::string script_;
  std::size_t position_ = 0;
};

void run(Script& script) {
  while (script.run_command()) {
  }
}

std::string replies_to(const std::string& text,
                       const ScriptSettings& settings = {}) {
  TextHost host(text);
  Script script(host, settings);
  run(script);
  return host.replies;
}

constexpr char kWorkshop[] =
    "(declare-const a Int)(declare-const b Int)(declare-const end Int)"
    "(assert (or (>= (- b a) 3) (>= (- a b) 2)))"
    "(assert (and (>= a 0) (>= b 0)))"
    "(assert (and (>= (- end a) 3) (>= (- end b) 2)))";

// 12 tasks of length 2 within 22, with a way out that is none: no check has an
// answer within a test's time.
std::string pigeons() {
  std::string text;
  for (int k = 0; k < 12; ++k) {
    const std::string t = "t" + std::to_string(k);
    text.append("(declare-const ").append(t).append(" Int)");
    text.append("(assert (<= 0 ").append(t).append(" 20))");
    for (int j = 0; j < k; ++j) {
      const std::string other = "t" + std::to_string(j);
      text.append("(assert (or (>= (- " + t + " " + other + ") 2) (>= (- ");
      text.append(other + " " + t + ") 2) (= (- " + t + " " + other);
      text.append(") 100)))");
    }
  }
  return text;
}

// What a program gets that sets nothing is what the engine is tuned for.
TEST(SettingsTest, DefaultsAreThoseOfTheEngine) {
  const solver::EngineOptions made = inner::engine_options(Settings());
  const solver::EngineOptions own;
  EXPECT_EQ(made.search.seed, own.search.seed);
  EXPECT_EQ(made.keep_proofs, own.keep_proofs);
  EXPECT_EQ(made.keep_schedule, own.keep_schedule);
  EXPECT_EQ(made.check_models, own.check_models);
  EXPECT_EQ(made.machines, own.machines);
  EXPECT_EQ(made.propagation.mode, own.propagation.mode);
  EXPECT_EQ(made.propagation.limits.matrix_bytes,
            own.propagation.limits.matrix_bytes);
  EXPECT_EQ(made.lemma_trials, own.lemma_trials);
  EXPECT_EQ(made.lemmas.dl_tlemma_kinds, own.lemmas.dl_tlemma_kinds);
  EXPECT_EQ(made.lemmas.dl_tlemma_min_overlap,
            own.lemmas.dl_tlemma_min_overlap);
  EXPECT_EQ(made.lemmas.dl_dedup_tlemmas, own.lemmas.dl_dedup_tlemmas);
}

// Each of them reaches the engine, where the script can ask for it.
TEST(SettingsTest, AllReachTheScript) {
  ScriptSettings settings;
  settings.seed = 7;
  settings.lemmas = Lemmas::kBoth;
  settings.lemma_overlap = 0.25F;
  settings.drop_repeated_lemmas = true;
  settings.propagation = Propagation::kFull;
  settings.find_machines = false;
  settings.exit_on_error = true;
  EXPECT_EQ(replies_to("(get-option :random-seed)\n"
                       "(get-option :dl-tlemma-kinds)\n"
                       "(get-option :dl-tlemma-min-overlap)\n"
                       "(get-option :dl-dedup-tlemmas)\n"
                       "(get-option :propagation)\n(get-option :machines)\n"
                       "(oops)\n(get-option :random-seed)",
                       settings),
            "7\n3\n0.25\ntrue\nfull\noff\n"
            "(error \"line 7 column 2: unknown command oops\")\n");
  settings.table_bytes = 1000;
  EXPECT_EQ(inner::engine_options(settings).propagation.limits.matrix_bytes,
            1000U);
}

// Two functions are a host, and all that is asked comes back as text.
TEST(ScriptTest, HostOfTwoFunctionsGetsReplies) {
  ScriptSettings settings;
  settings.explain = settings.show_bounds = settings.keep_proofs = true;
  TextHost host(std::string(kWorkshop) +
                "(minimize end)(check-sat)(get-value (end))"
                "(assert (<= end 4))(check-sat)(assert (<= x 0))");
  Script script(host, settings);

  run(script);

  EXPECT_EQ(host.replies.rfind("sat\n; each variable, and", 0), 0U)
      << host.replies;
  EXPECT_NE(host.replies.find("\n((end 5))\nunsat\n; "), std::string::npos)
      << host.replies;
  EXPECT_NE(host.replies.find("unknown symbol x"), std::string::npos)
      << host.replies;
  EXPECT_TRUE(script.had_error());
  EXPECT_FALSE(script.output_lost());
  EXPECT_NE(script.proof().find("(cl)"), std::string::npos);
  EXPECT_FALSE(script.statistics().empty());
}

// Remarks are no replies.
TEST(ScriptTest, RemarksGoToTheHostApart) {
  class Remarked : public TextHost {
   public:
    using TextHost::TextHost;
    bool write_diagnostics(std::string_view reply) override {
      remarks += reply;
      return true;
    }

    std::string remarks;
  };
  Remarked host("(set-info :status unsat)(check-sat)");
  Script script(host);
  run(script);
  EXPECT_EQ(host.replies.rfind("sat\n", 0), 0U);
  EXPECT_NE(host.remarks.find("unsat"), std::string::npos) << host.remarks;
}

// The script itself keeps to a limit of time; the check after it has its own.
TEST(ScriptTest, TimeoutEndsChecksWithoutHelpOfTheHost) {
  const std::string ask = "(check-sat)(get-info :reason-unknown)";
  EXPECT_EQ(replies_to(pigeons() + "(set-option :timeout 30)" + ask +
                       "(set-option :timeout 20)" + ask +
                       "(reset-assertions)(check-sat)"),
            "unknown\n(:reason-unknown timeout)\n"
            "unknown\n(:reason-unknown timeout)\nsat\n");
}

// A stop ends one check, under way or to come, and not the script.
TEST(ScriptTest, StopEndsOneCheck) {
  TextHost host(pigeons() +
                "(check-sat)(get-info :reason-unknown)"
                "(push)(pop)(check-sat)(reset-assertions)(check-sat)");
  Script script(host);
  while (host.replies.empty()) {
    script.stop();
    ASSERT_TRUE(script.run_command());
  }
  std::thread other([&script] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    script.stop();
  });

  run(script);

  other.join();
  EXPECT_EQ(host.replies,
            "unknown\n(:reason-unknown interrupted)\nunknown\nsat\n");
}

// With a flag of its own, the host says when and why.
TEST(ScriptTest, HostWithFlagStopsChecks) {
  class Stopper : public TextHost {
   public:
    using TextHost::TextHost;
    const std::atomic<bool>* stop_flag() const override { return &flag; }
    Stop stop() const override { return why; }
    void check_started(std::uint64_t milliseconds,
                       std::string_view answer) override {
      limit = milliseconds;
      ready = answer;
    }
    void progress(const Progress& told) override {
      EXPECT_GT(told.conflicts, 0U);
      EXPECT_GT(told.learnt_clauses, 0U);
      flag = true;
      why = Stop::kTimeout;
    }

    std::atomic<bool> flag{false};
    Stop why = Stop::kNone;
    std::uint64_t limit = 0;
    std::string ready;
  };
  Stopper host(pigeons() +
               "(set-option :timeout 1)(check-sat)(get-info :reason-unknown)");
  Script script(host);

  run(script);

  EXPECT_EQ(host.limit, 1U);
  EXPECT_EQ(host.ready, "unknown\n");
  EXPECT_EQ(host.replies, "unknown\n(:reason-unknown timeout)\n");
}

// The log follows the script's wishes from one logger to the next, and a logger
// is not used once the host has been asked for another.
TEST(ScriptTest, LogGoesWhereTheScriptWants) {
  class Listener : public TextHost {
   public:
    using TextHost::TextHost;
    bool set_diagnostics(const std::string& channel,
                         std::uint64_t verbosity) override {
      if (channel == "refused") return false;
      logger_.reset();
      log = std::make_unique<std::ostringstream>();
      logger_ = std::make_unique<Logger>(*log, static_cast<int>(verbosity));
      return true;
    }
    Logger* logger() override { return logger_.get(); }

    std::unique_ptr<std::ostringstream> log;

   private:
    std::unique_ptr<Logger> logger_;
  };
  ScriptSettings settings;
  settings.lemmas = Lemmas::kBoth;
  settings.lemma_overlap = 0;
  settings.find_machines = false;
  settings.propagation = Propagation::kOff;
  Listener host(pigeons() +
                "(set-option :reproducible-resource-limit 300)(check-sat)"
                "(set-option :verbosity 2)"
                "(set-option :diagnostic-output-channel \"refused\")(check-sat)"
                "(echo \"here\")");
  Script script(host, settings);
  run(script);
  EXPECT_NE(host.replies.find("refused"), std::string::npos) << host.replies;
  EXPECT_FALSE(host.log->str().empty());
}

// An exception of the host's own passes through.
TEST(ScriptTest, WhatReadThrowsLeaves) {
  TextHost host("(check-sat)");
  host.breaks = true;
  Script script(host);
  EXPECT_TRUE(script.run_command());
  EXPECT_THROW(script.run_command(), std::runtime_error);
  EXPECT_EQ(host.replies, "sat\n");
}

// Where channels cannot be told apart, files are refused and not written.
TEST(ScriptTest, FilesAreRefusedByDefault) {
  const std::string replies = replies_to(
      "(set-option :regular-output-channel \"stderr\")(echo \"there\")"
      "(set-option :regular-output-channel \"some.file\")(echo \"here\")");
  EXPECT_EQ(replies.rfind("\"there\"\n(error ", 0), 0U) << replies;
  EXPECT_NE(replies.find(")\n\"here\"\n"), std::string::npos) << replies;
}

// Both ways in draw the same: a session's script, read again, has the picture
// of the session, with the cycle that makes it unsat.
TEST(ScriptTest, PictureIsThatOfTheSession) {
  Session session;
  const Expression lunch = session.real("lunch");
  const Expression dinner = session.real("dinner");
  session.add(dinner - lunch >= 6, "appetite");
  session.add(lunch >= 12, "noon");
  session.add(lunch <= 20 || dinner < lunch, "lazy");
  ASSERT_EQ(session.check({dinner <= 17}), Answer::kUnsat);
  std::ostringstream drawn;

  session.write_picture(drawn);

  EXPECT_NE(drawn.str().find("[label=\"<= -6\\nappetite\", style=solid, "
                             "color=red"),
            std::string::npos)
      << drawn.str();
  ScriptSettings settings;
  settings.keep_picture = true;
  TextHost host("(set-option :produce-unsat-cores true)" + session.script());
  Script script(host, settings);
  run(script);
  std::ostringstream drawn_again;
  EXPECT_TRUE(script.write_picture(drawn_again));
  EXPECT_EQ(drawn_again.str(), drawn.str());
}

// A model's tasks, from both.
TEST(ScriptTest, ChartIsThatOfTheSession) {
  ScriptSettings settings;
  settings.keep_schedule = true;
  TextHost host(std::string(kWorkshop) + "(minimize end)");
  Script script(host, settings);
  EXPECT_EQ(script.chart(), "");
  run(script);
  EXPECT_EQ(script.chart(), "");

  TextHost checked(std::string(kWorkshop) + "(minimize end)(check-sat)");
  Script again(checked, settings);
  run(again);

  Session session(settings);
  const Expression a = session.integer("a");
  const Expression b = session.integer("b");
  const Expression end = session.integer("end");
  session.add(b - a >= 3 || a - b >= 2);
  session.add(a >= 0 && b >= 0);
  session.add(end - a >= 3 && end - b >= 2);
  session.minimize(end);
  ASSERT_EQ(session.check(), Answer::kSat);
  EXPECT_NE(session.chart().find("<svg"), std::string::npos);
  EXPECT_EQ(again.chart(), session.chart());
}

// Takes so many bytes.
class Sink : public std::streambuf {
 public:
  explicit Sink(std::size_t room) : room_(room) {}
  std::string text;

 protected:
  std::streamsize xsputn(const char* data, std::streamsize size) override {
    if (text.size() + static_cast<std::size_t>(size) > room_) {
      errno = ENOSPC;
      return 0;
    }
    text.append(data, static_cast<std::size_t>(size));
    return size;
  }

 private:
  std::size_t room_;
};

// The same calls on the graph are noted by way of both, and a stream that is
// full is noticed.
TEST(RecordingTest, SessionAndScriptNoteTheirCalls) {
  Sink of_session(1000);
  Sink of_script(1000);
  Sink full(10);
  for (Sink* sink : {&of_session, &full}) {
    std::ostream stream(sink);
    Settings settings;
    settings.recording = &stream;
    Session session(settings);
    const Expression x = session.integer("x");
    session.add(x >= 3);
    session.add(x <= 2);
    ASSERT_EQ(session.check(), Answer::kUnsat);
    EXPECT_EQ(session.finish_recording(), sink != &full);
    if (sink == &full) {
      EXPECT_EQ(errno, ENOSPC);
    }
  }
  {
    std::ostream stream(&of_script);
    ScriptSettings settings;
    settings.recording = &stream;
    TextHost host(
        "(declare-const x Int)(assert (>= x 3))(assert (<= x 2))(check-sat)");
    Script script(host, settings);
    run(script);
  }

  EXPECT_NE(of_session.text.find("\ntell "), std::string::npos);
  EXPECT_NE(of_session.text.find("\ncheck\n"), std::string::npos);
  EXPECT_EQ(of_script.text, of_session.text);
  EXPECT_EQ(full.text, "");
}

}  // namespace
}  // namespace vorn::api
