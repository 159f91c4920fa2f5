// SPDX-License-Identifier: MIT
#include "vorn/dl/closure_matrix.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "vorn/dl/closure_numbers.h"

// A new edge u -> v of weight w shortens the distance from s to t exactly if
//
//   d(s, u) + w + d(v, t) < d(s, t),
//
// and then by a path that runs through it once. It can only do so if it also
// shortens the way from s to v and from u to t. So the rows s with
// d(s, u) + w < d(s, v) and the rows t with w + d(v, t) < d(u, t) are found
// first, and only their pairs are tried. (Incremental shortest paths as in Even
// and Gazit, "Updating distances in dynamic graphs", 1985.)
//
// The hub. Where tasks lie between a start and an end, a new edge that moves a
// task's earliest time moves all its distances with it: most pairs are bounded
// by nothing but the way over the constant 0. So d(s, t) is kept as the lesser
// of a cell and the sum of d(s, hub) and d(hub, t), and a cell is written only
// if it is below that sum. A move costs the rows whose way to or from the hub
// it shortens, and a look at their pairs with bounds, instead of a write to
// each of their cells. (A job shop of ten
// jobs on ten machines wrote a seventh.) Nothing is
// lost: if the shortest path from s to t is below the sum and runs through the
// new edge, the cells of s, u and of v, t hold its two ends: an end as long as
// its way over the hub would make the whole as long as a way over the hub. For
// that the hub's own row and column are brought up to date first.
//
// Explanations. Each improvement leaves a record: the distance before, the
// edge that did it, and the cell's record before. The path of a record is told
// by its edge, u -> v, between the paths of s, u and of v, t as they were
// before that edge; a cell's records are a chain, in which the right one is
// found by its place in the list. A bound that is looser than the path leaves
// room: where an older, longer path of a part still does, it is taken instead,
// so that a search learns from earlier decisions and goes back further (a tenth
// fewer conflicts on job shops).
//
// The loop over a row reads it, the hub's row and two arrays of scratch space,
// with no branch that depends on them; what falls is written in a second pass.
// No division, no hashing; the bounds of a pair are found in a matrix of their
// own, read where a cell fell, and in lists by row.

namespace vorn::dl::closure {

template <class Numbers>
std::size_t Matrix<Numbers>::rows_for(int num_rows) {
  // An eighth more, so that a few new rows do not move everything; no more than
  // half a word counts.
  const auto rows = static_cast<std::size_t>(num_rows);
  return std::min<std::size_t>(std::max<std::size_t>(rows + rows / 8, 8),
                               std::size_t{1} << 16U);
}

template <class Numbers>
Matrix<Numbers>::Matrix(Store& store)
    : Way(store),
      stride_(rows_for(store.num_rows)),
      hub_(0),
      distances_(stride_ * stride_, Numbers::infinity()),
      to_hub_(stride_, Numbers::infinity()),
      latest_(stride_ * stride_, -1),
      pair_of_(stride_ * stride_, -1),
      sources_(stride_ * stride_, -1),
      num_sources_(stride_, 1),
      watches_from_(stride_),
      watches_to_(stride_),
      targets_(stride_),
      legs_(stride_),
      nearer_(stride_) {
  store.counters.steps += stride_ * stride_ / 4;
  for (std::size_t row = 0; row < stride_; ++row) {
    distances_[row * stride_ + row] = Numbers::zero();
    sources_[row * stride_] = static_cast<std::int32_t>(row);
  }
  // The constant 0, unless another row has twice as many pairs: bounds on one
  // variable are what most shortest paths go through, also where that variable
  // stands for the end of all.
  const int zero = store.rows.empty() ? -1 : store.rows.front();
  std::size_t most = 0;
  for (std::size_t row = 0; row < store.pairs_from.size(); ++row) {
    std::size_t pairs =
        store.pairs_from[row].size() + store.pairs_to[row].size();
    if (static_cast<int>(row) == zero) pairs *= 2;
    if (pairs > most) hub_ = static_cast<int>(row);
    most = std::max(most, pairs);
  }
  to_hub_[static_cast<std::size_t>(hub_)] = Numbers::zero();
  for (std::size_t pair = 0; pair < store.pairs.size(); ++pair) {
    watch(static_cast<int>(pair));
  }
}

// Looks at a pair's bounds from now on.
template <class Numbers>
void Matrix<Numbers>::watch(int pair) {
  const int source = store_.pair(pair).source;
  const int target = store_.pair(pair).target;
  std::int32_t& position = pair_of_[cell(source, target)];
  if (position >= 0) return;
  // A loop holds without any path; which cycles run through the hub would be a
  // matter of chance.
  if (source != hub_ && target != hub_ && source != target) {
    std::vector<Watch>& from = watches_from_[static_cast<std::size_t>(source)];
    make_room(from);
    watches_to_[static_cast<std::size_t>(target)].push_back({source, pair});
    from.push_back({target, pair});
  }
  position = pair;
}

template <class Numbers>
std::size_t Matrix<Numbers>::matrix_bytes() const {
  return stride_ * stride_ * bytes_per_pair() +
         records_.size() * sizeof(Record);
}

template <class Numbers>
bool Matrix<Numbers>::fits() const {
  return static_cast<std::size_t>(store_.num_rows) <= stride_ &&
         matrix_bytes() <= store_.limits.matrix_bytes;
}

template <class Numbers>
bool Matrix<Numbers>::is_shorter(const Number& a, const Number& b, int source,
                                 int target) const {
  return Numbers::sum_less(a, b, distances_[cell(source, target)]) &&
         Numbers::sum_less(
             a, b,
             Numbers::sum(to_hub_[static_cast<std::size_t>(source)],
                          row(hub_)[target]));
}

template <class Numbers>
typename Matrix<Numbers>::Shortest Matrix<Numbers>::shortest(int source,
                                                             int target) const {
  const Number& direct = distances_[cell(source, target)];
  const Number& to_hub = to_hub_[static_cast<std::size_t>(source)];
  const Number& from_hub = row(hub_)[target];
  // An infinite word with a negative one is below the infinite cell.
  if (Numbers::is_finite(to_hub) && Numbers::is_finite(from_hub) &&
      Numbers::sum_less(to_hub, from_hub, direct)) {
    return {Numbers::sum(to_hub, from_hub), record_of(source, hub_),
            record_of(hub_, target)};
  }
  const std::int32_t record = record_of(source, target);
  return {direct, record < 0 ? Entry::kNoPremise : record, -1};
}

template <class Numbers>
bool Matrix<Numbers>::push(int k) {
  const Bound& edge = store_.bound(k);
  const Number& weight = Numbers::weight(edge);
  const Number back = shortest(edge.target, edge.source).distance;
  if (Numbers::sum_less(back, weight, Numbers::zero())) return false;
  const std::size_t before = num_records_;
  pushes_.push_back({k, static_cast<std::int32_t>(before)});
  try {
    improve_all(k);
  } catch (...) {
    undo_to(before);
    pushes_.pop_back();
    throw;
  }
  return true;
}

// Fills targets_, legs_ and hub_leg_ for an edge u -> v of weight w that makes
// the way from u to v shorter. The hub itself is not among the targets.
template <class Numbers>
void Matrix<Numbers>::find_targets(int u, int v, const Number& w) {
  num_targets_ = 0;
  hub_leg_ = distances_[cell(v, hub_)];
  // What lies behind the hub is no nearer than by way of the hub.
  if (v == hub_) return;
  const auto rows = static_cast<std::size_t>(store_.num_rows);
  const Number* const from_u = row(u);
  const Number* const from_v = row(v);
  const Number* const from_hub = row(hub_);
  Number to_hub = to_hub_[static_cast<std::size_t>(u)];
  if (Numbers::is_finite(hub_leg_) && Numbers::sum_less(w, hub_leg_, to_hub)) {
    to_hub = Numbers::sum(w, hub_leg_);
  } else {
    hub_leg_ = Numbers::infinity();
  }
  std::size_t count = 0;
  for (std::size_t t = 0; t < rows; ++t) {
    // Without a branch: which rows are nearer is hard to foretell.
    targets_[count] = static_cast<std::int32_t>(t);
    legs_[count] = from_v[t];
    const Number length = Numbers::sum(w, from_v[t]);
    const bool finite = Numbers::is_finite(from_v[t]);
    const bool nearer = length < from_u[t];
    const bool below_hub = length < Numbers::sum(to_hub, from_hub[t]);
    count += static_cast<std::size_t>(finite & nearer & below_hub);
  }
  num_targets_ = count;
  store_.counters.steps += rows / 4;
}

template <class Numbers>
void Matrix<Numbers>::improve_all(int k) {
  const Bound& edge = store_.bound(k);
  const int u = edge.source;
  const int v = edge.target;
  const Number w = Numbers::weight(edge);
  ++store_.counters.steps;
  if (!is_shorter(w, Numbers::zero(), u, v)) return;
  find_targets(u, v, w);
  const auto push = static_cast<std::int32_t>(pushes_.size()) - 1;
  nearer_from_hub_.clear();
  nearer_to_hub_.clear();
  if (Numbers::is_finite(row(hub_)[u])) {
    improve_row(hub_, Numbers::sum(row(hub_)[u], w), push);
  }
  // From the hub nothing but its own row falls.
  if (u != hub_) {
    // No row comes to reach u under way: it would have to come through v.
    const std::int32_t* const sources =
        &sources_[static_cast<std::size_t>(u) * stride_];
    const auto num_sources =
        static_cast<std::size_t>(num_sources_[static_cast<std::size_t>(u)]);
    store_.counters.steps += num_sources;
    for (std::size_t i = 0; i < num_sources; ++i) {
      const int s = sources[i];
      if (s == hub_) continue;
      const Number& to_u = distances_[cell(s, u)];
      // A row whose own way to v is as short gains nothing, but v may be as
      // near over the hub, whose row has changed, and the hub itself nearer.
      if (!Numbers::sum_less(to_u, w, distances_[cell(s, v)])) continue;
      improve_row(s, Numbers::sum(to_u, w), push);
    }
  }
  report_through_hub();
}

// Tries the pairs of row s with the hub and with all targets, where the new
// edge ends at distance `via` from s.
template <class Numbers>
void Matrix<Numbers>::improve_row(int s, const Number& via, std::int32_t push) {
  store_.counters.steps += num_targets_;
  // The hub first, so that no cell is written that is not below the sum.
  if (Numbers::is_finite(hub_leg_) &&
      Numbers::sum_less(via, hub_leg_, to_hub_[static_cast<std::size_t>(s)])) {
    reserve_records(1);
    improve(s, hub_, Numbers::sum(via, hub_leg_), push);
  }
  const Number* const from_s = row(s);
  const Number* const from_hub = row(hub_);
  const Number to_hub = to_hub_[static_cast<std::size_t>(s)];
  const bool is_hub = s == hub_;
  std::size_t count = 0;
  for (std::size_t i = 0; i < num_targets_; ++i) {
    const auto t = static_cast<std::size_t>(targets_[i]);
    const Number length = Numbers::sum(via, legs_[i]);
    const bool nearer = length < from_s[t];
    const bool below_hub = length < Numbers::sum(to_hub, from_hub[t]);
    nearer_[count] = static_cast<std::int32_t>(i);
    count += static_cast<std::size_t>(nearer & (below_hub | is_hub));
  }
  reserve_records(count);
  for (std::size_t n = 0; n < count; ++n) {
    const auto i = static_cast<std::size_t>(nearer_[n]);
    improve(s, targets_[i], Numbers::sum(via, legs_[i]), push);
  }
}

// Room for so many more records: once a cell is written nothing may fail.
template <class Numbers>
void Matrix<Numbers>::reserve_records(std::size_t count) {
  if (num_records_ + count > records_.size()) {
    records_.resize(std::max(num_records_ + count, records_.size() * 3 / 2));
  }
}

template <class Numbers>
void Matrix<Numbers>::improve(int s, int t, Number&& distance,
                              std::int32_t push) {
  const std::size_t at = cell(s, t);
  // What can fail, before anything is written.
  if (s == hub_) nearer_from_hub_.push_back(t);
  if (t == hub_) {
    nearer_to_hub_.push_back(s);
    to_hub_[static_cast<std::size_t>(s)] = distance;
  }
  if (!Numbers::is_finite(distances_[at])) {
    const auto column = static_cast<std::size_t>(t);
    sources_[column * stride_ +
             static_cast<std::size_t>(num_sources_[column]++)] = s;
  }
  Record& record = records_[num_records_];
  record.before = std::move(distances_[at]);
  record.rows =
      (static_cast<std::uint32_t>(s) << 16U) | static_cast<std::uint32_t>(t);
  record.previous = latest_[at];
  record.push = push;
  distances_[at] = std::move(distance);
  latest_[at] = static_cast<std::int32_t>(num_records_++);
  ++store_.counters.improvements;
  const int pair = pair_of_[at];
  if (pair >= 0) report(pair, distances_[at], latest_[at], -1);
}

// Reports pairs that have come nearer by way of the hub.
template <class Numbers>
void Matrix<Numbers>::report_through_hub() {
  const Number* const from_hub = row(hub_);
  for (const int t : nearer_from_hub_) {
    const auto target = static_cast<std::size_t>(t);
    store_.counters.steps += watches_to_[target].size();
    for (const Watch& watch : watches_to_[target]) {
      const auto source = static_cast<std::size_t>(watch.other_row);
      report(watch.pair, Numbers::sum(to_hub_[source], from_hub[target]),
             record_of(watch.other_row, hub_), record_of(hub_, t));
    }
  }
  for (const int s : nearer_to_hub_) {
    const auto source = static_cast<std::size_t>(s);
    store_.counters.steps += watches_from_[source].size();
    for (const Watch& watch : watches_from_[source]) {
      report(watch.pair,
             Numbers::sum(to_hub_[source], from_hub[watch.other_row]),
             record_of(s, hub_), record_of(hub_, watch.other_row));
    }
  }
}

// Reports the tightest bound of the pair that the distance implies, if it is
// not known.
template <class Numbers>
void Matrix<Numbers>::report(int pair, const Number& distance, int proof,
                             int more_proof) {
  if (!Numbers::reaches_goal(distance, store_, pair)) return;
  // The way over the hub has become shorter, but there may be a shorter one.
  const Pair& p = store_.pair(pair);
  if (Numbers::sum_less(distances_[cell(p.source, p.target)], Numbers::zero(),
                        distance)) {
    return;
  }
  store_.report(tightest_implied<Numbers>(store_, p, distance), proof,
                more_proof);
}

template <class Numbers>
void Matrix<Numbers>::undo_to(std::size_t num_records) {
  while (num_records_ > num_records) {
    Record& last = records_[--num_records_];
    const int s = last.source();
    const int t = last.target();
    const std::size_t at = cell(s, t);
    if (!Numbers::is_finite(last.before)) {
      --num_sources_[static_cast<std::size_t>(t)];
    }
    if (t == hub_) to_hub_[static_cast<std::size_t>(s)] = last.before;
    distances_[at] = std::move(last.before);
    latest_[at] = last.previous;
  }
}

template <class Numbers>
void Matrix<Numbers>::pop() {
  undo_to(static_cast<std::size_t>(pushes_.back().first_record));
  pushes_.pop_back();
}

template <class Numbers>
void Matrix<Numbers>::told(int k) {
  const Bound& bound = store_.bound(k);
  const int s = bound.source;
  const int t = bound.target;
  watch(bound.pair);
  if (store_.is_known(k)) return;
  const Shortest now = shortest(s, t);
  if (Numbers::sum_less(Numbers::weight(bound), Numbers::zero(),
                        now.distance)) {
    return;
  }
  store_.report(k, now.proof, now.more_proof);
}

// The latest record of a pair before `before`, and the distance that it made.
// Requires: there is one.
template <class Numbers>
typename Matrix<Numbers>::Past Matrix<Numbers>::past_of(
    int source, int target, std::int32_t before) const {
  std::int32_t record = record_of(source, target);
  const Number* distance = &distances_[cell(source, target)];
  while (record >= before) {
    const Record& later = records_[static_cast<std::size_t>(record)];
    distance = &later.before;
    record = later.previous;
  }
  assert(record >= 0);
  return {record, *distance};
}

template <class Numbers>
typename Matrix<Numbers>::Number Matrix<Numbers>::distance_of(
    std::int32_t record) const {
  const Record& r = records_[static_cast<std::size_t>(record)];
  return past_of(r.source(), r.target(), record + 1).distance;
}

// Goes back to the pair's oldest record that there is room for.
template <class Numbers>
void Matrix<Numbers>::make_older(Past& past, Room& room) const {
  for (;;) {
    const Record& record = records_[static_cast<std::size_t>(past.record)];
    if (!Numbers::is_finite(record.before)) return;
    Number rest = Numbers::difference(
        room.slack, Numbers::difference(record.before, past.distance));
    const bool fits =
        room.strict
            ? Numbers::sum_less(Numbers::zero(), Numbers::zero(), rest)
            : !Numbers::sum_less(rest, Numbers::zero(), Numbers::zero());
    if (!fits) return;
    room.slack = std::move(rest);
    past = {record.previous, record.before};
  }
}

template <class Numbers>
void Matrix<Numbers>::get_path(const Entry& entry, int k,
                               std::vector<int>* path) const {
  Number length = distance_of(entry.proof);
  if (entry.more_proof >= 0) {
    length = Numbers::sum(length, distance_of(entry.more_proof));
  }
  const Number slack =
      Numbers::difference(Numbers::weight(store_.bound(k)), length);
  expand(entry.proof, entry.more_proof, {slack, false}, path);
}

template <class Numbers>
void Matrix<Numbers>::get_way_back(int k, std::vector<int>* path) const {
  const Bound& bound = store_.bound(k);
  const Shortest back = shortest(bound.target, bound.source);
  const Number slack = Numbers::difference(
      Numbers::zero(), Numbers::sum(Numbers::weight(bound), back.distance));
  expand(back.proof, back.more_proof, {slack, true}, path);
}

// The records that show a record, with its edge between them; -1 for none, if
// the edge begins or ends where the pair does.
template <class Numbers>
Link Matrix<Numbers>::parts_of(std::int32_t record) const {
  const Record& r = records_[static_cast<std::size_t>(record)];
  const int source = r.source();
  const int target = r.target();
  const Push& push = pushes_[static_cast<std::size_t>(r.push)];
  const Bound& edge = store_.bound(push.k);
  Link parts{-1, push.k, -1};
  if (source != edge.source) {
    parts.before = past_of(source, edge.source, push.first_record).record;
  }
  if (edge.target != target) {
    parts.next = past_of(edge.target, target, push.first_record).record;
  }
  return parts;
}

// One link for each record that an entry needs, directly or not: paths share
// their parts, where written out each would be as long as it is.
template <class Numbers>
void Matrix<Numbers>::write_links(std::vector<Entry>& entries,
                                  std::vector<Activation>& active,
                                  std::vector<Link>& links) const {
  static constexpr int kNone = -1;
  static constexpr int kNeeded = -2;
  // By record: kNone, kNeeded, or the link.
  std::vector<int> link_of(num_records_, kNone);
  const auto need = [&link_of](std::int32_t record) {
    if (record >= 0) link_of[static_cast<std::size_t>(record)] = kNeeded;
  };
  for (const Entry& entry : entries) {
    if (entry.proof < 0) continue;
    need(entry.proof);
    need(entry.more_proof);
  }
  // A record is shown by earlier ones.
  for (auto record = static_cast<std::int32_t>(num_records_); record-- > 0;) {
    if (link_of[static_cast<std::size_t>(record)] != kNeeded) continue;
    const Link parts = parts_of(record);
    need(parts.before);
    need(parts.next);
  }
  const auto link = [&link_of](std::int32_t record) {
    return record < 0 ? kNone : link_of[static_cast<std::size_t>(record)];
  };
  std::size_t push = 0;
  std::size_t record = 0;
  std::size_t position = 0;
  for (std::size_t level = 0; level < active.size(); ++level) {
    active[level].num_links = links.size();
    if (!active[level].was_known) ++push;
    const std::size_t end_record =
        push < pushes_.size()
            ? static_cast<std::size_t>(pushes_[push].first_record)
            : num_records_;
    for (; record < end_record; ++record) {
      if (link_of[record] != kNeeded) continue;
      const Link parts = parts_of(static_cast<std::int32_t>(record));
      link_of[record] = static_cast<int>(links.size());
      links.push_back({link(parts.before), parts.k, link(parts.next)});
    }
    const std::size_t end = level + 1 < active.size()
                                ? active[level + 1].num_entries
                                : entries.size();
    for (; position < end; ++position) {
      Entry& entry = entries[position];
      if (entry.proof < 0) continue;
      entry.proof = link(entry.proof);
      if (entry.more_proof < 0) continue;
      links.push_back({entry.proof, -1, link(entry.more_proof)});
      entry.proof = static_cast<int>(links.size()) - 1;
      entry.more_proof = -1;
    }
  }
}

// Appends the path that a record stands for, or older ones of parts of it for
// as long as there is room. A stack of what is still to be written, instead of
// recursion: paths may be long.
template <class Numbers>
void Matrix<Numbers>::expand(std::int32_t record, Room& room,
                             std::vector<int>* path) const {
  const Record& whole = records_[static_cast<std::size_t>(record)];
  parts_.clear();
  parts_.push_back({whole.source(), whole.target(), record + 1});
  while (!parts_.empty()) {
    const Part part = parts_.back();
    parts_.pop_back();
    if (part.before < 0) {
      path->push_back(part.source);
      continue;
    }
    if (part.source == part.target) continue;
    Past past = past_of(part.source, part.target, part.before);
    make_older(past, room);
    const auto position = static_cast<std::size_t>(
        records_[static_cast<std::size_t>(past.record)].push);
    const Push& push = pushes_[position];
    const Bound& edge = store_.bound(push.k);
    parts_.push_back({edge.target, part.target, push.first_record});
    parts_.push_back({push.k, 0, -1});
    parts_.push_back({part.source, edge.source, push.first_record});
  }
}

template <class Numbers>
bool Matrix<Numbers>::tightest_bound(int source, int target,
                                     la::DNumber* weight,
                                     std::vector<int>* path) const {
  // A row of a bound that could not be told.
  if (static_cast<std::size_t>(std::max(source, target)) >= stride_) {
    return false;
  }
  const Shortest now = shortest(source, target);
  if (!Numbers::is_finite(now.distance)) return false;
  *weight = Numbers::to_number(now.distance, store_.scale);
  if (path == nullptr || now.proof < 0) return true;
  expand(now.proof, now.more_proof, {Numbers::zero(), false}, path);
  return true;
}

template class Matrix<Words<std::int32_t>>;
template class Matrix<Words<std::int64_t>>;

}  // namespace vorn::dl::closure
