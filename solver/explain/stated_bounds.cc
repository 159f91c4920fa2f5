// SPDX-License-Identifier: MIT
#include "solver/explain/stated_bounds.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "vorn/dl/graph.h"
#include "vorn/services/configuration.h"

namespace vorn::solver {
namespace {

// Walks terms with their polarity. Outright statements are read first, of all
// formulas, so that what is stated both outright and in a case counts as
// stated outright.
class StatementReader {
 public:
  StatementReader(TermStore& store, AtomNormaliser& normaliser)
      : store_(store), normaliser_(normaliser) {}

  Statements read(const std::vector<const Term*>& formulas,
                  bool conditional_too) {
    for (std::size_t k = 0; k < formulas.size(); ++k) {
      pending_.push_back({formulas[k], false, k, nullptr});
      while (!pending_.empty()) take();
    }
    if (conditional_too) {
      outright_ = false;
      // The last one is taken first; they are to come as they are written.
      std::reverse(cases_.begin(), cases_.end());
      pending_.swap(cases_);
      while (!pending_.empty()) take();
    }
    return std::move(result_);
  }

 private:
  struct Item {
    const Term* term;
    bool negated;
    std::size_t formula;
    // The comparison that the term is part of the normal form of, with the
    // `not` around it; null if it is part of none.
    const Term* written;
  };

  void take() {
    Item item = pending_.back();
    pending_.pop_back();
    if (item.term->kind == Kind::kNot) {
      const Term* inner = item.term->arg(0);
      const bool over_atom = is_arithmetic_atom(inner);
      if (item.written == nullptr && over_atom) item.written = item.term;
      pending_.push_back({inner, !item.negated, item.formula, item.written});
      return;
    }
    if (outright_) note(item);
    const std::uint64_t key = 2 * item.term->id + (item.negated ? 1 : 0);
    if (!seen_.insert(key).second) return;
    if (is_arithmetic_atom(item.term)) {
      take_atom(item);
    } else {
      take_connective(item);
    }
  }

  // Looks for the denial of what is stated outright.
  void note(const Item& item) {
    const bool constant =
        item.term->kind == Kind::kTrue || item.term->kind == Kind::kFalse;
    if (constant) {
      const bool holds = (item.term->kind == Kind::kTrue) != item.negated;
      if (!holds && !result_.clash) {
        result_.clash = Clash{item.term, item.formula, item.formula};
      }
      return;
    }
    stated_[item.negated ? 1 : 0].emplace(item.term, item.formula);
    const auto& opposite = stated_[item.negated ? 0 : 1];
    const auto other = opposite.find(item.term);
    if (other == opposite.end() || result_.clash) return;
    result_.clash = item.negated
                        ? Clash{item.term, other->second, item.formula}
                        : Clash{item.term, item.formula, other->second};
  }

  void take_connective(const Item& item) {
    const Term* term = item.term;
    const std::size_t first = pending_.size();
    const auto part = [&](std::size_t k, bool negated, bool in_a_case) {
      std::vector<Item>& list = outright_ && in_a_case ? cases_ : pending_;
      list.push_back({term->arg(k), negated, item.formula, item.written});
    };
    switch (term->kind) {
      case Kind::kAnd:
      case Kind::kOr: {
        const bool in_a_case = (term->kind == Kind::kAnd) == item.negated;
        for (std::size_t k = 0; k < term->num_args; ++k) {
          part(k, item.negated, in_a_case);
        }
        break;
      }
      case Kind::kImplies:
        part(0, !item.negated, !item.negated);
        part(1, item.negated, !item.negated);
        break;
      case Kind::kIte:
        part(0, false, true);
        part(1, item.negated, true);
        part(2, item.negated, true);
        break;
      case Kind::kXor:
      case Kind::kEqual:
      case Kind::kDistinct:
        for (std::size_t k = 0; k < term->num_args; ++k) part(k, false, true);
        break;
      default:
        break;
    }
    // The last one is taken first.
    std::reverse(pending_.begin() + static_cast<std::ptrdiff_t>(first),
                 pending_.end());
  }

  void take_atom(Item item) {
    if (item.written == nullptr) item.written = item.term;
    const auto& normal = normaliser_.normalise(item.term);
    assert(normal.term != nullptr);
    if (normal.term != item.term) {
      item.term = normal.term;
      pending_.push_back(item);
      return;
    }
    StatedBound stated;
    stated.formula = item.formula;
    stated.written = item.written;
    stated.atom = item.term;
    stated.negated = item.negated;
    stated.outright = outright_;
    stated.integer = normal.integer;
    stated.bound = item.negated ? negate_bound(normal.bound, normal.integer)
                                : normal.bound;
    lineariser_.linearise_difference(item.term->arg(0), item.term->arg(1),
                                     stated.sum);
    stated.strict = (item.term->kind == Kind::kLess) != item.negated;
    if (item.negated) {
      for (LinearSum::Monomial& m : stated.sum.monomials) {
        m.coefficient = -m.coefficient;
      }
      stated.sum.constant = -stated.sum.constant;
    }
    for (const LinearSum::Monomial& m : stated.sum.monomials) {
      define_ite(m.leaf, item.formula);
    }
    result_.bounds.push_back(std::move(stated));
  }

  // An ite that counts as a variable equals one branch in each case.
  void define_ite(const Term* leaf, std::size_t formula) {
    if (leaf->kind != Kind::kIte) return;
    std::vector<Item>& list = outright_ ? cases_ : pending_;
    list.push_back({leaf->arg(0), false, formula, nullptr});
    for (std::size_t k = 1; k <= 2; ++k) {
      const Term* meaning = store_.make_equal(leaf, leaf->arg(k));
      list.push_back({meaning, false, formula, nullptr});
    }
  }

  TermStore& store_;
  AtomNormaliser& normaliser_;
  Lineariser lineariser_;
  Statements result_;
  // Whether what is pending is stated outright.
  bool outright_ = true;
  std::vector<Item> pending_;
  // What was found in cases while reading what is outright.
  std::vector<Item> cases_;
  // Terms that were read, with their polarity.
  std::unordered_set<std::uint64_t> seen_;
  // Terms stated outright and denied outright, with the formula.
  std::unordered_map<const Term*, std::size_t> stated_[2];
};

// Puts the best beginning of a cycle in front.
void rotate_cycle(const std::vector<StatedBound>& bounds,
                  std::vector<std::size_t>& cycle) {
  const auto rank = [&bounds](std::size_t k) {
    const bool from_zero = bounds[k].bound.source == nullptr;
    return std::make_pair(from_zero ? 0 : 1, bounds[k].formula);
  };
  const auto best = std::min_element(
      cycle.begin(), cycle.end(),
      [&rank](std::size_t a, std::size_t b) { return rank(a) < rank(b); });
  std::rotate(cycle.begin(), best, cycle.end());
}

}  // namespace

Statements read_statements(TermStore& store, AtomNormaliser& normaliser,
                           const std::vector<const Term*>& formulas,
                           bool conditional_too) {
  return StatementReader(store, normaliser).read(formulas, conditional_too);
}

std::vector<std::size_t> find_negative_cycle(
    const std::vector<StatedBound>& bounds) {
  Configuration::Theory::La no_lemmas;
  dl::Graph graph(&no_lemmas, nullptr, nullptr);
  std::unordered_map<const Term*, int> nodes{{nullptr, 0}};
  const auto node_of = [&nodes](const Term* leaf) {
    const auto next = static_cast<int>(nodes.size());
    return nodes.emplace(leaf, next).first->second;
  };
  std::vector<std::size_t> position_of{0};  // by constraint, from 1
  for (std::size_t k = 0; k < bounds.size(); ++k) {
    const StatedBound& stated = bounds[k];
    if (!stated.outright) continue;
    const auto id = static_cast<int>(position_of.size());
    position_of.push_back(k);
    const int source = node_of(stated.bound.source);
    const int target = node_of(stated.bound.target);
    graph.tell_edge(id, {source, target, stated.bound.weight, id});
    graph.push_edge(id);
  }
  std::vector<std::size_t> cycle;
  if (graph.check(true)) return cycle;
  std::vector<int> conflict;
  graph.get_conflict_set(&conflict);
  for (const int id : conflict) {
    cycle.push_back(position_of[static_cast<std::size_t>(id)]);
  }
  rotate_cycle(bounds, cycle);
  return cycle;
}

}  // namespace vorn::solver
