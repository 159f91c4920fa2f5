// SPDX-License-Identifier: MIT
#include "tests/child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <utility>

namespace vorn::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongest{120};

// A file without a name, which goes when the last descriptor is closed.
int nameless_file() {
  std::string name = ::testing::TempDir() + "vorn-test-XXXXXX";
  const int fd = mkostemp(name.data(), O_CLOEXEC | O_APPEND);
  EXPECT_GE(fd, 0);
  unlink(name.c_str());
  return fd;
}

// The place of the descriptor, which a running child shares, is left alone.
std::string text_of(int fd) {
  std::string text;
  std::array<char, 1U << 16U> buffer{};
  ssize_t size = 0;
  while ((size = pread(fd, buffer.data(), buffer.size(),
                       static_cast<off_t>(text.size()))) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(size));
  }
  return text;
}

// In the child, between fork and exec.
void lead(int stream, int wanted, int normal) {
  if (wanted == Streams::kClosed) {
    close(stream);
  } else {
    dup2(wanted >= 0 ? wanted : normal, stream);
  }
}

void close_if_open(int& fd) {
  if (fd >= 0) close(fd);
  fd = -1;
}

/// The two ends of a pipe, to read from and to write to.
std::array<int, 2> open_pipe() {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  return ends;
}

}  // namespace

Child::Child(std::string program, const std::vector<std::string>& arguments,
             const Streams& streams)
    : out_(nameless_file()), err_(nameless_file()), start_(Clock::now()) {
  std::vector<std::string> words = {std::move(program)};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
  int output = out_;
  if (streams.in == Streams::kPipe) {
    close(input);
    const std::array<int, 2> ends = open_pipe();
    input = ends[0];
    to_input_ = ends[1];
  }
  if (streams.out == Streams::kPipe) {
    const std::array<int, 2> ends = open_pipe();
    from_output_ = ends[0];
    output = ends[1];
  }
  pid_ = fork();
  if (pid_ == 0) {
    lead(STDIN_FILENO, streams.in, input);
    lead(STDOUT_FILENO, streams.out, output);
    lead(STDERR_FILENO, streams.err, err_);
    // What a test runner, or a shell in the background, has chosen to ignore
    // would be inherited.
    for (const int signal : {SIGPIPE, SIGINT, SIGTERM}) {
      std::signal(signal, SIG_DFL);
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(input);
  if (output != out_) close(output);
}

Child::~Child() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close_input();
  close_output();
  close(out_);
  close(err_);
}

void Child::send(const std::string& text) const {
  // A program that ends early must not end the test.
  const auto before = std::signal(SIGPIPE, SIG_IGN);
  std::size_t sent = 0;
  while (sent < text.size()) {
    const ssize_t size =
        write(to_input_, text.data() + sent, text.size() - sent);
    if (size <= 0) break;
    sent += static_cast<std::size_t>(size);
  }
  std::signal(SIGPIPE, before);
}

void Child::close_input() {
  close_if_open(to_input_);
}

std::string Child::read_line() const {
  std::string line;
  while (line.empty() || line.back() != '\n') {
    pollfd ready = {from_output_, POLLIN, 0};
    char c = 0;
    if (poll(&ready, 1, 10000) != 1 || read(from_output_, &c, 1) != 1) break;
    line += c;
  }
  return line;
}

std::string Child::read_output() const {
  std::string text;
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t size = read(from_output_, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(size));
  }
}

void Child::close_output() {
  close_if_open(from_output_);
}

std::size_t Child::num_threads() const {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(
           "/proc/" + std::to_string(pid_) + "/task")) {
    static_cast<void>(entry);
    ++count;
  }
  return count;
}

void Child::send_signal(int signal) const {
  kill(pid_, signal);
}

bool Child::wait_for_output(const std::string& text) const {
  while (text_of(out_).find(text) == std::string::npos) {
    if (Clock::now() - start_ > kLongest) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

Ended Child::wait() {
  int status = 0;
  rusage usage = {};
  while (wait4(pid_, &status, WNOHANG, &usage) == 0) {
    if (Clock::now() - start_ > kLongest) {
      kill(pid_, SIGKILL);
      wait4(pid_, &status, 0, &usage);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  pid_ = -1;
  Ended ended;
  ended.seconds = std::chrono::duration<double>(Clock::now() - start_).count();
  ended.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + ended.signal;
  ended.output = text_of(out_);
  ended.errors = text_of(err_);
  ended.peak_mebibytes = static_cast<double>(usage.ru_maxrss) / 1024;
  return ended;
}

Ended run_program(const std::string& program,
                  const std::vector<std::string>& arguments,
                  const Streams& streams) {
  return Child(program, arguments, streams).wait();
}

}  // namespace vorn::test
