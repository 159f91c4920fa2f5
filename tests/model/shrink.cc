// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/model/trace.h"

// Shrinking. Three kinds of steps in turn, until none of them goes on:
//  (1) leave out stretches of calls, half of the trace first, single calls at
//      last;
//  (2) leave out a constraint, with all calls that name it;
//  (3) put simpler values into all calls at once, then into single calls.
// A step is kept if the trace still fails. Each of them makes the trace
// smaller in a well-founded order (number of calls, then the length of each
// call's text, then that text), so that there is an end.

namespace vorn::model {

namespace {

using Fails = std::function<bool(const Trace&)>;
using Simplify = std::function<void(Call&)>;

bool names_constraint(const Call& call) {
  switch (call.kind) {
    case CallKind::kTell:
    case CallKind::kTellBi:
    case CallKind::kPush:
    case CallKind::kPop:
    case CallKind::kRetract:
      return true;
    default:
      return false;
  }
}

bool is_simpler(const Call& a, const Call& b) {
  const std::string text = call_text(a);
  const std::string other = call_text(b);
  return text.size() != other.size() ? text.size() < other.size()
                                     : text < other;
}

mpz_class towards_zero(const mpq_class& value) {
  return value.get_num() / value.get_den();
}

void for_each_weight(Call& call, const std::function<void(Weight&)>& change) {
  if (call.kind == CallKind::kTell || call.kind == CallKind::kTellBi) {
    change(call.first.weight);
    change(call.second.weight);
  }
}

/// Ways to make a call simpler, the boldest first.
std::vector<Simplify> simplifications() {
  std::vector<Simplify> ways;
  const auto for_weights = [&ways](std::function<void(Weight&)> change) {
    ways.push_back([change = std::move(change)](Call& call) {
      for_each_weight(call, change);
    });
  };
  ways.push_back([](Call& call) {
    if (call.kind == CallKind::kTellBi) call.kind = CallKind::kTell;
  });
  for_weights([](Weight& weight) { weight = Weight(); });
  for_weights([](Weight& weight) { weight.eps = 0; });
  for_weights([](Weight& weight) { weight.rational = sgn(weight.rational); });
  for_weights([](Weight& weight) { weight.eps = sgn(weight.eps); });
  for_weights(
      [](Weight& weight) { weight.rational = towards_zero(weight.rational); });
  for_weights([](Weight& weight) {
    // One digit less above the fraction bar and below it.
    mpq_class shorter(weight.rational.get_num() / 10,
                      weight.rational.get_den() / 10 + 1);
    shorter.canonicalize();
    weight.rational = shorter;
  });
  for_weights([](Weight& weight) {
    weight.rational = towards_zero(mpq_class(weight.rational / 2));
  });
  for_weights([](Weight& weight) {
    // Only where few such steps are left.
    if (abs(weight.rational) < 20) weight.rational -= sgn(weight.rational);
  });
  ways.push_back([](Call& call) {
    call.first.id = 0;
    call.second.id = 0;
  });
  ways.push_back([](Call& call) { call.settings.tlemma_min_overlap = 0; });
  ways.push_back([](Call& call) { call.settings.dedup_tlemmas = false; });
  for (const int kinds : {0, 1, 2}) {
    ways.push_back([kinds](Call& call) { call.settings.tlemma_kinds = kinds; });
  }
  ways.push_back([](Call& call) { call.flag = false; });
  ways.push_back([](Call& call) { call.count = 1; });
  ways.push_back([](Call& call) {
    if (!call.ids.empty()) call.ids.pop_back();
  });
  return ways;
}

class Shrinker {
 public:
  Shrinker(const Trace& trace, const Fails& fails)
      : best_(trace), fails_(fails) {}

  Trace run() {
    drop_calls(std::max<std::size_t>(best_.size() / 2, 1));
    do {
      changed_ = false;
      drop_constraints();
      simplify();
      drop_calls(1);
    } while (changed_);
    return std::move(best_);
  }

 private:
  bool keep_if_failing(Trace candidate) {
    if (!fails_(candidate)) return false;
    best_ = std::move(candidate);
    changed_ = true;
    return true;
  }

  /// Leaves out stretches of `width` calls, then shorter ones.
  void drop_calls(std::size_t width) {
    while (true) {
      bool shorter = false;
      for (std::size_t at = 0; at < best_.size();) {
        const std::size_t end = std::min(at + width, best_.size());
        Trace candidate(best_.begin(),
                        best_.begin() + static_cast<std::ptrdiff_t>(at));
        candidate.insert(candidate.end(),
                         best_.begin() + static_cast<std::ptrdiff_t>(end),
                         best_.end());
        if (keep_if_failing(without_breaches(candidate))) {
          shorter = true;
        } else {
          at = end;
        }
      }
      if (width == 1 && !shorter) return;
      if (!shorter) width = std::max<std::size_t>(width / 2, 1);
    }
  }

  void drop_constraints() {
    std::set<int> constraints;
    for (const Call& call : best_) {
      if (names_constraint(call)) constraints.insert(call.constraint);
    }
    for (const int constraint : constraints) {
      Trace candidate;
      std::copy_if(best_.begin(), best_.end(), std::back_inserter(candidate),
                   [constraint](const Call& call) {
                     return !names_constraint(call) ||
                            call.constraint != constraint;
                   });
      keep_if_failing(without_breaches(candidate));
    }
  }

  /// False, and the call as it was, unless that makes it simpler.
  static bool apply(const Simplify& way, Call& call) {
    Call simpler = call;
    way(simpler);
    if (!is_simpler(simpler, call)) return false;
    call = std::move(simpler);
    return true;
  }

  void simplify() {
    for (const Simplify& way : simplifications()) {
      // Weights often have to change together to keep a cycle's sign.
      bool again = true;
      while (again) {
        Trace candidate = best_;
        bool any = false;
        for (Call& call : candidate) any = apply(way, call) || any;
        again = any && keep_if_failing(std::move(candidate));
      }
      for (std::size_t at = 0; at < best_.size();) {
        Trace candidate = best_;
        if (!apply(way, candidate[at]) ||
            !keep_if_failing(std::move(candidate))) {
          ++at;
        }
      }
    }
  }

  Trace best_;
  const Fails& fails_;
  bool changed_ = false;
};

}  // namespace

Trace shrink(const Trace& trace, const Fails& fails) {
  return Shrinker(trace, fails).run();
}

}  // namespace vorn::model
