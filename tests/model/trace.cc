// SPDX-License-Identifier: MIT
#include "tests/model/trace.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cctype>
#include <istream>
#include <ostream>
#include <sstream>
#include <string_view>
#include <utility>

#include "solver/engine/graph_recorder.h"

namespace vorn::model {

namespace {

/// The words of the kinds, in their order.
constexpr std::array<std::string_view, 12> kWords = {
    "tell",  "tell_bi",   "push",  "check",          "pop",       "retract",
    "reset", "configure", "drain", "dump_conflicts", "dump_list", "logger"};

/// An optional minus sign, digits, and optionally a slash and a denominator
/// other than zero.
bool read_rational(std::istream& in, mpq_class* value) {
  std::string text;
  if (!(in >> text)) {
    return false;
  }
  std::size_t at = text[0] == '-' ? 1 : 0;
  const auto digits = [&text, &at](bool* nonzero) {
    const std::size_t begin = at;
    *nonzero = false;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
      *nonzero = *nonzero || text[at] != '0';
      ++at;
    }
    return at > begin;
  };
  bool nonzero = false;
  if (!digits(&nonzero)) {
    return false;
  }
  if (at < text.size()) {
    if (text[at] != '/') {
      return false;
    }
    ++at;
    if (!digits(&nonzero) || !nonzero || at != text.size()) {
      return false;
    }
  }
  *value = rational_from_text(text);
  return true;
}

/// Hands what stands behind the call's word to `part`, one after the other,
/// until it returns false.
template <class AnyCall, class Part>
bool each_part(AnyCall& call, const Part& part) {
  switch (call.kind) {
    case CallKind::kTell:
      return part(call.constraint) && part(call.first);
    case CallKind::kTellBi:
      return part(call.constraint) && part(call.first) && part(call.second);
    case CallKind::kPush:
    case CallKind::kPop:
    case CallKind::kRetract:
      return part(call.constraint);
    case CallKind::kReset:
      return part(call.flag);
    case CallKind::kConfigure:
      return part(call.settings.tlemma_kinds) &&
             part(call.settings.tlemma_min_overlap) &&
             part(call.settings.dedup_tlemmas);
    case CallKind::kDrain:
    case CallKind::kLogger:
      return part(call.count);
    case CallKind::kDumpList:
      return part(call.flag) && part(call.ids);
    case CallKind::kCheck:
    case CallKind::kDumpConflicts:
      return true;
  }
  return false;
}

struct PartWriter {
  bool operator()(int number) const { return put(number); }
  bool operator()(float number) const {
    // Nine digits bring any float back unchanged.
    std::ostringstream text;
    text.precision(9);
    text << number;
    return put(text.str());
  }
  bool operator()(const EdgeRecord& edge) const {
    return put(edge.source) && put(edge.target) && put(edge.id) &&
           put(edge.weight.rational.get_str()) &&
           put(edge.weight.eps.get_str());
  }
  bool operator()(const std::vector<int>& ids) const {
    return std::all_of(ids.begin(), ids.end(), *this);
  }
  template <class T>
  bool put(const T& value) const {
    line << value;
    return true;
  }
  solver::TraceLine& line;
};

struct PartReader {
  template <class T>
  bool operator()(T& value) const {
    return static_cast<bool>(in >> value);
  }
  bool operator()(EdgeRecord& edge) const {
    return (in >> edge.source >> edge.target >> edge.id) &&
           read_rational(in, &edge.weight.rational) &&
           read_rational(in, &edge.weight.eps);
  }
  bool operator()(std::vector<int>& ids) const {
    for (int id = 0; in >> id;) ids.push_back(id);
    return in.eof();
  }
  std::istringstream& in;
};

bool is_tellable(const EdgeRecord& edge) {
  return edge.source >= 0 && edge.target >= 0;
}

}  // namespace

mpq_class rational_from_text(const std::string& text) {
  mpq_class value(text);
  value.canonicalize();
  return value;
}

std::string call_text(const Call& call) {
  std::string text;
  solver::TraceLine line(text, kWords[static_cast<std::size_t>(call.kind)]);
  each_part(call, PartWriter{line});
  return text;
}

bool call_from_text(const std::string& line, Call* call) {
  std::istringstream in(line);
  std::string name;
  if (!(in >> name)) {
    return false;
  }
  const auto* const word = std::find(kWords.begin(), kWords.end(), name);
  if (word == kWords.end()) {
    return false;
  }
  Call read;
  read.kind = static_cast<CallKind>(word - kWords.begin());
  if (!each_part(read, PartReader{in})) {
    return false;
  }
  std::string rest;
  if (in >> rest) {
    return false;
  }
  *call = std::move(read);
  return true;
}

void write_trace(std::ostream& out, const Trace& trace) {
  for (const Call& call : trace) {
    out << call_text(call) << '\n';
  }
}

bool read_calls(std::istream& in, const std::function<bool(const Call&)>& take,
                std::size_t* bad_line) {
  std::string line;
  Call call;
  for (std::size_t number = 1; std::getline(in, line); ++number) {
    if (line.empty() || line[0] == '#') {
      continue;
    }
    if (!call_from_text(line, &call) || !take(call)) {
      if (bad_line != nullptr) {
        *bad_line = number;
      }
      return false;
    }
  }
  return true;
}

bool read_trace(std::istream& in, Trace* trace, std::size_t* bad_line) {
  trace->clear();
  const auto take = [trace](const Call& call) {
    trace->push_back(call);
    return true;
  };
  return read_calls(in, take, bad_line);
}

bool Contract::allows(const Call& call) const {
  switch (call.kind) {
    case CallKind::kTell:
      return call.constraint >= 0 && !is_registered(call.constraint) &&
             is_tellable(call.first);
    case CallKind::kTellBi:
      return call.constraint >= 0 && !is_registered(call.constraint) &&
             is_tellable(call.first) && is_tellable(call.second);
    case CallKind::kPush:
      return is_registered(call.constraint) && !is_pushed(call.constraint);
    case CallKind::kPop:
      return !stack_.empty() && stack_.back() == call.constraint;
    case CallKind::kRetract:
      return is_registered(call.constraint) && !is_pushed(call.constraint);
    case CallKind::kDumpList:
      return std::all_of(call.ids.begin(), call.ids.end(),
                         [](int id) { return id >= 0; });
    case CallKind::kCheck:
    case CallKind::kReset:
    case CallKind::kConfigure:
    case CallKind::kDrain:
    case CallKind::kDumpConflicts:
    case CallKind::kLogger:
      return true;
  }
  return false;
}

void Contract::apply(const Call& call) {
  assert(allows(call));
  switch (call.kind) {
    case CallKind::kTell:
    case CallKind::kTellBi:
      registered_.insert(call.constraint);
      break;
    case CallKind::kPush:
      stack_.push_back(call.constraint);
      pushed_.insert(call.constraint);
      break;
    case CallKind::kPop:
      stack_.pop_back();
      pushed_.erase(call.constraint);
      break;
    case CallKind::kRetract:
      registered_.erase(call.constraint);
      break;
    case CallKind::kReset:
      registered_.clear();
      stack_.clear();
      pushed_.clear();
      break;
    default:
      break;
  }
}

bool keeps_contract(const Trace& trace) {
  return without_breaches(trace).size() == trace.size();
}

Trace without_breaches(const Trace& trace) {
  Contract contract;
  Trace kept;
  for (const Call& call : trace) {
    if (contract.allows(call)) {
      contract.apply(call);
      kept.push_back(call);
    }
  }
  return kept;
}

}  // namespace vorn::model
