// SPDX-License-Identifier: MIT
#include "solver/engine/proof_log.h"

#include <cassert>
#include <limits>
#include <new>

namespace vorn::solver {
namespace {

constexpr int kUnnamed = -1;
constexpr int kSelector = -2;

constexpr std::uint32_t kRule = std::uint32_t{1} << 31;

}  // namespace

void ProofLog::begin(ClauseNumber number, const std::vector<Literal>& clause,
                     bool is_derived, ClauseOrigin origin) {
  assert(number == entries_.size() + 1);
  if (number >= std::numeric_limits<std::uint32_t>::max()) {
    throw std::bad_alloc();
  }
  const std::uint64_t start = words_.size();
  for (const Literal literal : clause) {
    const Literal own = named(literal);
    if (own.is_defined()) {
      words_.push_back(static_cast<std::uint32_t>(own.code()));
    }
  }
  entries_.push_back(
      {start, words_.size(), origin.detail, origin.kind, is_derived});
}

void ProofLog::added(ClauseNumber number, const std::vector<Literal>& clause,
                     ClauseOrigin origin) {
  begin(number, clause, false, origin);
}

// A constraint is one word, with its direction in the last bit; all else begins
// with a word that has the first bit.
std::uint32_t ProofLog::add_certificate(const MachineCertificate& certificate) {
  certificates_.push_back(
      {machine_words_.size(), certificate.origin, certificate.crossing});
  for (const MachineStep& step : certificate.steps) {
    const auto code = static_cast<std::uint32_t>(step.literal.code());
    const std::uint32_t direction = step.direction;
    if (step.rule == MachineRule::kConstraint) {
      machine_words_.push_back(2 * code + direction);
      continue;
    }
    machine_words_.insert(
        machine_words_.end(),
        {kRule | 2 * static_cast<std::uint32_t>(step.rule) | direction, code,
         static_cast<std::uint32_t>(step.machine), step.task, step.num_tasks});
    const auto first = certificate.tasks.begin() +
                       static_cast<std::ptrdiff_t>(step.first_task);
    machine_words_.insert(machine_words_.end(), first, first + step.num_tasks);
  }
  return static_cast<std::uint32_t>(certificates_.size() - 1);
}

MachineCertificate ProofLog::certificate(std::uint32_t detail) const {
  const Packed& packed = certificates_[detail];
  MachineCertificate result;
  result.origin = packed.origin;
  result.crossing = packed.crossing;
  const std::uint64_t end = detail + 1 < certificates_.size()
                                ? certificates_[detail + 1].start
                                : machine_words_.size();
  const auto direction_of = [](std::uint32_t word) {
    return static_cast<TimeDirection>(word & 1U);
  };
  for (std::uint64_t k = packed.start; k < end; ++k) {
    const std::uint32_t word = machine_words_[k];
    MachineStep step{MachineRule::kConstraint, direction_of(word)};
    if ((word & kRule) == 0) {
      step.literal = Literal::from_code(static_cast<int>(word / 2));
    } else {
      step.rule = static_cast<MachineRule>((word & ~kRule) / 2);
      const auto code = static_cast<int>(machine_words_[++k]);
      if (code != Literal().code()) step.literal = Literal::from_code(code);
      step.machine = static_cast<int>(machine_words_[++k]);
      step.task = machine_words_[++k];
      step.num_tasks = machine_words_[++k];
      step.first_task = static_cast<std::uint32_t>(result.tasks.size());
      for (std::uint32_t left = step.num_tasks; left > 0; --left) {
        result.tasks.push_back(machine_words_[++k]);
      }
    }
    result.steps.push_back(step);
  }
  return result;
}

void ProofLog::derived(ClauseNumber number, const std::vector<Literal>& clause,
                       const std::vector<ClauseNumber>& premises) {
  begin(number, clause, true, {});
  for (const ClauseNumber premise : premises) {
    words_.push_back(static_cast<std::uint32_t>(premise));
  }
}

void ProofLog::shrunk(int num_variables) {
  if (name_of_.size() > static_cast<std::size_t>(num_variables)) {
    name_of_.resize(static_cast<std::size_t>(num_variables));
  }
}

Literal ProofLog::named(Literal literal) {
  const auto variable = static_cast<std::size_t>(literal.variable());
  if (variable >= name_of_.size()) name_of_.resize(variable + 1, kUnnamed);
  int& name = name_of_[variable];
  if (name == kUnnamed) {
    Name meaning;
    const AtomTable& atoms = problem_.atoms();
    if (const auto position = atoms.position_of(literal.variable())) {
      const AtomTable::Atom& atom = atoms.atoms()[*position];
      const dl::Edge& edge = atoms.constraint(atom.constraints[0]).edge;
      meaning.is_bound = true;
      meaning.bound = {atoms.term_of(edge.source), atoms.term_of(edge.target),
                       edge.weight};
    } else {
      const Problem::Meaning known = problem_.meaning(literal.variable());
      meaning.term = known.term;
      meaning.is_negated = known.is_negated;
    }
    if (!meaning.is_bound && meaning.term == nullptr) {
      name = kSelector;
    } else {
      name = static_cast<int>(names_.size());
      names_.push_back(meaning);
    }
  }
  return name == kSelector ? Literal() : Literal(name, literal.is_negated());
}

ProofLog::Step ProofLog::step(ClauseNumber number) const {
  const Entry& entry = entries_[number - 1];
  Step step;
  step.is_derived = entry.is_derived;
  step.origin = {entry.kind, entry.detail};
  step.literals.reserve(entry.premises - entry.start);
  step.premises.reserve(end_of(number) - entry.premises);
  for (std::uint64_t k = entry.start; k < entry.premises; ++k) {
    step.literals.push_back(Literal::from_code(static_cast<int>(words_[k])));
  }
  for (std::uint64_t k = entry.premises; k < end_of(number); ++k) {
    step.premises.push_back(words_[k]);
  }
  return step;
}

// Calls a visitor with the clauses that a clause follows from: of one about
// sets of tasks, those that separate its tasks.
template <class Visit>
void ProofLog::for_each_premise(ClauseNumber number, const Visit& visit) const {
  const Entry& entry = entries_[number - 1];
  for (std::uint64_t k = entry.premises; k < end_of(number); ++k) {
    visit(words_[k]);
  }
  if (entry.is_derived || entry.kind != ClauseKind::kMachine) return;
  const MachineCertificate found = certificate(entry.detail);
  for (const MachineStep& step : found.steps) {
    if (step.num_tasks == 0) continue;
    const CertifiedMachine& known = machine(step.machine);
    std::vector<std::uint32_t> tasks = found.set(step);
    tasks.push_back(step.task);
    for (const std::size_t a : tasks) {
      for (const std::size_t b : tasks) {
        const auto& pair = known.pairs[a * known.tasks.size() + b];
        if (pair.separation != 0) visit(pair.separation);
        for (const ClauseNumber unit : pair.path_units) visit(unit);
      }
    }
  }
}

std::vector<ClauseNumber> ProofLog::needed(ClauseNumber last) const {
  std::vector<char> is_needed(last + 1, 0);
  is_needed[last] = 1;
  std::size_t count = 0;
  for (ClauseNumber number = last; number > 0; --number) {
    if (is_needed[number] == 0) continue;
    ++count;
    for_each_premise(
        number, [&is_needed](ClauseNumber premise) { is_needed[premise] = 1; });
  }
  std::vector<ClauseNumber> numbers;
  numbers.reserve(count);
  for (ClauseNumber number = 1; number <= last; ++number) {
    if (is_needed[number] != 0) numbers.push_back(number);
  }
  return numbers;
}

}  // namespace vorn::solver
