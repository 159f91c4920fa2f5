// SPDX-License-Identifier: MIT
#include "vorn/dl/closure.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <utility>

#include "vorn/containers/index.h"
#include "vorn/dl/closure_matrix.h"
#include "vorn/dl/closure_numbers.h"
#include "vorn/dl/closure_paths.h"
#include "vorn/dl/closure_scale.h"
#include "vorn/dl/closure_store.h"

// The closure keeps the bounds and the stack of activations; a way finds the
// consequences. When words or rows no longer suffice, or a matrix has outgrown
// its memory, a new way takes over: all active edges are pushed to it in their
// order. A matrix finds the same consequences again at the same places of the
// stack. A way that need not (paths) keeps those that there are, with their
// paths as links.

namespace vorn::dl {

using closure::Bound;
using closure::Entry;
using closure::Pair;
using closure::Scale;

namespace {

// Rows are packed into half a word each.
constexpr int kMaxMatrixRows = 1 << 16;

}  // namespace

Closure::Closure(const Limits& limits)
    : store_(std::make_unique<closure::Store>()) {
  store_->limits = limits;
}

Closure::Closure() : Closure(Limits()) {}

Closure::~Closure() = default;

void Closure::tell_edge(int k, const Edge& e) {
  assert(k >= 0 && e.source >= 0 && e.target >= 0 && !e.weight.is_tagged());
  closure::Store& store = *store_;
  // However far this gets: there may be a row or a larger weight.
  store.settled = false;
  if (index(k) >= store.bounds.size()) store.bounds.resize(index(k) + 1);
  assert(store.bound(k).source < 0);
  const auto row_of = [&store](int node) {
    if (index(node) >= store.rows.size()) {
      store.rows.resize(index(node) + 1, -1);
    }
    int& row = store.rows[index(node)];
    if (row < 0) {
      const std::size_t rows = index(store.num_rows) + 1;
      store.pairs_from.resize(rows);
      store.pairs_to.resize(rows);
      row = store.num_rows++;
      store.need.num_nodes = store.num_rows;
    }
    return row;
  };
  const int source = row_of(e.source);
  const int target = row_of(e.target);
  store.need.add(e.weight);

  const std::uint64_t key = (static_cast<std::uint64_t>(source) << 32U) |
                            static_cast<std::uint64_t>(target);
  const auto found = store.pair_positions.find(key);
  int position = 0;
  if (found != store.pair_positions.end()) {
    position = found->second;
  } else {
    position = static_cast<int>(store.pairs.size());
    closure::make_room(store.pairs_from[index(source)]);
    closure::make_room(store.pairs_to[index(target)]);
    closure::make_room(store.goal_words);
    closure::make_room(store.pairs);
    store.pair_positions.emplace(key, position);
    store.pairs.push_back({source, target});
    store.goal_words.push_back(0);
    store.pairs_from[index(source)].push_back(position);
    store.pairs_to[index(target)].push_back(position);
  }
  // Whatever it takes to make room for it comes before it is registered.
  if (!store.active.empty()) settle();
  Bound& bound = store.bound(k);
  bound.target = target;
  bound.pair = position;
  bound.weight = e.weight;
  if (!store.active.empty() && store.scale.size() != Scale::Size::kExact) {
    bound.word = store.scale.to_word(bound.weight);
  }
  store.enlist(k);
  bound.source = source;
  // With nothing active there is no hurry: many more may be told.
  if (store.active.empty()) {
    way_.reset();
    return;
  }
  store.renew_goal(position);
  try {
    way_->told(k);
  } catch (...) {
    unregister(k);
    throw;
  }
}

bool Closure::retract_edge(int k) {
  assert(store_->bound(k).source >= 0);
  return unregister(k);
}

bool Closure::unregister(int k) {
  closure::Store& store = *store_;
  store.bound(k).source = -1;
  return store.drop(k);
}

bool Closure::push_edge(int k) {
  closure::Store& store = *store_;
  assert(store.bound(k).source >= 0);
  settle();
  const bool known = store.is_known(k);
  store.active.push_back({k, known, store.entries.size(), store.links.size()});
  const auto take_back = [&store] {
    store.forget(store.active.back().num_entries,
                 store.active.back().num_links);
    store.active.pop_back();
  };
  if (known) return true;
  bool consistent = false;
  try {
    store.learn(k, Entry::kActive, 0);
    consistent = way_->push(k);
  } catch (...) {
    take_back();
    throw;
  }
  if (!consistent) {
    take_back();
    return false;
  }
  if (!way_->fits()) {
    try {
      rebuild();
    } catch (...) {
      // The way that there was is as good for now.
      way_->pop();
      take_back();
      throw;
    }
  }
  ++store.counters.activations;
  return true;
}

void Closure::pop_edge() {
  closure::Store& store = *store_;
  assert(!store.active.empty());
  const closure::Activation& last = store.active.back();
  if (!last.was_known) way_->pop();
  store.forget(last.num_entries, last.num_links);
  store.active.pop_back();
}

std::size_t Closure::num_active() const {
  return store_->active.size();
}

bool Closure::next_consequence(int* k) {
  closure::Store& store = *store_;
  while (store.next_entry < store.entries.size()) {
    const Entry& entry = store.entries[store.next_entry++];
    if (entry.proof == Entry::kActive) continue;
    if (store.bound(entry.k).source < 0) continue;
    *k = entry.k;
    return true;
  }
  return false;
}

bool Closure::is_known(int k) const {
  return store_->is_known(k);
}

void Closure::get_path(int k, std::vector<int>* path) const {
  const closure::Store& store = *store_;
  assert(store.is_known(k));
  const Entry* entry = &store.entry(store.pair(store.bound(k).pair).known);
  while (entry->previous >= 0 &&
         store.implies(store.entry(entry->previous).k, k)) {
    entry = &store.entry(entry->previous);
  }
  if (entry->proof == Entry::kNoPremise) return;
  if (entry->proof == Entry::kActive) {
    path->push_back(entry->k);
  } else {
    way_->get_path(*entry, k, path);
  }
}

void Closure::get_cycle(int k, std::vector<int>* cycle) const {
  const Bound& bound = store_->bound(k);
  if (bound.source != bound.target) way_->get_way_back(k, cycle);
  cycle->push_back(k);
}

bool Closure::tightest_bound(int source, int target, la::DNumber* weight,
                             std::vector<int>* path) const {
  const closure::Store& store = *store_;
  const auto row_of = [&store](int node) {
    return index(node) < store.rows.size() ? store.rows[index(node)] : -1;
  };
  if (source == target) {
    *weight = la::DNumber();
    return true;
  }
  const int from = row_of(source);
  const int to = row_of(target);
  if (from < 0 || to < 0 || store.active.empty()) return false;
  return way_->tightest_bound(from, to, weight, path);
}

bool Closure::uses_matrix() const {
  return way_ != nullptr && way_->matrix_bytes() > 0;
}

std::size_t Closure::matrix_bytes() const {
  return way_ == nullptr ? 0 : way_->matrix_bytes();
}

const Closure::Counters& Closure::counters() const {
  return store_->counters;
}

// Makes the way and the words suit what has been told.
void Closure::settle() {
  closure::Store& store = *store_;
  if (store.settled) return;
  if (way_ == nullptr || !way_->fits() || !store.scale.covers(store.need)) {
    rebuild();
    // The improvements may be too many for the memory of a new matrix.
    if (!way_->fits()) rebuild();
  }
  store.settled = true;
}

std::unique_ptr<closure::Way> Closure::make_way() const {
  using closure::Exact;
  using closure::Matrix;
  using closure::Paths;
  using closure::Words;
  closure::Store& store = *store_;
  const bool was_outgrown =
      way_ != nullptr && (!way_->reports_again() ||
                          way_->matrix_bytes() > store.limits.matrix_bytes);
  const auto square_fits = [&](std::size_t bytes_per_pair) {
    const std::size_t rows =
        Matrix<Words<std::int64_t>>::rows_for(store.num_rows);
    // Half is for the matrix, half for the improvements.
    return store.num_rows < kMaxMatrixRows &&
           rows * rows * bytes_per_pair <= store.limits.matrix_bytes / 2;
  };
  using Words32 = Words<std::int32_t>;
  using Words64 = Words<std::int64_t>;
  const Scale::Size size = store.scale.size();
  if (!was_outgrown) {
    if (size == Scale::Size::kWord32 &&
        square_fits(Matrix<Words32>::bytes_per_pair())) {
      return std::make_unique<Matrix<Words32>>(store);
    }
    if (size == Scale::Size::kWord64 &&
        square_fits(Matrix<Words64>::bytes_per_pair())) {
      return std::make_unique<Matrix<Words64>>(store);
    }
  }
  // A matrix of exact numbers would be three times as slow as paths with 150
  // nodes, and its memory would have no limit.
  if (size == Scale::Size::kExact) {
    return std::make_unique<Paths<Exact>>(store);
  }
  return std::make_unique<Paths<Words64>>(store);
}

// Puts a new way in the place of the old one. On failing memory nothing has
// changed.
void Closure::rebuild() {
  closure::Store& store = *store_;
  const bool refits = store.active.empty() || !store.scale.covers(store.need);
  // What the store has, or is to have, instead of what it has.
  Scale scale;
  std::vector<std::int64_t> words;
  if (refits) {
    scale.fit(store.need);
    if (scale.size() != Scale::Size::kExact) {
      for (const Bound& bound : store.bounds) {
        words.push_back(bound.pair < 0 ? 0 : scale.to_word(bound.weight));
      }
    }
  }
  const auto exchange = [&] {
    if (!refits) return;
    std::swap(store.scale, scale);
    for (std::size_t k = 0; k < words.size(); ++k) {
      std::swap(store.bounds[k].word, words[k]);
    }
    for (std::size_t position = 0; position < store.pairs.size(); ++position) {
      store.renew_goal(static_cast<int>(position));
    }
  };
  exchange();
  try {
    std::unique_ptr<closure::Way> way = make_way();
    if (!store.active.empty()) {
      ++store.counters.rebuilds;
      if (way->reports_again()) {
        push_anew(*way);
      } else {
        push_quietly(*way);
      }
    }
    way_ = std::move(way);
  } catch (...) {
    exchange();
    throw;
  }
}

// Pushes the active edges to a way that finds the consequences again. They are
// handed to the host once more, since bounds that were told late may be among
// them.
void Closure::push_anew(closure::Way& way) {
  closure::Store& store = *store_;
  const std::vector<closure::Activation> active = store.active;
  const std::vector<Entry> entries = store.entries;
  const std::vector<closure::Link> links = store.links;
  const std::size_t next_entry = store.next_entry;
  const std::uint64_t consequences = store.counters.consequences;
  const auto forget_all = [&store] {
    store.rebuilding = true;
    store.forget(0, 0);
    store.rebuilding = false;
    store.active.clear();
  };
  forget_all();
  try {
    std::size_t position = 0;
    for (std::size_t level = 0; level < active.size(); ++level) {
      const int k = active[level].k;
      const bool known = store.is_known(k);
      store.active.push_back(
          {k, known, store.entries.size(), store.links.size()});
      if (!known) {
        store.learn(k, Entry::kActive, 0);
        [[maybe_unused]] const bool consistent = way.push(k);
        assert(consistent);
      }
      // What holds with no premise is found by no push.
      const std::size_t end = level + 1 < active.size()
                                  ? active[level + 1].num_entries
                                  : entries.size();
      for (; position < end; ++position) {
        const Entry& entry = entries[position];
        if (entry.proof == Entry::kNoPremise && !store.is_known(entry.k)) {
          store.learn(entry.k, entry.proof, entry.more_proof);
        }
      }
    }
  } catch (...) {
    // All of this fits in what the vectors held before.
    forget_all();
    store.active = active;
    for (const Entry& entry : entries) {
      store.learn(entry.k, entry.proof, entry.more_proof);
    }
    store.links = links;
    store.next_entry = next_entry;
    store.counters.consequences = consequences;
    throw;
  }
  store.counters.consequences = consequences;
  for (const Entry& entry : entries) {
    if (store.bound(entry.k).source < 0) store.drop(entry.k);
  }
}

// Pushes the active edges to a way that reports nothing for them, and keeps the
// consequences that there are.
void Closure::push_quietly(closure::Way& way) {
  closure::Store& store = *store_;
  std::vector<Entry> entries = store.entries;
  std::vector<closure::Activation> active = store.active;
  std::vector<closure::Link> links = store.links;
  way_->write_links(entries, active, links);
  store.rebuilding = true;
  try {
    for (const closure::Activation& activation : active) {
      if (activation.was_known) continue;
      [[maybe_unused]] const bool consistent = way.push(activation.k);
      assert(consistent);
    }
  } catch (...) {
    store.rebuilding = false;
    throw;
  }
  store.rebuilding = false;
  store.entries.swap(entries);
  store.active.swap(active);
  store.links.swap(links);
}

}  // namespace vorn::dl
