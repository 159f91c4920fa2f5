// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_CUBE_FILES_H
#define VORN_CUBES_CUBE_FILES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "solver/cubes/cube_tree.h"
#include "solver/cubes/folder.h"
#include "solver/cubes/question.h"
#include "solver/engine/engine.h"

namespace vorn::solver {

// What belongs to a cube is in files that begin with its name.

/// The script of a cube.
inline std::string script_file(const std::string& cube) {
  return cube + ".smt2";
}

/// Whether a file holds an answer to a cube: NAME.answer, or NAME.*.answer.
bool is_answer_file(const std::string& file, const std::string& cube);

/// Where the proof of an answer is.
std::string proof_file_of(const std::string& answer_file);

/// Writes the script of a leaf, and also the answer and the proof, as the
/// command would, if it takes at most so many conflicts; 0: nothing is tried.
/// An answer that shows a model may be known. Adds the names of files to
/// `written`, before they are. False if a file cannot be written.
bool write_cube(CubeFolder& folder, const CubeQuestion& question,
                const CubeTree& tree, std::size_t leaf,
                const std::string& known, std::uint64_t conflict_limit,
                const EngineOptions& options, std::vector<std::string>& written,
                bool& is_answered);

}  // namespace vorn::solver

#endif  // VORN_CUBES_CUBE_FILES_H
