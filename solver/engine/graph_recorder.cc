// SPDX-License-Identifier: MIT
#include "solver/engine/graph_recorder.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <limits>

namespace vorn::solver {
namespace {

constexpr std::size_t kCapacity = std::size_t{64} * 1024;

}  // namespace

GraphRecorder::GraphRecorder(std::ostream& out) : out_(out) {
  lines_.reserve(kCapacity);
  append("# The calls of a solver on its constraint graph.\n");
}

// What a new graph does not know, a reset one has forgotten, but for the
// previous conflict, which matters to lemmas alone, and the counters.
void GraphRecorder::new_graph() {
  if (has_graph_) append("reset 1\n");
  has_graph_ = true;
}

void GraphRecorder::tell(int k, const dl::Edge& edge) {
  std::string line = "tell ";
  for (const int number : {k, edge.source, edge.target, edge.id}) {
    line += std::to_string(number);
    line += ' ';
  }
  line += edge.weight.rational().to_str();
  line += ' ';
  line += edge.weight.eps().to_str();
  line += '\n';
  append(line);
}

void GraphRecorder::note(std::string_view call, int k) {
  std::array<char, 32> line{};
  static_assert(line.size() >
                sizeof "retract \n" + std::numeric_limits<int>::digits10 + 2);
  char* end = line.data() + call.copy(line.data(), call.size());
  end = std::to_chars(end, line.data() + line.size() - 1, k).ptr;
  *end++ = '\n';
  append({line.data(), static_cast<std::size_t>(end - line.data())});
}

void GraphRecorder::append(std::string_view line) {
  if (lines_.size() + line.size() > kCapacity) finish();
  if (line.size() > kCapacity) {
    write(line);
  } else {
    lines_ += line;
  }
}

bool GraphRecorder::finish() {
  write(lines_);
  lines_.clear();
  return error_ == 0;
}

void GraphRecorder::write(std::string_view lines) {
  if (error_ != 0 || lines.empty()) return;
  errno = 0;
  out_.write(lines.data(), static_cast<std::streamsize>(lines.size()));
  out_.flush();
  if (!out_.good()) error_ = errno != 0 ? errno : EIO;
}

}  // namespace vorn::solver
