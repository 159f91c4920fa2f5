// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SESSION_H
#define VORN_SOLVER_SESSION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "vorn/export.h"
#include "vorn/numbers/q_number.h"
#include "vorn/services/logger.h"
#include "vorn/solver/answers.h"
#include "vorn/solver/settings.h"
#include "vorn/solver/terms.h"

// Questions of difference logic, asked from C++:
//
//   vorn::api::Session session;
//   const auto a = session.integer("a"), b = session.integer("b");
//   session.add((b - a >= 3 || a - b >= 2) && a >= 0 && b >= 0);
//   const auto end = session.integer("end");
//   session.add(end - a >= 2 && end - b >= 3);
//   session.minimize(end);
//   if (session.check() == vorn::api::Answer::kSat) use(session.value(end));
//
// It is the solver behind the command `vorn`, without the text in between.

namespace vorn::api {

/// A stack of assertions and objectives over integers, reals and truth values,
/// and the checks whether they have a model.
///
/// Cost: said where it is not that of the answer. What a check has learnt,
/// later ones use, as far as what it was learnt from still stands. Ownership:
/// owns all its terms until it is destroyed. Neither copied nor moved. Threads:
/// one at a time uses a session and its terms, and numbers that came from it;
/// several sessions may run at once. stop() may come from anywhere. Errors: a
/// session prints nothing and ends no program. What it throws is
/// std::bad_alloc; if that comes from a call that changes assertions or
/// objectives, or from check, the session is spent: is_spent() holds, check
/// answers kUnknown, and only destroying it is of use. Numbers beyond 64 bits
/// ask GMP for memory, which ends the process where that fails unless its host
/// has said otherwise (mp_set_memory_functions).
class VORN_EXPORT Session {
 public:
  /// Nothing is asserted.
  explicit Session(const Settings& settings = {});
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  // Variables. They are known in all scopes. Requires: is_free(name).

  /// Whether a variable may be called so: it is not the empty text, holds no
  /// '|', no '\' and no byte 0, is no function of SMT-LIB, and no variable of
  /// this session is.
  bool is_free(std::string_view name) const;
  /// A new integer.
  Expression integer(std::string_view name);
  /// A new real number.
  Expression real(std::string_view name);
  /// A new truth value.
  Formula boolean(std::string_view name);

  // Constants, and terms of many parts, which cost less than if they are put
  // together one by one.

  /// A number; an integer if it is whole.
  Expression number(const QNumber& value);
  /// True or false.
  Formula truth(bool value);
  /// The sum; 0 of none.
  Expression sum(const std::vector<Expression>& parts);
  /// All of them; true of none.
  Formula all(const std::vector<Formula>& parts);
  /// At least one of them; false of none.
  Formula any(const std::vector<Formula>& parts);
  /// No two have the same value. Requires: there are two.
  Formula distinct(const std::vector<Expression>& parts);

  // Assertions and objectives.

  /// Why a formula cannot be asserted or assumed: text that names a comparison
  /// in it that is no difference; empty if it can.
  /// Cost: each part of a formula is looked at once in a session.
  std::string objection(const Formula& formula);
  /// The same for an expression that is to be an objective, or bounded.
  std::string objection(const Expression& expression);

  /// Asserts a formula. False if there is an objection; then nothing has
  /// changed.
  bool add(const Formula& formula);
  /// Likewise; core() may name it. Requires: is_free_label(label).
  bool add(const Formula& formula, std::string_view label);
  /// Whether no assertion has this name, and is_free would have no other
  /// objection.
  bool is_free_label(std::string_view label) const;
  /// Wants an expression to be small. The first objective counts before all
  /// others, and so on. False if there is an objection.
  bool minimize(const Expression& expression, std::string_view name = {});
  /// Wants it to be great.
  bool maximize(const Expression& expression, std::string_view name = {});
  /// Wants a formula to hold: it costs `weight` if it does not. Those of one
  /// group are one objective, which stands where the first of them does, and is
  /// to cost little. False if there is an objection. Requires: the weight is
  /// not below 0.
  bool soften(const Formula& formula, const QNumber& weight = QNumber(1),
              std::string_view group = "soft");

  /// Opens a scope of assertions and objectives.
  void push();
  /// Takes back those since the matching push. Requires: num_scopes() > 0.
  void pop();
  /// How many scopes are open.
  std::size_t num_scopes() const;
  /// How many formulas are asserted.
  std::size_t num_assertions() const;

  // Checks.

  /// Whether assertions and assumptions have a model together, and if so, the
  /// best one as the objectives say. Requires: no assumption has an objection.
  Answer check(const std::vector<Formula>& assumptions = {});
  /// After kUnknown.
  Reason reason() const;
  /// Whether memory ran out in a way that leaves nothing to build on.
  bool is_spent() const;

  /// A check answers kUnknown after so many milliseconds; 0: it takes its time.
  /// So do bounds, core, explanation and proof where they have to search. The
  /// clock is looked at between steps, of which one on a graph of millions of
  /// bounds may take seconds.
  void set_timeout(std::uint64_t milliseconds);
  /// After so many conflicts, on every machine the same; 0: no limit.
  void set_conflict_limit(std::uint64_t conflicts);
  /// Called every few milliseconds of a check, on its thread; if it returns
  /// true, the check ends. Must not throw, nor use the session. Empty: none.
  void set_poll(std::function<bool()> poll);
  /// Called when there is something to tell, likewise.
  void set_progress(std::function<void(const Progress&)> progress);
  /// Ends the check under way, or the next one if there is none. May be called
  /// from any thread, and from a signal handler.
  void stop() noexcept;

  // After a check, until the next change or check.

  /// Whether there are values to ask for: after kSat; and after kUnknown if the
  /// check has come to any, which then are those of its best model so far where
  /// there is an objective, and need not satisfy anything where there is none.
  bool has_model() const;
  /// The truth value. Requires: has_model().
  bool value(const Formula& formula);
  /// The value, exactly; an integer if the expression is one. Requires: the
  /// same.
  QNumber value(const Expression& expression);
  /// What is known of each objective. Requires: the last answer is not kUnsat.
  std::vector<Objective> objectives() const;
  /// Between which values an expression lies in all models that the check could
  /// have answered with; as far as the time goes. The model stays. Requires:
  /// the last answer is kSat, and there is no objection.
  Interval bounds(const Expression& expression);

  /// Assumptions that contradict the assertions, by their positions, ascending.
  /// Requires: the last answer is kUnsat.
  std::vector<std::size_t> failed() const;
  /// Names of assertions that contradict those without names and the
  /// assumptions. Cost: a check that confirms it; see Settings. Requires: the
  /// same.
  std::vector<std::string> core();
  /// Why there is no model: inequalities that add up to a contradiction, where
  /// no cases have to be told apart, otherwise formulas that are one together.
  /// Assertions are counted from 1. Requires: the same.
  std::string explanation();

  // Evidence.

  /// The proof, in Alethe, of the last answer, for `vorn-check SCRIPT PROOF`
  /// with script() as the script: that there is no model, or, with objectives,
  /// that no model is better, where that is assumed as improvement() says.
  /// Empty if there is none. Requires: keep_proofs.
  std::string proof();
  /// After a proof() of objectives: the formula that it refutes, for
  /// `vorn-check --assume FORMULA`. Empty for a proof of kUnsat.
  const std::string& improvement() const;
  /// What is asked now, with the assumptions of the last check, as a script in
  /// SMT-LIB 2.6, which `vorn` answers in the same way.
  std::string script() const;
  /// The formula as SMT-LIB writes it.
  std::string text(const Formula& formula) const;
  /// The same for an expression.
  std::string text(const Expression& expression) const;
  /// The model's tasks on their machines, as SVG; empty if there is no machine.
  /// Requires: keep_schedule, and the last answer is kSat.
  std::string chart();

  /// Writes the constraint graph as the last check has left it, in Graphviz
  /// DOT, as `vorn --dot` does; "Pictures" in docs/command.md says what is
  /// drawn how. Comparisons are written as SMT-LIB writes them, if they are not
  /// asserted under a label. Requires: there was a check, and no change since.
  /// Cost: linear in what is asserted.
  void write_picture(std::ostream& out);

  /// Where the graph logs from the next check on, up to the logger's level;
  /// null for nowhere. Borrowed.
  void set_logger(Logger* logger);
  /// Hands all that was noted to Settings::recording. False, with errno set, if
  /// the stream did not take something, now or before.
  bool finish_recording();

  /// Counters, from the start on. Cost: no search.
  Statistics statistics() const;

 private:
  friend struct inner::State;
  std::unique_ptr<inner::State> state_;
};

/// The library's version, as "1.2.3".
VORN_EXPORT const char* version();

}  // namespace vorn::api

#endif  // VORN_SOLVER_SESSION_H
