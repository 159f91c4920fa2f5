// SPDX-License-Identifier: MIT
#include "solver/smtlib/symbol_table.h"

#include <utility>

#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

// Beyond this many names the table of bound variables is thrown away when it
// is not in use: clearing it would cost its greatest size each time.
constexpr std::size_t kKeptLocals = 4096;

}  // namespace

SymbolTable::SymbolTable() {
  for (const auto& [name, op] : kOperatorNames) {
    globals_[std::string(name)].op = op;
  }
}

const Meaning* SymbolTable::find(const std::string& name) const {
  if (!bound_.empty()) {
    const auto local = locals_.find(name);
    if (local != locals_.end() && !local->second.empty()) {
      return &local->second.back();
    }
  }
  return find_global(name);
}

const Meaning* SymbolTable::find_global(const std::string& name) const {
  const auto global = globals_.find(name);
  return global == globals_.end() ? nullptr : &global->second;
}

bool SymbolTable::define(const std::string& name, Meaning meaning) {
  // The trail first: should the table then run out of memory, a rollback
  // erases a name that is not there.
  if (globals_.count(name) != 0) return false;
  trail_.push_back({name, false});
  globals_.emplace(name, std::move(meaning));
  return true;
}

const Sort* SymbolTable::find_sort(const std::string& name) const {
  const auto found = sorts_.find(name);
  return found == sorts_.end() ? nullptr : &found->second;
}

bool SymbolTable::define_sort(const std::string& name, Sort sort) {
  for (const Sort predefined : {Sort::kBool, Sort::kInt, Sort::kReal}) {
    if (name == print_sort(predefined)) return false;
  }
  if (sorts_.count(name) != 0) return false;
  trail_.push_back({name, true});
  sorts_.emplace(name, sort);
  return true;
}

void SymbolTable::rollback(std::size_t mark) {
  while (trail_.size() > mark) {
    const Defined& last = trail_.back();
    if (last.is_sort) {
      sorts_.erase(last.name);
    } else {
      globals_.erase(last.name);
    }
    trail_.pop_back();
  }
}

void SymbolTable::keep_terms(TermSweep& sweep) const {
  for (const Defined& defined : trail_) {
    if (defined.is_sort) continue;
    const Meaning& meaning = globals_.at(defined.name);
    sweep.keep(meaning.term);
    if (meaning.macro == nullptr) continue;
    sweep.keep(meaning.macro->parameters);
    sweep.keep(meaning.macro->body);
  }
}

void SymbolTable::bind(const std::string& name, const Term* term,
                       RecordId written) {
  Locals::value_type& local = *locals_.try_emplace(name).first;
  bound_.push_back(&local);
  Meaning& meaning = local.second.emplace_back();
  meaning.term = term;
  meaning.written = written;
}

void SymbolTable::unbind_to(std::size_t count) {
  while (bound_.size() > count) {
    bound_.back()->second.pop_back();
    bound_.pop_back();
  }
  if (count == 0 && locals_.size() > kKeptLocals) locals_ = Locals();
}

}  // namespace vorn::solver
