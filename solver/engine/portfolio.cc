// SPDX-License-Identifier: MIT
#include "solver/engine/portfolio.h"

#include <cassert>
#include <csignal>
#include <new>
#include <system_error>
#include <utility>

#include "solver/engine/difference_theory.h"
#include "solver/engine/engine.h"
#include "solver/search/search.h"
#include "solver/terms/term_store.h"

namespace vorn::solver {
namespace {

/// As long as it lives, the calling thread and what it starts leave signals to
/// others.
class WithoutSignals {
 public:
  WithoutSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  WithoutSignals(const WithoutSignals&) = delete;
  WithoutSignals& operator=(const WithoutSignals&) = delete;
  ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

// What the search of a number does unlike the engine's, which is number 0.
EngineOptions strategy(EngineOptions options, std::size_t number) {
  // With the seed 0 variables begin in the order of the script, which nobody
  // but one of two should be without: hamilton-600 takes 0.2 s in that order,
  // and more than 20 s in others.
  const std::uint64_t seed = options.search.seed;
  options.search.seed = seed != 0 && number == 1 ? 0 : seed + number;
  // The engine's search tries that; a lemma is a short clause.
  options.lemmas.dl_tlemma_kinds = 0;
  options.lemma_trials = false;
  return options;
}

}  // namespace

/// What a search works with. Made, and used, by its thread alone.
struct Portfolio::Member {
  Member(const Problem::Data& data, const EngineOptions& options)
      : problem(data),
        theory(store, problem, options.lemmas, options.lemma_trials,
               options.propagation, options.phase_options()),
        search(&theory, options.search) {
    theory.attach(&search);
    if (options.keep_proofs) {
      search.set_listener(&log.emplace(problem));
      theory.set_log(&*log);
    }
    theory.update();
    Problem::Clause clause;
    while (problem.take_clause(clause)) {
      search.add_clause(clause.literals, clause.origin);
    }
    theory.push_facts([] { return false; });
    theory.start_check();
    if (options.machines == Machines::kAuto) {
      theory.find_machines(options.machine_limits());
    }
  }

  // Of lemmas, of which there are none.
  TermStore store;
  Problem problem;
  std::optional<ProofLog> log;
  DifferenceTheory theory;
  Search search;
};

Portfolio::Portfolio(Problem::Data problem, const EngineOptions& options,
                     std::vector<Literal> assumptions,
                     const std::atomic<bool>* asker)
    : problem_(std::move(problem)),
      options_(std::make_unique<EngineOptions>(options)),
      assumptions_(std::move(assumptions)),
      asker_(asker),
      places_(options.portfolio.threads) {
  if (!options.keep_proofs) {
    exchange_.emplace(places_.size(), problem_.num_variables,
                      options.portfolio.shared);
  }
  const WithoutSignals without_signals;
  for (std::size_t k = 1; k < places_.size(); ++k) start(k);
}

Portfolio::~Portfolio() {
  finish();
}

void Portfolio::start(std::size_t number) {
  try {
    places_[number].thread = std::thread([this, number] { run(number); });
  } catch (const std::system_error&) {
    if (exchange_) exchange_->port(number).close();
  }
}

void Portfolio::run(std::size_t number) noexcept {
  try {
    search(number);
  } catch (const std::bad_alloc&) {
    places_[number].member.reset();
  }
  if (exchange_) exchange_->port(number).close();
}

void Portfolio::search(std::size_t number) {
  std::unique_ptr<Member>& member = places_[number].member;
  member = std::make_unique<Member>(problem_, strategy(*options_, number));
  Search& search = member->search;
  search.set_stop({asker_, &is_over_});
  if (exchange_) search.set_port(&exchange_->port(number));
  const Search::Result result = search.solve(assumptions_);
  if (result == Search::Result::kUnknown) return;
  std::size_t nobody = 0;
  if (!winner_.compare_exchange_strong(nobody, number)) return;
  is_sat_ = result == Search::Result::kSat;
  is_over_ = true;
}

bool Portfolio::finish() {
  if (is_finished_) return winner_ != 0;
  is_finished_ = true;
  is_over_ = true;
  for (Place& place : places_) {
    if (place.thread.joinable()) place.thread.join();
  }
  counters_ = count();
  for (std::size_t k = 0; k < places_.size(); ++k) {
    if (k != winner_) places_[k].member.reset();
  }
  return winner_ != 0;
}

const Portfolio::Member& Portfolio::winner() const {
  assert(winner_ != 0);
  return *places_[winner_].member;
}

std::vector<Literal> Portfolio::model() const {
  std::vector<Literal> literals;
  for (int variable = 0; variable < problem_.num_variables; ++variable) {
    const Literal literal(variable, false);
    literals.push_back(winner().search.model_value(literal) ? literal
                                                            : ~literal);
  }
  return literals;
}

const std::vector<Literal>& Portfolio::failed_assumptions() const {
  return winner().search.failed_assumptions();
}

ProofLog* Portfolio::log() const {
  return &*places_[winner_].member->log;
}

ClauseNumber Portfolio::refutation() const {
  return winner().search.refutation();
}

Portfolio::Counters Portfolio::count() {
  Counters counters;
  for (const Place& place : places_) {
    if (!place.member) continue;
    counters.conflicts += place.member->search.statistics().conflicts;
  }
  if (exchange_) {
    counters.published = exchange_->port(0).num_published();
    counters.taken = exchange_->port(0).num_taken();
  }
  counters.answers = winner_ != 0 ? 1 : 0;
  return counters;
}

}  // namespace vorn::solver
