// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_TERM_SWEEP_H
#define VORN_SOLVER_TERMS_TERM_SWEEP_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "solver/terms/term.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {

/// Frees the terms of a store that nobody needs any more. Who holds terms takes
/// part in three steps:
///  1. keep() is told of each term that is needed for itself; then spread();
///  2. tables that would only like to remember drop what is not is_kept();
///  3. finish() frees the others, and gives new ids to those that stay, in
///     their order; who has noted ids asks new_id().
/// What ends before finish() has changed nothing in the store.
///
/// Cost: linear in the terms there are. A byte a term, and in finish() a second
/// index and the arguments of what stays once more.
/// Ownership: borrows the store, in which no term is made meanwhile.
/// Errors: only exhausted memory, and then the store is as it was.
class TermSweep {
 public:
  /// Nothing is kept but true and false.
  explicit TermSweep(TermStore& store);
  TermSweep(const TermSweep&) = delete;
  TermSweep& operator=(const TermSweep&) = delete;

  /// Keeps a term, null for none.
  void keep(const Term* term) {
    if (term != nullptr) kept_[term->id] = 1;
  }
  /// The same for the term with this id.
  void keep_id(std::uint64_t id) { kept_[id] = 1; }
  /// Keeps each of them.
  void keep(const std::vector<const Term*>& terms) {
    for (const Term* term : terms) keep(term);
  }
  /// Keeps what is part of kept terms as well.
  void spread();
  /// Whether a term stays; null does. Requires: spread() was called, finish()
  /// was not.
  bool is_kept(const Term* term) const {
    return term == nullptr || kept_[term->id] != 0;
  }

  /// Takes out of a map by term what is not kept. Requires: as is_kept.
  template <class Map>
  void drop_from(Map& map) const {
    for (auto entry = map.begin(); entry != map.end();) {
      entry = is_kept(entry->first) ? std::next(entry) : map.erase(entry);
    }
  }

  /// Frees what is not kept. Requires: spread() was called.
  void finish();
  /// The id of the term that had this one and was kept.
  /// Requires: finish() was called.
  std::uint64_t new_id(std::uint64_t id) const {
    assert(new_ids_[id] != TermStore::kNoId);
    return new_ids_[id];
  }

 private:
  TermStore& store_;
  std::vector<char> kept_;  // by id
  std::vector<std::uint32_t> new_ids_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_TERM_SWEEP_H
