// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_PORTFOLIO_H
#define VORN_SOLVER_ENGINE_PORTFOLIO_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "solver/engine/problem.h"
#include "solver/engine/proof_log.h"
#include "solver/search/clause_exchange.h"
#include "solver/search/clause_gate.h"
#include "solver/search/literal.h"

namespace vorn::solver {

struct EngineOptions;

/// Settings of a Portfolio.
struct PortfolioOptions {
  /// Searches at a time, the engine's own included; with 1, no portfolio.
  std::size_t threads = 1;
  /// A check is left to the engine's search until that has met so many
  /// conflicts: most are over by then. 0: the others start at once.
  std::uint64_t first_conflict = 200;
  /// What is told to the others.
  ClauseExchange::Limits shared;
};

/// Searches over one problem in threads of their own, beside that of an engine,
/// each with a strategy of its own; the first answer ends all.
///
/// The problem is handed over as plain data. From it each search makes its own
/// clauses, graph and numbers, so nothing is shared but short clauses, through
/// a ClauseExchange, for which nobody waits. While proofs are kept nothing is
/// shared at all, so that each search could prove its answer by itself.
///
/// A search that runs out of memory, or that the system has no thread for, is
/// left out: the others go on.
///
/// Cost: one copy of the problem, and for each search what a search takes.
/// Ownership: borrows the flag, and the terms of the problem. Threads: belongs
/// to one; what it starts has ended when finish has returned, or the portfolio
/// is gone. Signals are left to other threads.
class Portfolio {
 public:
  /// What the searches did.
  struct Counters {
    /// Conflicts of all but the engine's.
    std::uint64_t conflicts = 0;
    /// Clauses that the engine's search has told the others, and been told.
    std::uint64_t published = 0;
    /// As above.
    std::uint64_t taken = 0;
    /// Answers that were another's.
    std::uint64_t answers = 0;
  };

  /// Starts searching. `asker`: ends all when it is set; may be null.
  Portfolio(Problem::Data problem, const EngineOptions& options,
            std::vector<Literal> assumptions, const std::atomic<bool>* asker);
  Portfolio(const Portfolio&) = delete;
  Portfolio& operator=(const Portfolio&) = delete;
  ~Portfolio();

  /// Set when one of the searches has an answer.
  const std::atomic<bool>* is_over() const { return &is_over_; }
  /// Where the engine's own search exchanges clauses; null if it must not.
  ClauseExchange::Port* port() {
    return exchange_ ? &exchange_->port(0) : nullptr;
  }

  /// Ends all searches, and forgets all but one with an answer. False if there
  /// is none.
  bool finish();

  // Once finish has said so.

  /// Whether there is a model.
  bool is_sat() const { return is_sat_; }
  /// If so, what is true in it, of the problem's variables.
  std::vector<Literal> model() const;
  /// If not, assumptions that have none, see Search::failed_assumptions.
  const std::vector<Literal>& failed_assumptions() const;
  /// Where proofs are kept, why not; as long as the portfolio is there.
  ProofLog* log() const;
  /// Likewise, the clause that ends it.
  ClauseNumber refutation() const;

  /// Of the searches that were ended by finish.
  const Counters& counters() const { return counters_; }

 private:
  struct Member;
  struct Place {
    std::thread thread;
    std::unique_ptr<Member> member;
  };

  void start(std::size_t number);
  void run(std::size_t number) noexcept;
  void search(std::size_t number);
  const Member& winner() const;
  Counters count();

  const Problem::Data problem_;
  const std::unique_ptr<const EngineOptions> options_;
  const std::vector<Literal> assumptions_;
  const std::atomic<bool>* asker_;
  std::atomic<bool> is_over_{false};
  // The first with an answer; 0: none.
  std::atomic<std::size_t> winner_{0};
  bool is_sat_ = false;
  bool is_finished_ = false;
  Counters counters_;
  std::optional<ClauseExchange> exchange_;
  std::vector<Place> places_;  // by number; 0 is the engine's, and empty
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_PORTFOLIO_H
