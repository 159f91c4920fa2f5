// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_GRAPH_RECORDER_H
#define VORN_SOLVER_ENGINE_GRAPH_RECORDER_H

#include <ostream>
#include <string>
#include <string_view>

#include "vorn/dl/edge.h"

namespace vorn::solver {

/// Writes a call on a constraint graph as one line of a trace: the call's word
/// and what it is about, parted by blanks.
///
///     tell K SOURCE TARGET ID RATIONAL EPS
///     push K
///     check
///     pop K
///     retract K
///     reset 1
///
/// for constraint K, its edge's end nodes, own id and weight RATIONAL +
/// EPS*eps, where both parts are integers or fractions in lowest terms. A line
/// that begins with # is a remark. Who makes further calls adds their words.
class TraceLine {
 public:
  /// Begins the line behind what `text` holds. Nothing ends it, and nothing
  /// allocates while `text`, borrowed, has room.
  TraceLine(std::string& text, std::string_view word) : text_(text += word) {}
  /// Adds a text without blanks.
  TraceLine& operator<<(std::string_view word) {
    (text_ += ' ') += word;
    return *this;
  }
  /// Adds a number, whose digits fit a string without memory of its own.
  TraceLine& operator<<(int number) { return *this << std::to_string(number); }

 private:
  std::string& text_;
};

/// Writes down the calls that a solver makes on its constraint graph, so that
/// they can be made again without the solver; a TraceLine each.
///
/// A call is to be noted before it is made. Then the recording of a process
/// that ends inside a check, because it crashes or is killed, ends with that
/// check; any other ends with some earlier call, never inside a line.
///
/// Cost: a write for each check and each 64 KiB; else no more than the text.
/// All but tell allocate nothing.
/// Ownership: borrows the stream. Threads: none.
/// Errors: what the stream does not take is lost, and so is all behind it;
/// finish tells. The stream must not throw for that.
class GraphRecorder {
 public:
  /// The stream itself should have no buffer, which would cut through lines.
  explicit GraphRecorder(std::ostream& out);
  GraphRecorder(const GraphRecorder&) = delete;
  GraphRecorder& operator=(const GraphRecorder&) = delete;

  /// A new graph takes the place of the one before, if there was one.
  void new_graph();
  /// The graph forgets everything.
  void reset() { append("reset 1\n"); }
  /// On failing memory nothing is noted.
  void tell(int k, const dl::Edge& edge);
  /// A call on constraint k.
  void push(int k) { note("push", k); }
  /// A check; hands all that was noted to the stream.
  void check() {
    append("check\n");
    finish();
  }
  /// As push.
  void pop(int k) { note("pop", k); }
  /// As push.
  void retract(int k) { note("retract", k); }

  /// Hands all that was noted to the stream. False if some of it, now or
  /// before, could not be written.
  bool finish();
  /// The first failed write's errno; 0 if there is none.
  int error() const { return error_; }

 private:
  void note(std::string_view call, int k);
  void append(std::string_view line);

  std::ostream& out_;
  /// Whole lines, not yet written. Its capacity never falls.
  std::string lines_;
  bool has_graph_ = false;
  int error_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_GRAPH_RECORDER_H
