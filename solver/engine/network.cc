// SPDX-License-Identifier: MIT
#include "solver/engine/network.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <new>

#include "solver/engine/telling_order.h"
#include "vorn/containers/index.h"
#include "vorn/dl/edge.h"

namespace vorn::solver {
namespace {

// Constraints that are told and checked together.
constexpr std::size_t kBatch = 256;

// Fewer constraints are told in any order.
constexpr std::size_t kFewConstraints = 2000;

// Whether an atom has no ite in it, and variables of one sort. One that is
// large is taken for something else.
bool is_plain(const Term* atom) {
  constexpr std::size_t kMostPending = 64;
  constexpr std::size_t kMostPlaces = 1024;
  const Term* pending[kMostPending];
  std::size_t num_pending = 0;
  std::size_t num_places = 0;
  const auto add_arguments = [&](const Term* term) {
    if (term->num_args > kMostPending - num_pending) return false;
    std::copy(term->args(), term->args() + term->num_args,
              pending + num_pending);
    num_pending += term->num_args;
    return true;
  };
  bool has_ints = false;
  bool has_reals = false;
  if (!add_arguments(atom)) return false;
  while (num_pending > 0) {
    const Term* top = pending[--num_pending];
    if (++num_places > kMostPlaces) return false;
    switch (top->kind) {
      case Kind::kNumber:
        break;
      case Kind::kSymbol:
        (top->sort == Sort::kInt ? has_ints : has_reals) = true;
        break;
      case Kind::kPlus:
      case Kind::kTimes:
        if (!add_arguments(top)) return false;
        break;
      default:
        return false;
    }
  }
  return !has_ints || !has_reals;
}

// The same of what is no conjunction.
bool is_fact(const Term* formula) {
  const bool is_negated = formula->kind == Kind::kNot;
  const Term* atom = is_negated ? formula->arg(0) : formula;
  switch (atom->kind) {
    case Kind::kTrue:
    case Kind::kFalse:
      return true;
    case Kind::kLeq:
    case Kind::kLess:
      return is_plain(atom);
    case Kind::kEqual:
      return !is_negated && atom->arg(0)->is_arithmetic() && is_plain(atom);
    default:
      return false;
  }
}

}  // namespace

bool states_bounds(const Term* formula) {
  if (formula->kind != Kind::kAnd) return is_fact(formula);
  std::vector<const Term*> conjuncts{formula};
  while (!conjuncts.empty()) {
    const Term* top = conjuncts.back();
    conjuncts.pop_back();
    if (top->kind == Kind::kAnd) {
      conjuncts.insert(conjuncts.end(), top->args(),
                       top->args() + top->num_args);
    } else if (!is_fact(top)) {
      return false;
    }
  }
  return true;
}

void Network::pop() {
  assert(!scopes_.empty());
  const Scope scope = scopes_.back();
  scopes_.pop_back();
  take_back(scope.num_constraints);
  while (variables_.size() > scope.num_variables) remove_node();
  if (scopes_.size() < inconsistent_scope_) {
    is_consistent_ = true;
    inconsistent_scope_ = 0;
  }
  if (scopes_.size() < false_scope_) {
    is_false_ = false;
    false_scope_ = 0;
  }
}

// The latest first, as the graph wants it.
void Network::take_back(int num_kept) {
  while (!waiting_.empty() && num_constraints() > num_kept) {
    waiting_.pop_back();
  }
  while (num_told_ > num_kept) {
    graph_.pop_edge(num_told_);
    graph_.retract_edge(num_told_);
    if (followed_.is_on()) followed_.take_back();
    --num_told_;
    ++num_forgotten_;
  }
  num_modelled_ = std::min(num_modelled_, num_told_);
}

// The last one. Allocates nothing that it cannot do without.
void Network::remove_node() {
  const Term* symbol = variables_.back();
  nodes_[index(static_cast<int>(symbol->id))] = 0;
  variables_.pop_back();
  if (!followed_.is_on()) return;
  followed_.remove_node();
  if (!knows_changes_) return;
  try {
    gone_symbols_.push_back(symbol);
    // Where no model is looked at they would never be forgotten.
    constexpr std::size_t kFewGone = 1024;
    knows_changes_ = gone_symbols_.size() <= kFewGone + variables_.size();
  } catch (const std::bad_alloc&) {
    knows_changes_ = false;
  }
  if (!knows_changes_) gone_symbols_.clear();
}

void Network::add(const Term* formula) {
  pending_.assign(1, {formula, false});
  while (is_consistent_ && !is_false_ && !pending_.empty()) {
    const auto [top, is_negated] = pending_.back();
    pending_.pop_back();
    switch (top->kind) {
      case Kind::kTrue:
        if (is_negated) add_falsehood();
        break;
      case Kind::kFalse:
        if (!is_negated) add_falsehood();
        break;
      case Kind::kAnd:
        // Last first: conjuncts come off the stack in the order they stand in.
        for (std::size_t k = top->num_args; k > 0; --k) {
          pending_.emplace_back(top->arg(k - 1), false);
        }
        break;
      case Kind::kNot:
        pending_.emplace_back(top->arg(0), true);
        break;
      default:
        add_atom(top, is_negated);
        break;
    }
  }
}

void Network::add_atom(const Term* atom, bool is_negated) {
  [[maybe_unused]] const bool is_linear =
      lineariser_.linearise_difference(atom->arg(0), atom->arg(1), sum_);
  assert(is_linear);
  add_sum(sum_, atom->kind == Kind::kLess, is_negated);
  if (atom->kind != Kind::kEqual || is_false_) return;
  for (LinearSum::Monomial& m : sum_.monomials) m.coefficient = -m.coefficient;
  sum_.constant = -sum_.constant;
  add_sum(sum_, false, false);
}

void Network::add_sum(const LinearSum& sum, bool is_strict, bool is_negated) {
  const bool integer = is_integer(sum);
  DifferenceBound bound;
  const BoundOutcome outcome = to_bound(sum, is_strict, integer, bound);
  assert(outcome != BoundOutcome::kOutside);
  if (outcome == BoundOutcome::kBound) {
    add_bound(is_negated ? negate_bound(bound, integer) : bound);
  } else if (is_negated == (outcome == BoundOutcome::kTrue)) {
    add_falsehood();
  }
}

int Network::add_node(const Term* symbol) {
  if (symbol == nullptr) return 0;
  const auto id = static_cast<std::size_t>(symbol->id);
  if (id >= nodes_.size()) nodes_.resize(std::max(id + 1, id + id / 2), 0);
  int& node = nodes_[id];
  if (node != 0) return node;
  variables_.push_back(symbol);
  node = static_cast<int>(variables_.size());
  if (!followed_.is_on()) return node;
  followed_.add_node();
  // At 0, whatever else has had its number.
  if (graph_.places_nodes()) followed_.place(node, followed_.potential(0));
  return node;
}

void Network::add_bound(const DifferenceBound& bound) {
  const int source = add_node(bound.source);
  const int target = add_node(bound.target);
  waiting_.push_back({source, target, bound.weight});
}

void Network::add_falsehood() {
  is_false_ = true;
  false_scope_ = scopes_.size();
}

// Up to where a scope begins, which has to come behind what is outside of it.
void Network::order_waiting() {
  std::size_t count = waiting_.size();
  for (const Scope& scope : scopes_) {
    if (scope.num_constraints == 0) continue;
    count = std::min(count, index(scope.num_constraints));
    break;
  }
  if (count < kFewConstraints) return;
  const auto is_word = [](const la::DNumber& number) {
    return number.eps().sign() == 0 && number.rational().is_word();
  };
  std::vector<WordConstraint> constraints;
  constraints.reserve(count);
  for (std::size_t k = 0; k < count; ++k) {
    const Waiting& next = waiting_[k];
    if (!is_word(next.weight)) return;
    constraints.push_back(
        {next.source, next.target, next.weight.rational().word()});
  }
  std::vector<std::int64_t> potentials;
  potentials.reserve(variables_.size() + 1);
  for (std::size_t node = 0; node <= variables_.size(); ++node) {
    const auto number = static_cast<int>(node);
    const la::DNumber potential = graph_.potential(number);
    if (!is_word(potential)) return;
    potentials.push_back(potential.rational().word());
  }
  std::vector<std::uint32_t> order =
      telling_order(constraints, std::move(potentials));
  // In place, one cycle of the permutation after the other.
  for (std::uint32_t start = 0; start < order.size(); ++start) {
    if (order[start] == start) continue;
    Waiting first = std::move(waiting_[start]);
    std::uint32_t place = start;
    while (order[place] != start) {
      const std::uint32_t from = order[place];
      waiting_[place] = std::move(waiting_[from]);
      order[place] = place;
      place = from;
    }
    waiting_[place] = std::move(first);
    order[place] = place;
  }
}

void Network::tell_some() {
  if (waiting_.empty()) {
    is_consistent_ = false;
    inconsistent_scope_ = false_scope_;
    conflict_.clear();
    cycle_.clear();
    return;
  }
  const int first = num_told_ + 1;
  const std::size_t num_next = std::min(kBatch, waiting_.size());
  if (followed_.is_on() && graph_.places_nodes()) lift_new_nodes(num_next);
  for (std::size_t n = 0; n < num_next; ++n) {
    const auto& [source, target, weight] = waiting_.front();
    const int id = num_told_ + 1;
    graph_.tell_edge(id, {source, target, weight, id});
    if (followed_.is_on()) followed_.tell(source, target, id);
    num_told_ = id;
    waiting_.pop_front();
  }
  for (int id = first; id <= num_told_; ++id) graph_.push_edge(id);
  if (!graph_.check()) note_conflict();
  if (followed_.is_on()) followed_.follow(first);
}

// What no constraint mentions is put above what the next ones want below it.
// Else those would be lowered, and all below them: without end, where variables
// come in ascending order.
void Network::lift_new_nodes(std::size_t num_next) {
  for (std::size_t n = 0; n < num_next; ++n) {
    const Waiting& next = waiting_[n];
    if (next.source == 0 || !followed_.is_alone(next.source)) continue;
    const la::DNumber least = RecordedGraph::difference(
        followed_.potential(next.target), next.weight);
    if (followed_.potential(next.source) < least) {
      followed_.place(next.source, least);
    }
  }
}

void Network::choose_model() {
  if (!has_model_) {
    // Most networks are asked once.
    model_.choose_up_to(num_told_);
    has_model_ = true;
    return;
  }
  if (!followed_.is_on()) {
    followed_.start(static_cast<int>(variables_.size()) + 1);
    for (int id = 1; id <= num_told_; ++id) {
      const dl::Edge edge = graph_.graph().get_edge(2 * id);
      followed_.tell(edge.source, edge.target, id);
    }
  }
  if (!model_.choose_followed(followed_, num_modelled_ + 1, num_told_)) {
    knows_changes_ = false;
  }
  num_modelled_ = num_told_;
  if (!knows_changes_) return;
  changed_symbols_ = gone_symbols_;
  for (const int node : followed_.changed()) {
    if (index(node) > variables_.size()) continue;
    changed_symbols_.push_back(variables_[index(node) - 1]);
  }
}

void Network::forget_changes() {
  if (!followed_.is_on()) return;
  followed_.forget_changed();
  gone_symbols_.clear();
  knows_changes_ = true;
}

// The graph stays with what is consistent.
void Network::note_conflict() {
  graph_.get_conflict_set(&conflict_);
  const int closing = conflict_.front();
  is_consistent_ = false;
  inconsistent_scope_ = static_cast<std::size_t>(std::count_if(
      scopes_.begin(), scopes_.end(), [closing](const Scope& scope) {
        return scope.num_constraints < closing;
      }));
  cycle_.clear();
  const auto term_of = [this](int node) {
    return node == 0 ? nullptr : variables_[index(node) - 1];
  };
  for (const int id : conflict_) {
    const dl::Edge edge = graph_.edge(id);
    cycle_.push_back({term_of(edge.source), term_of(edge.target), edge.weight});
  }
  take_back(closing - 1);
  waiting_.clear();
}

void Network::start_anew() {
  num_forgotten_ = 0;
  if (!is_consistent_) return;
  std::deque<Waiting> all;
  for (int id = 1; id <= num_told_; ++id) {
    const dl::Edge edge = graph_.edge(id);
    all.push_back({edge.source, edge.target, edge.weight});
  }
  std::move(waiting_.begin(), waiting_.end(), std::back_inserter(all));
  graph_.reset();
  followed_.stop();
  knows_changes_ = false;
  gone_symbols_.clear();
  num_told_ = 0;
  num_modelled_ = 0;
  waiting_.swap(all);
}

void Network::start_check(Logger* logger, GraphRecorder* recorder) {
  cycle_.clear();
  graph_.set_logger(logger);
  if (recorder == nullptr || is_recorded_) return;
  graph_.set_recorder(recorder);
  is_recorded_ = true;
}

void Network::renumber_terms() {
  std::vector<int>().swap(nodes_);
  for (std::size_t k = 0; k < variables_.size(); ++k) {
    const auto id = static_cast<std::size_t>(variables_[k]->id);
    if (id >= nodes_.size()) nodes_.resize(id + 1, 0);
    nodes_[id] = static_cast<int>(k) + 1;
  }
}

}  // namespace vorn::solver
