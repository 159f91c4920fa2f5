// SPDX-License-Identifier: MIT
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "solver/api/state.h"
#include "solver/c/guard.h"
#include "solver/terms/term.h"
#include "vorn/solver/session.h"

// A session, and what C needs beside it: handles that can be checked, room for
// the text that is handed out, and assumptions that are gathered one by one.
//
// A handle is the id of a term, plus 1: terms of a session are never swept.

using vorn::QNumber;
using vorn::api::Expression;
using vorn::api::Extent;
using vorn::api::Formula;
using vorn::api::Interval;
using vorn::api::Objective;
using vorn::api::Session;
using vorn::api::inner::State;
using vorn::c::Failure;
using vorn::c::read_number;
using vorn::c::require;
using vorn::solver::Kind;
using vorn::solver::Term;

struct vorn_solver {
  explicit vorn_solver(const vorn::api::Settings& settings)
      : session(settings), state(State::state_of(session)) {}

  vorn::c::Guard guard;
  Session session;
  State& state;
  std::uint64_t num_made_names = 0;
  std::vector<Formula> assumptions;
  // Of the last vorn_solve: those that failed, as they were given.
  std::vector<vorn_formula> assumed;
  std::unordered_set<vorn_formula> failed;

  // What was handed out.
  std::array<std::string, 3> texts;
  std::vector<std::string> core;
  std::vector<const char*> core_names;

  void* terminate_data = nullptr;
  int (*terminate)(void*) = nullptr;
  void* progress_data = nullptr;
  void (*progress)(void*, const vorn_progress*) = nullptr;
};

namespace {

// --- Handles ---

const Term* term_of(vorn_solver& s, std::int32_t handle) {
  const bool is_known =
      handle > 0 && static_cast<std::size_t>(handle) <= s.state.store.size();
  return is_known ? s.state.store.term(static_cast<std::uint64_t>(handle) - 1)
                  : nullptr;
}

Formula formula_of(vorn_solver& s, vorn_formula handle) {
  const bool is_negated = handle < 0 && handle != INT32_MIN;
  const Term* term = term_of(s, is_negated ? -handle : handle);
  require(term != nullptr && term->is_bool(), VORN_ERROR_ARGUMENT,
          "no formula of this solver");
  return s.state.formula(is_negated ? s.state.store.make_not(term) : term);
}

Expression number_of(vorn_solver& s, vorn_number handle) {
  if (handle == 0) return s.session.number(QNumber(0));
  const Term* term = term_of(s, handle);
  require(term != nullptr && term->is_arithmetic(), VORN_ERROR_ARGUMENT,
          "no number of this solver");
  return s.state.expression(term);
}

std::int32_t handle_of(const Term* term) {
  require(term->id < INT32_MAX, VORN_ERROR_MEMORY, "");
  return static_cast<std::int32_t>(term->id) + 1;
}

vorn_formula handle_of(const Formula& formula) {
  const Term* term = State::term_of(formula);
  return term->kind == Kind::kNot ? -handle_of(term->arg(0)) : handle_of(term);
}

vorn_number handle_of(const Expression& expression) {
  return handle_of(State::term_of(expression));
}

std::vector<Formula> formulas_of(vorn_solver& s, std::size_t count,
                                 const vorn_formula* handles) {
  require(count == 0 || handles != nullptr, VORN_ERROR_ARGUMENT,
          "formulas are missing");
  std::vector<Formula> formulas;
  formulas.reserve(count);
  for (std::size_t k = 0; k < count; ++k) {
    formulas.push_back(formula_of(s, handles[k]));
  }
  return formulas;
}

std::vector<Expression> numbers_of(vorn_solver& s, std::size_t count,
                                   const vorn_number* handles) {
  require(count == 0 || handles != nullptr, VORN_ERROR_ARGUMENT,
          "numbers are missing");
  std::vector<Expression> numbers;
  numbers.reserve(count);
  for (std::size_t k = 0; k < count; ++k) {
    numbers.push_back(number_of(s, handles[k]));
  }
  return numbers;
}

// --- Calls ---

template <class Call>
vorn_error run(vorn_solver* s, const Call& call) {
  return s == nullptr ? VORN_ERROR_ARGUMENT
                      : s->guard.run([s, &call] { call(*s); });
}

template <class Result, class Call>
Result value(vorn_solver* s, Result failed, const Call& call) {
  return s == nullptr ? failed
                      : s->guard.value(failed, [s, &call] { return call(*s); });
}

// What makes a term, of parts that it may not have.
template <class Call>
std::int32_t make(vorn_solver* s, const Call& call) {
  return value(s, std::int32_t{0},
               [&call](vorn_solver& t) { return handle_of(call(t)); });
}

void require_whole(const vorn_solver& s) {
  if (s.session.is_spent()) throw std::bad_alloc();
}

void require_unsat(const vorn_solver& s) {
  require_whole(s);
  require(s.state.stage == State::Stage::kUnsat, VORN_ERROR_STATE,
          "the last answer is not that there is no model");
}

void require_model(const vorn_solver& s) {
  require_whole(s);
  require(s.session.has_model(), VORN_ERROR_STATE, "there is no model");
}

void require_sat(const vorn_solver& s) {
  require_whole(s);
  require(s.state.stage == State::Stage::kSat, VORN_ERROR_STATE,
          "the last answer is not that there is a model");
}

template <class Handle>
[[noreturn]] void refuse(vorn_solver& s, const Handle& handle) {
  throw Failure{VORN_ERROR_OUTSIDE, s.session.objection(handle)};
}

std::string name_of(vorn_solver& s, const char* name, const char* prefix) {
  std::string text;
  if (name != nullptr) {
    text = name;
    if (!s.session.is_free(text)) {
      throw Failure{VORN_ERROR_ARGUMENT,
                    "this cannot be a name here: \"" + text + '"'};
    }
    return text;
  }
  do {
    text = prefix + std::to_string(++s.num_made_names);
  } while (!s.session.is_free(text));
  return text;
}

const char* text_or(const char* text, const char* otherwise) {
  return text == nullptr ? otherwise : text;
}

// --- Text ---

// Sets `place`, if there is one, to text that stays.
void hand_out(vorn_solver& s, std::size_t room, std::string text,
              const char** place) {
  s.texts[room] = std::move(text);
  if (place != nullptr) *place = s.texts[room].c_str();
}

void hand_out(vorn_solver& s, std::size_t room, const Extent& extent,
              vorn_extent* place) {
  if (place == nullptr) return;
  place->infinity = extent.kind == Extent::Kind::kNumber  ? 0
                    : extent.kind == Extent::Kind::kBelow ? -1
                                                          : 1;
  place->side = extent.side;
  place->value = nullptr;
  if (place->infinity == 0) {
    hand_out(s, room, extent.value.to_str(), &place->value);
  }
}

std::string end_text(const Extent& extent) {
  if (extent.kind == Extent::Kind::kBelow) return "-oo";
  if (extent.kind == Extent::Kind::kAbove) return "oo";
  const char* side = extent.side > 0 ? "+" : extent.side < 0 ? "-" : "";
  return extent.value.to_str() + side;
}

void tell(const vorn_solver& s, const vorn::api::Progress& progress) {
  vorn_progress told = {progress.decisions,
                        progress.conflicts,
                        progress.restarts,
                        nullptr,
                        nullptr,
                        nullptr};
  std::string low;
  std::string high;
  if (progress.objective != nullptr) {
    low = end_text(progress.objective->best.low);
    high = end_text(progress.objective->best.high);
    told.objective = progress.objective->name.c_str();
    told.low = low.c_str();
    told.high = high.c_str();
  }
  s.progress(s.progress_data, &told);
}

// --- Bounds ---

enum class Relation { kAtMost, kBelow, kEqual };

Formula relate(vorn_solver& s, vorn_number x, vorn_number y,
               const QNumber& bound, Relation relation) {
  Expression difference = x == 0 && y != 0 ? -number_of(s, y) : number_of(s, x);
  if (x != 0 && y != 0) difference = difference - number_of(s, y);
  switch (relation) {
    case Relation::kAtMost:
      return difference <= bound;
    case Relation::kBelow:
      return difference < bound;
    case Relation::kEqual:
      break;
  }
  return equal(difference, bound);
}

}  // namespace

vorn_solver* vorn_solver_new(uint32_t flags, uint64_t seed) {
  try {
    vorn::api::Settings settings;
    settings.seed = seed;
    settings.keep_proofs = (flags & VORN_KEEP_PROOFS) != 0;
    settings.keep_schedule = (flags & VORN_KEEP_SCHEDULE) != 0;
    settings.minimize_cores = (flags & VORN_MINIMIZE_CORES) != 0;
    constexpr unsigned kThreadsShift = 16;
    settings.threads = flags >> kThreadsShift;
    settings.find_machines = (flags & VORN_NO_MACHINES) == 0;
    if ((flags & VORN_NO_PROPAGATION) != 0) {
      settings.propagation = vorn::api::Propagation::kOff;
    }
    return new vorn_solver(settings);
  } catch (...) {
    return nullptr;
  }
}

void vorn_solver_free(vorn_solver* solver) {
  delete solver;
}

vorn_error vorn_solver_error(const vorn_solver* solver) {
  return solver == nullptr ? VORN_ERROR_ARGUMENT : solver->guard.error();
}

const char* vorn_solver_error_text(const vorn_solver* solver) {
  return solver == nullptr ? "no solver" : solver->guard.text();
}

// --- Variables and numbers ---

vorn_formula vorn_new_bool(vorn_solver* solver, const char* name) {
  return make(solver, [name](vorn_solver& s) {
    return s.session.boolean(name_of(s, name, "b"));
  });
}

vorn_number vorn_new_int(vorn_solver* solver, const char* name) {
  return make(solver, [name](vorn_solver& s) {
    return s.session.integer(name_of(s, name, "i"));
  });
}

vorn_number vorn_new_real(vorn_solver* solver, const char* name) {
  return make(solver, [name](vorn_solver& s) {
    return s.session.real(name_of(s, name, "r"));
  });
}

vorn_number vorn_constant(vorn_solver* solver, const char* value) {
  return make(solver, [value](vorn_solver& s) {
    return s.session.number(read_number(value));
  });
}

vorn_number vorn_sum(vorn_solver* solver, size_t count,
                     const vorn_number* parts) {
  return make(solver, [count, parts](vorn_solver& s) {
    return s.session.sum(numbers_of(s, count, parts));
  });
}

vorn_number vorn_times(vorn_solver* solver, const char* factor, vorn_number x) {
  return make(solver, [factor, x](vorn_solver& s) {
    return read_number(factor) * number_of(s, x);
  });
}

vorn_number vorn_choose(vorn_solver* solver, vorn_formula condition,
                        vorn_number then, vorn_number otherwise) {
  return make(solver, [=](vorn_solver& s) {
    return choose(formula_of(s, condition), number_of(s, then),
                  number_of(s, otherwise));
  });
}

int vorn_is_int(vorn_solver* solver, vorn_number x) {
  return value(solver, -1, [x](vorn_solver& s) {
    return number_of(s, x).is_integer() ? 1 : 0;
  });
}

// --- Formulas ---

vorn_formula vorn_true(vorn_solver* solver) {
  return make(solver, [](vorn_solver& s) { return s.session.truth(true); });
}

vorn_formula vorn_at_most(vorn_solver* solver, vorn_number x, vorn_number y,
                          int64_t bound) {
  return make(solver, [=](vorn_solver& s) {
    return relate(s, x, y, QNumber(bound), Relation::kAtMost);
  });
}

vorn_formula vorn_below(vorn_solver* solver, vorn_number x, vorn_number y,
                        int64_t bound) {
  return make(solver, [=](vorn_solver& s) {
    return relate(s, x, y, QNumber(bound), Relation::kBelow);
  });
}

vorn_formula vorn_equals(vorn_solver* solver, vorn_number x, vorn_number y,
                         int64_t value) {
  return make(solver, [=](vorn_solver& s) {
    return relate(s, x, y, QNumber(value), Relation::kEqual);
  });
}

vorn_formula vorn_at_most_text(vorn_solver* solver, vorn_number x,
                               vorn_number y, const char* bound) {
  return make(solver, [=](vorn_solver& s) {
    return relate(s, x, y, read_number(bound), Relation::kAtMost);
  });
}

vorn_formula vorn_below_text(vorn_solver* solver, vorn_number x, vorn_number y,
                             const char* bound) {
  return make(solver, [=](vorn_solver& s) {
    return relate(s, x, y, read_number(bound), Relation::kBelow);
  });
}

vorn_formula vorn_equals_text(vorn_solver* solver, vorn_number x, vorn_number y,
                              const char* value) {
  return make(solver, [=](vorn_solver& s) {
    return relate(s, x, y, read_number(value), Relation::kEqual);
  });
}

vorn_formula vorn_distinct(vorn_solver* solver, size_t count,
                           const vorn_number* parts) {
  return make(solver, [count, parts](vorn_solver& s) {
    require(count >= 2, VORN_ERROR_ARGUMENT,
            "it takes two numbers to be distinct");
    return s.session.distinct(numbers_of(s, count, parts));
  });
}

vorn_formula vorn_and(vorn_solver* solver, size_t count,
                      const vorn_formula* parts) {
  return make(solver, [count, parts](vorn_solver& s) {
    return s.session.all(formulas_of(s, count, parts));
  });
}

vorn_formula vorn_or(vorn_solver* solver, size_t count,
                     const vorn_formula* parts) {
  return make(solver, [count, parts](vorn_solver& s) {
    return s.session.any(formulas_of(s, count, parts));
  });
}

vorn_formula vorn_xor(vorn_solver* solver, vorn_formula a, vorn_formula b) {
  return make(solver, [a, b](vorn_solver& s) {
    return unequal(formula_of(s, a), formula_of(s, b));
  });
}

vorn_formula vorn_implies(vorn_solver* solver, vorn_formula a, vorn_formula b) {
  return make(solver, [a, b](vorn_solver& s) {
    return implies(formula_of(s, a), formula_of(s, b));
  });
}

vorn_formula vorn_iff(vorn_solver* solver, vorn_formula a, vorn_formula b) {
  return make(solver, [a, b](vorn_solver& s) {
    return equal(formula_of(s, a), formula_of(s, b));
  });
}

vorn_formula vorn_ite(vorn_solver* solver, vorn_formula condition,
                      vorn_formula then, vorn_formula otherwise) {
  return make(solver, [=](vorn_solver& s) {
    return choose(formula_of(s, condition), formula_of(s, then),
                  formula_of(s, otherwise));
  });
}

// --- Assertions and objectives ---

vorn_error vorn_add(vorn_solver* solver, vorn_formula formula) {
  return run(solver, [formula](vorn_solver& s) {
    const Formula asserted = formula_of(s, formula);
    if (!s.session.add(asserted)) refuse(s, asserted);
  });
}

vorn_error vorn_add_named(vorn_solver* solver, vorn_formula formula,
                          const char* name) {
  return run(solver, [formula, name](vorn_solver& s) {
    const Formula asserted = formula_of(s, formula);
    require(name != nullptr, VORN_ERROR_ARGUMENT, "a name is missing");
    if (!s.session.add(asserted, name_of(s, name, ""))) refuse(s, asserted);
  });
}

vorn_error vorn_add_clause(vorn_solver* solver, size_t count,
                           const vorn_formula* parts) {
  return run(solver, [count, parts](vorn_solver& s) {
    const Formula asserted = s.session.any(formulas_of(s, count, parts));
    if (!s.session.add(asserted)) refuse(s, asserted);
  });
}

vorn_error vorn_add_at_most(vorn_solver* solver, vorn_number x, vorn_number y,
                            int64_t bound) {
  return run(solver, [=](vorn_solver& s) {
    const Formula asserted = relate(s, x, y, QNumber(bound), Relation::kAtMost);
    if (!s.session.add(asserted)) refuse(s, asserted);
  });
}

vorn_error vorn_minimize(vorn_solver* solver, vorn_number x, const char* name) {
  return run(solver, [x, name](vorn_solver& s) {
    const Expression objective = number_of(s, x);
    require(name == nullptr || State::is_spellable(name), VORN_ERROR_ARGUMENT,
            "this cannot be a name");
    if (!s.session.minimize(objective, text_or(name, ""))) {
      refuse(s, objective);
    }
  });
}

vorn_error vorn_maximize(vorn_solver* solver, vorn_number x, const char* name) {
  return run(solver, [x, name](vorn_solver& s) {
    const Expression objective = number_of(s, x);
    require(name == nullptr || State::is_spellable(name), VORN_ERROR_ARGUMENT,
            "this cannot be a name");
    if (!s.session.maximize(objective, text_or(name, ""))) {
      refuse(s, objective);
    }
  });
}

vorn_error vorn_add_soft(vorn_solver* solver, vorn_formula formula,
                         const char* weight, const char* group) {
  return run(solver, [=](vorn_solver& s) {
    const Formula wanted = formula_of(s, formula);
    const QNumber cost = read_number(text_or(weight, "1"));
    require(cost.sign() >= 0, VORN_ERROR_ARGUMENT, "the weight is below 0");
    const std::string name = text_or(group, "soft");
    require(State::is_spellable(name), VORN_ERROR_ARGUMENT,
            "this cannot be a name");
    if (!s.session.soften(wanted, cost, name)) refuse(s, wanted);
  });
}

vorn_error vorn_push(vorn_solver* solver) {
  return run(solver, [](vorn_solver& s) { s.session.push(); });
}

vorn_error vorn_pop(vorn_solver* solver) {
  return run(solver, [](vorn_solver& s) {
    require_whole(s);
    require(s.session.num_scopes() > 0, VORN_ERROR_STATE, "no scope is open");
    s.session.pop();
  });
}

// --- Solving ---

vorn_error vorn_assume(vorn_solver* solver, vorn_formula formula) {
  return run(solver, [formula](vorn_solver& s) {
    const Formula assumption = formula_of(s, formula);
    const std::string objection = s.session.objection(assumption);
    if (!objection.empty()) throw Failure{VORN_ERROR_OUTSIDE, objection};
    s.assumed.reserve(s.assumptions.size() + 1);
    s.assumptions.push_back(assumption);
  });
}

vorn_error vorn_drop_assumptions(vorn_solver* solver) {
  return run(solver, [](vorn_solver& s) { s.assumptions.clear(); });
}

vorn_answer vorn_solve(vorn_solver* solver) {
  return value(solver, VORN_UNKNOWN, [](vorn_solver& s) {
    s.assumed.clear();
    for (const Formula& assumption : s.assumptions) {
      s.assumed.push_back(handle_of(assumption));
    }
    const std::vector<Formula> assumptions = std::move(s.assumptions);
    s.assumptions.clear();
    s.failed.clear();
    const vorn::api::Answer answer = s.session.check(assumptions);
    require_whole(s);
    switch (answer) {
      case vorn::api::Answer::kSat:
        return VORN_SAT;
      case vorn::api::Answer::kUnsat:
        for (const std::size_t k : s.session.failed()) {
          s.failed.insert(s.assumed[k]);
        }
        return VORN_UNSAT;
      case vorn::api::Answer::kUnknown:
        break;
    }
    return VORN_UNKNOWN;
  });
}

vorn_reason vorn_unknown_reason(const vorn_solver* solver) {
  if (solver == nullptr) return VORN_REASON_NONE;
  switch (solver->session.reason()) {
    case vorn::api::Reason::kNone:
      break;
    case vorn::api::Reason::kInterrupted:
      return VORN_REASON_INTERRUPTED;
    case vorn::api::Reason::kTimeout:
      return VORN_REASON_TIMEOUT;
    case vorn::api::Reason::kConflictLimit:
      return VORN_REASON_CONFLICT_LIMIT;
    case vorn::api::Reason::kMemory:
      return VORN_REASON_MEMORY;
    case vorn::api::Reason::kDefect:
      return VORN_REASON_DEFECT;
  }
  return VORN_REASON_NONE;
}

vorn_error vorn_set_timeout(vorn_solver* solver, uint64_t milliseconds) {
  return run(solver, [milliseconds](vorn_solver& s) {
    s.session.set_timeout(milliseconds);
  });
}

vorn_error vorn_set_conflict_limit(vorn_solver* solver, uint64_t conflicts) {
  return run(solver, [conflicts](vorn_solver& s) {
    s.session.set_conflict_limit(conflicts);
  });
}

vorn_error vorn_set_terminate(vorn_solver* solver, void* data,
                              int (*terminate)(void* data)) {
  return run(solver, [data, terminate](vorn_solver& s) {
    if (terminate == nullptr) return s.session.set_poll({});
    s.session.set_poll([data, terminate] { return terminate(data) != 0; });
  });
}

vorn_error vorn_set_progress(vorn_solver* solver, void* data,
                             void (*progress)(void* data,
                                              const vorn_progress* told)) {
  return run(solver, [data, progress](vorn_solver& s) {
    s.progress_data = data;
    s.progress = progress;
    if (progress == nullptr) return s.session.set_progress({});
    s.session.set_progress(
        [&s](const vorn::api::Progress& told) { tell(s, told); });
  });
}

void vorn_stop(vorn_solver* solver) {
  if (solver != nullptr) solver->session.stop();
}

// --- After solving ---

int vorn_has_model(vorn_solver* solver) {
  return value(solver, -1,
               [](vorn_solver& s) { return s.session.has_model() ? 1 : 0; });
}

int vorn_value(vorn_solver* solver, vorn_formula formula) {
  return value(solver, -1, [formula](vorn_solver& s) {
    require_model(s);
    return s.session.value(formula_of(s, formula)) ? 1 : 0;
  });
}

vorn_error vorn_number_value(vorn_solver* solver, vorn_number x,
                             int64_t* place) {
  return run(solver, [x, place](vorn_solver& s) {
    require_model(s);
    const std::int64_t word =
        vorn::c::word_of(s.session.value(number_of(s, x)));
    if (place != nullptr) *place = word;
  });
}

vorn_error vorn_number_value_text(vorn_solver* solver, vorn_number x,
                                  const char** place) {
  return run(solver, [x, place](vorn_solver& s) {
    require_model(s);
    hand_out(s, 0, s.session.value(number_of(s, x)).to_str(), place);
  });
}

size_t vorn_num_objectives(vorn_solver* solver) {
  return value(solver, std::size_t{0}, [](vorn_solver& s) -> std::size_t {
    if (s.state.stage != State::Stage::kSat &&
        s.state.stage != State::Stage::kUnknown) {
      return 0;
    }
    return s.state.stack.results().size();
  });
}

vorn_error vorn_objective(vorn_solver* solver, size_t k, const char** name,
                          int* is_settled, vorn_extent* low,
                          vorn_extent* high) {
  return run(solver, [=](vorn_solver& s) {
    require_whole(s);
    require(s.state.stage == State::Stage::kSat ||
                s.state.stage == State::Stage::kUnknown,
            VORN_ERROR_STATE, "there is no answer about objectives");
    const auto& results = s.state.stack.results();
    require(k < results.size(), VORN_ERROR_ARGUMENT, "no such objective");
    const Objective objective = vorn::api::inner::objective_of(results[k]);
    hand_out(s, 0, objective.name, name);
    if (is_settled != nullptr) *is_settled = objective.is_settled ? 1 : 0;
    hand_out(s, 1, objective.best.low, low);
    hand_out(s, 2, objective.best.high, high);
  });
}

vorn_error vorn_bounds(vorn_solver* solver, vorn_number x, vorn_extent* low,
                       vorn_extent* high) {
  return run(solver, [=](vorn_solver& s) {
    require_sat(s);
    const Expression bounded = number_of(s, x);
    const std::string objection = s.session.objection(bounded);
    if (!objection.empty()) throw Failure{VORN_ERROR_OUTSIDE, objection};
    const Interval interval = s.session.bounds(bounded);
    hand_out(s, 1, interval.low, low);
    hand_out(s, 2, interval.high, high);
  });
}

int vorn_failed(vorn_solver* solver, vorn_formula assumption) {
  return value(solver, -1, [assumption](vorn_solver& s) {
    require_unsat(s);
    // A formula has one handle, but what was assumed may be written otherwise.
    const vorn_formula handle = handle_of(formula_of(s, assumption));
    return static_cast<int>(s.failed.count(handle));
  });
}

vorn_error vorn_core(vorn_solver* solver, size_t* count,
                     const char* const** names) {
  return run(solver, [count, names](vorn_solver& s) {
    require_unsat(s);
    require(count != nullptr && names != nullptr, VORN_ERROR_ARGUMENT,
            "there is no place for the core");
    s.core_names.clear();
    s.core = s.session.core();
    for (const std::string& name : s.core) s.core_names.push_back(name.c_str());
    *count = s.core_names.size();
    *names = s.core_names.data();
  });
}

vorn_error vorn_explanation(vorn_solver* solver, const char** text) {
  return run(solver, [text](vorn_solver& s) {
    require_unsat(s);
    hand_out(s, 0, s.session.explanation(), text);
  });
}

vorn_error vorn_proof(vorn_solver* solver, const char** text) {
  return run(solver, [text](vorn_solver& s) {
    require_whole(s);
    require(s.state.settings.keep_proofs, VORN_ERROR_STATE,
            "no proofs are kept: see VORN_KEEP_PROOFS");
    std::string proof = s.session.proof();
    require(!proof.empty(), VORN_ERROR_STATE, "this has no proof");
    hand_out(s, 0, std::move(proof), text);
  });
}

vorn_error vorn_improvement(vorn_solver* solver, const char** text) {
  return run(solver, [text](vorn_solver& s) {
    hand_out(s, 0, s.session.improvement(), text);
  });
}

vorn_error vorn_chart(vorn_solver* solver, const char** text) {
  return run(solver, [text](vorn_solver& s) {
    require_sat(s);
    require(s.state.settings.keep_schedule, VORN_ERROR_STATE,
            "no schedule is kept: see VORN_KEEP_SCHEDULE");
    hand_out(s, 0, s.session.chart(), text);
  });
}

vorn_error vorn_script(vorn_solver* solver, const char** text) {
  return run(solver, [text](vorn_solver& s) {
    require_whole(s);
    hand_out(s, 0, s.session.script(), text);
  });
}

vorn_error vorn_statistics(vorn_solver* solver, const char** text) {
  return run(solver, [text](vorn_solver& s) {
    std::string lines;
    for (const auto& [name, counter] : s.session.statistics()) {
      lines += name;
      lines += ": ";
      lines += counter;
      lines += '\n';
    }
    hand_out(s, 0, std::move(lines), text);
  });
}

vorn_error vorn_formula_text(vorn_solver* solver, vorn_formula formula,
                             const char** text) {
  return run(solver, [=](vorn_solver& s) {
    hand_out(s, 0, s.session.text(formula_of(s, formula)), text);
  });
}

vorn_error vorn_number_text(vorn_solver* solver, vorn_number x,
                            const char** text) {
  return run(solver, [=](vorn_solver& s) {
    hand_out(s, 0, s.session.text(number_of(s, x)), text);
  });
}
