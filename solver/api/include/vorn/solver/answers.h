// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ANSWERS_H
#define VORN_SOLVER_ANSWERS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vorn/numbers/q_number.h"

// What a Session says: plain values, of which none refers to the session.

namespace vorn::api {

/// Whether what was asked has a model.
enum class Answer {
  /// It has, and with objectives the best one is found.
  kSat,
  /// It has none.
  kUnsat,
  /// The check was cut short.
  kUnknown,
};

/// Why a check answered kUnknown.
enum class Reason {
  /// It did not.
  kNone,
  /// Session::stop was called, or the poll function said so.
  kInterrupted,
  /// The time was out.
  kTimeout,
  /// So many conflicts were allowed.
  kConflictLimit,
  /// Memory ran out.
  kMemory,
  /// A model did not satisfy the assertions: a defect of the solver, which it
  /// notices and never calls kSat.
  kDefect,
};

/// An end of an interval of values.
struct Extent {
  /// Whether it lies below all numbers, is one, or lies above all.
  enum class Kind { kBelow, kNumber, kAbove };
  /// As above.
  Kind kind = Kind::kBelow;
  /// If it is a number: that.
  QNumber value;
  /// 0 if the number is reached. Otherwise it is approached: 1 from above, -1
  /// from below.
  int side = 0;
};

/// From where to where something lies.
struct Interval {
  /// The lower end.
  Extent low;
  /// The upper end.
  Extent high = {Extent::Kind::kAbove, QNumber(), 0};
};

/// What is known of an objective after a check.
struct Objective {
  /// As given; "objective N" if it has none.
  std::string name;
  /// Whether it is to be great, not small.
  bool is_maximized = false;
  /// Whether its best value is known: then both ends of the interval are it.
  bool is_settled = false;
  /// Where its best value lies. The end to which it is pushed is what no model
  /// betters; the other one is what the best model so far has.
  Interval best;
};

/// What a check has done so far.
struct Progress {
  /// Choices made.
  std::uint64_t decisions = 0;
  /// Choices that turned out to be wrong.
  std::uint64_t conflicts = 0;
  /// Times that the search began anew with what it had learnt.
  std::uint64_t restarts = 0;
  /// Clauses learnt from conflicts.
  std::uint64_t learnt_clauses = 0;
  /// The objective of which more is known, for this call alone; null if it is
  /// about the search.
  const Objective* objective = nullptr;
};

/// Counters, by name; what `vorn --stats` prints. Names and their order may
/// change from version to version.
using Statistics = std::vector<std::pair<std::string, std::string>>;

}  // namespace vorn::api

#endif  // VORN_SOLVER_ANSWERS_H
