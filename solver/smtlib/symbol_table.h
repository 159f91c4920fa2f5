// SPDX-License-Identifier: MIT
#ifndef VORN_SMTLIB_SYMBOL_TABLE_H
#define VORN_SMTLIB_SYMBOL_TABLE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "solver/smtlib/operators.h"
#include "solver/terms/fetch.h"
#include "solver/terms/term.h"
#include "solver/terms/term_sweep.h"

namespace vorn::solver {

/// A function defined with parameters. The parameters are symbols that occur
/// nowhere else; a use replaces them in the body.
struct Macro {
  /// Symbols of the body, in the order of the arguments.
  std::vector<const Term*> parameters;
  /// What a use stands for.
  const Term* body = nullptr;
  /// The definition as it is written; kNotRecorded unless proofs are kept.
  RecordId written = kNotRecorded;
};

/// What a name stands for: exactly one member is set.
struct Meaning {
  /// A predefined function; kNone if it is none.
  Operator op = Operator::kNone;
  /// A constant, a definition without parameters, a named or a bound term.
  const Term* term = nullptr;
  /// The same as it is written; kNotRecorded unless proofs are kept.
  RecordId written = kNotRecorded;
  /// A definition with parameters.
  std::shared_ptr<const Macro> macro;
};

/// The names of a script: the predefined ones, the declared and defined ones,
/// and on top of those the variables that are bound where the parser stands.
///
/// Cost: every operation O(1) expected, except rollback, O(names that go).
/// Memory: a name and its meaning, and 8 to 16 bytes more.
class SymbolTable {
 public:
  /// A table with the predefined names.
  SymbolTable();

  /// What `name` stands for now, or null. A bound variable hides all else.
  /// Ensures: valid until the next change.
  const Meaning* find(std::string_view name) const;

  /// What `name` stands for outside all binders, or null.
  const Meaning* find_global(std::string_view name) const;

  // Large tables are in no cache. Who knows names ahead says so, for each name
  // one stage after the other, with some time in between: then what `find`
  // looks at has been fetched.

  /// Whether that pays.
  bool is_large() const { return slots_.size() >= kManySlots; }
  /// By which the stages know a name.
  static std::uint32_t hash_of(std::string_view name);
  /// Fetches the place where the name is looked up.
  void fetch_slot(std::uint32_t hash) const {
    fetch(&slots_[hash & (slots_.size() - 1)]);
  }
  /// Then what is said there of the first name with this hash.
  void fetch_meaning(std::uint32_t hash) const {
    const Global* const found = find_hash(hash);
    if (found == nullptr) return;
    // It may lie on two lines of the cache.
    fetch(found);
    fetch(&found->meaning.term);
  }
  /// At last the term that it stands for.
  void fetch_term(std::uint32_t hash) const {
    const Global* const found = find_hash(hash);
    if (found != nullptr) fetch(found->meaning.term);
  }

  /// Gives `name` a meaning until it is rolled back. False, without effect, if
  /// the name has one already.
  bool define(const std::string& name, Meaning meaning);

  /// The sort that define_sort has given this name to, or null.
  /// Ensures: valid until the next change.
  const Sort* find_sort(const std::string& name) const;

  /// Makes `name` another name of a sort until it is rolled back; sorts and
  /// terms may have the same name. False, without effect, if a sort has it.
  bool define_sort(const std::string& name, Sort sort);

  /// The state of the definitions, for rollback. Requires for its use: no
  /// rollback to an earlier one in between.
  std::size_t mark() const { return trail_.size(); }
  /// Takes back the definitions made since the mark.
  void rollback(std::size_t mark);

  /// Keeps the terms that names stand for. Requires: nothing is bound.
  void keep_terms(TermSweep& sweep) const;

  /// Lets `name` stand for `term` until unbound.
  void bind(const std::string& name, const Term* term,
            RecordId written = kNotRecorded);
  /// How many bindings there are, to go back to with unbind_to.
  std::size_t num_bound() const { return bound_.size(); }
  /// Takes back the latest bindings until only `count` are left.
  void unbind_to(std::size_t count);

 private:
  using Locals = std::unordered_map<std::string, std::vector<Meaning>>;

  struct Global {
    std::string name;
    Meaning meaning;
  };
  // The table keeps part of the hash, so that names that do not match are
  // seldom looked at.
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t number = 0;  // position in globals_, plus 1; 0: empty
  };

  static constexpr std::size_t kManySlots = std::size_t{1} << 15;

  // The first with this hash, or null.
  const Global* find_hash(std::uint32_t hash) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t i = hash & mask;
    while (slots_[i].number != 0 && slots_[i].hash != hash) i = (i + 1) & mask;
    return slots_[i].number == 0 ? nullptr : &global(slots_[i].number - 1);
  }
  // The slot of the name, or the empty one that it belongs into.
  std::size_t find_slot(std::string_view name, std::uint32_t hash) const;
  void add_global(const std::string& name, std::uint32_t hash, Meaning meaning);
  void grow();

  static constexpr std::size_t kPerChunk = 256;
  using Chunk = std::vector<Global>;

  Global& global(std::size_t position) {
    return chunks_[position / kPerChunk][position % kPerChunk];
  }
  const Global& global(std::size_t position) const {
    return chunks_[position / kPerChunk][position % kPerChunk];
  }

  // In the order of their definition, kPerChunk in each, so that nothing is
  // moved: growing copies no name, and meanings stay where they are.
  std::vector<Chunk> chunks_;
  std::size_t num_globals_ = 0;
  // Open addressing with linear probing; a power of two, at most half full. The
  // latest name goes first: its slot has passed on no other name.
  std::vector<Slot> slots_;
  std::unordered_map<std::string, Sort> sorts_;
  // What was defined, in order: whether it was a sort; and these.
  std::vector<char> trail_;
  std::vector<std::string> sort_names_;
  // The bindings of a name, innermost last. An emptied list stays until no
  // variable is bound at all, since a `let` in a loop reuses its names.
  Locals locals_;
  std::vector<Locals::value_type*> bound_;  // in order of binding
};

}  // namespace vorn::solver

#endif  // VORN_SMTLIB_SYMBOL_TABLE_H
