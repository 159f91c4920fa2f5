// SPDX-License-Identifier: MIT
#include "tests/dl/closure_traces.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace vorn::dl_test {

RandomClosureTrace::RandomClosureTrace(unsigned seed, ClosureWay way)
    : random_(seed * 4 + static_cast<unsigned>(way)),
      num_constraints_(random_.between(8, 40)),
      first_kind_(
          static_cast<Kind>(random_.between(0, random_.one_in(2) ? 3 : 5))),
      kind_(first_kind_),
      shift_(static_cast<unsigned>(random_.one_in(2)
                                       ? random_.between(23, 29)
                                       : random_.between(54, 60))),
      growth_(random_.one_in(2) ? 0 : random_.between(2, 8)),
      one_pop_in_(random_.between(5, 25)) {
  setting_.nodes =
      static_cast<std::size_t>(random_.between(2, random_.one_in(3) ? 12 : 8));
  setting_.drains = !random_.one_in(4);
  dl::Closure::Limits& limits = setting_.limits;
  limits.path_steps = static_cast<std::size_t>(-1);
  switch (way) {
    case ClosureWay::kMatrix:
      break;
    case ClosureWay::kPaths:
      limits.matrix_bytes = 0;
      break;
    case ClosureWay::kOutgrown:
      // Twice what the least matrix takes, of words of 32 or of 64 bits, and
      // many improvements at a time.
      limits.matrix_bytes = random_.one_in(2) ? 2048 : 2560;
      setting_.nodes = random_.one_in(4) ? 8 : 7;
      if (random_.one_in(2)) first_kind_ = kind_ = Kind::kSmallIntegers;
      num_constraints_ = random_.between(40, 70);
      one_pop_in_ = 40;
      loosest_first_ = true;
      break;
    case ClosureWay::kFewSteps:
      limits.matrix_bytes = random_.one_in(2) ? 0 : 2600;
      limits.path_steps = static_cast<std::size_t>(random_.between(0, 12));
      setting_.is_complete = false;
      break;
  }
  if (random_.one_in(2)) num_nodes_ = static_cast<int>(setting_.nodes);
}

ClosureOp RandomClosureTrace::next(const ClosureUnderTest& t) {
  const ClosureOp pop{ClosureOp::Kind::kPop};
  const std::size_t height = t.active().size();
  pops_ = std::min(pops_, height);
  if (pops_ > 0) {
    --pops_;
    return pop;
  }
  const auto num_told = static_cast<int>(t.told().size());
  const bool full =
      num_told + static_cast<int>(t.used_up().size()) == num_constraints_;
  // Much is told at first, so that there is something to follow.
  if (!full && (num_told < num_constraints_ / 2 ||
                random_.one_in(height == 0 ? 2 : 5))) {
    return tell(t);
  }
  if (height > 0 && random_.one_in(one_pop_in_)) {
    pops_ = static_cast<std::size_t>(random_.between(0, 3));
    if (random_.one_in(8)) pops_ = height;
    return pop;
  }
  if (num_told > 0 && random_.one_in(height == 0 ? 4 : 12)) {
    // The latest is more often a consequence that nothing has come after.
    const bool latest = random_.one_in(2) && t.told().count(latest_) != 0;
    const int k =
        latest ? latest_
               : std::next(t.told().begin(), random_.between(0, num_told - 1))
                     ->first;
    if (std::count(t.active().begin(), t.active().end(), k) == 0) {
      return {ClosureOp::Kind::kRetract, k};
    }
  }
  return push(t);
}

ClosureOp RandomClosureTrace::tell(const ClosureUnderTest& t) {
  // The first free number from a random one on.
  int k = random_.between(0, num_constraints_ - 1);
  while (t.told().count(k) != 0 || t.used_up().count(k) != 0) {
    k = (k + 1) % num_constraints_;
  }
  latest_ = k;
  const int nodes = static_cast<int>(t.setting().nodes);
  if (num_nodes_ < nodes && random_.one_in(4)) ++num_nodes_;
  ClosureOp op{ClosureOp::Kind::kTell, k};
  op.edge = {random_.between(0, num_nodes_ - 1),
             random_.between(0, num_nodes_ - 1), weight(!t.active().empty())};
  if (op.edge.source == op.edge.target && !random_.one_in(4)) {
    op.edge.target = (op.edge.target + 1) % num_nodes_;
  }
  const Distance& there = t.distances().at(op.edge.source, op.edge.target);
  const Distance& back = t.distances().at(op.edge.target, op.edge.source);
  if (!is_fact(k) && !t.told().empty() && !random_.one_in(4)) {
    op.edge = around_told(t);
  } else if (there.finite && random_.one_in(3)) {
    op.edge.weight = weight_near(there.length);
  } else if (back.finite && random_.one_in(3)) {
    op.edge.weight = weight_near({-back.length.rational, -back.length.eps});
  }
  return op;
}

// What would follow, or nearly, from a path of constraints that were told.
ExactEdge RandomClosureTrace::around_told(const ClosureUnderTest& t) {
  std::vector<ExactEdge> edges;
  for (const auto& [k, told] : t.told()) {
    if (is_fact(k)) edges.push_back(told.edge);
  }
  if (edges.empty()) edges.push_back(t.told().begin()->second.edge);
  ExactEdge edge = random_.one_of(edges);
  for (int steps = random_.between(1, 3); steps > 0; --steps) {
    std::vector<ExactEdge> next;
    for (const ExactEdge& e : edges) {
      if (e.source == edge.target && e.target != edge.source) next.push_back(e);
    }
    if (next.empty()) break;
    const ExactEdge& e = random_.one_of(next);
    edge = {edge.source, e.target, edge.weight + e.weight};
  }
  edge.weight = weight_near(edge.weight);
  return edge;
}

ClosureOp RandomClosureTrace::push(const ClosureUnderTest& t) {
  if (loosest_first_ && !random_.one_in(4)) {
    int loosest = -1;
    for (const auto& [k, told] : t.told()) {
      const Distance& back =
          t.distances().at(told.edge.target, told.edge.source);
      if (!is_fact(k) || t.closure().is_known(k) ||
          (back.finite && told.edge.weight + back.length < Exact())) {
        continue;
      }
      if (loosest >= 0 && told.edge.weight < t.told().at(loosest).edge.weight) {
        continue;
      }
      loosest = k;
    }
    if (loosest >= 0) return {ClosureOp::Kind::kPush, loosest};
  }
  const auto begin = t.told().begin();
  const auto num_told = static_cast<int>(t.told().size());
  for (int tries = 0;; ++tries) {
    const int k = std::next(begin, random_.between(0, num_told - 1))->first;
    const bool known = t.closure().is_known(k);
    // Known constraints are pushed, too, and now and then an active one.
    if (known ? random_.one_in(12) : is_fact(k) || random_.one_in(12)) {
      return {ClosureOp::Kind::kPush, k};
    }
    if (tries < 10) continue;
    // There may be nothing more to decide.
    if (t.active().empty()) return {ClosureOp::Kind::kPush, k};
    pops_ = static_cast<std::size_t>(random_.between(0, 6));
    return {ClosureOp::Kind::kPop};
  }
}

Exact RandomClosureTrace::weight(bool active) {
  if (growth_ > 0 && active && kind_ < Kind::kBig && random_.one_in(growth_)) {
    kind_ = static_cast<Kind>(static_cast<int>(kind_) + random_.between(1, 2));
    kind_ = std::min(kind_, Kind::kBig);
  }
  switch (random_.one_in(2) ? kind_ : first_kind_) {
    case Kind::kSmallIntegers:
      return random_.weight(Weights::kSmallIntegers, true);
    case Kind::kFractions:
      return random_.weight(Weights::kFractions, true);
    case Kind::kStrict:
      return random_.weight(Weights::kStrict, true);
    case Kind::kMachineWord:
      return random_.weight(Weights::kMachineWord, true);
    case Kind::kBig:
      return random_.weight(Weights::kBig, true);
    case Kind::kPower:
      break;
  }
  Exact w = random_.weight(
      random_.one_in(2) ? Weights::kSmallIntegers : Weights::kStrict, true);
  w.rational += random_.between(-1, 2) * mpq_class(mpz_class(1) << shift_);
  return w;
}

// What follows, or what would close a cycle of weight 0, or a little beside it:
// that is where a comparison can go wrong.
Exact RandomClosureTrace::weight_near(const Exact& sum) {
  // Sums of sums would grow without end.
  const std::size_t bits = mpz_sizeinbase(sum.rational.get_num_mpz_t(), 2) +
                           mpz_sizeinbase(sum.rational.get_den_mpz_t(), 2);
  if (bits > 80 || mpz_sizeinbase(sum.eps.get_num_mpz_t(), 2) > 8) {
    return weight(false);
  }
  Exact w = sum;
  switch (random_.between(0, 4)) {
    case 0:
    case 1:
      break;
    case 2:
      w.rational += random_.between(-1, 2);
      break;
    case 3:
      w.eps += random_.between(-1, 1);
      break;
    default:
      w.rational += random_.between(-1, 1) * mpq_class(1, 6);
      break;
  }
  return w;
}

}  // namespace vorn::dl_test
