// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_CLAUSE_DATABASE_H
#define VORN_SOLVER_SEARCH_CLAUSE_DATABASE_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "solver/search/clause_gate.h"
#include "solver/search/literal.h"

namespace vorn::solver {

/// Position of a clause in its ClauseDatabase, in words.
using ClauseRef = std::uint32_t;

/// View of a clause in a ClauseDatabase; as cheap to copy as a pointer. Any
/// allocation in the database invalidates it.
///
/// Layout, in 32-bit words: size; flags, use counter and glue; activity; then
/// one word for each literal. In front of these stands, of a long clause, where
/// to look first for a literal to watch; and before that the clause's number if
/// clauses have one. `Word` is std::uint32_t or the const of it.
template <typename Word>
class BasicClause {
 public:
  /// Words before the literals.
  static constexpr int kHeaderWords = 3;
  /// Clauses of more literals are long: from their beginning, each visit would
  /// pass the same false literals again, quadratic work in all (Gent 2013,
  /// "Optimal implementation of watched literals and more general techniques").
  /// In shorter ones the first literals are the better ones to watch; with 16
  /// here, a protocol unrolled step by step met a third more conflicts.
  static constexpr int kMaxShort = 250;
  /// Largest use counter.
  static constexpr int kMaxUse = 3;

  /// Largest glue that is told apart.
  static constexpr int kMaxGlue = (1 << 24) - 1;

  /// A view of the clause whose words begin here.
  explicit BasicClause(Word* words) : words_(words) {}

  /// Number of literals.
  int size() const { return static_cast<int>(words_[0]); }
  /// Requires: 0 <= position < size().
  Literal operator[](int position) const {
    assert(position >= 0 && position < size());
    return Literal::from_code(
        static_cast<int>(words_[kHeaderWords + position]));
  }
  /// Puts a literal in. Requires: 0 <= position < size().
  void set(int position, Literal literal) const {
    assert(position >= 0 && position < size());
    words_[kHeaderWords + position] = static_cast<Word>(literal.code());
  }
  /// Exchanges the literals at two positions.
  void swap(int a, int b) const {
    const Literal moved = (*this)[a];
    set(a, (*this)[b]);
    set(b, moved);
  }

  /// May be deleted when the search finds it useless.
  bool is_learnt() const { return (words_[1] & kLearntBit) != 0; }
  /// Came as a lemma of the theory.
  bool is_lemma() const { return (words_[1] & kLemmaBit) != 0; }
  /// Notes that it did.
  void set_lemma() const { words_[1] |= kLemmaBit; }
  /// Deleted: its words are waste, readable until the next garbage collection.
  bool is_deleted() const { return (words_[1] & kDeletedBit) != 0; }
  /// Moved by the garbage collection under way.
  bool is_moved() const { return (words_[1] & kMovedBit) != 0; }

  /// Has a place of its own where the last search for a literal ended.
  bool is_long() const { return (words_[1] & kLongBit) != 0; }
  /// Where to look first for a literal to watch, then go round.
  /// Ensures: 2 <= result < size(), or 2 if there is none to find.
  int first_to_try() const {
    return is_long() ? static_cast<int>(words_[-1]) : 2;
  }
  /// Notes where such a search ended. Requires: 2 <= position < size().
  void set_first_to_try(int position) const {
    assert(position >= 2 && position < size());
    if (is_long()) words_[-1] = static_cast<Word>(position);
  }

  /// Number of levels among the literals, at the least seen so far.
  int glue() const { return static_cast<int>(words_[1] >> kGlueShift); }
  /// Notes the glue; beyond kMaxGlue it counts as that.
  void set_glue(int glue) const {
    const int bounded = glue < kMaxGlue ? glue : kMaxGlue;
    words_[1] = (words_[1] & ((std::uint32_t{1} << kGlueShift) - 1)) |
                static_cast<std::uint32_t>(bounded) << kGlueShift;
  }

  /// Reductions that the clause survives without being used, up to kMaxUse.
  int use() const { return static_cast<int>(words_[1] >> kUseShift) & kMaxUse; }
  /// Requires: 0 <= use <= kMaxUse.
  void set_use(int use) const {
    assert(use >= 0 && use <= kMaxUse);
    words_[1] = (words_[1] & ~(std::uint32_t{kMaxUse} << kUseShift)) |
                static_cast<std::uint32_t>(use) << kUseShift;
  }

  /// How much the clause has taken part in recent conflicts.
  float activity() const {
    float result;
    std::memcpy(&result, words_ + 2, sizeof result);
    return result;
  }
  /// Sets what activity() returns.
  void set_activity(float activity) const {
    std::memcpy(words_ + 2, &activity, sizeof activity);
  }

 private:
  friend class ClauseDatabase;

  static constexpr std::uint32_t kLearntBit = 1;
  static constexpr std::uint32_t kDeletedBit = 2;
  static constexpr std::uint32_t kMovedBit = 4;
  static constexpr int kUseShift = 3;
  static constexpr std::uint32_t kLemmaBit = 32;
  static constexpr std::uint32_t kLongBit = 64;
  static constexpr int kGlueShift = 8;

  Word* words_;
};

using Clause = BasicClause<std::uint32_t>;
using ConstClause = BasicClause<const std::uint32_t>;

/// All clauses of a search, in one array of words.
///
/// Deleting a clause only marks it. To win the space back, the caller drops
/// its references to deleted clauses, then calls begin_collection, passes every
/// remaining reference through `moved`, and calls end_collection.
///
/// Cost: add amortised linear in the clause; remove O(1); a collection linear
/// in the clauses that stay, with both copies alive until its end.
class ClauseDatabase {
 public:
  /// Requires: at least one literal; below 2^31 words in all, beyond which
  /// std::bad_alloc is thrown. Invalidates views, not references.
  ClauseRef add(const std::vector<Literal>& literals, bool learnt, int glue,
                ClauseNumber number = 0);

  /// Clauses have numbers from now on, for a word each.
  /// Requires: there are no clauses yet.
  void keep_numbers() { number_words_ = 1; }
  /// The clause's number; 0 if clauses have none.
  ClauseNumber number(ClauseRef ref) const;
  /// Gives a clause another number, if clauses have them.
  void set_number(ClauseRef ref, ClauseNumber number);

  /// Requires: `ref` is not deleted yet.
  void remove(ClauseRef ref);
  /// Drops the literals from position `size` on.
  /// Requires: `ref` is not deleted; 1 <= size <= the clause's.
  void shrink(ClauseRef ref, int size);

  /// A view of a clause, valid until the next add or collection.
  /// Requires: `ref` came from add, or from moved in the last collection.
  Clause operator[](ClauseRef ref) {
    assert(ref < words_.size());
    return Clause(words_.data() + ref);
  }
  /// The same, to look at.
  ConstClause operator[](ClauseRef ref) const {
    assert(ref < words_.size());
    return ConstClause(words_.data() + ref);
  }

  /// Words of all clauses, deleted ones included.
  std::size_t num_words() const { return words_.size(); }
  /// Words of deleted clauses.
  std::size_t num_wasted_words() const { return wasted_; }
  /// Whether so much is waste that a collection pays.
  bool wants_collection() const { return wasted_ > words_.size() / 4; }

  /// Starts a collection. Requires: none is under way.
  void begin_collection();
  /// The reference after the collection of the clause at `ref`. Clauses are
  /// laid out in the order of their first mention here.
  /// Requires: a collection is under way; the clause is not deleted.
  ClauseRef moved(ClauseRef ref);
  /// Ensures: only the clauses passed to `moved` are left; nothing wasted.
  void end_collection();

 private:
  // In front of what a reference points to.
  std::size_t words_before(bool is_long) const {
    return number_words_ + (is_long ? 1 : 0);
  }
  std::size_t words_of(Clause clause) const {
    return words_before(clause.is_long()) +
           static_cast<std::size_t>(Clause::kHeaderWords + clause.size());
  }
  std::size_t number_place(ClauseRef ref) const {
    return ref - words_before((*this)[ref].is_long());
  }

  std::size_t number_words_ = 0;
  std::vector<std::uint32_t> words_;
  std::vector<std::uint32_t> target_;  // empty outside of collections
  std::size_t wasted_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_CLAUSE_DATABASE_H
