// SPDX-License-Identifier: MIT
#include "checker/symbols.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace vorn::checker {

Symbols::Symbols(const Terms& terms) {
  for (const char* name : {"not", "and", "or", "xor", "=>", "=", "distinct",
                           "ite", "<=", "<", ">=", ">", "+", "-", "*", "/"}) {
    Meaning meaning;
    meaning.op = find_op(name);
    bind(name, meaning);
  }
  for (const bool value : {false, true}) {
    Meaning meaning;
    meaning.term = terms.boolean(value);
    bind(value ? "true" : "false", meaning);
  }
  hidden_.clear();
}

Meaning Symbols::find(std::string_view name) {
  const NameId id = names_.intern(name);
  return id < meanings_.size() ? meanings_[id] : Meaning();
}

void Symbols::bind(std::string_view name, Meaning meaning) {
  const NameId id = names_.intern(name);
  if (id >= meanings_.size()) meanings_.resize(names_.size());
  hidden_.emplace_back(id, meanings_[id]);
  meanings_[id] = meaning;
}

void Symbols::unbind_to(std::size_t count) {
  for (; hidden_.size() > count; hidden_.pop_back()) {
    meanings_[hidden_.back().first] = hidden_.back().second;
  }
}

std::size_t Symbols::add_macro(Macro macro) {
  macros_.push_back(std::move(macro));
  return macros_.size();
}

std::vector<TermId> subterms(const Terms& terms,
                             const std::vector<TermId>& roots) {
  std::unordered_set<TermId> seen(roots.begin(), roots.end());
  std::vector<TermId> found(seen.begin(), seen.end());
  for (std::size_t next = 0; next < found.size(); ++next) {
    for (std::size_t i = 0; i < terms.num_args(found[next]); ++i) {
      const TermId argument = terms.arg(found[next], i);
      if (seen.insert(argument).second) found.push_back(argument);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

Macro make_macro(const Terms& terms, std::vector<TermId> parameters,
                 TermId body) {
  Macro macro;
  macro.body = body;
  std::unordered_set<TermId> open(parameters.begin(), parameters.end());
  for (const TermId term : subterms(terms, {body})) {
    bool is_open = false;
    for (std::size_t i = 0; i < terms.num_args(term); ++i) {
      is_open = is_open || open.count(terms.arg(term, i)) > 0;
    }
    if (!is_open) continue;
    open.insert(term);
    macro.open_subterms.push_back(term);
  }
  macro.parameters = std::move(parameters);
  return macro;
}

TermId expand(Terms& terms, const Macro& macro,
              const std::vector<TermId>& arguments) {
  std::unordered_map<TermId, TermId> replaced;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    replaced[macro.parameters[i]] = arguments[i];
  }
  const auto replacement = [&replaced](TermId term) {
    const auto found = replaced.find(term);
    return found == replaced.end() ? term : found->second;
  };
  for (const TermId term : macro.open_subterms) {
    std::vector<TermId> parts = terms.args(term);
    std::transform(parts.begin(), parts.end(), parts.begin(), replacement);
    replaced[term] = terms.make(terms.op(term), parts);
  }
  return replacement(macro.body);
}

}  // namespace vorn::checker
