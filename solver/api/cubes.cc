// SPDX-License-Identifier: MIT
#include "vorn/solver/cubes.h"

#include <utility>

#include "solver/api/common.h"
#include "solver/cubes/split.h"

namespace vorn::api {
namespace {

Answer answer_of(solver::Answer answer) {
  switch (answer) {
    case solver::Answer::kSat:
      return Answer::kSat;
    case solver::Answer::kUnsat:
      return Answer::kUnsat;
    case solver::Answer::kUnknown:
      break;
  }
  return Answer::kUnknown;
}

}  // namespace

SplitResult split_question(const std::string& script, const std::string& folder,
                           const SplitSettings& settings) {
  solver::SplitOutcome outcome = solver::split_question(
      script, settings.num_cubes, folder, inner::engine_options(settings), {});
  return {std::move(outcome.error), outcome.num_cubes, outcome.num_answered};
}

JoinResult join_answers(const std::string& folder,
                        const JoinSettings& settings) {
  solver::JoinOutcome outcome = solver::join_answers(
      folder, settings.proof_file, inner::engine_options(settings), {});
  return {std::move(outcome.error), answer_of(outcome.verdict),
          std::move(outcome.reply), std::move(outcome.missing),
          std::move(outcome.proof_error)};
}

}  // namespace vorn::api
