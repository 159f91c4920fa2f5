// SPDX-License-Identifier: MIT
#ifndef VORN_DL_CLOSURE_STORE_H
#define VORN_DL_CLOSURE_STORE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <unordered_map>
#include <vector>

#include "vorn/dl/closure.h"
#include "vorn/dl/closure_scale.h"
#include "vorn/numbers/d_number.h"

// What both ways of a Closure share: the registered bounds, what is known of
// each pair of nodes, and the stack of activations.

namespace vorn::dl::closure {

/// Room for one more element, by growth that makes many of them cheap.
template <class T>
void make_room(std::vector<T>& elements) {
  if (elements.size() < elements.capacity()) return;
  elements.reserve(std::max<std::size_t>(4, 2 * elements.size()));
}

/// A registered constraint: target - source <= weight. Nodes are *rows*:
/// numbered from 0 in the order in which they were first named.
struct Bound {
  /// -1 for a number that is not registered. One that was is still listed
  /// while there is an entry of it, which others of the pair follow from.
  int source = -1;
  int target = -1;
  /// Position in Store::pairs.
  int pair = -1;
  /// How many bounds of the pair are tighter. Compared instead of the weights,
  /// which may allocate.
  int rank = 0;
  la::DNumber weight;
  /// The weight as the current scale has it, if it has words.
  std::int64_t word = 0;
};

/// Two nodes with bounds in one direction.
struct Pair {
  int source;
  int target;
  /// The tightest known bound's entry; -1 for none.
  int known = -1;
  /// The loosest bound that is not known; -1 for none.
  int goal = -1;
  /// Constraints, tightest first.
  std::vector<int> bounds = {};
};

/// A bound that became known.
struct Entry {
  int k;
  /// The pair's known entry before; -1 for none.
  int previous;
  /// Why: kActive, kNoPremise, or what the way that reported it understands.
  int proof;
  /// Of use to that way.
  int more_proof;

  static constexpr int kActive = -1;
  static constexpr int kNoPremise = -2;
};

/// Part of a stored path: the path of another link, an edge, the path of yet
/// another link. -1 stands for none of them.
struct Link {
  int before;
  int k;
  int next;
};

/// An activation on the stack.
struct Activation {
  int k;
  /// It was known, so that the way was not told.
  bool was_known;
  /// What there was before it.
  std::size_t num_entries;
  std::size_t num_links;
};

struct Store {
  Closure::Limits limits;
  Closure::Counters counters;

  /// By constraint number.
  std::vector<Bound> bounds;
  /// Rows by node; -1 for none.
  std::vector<int> rows;
  int num_rows = 0;
  std::vector<Pair> pairs;
  /// The words of the pairs' goals, less than any word for none.
  std::vector<std::int64_t> goal_words;
  /// Positions in pairs, by both rows packed into a word.
  std::unordered_map<std::uint64_t, int> pair_positions;
  /// Positions in pairs, by row of the source and of the target.
  std::vector<std::vector<int>> pairs_from;
  std::vector<std::vector<int>> pairs_to;

  /// What weights and how many rows have to be covered.
  Scale::Need need;
  Scale scale;
  /// The way and the scale suit what was told.
  bool settled = false;

  std::vector<Activation> active;
  std::vector<Entry> entries;
  /// Entries before this one have been handed to the host.
  std::size_t next_entry = 0;
  std::vector<Link> links;
  /// The pushes under way are those of edges that are active already, to a new
  /// way; the entries taken back come again.
  bool rebuilding = false;

  Bound& bound(int k) { return bounds[static_cast<std::size_t>(k)]; }
  const Bound& bound(int k) const {
    return bounds[static_cast<std::size_t>(k)];
  }
  Pair& pair(int position) { return pairs[static_cast<std::size_t>(position)]; }
  const Pair& pair(int position) const {
    return pairs[static_cast<std::size_t>(position)];
  }
  const Entry& entry(int position) const {
    return entries[static_cast<std::size_t>(position)];
  }

  /// Whether bound a is at least as tight as bound b, of the same pair.
  bool implies(int a, int b) const { return bound(a).rank <= bound(b).rank; }
  /// Whether k follows from the pair's known bound.
  bool is_known(int k) const {
    const int known = pair(bound(k).pair).known;
    return known >= 0 && implies(entry(known).k, k);
  }
  /// Makes k the known bound of its pair. Requires: it is not known.
  void learn(int k, int proof, int more_proof) {
    const int position = bound(k).pair;
    Pair& p = pair(position);
    entries.push_back({k, p.known, proof, more_proof});
    p.known = static_cast<int>(entries.size()) - 1;
    renew_goal(position);
  }
  /// Lists k among the bounds of its pair, behind those that are as tight. On
  /// failing memory nothing has changed. Requires: its pair and weight are set.
  void enlist(int k) {
    std::vector<int>& bounds_of_pair = pair(bound(k).pair).bounds;
    auto place = std::upper_bound(
        bounds_of_pair.begin(), bounds_of_pair.end(), k,
        [this](int a, int b) { return bound(a).weight < bound(b).weight; });
    auto rank = static_cast<int>(place - bounds_of_pair.begin());
    if (rank > 0) {
      const Bound& before = bound(*(place - 1));
      if (!(before.weight < bound(k).weight)) rank = before.rank;
    }
    place = bounds_of_pair.insert(place, k);
    bound(k).rank = rank;
    while (++place != bounds_of_pair.end()) ++bound(*place).rank;
  }
  /// Takes k off that list.
  void delist(int k) {
    std::vector<int>& bounds_of_pair = pair(bound(k).pair).bounds;
    const auto place = bounds_of_pair.erase(
        std::find(bounds_of_pair.begin(), bounds_of_pair.end(), k));
    for (auto other = place; other != bounds_of_pair.end(); ++other) {
      if (bound(*other).rank > bound(k).rank) --bound(*other).rank;
    }
  }
  /// Whether k has an entry. Cost: linear in those of its pair.
  bool has_entry(int k) const {
    int position = pair(bound(k).pair).known;
    while (position >= 0 && entry(position).k != k) {
      position = entry(position).previous;
    }
    return position >= 0;
  }
  /// Finds the goal of a pair.
  void renew_goal(int position) {
    Pair& p = pair(position);
    const std::size_t num_unknown =
        p.known < 0 ? p.bounds.size()
                    : static_cast<std::size_t>(bound(entry(p.known).k).rank);
    const int goal = num_unknown == 0 ? -1 : p.bounds[num_unknown - 1];
    p.goal = goal;
    goal_words[static_cast<std::size_t>(position)] =
        goal < 0 ? std::numeric_limits<std::int64_t>::min() : bound(goal).word;
  }
  /// Whether nothing has come since the entry of k, and only k is known by it.
  bool is_last_and_alone(int k) const {
    if (entries.empty() || entries.back().k != k) return false;
    const std::size_t taken = active.empty() ? 0 : active.back().num_entries;
    if (entries.size() <= taken) return false;
    const int previous = entries.back().previous;
    const Pair& p = pair(bound(k).pair);
    const int end = previous < 0 ? static_cast<int>(p.bounds.size())
                                 : bound(entry(previous).k).rank;
    return end - bound(k).rank == 1;
  }
  /// Takes k, which is not registered any more, off the list of its pair,
  /// unless it has an entry that has to stay. Whether it did. Requires: it is
  /// listed.
  bool drop(int k) {
    if (is_last_and_alone(k)) {
      forget(entries.size() - 1, links.size());
      return true;
    }
    if (has_entry(k)) return false;
    delist(k);
    renew_goal(bound(k).pair);
    return true;
  }
  /// As learn, for a consequence.
  void report(int k, int proof, int more_proof) {
    learn(k, proof, more_proof);
    ++counters.consequences;
  }
  /// Takes back entries and links.
  void forget(std::size_t num_entries, std::size_t num_links) {
    while (entries.size() > num_entries) {
      const Entry last = entries.back();
      const int position = bound(last.k).pair;
      pair(position).known = last.previous;
      entries.pop_back();
      if (bound(last.k).source < 0 && !rebuilding) delist(last.k);
      renew_goal(position);
    }
    links.resize(num_links);
    if (next_entry > num_entries) next_entry = num_entries;
  }
};

/// One of the two ways to consequences. The store is shared; a way reads the
/// bounds, their words and pairs, and reports through it.
class Way {
 public:
  explicit Way(Store& store) : store_(store) {}
  Way(const Way&) = delete;
  Way& operator=(const Way&) = delete;
  virtual ~Way() = default;

  /// Whether it can go on with the rows there are, within its memory.
  virtual bool fits() const = 0;
  /// Whether pushing the same edges to a new one finds all consequences again.
  virtual bool reports_again() const = 0;
  /// Adds the edge of k and reports what follows, with k the last of
  /// Store::active. False, and nothing changed, if it closes a negative cycle.
  /// On failing memory nothing has changed but the store's entries and links.
  virtual bool push(int k) = 0;
  /// Takes back the last push.
  virtual void pop() = 0;
  /// A bound was registered: reports it if it is known to follow.
  virtual void told(int k) = 0;
  /// Makes the proofs of entries, which are those of the store, outlive this
  /// way: as links, which are taken back with the activations.
  virtual void write_links(std::vector<Entry>& entries,
                           std::vector<Activation>& active,
                           std::vector<Link>& links) const = 0;
  /// Appends a path that shows bound k: the one that the entry's proof stands
  /// for, or one no longer than k allows. Requires: the entry's bound implies
  /// k.
  virtual void get_path(const Entry& entry, int k,
                        std::vector<int>* path) const = 0;
  /// Appends a path from the target of k to its source that closes a negative
  /// cycle with it. Requires: there is one, and k is no loop.
  virtual void get_way_back(int k, std::vector<int>* path) const = 0;
  /// Closure::tightest_bound between two different rows.
  virtual bool tightest_bound(int source, int target, la::DNumber* weight,
                              std::vector<int>* path) const = 0;
  /// Bytes of a matrix; 0 without one.
  virtual std::size_t matrix_bytes() const { return 0; }

 protected:
  Store& store_;
};

}  // namespace vorn::dl::closure

#endif  // VORN_DL_CLOSURE_STORE_H
