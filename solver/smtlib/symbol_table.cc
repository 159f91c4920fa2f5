// SPDX-License-Identifier: MIT
#include "solver/smtlib/symbol_table.h"

#include <functional>
#include <utility>

#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

// Beyond this many names the table of bound variables is thrown away when it
// is not in use: clearing it would cost its greatest size each time.
constexpr std::size_t kKeptLocals = 4096;

constexpr std::size_t kFirstSlots = 256;

// Makes the next push_back one that cannot fail.
template <class T>
void make_room(std::vector<T>& list) {
  if (list.size() == list.capacity()) list.reserve(2 * list.size() + 1);
}

}  // namespace

SymbolTable::SymbolTable() : slots_(kFirstSlots) {
  for (const auto& [name, op] : kOperatorNames) {
    Meaning meaning;
    meaning.op = op;
    add_global(std::string(name), hash_of(name), std::move(meaning));
  }
}

std::uint32_t SymbolTable::hash_of(std::string_view name) {
  const std::size_t hash = std::hash<std::string_view>()(name);
  return static_cast<std::uint32_t>(hash ^ (hash >> 32U));
}

std::size_t SymbolTable::find_slot(std::string_view name,
                                   std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash & mask;
  while (slots_[i].number != 0 && (slots_[i].hash != hash ||
                                   global(slots_[i].number - 1).name != name)) {
    i = (i + 1) & mask;
  }
  return i;
}

void SymbolTable::grow() {
  std::vector<std::uint32_t> hashes(num_globals_);
  for (const Slot& slot : slots_) {
    if (slot.number != 0) hashes[slot.number - 1] = slot.hash;
  }
  // In their order, so that the latest are behind the others still.
  slots_ = std::vector<Slot>(2 * slots_.size());
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t k = 0; k < hashes.size(); ++k) {
    std::size_t i = hashes[k] & mask;
    while (slots_[i].number != 0) i = (i + 1) & mask;
    slots_[i] = {hashes[k], static_cast<std::uint32_t>(k + 1)};
  }
}

void SymbolTable::add_global(const std::string& name, std::uint32_t hash,
                             Meaning meaning) {
  if (2 * (num_globals_ + 1) > slots_.size()) grow();
  if (num_globals_ == chunks_.size() * kPerChunk) {
    Chunk chunk;
    chunk.reserve(kPerChunk);
    chunks_.push_back(std::move(chunk));
  }
  chunks_[num_globals_ / kPerChunk].push_back({name, std::move(meaning)});
  ++num_globals_;
  slots_[find_slot(name, hash)] = {hash,
                                   static_cast<std::uint32_t>(num_globals_)};
}

const Meaning* SymbolTable::find(std::string_view name) const {
  if (!bound_.empty()) {
    const auto local = locals_.find(std::string(name));
    if (local != locals_.end() && !local->second.empty()) {
      return &local->second.back();
    }
  }
  return find_global(name);
}

const Meaning* SymbolTable::find_global(std::string_view name) const {
  const Slot& slot = slots_[find_slot(name, hash_of(name))];
  return slot.number == 0 ? nullptr : &global(slot.number - 1).meaning;
}

bool SymbolTable::define(const std::string& name, Meaning meaning) {
  const std::uint32_t hash = hash_of(name);
  if (slots_[find_slot(name, hash)].number != 0) return false;
  make_room(trail_);
  add_global(name, hash, std::move(meaning));
  trail_.push_back(0);
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
  make_room(trail_);
  make_room(sort_names_);
  sort_names_.push_back(name);
  // Should the table run out of memory, a rollback erases a name that is not
  // there.
  trail_.push_back(1);
  sorts_.emplace(name, sort);
  return true;
}

void SymbolTable::rollback(std::size_t mark) {
  while (trail_.size() > mark) {
    if (trail_.back() == 0) {
      const std::string& name = global(num_globals_ - 1).name;
      slots_[find_slot(name, hash_of(name))] = Slot();
      --num_globals_;
      chunks_[num_globals_ / kPerChunk].pop_back();
      // One empty chunk stays, for those who come and go.
      if (num_globals_ + 2 * kPerChunk <= chunks_.size() * kPerChunk) {
        chunks_.pop_back();
      }
    } else {
      sorts_.erase(sort_names_.back());
      sort_names_.pop_back();
    }
    trail_.pop_back();
  }
}

void SymbolTable::keep_terms(TermSweep& sweep) const {
  for (std::size_t k = 0; k < num_globals_; ++k) {
    const Meaning& meaning = global(k).meaning;
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
