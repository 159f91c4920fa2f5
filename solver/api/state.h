// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_API_STATE_H
#define VORN_SOLVER_API_STATE_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/engine/graph_recorder.h"
#include "solver/explain/script_formula.h"
#include "solver/smtlib/assertion_stack.h"
#include "solver/smtlib/operators.h"
#include "solver/terms/scope_stack.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "vorn/solver/session.h"

namespace vorn::api::inner {

/// What is behind a Session: terms, the stack of assertions with its engine,
/// and what ends a check.
///
/// No term is ever swept, since handles outside may refer to each; so the id of
/// a term is its name for as long as the session lasts, which the C interface
/// hands out.
struct State {
  /// Nothing is asserted.
  explicit State(const Settings& chosen);
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  /// What the last check has left, and no change has taken away.
  enum class Stage { kEdited, kSat, kUnsat, kUnknown };

  // Handles.

  /// Of a formula of this session.
  Formula formula(const solver::Term* term) { return {this, term}; }
  /// Of an expression.
  Expression expression(const solver::Term* term) { return {this, term}; }
  /// What a handle stands for.
  static const solver::Term* term_of(const Formula& formula) {
    return formula.term_;
  }
  static const solver::Term* term_of(const Expression& expression) {
    return expression.term_;
  }
  static State& state_of(const Formula& formula) { return *formula.state_; }
  static State& state_of(const Expression& expression) {
    return *expression.state_;
  }
  static State& state_of(Session& session) { return *session.state_; }

  // Terms.

  /// Numbers that are whole are integers.
  const solver::Term* number(const QNumber& value);
  /// Makes both reals if one is.
  void unify(const solver::Term*& a, const solver::Term*& b);
  /// a + b.
  const solver::Term* plus(const solver::Term* a, const solver::Term* b);
  /// factor * a.
  const solver::Term* times(const QNumber& factor, const solver::Term* a);
  /// a <= b, or a < b.
  const solver::Term* compare(const solver::Term* a, const solver::Term* b,
                              bool strict);

  // What a session does.

  /// See Session.
  bool is_free(std::string_view name) const;
  /// Whether SMT-LIB can write a name.
  static bool is_spellable(std::string_view name);
  /// A new symbol. Requires: is_free(name).
  const solver::Term* declare(std::string_view name, solver::Sort sort);
  /// Why a Boolean term cannot be asserted; empty if it can.
  std::string objection(const solver::Term* term);
  /// Why an arithmetic term cannot be bounded.
  std::string objection_to_bounds(const solver::Term* term);
  /// Requires: there is no objection; `label` is free, or empty for none.
  void add(const solver::Term* term, std::string_view label);
  /// Likewise.
  void add(solver::ScriptObjective objective);
  /// Opens a scope.
  void push();
  /// Closes one.
  void pop();
  /// Whether there is a model of what is asserted and assumed.
  Answer check(const std::vector<const solver::Term*>& assumptions);
  /// The assertions and then the assumptions of the last check.
  std::vector<solver::ScriptFormula> formulas() const;
  /// As Session.
  std::string proof();
  std::string script() const;
  std::string explanation();
  /// Requires: there was a check, and no change since.
  void write_picture(std::ostream& out);

  /// Runs what searches, with the session's limits. False if memory ran out;
  /// then the session is spent, as the work may have left a scope open.
  template <class Work>
  bool search(const Work& work) {
    if (is_spent) return false;
    start_clock();
    bool had_memory = true;
    try {
      work();
    } catch (const std::bad_alloc&) {
      had_memory = false;
    } catch (const std::length_error&) {
      had_memory = false;
    }
    stop_flag.store(false, std::memory_order_relaxed);
    is_spent = is_spent || !had_memory;
    return had_memory;
  }
  /// Changes the stack. Throws std::bad_alloc if the session is spent, or is by
  /// now: half a change cannot be taken back.
  template <class Edit>
  void edit(const Edit& edit) {
    if (is_spent) throw std::bad_alloc();
    stage = Stage::kEdited;
    try {
      edit();
    } catch (...) {
      is_spent = true;
      throw;
    }
  }

  const Settings settings;
  // Used by the engine to its end.
  std::optional<solver::GraphRecorder> recorder;
  solver::TermStore store;
  solver::OperatorBuilder builder{store};
  solver::AssertionStack stack;
  // In the order of their declaration.
  std::vector<const solver::Term*> declared;
  // Variables, and labels of the assertions that stand.
  std::unordered_map<std::string, const solver::Term*> names;
  std::vector<std::string> labels;
  solver::ScopeStack<std::vector<std::string>> scopes{labels};

  Stage stage = Stage::kEdited;
  Reason reason = Reason::kNone;
  bool is_spent = false;
  // Of the last check, those repeated too.
  std::vector<const solver::Term*> assumptions;
  // A check has confirmed the core.
  bool is_core_settled = false;
  // What was refuted last beside the assertions; null if nothing was.
  const solver::Term* improvement = nullptr;
  std::string improvement_text;

  // Limits.
  std::uint64_t timeout = 0;
  std::uint64_t conflict_limit = 0;
  std::function<bool()> poll_host;
  std::function<void(const Progress&)> progress;
  Progress last_progress;
  std::atomic<bool> stop_flag{false};

 private:
  using Clock = std::chrono::steady_clock;

  void start_clock();
  void poll();
  void tell(const solver::ObjectiveResult& result);
  const solver::Term* better();
  bool refute_improvement();

  Clock::time_point deadline_;
  Clock::time_point last_poll_;
  bool has_deadline_ = false;
  bool timed_out_ = false;
};

/// An end of an interval as it is told.
Extent extent_of(const solver::Extent& extent);
/// An interval, likewise.
Interval interval_of(const solver::Interval& interval);
/// What is known of an objective.
Objective objective_of(const solver::ObjectiveResult& result);

}  // namespace vorn::api::inner

#endif  // VORN_SOLVER_API_STATE_H
