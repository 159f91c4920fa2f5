// SPDX-License-Identifier: MIT
#include "vorn/solver/session.h"

#include <cassert>
#include <utility>

#include "solver/api/common.h"
#include "solver/api/state.h"
#include "solver/explain/schedule_chart.h"
#include "solver/terms/term_printer.h"

namespace vorn::api {
namespace {

using inner::State;
using solver::Sort;
using solver::Term;

// As Session::text writes a term: trees up to this size without `let`.
constexpr std::size_t kExpandLimit = 100;

template <class Handle>
std::vector<const Term*> terms_of(const std::vector<Handle>& handles) {
  std::vector<const Term*> terms;
  terms.reserve(handles.size());
  for (const Handle& handle : handles) terms.push_back(State::term_of(handle));
  return terms;
}

void make_real_if_one_is(State& state, std::vector<const Term*>& terms) {
  bool is_real = false;
  for (const Term* term : terms) is_real = is_real || term->sort == Sort::kReal;
  if (!is_real) return;
  for (const Term*& term : terms) {
    term = state.builder.as_sort(term, Sort::kReal);
  }
}

}  // namespace

Session::Session(const Settings& settings)
    : state_(std::make_unique<State>(settings)) {}

Session::~Session() {
  finish_recording();
}

// --- Terms ---

bool Session::is_free(std::string_view name) const {
  return state_->is_free(name);
}

Expression Session::integer(std::string_view name) {
  return state_->expression(state_->declare(name, Sort::kInt));
}

Expression Session::real(std::string_view name) {
  return state_->expression(state_->declare(name, Sort::kReal));
}

Formula Session::boolean(std::string_view name) {
  return state_->formula(state_->declare(name, Sort::kBool));
}

Expression Session::number(const QNumber& value) {
  return state_->expression(state_->number(value));
}

Formula Session::truth(bool value) {
  return state_->formula(state_->store.make_bool(value));
}

Expression Session::sum(const std::vector<Expression>& parts) {
  if (parts.empty()) return number(QNumber(0));
  std::vector<const Term*> terms = terms_of(parts);
  make_real_if_one_is(*state_, terms);
  return state_->expression(state_->store.make_plus(terms));
}

Formula Session::all(const std::vector<Formula>& parts) {
  return state_->formula(state_->store.make_and(terms_of(parts)));
}

Formula Session::any(const std::vector<Formula>& parts) {
  return state_->formula(state_->store.make_or(terms_of(parts)));
}

Formula Session::distinct(const std::vector<Expression>& parts) {
  assert(parts.size() >= 2);
  std::vector<const Term*> terms = terms_of(parts);
  make_real_if_one_is(*state_, terms);
  return state_->formula(state_->store.make_distinct(terms));
}

// --- Assertions and objectives ---

std::string Session::objection(const Formula& formula) {
  return state_->objection(State::term_of(formula));
}

std::string Session::objection(const Expression& expression) {
  return state_->objection_to_bounds(State::term_of(expression));
}

bool Session::is_free_label(std::string_view label) const {
  return is_free(label);
}

bool Session::add(const Formula& formula) {
  return add(formula, {});
}

bool Session::add(const Formula& formula, std::string_view label) {
  assert(label.empty() || is_free_label(label));
  const Term* term = State::term_of(formula);
  if (state_->stack.engine().outside_fragment(term) != nullptr) return false;
  state_->add(term, label);
  return true;
}

bool Session::minimize(const Expression& expression, std::string_view name) {
  if (!objection(expression).empty()) return false;
  solver::ScriptObjective objective;
  objective.term = State::term_of(expression);
  objective.name = name;
  if (name.empty()) {
    objective.name = "objective ";
    objective.name += std::to_string(state_->stack.objectives().size() + 1);
  }
  state_->add(std::move(objective));
  return true;
}

bool Session::maximize(const Expression& expression, std::string_view name) {
  if (!objection(expression).empty()) return false;
  solver::ScriptObjective objective;
  objective.term = State::term_of(expression);
  objective.is_maximised = true;
  objective.name = name;
  if (name.empty()) {
    objective.name = "objective ";
    objective.name += std::to_string(state_->stack.objectives().size() + 1);
  }
  state_->add(std::move(objective));
  return true;
}

bool Session::soften(const Formula& formula, const QNumber& weight,
                     std::string_view group) {
  assert(weight.sign() >= 0 && State::is_spellable(group));
  const Term* term = State::term_of(formula);
  if (state_->stack.engine().outside_fragment(term) != nullptr) return false;
  solver::ScriptObjective objective;
  objective.term = term;
  objective.weight = weight;
  objective.name = group;
  state_->add(std::move(objective));
  return true;
}

void Session::push() {
  state_->push();
}

void Session::pop() {
  assert(num_scopes() > 0);
  state_->pop();
}

std::size_t Session::num_scopes() const {
  return state_->scopes.size();
}

std::size_t Session::num_assertions() const {
  return state_->stack.assertions().size();
}

// --- Checks ---

Answer Session::check(const std::vector<Formula>& assumptions) {
  try {
    return state_->check(terms_of(assumptions));
  } catch (const std::bad_alloc&) {
    state_->stage = State::Stage::kUnknown;
    state_->reason = Reason::kMemory;
    return Answer::kUnknown;
  }
}

Reason Session::reason() const {
  return state_->reason;
}

bool Session::is_spent() const {
  return state_->is_spent;
}

void Session::set_timeout(std::uint64_t milliseconds) {
  state_->timeout = milliseconds;
}

void Session::set_conflict_limit(std::uint64_t conflicts) {
  state_->conflict_limit = conflicts;
}

void Session::set_poll(std::function<bool()> poll) {
  state_->poll_host = std::move(poll);
}

void Session::set_progress(std::function<void(const Progress&)> progress) {
  state_->progress = std::move(progress);
}

void Session::stop() noexcept {
  state_->stop_flag.store(true, std::memory_order_relaxed);
}

// --- After a check ---

bool Session::has_model() const {
  return !state_->is_spent && state_->stage != State::Stage::kEdited &&
         state_->stack.engine().has_model();
}

bool Session::value(const Formula& formula) {
  assert(has_model());
  return state_->stack.engine().bool_value(State::term_of(formula));
}

QNumber Session::value(const Expression& expression) {
  assert(has_model());
  return state_->stack.engine().number_value(State::term_of(expression));
}

std::vector<Objective> Session::objectives() const {
  std::vector<Objective> objectives;
  for (const solver::ObjectiveResult& result : state_->stack.results()) {
    objectives.push_back(inner::objective_of(result));
  }
  return objectives;
}

Interval Session::bounds(const Expression& expression) {
  assert(state_->stage == State::Stage::kSat);
  std::pair<solver::Interval, solver::Interval> ends;
  const bool had_memory = state_->search(
      [&] { ends = state_->stack.find_bounds(State::term_of(expression)); });
  if (!had_memory) throw std::bad_alloc();
  // What no model goes beyond, whether or not one goes so far.
  return {inner::extent_of(ends.first.low), inner::extent_of(ends.second.high)};
}

std::vector<std::size_t> Session::failed() const {
  assert(state_->stage == State::Stage::kUnsat);
  return state_->stack.failed_assumptions();
}

std::vector<std::string> Session::core() {
  assert(state_->stage == State::Stage::kUnsat);
  State& state = *state_;
  if (!state.is_core_settled) {
    const bool had_memory = state.search([&state] {
      using CoreState = solver::AssertionStack::CoreState;
      const CoreState reached =
          state.stack.settle_core(state.settings.minimize_cores);
      state.is_core_settled = reached == CoreState::kConfirmed;
    });
    if (!had_memory) throw std::bad_alloc();
  }
  std::vector<std::string> names;
  for (const std::size_t k : state.stack.core()) {
    names.push_back(*state.stack.assertions()[k].name);
  }
  return names;
}

std::string Session::explanation() {
  assert(state_->stage == State::Stage::kUnsat);
  return state_->explanation();
}

// --- Evidence ---

std::string Session::proof() {
  assert(state_->settings.keep_proofs);
  return state_->proof();
}

const std::string& Session::improvement() const {
  return state_->improvement_text;
}

std::string Session::script() const {
  return state_->script();
}

std::string Session::text(const Formula& formula) const {
  return solver::print_term(State::term_of(formula), kExpandLimit);
}

std::string Session::text(const Expression& expression) const {
  return solver::print_term(State::term_of(expression), kExpandLimit);
}

std::string Session::chart() {
  assert(state_->settings.keep_schedule && state_->stage == State::Stage::kSat);
  return inner::chart_text(solver::draw_schedule(state_->stack.engine()));
}

void Session::write_picture(std::ostream& out) {
  assert(state_->stage != State::Stage::kEdited);
  state_->write_picture(out);
}

void Session::set_logger(Logger* logger) {
  state_->stack.engine().set_logger(logger);
}

bool Session::finish_recording() {
  return inner::finish_recording(state_->recorder);
}

Statistics Session::statistics() const {
  return state_->stack.engine().statistics();
}

const char* version() {
  return VORN_VERSION;
}

}  // namespace vorn::api
