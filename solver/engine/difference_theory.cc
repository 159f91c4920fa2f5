// SPDX-License-Identifier: MIT
#include "solver/engine/difference_theory.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <iterator>
#include <utility>

namespace vorn::solver {
namespace {

std::size_t index(int id) {
  return static_cast<std::size_t>(id);
}

}  // namespace

DifferenceTheory::DifferenceTheory(TermStore& store, AtomNormaliser& normaliser,
                                   const Configuration::Theory::La& lemmas,
                                   bool lemma_trials,
                                   const PropagationOptions& propagation)
    : store_(store),
      normaliser_(normaliser),
      graph_(&no_lemmas_, &mapper_, &store),
      lemmas_(lemmas),
      tries_lemmas_(lemma_trials && lemmas.dl_tlemma_kinds == 0),
      lemma_trials_(lemmas.dl_tlemma_min_overlap),
      propagation_(propagation),
      constraints_(1) {
  if (tries_lemmas_) {
    constexpr int kShort = 1;
    lemmas_.dl_tlemma_kinds = kShort;
  }
  if (lemmas_.dl_tlemma_kinds == 0) return;
  lemma_finder_ = std::make_unique<LemmaFinder>(lemmas_, mapper_, store_);
}

void DifferenceTheory::start_check() {
  has_conflict_ = false;
  lemma_trials_.start_check(search_->statistics());
  propagation_.start_check(search_->statistics());
}

void DifferenceTheory::set_logger(Logger* logger) {
  logger_ = logger;
  graph_.set_logger(logger);
  if (lemma_finder_) lemma_finder_->graph().set_logger(logger);
}

void DifferenceTheory::set_recorder(GraphRecorder* recorder) {
  assert(atoms_.empty());
  recorder_ = recorder;
  if (recorder_ != nullptr) recorder_->new_graph();
}

int DifferenceTheory::node_of(const Term* term) {
  return term == nullptr ? 0 : mapper_.add_variable(term);
}

const Term* DifferenceTheory::term_of(int node) const {
  return node == 0 ? nullptr : static_cast<const Term*>(mapper_.term(node));
}

Literal DifferenceTheory::literal_of(const DifferenceBound& bound,
                                     bool integer) {
  const int source = node_of(bound.source);
  const int target = node_of(bound.target);
  if (source > target) {
    return ~literal_of(negate_bound(bound, integer), integer);
  }
  const int pair = pair_of(source, target);
  const std::map<la::DNumber, int>& bounds = pairs_[index(pair)].bounds;
  const auto found = bounds.find(bound.weight);
  if (found != bounds.end()) {
    return Literal(atoms_[index(found->second)].variable, false);
  }

  const int variable = search_->new_variable(true);
  const Literal literal(variable, false);
  const auto [term, negated] = bound_term(bound);
  Atom atom{variable, {0, 0}, pair, bound.weight};
  const DifferenceBound opposite = negate_bound(bound, integer);
  atom.constraints[0] = add_constraint(bound, term, negated, literal);
  atom.constraints[1] = add_constraint(opposite, term, !negated, ~literal);
  if (index(variable) >= atom_of_variable_.size()) {
    atom_of_variable_.resize(index(variable) + 1, -1);
    bounds_.resize(2 * index(variable) + 2);
  }
  bounds_[literal.index()] = {atom.constraints[0], 2 * pair, bound.weight};
  bounds_[(~literal).index()] = {atom.constraints[1], 2 * pair + 1,
                                 opposite.weight};
  atom_of_variable_[index(variable)] = static_cast<int>(atoms_.size());
  pairs_[index(pair)].bounds.emplace(bound.weight,
                                     static_cast<int>(atoms_.size()));
  atoms_.push_back(atom);
  link_neighbours(atom);
  return literal;
}

int DifferenceTheory::pair_of(int source, int target) {
  const std::uint64_t key = (static_cast<std::uint64_t>(source) << 32U) |
                            static_cast<std::uint64_t>(target);
  const auto [position, is_new] =
      pair_positions_.emplace(key, static_cast<int>(pairs_.size()));
  if (is_new) {
    pairs_.push_back({source, target, {}});
    tightest_.resize(2 * pairs_.size(), 0);
  }
  return position->second;
}

int DifferenceTheory::add_constraint(const DifferenceBound& bound,
                                     const Term* atom, bool negated,
                                     Literal literal) {
  const int id = mapper_.add_constraint(atom, negated);
  const dl::Edge edge(node_of(bound.source), node_of(bound.target),
                      bound.weight, id);
  assert(index(id) == constraints_.size());
  constraints_.push_back({literal, edge});
  if (recorder_ != nullptr) recorder_->tell(id, edge);
  graph_.tell_edge(id, edge);
  propagation_.tell(id);
  return id;
}

// The bound as the term that the graph's lemmas state it with, and whether the
// bound is that term's negation.
std::pair<const Term*, bool> DifferenceTheory::bound_term(
    const DifferenceBound& bound) {
  const Term* zero = store_.make_number(QNumber(0));
  const Term* x = bound.source == nullptr ? zero : bound.source;
  const Term* y = bound.target == nullptr ? zero : bound.target;
  const Term* limit =
      store_.make_plus(x, store_.make_number(bound.weight.rational()));
  if (bound.weight.eps().sign() == 0) return {store_.make_leq(y, limit), false};
  return {store_.make_leq(limit, y), true};
}

// The tighter bound implies the looser one. Links to the neighbours make a
// chain, through which all others follow.
void DifferenceTheory::link_neighbours(const Atom& atom) {
  const std::map<la::DNumber, int>& bounds = pairs_[index(atom.pair)].bounds;
  const auto here = bounds.find(atom.weight);
  const auto link = [this](int tighter, int looser) {
    clauses_.push_back({Literal(atoms_[index(tighter)].variable, true),
                        Literal(atoms_[index(looser)].variable, false)});
  };
  if (here != bounds.begin()) link(std::prev(here)->second, here->second);
  const auto next = std::next(here);
  if (next != bounds.end()) link(here->second, next->second);
}

bool DifferenceTheory::take_clause(std::vector<Literal>& clause) {
  if (clauses_.empty()) return false;
  clause = std::move(clauses_.front());
  clauses_.pop_front();
  return true;
}

void DifferenceTheory::shrink_atoms(std::size_t count) {
  assert(active_.empty());
  clauses_.clear();
  if (lemma_finder_) {
    dl::Graph& lessons = lemma_finder_->graph();
    while (lessons.has_lemmas()) lessons.get_next_lemma();
  }
  for (auto tie = tied_.begin(); tie != tied_.end();) {
    tie = tie->second >= count ? tied_.erase(tie) : std::next(tie);
  }
  machines_.reset();
  separations_.shrink_variables(search_->num_variables());
  while (atoms_.size() > count) {
    const Atom& atom = atoms_.back();
    for (const int id : {atom.constraints[1], atom.constraints[0]}) {
      if (recorder_ != nullptr) recorder_->retract(id);
      graph_.retract_edge(id);
      propagation_.retract(id);
      if (lemma_finder_) lemma_finder_->forget(id);
    }
    atom_of_variable_[index(atom.variable)] = -1;
    for (const bool negated : {false, true}) {
      bounds_[Literal(atom.variable, negated).index()] = Bound();
    }
    pairs_[index(atom.pair)].bounds.erase(atom.weight);
    atoms_.pop_back();
  }
}

void DifferenceTheory::assigned(Literal literal) {
  // Machines want to know of variables that are no atoms.
  if (literal.index() >= bounds_.size() || bounds_[literal.index()].id == 0) {
    if (machines_) machines_->assigned(literal);
    return;
  }
  const Bound& bound = bounds_[literal.index()];
  int& tightest = tightest_[index(bound.direction)];
  const bool implied =
      (tightest != 0 &&
       !(bound.weight < constraints_[index(tightest)].edge.weight)) ||
      propagation_.is_known(bound.id);
  active_.push_back({bound.id, implied, bound.direction, tightest});
  if (machines_) machines_->assigned(literal);
  if (implied) return;
  tightest = bound.id;
  if (recorder_ != nullptr) recorder_->push(bound.id);
  graph_.push_edge(bound.id);
  propagation_.push(bound.id);
  if (machines_) {
    machines_->push(literal, bound.id, constraints_[index(bound.id)].edge);
  }
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
  while (active_.size() > kept) {
    const Active& last = active_.back();
    if (!last.implied) {
      tightest_[index(last.direction)] = last.previous;
      if (recorder_ != nullptr) recorder_->pop(last.id);
      graph_.pop_edge(last.id);
      propagation_.pop();
    }
    active_.pop_back();
  }
}

bool DifferenceTheory::propagate(std::vector<Literal>& implied,
                                 std::vector<Literal>& conflict) {
  if (recorder_ != nullptr) recorder_->check();
  const auto edge_of = [this](int id) -> const dl::Edge& {
    return constraints_[index(id)].edge;
  };
  if (graph_.check(true)) {
    consequences_.clear();
    propagation_.run(search_->statistics(), edge_of, consequences_);
    for (const int id : consequences_) {
      const Literal literal = constraints_[index(id)].literal;
      if (search_->value(literal) != Value::kTrue) implied.push_back(literal);
    }
    if (!implied.empty() || !machines_) return true;
    return machines_->run(implied, conflict);
  }
  bool is_chosen = false;
  Span least;
  propagation_.find_cycles(search_->statistics(), edge_of,
                           [&](const std::vector<int>& cycle) {
                             assert(is_negative_cycle(cycle));
                             const Span span = span_of(cycle);
                             if (is_chosen && !(span < least)) return;
                             is_chosen = true;
                             least = span;
                             conflict_set_ = cycle;
                           });
  if (!is_chosen) graph_.get_conflict_set(&conflict_set_);
  for (const int id : conflict_set_) {
    conflict.push_back(~constraints_[index(id)].literal);
  }
  learn_from_conflict();
  return false;
}

std::vector<DifferenceBound> DifferenceTheory::last_cycle() const {
  std::vector<DifferenceBound> bounds;
  if (!has_conflict_) return bounds;
  for (const int id : conflict_set_) {
    const dl::Edge& edge = constraints_[index(id)].edge;
    bounds.push_back({term_of(edge.source), term_of(edge.target), edge.weight});
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
  for (const int id : conflict_set_) {
    cycle_.push_back(&constraints_[index(id)].edge);
  }
  lemma_finder_->learn_from(cycle_);
}

void DifferenceTheory::explain(Literal literal, std::vector<Literal>& reason) {
  reason.push_back(literal);
  if (machines_ && machines_->has_reason(literal)) {
    machines_->explain(literal, reason);
    return;
  }
  path_.clear();
  propagation_.explain(bounds_[literal.index()].id, &path_);
  for (const int id : path_) {
    reason.push_back(~constraints_[index(id)].literal);
  }
  assert(is_reason(literal, path_));
}

// Whether the constraints chain up to the literal's bound, or a tighter one,
// and were active before the literal was.
bool DifferenceTheory::is_reason(Literal literal,
                                 const std::vector<int>& path) const {
  const int id = bounds_[literal.index()].id;
  const dl::Edge& bound = constraints_[index(id)].edge;
  const auto position = [this](int constraint) {
    return std::find_if(
        active_.begin(), active_.end(),
        [constraint](const Active& a) { return a.id == constraint; });
  };
  const auto end = position(id);
  int node = bound.source;
  la::DNumber sum;
  for (const int premise : path) {
    const dl::Edge& edge = constraints_[index(premise)].edge;
    if (edge.source != node || !(position(premise) < end)) return false;
    node = edge.target;
    sum += edge.weight;
  }
  return node == bound.target && !(bound.weight < sum);
}

// How many levels above 0 the constraints' literals were assigned at, and how
// many literals these are.
DifferenceTheory::Span DifferenceTheory::span_of(
    const std::vector<int>& constraints) {
  levels_.clear();
  for (const int id : constraints) {
    const Literal literal = constraints_[index(id)].literal;
    const int level = search_->level_of(literal.variable());
    if (level > 0) levels_.push_back(level);
  }
  const std::size_t num_literals = levels_.size();
  std::sort(levels_.begin(), levels_.end());
  const auto end = std::unique(levels_.begin(), levels_.end());
  return {static_cast<std::size_t>(end - levels_.begin()), num_literals};
}

// Whether the constraints are active and chain up to a sum below 0.
bool DifferenceTheory::is_negative_cycle(const std::vector<int>& cycle) const {
  int node = constraints_[index(cycle.back())].edge.target;
  la::DNumber sum;
  for (const int id : cycle) {
    const dl::Edge& edge = constraints_[index(id)].edge;
    const bool active =
        std::any_of(active_.begin(), active_.end(),
                    [id](const Active& a) { return a.id == id; });
    if (!active || edge.source != node) return false;
    node = edge.target;
    sum += edge.weight;
  }
  return sum < la::DNumber();
}

bool DifferenceTheory::final_check(std::vector<Literal>& /*conflict*/) {
  const la::DNumber origin = graph_.get_potential(0);
  const QNumber eps = choose_eps();
  model_.assign(index(mapper_.num_variables()) + 1, QNumber(0));
  for (int n = 1; n <= mapper_.num_variables(); ++n) {
    const la::DNumber potential = graph_.get_potential(n);
    QNumber part = potential.eps();
    part -= origin.eps();
    part *= eps;
    QNumber& value = model_[index(n)];
    value = potential.rational();
    value -= origin.rational();
    value += part;
    // Real bounds can move the origin, and with it the integers, off the whole
    // numbers. Rounding all integers down keeps every bound between them, whose
    // weights are integers, and every bound of one alone.
    if (term_of(n)->sort == Sort::kInt) value = value.floor();
  }
  return true;
}

// A number small enough to stand for eps in every active bound: each one holds
// for a + b*eps <= c + d*eps, in lexicographic order, and keeps holding while
// (b - d) * eps <= c - a.
QNumber DifferenceTheory::choose_eps() const {
  QNumber eps(1);
  // Implied ones too: a looser bound may have the larger multiple of eps.
  for (const Active& active : active_) {
    const dl::Edge& edge = constraints_[index(active.id)].edge;
    la::DNumber limit = graph_.get_potential(edge.source);
    limit += edge.weight;
    const la::DNumber value = graph_.get_potential(edge.target);
    QNumber excess = value.eps();
    excess -= limit.eps();
    if (excess.sign() <= 0) continue;
    QNumber largest = limit.rational();
    largest -= value.rational();
    largest /= excess;
    if (largest < eps) eps = largest;
  }
  return eps;
}

std::optional<QNumber> DifferenceTheory::model_value(
    const Term* variable) const {
  const int node = mapper_.node_of(variable);
  if (node == 0 || index(node) >= model_.size()) return std::nullopt;
  return model_[index(node)];
}

bool DifferenceTheory::next_lemma(std::vector<Literal>& clause) {
  while (lemma_finder_ && clauses_.empty() &&
         lemma_finder_->graph().has_lemmas()) {
    std::vector<Literal> lemma;
    if (read_lemma(lemma_finder_->graph().get_next_lemma(), lemma)) {
      clauses_.push_back(std::move(lemma));
    }
  }
  return take_clause(clause);
}

// False for a lemma that holds trivially.
bool DifferenceTheory::read_lemma(const dl::Graph::Lemma& lemma,
                                  std::vector<Literal>& clause) {
  for (const Term_* disjunct : lemma.second) {
    Literal literal;
    bool constant = false;
    if (literal_of_disjunct(static_cast<const Term*>(disjunct), literal,
                            constant)) {
      clause.push_back(literal);
    } else if (constant) {
      return false;
    }
  }
  return true;
}

// False if the disjunct is a constant, which goes to `constant`.
bool DifferenceTheory::literal_of_disjunct(const Term* disjunct,
                                           Literal& literal, bool& constant) {
  const bool negated = disjunct->kind == Kind::kNot;
  const Term* atom = negated ? disjunct->arg(0) : disjunct;
  if (atom->kind == Kind::kTrue || atom->kind == Kind::kFalse) {
    constant = (atom->kind == Kind::kTrue) != negated;
    return false;
  }
  DifferenceBound bound;
  bool integer = false;
  const BoundOutcome outcome = normaliser_.read_bound(atom, bound, integer);
  if (outcome != BoundOutcome::kBound) {
    assert(outcome != BoundOutcome::kOutside);
    constant = (outcome == BoundOutcome::kTrue) != negated;
    return false;
  }
  literal = literal_of(bound, integer);
  if (negated) literal = ~literal;
  return true;
}

}  // namespace vorn::solver
