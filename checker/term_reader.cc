// SPDX-License-Identifier: MIT
#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "checker/script.h"

// Each bracket opens a frame, each term that is finished joins the arguments of
// the innermost frame, and the closing bracket makes one term of them.

namespace vorn::checker {
namespace {

// -3 in one piece, which some scripts hold, is read as (- 3).
bool is_negative_number(const std::string& text) {
  return text.size() > 1 && text.front() == '-' && text.back() != '.' &&
         text[1] != '.' &&
         text.find_first_not_of("0123456789.", 1) == std::string::npos &&
         std::count(text.begin(), text.end(), '.') <= 1;
}

}  // namespace

TermId TermReader::read(bool names_allowed) {
  names_allowed_ = names_allowed;
  args_.clear();
  outer_name_.clear();
  for (;; reader_.next()) {
    const Token& token = reader_.token();
    if (token.kind == TokenKind::kOpen) {
      open();
    } else if (token.kind == TokenKind::kClose) {
      close(false);
    } else if (token.kind == TokenKind::kKeyword) {
      read_attributes();
      close(true);
    } else if (token.is_symbol()) {
      args_.push_back(read_symbol());
    } else if (token.kind == TokenKind::kNumeral ||
               token.kind == TokenKind::kDecimal) {
      args_.push_back(read_number(token.text));
    } else {
      reader_.fail("expected a term");
    }
    if (frames_.empty()) return args_.back();
  }
}

Formula TermReader::read_formula() {
  const Position position = reader_.token().position;
  const TermId term = read();
  if (terms_.sort(term) != Sort::kBool) {
    throw Rejection{position, "the term is not of sort Bool"};
  }
  return {term, outer_name_, position};
}

Macro TermReader::read_definition(bool has_parameters) {
  Macro macro;
  if (has_parameters) {
    reader_.expect(TokenKind::kOpen, "the parameters");
    std::unordered_set<std::string> seen;
    while (reader_.next().kind == TokenKind::kOpen) {
      const std::string name = reader_.expect_symbol("a parameter").text;
      if (!seen.insert(name).second) reader_.fail("a parameter twice");
      macro.parameters.push_back(terms_.symbol(read_sort()));
      symbols_.bind(name, macro.parameters.back(), symbols_.local);
      reader_.expect(TokenKind::kClose, "')'");
    }
    if (reader_.token().kind != TokenKind::kClose) {
      reader_.fail("expected a parameter or ')'");
    }
  }
  const Sort sort = read_sort();
  reader_.next();
  const Position position = reader_.token().position;
  // A name inside of a body with parameters would name no one term.
  macro.body = terms_.as_sort(read(macro.parameters.empty()), sort);
  if (macro.body == kNoTerm) {
    throw Rejection{position, "the term is not of the sort that is given"};
  }
  Symbols::unbind(symbols_.local, 0);
  return macro;
}

Sort TermReader::read_sort() {
  const std::string& name = reader_.expect_symbol("a sort").text;
  const Meaning meaning = symbols_.find('|' + name);
  if (const auto* sort = std::get_if<Sort>(&meaning)) return *sort;
  reader_.fail("unknown sort " + name);
}

// Digits with at most one point among them.
TermId TermReader::read_number(std::string digits) {
  const std::size_t point = digits.find('.');
  if (point == std::string::npos) {
    return terms_.number(mpz_class(digits, 10), script_.numerals);
  }
  mpz_class denominator;
  mpz_ui_pow_ui(denominator.get_mpz_t(), 10, digits.size() - point - 1);
  mpq_class value(mpz_class(digits.erase(point, 1), 10), denominator);
  value.canonicalize();
  return terms_.number(value, Sort::kReal);
}

TermId TermReader::read_symbol() {
  const Token& token = reader_.token();
  const Meaning meaning = symbols_.find(token.text);
  if (const auto* term = std::get_if<TermId>(&meaning)) return *term;
  if (meaning.index() != 0) reader_.fail(token.text + " needs arguments");
  if (token.kind == TokenKind::kQuotedSymbol ||
      !is_negative_number(token.text)) {
    reader_.fail("unknown symbol " + token.text);
  }
  return terms_.make(Op::kMinus, {read_number(token.text.substr(1))});
}

void TermReader::open() {
  Frame frame{FrameKind::kApply, {}, reader_.token().position, args_.size()};
  if (!frames_.empty() && frames_.back().kind == FrameKind::kBindings) {
    frame.kind = FrameKind::kBinding;
    variables_.push_back(reader_.expect_symbol("a variable").text);
    frames_.push_back(frame);
    return;
  }
  const Token& token = reader_.expect_symbol("a function");
  if (token.is("as")) {
    reader_.expect_symbol("a symbol");
    args_.push_back(read_symbol());
    if (read_sort() != terms_.sort(args_.back())) {
      reader_.fail("the term is of another sort");
    }
    reader_.expect(TokenKind::kClose, "')' behind the sort");
    return;
  }
  if (token.is("let")) {
    frame.kind = FrameKind::kLet;
    frame.outside = symbols_.local.size();
    frames_.push_back(frame);
    reader_.expect(TokenKind::kOpen, "the bindings of let");
    frame.kind = FrameKind::kBindings;
    frame.outside = variables_.size();
  } else if (token.is("!")) {
    frame.kind = FrameKind::kNote;
  } else {
    frame.head = symbols_.find(token.text);
    if (frame.head.index() == 0) reader_.fail("unknown function " + token.text);
    if (std::holds_alternative<TermId>(frame.head)) {
      reader_.fail(token.text + " takes no arguments");
    }
  }
  frames_.push_back(frame);
}

void TermReader::close(bool has_attributes) {
  if (frames_.empty()) reader_.fail("expected a term");
  const Frame frame = frames_.back();
  const std::size_t count = args_.size() - frame.first;
  frames_.pop_back();
  if (frame.kind == FrameKind::kApply) {
    const TermId term = apply(frame);
    args_.resize(frame.first);
    args_.push_back(term);
  } else if (frame.kind == FrameKind::kBindings) {
    bind(frame);
    args_.resize(frame.first);
  } else if (count != 1) {
    throw Rejection{frame.position, "one term is expected here"};
  } else if (frame.kind == FrameKind::kLet) {
    Symbols::unbind(symbols_.local, frame.outside);
  } else if (frame.kind == FrameKind::kNote && !has_attributes) {
    reader_.fail("expected an attribute");
  }
}

// All bindings of one let are made at once.
void TermReader::bind(const Frame& frame) {
  const std::size_t count = args_.size() - frame.first;
  if (count == 0 || variables_.size() - frame.outside != count) {
    throw Rejection{frame.position, "expected bindings in brackets"};
  }
  std::unordered_set<std::string> seen;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string& variable = variables_[frame.outside + i];
    if (!seen.insert(variable).second) {
      throw Rejection{frame.position, variable + " is bound twice"};
    }
    symbols_.bind(variable, args_[frame.first + i], symbols_.local);
  }
  variables_.resize(frame.outside);
}

// Reads the attributes of a (! t ...) from their first keyword on.
void TermReader::read_attributes() {
  if (frames_.empty() || frames_.back().kind != FrameKind::kNote ||
      args_.size() != frames_.back().first + 1) {
    reader_.fail("expected a term");
  }
  while (reader_.token().kind == TokenKind::kKeyword) {
    if (reader_.token().text == ":named") {
      const std::string& name = reader_.expect_symbol("a name").text;
      if (!names_allowed_) reader_.fail("a term cannot be named here");
      if (!symbols_.is_free(name)) {
        reader_.fail("the name " + name + " is in use");
      }
      symbols_.bind(name, args_.back(), symbols_.global);
      if (frames_.size() == 1) outer_name_ = name;
    } else if (reader_.next().kind == TokenKind::kKeyword ||
               reader_.token().kind == TokenKind::kClose) {
      // Says nothing about the term, and has no value.
      continue;
    } else {
      reader_.skip_expression();
    }
    reader_.next();
  }
  if (reader_.token().kind != TokenKind::kClose) reader_.fail("expected ')'");
}

TermId TermReader::apply(const Frame& frame) {
  TermIds& args = last_args_;
  args.assign(args_.begin() + static_cast<std::ptrdiff_t>(frame.first),
              args_.end());
  if (const auto* function = std::get_if<const Operator*>(&frame.head)) {
    std::string error;
    const TermId term = terms_.apply(**function, args, error);
    if (term == kNoTerm) throw Rejection{frame.position, error};
    return term;
  }
  const Macro& macro = *std::get<const Macro*>(frame.head);
  std::unordered_map<TermId, TermId> replaced;
  bool fits = args.size() == macro.parameters.size();
  for (std::size_t i = 0; fits && i < args.size(); ++i) {
    const TermId parameter = macro.parameters[i];
    replaced[parameter] = terms_.as_sort(args[i], terms_.sort(parameter));
    fits = replaced[parameter] != kNoTerm;
  }
  if (!fits) {
    throw Rejection{frame.position, "the arguments do not fit the definition"};
  }
  return terms_.replace(macro.body, std::move(replaced));
}

}  // namespace vorn::checker
