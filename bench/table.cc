// SPDX-License-Identifier: MIT
#include "bench/table.h"

#include <cstddef>
#include <cstdio>

namespace vorn::bench {
namespace {

// Three significant digits, without an exponent.
std::string number(double value) {
  char text[64];
  const int digits = value < 10 ? 2 : value < 100 ? 1 : 0;
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

std::string cost(double value, const std::string& unit) {
  if (unit != "ns") return number(value) + " " + unit;
  if (value >= 1e9) return number(value * 1e-9) + " s";
  if (value >= 1e6) return number(value * 1e-6) + " ms";
  if (value >= 1e3) return number(value * 1e-3) + " us";
  return number(value) + " ns";
}

std::string measured(const Row& row) {
  if (row.baseline.empty()) return cost(row.ours, row.unit);
  if (row.ratio < 1) {
    return number(1 / row.ratio) + "x cheaper";
  }
  return number(row.ratio) + "x the cost";
}

std::string wanted(const Row& row) {
  switch (row.target.kind) {
    case Target::Kind::kNone:
      return "-";
    case Target::Kind::kAtMost:
      return row.baseline.empty()
                 ? "at most " + cost(row.target.bound, row.unit)
                 : "at most " + number(row.target.bound) + "x";
    case Target::Kind::kCheaper:
      return "at least " + number(row.target.bound) + "x cheaper";
  }
  return "-";
}

std::string verdict(const Row& row) {
  if (row.target.kind == Target::Kind::kNone) return "-";
  return row.target.holds(row.ratio) ? "yes" : "**no**";
}

}  // namespace

void Table::print(std::ostream& out) const {
  out << "| benchmark | per | Vorn | baseline | its cost | Vorn's is | target "
         "| holds |\n|---|---|---|---|---|---|---|---|\n";
  std::size_t targets = 0;
  std::size_t reached = 0;
  for (const Row& row : rows_) {
    if (row.is_detail) continue;
    const bool alone = row.baseline.empty();
    out << "| " << row.benchmark << " | " << row.per << " | "
        << cost(row.ours, row.unit) << " | " << (alone ? "-" : row.baseline)
        << " | " << (alone ? "-" : cost(row.theirs, row.unit)) << " | "
        << measured(row) << " | " << wanted(row) << " | " << verdict(row)
        << " |\n";
    if (row.target.kind == Target::Kind::kNone) continue;
    ++targets;
    if (row.target.holds(row.ratio)) ++reached;
  }
  out << "\n" << reached << " of " << targets << " targets hold.\n";
}

void Table::print_fields(std::ostream& out) const {
  for (const Row& row : rows_) {
    out << row.benchmark << "\t" << (row.baseline.empty() ? "-" : row.baseline)
        << "\t" << row.ours << "\t" << row.theirs << "\t" << row.unit << "\t"
        << row.ratio << "\t";
    if (row.target.kind == Target::Kind::kNone) {
      out << "-\t-\n";
    } else {
      out << row.target.bound << "\t"
          << (row.target.holds(row.ratio) ? "yes" : "no") << "\n";
    }
  }
}

Table& table() {
  static Table instance;
  return instance;
}

}  // namespace vorn::bench
