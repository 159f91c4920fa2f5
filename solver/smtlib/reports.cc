// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>
#include <string>
#include <utility>
#include <vector>

#include "solver/explain/constraint_picture.h"
#include "solver/explain/explanation.h"
#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/within_memory.h"
#include "solver/terms/term_printer.h"

// What is reported beside the script's own replies, when the program asks for
// it: why a check was unsat, and pictures of the constraints and of the model.

namespace vorn::solver {
namespace {

// A term may be long.
constexpr std::size_t kLongestName = 40;

}  // namespace

void Interpreter::explain() {
  assert(session_ != nullptr);
  // Looking for a core may take long. Whatever happens then, the answer stands.
  if (!write_reply()) return;
  reply_.clear();
  replied_ = true;
  constexpr char kNoTime[] = "; no explanation: out of time\n";
  AssertionStack& stack = *session_->stack;
  std::string text = kNoTime;
  host_.check_resumed(kNoTime);
  const bool had_memory = within_memory([this, &stack, &text] {
    if (host_.stop() != SessionHost::Stop::kNone) return;
    std::vector<ScriptFormula> formulas = stack.assertions();
    formulas.insert(formulas.end(), assumptions_.begin(), assumptions_.end());
    text = explain_unsat(session_->store, options_.engine,
                         stack.engine().stop(), options_.minimize_unsat_cores,
                         formulas, stack.engine().poll());
  });
  const bool answers = host_.check_finished();
  if (!had_memory) {
    host_.release_reserve();
    text = "; no explanation: out of memory\n";
  }
  if (answers) reply_ = std::move(text);
}

void Interpreter::show_slack() {
  if (!write_reply()) return;
  reply_.clear();
  replied_ = true;
  constexpr char kNoTime[] = "; no bounds: out of time\n";
  std::vector<std::string> names;
  std::vector<std::string> values;
  std::size_t width = 0;
  host_.check_resumed(kNoTime);
  const bool had_memory = within_memory([&] {
    for (const Term* variable : session_->declared) {
      if (variable->is_bool()) continue;
      if (host_.stop() != SessionHost::Stop::kNone) return;
      const auto [least, greatest] = session_->stack->find_bounds(variable);
      std::string low = interval_text(least, variable->sort);
      const std::string high = interval_text(greatest, variable->sort);
      if (low != high) low += " to " + high;
      names.push_back(
          on_one_line(print_symbol(variable->name()), kLongestName));
      values.push_back(std::move(low));
      width = std::max(width, names.back().size());
    }
  });
  const bool answers = host_.check_finished();
  if (!had_memory) {
    host_.release_reserve();
    values.clear();
  }
  if (!answers) return;
  for (std::size_t k = 0; k < values.size(); ++k) {
    names[k].resize(width, ' ');
    reply_ += ";   " + names[k] + "   " + values[k] + '\n';
  }
  if (!reply_.empty())
    reply_.insert(0, "; each variable, and from where to where it can be:\n");
  if (!had_memory) {
    reply_ = "; no bounds: out of memory\n";
  } else if (host_.stop() != SessionHost::Stop::kNone) {
    reply_ += kNoTime;
  }
}

void Interpreter::keep_texts() {
  constexpr std::size_t kLongest = 200;
  const TermParser& parser = *session_->parser;
  for (const auto* places : {&parser.atoms(), &parser.expansions()}) {
    for (const WrittenTerm& place : *places) {
      if (!place.term->is_bool()) continue;
      auto& text = session_->texts.written[place.term];
      if (!text.empty()) continue;
      text = on_one_line(without_comments(lexer_.text(place.begin, place.end)),
                         kLongest);
    }
  }
}

void Interpreter::record_picture(Answer answer) {
  picture_.reset();
  if (session_ == nullptr) {
    picture_.emplace();
    return;
  }
  const bool had_memory = within_memory([this, answer] {
    PictureTexts& texts = session_->texts;
    texts.names.clear();
    for (const TermParser::Name& named : session_->named) {
      texts.names.emplace(named.term, named.name);
    }
    AssertionStack& stack = *session_->stack;
    std::vector<const Term*> formulas = terms_of(stack.assertions());
    for (const ScriptFormula& assumption : assumptions_) {
      formulas.push_back(assumption.term);
    }
    picture_ = draw_constraints(session_->store, stack.engine(), answer,
                                formulas, texts);
  });
  if (!had_memory) host_.release_reserve();
}

// A search for the best model that was cut short has one as well, if it has
// come to any.
bool Interpreter::has_schedule(Answer answer) const {
  if (answer == Answer::kSat) return true;
  if (!assignment_ || answer != Answer::kUnknown) return false;
  const std::vector<ObjectiveResult>& results = session_->stack->results();
  if (results.empty()) return false;
  const ObjectiveResult& first = results.front();
  return first.is_maximised ? first.interval.low.kind != Extent::Kind::kBelow
                            : first.interval.high.kind != Extent::Kind::kAbove;
}

void Interpreter::record_chart() {
  chart_.reset();
  const bool had_memory = within_memory(
      [this] { chart_ = draw_schedule(session_->stack->engine()); });
  if (!had_memory) host_.release_reserve();
}

const ConstraintPicture* Interpreter::picture() {
  if (!checked_) record_picture(Answer::kUnknown);
  return picture_.has_value() ? &*picture_ : nullptr;
}

void Interpreter::show_bounds(const ObjectiveResult& result) {
  const Interval& interval = result.interval;
  SessionHost::Bounds bounds;
  bounds.objective = on_one_line(result.name, kLongestName);
  bounds.best = extent_text(result.is_maximised ? interval.low : interval.high,
                            result.sort);
  bounds.limit = extent_text(result.is_maximised ? interval.high : interval.low,
                             result.sort);
  bounds.gap = "oo";
  if (interval.is_settled) {
    bounds.gap = "0";
  } else if (interval.low.kind == Extent::Kind::kNumber &&
             interval.high.kind == Extent::Kind::kNumber) {
    QNumber gap = interval.high.value.rational();
    gap -= interval.low.value.rational();
    bounds.gap = gap.to_str();
  }
  host_.bounds_changed(bounds);
}

void Interpreter::add_bounds(SessionHost::Statistics& rows) const {
  std::size_t number = 0;
  for (const ObjectiveResult& result : session_->stack->results()) {
    const std::string key = "objective " + std::to_string(++number);
    rows.emplace_back(key + " at least",
                      extent_text(result.interval.low, result.sort));
    rows.emplace_back(key + " at most",
                      extent_text(result.interval.high, result.sort));
  }
}

}  // namespace vorn::solver
