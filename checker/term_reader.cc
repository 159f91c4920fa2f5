// SPDX-License-Identifier: MIT
#include "checker/term_reader.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

// start() reads up to the first part of a term and opens a frame for the rest;
// deliver() hands a finished term to the innermost frame, which reads on to its
// next part, or is finished and has a term itself. kNoTerm stands for "not
// yet".

namespace vorn::checker {
namespace {

bool is_reserved(const std::string& word) {
  static const std::unordered_set<std::string> kWords = {
      "!", "_", "as", "exists", "forall", "let", "match", "par"};
  return kWords.count(word) > 0;
}

// -3 in one piece, which some scripts hold, is read as (- 3).
bool is_negative_number(const std::string& text) {
  return text.size() > 1 && text.front() == '-' && text.back() != '.' &&
         text[1] != '.' &&
         text.find_first_not_of("0123456789.", 1) == std::string::npos &&
         std::count(text.begin(), text.end(), '.') <= 1;
}

// The value of digits with at most one point among them.
mpq_class number_of(std::string text) {
  mpz_class denominator = 1;
  const std::size_t point = text.find('.');
  if (point != std::string::npos) {
    mpz_ui_pow_ui(denominator.get_mpz_t(), 10, text.size() - point - 1);
    text.erase(point, 1);
  }
  mpq_class value(mpz_class(text, 10), denominator);
  value.canonicalize();
  return value;
}

}  // namespace

TermId TermReader::read(bool names_allowed) {
  names_allowed_ = names_allowed;
  frames_.clear();
  args_.clear();
  variables_.clear();
  outer_name_.reset();
  const std::size_t bound = symbols_.num_bound();
  named_.clear();
  TermId term = start();
  while (term == kNoTerm || !frames_.empty()) {
    term = term == kNoTerm ? start() : deliver(term);
  }
  symbols_.unbind_to(bound);
  for (const auto& [name, named] : named_) {
    Meaning meaning;
    meaning.term = named;
    symbols_.bind(name, meaning);
  }
  return term;
}

TermId TermReader::read_formula() {
  const Position position = reader_.token().position;
  const TermId term = read();
  if (terms_.sort(term) != Sort::kBool) {
    throw Rejection{position, "the term is not of sort Bool"};
  }
  return term;
}

Sort TermReader::read_sort() {
  const std::string& name = reader_.expect_symbol("a sort").text;
  if (name == "Bool") return Sort::kBool;
  if (name == "Int") return Sort::kInt;
  if (name == "Real") return Sort::kReal;
  reader_.fail("only the sorts Bool, Int and Real are known");
}

TermId TermReader::start() {
  switch (reader_.token().kind) {
    case TokenKind::kNumeral:
    case TokenKind::kDecimal:
      return read_number();
    case TokenKind::kSymbol:
    case TokenKind::kQuotedSymbol:
      return read_symbol();
    case TokenKind::kOpen:
      return open();
    default:
      reader_.fail("expected a term");
  }
}

TermId TermReader::read_number() {
  const Token& token = reader_.token();
  return terms_.number(number_of(token.text), token.kind == TokenKind::kDecimal
                                                  ? Sort::kReal
                                                  : numerals_);
}

TermId TermReader::read_symbol() {
  const Token& token = reader_.token();
  const bool is_quoted = token.kind == TokenKind::kQuotedSymbol;
  if (!is_quoted && is_reserved(token.text)) reader_.fail("expected a term");
  const Meaning meaning = symbols_.find(token.text);
  if (meaning.term != kNoTerm) return meaning.term;
  if (meaning.exists()) reader_.fail(token.text + " needs arguments");
  const auto named = named_.find(token.text);
  if (named != named_.end()) return named->second;
  if (is_quoted || !is_negative_number(token.text)) {
    reader_.fail("unknown symbol " + token.text);
  }
  const Sort sort =
      token.text.find('.') == std::string::npos ? numerals_ : Sort::kReal;
  return terms_.make(Op::kMinus,
                     {terms_.number(number_of(token.text.substr(1)), sort)});
}

TermId TermReader::open() {
  Frame frame{FrameKind::kApply, {}, reader_.token().position, args_.size()};
  const Token& token = reader_.expect_symbol("a function");
  if (token.kind == TokenKind::kSymbol && token.text == "let") {
    frame.kind = FrameKind::kBindings;
    frame.bound = symbols_.num_bound();
    frames_.push_back(std::move(frame));
    reader_.expect(TokenKind::kOpen, "the bindings of let");
    reader_.expect(TokenKind::kOpen, "a binding");
    open_binding();
    return kNoTerm;
  }
  if (token.kind == TokenKind::kSymbol && token.text == "!") {
    frame.kind = FrameKind::kNote;
  } else {
    if (token.kind == TokenKind::kSymbol && is_reserved(token.text)) {
      reader_.fail(token.text + " is not known in terms");
    }
    frame.head = symbols_.find(token.text);
    if (!frame.head.exists()) reader_.fail("unknown function " + token.text);
    if (frame.head.term != kNoTerm) {
      reader_.fail(token.text + " takes no arguments");
    }
  }
  frames_.push_back(std::move(frame));
  reader_.next();
  return kNoTerm;
}

void TermReader::open_binding() {
  variables_.push_back(reader_.expect_symbol("a variable").text);
  reader_.next();
}

TermId TermReader::deliver(TermId term) {
  Frame& frame = frames_.back();
  switch (frame.kind) {
    case FrameKind::kApply:
      args_.push_back(term);
      if (reader_.next().kind == TokenKind::kClose) return close_application();
      return kNoTerm;
    case FrameKind::kBindings:
      args_.push_back(term);
      reader_.expect(TokenKind::kClose, "')' behind the term of a binding");
      if (reader_.next().kind == TokenKind::kOpen) {
        open_binding();
      } else if (reader_.token().kind == TokenKind::kClose) {
        close_bindings();
        reader_.next();
      } else {
        reader_.fail("expected a binding or ')'");
      }
      return kNoTerm;
    case FrameKind::kBody:
      reader_.expect(TokenKind::kClose, "')' behind the body of let");
      symbols_.unbind_to(frame.bound);
      break;
    case FrameKind::kNote:
      read_attributes(term);
      break;
  }
  frames_.pop_back();
  return term;
}

// All bindings of one let are made at once.
void TermReader::close_bindings() {
  Frame& frame = frames_.back();
  const std::size_t count = args_.size() - frame.first;
  const std::size_t first = variables_.size() - count;
  std::unordered_set<std::string> seen;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string& variable = variables_[first + i];
    if (!seen.insert(variable).second) {
      throw Rejection{frame.position, variable + " is bound twice"};
    }
    Meaning meaning;
    meaning.term = args_[frame.first + i];
    symbols_.bind(variable, meaning);
  }
  variables_.resize(first);
  args_.resize(frame.first);
  frame.kind = FrameKind::kBody;
}

void TermReader::read_attributes(TermId term) {
  reader_.expect(TokenKind::kKeyword, "an attribute");
  while (reader_.token().kind == TokenKind::kKeyword) {
    if (reader_.token().text != ":named") {
      // Says nothing about the term, with or without a value.
      reader_.next();
      if (reader_.token().kind == TokenKind::kKeyword ||
          reader_.token().kind == TokenKind::kClose) {
        continue;
      }
      reader_.skip_expression();
      reader_.next();
      continue;
    }
    const std::string& name = reader_.expect_symbol("a name").text;
    if (!names_allowed_) reader_.fail("a term cannot be named here");
    if (symbols_.find(name).exists() || !named_.emplace(name, term).second) {
      reader_.fail("the name " + name + " is in use");
    }
    if (frames_.size() == 1) outer_name_ = name;
    reader_.next();
  }
  if (reader_.token().kind != TokenKind::kClose) reader_.fail("expected ')'");
}

TermId TermReader::close_application() {
  const Frame frame = std::move(frames_.back());
  frames_.pop_back();
  std::vector<TermId> args(
      args_.begin() + static_cast<std::ptrdiff_t>(frame.first), args_.end());
  args_.resize(frame.first);
  if (frame.head.op != Op::kNone) {
    std::string error;
    const TermId term = terms_.apply(frame.head.op, args, error);
    if (term == kNoTerm) throw Rejection{frame.position, error};
    return term;
  }
  const Macro& macro = symbols_.macro(frame.head.macro);
  bool fits = args.size() == macro.parameters.size();
  for (std::size_t i = 0; fits && i < args.size(); ++i) {
    args[i] = terms_.as_sort(args[i], terms_.sort(macro.parameters[i]));
    fits = args[i] != kNoTerm;
  }
  if (!fits) {
    throw Rejection{frame.position, "the arguments do not fit the definition"};
  }
  return expand(terms_, macro, args);
}

}  // namespace vorn::checker
