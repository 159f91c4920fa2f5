// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_PROOF_EVIDENCE_JUDGE_H
#define VORN_TESTS_PROOF_EVIDENCE_JUDGE_H

#include <cstddef>
#include <sstream>
#include <string>

#include "checker/checker.h"
#include "tests/bruteforce/session.h"

namespace vorn::bruteforce {

/// Asks the checker, which shares nothing with what found the answers.
class EvidenceJudge final : public Judge {
 public:
  std::string proof(const std::string& script, std::size_t check,
                    const std::string& proof, const std::string& core,
                    const std::string& assumed) override {
    // The brackets around the steps of a reply are not part of the proof.
    if (proof.size() < 5 || proof[0] != '(' || proof[1] != '\n') return "none";
    std::istringstream steps(proof.substr(2, proof.size() - 4));
    checker::Question question{script, check, &steps, nullptr, assumed};
    const std::string answer = answers(check, "unsat\n" + core);
    if (!core.empty()) question.answer = &answer;
    return judge(question);
  }
  std::string model(const std::string& script, std::size_t check,
                    const std::string& model) override {
    const std::string answer = answers(check, "sat\n" + model);
    return judge({script, check, nullptr, &answer, ""});
  }

 private:
  // As if the checks before had printed nothing else.
  static std::string answers(std::size_t check, const std::string& last) {
    std::string text;
    for (std::size_t k = 1; k < check; ++k) text += "unknown\n";
    return text + last;
  }
  static std::string judge(const checker::Question& question) {
    const checker::Outcome outcome = checker::check(question);
    return outcome.is_valid ? ""
                            : outcome.reason + " in line " +
                                  std::to_string(outcome.position.line);
  }
};

}  // namespace vorn::bruteforce

#endif  // VORN_TESTS_PROOF_EVIDENCE_JUDGE_H
