// SPDX-License-Identifier: MIT
#include "bench/trace.h"

#include <gmpxx.h>

#include <algorithm>
#include <limits>
#include <numeric>

#include "tests/model/trace.h"

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

bool add_edge(const model::EdgeRecord& from, Trace& trace) {
  const mpq_class& rational = from.weight.rational;
  const mpq_class& eps = from.weight.eps;
  if (from.source < 0 || from.target < 0 || eps.get_den() != 1 ||
      !eps.get_num().fits_sint_p() || !rational.get_num().fits_slong_p() ||
      !rational.get_den().fits_sint_p()) {
    return false;
  }
  TraceWeight weight;
  weight.num = rational.get_num().get_si();
  weight.den = static_cast<std::int32_t>(rational.get_den().get_si());
  weight.eps = static_cast<std::int32_t>(eps.get_num().get_si());
  const std::int64_t scale =
      std::lcm(std::int64_t{trace.scale}, std::int64_t{weight.den});
  if (scale > std::numeric_limits<std::int32_t>::max()) return false;
  trace.scale = static_cast<std::int32_t>(scale);
  trace.add(from.source, from.target, weight);
  return true;
}

}  // namespace

bool read_trace(std::istream& in, Trace& trace) {
  using model::CallKind;
  std::vector<Call>* calls = &trace.prepare;
  const auto read = [&](const model::Call& call) {
    const int k = call.constraint;
    const auto known = static_cast<int>(trace.edges.size());
    switch (call.kind) {
      case CallKind::kTell:
        return k == known + 1 && add_edge(call.first, trace);
      case CallKind::kPush:
      case CallKind::kPop:
        if (k < 1 || k > known) return false;
        calls->push_back(call.kind == CallKind::kPush ? Call::push(k)
                                                      : Call::pop(k));
        return true;
      case CallKind::kCheck:
        calls->push_back(Call::check());
        calls = &trace.measured;
        return true;
      default:
        return false;
    }
  };
  return model::read_calls(in, read);
}

}  // namespace vorn::bench
