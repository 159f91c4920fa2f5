// SPDX-License-Identifier: MIT
#include "tests/model/trace.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cctype>
#include <istream>
#include <ostream>
#include <sstream>
#include <utility>

namespace vorn::model {

namespace {

struct KindName {
  CallKind kind;
  const char* name;
};

constexpr std::array<KindName, 12> kKindNames = {{
    {CallKind::kTell, "tell"},
    {CallKind::kTellBi, "tell_bi"},
    {CallKind::kPush, "push"},
    {CallKind::kCheck, "check"},
    {CallKind::kPop, "pop"},
    {CallKind::kRetract, "retract"},
    {CallKind::kReset, "reset"},
    {CallKind::kConfigure, "configure"},
    {CallKind::kDrain, "drain"},
    {CallKind::kDumpConflicts, "dump_conflicts"},
    {CallKind::kDumpList, "dump_list"},
    {CallKind::kLogger, "logger"},
}};

void write_edge(std::ostream& out, const EdgeRecord& edge) {
  out << ' ' << edge.source << ' ' << edge.target << ' ' << edge.id << ' '
      << edge.weight.rational.get_str() << ' ' << edge.weight.eps.get_str();
}

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

bool read_edge(std::istream& in, EdgeRecord* edge) {
  return (in >> edge->source >> edge->target >> edge->id) &&
         read_rational(in, &edge->weight.rational) &&
         read_rational(in, &edge->weight.eps);
}

bool read_fields(std::istream& in, Call* call) {
  switch (call->kind) {
    case CallKind::kTell:
      return (in >> call->constraint) && read_edge(in, &call->first);
    case CallKind::kTellBi:
      return (in >> call->constraint) && read_edge(in, &call->first) &&
             read_edge(in, &call->second);
    case CallKind::kPush:
    case CallKind::kPop:
    case CallKind::kRetract:
      return static_cast<bool>(in >> call->constraint);
    case CallKind::kReset:
      return static_cast<bool>(in >> call->flag);
    case CallKind::kConfigure:
      return static_cast<bool>(in >> call->settings.tlemma_kinds >>
                               call->settings.tlemma_min_overlap >>
                               call->settings.dedup_tlemmas);
    case CallKind::kDrain:
    case CallKind::kLogger:
      return static_cast<bool>(in >> call->count);
    case CallKind::kDumpList: {
      if (!(in >> call->flag)) {
        return false;
      }
      int id = 0;
      while (in >> id) {
        call->ids.push_back(id);
      }
      if (!in.eof()) {
        return false;
      }
      in.clear();
      return true;
    }
    case CallKind::kCheck:
    case CallKind::kDumpConflicts:
      return true;
  }
  return false;
}

bool is_tellable(const EdgeRecord& edge) {
  return edge.source >= 0 && edge.target >= 0;
}

}  // namespace

std::string call_text(const Call& call) {
  std::ostringstream out;
  for (const KindName& entry : kKindNames) {
    if (entry.kind == call.kind) {
      out << entry.name;
    }
  }
  switch (call.kind) {
    case CallKind::kTell:
      out << ' ' << call.constraint;
      write_edge(out, call.first);
      break;
    case CallKind::kTellBi:
      out << ' ' << call.constraint;
      write_edge(out, call.first);
      write_edge(out, call.second);
      break;
    case CallKind::kPush:
    case CallKind::kPop:
    case CallKind::kRetract:
      out << ' ' << call.constraint;
      break;
    case CallKind::kReset:
      out << ' ' << call.flag;
      break;
    case CallKind::kConfigure:
      // Nine digits bring any float back unchanged.
      out.precision(9);
      out << ' ' << call.settings.tlemma_kinds << ' '
          << call.settings.tlemma_min_overlap << ' '
          << call.settings.dedup_tlemmas;
      break;
    case CallKind::kDrain:
    case CallKind::kLogger:
      out << ' ' << call.count;
      break;
    case CallKind::kDumpList:
      out << ' ' << call.flag;
      for (int id : call.ids) {
        out << ' ' << id;
      }
      break;
    case CallKind::kCheck:
    case CallKind::kDumpConflicts:
      break;
  }
  return out.str();
}

bool call_from_text(const std::string& line, Call* call) {
  std::istringstream in(line);
  std::string name;
  if (!(in >> name)) {
    return false;
  }
  const auto found = std::find_if(
      kKindNames.begin(), kKindNames.end(),
      [&name](const KindName& entry) { return name == entry.name; });
  if (found == kKindNames.end()) {
    return false;
  }
  Call read;
  read.kind = found->kind;
  if (!read_fields(in, &read)) {
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

bool read_trace(std::istream& in, Trace* trace, std::size_t* bad_line) {
  trace->clear();
  std::string line;
  for (std::size_t number = 1; std::getline(in, line); ++number) {
    if (line.empty() || line[0] == '#') {
      continue;
    }
    Call call;
    if (!call_from_text(line, &call)) {
      if (bad_line != nullptr) {
        *bad_line = number;
      }
      return false;
    }
    trace->push_back(std::move(call));
  }
  return true;
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
