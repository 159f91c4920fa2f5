// SPDX-License-Identifier: MIT
#include "solver/search/clause_database.h"

#include <algorithm>
#include <new>

namespace vorn::solver {

namespace {

// The upper half of the references is left to the users, to tag.
constexpr std::size_t kMaxWords = std::size_t{1} << 31;

}  // namespace

ClauseRef ClauseDatabase::add(const std::vector<Literal>& literals, bool learnt,
                              int glue, ClauseNumber number) {
  assert(!literals.empty());
  const bool is_long = literals.size() > Clause::kMaxShort;
  const std::size_t before = words_before(is_long);
  const std::size_t header = before + Clause::kHeaderWords;
  if (literals.size() > kMaxWords - header ||
      words_.size() > kMaxWords - header - literals.size()) {
    throw std::bad_alloc();
  }
  const std::size_t start = words_.size() + before;
  words_.resize(words_.size() + header + literals.size());
  words_[start] = static_cast<std::uint32_t>(literals.size());
  words_[start + 1] =
      (learnt ? Clause::kLearntBit : 0) | (is_long ? Clause::kLongBit : 0);
  set_number(static_cast<ClauseRef>(start), number);
  Clause clause(words_.data() + start);
  if (is_long) clause.set_first_to_try(2);
  clause.set_glue(glue);
  clause.set_activity(0.0F);
  for (std::size_t i = 0; i < literals.size(); ++i) {
    clause.set(static_cast<int>(i), literals[i]);
  }
  return static_cast<ClauseRef>(start);
}

ClauseNumber ClauseDatabase::number(ClauseRef ref) const {
  ClauseNumber result = 0;
  if (number_words_ != 0) {
    std::memcpy(&result, words_.data() + number_place(ref), sizeof result);
  }
  return result;
}

void ClauseDatabase::set_number(ClauseRef ref, ClauseNumber number) {
  if (number_words_ == 0) return;
  std::memcpy(words_.data() + number_place(ref), &number, sizeof number);
}

void ClauseDatabase::remove(ClauseRef ref) {
  Clause clause = (*this)[ref];
  assert(!clause.is_deleted());
  clause.words_[1] |= Clause::kDeletedBit;
  wasted_ += words_of(clause);
}

void ClauseDatabase::shrink(ClauseRef ref, int size) {
  Clause clause = (*this)[ref];
  assert(!clause.is_deleted() && size >= 1 && size <= clause.size());
  wasted_ += static_cast<std::size_t>(clause.size() - size);
  clause.words_[0] = static_cast<std::uint32_t>(size);
  if (clause.is_long()) clause.words_[-1] = 2;
}

void ClauseDatabase::begin_collection() {
  assert(target_.empty());
  target_.reserve(words_.size() - wasted_);
}

ClauseRef ClauseDatabase::moved(ClauseRef ref) {
  Clause clause = (*this)[ref];
  assert(!clause.is_deleted());
  // A moved clause keeps its new reference in place of its size.
  if (clause.is_moved()) return clause.words_[0];
  const std::size_t before = words_before(clause.is_long());
  const auto result = static_cast<ClauseRef>(target_.size() + before);
  const auto from = words_.begin() + static_cast<std::ptrdiff_t>(ref - before);
  target_.insert(target_.end(), from,
                 from + static_cast<std::ptrdiff_t>(words_of(clause)));
  clause.words_[0] = result;
  clause.words_[1] |= Clause::kMovedBit;
  return result;
}

void ClauseDatabase::end_collection() {
  words_.swap(target_);
  // Free the old words instead of keeping their capacity for the next time.
  std::vector<std::uint32_t>().swap(target_);
  wasted_ = 0;
}

}  // namespace vorn::solver
