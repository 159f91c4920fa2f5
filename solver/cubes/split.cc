// SPDX-License-Identifier: MIT
#include "solver/cubes/split.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "solver/cubes/cube_files.h"
#include "solver/cubes/cube_tree.h"
#include "solver/cubes/folder.h"
#include "solver/cubes/question.h"

namespace vorn::solver {

SplitOutcome split_question(const std::string& script, std::size_t num_cubes,
                            const std::string& folder,
                            const EngineOptions& options,
                            const Splitter::Limits& limits) {
  SplitOutcome outcome;
  ScriptError error;
  const std::optional<CubeQuestion> question = read_question(script, error);
  if (!question.has_value()) {
    outcome.error = "line " + std::to_string(error.position.line) + " column " +
                    std::to_string(error.position.column) + ": " +
                    error.message;
    return outcome;
  }
  CubeTree tree(question->digest);
  // What the whole is called, should it be left whole.
  tree.name_in_order();
  const std::string& whole = tree.node(0).cube;
  Splitter splitter(question->bare_text(whole, {}),
                    question->signature(whole, {}), options, limits);
  if (!splitter.error().empty()) {
    outcome.error = splitter.error();
    return outcome;
  }
  CubeFolder files(folder);
  if (!files.make()) {
    outcome.error = files.error();
    return outcome;
  }
  splitter.split(tree, 0, num_cubes);
  tree.name_in_order();
  std::vector<std::string> written{kQuestionFile};
  bool is_written = files.write(kQuestionFile, script);
  for (const std::size_t leaf : tree.leaves()) {
    ++outcome.num_cubes;
    const auto& decided = splitter.decided();
    const bool is_decided =
        std::find(decided.begin(), decided.end(), leaf) != decided.end();
    std::uint64_t conflict_limit = 0;
    if (is_decided) {
      conflict_limit =
          leaf == 0 ? 2 * limits.first_conflicts : limits.answer_conflicts;
    }
    bool is_answered = false;
    is_written =
        is_written && write_cube(files, *question, tree, leaf, splitter.model(),
                                 conflict_limit, options, written, is_answered);
    if (is_answered) ++outcome.num_answered;
  }
  if (is_written && files.write(kManifestFile, tree.text())) return outcome;
  outcome.error = files.error();
  for (const std::string& name : written) files.remove(name);
  return outcome;
}

}  // namespace vorn::solver
