// SPDX-License-Identifier: MIT
#include "tests/dl/closure_oracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/floyd_warshall_shortest.hpp>
#include <iterator>

#include "tests/numbers/allocation_hooks.h"

namespace vorn::dl_test {

using dl::closure::Scale;

namespace {

// What stands in a path before the closure appends to it.
constexpr int kBefore = -7;

}  // namespace

Distances::Distances(std::size_t nodes)
    : rows_(nodes, std::vector<Distance>(nodes)) {
  for (std::size_t n = 0; n < nodes; ++n) rows_[n][n].finite = true;
}

std::optional<Distances> Distances::along(const std::vector<ExactEdge>& edges,
                                          std::size_t nodes) {
  const auto less = [](const Distance& a, const Distance& b) {
    return a.finite && (!b.finite || a.length < b.length);
  };
  const auto sum = [](const Distance& a, const Distance& b) {
    if (!a.finite || !b.finite) return Distance();
    return Distance{true, a.length + b.length};
  };
  Distances result(nodes);
  for (const ExactEdge& e : edges) {
    Distance& direct = result.rows_[static_cast<std::size_t>(e.source)]
                                   [static_cast<std::size_t>(e.target)];
    const Distance length{true, e.weight};
    if (less(length, direct)) direct = length;
  }
  // The edges are in the distances.
  const boost::adjacency_list<boost::vecS, boost::vecS, boost::directedS> graph(
      nodes);
  const bool consistent =
      boost::floyd_warshall_initialized_all_pairs_shortest_paths(
          graph, result.rows_, less, sum, Distance(), Distance{true, Exact()});
  if (!consistent) return std::nullopt;
  return result;
}

std::ostream& operator<<(std::ostream& out, const ClosureOp& op) {
  switch (op.kind) {
    case ClosureOp::Kind::kTell:
      return out << "tell " << op.k << ": " << op.edge.source << " -["
                 << op.edge.weight << "]-> " << op.edge.target;
    case ClosureOp::Kind::kRetract:
      return out << "retract " << op.k;
    case ClosureOp::Kind::kPush:
      return out << "push " << op.k;
    case ClosureOp::Kind::kPop:
      break;
  }
  return out << "pop";
}

std::ostream& operator<<(std::ostream& out, const ClosureSeen& seen) {
  return out << seen.pushes << " pushes (" << seen.conflicts << " refused, "
             << seen.pushes_of_known << " of known constraints), "
             << seen.reports << " consequences, " << seen.reports_when_told
             << " when told, " << seen.long_paths
             << " times a path of three edges or more, " << seen.late_paths
             << " times a path with more active since; rebuilds: "
             << seen.to_more_rows << " for rows, " << seen.matrix_to_word64
             << " and " << seen.matrix_to_exact << " for numbers of a matrix, "
             << seen.paths_to_exact << " for numbers of paths, "
             << seen.to_paths_in_push << " to paths in a push, "
             << seen.to_paths_in_tell << " in a tell, "
             << seen.to_paths_with_known << " of them with known consequences; "
             << seen.free_numbers << " numbers free at once, "
             << seen.kept_numbers << " not";
}

ClosureUnderTest::ClosureUnderTest(const Setting& setting, ClosureSeen* seen)
    : setting_(setting), seen_(seen), closure_(setting.limits), levels_(1) {}

bool ClosureUnderTest::fails(const ClosureOp& op, std::size_t n) {
  const auto all_known = [this] {
    std::set<int> known;
    for (const auto& [k, told] : told_) {
      if (closure_.is_known(k)) known.insert(k);
    }
    return known;
  };
  const std::set<int> known = all_known();
  const std::map<int, std::size_t> handed = handed_;
  const std::uint64_t rebuilds = closure_.counters().rebuilds;
  if (!perform(op, &n)) return false;
  if (closure_.counters().rebuilds == rebuilds) {
    EXPECT_EQ(all_known(), known);
    EXPECT_EQ(handed_, handed);
  } else {
    ++seen_->failing_rebuilds;
  }
  return true;
}

bool ClosureUnderTest::perform(const ClosureOp& op,
                               const std::size_t* failing) {
  const std::uint64_t rebuilds = closure_.counters().rebuilds;
  const bool was_matrix = closure_.uses_matrix();
  bool failed = false;
  switch (op.kind) {
    case ClosureOp::Kind::kTell: {
      const dl::Edge edge = to_edge(
          {name(op.edge.source), name(op.edge.target), op.edge.weight}, op.k);
      const auto tell = [&] { closure_.tell_edge(op.k, edge); };
      if (failing == nullptr) {
        tell();
      } else {
        failed = test::fails_at(*failing, tell);
      }
      nodes_told_.insert({op.edge.source, op.edge.target});
      need_.add(edge.weight);
      if (failed) break;
      const bool reported = compares_at_once_ && !active_.empty() &&
                            closure_.uses_matrix() &&
                            distances().imply(op.edge);
      told_[op.k] = {op.edge, active_.size(), active_.size(), reported};
      if (reported && op.edge.source != op.edge.target) {
        ++seen_->reports_when_told;
      }
      break;
    }
    case ClosureOp::Kind::kRetract:
      if (!closure_.retract_edge(op.k)) {
        EXPECT_FALSE(active_.empty());
        used_up_.insert(op.k);
        ++seen_->kept_numbers;
      } else if (!active_.empty()) {
        ++seen_->free_numbers;
      }
      told_.erase(op.k);
      known_since_.erase(op.k);
      // The host knows no more what others follow from.
      if (handed_.erase(op.k) > 0) host_has_all_ = false;
      break;
    case ClosureOp::Kind::kPush:
      failed = push(op.k, failing);
      break;
    case ClosureOp::Kind::kPop:
      pop();
      break;
  }
  one_matrix_push_ = op.kind == ClosureOp::Kind::kPush && !failed &&
                     was_matrix && closure_.uses_matrix();
  if (failed) host_has_all_ = false;
  const std::uint64_t count = closure_.counters().rebuilds - rebuilds;
  if (count > 0) after_rebuild(was_matrix, count, op, failed);
  if (op.kind == ClosureOp::Kind::kTell && active_.empty()) {
    note_numbers(false);
  }
  EXPECT_EQ(closure_.num_active(), active_.size());
  // Paths have no matrix, and an outgrown one has been given up.
  EXPECT_EQ(closure_.uses_matrix(), closure_.matrix_bytes() > 0);
  if (!failed) {
    EXPECT_LE(closure_.matrix_bytes(), setting_.limits.matrix_bytes);
  }
  if (setting_.drains) drain();
  return failed;
}

bool ClosureUnderTest::push(int k, const std::size_t* failing) {
  const bool was_known = closure_.is_known(k);
  bool consistent = false;
  const auto push = [&] { consistent = closure_.push_edge(k); };
  if (failing == nullptr) {
    push();
  } else if (test::fails_at(*failing, push)) {
    return true;
  }
  ++seen_->pushes;
  if (was_known) ++seen_->pushes_of_known;
  if (!consistent) {
    ++seen_->conflicts;
    verify_cycle(k);
  }
  std::optional<Distances> next;
  if (compares_at_once_) {
    active_.push_back(k);
    next = Distances::along(active_edges(active_.size()), setting_.nodes);
    active_.pop_back();
    EXPECT_EQ(consistent, next.has_value());
  }
  if (consistent) {
    active_.push_back(k);
    levels_.push_back(std::move(next));
  }
  return false;
}

// The first so many active edges.
std::vector<ExactEdge> ClosureUnderTest::active_edges(
    std::size_t height) const {
  std::vector<ExactEdge> edges;
  for (std::size_t i = 0; i < height; ++i) {
    edges.push_back(told_.at(active_[i]).edge);
  }
  return edges;
}

const Distances& ClosureUnderTest::level(std::size_t height) const {
  std::optional<Distances>& distances = levels_[height];
  if (!distances.has_value()) {
    distances = Distances::along(active_edges(height), setting_.nodes);
    EXPECT_TRUE(distances.has_value()) << "active edges close a negative cycle";
    if (!distances.has_value()) distances = Distances(setting_.nodes);
  }
  return *distances;
}

void ClosureUnderTest::pop() {
  EXPECT_FALSE(test::fails_at(0, [this] { closure_.pop_edge(); }))
      << "taking back allocates";
  active_.pop_back();
  levels_.pop_back();
  const std::size_t height = active_.size();
  if (height == 0) used_up_.clear();
  for (auto* levels : {&known_since_, &handed_}) {
    for (auto it = levels->begin(); it != levels->end();) {
      it = it->second > height ? levels->erase(it) : std::next(it);
    }
  }
  for (auto& [k, told] : told_) {
    told.least_height = std::min(told.least_height, height);
  }
  if (moved_) host_has_all_ = false;
  if (height > 0) return;
  moved_ = false;
  host_has_all_ = true;
}

// Which constraint came to follow with which activation may be seen anew after
// the rebuild of a matrix: those that were told late may have moved down. If it
// turns out to be too large, paths take over with a second rebuild.
void ClosureUnderTest::after_rebuild(bool was_matrix, std::uint64_t count,
                                     const ClosureOp& op, bool failed) {
  one_matrix_push_ = false;
  if (closure_.uses_matrix() || count > 1) {
    moved_ = true;
    // They are handed out once more, all of them.
    if (!failed) handed_.clear();
  }
  if (failed) return;
  note_numbers(was_matrix);
  if (was_matrix && !closure_.uses_matrix()) {
    ++(op.kind == ClosureOp::Kind::kPush ? seen_->to_paths_in_push
                                         : seen_->to_paths_in_tell);
    if (known_since_.size() > active_.size()) ++seen_->to_paths_with_known;
  }
}

void ClosureUnderTest::note_numbers(bool was_matrix) {
  const Scale::Size size_before = size_;
  Scale scale;
  need_.num_nodes = static_cast<int>(nodes_told_.size());
  scale.fit(need_);
  size_ = scale.size();
  if (active_.empty()) return;
  if (size_ <= size_before) {
    if (was_matrix && closure_.uses_matrix()) ++seen_->to_more_rows;
    return;
  }
  if (size_ == Scale::Size::kExact) {
    ++(was_matrix ? seen_->matrix_to_exact : seen_->paths_to_exact);
  } else if (was_matrix && closure_.uses_matrix()) {
    ++seen_->matrix_to_word64;
  }
}

void ClosureUnderTest::drain() {
  const bool again = closure_.counters().rebuilds != drained_rebuilds_;
  drained_rebuilds_ = closure_.counters().rebuilds;
  int k = -1;
  while (closure_.next_consequence(&k)) {
    const auto found = told_.find(k);
    ASSERT_NE(found, told_.end()) << k;
    const ExactEdge& edge = found->second.edge;
    EXPECT_TRUE(closure_.is_known(k)) << k;
    const bool is_new = handed_.emplace(k, active_.size()).second;
    EXPECT_TRUE(is_new || again) << k << " was handed out twice";
    ++seen_->reports;
    if (!compares_at_once_) continue;
    EXPECT_TRUE(distances().imply(edge)) << k << " does not follow";
    if (!setting_.drains || !one_matrix_push_) continue;
    for (const auto& [other, told] : told_) {
      EXPECT_FALSE(
          told.edge.source == edge.source && told.edge.target == edge.target &&
          told.edge.weight < edge.weight && distances().imply(told.edge))
          << other << " is tighter than " << k;
    }
  }
}

// The tightest constraint that is active or was handed out, by the nodes.
std::map<std::pair<int, int>, const Exact*> ClosureUnderTest::host_knows()
    const {
  std::map<std::pair<int, int>, const Exact*> tightest;
  const auto add = [&](int k) {
    const ExactEdge& edge = told_.at(k).edge;
    const Exact*& weight = tightest[{edge.source, edge.target}];
    if (weight == nullptr || edge.weight < *weight) weight = &edge.weight;
  };
  std::for_each(active_.begin(), active_.end(), add);
  for (const auto& [k, height] : handed_) add(k);
  return tightest;
}

// The least number of active edges with which the constraint of the edge
// follows. Requires: it follows.
std::size_t ClosureUnderTest::height_that_implies(const ExactEdge& edge) const {
  std::size_t height = 0;
  while (!level(height).imply(edge)) ++height;
  return height;
}

void ClosureUnderTest::verify_known() {
  const auto tightest = host_knows();
  for (const auto& [k, told] : told_) {
    const bool follows = distances().imply(told.edge);
    const bool known = closure_.is_known(k);
    if (known) {
      EXPECT_TRUE(follows) << k << " is known and does not follow";
      known_since_.emplace(k, active_.size());
    } else {
      EXPECT_EQ(known_since_.count(k), 0U)
          << k << " was known, and what showed it is still active";
    }
    // It holds by what a constraint that is active or was handed out says, and
    // for no other reason.
    const auto found = tightest.find({told.edge.source, told.edge.target});
    if (found != tightest.end() && !(told.edge.weight < *found->second)) {
      EXPECT_TRUE(known) << k << " was handed out and is not known";
    } else if (setting_.drains && host_has_all_) {
      EXPECT_FALSE(known) << k << " is known and was not handed out";
    }
    if (!follows || known) continue;
    EXPECT_FALSE(told.reported && told.least_height == told.height)
        << k << " followed when it was told";
    EXPECT_FALSE(setting_.is_complete &&
                 height_that_implies(told.edge) > told.least_height)
        << k << " came to follow after it was told";
  }
}

// The sum along a path from source to target. All of it has to be among so many
// of the active edges.
Exact ClosureUnderTest::verify_chain(const std::vector<int>& path,
                                     std::size_t num_active, int source,
                                     int target) const {
  const auto end = active_.begin() + static_cast<std::ptrdiff_t>(num_active);
  Exact sum;
  int node = source;
  for (const int k : path) {
    const auto found = told_.find(k);
    if (found == told_.end()) {
      ADD_FAILURE() << k << " is not registered";
      break;
    }
    EXPECT_TRUE(std::find(active_.begin(), end, k) != end)
        << k << " was not among the first " << num_active << " active ones";
    EXPECT_EQ(found->second.edge.source, node) << "where " << k << " begins";
    node = found->second.edge.target;
    sum = sum + found->second.edge.weight;
  }
  EXPECT_EQ(node, target);
  return sum;
}

void ClosureUnderTest::verify_cycle(int k) const {
  const ExactEdge& edge = told_.at(k).edge;
  std::vector<int> cycle = {kBefore};

  closure_.get_cycle(k, &cycle);

  ASSERT_GE(cycle.size(), 2U);
  EXPECT_EQ(cycle.front(), kBefore);
  EXPECT_EQ(cycle.back(), k);
  const std::vector<int> back(cycle.begin() + 1, cycle.end() - 1);
  const Exact sum = edge.weight + verify_chain(back, active_.size(),
                                               edge.target, edge.source);
  EXPECT_TRUE(sum < Exact()) << sum << " is no reason to refuse " << k;
}

void ClosureUnderTest::verify_paths() {
  std::vector<int> path;
  for (const auto& [k, since] : known_since_) {
    const ExactEdge& edge = told_.at(k).edge;
    path = {kBefore};

    closure_.get_path(k, &path);

    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.front(), kBefore);
    path.erase(path.begin());
    const Exact sum = verify_chain(path, since, edge.source, edge.target);
    EXPECT_FALSE(edge.weight < sum) << sum << " does not show " << k;
    if (path.size() > 2) ++seen_->long_paths;
    if (path.size() > 1 && since < active_.size()) ++seen_->late_paths;
  }
}

void ClosureUnderTest::verify_bounds(int source) {
  const int nodes = static_cast<int>(setting_.nodes);
  la::DNumber weight;
  std::vector<int> path;
  for (int target = 0; target < nodes; ++target) {
    const Distance& distance = distances().at(source, target);
    path = {kBefore};

    EXPECT_EQ(
        closure_.tightest_bound(name(source), name(target), &weight, &path),
        distance.finite)
        << "from " << source << " to " << target;

    if (!distance.finite) continue;
    EXPECT_EQ(to_exact(weight), distance.length)
        << "from " << source << " to " << target;
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.front(), kBefore);
    path.erase(path.begin());
    EXPECT_EQ(verify_chain(path, active_.size(), source, target),
              distance.length)
        << "from " << source << " to " << target;
  }
  // Without a path.
  const int next = (source + 1) % nodes;
  const Distance& distance = distances().at(source, next);
  EXPECT_EQ(closure_.tightest_bound(name(source), name(next), &weight, nullptr),
            distance.finite);
  if (distance.finite) {
    EXPECT_EQ(to_exact(weight), distance.length);
  }
  // A node that no constraint names.
  EXPECT_FALSE(
      closure_.tightest_bound(name(source), name(0) + 1, &weight, nullptr));
  EXPECT_FALSE(
      closure_.tightest_bound(name(nodes) + 1, name(source), &weight, nullptr));
}

}  // namespace vorn::dl_test
