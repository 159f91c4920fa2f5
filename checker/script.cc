// SPDX-License-Identifier: MIT
#include "checker/script.h"

#include <unordered_set>
#include <utility>

// Commands that change nothing that a check asks are skipped unread.

namespace vorn::checker {
namespace {

bool is_check(const std::string& command) {
  return command == "check-sat" || command == "check-sat-assuming";
}

// The name of the next command, or "" at the end.
std::string next_command(Reader& reader) {
  if (reader.next().kind == TokenKind::kEnd) return "";
  if (reader.token().kind != TokenKind::kOpen) {
    reader.fail("expected a command in brackets");
  }
  return reader.expect_symbol("a command").text;
}

}  // namespace

std::size_t count_checks(std::istream& in) {
  Reader reader(in);
  std::size_t count = 0;
  for (;;) {
    const std::string command = next_command(reader);
    if (command.empty() || command == "exit") return count;
    if (is_check(command)) ++count;
    reader.skip_rest();
  }
}

Script::Script() : symbols_(terms_) {}

void Script::read(std::istream& in, std::size_t check) {
  Reader reader(in);
  TermReader term_reader(reader, terms_, symbols_, numerals_);
  std::size_t seen = 0;
  for (;;) {
    const std::string command = next_command(reader);
    if (command.empty() || command == "exit") {
      reader.fail("the script has " + std::to_string(seen) +
                  (seen == 1 ? " check" : " checks"));
    }
    if (is_check(command) && ++seen == check) {
      if (command == "check-sat-assuming") {
        reader.expect(TokenKind::kOpen, "the assumptions");
        while (reader.next().kind != TokenKind::kClose) {
          assumptions_.push_back(read_formula(reader, term_reader));
        }
      }
      reader.expect(TokenKind::kClose, "')'");
      return;
    }
    run(command, reader, term_reader);
    term_reader.set_numerals(numerals_);
  }
}

void Script::run(const std::string& command, Reader& reader,
                 TermReader& term_reader) {
  if (command == "assert") {
    reader.next();
    assertions_.push_back(read_formula(reader, term_reader));
  } else if (command == "declare-const" || command == "declare-fun") {
    declare(reader, term_reader, command == "declare-fun");
  } else if (command == "define-const" || command == "define-fun") {
    define(reader, term_reader, command == "define-fun");
  } else if (command == "set-logic") {
    const std::string& logic = reader.expect_symbol("a logic").text;
    // Scripts of a logic with reals alone may write them without a point.
    const bool is_real = logic.find("RDL") != std::string::npos ||
                         logic.find("LRA") != std::string::npos;
    numerals_ = is_real ? Sort::kReal : Sort::kInt;
  } else if (command == "set-option") {
    set_option(reader);
  } else if (command == "push" || command == "pop") {
    change_scopes(command, reader);
    return;
  } else if (command == "reset") {
    global_declarations_ = false;
    numerals_ = Sort::kInt;
    reset_assertions();
  } else if (command == "reset-assertions") {
    reset_assertions();
  } else {
    reader.skip_rest();
    return;
  }
  reader.expect(TokenKind::kClose, "')'");
}

Script::Assertion Script::read_formula(Reader& reader,
                                       TermReader& term_reader) {
  const Position position = reader.token().position;
  const TermId formula = term_reader.read_formula();
  return {formula, term_reader.outer_name().value_or(""), position};
}

void Script::set_option(Reader& reader) {
  const std::string keyword =
      reader.expect(TokenKind::kKeyword, "an option").text;
  reader.next();
  if (keyword == ":global-declarations") {
    global_declarations_ = reader.token().text == "true";
  }
  reader.skip_expression();
}

void Script::reset_assertions() {
  assertions_.clear();
  scopes_.clear();
  if (!global_declarations_) symbols_.unbind_to(0);
}

void Script::change_scopes(const std::string& command, Reader& reader) {
  constexpr std::size_t kMost = 1000000;
  std::size_t count = 1;
  if (reader.next().kind != TokenKind::kClose) {
    if (reader.token().kind != TokenKind::kNumeral) {
      reader.fail("expected a number of scopes");
    }
    count = 0;
    for (const char digit : reader.token().text) {
      count = 10 * count + static_cast<std::size_t>(digit - '0');
      if (count > kMost) reader.fail("too many scopes");
    }
    reader.expect(TokenKind::kClose, "')'");
  }
  const bool is_push = command == "push";
  if (is_push ? scopes_.size() + count > kMost : count > scopes_.size()) {
    reader.fail(is_push ? "too many scopes" : "there are fewer scopes");
  }
  for (; count > 0; --count) {
    if (is_push) {
      scopes_.push_back({assertions_.size(), symbols_.num_bound()});
      continue;
    }
    assertions_.resize(scopes_.back().num_assertions);
    if (!global_declarations_) symbols_.unbind_to(scopes_.back().num_bound);
    scopes_.pop_back();
  }
}

std::string Script::read_new_symbol(Reader& reader) {
  const std::string name = reader.expect_symbol("a new symbol").text;
  if (symbols_.find(name).exists()) {
    reader.fail("the symbol " + name + " is in use");
  }
  return name;
}

void Script::declare(Reader& reader, TermReader& term_reader,
                     bool has_parameters) {
  const std::string name = read_new_symbol(reader);
  if (has_parameters) {
    reader.expect(TokenKind::kOpen, "'('");
    reader.expect(TokenKind::kClose, "')': functions are not known");
  }
  Meaning meaning;
  const Sort sort = term_reader.read_sort();
  meaning.term = terms_.symbol(symbols_.names().intern(name), sort);
  symbols_.bind(name, meaning);
}

void Script::define(Reader& reader, TermReader& term_reader,
                    bool has_parameters) {
  const std::string name = read_new_symbol(reader);
  const std::size_t bound = symbols_.num_bound();
  std::vector<std::pair<std::string, TermId>> parameters;
  if (has_parameters) {
    reader.expect(TokenKind::kOpen, "the parameters");
    while (reader.next().kind == TokenKind::kOpen) {
      std::string parameter = reader.expect_symbol("a parameter").text;
      const TermId term = terms_.parameter(term_reader.read_sort());
      parameters.emplace_back(std::move(parameter), term);
      reader.expect(TokenKind::kClose, "')'");
    }
    if (reader.token().kind != TokenKind::kClose) {
      reader.fail("expected a parameter or ')'");
    }
  }
  std::unordered_set<std::string> seen;
  std::vector<TermId> terms;
  for (const auto& [parameter, term] : parameters) {
    if (!seen.insert(parameter).second) reader.fail("a parameter twice");
    Meaning meaning;
    meaning.term = term;
    symbols_.bind(parameter, meaning);
    terms.push_back(term);
  }
  const Sort sort = term_reader.read_sort();
  reader.next();
  const Position position = reader.token().position;
  // A name inside of a body with parameters would name no one term.
  const TermId body =
      terms_.as_sort(term_reader.read(parameters.empty()), sort);
  if (body == kNoTerm) {
    throw Rejection{position, "the body is not of the sort that is given"};
  }
  Meaning meaning;
  if (parameters.empty()) {
    meaning.term = body;
  } else {
    symbols_.unbind_to(bound);
    meaning.macro = symbols_.add_macro({std::move(terms), body});
  }
  symbols_.bind(name, meaning);
}

}  // namespace vorn::checker
