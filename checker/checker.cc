// SPDX-License-Identifier: MIT
#include "checker/checker.h"

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

// What a check asserts.
TermIds formulas_of(const Script& script) {
  TermIds formulas;
  for (const Formula& formula : script.assertions) {
    formulas.push_back(formula.term);
  }
  return formulas;
}

// Reads an answer: all that was printed for a script, or for one check alone;
// of other replies nothing is believed or checked.
class AnswerReader : private TermReader {
 public:
  using TermReader::TermReader;

  // Reads up to the verdict of this number, from 1, or to the end; returns how
  // many verdicts there were.
  std::size_t read_verdicts(std::size_t number) {
    std::size_t seen = 0;
    while (next().kind != TokenKind::kEnd) {
      if (is_verdict() && ++seen == number) break;
      skip_expression();
    }
    return seen;
  }

  // Rejects unless the verdict is `sat` and is followed by a model that makes
  // all assertions of the script true.
  void check_model() {
    const Position verdict = token().position;
    require(token().is("sat"), "the verdict on the check is not sat");
    // All at once, since formulas share terms.
    const TermId all = terms_.make(Op::kAnd, formulas_of(script_));
    const TermId replaced = terms_.replace(all, read_model());
    for (std::size_t i = 0; i < script_.assertions.size(); ++i) {
      const mpq_class* value = terms_.value(terms_.arg(replaced, i));
      if (value != nullptr && *value == 1) continue;
      const Position& position = script_.assertions[i].position;
      throw Rejection{
          verdict, "the model makes the formula at line " +
                       std::to_string(position.line) + " column " +
                       std::to_string(position.column) + " of the script " +
                       (value != nullptr ? "false"
                                         : "worth nothing: a symbol has no "
                                           "value, or a number is too long")};
    }
  }

  // The formulas of which a printed core says that they are unsatisfiable: the
  // assertions that it names, and those without a name. Rejects unless the
  // verdict is `unsat` and a core follows.
  TermIds read_core() {
    require(token().is("unsat"), "the verdict on the check is not unsat");
    // A core is the first list that has nothing in it but symbols.
    std::unordered_set<std::string> core;
    for (;;) {
      core = {""};
      enter_list();
      while (next().is_symbol()) core.insert(token().text);
      if (at(TokenKind::kClose)) break;
      if (at(TokenKind::kOpen)) skip_rest();
      skip_rest();
    }
    TermIds formulas;
    std::unordered_set<std::string> named;
    for (const Formula& assertion : script_.assertions) {
      named.insert(assertion.name);
      if (core.count(assertion.name) > 0) formulas.push_back(assertion.term);
    }
    for (const std::string& name : core) {
      if (name.empty() || named.count(name) > 0) continue;
      fail("the core names " + name + ", which is no assertion");
    }
    return formulas;
  }

 private:
  bool is_verdict() const {
    return token().is("sat") || token().is("unsat") || token().is("unknown");
  }

  // Goes to the next list of this check's replies, behind its bracket.
  void enter_list() {
    while (next().kind != TokenKind::kOpen) {
      require(!at(TokenKind::kEnd) && !is_verdict(),
              "there is no model or core behind the verdict");
      skip_expression();
    }
  }

  // The constants that symbols stand for by the first model of this check's
  // replies: an empty list, or one whose first element is a definition.
  std::unordered_map<TermId, TermId> read_model() {
    for (;;) {
      enter_list();
      if (next().is("model")) next();
      if (at(TokenKind::kClose)) break;
      const bool is_list = at(TokenKind::kOpen);
      if (is_list && next().is("define-fun")) break;
      if (is_list) skip_rest();
      skip_rest();
    }
    std::unordered_map<TermId, TermId> values;
    while (!at(TokenKind::kClose)) {
      require(token().is("define-fun"), "expected define-fun");
      const Meaning meaning = symbols_.find(expect_symbol("a symbol").text);
      const Position position = token().position;
      const auto* symbol = std::get_if<TermId>(&meaning);
      require(symbol != nullptr && terms_.op(*symbol) == Op::kSymbol,
              "the symbol is not declared");
      const auto [parameters, value] = read_definition(true);
      const bool is_constant =
          terms_.value(value) != nullptr &&
          (terms_.sort(value) != Sort::kBool || terms_.num_args(value) == 0);
      checker::require(is_constant && parameters.empty() &&
                           terms_.sort(value) == terms_.sort(*symbol),
                       position, "this is no constant of its sort");
      checker::require(values.emplace(*symbol, value).second, position,
                       "this has two values");
      expect(TokenKind::kClose, "')'");
      if (next().kind == TokenKind::kOpen) next();
    }
    return values;
  }
};

}  // namespace

Outcome check(const Question& question) {
  Outcome outcome;
  try {
    Script script;
    std::size_t number = read_script(question.script, question.check, script);
    outcome.file = Outcome::File::kAssumed;
    std::istringstream besides(question.assumed);
    TermReader formulas(besides, script);
    while (formulas.next().kind != TokenKind::kEnd) {
      script.assertions.push_back(formulas.read_formula());
    }
    TermIds assumed = formulas_of(script);
    if (question.answer != nullptr) {
      outcome.file = Outcome::File::kAnswer;
      std::istringstream all(*question.answer);
      // One verdict by itself is taken as that on the check.
      if (AnswerReader(all, script).read_verdicts(SIZE_MAX) == 1) number = 1;
      std::istringstream answer(*question.answer);
      AnswerReader reader(answer, script);
      reader.read_verdicts(number);
      if (question.proof == nullptr) {
        reader.check_model();
      } else {
        assumed = reader.read_core();
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
