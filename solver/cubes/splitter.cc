// SPDX-License-Identifier: MIT
#include "solver/cubes/splitter.h"

#include <algorithm>
#include <utility>

#include "solver/cubes/cube_answer.h"
#include "solver/cubes/quiet_host.h"
#include "solver/cubes/text_source.h"
#include "solver/smtlib/interpreter.h"
#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

// A bound as scripts write it, with a name of its own for each side. Proofs
// repeat it in the same words.
std::string text_of(const Engine::Choice& choice) {
  const DifferenceBound& bound = choice.bound;
  if (bound.target == nullptr && bound.source == nullptr) {
    return print_term(choice.formula);
  }
  const Sort sort =
      (bound.target != nullptr ? bound.target : bound.source)->sort;
  std::string difference;
  if (bound.source == nullptr) {
    difference = print_symbol(bound.target->name());
  } else {
    difference = "(- ";
    if (bound.target != nullptr) {
      difference += print_symbol(bound.target->name()) + ' ';
    }
    difference += print_symbol(bound.source->name()) + ')';
  }
  return std::string(bound.weight.eps().sign() < 0 ? "(< " : "(<= ") +
         difference + ' ' + print_value(bound.weight.rational(), sort) + ')';
}

}  // namespace

struct Splitter::Session {
  Session(const std::string& script, const EngineOptions& engine_options,
          const Limits& limits)
      : text(script),
        source(text),
        interpreter(source, host, options(engine_options, limits)) {
    while (interpreter.run_command()) {
    }
  }
  static ScriptOptions options(const EngineOptions& engine_options,
                               const Limits& limits) {
    ScriptOptions options;
    options.conflict_limit = limits.first_conflicts;
    options.engine = engine_options;
    options.engine.keep_proofs = false;
    options.engine.keep_schedule = false;
    options.error_behavior = ErrorBehavior::kImmediateExit;
    return options;
  }

  std::string text;
  TextSource source;
  QuietHost host;
  Interpreter interpreter;
  std::string error;
  CubeAnswer::Kind answer = CubeAnswer::Kind::kUnknown;
  std::string model;
};

// A cube.
struct Splitter::Part {
  std::size_t leaf = 0;
  std::vector<const Term*> assumed;
  // Truth values that follow from what is assumed.
  std::size_t num_settled = 0;
};

Splitter::Splitter(const std::string& script, const std::string& signature,
                   const EngineOptions& options, const Limits& limits)
    : limits_(limits),
      session_(std::make_unique<Session>(script, options, limits)) {
  if (session_->interpreter.had_error()) {
    session_->error = session_->host.first_error();
    return;
  }
  const std::string& output = session_->host.output();
  session_->answer = read_answer(output, signature).kind;
  if (session_->answer == CubeAnswer::Kind::kSat) session_->model = output;
}

Splitter::~Splitter() = default;

const std::string& Splitter::error() const {
  return session_->error;
}

const std::string& Splitter::model() const {
  return session_->model;
}

void Splitter::split(CubeTree& tree, std::size_t leaf, std::size_t num_cubes) {
  if (session_->host.engine() == nullptr) return;
  // Cubes that are not decided, the largest one at the top.
  std::vector<Part> parts;
  const auto is_smaller = [](const Part& a, const Part& b) {
    return a.num_settled > b.num_settled;
  };
  const auto add = [&](Part part) {
    if (!look_at(part)) return;
    parts.push_back(std::move(part));
    std::push_heap(parts.begin(), parts.end(), is_smaller);
  };
  std::size_t num_made = 1;
  if (num_made < num_cubes) add({leaf, {}, 0});
  while (num_made < num_cubes && !parts.empty()) {
    std::pop_heap(parts.begin(), parts.end(), is_smaller);
    const Part part = std::move(parts.back());
    parts.pop_back();
    const std::optional<Engine::Choice> choice = choose(part);
    if (!choice.has_value()) continue;
    tree.split(part.leaf, text_of(*choice));
    ++num_made;
    for (std::size_t side = 0; side < 2; ++side) {
      Part next{tree.node(part.leaf).sides[side], part.assumed, 0};
      next.assumed.push_back(side == 0 ? choice->formula : choice->opposite);
      add(std::move(next));
    }
  }
}

bool Splitter::look_at(Part& part) {
  Engine& engine = *session_->host.engine();
  bool is_decided = session_->answer != CubeAnswer::Kind::kUnknown;
  if (!part.assumed.empty()) {
    engine.set_conflict_limit(limits_.conflicts);
    is_decided = engine.check(part.assumed) != Answer::kUnknown;
  }
  if (is_decided) {
    decided_.push_back(part.leaf);
    return false;
  }
  part.num_settled = engine.look_ahead(part.assumed).value_or(0);
  return true;
}

std::optional<Engine::Choice> Splitter::choose(const Part& part) {
  Engine& engine = *session_->host.engine();
  std::optional<Engine::Choice> best;
  double best_score = -1;
  std::vector<const Term*> assumed = part.assumed;
  assumed.push_back(nullptr);
  for (const Engine::Choice& choice : engine.likely_choices(limits_.choices)) {
    double score = 1;
    for (const Term* side : {choice.formula, choice.opposite}) {
      assumed.back() = side;
      const std::optional<std::size_t> settled = engine.look_ahead(assumed);
      if (!settled.has_value()) {
        // No model on this side: better than nothing, as then all cubes of
        // which nobody knows more can still be split.
        score = 0;
      } else if (*settled > part.num_settled) {
        score *= static_cast<double>(*settled - part.num_settled);
      } else {
        // It says nothing new.
        score = -1;
        break;
      }
    }
    if (score <= best_score) continue;
    best_score = score;
    best = choice;
  }
  return best;
}

}  // namespace vorn::solver
