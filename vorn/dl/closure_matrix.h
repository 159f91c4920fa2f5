// SPDX-License-Identifier: MIT
#ifndef VORN_DL_CLOSURE_MATRIX_H
#define VORN_DL_CLOSURE_MATRIX_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vorn/dl/closure_store.h"

namespace vorn::dl::closure {

/// All shortest distances in words, kept up to date with each edge; see the
/// .cc.
///
/// One row is the *hub*, through which many shortest paths run: the constant 0,
/// as a rule. Invariants, with d(s, t) the least sum along a path of pushed
/// edges:
///  (1) d(s, t) = min(distances_(s, t), to_hub_[s] + distances_(hub, t));
///  (2) distances_(s, t) is infinite or the sum along a path, 0 for s == t;
///  (3) to_hub_ is the hub's column of distances_;
///  (4) sources_ of t are the rows s with a finite distances_(s, t).
/// Memory: bytes_per_pair() for each pair of the rows there is room for, and a
/// Record for each improvement that has not been taken back.
template <class Numbers>
class Matrix final : public Way {
 public:
  using Number = typename Numbers::Number;

  /// No edges yet. Room for somewhat more rows than there are.
  explicit Matrix(Store& store);

  bool fits() const override;
  bool reports_again() const override { return true; }
  bool push(int k) override;
  void pop() override;
  void told(int k) override;
  void write_links(std::vector<Entry>& entries, std::vector<Activation>& active,
                   std::vector<Link>& links) const override;
  void get_path(const Entry& entry, int k,
                std::vector<int>* path) const override;
  void get_way_back(int k, std::vector<int>* path) const override;
  bool tightest_bound(int source, int target, la::DNumber* weight,
                      std::vector<int>* path) const override;
  std::size_t matrix_bytes() const override;

  static constexpr std::size_t bytes_per_pair() {
    return sizeof(Number) + 3 * sizeof(std::int32_t);
  }
  /// Rows that a matrix for so many is made for.
  static std::size_t rows_for(int num_rows);

 private:
  /// A distance that fell.
  struct Record {
    Number before;
    /// source * 2^16 + target.
    std::uint32_t rows;
    /// The pair's record before; -1 for none.
    std::int32_t previous;
    /// Position in pushes_ of the edge that did it.
    std::int32_t push;

    int source() const { return static_cast<int>(rows >> 16U); }
    int target() const { return static_cast<int>(rows & 0xFFFFU); }
  };
  struct Push {
    int k;
    std::int32_t first_record;
  };
  /// A stretch of a path to be written.
  struct Part {
    int source;
    int target;
    /// Of the cell, the latest record before this one counts. Below 0, `source`
    /// is an edge to be written.
    std::int32_t before;
  };
  /// A pair with bounds, seen from one of its rows.
  struct Watch {
    std::int32_t other_row;
    /// Position in Store::pairs.
    std::int32_t pair;
  };

  std::size_t cell(int source, int target) const {
    return static_cast<std::size_t>(source) * stride_ +
           static_cast<std::size_t>(target);
  }
  Number* row(int source) { return &distances_[cell(source, 0)]; }
  const Number* row(int source) const { return &distances_[cell(source, 0)]; }
  std::int32_t record_of(int source, int target) const {
    return latest_[cell(source, target)];
  }
  /// Whether a + b is below d(source, target).
  bool is_shorter(const Number& a, const Number& b, int source,
                  int target) const;

  void watch(int pair);
  void find_targets(int u, int v, const Number& w);
  void improve_all(int k);
  void improve_row(int source, const Number& via, std::int32_t push);
  void reserve_records(std::size_t count);
  void improve(int source, int target, Number&& distance, std::int32_t push);
  void report_through_hub();
  void report(int pair, const Number& distance, int proof, int more_proof);
  void undo_to(std::size_t num_records);
  /// A shortest distance, and what shows it, as in Entry; kNoPremise for a
  /// distance of no edges, or an infinite one.
  struct Shortest {
    Number distance;
    std::int32_t proof;
    std::int32_t more_proof;
  };
  Shortest shortest(int source, int target) const;
  /// A distance of a pair at some time.
  struct Past {
    std::int32_t record;
    Number distance;
  };
  /// By how much a path may be longer than the one that is written, and
  /// whether it has to stay below that.
  struct Room {
    Number slack;
    bool strict;
  };
  Past past_of(int source, int target, std::int32_t before) const;
  Number distance_of(std::int32_t record) const;
  Link parts_of(std::int32_t record) const;
  void make_older(Past& past, Room& room) const;
  void expand(std::int32_t record, Room& room, std::vector<int>* path) const;
  void expand(std::int32_t proof, std::int32_t more_proof, Room room,
              std::vector<int>* path) const {
    expand(proof, room, path);
    if (more_proof >= 0) expand(more_proof, room, path);
  }

  std::size_t stride_;
  int hub_;
  std::vector<Number> distances_;
  std::vector<Number> to_hub_;
  /// The latest record of each cell; -1 for none.
  std::vector<std::int32_t> latest_;
  /// Position in Store::pairs of each cell's bounds; -1 for none.
  std::vector<std::int32_t> pair_of_;
  /// The rows from which each row is reached, itself first: a row of stride_
  /// places for each, in the order in which they came to reach it.
  std::vector<std::int32_t> sources_;
  std::vector<std::int32_t> num_sources_;
  /// By row, the pairs with bounds that begin and that end there, without those
  /// of the hub.
  std::vector<std::vector<Watch>> watches_from_;
  std::vector<std::vector<Watch>> watches_to_;

  /// The first num_records_ count; so they can be written without a look at
  /// the capacity.
  std::vector<Record> records_;
  std::size_t num_records_ = 0;
  std::vector<Push> pushes_;

  // Scratch space. The rows behind a new edge that it brings nearer to its
  // source, and their distances from its target:
  std::vector<std::int32_t> targets_;
  std::vector<Number> legs_;
  std::size_t num_targets_ = 0;
  /// The same distance of the hub; infinite if the edge brings it no nearer.
  Number hub_leg_ = Numbers::infinity();
  // Positions in targets_:
  std::vector<std::int32_t> nearer_;
  // Rows whose distance from, or to, the hub fell:
  std::vector<std::int32_t> nearer_from_hub_;
  std::vector<std::int32_t> nearer_to_hub_;
  // What expand() has still to write:
  mutable std::vector<Part> parts_;
};

}  // namespace vorn::dl::closure

#endif  // VORN_DL_CLOSURE_MATRIX_H
