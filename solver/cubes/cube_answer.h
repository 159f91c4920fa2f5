// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_CUBE_ANSWER_H
#define VORN_CUBES_CUBE_ANSWER_H

#include <cstdint>
#include <string>

#include "solver/cubes/question.h"

namespace vorn::solver {

/// What was printed for a cube.
struct CubeAnswer {
  /// What it says.
  enum class Kind : std::uint8_t {
    kSat,
    kUnsat,
    kUnknown,
    /// It ends before it says anything, or says nothing that can be used.
    kCutOff,
    /// It is the answer to something else.
    kForeign,
  };
  /// As above.
  Kind kind = Kind::kCutOff;
  /// If it can not be used: why.
  std::string problem;
  /// If it is sat: the model, as assertions in SMT-LIB, one a line.
  std::string model;
};

/// Reads an answer. It has to begin with the signature of its cube, whatever
/// else is printed with it.
CubeAnswer read_answer(const std::string& text, const std::string& signature);

/// What a check of the model says.
struct CheckedModel {
  /// Whether it satisfies all that the question asserts.
  bool holds = false;
  /// If so, `sat` and the model, as the command prints them.
  std::string text;
};

/// Checks a model as if it were asserted. What it leaves open may be filled in
/// as far as that is quick.
CheckedModel check_model(const CubeQuestion& question,
                         const std::string& model);

}  // namespace vorn::solver

#endif  // VORN_CUBES_CUBE_ANSWER_H
