// SPDX-License-Identifier: MIT
#ifndef VORN_CHECKER_CHECKER_H
#define VORN_CHECKER_CHECKER_H

#include <cstddef>
#include <istream>
#include <string>

#include "checker/reader.h"

namespace vorn::checker {

/// What to check. Texts are the contents of files.
struct Question {
  /// The script.
  std::string script;
  /// Which of its checks, from 1; 0 is the last.
  std::size_t check = 0;
  /// A proof that the check is unsatisfiable, or null.
  std::istream* proof = nullptr;
  /// What was printed for the script, or null: with a proof, a core from which
  /// the proof has to follow; without one, a model.
  const std::string* answer = nullptr;
};

/// Whether it is right, and if not where it goes wrong first.
struct Outcome {
  /// Where the mistake is.
  enum class File { kScript, kProof, kAnswer };
  /// Whether everything is right.
  bool is_valid = false;
  /// The file of the mistake.
  File file = File::kScript;
  /// Its place in the file.
  Position position;
  /// What is wrong.
  std::string reason;
};

/// Checks a proof, a model or a core. Throws Unreadable, and std::bad_alloc or
/// std::length_error where there is not enough memory.
Outcome check(const Question& question);

}  // namespace vorn::checker

#endif  // VORN_CHECKER_CHECKER_H
