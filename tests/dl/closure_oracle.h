// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_DL_CLOSURE_ORACLE_H
#define VORN_TESTS_DL_CLOSURE_ORACLE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <utility>
#include <vector>

#include "tests/dl/exact.h"
#include "vorn/dl/closure.h"
#include "vorn/dl/closure_scale.h"

// A closure beside what should be true of it: the shortest distances between
// all nodes, computed anew by Boost.Graph for each set of active edges, and the
// records of a host that remembers what it was told and when.

namespace vorn::dl_test {

/// A distance, or that there is no path.
struct Distance {
  bool finite = false;
  Exact length;

  friend bool operator!=(const Distance& a, const Distance& b) {
    return a.finite != b.finite || (a.finite && !(a.length == b.length));
  }
};

/// The shortest distances between nodes 0, 1, ...
class Distances {
 public:
  /// Without edges.
  explicit Distances(std::size_t nodes);
  /// Nothing if the edges close a negative cycle. Cost: cubic in the nodes.
  static std::optional<Distances> along(const std::vector<ExactEdge>& edges,
                                        std::size_t nodes);

  const Distance& at(int source, int target) const {
    return rows_[static_cast<std::size_t>(source)]
                [static_cast<std::size_t>(target)];
  }
  /// Whether the constraint of `edge` follows.
  bool imply(const ExactEdge& edge) const {
    const Distance& distance = at(edge.source, edge.target);
    return distance.finite && !(edge.weight < distance.length);
  }

 private:
  std::vector<std::vector<Distance>> rows_;
};

/// One call.
struct ClosureOp {
  enum class Kind { kTell, kRetract, kPush, kPop };

  Kind kind;
  /// The constraint; of a pop, nothing.
  int k = -1;
  /// Of a kTell.
  ExactEdge edge{};

  friend std::ostream& operator<<(std::ostream& out, const ClosureOp& op);
};

/// What runs have met, so that a test can tell that it tested something.
struct ClosureSeen {
  std::size_t pushes = 0;
  std::size_t conflicts = 0;
  std::size_t pushes_of_known = 0;
  std::size_t reports = 0;
  std::size_t long_paths = 0;
  /// Bounds that followed when they were told, and were reported at once.
  std::size_t reports_when_told = 0;
  /// Paths of bounds that were known for a while, with more active since.
  std::size_t late_paths = 0;
  // Rebuilds with active edges that were taken over by ...
  std::size_t to_more_rows = 0;
  std::size_t matrix_to_word64 = 0;
  std::size_t matrix_to_exact = 0;
  std::size_t paths_to_exact = 0;
  /// Paths, when a push or a bound told outgrew the memory of a matrix, or its
  /// words ...
  std::size_t to_paths_in_push = 0;
  std::size_t to_paths_in_tell = 0;
  /// ... and when consequences were known then.
  std::size_t to_paths_with_known = 0;
  /// Numbers of constraints forgotten while others were active, that had to
  /// stay unused, and that others could have.
  std::size_t kept_numbers = 0;
  std::size_t free_numbers = 0;
  /// Calls whose rebuild, or what came behind it, ran out of memory.
  std::size_t failing_rebuilds = 0;

  friend std::ostream& operator<<(std::ostream& out, const ClosureSeen& seen);
};

/// A closure, and everything that it has to agree with after each call. What
/// does not agree is a failure of the current test.
class ClosureUnderTest {
 public:
  struct Setting {
    dl::Closure::Limits limits;
    std::size_t nodes = 2;
    /// Takes the consequences after each call; otherwise when drain() is
    /// called.
    bool drains = true;
    /// Limits::path_steps never ends a search.
    bool is_complete = true;
  };
  /// A registered constraint.
  struct Told {
    ExactEdge edge;
    /// How many constraints were active when it was told, and at least since.
    std::size_t height;
    std::size_t least_height;
    /// It was reported when it was told.
    bool reported;
  };

  ClosureUnderTest(const Setting& setting, ClosureSeen* seen);

  /// Does what `op` says and compares what comes back; a refusal has to come
  /// with a negative cycle.
  void apply(const ClosureOp& op) { perform(op, nullptr); }
  /// The same with allocation number n, from 0, failing. Whether it failed:
  /// then nothing has happened.
  bool fails(const ClosureOp& op, std::size_t n);
  /// Takes the consequences that there are.
  void drain();
  /// Whether calls and consequences are compared at once; for a trace that was
  /// compared before, later is soon enough. True at first.
  void compare_at_once(bool at_once) { compares_at_once_ = at_once; }

  /// What is known, against what follows and what was reported.
  void verify_known();
  /// The paths of all that is known.
  void verify_paths();
  /// The tightest bounds of all nodes on that of `source`.
  void verify_bounds(int source);

  const Setting& setting() const { return setting_; }
  const std::map<int, Told>& told() const { return told_; }
  /// Numbers that no constraint may get as long as there are active ones.
  const std::set<int>& used_up() const { return used_up_; }
  const std::vector<int>& active() const { return active_; }
  const Distances& distances() const { return level(active_.size()); }
  const dl::Closure& closure() const { return closure_; }

 private:
  /// The node of the closure for a node of the oracle.
  static int name(int node) { return 3 * node; }

  bool perform(const ClosureOp& op, const std::size_t* failing);
  bool push(int k, const std::size_t* failing);
  void verify_cycle(int k) const;
  void pop();
  std::vector<ExactEdge> active_edges(std::size_t height) const;
  const Distances& level(std::size_t height) const;
  void after_rebuild(bool was_matrix, std::uint64_t count, const ClosureOp& op,
                     bool failed);
  void note_numbers(bool was_matrix);
  std::map<std::pair<int, int>, const Exact*> host_knows() const;
  std::size_t height_that_implies(const ExactEdge& edge) const;
  Exact verify_chain(const std::vector<int>& path, std::size_t num_active,
                     int source, int target) const;

  Setting setting_;
  ClosureSeen* seen_;
  dl::Closure closure_;

  std::map<int, Told> told_;
  std::vector<int> active_;
  /// The distances with so many of the active edges, once they were asked for.
  mutable std::vector<std::optional<Distances>> levels_;
  bool compares_at_once_ = true;
  /// With how many active constraints each known one was first seen known.
  std::map<int, std::size_t> known_since_;
  /// The same for the consequences that were taken.
  std::map<int, std::size_t> handed_;
  std::set<int> used_up_;
  /// A rebuild may have moved consequences down the stack.
  bool moved_ = false;
  /// What the host has is all that is known: see verify_known.
  bool host_has_all_ = true;
  /// Rebuilds before the consequences were last taken.
  std::uint64_t drained_rebuilds_ = 0;
  /// Every consequence to be taken comes from one push to a matrix.
  bool one_matrix_push_ = false;
  // For what was seen: what the numbers have to cover, the size that does it,
  // and the nodes told.
  dl::closure::Scale::Need need_;
  dl::closure::Scale::Size size_ = dl::closure::Scale::Size::kWord32;
  std::set<int> nodes_told_;
};

}  // namespace vorn::dl_test

#endif  // VORN_TESTS_DL_CLOSURE_ORACLE_H
