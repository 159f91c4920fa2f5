// SPDX-License-Identifier: MIT
#ifndef VORN_DL_CLOSURE_PATHS_H
#define VORN_DL_CLOSURE_PATHS_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "vorn/dl/closure_store.h"

namespace vorn::dl::closure {

/// Consequences by shortest paths from both ends of each new edge; see the .cc.
///
/// Invariant: each pushed edge has a reduced cost, potential(source) + weight -
/// potential(target), of at least 0.
/// A proof is the chain of links from the bound's source on and, as more proof,
/// the one from its target back; both end with the edge that was new, and
/// without the second the first is the whole path. What a matrix left is a tree
/// of links, and the whole path.
template <class Numbers>
class Paths final : public Way {
 public:
  using Number = typename Numbers::Number;

  /// No edges yet.
  explicit Paths(Store& store) : Way(store) {}

  bool fits() const override { return true; }
  bool reports_again() const override { return false; }
  bool push(int k) override;
  void pop() override;
  void told(int /*k*/) override {}
  void write_links(std::vector<Entry>& /*entries*/,
                   std::vector<Activation>& /*active*/,
                   std::vector<Link>& /*links*/) const override {}
  void get_path(const Entry& entry, int k,
                std::vector<int>* path) const override;
  void get_way_back(int k, std::vector<int>* path) const override;
  bool tightest_bound(int source, int target, la::DNumber* weight,
                      std::vector<int>* path) const override;

 private:
  /// What a search knows of a row.
  struct Place {
    /// Reduced length of the shortest path found.
    Number distance;
    /// The last edge on it; -1 at the start.
    int edge = -1;
    /// The chain of links that stores the path; -1 for none yet.
    int link = -1;
    /// The search that this belongs to.
    std::uint64_t search = 0;
    bool settled = false;
    /// It runs through the edge that the search is about.
    bool through = false;
  };
  /// One direction of a search.
  struct Side {
    std::vector<Place> places;
    /// Rows and lengths, the least first; some of them out of date.
    std::vector<std::pair<Number, int>> heap;
    /// Rows reached through the edge, nearest first.
    std::vector<int> reached;
    std::uint64_t search = 0;
  };

  Number reduced_cost(const Bound& edge) const;
  bool repair(int k);
  void renew_potentials(int k);
  void grow(Side& side) const;
  void start(Side& side, int row) const;
  void reach(Side& side, int row, const Number& distance, int edge,
             bool through, std::size_t* open) const;
  void search(Side& side, int start, int about, bool forward,
              std::size_t max_steps) const;
  static int take(Side& side);
  static bool is_reached(const Side& side, int row);
  void report(int k);
  void try_pair(int position, const Number& about_cost);
  int link(Side& side, int row, bool forward);

  std::vector<Number> potentials_;
  /// Pushed edges by the row that they leave and the row that they enter, in
  /// the order of pushes.
  std::vector<std::vector<int>> leaving_;
  std::vector<std::vector<int>> entering_;
  std::vector<int> pushed_;

  // Scratch space; the queries that change nothing use it, too.
  mutable Side ahead_;
  mutable Side behind_;
  std::vector<std::pair<int, Number>> lowered_;
  std::vector<int> unlinked_;
  // Links whose first part is being written.
  mutable std::vector<int> unfinished_;
};

}  // namespace vorn::dl::closure

#endif  // VORN_DL_CLOSURE_PATHS_H
