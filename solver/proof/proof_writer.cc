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
              return written_clause(number);
            }) {}

  bool write() {
    const bool is_whole = write_steps();
    text_.flush();
    return is_whole;
  }

 private:
  bool write_steps() {
    if (refutation_.last != 0) needed_ = log_.needed(refutation_.last);
    clauses_.resize(refutation_.last + 1);
    if (!learn_formulas()) return false;
    for (const auto& [number, is_used_once] : needed_) {
      const ProofLog::Step step = log_.step(number);
      if (step.is_derived) {
        const ProvedClause& derived = clauses_[number] = derive(step);
        if (derived.step == 0) return false;
        if (derived.literals.empty()) return true;
        continue;
      }
      if (step.origin.kind == ClauseKind::kMachine) {
        std::vector<ProvedClause> parts =
            machine_prover_.prove(log_.certificate(step.origin.detail));
        if (parts.empty()) return false;
        clauses_[number].literals =
            prover_.resolvent(parts.front(), others_of(parts));
        parts_.emplace(number, std::move(parts));
        const bool is_last = clauses_[number].literals.empty();
        if (!is_used_once || is_last) written_clause(number);
        if (is_last) return true;
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
    for (const auto& [number, is_used_once] : needed_) {
      const ProofLog::Step step = log_.step(number);
      if (step.is_derived || step.origin.kind != ClauseKind::kAsserted)
        continue;
      if (!learn(assertion_(step.origin.detail))) return false;
    }
    for (const auto& [literal, term] : refutation_.assumptions) {
      if (!learn(assumptions_.at(term))) return false;
    }
    for (const auto& [number, is_used_once] : needed_) {
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

  static std::vector<const ProvedClause*> others_of(
      const std::vector<ProvedClause>& parts) {
    std::vector<const ProvedClause*> others;
    for (std::size_t k = 1; k < parts.size(); ++k) others.push_back(&parts[k]);
    return others;
  }

  // A clause that has been proved, with its step.
  const ProvedClause& written_clause(ClauseNumber number) {
    const auto parts = parts_.find(number);
    if (parts != parts_.end()) {
      const std::vector<ProvedClause>& all = parts->second;
      clauses_[number] = prover_.resolve(all.front(), others_of(all));
      parts_.erase(parts);
    }
    return clauses_[number];
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
    std::vector<ClauseNumber>& chain = chain_;
    chain.clear();
    for (const ClauseNumber number : step.premises) {
      WrittenLiteral left = 0;
      std::size_t num_left = 0;
      for (const WrittenLiteral l : clauses_[number].literals) {
        if (is_false(l) != 0) continue;
        left = l;
        ++num_left;
      }
      if (num_left > 1) continue;
      chain.push_back(number);
      if (num_left == 0) return resolve_backwards(chain);
      falsify(left ^ 1U);
    }
    return ProvedClause();
  }

  // The resolvent of the last clause with the others, from the last one on.
  ProvedClause resolve_backwards(const std::vector<ClauseNumber>& chain) {
    std::vector<const ProvedClause*>& all = others_;
    all.clear();
    for (std::size_t k = chain.size(); k-- > 0;) {
      const auto parts = parts_.find(chain[k]);
      if (parts == parts_.end()) {
        all.push_back(&clauses_[chain[k]]);
        continue;
      }
      for (const ProvedClause& part : parts->second) all.push_back(&part);
    }
    const ProvedClause& first = *all.front();
    all.erase(all.begin());
    ProvedClause result = prover_.resolve(first, all);
    for (const ClauseNumber number : chain) parts_.erase(number);
    return result;
  }

  // Resolves the last clause with what is assumed; without one, two assumptions
  // are opposites.
  bool finish() {
    ProvedClause last;
    if (refutation_.last != 0) last = written_clause(refutation_.last);
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
  std::vector<ProofLog::Needed> needed_;
  std::unordered_map<WrittenId, ProvedClause> formulas_;
  std::vector<ProvedClause> clauses_;  // by number, as far as proved
  /// Clauses whose resolvent a clause is that has no step yet: what follows
  /// from it follows from these as well, without that step.
  std::unordered_map<ClauseNumber, std::vector<ProvedClause>> parts_;
  std::vector<WrittenLiteral> clause_;  // at hand
  // Of derive: the premises to resolve with; by literal, and which of them are.
  std::vector<ClauseNumber> chain_;
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
