// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_SMTLIB_TEXT_SESSION_H
#define VORN_TESTS_SMTLIB_TEXT_SESSION_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/session_host.h"
#include "tests/string_source.h"

namespace vorn::solver {

/// A host that keeps what is written and stops when it is told to.
class TextHost : public SessionHost {
 public:
  bool write_output(std::string_view reply) override {
    if (writes_left == 0) return false;
    --writes_left;
    outputs[channel] += reply;
    return true;
  }
  bool write_diagnostics(std::string_view reply) override {
    diagnostics += reply;
    return true;
  }
  bool set_output(const std::string& name) override {
    if (name == "refused") return false;
    channel = name;
    return true;
  }
  bool set_diagnostics(const std::string& name,
                       std::uint64_t verbosity_now) override {
    if (name == "refused") return false;
    verbosity = verbosity_now;
    return true;
  }
  void engine_made(Engine& made) override { engine = &made; }
  void engine_gone() override { engine = nullptr; }
  void check_started(std::uint64_t milliseconds,
                     std::string_view answer) override {
    limit = milliseconds;
    ready_answer = answer;
  }
  void check_resumed(std::string_view answer) override {
    ready_answer = answer;
  }
  bool check_finished() override {
    if (gives_answers) outputs[channel] += ready_answer;
    return !gives_answers;
  }
  Stop stop() const override { return stop_now; }

  /// What was written to standard output.
  std::string& output() { return outputs["stdout"]; }

  // What was written to each channel, and the one of now.
  std::map<std::string, std::string> outputs;
  std::string channel = "stdout";
  std::string diagnostics;
  std::size_t writes_left = ~std::size_t{0};
  std::uint64_t verbosity = 0;
  std::uint64_t limit = 0;
  Engine* engine = nullptr;
  Stop stop_now = Stop::kNone;
  // Whether the host answers before the check does, and with what.
  bool gives_answers = false;
  std::string ready_answer;
};

/// What a script prints. `had_error`: whether it was in error anywhere.
inline std::string run_text(std::string script, bool* had_error = nullptr,
                            const ScriptOptions& options = {}) {
  TextHost host;
  StringSource source(std::move(script));
  Interpreter interpreter(source, host, options);
  while (interpreter.run_command()) {
  }
  if (had_error != nullptr) *had_error = interpreter.had_error();
  return host.output();
}

}  // namespace vorn::solver

#endif  // VORN_TESTS_SMTLIB_TEXT_SESSION_H
