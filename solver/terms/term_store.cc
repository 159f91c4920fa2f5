// SPDX-License-Identifier: MIT
#include "solver/terms/term_store.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <limits>
#include <new>
#include <unordered_set>

// Every maker folds, describes what is left as a Shape and asks the index for
// it. The index is a table of (part of the hash, id) pairs with linear probing.
// A shape is compared by its parts alone: its arguments are shared already, so
// comparing their pointers compares them whole, and no operation walks down a
// term. Terms are removed in bulk, and then the table is built anew; so it
// needs no tombstones.
//
// Terms lie in chunks of fixed size, which keeps them in place, and makes them
// addressable by id until some are removed; argument lists lie in chunks of
// pointers beside them.

namespace vorn::solver {
namespace {

constexpr std::size_t kFirstIndexSize = 1024;

// Up to this many arguments are compared pair by pair; a set pays off later.
constexpr std::size_t kFewArgs = 8;

std::uint64_t mix(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ value) * 0x9E3779B97F4A7C15U;
  return hash ^ (hash >> 29);
}

const Term* as_term(const Term_* term) {
  return static_cast<const Term*>(term);
}

bool is_number(const Term* term) {
  return term->kind == Kind::kNumber;
}

bool all_numbers(const Term* const* terms, std::size_t count) {
  return std::all_of(terms, terms + count, is_number);
}

// The sort of a sum, product or ite over these two.
Sort join(Sort a, Sort b) {
  assert((a == Sort::kBool) == (b == Sort::kBool));
  return a == b ? a : Sort::kReal;
}

// Copies `terms` to `out` without `dropped` and without repetitions, in order
// of first occurrence.
void copy_without_repetition(const Term* const* terms, std::size_t count,
                             const Term* dropped,
                             std::vector<const Term*>& out) {
  std::unordered_set<const Term*> seen;
  for (std::size_t i = 0; i < count; ++i) {
    if (terms[i] == dropped) continue;
    const bool is_new = count <= kFewArgs ? std::find(out.begin(), out.end(),
                                                      terms[i]) == out.end()
                                          : seen.insert(terms[i]).second;
    if (is_new) out.push_back(terms[i]);
  }
}

bool has_repetition(const std::vector<const Term*>& terms) {
  std::vector<const Term*> kept;
  copy_without_repetition(terms.data(), terms.size(), nullptr, kept);
  return kept.size() < terms.size();
}

bool all_values_differ(const std::vector<const Term*>& numbers) {
  std::vector<const Term*> sorted = numbers;
  std::sort(sorted.begin(), sorted.end(), [](const Term* a, const Term* b) {
    return a->number() < b->number();
  });
  return std::adjacent_find(sorted.begin(), sorted.end(),
                            [](const Term* a, const Term* b) {
                              return a->number() == b->number();
                            }) == sorted.end();
}

// The capacity that makes growing by one cheap.
template <class T>
std::size_t next_capacity(const std::vector<T>& list) {
  return list.size() < list.capacity() ? list.capacity() : 2 * list.size() + 1;
}

// Puts the value where one was freed, or behind the others.
template <class T>
T* keep_in(const T& value, std::deque<T>& all, std::vector<T*>& freed) {
  if (freed.empty()) {
    all.push_back(value);
    return &all.back();
  }
  T* place = freed.back();
  *place = value;
  freed.pop_back();
  return place;
}

}  // namespace

TermStore::TermStore() : index_(kFirstIndexSize) {
  true_ = find_or_make({Kind::kTrue, Sort::kBool});
  false_ = find_or_make({Kind::kFalse, Sort::kBool});
}

TermStore::~TermStore() = default;

const Term* TermStore::term(std::uint64_t id) const {
  assert(id < size_);
  if (is_swept_) return terms_[id];
  return &chunks_[id / kTermsPerChunk][id % kTermsPerChunk];
}

bool TermStore::owns(const Term_* term) const {
  return term != nullptr && term->id < size_ && this->term(term->id) == term;
}

// --- The index ---

std::uint32_t TermStore::hash_of(const Shape& shape) {
  std::uint64_t hash = mix(static_cast<std::uint64_t>(shape.kind) + 1,
                           static_cast<std::uint64_t>(shape.sort));
  for (std::size_t i = 0; i < shape.num_args; ++i) {
    hash = mix(hash, shape.args[i]->id);
  }
  if (shape.number != nullptr) {
    hash = mix(hash, std::hash<QNumber>()(*shape.number));
  }
  if (shape.name != nullptr) {
    hash = mix(hash, std::hash<std::string>()(*shape.name));
  }
  return static_cast<std::uint32_t>(mix(hash, hash >> 32) >> 32);
}

bool TermStore::matches(const Term& term, const Shape& shape) {
  if (term.kind != shape.kind || term.sort != shape.sort ||
      term.num_args != shape.num_args) {
    return false;
  }
  if (shape.number != nullptr) return term.number() == *shape.number;
  if (shape.name != nullptr) return term.name() == *shape.name;
  return std::equal(shape.args, shape.args + shape.num_args, term.args());
}

std::size_t TermStore::find_slot(const Shape& shape, std::uint32_t hash) const {
  const std::size_t mask = index_.size() - 1;
  std::size_t i = hash & mask;
  while (index_[i].number != 0) {
    if (index_[i].hash == hash && matches(*term(index_[i].number - 1), shape)) {
      break;
    }
    i = (i + 1) & mask;
  }
  return i;
}

const Term* TermStore::find(const Shape& shape) const {
  const Slot& slot = index_[find_slot(shape, hash_of(shape))];
  return slot.number == 0 ? nullptr : term(slot.number - 1);
}

const Term* TermStore::find_or_make(const Shape& shape) {
  const std::uint32_t hash = hash_of(shape);
  std::size_t i = find_slot(shape, hash);
  if (index_[i].number != 0) return term(index_[i].number - 1);
  if ((num_indexed_ + 1) * 3 > index_.size() * 2) {
    grow_index();
    i = find_slot(shape, hash);
  }
  const Term* made = make_new(shape);
  index_[i] = {hash, static_cast<std::uint32_t>(made->id + 1)};
  ++num_indexed_;
  return made;
}

void TermStore::grow_index() {
  std::vector<Slot> grown(index_.size() * 2);
  const std::size_t mask = grown.size() - 1;
  for (const Slot& slot : index_) {
    if (slot.number == 0) continue;
    std::size_t i = slot.hash & mask;
    while (grown[i].number != 0) i = (i + 1) & mask;
    grown[i] = slot;
  }
  index_.swap(grown);
}

const Term* TermStore::make_new(const Shape& shape) {
  // A slot holds the id plus one, and a term the number of its arguments, in
  // 32 bits. So many terms or arguments take more than a hundred gigabytes:
  // the limit is one of memory and is reported as such.
  constexpr std::size_t kLimit = std::numeric_limits<std::uint32_t>::max();
  if (size_ + 1 >= kLimit || shape.num_args > kLimit) throw std::bad_alloc();

  Term& made = new_place();
  if (is_swept_) terms_.reserve(next_capacity(terms_));
  if (shape.number != nullptr) {
    made.payload_.number = keep_in(*shape.number, numbers_, free_numbers_);
  } else if (shape.name != nullptr) {
    made.payload_.name = keep_in(*shape.name, names_, free_names_);
  } else {
    made.payload_.args = copy_args(shape.args, shape.num_args);
  }
  made.id = size_;
  made.kind = shape.kind;
  made.sort = shape.sort;
  made.num_args = static_cast<std::uint32_t>(shape.num_args);
  if (free_places_.empty()) {
    ++num_places_;
  } else {
    free_places_.pop_back();
  }
  if (is_swept_) terms_.push_back(&made);
  ++size_;
  return &made;
}

// Where the next term belongs, which is not taken before the term is whole.
Term& TermStore::new_place() {
  if (!free_places_.empty()) return *free_places_.back();
  if (num_places_ == chunks_.size() * kTermsPerChunk) {
    // Not make_unique: the constructor is open to the store alone.
    chunks_.push_back(std::unique_ptr<Term[]>(new Term[kTermsPerChunk]));
  }
  return chunks_[num_places_ / kTermsPerChunk][num_places_ % kTermsPerChunk];
}

TermStore::Shape TermStore::shape_of(const Term& term) {
  Shape shape{term.kind, term.sort};
  if (term.kind == Kind::kNumber) {
    shape.number = term.payload_.number;
  } else if (term.kind == Kind::kSymbol) {
    shape.name = term.payload_.name;
  } else {
    shape.args = term.args();
    shape.num_args = term.num_args;
  }
  return shape;
}

std::vector<std::uint32_t> TermStore::drop_others(
    const std::vector<char>& kept) {
  // All that can fail comes first.
  std::size_t num_kept = 0;
  std::size_t num_args = 0;
  std::size_t num_numbers = 0;
  std::size_t num_names = 0;
  for (std::size_t id = 0; id < size_; ++id) {
    const Term* term = this->term(id);
    if (kept[id] != 0) {
      ++num_kept;
      num_args += term->num_args;
    } else if (term->kind == Kind::kNumber) {
      ++num_numbers;
    } else if (term->kind == Kind::kSymbol) {
      ++num_names;
    }
  }
  std::vector<std::uint32_t> new_ids(size_, kNoId);
  std::vector<char> is_indexed(size_, 0);
  std::vector<Term*> terms;
  terms.reserve(2 * num_kept);
  std::size_t index_size = kFirstIndexSize;
  while (index_size < 3 * num_kept) index_size *= 2;
  std::vector<Slot> index(index_size);
  const std::size_t room = num_args + kArgsPerChunk;
  auto args = std::make_unique<const Term*[]>(room);
  std::vector<std::unique_ptr<const Term*[]>> arg_chunks;
  arg_chunks.reserve(1);
  free_places_.reserve(free_places_.size() + size_ - num_kept);
  free_numbers_.reserve(free_numbers_.size() + num_numbers);
  free_names_.reserve(free_names_.size() + num_names);

  for (const Slot& slot : index_) {
    if (slot.number != 0) is_indexed[slot.number - 1] = 1;
  }
  free_args_ = args.get();
  num_free_args_ = room;
  num_indexed_ = 0;
  index_.swap(index);
  for (std::size_t id = 0; id < size_; ++id) {
    // The store's own terms are constant for all others.
    Term& term = const_cast<Term&>(*this->term(id));
    if (kept[id] == 0) {
      if (term.kind == Kind::kNumber) {
        auto* number = const_cast<QNumber*>(term.payload_.number);
        *number = QNumber(0);
        free_numbers_.push_back(number);
      } else if (term.kind == Kind::kSymbol) {
        auto* name = const_cast<std::string*>(term.payload_.name);
        std::string().swap(*name);
        free_names_.push_back(name);
      }
      free_places_.push_back(&term);
      continue;
    }
    term.id = terms.size();
    new_ids[id] = static_cast<std::uint32_t>(term.id);
    terms.push_back(&term);
    if (term.num_args > 0) {
      std::copy(term.args(), term.args() + term.num_args, free_args_);
      term.payload_.args = free_args_;
      free_args_ += term.num_args;
      num_free_args_ -= term.num_args;
    }
    if (is_indexed[id] == 0) continue;
    // Arguments have their new ids already.
    const std::uint32_t hash = hash_of(shape_of(term));
    std::size_t i = hash & (index_.size() - 1);
    while (index_[i].number != 0) i = (i + 1) & (index_.size() - 1);
    index_[i] = {hash, new_ids[id] + 1};
    ++num_indexed_;
  }
  arg_chunks.push_back(std::move(args));
  arg_chunks_.swap(arg_chunks);
  negations_.clear();
  terms_.swap(terms);
  is_swept_ = true;
  size_ = terms_.size();
  size_when_swept_ = size_;
  return new_ids;
}

const Term* const* TermStore::copy_args(const Term* const* args,
                                        std::size_t count) {
  if (count == 0) return nullptr;
  if (count > num_free_args_) {
    // A long list gets a chunk of its own, so that it does not waste the rest
    // of the current one.
    const bool is_long = count > kArgsPerChunk / 8;
    const std::size_t length = is_long ? count : kArgsPerChunk;
    arg_chunks_.push_back(std::make_unique<const Term*[]>(length));
    const Term** chunk = arg_chunks_.back().get();
    if (is_long) {
      std::copy(args, args + count, chunk);
      return chunk;
    }
    free_args_ = chunk;
    num_free_args_ = length;
  }
  const Term** copy = free_args_;
  std::copy(args, args + count, copy);
  free_args_ += count;
  num_free_args_ -= count;
  return copy;
}

const Term* TermStore::make_binary(Kind kind, Sort sort, const Term* a,
                                   const Term* b) {
  const Term* args[] = {a, b};
  return find_or_make({kind, sort, args, 2});
}

const Term* TermStore::make_nary(Kind kind, Sort sort,
                                 const std::vector<const Term*>& terms) {
  return find_or_make({kind, sort, terms.data(), terms.size()});
}

// --- Leaves ---

const Term* TermStore::make_number(const QNumber& value) {
  return make_number(value, value.is_integer() ? Sort::kInt : Sort::kReal);
}

const Term* TermStore::make_number(const QNumber& value, Sort sort) {
  assert(sort == Sort::kReal || (sort == Sort::kInt && value.is_integer()));
  return find_or_make({Kind::kNumber, sort, nullptr, 0, &value});
}

const Term* TermStore::make_symbol(const std::string& name, Sort sort) {
  assert(name.find_first_of("|\\") == std::string::npos);
  return find_or_make({Kind::kSymbol, sort, nullptr, 0, nullptr, &name});
}

const Term* TermStore::make_fresh_symbol(const std::string& prefix, Sort sort) {
  assert(prefix.find_first_of("|\\") == std::string::npos);
  // Fresh names differ among themselves by the number behind the last '!'.
  std::string name;
  bool is_taken = true;
  while (is_taken) {
    name = prefix + '!' + std::to_string(num_fresh_++);
    is_taken = false;
    for (const Sort other : {Sort::kBool, Sort::kInt, Sort::kReal}) {
      is_taken |=
          find({Kind::kSymbol, other, nullptr, 0, nullptr, &name}) != nullptr;
    }
  }
  return make_new({Kind::kSymbol, sort, nullptr, 0, nullptr, &name});
}

// --- Boolean structure ---

const Term* TermStore::make_not(const Term_* term) {
  assert(owns(term));
  const Term* a = as_term(term);
  assert(a->is_bool());
  if (a->kind == Kind::kTrue) return false_;
  if (a->kind == Kind::kFalse) return true_;
  if (a->kind == Kind::kNot) return a->arg(0);
  return find_or_make({Kind::kNot, Sort::kBool, &a, 1});
}

const Term* TermStore::make_junction(Kind kind, const Term* const* terms,
                                     std::size_t count) {
  const bool is_and = kind == Kind::kAnd;
  const Term* neutral = make_bool(is_and);
  const Term* absorbing = make_bool(!is_and);
  std::vector<const Term*> kept;
  kept.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    assert(owns(terms[i]) && terms[i]->is_bool());
    if (terms[i] == absorbing) return absorbing;
  }
  copy_without_repetition(terms, count, neutral, kept);
  if (kept.empty()) return neutral;
  if (kept.size() == 1) return kept.front();
  return make_nary(kind, Sort::kBool, kept);
}

const Term* TermStore::make_and(const std::vector<const Term*>& terms) {
  return make_junction(Kind::kAnd, terms.data(), terms.size());
}

const Term* TermStore::make_or(const std::vector<const Term*>& terms) {
  return make_junction(Kind::kOr, terms.data(), terms.size());
}

const Term* TermStore::make_or(const Term_* a, const Term_* b) {
  const Term* args[] = {as_term(a), as_term(b)};
  return make_junction(Kind::kOr, args, 2);
}

const Term* TermStore::make_xor(const Term* a, const Term* b) {
  assert(owns(a) && owns(b) && a->is_bool() && b->is_bool());
  if (a == b) return false_;
  if (a == false_) return b;
  if (b == false_) return a;
  if (a == true_) return make_not(b);
  if (b == true_) return make_not(a);
  return make_binary(Kind::kXor, Sort::kBool, a, b);
}

const Term* TermStore::make_implies(const Term* a, const Term* b) {
  assert(owns(a) && owns(b) && a->is_bool() && b->is_bool());
  if (a == b || a == false_ || b == true_) return true_;
  if (a == true_) return b;
  if (b == false_) return make_not(a);
  return make_binary(Kind::kImplies, Sort::kBool, a, b);
}

// --- Over both ---

const Term* TermStore::make_equal(const Term* a, const Term* b) {
  assert(owns(a) && owns(b) && a->is_bool() == b->is_bool());
  if (a == b) return true_;
  if (is_number(a) && is_number(b)) {
    return make_bool(a->number() == b->number());
  }
  if (a == true_) return b;
  if (b == true_) return a;
  if (a == false_) return make_not(b);
  if (b == false_) return make_not(a);
  return make_binary(Kind::kEqual, Sort::kBool, a, b);
}

const Term* TermStore::make_distinct(const std::vector<const Term*>& terms) {
  assert(terms.size() >= 2);
  for ([[maybe_unused]] const Term* term : terms) {
    assert(owns(term) && term->is_bool() == terms.front()->is_bool());
  }
  if (terms.front()->is_bool() && terms.size() > 2) return false_;
  if (has_repetition(terms)) return false_;
  if (all_numbers(terms.data(), terms.size())) {
    return make_bool(all_values_differ(terms));
  }
  return make_nary(Kind::kDistinct, Sort::kBool, terms);
}

// The branch as a term of the ite's sort, or null when no fold can make it one.
const Term* TermStore::pick_branch(const Term* branch, Sort sort) {
  if (branch->sort == sort) return branch;
  return is_number(branch) ? make_number(branch->number(), sort) : nullptr;
}

const Term* TermStore::make_ite(const Term* condition, const Term* then_term,
                                const Term* else_term) {
  assert(owns(condition) && owns(then_term) && owns(else_term));
  assert(condition->is_bool());
  const Sort sort = join(then_term->sort, else_term->sort);
  if (then_term == else_term) return then_term;
  const Term* picked = nullptr;
  if (condition == true_) picked = pick_branch(then_term, sort);
  if (condition == false_) picked = pick_branch(else_term, sort);
  if (picked != nullptr) return picked;
  const Term* args[] = {condition, then_term, else_term};
  return find_or_make({Kind::kIte, sort, args, 3});
}

// --- Arithmetic ---

const Term* TermStore::make_leq(const Term_* a, const Term_* b) {
  assert(owns(a) && owns(b));
  const Term* left = as_term(a);
  const Term* right = as_term(b);
  assert(left->is_arithmetic() && right->is_arithmetic());
  if (is_number(left) && is_number(right)) {
    return make_bool(left->number() <= right->number());
  }
  return make_binary(Kind::kLeq, Sort::kBool, left, right);
}

const Term* TermStore::make_less(const Term* a, const Term* b) {
  assert(owns(a) && owns(b) && a->is_arithmetic() && b->is_arithmetic());
  if (is_number(a) && is_number(b)) {
    return make_bool(a->number() < b->number());
  }
  return make_binary(Kind::kLess, Sort::kBool, a, b);
}

const Term* TermStore::do_make_plus(const Term* const* terms,
                                    std::size_t count) {
  assert(count >= 1);
  if (count == 1) return terms[0];
  Sort sort = Sort::kInt;
  for (std::size_t i = 0; i < count; ++i) {
    assert(owns(terms[i]) && terms[i]->is_arithmetic());
    sort = join(sort, terms[i]->sort);
  }
  if (all_numbers(terms, count)) {
    QNumber sum = terms[0]->number();
    for (std::size_t i = 1; i < count; ++i) sum += terms[i]->number();
    return make_number(sum, sort);
  }
  return find_or_make({Kind::kPlus, sort, terms, count});
}

const Term* TermStore::make_plus(const std::vector<const Term*>& terms) {
  return do_make_plus(terms.data(), terms.size());
}

const Term* TermStore::make_plus(const Term_* a, const Term_* b) {
  const Term* args[] = {as_term(a), as_term(b)};
  return do_make_plus(args, 2);
}

const Term* TermStore::make_times(const Term* a, const Term* b) {
  assert(owns(a) && owns(b) && a->is_arithmetic() && b->is_arithmetic());
  const Sort sort = join(a->sort, b->sort);
  if (is_number(a) && is_number(b)) {
    QNumber product = a->number();
    product *= b->number();
    return make_number(product, sort);
  }
  return make_binary(Kind::kTimes, sort, a, b);
}

const Term* TermStore::make_negate(const Term* term) {
  assert(owns(term) && term->is_arithmetic());
  const bool is_symbol = term->kind == Kind::kSymbol;
  if (is_symbol && term->id < negations_.size() && negations_[term->id] != 0) {
    return this->term(negations_[term->id] - 1);
  }
  const Term* negation = make_times(make_number(QNumber(-1), term->sort), term);
  if (is_symbol) {
    if (term->id >= negations_.size()) {
      negations_.resize(std::max(term->id + 1, term->id + term->id / 2), 0);
    }
    negations_[term->id] = static_cast<std::uint32_t>(negation->id + 1);
  }
  return negation;
}

}  // namespace vorn::solver
