// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_CUBES_H
#define VORN_SOLVER_CUBES_H

#include <cstddef>
#include <string>
#include <vector>

#include "vorn/export.h"
#include "vorn/solver/answers.h"
#include "vorn/solver/settings.h"

// A question in parts that many computers answer: what `vorn --split` and
// `vorn --join` do. docs/cluster.md is about running the parts, and has the
// files that there are.

namespace vorn::api {

/// How a question is split.
struct SplitSettings : Settings {
  /// Into so many cubes; into fewer if there is less to choose.
  std::size_t num_cubes = 16;
};

/// What there is after a split.
struct SplitResult {
  /// Why there is nothing, "line 1 column 2: ..." if it is the script; empty:
  /// there is.
  std::string error;
  /// How many cubes there are.
  std::size_t num_cubes = 0;
  /// How many of them were answered at once.
  std::size_t num_answered = 0;
};

/// Writes scripts that together ask what `script` asks, the text of a script
/// with one check, into a new or empty folder, and answers those that are
/// decided on the way, with proofs. If the process ends before it does, the
/// folder cannot be joined. Cost: a search of ten thousand conflicts, and
/// short ones. Errors: std::bad_alloc.
VORN_EXPORT SplitResult split_question(const std::string& script,
                                       const std::string& folder,
                                       const SplitSettings& settings = {});

/// How answers are joined.
struct JoinSettings : Settings {
  /// If the answer is unsat, the file to write a proof to; empty: none.
  std::string proof_file;
};

/// What the answers that have come say.
struct JoinResult {
  /// Why they cannot be joined, with the names of files: one is missing or
  /// wrong, or two contradict each other. Empty: they can.
  std::string error;
  /// Of the question; kUnknown: answers are missing.
  Answer verdict = Answer::kUnknown;
  /// In SMT-LIB: sat and a model, unsat, or unknown and comments.
  std::string reply;
  /// The cubes whose answers are missing.
  std::vector<std::string> missing;
  /// Why no proof was written although one was asked for.
  std::string proof_error;
};

/// Reads the answers in a folder of split_question. A model is checked against
/// the script; a cube whose answer is unknown is split in two, which are
/// missing then. The proof is made of those of the cubes, and as good as these:
/// vorn-check tells. Cost: of reading, and of the searches of what is split;
/// proofs are copied piece by piece. Errors: std::bad_alloc.
VORN_EXPORT JoinResult join_answers(const std::string& folder,
                                    const JoinSettings& settings = {});

}  // namespace vorn::api

#endif  // VORN_SOLVER_CUBES_H
