// SPDX-License-Identifier: MIT
#ifndef VORN_PRESSURE_CHILD_H
#define VORN_PRESSURE_CHILD_H

#include <sys/types.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "tests/build_kind.h"

namespace vorn::pressure {

/// For each standard stream of a command, where it leads.
struct Streams {
  /// This stream is closed when the command starts.
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

/// A running vorn. Standard output and error go to files, so that it is never
/// held up by a reader.
class Child {
 public:
  explicit Child(const std::vector<std::string>& arguments,
                 const Streams& streams = {});
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child();

  void send_signal(int signal) const;
  /// Waits until it has printed `text`. False if it does not within two
  /// minutes.
  bool wait_for_output(const std::string& text) const;
  /// Waits for its end. One that runs on for two minutes is killed, which
  /// Ended tells as signal 9.
  Ended wait();

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::chrono::steady_clock::time_point start_;
};

Ended run(const std::vector<std::string>& arguments,
          const Streams& streams = {});

/// A file that lasts as long as this, written piece by piece: the memory of
/// this process must not count as a child's.
class ScriptFile {
 public:
  explicit ScriptFile(const std::function<void(std::ostream&)>& write);
  explicit ScriptFile(const std::string& text);
  ScriptFile(const ScriptFile&) = delete;
  ScriptFile& operator=(const ScriptFile&) = delete;
  ~ScriptFile();
  const std::string& name() const { return name_; }
  std::string text() const;

 private:
  std::string name_;
};

/// Writes `text` so many times.
void repeat(std::ostream& out, const char* text, int count);

/// Jobs of length 2, one after the other, in too little time. Sixty are for
/// ever: each order has to be refuted.
void write_hard_assertions(std::ostream& out, int jobs);

/// A chain with bounds on steps of one and of two, and then one bound that
/// lowers its head, which takes long within a single step: of n nodes about
/// n^2 / 4 are lowered, since two short hops beat a long one everywhere, and
/// the queue comes to the long ones first. "read" is echoed before that bound.
void write_long_relaxation(std::ostream& out);

/// How long after its script was read, or its check began, a command is in the
/// middle of that step. The steps before it take a fifth of this or less, and
/// the step at least four times as long, so that neither a slow machine nor a
/// fast one moves it out.
constexpr std::chrono::milliseconds kIntoTheCheck{test::kSanitized ? 5000
                                                                   : 2000};

/// The same with that as the limit of the checks that follow.
void write_limited_relaxation(std::ostream& out);

}  // namespace vorn::pressure

#endif  // VORN_PRESSURE_CHILD_H
