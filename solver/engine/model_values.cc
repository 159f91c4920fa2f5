// SPDX-License-Identifier: MIT
#include "solver/engine/model_values.h"

#include <algorithm>
#include <utility>

#include "vorn/numbers/d_number.h"

namespace vorn::solver {

// A number small enough to stand for eps in every constraint: each one holds
// for a + b*eps <= c + d*eps, in lexicographic order, and keeps holding while
// (b - d) * eps <= c - a.
QNumber ModelValues::choose_eps() const {
  QNumber eps(1);
  for (const int id : active_) limit_eps(id, eps);
  for (int id = 1; id <= last_; ++id) limit_eps(id, eps);
  return eps;
}

void ModelValues::limit_eps(int id, QNumber& eps) const {
  const dl::Edge edge =
      followed_ != nullptr ? followed_->constraint(id) : graph_.edge(id);
  la::DNumber limit = potential_of(edge.source);
  limit += edge.weight;
  const la::DNumber value = potential_of(edge.target);
  QNumber excess = value.eps();
  excess -= limit.eps();
  if (excess.sign() <= 0) return;
  QNumber largest = limit.rational();
  largest -= value.rational();
  largest /= excess;
  if (largest < eps) eps = largest;
}

// The number for eps stays as long as it is small enough, so that nodes keep
// their values.
bool ModelValues::choose_followed(const FollowedPotentials& followed,
                                  int first_new, int last) {
  const bool was_followed = followed_ != nullptr;
  std::optional<QNumber> eps = std::move(eps_);
  active_.clear();
  solution_.clear();
  start(last);
  followed_ = &followed;
  const std::vector<int>& changed = followed.changed();
  const bool has_origin =
      std::find(changed.begin(), changed.end(), 0) != changed.end();
  if (!was_followed || has_origin) return false;
  if (!eps) return true;
  QNumber limit = *eps;
  for (int id = first_new; id <= last; ++id) limit_eps(id, limit);
  for (const int node : changed) {
    if (node >= num_nodes_) continue;
    followed.for_each_affected(node, [&](int id) { limit_eps(id, limit); });
  }
  if (limit < *eps) return false;
  eps_ = std::move(eps);
  return true;
}

std::vector<la::DNumber> ModelValues::solution() const {
  std::vector<la::DNumber> result;
  result.reserve(static_cast<std::size_t>(num_nodes_));
  for (int node = 0; node < num_nodes_; ++node) {
    result.push_back(potential_of(node));
  }
  return result;
}

std::optional<QNumber> ModelValues::value(int node) const {
  if (node == 0 || node >= num_nodes_) return std::nullopt;
  const la::DNumber origin = potential_of(0);
  const la::DNumber potential = potential_of(node);
  QNumber value = potential.rational();
  value -= origin.rational();
  QNumber part = potential.eps();
  part -= origin.eps();
  if (part.sign() != 0) {
    if (!eps_) eps_ = choose_eps();
    part *= *eps_;
    value += part;
  }
  // Real bounds can move the origin, and with it the integers, off the whole
  // numbers. Rounding all integers down keeps every bound between them, whose
  // weights are integers, and every bound of one alone.
  const Term* variable = variables_[static_cast<std::size_t>(node) - 1];
  if (variable->sort == Sort::kInt) value = value.floor();
  return value;
}

}  // namespace vorn::solver
