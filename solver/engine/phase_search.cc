// SPDX-License-Identifier: MIT
#include "solver/engine/phase_search.h"

#include <algorithm>
#include <cstddef>

#include "solver/engine/local_search.h"
#include "vorn/containers/index.h"
#include "vorn/dl/closure_scale.h"

namespace vorn::solver {

namespace {

// Steps of the n-th run: n times the first, up to a limit, and what it takes to
// read the clauses.
constexpr std::uint64_t kFirst = 2'000'000;
constexpr std::uint64_t kMost = 40'000'000;
constexpr std::uint64_t kStepsPerClause = 2;

// Numbers of a local search are sums of more weights than nodes.
constexpr int kRoom = 16;

/// Fills a LocalSearch with what is left of a search's problem.
class Filler {
 public:
  Filler(const AtomTable& atoms, const Search& search,
         const std::vector<la::DNumber>& numbers,
         const ScheduleSearch& schedules, const ScheduleSearch::Shop& shop)
      : atoms_(atoms),
        search_(search),
        numbers_(numbers),
        schedules_(schedules),
        shop_(shop),
        local_(atoms.num_nodes(), search.num_variables() +
                                      static_cast<int>(atoms.facts().size())) {}

  /// False if words do not hold the numbers.
  bool fill(const std::vector<char>& phases) {
    if (!fit()) return false;
    for (const AtomTable::Atom& atom : atoms_.atoms()) add(atom);
    // Variables that only the local search has.
    int variable = search_.num_variables();
    for (const AtomTable::Fact& fact : atoms_.facts()) {
      if (search_.value(fact.guard) == Value::kTrue) {
        add(fact, variable++);
      }
    }
    const LocalSearch::Word zero = scale_.to_word(numbers_[0]);
    for (int node = 1; node < atoms_.num_nodes(); ++node) {
      local_.set_number(node, scale_.to_word(numbers_[index(node)]) - zero);
    }
    for (int v = 0; v < search_.num_variables(); ++v) {
      local_.set_value(v, phases[index(v)] != 0);
    }
    search_.for_each_given_clause([this](const std::vector<Literal>& clause,
                                         ClauseNumber) { add(clause); });
    return true;
  }
  // After fill: begins with the schedule.
  void take_schedule() {
    const std::vector<std::int64_t>& starts = schedules_.starts();
    for (int node = 1; node < atoms_.num_nodes(); ++node) {
      local_.set_number(node, starts[index(node)] - starts[0]);
    }
    for (const Literal presence : schedules_.presences()) {
      local_.set_value(presence.variable(), !presence.is_negated());
    }
  }
  LocalSearch& local() { return local_; }
  const dl::closure::Scale& scale() const { return scale_; }

 private:
  const dl::Edge& edge_of(int id) const { return atoms_.constraint(id).edge; }
  LocalSearch::Bound bound_of(int id) const {
    const dl::Edge& edge = edge_of(id);
    return {edge.source, edge.target, scale_.to_word(edge.weight)};
  }

  bool fit() {
    dl::closure::Scale::Need need;
    need.num_nodes = kRoom * atoms_.num_nodes();
    for (const AtomTable::Atom& atom : atoms_.atoms()) {
      for (const int id : atom.constraints) need.add(edge_of(id).weight);
    }
    for (const AtomTable::Fact& fact : atoms_.facts()) {
      need.add(edge_of(fact.constraint).weight);
      need.add(atoms_.opposite_weight(fact));
    }
    for (const la::DNumber& number : numbers_) need.add(number);
    for (const la::DNumber& number : schedules_.numbers()) need.add(number);
    if (shop_.aim) need.add(shop_.aim->weight);
    scale_.fit(need);
    return scale_.size() != dl::closure::Scale::Size::kExact;
  }

  // A fact that bounds no node from node 0 is a clause, too, or else numbers
  // would not respect it.
  void add(const AtomTable::Atom& atom) {
    const LocalSearch::Bound yes = bound_of(atom.constraints[0]);
    const LocalSearch::Bound no = bound_of(atom.constraints[1]);
    const Literal literal(atom.variable, false);
    const Value value = search_.value(literal);
    if (value == Value::kUnassigned) {
      local_.add_atom(atom.variable, yes, no);
      return;
    }
    const bool is_true = value == Value::kTrue;
    local_.add_fact(is_true ? yes : no);
    if (yes.source == 0 || yes.target == 0) return;
    local_.add_atom(atom.variable, yes, no);
    local_.add_clause({is_true ? literal : ~literal});
  }

  void add(const AtomTable::Fact& fact, int variable) {
    const LocalSearch::Bound yes = bound_of(fact.constraint);
    local_.add_fact(yes);
    if (yes.source == 0 || yes.target == 0) return;
    const la::DNumber weight = atoms_.opposite_weight(fact);
    local_.add_atom(variable, yes,
                    {yes.target, yes.source, scale_.to_word(weight)});
    local_.add_clause({Literal(variable, false)});
  }

  void add(const std::vector<Literal>& clause) {
    kept_.clear();
    for (const Literal literal : clause) {
      const Value value = search_.value(literal);
      if (value == Value::kTrue) return;
      if (value == Value::kUnassigned) kept_.push_back(literal);
    }
    if (!links_bounds()) local_.add_clause(kept_);
  }
  // Two bounds of a pair one of which holds for any numbers.
  bool links_bounds() const {
    if (kept_.size() != 2) return false;
    const AtomTable::Bound& a = atoms_.bound(~kept_[0]);
    const AtomTable::Bound& b = atoms_.bound(~kept_[1]);
    return a.id != 0 && b.id != 0 && a.direction == (b.direction ^ 1) &&
           a.weight + b.weight < la::DNumber();
  }

  const AtomTable& atoms_;
  const Search& search_;
  const std::vector<la::DNumber>& numbers_;
  const ScheduleSearch& schedules_;
  const ScheduleSearch::Shop& shop_;
  dl::closure::Scale scale_;
  LocalSearch local_;
  std::vector<Literal> kept_;
};

}  // namespace

std::uint64_t PhaseSearch::num_steps(const Search& search) const {
  return std::min((counters_.runs + 1) * kFirst, kMost) +
         kStepsPerClause * search.num_given_clauses();
}

bool PhaseSearch::is_due(const Search& search, std::uint64_t effort) const {
  return search.statistics().conflicts >= options_.first_conflict &&
         effort >= options_.share * (spent_ + num_steps(search));
}

std::uint64_t PhaseSearch::schedule_steps(std::uint64_t effort) const {
  if (options_.schedule_share == 0) return kFirst;
  const std::uint64_t spent = schedules_.counters().steps;
  return std::max(effort / options_.schedule_share, spent) - spent;
}

void PhaseSearch::run(const AtomTable& atoms, const Search& search,
                      const ScheduleSearch::Shop& shop, std::uint64_t effort,
                      const std::vector<la::DNumber>& numbers,
                      std::vector<char>& phases) {
  const std::uint64_t steps = num_steps(search);
  spent_ += steps;
  ++counters_.runs;
  Filler filler(atoms, search, numbers, schedules_, shop);
  if (!filler.fill(phases)) return;
  // Orders that leave tasks late are advice that numbers one by one would only
  // spoil.
  const bool has_schedule = schedules_.run(atoms, search, shop, filler.scale(),
                                           schedule_steps(effort), random_);
  if (has_schedule) filler.take_schedule();
  const bool is_late = has_schedule && !schedules_.is_in_time();
  LocalSearch& local = filler.local();
  const std::size_t left =
      local.run(is_late ? 0 : steps, random_, search.stop());
  if (left == 0) ++counters_.found;
  counters_.moves += local.num_moves();
  counters_.steps += local.num_steps();
  for (std::size_t i = 0; i < phases.size(); ++i) {
    phases[i] = local.is_true(static_cast<int>(i)) ? 1 : 0;
  }
}

}  // namespace vorn::solver
