// SPDX-License-Identifier: MIT
#ifndef VORN_DL_CLOSURE_H
#define VORN_DL_CLOSURE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "vorn/dl/edge.h"
#include "vorn/export.h"
#include "vorn/numbers/d_number.h"

// What follows from a set of difference constraints.
//
// Along a path of active edges from s to t the weights add up to a bound
// t - s <= sum; the shortest path gives the tightest bound that follows. A host
// that has decided some constraints learns here which other ones hold already
// (theory propagation), and the path that shows it (the explanation).
//
// The closure stands beside Graph and knows nothing of it. A host tells both
// the same constraints, and pushes and pops the same ones in the same order.
// Constraint k has one edge; an equality is two constraints here.
//
// Two ways lead to the consequences, behind one interface:
//  - a matrix of the shortest distances between all nodes, exact and complete,
//    for graphs whose square fits the memory that Limits grants and whose sums
//    fit words;
//  - for others, a search from both ends of each new edge over the nodes
//    for which the new edge matters, with a limit on its steps; what it does
//    not reach is not reported. Nothing that it reports is wrong.

namespace vorn::dl {

namespace closure {
struct Store;
class Way;
}  // namespace closure

/// The consequences of the active difference constraints.
///
/// Weights are exact at all sizes. Sums are kept in words of 32 or 64 bits,
/// fractions and eps scaled to integers, while no sum can outgrow them, and in
/// exact numbers, with paths, from then on; nothing is lost or changed where
/// one takes over.
///
/// A registered constraint is *known* while an active constraint of the same
/// direction of the same pair of nodes, or one that was reported for it, is at
/// least as tight. With the matrix, a constraint that follows and was told
/// before it came to follow is known.
///
/// Cost, with n nodes:
///  - matrix: push O(n) to see what improves, and constant time for each pair
///    whose distance falls, not counting what follows by way of the node with
///    the most bounds (the constant 0, as a rule), of which only pairs with
///    bounds are looked at; pop constant time for each of these. 16 bytes a
///    pair with words of 32 bits, 20 with words of 64, and 16 to 24 for each
///    improvement until it is taken back.
///  - paths: push at most Limits::path_steps edges in each direction, and what
///    it takes to repair the potentials; pop constant time for each
///    consequence. No memory beyond that of the edges.
/// Taking back allocates nothing.
/// Errors: only exhausted memory, which passes through. A call that fails
/// changes nothing that can be seen, but consequences may be handed out once
/// more.
/// Ownership: copies the edges. Threads: none; as for Graph.
class VORN_EXPORT Closure {
 public:
  /// How much the closure may take.
  struct Limits {
    /// Bytes for the matrix and its record of improvements. Above them the
    /// closure goes on with paths. 0: paths from the start. The default is
    /// enough for some 600 nodes; docs/performance.md says for which graphs
    /// paths are faster.
    std::size_t matrix_bytes = std::size_t{16} << 20U;
    /// Edges that the way of paths tries in each of the two directions from one
    /// new edge.
    std::size_t path_steps = 1000;
  };

  /// What was done since construction.
  struct Counters {
    /// Pushes that were no consequence before.
    std::uint64_t activations = 0;
    /// Pairs of nodes whose distance in the matrix fell.
    std::uint64_t improvements = 0;
    /// Consequences reported.
    std::uint64_t consequences = 0;
    /// Times that all active edges were pushed anew, since a larger matrix,
    /// larger numbers or the other way had to take over.
    std::uint64_t rebuilds = 0;
    /// Distances compared and edges tried, of which one counts as four, or as
    /// 30 with exact numbers: a measure of time that does not depend on the
    /// machine.
    std::uint64_t steps = 0;
  };

  /// Nothing is registered. The limits stay as they are.
  explicit Closure(const Limits& limits);
  /// With the default limits.
  Closure();
  Closure(const Closure&) = delete;
  Closure& operator=(const Closure&) = delete;
  ~Closure();

  /// Registers the edge of `e` as constraint k, and asks for it to be reported
  /// whenever it follows. If it follows from the active constraints now, the
  /// matrix reports it as a consequence of the latest one of them, with which
  /// it is forgotten. Requires: k and both end nodes are not negative; k is not
  /// registered; the weight is not tagged. Cost: amortised O(bounds of the
  /// pair); a rebuild if the weight or a new node outgrows what there is.
  void tell_edge(int k, const Edge& e);
  /// Forgets constraint k. Whether another may get its number at once; if not,
  /// none may as long as a constraint is active. That is so of what is not
  /// known to follow, and of the latest that is, unless it shows that others of
  /// its pair follow. Requires: k is registered and not active. Cost: O(bounds
  /// of the pair).
  bool retract_edge(int k);

  /// Activates constraint k. False if it closes a negative cycle with active
  /// ones, and then nothing has changed. Requires: k is registered.
  bool push_edge(int k);
  /// Takes back the activation of the latest pushed constraint, and everything
  /// that was reported since. Requires: some constraint is active.
  void pop_edge();
  /// How many constraints are active, consequences among them included.
  std::size_t num_active() const;

  /// The next constraint that came to follow, oldest first; false if there is
  /// none. A rebuild of the matrix (see Counters) hands out those of the active
  /// edges once more. Of the constraints in one direction of a pair only the
  /// tightest that follows is reported; the looser ones follow from it.
  bool next_consequence(int* k);
  /// Whether constraint k is known to follow. Requires: k is registered. Cost:
  /// O(1).
  bool is_known(int k) const;
  /// Appends the active constraints that show constraint k, in the order of a
  /// path from its source to its target: their weights add up to no more than
  /// its weight. All were active before it was reported. The path need not be
  /// the shortest: where there is room, the matrix prefers older constraints,
  /// which a search takes back later. Nothing is appended for a constraint that
  /// holds with no premise. Requires: k is known. Cost: linear in the path,
  /// times the number of improvements of its pairs.
  void get_path(int k, std::vector<int>* path) const;
  /// Appends active constraints that make a negative cycle with constraint k,
  /// in the order of the cycle, k last; the older ones as in get_path.
  /// Requires: push_edge(k) was refused, and nothing has been told or changed
  /// since. Cost: that of get_path; with paths, Dijkstra's algorithm.
  void get_cycle(int k, std::vector<int>* cycle) const;

  /// The tightest bound on target - source that follows, in *weight, and a path
  /// for it as in get_path, if it is asked for (not null). False if nothing
  /// bounds the difference. Exact with both ways. Cost: matrix, that of
  /// get_path; paths, Dijkstra's algorithm.
  bool tightest_bound(int source, int target, la::DNumber* weight,
                      std::vector<int>* path) const;

  /// Whether the matrix is in use at present.
  bool uses_matrix() const;
  /// Bytes of the matrix and its record of improvements; 0 without a matrix.
  std::size_t matrix_bytes() const;
  /// What was done so far.
  const Counters& counters() const;

 private:
  bool unregister(int k);
  void settle();
  void rebuild();
  void push_anew(closure::Way& way);
  void push_quietly(closure::Way& way);
  std::unique_ptr<closure::Way> make_way() const;

  std::unique_ptr<closure::Store> store_;
  std::unique_ptr<closure::Way> way_;
};

}  // namespace vorn::dl

#endif  // VORN_DL_CLOSURE_H
