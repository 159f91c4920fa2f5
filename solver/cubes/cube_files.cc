// SPDX-License-Identifier: MIT
#include "solver/cubes/cube_files.h"

#include <string_view>

#include "solver/cubes/cube_answer.h"
#include "solver/cubes/quiet_host.h"
#include "solver/cubes/text_source.h"
#include "solver/smtlib/interpreter.h"

namespace vorn::solver {
namespace {

constexpr std::string_view kAnswer = ".answer";
constexpr std::string_view kProof = ".proof";

}  // namespace

bool is_answer_file(const std::string& file, const std::string& cube) {
  const std::size_t rest = file.size() - cube.size();
  return file.size() >= cube.size() + kAnswer.size() &&
         file.compare(0, cube.size(), cube) == 0 && file[cube.size()] == '.' &&
         file.compare(file.size() - kAnswer.size(), kAnswer.size(), kAnswer) ==
             0 &&
         rest >= kAnswer.size();
}

std::string proof_file_of(const std::string& answer_file) {
  std::string file = answer_file;
  file.resize(file.size() - kAnswer.size());
  return file.append(kProof);
}

bool write_cube(CubeFolder& folder, const CubeQuestion& question,
                const CubeTree& tree, std::size_t leaf,
                const std::string& known, std::uint64_t conflict_limit,
                const EngineOptions& options, std::vector<std::string>& written,
                bool& is_answered) {
  is_answered = false;
  const std::string& cube = tree.node(leaf).cube;
  const std::vector<std::string> literals = tree.literals(leaf);
  const std::string script = question.cube_text(cube, literals);
  const auto write = [&](const std::string& name, const std::string& text) {
    written.push_back(name);
    return folder.write(name, text);
  };
  if (!write(script_file(cube), script)) return false;
  const std::string name = cube + std::string(kAnswer);
  if (!known.empty()) {
    is_answered = true;
    return write(name, known);
  }
  if (conflict_limit == 0) return true;
  TextSource source(script);
  QuietHost host;
  ScriptOptions script_options;
  script_options.engine = options;
  script_options.engine.keep_proofs = true;
  script_options.keep_proof = true;
  script_options.conflict_limit = conflict_limit;
  Interpreter interpreter(source, host, script_options);
  while (interpreter.run_command()) {
  }
  const std::string& text = host.output();
  const CubeAnswer answer =
      read_answer(text, question.signature(cube, literals));
  const bool is_unsat = answer.kind == CubeAnswer::Kind::kUnsat;
  if (!is_unsat && answer.kind != CubeAnswer::Kind::kSat) return true;
  if (is_unsat && !interpreter.proof().empty() &&
      !write(proof_file_of(name), interpreter.proof())) {
    return false;
  }
  is_answered = true;
  return write(name, text);
}

}  // namespace vorn::solver
