// SPDX-License-Identifier: MIT
#include "solver/engine/case_sums.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "solver/terms/difference_bound.h"

// Forward, layer by layer: a layer holds the rests whose next ite is the same.
// Its two branches make two rests of each, which wait in later layers, where
// equal ones meet. Backward, last layer first, the terms are made, so that the
// branches of an ite are there before the ite. Nothing recurses: there may be
// as many layers as ites.

namespace vorn::solver {
namespace {

// range + factor * other.
void add(IteShapes::Range& range, const IteShapes::Range& other,
         const QNumber& factor) {
  QNumber low = other.low;
  QNumber high = other.high;
  low *= factor;
  high *= factor;
  if (factor.sign() < 0) std::swap(low, high);
  range.low += low;
  range.high += high;
}

bool is_ite(const LinearSum::Monomial& m) {
  return m.leaf->kind == Kind::kIte;
}

}  // namespace

// --- Shapes ---

// Depth first over ites that are branches of ites, on a stack of our own:
// chains of them can be long.
bool IteShapes::is_nameable(const Term* ite) {
  std::vector<const Term*> stack{ite};
  while (!stack.empty()) {
    const Term* top = stack.back();
    if (nameable_.count(top) != 0) {
      stack.pop_back();
      continue;
    }
    bool result = true;
    const Term* waiting_for = nullptr;
    for (std::size_t k = 1; k <= 2 && result; ++k) {
      LinearSum branch;
      result = lineariser_.linearise(top->arg(k), branch) &&
               branch.monomials.size() <= 1;
      if (!result || branch.monomials.empty()) continue;
      const Term* leaf = branch.monomials[0].leaf;
      result = branch.monomials[0].coefficient == QNumber(1) &&
               leaf->sort == top->sort;
      if (!result || leaf->kind != Kind::kIte) continue;
      const auto known = nameable_.find(leaf);
      if (known == nameable_.end()) {
        waiting_for = leaf;
      } else {
        result = known->second;
      }
    }
    if (result && waiting_for != nullptr) {
      stack.push_back(waiting_for);
      continue;
    }
    nameable_.emplace(top, result);
    stack.pop_back();
  }
  return nameable_.at(ite);
}

void IteShapes::forget_swept(const TermSweep& sweep) {
  sweep.drop_from(nameable_);
  sweep.drop_from(ranges_);
}

const IteShapes::Range* IteShapes::range_of(const Term* ite) {
  std::vector<const Term*> stack{ite};
  while (!stack.empty()) {
    const Term* top = stack.back();
    if (ranges_.count(top) != 0) {
      stack.pop_back();
      continue;
    }
    const std::size_t height = stack.size();
    std::optional<Range> result;
    for (std::size_t k = 1; k <= 2; ++k) {
      LinearSum branch;
      bool known = lineariser_.linearise(top->arg(k), branch);
      Range range{branch.constant, branch.constant};
      for (const LinearSum::Monomial& m : branch.monomials) {
        if (!known || !is_ite(m)) {
          known = false;
          break;
        }
        const auto part = ranges_.find(m.leaf);
        if (part == ranges_.end()) {
          stack.push_back(m.leaf);
        } else if (part->second) {
          add(range, *part->second, m.coefficient);
        } else {
          known = false;
        }
      }
      if (!known) {
        result.reset();
        stack.resize(height);
        break;
      }
      if (!result) {
        result = range;
      } else {
        result->low = std::min(result->low, range.low);
        result->high = std::max(result->high, range.high);
      }
    }
    if (stack.size() > height) continue;
    ranges_.emplace(top, std::move(result));
    stack.pop_back();
  }
  const std::optional<Range>& found = ranges_.at(ite);
  return found ? &*found : nullptr;
}

// --- Lifting ---

bool CaseSums::Less::operator()(const Rest& a, const Rest& b) const {
  if (a.position != b.position) return a.position < b.position;
  if (a.sum.constant != b.sum.constant) {
    return a.sum.constant < b.sum.constant;
  }
  return std::lexicographical_compare(
      a.sum.monomials.begin(), a.sum.monomials.end(), b.sum.monomials.begin(),
      b.sum.monomials.end(), [](const auto& m, const auto& n) {
        if (m.leaf != n.leaf) return m.leaf->id < n.leaf->id;
        return m.coefficient < n.coefficient;
      });
}

bool CaseSums::needs_lifting(IteShapes& shapes, const LinearSum& sum) {
  bool has_ite = false;
  for (const LinearSum::Monomial& m : sum.monomials) {
    if (!is_ite(m)) continue;
    if (!shapes.is_nameable(m.leaf)) return true;
    has_ite = true;
  }
  DifferenceBound bound;
  return has_ite &&
         to_bound(sum, false, is_integer(sum), bound) == BoundOutcome::kOutside;
}

CaseSums::Rank CaseSums::rank_of(const Term* ite) const {
  return {shapes_.is_nameable(ite),
          std::numeric_limits<std::uint64_t>::max() - ite->id};
}

void CaseSums::read(const LinearSum& sum) {
  cases_.clear();
  std::copy_if(sum.monomials.begin(), sum.monomials.end(),
               std::back_inserter(cases_), is_ite);
  std::sort(cases_.begin(), cases_.end(), [this](const auto& a, const auto& b) {
    return rank_of(a.leaf) < rank_of(b.leaf);
  });
  ranges_.assign(cases_.size() + 1, std::nullopt);
  lifts_.assign(cases_.size() + 1, false);
  ranges_.back().emplace();
  for (std::size_t k = cases_.size(); k > 0; --k) {
    const LinearSum::Monomial& m = cases_[k - 1];
    const IteShapes::Range* range = shapes_.range_of(m.leaf);
    lifts_[k - 1] =
        lifts_[k] || range != nullptr || !shapes_.is_nameable(m.leaf);
    if (range == nullptr || !ranges_[k]) continue;
    ranges_[k - 1] = ranges_[k];
    add(*ranges_[k - 1], *range, m.coefficient);
  }
}

const Term* CaseSums::next_ite(const Rest& rest) const {
  const Term* next =
      rest.position < cases_.size() ? cases_[rest.position].leaf : nullptr;
  for (const LinearSum::Monomial& m : rest.sum.monomials) {
    if (is_ite(m) && (next == nullptr || rank_of(m.leaf) < rank_of(next))) {
      next = m.leaf;
    }
  }
  return next;
}

CaseSums::Rest CaseSums::take_branch(const Rest& rest, const Term* ite,
                                     const LinearSum& branch) const {
  Rest result = rest;
  QNumber coefficient(0);
  if (rest.position < cases_.size() && cases_[rest.position].leaf == ite) {
    coefficient += cases_[rest.position].coefficient;
    ++result.position;
  }
  auto& monomials = result.sum.monomials;
  const auto found =
      std::find_if(monomials.begin(), monomials.end(),
                   [ite](const auto& m) { return m.leaf == ite; });
  if (found != monomials.end()) {
    coefficient += found->coefficient;
    monomials.erase(found);
  }
  add(result.sum, branch, coefficient);
  return result;
}

// What the comparison comes to if what is left cannot change it any more.
std::optional<bool> CaseSums::decide(const Rest& rest) {
  if (!ranges_[rest.position]) return std::nullopt;
  IteShapes::Range range = *ranges_[rest.position];
  range.low += rest.sum.constant;
  range.high += rest.sum.constant;
  for (const LinearSum::Monomial& m : rest.sum.monomials) {
    const IteShapes::Range* part =
        is_ite(m) ? shapes_.range_of(m.leaf) : nullptr;
    if (part == nullptr) return std::nullopt;
    add(range, *part, m.coefficient);
  }
  const auto holds = [this](const QNumber& value) {
    return strict_ ? value.sign() < 0 : value.sign() <= 0;
  };
  if (holds(range.high)) return true;
  if (!holds(range.low)) return false;
  return std::nullopt;
}

std::optional<const Term*> CaseSums::finish(const Rest& rest) {
  if (const std::optional<bool> decided = decide(rest)) {
    return store_.make_bool(*decided);
  }
  // Names stay if they make a bound. Not those of numbers: conditions say more
  // to the search than a variable that they set.
  constexpr std::size_t kMost = 2;
  const std::size_t left = cases_.size() - rest.position;
  bool has_ite = left > 0;
  bool lifts = lifts_[rest.position] || left > kMost;
  for (const LinearSum::Monomial& m : rest.sum.monomials) {
    if (!is_ite(m)) continue;
    has_ite = true;
    lifts = lifts || shapes_.range_of(m.leaf) != nullptr ||
            !shapes_.is_nameable(m.leaf);
  }
  if (lifts) return std::nullopt;
  LinearSum sum = rest.sum;
  for (std::size_t k = rest.position; k < cases_.size(); ++k) {
    add(sum, {{{cases_[k].leaf, cases_[k].coefficient}}, QNumber(0)},
        QNumber(1));
  }
  DifferenceBound bound;
  switch (to_bound(sum, strict_, is_integer(sum), bound)) {
    case BoundOutcome::kTrue:
      return store_.make_bool(true);
    case BoundOutcome::kFalse:
      return store_.make_bool(false);
    case BoundOutcome::kOutside:
      if (has_ite) return std::nullopt;
      return nullptr;
    case BoundOutcome::kBound:
      break;
  }
  const Term* left_side = make_sum(store_, sum);
  const Term* zero = store_.make_number(QNumber(0));
  return strict_ ? store_.make_less(left_side, zero)
                 : store_.make_leq(left_side, zero);
}

// Looks at one case of each ite: what is outside by its form is so there, and
// need not be looked at in each way.
bool CaseSums::is_outside(Rest rest) {
  for (;;) {
    const std::optional<const Term*> end = finish(rest);
    if (end) return *end == nullptr;
    const Term* ite = next_ite(rest);
    LinearSum branch;
    if (!lineariser_.linearise(ite->arg(1), branch)) return true;
    rest = take_branch(rest, ite, branch);
  }
}

// The term of what is left, or its place in the layer that it waits in.
std::optional<CaseSums::Target> CaseSums::place(Rest rest) {
  if (const std::optional<const Term*> end = finish(rest)) {
    if (*end == nullptr) return std::nullopt;
    return Target{*end, 0};
  }
  const Term* ite = next_ite(rest);
  Layer& layer = layers_[rank_of(ite)];
  layer.ite = ite;
  const auto [found, is_new] =
      layer.rests.emplace(std::move(rest), nodes_.size());
  if (is_new) nodes_.push_back({ite->arg(0), {}, nullptr});
  return Target{nullptr, found->second};
}

// All layers. On kTooMany some are missing.
CaseSums::Outcome CaseSums::expand(Rest start, Target& root) {
  layers_.clear();
  nodes_.clear();
  order_.clear();
  if (lifting_ != nullptr) lifting_->root = {start.position, start.sum};
  const std::optional<Target> first = place(std::move(start));
  if (!first) return Outcome::kOutside;
  root = *first;
  if (lifting_ != nullptr) {
    lifting_->root.term = root.term;
    lifting_->root.node = root.node;
  }
  while (!layers_.empty()) {
    const Layer layer = std::move(layers_.begin()->second);
    layers_.erase(layers_.begin());
    LinearSum branches[2];
    for (std::size_t k = 0; k < 2; ++k) {
      if (!lineariser_.linearise(layer.ite->arg(k + 1), branches[k])) {
        return Outcome::kOutside;
      }
    }
    for (const auto& [rest, node] : layer.rests) {
      order_.push_back(node);
      if (lifting_ != nullptr) {
        lifting_->nodes.push_back(
            {{rest.position, rest.sum, nullptr, node}, layer.ite->arg(0), {}});
      }
      for (std::size_t k = 0; k < 2; ++k) {
        Rest next = take_branch(rest, layer.ite, branches[k]);
        if (lifting_ != nullptr) {
          lifting_->nodes.back().branches[k] = {next.position, next.sum};
        }
        const std::optional<Target> target = place(std::move(next));
        if (!target) return Outcome::kOutside;
        nodes_[node].branches[k] = *target;
        if (lifting_ == nullptr) continue;
        Lifting::Place& branch = lifting_->nodes.back().branches[k];
        branch.term = target->term;
        branch.node = target->node;
      }
      if (nodes_.size() > kMaxSums) return Outcome::kTooMany;
    }
  }
  return Outcome::kLifted;
}

// Ites with one condition are one ite.
LinearSum CaseSums::merge_conditions(const LinearSum& sum) {
  std::map<std::uint64_t, std::vector<const LinearSum::Monomial*>> by_condition;
  for (const LinearSum::Monomial& m : sum.monomials) {
    if (is_ite(m)) by_condition[m.leaf->arg(0)->id].push_back(&m);
  }
  LinearSum result = sum;
  for (const auto& [id, ites] : by_condition) {
    if (ites.size() < 2) continue;
    const Term* branches[2];
    bool is_linear = true;
    for (std::size_t k = 0; k < 2; ++k) {
      LinearSum total;
      for (const LinearSum::Monomial* m : ites) {
        LinearSum branch;
        is_linear =
            is_linear && lineariser_.linearise(m->leaf->arg(k + 1), branch);
        add(total, branch, m->coefficient);
      }
      // A number alone is of the ites' sort, where they are all real.
      const bool is_real =
          total.monomials.empty() && ites.front()->leaf->sort == Sort::kReal;
      branches[k] = is_real ? store_.make_number(total.constant, Sort::kReal)
                            : make_sum(store_, total);
    }
    if (!is_linear) continue;
    for (const LinearSum::Monomial* m : ites) {
      add(result, {{*m}, QNumber(0)}, QNumber(-1));
    }
    const Term* merged =
        store_.make_ite(ites.front()->leaf->arg(0), branches[0], branches[1]);
    if (lifting_ != nullptr) {
      lifting_->merged.push_back({merged, {}});
      for (const LinearSum::Monomial* m : ites) {
        lifting_->merged.back().ites.push_back(*m);
      }
    }
    LinearSum part;
    if (lineariser_.linearise(merged, part)) add(result, part, QNumber(1));
  }
  return result;
}

CaseSums::Outcome CaseSums::lift(const LinearSum& given, bool strict,
                                 const Term*& result, Lifting* lifting) {
  strict_ = strict;
  lifting_ = lifting;
  const LinearSum sum = merge_conditions(given);
  read(sum);
  if (lifting_ != nullptr) lifting_->cases = cases_;
  Rest start;
  start.sum.constant = sum.constant;
  std::remove_copy_if(sum.monomials.begin(), sum.monomials.end(),
                      std::back_inserter(start.sum.monomials), is_ite);
  if (is_outside(start)) return Outcome::kOutside;
  Target root;
  const Outcome outcome = expand(std::move(start), root);
  if (outcome == Outcome::kTooMany && add_in_steps(sum, result)) {
    return Outcome::kLifted;
  }
  if (outcome != Outcome::kLifted) return outcome;
  const auto term_of = [this](const Target& target) {
    return target.term != nullptr ? target.term : nodes_[target.node].term;
  };
  for (auto node = order_.rbegin(); node != order_.rend(); ++node) {
    Node& made = nodes_[*node];
    made.term = store_.make_ite(made.condition, term_of(made.branches[0]),
                                term_of(made.branches[1]));
  }
  result = term_of(root);
  if (lifting_ != nullptr) finish_lifting();
  return Outcome::kLifted;
}

// Nodes get their terms, and the numbers of nodes become places in the list,
// which is turned around.
void CaseSums::finish_lifting() {
  std::vector<std::size_t> places(nodes_.size());
  for (std::size_t k = 0; k < order_.size(); ++k) {
    places[order_[k]] = order_.size() - 1 - k;
  }
  const auto finish = [&](Lifting::Place& place) {
    place.is_node = place.term == nullptr;
    if (!place.is_node) return;
    place.term = nodes_[place.node].term;
    place.node = places[place.node];
  };
  for (Lifting::Node& node : lifting_->nodes) {
    finish(node.place);
    for (Lifting::Place& branch : node.branches) finish(branch);
  }
  finish(lifting_->root);
  std::reverse(lifting_->nodes.begin(), lifting_->nodes.end());
}

// A variable, or none, then one ite for each case: the one before plus one
// number or another. False if the cases are not of numbers, or the variables do
// not stay a difference.
bool CaseSums::add_in_steps(const LinearSum& sum, const Term*& result) {
  const Term* ends[2] = {nullptr, nullptr};  // added, subtracted
  for (const LinearSum::Monomial& m : sum.monomials) {
    if (is_ite(m)) continue;
    const Term*& end = ends[m.coefficient.sign() > 0 ? 0 : 1];
    const QNumber size =
        m.coefficient.sign() > 0 ? m.coefficient : -m.coefficient;
    if (end != nullptr || size != QNumber(1)) return false;
    end = m.leaf;
  }
  struct Step {
    const Term* condition;
    QNumber numbers[2];
  };
  std::vector<Step> steps;
  Sort sort = Sort::kInt;
  for (const LinearSum::Monomial& m : cases_) {
    Step step{m.leaf->arg(0), {}};
    for (std::size_t k = 0; k < 2; ++k) {
      LinearSum branch;
      if (!lineariser_.linearise(m.leaf->arg(k + 1), branch) ||
          !branch.monomials.empty()) {
        return false;
      }
      step.numbers[k] = branch.constant;
      step.numbers[k] *= m.coefficient;
      if (!step.numbers[k].is_integer()) sort = Sort::kReal;
    }
    steps.push_back(std::move(step));
  }
  for (const Term* end : ends) {
    if (end != nullptr && end->sort == Sort::kReal) sort = Sort::kReal;
  }
  for (const Term* end : ends) {
    if (end != nullptr && end->sort != sort) return false;
  }
  const Term* total = ends[0];
  for (const Step& step : steps) {
    const Term* next[2];
    for (std::size_t k = 0; k < 2; ++k) {
      const Term* number = store_.make_number(step.numbers[k], sort);
      next[k] = total == nullptr ? number : store_.make_plus({total, number});
    }
    total = store_.make_ite(step.condition, next[0], next[1]);
    if (lifting_ != nullptr) lifting_->steps.push_back(total);
  }
  if (lifting_ != nullptr) lifting_->nodes.clear();
  std::vector<const Term*> left{total, store_.make_number(sum.constant)};
  if (ends[1] != nullptr) left.push_back(store_.make_negate(ends[1]));
  const Term* zero = store_.make_number(QNumber(0));
  result = strict_ ? store_.make_less(store_.make_plus(left), zero)
                   : store_.make_leq(store_.make_plus(left), zero);
  return true;
}

}  // namespace vorn::solver
