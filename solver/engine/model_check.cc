// SPDX-License-Identifier: MIT
#include "solver/engine/model_check.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace vorn::solver {
namespace {

// Symbols listed for one conjunct. What has more is evaluated each time.
constexpr std::size_t kMostSymbols = 64;

}  // namespace

bool ModelCheck::holds(const std::vector<const Term*>& assertions,
                       Interpretation& values, Evaluator& evaluator,
                       const std::vector<const Term*>* changed) {
  compare(values, changed);
  if (!evaluate_unsettled(evaluator)) return false;
  const std::size_t num_known = num_checked_;
  for (std::size_t k = ends_.size(); k < assertions.size(); ++k) {
    ++num_evaluated_;
    evaluator.fetch_ahead(&assertions[k], assertions.size() - k);
    if (!evaluator.bool_value(assertions[k])) return false;
    if (k < num_known) add(assertions[k], values);
  }
  num_checked_ = assertions.size();
  return true;
}

void ModelCheck::compare(Interpretation& values,
                         const std::vector<const Term*>* changed) {
  if (changed == nullptr) {
    for (Symbol& symbol : symbols_) compare(symbol, values);
  } else {
    for (const Term* term : *changed) {
      const auto found = positions_.find(term);
      if (found != positions_.end()) compare(symbols_[found->second], values);
    }
    for (const Index k : truths_) compare(symbols_[k], values);
  }
  // Nobody knows which symbols these mention.
  if (changed != nullptr && changed->empty() && truths_.empty()) return;
  for (const Index k : large_) unsettle(k);
}

void ModelCheck::compare(Symbol& symbol, Interpretation& values) {
  if (!update(symbol, values)) return;
  for (Index k = symbol.last_mention; k != kNone; k = mentions_[k].former) {
    const Index conjunct = mentions_[k].conjunct;
    const Index pair = conjuncts_[conjunct].pair;
    unsettle(pair == kNone ? conjunct : pairs_[pair].closest);
  }
}

void ModelCheck::unsettle(Index position) {
  if (!std::exchange(conjuncts_[position].is_settled, false)) return;
  unsettled_.push_back(position);
}

bool ModelCheck::evaluate_unsettled(Evaluator& evaluator) {
  // In their order, whatever has changed: the evaluator is at its best with
  // terms made together.
  std::sort(unsettled_.begin(), unsettled_.end());
  const bool hold =
      std::all_of(unsettled_.begin(), unsettled_.end(),
                  [&](Index k) { return evaluate(k, evaluator); });
  if (hold) unsettled_.clear();
  return hold;
}

bool ModelCheck::evaluate(Index position, Evaluator& evaluator) {
  // Taken back, or back since with other symbols.
  if (position >= conjuncts_.size() || conjuncts_[position].is_settled) {
    return true;
  }
  ++num_evaluated_;
  conjuncts_[position].is_settled =
      evaluator.bool_value(conjuncts_[position].term);
  return conjuncts_[position].is_settled;
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
  if (assertion->kind != Kind::kAnd) {
    add_conjunct(assertion, values);
    ends_.push_back(conjuncts_.size());
    return;
  }
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

// Adds what has been found true.
void ModelCheck::add_conjunct(const Term* term, Interpretation& values) {
  Conjunct conjunct{
      term, static_cast<Index>(mentions_.size()), kNone, kNone, false, true};
  if (const std::optional<PairBound> bound = read_pair_bound(term)) {
    add_bound(conjunct, *bound, values);
  } else {
    found_.clear();
    ++walk_;
    pending_.assign(1, term);
    // A large one has subterms by the thousand, and has to be walked only until
    // it is known as such.
    while (!pending_.empty() && found_.size() <= kMostSymbols) {
      const Term* top = pending_.back();
      pending_.pop_back();
      if (see(top)) continue;
      if (top->kind == Kind::kSymbol) found_.push_back(top);
      pending_.insert(pending_.end(), top->args(), top->args() + top->num_args);
    }
    conjunct.is_large = found_.size() > kMostSymbols;
    if (conjunct.is_large) {
      large_.push_back(static_cast<Index>(conjuncts_.size()));
    } else {
      for (const Term* symbol : found_) add_mention(symbol, values);
    }
  }
  // So that going back, with nothing left to be evaluated now, allocates
  // nothing.
  if (unsettled_.capacity() <= conjuncts_.size()) {
    unsettled_.reserve(2 * conjuncts_.size() + 1);
  }
  conjuncts_.push_back(conjunct);
}

// One more on the same two symbols need not hear of their changes.
void ModelCheck::add_bound(Conjunct& conjunct, const PairBound& bound,
                           Interpretation& values) {
  const auto place = [&](const Term* symbol) {
    return symbol == nullptr ? kNone : position_of(symbol, values);
  };
  const auto position = static_cast<Index>(conjuncts_.size());
  constexpr int kHalf = 32;
  const std::uint64_t first = place(bound.first);
  const std::uint64_t key = first << kHalf | place(bound.second);
  const auto next = static_cast<Index>(pairs_.size());
  const auto [found, is_new] = pair_positions_.emplace(key, next);
  conjunct.pair = found->second;
  if (is_new) {
    pairs_.push_back({key, position});
    if (bound.first != nullptr) add_mention(bound.first, values);
    if (bound.second != nullptr) add_mention(bound.second, values);
    return;
  }
  Index& closest = pairs_[conjunct.pair].closest;
  const bool is_closer =
      !read_pair_bound(conjuncts_[closest].term)->implies(bound);
  conjunct.former = is_closer ? std::exchange(closest, position) : position;
}

void ModelCheck::add_mention(const Term* term, Interpretation& values) {
  const Index symbol = position_of(term, values);
  Index& last = symbols_[symbol].last_mention;
  mentions_.push_back({symbol, static_cast<Index>(conjuncts_.size()), last});
  last = static_cast<Index>(mentions_.size() - 1);
}

// For the last conjunct.
void ModelCheck::leave_pair(const Conjunct& conjunct) {
  const auto position = static_cast<Index>(conjuncts_.size() - 1);
  if (conjunct.former == position) return;
  if (conjunct.former != kNone) {
    pairs_[conjunct.pair].closest = conjunct.former;
    // It was not looked at in the meantime.
    unsettle(conjunct.former);
    return;
  }
  pair_positions_.erase(pairs_[conjunct.pair].key);
  pairs_.pop_back();
}

ModelCheck::Index ModelCheck::position_of(const Term* symbol,
                                          Interpretation& values) {
  const auto next = static_cast<Index>(symbols_.size());
  const auto [found, is_new] = positions_.emplace(symbol, next);
  if (is_new) {
    symbols_.push_back({symbol, false, QNumber(0), kNone});
    if (symbol->is_bool()) truths_.push_back(next);
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
  while (conjuncts_.size() > kept) {
    const Conjunct& last = conjuncts_.back();
    for (; mentions_.size() > last.mentions; mentions_.pop_back()) {
      const Mention& mention = mentions_.back();
      symbols_[mention.symbol].last_mention = mention.former;
    }
    if (last.pair != kNone) leave_pair(last);
    if (last.is_large) large_.pop_back();
    conjuncts_.pop_back();
  }
  while (!symbols_.empty() && symbols_.back().last_mention == kNone) {
    positions_.erase(symbols_.back().term);
    if (symbols_.back().term->is_bool()) truths_.pop_back();
    symbols_.pop_back();
  }
}

void ModelCheck::clear() {
  conjuncts_.clear();
  ends_.clear();
  mentions_.clear();
  pairs_.clear();
  pair_positions_.clear();
  large_.clear();
  unsettled_.clear();
  num_checked_ = 0;
  symbols_.clear();
  truths_.clear();
  positions_.clear();
}

}  // namespace vorn::solver
