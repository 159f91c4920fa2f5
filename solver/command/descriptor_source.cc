// SPDX-License-Identifier: MIT
#include "solver/command/descriptor_source.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace vorn::command {

DescriptorSource::DescriptorSource(int fd, Watchdog& watchdog)
    : fd_(fd), watchdog_(watchdog) {
  struct stat status = {};
  is_regular_ = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

void DescriptorSource::wait() {
  pollfd ready[] = {{fd_, POLLIN, 0}, {watchdog_.interrupt_fd(), POLLIN, 0}};
  if (poll(ready, 2, 0) > 0) return;
  // Only a wait that happens is one: a long script that keeps coming through a
  // pipe is being read, not waited for.
  watchdog_.start_wait();
  while (poll(ready, 2, -1) < 0 && errno == EINTR) {
  }
  watchdog_.finish_wait();
}

std::size_t DescriptorSource::read(char* data, std::size_t capacity) {
  if (!is_regular_) wait();
  if (watchdog_.interrupted()) throw Interrupted();
  for (;;) {
    const ssize_t size = ::read(fd_, data, capacity);
    if (size >= 0) return static_cast<std::size_t>(size);
    if (errno == EINTR || errno == EAGAIN) continue;
    error_ = errno;
    return 0;
  }
}

}  // namespace vorn::command
