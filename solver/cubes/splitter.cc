// SPDX-License-Identifier: MIT
#include "solver/cubes/splitter.h"

#include <algorithm>
#include <utility>

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
  Session(const std::string& script, const EngineOptions& engine_options)
      : text(script),
        source(text),
        interpreter(source, host, options(engine_options)) {
    while (interpreter.run_command()) {
    }
  }
  static ScriptOptions options(const EngineOptions& engine_options) {
    ScriptOptions options;
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
};

// A cube, and what to split it by.
struct Splitter::Part {
  std::size_t leaf = 0;
  std::vector<const Term*> assumed;
  bool is_whole = false;
  // Truth values that follow from what is assumed.
  std::size_t num_settled = 0;
  Engine::Choice choice;
};

Splitter::Splitter(const std::string& script, const EngineOptions& options,
                   const Limits& limits)
    : limits_(limits), session_(std::make_unique<Session>(script, options)) {
  if (session_->interpreter.had_error()) {
    session_->error = session_->host.first_error();
  }
}

Splitter::~Splitter() = default;

const std::string& Splitter::error() const {
  return session_->error;
}

void Splitter::split(CubeTree& tree, std::size_t leaf, std::size_t num_cubes) {
  if (session_->host.engine() == nullptr) return;
  // Those that can be split; the largest one is at the top.
  std::vector<Part> parts;
  const auto is_smaller = [](const Part& a, const Part& b) {
    return a.num_settled > b.num_settled;
  };
  const auto add = [&](Part part) {
    if (!choose(part)) return;
    parts.push_back(std::move(part));
    std::push_heap(parts.begin(), parts.end(), is_smaller);
  };
  Part whole;
  whole.leaf = leaf;
  whole.is_whole = true;
  std::size_t num_made = 1;
  if (num_cubes > num_made) add(std::move(whole));
  while (num_made < num_cubes && !parts.empty()) {
    std::pop_heap(parts.begin(), parts.end(), is_smaller);
    const Part part = std::move(parts.back());
    parts.pop_back();
    tree.split(part.leaf, text_of(part.choice));
    ++num_made;
    if (num_made == num_cubes) break;
    for (std::size_t side = 0; side < 2; ++side) {
      Part next;
      next.leaf = tree.node(part.leaf).sides[side];
      next.assumed = part.assumed;
      next.assumed.push_back(side == 0 ? part.choice.formula
                                       : part.choice.opposite);
      add(std::move(next));
    }
  }
}

bool Splitter::choose(Part& part) {
  Engine& engine = *session_->host.engine();
  engine.set_conflict_limit(part.is_whole ? limits_.first_conflicts
                                          : limits_.conflicts);
  if (engine.check(part.assumed) != Answer::kUnknown) {
    decided_.push_back(part.leaf);
    return false;
  }
  const auto settled = engine.look_ahead(part.assumed);
  if (!settled.has_value()) return false;
  part.num_settled = *settled;
  double best = -1;
  for (Engine::Choice& choice : engine.likely_choices(limits_.choices)) {
    double gains[2] = {0, 0};
    bool is_open = true;
    for (std::size_t side = 0; side < 2 && is_open; ++side) {
      std::vector<const Term*> assumed = part.assumed;
      assumed.push_back(side == 0 ? choice.formula : choice.opposite);
      const auto reached = engine.look_ahead(assumed);
      is_open = reached.has_value() && *reached > part.num_settled;
      if (is_open) {
        gains[side] = static_cast<double>(*reached - part.num_settled);
      }
    }
    const double score = gains[0] * gains[1];
    if (!is_open || score <= best) continue;
    best = score;
    part.choice = std::move(choice);
  }
  return best >= 0;
}

}  // namespace vorn::solver
