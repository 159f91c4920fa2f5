// SPDX-License-Identifier: MIT
#include "tests/pressure/child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <thread>

#include "tests/build_kind.h"

namespace vorn::pressure {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongest{120};

// A file without a name, which goes when the last descriptor is closed.
int nameless_file() {
  std::string name = ::testing::TempDir() + "vorn-pressure-XXXXXX";
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
    dup2(wanted == Streams::kDefault ? normal : wanted, stream);
  }
}

}  // namespace

Child::Child(const std::vector<std::string>& arguments, const Streams& streams)
    : out_(nameless_file()), err_(nameless_file()), start_(Clock::now()) {
  std::vector<std::string> words = {VORN_COMMAND};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  pid_ = fork();
  if (pid_ == 0) {
    lead(STDIN_FILENO, streams.in, nothing);
    lead(STDOUT_FILENO, streams.out, out_);
    lead(STDERR_FILENO, streams.err, err_);
    // What a test runner, or a shell in the background, has chosen to ignore
    // would be inherited.
    for (const int signal : {SIGPIPE, SIGINT, SIGTERM}) {
      std::signal(signal, SIG_DFL);
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(nothing);
}

Child::~Child() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close(out_);
  close(err_);
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

Ended run(const std::vector<std::string>& arguments, const Streams& streams) {
  return Child(arguments, streams).wait();
}

ScriptFile::ScriptFile(const std::function<void(std::ostream&)>& write)
    : name_(::testing::TempDir() + "vorn-pressure-XXXXXX") {
  const int fd = mkostemp(name_.data(), O_CLOEXEC);
  EXPECT_GE(fd, 0);
  close(fd);
  std::ofstream out(name_, std::ios::binary);
  write(out);
  EXPECT_TRUE(out.flush().good());
}

ScriptFile::ScriptFile(const std::string& text)
    : ScriptFile([&text](std::ostream& out) { out << text; }) {}

ScriptFile::~ScriptFile() {
  std::remove(name_.c_str());
}

std::string ScriptFile::text() const {
  std::ifstream in(name_, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void repeat(std::ostream& out, const char* text, int count) {
  for (int i = 0; i < count; ++i) out << text;
}

void write_hard_assertions(std::ostream& out, int jobs) {
  // Adding up the jobs would answer at once.
  out << "(set-option :machines off)(set-logic QF_IDL)\n";
  for (int i = 0; i < jobs; ++i) {
    out << "(declare-const s" << i << " Int)(assert (<= 0 s" << i << ' '
        << 2 * jobs - 3 << "))\n";
  }
  for (int i = 0; i < jobs; ++i) {
    for (int j = 0; j < i; ++j) {
      out << "(assert (or (<= 2 (- s" << i << " s" << j << ")) (<= 2 (- s" << j
          << " s" << i << "))))\n";
    }
  }
}

void write_long_relaxation(std::ostream& out) {
  constexpr int nodes = test::kSanitized ? 30000 : 50000;
  out << "(set-logic QF_IDL)\n";
  for (int i = 0; i < nodes; ++i) out << "(declare-const x" << i << " Int)\n";
  for (int i = 0; i + 1 < nodes; ++i) {
    if (i + 2 < nodes) {
      out << "(assert (<= (- x" << i + 2 << " x" << i << ") 4))\n";
    }
    out << "(assert (<= (- x" << i + 1 << " x" << i << ") 1))\n";
  }
  out << "(echo \"read\")(declare-const z Int)"
         "(assert (<= (- x0 z) (- 1000000)))\n";
}

void write_limited_relaxation(std::ostream& out) {
  out << "(set-option :timeout " << kIntoTheCheck.count() << ')';
  write_long_relaxation(out);
}

}  // namespace vorn::pressure
