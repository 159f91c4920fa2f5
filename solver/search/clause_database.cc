// SPDX-License-Identifier: MIT
#include "solver/search/clause_database.h"

#include <algorithm>
#include <new>

namespace vorn::solver {

namespace {

// The upper half of the references is left to the users, to tag.
constexpr std::size_t kMaxWords = std::size_t{1} << 31;

std::size_t words_of(int size) {
  return static_cast<std::size_t>(Clause::kHeaderWords) +
         static_cast<std::size_t>(size);
}

}  // namespace

ClauseRef ClauseDatabase::add(const std::vector<Literal>& literals, bool learnt,
                              int glue) {
  assert(!literals.empty());
  const std::size_t start = words_.size();
  if (literals.size() > kMaxWords - Clause::kHeaderWords ||
      start > kMaxWords - Clause::kHeaderWords - literals.size()) {
    throw std::bad_alloc();
  }
  words_.resize(start + Clause::kHeaderWords + literals.size());
  words_[start] = static_cast<std::uint32_t>(literals.size());
  words_[start + 1] = learnt ? Clause::kLearntBit : 0;
  Clause clause(words_.data() + start);
  clause.set_glue(glue);
  clause.set_activity(0.0F);
  for (std::size_t i = 0; i < literals.size(); ++i) {
    clause.set(static_cast<int>(i), literals[i]);
  }
  return static_cast<ClauseRef>(start);
}

void ClauseDatabase::remove(ClauseRef ref) {
  Clause clause = (*this)[ref];
  assert(!clause.is_deleted());
  clause.words_[1] |= Clause::kDeletedBit;
  wasted_ += words_of(clause.size());
}

void ClauseDatabase::shrink(ClauseRef ref, int size) {
  Clause clause = (*this)[ref];
  assert(!clause.is_deleted() && size >= 1 && size <= clause.size());
  wasted_ += static_cast<std::size_t>(clause.size() - size);
  clause.words_[0] = static_cast<std::uint32_t>(size);
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
  const auto result = static_cast<ClauseRef>(target_.size());
  const auto from = words_.begin() + static_cast<std::ptrdiff_t>(ref);
  target_.insert(target_.end(), from,
                 from + static_cast<std::ptrdiff_t>(words_of(clause.size())));
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
