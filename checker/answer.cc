// SPDX-License-Identifier: MIT
#include "checker/answer.h"

#include <sstream>
#include <utility>
#include <vector>

// What a solver printed is a list of replies: verdicts are symbols of their
// own, models and cores are lists. Replies to other commands are passed over.

namespace vorn::checker {
namespace {

bool is_verdict(const Token& token) {
  return token.kind == TokenKind::kSymbol &&
         (token.text == "sat" || token.text == "unsat" ||
          token.text == "unknown");
}

std::size_t count_verdicts(const std::string& answer) {
  std::istringstream in(answer);
  Reader reader(in);
  std::size_t count = 0;
  while (reader.next().kind != TokenKind::kEnd) {
    if (is_verdict(reader.token())) ++count;
    reader.skip_expression();
  }
  return count;
}

// Reads up to the verdict on the check, which must be `wanted`.
void find_verdict(Reader& reader, const std::string& answer, std::size_t check,
                  const char* wanted) {
  const std::size_t total = count_verdicts(answer);
  // One verdict by itself is taken as that on the check.
  const std::size_t number = total == 1 ? 1 : check;
  for (std::size_t seen = 0; seen < number;) {
    if (reader.next().kind == TokenKind::kEnd) {
      reader.fail("the answer has " + std::to_string(total) + " verdicts");
    }
    if (is_verdict(reader.token())) {
      ++seen;
    } else {
      reader.skip_expression();
    }
  }
  if (reader.token().text != wanted) {
    reader.fail(std::string("the verdict is not ") + wanted);
  }
}

// Goes to the next list of this check's replies, behind its bracket.
void enter_list(Reader& reader, const char* what) {
  while (reader.next().kind != TokenKind::kOpen) {
    if (reader.token().kind == TokenKind::kEnd || is_verdict(reader.token())) {
      reader.fail(std::string("there is no ") + what + " behind the verdict");
    }
    reader.skip_expression();
  }
}

bool is_word(const Token& token, const char* word) {
  return token.kind == TokenKind::kSymbol && token.text == word;
}

// Reads one definition of a model behind "(define-fun".
void read_value(Reader& reader, Script& script, TermReader& term_reader,
                Values& values) {
  const std::string name = reader.expect_symbol("a symbol").text;
  const Position position = reader.token().position;
  Terms& terms = script.terms();
  const TermId symbol = script.symbols().find(name).term;
  if (symbol == kNoTerm || terms.op(symbol) != Op::kSymbol) {
    reader.fail(name + " is not declared");
  }
  reader.expect(TokenKind::kOpen, "'('");
  reader.expect(TokenKind::kClose, "')'");
  if (term_reader.read_sort() != terms.sort(symbol)) {
    reader.fail(name + " is declared with another sort");
  }
  reader.next();
  const TermId value = terms.as_sort(term_reader.read(), terms.sort(symbol));
  const bool is_constant = value != kNoTerm && (value == terms.boolean(true) ||
                                                value == terms.boolean(false) ||
                                                terms.value(value) != nullptr);
  if (!is_constant) {
    throw Rejection{position, "what " + name +
                                  " is defined as is no constant "
                                  "of its sort"};
  }
  if (!values.emplace(symbol, value).second) {
    throw Rejection{position, name + " has two values"};
  }
  reader.expect(TokenKind::kClose, "')'");
}

}  // namespace

void check_model(Script& script, const std::string& answer, std::size_t check) {
  std::istringstream in(answer);
  Reader reader(in);
  TermReader term_reader(reader, script.terms(), script.symbols(),
                         script.numerals());
  find_verdict(reader, answer, check, "sat");
  const Position verdict = reader.token().position;
  // A model is an empty list, or one whose first element is a definition.
  for (;;) {
    enter_list(reader, "model");
    if (is_word(reader.next(), "model")) reader.next();
    if (reader.token().kind == TokenKind::kClose) break;
    const bool is_list = reader.token().kind == TokenKind::kOpen;
    if (is_list && is_word(reader.next(), "define-fun")) break;
    if (is_list) reader.skip_rest();
    reader.skip_rest();
  }
  Values values;
  while (reader.token().kind != TokenKind::kClose) {
    if (!is_word(reader.token(), "define-fun")) {
      reader.fail("expected define-fun");
    }
    read_value(reader, script, term_reader, values);
    if (reader.next().kind == TokenKind::kOpen) reader.next();
  }
  const Script::Assertion* wrong = find_false(script, script.terms(), values);
  if (wrong != nullptr) {
    throw Rejection{verdict, "the model makes the formula at line " +
                                 std::to_string(wrong->position.line) +
                                 " column " +
                                 std::to_string(wrong->position.column) +
                                 " of the script false"};
  }
}

std::vector<TermId> read_core(const Script& script, const std::string& answer,
                              std::size_t check) {
  std::istringstream in(answer);
  Reader reader(in);
  find_verdict(reader, answer, check, "unsat");
  std::unordered_set<std::string> named;
  for (const Script::Assertion& assertion : script.assertions()) {
    named.insert(assertion.name);
  }
  // A core is the first list that has nothing in it but symbols.
  std::unordered_set<std::string> core = {""};
  do {
    core = {""};
    enter_list(reader, "core");
    while (reader.next().kind == TokenKind::kSymbol ||
           reader.token().kind == TokenKind::kQuotedSymbol) {
      core.insert(reader.token().text);
    }
    if (reader.token().kind == TokenKind::kClose) break;
    if (reader.token().kind == TokenKind::kOpen) reader.skip_rest();
    reader.skip_rest();
  } while (true);
  for (const std::string& name : core) {
    if (!name.empty() && named.count(name) == 0) {
      reader.fail("the core names " + name + ", which is no assertion");
    }
  }
  std::vector<TermId> formulas;
  for (const Script::Assertion& assertion : script.assertions()) {
    if (core.count(assertion.name) > 0) formulas.push_back(assertion.formula);
  }
  for (const Script::Assertion& assumption : script.assumptions()) {
    formulas.push_back(assumption.formula);
  }
  return formulas;
}

}  // namespace vorn::checker
