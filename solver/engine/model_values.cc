// SPDX-License-Identifier: MIT
#include "solver/engine/model_values.h"

#include <cstddef>

#include "vorn/numbers/d_number.h"

namespace vorn::solver {
namespace {

// A number small enough to stand for eps in every constraint: each one holds
// for a + b*eps <= c + d*eps, in lexicographic order, and keeps holding while
// (b - d) * eps <= c - a.
QNumber choose_eps(const AtomTable& atoms, const std::vector<int>& active,
                   const std::vector<la::DNumber>& solution) {
  QNumber eps(1);
  for (const int id : active) {
    const dl::Edge& edge = atoms.constraint(id).edge;
    la::DNumber limit = solution[static_cast<std::size_t>(edge.source)];
    limit += edge.weight;
    const la::DNumber& value = solution[static_cast<std::size_t>(edge.target)];
    QNumber excess = value.eps();
    excess -= limit.eps();
    if (excess.sign() <= 0) continue;
    QNumber largest = limit.rational();
    largest -= value.rational();
    largest /= excess;
    if (largest < eps) eps = largest;
  }
  return eps;
}

}  // namespace

void ModelValues::choose(const AtomTable& atoms, const std::vector<int>& active,
                         const std::vector<la::DNumber>& solution) {
  const la::DNumber& origin = solution[0];
  const QNumber eps = choose_eps(atoms, active, solution);
  values_.assign(static_cast<std::size_t>(atoms.num_nodes()), QNumber(0));
  for (int node = 1; node < atoms.num_nodes(); ++node) {
    const la::DNumber& potential = solution[static_cast<std::size_t>(node)];
    QNumber part = potential.eps();
    part -= origin.eps();
    part *= eps;
    QNumber& value = values_[static_cast<std::size_t>(node)];
    value = potential.rational();
    value -= origin.rational();
    value += part;
    // Real bounds can move the origin, and with it the integers, off the whole
    // numbers. Rounding all integers down keeps every bound between them, whose
    // weights are integers, and every bound of one alone.
    if (atoms.term_of(node)->sort == Sort::kInt) value = value.floor();
  }
}

std::optional<QNumber> ModelValues::value(int node) const {
  if (node == 0 || static_cast<std::size_t>(node) >= values_.size()) {
    return std::nullopt;
  }
  return values_[static_cast<std::size_t>(node)];
}

}  // namespace vorn::solver
