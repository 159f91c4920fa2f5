// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_PROOF_MACHINE_PROVER_H
#define VORN_SOLVER_PROOF_MACHINE_PROVER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "solver/engine/proof_log.h"
#include "solver/proof/clause_prover.h"
#include "solver/proof/proof_text.h"
#include "solver/proof/written_terms.h"
#include "solver/scheduling/machine_certificate.h"
#include "solver/terms/difference_bound.h"
#include "solver/terms/term_store.h"
#include "vorn/numbers/d_number.h"

namespace vorn::solver {

/// Proves clauses about sets of tasks, with sums of bounds and resolution
/// alone.
///
/// Times that constraints carry along are sums. Each rule about a set comes
/// down to tasks that do not fit between a start and an end, and that is proved
/// by taking tasks out one by one: without the task n, each of the others
/// starts at (ite (n is before it) (- s p) s), if s was its start and p is how
/// long n takes. Whatever the order, the others do not overlap then either,
/// start no earlier than before, and end by p sooner. What is said there of two
/// tasks depends on the tasks taken out alone, and is proved once for all
/// clauses.
///
/// Cost: for a set of n tasks O(n^2) steps, and O(n^3) once.
/// Ownership: borrows all. Threads: none.
class MachineProver {
 public:
  /// The literal of the search's literal.
  using LiteralOf = std::function<WrittenLiteral(Literal)>;
  /// The clause proved for a number.
  using ClauseOf = std::function<const ProvedClause&(ClauseNumber)>;

  /// Has proved nothing.
  MachineProver(TermStore& store, WrittenTerms& terms, ProofText& text,
                ClauseProver& prover, const ProofLog& log, LiteralOf literal_of,
                ClauseOf clause_of)
      : store_(store),
        terms_(terms),
        text_(text),
        prover_(prover),
        log_(log),
        literal_of_(std::move(literal_of)),
        clause_of_(std::move(clause_of)) {}

  /// Tells of a clause that is going to be proved, so that what several have
  /// in common is proved once. Requires: all are told of before the first.
  void count_uses(const MachineCertificate& certificate);
  /// Clauses of which the one that was found in this way is the resolvent, from
  /// the first one on. Empty if it was not.
  std::vector<ProvedClause> prove(const MachineCertificate& certificate);

 private:
  using Task = std::uint32_t;
  /// Literals that are true; bounds are added up.
  using Literals = std::vector<WrittenLiteral>;
  /// By task.
  using Side = std::map<Task, Literals>;

  /// That a node is no earlier, or no later, than some time after the origin.
  struct Fact {
    la::DNumber time;  // the latest time, negated
    /// What that follows from.
    Literals reasons;
  };
  /// One machine, with some tasks taken out.
  struct Rest {
    int machine;
    /// The rest that the last task was taken out of; -1 for none.
    int parent;
    Task taken;
    std::map<Task, int> children;
    std::map<Task, WrittenId> starts;
    std::map<std::pair<Task, Task>, ProvedClause> separations;
  };
  /// Tasks that do not fit, and from which bounds that follows.
  struct Misfit {
    int machine;
    std::vector<Task> tasks;
    /// Why each starts no earlier than `low` after low_from.
    Side starts;
    WrittenId low_from;
    std::optional<la::DNumber> low;
    /// Why each has ended by `high` after high_from.
    Side ends;
    WrittenId high_from;
    std::optional<la::DNumber> high;
    /// What contradicts that there is so much time in between.
    Literals others;

    void lower(const la::DNumber& time) {
      if (!low || time < *low) low = time;
    }
    void heighten(const la::DNumber& time) {
      if (!high || *high < time) high = time;
    }
  };

  /// A set of tasks, in whatever order they come.
  struct Span {
    /// The first start, and the last end.
    WrittenId first;
    WrittenId last;
    /// By position in the set: that the first start is no earlier than this
    /// task's, and the last end no later.
    Literals firsts;
    Literals lasts;
    /// That one of each holds.
    ProvedClause is_one_first;
    ProvedClause is_one_last;
    /// That there is room for all in between, and the clause that says so.
    WrittenLiteral is_long;
    ProvedClause length;
  };

  static void append(Literals& to, const Literals& more) {
    to.insert(to.end(), more.begin(), more.end());
  }

  // Times.
  const Fact& fact(const Term* node, TimeDirection direction) const;
  void raise(const Term* node, TimeDirection direction, Fact raised);
  void carry(const MachineStep& step);
  DifferenceBound bound_of(Literal literal);
  Literals reasons_of(const Term* node, TimeDirection direction);
  Literals settle(const Term* node, TimeDirection direction);
  WrittenLiteral time_literal(const Term* node, TimeDirection direction,
                              const la::DNumber& time);

  // Rules.
  Literals order_reasons(int machine, Task a, Task b);
  void apply(const MachineStep& step, const std::vector<Task>& set);
  ProvedClause prove_misfit(Misfit misfit);
  std::vector<std::uint64_t> key_of(const Misfit& misfit);
  ProvedClause do_prove_misfit(Misfit& misfit);
  static bool is_span_worth(std::size_t size, std::size_t num_uses);
  ProvedClause prove_by_span(const Misfit& misfit);
  ProvedClause prove_by_removal(const Misfit& misfit);
  const Span& span_of(int machine, const std::vector<Task>& tasks);
  WrittenId extreme_of(const std::vector<WrittenId>& numbers, bool is_least,
                       const std::vector<Task>& tasks, Side& reasons,
                       std::deque<ProvedClause>& bounds, Literals& extremes,
                       ProvedClause& one);

  // Tasks taken out.
  Rest& rest_at(int rest) { return rests_[static_cast<std::size_t>(rest)]; }
  const CertifiedMachine& machine_of(int rest) {
    return log_.machine(rest_at(rest).machine);
  }
  int whole(int machine);
  int rest_without(int rest, Task task);
  WrittenId start_of(int rest, Task task);
  WrittenLiteral order_of(int rest, Task a, Task b);
  WrittenLiteral branch_literal(int rest, Task task, bool is_after);
  const ProvedClause& branch_of(int rest, Task task, bool is_after) {
    return branch(start_of(rest, task), is_after);
  }
  const ProvedClause& separation_of(int rest, Task a, Task b);
  ProvedClause prove_given_separation(int rest, Task a, Task b);
  ProvedClause prove_separation(int rest, Task a, Task b);

  // Terms and steps.
  WrittenId number_of(const Term* term);
  WrittenId constant(const QNumber& value);
  WrittenId plus(WrittenId number, const QNumber& time);
  const ProvedClause& branch(WrittenId number, bool is_first);
  WrittenLiteral equal_literal(WrittenId left, WrittenId right);
  WrittenLiteral compare(WrittenId left, WrittenId right, bool strict);
  ProvedClause sum(const Literals& reasons, WrittenLiteral conclusion = 0,
                   const Literals& raised = {}, const Literals& lowered = {});
  const std::string& coefficient(WrittenLiteral comparison);
  ProvedClause resolve(const std::vector<const ProvedClause*>& clauses);
  void use(ProvedClause clause) {
    if (clause.step != 0) inferences_.push_back(std::move(clause));
  }

  TermStore& store_;
  WrittenTerms& terms_;
  ProofText& text_;
  ClauseProver& prover_;
  const ProofLog& log_;
  LiteralOf literal_of_;
  ClauseOf clause_of_;

  std::deque<Rest> rests_;
  std::map<int, int> whole_;  // by machine: the rest with all tasks
  /// By machine and tasks, ascending.
  std::map<std::pair<int, std::vector<Task>>, std::size_t> num_uses_;
  std::map<std::pair<int, std::vector<Task>>, Span> spans_;
  ProvedClauses misfits_;
  /// By number, and whether it is the first branch.
  std::unordered_map<WrittenLiteral, ProvedClause> branches_;
  /// Sums of bounds, by their literals; equalities are not negated.
  ProvedClauses sums_;
  /// Resolvents, by their premises.
  ProvedClauses resolvents_;
  std::map<QNumber, WrittenId> constants_[3];  // by sort
  /// By comparison, as text.
  std::unordered_map<WrittenId, std::string> coefficients_;

  // Of the clause at hand.
  const Term* origin_ = nullptr;
  Sort sort_ = Sort::kInt;  // of times
  std::map<std::pair<const Term*, TimeDirection>, Fact> facts_;
  /// Clauses that each bring forth literals of later ones.
  std::vector<ProvedClause> inferences_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_PROOF_MACHINE_PROVER_H
