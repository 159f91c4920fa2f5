// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_ENGINE_H
#define VORN_SOLVER_ENGINE_ENGINE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "solver/engine/atom_normaliser.h"
#include "solver/engine/bound_propagation.h"
#include "solver/engine/graph_recorder.h"
#include "solver/engine/model_check.h"
#include "solver/engine/phase_search.h"
#include "solver/engine/portfolio.h"
#include "solver/engine/proof_log.h"
#include "solver/engine/schedule.h"
#include "solver/engine/target.h"
#include "solver/scheduling/machine_finder.h"
#include "solver/scheduling/machine_propagation.h"
#include "solver/search/literal.h"
#include "solver/search/options.h"
#include "solver/search/search.h"
#include "solver/search/statistics.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/linear_sum.h"
#include "solver/terms/scope_stack.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "solver/terms/term_sweep.h"
#include "vorn/services/configuration.h"
#include "vorn/services/logger.h"

namespace vorn::solver {

/// How much may lie around that nothing refers to any more, before it is
/// cleared away: more of it makes clearing rarer, and all else slower.
struct Garbage {
  /// So much is always left.
  std::size_t least = 64;
  /// And this in per cent of what is in use.
  std::size_t percent = 50;

  /// Whether `waste` beside what is in use is too much.
  bool is_exceeded(std::size_t waste, std::size_t in_use) const {
    return waste > least + in_use * percent / 100;
  }
};

/// Settings of an Engine.
struct EngineOptions {
  /// The graph's lemma settings.
  Configuration::Theory::La lemmas;
  /// With no kind of lemma switched on in `lemmas`, learn short ones at the
  /// overlap set there where trials show that they pay; see LemmaTrials.
  bool lemma_trials = true;
  /// Literals that the active constraints imply.
  PropagationOptions propagation;
  /// Local searches for the values that decisions try first; with propagation
  /// off there are none.
  PhaseSearchOptions phases;
  /// Reasoning about sets of tasks that cannot overlap.
  Machines machines = Machines::kAuto;
  /// Fewer tasks, some of which may be done elsewhere, are no such set: seldom
  /// are enough of them there for anything to follow.
  std::size_t fewest_optional_tasks = 6;
  /// The knobs of the search.
  SearchOptions search;
  /// Searches in other threads.
  PortfolioOptions portfolio;
  /// Check every model against the assertions before answering kSat.
  bool check_models = true;
  /// Keep what a proof of kUnsat needs.
  bool keep_proofs = false;
  /// Keep what schedule() needs.
  bool keep_schedule = false;
  /// Bounds of scopes that were left, with their nodes.
  Garbage forgotten_bounds;
  /// Variables of the search that only assumptions of earlier checks have
  /// needed. Each check is allowed some for each of its own as well.
  Garbage former_assumptions{256, 100};
  /// Terms, to be swept by the store's owner.
  Garbage unused_terms{4096, 100};

  /// What find_machines is to keep to.
  MachineLimits machine_limits() const {
    MachineLimits limits;
    limits.fewest_optional_tasks = fewest_optional_tasks;
    return limits;
  }
  /// `phases`, with the search's seed.
  PhaseSearchOptions phase_options() const {
    PhaseSearchOptions options = phases;
    options.seed = search.seed;
    return options;
  }
};

enum class Answer { kSat, kUnsat, kUnknown };

enum class UnknownReason {
  kNone,
  /// The stop flag was set.
  kStopped,
  /// The limit of conflicts was reached.
  kConflictLimit,
  /// Memory ran out. Nothing asserted is lost; what was learnt is.
  kMemout,
  /// A model did not satisfy the assertions: a defect, and never called sat.
  kInternalError,
};

/// Decides assertions of difference logic over integers and reals.
///
/// Holds a stack of assertions. The solving machinery behind it (search,
/// encoding, graph) follows the stack when it is asked, keeps what it has
/// learnt from check to check, and can be rebuilt from the stack at any time.
/// Until there is anything to choose, by assertions, assumptions or a target, a
/// Network takes its place, unless proofs or schedules are to be kept.
///
/// Ownership: borrows the store, the stop flag, the logger and the recorder.
/// Threads: one uses it, and the stop flag may be set from any. With
/// EngineOptions::portfolio, a check has more of its own, which end with it.
class Engine {
 public:
  /// Decides assertions made of terms in `store`.
  explicit Engine(TermStore& store, const EngineOptions& options = {});
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  ~Engine();

  /// The first arithmetic atom in `term` outside difference logic, or null.
  /// Changes no assertion. Cost: each subterm is visited once in a lifetime.
  const Term* outside_fragment(const Term* term) {
    return normaliser_.first_outside(term);
  }

  /// Whether an atom is outside only because there are more than
  /// CaseSums::kMaxSums sums of its cases.
  bool has_too_many_sums(const Term* atom) {
    return normaliser_.normalise(atom).too_many_sums;
  }

  /// Requires: Boolean and inside the fragment.
  void assert_term(const Term* term);
  /// The same for an atom of which it is known that it says: `sum` is at most
  /// 0, or below 0 if it is strict. Requires: the sum has one or two symbols of
  /// one sort, with the coefficients 1 and -1.
  void assert_bound(const Term* atom, const LinearSum& sum, bool is_strict);
  /// Opens a scope of assertions.
  void push();
  /// Takes back the assertions since the matching push.
  /// Requires: num_levels() > 0.
  void pop();
  /// How many scopes are open.
  std::size_t num_levels() const { return scopes_.size(); }
  /// The assertions of all open scopes, oldest first.
  const std::vector<const Term*>& assertions() const { return assertions_; }

  /// Whether assertions and assumptions have a common model. A repeated
  /// assumption counts at its first position.
  /// Requires: assumptions are Boolean and inside the fragment.
  Answer check(const std::vector<const Term*>& assumptions = {});

  /// After kUnsat: ascending positions of assumptions that are inconsistent
  /// with the assertions. Empty if the assertions are inconsistent by
  /// themselves.
  const std::vector<std::size_t>& failed_assumptions() const {
    return failed_assumptions_;
  }
  /// Why the last check answered kUnsat.
  struct Refutation {
    /// All clauses; valid until the engine is called again.
    ProofLog* log = nullptr;
    /// The clause that ends it: of negated assumptions, or empty. 0 if two
    /// assumptions are opposites.
    ClauseNumber last = 0;
    /// Assumptions that it takes, with their literals in the log.
    std::vector<std::pair<Literal, const Term*>> assumptions;
  };
  /// After kUnsat, with keep_proofs.
  const Refutation& refutation() const { return refutation_; }
  /// After kUnknown.
  UnknownReason unknown_reason() const { return unknown_reason_; }

  /// Whether there are values to ask for: after kSat; and after kUnknown if the
  /// search was cut short. Then they are the ones that it had reached, which
  /// need not satisfy the assertions.
  bool has_model() const { return has_model_; }

  /// If has_model(), until the next check: the value of a term. Symbols that no
  /// assertion mentions are false and 0.
  bool bool_value(const Term* term);
  /// The same for an arithmetic term.
  QNumber number_value(const Term* term);

  /// With keep_schedule, while has_model() and that satisfies the assertions:
  /// its machines, see find_schedule.
  std::vector<ScheduledMachine> schedule();

  // What it takes to look for the best of many models; see Optimiser.

  /// Makes each check that answers kSat end with a model in which the target is
  /// as small as it can be while no truth value of the search changes, until
  /// another target is set; null for none. Borrowed.
  void set_target(const Target* target);
  /// A value that the target may come close to, for what looks for models.
  /// Requires: there was a model, and a target with it.
  void set_aim(const la::DNumber& value);
  /// Boolean terms of which each check settles the truth values, too, those of
  /// the target's conditions among them. Requires: as for an assumption.
  void set_conditions(std::vector<const Term*> conditions) {
    conditions_ = std::move(conditions);
  }
  /// After kSat with a target, its least value as above; nothing if there is
  /// none. A part of eps says that it is approached and not reached; the model
  /// is near it then.
  const std::optional<la::DNumber>& least_value() const { return least_value_; }
  /// Likewise: a value that the target is not below in any model of the
  /// assertions outside of all scopes; nothing if none is known at once.
  /// Cost: one pass over the bounds that are known to hold.
  std::optional<la::DNumber> known_least() const;
  /// Likewise: a value that is greater, if that is what sets of tasks say, but
  /// only likely to be one that the target is not below.
  std::optional<la::DNumber> likely_least() const;
  /// What the bounds of the problem are made of.
  struct Scale {
    /// No sum of bounds along a path without cycles is further from 0.
    QNumber reach;
    /// Each bound is a multiple of 1 over this.
    QNumber denominator;
  };
  /// After a check that did not run out of memory. Cost: linear in the bounds.
  Scale scale() const;
  /// Keeps the values of the model for show_kept_model, until the next call, of
  /// another model. Requires: has_model().
  void keep_model();
  /// Makes the model kept last the one to ask for values, until the next check
  /// or change of assertions. Requires: there was no change since.
  void show_kept_model();

  // What it takes to part a question into easier ones.

  /// A truth value that the search decides on.
  struct Choice {
    /// A symbol, or a comparison that says what the bound does.
    const Term* formula = nullptr;
    /// Its negation.
    const Term* opposite = nullptr;
    /// Between symbols of one sort or on one of them, if it is no symbol.
    DifferenceBound bound;
  };
  /// After a check: those that are not settled by the assertions, the ones that
  /// have taken part in most conflicts first, at most so many. What no symbol
  /// and no bound between symbols stands for is left out.
  /// Cost: a pass over all variables.
  std::vector<Choice> likely_choices(std::size_t most);
  /// How many truth values follow from assertions and assumptions without a
  /// decision; nothing if there is no model then, or the check was stopped. No
  /// answer is kept. Requires: as for check, and there was one.
  std::optional<std::size_t> look_ahead(
      const std::vector<const Term*>& assumptions);

  /// Makes a running check end with kUnknown soon after the flag is set. It is
  /// looked at between assertions that are encoded and between steps of the
  /// search, not inside a step of the graph.
  void set_stop(const std::atomic<bool>* stop) { stop_ = stop; }
  /// Calls `poll` now and then while a check runs, on its thread; it may set
  /// the stop flag, and must not call the engine. Empty: nothing is called.
  void set_poll(std::function<void()> poll) { poll_ = std::move(poll); }
  /// What set_poll was given.
  const std::function<void()>& poll() const { return poll_; }
  /// Makes each check end with kUnknown once it has met so many conflicts; 0:
  /// as many as it takes. The same limit gives the same answers on every run.
  void set_conflict_limit(std::uint64_t limit) { conflict_limit_ = limit; }
  /// Makes each check begin as the first one does: its search builds a schedule
  /// from nothing until it has met so many conflicts, where values that it had
  /// before would be no help.
  void set_fresh_conflicts(std::uint64_t number) { fresh_conflicts_ = number; }
  /// What set_conflict_limit was given.
  std::uint64_t conflict_limit() const { return conflict_limit_; }
  /// The flag that set_stop was given.
  const std::atomic<bool>* stop() const { return stop_; }
  /// Where the graph logs; null for nowhere.
  void set_logger(Logger* logger) { logger_ = logger; }
  /// What notes the calls on the graph, and on each one that takes its place;
  /// null for nothing. Not the calls on the graph that lemmas are learnt on.
  /// Requires: no check was made yet.
  void set_graph_recorder(GraphRecorder* recorder);
  /// Called every few hundred conflicts of a check; must not call the engine.
  void set_progress(std::function<void(const SearchStatistics&)> progress) {
    progress_ = std::move(progress);
  }

  /// Settings, effective from the next check on; changing those of the search
  /// rebuilds it.
  const EngineOptions& options() const { return options_; }
  /// Replaces the settings and forgets the last answer.
  void set_options(const EngineOptions& options);

  // What the engine does when the store is swept; see TermSweep. An answer
  // stays, with its model and the assumptions that failed.

  /// First, to keep the terms of assertions, those that the machinery works
  /// with, and their parts.
  void keep_terms(TermSweep& sweep) const;
  /// Then, to forget what it remembers of others.
  void forget_swept(const TermSweep& sweep);
  /// At last, to take over the new ids.
  void renumber_terms(const TermSweep& sweep);

  /// The bounds of the last negative cycle that the last check's search has
  /// met, in its direction; empty if it has met none.
  std::vector<DifferenceBound> last_cycle() const;

  /// Conflicts of all checks, but those before memory ran out.
  std::uint64_t num_conflicts() const;
  /// Names and values of all counters: the search's, then the graph's, those of
  /// propagation between them if there was anything to choose. The search's
  /// alone before the first check, and after one that ran out of
  /// memory, until the next; then the counting begins anew.
  std::vector<std::pair<std::string, std::string>> statistics() const;

 private:
  struct Machinery;
  struct Facts;
  class Model;
  class KeptModel;

  bool is_stopped();
  bool leaves_choices(const std::vector<const Term*>& assumptions) const;
  Answer check_facts(const std::vector<const Term*>& assumptions);
  template <class Read>
  void read_facts_early(const Read& read);
  void read_facts(std::size_t num_assertions);
  void find_failed_assumptions(const std::vector<int>& starts);
  Search::Result solve(const std::vector<Literal>& assumptions);
  Search::Result solve_in_threads(const std::vector<Literal>& assumptions);
  Answer answer_model(const std::vector<const Term*>& assumptions);
  Answer answer_stopped();
  bool synchronise(std::size_t num_assumptions);
  bool push_facts();
  // Requires: the last answer is forgotten. Throws std::bad_alloc.
  Answer do_check(const std::vector<const Term*>& assumptions);
  bool model_holds(const std::vector<const Term*>& assumptions);
  void lower_target();
  template <class Find>
  std::optional<la::DNumber> least_by(const Find& find) const;
  Evaluator& evaluator();
  void drop_machinery();
  SearchStatistics search_counters() const;

  TermStore& store_;
  EngineOptions options_;
  AtomNormaliser normaliser_;
  std::vector<const Term*> assertions_;
  ScopeStack<std::vector<const Term*>> scopes_{assertions_};

  const std::atomic<bool>* stop_ = nullptr;
  std::function<void()> poll_;
  std::size_t num_polls_ = 0;
  std::uint64_t conflict_limit_ = 0;
  std::uint64_t fresh_conflicts_ = 0;
  Logger* logger_ = nullptr;
  GraphRecorder* graph_recorder_ = nullptr;
  std::function<void(const SearchStatistics&)> progress_;

  // The first assertion that is not bounds alone; no such: kNone.
  static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
  std::size_t first_choice_ = kNone;

  // At most one of the two is there.
  std::unique_ptr<Facts> facts_;
  bool reads_early_ = true;
  // Checks that the facts of their time answered with kUnsat.
  std::uint64_t fact_conflicts_ = 0;
  std::unique_ptr<Machinery> machinery_;
  // There while the other searches run.
  std::unique_ptr<Portfolio> portfolio_;
  // The one that refutation_ comes from, if it was not the engine's own search.
  std::unique_ptr<Portfolio> refuter_;
  Portfolio::Counters others_;
  // Lives with facts or machinery; it counts while has_model_.
  std::unique_ptr<Model> model_;
  bool has_model_ = false;
  // Lives on its own, whatever becomes of the machinery.
  std::unique_ptr<KeptModel> kept_model_;
  bool shows_kept_model_ = false;
  const Target* target_ = nullptr;
  std::vector<const Term*> conditions_;
  // The target in the last model, without ites, and its least value there.
  Target::Difference difference_;
  std::optional<la::DNumber> least_value_;
  ModelCheck model_check_;
  std::vector<std::size_t> failed_assumptions_;
  Refutation refutation_;
  // Where a check that only looks ahead puts what it finds; else null.
  std::optional<std::size_t>* num_implied_ = nullptr;
  UnknownReason unknown_reason_ = UnknownReason::kNone;
  // Of the machinery that was given up when memory ran out.
  SearchStatistics last_counters_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_ENGINE_H
