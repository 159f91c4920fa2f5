// SPDX-License-Identifier: MIT
#include "solver/engine/proof_log.h"

#include <cassert>
#include <limits>
#include <new>

namespace vorn::solver {
namespace {

// In place of the kind of a clause that follows from others.
constexpr unsigned kDerived = 31;

// Numbers of a step of a certificate, but its tasks.
constexpr std::size_t kStepNumbers = 5;

}  // namespace

NumberLog::Writer ProofLog::begin(ClauseNumber number,
                                  const std::vector<Literal>& clause,
                                  unsigned kind, std::size_t num_more) {
  assert(number == clauses_.size() + 1);
  if (number >= std::numeric_limits<ClauseNumber>::max()) {
    throw std::bad_alloc();
  }
  // Without selectors.
  own_.resize(clause.size());
  std::size_t count = 0;
  for (const Literal literal : clause) {
    const Literal own = named(literal);
    own_[count] = own;
    if (own.is_defined()) ++count;
  }
  NumberLog::Writer row = clauses_.begin_row(2 + count + num_more);
  row.put(kind);
  row.put(count);
  for (std::size_t k = 0; k < count; ++k) row.put(own_[k].index());
  return row;
}

void ProofLog::added(ClauseNumber number, const std::vector<Literal>& clause,
                     ClauseOrigin origin) {
  NumberLog::Writer row =
      begin(number, clause, static_cast<unsigned>(origin.kind), 1);
  row.put(origin.detail);
  clauses_.end_row(row);
}

void ProofLog::derived(ClauseNumber number, const std::vector<Literal>& clause,
                       const std::vector<ClauseNumber>& premises) {
  NumberLog::Writer row = begin(number, clause, kDerived, 1 + premises.size());
  row.put(premises.size());
  for (const ClauseNumber premise : premises) row.put(number - premise);
  clauses_.end_row(row);
}

// A step begins with its direction, whether it is a constraint, and the literal
// or the rule.
std::uint32_t ProofLog::add_certificate(const MachineCertificate& certificate) {
  certified_.push_back({certificate.origin, certificate.crossing});
  NumberLog::Writer row = certificates_.begin_row(
      1 + certificate.steps.size() * kStepNumbers + certificate.tasks.size());
  row.put(certificate.steps.size());
  for (const MachineStep& step : certificate.steps) {
    const bool is_constraint = step.rule == MachineRule::kConstraint;
    const std::uint64_t first =
        is_constraint ? step.literal.index() : static_cast<unsigned>(step.rule);
    row.put(4 * first + (is_constraint ? 2 : 0) + step.direction);
    if (is_constraint) continue;
    row.put(static_cast<std::uint32_t>(step.literal.code() + 1));
    row.put(static_cast<std::uint32_t>(step.machine));
    row.put(step.task);
    row.put(step.num_tasks);
    for (std::uint32_t k = 0; k < step.num_tasks; ++k) {
      row.put(certificate.tasks[step.first_task + k]);
    }
  }
  certificates_.end_row(row);
  return static_cast<std::uint32_t>(certified_.size() - 1);
}

MachineCertificate ProofLog::certificate(std::uint32_t detail) const {
  MachineCertificate result;
  result.origin = certified_[detail].origin;
  result.crossing = certified_[detail].crossing;
  NumberLog::Reader reader = certificates_.row(detail);
  for (std::uint64_t left = reader.next(); left > 0; --left) {
    const std::uint64_t first = reader.next();
    MachineStep step{MachineRule::kConstraint,
                     static_cast<TimeDirection>(first & 1U)};
    if ((first & 2U) != 0) {
      step.literal = Literal::from_code(static_cast<int>(first / 4));
    } else {
      step.rule = static_cast<MachineRule>(first / 4);
      const auto code = static_cast<int>(reader.next()) - 1;
      if (code >= 0) step.literal = Literal::from_code(code);
      step.machine = static_cast<int>(reader.next());
      step.task = reader.next_word();
      step.num_tasks = reader.next_word();
      step.first_task = static_cast<std::uint32_t>(result.tasks.size());
      for (std::uint32_t k = 0; k < step.num_tasks; ++k) {
        result.tasks.push_back(reader.next_word());
      }
    }
    result.steps.push_back(step);
  }
  return result;
}

void ProofLog::shrunk(int num_variables) {
  if (name_of_.size() > static_cast<std::size_t>(num_variables)) {
    name_of_.resize(static_cast<std::size_t>(num_variables));
  }
}

int ProofLog::make_name(int variable) {
  Name meaning;
  const AtomTable& atoms = problem_.atoms();
  if (const auto position = atoms.position_of(variable)) {
    const AtomTable::Atom& atom = atoms.atoms()[*position];
    const dl::Edge& edge = atoms.constraint(atom.constraints[0]).edge;
    meaning.is_bound = true;
    meaning.bound = {atoms.term_of(edge.source), atoms.term_of(edge.target),
                     edge.weight};
  } else {
    const Problem::Meaning known = problem_.meaning(variable);
    if (known.term == nullptr) return kSelector;
    meaning.term = known.term;
    meaning.is_negated = known.is_negated;
  }
  names_.push_back(meaning);
  return static_cast<int>(names_.size()) - 1;
}

ProofLog::Step ProofLog::step(ClauseNumber number) const {
  NumberLog::Reader reader = clauses_.row(number - 1);
  Step step;
  const auto kind = reader.next();
  step.is_derived = kind == kDerived;
  step.literals.resize(reader.next());
  for (Literal& literal : step.literals) {
    literal = Literal::from_code(static_cast<int>(reader.next()));
  }
  if (!step.is_derived) {
    step.origin = {static_cast<ClauseKind>(kind), reader.next_word()};
    return step;
  }
  step.premises.resize(reader.next());
  for (ClauseNumber& premise : step.premises) {
    premise = number - reader.next_word();
  }
  return step;
}

// Calls a visitor with the clauses that a clause follows from: of one about
// sets of tasks, those that separate its tasks.
template <class Visit>
void ProofLog::for_each_premise(ClauseNumber number, const Visit& visit) const {
  const Step step = this->step(number);
  for (const ClauseNumber premise : step.premises) visit(premise);
  if (step.is_derived || step.origin.kind != ClauseKind::kMachine) return;
  const MachineCertificate found = certificate(step.origin.detail);
  for (const MachineStep& rule : found.steps) {
    if (rule.num_tasks == 0) continue;
    const CertifiedMachine& known = machine(rule.machine);
    std::vector<std::uint32_t> tasks = found.set(rule);
    tasks.push_back(rule.task);
    for (const std::size_t a : tasks) {
      for (const std::size_t b : tasks) {
        const auto& pair = known.pairs[a * known.tasks.size() + b];
        if (pair.separation != 0) visit(pair.separation);
        for (const ClauseNumber unit : pair.path_units) visit(unit);
      }
    }
  }
}

std::vector<ProofLog::Needed> ProofLog::needed(ClauseNumber last) {
  std::vector<char> num_uses(last + 1, 0);  // as far as 2
  num_uses[last] = 1;
  std::size_t count = 0;
  for (ClauseNumber number = last; number > 0; --number) {
    if (num_uses[number] == 0) continue;
    ++count;
    for_each_premise(number, [&num_uses](ClauseNumber premise) {
      if (num_uses[premise] < 2) ++num_uses[premise];
    });
  }
  num_needed_ = count;
  std::vector<Needed> result;
  result.reserve(count);
  for (ClauseNumber number = 1; number <= last; ++number) {
    if (num_uses[number] == 0) continue;
    result.push_back({number, num_uses[number] == 1});
  }
  return result;
}

}  // namespace vorn::solver
