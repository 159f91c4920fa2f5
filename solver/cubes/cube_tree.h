// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_CUBE_TREE_H
#define VORN_CUBES_CUBE_TREE_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vorn::solver {

/// A question in parts: a binary tree, each inner node of which takes a formula
/// to hold on one side and not to hold on the other. Its leaves are the cubes.
///
/// As a text, the manifest, a line each for the format, the digest of the
/// question, and how many cubes have had a name; then the nodes, each before
/// its two sides, the one where its formula holds first:
///
///     vorn cubes 1
///     question 0123456789abcdef
///     named 3
///     split (<= (- x y) 3)
///       cube-001
///       split p
///         cube-002
///         cube-003
///
/// Blanks at the beginning of a line mean nothing.
class CubeTree {
 public:
  /// A node.
  struct Node {
    /// The formula of an inner node, on one line; empty for a leaf.
    std::string formula;
    /// The sides of an inner node, as positions.
    std::size_t sides[2] = {0, 0};
    /// The node that it is a side of, itself for the root.
    std::size_t parent = 0;
    /// Of a leaf: its cube.
    std::string cube;
  };

  /// One cube, which is the question. `digest`: of the question.
  explicit CubeTree(std::string digest);
  /// Reads a manifest. Nothing if it is none; `error` says in which line.
  static std::optional<CubeTree> read(const std::string& text,
                                      std::string& error);
  /// The manifest.
  std::string text() const;

  /// Of the question.
  const std::string& digest() const { return digest_; }
  /// Node 0 is the root; the order of the others means nothing.
  const Node& node(std::size_t position) const { return nodes_[position]; }
  /// All leaves, from left to right.
  std::vector<std::size_t> leaves() const;
  /// What a leaf takes to hold, from the root on.
  std::vector<std::string> literals(std::size_t leaf) const;
  /// Makes a leaf an inner node. Its sides are cubes with names that no cube
  /// has had. Requires: the formula has one line.
  void split(std::size_t leaf, const std::string& formula);
  /// Gives the cubes names in the order of the leaves, as no cube has been
  /// handed out yet.
  void name_in_order();

 private:
  std::string next_name();

  std::string digest_;
  std::size_t num_named_ = 0;
  std::vector<Node> nodes_;
};

/// The opposite of a formula, as a side takes it to hold.
inline std::string negation_of(const std::string& formula) {
  return "(not " + formula + ')';
}

}  // namespace vorn::solver

#endif  // VORN_CUBES_CUBE_TREE_H
