// SPDX-License-Identifier: MIT
#include "checker/checker.h"

#include <sstream>
#include <vector>

#include "checker/answer.h"
#include "checker/proof.h"
#include "checker/script.h"

namespace vorn::checker {

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
    script.read(in, number);
    std::vector<TermId> assumed;
    for (const auto* list : {&script.assertions(), &script.assumptions()}) {
      for (const Script::Assertion& formula : *list) {
        assumed.push_back(formula.formula);
      }
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
      Proof(script, assumed).check(*question.proof);
    }
    outcome.is_valid = question.proof != nullptr || question.answer != nullptr;
  } catch (const Rejection& rejection) {
    outcome.position = rejection.position;
    outcome.reason = rejection.reason;
  }
  return outcome;
}

}  // namespace vorn::checker
