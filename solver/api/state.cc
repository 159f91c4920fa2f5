// SPDX-License-Identifier: MIT
#include "solver/api/state.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "solver/api/common.h"
#include "solver/engine/case_sums.h"
#include "solver/explain/constraint_picture.h"
#include "solver/explain/explanation.h"
#include "solver/smtlib/symbol_table.h"
#include "solver/terms/term_printer.h"

namespace vorn::api::inner {
namespace {

using solver::Kind;
using solver::Sort;
using solver::Term;

// A name or a term may be long.
constexpr std::size_t kLongestText = 120;

// Between two looks at what the host wants, which may wait for a lock.
constexpr std::chrono::milliseconds kHostPatience{5};

}  // namespace

Extent extent_of(const solver::Extent& extent) {
  switch (extent.kind) {
    case solver::Extent::Kind::kBelow:
      return {Extent::Kind::kBelow, QNumber(), 0};
    case solver::Extent::Kind::kAbove:
      return {Extent::Kind::kAbove, QNumber(), 0};
    case solver::Extent::Kind::kNumber:
      break;
  }
  return {Extent::Kind::kNumber, extent.value.rational(),
          extent.value.eps().sign()};
}

Interval interval_of(const solver::Interval& interval) {
  return {extent_of(interval.low), extent_of(interval.high)};
}

Objective objective_of(const solver::ObjectiveResult& result) {
  return {result.name, result.is_maximised, result.interval.is_settled,
          interval_of(result.interval)};
}

State::State(const Settings& chosen)
    : settings(chosen), stack(store, engine_options(chosen), true) {
  builder.set_mixed(true);
  solver::Engine& engine = stack.engine();
  if (settings.recording != nullptr) {
    engine.set_graph_recorder(&recorder.emplace(*settings.recording));
  }
  engine.set_stop(&stop_flag);
  engine.set_poll([this] { poll(); });
  stack.set_progress(
      [this](const solver::ObjectiveResult& result) { tell(result); });
  engine.set_progress([this](const solver::SearchStatistics& statistics) {
    last_progress = progress_of(statistics);
    if (progress) progress(last_progress);
  });
}

// --- Terms ---

const Term* State::number(const QNumber& value) {
  return store.make_number(value,
                           value.is_integer() ? Sort::kInt : Sort::kReal);
}

void State::unify(const Term*& a, const Term*& b) {
  if (a->sort == b->sort) return;
  a = builder.as_sort(a, Sort::kReal);
  b = builder.as_sort(b, Sort::kReal);
}

const Term* State::plus(const Term* a, const Term* b) {
  unify(a, b);
  return store.make_plus(a, b);
}

const Term* State::times(const QNumber& factor, const Term* a) {
  const Term* number = this->number(factor);
  unify(number, a);
  return store.make_times(number, a);
}

const Term* State::compare(const Term* a, const Term* b, bool strict) {
  unify(a, b);
  return strict ? store.make_less(a, b) : store.make_leq(a, b);
}

// --- Names ---

bool State::is_spellable(std::string_view name) {
  return !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
    return c == '|' || c == '\\' || c == 0;
  });
}

bool State::is_free(std::string_view name) const {
  const auto is_taken = [name](const auto& entry) {
    return entry.first == name;
  };
  return is_spellable(name) &&
         std::none_of(std::begin(solver::kOperatorNames),
                      std::end(solver::kOperatorNames), is_taken) &&
         std::none_of(std::begin(solver::kArithmeticNames),
                      std::end(solver::kArithmeticNames), is_taken) &&
         names.find(std::string(name)) == names.end();
}

const Term* State::declare(std::string_view name, Sort sort) {
  assert(is_free(name));
  std::string key(name);
  const Term* term = store.make_symbol(key, sort);
  declared.push_back(term);
  try {
    names.emplace(std::move(key), term);
  } catch (...) {
    declared.pop_back();
    throw;
  }
  return term;
}

// --- Assertions ---

std::string State::objection(const Term* term) {
  solver::Engine& engine = stack.engine();
  const Term* atom = engine.outside_fragment(term);
  if (atom == nullptr) return "";
  const std::string shown =
      solver::on_one_line(solver::print_term(atom, kLongestText), kLongestText);
  if (!engine.has_too_many_sums(atom)) {
    return shown + " is outside difference logic";
  }
  return shown + " has more than " +
         std::to_string(solver::CaseSums::kMaxSums) + " sums of its cases";
}

// Its comparisons with all numbers are inside if one is.
std::string State::objection_to_bounds(const Term* term) {
  return objection(compare(term, number(QNumber(0)), false));
}

void State::add(const Term* term, std::string_view label) {
  edit([&] {
    solver::ScriptFormula assertion;
    assertion.term = term;
    assertion.line = static_cast<std::uint32_t>(stack.assertions().size() + 1);
    assertion.is_numbered = true;
    if (!label.empty()) {
      assertion.name = std::make_shared<const std::string>(label);
      labels.emplace_back(label);
      names.emplace(labels.back(), nullptr);
    }
    stack.add(std::move(assertion));
  });
}

void State::add(solver::ScriptObjective objective) {
  edit([&] { stack.add(std::move(objective)); });
}

void State::push() {
  edit([this] {
    scopes.push();
    stack.push();
  });
}

void State::pop() {
  edit([this] {
    stack.pop();
    const std::size_t first = scopes.start(scopes.size() - 1);
    for (std::size_t k = first; k < labels.size(); ++k) names.erase(labels[k]);
    scopes.pop();
  });
}

// --- Checks ---

void State::start_clock() {
  timed_out_ = false;
  has_deadline_ = timeout != 0;
  last_poll_ = Clock::now();
  // A deadline beyond what the clock can say is none.
  constexpr std::uint64_t kLongest = std::uint64_t{1000} * 60 * 60 * 24 * 365;
  deadline_ =
      last_poll_ + std::chrono::milliseconds(std::min(timeout, kLongest));
}

void State::poll() {
  const Clock::time_point now = Clock::now();
  if (has_deadline_ && now >= deadline_) {
    timed_out_ = true;
    stop_flag.store(true, std::memory_order_relaxed);
  }
  if (poll_host && now - last_poll_ >= kHostPatience) {
    if (poll_host()) stop_flag.store(true, std::memory_order_relaxed);
    last_poll_ = Clock::now();
  }
}

void State::tell(const solver::ObjectiveResult& result) {
  if (!progress) return;
  const Objective objective = objective_of(result);
  Progress told = last_progress;
  told.objective = &objective;
  progress(told);
}

Answer State::check(const std::vector<const Term*>& assumed) {
  stage = Stage::kUnknown;
  reason = Reason::kMemory;
  is_core_settled = false;
  improvement = nullptr;
  solver::Answer answer = solver::Answer::kUnknown;
  const bool had_memory = search([&] {
    improvement_text.clear();
    assumptions = assumed;
    stack.engine().set_conflict_limit(conflict_limit);
    answer = stack.check(assumptions);
  });
  if (!had_memory) return Answer::kUnknown;
  switch (answer) {
    case solver::Answer::kSat:
      stage = Stage::kSat;
      reason = Reason::kNone;
      return Answer::kSat;
    case solver::Answer::kUnsat:
      stage = Stage::kUnsat;
      reason = Reason::kNone;
      return Answer::kUnsat;
    case solver::Answer::kUnknown:
      break;
  }
  switch (stack.engine().unknown_reason()) {
    case solver::UnknownReason::kMemout:
      break;
    case solver::UnknownReason::kInternalError:
      reason = Reason::kDefect;
      break;
    case solver::UnknownReason::kConflictLimit:
      reason = Reason::kConflictLimit;
      break;
    case solver::UnknownReason::kStopped:
    case solver::UnknownReason::kNone:
      reason = timed_out_ ? Reason::kTimeout : Reason::kInterrupted;
      break;
  }
  return Answer::kUnknown;
}

std::vector<solver::ScriptFormula> State::formulas() const {
  std::vector<solver::ScriptFormula> all = stack.assertions();
  std::uint32_t position = 0;
  for (const Term* term : assumptions) {
    solver::ScriptFormula& formula = all.emplace_back();
    formula.term = term;
    formula.line = ++position;
    formula.assumed = true;
    formula.is_numbered = true;
  }
  return all;
}

void State::write_picture(std::ostream& out) {
  std::vector<const Term*> drawn;
  solver::PictureTexts texts;
  for (const solver::ScriptFormula& formula : formulas()) {
    drawn.push_back(formula.term);
    if (formula.name != nullptr) {
      texts.names.emplace(formula.term, *formula.name);
    }
  }
  const auto answer = stage == Stage::kSat     ? solver::Answer::kSat
                      : stage == Stage::kUnsat ? solver::Answer::kUnsat
                                               : solver::Answer::kUnknown;
  solver::write_dot(
      solver::draw_constraints(store, stack.engine(), answer, drawn, texts),
      out);
}

std::string State::explanation() {
  std::string text;
  const bool had_memory = search([&] {
    text = solver::explain_unsat(store, engine_options(settings), &stop_flag,
                                 settings.minimize_cores, formulas(),
                                 [this] { poll(); });
  });
  if (!had_memory) throw std::bad_alloc();
  // Without the marks of comments.
  std::string plain;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find('\n', start), text.size() - 1);
    plain.append(text, start + 2, end + 1 - (start + 2));
    start = end + 1;
  }
  return plain;
}

}  // namespace vorn::api::inner
