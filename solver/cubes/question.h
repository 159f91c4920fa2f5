// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_QUESTION_H
#define VORN_CUBES_QUESTION_H

#include <optional>
#include <string>
#include <vector>

#include "solver/smtlib/lexer.h"

namespace vorn::solver {

/// A script that asks one question, as far as its cubes are concerned: its text
/// up to the check.
struct CubeQuestion {
  /// All before `(check-sat)`, at the places where it stands in the script.
  /// What would have an answer say something else than the verdict is blank:
  /// :status, :print-success and the channels.
  std::string head;
  /// The same without any option: to look for cubes.
  std::string bare;
  /// Tells questions apart: of the script's text, 16 hexadecimal digits.
  std::string digest;

  /// The script of a cube.
  std::string cube_text(const std::string& cube,
                        const std::vector<std::string>& literals) const;
  /// The same without any option of the question, and without an end.
  std::string bare_text(const std::string& cube,
                        const std::vector<std::string>& literals) const;
  /// What an answer to a cube begins with: its name, and a digest of the
  /// question and of what the cube adds, so that no answer to anything else
  /// passes for one to this cube.
  std::string signature(const std::string& cube,
                        const std::vector<std::string>& literals) const;

 private:
  std::string check_text(const std::string& cube,
                         const std::vector<std::string>& literals) const;
};

/// Reads a script. Nothing if it is no single check of what it asserts; then
/// `error` says why, and where. What is asserted is not looked at.
std::optional<CubeQuestion> read_question(const std::string& script,
                                          ScriptError& error);

}  // namespace vorn::solver

#endif  // VORN_CUBES_QUESTION_H
