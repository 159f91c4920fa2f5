// SPDX-License-Identifier: MIT
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/fuzzer.h"
#include "solver/engine/engine.h"
#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/options.h"
#include "solver/smtlib/session_host.h"
#include "tests/string_source.h"
#include "vorn/services/logger.h"

// Any bytes as an SMT-LIB script. Whatever they are,
//  - nothing crashes or leaks, and no exception comes out;
//  - an error names a line and a column that exist in the script;
//  - each command is answered at once, by at most one reply;
//  - no model and no core is found to be wrong by the solver itself;
//  - the answers do not depend on how the script arrives: all at once, or byte
//    by byte.
// Solving is cut off after some conflicts, counted, not timed, so that every
// run of an input does the same.

namespace vorn::solver {
namespace {

// Conflicts of the search that all checks of a script have together.
constexpr int kProgressInterval = 20;
constexpr int kMostIntervals = 25;

// Reads "WORD N" off the front of `text`; 0 if it does not stand there.
std::size_t take_count(std::string_view& text, std::string_view word) {
  if (text.substr(0, word.size()) != word) return 0;
  text.remove_prefix(word.size());
  std::size_t count = 0;
  std::size_t digits = 0;
  for (; digits < text.size() && digits < 9; ++digits) {
    const char c = text[digits];
    if (c < '0' || c > '9') break;
    count = 10 * count + static_cast<std::size_t>(c - '0');
  }
  text.remove_prefix(digits);
  return count;
}

class Host : public SessionHost {
 public:
  explicit Host(const std::string& script)
      : lengths_(fuzz::line_lengths(script)) {}

  bool write_output(std::string_view reply) override {
    keep(reply);
    return true;
  }
  bool write_diagnostics(std::string_view text) override {
    output_ += text;
    return true;
  }
  // Files are not for an input to choose.
  bool set_output(const std::string& channel) override {
    return is_standard_channel(channel);
  }
  bool set_diagnostics(const std::string& channel,
                       std::uint64_t verbosity) override {
    if (!is_standard_channel(channel)) return false;
    std::unique_ptr<Logger> logger;
    if (verbosity > 0) {
      constexpr std::uint64_t kMost = std::numeric_limits<int>::max();
      logger = std::make_unique<Logger>(
          log_, static_cast<int>(std::min(verbosity, kMost)));
    }
    if (engine_ != nullptr) engine_->set_logger(logger.get());
    logger_ = std::move(logger);
    return true;
  }
  void engine_made(Engine& engine) override {
    if (engine_ != nullptr) fuzz::fail("two engines at once");
    engine_ = &engine;
    engine.set_stop(&stop_);
    engine.set_logger(logger_.get());
    engine.set_progress([this](const SearchStatistics&) {
      if (++intervals_ >= kMostIntervals) stop_ = true;
    });
  }
  void engine_gone() override {
    if (engine_ == nullptr) fuzz::fail("an engine is gone that never was");
    engine_ = nullptr;
  }
  void check_started(std::uint64_t /*milliseconds*/,
                     std::string_view answer) override {
    check_resumed(answer);
  }
  void check_resumed(std::string_view /*answer*/) override {
    if (checking_) fuzz::fail("a check inside a check");
    checking_ = true;
  }
  bool check_finished() override {
    if (!checking_) fuzz::fail("a check has finished that never began");
    checking_ = false;
    if (engine_ != nullptr &&
        engine_->unknown_reason() == UnknownReason::kInternalError) {
      fuzz::fail("a model does not satisfy the assertions");
    }
    return true;
  }

  void start_command() { replies_in_command_ = 0; }
  bool checking() const { return checking_; }
  bool saw_error() const { return saw_error_; }
  const std::string& output() const { return output_; }

 private:
  void keep(std::string_view reply) {
    if (++replies_in_command_ > 1) fuzz::fail("two replies to one command");
    if (reply.empty() || reply.back() != '\n') {
      fuzz::fail("a reply that is no line: " + std::string(reply));
    }
    // Nothing else that is printed has a string behind "(error".
    constexpr std::string_view kError = "(error \"";
    if (reply.substr(0, kError.size()) == kError) {
      saw_error_ = true;
      std::string_view rest = reply.substr(kError.size());
      const std::size_t line = take_count(rest, "line ");
      const std::size_t column = take_count(rest, " column ");
      // The column behind a line's end is that of what is missing there.
      if (line == 0 || line > lengths_.size() || column == 0 ||
          column > lengths_[line - 1] + 1 || rest.substr(0, 2) != ": " ||
          rest.size() < 6 || rest.substr(rest.size() - 3) != "\")\n") {
        fuzz::fail("an error without its place: " + std::string(reply));
      }
      if (rest.find("internal error") == 2) {
        fuzz::fail(std::string(reply));
      }
    }
    output_ += reply;
  }

  const std::vector<std::size_t> lengths_;
  std::string output_;
  std::ostringstream log_;
  std::unique_ptr<Logger> logger_;
  Engine* engine_ = nullptr;
  std::atomic<bool> stop_{false};
  int intervals_ = 0;
  int replies_in_command_ = 0;
  bool checking_ = false;
  bool saw_error_ = false;
};

std::string run(const std::string& script, std::size_t piece) {
  Host host(script);
  StringSource source(script, piece);
  ScriptOptions options;
  options.engine.search.progress_interval = kProgressInterval;
  {
    Interpreter interpreter(source, host, options);
    do {
      host.start_command();
    } while (interpreter.run_command());
    if (host.checking()) fuzz::fail("a check has not finished");
    if (interpreter.had_error() != host.saw_error()) {
      fuzz::fail("an error was not printed");
    }
  }
  return host.output();
}

}  // namespace
}  // namespace vorn::solver

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string script(data, data + size);
  const std::string whole = vorn::solver::run(script, size + 1);
  const std::string pieces = vorn::solver::run(script, 1);
  if (whole != pieces) {
    vorn::fuzz::fail("at once:\n" + whole + "byte by byte:\n" + pieces);
  }
  return 0;
}
