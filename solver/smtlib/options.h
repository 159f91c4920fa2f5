// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_OPTIONS_H
#define VORN_SMTLIB_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/smtlib/lexer.h"

namespace vorn::solver {

/// What a script does behind a command in error.
enum class ErrorBehavior { kContinuedExecution, kImmediateExit };

/// The options of a script, as set-option and get-option know them, with the
/// values that they have at the start. Three of these differ from the
/// standard's on purpose, see docs/command.md.
struct ScriptOptions {
  /// Answer `success` where there is no other reply.
  bool print_success = false;
  /// Whether to go on behind an error.
  ErrorBehavior error_behavior = ErrorBehavior::kContinuedExecution;
  /// Keep the texts of assertions, for get-assertions.
  bool produce_assertions = true;
  /// Allow get-assignment.
  bool produce_assignments = false;
  /// Allow get-model and get-value.
  bool produce_models = true;
  /// Answer each `sat` with the model as well, as get-model does.
  bool print_models = false;
  /// Allow get-unsat-assumptions.
  bool produce_unsat_assumptions = false;
  /// Allow get-unsat-core; named assertions become assumptions.
  bool produce_unsat_cores = false;
  /// Let declarations and definitions survive pop.
  bool global_declarations = false;
  /// Where replies go: "stdout", "stderr" or a file to append to.
  std::string regular_output_channel = "stdout";
  /// Where the log goes, likewise.
  std::string diagnostic_output_channel = "stderr";
  /// Highest level of messages in the log; 0: no log.
  std::uint64_t verbosity = 0;

  /// Deletes from each core what it does not need.
  bool minimize_unsat_cores = false;
  /// :reproducible-resource-limit, the conflicts for one check; 0: no limit.
  std::uint64_t conflict_limit = 0;
  /// Milliseconds for one check; 0: no limit.
  std::uint64_t timeout = 0;
  /// Says after each `unsat` why, in comment lines. Set by the program.
  bool explain = false;
  /// Says after each `sat` which values each variable can have, likewise.
  bool slack = false;
  /// Keeps a picture of the constraints as of the last check. Set by the
  /// program.
  bool keep_picture = false;
  /// Keeps a chart of the last model. Set by the program, together with
  /// EngineOptions::keep_schedule.
  bool keep_chart = false;
  /// Keeps a proof of the last unsat or best values. Set by the program.
  bool keep_proof = false;
  /// Carries :random-seed and the :dl- options, too.
  EngineOptions engine;
};

enum class SetResult {
  kSet,
  kUnsupported,
  /// Only before the first assertion.
  kTooLate,
  kBadValue,
};

/// Sets the option `keyword` (with its colon) to the value in `token`.
/// `asserted`: whether there are assertions. On kBadValue `expected` says what
/// values there are. The value that an option has already is never too late.
SetResult set_option(ScriptOptions& options, const std::string& keyword,
                     const Token& token, bool asserted, std::string& expected);

/// The value of the option as SMT-LIB text; nothing if there is no such option.
std::optional<std::string> get_option(const ScriptOptions& options,
                                      const std::string& keyword);

/// The text as a string literal, with quotes.
std::string quote_string(const std::string& text);

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_OPTIONS_H
