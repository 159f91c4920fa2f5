// SPDX-License-Identifier: MIT
#include "solver/engine/graph_recorder.h"

#include <cerrno>
#include <cstddef>

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
  if (has_graph_) reset();
  has_graph_ = true;
}

void GraphRecorder::tell(int k, const dl::Edge& edge) {
  std::string line;
  TraceLine(line, "tell") << k << edge.source << edge.target << edge.id
                          << edge.weight.rational().to_str()
                          << edge.weight.eps().to_str();
  append(line += '\n');
}

void GraphRecorder::note(std::string_view call, int k) {
  constexpr std::size_t kLongest = 32;  // and more than any of these lines
  if (lines_.size() + kLongest > kCapacity) finish();
  TraceLine(lines_, call) << k;
  lines_ += '\n';
}

void GraphRecorder::append(std::string_view line) {
  if (lines_.size() + line.size() > kCapacity) finish();
  lines_ += line;
}

bool GraphRecorder::finish() {
  if (error_ == 0 && !lines_.empty()) {
    errno = 0;
    out_.write(lines_.data(), static_cast<std::streamsize>(lines_.size()));
    out_.flush();
    if (!out_.good()) error_ = errno != 0 ? errno : EIO;
  }
  lines_.clear();
  return error_ == 0;
}

}  // namespace vorn::solver
