// SPDX-License-Identifier: MIT
#include "solver/engine/model_check.h"

#include <algorithm>
#include <utility>

namespace vorn::solver {
namespace {

// Symbols listed for one conjunct. What has more is evaluated each time.
constexpr std::size_t kMostSymbols = 64;

}  // namespace

bool ModelCheck::holds(const std::vector<const Term*>& assertions,
                       Interpretation& values, Evaluator& evaluator) {
  if (!evaluate_changed(values, evaluator)) return false;
  const std::size_t num_known = num_checked_;
  for (std::size_t k = ends_.size(); k < assertions.size(); ++k) {
    ++num_evaluated_;
    if (!evaluator.bool_value(assertions[k])) return false;
    if (k < num_known) add(assertions[k], values);
  }
  num_checked_ = assertions.size();
  return true;
}

bool ModelCheck::evaluate_changed(Interpretation& values,
                                  Evaluator& evaluator) {
  for (Symbol& symbol : symbols_) {
    if (!update(symbol, values)) continue;
    for (const std::uint32_t k : symbol.conjuncts)
      conjuncts_[k].is_settled = false;
  }
  // In their order, whatever has changed: the evaluator is at its best with
  // terms made together.
  return std::all_of(conjuncts_.begin(), conjuncts_.end(), [&](Conjunct& c) {
    return c.is_settled || evaluate(c, evaluator);
  });
}

bool ModelCheck::evaluate(Conjunct& conjunct, Evaluator& evaluator) {
  ++num_evaluated_;
  const bool holds = evaluator.bool_value(conjunct.term);
  conjunct.is_settled = holds && !conjunct.is_large;
  return holds;
}

// Takes the model's value of a symbol; whether it is another one.
bool ModelCheck::update(Symbol& symbol, Interpretation& values) {
  if (symbol.term->is_bool()) {
    return std::exchange(symbol.truth, values.bool_value(symbol.term)) !=
           symbol.truth;
  }
  QNumber value = values.number_value(symbol.term);
  if (value == symbol.number) return false;
  symbol.number = std::move(value);
  return true;
}

// Splits an assertion that holds. A part of it that occurs twice counts once.
void ModelCheck::add(const Term* assertion, Interpretation& values) {
  std::vector<const Term*> conjuncts;
  ++walk_;
  pending_.assign(1, assertion);
  while (!pending_.empty()) {
    const Term* top = pending_.back();
    pending_.pop_back();
    if (see(top)) continue;
    if (top->kind == Kind::kAnd) {
      pending_.insert(pending_.end(), top->args(), top->args() + top->num_args);
    } else {
      conjuncts.push_back(top);
    }
  }
  for (const Term* conjunct : conjuncts) add_conjunct(conjunct, values);
  ends_.push_back(conjuncts_.size());
}

void ModelCheck::add_conjunct(const Term* term, Interpretation& values) {
  std::vector<const Term*> symbols;
  ++walk_;
  pending_.assign(1, term);
  // A large one has subterms by the thousand, and has to be walked only until
  // it is known as such.
  while (!pending_.empty() && symbols.size() <= kMostSymbols) {
    const Term* top = pending_.back();
    pending_.pop_back();
    if (see(top)) continue;
    if (top->kind == Kind::kSymbol) symbols.push_back(top);
    pending_.insert(pending_.end(), top->args(), top->args() + top->num_args);
  }
  const auto position = static_cast<std::uint32_t>(conjuncts_.size());
  Conjunct conjunct{term, symbols.size() > kMostSymbols, {}, true};
  conjunct.is_settled = !conjunct.is_large;
  if (!conjunct.is_large) {
    for (const Term* symbol : symbols) {
      conjunct.symbols.push_back(position_of(symbol, values));
      symbols_[conjunct.symbols.back()].conjuncts.push_back(position);
    }
  }
  conjuncts_.push_back(std::move(conjunct));
}

std::uint32_t ModelCheck::position_of(const Term* symbol,
                                      Interpretation& values) {
  const auto next = static_cast<std::uint32_t>(symbols_.size());
  const auto [found, is_new] = positions_.emplace(symbol, next);
  if (is_new) {
    symbols_.push_back({symbol, false, QNumber(0), {}});
    update(symbols_.back(), values);
  }
  return found->second;
}

// Whether this walk has come by the term before; it has now.
bool ModelCheck::see(const Term* term) {
  if (seen_.size() <= term->id) seen_.resize(term->id + 1, 0);
  return std::exchange(seen_[term->id], walk_) == walk_;
}

void ModelCheck::rollback(std::size_t num_assertions) {
  num_checked_ = std::min(num_checked_, num_assertions);
  if (ends_.size() <= num_assertions) return;
  ends_.resize(num_assertions);
  const std::size_t kept = ends_.empty() ? 0 : ends_.back();
  for (; conjuncts_.size() > kept; conjuncts_.pop_back()) {
    for (const std::uint32_t k : conjuncts_.back().symbols) {
      symbols_[k].conjuncts.pop_back();
    }
  }
  while (!symbols_.empty() && symbols_.back().conjuncts.empty()) {
    positions_.erase(symbols_.back().term);
    symbols_.pop_back();
  }
}

void ModelCheck::clear() {
  conjuncts_.clear();
  ends_.clear();
  num_checked_ = 0;
  symbols_.clear();
  positions_.clear();
}

}  // namespace vorn::solver
