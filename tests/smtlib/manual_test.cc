// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "solver/smtlib/interpreter.h"
#include "tests/smtlib/text_session.h"

// What the manual and the man page say of commands is what the interpreter
// does.

namespace vorn::solver {
namespace {

/// Commands that are run, and those that are answered with `unsupported`.
using Commands = std::pair<std::vector<std::string>, std::vector<std::string>>;

std::string text_of_page(const std::string& name) {
  std::ifstream in(std::string(VORN_DOCS_DIR) + "/" + name);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// What stands behind the first `begin` in `text`, up to the next `end`; empty
/// if there is none. `text` goes on behind it.
std::string cut(std::string& text, std::string_view begin,
                std::string_view end) {
  const std::size_t first = text.find(begin);
  if (first == std::string::npos) return "";
  const std::size_t from = first + begin.size();
  const std::size_t size = text.find(end, from) - from;
  std::string part = text.substr(from, size);
  text.erase(0, from + part.size() + end.size());
  return part;
}

std::vector<std::string> sorted_words(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
  std::sort(words.begin(), words.end());
  return words;
}

/// The words on the lines of bold text.
std::vector<std::string> bold_words(const std::string& section) {
  std::istringstream in(section);
  std::string words;
  for (std::string line; std::getline(in, line);) {
    if (line.compare(0, 3, ".B ") == 0) words += line.substr(2) + ' ';
  }
  words.erase(std::remove(words.begin(), words.end(), '\\'), words.end());
  return sorted_words(words);
}

Commands commands_of_interpreter() {
  Commands commands;
  for (const std::string_view name : Interpreter::command_names()) {
    const bool runs =
        run_text("(" + std::string(name) + ")") != "unsupported\n";
    (runs ? commands.first : commands.second).emplace_back(name);
  }
  return commands;
}

// A command that is missing in the manual is never found; one that is gone
// fails for who believes the manual.
TEST(ManualTest, CommandPageListsTheCommands) {
  std::string page = text_of_page("command.md");
  cut(page, "**Commands**", ":");
  const Commands listed{sorted_words(cut(page, "`", "`")),
                        sorted_words(cut(page, "`", "`"))};
  EXPECT_EQ(listed, commands_of_interpreter());
}

TEST(ManualTest, ManPageListsTheCommands) {
  std::string page = text_of_page("vorn.1");
  const Commands listed{bold_words(cut(page, ".SH SCRIPTS", ".PP")),
                        bold_words(cut(page, "unsupported", ".SH"))};
  EXPECT_EQ(listed, commands_of_interpreter());
}

}  // namespace
}  // namespace vorn::solver
