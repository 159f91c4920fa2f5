// SPDX-License-Identifier: MIT
//
// The least that it takes to answer a script of bounds alone: a scanner that
// believes what it reads, and relaxation on plain arrays of words.
//
//   plain_network FILE
//
// reads declarations and assertions (<= (- x y) c) over integers, as
// families/network.py writes them, and prints sat or unsat. It knows no other
// formula, no other number, no scope, and checks nothing: a floor to measure
// vorn against, not a solver.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

struct Edge {
  int source;
  int target;
  std::int64_t weight;
};

std::string read_file(const char* path) {
  std::string text;
  std::FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return text;
  std::fseek(file, 0, SEEK_END);
  text.resize(static_cast<std::size_t>(std::ftell(file)));
  std::rewind(file);
  text.resize(std::fread(text.data(), 1, text.size(), file));
  std::fclose(file);
  return text;
}

/// Words between white space and brackets, one after the other.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  /// The next word; empty at the end. Lines that begin with ';' are left out.
  std::string_view next() {
    while (pos_ < text_.size() && !is_part(text_[pos_])) {
      if (text_[pos_] == ';') pos_ = text_.find('\n', pos_);
      ++pos_;
    }
    const std::size_t start = std::min(pos_, text_.size());
    while (pos_ < text_.size() && is_part(text_[pos_])) ++pos_;
    return text_.substr(start, pos_ - start);
  }

 private:
  static bool is_part(char c) {
    return c > ' ' && c != '(' && c != ')' && c != ';';
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

std::int64_t value_of(std::string_view digits) {
  std::int64_t value = 0;
  for (const char c : digits) value = 10 * value + (c - '0');
  return value;
}

bool is_consistent(std::size_t num_nodes, const std::vector<Edge>& edges) {
  // Edges by source.
  std::vector<std::size_t> starts(num_nodes + 1, 0);
  for (const Edge& edge : edges)
    ++starts[static_cast<std::size_t>(edge.source) + 1];
  for (std::size_t n = 0; n < num_nodes; ++n) starts[n + 1] += starts[n];
  std::vector<std::pair<int, std::int64_t>> outgoing(edges.size());
  std::vector<std::size_t> ends(starts.begin(), starts.end() - 1);
  for (const Edge& edge : edges) {
    outgoing[ends[static_cast<std::size_t>(edge.source)]++] = {edge.target,
                                                               edge.weight};
  }
  // Bellman and Ford's relaxation with a queue, from all nodes at once; a node
  // that is lowered by a path of as many edges as there are nodes is on or
  // behind a negative cycle.
  std::vector<std::int64_t> potentials(num_nodes, 0);
  std::vector<std::size_t> lengths(num_nodes, 0);
  std::vector<char> waits(num_nodes, 1);
  std::deque<int> queue;
  for (std::size_t n = 0; n < num_nodes; ++n) {
    queue.push_back(static_cast<int>(n));
  }
  while (!queue.empty()) {
    const auto node = static_cast<std::size_t>(queue.front());
    queue.pop_front();
    waits[node] = 0;
    for (std::size_t k = starts[node]; k < starts[node + 1]; ++k) {
      const auto target = static_cast<std::size_t>(outgoing[k].first);
      const std::int64_t limit = potentials[node] + outgoing[k].second;
      if (limit >= potentials[target]) continue;
      potentials[target] = limit;
      lengths[target] = lengths[node] + 1;
      if (lengths[target] >= num_nodes) return false;
      if (waits[target] != 0) continue;
      waits[target] = 1;
      queue.push_back(static_cast<int>(target));
    }
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string text = read_file(argv[1]);
  Scanner scanner(text);
  std::unordered_map<std::string_view, int> nodes;
  std::vector<Edge> edges;
  for (auto word = scanner.next(); !word.empty(); word = scanner.next()) {
    if (word == "declare-const") {
      const auto next = static_cast<int>(nodes.size());
      nodes.emplace(scanner.next(), next);
    } else if (word == "assert") {
      scanner.next();
      scanner.next();
      const int target = nodes.at(scanner.next());
      const int source = nodes.at(scanner.next());
      const std::string_view number = scanner.next();
      const bool is_negative = number == "-";
      const std::int64_t weight =
          value_of(is_negative ? scanner.next() : number);
      edges.push_back({source, target, is_negative ? -weight : weight});
    }
  }
  std::puts(is_consistent(nodes.size(), edges) ? "sat" : "unsat");
  return 0;
}
