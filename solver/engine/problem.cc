// SPDX-License-Identifier: MIT
#include "solver/engine/problem.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>

#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

int number_of(Literal literal) {
  const int number = literal.variable() + 1;
  return literal.is_negated() ? -number : number;
}

}  // namespace

Problem::Problem(const Data& data)
    : num_variables_(data.num_variables),
      keeps_meanings_(data.keeps_meanings),
      meanings_(data.meanings),
      literals_(data.literals),
      ends_(data.ends),
      origins_(data.origins),
      selectors_(data.selectors) {
  for (const Term* term : data.terms) atoms_.add_node(term);
  const auto is_integer = [](const Term* term) {
    return term == nullptr || term->sort == Sort::kInt;
  };
  auto next = data.facts.begin();
  const auto add_facts = [&] {
    for (; next != data.facts.end() && next->num_atoms == atoms_.atoms().size();
         ++next) {
      const DifferenceBound bound{atoms_.term_of(next->source),
                                  atoms_.term_of(next->target),
                                  la::DNumber(next->weight, next->eps)};
      const bool integer = is_integer(bound.source) && is_integer(bound.target);
      atoms_.add_fact(bound, integer, next->guard);
    }
  };
  add_facts();
  for (const Data::Atom& atom : data.atoms) {
    const DifferenceBound bound{atoms_.term_of(atom.source),
                                atoms_.term_of(atom.target),
                                la::DNumber(atom.weight, atom.eps)};
    const bool integer = is_integer(bound.source) && is_integer(bound.target);
    const auto [literal, is_new] = atoms_.insert(bound, integer, atom.variable);
    assert(is_new && literal == Literal(atom.variable, false));
    static_cast<void>(literal);
    static_cast<void>(is_new);
    add_facts();
  }
}

Problem::Data Problem::data() const {
  Data data;
  data.num_variables = num_variables_;
  data.terms = atoms_.variables();
  data.atoms.reserve(atoms_.atoms().size());
  for (const AtomTable::Atom& atom : atoms_.atoms()) {
    const AtomTable::Pair& pair = atoms_.pair_of(atom);
    data.atoms.push_back({atom.variable, pair.source, pair.target,
                          atom.weight.rational(), atom.weight.eps()});
  }
  data.facts.reserve(atoms_.facts().size());
  std::size_t num_atoms = 0;
  for (const AtomTable::Fact& fact : atoms_.facts()) {
    while (num_atoms < atoms_.atoms().size() &&
           atoms_.atoms()[num_atoms].constraints[0] < fact.constraint) {
      ++num_atoms;
    }
    const dl::Edge& edge = atoms_.constraint(fact.constraint).edge;
    data.facts.push_back({fact.guard, edge.source, edge.target,
                          edge.weight.rational(), edge.weight.eps(),
                          num_atoms});
  }
  data.meanings = meanings_;
  data.keeps_meanings = keeps_meanings_;
  data.literals = literals_;
  data.ends = ends_;
  data.origins = origins_;
  data.selectors = selectors_;
  return data;
}

// The tighter of two bounds implies the looser one. Links to the neighbours
// make a chain, through which all others follow.
Literal Problem::literal_of(const DifferenceBound& bound, bool integer) {
  const auto [literal, is_new] = atoms_.insert(bound, integer, num_variables_);
  if (!is_new) return literal;
  const int variable = new_variable();
  const AtomTable::Atom& atom = atoms_.atoms().back();
  const std::map<la::DNumber, int>& bounds = atoms_.pair_of(atom).bounds;
  const auto here = bounds.find(atom.weight);
  const auto variable_of = [this](int position) {
    return atoms_.atoms()[static_cast<std::size_t>(position)].variable;
  };
  if (here != bounds.begin()) {
    const int tighter = variable_of(std::prev(here)->second);
    add_clause({Literal(tighter, true), Literal(variable, false)},
               {ClauseKind::kNeighbours});
  }
  if (const auto next = std::next(here); next != bounds.end()) {
    const int looser = variable_of(next->second);
    add_clause({Literal(variable, true), Literal(looser, false)},
               {ClauseKind::kNeighbours});
  }
  link_to_facts(atom);
  return literal;
}

// The tightest facts of its pair are there for as long as it is.
void Problem::link_to_facts(const AtomTable::Atom& atom) {
  const AtomTable::Pair& pair = atoms_.pair_of(atom);
  for (const bool negated : {false, true}) {
    const int position = pair.facts[negated ? 1 : 0];
    if (position == AtomTable::kNone) continue;
    const AtomTable::Fact& fact =
        atoms_.facts()[static_cast<std::size_t>(position)];
    const auto weight_of = [this](int id) -> const la::DNumber& {
      return atoms_.constraint(id).edge.weight;
    };
    if (weight_of(atom.constraints[negated ? 1 : 0]) <
        weight_of(fact.constraint)) {
      continue;
    }
    add_clause(
        {~fact.guard, Literal(atom.variable, negated)},
        {ClauseKind::kNeighbours, static_cast<std::uint32_t>(fact.constraint)});
  }
}

void Problem::add_fact(const DifferenceBound& bound, bool integer,
                       Literal truth, ClauseOrigin origin) {
  assert(takes_facts());
  const Literal guard = selectors_.empty() ? truth : selectors_.back();
  const std::optional<Literal> atom = atoms_.add_fact(bound, integer, guard);
  if (atom) {
    add_clause({~guard, *atom}, origin);
  } else {
    link_fact(atoms_.facts().back());
  }
}

std::size_t Problem::num_lasting_facts() const {
  const std::vector<AtomTable::Fact>& facts = atoms_.facts();
  const auto end = std::partition_point(
      facts.begin(), facts.end(),
      [this](const AtomTable::Fact& fact) { return !is_selector(fact.guard); });
  return static_cast<std::size_t>(end - facts.begin());
}

// The nearest atom that it decides decides the others.
void Problem::link_fact(const AtomTable::Fact& fact) {
  const AtomTable::Pair& pair =
      atoms_.pairs()[static_cast<std::size_t>(fact.direction / 2)];
  if (pair.bounds.empty()) return;
  const bool is_turned = fact.direction % 2 != 0;
  const la::DNumber weight =
      is_turned ? atoms_.opposite_weight(fact)
                : atoms_.constraint(fact.constraint).edge.weight;
  auto next = pair.bounds.lower_bound(weight);
  if (is_turned) {
    if (next == pair.bounds.begin()) return;
    --next;
  } else if (next == pair.bounds.end()) {
    return;
  }
  const int variable =
      atoms_.atoms()[static_cast<std::size_t>(next->second)].variable;
  add_clause(
      {~fact.guard, Literal(variable, is_turned)},
      {ClauseKind::kNeighbours, static_cast<std::uint32_t>(fact.constraint)});
}

void Problem::add_clause(const std::vector<Literal>& literals,
                         ClauseOrigin origin) {
  literals_.insert(literals_.end(), literals.begin(), literals.end());
  ends_.push_back(literals_.size());
  origins_.push_back(origin);
}

void Problem::keep_terms(TermSweep& sweep) const {
  sweep.keep(atoms_.variables());
  for (const ClauseOrigin& origin : origins_) {
    if (is_definition(origin.kind)) sweep.keep_id(origin.detail);
  }
}

void Problem::renumber_terms(const TermSweep& sweep) {
  for (ClauseOrigin& origin : origins_) {
    if (!is_definition(origin.kind)) continue;
    origin.detail = static_cast<std::uint32_t>(sweep.new_id(origin.detail));
  }
}

void Problem::get_clause(std::size_t position, Clause& clause) const {
  const auto at = [this](std::size_t place) {
    return literals_.begin() + static_cast<std::ptrdiff_t>(place);
  };
  clause.literals.assign(at(start_of(position)), at(ends_[position]));
  clause.origin = origins_[position];
}

bool Problem::take_clause(Clause& clause) {
  if (num_taken_ == num_clauses()) return false;
  get_clause(num_taken_++, clause);
  return true;
}

void Problem::open_scope() {
  scopes_.push_back({num_variables_, atoms_.num_bounds(), num_clauses()});
  selectors_.push_back(Literal(new_variable(), false));
}

void Problem::close_scope() {
  assert(!scopes_.empty());
  const Scope scope = scopes_.back();
  scopes_.pop_back();
  selectors_.pop_back();
  num_variables_ = scope.num_variables;
  const auto num_kept = static_cast<std::size_t>(num_variables_);
  if (meanings_.size() > num_kept) meanings_.resize(num_kept);
  while (atoms_.num_bounds() > scope.num_bounds) atoms_.remove_last();
  // Clauses over older variables alone stay, such as ties of small domains.
  std::size_t kept = scope.num_clauses;
  std::size_t end = start_of(kept);
  std::size_t start = end;
  const std::size_t num_taken = num_taken_;
  num_taken_ = std::min(num_taken_, kept);
  for (std::size_t k = kept; k < num_clauses(); ++k) {
    const auto first = literals_.begin() + static_cast<std::ptrdiff_t>(start);
    const auto last = literals_.begin() + static_cast<std::ptrdiff_t>(ends_[k]);
    start = ends_[k];
    if (std::any_of(first, last, [this](Literal literal) {
          return literal.variable() >= num_variables_;
        })) {
      continue;
    }
    std::copy(first, last,
              literals_.begin() + static_cast<std::ptrdiff_t>(end));
    end += static_cast<std::size_t>(last - first);
    if (k < num_taken) ++num_taken_;
    ends_[kept] = end;
    origins_[kept] = origins_[k];
    ++kept;
  }
  literals_.resize(end);
  ends_.resize(kept);
  origins_.resize(kept);
}

void Problem::print(std::ostream& out) const {
  out << num_variables_ << " variables, " << atoms_.atoms().size()
      << " bounds, " << atoms_.facts().size() << " facts, " << num_clauses()
      << " clauses, " << scopes_.size() << " scopes\n";
  const auto name = [this](int node) {
    const Term* term = atoms_.term_of(node);
    return term == nullptr ? std::string("0") : print_term(term);
  };
  for (const AtomTable::Atom& atom : atoms_.atoms()) {
    const dl::Edge& edge = atoms_.constraint(atom.constraints[0]).edge;
    out << "bound " << atom.variable + 1 << ": " << name(edge.target) << " - "
        << name(edge.source) << " <= " << edge.weight << '\n';
  }
  for (const AtomTable::Fact& fact : atoms_.facts()) {
    const dl::Edge& edge = atoms_.constraint(fact.constraint).edge;
    out << "fact if " << number_of(fact.guard) << ": " << name(edge.target)
        << " - " << name(edge.source) << " <= " << edge.weight << '\n';
  }
  Clause clause;
  for (std::size_t k = 0; k < num_clauses(); ++k) {
    get_clause(k, clause);
    out << name_of(clause.origin.kind) << ':';
    for (const Literal literal : clause.literals) {
      out << ' ' << number_of(literal);
    }
    out << '\n';
  }
}

}  // namespace vorn::solver
