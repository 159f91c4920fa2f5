// SPDX-License-Identifier: MIT
#include "solver/engine/proof_log.h"

#include <cassert>
#include <limits>
#include <new>

namespace vorn::solver {
namespace {

constexpr int kUnnamed = -1;
constexpr int kSelector = -2;

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
  if (origin.kind != ClauseKind::kMachine) return;
  for (const ClauseNumber premise : certificates_[origin.detail].premises) {
    words_.push_back(static_cast<std::uint32_t>(premise));
  }
}

std::uint32_t ProofLog::add_certificate(MachineCertificate certificate) {
  certificates_.push_back(std::move(certificate));
  return static_cast<std::uint32_t>(certificates_.size() - 1);
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
  for (std::uint64_t k = entry.start; k < entry.premises; ++k) {
    step.literals.push_back(Literal::from_code(static_cast<int>(words_[k])));
  }
  for (std::uint64_t k = entry.premises; k < end_of(number); ++k) {
    step.premises.push_back(words_[k]);
  }
  return step;
}

std::vector<ClauseNumber> ProofLog::needed(ClauseNumber last) const {
  std::vector<char> is_needed(last + 1, 0);
  is_needed[last] = 1;
  std::size_t count = 0;
  for (ClauseNumber number = last; number > 0; --number) {
    if (is_needed[number] == 0) continue;
    ++count;
    for (std::uint64_t k = entries_[number - 1].premises; k < end_of(number);
         ++k) {
      is_needed[words_[k]] = 1;
    }
  }
  std::vector<ClauseNumber> numbers;
  numbers.reserve(count);
  for (ClauseNumber number = 1; number <= last; ++number) {
    if (is_needed[number] != 0) numbers.push_back(number);
  }
  return numbers;
}

}  // namespace vorn::solver
