// SPDX-License-Identifier: MIT
#include "tests/dl/exact.h"

#include <boost/graph/bellman_ford_shortest_paths.hpp>
#include <boost/graph/edge_list.hpp>
#include <boost/property_map/property_map.hpp>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace vorn::dl_test {

bool relax(const std::vector<ExactEdge>& edges, std::vector<Exact>& distances) {
  using Ends = std::pair<std::size_t, std::size_t>;
  using EdgeList =
      boost::edge_list<std::vector<Ends>::const_iterator, Ends, std::ptrdiff_t,
                       std::random_access_iterator_tag>;
  std::vector<Ends> ends;
  std::vector<Exact> weights;
  for (const ExactEdge& e : edges) {
    ends.emplace_back(static_cast<std::size_t>(e.source),
                      static_cast<std::size_t>(e.target));
    weights.push_back(e.weight);
  }
  const EdgeList graph(ends.cbegin(), ends.cend());
  return boost::bellman_ford_shortest_paths(
      graph, distances.size(),
      boost::make_iterator_property_map(weights.cbegin(),
                                        boost::get(boost::edge_index, graph)),
      boost::dummy_property_map(),
      boost::make_iterator_property_map(
          distances.begin(), boost::typed_identity_property_map<std::size_t>()),
      std::plus<>(), std::less<>(), boost::default_bellman_visitor());
}

bool closes_negative_cycle(const std::vector<ExactEdge>& edges,
                           std::size_t nodes) {
  std::vector<Exact> distances(nodes);
  return !relax(edges, distances);
}

Exact Random::weight(Weights kind, bool positive_eps) {
  Exact w;
  switch (kind) {
    case Weights::kSmallIntegers:
      w.rational = between(-5, 9);
      break;
    case Weights::kFractions:
      w.rational = mpq_class(between(-8, 14), between(1, 6));
      break;
    case Weights::kStrict:
      w.rational = mpq_class(between(-2, 3), one_in(4) ? 2 : 1);
      w.eps = mpq_class(between(-3, positive_eps ? 2 : 0), between(1, 2));
      break;
    case Weights::kTableWord: {
      constexpr long kLarge = 1L << 45U;
      constexpr long kEps = 1L << 14U;
      static const std::vector<long> kCorners = {
          kLarge - 1, kLarge / 2, kLarge / 4, -kLarge / 4, 1 - kLarge, 0};
      static const std::vector<long> kEpsCorners = {1 - kEps, -kEps / 2, -1, 0,
                                                    kEps / 2, kEps - 1};
      w.rational = mpq_class(one_of(kCorners)) + between(-1, 1);
      w.eps = mpq_class(one_of(kEpsCorners)) + (one_in(8) ? between(-1, 1) : 0);
      break;
    }
    case Weights::kMachineWord: {
      static const std::vector<std::string> kCorners = {
          "9223372036854775807",  "9223372036854775806",
          "4611686018427387904",  "4611686018427387903",
          "-9223372036854775807", "-9223372036854775808",
          "-4611686018427387904", "0"};
      w.rational = mpq_class(one_of(kCorners), 10) + between(-1, 1);
      if (one_in(3)) w.rational /= between(1, 3);
      w.eps = between(-1, 0);
      break;
    }
    case Weights::kBig: {
      mpz_class power;
      mpz_ui_pow_ui(power.get_mpz_t(), 2, one_in(2) ? 64 : 90);
      w.rational = mpq_class(power * between(-1, 2) + between(-1, 1),
                             one_in(3) ? mpz_class(power + 1) : mpz_class(1));
      w.eps = between(-1, 0);
      break;
    }
  }
  w.rational.canonicalize();
  w.eps.canonicalize();
  return w;
}

}  // namespace vorn::dl_test
