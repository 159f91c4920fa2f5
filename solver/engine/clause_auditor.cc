// SPDX-License-Identifier: MIT
#include "solver/engine/clause_auditor.h"

#include <algorithm>
#include <map>

namespace vorn::solver {

void ClauseAuditor::added(ClauseNumber number,
                          const std::vector<Literal>& clause,
                          ClauseOrigin origin) {
  std::vector<int> facts;
  if (origin.kind == ClauseKind::kNeighbours) {
    if (origin.detail != 0) facts.push_back(static_cast<int>(origin.detail));
  } else if (facts_ != nullptr && origin.kind != ClauseKind::kSmallDomain) {
    facts = *facts_;
  }
  if (is_arithmetic(origin.kind)) {
    count(is_sum(problem_.atoms(), clause, facts));
  }
  keep(number, clause);
}

void ClauseAuditor::derived(ClauseNumber number,
                            const std::vector<Literal>& clause,
                            const std::vector<ClauseNumber>& premises) {
  const bool knows_all =
      std::all_of(premises.begin(), premises.end(),
                  [this](ClauseNumber n) { return clauses_.count(n) != 0; });
  if (knows_all || !is_full_) count(knows_all && follows(clause, premises));
  keep(number, clause);
}

void ClauseAuditor::forgotten(ClauseNumber number) {
  const auto found = clauses_.find(number);
  if (found == clauses_.end()) return;
  num_literals_ -= found->second.size();
  clauses_.erase(found);
}

void ClauseAuditor::keep(ClauseNumber number,
                         const std::vector<Literal>& clause) {
  is_full_ = is_full_ || num_literals_ + clause.size() > kMostLiterals;
  if (is_full_) return;
  num_literals_ += clause.size();
  clauses_.emplace(number, clause);
}

bool ClauseAuditor::is_sum(const AtomTable& atoms,
                           const std::vector<Literal>& clause,
                           const std::vector<int>& facts) {
  std::map<int, int> balance;
  la::DNumber sum;
  const auto add = [&](int id) {
    const dl::Edge& edge = atoms.constraint(id).edge;
    ++balance[edge.source];
    --balance[edge.target];
    sum += edge.weight;
  };
  for (const int id : facts) add(id);
  for (const Literal literal : clause) {
    const int id = atoms.bound(~literal).id;
    const auto is_guard = [&](int fact) {
      return atoms.constraint(fact).literal == ~literal;
    };
    if (id != 0) {
      add(id);
    } else if (std::none_of(facts.begin(), facts.end(), is_guard)) {
      return false;
    }
  }
  return sum < la::DNumber() &&
         std::all_of(balance.begin(), balance.end(),
                     [](const auto& entry) { return entry.second == 0; });
}

bool ClauseAuditor::follows(const std::vector<Literal>& clause,
                            const std::vector<ClauseNumber>& premises) {
  std::vector<Literal> falsified;
  const auto falsify = [&](Literal literal) {
    const std::size_t needed = (literal.index() | 1U) + 1;
    if (is_false_.size() < needed) is_false_.resize(needed, 0);
    is_false_[literal.index()] = 1;
    falsified.push_back(literal);
  };
  for (const Literal literal : clause) falsify(literal);
  bool is_refuted = false;
  bool is_right = true;
  for (const ClauseNumber number : premises) {
    Literal open;
    std::size_t num_open = 0;
    for (const Literal literal : clauses_.at(number)) {
      const bool known =
          literal.index() < is_false_.size() && is_false_[literal.index()] != 0;
      if (known || literal == open) continue;
      open = literal;
      ++num_open;
    }
    is_right = is_right && !is_refuted && num_open <= 1;
    if (!is_right) break;
    is_refuted = num_open == 0;
    if (num_open == 1) falsify(~open);
  }
  for (const Literal literal : falsified) is_false_[literal.index()] = 0;
  return is_right && is_refuted;
}

}  // namespace vorn::solver
