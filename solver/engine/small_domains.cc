// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "solver/engine/difference_theory.h"

// Small domains: integer variables that the assertions confine to a few values
// above a common node, such as the number of a machine or a task's place in a
// short queue.
//
// Between two such variables the graph finds each contradiction as a triangle
// through the common node, one conflict at a time, and only for comparisons
// that the search has happened to decide. So each such variable gets an atom
// for each of its values ("x is at most v"), and each bound between two of them
// is tied to those atoms by clauses, as in an order encoding (Crawford and
// Baker, "Experimental Results on the Application of Satisfiability Algorithms
// to Scheduling Problems", 1994): with base z and D = (t - s <= c),
//   t - z <= a and s - z >= a - c  imply D, and
//   D and s - z <= a               imply t - z <= a + c.
// Then one comparison propagates to all others without the graph.

namespace vorn::solver {
namespace {

// More values than this and the clauses outgrow what they save.
constexpr int kMaxValues = 4;
// Bounds between two variables, above which a pair is left to the graph.
constexpr std::size_t kMaxBoundsOnPair = 8;

}  // namespace

// The interval to which the level-0 literals confine a pair's difference.
std::optional<DifferenceTheory::Domain> DifferenceTheory::domain_of(
    const NodePair& pair) const {
  std::optional<QNumber> low;
  std::optional<QNumber> high;
  for (const auto& [weight, position] : pair.bounds) {
    const Literal literal(atoms_[static_cast<std::size_t>(position)].variable,
                          false);
    switch (search_->value(literal)) {
      case Value::kTrue:
        if (!high) high = weight.rational();
        break;
      case Value::kFalse:
        low = weight.rational();
        break;
      case Value::kUnassigned:
        break;
    }
  }
  if (!low || !high) return std::nullopt;
  *low += QNumber(1);
  QNumber last = *low;
  last += QNumber(kMaxValues - 1);
  if (last < *high) return std::nullopt;
  return Domain{*low, *high};
}

// The literal of "node's value above `base` is at most `value`"; nothing if
// that is settled by the domain, and then `settled` says how.
std::optional<Literal> DifferenceTheory::value_literal(int base, int node,
                                                       const Domain& domain,
                                                       const QNumber& value,
                                                       bool& settled) {
  settled = !(value < domain.high);
  if (settled || value < domain.low) return std::nullopt;
  const DifferenceBound bound{term_of(base), term_of(node),
                              la::DNumber(value, QNumber(0))};
  return literal_of(bound, true);
}

void DifferenceTheory::split_small_domains() {
  // A variable's domain above another one; of a pair, each confines the other.
  struct Confined {
    int base;
    Domain domain;
  };
  std::unordered_map<int, std::vector<Confined>> by_node;
  for (const NodePair& pair : pairs_) {
    if (term_of(pair.target)->sort != Sort::kInt) continue;
    const std::optional<Domain> domain = domain_of(pair);
    if (!domain) continue;
    by_node[pair.target].push_back({pair.source, *domain});
    // The constant 0 is no variable to split.
    if (pair.source == 0) continue;
    by_node[pair.source].push_back(
        {pair.target, {-domain->high, -domain->low}});
  }
  const std::size_t num_atoms = atoms_.size();
  for (std::size_t k = 0; k < num_atoms; ++k) {
    const NodePair& pair = pairs_[static_cast<std::size_t>(atoms_[k].pair)];
    if (pair.bounds.size() > kMaxBoundsOnPair) continue;
    const auto sources = by_node.find(pair.source);
    const auto targets = by_node.find(pair.target);
    if (sources == by_node.end() || targets == by_node.end()) continue;
    for (const Confined& s : sources->second) {
      for (const Confined& t : targets->second) {
        if (s.base != t.base || tied_.count({k, s.base}) != 0) continue;
        tied_[{k, s.base}] = tie(k, s.base, s.domain, t.domain);
      }
    }
  }
}

// Both kinds of clauses for one atom between two confined variables. Returns
// the position of the newest atom in them.
std::size_t DifferenceTheory::tie(std::size_t atom_index, int base,
                                  const Domain& source_domain,
                                  const Domain& target_domain) {
  const auto pair = static_cast<std::size_t>(atoms_[atom_index].pair);
  const int source = pairs_[pair].source;
  const int target = pairs_[pair].target;
  const QNumber limit = atoms_[atom_index].weight.rational();
  const Literal difference(atoms_[atom_index].variable, false);
  std::size_t newest = atom_index;
  const auto add = [this, &newest](std::optional<Literal> a, bool a_settled,
                                   std::optional<Literal> b, bool b_settled,
                                   Literal c) {
    if ((!a && a_settled) || (!b && b_settled)) return;
    std::vector<Literal> clause{c};
    if (a) clause.push_back(*a);
    if (b) clause.push_back(*b);
    for (const Literal literal : clause) {
      const auto variable = static_cast<std::size_t>(literal.variable());
      newest = std::max(newest,
                        static_cast<std::size_t>(atom_of_variable_[variable]));
    }
    clauses_.push_back(std::move(clause));
  };
  const auto negate = [](std::optional<Literal> literal) {
    if (literal) literal = ~*literal;
    return literal;
  };
  for (QNumber a = target_domain.low; a <= target_domain.high;
       a += QNumber(1)) {
    bool at_most = false;
    bool below = false;
    const auto t = value_literal(base, target, target_domain, a, at_most);
    QNumber rest = a;
    rest -= limit;
    rest -= QNumber(1);
    const auto s = value_literal(base, source, source_domain, rest, below);
    add(negate(t), !at_most, s, below, difference);
  }
  for (QNumber a = source_domain.low; a <= source_domain.high;
       a += QNumber(1)) {
    bool at_most = false;
    bool implied = false;
    const auto s = value_literal(base, source, source_domain, a, at_most);
    QNumber sum = a;
    sum += limit;
    const auto t = value_literal(base, target, target_domain, sum, implied);
    add(negate(s), !at_most, t, implied, ~difference);
  }
  return newest;
}

}  // namespace vorn::solver
