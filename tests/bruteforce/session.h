// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_BRUTEFORCE_SESSION_H
#define VORN_TESTS_BRUTEFORCE_SESSION_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "solver/smtlib/options.h"
#include "tests/bruteforce/script_generator.h"

namespace vorn::bruteforce {

/// What was seen in some scripts.
struct Tally {
  std::uint64_t sat = 0;
  std::uint64_t unsat = 0;
  std::uint64_t cores = 0;
  std::uint64_t failed_assumptions = 0;
  /// Best values that were compared: all, those that are approached and not
  /// reached, those that there are none of.
  std::uint64_t optima = 0;
  std::uint64_t unattained = 0;
  std::uint64_t unbounded = 0;
  /// Checks in which a proof said so.
  std::uint64_t proved_optima = 0;
  /// Answers that enumeration was too long for.
  std::uint64_t undecided = 0;
  /// The engine's counters of these names, over all scripts.
  std::map<std::string, std::uint64_t> counters = {
      {"theory conflicts", 0},         {"implied literals", 0},
      {"explained literals", 0},       {"lemmas used", 0},
      {"answers of other threads", 0}, {"clauses told by other threads", 0}};
};

struct Verdict {
  /// What is wrong; empty if all answers were right.
  std::string problem;
  /// The commands sent, queries for models and cores included.
  std::string text;
};

/// Judges the evidence for an answer: what is wrong with it, or nothing.
struct Judge {
  virtual ~Judge() = default;
  /// The script's check of this number, from 1, is unsat by this reply to
  /// get-proof; `core` is the reply to get-unsat-core, empty if there is none.
  /// It is unsat with a formula assumed besides if `assumed` is not empty.
  virtual std::string proof(const std::string& script, std::size_t check,
                            const std::string& proof, const std::string& core,
                            const std::string& assumed) = 0;
  /// It is sat by this reply to get-model.
  virtual std::string model(const std::string& script, std::size_t check,
                            const std::string& model) = 0;
};

/// Sends a script through the interpreter and checks every answer: verdicts
/// against enumeration, models and values by evaluation, cores and failed
/// assumptions by enumeration again. Stops at the first wrong one.
///
/// `most_states` bounds each enumeration, 0 for no bound. A verdict that it
/// does not settle is only checked by its model, if it has one. With a judge,
/// proofs are kept, and it sees all evidence, too. The script starts with
/// `options`.
Verdict run_script(const Script& script, Tally& tally,
                   std::uint64_t most_states = 0, Judge* judge = nullptr,
                   const solver::ScriptOptions& options = {});

}  // namespace vorn::bruteforce

#endif  // VORN_TESTS_BRUTEFORCE_SESSION_H
