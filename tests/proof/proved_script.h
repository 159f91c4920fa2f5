// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_PROOF_PROVED_SCRIPT_H
#define VORN_TESTS_PROOF_PROVED_SCRIPT_H

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "checker/checker.h"
#include "solver/smtlib/interpreter.h"
#include "solver/terms/term.h"
#include "solver/terms/term_printer.h"
#include "tests/smtlib/text_session.h"

namespace vorn::solver {

/// A script that asserts the terms and checks them, with a proof asked for.
inline std::string script_of(const std::vector<const Term*>& terms,
                             const std::string& logic) {
  std::string declarations;
  std::string assertions;
  std::set<const Term*> seen;
  std::vector<const Term*> pending = terms;
  while (!pending.empty()) {
    const Term* term = pending.back();
    pending.pop_back();
    if (!seen.insert(term).second) continue;
    if (term->kind == Kind::kSymbol) {
      constexpr const char* kSorts[] = {"Bool", "Int", "Real"};
      declarations += "(declare-const " + print_term(term) + ' ' +
                      kSorts[static_cast<int>(term->sort)] + ")\n";
    }
    for (std::size_t k = 0; k < term->num_args; ++k) {
      pending.push_back(term->arg(k));
    }
  }
  for (const Term* term : terms) {
    assertions += "(assert " + print_term(term) + ")\n";
  }
  return "(set-option :produce-proofs true)\n(set-logic " + logic + ")\n" +
         declarations + assertions + "(check-sat)\n(get-proof)\n";
}

/// What is wrong with the proof that the script has no model; empty if the
/// checker, which shares nothing with what wrote it, accepts it.
inline std::string problem_of_proof(const std::string& script,
                                    const EngineOptions& engine = {}) {
  TextHost host;
  StringSource source(script);
  ScriptOptions options;
  options.engine = engine;
  options.engine.machines = Machines::kAuto;
  options.engine.keep_proofs = true;
  Interpreter interpreter(source, host, options);
  while (interpreter.run_command()) {
  }
  const std::string& output = host.output();
  const std::string begin = "unsat\n(\n";
  if (output.rfind(begin, 0) != 0) return output;
  // The brackets around the steps of a reply are not part of the proof.
  std::istringstream steps(
      output.substr(begin.size(), output.size() - begin.size() - 2));
  const checker::Outcome outcome = checker::check({script, 1, &steps, nullptr});
  if (outcome.is_valid) return "";
  return outcome.reason + " in line " + std::to_string(outcome.position.line);
}

}  // namespace vorn::solver

#endif  // VORN_TESTS_PROOF_PROVED_SCRIPT_H
