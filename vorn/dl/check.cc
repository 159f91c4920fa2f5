// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>
#include <cstddef>
#include <vector>

#include "vorn/dl/graph.h"
#include "vorn/dl/relaxation_queue.h"

// Activation of constraints and the incremental search for negative cycles.
//
// Every node has a potential such that each active edge is satisfied. A new
// edge that its potentials violate lowers its target; the edges leaving a
// lowered node are tried in turn, first in, first out (Bellman and Ford's
// relaxation, started from one edge as in Cotton and Maler, "Fast and Flexible
// Difference Constraint Propagation for DPLL(T)", 2006). Without the new edge
// the graph has no negative cycle, so any that there is runs through the new
// edge, and exists exactly when its source is lowered in turn: the run stops
// there. Otherwise no walk lowers without end, and the run ends at a fixpoint.
//
// Cost: only nodes whose potential falls are visited, and commit and roll back
// touch only those. A candidate that lowers nothing is compared without being
// made, so an edge that is already satisfied allocates nothing.

namespace vorn::dl {
namespace {

// Storage that an unusually large run may leave behind, in entries.
constexpr std::size_t kKeptEntries = std::size_t{1} << 20;

/// Empties the graph's working lists at the end of a run, however it ends.
class ListsLease {
 public:
  ListsLease(std::vector<int>& ring, std::vector<int>& lowered,
             std::vector<WordTables::Word>& words_before)
      : ring_(ring), lowered_(lowered), words_before_(words_before) {}
  ListsLease(const ListsLease&) = delete;
  ListsLease& operator=(const ListsLease&) = delete;
  ~ListsLease() {
    lowered_.clear();
    words_before_.clear();
    if (ring_.size() > kKeptEntries) std::vector<int>().swap(ring_);
    if (lowered_.capacity() <= kKeptEntries) return;
    std::vector<int>().swap(lowered_);
    std::vector<WordTables::Word>().swap(words_before_);
  }

 private:
  std::vector<int>& ring_;
  std::vector<int>& lowered_;
  std::vector<WordTables::Word>& words_before_;
};

}  // namespace

bool Graph::push_edge(int k) {
  const int idx = 2 * k;
  assert(edges_.contains(idx));
  pending_.push_back(idx);
  if (!edges_.contains(idx + 1)) return true;
  try {
    pending_.push_back(idx + 1);
  } catch (...) {
    // Half a constraint must not stay: its pop would take an active edge.
    pending_.pop_back();
    throw;
  }
  return true;
}

bool Graph::check(bool /*flag*/) {
  std::size_t done = 0;
  bool consistent = true;
  const auto drop_done = [this, &done] {
    if (done == pending_.size()) {
      pending_.clear();
      return;
    }
    pending_.erase(pending_.begin(),
                   pending_.begin() + static_cast<std::ptrdiff_t>(done));
  };
  try {
    while (done < pending_.size()) {
      consistent = do_check_edge(pending_[done]);
      if (!consistent) break;
      ++done;
    }
  } catch (...) {
    drop_done();
    throw;
  }
  drop_done();
  return consistent;
}

bool Graph::do_check_edge(int e) {
  const int source = ends_of(e).source;
  // Most edges of a search are satisfied as they come: nothing to run.
  if (is_violated(e)) {
    const int closing_edge = relax_from(e);
    if (closing_edge != -1) {
      record_conflict(source, closing_edge);
      ++num_conflicts_;
      do_search_lemmas();
      return false;
    }
  }
  return nodes_.at(source).push_edge(e);
}

bool Graph::is_violated(int e) const {
  if (words_.are_used()) {
    const WordTables::EdgeWords& words = words_.edge(e);
    const WordTables::Word from = words_.potential(words.source);
    const WordTables::Word to = words_.potential(words.target);
    if (words.weight != WordTables::kNone && from != WordTables::kNone &&
        to != WordTables::kNone) {
      return from + words.weight < to;
    }
  }
  const Edge& edge = edges_.at(e);
  return la::DNumber::sum_less(cur_beta_.at(edge.source), edge.weight,
                               cur_beta_.at(edge.target));
}

// Lowers the target of the violated edge `e`, then whatever follows from that.
// Returns -1 with the new potentials committed, or, with the potentials rolled
// back, the edge that closed a negative cycle at the source of `e`.
//
// The run goes on words as long as they hold all that it meets; the exact
// potentials follow when it ends, or when it has to go on without words.
int Graph::relax_from(int e) {
  const int source = ends_of(e).source;
  const ListsLease lease(queue_ring_, lowered_, words_before_);
  RelaxationQueue queue(queue_ring_);
  const bool begins_on_words = words_.are_used();
  bool is_on_words = begins_on_words;
  try {
    queue.push(e);
    while (!queue.empty()) {
      const int cur = queue.pop();
      Lowering lowering =
          is_on_words ? lower_by_words(cur) : lower_exactly(cur);
      if (lowering == Lowering::kNoWords) {
        is_on_words = false;
        leave_words();
        lowering = lower_exactly(cur);
      }
      if (lowering == Lowering::kNone) continue;
      const int target = lowered_.back();
      Node& node = nodes_.at(target);
      node.set_pred_edge(cur);
      if (target == source) {
        if (is_on_words) {
          roll_back_words();
        } else {
          roll_back();
        }
        return cur;
      }
      queue.push_all(node.pushed());
    }
    if (is_on_words) {
      commit_words();
    } else {
      commit_numbers();
    }
    if (begins_on_words) words_.note(is_on_words);
  } catch (...) {
    roll_back();
    throw;
  }
  return -1;
}

// Lowers the target of an edge as far as the edge wants, and lists it.
Graph::Lowering Graph::lower_by_words(int e) {
  const WordTables::EdgeWords& edge = words_.edge(e);
  const WordTables::Word from = words_.potential(edge.source);
  WordTables::Word& to = words_.potential(edge.target);
  if (edge.weight == WordTables::kNone || from == WordTables::kNone ||
      to == WordTables::kNone) {
    return Lowering::kNoWords;
  }
  const WordTables::Word sum = from + edge.weight;
  if (sum >= to) return Lowering::kNone;
  if (!WordTables::holds(sum)) return Lowering::kNoWords;
  lowered_.push_back(edge.target);
  words_before_.push_back(to);
  to = sum;
  return Lowering::kLowered;
}

// The same for exact potentials.
Graph::Lowering Graph::lower_exactly(int e) {
  const Edge& edge = edges_.at(e);
  // Room in the list before the lowering, so that a failing allocation rolls
  // back every node that was lowered.
  if (lowered_.size() == lowered_.capacity()) {
    lowered_.reserve(std::max<std::size_t>(64, 2 * lowered_.size()));
  }
  if (!la::DNumber::lower(cur_beta_.at(edge.target), cur_beta_.at(edge.source),
                          edge.weight)) {
    return Lowering::kNone;
  }
  lowered_.push_back(edge.target);
  return Lowering::kLowered;
}

// Makes the exact potentials of nodes lowered so far what their words say.
void Graph::leave_words() {
  for (const int n : lowered_) {
    const WordTables::Word word = words_.potential(n);
    cur_beta_.at(n) = la::DNumber::from_words(WordTables::rational_of(word),
                                              WordTables::eps_of(word));
  }
}

// Commits the exact potentials of lowered nodes, and makes words of them.
void Graph::commit_numbers() {
  for (const int n : lowered_) {
    saved_beta_.at(n) = cur_beta_.at(n);
    if (words_.are_used()) {
      words_.potential(n) = WordTables::word_of(cur_beta_.at(n));
    }
  }
}

// Commits the words of lowered nodes as exact potentials. First what can fail:
// blocks for those that cannot be written where they are.
void Graph::commit_words() {
  for (const int n : lowered_) {
    if (la::DNumber::are_pair(cur_beta_.at(n), saved_beta_.at(n))) continue;
    const WordTables::Word word = words_.potential(n);
    cur_beta_.at(n) = la::DNumber::from_words(WordTables::rational_of(word),
                                              WordTables::eps_of(word));
  }
  for (const int n : lowered_) {
    la::DNumber& cur = cur_beta_.at(n);
    la::DNumber& saved = saved_beta_.at(n);
    if (!la::DNumber::are_pair(cur, saved)) {
      saved = cur;
      continue;
    }
    const WordTables::Word word = words_.potential(n);
    la::DNumber::set_pair(cur, saved, WordTables::rational_of(word),
                          WordTables::eps_of(word));
  }
}

// Gives the lowered nodes their words back. Exact potentials follow a run on
// words only when it is committed.
void Graph::roll_back_words() {
  for (std::size_t k = lowered_.size(); k-- > 0;) {
    words_.potential(lowered_[k]) = words_before_[k];
  }
}

// Gives the lowered nodes their committed potentials back.
void Graph::roll_back() {
  for (const int n : lowered_) {
    cur_beta_.at(n) = saved_beta_.at(n);
    if (words_.are_used()) {
      words_.potential(n) = WordTables::word_of(saved_beta_.at(n));
    }
  }
}

// Makes the cycle that `closing_edge` closed at `start` the current conflict.
//
// The walk goes back over the edges that lowered each node in this run. It
// needs no look for repeats and is linear in the cycle: an edge that occurred
// twice would make the predecessor edges close a cycle that avoids `start`.
// Such a cycle has negative weight (each of its nodes was lowered through the
// one before it), so it would be a negative cycle without the new edge, of
// which there is none.
void Graph::record_conflict(int start, int closing_edge) {
  prev_conflict_ = cur_conflict_;
  cur_conflict_.clear();
  try {
    cur_conflict_.push_back(closing_edge);
    int node = ends_of(closing_edge).source;
    while (node != start) {
      const int pred = nodes_.at(node).pred_edge();
      cur_conflict_.push_back(pred);
      node = ends_of(pred).source;
    }
  } catch (...) {
    // A later lemma search takes what it finds here for a whole cycle: on a
    // part of one it could teach what does not follow, or never end.
    cur_conflict_.clear();
    throw;
  }
  std::reverse(cur_conflict_.begin(), cur_conflict_.end());
}

}  // namespace vorn::dl
