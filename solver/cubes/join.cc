// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "solver/cubes/cube_answer.h"
#include "solver/cubes/cube_files.h"
#include "solver/cubes/cube_tree.h"
#include "solver/cubes/folder.h"
#include "solver/cubes/joined_proof.h"
#include "solver/cubes/question.h"
#include "solver/cubes/split.h"

namespace vorn::solver {
namespace {

// What the answers to one cube come to.
struct Verdict {
  Answer answer = Answer::kUnknown;
  // If it is unsat: the file that says so, one with a proof if there is any.
  std::string file;
  // If it is sat.
  std::string model_text;
  // Nobody could decide it.
  bool is_given_up = false;
  // What is wrong with the files there are.
  std::string remark;
};

class Join {
 public:
  Join(const std::string& folder, const EngineOptions& options,
       const Splitter::Limits& limits)
      : folder_(folder), options_(options), limits_(limits) {}

  // Nothing if there are more answers than before, to be joined anew.
  std::optional<JoinOutcome> run(const std::string& proof) {
    if (read() && judge_all()) {
      if (outcome_.verdict == Answer::kUnsat && !proof.empty()) {
        write_proof(proof);
      }
      if (outcome_.verdict == Answer::kUnknown && split_given_up()) return {};
    }
    if (!outcome_.error.empty()) outcome_.reply.clear();
    return std::move(outcome_);
  }

 private:
  bool fail(const std::string& error) {
    outcome_.error = error;
    return false;
  }

  bool read() {
    const auto manifest = folder_.read(kManifestFile);
    if (!manifest.has_value()) {
      return fail(folder_.error() +
                  "; nothing was split there, or not to the "
                  "end");
    }
    std::string error;
    tree_ = CubeTree::read(*manifest, error);
    if (!tree_.has_value()) {
      return fail(folder_.path_of(kManifestFile) + ": " + error);
    }
    const auto script = folder_.read(kQuestionFile);
    if (!script.has_value()) return fail(folder_.error());
    ScriptError script_error;
    question_ = read_question(*script, script_error);
    if (!question_.has_value() || question_->digest != tree_->digest()) {
      return fail(folder_.path_of(kQuestionFile) +
                  " is not the question that was split");
    }
    const auto names = folder_.names();
    if (!names.has_value()) return fail(folder_.error());
    names_ = *names;
    return true;
  }

  // Of a cube, what all answers that have come say. False if one of them is
  // wrong.
  bool judge(std::size_t leaf, Verdict& verdict) {
    const std::string& cube = tree_->node(leaf).cube;
    const std::string signature =
        question_->signature(cube, tree_->literals(leaf));
    std::string sat;
    for (const std::string& name : names_) {
      if (!is_answer_file(name, cube)) continue;
      const auto text = folder_.read(name);
      if (!text.has_value()) return fail(folder_.error());
      const CubeAnswer answer = read_answer(*text, signature);
      const std::string path = folder_.path_of(name);
      switch (answer.kind) {
        case CubeAnswer::Kind::kForeign:
          return fail(path + ": " + answer.problem);
        case CubeAnswer::Kind::kCutOff:
          verdict.remark = name + ": " + answer.problem;
          break;
        case CubeAnswer::Kind::kUnknown:
          verdict.is_given_up = true;
          break;
        case CubeAnswer::Kind::kUnsat:
          if (verdict.file.empty() || !has_proof(verdict.file)) {
            verdict.file = name;
          }
          break;
        case CubeAnswer::Kind::kSat: {
          const CheckedModel checked = check_model(*question_, answer.model);
          if (!checked.holds) {
            return fail(path + ": its model does not satisfy what is asserted");
          }
          verdict.model_text = checked.text;
          sat = name;
          break;
        }
      }
    }
    if (!sat.empty() && !verdict.file.empty()) {
      return fail(folder_.path_of(sat) + " says sat and " +
                  folder_.path_of(verdict.file) +
                  " says unsat; the model of the first one satisfies all that "
                  "is asserted");
    }
    if (!sat.empty()) verdict.answer = Answer::kSat;
    if (!verdict.file.empty()) verdict.answer = Answer::kUnsat;
    return true;
  }

  bool has_proof(const std::string& answer_file) const {
    return std::binary_search(names_.begin(), names_.end(),
                              proof_file_of(answer_file));
  }

  bool judge_all() {
    bool is_closed = true;
    std::string model;
    for (const std::size_t leaf : tree_->leaves()) {
      Verdict verdict;
      if (!judge(leaf, verdict)) return false;
      is_closed = is_closed && verdict.answer == Answer::kUnsat;
      if (!verdict.model_text.empty()) model = verdict.model_text;
      verdicts_.emplace(leaf, std::move(verdict));
    }
    if (!model.empty()) {
      outcome_.verdict = Answer::kSat;
      outcome_.reply = model;
    } else if (is_closed) {
      outcome_.verdict = Answer::kUnsat;
      outcome_.reply = "unsat\n";
    }
    return true;
  }

  void write_proof(const std::string& path) {
    std::size_t leaf = 0;
    std::string problem;
    const CubeProofs open = [this](std::size_t place) {
      auto file = std::make_unique<std::ifstream>(
          folder_.path_of(proof_file_of(verdicts_.at(place).file)),
          std::ios::binary);
      if (!file->is_open()) file.reset();
      return file;
    };
    const bool is_written = write_whole(path, [&](std::ostream& out) {
      return join_proofs(*tree_, open, out, leaf, problem);
    });
    if (is_written) return;
    const std::string reason =
        errno == 0 ? "" : std::string(": ") + std::strerror(errno);
    outcome_.proof_error =
        problem.empty()
            ? "cannot write " + path + reason
            : folder_.path_of(proof_file_of(verdicts_.at(leaf).file)) + ": " +
                  problem;
  }

  // Splits the cubes that were given up, and says what is missing. True if one
  // of them was decided in doing so.
  bool split_given_up() {
    std::vector<std::string> old_scripts;
    std::string remarks;
    bool is_decided = false;
    for (const auto& [leaf, verdict] : verdicts_) {
      if (verdict.answer == Answer::kUnsat) continue;
      const std::string cube = tree_->node(leaf).cube;
      if (!verdict.remark.empty()) remarks += ";   " + verdict.remark + '\n';
      if (!verdict.is_given_up) continue;
      const Parts parts = split_leaf(leaf);
      if (parts == Parts::kFailed) return false;
      if (parts == Parts::kDecided) is_decided = true;
      remarks += ";   " + cube + " was unknown";
      if (parts == Parts::kMade) {
        old_scripts.push_back(script_file(cube));
        remarks += ", and is split again";
      }
      remarks += '\n';
    }
    if (!old_scripts.empty() && !write_parts()) return false;
    // Whoever runs all scripts runs no other.
    for (const std::string& name : old_scripts) folder_.remove(name);
    const std::vector<std::size_t> leaves = tree_->leaves();
    for (const std::size_t leaf : leaves) {
      const auto verdict = verdicts_.find(leaf);
      if (verdict != verdicts_.end() &&
          verdict->second.answer == Answer::kUnsat) {
        continue;
      }
      outcome_.missing.push_back(tree_->node(leaf).cube);
    }
    outcome_.reply = "unknown\n; missing, " +
                     std::to_string(outcome_.missing.size()) + " of " +
                     std::to_string(leaves.size()) + " cubes:\n";
    for (const std::string& cube : outcome_.missing) {
      outcome_.reply += ";   " + script_file(cube) + '\n';
    }
    if (!remarks.empty()) outcome_.reply += "; remarks:\n" + remarks;
    return is_decided;
  }

  enum class Parts { kMade, kDecided, kNeither, kFailed };

  Parts split_leaf(std::size_t leaf) {
    const Parts parts = split_leaf(leaf, limits_);
    if (parts != Parts::kNeither) return parts;
    // A search without limits of its own may decide what the script's options
    // leave undecided; then a shorter one has to part it.
    Splitter::Limits limits = limits_;
    limits.first_conflicts = std::min(limits.first_conflicts, limits.conflicts);
    return split_leaf(leaf, limits);
  }

  Parts split_leaf(std::size_t leaf, const Splitter::Limits& limits) {
    const std::string& cube = tree_->node(leaf).cube;
    const std::vector<std::string> literals = tree_->literals(leaf);
    Splitter splitter(question_->bare_text(cube, literals),
                      question_->signature(cube, literals), options_, limits);
    if (!splitter.error().empty()) return Parts::kNeither;
    splitter.split(*tree_, leaf, 2);
    if (!tree_->node(leaf).formula.empty()) return Parts::kMade;
    if (splitter.decided().empty()) return Parts::kNeither;
    std::vector<std::string> written;
    bool is_answered = false;
    if (!write_cube(folder_, *question_, *tree_, leaf, splitter.model(),
                    2 * limits.first_conflicts, options_, written,
                    is_answered)) {
      fail(folder_.error());
      return Parts::kFailed;
    }
    return is_answered ? Parts::kDecided : Parts::kNeither;
  }

  // The cubes that are new, and the manifest that names them.
  bool write_parts() {
    std::vector<std::string> written;
    bool is_written = true;
    for (const std::size_t leaf : tree_->leaves()) {
      bool is_answered = false;
      is_written =
          is_written && (verdicts_.count(leaf) != 0 ||
                         write_cube(folder_, *question_, *tree_, leaf, "", 0,
                                    options_, written, is_answered));
    }
    if (is_written && folder_.write(kManifestFile, tree_->text())) return true;
    const std::string error = folder_.error();
    for (const std::string& name : written) folder_.remove(name);
    return fail(error);
  }

  CubeFolder folder_;
  const EngineOptions& options_;
  const Splitter::Limits& limits_;
  std::optional<CubeTree> tree_;
  std::optional<CubeQuestion> question_;
  std::vector<std::string> names_;
  std::map<std::size_t, Verdict> verdicts_;
  JoinOutcome outcome_;
};

}  // namespace

JoinOutcome join_answers(const std::string& folder, const std::string& proof,
                         const EngineOptions& options,
                         const Splitter::Limits& limits) {
  for (;;) {
    auto outcome = Join(folder, options, limits).run(proof);
    if (outcome.has_value()) return std::move(*outcome);
  }
}

}  // namespace vorn::solver
