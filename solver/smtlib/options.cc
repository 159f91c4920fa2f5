// SPDX-License-Identifier: MIT
#include "solver/smtlib/options.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>
#include <variant>

namespace vorn::solver {
namespace {

using Place = std::variant<bool*, std::uint64_t*, std::string*, int*, float*,
                           Propagation*, Machines*, ErrorBehavior*>;

// In the order of ErrorBehavior.
constexpr std::string_view kErrorBehaviorNames[] = {"continued-execution",
                                                    "immediate-exit"};

struct Entry {
  std::string_view keyword;
  /// Whether the option is fixed once there is an assertion, since it decides
  /// what is kept of each.
  bool fixed;
  Place (*place)(ScriptOptions&);
};

constexpr Entry kEntries[] = {
    {":print-success", false,
     [](ScriptOptions& o) -> Place { return &o.print_success; }},
    {":error-behavior", false,
     [](ScriptOptions& o) -> Place { return &o.error_behavior; }},
    {":produce-assertions", true,
     [](ScriptOptions& o) -> Place { return &o.produce_assertions; }},
    // The name that :produce-assertions had in older scripts.
    {":interactive-mode", true,
     [](ScriptOptions& o) -> Place { return &o.produce_assertions; }},
    {":produce-assignments", false,
     [](ScriptOptions& o) -> Place { return &o.produce_assignments; }},
    {":produce-models", false,
     [](ScriptOptions& o) -> Place { return &o.produce_models; }},
    {":print-models", false,
     [](ScriptOptions& o) -> Place { return &o.print_models; }},
    {":produce-proofs", true,
     [](ScriptOptions& o) -> Place { return &o.engine.keep_proofs; }},
    {":produce-unsat-assumptions", false,
     [](ScriptOptions& o) -> Place { return &o.produce_unsat_assumptions; }},
    {":produce-unsat-cores", true,
     [](ScriptOptions& o) -> Place { return &o.produce_unsat_cores; }},
    {":global-declarations", false,
     [](ScriptOptions& o) -> Place { return &o.global_declarations; }},
    {":regular-output-channel", false,
     [](ScriptOptions& o) -> Place { return &o.regular_output_channel; }},
    {":diagnostic-output-channel", false,
     [](ScriptOptions& o) -> Place { return &o.diagnostic_output_channel; }},
    {":verbosity", false,
     [](ScriptOptions& o) -> Place { return &o.verbosity; }},
    {":reproducible-resource-limit", false,
     [](ScriptOptions& o) -> Place { return &o.conflict_limit; }},
    {":random-seed", false,
     [](ScriptOptions& o) -> Place { return &o.engine.search.seed; }},
    {":minimize-unsat-cores", false,
     [](ScriptOptions& o) -> Place { return &o.minimize_unsat_cores; }},
    {":timeout", false, [](ScriptOptions& o) -> Place { return &o.timeout; }},
    {":propagation", false,
     [](ScriptOptions& o) -> Place { return &o.engine.propagation.mode; }},
    {":machines", false,
     [](ScriptOptions& o) -> Place { return &o.engine.machines; }},
    {":dl-tlemma-kinds", false,
     [](ScriptOptions& o) -> Place {
       return &o.engine.lemmas.dl_tlemma_kinds;
     }},
    {":dl-tlemma-min-overlap", false,
     [](ScriptOptions& o) -> Place {
       return &o.engine.lemmas.dl_tlemma_min_overlap;
     }},
    {":dl-dedup-tlemmas", false,
     [](ScriptOptions& o) -> Place {
       return &o.engine.lemmas.dl_dedup_tlemmas;
     }},
};

const Entry* find_entry(const std::string& keyword) {
  for (const Entry& entry : kEntries) {
    if (entry.keyword == keyword) return &entry;
  }
  return nullptr;
}

std::optional<std::uint64_t> read_numeral(const Token& token) {
  if (token.kind != TokenKind::kNumeral) return std::nullopt;
  errno = 0;
  const std::uint64_t value = std::strtoull(token.text.c_str(), nullptr, 10);
  if (errno == ERANGE) return std::nullopt;
  return value;
}

// Finds the mode that a token names.
template <class Mode, std::size_t kCount>
const char* read_mode(const Token& token,
                      const std::string_view (&names)[kCount],
                      const char* expected, Mode* place) {
  const auto* const begin = std::begin(names);
  const auto* const found = std::find(begin, std::end(names), token.text);
  if (token.kind != TokenKind::kSymbol || found == std::end(names)) {
    return expected;
  }
  *place = static_cast<Mode>(found - begin);
  return nullptr;
}

// Each of these writes a value of its type, or says what it expects.
struct Setter {
  const Token& token;

  const char* operator()(bool* place) const {
    if (token.kind != TokenKind::kSymbol ||
        (token.text != "true" && token.text != "false")) {
      return "true or false";
    }
    *place = token.text == "true";
    return nullptr;
  }
  const char* operator()(std::uint64_t* place) const {
    const auto value = read_numeral(token);
    if (!value.has_value()) return "a numeral below 2^64";
    *place = *value;
    return nullptr;
  }
  const char* operator()(std::string* place) const {
    if (token.kind != TokenKind::kString) return "a string";
    *place = token.text;
    return nullptr;
  }
  // The one option of this type is the set of lemma kinds.
  const char* operator()(int* place) const {
    const auto value = read_numeral(token);
    if (!value.has_value() || *value > 3) return "0, 1, 2 or 3";
    *place = static_cast<int>(*value);
    return nullptr;
  }
  const char* operator()(Propagation* place) const {
    return read_mode(token, kPropagationNames, "auto, full or off", place);
  }
  const char* operator()(Machines* place) const {
    return read_mode(token, kMachinesNames, "auto or off", place);
  }
  const char* operator()(ErrorBehavior* place) const {
    return read_mode(token, kErrorBehaviorNames,
                     "continued-execution or immediate-exit", place);
  }
  // The one option of this type is a share.
  const char* operator()(float* place) const {
    constexpr const char* kExpected = "a number from 0 to 1";
    if (token.kind != TokenKind::kNumeral &&
        token.kind != TokenKind::kDecimal) {
      return kExpected;
    }
    const float value = std::strtof(token.text.c_str(), nullptr);
    if (!(value <= 1.0F)) return kExpected;
    *place = value;
    return nullptr;
  }
};

struct Getter {
  std::string operator()(const bool* place) const {
    return *place ? "true" : "false";
  }
  std::string operator()(const std::string* place) const {
    return quote_string(*place);
  }
  template <class Number>
  std::string operator()(const Number* place) const {
    return std::to_string(*place);
  }
  std::string operator()(const Propagation* place) const {
    return std::string(propagation_name(*place));
  }
  std::string operator()(const Machines* place) const {
    return std::string(machines_name(*place));
  }
  std::string operator()(const ErrorBehavior* place) const {
    return std::string(kErrorBehaviorNames[static_cast<std::size_t>(*place)]);
  }
  std::string operator()(const float* place) const {
    std::ostringstream out;
    out << *place;
    std::string text = out.str();
    if (text.find('.') == std::string::npos) text += ".0";
    return text;
  }
};

}  // namespace

SetResult set_option(ScriptOptions& options, const std::string& keyword,
                     const Token& token, bool asserted, std::string& expected) {
  const Entry* entry = find_entry(keyword);
  if (entry == nullptr) return SetResult::kUnsupported;
  ScriptOptions changed = options;
  const char* wrong = std::visit(Setter{token}, entry->place(changed));
  if (wrong == nullptr) {
    if (entry->fixed && asserted &&
        get_option(changed, keyword) != get_option(options, keyword)) {
      return SetResult::kTooLate;
    }
    options = std::move(changed);
    // Who chooses the kinds chooses them for the whole of each check.
    if (keyword == ":dl-tlemma-kinds") options.engine.lemma_trials = false;
    return SetResult::kSet;
  }
  expected = wrong;
  return SetResult::kBadValue;
}

std::optional<std::string> get_option(const ScriptOptions& options,
                                      const std::string& keyword) {
  const Entry* entry = find_entry(keyword);
  if (entry == nullptr) return std::nullopt;
  // The table's places are writable; here they are only read.
  ScriptOptions copy = options;
  return std::visit(Getter{}, entry->place(copy));
}

std::string quote_string(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

}  // namespace vorn::solver
