// SPDX-License-Identifier: MIT
#ifndef VORN_COMMAND_DESCRIPTOR_SOURCE_H
#define VORN_COMMAND_DESCRIPTOR_SOURCE_H

#include <cstddef>

#include "solver/command/watchdog.h"

namespace vorn::command {

/// Thrown out of a read when Ctrl-C was pressed.
struct Interrupted {};

/// A script read from a file descriptor.
class DescriptorSource {
 public:
  /// Borrows both.
  DescriptorSource(int fd, Watchdog& watchdog);

  /// Hands out what is there, as ScriptHost::read does; tells the watchdog
  /// while it waits. Throws Interrupted.
  std::size_t read(char* data, std::size_t capacity);

  /// Whether reading may have to wait, as from a pipe or a terminal.
  bool can_wait() const { return !is_regular_; }
  /// The errno value of the read that failed; 0 if none did.
  int error() const { return error_; }

 private:
  void wait();

  int fd_;
  Watchdog& watchdog_;
  bool is_regular_ = false;
  int error_ = 0;
};

}  // namespace vorn::command

#endif  // VORN_COMMAND_DESCRIPTOR_SOURCE_H
