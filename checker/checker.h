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
  std::string script;     ///< The script.
  std::size_t check = 0;  ///< Which of its checks, from 1; 0: the last.
  std::istream* proof =
      nullptr;  ///< A proof that it is unsatisfiable, or null.
  /// What was printed for the script, or null: with a proof, a core from which
  /// the proof has to follow; without one, a model.
  const std::string* answer = nullptr;
  /// Formulas to assume besides, in the symbols in scope there.
  std::string assumed = {};
};

/// Whether it is right, and if not where it goes wrong first.
struct Outcome {
  /// One of the three files, or what is assumed besides.
  enum class File { kScript, kAssumed, kProof, kAnswer };
  bool is_valid = false;      ///< Whether everything is right.
  File file = File::kScript;  ///< The file of the mistake.
  Position position;          ///< Its place in the file.
  std::string reason;         ///< What is wrong.
};

/// Checks a proof, a model or a core. Throws std::runtime_error where a text
/// cannot be read, and std::bad_alloc or std::length_error for lack of memory.
Outcome check(const Question& question);

}  // namespace vorn::checker

#endif  // VORN_CHECKER_CHECKER_H
