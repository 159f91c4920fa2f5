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

TermId expand(Terms& terms, const Macro& macro,
              const std::vector<TermId>& arguments) {
  std::unordered_map<TermId, TermId> replaced;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    replaced[macro.parameters[i]] = arguments[i];
  }
  for (const TermId term : subterms(terms, {macro.body})) {
    std::vector<TermId> parts = terms.args(term);
    for (TermId& part : parts) part = replaced.at(part);
    replaced.emplace(term,
                     parts.empty() ? term : terms.make(terms.op(term), parts));
  }
  return replaced.at(macro.body);
}

}  // namespace vorn::checker
