// SPDX-License-Identifier: MIT
#ifndef VORN_COMMAND_CUBES_H
#define VORN_COMMAND_CUBES_H

#include <string>

#include "vorn/solver/settings.h"

namespace vorn::command {

/// Does what --split says: splits the script in `file`, - for standard input,
/// into so many cubes. Returns the exit status.
int split_script(const std::string& file, const std::string& number,
                 const std::string& folder, const api::Settings& settings);

/// Does what --join says, with --proof if that is not empty. Returns the exit
/// status.
int join_folder(const std::string& folder, const std::string& proof_file,
                const api::Settings& settings);

}  // namespace vorn::command

#endif  // VORN_COMMAND_CUBES_H
