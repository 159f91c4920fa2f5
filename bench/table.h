// SPDX-License-Identifier: MIT
#ifndef VORN_BENCH_TABLE_H
#define VORN_BENCH_TABLE_H

#include <ostream>
#include <string>
#include <vector>

namespace vorn::bench {

/// What a ratio is to be. The ratio is the library's cost over the baseline's.
struct Target {
  enum class Kind {
    kNone,
    /// At most `bound` times the baseline's cost.
    kAtMost,
    /// At least `bound` times cheaper than the baseline.
    kCheaper,
  };
  Kind kind = Kind::kNone;
  double bound = 0;

  static Target none() { return {}; }
  static Target at_most(double bound) { return {Kind::kAtMost, bound}; }
  static Target cheaper(double bound) { return {Kind::kCheaper, bound}; }

  bool holds(double ratio) const {
    return kind == Kind::kCheaper ? 1 / ratio >= bound : ratio <= bound;
  }
};

struct Row {
  std::string benchmark;
  /// What the costs are per, "push" say.
  std::string per;
  /// Who the baseline is; empty if the library's own cost is bounded.
  std::string baseline;
  double ours;
  double theirs;
  /// Of both costs.
  std::string unit;
  /// `ours` over `theirs`, as measured in pairs; `ours` without a baseline.
  double ratio;
  Target target;
  /// Left out of the printed table, of which there would be too much.
  bool is_detail = false;
};

/// The rows of all benchmarks that ran, in that order.
class Table {
 public:
  void add(const Row& row) { rows_.push_back(row); }
  bool is_empty() const { return rows_.empty(); }

  /// As a Markdown table, with a line on the targets behind it.
  void print(std::ostream& out) const;
  /// A line a row, fields separated by tabs: benchmark, baseline, the two
  /// costs, unit, ratio, bound ("-" for none), whether it holds.
  void print_fields(std::ostream& out) const;

 private:
  std::vector<Row> rows_;
};

/// The table of this process.
Table& table();

}  // namespace vorn::bench

#endif  // VORN_BENCH_TABLE_H
