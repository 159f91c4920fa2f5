// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_COMMAND_SCRIPTS_H
#define VORN_TESTS_COMMAND_SCRIPTS_H

#include <chrono>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "tests/build_kind.h"
#include "tests/child.h"

namespace vorn::command {

using test::Child;
using test::Ended;
using test::Streams;

/// How late an end may come, in seconds: the tests share a busy machine.
constexpr double kGrace = test::kSanitized ? 20 : 5;

/// Runs vorn.
inline Ended run(const std::vector<std::string>& arguments,
                 const Streams& streams = {}) {
  return test::run_program(VORN_COMMAND, arguments, streams);
}

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
constexpr int kLongRelaxation = test::kSanitized ? 30000 : 50000;
void write_long_relaxation(std::ostream& out, int nodes = kLongRelaxation);

/// How long after its script was read, or its check began, a command is in the
/// middle of that step. The steps before it take a fifth of this or less, and
/// the step at least four times as long, so that neither a slow machine nor a
/// fast one moves it out.
constexpr std::chrono::milliseconds kIntoTheCheck{test::kSanitized ? 5000
                                                                   : 2000};

/// The same with that as the limit of the checks that follow.
void write_limited_relaxation(std::ostream& out);

}  // namespace vorn::command

#endif  // VORN_TESTS_COMMAND_SCRIPTS_H
