// SPDX-License-Identifier: MIT
#include "checker/checker.h"

#include <optional>
#include <sstream>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "checker/proof.h"
#include "checker/script.h"

// What a solver printed is a list of replies: verdicts are symbols of their
// own, models and cores are lists. Replies to other commands are passed over.

namespace vorn::checker {
namespace {

// The constants that the symbols of a script stand for.
using Values = std::unordered_map<TermId, TermId>;

bool is_verdict(const Token& token) {
  return token.is("sat") || token.is("unsat") || token.is("unknown");
}

// Reads up to the verdict of this number, from 1, or to the end; returns how
// many verdicts there were.
std::size_t read_verdicts(Reader& reader, std::size_t number) {
  std::size_t seen = 0;
  while (reader.next().kind != TokenKind::kEnd) {
    if (is_verdict(reader.token()) && ++seen == number) break;
    reader.skip_expression();
  }
  return seen;
}

// Reads up to the verdict on the check, which must be `wanted`. One verdict by
// itself is taken as that on the check.
void find_verdict(Reader& reader, const std::string& answer, std::size_t check,
                  const std::string& wanted) {
  std::istringstream in(answer);
  Reader all(in);
  const std::size_t total = read_verdicts(all, SIZE_MAX);
  read_verdicts(reader, total == 1 ? 1 : check);
  if (reader.token().is(wanted.c_str())) return;
  reader.fail("the verdict on the check is not " + wanted);
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

// Reads one definition of a model behind "(define-fun".
void read_value(Reader& reader, Script& script, TermReader& term_reader,
                Values& values) {
  const std::string name = reader.expect_symbol("a symbol").text;
  const Position position = reader.token().position;
  const Terms& terms = script.terms;
  const Meaning meaning = script.symbols.find(name);
  const auto* symbol = std::get_if<TermId>(&meaning);
  if (symbol == nullptr || terms.op(*symbol) != Op::kSymbol) {
    reader.fail(name + " is not declared");
  }
  const auto [parameters, value] = term_reader.read_definition(true);
  const bool is_constant = value == terms.boolean(true) ||
                           value == terms.boolean(false) ||
                           terms.value(value) != nullptr;
  if (!parameters.empty() || terms.sort(value) != terms.sort(*symbol) ||
      !is_constant) {
    throw Rejection{position, name + " is no constant of its sort here"};
  }
  if (!values.emplace(*symbol, value).second) {
    throw Rejection{position, name + " has two values"};
  }
  reader.expect(TokenKind::kClose, "')'");
}

// Reads the definitions of the first model of this check's replies: of an empty
// list, or of one whose first element is a definition.
Values read_model(Reader& reader, Script& script) {
  TermReader term_reader(reader, script);
  for (;;) {
    enter_list(reader, "model");
    if (reader.next().is("model")) reader.next();
    if (reader.token().kind == TokenKind::kClose) break;
    const bool is_list = reader.token().kind == TokenKind::kOpen;
    if (is_list && reader.next().is("define-fun")) break;
    if (is_list) reader.skip_rest();
    reader.skip_rest();
  }
  Values values;
  while (reader.token().kind != TokenKind::kClose) {
    if (!reader.token().is("define-fun")) reader.fail("expected define-fun");
    read_value(reader, script, term_reader, values);
    if (reader.next().kind == TokenKind::kOpen) reader.next();
  }
  return values;
}

// The values of all terms, by number: of what has one where symbols have these,
// and truth as 1 or 0. Terms are evaluated bottom up, each once.
std::vector<std::optional<mpq_class>> evaluate(const Terms& terms,
                                               const Values& values) {
  std::vector<std::optional<mpq_class>> known(terms.size());
  std::vector<const mpq_class*> args;
  for (TermId term = 1; term < terms.size(); ++term) {
    const auto given = values.find(term);
    const TermId constant = given == values.end() ? term : given->second;
    if (const mpq_class* number = terms.value(constant)) {
      known[term] = *number;
      continue;
    }
    args.clear();
    bool is_known = terms.op(constant) != Op::kSymbol;
    for (std::size_t i = 0; is_known && i < terms.num_args(constant); ++i) {
      const std::optional<mpq_class>& value = known[terms.arg(constant, i)];
      is_known = value.has_value();
      if (is_known) args.push_back(&*value);
    }
    if (is_known) known[term] = compute(terms.op(constant), args);
  }
  return known;
}

// Rejects unless the printed answer to check number `check`, from 1, is `sat`
// and is followed by a model that makes all assertions of the script true.
// `answer` is all that was printed for the script, or for this one check alone;
// of other replies nothing is believed or checked.
void check_model(Script& script, const std::string& answer, std::size_t check) {
  std::istringstream in(answer);
  Reader reader(in);
  find_verdict(reader, answer, check, "sat");
  const Position verdict = reader.token().position;
  const Values values = read_model(reader, script);
  const auto known = evaluate(script.terms, values);
  for (const Formula& formula : script.assertions) {
    const std::optional<mpq_class>& value = known[formula.term];
    if (value == 1) continue;
    const std::string place =
        "the formula at line " + std::to_string(formula.position.line) +
        " column " + std::to_string(formula.position.column) + " of the script";
    throw Rejection{verdict,
                    value.has_value()
                        ? "the model makes " + place + " false"
                        : place + " has no value: a symbol has none in the " +
                              "model, or a number gets too long"};
  }
}

// The formulas of which a printed core says that they are unsatisfiable: the
// assertions that it names, and those without a name. Rejects unless the answer
// to check number `check` is `unsat` and a core follows.
TermIds read_core(const Script& script, const std::string& answer,
                  std::size_t check) {
  std::istringstream in(answer);
  Reader reader(in);
  find_verdict(reader, answer, check, "unsat");
  std::unordered_set<std::string> named;
  for (const Formula& assertion : script.assertions) {
    named.insert(assertion.name);
  }
  // A core is the first list that has nothing in it but symbols.
  std::unordered_set<std::string> core;
  for (;;) {
    core = {""};
    enter_list(reader, "core");
    while (reader.next().is_symbol()) core.insert(reader.token().text);
    if (reader.token().kind == TokenKind::kClose) break;
    if (reader.token().kind == TokenKind::kOpen) reader.skip_rest();
    reader.skip_rest();
  }
  for (const std::string& name : core) {
    if (!name.empty() && named.count(name) == 0) {
      reader.fail("the core names " + name + ", which is no assertion");
    }
  }
  TermIds formulas;
  for (const Formula& assertion : script.assertions) {
    if (core.count(assertion.name) > 0) formulas.push_back(assertion.term);
  }
  return formulas;
}

}  // namespace

Outcome check(const Question& question) {
  Outcome outcome;
  try {
    std::size_t number = question.check;
    if (number == 0) {
      std::istringstream in(question.script);
      number = count_checks(in);
      if (number == 0) throw Rejection{{}, "the script has no check"};
    }
    Script script;
    std::istringstream in(question.script);
    read_script(in, number, script);
    outcome.file = Outcome::File::kAssumed;
    std::istringstream besides(question.assumed);
    read_assumptions(besides, script);
    TermIds assumed;
    for (const Formula& formula : script.assertions) {
      assumed.push_back(formula.term);
    }
    if (question.answer != nullptr) {
      outcome.file = Outcome::File::kAnswer;
      if (question.proof == nullptr) {
        check_model(script, *question.answer, number);
      } else {
        assumed = read_core(script, *question.answer, number);
      }
    }
    if (question.proof != nullptr) {
      outcome.file = Outcome::File::kProof;
      check_proof(*question.proof, script, assumed);
    }
    outcome.is_valid = question.proof != nullptr || question.answer != nullptr;
  } catch (const Rejection& rejection) {
    outcome.position = rejection.position;
    outcome.reason = rejection.reason;
  }
  return outcome;
}

}  // namespace vorn::checker
