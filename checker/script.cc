// SPDX-License-Identifier: MIT
#include "checker/script.h"

#include <sstream>
#include <unordered_set>
#include <utility>

// Each bracket of a term opens a frame, each term that is finished joins the
// arguments of the innermost frame, and the closing bracket makes one term of
// them.

namespace vorn::checker {

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

bool Symbols::is_free(const std::string& name) {
  const Meaning meaning = find(name);
  const auto* function = std::get_if<const Operator*>(&meaning);
  return meaning.index() == 0 ||
         (function != nullptr && (*function)->is_optional);
}

TermId TermReader::read() {
  args_.clear();
  outer_name_.clear();
  for (;; next()) {
    if (at(TokenKind::kOpen)) {
      open();
    } else if (at(TokenKind::kClose)) {
      close();
    } else if (at(TokenKind::kKeyword)) {
      read_attributes();
    } else if (token().is_symbol()) {
      args_.push_back(read_symbol());
    } else if (at(TokenKind::kNumber)) {
      args_.push_back(terms_.number(token().text, script_.numerals));
    } else {
      fail("expected a term");
    }
    if (frames_.empty()) return args_.back();
  }
}

Formula TermReader::read_formula() {
  const Position position = token().position;
  const TermId term = read();
  checker::require(terms_.sort(term) == Sort::kBool, position,
                   "the term is not of sort Bool");
  return {term, outer_name_, position};
}

Macro TermReader::read_definition(bool has_parameters) {
  Macro macro;
  if (has_parameters) {
    expect(TokenKind::kOpen, "the parameters");
    std::unordered_set<std::string> seen;
    while (next().kind == TokenKind::kOpen) {
      const std::string name = expect_symbol("a parameter").text;
      require(seen.insert(name).second, "a parameter twice");
      macro.parameters.push_back(terms_.symbol(read_sort()));
      symbols_.bind(name, macro.parameters.back(), symbols_.local);
      expect(TokenKind::kClose, "')'");
    }
    require(at(TokenKind::kClose), "expected a parameter or ')'");
  }
  const Sort sort = read_sort();
  next();
  const Position position = token().position;
  // A name inside of a body with parameters would name no one term.
  names_allowed_ = macro.parameters.empty();
  macro.body = terms_.as_sort(read(), sort);
  names_allowed_ = true;
  checker::require(macro.body != kNoTerm, position,
                   "the term is not of the sort that is given");
  Symbols::unbind(symbols_.local, 0);
  return macro;
}

Sort TermReader::read_sort() {
  const std::string& name = expect_symbol("a sort").text;
  const Meaning meaning = symbols_.find('|' + name);
  if (const auto* sort = std::get_if<Sort>(&meaning)) return *sort;
  fail("unknown sort " + name);
}

TermId TermReader::read_symbol() {
  const Meaning meaning = symbols_.find(token().text);
  if (const auto* term = std::get_if<TermId>(&meaning)) return *term;
  if (meaning.index() != 0) fail(token().text + " needs arguments");
  // -3 in one piece, which some scripts hold, is read as (- 3).
  if (at(TokenKind::kQuotedSymbol) || token().text[0] != '-' ||
      !is_number(token().text.substr(1))) {
    fail("unknown symbol " + token().text);
  }
  return terms_.make(Op::kMinus,
                     {terms_.number(token().text.substr(1), script_.numerals)});
}

void TermReader::open() {
  Frame frame{FrameKind::kApply, token().position, args_.size()};
  const Token& word = expect_symbol("a function");
  if (word.is("as")) {
    expect_symbol("a symbol");
    args_.push_back(read_symbol());
    require(read_sort() == terms_.sort(args_.back()),
            "the term is of another sort");
    expect(TokenKind::kClose, "')' behind the sort");
    return;
  }
  if (word.is("let")) {
    frame.kind = FrameKind::kLet;
    frame.num_outside = symbols_.local.size();
    frames_.push_back(frame);
    expect(TokenKind::kOpen, "the bindings of let");
    read_binding();
    return;
  }
  if (word.is("!")) {
    frame.kind = FrameKind::kNote;
  } else {
    frame.head = symbols_.find(word.text);
    const bool is_term = std::holds_alternative<TermId>(frame.head);
    if (is_term || frame.head.index() == 0) fail(word.text + " is no function");
  }
  frames_.push_back(frame);
}

void TermReader::close() {
  require(!frames_.empty(), "expected a term");
  const Frame frame = frames_.back();
  frames_.pop_back();
  if (frame.kind == FrameKind::kApply) {
    const TermId term = apply(frame);
    args_.resize(frame.first);
    args_.push_back(term);
    return;
  }
  checker::require(args_.size() == frame.first + 1, frame.position,
                   "one term is expected here");
  require(frame.kind != FrameKind::kNote, "expected an attribute");
  if (frame.kind == FrameKind::kLet) {
    Symbols::unbind(symbols_.local, frame.num_outside);
  } else {
    read_binding();
  }
}

// Goes to the term of the next binding of a let, or binds all variables at once
// where there is none.
void TermReader::read_binding() {
  if (next().kind == TokenKind::kOpen) {
    frames_.push_back({FrameKind::kBinding, token().position, args_.size()});
    variables_.push_back(expect_symbol("a variable").text);
    return;
  }
  const std::size_t first = frames_.back().first;
  const std::size_t count = args_.size() - first;
  require(at(TokenKind::kClose) && count > 0, "expected bindings in brackets");
  std::unordered_set<std::string> seen;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string& variable = variables_[variables_.size() - count + i];
    require(seen.insert(variable).second, "a variable twice");
    symbols_.bind(variable, args_[first + i], symbols_.local);
  }
  variables_.resize(variables_.size() - count);
  args_.resize(first);
}

// Reads the attributes of a (! t ...) from their first keyword to its end.
void TermReader::read_attributes() {
  require(!frames_.empty() && frames_.back().kind == FrameKind::kNote &&
              args_.size() == frames_.back().first + 1,
          "expected a term");
  while (at(TokenKind::kKeyword)) {
    if (token().text == ":named") {
      const std::string& name = expect_symbol("a name").text;
      require(names_allowed_, "a term cannot be named here");
      require(symbols_.is_free(name), "the name is in use");
      symbols_.bind(name, args_.back(), symbols_.global);
      if (frames_.size() == 1) outer_name_ = name;
    } else if (next().kind == TokenKind::kKeyword || at(TokenKind::kClose)) {
      // Says nothing about the term, and has no value.
      continue;
    } else {
      skip_expression();
    }
    next();
  }
  require(at(TokenKind::kClose), "expected ')'");
  frames_.pop_back();
}

TermId TermReader::apply(const Frame& frame) {
  TermIds& args = last_args_;
  args.assign(args_.begin() + static_cast<std::ptrdiff_t>(frame.first),
              args_.end());
  if (const auto* function = std::get_if<const Operator*>(&frame.head)) {
    return terms_.apply(**function, args, frame.position);
  }
  const Macro& macro = *std::get<const Macro*>(frame.head);
  std::unordered_map<TermId, TermId> replaced;
  bool fits = args.size() == macro.parameters.size();
  for (std::size_t i = 0; fits && i < args.size(); ++i) {
    const TermId parameter = macro.parameters[i];
    replaced[parameter] = terms_.as_sort(args[i], terms_.sort(parameter));
    fits = replaced[parameter] != kNoTerm;
  }
  checker::require(fits, frame.position,
                   "the arguments do not fit the definition");
  return terms_.replace(macro.body, std::move(replaced));
}

namespace {

bool is_check(const std::string& command) {
  return command == "check-sat" || command == "check-sat-assuming";
}

// The name of the next command, or "" at the end.
std::string next_command(Reader& reader) {
  if (reader.next().kind == TokenKind::kEnd) return "";
  reader.require(reader.token().kind == TokenKind::kOpen,
                 "expected a command in brackets");
  return reader.expect_symbol("a command").text;
}

class ScriptReader : private TermReader {
 public:
  using TermReader::TermReader;

  // Reads up to the check of this number.
  void read_to(std::size_t check) {
    for (std::size_t seen = 0;;) {
      const std::string command = next_command(*this);
      if (command.empty() || command == "exit") {
        fail("the script has " + std::to_string(seen) +
             (seen == 1 ? " check" : " checks"));
      }
      if (!is_check(command) || ++seen < check) {
        run(command);
        continue;
      }
      if (command == "check-sat-assuming") {
        expect(TokenKind::kOpen, "the assumptions");
        while (next().kind != TokenKind::kClose) {
          script_.assertions.push_back(read_formula());
          script_.assertions.back().name.clear();
        }
      }
      expect(TokenKind::kClose, "')'");
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
      next();
      script_.assertions.push_back(read_formula());
    } else if (command == "declare-const" || command == "declare-fun") {
      const std::string name = read_new_symbol();
      if (command == "declare-fun") expect_no_parameters();
      bind(name, terms_.symbol(read_sort()));
    } else if (command == "define-sort") {
      const std::string name = read_new_symbol("|");
      expect_no_parameters();
      bind(name, read_sort());
    } else if (command == "define-const" || command == "define-fun") {
      const std::string name = read_new_symbol();
      Macro macro = read_definition(command == "define-fun");
      if (macro.parameters.empty()) {
        bind(name, macro.body);
      } else {
        bind(name, &script_.macros.emplace_back(std::move(macro)));
      }
    } else if (command == "set-logic") {
      set_logic(expect_symbol("a logic").text);
    } else if (command == "set-option") {
      expect(TokenKind::kKeyword, "an option");
      const bool is_global = token().text == ":global-declarations";
      next();
      if (is_global) global_declarations_ = token().is("true");
      skip_expression();
    } else if (command == "push" || command == "pop") {
      return change_scopes(command == "push");
    } else if (command == "reset" || command == "reset-assertions") {
      if (command == "reset") {
        global_declarations_ = false;
        script_.numerals = Sort::kInt;
      }
      scopes_.assign(1, {0, 0});
      leave_scope();
    } else {
      // Changes nothing that a check asks.
      return skip_rest();
    }
    expect(TokenKind::kClose, "')'");
  }

  // Scripts of a logic with reals alone may write them without a point.
  void set_logic(const std::string& logic) {
    script_.numerals = Sort::kInt;
    for (const char* part : {"RDL", "LRA", "NRA"}) {
      const bool is_part = logic.find(part) != std::string::npos;
      if (is_part) script_.numerals = Sort::kReal;
    }
  }

  // push and pop with the bracket behind them; without a number, it is 1.
  void change_scopes(bool is_push) {
    constexpr std::size_t kMost = 1000000;
    std::size_t count = 1;
    if (next().kind != TokenKind::kClose) {
      const std::string digits = token().text;
      require(at(TokenKind::kNumber) && digits.size() < 10 &&
                  digits.find('.') == std::string::npos,
              "expected a number of scopes");
      count = std::stoul(digits);
      expect(TokenKind::kClose, "')'");
    }
    require(!is_push || scopes_.size() + count <= kMost, "too many scopes");
    for (; count > 0; --count) {
      if (is_push) {
        scopes_.push_back({script_.assertions.size(), symbols_.global.size()});
      } else {
        require(!scopes_.empty(), "there are fewer scopes");
        leave_scope();
      }
    }
  }

  void leave_scope() {
    const Scope& scope = scopes_.back();
    script_.assertions.resize(scope.num_assertions);
    if (!global_declarations_) {
      Symbols::unbind(symbols_.global, scope.num_bound);
    }
    scopes_.pop_back();
  }

  // Reads a symbol that is to be bound; `bar` stands before that of a sort.
  std::string read_new_symbol(const char* bar = "") {
    std::string name = bar + expect_symbol("a new symbol").text;
    require(symbols_.is_free(name), "the symbol is in use");
    return name;
  }

  void expect_no_parameters() {
    expect(TokenKind::kOpen, "'('");
    expect(TokenKind::kClose, "')': functions are not known");
  }

  void bind(const std::string& name, Meaning meaning) {
    symbols_.bind(name, meaning, symbols_.global);
  }

  bool global_declarations_ = false;
  std::vector<Scope> scopes_;
};

}  // namespace

std::size_t read_script(const std::string& text, std::size_t check,
                        Script& script) {
  if (check == 0) {
    std::istringstream in(text);
    Reader reader(in);
    std::string command = next_command(reader);
    for (; !command.empty() && command != "exit";
         command = next_command(reader)) {
      if (is_check(command)) ++check;
      reader.skip_rest();
    }
    require(check > 0, {}, "the script has no check");
  }
  std::istringstream in(text);
  ScriptReader(in, script).read_to(check);
  return check;
}

}  // namespace vorn::checker
