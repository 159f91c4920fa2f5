// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_TERMS_TERM_STORE_H
#define VORN_SOLVER_TERMS_TERM_STORE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "solver/terms/term.h"
#include "vorn/services/term_manager.h"

namespace vorn::solver {

/// Makes and owns terms, sharing equal ones (hash-consing). It is also the
/// term manager that a difference-logic graph builds its lemmas with, and the
/// one to copy from when embedding the graph into another solver.
///
/// What the graph relies on, and what a term manager of your own must keep:
///  - equal calls of its functions give the same pointer: the graph's filter of
///  repeated lemmas
///    compares clauses by pointer and hashes them by `id`;
///  - make_number of equal numbers gives the same term, whatever the numbers'
///    inner form;
///  - make_not may be handed a negation: make_not(make_not(t)) should be t, or
///    lemmas grow a layer each time they pass through;
///  - terms stay valid as long as the graph holds lemmas over them.
///
/// Simplification is local and keeps atoms recognisable. These are rewritten:
///  - and, or: constants and repeated arguments go; none left is true or false,
///    one left is that argument; nested conjunctions are not flattened;
///  - not, xor, implies over constants or over one term twice;
///  - equal: one term twice is true, two numbers compare, a Boolean constant
///    selects the other side or its negation;
///  - distinct: a repeated argument, or three Boolean ones, is false; numbers
///    alone compare;
///  - ite: a constant condition selects, equal branches need no condition;
///  - leq, less over two numbers; plus and times over numbers alone.
/// Nothing else: x <= x, x + 0 and 1 * x stay as written, since the layers
/// above recognise atoms by shape and normalise them themselves.
///
/// Sorts: in a real-arithmetic problem a number of sort kInt may stand beside
/// real terms. A sum, product or ite is kReal when an argument is.
///
/// Requires, everywhere: argument terms were made by this store.
/// Cost: making a term is O(arguments) expected, plus now and then growth of
/// the index; no operation depends on the depth of a term.
/// Ownership: owns every term until it is destroyed or a TermSweep finds that
/// the term is not needed; no pointer to a term ever moves.
/// Threads: none. If an allocation fails, the store stays as it was.
class TermStore final : public TermManager {
 public:
  TermStore();
  ~TermStore() override;
  TermStore(const TermStore&) = delete;
  TermStore& operator=(const TermStore&) = delete;

  // The interface that the graph calls.

  /// The number, of sort kInt when it is integral and kReal otherwise.
  const Term* make_number(const QNumber& value) override;
  const Term* make_plus(const Term_* a, const Term_* b) override;
  const Term* make_leq(const Term_* a, const Term_* b) override;
  const Term* make_not(const Term_* term) override;
  const Term* make_or(const Term_* a, const Term_* b) override;

  // Leaves.

  /// Requires: sort is kInt and the value integral, or sort is kReal. The two
  /// sorts give different terms.
  const Term* make_number(const QNumber& value, Sort sort);

  /// The symbol of this name and sort; the same pair gives the same term.
  /// Requires: the name has no '|' and no '\', which SMT-LIB cannot spell.
  const Term* make_symbol(const std::string& name, Sort sort);

  /// A symbol that no other call gives, not even make_symbol with its name
  /// later on. The name starts with `prefix` and is that of no symbol so far.
  const Term* make_fresh_symbol(const std::string& prefix, Sort sort);

  /// The constant of this value.
  const Term* make_bool(bool value) const { return value ? true_ : false_; }

  // Boolean structure. Requires: Boolean arguments.

  /// The conjunction; of no terms it is true.
  const Term* make_and(const std::vector<const Term*>& terms);
  /// The disjunction; of no terms it is false.
  const Term* make_or(const std::vector<const Term*>& terms);
  /// Either a or b.
  const Term* make_xor(const Term* a, const Term* b);
  /// b whenever a.
  const Term* make_implies(const Term* a, const Term* b);

  // Over both. Requires: the arguments (for ite, the branches) are all Boolean
  // or all arithmetic; a condition is Boolean.

  /// a = b; over Booleans, equivalence.
  const Term* make_equal(const Term* a, const Term* b);
  /// True when the terms differ pairwise. Requires: at least two terms.
  const Term* make_distinct(const std::vector<const Term*>& terms);
  /// The one if the condition is true, else the other.
  const Term* make_ite(const Term* condition, const Term* then_term,
                       const Term* else_term);

  // Arithmetic. Requires: arithmetic arguments.

  /// a < b.
  const Term* make_less(const Term* a, const Term* b);
  /// The sum; of one term it is that term. Requires: at least one term.
  const Term* make_plus(const std::vector<const Term*>& terms);
  /// a * b.
  const Term* make_times(const Term* a, const Term* b);
  /// -1 * term, the factor first.
  const Term* make_negate(const Term* term);

  // Terms that nothing shares, for the many assertions that state a bound each.
  // Equal calls give different terms, and no other call gives one of them.
  // Cost: no look at the index, and no place in it.

  /// Requires: as for make_number.
  const Term* make_unshared_number(const QNumber& value, Sort sort) {
    return make_new({Kind::kNumber, sort, nullptr, 0, &value});
  }
  /// a `kind` b. Requires: arithmetic arguments, not two numbers; kPlus, with
  /// the sort of both, or kLeq or kLess, with kBool.
  const Term* make_unshared(Kind kind, Sort sort, const Term* a,
                            const Term* b) {
    const Term* args[] = {a, b};
    return make_new({kind, sort, args, 2});
  }

  /// How many terms there are; their ids are 0 to size() - 1 in the order in
  /// which they were made.
  std::size_t size() const { return size_; }
  /// How many of these were there after the last sweep; 0 before the first.
  std::size_t size_when_swept() const { return size_when_swept_; }

  /// The term of this id. Requires: id < size(). Cost: O(1).
  const Term* term(std::uint64_t id) const;

 private:
  friend class TermSweep;

  static constexpr std::uint32_t kNoId = 0xFFFFFFFF;

  // What a term would look like, for the index to find or to make.
  struct Shape {
    Kind kind;
    Sort sort;
    const Term* const* args = nullptr;
    std::size_t num_args = 0;
    const QNumber* number = nullptr;
    const std::string* name = nullptr;
  };

  // The index keeps part of the hash, so that most slots that do not match are
  // passed without touching their terms, and growing touches no term at all.
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t number = 0;  // the term's id plus one; 0: the slot is empty
  };

  static constexpr std::size_t kTermsPerChunk = 4096;
  static constexpr std::size_t kArgsPerChunk = 16384;

  // Whether the term was made here; for assertions.
  bool owns(const Term_* term) const;
  static std::uint32_t hash_of(const Shape& shape);
  static bool matches(const Term& term, const Shape& shape);
  // The slot that holds a term of this shape, or the empty one it belongs into.
  std::size_t find_slot(const Shape& shape, std::uint32_t hash) const;
  const Term* find(const Shape& shape) const;
  const Term* find_or_make(const Shape& shape);
  // Makes the term, of which there is none yet, without entering it.
  const Term* make_new(const Shape& shape);
  void grow_index();
  const Term* const* copy_args(const Term* const* args, std::size_t count);
  Term& new_place();
  static Shape shape_of(const Term& term);
  // Frees the terms of which `kept`, by id, is 0. Returns the others' new ids,
  // by the old ones. Requires: what is kept has its arguments kept.
  std::vector<std::uint32_t> drop_others(const std::vector<char>& kept);

  const Term* make_binary(Kind kind, Sort sort, const Term* a, const Term* b);
  const Term* make_nary(Kind kind, Sort sort,
                        const std::vector<const Term*>& terms);
  const Term* make_junction(Kind kind, const Term* const* terms,
                            std::size_t count);
  // Requires: count > 0.
  const Term* do_make_plus(const Term* const* terms, std::size_t count);
  const Term* pick_branch(const Term* branch, Sort sort);

  std::vector<std::unique_ptr<Term[]>> chunks_;  // kTermsPerChunk each
  std::size_t size_ = 0;
  // Before the first sweep terms lie in the order of their ids.
  bool is_swept_ = false;
  std::size_t size_when_swept_ = 0;
  std::vector<Term*> terms_;        // by id, once swept
  std::size_t num_places_ = 0;      // of the chunks, used at some time
  std::vector<Term*> free_places_;  // of these, by swept terms
  std::vector<std::unique_ptr<const Term*[]>> arg_chunks_;
  const Term** free_args_ = nullptr;  // the unused rest of a chunk
  std::size_t num_free_args_ = 0;
  // Deques, because terms point at the elements. What swept terms had is used
  // again.
  std::deque<QNumber> numbers_;
  std::deque<std::string> names_;
  std::vector<QNumber*> free_numbers_;
  std::vector<std::string*> free_names_;
  // Open addressing with linear probing; a power of two, at most 2/3 full.
  // Fresh symbols and unshared terms are not in it.
  std::vector<Slot> index_;
  std::size_t num_indexed_ = 0;
  // By a symbol's id, that of its negation plus 1; 0 if there is none here.
  std::vector<std::uint32_t> negations_;
  std::uint64_t num_fresh_ = 0;
  const Term* true_ = nullptr;
  const Term* false_ = nullptr;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_TERMS_TERM_STORE_H
