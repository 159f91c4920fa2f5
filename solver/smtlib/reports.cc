// SPDX-License-Identifier: MIT
#include <cassert>
#include <sstream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "solver/engine/constraint_picture.h"
#include "solver/smtlib/explanation.h"
#include "solver/smtlib/interpreter.h"
#include "solver/smtlib/within_memory.h"
#include "solver/terms/term_printer.h"

// What is reported beside the script's own replies, when the program asks for
// it: why a check was unsat, and a picture of the constraints.

namespace vorn::solver {
namespace {

// A reader of replies skips comments.
std::string in_comments(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  std::string line;
  while (std::getline(lines, line)) result += "; " + line + '\n';
  return result;
}

}  // namespace

void Interpreter::explain(const std::vector<const Term*>& assumptions) {
  assert(session_ != nullptr && assumptions.size() == assumption_lines_.size());
  // Looking for a core may take long. Whatever happens then, the answer stands.
  if (!write_reply()) return;
  reply_.clear();
  const bool had_memory = within_memory([this, &assumptions] {
    std::vector<ExplainedFormula> formulas;
    for (const AssertionStack::Assertion& assertion :
         session_->stack->assertions()) {
      formulas.push_back({assertion.term, assertion.text, assertion.line,
                          assertion.name, false});
      if (assertion.text.empty()) {
        formulas.back().text = print_term(assertion.term);
      }
    }
    for (std::size_t k = 0; k < assumptions.size(); ++k) {
      formulas.push_back({assumptions[k], assumption_texts_[k],
                          assumption_lines_[k], std::nullopt, true});
    }
    reply_ = in_comments(explain_unsat(
        session_->store, options_.engine, session_->stack->engine().stop(),
        options_.minimize_unsat_cores, formulas));
  });
  if (had_memory) return;
  host_.release_reserve();
  reply_ = "; no explanation: out of memory\n";
}

void Interpreter::keep_texts() {
  constexpr std::size_t kLongest = 200;
  const TermParser& parser = *session_->parser;
  for (const auto* places : {&parser.atoms(), &parser.expansions()}) {
    for (const TermParser::Place& place : *places) {
      if (!place.term->is_bool()) continue;
      auto& text = session_->texts[place.term];
      if (!text.empty()) continue;
      text = on_one_line(lexer_.text(place.begin, place.end), kLongest);
    }
  }
}

void Interpreter::record_picture(const std::vector<const Term*>& assumptions,
                                 Answer answer) {
  picture_.reset();
  if (session_ == nullptr) {
    picture_.emplace();
    return;
  }
  const bool had_memory = within_memory([this, &assumptions, answer] {
    PictureTexts texts;
    texts.written = &session_->texts;
    for (const TermParser::Name& named : session_->named) {
      texts.names.emplace(named.term, named.name);
    }
    std::vector<const Term*> formulas;
    for (const AssertionStack::Assertion& assertion :
         session_->stack->assertions()) {
      formulas.push_back(assertion.term);
    }
    formulas.insert(formulas.end(), assumptions.begin(), assumptions.end());
    picture_ = draw_constraints(session_->store, session_->stack->engine(),
                                answer, formulas, texts);
  });
  if (!had_memory) host_.release_reserve();
}

const ConstraintPicture* Interpreter::picture() {
  if (!checked_) record_picture({}, Answer::kUnknown);
  return picture_.has_value() ? &*picture_ : nullptr;
}

}  // namespace vorn::solver
