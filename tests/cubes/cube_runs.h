// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_CUBES_CUBE_RUNS_H
#define VORN_TESTS_CUBES_CUBE_RUNS_H

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "checker/checker.h"
#include "solver/cubes/split.h"
#include "solver/smtlib/interpreter.h"
#include "tests/smtlib/text_session.h"
#include "tests/temporary_folder.h"

namespace vorn::solver {

/// What a run of a script gives.
struct Run {
  std::string output;
  std::string proof;
};

/// Runs a script as the command does with --proof. `conflicts`: the limit of
/// each check; 0: none.
inline Run run_script(const std::string& script, std::uint64_t conflicts = 0) {
  TextHost host;
  StringSource source(script);
  ScriptOptions options;
  options.engine.keep_proofs = true;
  options.keep_proof = true;
  options.conflict_limit = conflicts;
  Interpreter interpreter(source, host, options);
  while (interpreter.run_command()) {
  }
  EXPECT_FALSE(interpreter.had_error()) << host.output() << script;
  return {host.output(), interpreter.proof()};
}

/// Questions that take a few conflicts are split as long ones are.
inline Splitter::Limits quick_limits() {
  Splitter::Limits limits;
  limits.first_conflicts = 1;
  limits.conflicts = 1;
  limits.answer_conflicts = 4;
  return limits;
}

/// The scripts in a folder of cubes, by name.
inline std::vector<std::string> cubes_in(const std::string& folder) {
  std::vector<std::string> cubes;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().stem();
    if (entry.path().extension() == ".smt2" && name.rfind("cube-", 0) == 0) {
      cubes.push_back(name);
    }
  }
  std::sort(cubes.begin(), cubes.end());
  return cubes;
}

/// Answers a cube, as a job does.
inline void answer_cube(const test::TemporaryFolder& folder,
                        const std::string& cube, std::uint64_t conflicts = 0) {
  const Run run =
      run_script(test::text_of_file(folder.file(cube + ".smt2")), conflicts);
  folder.write(cube + ".answer", run.output);
  if (!run.proof.empty()) folder.write(cube + ".proof", run.proof);
}

/// Answers the cubes that have no answer.
inline void answer_all(const test::TemporaryFolder& folder,
                       std::uint64_t conflicts = 0) {
  for (const std::string& cube : cubes_in(folder.path())) {
    if (std::filesystem::exists(folder.file(cube + ".answer"))) continue;
    answer_cube(folder, cube, conflicts);
  }
}

/// What is wrong with a proof that a script is unsat; empty: nothing.
inline std::string problem_of(const std::string& script,
                              const std::string& proof) {
  std::istringstream steps(proof);
  const checker::Outcome outcome =
      checker::check({script, 1, &steps, nullptr, ""});
  if (outcome.is_valid) return "";
  return outcome.reason + " in line " + std::to_string(outcome.position.line);
}

/// What is wrong with a reply that has a model.
inline std::string problem_of_model(const std::string& script,
                                    const std::string& reply) {
  const checker::Outcome outcome =
      checker::check({script, 1, nullptr, &reply, ""});
  return outcome.is_valid ? "" : outcome.reason;
}

}  // namespace vorn::solver

#endif  // VORN_TESTS_CUBES_CUBE_RUNS_H
