// SPDX-License-Identifier: MIT
#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/within_memory.h"
#include "solver/terms/term_printer.h"

// The commands that change the session. Each reads all of itself, checks it,
// and only then changes anything; names that terms gave on the way are taken
// back by the caller.

namespace vorn::solver {
namespace {

// Each level costs the engine some memory and a selector; a script that wants
// more has an error in its number.
constexpr std::size_t kMostLevels = 1000000;

}  // namespace

const Interpreter::Command Interpreter::kCommands[] = {
    // name, handler, need, edits, reports
    {"assert", &Interpreter::run_assert, Need::kLogic, true},
    {"assert-soft", &Interpreter::run_assert_soft, Need::kLogic, true},
    {"check-sat", &Interpreter::run_check_sat, Need::kLogic},
    {"check-sat-assuming", &Interpreter::run_check_sat_assuming, Need::kLogic},
    {"declare-const", &Interpreter::run_declare_const, Need::kLogic, true},
    {"declare-datatype", &Interpreter::run_unsupported},
    {"declare-datatypes", &Interpreter::run_unsupported},
    {"declare-fun", &Interpreter::run_declare_fun, Need::kLogic, true},
    {"declare-sort", &Interpreter::run_declare_sort, Need::kLogic},
    {"define-const", &Interpreter::run_define_const, Need::kLogic, true},
    {"define-fun", &Interpreter::run_define_fun, Need::kLogic, true},
    {"define-fun-rec", &Interpreter::run_unsupported},
    {"define-funs-rec", &Interpreter::run_unsupported},
    {"define-sort", &Interpreter::run_define_sort, Need::kLogic, true},
    {"echo", &Interpreter::run_echo, Need::kNothing, false, true},
    {"exit", &Interpreter::run_exit},
    {"get-assertions", &Interpreter::run_get_assertions, Need::kLogic, false,
     true},
    {"get-assignment", &Interpreter::run_get_assignment, Need::kModel, false,
     true},
    {"get-bounds", &Interpreter::run_get_bounds, Need::kSat, false, true},
    {"get-info", &Interpreter::run_get_info, Need::kNothing, false, true},
    {"get-model", &Interpreter::run_get_model, Need::kModel, false, true},
    {"get-objectives", &Interpreter::run_get_objectives, Need::kNotUnsat, false,
     true},
    {"get-option", &Interpreter::run_get_option, Need::kNothing, false, true},
    {"get-proof", &Interpreter::run_get_proof, Need::kProof, false, true},
    {"get-unsat-assumptions", &Interpreter::run_get_unsat_assumptions,
     Need::kUnsat, false, true},
    {"get-unsat-core", &Interpreter::run_get_unsat_core, Need::kUnsat, false,
     true},
    {"get-value", &Interpreter::run_get_value, Need::kModel, false, true},
    {"maximize", &Interpreter::run_maximize, Need::kLogic, true},
    {"minimize", &Interpreter::run_minimize, Need::kLogic, true},
    {"pop", &Interpreter::run_pop, Need::kLogic, true},
    {"push", &Interpreter::run_push, Need::kLogic, true},
    {"reset", &Interpreter::run_reset},
    {"reset-assertions", &Interpreter::run_reset_assertions, Need::kLogic},
    {"set-info", &Interpreter::run_set_info},
    {"set-logic", &Interpreter::run_set_logic, Need::kStart},
    {"set-option", &Interpreter::run_set_option},
};

std::vector<std::string_view> Interpreter::command_names() {
  std::vector<std::string_view> names;
  for (const Command& command : kCommands) names.push_back(command.name);
  return names;
}

const Interpreter::Command* Interpreter::find_command(const std::string& name) {
  const auto* found = std::find_if(
      std::begin(kCommands), std::end(kCommands),
      [&name](const Command& command) { return command.name == name; });
  return found == std::end(kCommands) ? nullptr : found;
}

bool Interpreter::run_set_logic() {
  std::string logic;
  if (!read_symbol(logic)) return false;
  const Position position = lexer_.token().position;
  if (!read_close()) return false;
  const auto arithmetic = arithmetic_of_logic(logic);
  if (!arithmetic) return fail(position, describe_unknown_logic(logic));
  start_logic(*arithmetic);
  logic_set_ = true;
  return true;
}

// --- Declarations and definitions ---

bool Interpreter::run_declare_fun() {
  std::string name;
  if (!read_new_symbol(name)) return false;
  if (lexer_.next().kind != TokenKind::kOpen) return fail_at_token("'('");
  if (lexer_.next().kind != TokenKind::kClose) {
    return fail(lexer_.token().position,
                "a function with arguments cannot be declared");
  }
  return declare(name);
}

bool Interpreter::run_declare_const() {
  std::string name;
  return read_new_symbol(name) && declare(name);
}

bool Interpreter::read_sort(Sort& sort) {
  lexer_.next();
  if (session_->parser->parse_sort(sort)) return true;
  error_ = session_->parser->error();
  return false;
}

bool Interpreter::run_declare_sort() {
  std::string name;
  if (!read_symbol(name)) return false;
  return fail(lexer_.token().position,
              "sort " + print_symbol(name) +
                  " cannot be declared; there are Bool, Int and Real");
}

bool Interpreter::run_define_sort() {
  std::string name;
  if (!read_symbol(name)) return false;
  const Position position = lexer_.token().position;
  if (lexer_.next().kind != TokenKind::kOpen) return fail_at_token("'('");
  if (lexer_.next().kind != TokenKind::kClose) {
    return fail(lexer_.token().position,
                "a sort with parameters cannot be defined");
  }
  Sort sort = Sort::kBool;
  if (!read_sort(sort) || !read_close()) return false;
  if (!session_->symbols.define_sort(name, sort)) {
    return fail(position, "sort " + print_symbol(name) + " is already in use");
  }
  mode_ = Mode::kAssert;
  return true;
}

bool Interpreter::declare(const std::string& name) {
  Sort sort = Sort::kBool;
  if (!read_sort(sort) || !read_close()) return false;
  Meaning meaning;
  meaning.term = session_->store.make_symbol(name, sort);
  if (session_->record != nullptr) {
    meaning.written = session_->record->leaf(meaning.term);
  }
  session_->declared.push_back(meaning.term);
  session_->symbols.define(name, std::move(meaning));
  mode_ = Mode::kAssert;
  return true;
}

bool Interpreter::run_define_const() {
  std::string name;
  return read_new_symbol(name) && define(name, {});
}

bool Interpreter::run_define_fun() {
  std::string name;
  std::vector<const Term*> parameters;
  return read_new_symbol(name) && read_parameters(parameters) &&
         define(name, std::move(parameters));
}

bool Interpreter::read_parameters(std::vector<const Term*>& parameters) {
  if (lexer_.next().kind != TokenKind::kOpen) return fail_at_token("'('");
  std::vector<std::string> names;
  std::unordered_set<std::string> seen;
  while (lexer_.next().kind == TokenKind::kOpen) {
    std::string name;
    Sort sort = Sort::kBool;
    if (!read_symbol(name)) return false;
    if (!seen.insert(name).second) {
      return fail(lexer_.token().position,
                  "parameter " + print_symbol(name) + " occurs twice");
    }
    if (!read_sort(sort) || !read_close()) return false;
    parameters.push_back(session_->store.make_fresh_symbol(name, sort));
    names.push_back(name);
  }
  if (lexer_.token().kind != TokenKind::kClose) {
    return fail_at_token("a parameter or ')'");
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    session_->symbols.bind(names[i], parameters[i]);
  }
  return true;
}

bool Interpreter::define(const std::string& name,
                         std::vector<const Term*> parameters) {
  Sort sort = Sort::kBool;
  ParsedTerm body;
  if (!read_sort(sort)) return false;
  session_->parser->start_command(parameters.empty());
  lexer_.next();
  if (!read_term(body)) return false;
  const Term* term = session_->parser->builder().as_sort(body.term, sort);
  if (term == nullptr) {
    return fail(body.position, std::string("the definition is to be of sort ") +
                                   print_sort(sort) + ", but this is of sort " +
                                   print_sort(body.term->sort));
  }
  if (!read_close()) return false;
  Meaning meaning;
  if (parameters.empty()) {
    // A definition with parameters is checked where it is used: only there is
    // it known which factors are constant.
    if (sort == Sort::kBool && !check_fragment(body)) return false;
    meaning.term = term;
    meaning.written = body.written;
  } else {
    RecordId written = kNotRecorded;
    if (session_->record != nullptr) {
      written = session_->record->define(parameters, body.written);
    }
    meaning.macro = std::make_shared<const Macro>(
        Macro{std::move(parameters), term, written});
  }
  if (!session_->symbols.define(name, std::move(meaning))) {
    return fail(command_,
                "symbol " + print_symbol(name) + " is named in its own body");
  }
  keep_names();
  mode_ = Mode::kAssert;
  return true;
}

void Interpreter::keep_names() {
  const std::vector<TermParser::Name>& names = session_->parser->names();
  session_->named.insert(session_->named.end(), names.begin(), names.end());
  if (options_.keep_picture) keep_texts();
}

// --- Assertions ---

bool Interpreter::assert_bound() {
  if (session_->bounds == nullptr) return false;
  const BoundReader::Bound* bound = session_->bounds->read();
  if (bound == nullptr) return false;
  ScriptFormula assertion;
  assertion.term = bound->term;
  if (options_.produce_assertions) assertion.text = bound->text;
  assertion.line = command_.line;
  session_->stack->add_bound(std::move(assertion), *bound->sum,
                             bound->is_strict);
  mode_ = Mode::kAssert;
  return true;
}

bool Interpreter::run_assert() {
  if (assert_bound()) return true;
  ParsedTerm formula;
  session_->parser->start_command(true);
  lexer_.next();
  if (!read_formula(formula) || !read_close() || !check_fragment(formula)) {
    return false;
  }
  ScriptFormula assertion;
  assertion.term = formula.term;
  if (options_.produce_assertions) assertion.text = text_of(formula);
  if (formula.name) {
    assertion.name = std::make_shared<const std::string>(*formula.name);
  }
  assertion.line = command_.line;
  assertion.written = formula.written;
  session_->stack->add(std::move(assertion));
  keep_names();
  mode_ = Mode::kAssert;
  return true;
}

// --- Objectives ---

bool Interpreter::run_minimize() {
  return add_objective(false);
}

bool Interpreter::run_maximize() {
  return add_objective(true);
}

bool Interpreter::add_objective(bool is_maximised) {
  ParsedTerm term;
  if (!read_objective(term)) return false;
  std::string name = text_of(term);
  lexer_.next();
  if (!read_attributes(name, nullptr)) return false;
  ScriptObjective objective;
  objective.term = term.term;
  objective.is_maximised = is_maximised;
  objective.name = std::move(name);
  objective.written = term.written;
  session_->stack->add(std::move(objective));
  mode_ = Mode::kAssert;
  return true;
}

bool Interpreter::read_objective(ParsedTerm& term) {
  session_->parser->start_command(false);
  lexer_.next();
  if (!read_term(term)) return false;
  if (term.term->is_bool()) {
    return fail(term.position, "expected an Int or a Real, not a Bool");
  }
  // Its comparisons with all numbers are inside if one is.
  ParsedTerm bound = term;
  TermStore& store = session_->store;
  bound.term = store.make_leq(term.term, store.make_number(QNumber(0)));
  return check_fragment(bound);
}

bool Interpreter::run_assert_soft() {
  session_->parser->start_command(false);
  lexer_.next();
  ParsedTerm formula;
  if (!read_formula(formula) || !check_fragment(formula)) return false;
  ScriptObjective soft;
  soft.term = formula.term;
  soft.name = "soft";
  soft.weight = QNumber(1);
  soft.written = formula.written;
  lexer_.next();
  if (!read_attributes(soft.name, &soft.weight)) return false;
  session_->stack->add(std::move(soft));
  mode_ = Mode::kAssert;
  return true;
}

bool Interpreter::read_attributes(std::string& name, QNumber* weight) {
  while (lexer_.token().kind != TokenKind::kClose) {
    const Token& token = lexer_.token();
    const bool is_weight = weight != nullptr && token.text == ":weight";
    if (token.kind != TokenKind::kKeyword ||
        (token.text != ":id" && !is_weight)) {
      return fail_at_token(weight == nullptr ? "':id' or ')'"
                                             : "':weight', ':id' or ')'");
    }
    if (is_weight) {
      if (!read_weight(*weight)) return false;
    } else {
      if (!read_symbol(name)) return false;
      name = print_symbol(name);
    }
    lexer_.next();
  }
  return true;
}

// A numeral, a decimal, or the quotient of two.
bool Interpreter::read_weight(QNumber& weight) {
  const auto read = [this](QNumber& number) {
    const Token& token = lexer_.token();
    if (token.kind != TokenKind::kNumeral &&
        token.kind != TokenKind::kDecimal) {
      return fail_at_token("a number, not below 0");
    }
    number = QNumber::from_string(token.text).value();
    return true;
  };
  if (lexer_.next().kind != TokenKind::kOpen) return read(weight);
  if (lexer_.next().kind != TokenKind::kSymbol || lexer_.token().text != "/") {
    return fail_at_token("/");
  }
  lexer_.next();
  if (!read(weight)) return false;
  lexer_.next();
  QNumber divisor;
  if (!read(divisor)) return false;
  if (divisor.sign() == 0) return fail_at_token("a number above 0");
  weight /= divisor;
  return read_close();
}

bool Interpreter::run_push() {
  std::size_t count = 0;
  Position position;
  if (!read_count(count, position)) return false;
  const std::size_t levels = session_->stack->levels();
  if (count > kMostLevels - levels) {
    return fail(position, "there cannot be more than " +
                              std::to_string(kMostLevels) + " levels");
  }
  for (; count > 0; --count) {
    if (!options_.global_declarations) session_->scopes.push();
    session_->stack->push();
  }
  mode_ = Mode::kAssert;
  return true;
}

bool Interpreter::run_pop() {
  std::size_t count = 0;
  Position position;
  if (!read_count(count, position)) return false;
  const std::size_t levels = session_->stack->levels();
  if (count > levels) {
    return fail(position, "there " +
                              (levels == 1 ? "is 1 level"
                                           : "are " + std::to_string(levels) +
                                                 " levels") +
                              std::string(" to pop"));
  }
  for (; count > 0; --count) {
    session_->stack->pop();
    if (!options_.global_declarations) session_->scopes.pop();
    has_litter_ = true;
  }
  mode_ = Mode::kAssert;
  return true;
}

bool Interpreter::run_reset() {
  if (!read_close()) return false;
  drop_session();
  if (options_.regular_output_channel !=
          initial_options_.regular_output_channel ||
      options_.diagnostic_output_channel !=
          initial_options_.diagnostic_output_channel ||
      options_.verbosity != initial_options_.verbosity) {
    host_.set_output(initial_options_.regular_output_channel);
    host_.set_diagnostics(initial_options_.diagnostic_output_channel,
                          initial_options_.verbosity);
  }
  // Whoever waits for an answer to each command goes on waiting.
  const bool print_success = options_.print_success;
  options_ = initial_options_;
  options_.print_success = print_success;
  mode_ = Mode::kStart;
  logic_set_ = false;
  status_.clear();
  return true;
}

bool Interpreter::run_reset_assertions() {
  if (!read_close()) return false;
  mode_ = Mode::kAssert;
  if (session_ == nullptr || !options_.global_declarations) {
    drop_session();
    start_session();
    return true;
  }
  // The declarations stay, and with them the terms.
  host_.engine_gone();
  session_->stack.reset();
  make_stack();
  has_litter_ = true;
  return true;
}

bool Interpreter::run_exit() {
  if (!read_close()) return false;
  exited_ = true;
  return true;
}

bool Interpreter::run_unsupported() {
  lexer_.skip_command();
  reply_ = "unsupported\n";
  return true;
}

// --- Checks ---

bool Interpreter::run_check_sat() {
  if (!read_close()) return false;
  assumptions_.clear();
  assumed_ = false;
  check();
  return true;
}

bool Interpreter::run_check_sat_assuming() {
  if (session_ == nullptr) {
    lexer_.skip_command();
    check();
    return true;
  }
  if (lexer_.next().kind != TokenKind::kOpen) {
    return fail_at_token("'(' before the assumptions");
  }
  session_->parser->start_command(false);
  std::vector<ScriptFormula> assumptions;
  while (lexer_.next().kind != TokenKind::kClose) {
    ParsedTerm assumption;
    if (!read_formula(assumption) || !check_fragment(assumption)) return false;
    assumptions.push_back({assumption.term, text_of(assumption), nullptr,
                           assumption.position.line, true, assumption.written});
  }
  if (!read_close()) return false;
  if (options_.keep_picture) keep_texts();
  assumptions_ = std::move(assumptions);
  assumed_ = true;
  has_litter_ = true;
  check();
  return true;
}

void Interpreter::check() {
  core_settled_ = false;
  improvement_.reset();
  assignment_ = false;
  mode_ = Mode::kUnknown;
  Answer answer = Answer::kUnknown;
  reason_unknown_ = "memout";
  if (session_ != nullptr) {
    checking_ = true;
    host_.check_started(options_.timeout, kUnknown);
    if (host_.stop() == SessionHost::Stop::kNone) {
      session_->stack->engine().set_conflict_limit(options_.conflict_limit);
      answer = session_->stack->check(terms_of(assumptions_));
      // An answer without the proof that was asked for is none.
      if (answer == Answer::kSat && options_.keep_proof &&
          !refute_improvement()) {
        answer = Answer::kUnknown;
      }
      assignment_ = session_->stack->engine().has_model();
      reason_unknown_ = engine_reason();
    }
    if (!host_.check_finished()) {
      answer = Answer::kUnknown;
      replied_ = true;
    }
    checking_ = false;
    if (host_.stop() == SessionHost::Stop::kTimeout) {
      reason_unknown_ = "timeout";
    } else if (host_.stop() == SessionHost::Stop::kInterrupt) {
      reason_unknown_ = "interrupted";
    }
  }
  const bool is_proved = answer == Answer::kUnsat || improvement_;
  if (is_proved && options_.keep_proof &&
      !within_memory([this] { proof_ = proof_text(); })) {
    host_.release_reserve();
    proof_.clear();
    answer = Answer::kUnknown;
    reason_unknown_ = "memout";
  }
  std::string model;
  if (answer == Answer::kSat && options_.print_models &&
      !within_memory([&] { model = model_text(); })) {
    host_.release_reserve();
    answer = Answer::kUnknown;
    reason_unknown_ = "memout";
  }
  if (options_.keep_picture) {
    record_picture(answer);
    checked_ = true;
  }
  if (options_.keep_chart && has_schedule(answer)) record_chart();
  switch (answer) {
    case Answer::kSat:
      mode_ = Mode::kSat;
      reply_ = "sat\n";
      compare_with_status("sat");
      reply_ += model;
      if (options_.slack) show_slack();
      break;
    case Answer::kUnsat:
      mode_ = Mode::kUnsat;
      reply_ = "unsat\n";
      compare_with_status("unsat");
      if (options_.explain) explain();
      break;
    case Answer::kUnknown:
      if (!replied_) reply_ = kUnknown;
      compare_with_status("unknown");
      break;
  }
}

}  // namespace vorn::solver
