// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_CHILD_H
#define VORN_TESTS_CHILD_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace vorn::test {

/// For each standard stream of a program, where it leads.
struct Streams {
  /// The test reads or writes the stream through the Child. Not for errors.
  static constexpr int kPipe = -3;
  /// This stream is closed when the program starts.
  static constexpr int kClosed = -2;
  /// Standard input: /dev/null; output and errors: kept in Ended.
  static constexpr int kDefault = -1;

  /// One of the above or a file descriptor, which is borrowed.
  int in = kDefault;
  int out = kDefault;
  int err = kDefault;
};

/// What became of a command.
struct Ended {
  /// As a shell shows it: the exit status, or 128 and the signal's number.
  int status = 0;
  /// The signal that ended it, 0 if none did.
  int signal = 0;
  std::string output;
  std::string errors;
  double seconds = 0;
  double peak_mebibytes = 0;
};

/// A running program, the one way of the tests to start one. Standard output
/// and error go to files unless told otherwise, so that it is never held up by
/// a reader.
class Child {
 public:
  Child(std::string program, const std::vector<std::string>& arguments,
        const Streams& streams = {});
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

  /// Writes to its standard input, a pipe. What it does not take is lost.
  void send(const std::string& text) const;
  void close_input();
  /// One line of its standard output, a pipe, with the line's end; what there
  /// is after ten seconds.
  std::string read_line() const;
  /// Reads its standard output, a pipe, to the end.
  std::string read_output() const;
  void close_output();

  void send_signal(int signal) const;
  /// How many threads it has now.
  std::size_t num_threads() const;
  /// Waits until it has printed `text` to the file. False if it does not within
  /// two minutes.
  bool wait_for_output(const std::string& text) const;
  /// Waits for its end. One that runs on for two minutes is killed, which
  /// Ended tells as signal 9.
  Ended wait();

 private:
  pid_t pid_ = -1;
  // The ends of pipes, -1 where there is none.
  int to_input_ = -1;
  int from_output_ = -1;
  // The files of output and errors.
  int out_ = -1;
  int err_ = -1;
  std::chrono::steady_clock::time_point start_;
};

/// Runs a program to its end.
Ended run_program(const std::string& program,
                  const std::vector<std::string>& arguments,
                  const Streams& streams = {});

}  // namespace vorn::test

#endif  // VORN_TESTS_CHILD_H
