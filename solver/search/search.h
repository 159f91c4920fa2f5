// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_SEARCH_H
#define VORN_SOLVER_SEARCH_SEARCH_H

#include <atomic>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "solver/search/clause_database.h"
#include "solver/search/clause_exchange.h"
#include "solver/search/clause_gate.h"
#include "solver/search/clause_origin.h"
#include "solver/search/decision_heap.h"
#include "solver/search/literal.h"
#include "solver/search/options.h"
#include "solver/search/phases.h"
#include "solver/search/random.h"
#include "solver/search/restart_policy.h"
#include "solver/search/statistics.h"
#include "solver/search/stop_flags.h"
#include "solver/search/theory.h"
#include "solver/search/watch.h"

namespace vorn::solver {

/// Decides sets of clauses, alone or together with a theory, by
/// conflict-driven clause learning. Incremental: clauses and variables may be
/// added between calls of solve, the newest variables may be forgotten again,
/// and each solve may assume literals.
///
/// Levels: level 0 holds what follows from the clauses; each assumption and
/// each decision opens a level. Between solves the search is at level 0, or as
/// far above it as the last solve was told to stay. What cannot be done there
/// takes levels back.
///
/// Scopes: to retract clauses later, give each scope a selector variable, add
/// the literal ~selector to each of its clauses, assume the selector in each
/// solve, and forget the scope by shrink_variables with the number of
/// variables before the scope. Clauses that only define variables of the scope
/// (those that any assignment of the older variables can be extended to
/// satisfy) need no selector. Then nothing that is learnt about the older
/// variables alone depends on the scope.
///
/// Invariants (asserted by check_invariants()), between solves:
///  (1) a literal is true exactly when it is on the trail, its opposite false;
///  (2) the levels along the trail never fall;
///  (3) a clause of two or more literals is watched by its first two;
///  (4) every unassigned variable that is not passive is in the heap;
///  (5) the blocker of a watch is another literal of its clause;
///  (6) if consistent, a clause with a false watch has a true literal whose
///      level is not above that watch's;
///  (7) above level 0, a literal that is not the first of its level has a
///      reason, whose other literals became false before it;
///  (8) nothing that was there at a mark, and has been ever since, mentions a
///      variable that was not.
///
/// Ownership: the theory and the stop flags are borrowed and must outlive the
/// search or be replaced.
/// Errors: only std::bad_alloc leaves a call; after it the search may only be
/// destroyed.
/// Threads: none; only the stop flags may be set from another thread.
class Search {
 public:
  /// What solve found out.
  enum class Result { kSat, kUnsat, kUnknown };

  /// Ensures: no variables, no clauses. `theory` may be null; it must be at
  /// level 0 with no literal told.
  explicit Search(Theory* theory = nullptr, const SearchOptions& options = {});
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  ~Search() = default;

  /// Who hears of every clause from now on; null for nobody. The search finds
  /// the same with and without. Requires: there is no clause yet.
  void set_listener(ClauseListener* listener);

  // --- Building ---------------------------------------------------------

  /// Makes a variable and returns its index, the number of variables before
  /// the call. A theory variable's literals are told to the theory. May be
  /// called between solves and inside Theory::next_lemma.
  int new_variable(bool theory_variable = false);
  /// How many variables there are.
  int num_variables() const { return static_cast<int>(variables_.size()); }

  /// Adds a clause and propagates it (through clauses; the theory follows in
  /// the next solve). If it implies anything, this is assigned at level 0, and
  /// no other is left. Literals may repeat, in any order; a tautology is
  /// dropped. Returns is_consistent(). `origin` is for the
  /// listener. Requires: not inside solve; the variables exist.
  bool add_clause(const std::vector<Literal>& clause, ClauseOrigin origin = {});

  /// Forgets every variable from index `count` on and every clause, given or
  /// learnt, that mentions one. Level-0 literals of the other variables stay;
  /// the theory takes back those that came since the first such variable, and
  /// is told again by the next solve which of them stay. An inconsistency
  /// stays: by the rule for scopes above it never comes from a forgotten
  /// clause. Requires: not inside solve; count >= 0. Nothing happens if there
  /// are no such variables. Cost: linear in what came since the last mark with
  /// no more variables, and in the watches of older literals in clauses that
  /// go.
  void shrink_variables(int count);
  /// Makes the theory take back all literals, to be told anew by the next
  /// solve. Requires: not inside solve.
  void retell_theory();
  /// The number of variables, for a stack of scopes to go back to. Notes what
  /// there is, so that shrink_variables need not look at it.
  std::size_t mark() const;
  /// Whether one was made that level 0 may have to go back to.
  bool has_marks() const { return !checkpoints_.empty(); }
  /// shrink_variables to a number that mark() gave.
  void rollback(std::size_t mark) { shrink_variables(static_cast<int>(mark)); }

  /// From now on the theory is told when `variable` is assigned, as for a
  /// theory variable. Requires: not inside solve; no level is open.
  void set_theory_variable(int variable) {
    assert(level() == 0);
    variable_at(variable).theory = true;
  }

  /// A passive variable is not decided: solve is done when all others have
  /// values. Requires: not inside solve; any model of the clauses and the
  /// theory without clauses that mention it is one with them, whatever its
  /// value is to be for that. So it may be a bound that only the theory's own
  /// clauses mention.
  void set_passive(int variable, bool passive);

  // --- Solving ----------------------------------------------------------

  /// Looks for an assignment that satisfies the clauses, the assumptions and
  /// the theory. kUnknown only when stopped, or at the limit of conflicts.
  /// Ensures: no level is open but those of the first `num_kept` assumptions,
  /// as far as they were made, for the theory, too. A solve that begins with
  /// the same ones goes on from there.
  Result solve(const std::vector<Literal>& assumptions = {},
               std::size_t num_kept = 0);
  /// Takes back all levels above this one. Requires: not inside solve.
  void leave_levels(int level = 0) { backtrack(level); }

  /// After kSat, until the next solve: whether `literal` is true in the model.
  /// A literal of a variable made since is false. After kUnknown likewise in
  /// the assignment that was reached, where variables without a value have the
  /// one that would have been tried first. Passive ones may have any.
  bool model_value(Literal literal) const {
    const auto position = static_cast<std::size_t>(literal.variable());
    return position < num_model_variables_ &&
           model_[position] ==
               (literal.is_negated() ? Value::kFalse : Value::kTrue);
  }

  /// After kUnsat, until the next solve: assumptions that together with the
  /// clauses and the theory have no model. Empty if the clauses alone have
  /// none. Not always minimal.
  const std::vector<Literal>& failed_assumptions() const { return failed_; }

  /// After kUnsat, if there is a listener: the clause that says so, of negated
  /// assumptions or empty; 0 if an assumption is the opposite of another.
  ClauseNumber refutation() const { return refutation_; }

  /// How many variables have a value when the assumptions are made and nothing
  /// is decided; nothing if the assumptions and the clauses have no model, as
  /// far as that shows, or when stopped. Ensures: as solve; there is no model
  /// to ask for.
  std::optional<std::size_t> look_ahead(
      const std::vector<Literal>& assumptions);

  /// Makes solve return kUnknown soon after one of the flags becomes true.
  /// Polled at every conflict and every decision.
  void set_stop(const StopFlags& stop) { stop_ = stop; }
  /// Calls `poll` every few steps of solve, on the same thread, before looking
  /// at the stop flag, which it may set. It must not call the search.
  void set_poll(std::function<void()> poll) { poll_ = std::move(poll); }
  /// These flags, for what takes long inside a step.
  const StopFlags& stop() const { return stop_; }
  /// From now on, short clauses are exchanged with other searches over the same
  /// problem; null: no more. Borrowed. Requires: not inside solve; nobody
  /// listens to the clauses but a ClauseListener that takes kShared ones.
  void set_port(ClauseExchange::Port* port) {
    port_ = port;
    num_published_units_ = 0;
  }

  /// Makes each solve return kUnknown once it has met so many conflicts; 0: as
  /// many as it takes.
  void set_conflict_limit(std::uint64_t limit) { conflict_limit_ = limit; }
  /// Makes each solve ask the theory first for the values of decisions, as the
  /// first conflicts of all do, until it has met so many conflicts.
  void set_advised_conflicts(std::uint64_t number) { num_advised_ = number; }

  /// Calls `progress` every SearchOptions::progress_interval conflicts. It must
  /// not call the search, except for statistics().
  void set_progress(std::function<void(const SearchStatistics&)> progress) {
    progress_ = std::move(progress);
  }

  // --- State ------------------------------------------------------------

  /// Counters since construction.
  const SearchStatistics& statistics() const { return statistics_; }
  /// False once the clauses are known to have no model, with no assumptions.
  bool is_consistent() const { return consistent_; }
  /// The current value.
  Value value(Literal literal) const { return values_[literal.index()]; }
  /// The value at level 0.
  Value fixed_value(Literal literal) const {
    const Value now = value(literal);
    const bool is_fixed =
        now != Value::kUnassigned && level_of(literal.variable()) == 0;
    return is_fixed ? now : Value::kUnassigned;
  }
  /// The current decision level.
  int level() const { return static_cast<int>(level_starts_.size()); }
  /// How much it has taken part in conflicts, of late above all.
  double activity(int variable) const { return heap_.activity(variable); }
  /// The level at which `variable` was assigned. Requires: it is assigned.
  int level_of(int variable) const { return variable_at(variable).level; }
  /// Clauses of two or more literals in store.
  std::size_t num_given_clauses() const { return given_.size(); }
  /// Calls `visit` with the literals of each of these, in the order in which
  /// they were added, and its number; the vector is the search's.
  template <class Visit>
  void for_each_given_clause(const Visit& visit) const {
    visit_given_clauses(0, visit);
  }

  // Who looks at all that there is from time to time need not look at all of it
  // again.

  /// How many literals level 0 holds.
  std::size_t num_fixed() const {
    return level_starts_.empty() ? trail_.size() : level_starts_[0];
  }
  /// The given clauses, and this many of the fixed literals, are settled from
  /// now on. Requires: so many are fixed.
  void settle(std::size_t num_fixed) {
    settled_.num_given = given_.size();
    settled_.num_fixed = num_fixed;
  }
  /// How many fixed literals are not. Those that came after the variables that
  /// were forgotten last are not, either.
  std::size_t num_unsettled_literals() const {
    return num_fixed() - settled_.num_fixed;
  }
  /// Calls `visit` with each of them.
  template <class Visit>
  void for_each_unsettled_literal(const Visit& visit) const {
    const std::size_t end = num_fixed();
    for (std::size_t k = settled_.num_fixed; k < end; ++k) visit(trail_[k]);
  }
  /// As for_each_given_clause, with those that are not settled.
  template <class Visit>
  void for_each_unsettled_clause(const Visit& visit) const {
    visit_given_clauses(settled_.num_given, visit);
  }
  /// Whether clauses have numbers: somebody listens.
  bool is_watched() const { return gate_.is_watched(); }
  /// The number of the clause that says what a level-0 literal is.
  /// Requires: is_watched().
  ClauseNumber unit(Literal literal) const {
    return gate_.unit(literal.variable());
  }
  /// Tells the listener of a clause that others imply; see
  /// ClauseListener::derived. The search has no use for it.
  ClauseNumber derive(const std::vector<Literal>& clause,
                      const std::vector<ClauseNumber>& premises) {
    return gate_.derive(clause, premises);
  }
  /// How many learnt clauses and lemmas are kept at present.
  std::size_t num_learnt_clauses() const { return learnts_.size(); }

  /// Asserts the invariants. Requires: not inside solve. Cost: linear in all
  /// clauses; nothing without assertions.
  void check_invariants() const;

 private:
  // Why a variable has its value: a clause of clauses_, or one of the
  // explanations_ if the bit is set, or one of these.
  static constexpr ClauseRef kExplanationBit = ClauseRef{1} << 31;
  static constexpr ClauseRef kNoReason = 0xFFFFFFFF;      // decision, level 0
  static constexpr ClauseRef kTheoryReason = 0xFFFFFFFE;  // not yet explained

  struct Variable {
    ClauseRef reason = kNoReason;  // meaningful while assigned
    int level = 0;                 // meaningful while assigned
    bool theory = false;
    bool passive = false;
  };

  /// Marks of the variables during conflict analysis.
  enum class Mark : unsigned char {
    kNone,
    kSeen,       // in the clause being learnt, or resolved away
    kRedundant,  // implied by other literals of the clause
    kNeeded,     // not shown to be implied
  };

  /// A literal on the path of is_redundant: its reason is scanned from
  /// position `next` on.
  struct Frame {
    Literal literal;
    ClauseRef reason;
    int next;
  };

  static constexpr std::size_t kMinExplanationsLimit = std::size_t{1} << 16;

  enum class LemmaOutcome {
    kDone,      // stored, or of no use
    kConflict,  // all literals false: conflict_ holds it
    kUnsat,     // false at level 0
  };

  static bool is_explanation(ClauseRef reason) {
    return (reason & kExplanationBit) != 0;
  }
  /// Requires: `reason` is a clause. Invalidated as views of clauses are.
  Clause clause_of(ClauseRef reason) {
    return is_explanation(reason) ? explanations_[reason & ~kExplanationBit]
                                  : clauses_[reason];
  }

  Variable& variable_at(int variable) {
    return variables_[static_cast<std::size_t>(variable)];
  }
  const Variable& variable_at(int variable) const {
    return variables_[static_cast<std::size_t>(variable)];
  }
  Mark& mark_of(int variable) {
    return marks_[static_cast<std::size_t>(variable)];
  }
  std::vector<Watch>& watches_of(Literal literal) {
    return watches_[literal.index()];
  }
  bool is_false_at_level_0(Literal literal) const {
    return fixed_value(literal) == Value::kFalse;
  }
  bool is_true_at_level_0(Literal literal) const {
    return fixed_value(literal) == Value::kTrue;
  }

  /// How far the lists had grown at a time. What is behind that may mention
  /// variables from num_variables on, nothing before it does.
  struct Checkpoint {
    int num_variables = 0;
    std::size_t num_given = 0;
    std::size_t num_learnts = 0;
    std::size_t num_fixed = 0;
    /// So much of the trail has been there ever since, or since the next one,
    /// which knows how much that is.
    std::size_t num_lasting = 0;
  };

  template <class Visit>
  void visit_given_clauses(std::size_t first, const Visit& visit) const {
    std::vector<Literal> literals;
    for (std::size_t n = first; n < given_.size(); ++n) {
      const ConstClause clause = clauses_[given_[n]];
      literals.clear();
      for (int k = 0; k < clause.size(); ++k) literals.push_back(clause[k]);
      visit(std::as_const(literals), clauses_.number(given_[n]));
    }
  }

  // variables.cc: forgetting variables.
  void drop_checkpoint() const;
  Checkpoint last_checkpoint(int num_variables);
  void leave_levels_of(int first_variable, const Checkpoint& start);
  void forget_fixed(int count, std::size_t start);
  void forget_clauses(std::vector<ClauseRef>& list, std::size_t start);
  void drop_deleted_from(Literal watched);

  // search.cc: the main loop.
  Result do_solve();
  Literal pick_assumption(bool& failed);
  Literal pick_decision();
  bool is_open(int variable) const {
    return value(Literal(variable, false)) == Value::kUnassigned &&
           !variable_at(variable).passive;
  }
  void restart();
  void improve_phases();
  int reusable_level();
  void save_model();
  void save_unassigned();
  bool is_stopped() {
    if (poll_ && ++num_steps_ % kStepsPerPoll == 0) poll_();
    return statistics_.conflicts >= last_conflict_ || stop_.is_set();
  }

  // trail.cc: assigning and taking back.
  void open_level();
  /// Requires: `literal` is unassigned. In the header for the sake of the
  /// propagation loop.
  void assign(Literal literal, ClauseRef reason) {
    assert(value(literal) == Value::kUnassigned);
    values_[literal.index()] = Value::kTrue;
    values_[(~literal).index()] = Value::kFalse;
    Variable& variable = variable_at(literal.variable());
    variable.level = level();
    variable.reason =
        variable.level == 0 && !gate_.is_watched() ? kNoReason : reason;
    __builtin_prefetch(&watches_of(~literal));
    trail_.push_back(literal);
  }
  /// Takes back all levels above `level`; does nothing if there are none.
  void backtrack(int level);

  /// Assigns the literal of a clause that has no other. Requires: level 0.
  void assign_unit(Literal literal, ClauseNumber number) {
    gate_.set_unit(literal.variable(), number);
    assign(literal, kNoReason);
  }

  // propagation.cc: fixpoints. After a conflict, conflict_ is a false clause.
  enum class Fixpoint { kReached, kClauseConflict, kTheoryConflict };
  Fixpoint propagate();
  Value find_not_false(Clause clause, int& position) const;
  ClauseRef propagate_clauses();
  void note_conflict(ClauseRef conflict);
  Fixpoint propagate_theory(bool& progress);

  // analysis.cc: from conflicts to learnt clauses and cores.
  bool resolve_conflict(bool from_theory);
  void learn_from_conflict(int level);
  void analyze();
  void mark_literal(Literal literal, int& open);
  ClauseRef reason_of(Literal literal);
  void use_clause(ClauseRef ref);
  void minimise();
  bool is_redundant(Literal literal);
  void shorten_by_binaries();
  bool stamp_level(Literal literal);
  int stamp_levels(const std::vector<Literal>& clause);
  void clear_marks();
  void learn(ClauseNumber number);
  void analyze_assumption(Literal assumption);

  // clauses.cc: clauses from outside, at any level.
  LemmaOutcome add_lemma();
  LemmaOutcome add_implied(ClauseOrigin origin, std::optional<int> shared_glue);
  bool exchange_clauses();
  bool normalise_clause(std::vector<Literal>& clause);
  bool finds_watches(std::vector<Literal>& clause) const;

  // derivation.cc: what the listener is told.
  ClauseNumber number_of(ClauseRef reason) const {
    return is_explanation(reason)
               ? explanations_.number(reason & ~kExplanationBit)
               : clauses_.number(reason);
  }
  void note_theory_conflict();
  void note_units();
  ClauseNumber note_shorter(const std::vector<Literal>& clause,
                            const std::vector<Literal>& shorter,
                            ClauseNumber number);
  void note_fixed(int variable) {
    if (gate_.is_watched()) use_unit(variable);
  }
  void use_unit(int variable);
  void use_reasons_of_removed();
  ClauseNumber derive_from_resolved(const std::vector<Literal>& clause);
  ClauseNumber derive_learnt();
  ClauseNumber derive_empty();
  ClauseNumber derive_failed();

  // reduction.cc: storing and deleting clauses.
  ClauseRef store_clause(const std::vector<Literal>& literals, bool learnt,
                         int glue, ClauseNumber number);
  void remove_clause(ClauseRef ref);
  void attach_clause(ClauseRef ref);
  bool is_reason(ClauseRef ref) const;
  // How many reductions a clause of this glue survives without use.
  int use_for(int glue) const { return glue <= options_.middle_glue ? 2 : 1; }
  void bump_clause(Clause clause);
  void decay_clauses();
  void reduce_clauses();
  void delete_useless();
  bool wants_simplification() const;
  void mark_satisfied();
  void simplify_clause(ClauseRef ref);
  void drop_deleted();
  void drop_deleted(std::vector<ClauseRef>& list,
                    std::size_t Checkpoint::*length);
  void collect_garbage();
  void collect_explanations();

  Theory* theory_;  // borrowed, may be null
  const SearchOptions options_;
  StopFlags stop_;
  ClauseExchange::Port* port_ = nullptr;  // borrowed, may be null
  std::size_t num_published_units_ = 0;   // literals of level 0
  std::uint64_t next_exchange_ = 0;       // in conflicts
  std::function<void(const SearchStatistics&)> progress_;
  // A step takes some microseconds, and a look at the clock a part of one.
  static constexpr std::uint64_t kStepsPerPoll = 16;
  std::function<void()> poll_;
  std::uint64_t num_steps_ = 0;
  SearchStatistics statistics_;

  bool consistent_ = true;
  ClauseNumber refutation_ = 0;

  // By number of variables, no two the same. A mark changes nothing else.
  mutable std::vector<Checkpoint> checkpoints_;
  Checkpoint settled_;

  // Assignment. values_ and watches_ are indexed by literal.
  std::vector<Value> values_;
  std::vector<Variable> variables_;
  std::vector<Literal> trail_;  // capacity for all variables
  // Trail size when level i + 1 was opened.
  std::vector<std::size_t> level_starts_;
  std::size_t clause_head_ = 0;  // trail_ from here on is not propagated
  std::size_t theory_head_ = 0;  // trail_ from here on is not told

  // Clauses.
  ClauseGate gate_;
  ClauseDatabase clauses_;
  std::vector<std::vector<Watch>> watches_;
  std::vector<ClauseRef> given_;
  std::vector<ClauseRef> learnts_;  // lemmas included
  float clause_increment_ = 1.0F;
  std::uint64_t next_reduction_;           // in conflicts
  std::size_t simplified_literals_ = 0;    // level-0 ones, when last simplified
  std::uint64_t next_simplification_ = 0;  // in propagations

  // Theory explanations asked for so far that may be reasons still. Unwatched,
  // and apart from the clauses because most die within a conflict or two.
  ClauseDatabase explanations_;
  std::size_t explanations_limit_ = kMinExplanationsLimit;  // in words

  // Decisions.
  DecisionHeap heap_;
  Phases phases_;
  RestartPolicy restarts_;
  Random random_;
  std::uint64_t next_rephase_;  // in conflicts
  std::uint64_t num_rephases_ = 0;
  std::uint64_t next_improvement_ = 0;  // in conflicts

  // One solve; it ends when there are as many conflicts in all as
  // last_conflict_ says.
  std::uint64_t conflict_limit_ = 0;
  std::uint64_t last_conflict_ = 0;
  // Likewise for advice.
  std::uint64_t num_advised_ = 0;
  std::uint64_t last_advised_conflict_ = 0;
  std::vector<Literal> assumptions_;
  // Ends before the first decision, with so many variables assigned.
  bool looks_ahead_ = false;
  std::optional<std::size_t> num_implied_;
  /// By variable, the values of the last model. Of the first num_saved_
  /// literals of the trail they are the values that these have, of variables
  /// from num_model_variables_ on they mean nothing.
  std::vector<Value> model_;
  std::size_t num_model_variables_ = 0;
  std::size_t num_saved_ = 0;
  std::vector<Literal> failed_;

  // Scratch space, empty or clear between uses.
  std::vector<Literal> conflict_;
  ClauseRef conflict_ref_ = kNoReason;  // conflict_'s clause, if stored
  ClauseNumber conflict_number_ = 0;    // conflict_'s
  std::vector<Literal> learnt_;
  std::vector<Literal> lemma_;
  std::vector<Literal> implied_;
  std::vector<Literal> reason_;
  std::vector<Mark> marks_;
  std::vector<int> marked_;  // variables whose mark is set
  std::vector<Frame> frames_;
  std::vector<Literal> touched_;  // whose watches have deleted clauses
  // For the listener: literals that were taken out of learnt_ because of their
  // reasons, and variables whose literal a binary clause took out, with that
  // clause; level-0 literals already noted; premises; what was resolved
  // in this order, from the conflict on.
  std::vector<Literal> removed_;
  std::vector<std::pair<int, ClauseRef>> shortened_;
  std::size_t num_noted_units_ = 0;
  std::vector<ClauseNumber> premises_;
  std::vector<ClauseNumber> resolved_;
  std::vector<std::uint64_t> level_stamps_;
  std::uint64_t stamp_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_SEARCH_H
