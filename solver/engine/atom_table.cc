// SPDX-License-Identifier: MIT
#include "solver/engine/atom_table.h"

#include <cassert>
#include <utility>

#include "vorn/containers/index.h"

namespace vorn::solver {
namespace {

std::uint64_t key_of(int source, int target) {
  return (static_cast<std::uint64_t>(source) << 32U) |
         static_cast<std::uint64_t>(target);
}

}  // namespace

int AtomTable::add_node(const Term* variable) {
  if (variable == nullptr) return 0;
  const auto [position, is_new] = nodes_.emplace(variable, num_nodes());
  if (is_new) terms_.push_back(variable);
  return position->second;
}

int AtomTable::node_of(const Term* variable) const {
  const auto position = nodes_.find(variable);
  return position == nodes_.end() ? 0 : position->second;
}

std::pair<Literal, bool> AtomTable::insert(const DifferenceBound& bound,
                                           bool integer, int variable) {
  const int source = add_node(bound.source);
  const int target = add_node(bound.target);
  if (source > target) {
    const auto [opposite, is_new] =
        insert(negate_bound(bound, integer), integer, variable);
    return {~opposite, is_new};
  }
  const int pair = add_pair(source, target);
  const bool is_empty_pair = pairs_[index(pair)].is_empty();
  const auto next = static_cast<int>(atoms_.size());
  const auto [found, is_new] =
      pairs_[index(pair)].bounds.emplace(bound.weight, next);
  if (!is_new) {
    return {Literal(atoms_[index(found->second)].variable, false), false};
  }
  if (index(variable) >= atom_of_variable_.size()) {
    atom_of_variable_.resize(index(variable) + 1, -1);
    bounds_.resize(2 * index(variable) + 2);
  }
  if (is_empty_pair) --num_empty_pairs_;
  assert(atom_of_variable_[index(variable)] < 0);
  const Literal literal(variable, false);
  const DifferenceBound opposite = negate_bound(bound, integer);
  Atom atom{variable, {0, 0}, pair, bound.weight};
  atom.constraints[0] =
      add_constraint({source, target, bound.weight, 0}, literal, 2 * pair);
  atom.constraints[1] = add_constraint({target, source, opposite.weight, 0},
                                       ~literal, 2 * pair + 1);
  atom_of_variable_[index(variable)] = next;
  atoms_.push_back(std::move(atom));
  return {literal, true};
}

int AtomTable::add_constraint(const dl::Edge& edge, Literal literal,
                              int direction) {
  const int id = num_constraints() + 1;
  constraints_.push_back(
      {literal, dl::Edge(edge.source, edge.target, edge.weight, id)});
  bounds_[literal.index()] = {id, direction, edge.weight};
  return id;
}

// The position of a pair, a new one if there is none. Requires: source <
// target.
int AtomTable::add_pair(int source, int target) {
  const auto [position, is_new] = pair_positions_.emplace(
      key_of(source, target), static_cast<int>(pairs_.size()));
  if (is_new) {
    pairs_.push_back({source, target, {}});
    ++num_empty_pairs_;
  }
  return position->second;
}

std::optional<Literal> AtomTable::add_fact(const DifferenceBound& bound,
                                           bool integer, Literal guard) {
  assert(facts_.empty() || !(guard < facts_.back().guard));
  const int source = add_node(bound.source);
  const int target = add_node(bound.target);
  const bool is_turned = source > target;
  const int position =
      is_turned ? add_pair(target, source) : add_pair(source, target);
  Pair& pair = pairs_[index(position)];
  if (!pair.bounds.empty()) {
    const auto atom = pair.bounds.find(
        is_turned ? negate_bound(bound, integer).weight : bound.weight);
    if (atom != pair.bounds.end()) {
      return Literal(atoms_[index(atom->second)].variable, is_turned);
    }
  }
  if (pair.is_empty()) --num_empty_pairs_;
  const int id = num_constraints() + 1;
  constraints_.push_back({guard, dl::Edge(source, target, bound.weight, id)});
  int& tightest = pair.facts[is_turned ? 1 : 0];
  const bool is_loose =
      tightest != kNone &&
      !(bound.weight <
        constraint(facts_[index(tightest)].constraint).edge.weight);
  facts_.push_back({guard, id, 2 * position + (is_turned ? 1 : 0),
                    is_loose ? kLoose : tightest});
  if (!is_loose) tightest = static_cast<int>(facts_.size()) - 1;
  return std::nullopt;
}

la::DNumber AtomTable::opposite_weight(const Fact& fact) const {
  const dl::Edge& edge = constraint(fact.constraint).edge;
  const auto is_integer = [](const Term* term) {
    return term == nullptr || term->sort == Sort::kInt;
  };
  const DifferenceBound bound{term_of(edge.source), term_of(edge.target),
                              edge.weight};
  return negate_bound(bound,
                      is_integer(bound.source) && is_integer(bound.target))
      .weight;
}

void AtomTable::remove_last() {
  if (ends_with_fact(atoms_.size(), facts_.size())) {
    remove_last_fact();
  } else {
    remove_last_atom();
  }
}

void AtomTable::remove_last_fact() {
  const Fact& fact = facts_.back();
  Pair& pair = pairs_[index(fact.direction / 2)];
  if (fact.previous != kLoose) pair.facts[fact.direction % 2] = fact.previous;
  if (pair.is_empty()) ++num_empty_pairs_;
  if (fact.constraint > last_kept_ && fact.constraint == num_constraints()) {
    constraints_.pop_back();
  }
  facts_.pop_back();
}

void AtomTable::remove_last_atom() {
  assert(!atoms_.empty());
  const Atom& atom = atoms_.back();
  atom_of_variable_[index(atom.variable)] = -1;
  for (const bool negated : {false, true}) {
    bounds_[Literal(atom.variable, negated).index()] = Bound();
  }
  Pair& pair = pairs_[index(atom.pair)];
  pair.bounds.erase(atom.weight);
  if (pair.is_empty()) ++num_empty_pairs_;
  const int first = atom.constraints[0];
  if (first > last_kept_ && atom.constraints[1] == num_constraints()) {
    constraints_.erase(constraints_.begin() + first, constraints_.end());
  }
  atoms_.pop_back();
}

std::vector<int> AtomTable::renumber() {
  std::vector<int> nodes(index(num_nodes()), -1);
  nodes[0] = 0;
  for (const Pair& pair : pairs_) {
    if (pair.is_empty()) continue;
    for (const int node : {pair.source, pair.target}) nodes[index(node)] = 0;
  }
  std::vector<const Term*> terms;
  std::unordered_map<const Term*, int> nodes_of_terms;
  for (std::size_t node = 1; node < nodes.size(); ++node) {
    if (nodes[node] < 0) continue;
    const Term* term = terms_[node - 1];
    terms.push_back(term);
    nodes[node] = static_cast<int>(terms.size());
    nodes_of_terms.emplace(term, nodes[node]);
  }
  std::vector<int> pairs(pairs_.size(), -1);
  std::vector<Pair> kept_pairs;
  std::unordered_map<std::uint64_t, int> positions;
  for (std::size_t k = 0; k < pairs_.size(); ++k) {
    Pair& pair = pairs_[k];
    if (pair.is_empty()) continue;
    pairs[k] = static_cast<int>(kept_pairs.size());
    pair.source = nodes[index(pair.source)];
    pair.target = nodes[index(pair.target)];
    kept_pairs.push_back(std::move(pair));
    positions.emplace(
        key_of(kept_pairs.back().source, kept_pairs.back().target), pairs[k]);
  }
  std::vector<Constraint> constraints(1);
  const auto renumber = [&](int& id, int& direction) {
    const Constraint& constraint = constraints_[index(id)];
    const dl::Edge& edge = constraint.edge;
    id = static_cast<int>(constraints.size());
    direction = 2 * pairs[index(direction / 2)] + direction % 2;
    constraints.push_back(
        {constraint.literal,
         dl::Edge(nodes[index(edge.source)], nodes[index(edge.target)],
                  edge.weight, id)});
  };
  auto fact = facts_.begin();
  for (Atom& atom : atoms_) {
    for (; fact != facts_.end() && fact->constraint < atom.constraints[0];
         ++fact) {
      renumber(fact->constraint, fact->direction);
    }
    atom.pair = pairs[index(atom.pair)];
    for (int& id : atom.constraints) {
      Bound& bound = bounds_[constraints_[index(id)].literal.index()];
      renumber(id, bound.direction);
      bound.id = id;
    }
  }
  for (; fact != facts_.end(); ++fact) {
    renumber(fact->constraint, fact->direction);
  }
  terms_.swap(terms);
  nodes_.swap(nodes_of_terms);
  pairs_.swap(kept_pairs);
  pair_positions_.swap(positions);
  constraints_.swap(constraints);
  num_empty_pairs_ = 0;
  last_kept_ = 0;
  return nodes;
}

std::optional<std::size_t> AtomTable::position_of(int variable) const {
  if (index(variable) >= atom_of_variable_.size()) return std::nullopt;
  const int position = atom_of_variable_[index(variable)];
  if (position < 0) return std::nullopt;
  return index(position);
}

}  // namespace vorn::solver
