// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_ENGINE_DIFFERENCE_THEORY_FIXTURE_H
#define VORN_TESTS_ENGINE_DIFFERENCE_THEORY_FIXTURE_H

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "solver/terms/difference_bound.h"
#include "solver/terms/term_store.h"
#include "tests/engine/problem_rig.h"
#include "tests/terms/random_terms.h"

namespace vorn::solver::testing {

/// A theory with a search that has no variables but the theory's; so literal
/// 2v is atom v, whose constraints are 2v + 1 and 2v + 2 until atoms are
/// forgotten.
class DifferenceTheoryFixture : public ::testing::Test {
 protected:
  explicit DifferenceTheoryFixture(Configuration::Theory::La configuration = {})
      : rig(store, configuration) {
    for (int i = 0; i < 5; ++i) {
      const std::string suffix = std::to_string(i);
      ints.push_back(store.make_symbol("i" + suffix, Sort::kInt));
      reals.push_back(store.make_symbol("r" + suffix, Sort::kReal));
    }
  }

  // target - source <= weight, or < for reals if strict.
  static DifferenceBound bound(const Term* source, const Term* target,
                               int weight, bool strict = false) {
    return {source, target, la::DNumber(weight, strict ? -1 : 0)};
  }
  Literal int_literal(const Term* source, const Term* target, int weight) {
    return rig.literal_of(bound(source, target, weight), true);
  }
  Literal real_literal(const Term* source, const Term* target, int weight,
                       bool strict = false) {
    return rig.literal_of(bound(source, target, weight, strict), false);
  }

  // The edge that a literal pushes; before any atom was forgotten.
  dl::Edge edge_of(Literal literal) {
    const int constraint =
        2 * literal.variable() + (literal.is_negated() ? 2 : 1);
    return theory.graph().get_edge(2 * constraint);
  }

  // Whether the edges close no negative cycle, by Bellman and Ford.
  static bool are_consistent(const std::vector<dl::Edge>& edges) {
    std::map<int, std::pair<mpq_class, mpq_class>> distance;
    for (const dl::Edge& e : edges) distance[e.source] = distance[e.target];
    for (std::size_t round = 0; round <= distance.size(); ++round) {
      bool changed = false;
      for (const dl::Edge& e : edges) {
        auto length = distance[e.source];
        length.first += to_mpq(e.weight.rational());
        length.second += to_mpq(e.weight.eps());
        if (length < distance[e.target]) {
          distance[e.target] = length;
          changed = true;
        }
      }
      if (!changed) return true;
    }
    return false;
  }

  mpq_class value(const Term* variable) {
    if (variable == nullptr) return 0;
    const std::optional<QNumber> number = theory.model_value(variable);
    EXPECT_TRUE(number.has_value());
    return to_mpq(number.value_or(QNumber(0)));
  }
  bool holds(const DifferenceBound& b) {
    const mpq_class difference = value(b.target) - value(b.source);
    const mpq_class limit = to_mpq(b.weight.rational());
    return b.weight.eps().sign() < 0 ? difference < limit : difference <= limit;
  }

  TermStore store;
  ProblemRig rig;
  DifferenceTheory& theory = rig.theory;
  Search& search = rig.search;
  std::vector<const Term*> ints;
  std::vector<const Term*> reals;
};

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_ENGINE_DIFFERENCE_THEORY_FIXTURE_H
