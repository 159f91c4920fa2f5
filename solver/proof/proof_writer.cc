// SPDX-License-Identifier: MIT
#include "solver/proof/proof_writer.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>

#include "solver/engine/atom_normaliser.h"
#include "solver/proof/clause_prover.h"
#include "solver/proof/machine_prover.h"
#include "solver/proof/proof_text.h"

namespace vorn::solver {
namespace {

class Writer {
 public:
  Writer(TermStore& store, WrittenTerms& terms,
         const Engine::Refutation& refutation, const AssertionSource& assertion,
         const WrittenFormulas& assumptions, std::ostream& out)
      : log_(*refutation.log),
        refutation_(refutation),
        assertion_(assertion),
        assumptions_(assumptions),
        normaliser_(store),
        text_(terms, out),
        prover_(store, normaliser_, terms, text_),
        machine_prover_(
            store, terms, text_, prover_, log_,
            [this](Literal literal) { return written(literal); },
            [this](ClauseNumber number) -> const ProvedClause& {
              return clauses_[number];
            }) {}

  bool write() {
    const bool is_whole = write_steps();
    text_.flush();
    return is_whole;
  }

 private:
  bool write_steps() {
    numbers_ = refutation_.last == 0 ? std::vector<ClauseNumber>()
                                     : log_.needed(refutation_.last);
    clauses_.resize(refutation_.last + 1);
    if (!learn_formulas()) return false;
    for (const ClauseNumber number : numbers_) {
      const ProofLog::Step step = log_.step(number);
      if (step.is_derived) {
        const ProvedClause& derived = clauses_[number] = derive(step);
        if (derived.step == 0) return false;
        if (derived.literals.empty()) return true;
        continue;
      }
      if (step.origin.kind == ClauseKind::kMachine) {
        ProvedClause& proved = clauses_[number] =
            machine_prover_.prove(log_.certificate(step.origin.detail));
        if (proved.step == 0) return false;
        if (proved.literals.empty()) return true;
        continue;
      }
      std::vector<WrittenLiteral>& clause = clause_;
      clause.clear();
      for (const Literal l : step.literals) clause.push_back(written(l));
      if (step.origin.kind == ClauseKind::kAsserted) {
        set_root(assertion_(step.origin.detail));
      }
      ProvedClause& proved = clauses_[number];
      const bool is_sum = is_arithmetic(step.origin.kind) ||
                          step.origin.kind == ClauseKind::kRounding;
      proved = is_sum ? prover_.prove_sum(clause) : prover_.prove(clause);
      if (proved.step == 0) return false;
      if (proved.literals.empty()) return true;
    }
    return finish();
  }

  // Makes known what is asserted or assumed as far as it takes part, and what
  // the clauses are about. What is assumed stands at the beginning.
  bool learn_formulas() {
    const auto learn = [this](WrittenId formula) {
      if (formulas_.count(formula) != 0) return true;
      formulas_.emplace(formula, text_.assume(formula));
      return prover_.learn(formula);
    };
    for (const ClauseNumber number : numbers_) {
      const ProofLog::Step step = log_.step(number);
      if (step.is_derived || step.origin.kind != ClauseKind::kAsserted)
        continue;
      if (!learn(assertion_(step.origin.detail))) return false;
    }
    for (const auto& [literal, term] : refutation_.assumptions) {
      if (!learn(assumptions_.at(term))) return false;
    }
    for (const ClauseNumber number : numbers_) {
      const ProofLog::Step step = log_.step(number);
      for (const Literal l : step.literals) written(l);
      if (step.is_derived || step.origin.kind != ClauseKind::kMachine) continue;
      const MachineCertificate certificate =
          log_.certificate(step.origin.detail);
      machine_prover_.count_uses(certificate);
      for (const MachineStep& inference : certificate.steps) {
        if (inference.literal.is_defined()) written(inference.literal);
      }
    }
    for (const auto& [literal, term] : refutation_.assumptions) {
      written(literal);
    }
    return true;
  }

  WrittenLiteral written(Literal literal) {
    const auto variable = static_cast<std::size_t>(literal.variable());
    if (variable >= literals_.size()) literals_.resize(variable + 1, 0);
    WrittenLiteral& known = literals_[variable];
    if (known == 0) {
      const ProofLog::Name& name = log_.name(literal.variable());
      known = name.is_bound
                  ? prover_.literal_of(name.bound)
                  : prover_.literal_of(name.term) ^ (name.is_negated ? 1U : 0U);
    }
    return known ^ (literal.is_negated() ? 1U : 0U);
  }

  void set_root(WrittenId formula) {
    if (root_ == formula) return;
    root_ = formula;
    prover_.set_root(formula, formulas_.at(formula).step);
  }

  // The step's clause or a part of it. When its literals are false, each
  // premise in turn has one literal left, and some premise none: what was
  // proved of a premise may be less than what the search had.
  ProvedClause derive(const ProofLog::Step& step) {
    const auto is_false = [this](WrittenLiteral literal) -> char& {
      if (literal >= is_false_.size()) is_false_.resize((literal | 1U) + 1, 0);
      return is_false_[literal];
    };
    for (const WrittenLiteral literal : falsified_) is_false_[literal] = 0;
    falsified_.clear();
    const auto falsify = [&](WrittenLiteral literal) {
      is_false(literal) = 1;
      falsified_.push_back(literal);
    };
    for (const Literal l : step.literals) falsify(written(l));
    std::vector<const ProvedClause*>& others = others_;
    others.clear();
    for (const ClauseNumber number : step.premises) {
      const ProvedClause& premise = clauses_.at(number);
      WrittenLiteral left = 0;
      std::size_t num_left = 0;
      for (const WrittenLiteral l : premise.literals) {
        if (is_false(l) != 0) continue;
        left = l;
        ++num_left;
      }
      if (num_left == 0) {
        std::reverse(others.begin(), others.end());
        return prover_.resolve(premise, others);
      }
      if (num_left > 1) continue;
      falsify(left ^ 1U);
      others.push_back(&premise);
    }
    return ProvedClause();
  }

  // Resolves the last clause with what is assumed; without one, two assumptions
  // are opposites.
  bool finish() {
    ProvedClause last;
    if (refutation_.last != 0) last = clauses_.at(refutation_.last);
    for (const auto& [literal, term] : refutation_.assumptions) {
      set_root(assumptions_.at(term));
      ProvedClause proved = prover_.prove({written(literal)});
      if (proved.step == 0) return false;
      if (proved.literals.empty()) return true;
      last = last.step == 0 ? proved : prover_.resolve(last, {&proved});
      if (last.literals.empty()) return true;
    }
    return false;
  }

  ProofLog& log_;
  const Engine::Refutation& refutation_;
  const AssertionSource& assertion_;
  const WrittenFormulas& assumptions_;
  AtomNormaliser normaliser_;
  ProofText text_;
  ClauseProver prover_;
  MachineProver machine_prover_;
  std::vector<ClauseNumber> numbers_;
  std::unordered_map<WrittenId, ProvedClause> formulas_;
  std::vector<ProvedClause> clauses_;   // by number, as far as proved
  std::vector<WrittenLiteral> clause_;  // at hand
  // Of derive: the premises to resolve with; by literal, and which of them are.
  std::vector<const ProvedClause*> others_;
  std::vector<char> is_false_;
  std::vector<WrittenLiteral> falsified_;
  std::vector<WrittenLiteral> literals_;  // by variable of the log
  WrittenId root_ = kNotWritten;
};

}  // namespace

bool write_proof(TermStore& store, WrittenTerms& terms,
                 const Engine::Refutation& refutation,
                 const AssertionSource& assertion,
                 const WrittenFormulas& assumptions, std::ostream& out) {
  return Writer(store, terms, refutation, assertion, assumptions, out).write();
}

}  // namespace vorn::solver
