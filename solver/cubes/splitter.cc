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

// Leaves, those that are decided at once included, for each cube that is asked
// for.
constexpr std::size_t kMostLeaves = 3;

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
  // In the order of how much they settle in the whole question.
  std::vector<Engine::Choice> candidates;
};

// A cube.
struct Splitter::Part {
  std::size_t leaf = 0;
  std::vector<const Term*> assumed;
  // Truth values that follow from what is assumed.
  std::size_t num_settled = 0;
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
  // Cubes that are not decided, the largest one at the top.
  std::vector<Part> parts;
  const auto is_smaller = [](const Part& a, const Part& b) {
    return a.num_settled > b.num_settled;
  };
  const auto add = [&](Part part) {
    if (!look_at(part)) return false;
    parts.push_back(std::move(part));
    std::push_heap(parts.begin(), parts.end(), is_smaller);
    return true;
  };
  std::size_t num_open = 1;
  std::size_t num_made = 1;
  const std::size_t most = kMostLeaves * num_cubes;
  if (num_open < num_cubes) add({leaf, {}, 0});
  while (num_open < num_cubes && num_made < most && !parts.empty()) {
    std::pop_heap(parts.begin(), parts.end(), is_smaller);
    const Part part = std::move(parts.back());
    parts.pop_back();
    const std::optional<Engine::Choice> choice = choose(part);
    if (!choice.has_value()) continue;
    tree.split(part.leaf, text_of(*choice));
    ++num_made;
    --num_open;
    for (std::size_t side = 0; side < 2; ++side) {
      Part next{tree.node(part.leaf).sides[side], part.assumed, 0};
      next.assumed.push_back(side == 0 ? choice->formula : choice->opposite);
      if (add(std::move(next))) ++num_open;
    }
  }
}

bool Splitter::look_at(Part& part) {
  Engine& engine = *session_->host.engine();
  engine.set_conflict_limit(part.assumed.empty() ? limits_.first_conflicts
                                                 : limits_.conflicts);
  if (engine.check(part.assumed) != Answer::kUnknown) {
    decided_.push_back(part.leaf);
    return false;
  }
  part.num_settled = engine.look_ahead(part.assumed).value_or(0);
  return true;
}

std::optional<Engine::Choice> Splitter::choose(const Part& part) {
  Engine& engine = *session_->host.engine();
  const bool is_whole = part.assumed.empty();
  std::vector<Engine::Choice>& candidates = session_->candidates;
  if (is_whole) candidates = engine.likely_choices(limits_.first_choices);
  // Those that are possible on both sides, with what follows there.
  struct Candidate {
    std::size_t number;
    double gains[2];
    double score;
  };
  std::vector<Candidate> open;
  std::vector<const Term*> assumed = part.assumed;
  assumed.push_back(nullptr);
  for (std::size_t k = 0; k < candidates.size(); ++k) {
    if (!is_whole && open.size() == limits_.choices) break;
    Candidate candidate{k, {0, 0}, 0};
    bool is_open = true;
    for (std::size_t side = 0; side < 2 && is_open; ++side) {
      assumed.back() =
          side == 0 ? candidates[k].formula : candidates[k].opposite;
      const std::size_t settled = engine.look_ahead(assumed).value_or(0);
      is_open = settled > part.num_settled;
      candidate.gains[side] =
          static_cast<double>(settled) - static_cast<double>(part.num_settled);
    }
    if (is_open) open.push_back(candidate);
  }
  if (open.empty()) return std::nullopt;
  // What follows of any of them, as its opposite does, counts for nothing.
  double least = open.front().gains[0];
  for (const Candidate& c : open) {
    least = std::min({least, c.gains[0], c.gains[1]});
  }
  for (Candidate& c : open) {
    c.score = (c.gains[0] - least) * (c.gains[1] - least);
  }
  std::stable_sort(
      open.begin(), open.end(),
      [](const Candidate& a, const Candidate& b) { return a.score > b.score; });
  Engine::Choice best = candidates[open.front().number];
  if (is_whole) {
    std::vector<Engine::Choice> sorted;
    for (const Candidate& c : open) sorted.push_back(candidates[c.number]);
    candidates = std::move(sorted);
  }
  return best;
}

}  // namespace vorn::solver
