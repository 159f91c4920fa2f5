// SPDX-License-Identifier: MIT
#include "checker/script.h"

#include <utility>

namespace vorn::checker {
namespace {

bool is_check(const std::string& command) {
  return command == "check-sat" || command == "check-sat-assuming";
}

// The name of the next command, or "" at the end.
std::string next_command(Reader& reader) {
  if (reader.next().kind == TokenKind::kEnd) return "";
  if (reader.token().kind != TokenKind::kOpen) {
    reader.fail("expected a command in brackets");
  }
  return reader.expect_symbol("a command").text;
}

class ScriptReader {
 public:
  ScriptReader(std::istream& in, Script& script)
      : reader_(in),
        script_(script),
        symbols_(script.symbols),
        terms_(reader_, script) {}

  // Reads up to the check of this number.
  void read(std::size_t check) {
    for (std::size_t seen = 0;;) {
      const std::string command = next_command(reader_);
      if (command.empty() || command == "exit") {
        reader_.fail("the script has " + std::to_string(seen) +
                     (seen == 1 ? " check" : " checks"));
      }
      if (!is_check(command) || ++seen < check) {
        run(command);
        continue;
      }
      if (command == "check-sat-assuming") {
        reader_.expect(TokenKind::kOpen, "the assumptions");
        while (reader_.next().kind != TokenKind::kClose) {
          script_.assertions.push_back(terms_.read_formula());
          script_.assertions.back().name.clear();
        }
      }
      reader_.expect(TokenKind::kClose, "')'");
      return;
    }
  }

 private:
  struct Scope {
    std::size_t num_assertions;
    std::size_t num_bound;
  };

  void run(const std::string& command) {
    if (command == "assert") {
      reader_.next();
      script_.assertions.push_back(terms_.read_formula());
    } else if (command == "declare-const" || command == "declare-fun") {
      declare(command == "declare-fun");
    } else if (command == "define-const" || command == "define-fun") {
      define(command == "define-fun");
    } else if (command == "define-sort") {
      define_sort();
    } else if (command == "set-logic") {
      set_logic();
    } else if (command == "set-option") {
      set_option();
    } else if (command == "push" || command == "pop") {
      change_scopes(command == "push");
      return;
    } else if (command == "reset" || command == "reset-assertions") {
      if (command == "reset") {
        global_declarations_ = false;
        script_.numerals = Sort::kInt;
      }
      script_.assertions.clear();
      scopes_.clear();
      if (!global_declarations_) Symbols::unbind(symbols_.global, 0);
    } else {
      // Changes nothing that a check asks.
      reader_.skip_rest();
      return;
    }
    reader_.expect(TokenKind::kClose, "')'");
  }

  // Scripts of a logic with reals alone may write them without a point.
  void set_logic() {
    const std::string& logic = reader_.expect_symbol("a logic").text;
    script_.numerals = Sort::kInt;
    for (const char* part : {"RDL", "LRA", "NRA"}) {
      const bool is_part = logic.find(part) != std::string::npos;
      if (is_part) script_.numerals = Sort::kReal;
    }
  }

  void set_option() {
    reader_.expect(TokenKind::kKeyword, "an option");
    const bool is_global = reader_.token().text == ":global-declarations";
    reader_.next();
    if (is_global) global_declarations_ = reader_.token().is("true");
    reader_.skip_expression();
  }

  // push and pop with the bracket behind them; without a number, it is 1.
  void change_scopes(bool is_push) {
    constexpr std::size_t kMost = 1000000;
    std::size_t count = 1;
    if (reader_.next().kind != TokenKind::kClose) {
      if (reader_.token().kind != TokenKind::kNumeral) {
        reader_.fail("expected a number of scopes");
      }
      count = 0;
      for (const char digit : reader_.token().text) {
        count = 10 * count + static_cast<std::size_t>(digit - '0');
        if (count > kMost) reader_.fail("too many scopes");
      }
      reader_.expect(TokenKind::kClose, "')'");
    }
    if (is_push ? scopes_.size() + count > kMost : count > scopes_.size()) {
      reader_.fail(is_push ? "too many scopes" : "there are fewer scopes");
    }
    for (; count > 0; --count) {
      if (is_push) {
        scopes_.push_back({script_.assertions.size(), symbols_.global.size()});
        continue;
      }
      const Scope& scope = scopes_.back();
      script_.assertions.resize(scope.num_assertions);
      if (!global_declarations_) {
        Symbols::unbind(symbols_.global, scope.num_bound);
      }
      scopes_.pop_back();
    }
  }

  // Reads a symbol that is to be bound; `bar` stands before that of a sort.
  std::string read_new_symbol(const char* bar = "") {
    const std::string name = reader_.expect_symbol("a new symbol").text;
    if (!symbols_.is_free(bar + name)) {
      reader_.fail("the symbol " + name + " is in use");
    }
    return bar + name;
  }

  void declare(bool has_parameters) {
    const std::string name = read_new_symbol();
    if (has_parameters) {
      reader_.expect(TokenKind::kOpen, "'('");
      reader_.expect(TokenKind::kClose, "')': functions are not known");
    }
    const TermId symbol = script_.terms.symbol(terms_.read_sort());
    symbols_.bind(name, symbol, symbols_.global);
  }

  void define_sort() {
    const std::string name = read_new_symbol("|");
    reader_.expect(TokenKind::kOpen, "'('");
    reader_.expect(TokenKind::kClose, "')': such sorts are not known");
    symbols_.bind(name, terms_.read_sort(), symbols_.global);
  }

  void define(bool has_parameters) {
    const std::string name = read_new_symbol();
    Macro macro = terms_.read_definition(has_parameters);
    if (macro.parameters.empty()) {
      symbols_.bind(name, macro.body, symbols_.global);
    } else {
      script_.macros.push_back(std::move(macro));
      symbols_.bind(name, &script_.macros.back(), symbols_.global);
    }
  }

  Reader reader_;
  Script& script_;
  Symbols& symbols_;
  TermReader terms_;
  bool global_declarations_ = false;
  std::vector<Scope> scopes_;
};

}  // namespace

Symbols::Symbols(const Terms& terms) {
  for (const Operator& function : kOperators) {
    meanings_[std::string(function.name)] = &function;
  }
  meanings_["true"] = terms.boolean(true);
  meanings_["false"] = terms.boolean(false);
  meanings_["|Bool"] = Sort::kBool;
  meanings_["|Int"] = Sort::kInt;
  meanings_["|Real"] = Sort::kReal;
}

bool Symbols::is_free(const std::string& name) const {
  const Meaning meaning = find(name);
  const auto* function = std::get_if<const Operator*>(&meaning);
  return meaning.index() == 0 ||
         (function != nullptr && (*function)->is_optional);
}

std::size_t count_checks(std::istream& in) {
  Reader reader(in);
  std::size_t count = 0;
  for (;;) {
    const std::string command = next_command(reader);
    if (command.empty() || command == "exit") return count;
    if (is_check(command)) ++count;
    reader.skip_rest();
  }
}

void read_script(std::istream& in, std::size_t check, Script& script) {
  ScriptReader(in, script).read(check);
}

void read_assumptions(std::istream& in, Script& script) {
  Reader reader(in);
  TermReader terms(reader, script);
  while (reader.next().kind != TokenKind::kEnd) {
    script.assertions.push_back(terms.read_formula());
    script.assertions.back().name.clear();
  }
}

}  // namespace vorn::checker
