// SPDX-License-Identifier: MIT
#include "solver/cubes/question.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "solver/cubes/text_source.h"

namespace vorn::solver {
namespace {

bool is_one_of(std::string_view word,
               std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// The digest tells files apart that somebody has mixed up; nobody gains
// anything by making two scripts with the same.
std::string digest_of(const std::string& text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 0x100000001b3;
  }
  std::string digits;
  for (int shift = 60; shift >= 0; shift -= 4) {
    digits += "0123456789abcdef"[(hash >> static_cast<unsigned>(shift)) & 15U];
  }
  return digits;
}

// Walks over the commands of a script that is held in memory.
class Commands {
 public:
  explicit Commands(const std::string& script)
      : script_(script), source_(script), lexer_(source_) {}

  enum class Outcome { kCommand, kEnd, kError };

  // Goes to the next command. Its parts are read behind its name.
  Outcome next(ScriptError& error) {
    const Token& first = lexer_.next();
    if (first.kind == TokenKind::kEnd) return Outcome::kEnd;
    position = first.position;
    if (first.kind != TokenKind::kOpen) return fail(error, "a command");
    begin = script_.find('(', end);
    while (!is_command_at(begin)) begin = script_.find('(', begin + 1);
    if (lexer_.next().kind != TokenKind::kSymbol) {
      return fail(error, "a command name");
    }
    name = lexer_.token().text;
    keyword.clear();
    bool is_first = true;
    while (lexer_.depth() > 0) {
      const Token& token = lexer_.next();
      if (token.kind == TokenKind::kEnd) return fail(error, "')'");
      if (is_first && token.kind == TokenKind::kKeyword) keyword = token.text;
      is_first = false;
    }
    end = begin + lexer_.end();
    return Outcome::kCommand;
  }

  Position position;
  std::string name;
  std::string keyword;
  std::size_t begin = 0;
  std::size_t end = 0;

 private:
  Outcome fail(ScriptError& error, const char* expected) {
    error = {lexer_.token().position, std::string("expected ") + expected};
    return Outcome::kError;
  }
  // Whether a bracket at a place is none of a comment.
  bool is_command_at(std::size_t place) const {
    for (std::size_t k = place; k > end; --k) {
      const char c = script_[k - 1];
      if (c == '\n' || c == '\r') return true;
      if (c == ';') return false;
    }
    return true;
  }

  const std::string& script_;
  TextSource source_;
  Lexer lexer_;
};

void blank(std::string& text, std::size_t begin, std::size_t end) {
  for (std::size_t k = begin; k < end; ++k) {
    if (text[k] != '\n' && text[k] != '\r') text[k] = ' ';
  }
}

}  // namespace

std::string CubeQuestion::signature(
    const std::string& cube, const std::vector<std::string>& literals) const {
  std::string text = digest;
  for (const std::string& literal : literals) text += '\n' + literal;
  return cube + ' ' + digest_of(text);
}

std::string CubeQuestion::cube_text(
    const std::string& cube, const std::vector<std::string>& literals) const {
  std::string text = head;
  if (!text.empty() && text.back() != '\n') text += '\n';
  return text + "; " + cube + ": what it adds.\n" + check_text(cube, literals) +
         "(exit)\n";
}

std::string CubeQuestion::bare_text(
    const std::string& cube, const std::vector<std::string>& literals) const {
  return bare + '\n' + check_text(cube, literals);
}

std::string CubeQuestion::check_text(
    const std::string& cube, const std::vector<std::string>& literals) const {
  std::string text;
  for (const std::string& literal : literals) {
    text += "(assert " + literal + ")\n";
  }
  return text + "(set-option :print-models true)\n(echo \"" +
         signature(cube, literals) + "\")\n(check-sat)\n";
}

std::optional<CubeQuestion> read_question(const std::string& script,
                                          ScriptError& error) {
  CubeQuestion question;
  Commands commands(script);
  bool is_checked = false;
  std::vector<std::pair<std::size_t, std::size_t>> options;
  std::vector<std::pair<std::size_t, std::size_t>> quiet;
  const auto refuse = [&](const std::string& why) {
    error = {commands.position, why};
    return std::nullopt;
  };
  for (;;) {
    switch (commands.next(error)) {
      case Commands::Outcome::kError:
        return std::nullopt;
      case Commands::Outcome::kEnd:
        if (is_checked) return question;
        return refuse("there is no (check-sat) to split");
      case Commands::Outcome::kCommand:
        break;
    }
    const std::string& name = commands.name;
    if (name == "exit") {
      if (is_checked) return question;
      return refuse("there is no (check-sat) before this to split");
    }
    if (is_one_of(name, {"check-sat", "check-sat-assuming"})) {
      if (is_checked) {
        return refuse("a second check: what is split is one question");
      }
      if (name != "check-sat") {
        return refuse("what is assumed cannot be split; assert it instead");
      }
      is_checked = true;
      question.head = script.substr(0, commands.begin);
      question.bare = question.head;
      question.digest = digest_of(script);
      for (const auto& [begin, end] : options) {
        blank(question.bare, begin, end);
      }
      for (const auto& [begin, end] : quiet) {
        blank(question.bare, begin, end);
        blank(question.head, begin, end);
      }
      continue;
    }
    if (is_one_of(name, {"minimize", "maximize", "assert-soft"})) {
      return refuse("objectives cannot be split; ask about one value of them");
    }
    if (is_one_of(name, {"push", "pop", "reset", "reset-assertions"})) {
      return refuse(name + " cannot be split: what is split is one question");
    }
    if (is_checked) {
      // What only asks about the answer says nothing about the question.
      if (name.rfind("get-", 0) == 0 || name == "echo" || name == "set-info") {
        continue;
      }
      return refuse(name + " behind the check has nothing to do with it");
    }
    if (name.rfind("get-", 0) == 0 || name == "echo" ||
        (name == "set-info" && commands.keyword == ":status") ||
        is_one_of(commands.keyword,
                  {":print-success", ":regular-output-channel",
                   ":diagnostic-output-channel"})) {
      quiet.emplace_back(commands.begin, commands.end);
    } else if (name == "set-option") {
      options.emplace_back(commands.begin, commands.end);
    }
  }
}

}  // namespace vorn::solver
