// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SEARCH_THEORY_H
#define VORN_SOLVER_SEARCH_THEORY_H

#include <optional>
#include <vector>

#include "solver/search/clause_origin.h"
#include "solver/search/literal.h"

namespace vorn::solver {

/// What a decision procedure offers to the search that drives it.
///
/// The search owns the assignment; the theory follows it. It is told the
/// literals of theory variables in the order in which they became true, and
/// takes them back in the opposite order, level by level. It answers with
/// conflicts (clauses all of whose literals are false), implied literals
/// (explained only when asked) and lemmas.
///
/// A literal that the theory implied is told back by `assigned` like any
/// other. All clauses that a theory hands out must follow from the theory
/// alone; they may repeat a literal. Vectors that a call fills arrive empty
/// and belong to the search.
///
/// No call may change the search, except that next_lemma may make variables.
/// All may read its assignment.
///
/// Threads: none; all calls come from the thread that runs Search::solve or
/// Search::shrink_variables.
class Theory {
 public:
  virtual ~Theory() = default;

  /// `literal`, over a theory variable, became true. Called in trail order,
  /// once per assignment. It belongs to the level opened last.
  virtual void assigned(Literal literal) = 0;

  /// A decision level was opened. Literals told before it belong to lower
  /// levels. The levels are counted from 0, the level before the first call.
  virtual void new_level() = 0;

  /// Takes back, latest first, every literal assigned at a level above
  /// `level`, which becomes the current level. Level -1 takes back all, level
  /// 0's included, and leaves level 0 current. Called only with levels below
  /// the current one, except for -1, which may come at any time.
  virtual void backtrack(int level) = 0;

  /// Takes back the literal told last, of level 0, which is the current one. A
  /// literal that became true before its variable was one of the theory's comes
  /// here, too, without having been told.
  virtual void retract(Literal literal) = 0;

  /// Called when propagation of clauses is at a fixpoint and every assigned
  /// theory literal has been told. Returns true when the assigned literals are
  /// consistent as far as the theory checks them now, and may append
  /// unassigned literals that they imply to `implied`. Otherwise returns false
  /// with `conflict` filled with a clause whose literals are all false now;
  /// the empty clause says that the theory has no model at all. It is called
  /// again until it implies nothing new.
  virtual bool propagate(std::vector<Literal>& implied,
                         std::vector<Literal>& conflict) = 0;

  /// For a literal that propagate reported and that is still true: fills
  /// `reason` with a clause with reason[0] == literal and all others false and
  /// assigned before it. Also called at once, with `literal` false, when
  /// propagate reported a literal together with its opposite. Asked at most
  /// once between the literal's assignment and its removal; for literals
  /// implied at level 0 only if somebody listens to the search's clauses.
  virtual void explain(Literal literal, std::vector<Literal>& reason) = 0;

  /// All variables that must be assigned are, and propagate had nothing to
  /// say. Returns true when the assigned literals have a model of the theory;
  /// the search is then satisfied and takes levels back, so whatever the
  /// model needs must be saved before returning. Otherwise returns false with
  /// `conflict` as in propagate.
  virtual bool final_check(std::vector<Literal>& conflict) = 0;

  /// The search gives up, between two calls of propagate, and takes levels
  /// back: what is to be said of the literals assigned so far must be saved
  /// before returning.
  virtual void stopped() {}

  /// Why the clause that was handed out last holds; for listeners.
  virtual ClauseOrigin origin() const { return {ClauseKind::kCycle}; }

  /// The value to decide an unassigned variable to, if the theory has an
  /// opinion. Asked when propagate had nothing to say.
  virtual std::optional<bool> advise(int /*variable*/) const { return {}; }

  /// Whether the theory may have better phases than the search now; asked every
  /// few conflicts.
  virtual bool wants_phases() const { return false; }
  /// Replaces the values that decisions try first, by variable, where the
  /// theory knows better. Called after wants_phases, with nothing assigned but
  /// what follows from the clauses and assumptions.
  virtual void improve_phases(std::vector<char>& /*phases*/) {}

  /// Called after a theory conflict was analysed and the search has backjumped.
  /// Hands out, one per call, clauses that follow from the theory alone, over
  /// variables assigned in any way; may create variables in the search for
  /// them. Returns false when there are no more. A conflict among the lemmas
  /// makes the search backjump between two calls.
  virtual bool next_lemma(std::vector<Literal>& clause) = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SEARCH_THEORY_H
