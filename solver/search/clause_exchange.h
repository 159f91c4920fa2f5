// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_CLAUSE_EXCHANGE_H
#define VORN_SOLVER_SEARCH_CLAUSE_EXCHANGE_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "solver/search/literal.h"

namespace vorn::solver {

/// Where searches over one problem, each in a thread of its own, leave short
/// clauses for each other. Nobody waits for anybody: each search appends to a
/// list of its own, and the others read that as far as it is complete.
///
/// All of them know the variables below a number, under the same indices; a
/// clause that mentions another variable is nobody else's business.
///
/// Cost: 4 bytes a literal and 8 more a clause, until all have read it; no
/// lock, no allocation but of a block of 16 KiB each few hundred clauses.
class ClauseExchange {
  // A part of a list. The owner writes words, then says how far they may be
  // read; once the block is full, it hangs the next one on it.
  struct Block {
    static constexpr std::size_t kWords = 4096;
    std::array<std::uint32_t, kWords> words;
    std::atomic<std::size_t> num_complete{0};
    std::shared_ptr<Block> next;
    std::atomic<bool> has_next{false};
  };

 public:
  /// Which clauses are worth telling.
  struct Limits {
    /// Clauses of at most so many literals.
    std::size_t size = 15;
    /// And longer ones whose literals are of at most so many levels.
    int glue = 6;
    /// Up to this size.
    std::size_t greatest_size = 30;
  };

  /// One search's place. Belongs to the thread of that search.
  class Port {
   public:
    Port() = default;
    Port(Port&&) = default;
    Port& operator=(Port&&) = default;
    ~Port() { close(); }

    /// Tells the others of a clause, if it is worth it. Throws std::bad_alloc,
    /// and then the others have not heard of it.
    void publish(const std::vector<Literal>& clause, int glue);
    /// A clause that another search has told of; false if there is none now.
    bool next(std::vector<Literal>& clause, int& glue);
    /// How many clauses were told to the others.
    std::uint64_t num_published() const { return num_published_; }
    /// How many of theirs were taken.
    std::uint64_t num_taken() const { return num_taken_; }
    /// Reads and tells no more, so that nothing is kept for this search.
    void close();

   private:
    friend class ClauseExchange;

    // How far another's list is read.
    struct Reader {
      std::shared_ptr<Block> block;
      std::size_t position = 0;
    };

    bool is_shared(const std::vector<Literal>& clause, int glue) const;

    Limits limits_;
    int num_variables_ = 0;
    std::shared_ptr<Block> last_;  // of the own list; null once closed
    std::vector<Reader> readers_;
    std::uint64_t num_published_ = 0;
    std::uint64_t num_taken_ = 0;
  };

  /// For so many searches, over so many variables.
  ClauseExchange(std::size_t num_searches, int num_variables,
                 const Limits& limits);
  ClauseExchange(const ClauseExchange&) = delete;
  ClauseExchange& operator=(const ClauseExchange&) = delete;
  ~ClauseExchange() = default;

  /// The place of a search, from 0 on.
  Port& port(std::size_t search) { return ports_[search]; }

 private:
  std::vector<Port> ports_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_CLAUSE_EXCHANGE_H
