// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_COMMAND_TABLE_H
#define VORN_SMTLIB_COMMAND_TABLE_H

#include <string_view>

#include "solver/smtlib/interpreter.h"

namespace vorn::solver {

/// One row of the command table, which is sorted by name.
struct Interpreter::Command {
  /// As scripts spell it.
  std::string_view name;
  /// What runs it.
  Handler handler;
  /// What must be so before it may run.
  Need need;
  /// Whether it changes assertions or declarations and has no other effect.
  bool edits;
  /// Whether its reply is all it does.
  bool reports;
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_COMMAND_TABLE_H
