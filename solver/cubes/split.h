// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_SPLIT_H
#define VORN_CUBES_SPLIT_H

#include <cstddef>
#include <string>
#include <vector>

#include "solver/cubes/splitter.h"

namespace vorn::solver {

// Names of files in the folder of a question that was split.

/// The script.
inline constexpr const char* kQuestionFile = "question.smt2";
/// The CubeTree. It is written last: without it there is nothing to join.
inline constexpr const char* kManifestFile = "manifest";

/// What there is after a split.
struct SplitOutcome {
  /// Why there is nothing; empty: there is.
  std::string error;
  /// How many cubes there are.
  std::size_t num_cubes = 0;
  /// How many of them have been answered.
  std::size_t num_answered = 0;
};

/// Writes the cubes of a script, each as a script, and answers those that were
/// decided on the way, with proofs, into a new or empty folder.
SplitOutcome split_question(const std::string& script, std::size_t num_cubes,
                            const std::string& folder,
                            const EngineOptions& options,
                            const Splitter::Limits& limits);

/// What there is after a join.
struct JoinOutcome {
  /// Why the answers cannot be joined: a file that is missing or wrong, or two
  /// that contradict each other. Empty: they can.
  std::string error;
  /// Of the question. kUnknown: answers are missing.
  Answer verdict = Answer::kUnknown;
  /// `sat` and a model, `unsat`, or `unknown` and what is missing in comment
  /// lines.
  std::string reply;
  /// The cubes whose answers are missing.
  std::vector<std::string> missing;
  /// Why there is no proof although there is `unsat` and one was asked for.
  std::string proof_error;
};

/// Reads the answers that have come; splits those that are unknown, so that
/// their parts are missing. `proof`: the path of a proof to write if the answer
/// is unsat; empty: none.
JoinOutcome join_answers(const std::string& folder, const std::string& proof,
                         const EngineOptions& options,
                         const Splitter::Limits& limits);

}  // namespace vorn::solver

#endif  // VORN_CUBES_SPLIT_H
