// SPDX-License-Identifier: MIT
#include "solver/cubes/cube_tree.h"

#include <algorithm>
#include <cassert>
#include <sstream>
#include <utility>

namespace vorn::solver {
namespace {

constexpr const char* kFormat = "vorn cubes 1";
constexpr const char* kDigest = "question ";
constexpr const char* kNamed = "named ";
constexpr const char* kSplit = "split ";
constexpr const char* kCube = "cube-";

bool starts_with(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool is_number(const std::string& text) {
  constexpr std::size_t kMostDigits = 9;
  return !text.empty() && text.size() <= kMostDigits &&
         text.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

CubeTree::CubeTree(std::string digest) : digest_(std::move(digest)), nodes_(1) {
  nodes_[0].cube = next_name();
}

std::string CubeTree::next_name() {
  std::string number = std::to_string(++num_named_);
  constexpr std::size_t kDigits = 3;
  if (number.size() < kDigits) number.insert(0, kDigits - number.size(), '0');
  return kCube + number;
}

std::optional<CubeTree> CubeTree::read(const std::string& text,
                                       std::string& error) {
  std::istringstream in(text);
  std::string line;
  std::size_t number = 0;
  const auto next = [&] {
    ++number;
    if (!std::getline(in, line) || in.eof()) return false;
    line.erase(0, line.find_first_not_of(' '));
    return true;
  };
  const auto refuse = [&](const char* why) {
    error = "line " + std::to_string(number) + ": " + why;
    return std::nullopt;
  };
  if (!next() || line != kFormat) return refuse("expected \"vorn cubes 1\"");
  if (!next() || !starts_with(line, kDigest)) {
    return refuse("expected the question");
  }
  CubeTree tree(line.substr(std::string(kDigest).size()));
  const std::string named(kNamed);
  if (!next() || !starts_with(line, named) ||
      !is_number(line.substr(named.size()))) {
    return refuse("expected how many cubes have a name");
  }
  tree.num_named_ = std::stoul(line.substr(named.size()));
  std::vector<std::size_t> open{0};
  while (!open.empty()) {
    const std::size_t place = open.back();
    open.pop_back();
    if (!next()) return refuse("the rest is missing");
    if (starts_with(line, kCube) &&
        is_number(line.substr(std::string(kCube).size()))) {
      tree.nodes_[place].cube = line;
      continue;
    }
    if (!starts_with(line, kSplit)) return refuse("expected split or a cube");
    const std::size_t sides = tree.nodes_.size();
    tree.nodes_.resize(sides + 2);
    Node& node = tree.nodes_[place];
    node.cube.clear();
    node.formula = line.substr(std::string(kSplit).size());
    for (std::size_t k = 0; k < 2; ++k) {
      node.sides[k] = sides + k;
      tree.nodes_[sides + k].parent = place;
    }
    open.push_back(sides + 1);
    open.push_back(sides);
  }
  if (next() || !line.empty()) return refuse("expected nothing more");
  return tree;
}

std::string CubeTree::text() const {
  std::string text = std::string(kFormat) + '\n' + kDigest + digest_ + '\n' +
                     kNamed + std::to_string(num_named_) + '\n';
  std::vector<std::pair<std::size_t, std::size_t>> open{{0, 0}};
  while (!open.empty()) {
    const auto [place, depth] = open.back();
    open.pop_back();
    const Node& node = nodes_[place];
    text.append(2 * depth, ' ');
    if (node.formula.empty()) {
      text += node.cube + '\n';
      continue;
    }
    text += kSplit + node.formula + '\n';
    open.emplace_back(node.sides[1], depth + 1);
    open.emplace_back(node.sides[0], depth + 1);
  }
  return text;
}

std::vector<std::size_t> CubeTree::leaves() const {
  std::vector<std::size_t> leaves;
  std::vector<std::size_t> open{0};
  while (!open.empty()) {
    const std::size_t place = open.back();
    open.pop_back();
    const Node& node = nodes_[place];
    if (node.formula.empty()) {
      leaves.push_back(place);
      continue;
    }
    open.push_back(node.sides[1]);
    open.push_back(node.sides[0]);
  }
  return leaves;
}

std::vector<std::string> CubeTree::literals(std::size_t leaf) const {
  std::vector<std::string> literals;
  for (std::size_t place = leaf; place != 0; place = nodes_[place].parent) {
    const Node& above = nodes_[nodes_[place].parent];
    literals.push_back(above.sides[0] == place ? above.formula
                                               : negation_of(above.formula));
  }
  std::reverse(literals.begin(), literals.end());
  return literals;
}

void CubeTree::split(std::size_t leaf, const std::string& formula) {
  assert(nodes_[leaf].formula.empty());
  assert(!formula.empty() && formula.find('\n') == std::string::npos);
  const std::size_t sides = nodes_.size();
  nodes_.resize(sides + 2);
  nodes_[leaf].formula = formula;
  nodes_[leaf].cube.clear();
  for (std::size_t k = 0; k < 2; ++k) {
    nodes_[leaf].sides[k] = sides + k;
    nodes_[sides + k].parent = leaf;
    nodes_[sides + k].cube = next_name();
  }
}

void CubeTree::name_in_order() {
  num_named_ = 0;
  for (const std::size_t leaf : leaves()) nodes_[leaf].cube = next_name();
}

}  // namespace vorn::solver
