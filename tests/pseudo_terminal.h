// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_PSEUDO_TERMINAL_H
#define VORN_TESTS_PSEUDO_TERMINAL_H

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

namespace vorn::test {

/// The reason to skip a test where there is no terminal to open, as in a
/// container without /dev/pts.
inline constexpr char kNoTerminal[] = "there are no pseudo-terminals here";

/// The two ends of a terminal, for the caller to close. Both are -1 if the
/// system offers none.
struct PseudoTerminal {
  /// What was written to `program` can be read here.
  int screen = -1;
  /// The end for the program that believes to be on a terminal.
  int program = -1;

  bool ok() const { return program >= 0; }
};

/// Opens a terminal that passes all bytes on as they are: by default it would
/// put a carriage return before each line end.
inline PseudoTerminal open_pseudo_terminal() {
  PseudoTerminal ends;
  const int screen = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (screen < 0) return ends;
  const bool unlocked = ::grantpt(screen) == 0 && ::unlockpt(screen) == 0;
  const char* const name = unlocked ? ::ptsname(screen) : nullptr;
  const int program =
      name == nullptr ? -1 : ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
  termios settings = {};
  if (program < 0 || ::tcgetattr(program, &settings) != 0) {
    if (program >= 0) ::close(program);
    ::close(screen);
    return ends;
  }
  ::cfmakeraw(&settings);
  ::tcsetattr(program, TCSANOW, &settings);
  ends.screen = screen;
  ends.program = program;
  return ends;
}

}  // namespace vorn::test

#endif  // VORN_TESTS_PSEUDO_TERMINAL_H
