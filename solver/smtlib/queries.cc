// SPDX-License-Identifier: MIT
#include <cassert>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "solver/proof/proof_writer.h"
#include "solver/smtlib/improvement.h"
#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/within_memory.h"
#include "solver/terms/term_printer.h"

// Options, information, and the commands that report on the last answer.

namespace vorn::solver {
namespace {

// "dl conflicts" becomes ":dl-conflicts".
std::string keyword_of(const std::string& key) {
  std::string keyword = ":";
  for (const char c : key) {
    const bool kept = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                      (c >= '0' && c <= '9') || c == '_' || c == '.';
    keyword += kept ? c : '-';
  }
  return keyword;
}

// A number as it is, anything else as a string.
std::string statistic_value(const std::string& value) {
  const bool is_number =
      !value.empty() && value.front() != '.' && value.back() != '.' &&
      value.find_first_not_of("0123456789.") == std::string::npos;
  return is_number ? value : quote_string(value);
}

std::string in_brackets(const std::vector<std::string>& parts,
                        const char* separator) {
  std::string text = "(";
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) text += separator;
    text += parts[i];
  }
  return text + ")\n";
}

// Whether an engine with the one would not do for the other.
bool engine_differs(const EngineOptions& a, const EngineOptions& b) {
  return a.lemmas.dl_tlemma_kinds != b.lemmas.dl_tlemma_kinds ||
         a.lemmas.dl_tlemma_min_overlap != b.lemmas.dl_tlemma_min_overlap ||
         a.lemmas.dl_dedup_tlemmas != b.lemmas.dl_dedup_tlemmas ||
         a.propagation.mode != b.propagation.mode || a.machines != b.machines ||
         a.search.seed != b.search.seed;
}

// Keeps what a stream is given as a string that can be moved: proofs are long.
class TextBuffer final : public std::streambuf {
 public:
  std::string text;

 private:
  std::streamsize xsputn(const char* characters,
                         std::streamsize count) override {
    text.append(characters, static_cast<std::size_t>(count));
    return count;
  }
  int_type overflow(int_type character) override {
    if (character != traits_type::eof()) {
      text += traits_type::to_char_type(character);
    }
    return traits_type::not_eof(character);
  }
};

}  // namespace

// --- Options and information ---

bool Interpreter::run_set_option() {
  std::string keyword;
  if (!read_keyword(keyword)) return false;
  if (!get_option(options_, keyword).has_value()) return run_unsupported();
  lexer_.next();
  const Token value = lexer_.token();
  if (value.kind == TokenKind::kClose || !skip_expression(lexer_)) {
    return fail_at_token("a value");
  }
  if (!read_close()) return false;
  ScriptOptions changed = options_;
  std::string expected;
  // Once memory has run out nobody knows.
  const bool asserted =
      mode_ != Mode::kStart &&
      (session_ == nullptr || !session_->stack->assertions().empty());
  switch (set_option(changed, keyword, value, asserted, expected)) {
    case SetResult::kSet:
      return apply_options(std::move(changed), value.position);
    case SetResult::kUnsupported:
      return run_unsupported();
    case SetResult::kTooLate:
      return fail(command_,
                  "option " + keyword +
                      " can be changed only while nothing is asserted");
    case SetResult::kBadValue:
      return fail(value.position, "option " + keyword + " expects " + expected);
  }
  return false;
}

bool Interpreter::apply_options(ScriptOptions changed, Position position) {
  if (changed.global_declarations != options_.global_declarations &&
      session_ != nullptr && session_->stack->levels() > 0) {
    return fail(command_,
                "option :global-declarations can be changed only while no "
                "level is open");
  }
  // Proofs are about terms as they are written, from the first one on.
  if (changed.engine.keep_proofs != options_.engine.keep_proofs &&
      session_ != nullptr) {
    return fail(command_,
                "option :produce-proofs can be changed only before set-logic");
  }
  if (changed.regular_output_channel != options_.regular_output_channel &&
      !host_.set_output(changed.regular_output_channel)) {
    return fail(position,
                "cannot write to file " + changed.regular_output_channel);
  }
  if ((changed.diagnostic_output_channel !=
           options_.diagnostic_output_channel ||
       changed.verbosity != options_.verbosity) &&
      !host_.set_diagnostics(changed.diagnostic_output_channel,
                             changed.verbosity)) {
    return fail(position,
                "cannot write to file " + changed.diagnostic_output_channel);
  }
  if (session_ != nullptr) {
    session_->stack->assume_named(changed.produce_unsat_cores);
    if (engine_differs(options_.engine, changed.engine)) {
      // The engine forgets its last answer over this.
      session_->stack->engine().set_options(changed.engine);
      mode_ = Mode::kAssert;
    }
  }
  options_ = std::move(changed);
  return true;
}

bool Interpreter::run_get_option() {
  std::string keyword;
  if (!read_keyword(keyword) || !read_close()) return false;
  const std::optional<std::string> value = get_option(options_, keyword);
  reply_ = value.value_or("unsupported") + '\n';
  return true;
}

bool Interpreter::run_set_info() {
  std::string keyword;
  if (!read_keyword(keyword)) return false;
  if (lexer_.next().kind == TokenKind::kClose) return true;
  const Token value = lexer_.token();
  if (!skip_expression(lexer_)) return fail_at_token("a value");
  if (!read_close()) return false;
  if (keyword == ":status" && value.kind == TokenKind::kSymbol &&
      (value.text == "sat" || value.text == "unsat" ||
       value.text == "unknown")) {
    status_ = value.text;
    status_pending_ = true;
  }
  return true;
}

bool Interpreter::run_get_info() {
  std::string keyword;
  if (!read_keyword(keyword) || !read_close()) return false;
  if (keyword == ":name") {
    reply_ = "(:name \"vorn\")\n";
  } else if (keyword == ":version") {
    reply_ = "(:version \"" VORN_VERSION "\")\n";
  } else if (keyword == ":authors") {
    reply_ = "(:authors \"the Vorn authors\")\n";
  } else if (keyword == ":error-behavior") {
    reply_ = "(:error-behavior " + get_option(options_, keyword).value_or("") +
             ")\n";
  } else if (keyword == ":reason-unknown") {
    if (mode_ != Mode::kUnknown) {
      return fail(command_, "the last answer is not unknown");
    }
    reply_ = "(:reason-unknown " + reason_unknown_ + ")\n";
  } else if (keyword == ":status") {
    reply_ = "(:status " + (status_.empty() ? "unknown" : status_) + ")\n";
  } else if (keyword == ":assertion-stack-levels") {
    const std::size_t levels =
        session_ == nullptr ? 0 : session_->stack->levels();
    reply_ = "(:assertion-stack-levels " + std::to_string(levels) + ")\n";
  } else if (keyword == ":all-statistics") {
    std::vector<std::string> parts;
    for (const auto& [key, value] : statistics()) {
      parts.push_back(keyword_of(key) + ' ' + statistic_value(value));
    }
    reply_ = in_brackets(parts, "\n ");
  } else {
    reply_ = "unsupported\n";
  }
  return true;
}

bool Interpreter::run_echo() {
  if (lexer_.next().kind != TokenKind::kString) {
    return fail_at_token("a string");
  }
  const std::string text = lexer_.token().text;
  if (!read_close()) return false;
  reply_ = quote_string(text) + '\n';
  return true;
}

std::string Interpreter::engine_reason() {
  switch (session_->stack->engine().unknown_reason()) {
    case UnknownReason::kMemout:
      return "memout";
    case UnknownReason::kInternalError:
      return "internal-error";
    case UnknownReason::kConflictLimit:
      return "resource-limit";
    case UnknownReason::kStopped:
    case UnknownReason::kNone:
      break;
  }
  return "incomplete";
}

// A check of one script may stand for another one's by mistake, and so may the
// script. What was said holds for one check: the next one is another question.
void Interpreter::compare_with_status(const std::string& answer) {
  const bool compares = status_pending_ && answer != "unknown";
  status_pending_ = false;
  if (!compares || status_ == "unknown" || status_ == answer) return;
  host_.write_diagnostics(
      "vorn: line " + std::to_string(command_.line) + ": the answer is " +
      answer + ", but the script gives the status as " + status_ + '\n');
}

// --- After sat ---

std::string Interpreter::value_text(const Term* term) {
  Engine& engine = session_->stack->engine();
  if (term->is_bool()) return engine.bool_value(term) ? "true" : "false";
  return print_value(engine.number_value(term), term->sort);
}

bool Interpreter::run_get_model() {
  if (!read_close_with(":produce-models")) return false;
  reply_ = model_text();
  return true;
}

std::string Interpreter::model_text() {
  std::string text = "(\n";
  for (const Term* symbol : session_->declared) {
    text += "  (define-fun " + print_symbol(symbol->name()) + " () " +
            print_sort(symbol->sort) + ' ' + value_text(symbol) + ")\n";
  }
  return text + ")\n";
}

bool Interpreter::run_get_value() {
  if (lexer_.next().kind != TokenKind::kOpen) {
    return fail_at_token("'(' before the terms");
  }
  session_->parser->start_command(false);
  std::vector<ParsedTerm> terms;
  if (lexer_.next().kind == TokenKind::kClose) return fail_at_token("a term");
  while (lexer_.token().kind != TokenKind::kClose) {
    if (!read_term(terms.emplace_back())) return false;
    lexer_.next();
  }
  if (!read_close_with(":produce-models")) return false;
  has_litter_ = true;
  std::vector<std::string> parts;
  parts.reserve(terms.size());
  for (const ParsedTerm& term : terms) {
    parts.push_back('(' + text_of(term) + ' ' + value_text(term.term) + ')');
  }
  reply_ = in_brackets(parts, "\n ");
  return true;
}

bool Interpreter::run_get_assignment() {
  if (!read_close_with(":produce-assignments")) return false;
  std::vector<std::string> parts;
  for (const TermParser::Name& named : session_->named) {
    if (!named.term->is_bool()) continue;
    parts.push_back('(' + print_symbol(named.name) + ' ' +
                    value_text(named.term) + ')');
  }
  reply_ = in_brackets(parts, " ");
  return true;
}

// --- Objectives ---

std::string Interpreter::extent_text(const Extent& extent, Sort sort) {
  if (extent.kind == Extent::Kind::kBelow) return "(- oo)";
  if (extent.kind == Extent::Kind::kAbove) return "oo";
  const QNumber& number = extent.value.rational();
  const int side = extent.value.eps().sign();
  if (!number.is_integer() || side != 0) sort = Sort::kReal;
  const std::string text = print_value(number, sort);
  if (side == 0) return text;
  return (side > 0 ? "(+ " : "(- ") + text + " epsilon)";
}

std::string Interpreter::interval_text(const Interval& interval, Sort sort) {
  const std::string low = extent_text(interval.low, sort);
  if (interval.is_settled) return low;
  return "(interval " + low + ' ' + extent_text(interval.high, sort) + ')';
}

bool Interpreter::run_get_objectives() {
  if (!read_close()) return false;
  reply_ = "(objectives";
  const char* separator = " ";
  for (const ObjectiveResult& result : session_->stack->results()) {
    reply_ += separator + ('(' + result.name) + ' ' +
              interval_text(result.interval, result.sort) + ')';
    separator = "\n ";
  }
  reply_ += ")\n";
  return true;
}

// What is known when the time is out stands; the model stays in any case.
bool Interpreter::run_get_bounds() {
  ParsedTerm term;
  if (!read_objective(term)) return false;
  if (!read_close()) return false;
  has_litter_ = true;
  const Sort sort = term.term->sort;
  const auto reply = [sort](const std::pair<Interval, Interval>& ends,
                            const std::string& name) {
    return '(' + name + ' ' + interval_text(ends.first, sort) + ' ' +
           interval_text(ends.second, sort) + ")\n";
  };
  const std::string name = text_of(term);
  std::pair<Interval, Interval> bounds;
  host_.check_started(options_.timeout, reply(bounds, name));
  const bool had_memory = within_memory([this, &term, &bounds] {
    if (host_.stop() != SessionHost::Stop::kNone) return;
    bounds = session_->stack->find_bounds(term.term);
  });
  replied_ = !host_.check_finished();
  if (!had_memory) host_.release_reserve();
  if (!replied_) reply_ = reply(bounds, name);
  return true;
}

// --- Assertions and cores ---

bool Interpreter::run_get_assertions() {
  if (!read_close_with(":produce-assertions")) return false;
  if (session_ == nullptr) return fail(command_, "out of memory");
  std::vector<std::string> parts;
  for (const ScriptFormula& assertion : session_->stack->assertions()) {
    parts.push_back(assertion.text.str());
  }
  reply_ = in_brackets(parts, "\n ");
  return true;
}

bool Interpreter::run_get_unsat_core() {
  if (!read_close_with(":produce-unsat-cores")) return false;
  if (!core_settled_ && !settle_core()) return false;
  if (!replied_) reply_ = core_text();
  return true;
}

// What the search has reported is a core; whatever happens to what is done
// beyond that, there is an answer.
bool Interpreter::settle_core() {
  AssertionStack& stack = *session_->stack;
  using CoreState = AssertionStack::CoreState;
  CoreState state = CoreState::kReported;
  host_.check_started(options_.timeout, core_text());
  const bool had_memory = within_memory([this, &stack, &state] {
    if (host_.stop() != SessionHost::Stop::kNone) return;
    state = stack.settle_core(options_.minimize_unsat_cores);
  });
  replied_ = !host_.check_finished();
  if (!had_memory) host_.release_reserve();
  if (state == CoreState::kRefuted) {
    return fail(command_, "internal error: the unsatisfiable core has a model");
  }
  core_settled_ = state == CoreState::kConfirmed;
  return true;
}

std::string Interpreter::core_text() const {
  const AssertionStack& stack = *session_->stack;
  std::vector<std::string> parts;
  for (const std::size_t i : stack.core()) {
    parts.push_back(print_symbol(*stack.assertions()[i].name));
  }
  return in_brackets(parts, " ");
}

bool Interpreter::run_get_proof() {
  if (!read_close_with(":produce-proofs")) return false;
  std::string proof;
  bool is_found = true;
  bool had_memory = true;
  if (mode_ == Mode::kSat) {
    fail(command_, "no proof: out of time");
    host_.check_started(options_.timeout, error_text());
    had_memory = within_memory([this, &is_found] {
      is_found =
          host_.stop() == SessionHost::Stop::kNone && refute_improvement();
    });
    replied_ = !host_.check_finished();
    if (replied_) return true;
    if (!is_found) return false;
    if (had_memory && !improvement_) {
      return fail(command_, "no objective has a best value");
    }
  }
  had_memory =
      had_memory && within_memory([this, &proof] { proof = proof_text(); });
  if (!had_memory) {
    host_.release_reserve();
    return fail(command_, "there is no memory for the proof");
  }
  if (proof.empty()) return fail(command_, "this has no proof");
  reply_ = "(\n" + proof + ")\n";
  return true;
}

bool Interpreter::refute_improvement() {
  AssertionStack& stack = *session_->stack;
  improvement_.reset();
  if (stack.objectives().empty()) return true;
  Improvement improvement(session_->store, session_->parser->builder(),
                          *session_->record, arithmetic_.numeral_sort);
  const PlacedTerm formula =
      improvement.formula(stack.objectives(), stack.results());
  if (formula.term == nullptr) return true;
  const Answer answer = stack.check_besides(formula.term);
  assert(answer != Answer::kSat);
  if (answer != Answer::kUnsat) return false;
  improvement_ = formula;
  return true;
}

std::string Interpreter::proof_text() {
  AssertionStack& stack = *session_->stack;
  std::vector<RecordId> assertions;
  WrittenTerms terms(session_->store);
  RecordReader reader(*session_->record, session_->parser->builder(), terms);
  WrittenFormulas assumptions;
  const auto assume = [&](const Term* term, RecordId written) {
    assumptions.emplace(term, reader.read(written));
  };
  // Of those that mean the same, one that the core names or that it takes for
  // granted.
  for (const std::size_t i : stack.core()) {
    const ScriptFormula& assertion = stack.assertions()[i];
    assume(assertion.term, assertion.written);
  }
  if (improvement_) assume(improvement_->term, improvement_->written);
  for (const ScriptFormula& assumption : assumptions_) {
    assume(assumption.term, assumption.written);
  }
  for (const ScriptFormula& assertion : stack.assertions()) {
    if (!stack.is_assumed(assertion)) {
      assertions.push_back(assertion.written);
    } else if (improvement_) {
      assume(assertion.term, assertion.written);
    }
  }
  TextBuffer buffer;
  std::ostream out(&buffer);
  // Else a stream that ran out of memory would drop the rest in silence.
  out.exceptions(std::ostream::badbit);
  const bool is_proved = write_proof(
      session_->store, terms, stack.engine().refutation(),
      [&](std::size_t position) { return reader.read(assertions[position]); },
      assumptions, out);
  return is_proved ? std::move(buffer.text) : std::string();
}

bool Interpreter::run_get_unsat_assumptions() {
  if (!read_close_with(":produce-unsat-assumptions")) return false;
  if (!assumed_) {
    return fail(command_, "the last check had no assumptions");
  }
  std::vector<std::string> parts;
  for (const std::size_t i : session_->stack->failed_assumptions()) {
    parts.push_back(assumptions_[i].text.str());
  }
  reply_ = in_brackets(parts, " ");
  return true;
}

}  // namespace vorn::solver
