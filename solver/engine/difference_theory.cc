// SPDX-License-Identifier: MIT
#include "solver/engine/difference_theory.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <iterator>
#include <utility>

#include "solver/engine/integral_values.h"
#include "solver/engine/least_difference.h"
#include "solver/scheduling/machine_span.h"
#include "solver/scheduling/time.h"
#include "vorn/containers/index.h"

namespace vorn::solver {
namespace {

// Whether one is an integer and the other a real. The constant 0 is both.
bool is_mixed(const AtomTable& table, const dl::Edge& edge) {
  return edge.source != 0 && edge.target != 0 &&
         table.term_of(edge.source)->sort != table.term_of(edge.target)->sort;
}

}  // namespace

DifferenceTheory::DifferenceTheory(TermStore& store, Problem& problem,
                                   const Configuration::Theory::La& lemmas,
                                   bool lemma_trials,
                                   const PropagationOptions& propagation,
                                   const PhaseSearchOptions& phases)
    : problem_(problem),
      lemma_terms_(store, problem),
      graph_(&no_lemmas_, &lemma_terms_, &store),
      lemmas_(lemmas),
      tries_lemmas_(lemma_trials && lemmas.dl_tlemma_kinds == 0),
      lemma_trials_(lemmas.dl_tlemma_min_overlap),
      propagation_(propagation),
      phase_search_(phases) {
  if (tries_lemmas_) {
    constexpr int kShort = 1;
    lemmas_.dl_tlemma_kinds = kShort;
  }
  if (lemmas_.dl_tlemma_kinds == 0) return;
  lemma_finder_ = std::make_unique<LemmaFinder>(lemmas_, lemma_terms_, store);
}

void DifferenceTheory::start_check() {
  has_conflict_ = false;
  lemma_trials_.start_check(search_->statistics());
  propagation_.start_check(search_->statistics());
}

void DifferenceTheory::set_logger(Logger* logger) {
  graph_.set_logger(logger);
  if (lemma_finder_) lemma_finder_->graph().set_logger(logger);
}

void DifferenceTheory::set_recorder(GraphRecorder* recorder) {
  assert(num_atoms_ == 0);
  graph_.set_recorder(recorder);
}

void DifferenceTheory::update() {
  const AtomTable& table = problem_.atoms();
  while (search_->num_variables() < problem_.num_variables()) {
    const int variable = search_->num_variables();
    search_->new_variable(table.position_of(variable).has_value() ||
                          problem_.is_selector(Literal(variable, false)));
  }
  tightest_.resize(2 * table.pairs().size(), 0);
  follow_new_nodes();
  while (num_bounds() < table.num_bounds()) {
    const bool is_fact = num_atoms_ == table.atoms().size() ||
                         (num_facts_ < table.facts().size() &&
                          table.facts()[num_facts_].constraint <
                              table.atoms()[num_atoms_].constraints[0]);
    if (is_fact) {
      const AtomTable::Fact& fact = table.facts()[num_facts_++];
      tell(fact.constraint);
      if (is_scoped(fact)) join_level(fact);
    } else {
      for (const int id : table.atoms()[num_atoms_++].constraints) tell(id);
    }
  }
}

// New ones are put above what new facts want below them: else all those would
// be lowered, in each check where variables come in ascending order.
void DifferenceTheory::follow_new_nodes() {
  if (!followed_.is_on()) return;
  const AtomTable& table = problem_.atoms();
  const int first = followed_.num_nodes();
  if (first == table.num_nodes()) return;
  while (followed_.num_nodes() < table.num_nodes()) followed_.add_node();
  if (!graph_.places_nodes()) return;
  for (std::size_t k = num_facts_; k < table.facts().size(); ++k) {
    const dl::Edge& edge = edge_of(table.facts()[k].constraint);
    if (edge.source < first) continue;
    const la::DNumber least =
        RecordedGraph::difference(graph_.potential(edge.target), edge.weight);
    if (graph_.potential(edge.source) < least) {
      followed_.place(edge.source, least);
    }
  }
}

void DifferenceTheory::tell(int id) {
  const dl::Edge& edge = edge_of(id);
  if (is_mixed(problem_.atoms(), edge)) ++num_mixed_;
  graph_.tell_edge(id, edge);
  propagation_.tell(id);
  has_eps_ = has_eps_ || edge.weight.eps().sign() != 0;
}

// The one told last.
void DifferenceTheory::forget(int id) {
  if (is_mixed(problem_.atoms(), edge_of(id))) --num_mixed_;
  graph_.retract_edge(id);
  if (!propagation_.retract(id)) problem_.keep_number(id);
  if (lemma_finder_) lemma_finder_->forget(id);
  lemma_terms_.forget(id);
}

void DifferenceTheory::rollback(std::size_t mark) {
  drop_waiting_lemmas();
  has_conflict_ = false;
  drop_machines();
  phase_search_.forget_schedule();
  separations_.shrink_variables(search_->num_variables());
  const AtomTable& table = problem_.atoms();
  while (num_bounds() > mark) {
    if (table.ends_with_fact(num_atoms_, num_facts_)) {
      forget(table.facts()[--num_facts_].constraint);
    } else {
      const AtomTable::Atom& atom = table.atoms()[--num_atoms_];
      forget(atom.constraints[1]);
      forget(atom.constraints[0]);
    }
  }
}

// With all levels, where literals may be that only they can explain.
void DifferenceTheory::drop_machines() {
  if (!machines_) return;
  search_->leave_levels();
  machines_.reset();
}

void DifferenceTheory::drop_waiting_lemmas() {
  lemma_.clear();
  if (!lemma_finder_) return;
  dl::Graph& lessons = lemma_finder_->graph();
  while (lessons.has_lemmas()) lessons.get_next_lemma();
}

void DifferenceTheory::forget_lemmas() {
  drop_waiting_lemmas();
  if (lemma_finder_) lemma_finder_->forget_all();
  lemma_terms_.forget_all();
}

void DifferenceTheory::renumber(const std::vector<int>& nodes) {
  assert(active_.empty());
  stop_following();
  num_mixed_ = 0;
  graph_.reset();
  propagation_.retract_all();
  forget_lemmas();
  machines_.reset();
  phase_search_.forget_schedule();
  separations_.renumber(nodes);
  has_conflict_ = false;
  tightest_.clear();
  num_atoms_ = 0;
  num_facts_ = 0;
  assert(num_pushed_ == 0);
  has_false_facts_ = false;
}

// To check them some at a time keeps a check's work small.
void DifferenceTheory::push_some_facts() {
  assert(level_starts_.empty());
  // They may know fewer nodes.
  drop_machines();
  constexpr int kBatch = 256;
  for (int n = 0; n < kBatch && has_facts_to_push(); ++n) {
    push_fact(problem_.atoms().facts()[num_pushed_++]);
  }
  has_false_facts_ = !graph_.check();
  if (has_false_facts_) graph_.get_conflict_set(&conflict_set_);
}

// Its scope may be on a level that has stayed from the last check.
void DifferenceTheory::join_level(const AtomTable::Fact& fact) {
  drop_machines();
  if (search_->value(fact.guard) != Value::kTrue) return;
  const int level = search_->level_of(fact.guard.variable());
  if (level == search_->level()) {
    push_fact(fact);
  } else {
    search_->leave_levels(level - 1);
  }
}

void DifferenceTheory::push_facts_of(Literal selector) {
  const std::vector<AtomTable::Fact>& facts = problem_.atoms().facts();
  const auto end = facts.begin() + static_cast<std::ptrdiff_t>(num_facts_);
  auto fact = std::lower_bound(
      facts.begin(), end, selector,
      [](const AtomTable::Fact& f, Literal guard) { return f.guard < guard; });
  for (; fact != end && fact->guard == selector; ++fact) push_fact(*fact);
}

void DifferenceTheory::push_fact(const AtomTable::Fact& fact) {
  activate(fact.guard, fact.constraint, fact.direction,
           edge_of(fact.constraint).weight, true);
}

void DifferenceTheory::assigned(Literal literal) {
  // Machines want to know of variables that are no atoms.
  const AtomTable::Bound& bound = problem_.atoms().bound(literal);
  if (bound.id != 0) {
    activate(literal, bound.id, bound.direction, bound.weight, false);
  }
  if (machines_) machines_->assigned(literal);
  if (bound.id == 0) push_facts_of(literal);
}

void DifferenceTheory::activate(Literal literal, int id, int direction,
                                const la::DNumber& weight, bool is_fact) {
  int& tightest = tightest_[index(direction)];
  const bool implied =
      (tightest != 0 && !(weight < edge_of(tightest).weight)) ||
      propagation_.is_known(id);
  active_.push_back({id, implied, direction, tightest, !implied, is_fact});
  if (followed_.is_on()) {
    const dl::Edge& edge = edge_of(id);
    followed_.tell(edge.source, edge.target, id);
  }
  if (implied) return;
  tightest = id;
  graph_.push_edge(id);
  propagation_.push(id);
  if (machines_) machines_->push(literal, id, edge_of(id));
}

void DifferenceTheory::backtrack(int level) {
  if (machines_) machines_->backtrack(level);
  std::size_t kept = 0;
  if (level < 0) {
    level_starts_.clear();
  } else {
    kept = level_starts_[index(level)];
    level_starts_.resize(index(level));
  }
  while (active_.size() > kept) take_back_active();
}

void DifferenceTheory::take_back_active() {
  const Active& last = active_.back();
  if (!last.implied) {
    tightest_[index(last.direction)] = last.previous;
    if (last.on_graph) graph_.pop_edge(last.id);
    propagation_.pop();
  }
  if (last.is_fact && !problem_.is_selector(literal_of(last.id))) --num_pushed_;
  active_.pop_back();
  num_cleared_ = std::min(num_cleared_, active_.size());
  if (!followed_.is_on()) return;
  followed_.take_back();
  num_followed_ = std::min(num_followed_, active_.size());
  num_modelled_ = std::min(num_modelled_, active_.size());
}

// Takes constraints of level 0 off the graph that follow from tighter ones
// which came later: each check looks at all edges of the nodes that it lowers.
// With a mark to go back to, they may be needed again.
void DifferenceTheory::clear_level_0() {
  constexpr std::size_t kFew = 32;
  if (active_.size() < num_cleared_ + kFew || search_->has_marks()) return;
  num_cleared_ = active_.size();
  const auto follows = [this](const Active& active) {
    return active.id != tightest_[index(active.direction)];
  };
  const auto num_dropped = std::count_if(
      active_.begin(), active_.end(),
      [&](const Active& active) { return active.on_graph && follows(active); });
  if (num_dropped < static_cast<std::ptrdiff_t>(kFew)) return;
  for (auto active = active_.rbegin(); active != active_.rend(); ++active) {
    if (active->on_graph) graph_.pop_edge(active->id);
  }
  for (Active& active : active_) {
    active.on_graph = active.on_graph && !follows(active);
    if (active.on_graph) graph_.push_edge(active.id);
  }
  [[maybe_unused]] const bool is_consistent = graph_.check();
  assert(is_consistent);
}

// What machines know of level 0 cannot be taken back bit by bit.
void DifferenceTheory::retract(Literal literal) {
  machines_.reset();
  const int id = problem_.atoms().bound(literal).id;
  if (id == 0) return;
  assert(active_.back().id == id);
  take_back_active();
}

bool DifferenceTheory::propagate(std::vector<Literal>& implied,
                                 std::vector<Literal>& conflict) {
  const auto edge = [this](int id) -> const dl::Edge& { return edge_of(id); };
  if (has_false_facts_) {
    deny(conflict_set_, conflict);
    has_conflict_ = true;
    return false;
  }
  const bool is_consistent = graph_.check();
  follow();
  if (is_consistent) {
    consequences_.clear();
    propagation_.run(search_->statistics(), edge, consequences_);
    for (const int id : consequences_) {
      const Literal literal = literal_of(id);
      // That a fact follows says nothing of its scope.
      if (search_->value(literal) == Value::kTrue) continue;
      if (!problem_.atoms().is_fact(id)) implied.push_back(literal);
    }
    if (!implied.empty() || !machines_) return true;
    if (machines_->run(implied, conflict)) return true;
    origin_ = certify();
    return false;
  }
  origin_ = {ClauseKind::kCycle};
  bool is_chosen = false;
  Span least;
  propagation_.find_cycles(search_->statistics(), edge,
                           [&](const std::vector<int>& cycle) {
                             const Span span = span_of(cycle);
                             if (is_chosen && !(span < least)) return;
                             is_chosen = true;
                             least = span;
                             conflict_set_ = cycle;
                           });
  if (!is_chosen) graph_.get_conflict_set(&conflict_set_);
  deny(conflict_set_, conflict);
  learn_from_conflict();
  return false;
}

// Appends that the constraints do not all hold. What holds always is left out.
void DifferenceTheory::deny(const std::vector<int>& constraints,
                            std::vector<Literal>& clause) {
  facts_of_clause_.clear();
  for (const int id : constraints) {
    const Literal literal = literal_of(id);
    if (problem_.atoms().is_fact(id)) {
      facts_of_clause_.push_back(id);
      if (!problem_.is_selector(literal)) continue;
    }
    clause.push_back(~literal);
  }
}

std::vector<DifferenceBound> DifferenceTheory::last_cycle() const {
  std::vector<DifferenceBound> bounds;
  if (!has_conflict_) return bounds;
  for (const int id : conflict_set_) {
    const dl::Edge& edge = edge_of(id);
    const AtomTable& table = problem_.atoms();
    bounds.push_back(
        {table.term_of(edge.source), table.term_of(edge.target), edge.weight});
  }
  return bounds;
}

void DifferenceTheory::learn_from_conflict() {
  has_conflict_ = true;
  if (!lemma_finder_) return;
  if (tries_lemmas_ &&
      !lemma_trials_.wants_lemmas(search_->statistics(), conflict_set_)) {
    return;
  }
  cycle_.clear();
  for (const int id : conflict_set_) cycle_.push_back(&edge_of(id));
  lemma_finder_->learn_from(cycle_);
}

void DifferenceTheory::explain(Literal literal, std::vector<Literal>& reason) {
  reason.push_back(literal);
  if (machines_ && machines_->has_reason(literal)) {
    machines_->explain(literal, reason);
    origin_ = certify();
    return;
  }
  origin_ = {ClauseKind::kPath};
  path_.clear();
  propagation_.explain(problem_.atoms().bound(literal).id, &path_);
  deny(path_, reason);
}

// How many levels above 0 the constraints' literals were assigned at, and how
// many literals these are.
DifferenceTheory::Span DifferenceTheory::span_of(
    const std::vector<int>& constraints) {
  levels_.clear();
  for (const int id : constraints) {
    const Literal literal = literal_of(id);
    const int level = search_->level_of(literal.variable());
    if (level > 0) levels_.push_back(level);
  }
  const std::size_t num_literals = levels_.size();
  std::sort(levels_.begin(), levels_.end());
  const auto end = std::unique(levels_.begin(), levels_.end());
  return {static_cast<std::size_t>(end - levels_.begin()), num_literals};
}

// The graph knows reals alone; where integers and reals meet, there may be none
// among its solutions that has the integers.
bool DifferenceTheory::final_check(std::vector<Literal>& conflict) {
  if (num_mixed_ == 0) {
    choose_model();
    return true;
  }
  std::vector<int> active = active_constraints();
  IntegralValues integral(problem_.atoms(), active);
  if (!integral.is_mixed()) {
    choose_model();
    return true;
  }
  std::vector<la::DNumber> solution = potentials();
  if (!integral.find(solution)) {
    deny(integral.conflict(), conflict);
    origin_ = {ClauseKind::kRounding};
    return false;
  }
  knows_changes_ = false;
  model_.choose(std::move(active), std::move(solution));
  return true;
}

// Most problems are asked once. In others a model costs what it has other
// values for, and what level 0 does not say.
void DifferenceTheory::choose_model() {
  if (!has_model_) {
    has_model_ = true;
    model_.choose(active_constraints());
    return;
  }
  if (!followed_.is_on()) start_following();
  if (!model_.choose_followed(followed_, static_cast<int>(num_modelled_) + 1,
                              static_cast<int>(active_.size()))) {
    knows_changes_ = false;
  }
  // Levels are taken back before values are asked for.
  if (has_eps_) model_.settle_eps();
  num_modelled_ = active_.size();
  decided_.clear();
  for (std::size_t k = num_fixed(); k < active_.size(); ++k) {
    decided_.push_back(active_[k].id);
  }
  changed_variables_.clear();
  if (!knows_changes_) return;
  for (const int node : followed_.changed()) {
    changed_variables_.push_back(problem_.atoms().term_of(node));
  }
}

void DifferenceTheory::forget_changes() {
  if (!followed_.is_on()) return;
  followed_.forget_changed();
  knows_changes_ = true;
  last_step_ = followed_.num_steps() + active_.size() +
               static_cast<std::uint64_t>(followed_.num_nodes());
}

// After each check of the graph, whatever it says.
void DifferenceTheory::follow() {
  if (!followed_.is_on()) return;
  followed_.follow(static_cast<int>(num_followed_) + 1);
  num_followed_ = active_.size();
  if (followed_.num_steps() > last_step_) stop_following();
}

void DifferenceTheory::start_following() {
  followed_.start(problem_.atoms().num_nodes());
  for (const Active& active : active_) {
    const dl::Edge& edge = edge_of(active.id);
    followed_.tell(edge.source, edge.target, active.id);
  }
  num_followed_ = active_.size();
  num_modelled_ = 0;
  forget_changes();
  knows_changes_ = false;
}

void DifferenceTheory::stop_following() {
  followed_.stop();
  num_followed_ = 0;
  num_modelled_ = 0;
  knows_changes_ = false;
}

void DifferenceTheory::stopped() {
  knows_changes_ = false;
  model_.choose(active_constraints());
}

// After the search, which has taken levels back.
std::vector<int> DifferenceTheory::model_constraints() const {
  if (!model_.are_followed()) return model_.active();
  std::vector<int> constraints = active_constraints();
  constraints.resize(num_fixed());
  constraints.insert(constraints.end(), decided_.begin(), decided_.end());
  return constraints;
}

// A variable that is in no bound can have any value.
bool DifferenceTheory::has_nodes(const Term* minuend,
                                 const Term* subtrahend) const {
  const auto is_known = [this](const Term* term) {
    return term == nullptr || problem_.atoms().node_of(term) != 0;
  };
  return is_known(minuend) && is_known(subtrahend);
}

std::optional<la::DNumber> DifferenceTheory::lower_model(
    const Term* minuend, const Term* subtrahend) {
  if (!has_nodes(minuend, subtrahend)) return {};
  std::vector<int> active = model_constraints();
  LeastDifference pass(problem_.atoms(), active, model_.solution());
  const auto least = pass.find(problem_.atoms().node_of(minuend),
                               problem_.atoms().node_of(subtrahend));
  if (least) {
    knows_changes_ = false;
    model_.choose(std::move(active), pass.solution());
  }
  return least;
}

std::optional<la::DNumber> DifferenceTheory::known_least(
    const Term* minuend, const Term* subtrahend) const {
  if (!has_nodes(minuend, subtrahend)) return {};
  const std::vector<int> facts = known_constraints();
  return LeastDifference(problem_.atoms(), facts, model_.solution())
      .find(problem_.atoms().node_of(minuend),
            problem_.atoms().node_of(subtrahend));
}

void DifferenceTheory::set_aim(const Term* minuend, const Term* subtrahend,
                               const la::DNumber& least) {
  aim_.reset();
  if (!has_nodes(minuend, subtrahend)) return;
  constexpr int kNone = -1;
  aim_.emplace(problem_.atoms().node_of(subtrahend),
               problem_.atoms().node_of(minuend), least, kNone);
}

// Each set on its own, and each task between what must come before it and
// what must come after it.
std::optional<la::DNumber> DifferenceTheory::likely_least(
    const Term* minuend, const Term* subtrahend) const {
  if (!machines_ || !has_nodes(minuend, subtrahend)) return {};
  const std::vector<int> facts = known_constraints();
  const LeastDifference pass(problem_.atoms(), facts, model_.solution());
  const LeastDifference::Numbers heads =
      pass.least_above(problem_.atoms().node_of(subtrahend));
  const LeastDifference::Numbers tails =
      pass.least_below(problem_.atoms().node_of(minuend));
  std::optional<ExactTime> most;
  for (const Machine& machine : machines_->machines()) {
    std::vector<SpanTask<ExactTime>> tasks;
    for (std::size_t k = 0; k < machine.tasks.size(); ++k) {
      const auto& head = heads[index(machine.tasks[k])];
      const auto& tail = tails[index(machine.tasks[k])];
      if (!head || !tail || machine.presences[k].is_defined()) continue;
      tasks.push_back({ExactTime(*head), ExactTime(machine.durations[k]),
                       ExactTime(*tail)});
    }
    const std::optional<ExactTime> end = least_end(std::move(tasks));
    if (end && (!most || *most < *end)) most = end;
  }
  if (!most) return {};
  return most->value();
}

// Of the last model's, those that level 0 says.
std::vector<int> DifferenceTheory::known_constraints() const {
  std::vector<int> known;
  for (const int id : model_constraints()) {
    if (search_->fixed_value(literal_of(id)) == Value::kTrue) {
      known.push_back(id);
    }
  }
  return known;
}

// Implied ones too: a looser bound may have the larger multiple of eps.
std::vector<int> DifferenceTheory::active_constraints() const {
  std::vector<int> active;
  active.reserve(active_.size());
  for (const Active& a : active_) active.push_back(a.id);
  return active;
}

std::vector<la::DNumber> DifferenceTheory::potentials() const {
  std::vector<la::DNumber> result;
  const int num_nodes = problem_.atoms().num_nodes();
  result.reserve(static_cast<std::size_t>(num_nodes));
  for (int node = 0; node < num_nodes; ++node) {
    result.push_back(graph_.potential(node));
  }
  return result;
}

// What the search took, in steps of some five nanoseconds, as far as its
// counters show.
std::uint64_t DifferenceTheory::effort() const {
  constexpr std::uint64_t kPerConflict = 1500;
  constexpr std::uint64_t kPerPropagation = 15;
  constexpr std::uint64_t kPerClosureStep = 4;
  constexpr std::uint64_t kPerMachineStep = 6;
  const SearchStatistics& done = search_->statistics();
  const std::uint64_t machine_steps =
      machines_ ? machines_->counters().steps : 0;
  return kPerConflict * done.conflicts + kPerPropagation * done.propagations +
         kPerClosureStep * propagation_.closure_counters().steps +
         kPerMachineStep * machine_steps;
}

bool DifferenceTheory::wants_phases() const {
  return propagation_.is_on() && phase_search_.is_due(*search_, effort());
}

void DifferenceTheory::improve_phases(std::vector<char>& phases) {
  ScheduleSearch::Shop shop;
  if (machines_) shop = {&machines_->machines(), origin_node_, aim_};
  phase_search_.run(problem_.atoms(), *search_, shop, effort(), potentials(),
                    phases);
}

bool DifferenceTheory::next_lemma(std::vector<Literal>& clause) {
  for (;;) {
    if (problem_.take_clause(link_)) {
      clause = link_.literals;
      origin_ = link_.origin;
      return true;
    }
    if (!lemma_.empty()) {
      clause.swap(lemma_);
      origin_ = {ClauseKind::kLemma};
      lemma_.clear();
      return true;
    }
    if (!lemma_finder_ || !lemma_finder_->graph().has_lemmas()) return false;
    facts_of_clause_.clear();
    if (!lemma_terms_.read(lemma_finder_->graph().get_next_lemma(), lemma_,
                           facts_of_clause_)) {
      lemma_.clear();
    }
    update();
  }
}

}  // namespace vorn::solver
