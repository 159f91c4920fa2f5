// SPDX-License-Identifier: MIT
// One move gives one node another number, or one variable another value, so
// that one of the clauses that are left, drawn at random, comes to hold. Of all
// such moves for ten clauses the best is made: the one after which those that
// are left weigh least, and of several the one whose item has rested longest.
//
// Of a node's numbers only those matter at which one of its atoms becomes true
// or false. They are tried in order, once upwards and once downwards from where
// it is, and each counts only what changed since the last: so all numbers of a
// node are tried in the time of sorting its atoms and visiting the clauses
// that these are in.
//
// Where no move pays, each clause that is left weighs one more, and a move is
// made nevertheless: so the search leaves, in time, every place where it is
// stuck. What has moved rests for a few moves.
#include "solver/engine/local_search.h"

#include <algorithm>
#include <cassert>

namespace vorn::solver {

namespace {

// Clauses whose moves are compared.
constexpr int kDrawn = 10;
// Moves for which an item rests: so many, and up to so many more.
constexpr std::uint64_t kRest = 3;
constexpr int kMoreRest = 10;
// Rounds over the facts, for what they say of numbers; the rest is left out.
constexpr int kRounds = 50;

}  // namespace

LocalSearch::LocalSearch(int num_nodes, int num_variables)
    : num_nodes_(num_nodes),
      values_(to_index(num_nodes + num_variables), 0),
      free_at_(values_.size(), 0),
      lows_(to_index(num_nodes), -kFar),
      highs_(to_index(num_nodes), kFar),
      atom_of_(to_index(num_variables), -1),
      atoms_of_(to_index(num_nodes)),
      truth_(2 * to_index(num_variables), 0),
      clauses_of_(2 * to_index(num_variables)) {}

void LocalSearch::add_atom(int variable, const Bound& yes, const Bound& no) {
  assert(yes.source == no.target && yes.target == no.source);
  const int atom = static_cast<int>(atoms_.size());
  atoms_.push_back({variable, yes, no});
  atom_of_[to_index(variable)] = atom;
  atoms_of_[to_index(yes.source)].push_back(atom);
  atoms_of_[to_index(yes.target)].push_back(atom);
}

void LocalSearch::add_clause(const std::vector<Literal>& clause) {
  const int number = static_cast<int>(starts_.size()) - 1;
  for (const Literal literal : clause) {
    literals_.push_back(literal);
    clauses_of_[literal.index()].push_back(number);
  }
  starts_.push_back(literals_.size());
}

std::size_t LocalSearch::run(std::uint64_t steps, Random& random,
                             const StopFlags& stop) {
  start();
  while (!left_.empty() && num_steps_ < steps) {
    if (stop.is_set()) break;
    Move best;
    const int drawn = std::min(kDrawn, static_cast<int>(left_.size()));
    for (int i = 0; i < drawn; ++i) {
      const int place = random.below(static_cast<int>(left_.size()));
      consider(left_[to_index(place)], best, random);
    }
    if (best.growth >= 0) {
      raise_weights();
      best = Move();
      const int place = random.below(static_cast<int>(left_.size()));
      consider(left_[to_index(place)], best, random);
    }
    // Waiting is a move, too: all may have to rest.
    ++num_moves_;
    ++num_steps_;
    if (best.item < 0) continue;
    apply(best, random);
    note_best();
  }
  take_best();
  return least_left_;
}

// Bellman and Ford's rounds, for the nodes that facts bound from node 0.
void LocalSearch::bound_numbers() {
  lows_[0] = highs_[0] = 0;
  bool changed = true;
  for (int round = 0; changed && round < kRounds; ++round) {
    changed = false;
    for (const Bound& fact : facts_) {
      Word& high = highs_[to_index(fact.target)];
      const Word from_source = highs_[to_index(fact.source)];
      if (from_source < kFar && from_source + fact.weight < high) {
        high = from_source + fact.weight;
        changed = true;
      }
      Word& low = lows_[to_index(fact.source)];
      const Word from_target = lows_[to_index(fact.target)];
      if (from_target > -kFar && from_target - fact.weight > low) {
        low = from_target - fact.weight;
        changed = true;
      }
    }
    num_steps_ += facts_.size();
  }
}

void LocalSearch::start() {
  bound_numbers();
  for (std::size_t node = 0; node < lows_.size(); ++node) {
    values_[node] =
        std::min(std::max(values_[node], lows_[node]), highs_[node]);
  }
  const std::size_t num_clauses = starts_.size() - 1;
  num_true_.assign(num_clauses, 0);
  weights_.assign(num_clauses, 1);
  places_.assign(num_clauses, -1);
  shifts_.assign(num_clauses, 0);
  set_truth();
  count_clauses();
  best_values_ = values_;
  least_left_ = left_.size();
  num_steps_ += 4 * (literals_.size() + atoms_.size());
}

void LocalSearch::set_truth() {
  const int num_variables = static_cast<int>(atom_of_.size());
  for (int variable = 0; variable < num_variables; ++variable) {
    const int atom = atom_of_[to_index(variable)];
    const bool value = atom < 0 ? values_[item_of(variable)] != 0
                                : holds(atoms_[to_index(atom)].yes);
    truth_[Literal(variable, false).index()] = value ? 1 : 0;
    truth_[Literal(variable, true).index()] = value ? 0 : 1;
  }
}

void LocalSearch::count_clauses() {
  for (std::size_t clause = 0; clause + 1 < starts_.size(); ++clause) {
    for (std::size_t k = starts_[clause]; k < starts_[clause + 1]; ++k) {
      num_true_[clause] += truth_[literals_[k].index()];
    }
    if (num_true_[clause] == 0) leave(static_cast<int>(clause));
  }
}

void LocalSearch::leave(int clause) {
  places_[to_index(clause)] = static_cast<int>(left_.size());
  left_.push_back(clause);
}

// Takes account of a literal that becomes true.
void LocalSearch::shift(Literal risen) {
  const std::vector<int>& helped = clauses_of_[risen.index()];
  for (const int number : helped) {
    const std::size_t clause = to_index(number);
    if (shifts_[clause] == 0) shifted_.push_back(number);
    if (num_true_[clause] + shifts_[clause] == 0) growth_ -= weights_[clause];
    ++shifts_[clause];
  }
  const std::vector<int>& hurt = clauses_of_[(~risen).index()];
  for (const int number : hurt) {
    const std::size_t clause = to_index(number);
    if (shifts_[clause] == 0) shifted_.push_back(number);
    --shifts_[clause];
    if (num_true_[clause] + shifts_[clause] == 0) growth_ += weights_[clause];
  }
  num_steps_ += helped.size() + hurt.size();
}

void LocalSearch::clear_shifts() {
  for (const int clause : shifted_) shifts_[to_index(clause)] = 0;
  shifted_.clear();
  growth_ = 0;
}

// Looks at all moves after which the clause holds.
void LocalSearch::consider(int clause, Move& best, Random& random) {
  const std::size_t end = starts_[to_index(clause) + 1];
  for (std::size_t k = starts_[to_index(clause)]; k < end; ++k) {
    const int variable = literals_[k].variable();
    const int atom = atom_of_[to_index(variable)];
    if (atom < 0) {
      if (free_at_[item_of(variable)] <= num_moves_) {
        consider_flip(variable, best);
      }
      continue;
    }
    const Bound& bound = atoms_[to_index(atom)].yes;
    for (const int node : {bound.source, bound.target}) {
      if (node == 0 || free_at_[to_index(node)] > num_moves_) continue;
      consider_numbers(node, clause, best, random);
    }
  }
}

void LocalSearch::consider_flip(int variable, Move& best) {
  const int item = num_nodes_ + variable;
  const bool value = values_[to_index(item)] != 0;
  const std::uint64_t free_at = free_at_[to_index(item)];
  shift(Literal(variable, value));
  if (growth_ < best.growth ||
      (growth_ == best.growth && free_at < best.free_at)) {
    best = {growth_, item, value ? 0 : 1, free_at};
  }
  clear_shifts();
}

void LocalSearch::consider_numbers(int node, int clause, Move& best,
                                   Random& random) {
  const std::uint64_t free_at = free_at_[to_index(node)];
  for (const bool rising : {true, false}) {
    collect_events(node, rising);
    for (std::size_t k = 0; k < events_.size(); ++k) {
      const Event& event = events_[k];
      shift(rising ? event.risen : ~event.risen);
      if (k + 1 < events_.size() && events_[k + 1].first == event.first) {
        continue;
      }
      const Word value = rising ? event.first : event.last;
      offer({growth_, node, value, free_at}, clause, best, random);
    }
    clear_shifts();
  }
}

// The events above the node's number, from there on, or those below.
void LocalSearch::collect_events(int node, bool rising) {
  events_.clear();
  const Word low = lows_[to_index(node)];
  const Word high = highs_[to_index(node)];
  for (const int number : atoms_of_[to_index(node)]) {
    const Atom& atom = atoms_[to_index(number)];
    const Literal literal(atom.variable, false);
    // What holds below, and above: one bounds the node from above and the other
    // from below, by the same node.
    const bool is_target = atom.yes.target == node;
    const Bound& below = is_target ? atom.yes : atom.no;
    const Bound& above = is_target ? atom.no : atom.yes;
    const Word other = values_[to_index(below.source)];
    const Event event{other + below.weight, other - above.weight,
                      is_target ? ~literal : literal};
    const bool is_above = truth_[event.risen.index()] != 0;
    if (rising == is_above) continue;
    if (rising ? event.first > high : event.last < low) continue;
    events_.push_back(event);
  }
  num_steps_ += 2 * atoms_of_[to_index(node)].size();
  std::sort(events_.begin(), events_.end(),
            [rising](const Event& a, const Event& b) {
              return rising ? a.first < b.first : b.first < a.first;
            });
}

// Takes the move if the clause then holds and there is none better.
void LocalSearch::offer(const Move& move, int clause, Move& best,
                        Random& random) const {
  const std::size_t index = to_index(clause);
  if (num_true_[index] + shifts_[index] <= 0) return;
  // So that differences stay words.
  if (move.value > kFar / 4 || move.value < -kFar / 4) return;
  if (move.value < lows_[to_index(move.item)]) return;
  if (move.value > highs_[to_index(move.item)]) return;
  if (move.growth > best.growth) return;
  if (move.growth == best.growth) {
    if (move.free_at > best.free_at) return;
    if (move.free_at == best.free_at && random.below(2) == 0) return;
  }
  best = move;
}

void LocalSearch::raise_weights() {
  for (const int clause : left_) ++weights_[to_index(clause)];
  num_steps_ += left_.size();
}

void LocalSearch::apply(const Move& move, Random& random) {
  values_[to_index(move.item)] = move.value;
  changed_.push_back(move.item);
  free_at_[to_index(move.item)] =
      num_moves_ + kRest + static_cast<std::uint64_t>(random.below(kMoreRest));
  if (move.item >= num_nodes_) {
    make_true(Literal(move.item - num_nodes_, move.value == 0));
    return;
  }
  for (const int number : atoms_of_[to_index(move.item)]) {
    const Atom& atom = atoms_[to_index(number)];
    const Literal literal(atom.variable, !holds(atom.yes));
    if (truth_[literal.index()] == 0) make_true(literal);
  }
  num_steps_ += atoms_of_[to_index(move.item)].size();
}

void LocalSearch::make_true(Literal literal) {
  truth_[literal.index()] = 1;
  truth_[(~literal).index()] = 0;
  for (const int clause : clauses_of_[literal.index()]) {
    if (num_true_[to_index(clause)]++ > 0) continue;
    int& place = places_[to_index(clause)];
    left_[to_index(place)] = left_.back();
    places_[to_index(left_.back())] = place;
    left_.pop_back();
    place = -1;
  }
  for (const int clause : clauses_of_[(~literal).index()]) {
    if (--num_true_[to_index(clause)] == 0) leave(clause);
  }
}

void LocalSearch::note_best() {
  if (left_.size() >= least_left_) {
    // Each item once is enough.
    if (changed_.size() > 4 * values_.size()) {
      std::sort(changed_.begin(), changed_.end());
      changed_.erase(std::unique(changed_.begin(), changed_.end()),
                     changed_.end());
      num_steps_ += 4 * values_.size();
    }
    return;
  }
  least_left_ = left_.size();
  for (const int item : changed_) {
    best_values_[to_index(item)] = values_[to_index(item)];
  }
  changed_.clear();
}

void LocalSearch::take_best() {
  values_ = best_values_;
  set_truth();
  for (std::size_t clause = 0; clause + 1 < starts_.size(); ++clause) {
    bool holds_already = false;
    Literal nearest;
    Word least = kFar;
    for (std::size_t k = starts_[clause]; k < starts_[clause + 1]; ++k) {
      const Literal literal = literals_[k];
      if (truth_[literal.index()] != 0) holds_already = true;
      const int number = atom_of_[to_index(literal.variable())];
      if (number < 0) continue;
      const Atom& atom = atoms_[to_index(number)];
      const Word missing = excess(literal.is_negated() ? atom.no : atom.yes);
      if (missing >= least) continue;
      least = missing;
      nearest = literal;
    }
    if (holds_already || !nearest.is_defined()) continue;
    truth_[nearest.index()] = 1;
    truth_[(~nearest).index()] = 0;
  }
}

}  // namespace vorn::solver
