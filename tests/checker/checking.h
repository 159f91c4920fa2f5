// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_CHECKER_CHECKING_H
#define VORN_TESTS_CHECKER_CHECKING_H

#include <sstream>
#include <string>

#include "checker/checker.h"

namespace vorn::checker {

/// Checks a proof given as text.
inline Outcome check_text(const std::string& script, const std::string& proof,
                          std::size_t number = 0) {
  std::istringstream in(proof);
  Question question;
  question.script = script;
  question.check = number;
  question.proof = &in;
  return check(question);
}

/// Checks a printed model.
inline Outcome check_model_text(const std::string& script,
                                const std::string& answer,
                                std::size_t number = 0) {
  Question question;
  question.script = script;
  question.check = number;
  question.answer = &answer;
  return check(question);
}

/// Checks that a proof follows from a printed core.
inline Outcome check_core_text(const std::string& script,
                               const std::string& proof,
                               const std::string& answer) {
  std::istringstream in(proof);
  Question question;
  question.script = script;
  question.proof = &in;
  question.answer = &answer;
  return check(question);
}

/// "" if every step is right, whether or not the last is the empty clause;
/// otherwise what is wrong first.
inline std::string first_mistake(const std::string& script,
                                 const std::string& proof) {
  const Outcome outcome = check_text(script, proof);
  return outcome.is_valid ||
                 outcome.reason == "the last step is not the empty clause"
             ? ""
             : outcome.reason;
}

}  // namespace vorn::checker

#endif  // VORN_TESTS_CHECKER_CHECKING_H
