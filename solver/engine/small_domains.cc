// SPDX-License-Identifier: MIT
#include "solver/engine/small_domains.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <vector>

namespace vorn::solver {
namespace {

// More values than this and the clauses outgrow what they save.
constexpr int kMaxValues = 4;
// Bounds between two variables, above which a pair is left to the graph.
constexpr std::size_t kMaxBoundsOnPair = 8;

// The constant 0 is one among integers.
bool is_integer(const AtomTable& table, int node) {
  return node == 0 || table.term_of(node)->sort == Sort::kInt;
}

// Of two ends each has its own bound.
bool may_confine_integers(const AtomTable& table, const AtomTable::Pair& pair) {
  std::size_t num_bounds = pair.bounds.size();
  for (const int fact : pair.facts) {
    if (fact != AtomTable::kNone) ++num_bounds;
  }
  return num_bounds >= 2 && is_integer(table, pair.source) &&
         is_integer(table, pair.target);
}

}  // namespace

// The weight of the tightest fact that level 0 has, of this one and those
// before it.
std::optional<la::DNumber> SmallDomains::fact_of(const Search& search,
                                                 int position) const {
  const AtomTable& table = problem_.atoms();
  while (position != AtomTable::kNone) {
    const AtomTable::Fact& fact =
        table.facts()[static_cast<std::size_t>(position)];
    if (search.fixed_value(fact.guard) == Value::kTrue) {
      return table.constraint(fact.constraint).edge.weight;
    }
    position = fact.previous;
  }
  return std::nullopt;
}

// The interval to which the level-0 literals confine a pair's difference.
std::optional<SmallDomains::Domain> SmallDomains::domain_of(
    const Search& search, const AtomTable::Pair& pair) const {
  std::optional<QNumber> low;
  std::optional<QNumber> high;
  for (const auto& [weight, position] : pair.bounds) {
    const AtomTable::Atom& atom =
        problem_.atoms().atoms()[static_cast<std::size_t>(position)];
    switch (search.fixed_value(Literal(atom.variable, false))) {
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
  if (low) *low += QNumber(1);
  if (const auto most = fact_of(search, pair.facts[0])) {
    if (!high || most->rational() < *high) high = most->rational();
  }
  if (const auto most = fact_of(search, pair.facts[1])) {
    const QNumber least = -most->rational();
    if (!low || *low < least) low = least;
  }
  if (!low || !high) return std::nullopt;
  QNumber last = *low;
  last += QNumber(kMaxValues - 1);
  if (last < *high) return std::nullopt;
  return Domain{*low, *high};
}

// The literal of "node's value above `base` is at most `value`", or the
// domain's own bound if that says already that it is not.
// Requires: `value` is at most the domain's highest.
Literal SmallDomains::at_most(int base, int node, const Domain& domain,
                              const QNumber& value) {
  QNumber limit = domain.low;
  limit -= QNumber(1);
  if (limit < value) limit = value;
  const AtomTable& atoms = problem_.atoms();
  return problem_.literal_of({atoms.term_of(base), atoms.term_of(node),
                              la::DNumber(limit, QNumber(0))},
                             true);
}

// Whether there may be something to tie that was not there when all was looked
// at last: a domain that level 0 gives since, or an atom between two of them.
bool SmallDomains::may_tie(const Search& search) const {
  if (lacks_tie_) return true;
  const AtomTable& table = problem_.atoms();
  const auto has_domain = [this](int node) {
    const auto position = static_cast<std::size_t>(node);
    return position < has_domain_.size() && has_domain_[position] != 0;
  };
  for (std::size_t k = num_seen_; k < table.atoms().size(); ++k) {
    const AtomTable::Pair& pair = table.pair_of(table.atoms()[k]);
    if (has_domain(pair.source) && has_domain(pair.target)) return true;
  }
  for (std::size_t k = num_facts_seen_; k < problem_.num_lasting_facts(); ++k) {
    const int pair = table.facts()[k].direction / 2;
    if (confines(search, table.pairs()[static_cast<std::size_t>(pair)])) {
      return true;
    }
  }
  bool is_found = false;
  search.for_each_unsettled_literal([&](Literal literal) {
    const auto position = table.position_of(literal.variable());
    if (is_found || !position) return;
    is_found = confines(search, table.pair_of(table.atoms()[*position]));
  });
  return is_found;
}

bool SmallDomains::confines(const Search& search,
                            const AtomTable::Pair& pair) const {
  return may_confine_integers(problem_.atoms(), pair) &&
         domain_of(search, pair).has_value();
}

void SmallDomains::split(const Search& search) {
  const bool has_work = may_tie(search);
  num_seen_ = problem_.atoms().atoms().size();
  num_facts_seen_ = problem_.num_lasting_facts();
  if (!has_work) return;
  // A variable's domain above another one; of a pair, each confines the other.
  struct Confined {
    int base;
    Domain domain;
  };
  const AtomTable& table = problem_.atoms();
  std::unordered_map<int, std::vector<Confined>> by_node;
  for (const AtomTable::Pair& pair : table.pairs()) {
    if (!may_confine_integers(table, pair)) continue;
    const std::optional<Domain> domain = domain_of(search, pair);
    if (!domain) continue;
    by_node[pair.target].push_back({pair.source, *domain});
    // The constant 0 is no variable to split.
    if (pair.source == 0) continue;
    by_node[pair.source].push_back(
        {pair.target, {-domain->high, -domain->low}});
  }
  lacks_tie_ = false;
  has_domain_.assign(static_cast<std::size_t>(table.num_nodes()), 0);
  for (const auto& [node, domains] : by_node) {
    has_domain_[static_cast<std::size_t>(node)] = 1;
  }
  if (by_node.empty()) return;
  const std::size_t num_atoms = table.atoms().size();
  for (std::size_t k = 0; k < num_atoms; ++k) {
    const AtomTable::Pair& pair = table.pair_of(table.atoms()[k]);
    if (pair.bounds.size() > kMaxBoundsOnPair) continue;
    const auto sources = by_node.find(pair.source);
    const auto targets = by_node.find(pair.target);
    if (sources == by_node.end() || targets == by_node.end()) continue;
    for (const Confined& s : sources->second) {
      for (const Confined& t : targets->second) {
        if (s.base != t.base || tied_.count({k, s.base}) != 0) continue;
        const std::size_t newest = tie(k, s.base, s.domain, t.domain);
        tied_[{k, s.base}] = newest;
        newest_ = std::max(newest_, newest);
      }
    }
  }
  // Atoms for values have nothing to be tied to that others lack.
  num_seen_ = table.atoms().size();
}

// Both kinds of clauses for one atom between two confined variables. Returns
// the position of the newest atom in them. Domains take part with their bounds,
// false literals at level 0 that the search drops: so each clause is a sum.
std::size_t SmallDomains::tie(std::size_t atom, int base,
                              const Domain& source_domain,
                              const Domain& target_domain) {
  const AtomTable& table = problem_.atoms();
  const int source = table.pair_of(table.atoms()[atom]).source;
  const int target = table.pair_of(table.atoms()[atom]).target;
  const QNumber limit = table.atoms()[atom].weight.rational();
  const Literal difference(table.atoms()[atom].variable, false);
  std::size_t newest = atom;
  const auto add = [&](Literal a, Literal b, Literal c) {
    for (const Literal literal : {a, b}) {
      newest = std::max(newest, *table.position_of(literal.variable()));
    }
    problem_.add_clause({c, a, b}, {ClauseKind::kSmallDomain});
  };
  for (QNumber a = target_domain.low; a <= target_domain.high;
       a += QNumber(1)) {
    const Literal t = at_most(base, target, target_domain, a);
    QNumber rest = a;
    rest -= limit;
    rest -= QNumber(1);
    if (!(rest < source_domain.high)) continue;
    add(~t, at_most(base, source, source_domain, rest), difference);
  }
  for (QNumber a = source_domain.low; a <= source_domain.high;
       a += QNumber(1)) {
    const Literal s = at_most(base, source, source_domain, a);
    QNumber sum = a;
    sum += limit;
    if (!(sum < target_domain.high)) continue;
    add(~s, at_most(base, target, target_domain, sum), ~difference);
  }
  return newest;
}

void SmallDomains::rollback(std::size_t mark) {
  num_seen_ = std::min(num_seen_, mark);
  if (newest_ < mark || tied_.empty()) return;
  newest_ = 0;
  for (auto tie = tied_.begin(); tie != tied_.end();) {
    if (tie->second >= mark) {
      lacks_tie_ = lacks_tie_ || tie->first.first < mark;
      tie = tied_.erase(tie);
    } else {
      newest_ = std::max(newest_, tie->second);
      ++tie;
    }
  }
}

// A tie without clauses may have a base that is gone.
void SmallDomains::renumber(const std::vector<int>& nodes) {
  std::map<std::pair<std::size_t, int>, std::size_t> tied;
  for (const auto& [atom_and_base, newest] : tied_) {
    const int base = nodes[static_cast<std::size_t>(atom_and_base.second)];
    if (base >= 0) tied[{atom_and_base.first, base}] = newest;
  }
  tied_.swap(tied);
  lacks_tie_ = true;
}

}  // namespace vorn::solver
