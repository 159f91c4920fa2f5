// SPDX-License-Identifier: MIT
#include "solver/search/clause_exchange.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace vorn::solver {
namespace {

// A clause is its size, its glue, and the codes of its literals.
constexpr std::size_t kHead = 2;

}  // namespace

ClauseExchange::ClauseExchange(std::size_t num_searches, int num_variables,
                               const Limits& limits)
    : ports_(num_searches) {
  assert(limits.greatest_size + kHead <= Block::kWords);
  for (Port& port : ports_) {
    port.limits_ = limits;
    port.num_variables_ = num_variables;
    port.last_ = std::make_shared<Block>();
  }
  for (Port& port : ports_) {
    for (const Port& other : ports_) {
      if (&other != &port) port.readers_.push_back({other.last_, 0});
    }
  }
}

bool ClauseExchange::Port::is_shared(const std::vector<Literal>& clause,
                                     int glue) const {
  const bool is_short =
      clause.size() <= limits_.size ||
      (glue <= limits_.glue && clause.size() <= limits_.greatest_size);
  return is_short &&
         std::all_of(clause.begin(), clause.end(), [this](Literal literal) {
           return literal.variable() < num_variables_;
         });
}

void ClauseExchange::Port::publish(const std::vector<Literal>& clause,
                                   int glue) {
  if (!last_ || !is_shared(clause, glue)) return;
  std::size_t end = last_->num_complete.load(std::memory_order_relaxed);
  if (end + kHead + clause.size() > Block::kWords) {
    auto next = std::make_shared<Block>();
    last_->next = next;
    last_->has_next.store(true, std::memory_order_release);
    last_ = std::move(next);
    end = 0;
  }
  last_->words[end++] = static_cast<std::uint32_t>(clause.size());
  last_->words[end++] = static_cast<std::uint32_t>(glue);
  for (const Literal literal : clause) {
    last_->words[end++] = static_cast<std::uint32_t>(literal.code());
  }
  last_->num_complete.store(end, std::memory_order_release);
  ++num_published_;
}

bool ClauseExchange::Port::next(std::vector<Literal>& clause, int& glue) {
  for (Reader& reader : readers_) {
    // Nothing is added to a block that has a next one, so this is to be asked
    // before how far it is complete.
    while (reader.block) {
      const bool has_next =
          reader.block->has_next.load(std::memory_order_acquire);
      const std::size_t end =
          reader.block->num_complete.load(std::memory_order_acquire);
      if (reader.position < end) {
        const std::uint32_t* word = &reader.block->words[reader.position];
        const std::size_t size = *word++;
        glue = static_cast<int>(*word++);
        clause.clear();
        for (std::size_t k = 0; k < size; ++k) {
          clause.push_back(Literal::from_code(static_cast<int>(*word++)));
        }
        reader.position += kHead + size;
        ++num_taken_;
        return true;
      }
      if (!has_next) break;
      reader.block = std::shared_ptr<Block>(reader.block->next);
      reader.position = 0;
    }
  }
  return false;
}

void ClauseExchange::Port::close() {
  last_.reset();
  for (Reader& reader : readers_) {
    // One after the other: the last to hold a long list would release it by
    // recursion.
    while (reader.block &&
           reader.block->has_next.load(std::memory_order_acquire)) {
      reader.block = std::shared_ptr<Block>(reader.block->next);
    }
    reader.block.reset();
  }
}

}  // namespace vorn::solver
