// SPDX-License-Identifier: MIT
#include "bench/trace.h"

#include <gmpxx.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <sstream>
#include <string>

#include "bench/weights.h"

namespace vorn::bench {

int Trace::add(int source, int target, const TraceWeight& weight) {
  num_nodes = std::max({num_nodes, source + 1, target + 1});
  edges.push_back({source, target, weight});
  return static_cast<int>(edges.size());
}

std::size_t Trace::num_measured_pushes() const {
  const auto pushes =
      std::count_if(measured.begin(), measured.end(),
                    [](Call call) { return call.kind() == Call::Kind::kPush; });
  return static_cast<std::size_t>(pushes);
}

namespace {

void write_calls(const std::vector<Call>& calls, std::ostream& out) {
  for (const Call call : calls) {
    switch (call.kind()) {
      case Call::Kind::kPush:
        out << "push " << call.constraint() << "\n";
        break;
      case Call::Kind::kPop:
        out << "pop " << call.constraint() << "\n";
        break;
      case Call::Kind::kCheck:
        out << "check\n";
        break;
    }
  }
}

bool read_weight(const std::string& text, TraceWeight& weight) {
  std::istringstream in(text);
  if (!(in >> weight.num)) return false;
  if (in.peek() == '/') {
    in.get();
    if (!(in >> weight.den) || weight.den < 1) return false;
  }
  if (in.peek() == '+' || in.peek() == '-') {
    if (!(in >> weight.eps) || in.get() != 'e') return false;
  }
  return in.peek() == std::istringstream::traits_type::eof();
}

}  // namespace

void write_trace(const Trace& trace, std::ostream& out) {
  for (std::size_t k = 0; k < trace.edges.size(); ++k) {
    const TraceEdge& edge = trace.edges[k];
    out << "tell " << k + 1 << " " << edge.source << " " << edge.target << " "
        << to_mpq(edge.weight);
    if (edge.weight.eps != 0) {
      out << (edge.weight.eps > 0 ? "+" : "") << edge.weight.eps << "e";
    }
    out << "\n";
  }
  write_calls(trace.prepare, out);
  out << "measure\n";
  write_calls(trace.measured, out);
}

bool read_trace(std::istream& in, Trace& trace) {
  std::vector<Call>* calls = &trace.prepare;
  std::string word;
  while (in >> word) {
    if (word == "measure") {
      calls = &trace.measured;
      continue;
    }
    if (word == "check") {
      calls->push_back(Call::check());
      continue;
    }
    int k = 0;
    if (!(in >> k) || k < 1) return false;
    const auto known = static_cast<int>(trace.edges.size());
    if (word == "tell") {
      TraceEdge edge{};
      std::string text;
      if (!(in >> edge.source >> edge.target >> text)) return false;
      if (k != known + 1 || edge.source < 0 || edge.target < 0) return false;
      if (!read_weight(text, edge.weight)) return false;
      const std::int64_t scale =
          std::lcm(std::int64_t{trace.scale}, std::int64_t{edge.weight.den});
      if (scale > std::numeric_limits<std::int32_t>::max()) return false;
      trace.scale = static_cast<std::int32_t>(scale);
      trace.add(edge.source, edge.target, edge.weight);
      continue;
    }
    if (k > known) return false;
    if (word == "push") {
      calls->push_back(Call::push(k));
    } else if (word == "pop") {
      calls->push_back(Call::pop(k));
    } else {
      return false;
    }
  }
  return in.eof();
}

}  // namespace vorn::bench
