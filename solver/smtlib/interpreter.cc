// SPDX-License-Identifier: MIT
#include "solver/smtlib/interpreter.h"

#include <cassert>
#include <iterator>
#include <limits>
#include <new>
#include <utility>

#include "solver/engine/case_sums.h"
#include "solver/explain/explanation.h"
#include "solver/smtlib/within_memory.h"
#include "solver/terms/term_printer.h"
#include "solver/terms/term_sweep.h"

// This file runs commands and reads their common parts; commands.cc holds the
// commands that change something, queries.cc those that only report.

namespace vorn::solver {

Interpreter::Interpreter(Source& source, SessionHost& host,
                         const ScriptOptions& options)
    : lexer_(source),
      host_(host),
      initial_options_(options),
      options_(options) {
  host_.set_diagnostics(options_.diagnostic_output_channel, options_.verbosity);
}

Interpreter::~Interpreter() {
  drop_session();
}

// --- Running ---

bool Interpreter::run_command() {
  if (exited_ || output_lost_) return false;
  host_.reading();
  reply_.clear();
  replied_ = false;
  bool at_end = false;
  const bool had_memory = within_memory([this, &at_end] {
    const Token& first = lexer_.next();
    at_end = first.kind == TokenKind::kEnd;
    if (at_end) return;
    host_.command_started();
    run(first);
  });
  if (!had_memory) handle_memory_out();
  if (at_end) return false;
  return write_reply() && !exited_;
}

void Interpreter::run(const Token& first) {
  if (first.kind != TokenKind::kOpen) {
    // One report for all that lies between two commands.
    if (!astray_) {
      fail_at_token("a command");
      report_error();
    }
    astray_ = true;
    return;
  }
  astray_ = false;
  command_ = first.position;
  const std::size_t mark = session_ == nullptr ? 0 : session_->symbols.mark();
  const bool started = mode_ != Mode::kStart;
  const bool done = dispatch();
  if (session_ != nullptr) session_->symbols.unbind_to(0);
  if (!done) {
    if (!started) drop_start();
    if (session_ != nullptr) session_->symbols.rollback(mark);
    has_litter_ = true;
  }
  sweep_terms();
  if (done) {
    if (reply_.empty() && !replied_ && options_.print_success) {
      reply_ = "success\n";
    }
    return;
  }
  report_error();
  // What is left of a command that ends the script need not have arrived.
  if (!exited_) lexer_.skip_command();
}

bool Interpreter::dispatch() {
  const Token& token = lexer_.next();
  if (token.kind != TokenKind::kSymbol) return fail_at_token("a command name");
  const Command* command = find_command(token.text);
  if (command == nullptr) {
    return fail(token.position, "unknown command " + token.text);
  }
  if (!allowed(*command)) return false;
  if (command->reports) host_.reporting();
  if (session_ == nullptr && command->edits) {
    // Out of memory. All checks answer unknown until a reset, so whatever the
    // script adds or takes away makes no difference.
    lexer_.skip_command();
    return true;
  }
  return (this->*command->handler)();
}

bool Interpreter::allowed(const Command& command) {
  const std::string name(command.name);
  switch (command.need) {
    case Need::kNothing:
      return true;
    case Need::kStart:
      if (mode_ == Mode::kStart) return true;
      return fail(command_, logic_set_
                                ? "the logic is already set"
                                : "set-logic comes too late: without it, the "
                                  "logic of the commands before is ALL");
    case Need::kLogic:
      if (mode_ == Mode::kStart) start_logic(Arithmetic());
      return true;
    case Need::kModel:
      if (mode_ == Mode::kSat) return true;
      if (mode_ == Mode::kUnknown) {
        if (session_ != nullptr && assignment_) return true;
        return fail(command_, "there is no assignment to show");
      }
      return fail(command_, name +
                                " is possible only while the last answer "
                                "is sat");
    case Need::kSat:
      if (mode_ == Mode::kSat) return true;
      return fail(command_, name +
                                " is possible only while the last answer "
                                "is sat");
    case Need::kNotUnsat:
      if (mode_ == Mode::kSat ||
          (mode_ == Mode::kUnknown && session_ != nullptr)) {
        return true;
      }
      return fail(command_, name +
                                " is possible only while the last answer "
                                "is sat or unknown");
    case Need::kUnsat:
      if (mode_ == Mode::kUnsat) return true;
      return fail(command_, name +
                                " is possible only while the last answer "
                                "is unsat");
    case Need::kProof:
      if (mode_ == Mode::kUnsat) return true;
      if (mode_ == Mode::kSat && !session_->stack->objectives().empty()) {
        return true;
      }
      return fail(command_, name +
                                " is possible only while the last answer "
                                "is unsat or has objectives");
  }
  return false;
}

bool Interpreter::fail(Position position, std::string message) {
  error_ = {position, std::move(message)};
  return false;
}

bool Interpreter::fail_at_token(const char* expected) {
  error_ = unexpected_token(lexer_, expected);
  return false;
}

std::string Interpreter::error_text() const {
  return "(error " +
         quote_string("line " + std::to_string(error_.position.line) +
                      " column " + std::to_string(error_.position.column) +
                      ": " + error_.message) +
         ")\n";
}

void Interpreter::report_error() {
  had_error_ = true;
  exited_ = options_.error_behavior == ErrorBehavior::kImmediateExit;
  host_.command_failed();
  reply_ = error_text();
}

void Interpreter::handle_memory_out() {
  host_.release_reserve();
  drop_session();
  reply_ = std::string();
  lexer_.skip_command();
  if (checking_) {
    checking_ = false;
    if (host_.check_finished()) reply_ = kUnknown;
  } else if (options_.print_success && !replied_) {
    reply_ = "success\n";
  }
  if (mode_ != Mode::kStart) mode_ = Mode::kUnknown;
  reason_unknown_ = "memout";
}

bool Interpreter::write_reply() {
  if (reply_.empty()) return true;
  output_lost_ = !host_.write_output(reply_);
  return !output_lost_;
}

void Interpreter::start_logic(const Arithmetic& arithmetic) {
  arithmetic_ = arithmetic;
  mode_ = Mode::kAssert;
  start_session();
}

void Interpreter::start_session() {
  session_ = std::make_unique<Session>();
  session_->parser =
      std::make_unique<TermParser>(lexer_, session_->store, session_->symbols);
  session_->parser->set_arithmetic(arithmetic_);
  if (!options_.engine.keep_proofs && !options_.keep_picture) {
    session_->bounds = std::make_unique<BoundReader>(lexer_, session_->store,
                                                     session_->symbols);
    session_->bounds->set_arithmetic(arithmetic_);
    session_->parser->set_bounds(session_->bounds.get());
  }
  if (options_.engine.keep_proofs) {
    session_->record = std::make_unique<TermRecord>();
    session_->parser->set_record(session_->record.get());
  }
  make_stack();
}

void Interpreter::make_stack() {
  session_->stack = std::make_unique<AssertionStack>(
      session_->store, options_.engine, options_.produce_unsat_cores);
  session_->stack->set_progress(
      [this](const ObjectiveResult& result) { show_bounds(result); });
  host_.engine_made(session_->stack->engine());
}

void Interpreter::drop_session() {
  if (session_ == nullptr) return;
  if (session_->stack != nullptr) {
    try {
      last_statistics_ = session_->stack->engine().statistics();
    } catch (const std::bad_alloc&) {
      last_statistics_.clear();
    }
    host_.engine_gone();
  }
  session_.reset();
  assumptions_.clear();
}

void Interpreter::drop_start() {
  auto kept = std::move(last_statistics_);
  drop_session();
  last_statistics_ = std::move(kept);
  mode_ = Mode::kStart;
}

// Between commands, terms are held by what is named here and nothing else.
void Interpreter::sweep_terms() {
  if (!has_litter_ || session_ == nullptr) return;
  // A proof may mention all that has ever been.
  if (session_->record != nullptr) return;
  TermStore& store = session_->store;
  const std::size_t in_use = store.size_when_swept();
  if (store.size() <= in_use || !options_.engine.unused_terms.is_exceeded(
                                    store.size() - in_use, in_use)) {
    return;
  }
  try {
    TermSweep sweep(store);
    session_->symbols.keep_terms(sweep);
    sweep.keep(session_->declared);
    for (const TermParser::Name& named : session_->named) {
      sweep.keep(named.term);
    }
    session_->stack->keep_terms(sweep);
    Engine& engine = session_->stack->engine();
    engine.keep_terms(sweep);
    for (const ScriptFormula& formula : assumptions_) sweep.keep(formula.term);
    sweep.spread();
    for (PictureTexts::Map* texts :
         {&session_->texts.names, &session_->texts.written}) {
      sweep.drop_from(*texts);
    }
    engine.forget_swept(sweep);
    sweep.finish();
    engine.renumber_terms(sweep);
    has_litter_ = false;
  } catch (const std::bad_alloc&) {
    // All there was is there still.
  }
}

SessionHost::Statistics Interpreter::statistics() const {
  const bool has_engine = session_ != nullptr && session_->stack != nullptr;
  SessionHost::Statistics rows =
      has_engine ? session_->stack->engine().statistics() : last_statistics_;
  if (has_engine) add_bounds(rows);
  host_.add_statistics(rows);
  return rows;
}

// --- Reading the parts of commands ---

bool Interpreter::read_close() {
  if (lexer_.next().kind == TokenKind::kClose) return true;
  return fail_at_token("')'");
}

bool Interpreter::read_close_with(const char* option) {
  if (!read_close()) return false;
  if (get_option(options_, option) == "true") return true;
  return fail(command_, std::string("option ") + option +
                            " has to be true for this command");
}

bool Interpreter::read_symbol(std::string& name) {
  const Token& token = lexer_.next();
  if (!is_symbol(token)) return fail_at_token("a symbol");
  name = token.text;
  return true;
}

bool Interpreter::read_new_symbol(std::string& name) {
  if (!read_symbol(name)) return false;
  const Meaning* meaning = session_->symbols.find_global(name);
  if (meaning == nullptr) return true;
  return fail(lexer_.token().position,
              "symbol " + print_symbol(name) +
                  (meaning->op == Operator::kNone ? " is already in use"
                                                  : " is predefined"));
}

bool Interpreter::read_keyword(std::string& keyword) {
  const Token& token = lexer_.next();
  if (token.kind != TokenKind::kKeyword) return fail_at_token("a keyword");
  keyword = token.text;
  return true;
}

bool Interpreter::read_count(std::size_t& count, Position& position) {
  const Token& token = lexer_.next();
  position = token.position;
  count = 1;
  if (token.kind == TokenKind::kClose) return true;
  if (token.kind != TokenKind::kNumeral) return fail_at_token("a numeral");
  count = 0;
  for (const char digit : token.text) {
    const auto value = static_cast<std::size_t>(digit - '0');
    if (__builtin_mul_overflow(count, std::size_t{10}, &count) ||
        __builtin_add_overflow(count, value, &count)) {
      count = std::numeric_limits<std::size_t>::max();
      break;
    }
  }
  return read_close();
}

bool Interpreter::read_term(ParsedTerm& term) {
  if (session_->parser->parse(term)) return true;
  error_ = session_->parser->error();
  return false;
}

bool Interpreter::read_formula(ParsedTerm& term) {
  if (!read_term(term)) return false;
  if (!term.term->is_bool()) {
    return fail(term.position,
                std::string("expected a Bool, not ") +
                    (term.term->sort == Sort::kInt ? "an Int" : "a Real"));
  }
  return true;
}

bool Interpreter::check_fragment(const ParsedTerm& term) {
  const Term* atom = session_->stack->engine().outside_fragment(term.term);
  if (atom == nullptr) return true;
  const WrittenTerm place = session_->parser->find_atom(atom, term);
  constexpr std::size_t kShown = 120;
  const std::string shown = on_one_line(
      without_comments(lexer_.text(place.begin, place.end)), kShown);
  if (session_->stack->engine().has_too_many_sums(atom)) {
    return fail(place.position,
                shown + " has more than " + std::to_string(CaseSums::kMaxSums) +
                    " sums of its cases; state it in steps, each adding some "
                    "of the cases to a constant of its own");
  }
  return fail(place.position, shown + " is outside difference logic");
}

std::string Interpreter::text_of(const ParsedTerm& term) {
  return without_comments(lexer_.text(term.begin, term.end));
}

}  // namespace vorn::solver
