// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_DL_EXACT_H
#define VORN_TESTS_DL_EXACT_H

#include <gmpxx.h>

#include <cstddef>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"

// The oracle of the random tests: GMP's rationals and Boost.Graph's Bellman
// and Ford, from scratch for every question.

namespace vorn::dl_test {

/// A delta-rational without any of the engine's number code.
struct Exact {
  mpq_class rational;
  mpq_class eps;

  friend bool operator<(const Exact& a, const Exact& b) {
    if (a.rational != b.rational) return a.rational < b.rational;
    return a.eps < b.eps;
  }
  friend bool operator==(const Exact& a, const Exact& b) {
    return a.rational == b.rational && a.eps == b.eps;
  }
  friend Exact operator+(const Exact& a, const Exact& b) {
    return {a.rational + b.rational, a.eps + b.eps};
  }
  friend std::ostream& operator<<(std::ostream& out, const Exact& x) {
    return out << x.rational << " + " << x.eps << "*eps";
  }
};

inline Exact to_exact(const la::DNumber& d) {
  return {mpq_class(d.rational().to_str(), 10),
          mpq_class(d.eps().to_str(), 10)};
}

inline la::DNumber to_number(const Exact& x) {
  return {*QNumber::from_string(x.rational.get_str()),
          *QNumber::from_string(x.eps.get_str())};
}

/// target - source <= weight.
struct ExactEdge {
  int source;
  int target;
  Exact weight;

  bool satisfied_by(const std::vector<Exact>& potentials) const {
    return !(potentials[static_cast<std::size_t>(source)] + weight <
             potentials[static_cast<std::size_t>(target)]);
  }
};

inline dl::Edge to_edge(const ExactEdge& e, int id) {
  return {e.source, e.target, to_number(e.weight), id};
}

/// Lowers `distances`, one per node, to the greatest ones that are at most
/// what they were and satisfy all edges. False, and nothing meaningful in
/// them, exactly if there are none: the edges close a negative cycle.
bool relax(const std::vector<ExactEdge>& edges, std::vector<Exact>& distances);

/// Whether the edges, between nodes below `nodes`, close a negative cycle.
bool closes_negative_cycle(const std::vector<ExactEdge>& edges,
                           std::size_t nodes);

/// What weights a random run draws.
enum class Weights {
  kSmallIntegers,
  kFractions,
  kStrict,
  /// At the limits of what dl::WordTables holds.
  kTableWord,
  kMachineWord,
  kBig,
};

/// Seeded choices.
class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}

  /// Uniform in [low, high].
  int between(int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(engine_);
  }
  bool one_in(int n) { return between(1, n) == 1; }
  template <class T>
  const T& one_of(const std::vector<T>& choices) {
    return choices[static_cast<std::size_t>(
        between(0, static_cast<int>(choices.size()) - 1))];
  }

  /// A weight of the kind. Positive ones are likelier, so that graphs stay
  /// consistent for a while; few distinct ones, so that sums often cancel.
  Exact weight(Weights kind, bool positive_eps);

 private:
  std::mt19937 engine_;
};

}  // namespace vorn::dl_test

#endif  // VORN_TESTS_DL_EXACT_H
