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

/// Splits cubes of a question in two, by what a search has met.
///
/// A short search of a cube shows which choices take part in most conflicts.
/// Each of the first few of these is looked at from both sides: how many other
/// truth values follow from it at once. The one with the greatest product of
/// the two is taken; the most active one, of equals.
///
/// Threads: none. Errors: only std::bad_alloc leaves a call.
class Splitter {
 public:
  /// How long it looks.
  struct Limits {
    /// Conflicts of the search of the whole question: some seconds, for what
    /// ends by then is not worth cubes, which learn nothing of each other.
    std::uint64_t first_conflicts = 10'000;
    /// Conflicts of the search of each cube after that.
    std::uint64_t conflicts = 100;
    /// Conflicts of a search that answers a cube that was decided on the way,
    /// without what was learnt there.
    std::uint64_t answer_conflicts = 4000;
    /// Choices of a cube that it looks at from both sides.
    std::size_t choices = 32;
  };

  /// Asserts what a script does, and searches where it checks, for so long. An
  /// answer begins with the signature. Nothing is borrowed.
  Splitter(const std::string& script, const std::string& signature,
           const EngineOptions& options, const Limits& limits);
  Splitter(const Splitter&) = delete;
  Splitter& operator=(const Splitter&) = delete;
  ~Splitter();

  /// What the script's first error was answered with; empty: it has none.
  const std::string& error() const;

  /// What was printed for the check, if that shows a model; else empty.
  const std::string& model() const;

  /// Splits the leaf, which is all that the script says, and the cubes that
  /// come of it, until there are so many in its place: first the one with the
  /// least that is settled. Fewer if the others are decided within the limits.
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
