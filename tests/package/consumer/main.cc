// SPDX-License-Identifier: MIT
#include <iostream>
#include <vector>

#include "vorn/dl/graph.h"
#include "vorn/services/logger.h"

// A program outside the source tree. It uses something of each folder of the
// library, so that a symbol that is missing or hidden fails the link.
int main() {
  vorn::Configuration::Theory::La settings;
  vorn::dl::Graph graph(&settings, nullptr, nullptr);
  vorn::Logger logger(std::cerr, 0);
  graph.set_logger(&logger);
  const auto huge =
      vorn::QNumber::from_string("123456789012345678901234567890");
  if (!huge.has_value()) return 2;
  const vorn::la::DNumber zero;
  const vorn::dl::Edge there(1, 2, vorn::la::DNumber(*huge, 0), 1);
  const vorn::dl::Edge back(2, 1, vorn::la::DNumber(-*huge, -1) + zero, 2);
  graph.tell_edge(1, there);
  graph.tell_edge(2, back);
  graph.push_edge(1);
  if (!graph.check(true)) return 3;
  graph.push_edge(2);
  if (graph.check(true)) return 4;
  std::vector<int> conflict;
  graph.get_conflict_set(&conflict);
  if (conflict != std::vector<int>{2, 1}) return 5;
  if (vorn::is_terminal(std::clog))
    logger("DL") << "on a terminal" << vorn::endlog;
  std::cout << there << '\n' << back << '\n';
  std::cout << *huge << ", " << back.weight << '\n';
  return 0;
}
