// SPDX-License-Identifier: MIT
#include "vorn/services/logger.h"

#include <unistd.h>

#include <iostream>
#include <ostream>

namespace vorn {

bool is_terminal(const std::ostream& stream) {
  if (&stream == &std::cout) return isatty(STDOUT_FILENO) == 1;
  if (&stream == &std::cerr || &stream == &std::clog) {
    return isatty(STDERR_FILENO) == 1;
  }
  return false;
}

Logger::Logger(std::ostream& out, int verbosity)
    : verbosity_(verbosity),
      msg_level_(0),
      out_(out),
      suppressed_(false),
      line_start_(true) {}

Logger& Logger::operator()(const char* tag) {
  suppressed_ = switched_off_.count(tag) != 0;
  msg_level_ = 0;
  return *this;
}

Logger& Logger::operator<<(const EndLog& /*end*/) {
  if (!line_start_) {
    out_ << '\n' << std::flush;
    line_start_ = true;
  }
  return *this;
}

void Logger::begin_line() {
  if (is_terminal(out_)) out_ << '\r';
  line_start_ = false;
}

}  // namespace vorn
