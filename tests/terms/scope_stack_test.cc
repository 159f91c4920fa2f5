// SPDX-License-Identifier: MIT
#include "solver/terms/scope_stack.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace vorn::solver {
namespace {

// Says in which order parts go back.
struct Part {
  std::size_t mark() const { return size; }
  void rollback(std::size_t mark) {
    size = mark;
    calls->push_back(name);
  }

  std::string name;
  std::vector<std::string>* calls;
  std::size_t size = 0;
};

// Each part goes back to its own mark, scope by scope, and what was there
// before the first scope stays.
TEST(ScopeStackTest, PopTakesEachPartBackToItsMark) {
  std::vector<std::string> list{"a"};
  std::size_t counter = 7;
  ScopeStack<std::vector<std::string>, std::size_t> scopes(list, counter);
  scopes.push();
  list.emplace_back("b");
  scopes.push();
  scopes.push();
  list.emplace_back("c");
  counter = 9;
  EXPECT_EQ(scopes.size(), 3U);
  EXPECT_EQ(scopes.start(0), 1U);
  EXPECT_EQ(scopes.start(2), 2U);

  scopes.pop();
  EXPECT_EQ(list, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(counter, 7U);
  scopes.pop();
  EXPECT_EQ(list, (std::vector<std::string>{"a", "b"}));
  scopes.pop();
  EXPECT_EQ(list, std::vector<std::string>{"a"});
  EXPECT_EQ(scopes.size(), 0U);
}

// Atoms, say, may only be forgotten after the variables that they stand for.
TEST(ScopeStackTest, PopTakesPartsBackInTheirOrder) {
  std::vector<std::string> calls;
  Part first{"first", &calls};
  Part second{"second", &calls};
  ScopeStack<Part, Part> scopes(first, second);
  first.size = 3;
  scopes.push();
  first.size = 5;
  second.size = 2;
  scopes.pop();
  EXPECT_EQ(calls, (std::vector<std::string>{"first", "second"}));
  EXPECT_EQ(first.size, 3U);
  EXPECT_EQ(second.size, 0U);
}

}  // namespace
}  // namespace vorn::solver
