// SPDX-License-Identifier: MIT
#include "vorn/services/logger.h"

#include <stdio.h>
#include <unistd.h>

#include <iostream>
#include <ostream>
#include <streambuf>

#ifdef __GLIBCXX__
#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>
#endif

namespace vorn {
namespace {

// The descriptor that a buffer writes to; -1 for memory, for nothing, and for
// files that keep theirs to themselves.
#ifdef __GLIBCXX__
int descriptor_of(std::streambuf* buffer) {
  // The standard streams have buffers of the first kind until
  // sync_with_stdio(false), which gives them others, of the second kind.
  if (auto* c = dynamic_cast<__gnu_cxx::stdio_sync_filebuf<char>*>(buffer)) {
    return fileno(c->file());
  }
  auto* file = dynamic_cast<__gnu_cxx::stdio_filebuf<char>*>(buffer);
  return file != nullptr && file->is_open() ? file->fd() : -1;
}
#else
// Nothing tells the descriptor, so only the buffers that the standard streams
// have when this library is loaded are known.
const std::streambuf* const kOut = std::cout.rdbuf();
const std::streambuf* const kErr = std::cerr.rdbuf();
const std::streambuf* const kLog = std::clog.rdbuf();

int descriptor_of(std::streambuf* buffer) {
  if (buffer == nullptr) return -1;
  if (buffer == kOut) return STDOUT_FILENO;
  return buffer == kErr || buffer == kLog ? STDERR_FILENO : -1;
}
#endif

}  // namespace

bool is_terminal(const std::ostream& stream) {
  const int descriptor = descriptor_of(stream.rdbuf());
  return descriptor >= 0 && isatty(descriptor) == 1;
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
