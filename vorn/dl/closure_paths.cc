// SPDX-License-Identifier: MIT
#include "vorn/dl/closure_paths.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

#include "vorn/containers/index.h"
#include "vorn/dl/closure_numbers.h"

// Potentials as in Graph make all reduced costs non-negative, so that
// Dijkstra's algorithm finds shortest paths. A new edge that the potentials
// violate lowers its target, then what follows, the most violated row first:
// each row is then lowered once (Cotton and Maler, "Fast and Flexible
// Difference Constraint Propagation for DPLL(T)", 2006; also the source of the
// search below). If the edge's own source would be lowered, there is a negative
// cycle.
//
// Consequences of a new edge u -> v: a bound between s and t newly follows only
// if the shortest path from s to t runs through the edge. Then so do the
// shortest paths from u to t and from s to v. Dijkstra's algorithm from u,
// along edges, finds the rows t whose shortest path begins with the new edge;
// the run ends when no row on its frontier is reached through the edge. The
// mirror image from v, against edges, finds the rows s. Registered bounds
// between the two are tried, from the side that has fewer.
//
// Paths are stored when they show something: as chains of links, which paths of
// one search share. So an explanation costs no search, and the chains go when
// the push is taken back.

namespace vorn::dl::closure {
template <class Numbers>
typename Numbers::Number Paths<Numbers>::reduced_cost(const Bound& edge) const {
  return Numbers::difference(
      Numbers::sum(potentials_[index(edge.source)], Numbers::weight(edge)),
      potentials_[index(edge.target)]);
}

template <class Numbers>
bool Paths<Numbers>::push(int k) {
  const Bound& edge = store_.bound(k);
  const std::size_t rows = index(store_.num_rows);
  if (rows > potentials_.size()) {
    leaving_.resize(rows);
    entering_.resize(rows);
    grow(ahead_);
    grow(behind_);
    potentials_.resize(rows, Numbers::zero());
  }
  // A loop says nothing, or no.
  if (edge.source == edge.target &&
      Numbers::sum_less(Numbers::weight(edge), Numbers::zero(),
                        Numbers::zero())) {
    return false;
  }
  if (!repair(k)) return false;
  pushed_.push_back(k);
  std::vector<int>& leaving = leaving_[index(edge.source)];
  std::vector<int>& entering = entering_[index(edge.target)];
  std::size_t done = 0;
  try {
    leaving.push_back(k);
    ++done;
    entering.push_back(k);
    ++done;
    if (!store_.rebuilding && edge.source != edge.target) report(k);
  } catch (...) {
    if (done > 1) entering.pop_back();
    if (done > 0) leaving.pop_back();
    pushed_.pop_back();
    throw;
  }
  return true;
}

template <class Numbers>
void Paths<Numbers>::pop() {
  const Bound& edge = store_.bound(pushed_.back());
  leaving_[index(edge.source)].pop_back();
  entering_[index(edge.target)].pop_back();
  pushed_.pop_back();
}

// Lowers potentials until they satisfy edge k, too. False, with the potentials
// as they were, if none do.
template <class Numbers>
bool Paths<Numbers>::repair(int k) {
  const Bound& edge = store_.bound(k);
  Side& side = ahead_;
  start(side, -1);
  lowered_.clear();
  // Here a place's distance is what its potential would fall to, less what it
  // is: below 0.
  const auto violate = [&](int row, Number fall) {
    Place& place = side.places[index(row)];
    if (place.search == side.search &&
        (place.settled ||
         !Numbers::sum_less(fall, Numbers::zero(), place.distance))) {
      return;
    }
    side.heap.emplace_back(fall, row);
    std::push_heap(
        side.heap.begin(), side.heap.end(),
        [](const auto& a, const auto& b) { return b.first < a.first; });
    place.search = side.search;
    place.settled = false;
    place.distance = std::move(fall);
  };
  const auto roll_back = [this] {
    for (auto& [row, potential] : lowered_) {
      potentials_[index(row)] = std::move(potential);
    }
  };
  try {
    Number slack = reduced_cost(edge);
    if (Numbers::sum_less(slack, Numbers::zero(), Numbers::zero())) {
      violate(edge.target, std::move(slack));
    }
    while (!side.heap.empty()) {
      const int row = take(side);
      if (row < 0) break;
      if (row == edge.source) {
        roll_back();
        return false;
      }
      Place& place = side.places[index(row)];
      lowered_.emplace_back(row, potentials_[index(row)]);
      Number lower = Numbers::sum(potentials_[index(row)], place.distance);
      potentials_[index(row)] = std::move(lower);
      store_.counters.steps +=
          (leaving_[index(row)].size() + 1) * Numbers::kSteps;
      for (const int next : leaving_[index(row)]) {
        const Bound& out = store_.bound(next);
        Number rest = reduced_cost(out);
        if (!Numbers::sum_less(rest, Numbers::zero(), Numbers::zero())) {
          continue;
        }
        violate(out.target, std::move(rest));
      }
    }
  } catch (...) {
    roll_back();
    throw;
  }
  const bool far = std::any_of(
      lowered_.begin(), lowered_.end(), [this](const auto& lowered) {
        return Numbers::is_far(potentials_[index(lowered.first)]);
      });
  if (far) renew_potentials(k);
  return true;
}

// Potentials only fall. From 0 they fall no further than the sums that the
// scale made room for, by the plain method of Bellman and Ford; it takes very
// many pushes to get here again.
template <class Numbers>
void Paths<Numbers>::renew_potentials(int k) {
  std::fill(potentials_.begin(), potentials_.end(), Numbers::zero());
  const auto lower = [this](int edge) {
    const Bound& bound = store_.bound(edge);
    if (!Numbers::sum_less(reduced_cost(bound), Numbers::zero(),
                           Numbers::zero())) {
      return false;
    }
    potentials_[index(bound.target)] =
        Numbers::sum(potentials_[index(bound.source)], Numbers::weight(bound));
    return true;
  };
  bool changed = true;
  while (changed) {
    changed = lower(k);
    for (const int edge : pushed_) {
      if (lower(edge)) changed = true;
    }
  }
}

template <class Numbers>
void Paths<Numbers>::grow(Side& side) const {
  side.places.resize(index(store_.num_rows));
}

// Begins a search; from nowhere if the row is below 0.
template <class Numbers>
void Paths<Numbers>::start(Side& side, int row) const {
  ++side.search;
  side.heap.clear();
  side.reached.clear();
  std::size_t open = 0;
  if (row >= 0) reach(side, row, Numbers::zero(), -1, false, &open);
}

// A path to the row was found. `open` counts the rows on the frontier that are
// reached through the edge. Of equally short paths those not through the edge
// count: they were there before.
template <class Numbers>
void Paths<Numbers>::reach(Side& side, int row, const Number& distance,
                           int edge, bool through, std::size_t* open) const {
  Place& place = side.places[index(row)];
  const bool known = place.search == side.search;
  if (known) {
    if (place.settled) return;
    const bool shorter =
        Numbers::sum_less(distance, Numbers::zero(), place.distance);
    const bool as_short =
        !shorter &&
        !Numbers::sum_less(place.distance, Numbers::zero(), distance);
    if (!shorter && !(as_short && place.through && !through)) return;
    if (place.through) --*open;
    if (!shorter) {
      // The heap has the distance already.
      place.edge = edge;
      place.through = false;
      return;
    }
  }
  side.heap.emplace_back(distance, row);
  std::push_heap(
      side.heap.begin(), side.heap.end(),
      [](const auto& a, const auto& b) { return b.first < a.first; });
  if (through) ++*open;
  place.distance = distance;
  place.edge = edge;
  place.link = -1;
  place.search = side.search;
  place.settled = false;
  place.through = through;
}

// Takes the nearest row off the heap and settles it; -1 if there is none.
template <class Numbers>
int Paths<Numbers>::take(Side& side) {
  while (!side.heap.empty()) {
    std::pop_heap(
        side.heap.begin(), side.heap.end(),
        [](const auto& a, const auto& b) { return b.first < a.first; });
    const int row = side.heap.back().second;
    side.heap.pop_back();
    Place& place = side.places[index(row)];
    if (place.settled) continue;
    place.settled = true;
    return row;
  }
  return -1;
}

// Shortest paths from `start`, along edges or against them, to the rows that
// are nearest through edge `about`, which leaves `start`. With `about` below 0,
// to all rows.
template <class Numbers>
void Paths<Numbers>::search(Side& side, int start, int about, bool forward,
                            std::size_t max_steps) const {
  this->start(side, start);
  std::size_t open = 0;
  std::size_t steps = 0;
  for (;;) {
    const int row = take(side);
    if (row < 0) break;
    const Place& place = side.places[index(row)];
    const bool through = place.through;
    if (through) {
      --open;
      side.reached.push_back(row);
    }
    const std::vector<int>& edges =
        forward ? leaving_[index(row)] : entering_[index(row)];
    // Rows settled so far are at their distances, wherever this is cut short.
    std::size_t num_edges = edges.size();
    if (about >= 0) num_edges = std::min(num_edges, max_steps - steps);
    steps += num_edges;
    for (std::size_t i = 0; i < num_edges; ++i) {
      const int k = edges[i];
      const Bound& edge = store_.bound(k);
      const Number length = Numbers::sum(place.distance, reduced_cost(edge));
      reach(side, forward ? edge.target : edge.source, length, k,
            through || k == about, &open);
    }
    if (about >= 0 && (open == 0 || steps == max_steps)) break;
  }
  store_.counters.steps += steps * Numbers::kSteps;
}

template <class Numbers>
bool Paths<Numbers>::is_reached(const Side& side, int row) {
  const Place& place = side.places[index(row)];
  return place.search == side.search && place.settled && place.through;
}

// Reports bounds that follow by paths through edge k.
template <class Numbers>
void Paths<Numbers>::report(int k) {
  const Bound& edge = store_.bound(k);
  const std::size_t max_steps = store_.limits.path_steps;
  search(ahead_, edge.source, k, true, max_steps);
  if (ahead_.reached.empty()) return;
  search(behind_, edge.target, k, false, max_steps);
  const auto count = [](const std::vector<int>& rows,
                        const std::vector<std::vector<int>>& pairs) {
    std::size_t sum = 0;
    for (const int row : rows) sum += pairs[index(row)].size();
    return sum;
  };
  const std::size_t from = count(behind_.reached, store_.pairs_from);
  const std::size_t to = count(ahead_.reached, store_.pairs_to);
  const Number cost = reduced_cost(edge);
  store_.counters.steps += std::min(from, to);
  if (from <= to) {
    for (const int row : behind_.reached) {
      for (const int position : store_.pairs_from[index(row)]) {
        if (Numbers::has_goal(store_, position) &&
            is_reached(ahead_, store_.pair(position).target)) {
          try_pair(position, cost);
        }
      }
    }
  } else {
    for (const int row : ahead_.reached) {
      for (const int position : store_.pairs_to[index(row)]) {
        if (Numbers::has_goal(store_, position) &&
            is_reached(behind_, store_.pair(position).source)) {
          try_pair(position, cost);
        }
      }
    }
  }
}

// Reports the tightest bound of the pair that follows through the edge that the
// searches were about.
template <class Numbers>
void Paths<Numbers>::try_pair(int position, const Number& about_cost) {
  const Pair& pair = store_.pair(position);
  // Both distances have the edge in them.
  const Number reduced = Numbers::difference(
      Numbers::sum(behind_.places[index(pair.source)].distance,
                   ahead_.places[index(pair.target)].distance),
      about_cost);
  const Number length = Numbers::difference(
      Numbers::sum(reduced, potentials_[index(pair.target)]),
      potentials_[index(pair.source)]);
  if (!Numbers::reaches_goal(length, store_, position)) return;
  const int k = tightest_implied<Numbers>(store_, pair, length);
  const int back = link(behind_, pair.source, false);
  const int front = link(ahead_, pair.target, true);
  store_.report(k, back, front);
}

// The chain of links for the path of a reached row: from the row towards the
// edge that the search is about, which is the last link.
template <class Numbers>
int Paths<Numbers>::link(Side& side, int row, bool forward) {
  // Up to a place that has a chain, noting what is to be made; then down.
  unlinked_.clear();
  int chain = -1;
  while (side.places[index(row)].edge >= 0) {
    const Place& place = side.places[index(row)];
    if (place.link >= 0) {
      chain = place.link;
      break;
    }
    unlinked_.push_back(row);
    const Bound& edge = store_.bound(place.edge);
    row = forward ? edge.source : edge.target;
  }
  while (!unlinked_.empty()) {
    Place& place = side.places[index(unlinked_.back())];
    unlinked_.pop_back();
    store_.links.push_back({-1, place.edge, chain});
    chain = static_cast<int>(store_.links.size()) - 1;
    place.link = chain;
  }
  return chain;
}

template <class Numbers>
void Paths<Numbers>::get_path(const Entry& entry, int /*k*/,
                              std::vector<int>* path) const {
  const auto link = [this](int position) {
    return store_.links[index(position)];
  };
  unfinished_.clear();
  for (int l = entry.proof; l >= 0 || !unfinished_.empty();) {
    if (l >= 0) {
      unfinished_.push_back(l);
      l = link(l).before;
      continue;
    }
    const Link& done = store_.links[index(unfinished_.back())];
    unfinished_.pop_back();
    if (done.k >= 0) path->push_back(done.k);
    l = done.next;
  }
  if (entry.more_proof < 0) return;
  const auto middle = static_cast<std::ptrdiff_t>(path->size());
  for (int l = entry.more_proof; link(l).next >= 0; l = link(l).next) {
    path->push_back(link(l).k);
  }
  std::reverse(path->begin() + middle, path->end());
}

template <class Numbers>
void Paths<Numbers>::get_way_back(int k, std::vector<int>* path) const {
  la::DNumber length;
  tightest_bound(store_.bound(k).target, store_.bound(k).source, &length, path);
}

template <class Numbers>
bool Paths<Numbers>::tightest_bound(int source, int target, la::DNumber* weight,
                                    std::vector<int>* path) const {
  if (index(std::max(source, target)) >= potentials_.size()) return false;
  search(ahead_, source, -1, true, 0);
  const Place& place = ahead_.places[index(target)];
  if (place.search != ahead_.search) return false;
  const Number length = Numbers::difference(
      Numbers::sum(place.distance, potentials_[index(target)]),
      potentials_[index(source)]);
  *weight = Numbers::to_number(length, store_.scale);
  if (path == nullptr) return true;
  const auto first = static_cast<std::ptrdiff_t>(path->size());
  for (int row = target; row != source;) {
    const int k = ahead_.places[index(row)].edge;
    path->push_back(k);
    row = store_.bound(k).source;
  }
  std::reverse(path->begin() + first, path->end());
  return true;
}

template class Paths<Words<std::int64_t>>;
template class Paths<Exact>;

}  // namespace vorn::dl::closure
