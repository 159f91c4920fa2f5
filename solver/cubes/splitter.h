// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_SPLITTER_H
#define VORN_CUBES_SPLITTER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "solver/cubes/cube_tree.h"
#include "solver/engine/engine.h"
#include "solver/smtlib/lexer.h"

namespace vorn::solver {

/// Splits cubes of a question in two, by what follows on both sides.
///
/// A choice at which the search comes to its contradictions again and again is
/// a bad one: one side of it has none, and is as hard as the whole. So all
/// choices are looked at from both sides: how many other truth values follow
/// from each at once, less what follows from any. The one with the greatest
/// product of the two is taken; the most active one, of equals.
///
/// A side that a short search decides is a leaf, but no cube: what is left has
/// a literal more.
///
/// Threads: none. Errors: only std::bad_alloc leaves a call.
class Splitter {
 public:
  /// How long it looks.
  struct Limits {
    /// Conflicts of the search of the whole question.
    std::uint64_t first_conflicts = 1000;
    /// Conflicts of the search of each cube after that.
    std::uint64_t conflicts = 100;
    /// Choices of the whole question that it looks at from both sides.
    std::size_t first_choices = 1000;
    /// And of each cube.
    std::size_t choices = 40;
  };

  /// Asserts what a script does. Nothing is borrowed.
  Splitter(const std::string& script, const EngineOptions& options,
           const Limits& limits);
  Splitter(const Splitter&) = delete;
  Splitter& operator=(const Splitter&) = delete;
  ~Splitter();

  /// What the script's first error was answered with; empty: it has none.
  const std::string& error() const;

  /// Splits the leaf, which is all that the script says, and the cubes that
  /// come of it, until there are so many that are not decided: first the one
  /// with the least that is settled. Fewer if there is less to choose.
  void split(CubeTree& tree, std::size_t leaf, std::size_t num_cubes);
  /// Leaves that were decided on the way.
  const std::vector<std::size_t>& decided() const { return decided_; }

 private:
  struct Session;
  struct Part;

  // Measures a part. False if it is decided.
  bool look_at(Part& part);
  // What to split a part by; nothing if there is nothing to choose.
  std::optional<Engine::Choice> choose(const Part& part);

  Limits limits_;
  std::unique_ptr<Session> session_;
  std::vector<std::size_t> decided_;
};

}  // namespace vorn::solver

#endif  // VORN_CUBES_SPLITTER_H
