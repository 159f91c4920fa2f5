// SPDX-License-Identifier: MIT
#include "solver/scheduling/separation_table.h"

#include <algorithm>
#include <iterator>

namespace vorn::solver {
namespace {

// More would not be read as absences of two tasks.
constexpr std::size_t kMostOthers = 2;
// Clauses kept for one literal and two tasks; there is no use in many.
constexpr std::size_t kMostHalves = 4;
// Literals and tasks that clauses are kept for; a few hundred bytes each.
constexpr std::size_t kMostTasks = 200'000;

std::vector<Literal> merge(std::vector<Literal> a,
                           const std::vector<Literal>& b) {
  a.insert(a.end(), b.begin(), b.end());
  std::sort(a.begin(), a.end());
  a.erase(std::unique(a.begin(), a.end()), a.end());
  return a;
}

std::vector<ClauseNumber> join(std::vector<ClauseNumber> first,
                               const std::vector<ClauseNumber>& then) {
  first.insert(first.end(), then.begin(), then.end());
  return first;
}

std::vector<Literal> without(std::vector<Literal> literals, Literal gone) {
  literals.erase(std::remove(literals.begin(), literals.end(), gone),
                 literals.end());
  return literals;
}

}  // namespace

void SeparationTable::add_separation(const std::pair<Literal, Precedence>& a,
                                     const std::pair<Literal, Precedence>& b,
                                     std::vector<Literal> conditions,
                                     std::vector<Literal> others,
                                     std::vector<ClauseNumber> premises) {
  const bool are_opposite =
      a.second.before == b.second.after && a.second.after == b.second.before;
  if (!are_opposite || others.size() > kMostOthers) return;
  if (b.first < a.first) {
    add_separation(b, a, std::move(conditions), std::move(others),
                   std::move(premises));
    return;
  }
  others.resize(kMostOthers);
  const Separation separation{a.second.before,
                              a.second.after,
                              a.second.time,
                              b.second.time,
                              a.first,
                              b.first,
                              conditions,
                              others[0].is_defined() ? ~others[0] : Literal(),
                              others[1].is_defined() ? ~others[1] : Literal(),
                              std::move(premises)};
  std::vector<Literal> rest = merge(std::move(conditions), others);
  const bool is_new =
      separations_.emplace(Key({a.first, b.first}, std::move(rest)), separation)
          .second;
  if (is_new) ++num_changes_;
}

void SeparationTable::note_variables(const Clause& clause) {
  const auto note = [this](Literal literal) {
    last_variable_ = std::max(last_variable_, literal.variable());
  };
  for (const auto& [literal, order] : clause.orders) note(literal);
  for (const Literal literal : clause.conditions) note(literal);
  for (const Literal literal : clause.others) note(literal);
}

void SeparationTable::add(const Clause& clause) {
  note_variables(clause);
  const auto& orders = clause.orders;
  if (orders.size() == 2) {
    add_separation(orders[0], orders[1], clause.conditions, clause.others,
                   clause.premises);
  }
  if (orders.size() != 1 || clause.others.empty() ||
      clause.others.size() > kMostOthers + 1 || halves_.size() > kMostTasks) {
    return;
  }
  if (clause.others.size() == 1) names_.emplace(~clause.others[0], clause);
  const Precedence& order = orders[0].second;
  const std::pair<int, int> tasks = std::minmax(order.before, order.after);
  for (const Literal literal : clause.others) {
    const auto found = halves_.find({~literal, tasks});
    if (found != halves_.end()) {
      for (const Clause& half : found->second) {
        add_separation(orders[0], half.orders[0],
                       merge(clause.conditions, half.conditions),
                       merge(without(clause.others, literal),
                             without(half.others, ~literal)),
                       join(clause.premises, half.premises));
      }
    }
    std::vector<Clause>& halves = halves_[{literal, tasks}];
    const bool is_known = std::any_of(
        halves.begin(), halves.end(), [&orders](const Clause& half) {
          return half.orders[0].first == orders[0].first;
        });
    if (!is_known && halves.size() < kMostHalves) halves.push_back(clause);
  }
}

void SeparationTable::add_named(const Clause& clause) {
  if (clause.orders.size() + clause.others.size() > kMostOthers + 2) return;
  note_variables(clause);
  Clause expanded = clause;
  for (const Literal literal : clause.others) {
    const auto name = names_.find(literal);
    if (name == names_.end()) continue;
    expanded.orders.push_back(name->second.orders[0]);
    expanded.conditions =
        merge(std::move(expanded.conditions), name->second.conditions);
    expanded.others = without(std::move(expanded.others), literal);
    expanded.premises =
        join(name->second.premises, std::move(expanded.premises));
  }
  const auto& orders = expanded.orders;
  // What names added nothing to was taken by add.
  if (orders.size() != 2 || clause.orders.size() == 2) return;
  add_separation(orders[0], orders[1], expanded.conditions, expanded.others,
                 expanded.premises);
}

void SeparationTable::shrink_variables(int num_variables) {
  if (last_variable_ < num_variables) return;
  last_variable_ = num_variables - 1;
  const std::size_t num_before = separations_.size();
  const auto is_gone = [num_variables](Literal literal) {
    return literal.is_defined() && literal.variable() >= num_variables;
  };
  const auto any_gone = [&is_gone](const std::vector<Literal>& literals) {
    return std::any_of(literals.begin(), literals.end(), is_gone);
  };
  for (auto s = separations_.begin(); s != separations_.end();) {
    const auto& [orders, rest] = s->first;
    const bool ends =
        is_gone(orders.first) || is_gone(orders.second) || any_gone(rest);
    s = ends ? separations_.erase(s) : std::next(s);
  }
  if (separations_.size() < num_before) ++num_changes_;
  const auto half_gone = [&](const Clause& half) {
    return is_gone(half.orders[0].first) || any_gone(half.conditions) ||
           any_gone(half.others);
  };
  for (auto n = names_.begin(); n != names_.end();) {
    n = half_gone(n->second) ? names_.erase(n) : std::next(n);
  }
  for (auto h = halves_.begin(); h != halves_.end();) {
    std::vector<Clause>& halves = h->second;
    halves.erase(std::remove_if(halves.begin(), halves.end(), half_gone),
                 halves.end());
    h = halves.empty() ? halves_.erase(h) : std::next(h);
  }
}

void SeparationTable::renumber(const std::vector<int>& nodes) {
  const auto move = [&nodes](int& node) {
    node = nodes[static_cast<std::size_t>(node)];
  };
  const auto move_orders = [&move](Clause& clause) {
    for (auto& [literal, order] : clause.orders) {
      move(order.before);
      move(order.after);
    }
  };
  for (auto& [key, separation] : separations_) {
    move(separation.first);
    move(separation.second);
  }
  for (auto& [literal, clause] : names_) move_orders(clause);
  decltype(halves_) halves;
  for (auto& [key, clauses] : halves_) {
    for (Clause& clause : clauses) move_orders(clause);
    const Precedence& order = clauses.front().orders[0].second;
    halves[{key.first, std::minmax(order.before, order.after)}] =
        std::move(clauses);
  }
  halves_.swap(halves);
}

std::vector<Separation> SeparationTable::separations() const {
  std::vector<Separation> result;
  result.reserve(separations_.size());
  for (const auto& [key, separation] : separations_) {
    result.push_back(separation);
  }
  return result;
}

}  // namespace vorn::solver
