// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_SCHEDULING_TASK_ORDERS_H
#define VORN_TESTS_SCHEDULING_TASK_ORDERS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "solver/scheduling/time.h"
#include "tests/build_kind.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

// What the rules about tasks of one machine are compared with: all orders of a
// few tasks, one after the other.

namespace vorn::solver::testing {

/// True where all random cases are made, so that what is rare occurs.
inline constexpr bool kAllCases =
    !test::kSanitized && !test::kCheckedLibrary && !test::kAsserts;

/// How many random cases to make: as many as given where they run fast.
constexpr int scaled(int cases) {
  if (kAllCases) return cases;
  return cases / (test::kSanitized || test::kCheckedLibrary ? 25 : 10);
}

/// The same for cases that are few and large.
constexpr int scaled_few(int cases) {
  return kAllCases ? cases : (cases + 7) / 8;
}

/// A seeded source of small numbers.
class Random {
 public:
  explicit Random(unsigned seed) : rng_(seed) {}

  /// From 0 to bound - 1. Requires: bound > 0.
  int pick(int bound) {
    return static_cast<int>(rng_() % static_cast<unsigned>(bound));
  }
  /// From low to high.
  int between(int low, int high) { return low + pick(high - low + 1); }
  /// True that often in a hundred times.
  bool percent(int often) { return pick(100) < often; }
  /// In another order.
  template <class T>
  void shuffle(std::vector<T>& list) {
    for (std::size_t k = list.size(); k > 1; --k) {
      std::swap(list[k - 1],
                list[static_cast<std::size_t>(pick(static_cast<int>(k)))]);
    }
  }

 private:
  std::mt19937 rng_;
};

/// An exact time for a word that is a multiple of `step` and a little more or
/// less: sixths for the multiples, and quarters of eps for the rest. Sums of
/// words are sums of times, in the same order, as long as the rests add up to
/// less than half a step.
inline ExactTime exact_time(WordTime word, WordTime step) {
  const WordTime shifted = word + step / 2;
  WordTime multiple = shifted / step;
  if (shifted % step < 0) --multiple;
  QNumber rational = QNumber::from_word(multiple);
  QNumber eps = QNumber::from_word(word - multiple * step);
  rational /= QNumber(6);
  eps /= QNumber(4);
  return ExactTime(la::DNumber(rational, eps));
}

/// What is known of a task.
template <class T>
struct KnownTask {
  T duration = T();
  /// It starts no earlier; nothing: as early as one likes.
  std::optional<T> start = std::nullopt;
  /// It has ended by then; nothing: as late as one likes.
  std::optional<T> end = std::nullopt;
  /// It has ended before that, even.
  bool is_strict = false;
  /// Positions, as bits, of the tasks that come before it.
  unsigned after = 0;
};

/// Tries all ways to go on after the tasks of `done`, the last of which ended
/// at `time`.
template <class T>
bool can_go_on(const std::vector<KnownTask<T>>& tasks, unsigned done,
               const std::optional<T>& time) {
  if (done + 1 == 1U << tasks.size()) return true;
  for (std::size_t k = 0; k < tasks.size(); ++k) {
    const KnownTask<T>& task = tasks[k];
    if ((done >> k & 1U) != 0 || (task.after & ~done) != 0) continue;
    std::optional<T> end = time;
    if (task.start && (!end || *end < *task.start)) end = task.start;
    if (end) end = *end + task.duration;
    if (end && task.end) {
      if (*task.end < *end) continue;
      if (task.is_strict && !(*end < *task.end)) continue;
    }
    if (can_go_on(tasks, done | 1U << k, end)) return true;
  }
  return false;
}

/// Whether all that is known can be kept to in some order of the tasks, each of
/// them started as soon as the one before it has ended. Cost: n! steps.
template <class T>
bool some_order_fits(const std::vector<KnownTask<T>>& tasks) {
  return can_go_on(tasks, 0, std::optional<T>());
}

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_SCHEDULING_TASK_ORDERS_H
