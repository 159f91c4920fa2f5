// SPDX-License-Identifier: MIT
#include "solver/smtlib/term_parser.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>
#include <utility>

#include "solver/smtlib/substitution.h"
#include "solver/terms/term_printer.h"

// A stack machine. read_start reads the first token or tokens of a term: it
// gives the term if that is all of it, and otherwise opens a frame and stops
// at the first token of the frame's first part. deliver hands a finished term
// to the innermost frame, which either asks for its next part in the same way
// or is finished itself and passes on its own term.

namespace vorn::solver {
namespace {

std::string shorten(const std::string& text) {
  constexpr std::size_t kShown = 60;
  return text.size() <= kShown ? text : text.substr(0, kShown) + "...";
}

std::string describe(const Token& token) {
  switch (token.kind) {
    case TokenKind::kOpen:
      return "'('";
    case TokenKind::kClose:
      return "')'";
    case TokenKind::kString:
      return "a string";
    case TokenKind::kQuotedSymbol:
      return '|' + shorten(token.text) + '|';
    case TokenKind::kHexadecimal:
    case TokenKind::kBinary:
      return '#' + shorten(token.text);
    default:
      return shorten(token.text);
  }
}

// A negative number written in one piece. The standard spells it (- 3), but
// some generators of scripts do not.
std::optional<QNumber> read_negative(const std::string& text) {
  if (text.size() < 2 || text.front() != '-' ||
      text.find_first_not_of("0123456789.", 1) != std::string::npos) {
    return std::nullopt;
  }
  return QNumber::from_string(text);
}

}  // namespace

ScriptError unexpected_token(const Lexer& lexer, const char* expected) {
  const Token& token = lexer.token();
  if (token.kind == TokenKind::kInvalid) return {token.position, token.text};
  if (token.kind == TokenKind::kEnd) {
    const Position start = lexer.command_position();
    return {token.position,
            "the script ends inside the command that starts at line " +
                std::to_string(start.line) + " column " +
                std::to_string(start.column)};
  }
  return {token.position,
          std::string("expected ") + expected + ", not " + describe(token)};
}

bool skip_expression(Lexer& lexer) {
  const auto is_sound = [&lexer] {
    return lexer.token().kind != TokenKind::kInvalid &&
           lexer.token().kind != TokenKind::kEnd;
  };
  if (lexer.token().kind != TokenKind::kOpen) {
    return is_sound() && lexer.token().kind != TokenKind::kClose;
  }
  const std::size_t depth = lexer.depth() - 1;
  while (lexer.depth() > depth) {
    lexer.next();
    if (!is_sound()) return false;
  }
  return true;
}

bool TermParser::fail(Position position, std::string message) {
  error_ = {position, std::move(message)};
  return false;
}

bool TermParser::fail_at_token(const char* expected) {
  error_ = unexpected_token(lexer_, expected);
  return false;
}

bool TermParser::expect_close(const char* expected) {
  if (lexer_.next().kind == TokenKind::kClose) return true;
  return fail_at_token(expected);
}

void TermParser::start_command(bool names_allowed) {
  names_allowed_ = names_allowed;
  names_.clear();
  atoms_.clear();
  expansions_.clear();
}

bool TermParser::parse(ParsedTerm& result) {
  const std::size_t bound = symbols_.num_bound();
  frames_.clear();
  arguments_.clear();
  variables_.clear();
  outer_name_.reset();
  const bool parsed = do_parse(result);
  symbols_.unbind_to(bound);
  return parsed;
}

bool TermParser::do_parse(ParsedTerm& result) {
  result.position = lexer_.token().position;
  result.begin = lexer_.token().begin;
  for (;;) {
    PlacedTerm value;
    if (!read_start(value)) return false;
    while (value.term != nullptr) {
      if (frames_.empty()) {
        result.term = value.term;
        result.written = value.written;
        result.end = lexer_.end();
        result.name = std::move(outer_name_);
        return true;
      }
      if (!deliver(value)) return false;
    }
  }
}

bool TermParser::read_start(PlacedTerm& value) {
  value = {nullptr, lexer_.token().position};
  switch (lexer_.token().kind) {
    case TokenKind::kNumeral:
    case TokenKind::kDecimal:
      return read_number(value);
    case TokenKind::kSymbol:
    case TokenKind::kQuotedSymbol:
      return read_name(value);
    case TokenKind::kOpen:
      return open_bracket(value);
    default:
      return fail_at_token("a term");
  }
}

bool TermParser::read_number(PlacedTerm& value) {
  const Token& token = lexer_.token();
  const std::optional<QNumber> number = QNumber::from_string(token.text);
  assert(number.has_value());
  value.term = store_.make_number(*number, token.kind == TokenKind::kDecimal
                                               ? Sort::kReal
                                               : arithmetic_.numeral_sort);
  if (record_ != nullptr) value.written = record_->leaf(value.term);
  return true;
}

bool TermParser::read_name(PlacedTerm& value) {
  const Token& token = lexer_.token();
  if (!is_symbol(token)) return fail_at_token("a term");
  const Meaning* meaning = symbols_.find(token.text);
  if (meaning == nullptr) {
    if (token.kind == TokenKind::kSymbol) {
      if (const auto number = read_negative(token.text)) {
        const bool decimal = token.text.find('.') != std::string::npos;
        value.term = store_.make_number(
            *number, decimal ? Sort::kReal : arithmetic_.numeral_sort);
        if (record_ != nullptr) value.written = record_->leaf(value.term);
        return true;
      }
    }
    return fail(token.position, "unknown symbol " + describe(token));
  }
  if (meaning->op == Operator::kTrue || meaning->op == Operator::kFalse) {
    value.term = store_.make_bool(meaning->op == Operator::kTrue);
    if (record_ != nullptr) value.written = record_->leaf(value.term);
    return true;
  }
  if (meaning->term == nullptr) {
    return fail(token.position,
                describe(token) + " is a function and needs arguments");
  }
  value.term = meaning->term;
  value.written = meaning->written;
  if (record_ != nullptr && value.written == kNotRecorded) {
    value.written = record_->leaf(value.term);
  }
  return true;
}

bool TermParser::open_bracket(PlacedTerm& value) {
  const Position open = lexer_.token().position;
  const std::size_t begin = lexer_.token().begin;
  if (read_bound(value)) return true;
  const Token& token = lexer_.next();
  if (token.kind == TokenKind::kSymbol && is_reserved_word(token.text)) {
    Frame frame;
    frame.open = open;
    frame.begin = begin;
    frame.first = arguments_.size();
    if (token.text == "let") {
      frame.kind = FrameKind::kLetBindings;
      frame.mark = variables_.size();
      frames_.push_back(frame);
      if (lexer_.next().kind != TokenKind::kOpen) {
        return fail_at_token("the bindings of let");
      }
      if (lexer_.next().kind != TokenKind::kOpen) {
        return fail_at_token("a binding");
      }
      return open_binding();
    }
    if (token.text == "!") {
      frame.kind = FrameKind::kAnnotation;
      frames_.push_back(frame);
      lexer_.next();
      return true;
    }
    if (token.text == "as") return read_qualified(value);
    if (token.text == "forall" || token.text == "exists") {
      return fail(token.position, "quantifiers are not supported");
    }
    return fail(token.position, token.text + " is not supported in terms");
  }
  if (!is_symbol(token)) return fail_at_token("a function");
  return open_application(open, begin, value);
}

// A member of a conjunction that is asserted, or what is asserted under a name:
// one of many, and seldom shared.
bool TermParser::read_bound(PlacedTerm& value) {
  constexpr std::size_t kFewFrames = 3;
  if (bounds_ == nullptr || !names_allowed_ || frames_.empty() ||
      frames_.size() > kFewFrames) {
    return false;
  }
  for (const Frame& frame : frames_) {
    if (frame.kind != FrameKind::kAnnotation && frame.op != Operator::kAnd) {
      return false;
    }
  }
  value.term = bounds_->read_atom();
  return value.term != nullptr;
}

// (as NAME SORT), of which NAME is read next.
bool TermParser::read_qualified(PlacedTerm& value) {
  const Position open = value.position;
  lexer_.next();
  value.position = lexer_.token().position;
  if (!is_symbol(lexer_.token())) return fail_at_token("a symbol");
  if (!read_name(value)) return false;
  lexer_.next();
  const Position position = lexer_.token().position;
  Sort sort = Sort::kBool;
  if (!parse_sort(sort)) return false;
  if (sort != value.term->sort) {
    return fail(position, std::string("this is of sort ") +
                              print_sort(value.term->sort) + ", not " +
                              print_sort(sort));
  }
  value.position = open;
  return expect_close("')' after the sort");
}

bool TermParser::open_application(Position open, std::size_t begin,
                                  PlacedTerm& value) {
  const Token& token = lexer_.token();
  const Meaning* meaning = symbols_.find(token.text);
  const Operator arithmetic =
      meaning == nullptr ? find_arithmetic_operator(token.text, arithmetic_)
                         : Operator::kNone;
  if (meaning == nullptr && arithmetic == Operator::kNone) {
    return fail(token.position, "unknown function " + describe(token));
  }
  if (meaning != nullptr && meaning->term != nullptr) {
    return fail(token.position, describe(token) + " takes no arguments");
  }
  Frame frame;
  frame.kind = FrameKind::kApply;
  frame.op = arithmetic;
  if (meaning != nullptr) {
    frame.op = meaning->op;
    frame.macro = meaning->macro.get();
  }
  frame.open = open;
  frame.head = token.position;
  frame.begin = begin;
  frame.first = arguments_.size();
  frames_.push_back(frame);
  if (lexer_.next().kind == TokenKind::kClose) return finish_application(value);
  return true;
}

// The bracket of the binding is the current token.
bool TermParser::open_binding() {
  const Token& token = lexer_.next();
  if (!is_symbol(token)) return fail_at_token("a variable");
  const auto first =
      variables_.begin() + static_cast<std::ptrdiff_t>(frames_.back().mark);
  // A wide let is searched once, when it is complete.
  constexpr std::ptrdiff_t kFew = 16;
  if (variables_.end() - first < kFew &&
      std::find(first, variables_.end(), token.text) != variables_.end()) {
    return fail(token.position,
                "variable " + describe(token) + " is bound twice");
  }
  variables_.push_back(token.text);
  lexer_.next();
  return true;
}

bool TermParser::deliver(PlacedTerm& value) {
  Frame& frame = frames_.back();
  switch (frame.kind) {
    case FrameKind::kApply:
      arguments_.push_back(value);
      value.term = nullptr;
      if (lexer_.next().kind == TokenKind::kClose) {
        return finish_application(value);
      }
      return true;
    case FrameKind::kLetBindings:
      arguments_.push_back(value);
      return next_binding(value);
    case FrameKind::kLetBody:
      if (!expect_close("')' after the body of let")) return false;
      symbols_.unbind_to(frame.mark);
      break;
    case FrameKind::kAnnotation:
      if (!read_attributes(value)) return false;
      break;
  }
  value.position = frame.open;
  frames_.pop_back();
  return true;
}

bool TermParser::next_binding(PlacedTerm& value) {
  value.term = nullptr;
  if (!expect_close("')' after the term of a binding")) return false;
  Frame& frame = frames_.back();
  const TokenKind kind = lexer_.next().kind;
  if (kind == TokenKind::kOpen) return open_binding();
  if (kind != TokenKind::kClose) return fail_at_token("a binding or ')'");

  const std::size_t count = variables_.size() - frame.mark;
  std::unordered_set<std::string> seen;
  const std::size_t outer = symbols_.num_bound();
  for (std::size_t i = 0; i < count; ++i) {
    const std::string& name = variables_[frame.mark + i];
    if (!seen.insert(name).second) {
      return fail(frame.open,
                  "variable " + print_symbol(name) + " is bound twice");
    }
    const PlacedTerm& argument = arguments_[frame.first + i];
    symbols_.bind(name, argument.term, argument.written);
  }
  variables_.resize(frame.mark);
  arguments_.resize(frame.first);
  frame.kind = FrameKind::kLetBody;
  frame.mark = outer;
  lexer_.next();
  return true;
}

bool TermParser::read_attributes(PlacedTerm& value) {
  lexer_.next();
  if (lexer_.token().kind != TokenKind::kKeyword) {
    return fail_at_token("an attribute");
  }
  while (lexer_.token().kind == TokenKind::kKeyword) {
    if (lexer_.token().text == ":named") {
      lexer_.next();
      if (!read_attribute_name(value)) return false;
      lexer_.next();
      continue;
    }
    lexer_.next();
    if (lexer_.token().kind == TokenKind::kKeyword ||
        lexer_.token().kind == TokenKind::kClose) {
      continue;
    }
    if (!skip_expression(lexer_)) return fail_at_token("an attribute value");
    lexer_.next();
  }
  if (lexer_.token().kind != TokenKind::kClose) {
    return fail_at_token("an attribute or ')'");
  }
  return true;
}

bool TermParser::read_attribute_name(const PlacedTerm& value) {
  const Token& token = lexer_.token();
  if (!is_symbol(token)) return fail_at_token("a name");
  if (!names_allowed_) {
    return fail(token.position, "a term cannot be named here");
  }
  Meaning meaning;
  meaning.term = value.term;
  meaning.written = value.written;
  if (!symbols_.define(token.text, std::move(meaning))) {
    return fail(token.position,
                "symbol " + describe(token) + " is already in use");
  }
  names_.push_back({token.text, value.term});
  if (frames_.size() == 1) outer_name_ = token.text;
  return true;
}

bool TermParser::finish_application(PlacedTerm& value) {
  const Frame frame = frames_.back();
  frames_.pop_back();
  value.position = frame.open;
  const std::size_t count = arguments_.size() - frame.first;
  if (frame.op == Operator::kNone) {
    if (!expand_macro(frame, value)) return false;
  } else {
    value.term = builder_.apply(frame.op, frame.head,
                                arguments_.data() + frame.first, count, error_);
    if (value.term == nullptr) return false;
    note_atoms(frame, value.term);
    if (record_ != nullptr) {
      value.written = record_->apply(frame.op, arguments_.data() + frame.first,
                                     count, value.term);
    }
  }
  arguments_.resize(frame.first);
  return true;
}

bool TermParser::expand_macro(const Frame& frame, PlacedTerm& value) {
  const std::vector<const Term*>& parameters = frame.macro->parameters;
  const std::size_t count = arguments_.size() - frame.first;
  if (count != parameters.size()) {
    return fail(
        frame.head,
        "this function takes " + std::to_string(parameters.size()) +
            (parameters.size() == 1 ? " argument, not " : " arguments, not ") +
            std::to_string(count));
  }
  Replacements replacements;
  for (std::size_t i = 0; i < count; ++i) {
    const PlacedTerm& argument = arguments_[frame.first + i];
    const Term* term = builder_.as_sort(argument.term, parameters[i]->sort);
    if (term == nullptr) {
      return fail(argument.position, std::string("the function expects sort ") +
                                         print_sort(parameters[i]->sort) +
                                         " here, not " +
                                         print_sort(argument.term->sort));
    }
    replacements[parameters[i]] = term;
  }
  value.term = substitute(store_, frame.macro->body, replacements);
  if (record_ != nullptr) {
    value.written =
        record_->expand(frame.macro->written, arguments_.data() + frame.first,
                        count, value.term);
  }
  expansions_.push_back({value, frame.begin, lexer_.end()});
  return true;
}

void TermParser::note_atoms(const Frame& frame, const Term* term) {
  switch (frame.op) {
    case Operator::kEqual:
    case Operator::kDistinct:
    case Operator::kLeq:
    case Operator::kLess:
    case Operator::kGeq:
    case Operator::kGreater:
      break;
    case Operator::kAbs:
      // Its condition is an atom that is written nowhere.
      if (term->kind == Kind::kIte) {
        atoms_.push_back(
            {{term->arg(0), frame.open}, frame.begin, lexer_.end()});
      }
      return;
    default:
      return;
  }
  if (arguments_[frame.first].term->is_bool()) return;
  const std::size_t end = lexer_.end();
  if (term->kind != Kind::kAnd) {
    atoms_.push_back({{term, frame.open}, frame.begin, end});
    return;
  }
  for (std::size_t i = 0; i < term->num_args; ++i) {
    atoms_.push_back({{term->arg(i), frame.open}, frame.begin, end});
  }
}

WrittenTerm TermParser::find_atom(const Term* atom,
                                  const WrittenTerm& term) const {
  for (const WrittenTerm& written : atoms_) {
    if (written.term == atom) return written;
  }
  for (const WrittenTerm& written : expansions_) {
    if (occurs_in(atom, written.term)) return written;
  }
  return term;
}

bool TermParser::parse_sort(Sort& sort) {
  const Token& token = lexer_.token();
  if (!is_symbol(token) && token.kind != TokenKind::kOpen) {
    return fail_at_token("a sort");
  }
  if (token.kind != TokenKind::kOpen) {
    if (token.text == "Bool") {
      sort = Sort::kBool;
      return true;
    }
    if (token.text == "Int" && arithmetic_.has_int) {
      sort = Sort::kInt;
      return true;
    }
    if (token.text == "Real" && arithmetic_.has_real) {
      sort = Sort::kReal;
      return true;
    }
    const Sort* defined = symbols_.find_sort(token.text);
    if (defined != nullptr) {
      sort = *defined;
      return true;
    }
    if (token.text == "Int" || token.text == "Real") {
      return fail(token.position,
                  "sort " + token.text + " does not exist in this logic");
    }
    return fail(token.position, "unknown sort " + describe(token));
  }
  const Position open = token.position;
  const std::size_t begin = token.begin;
  if (!skip_expression(lexer_)) return fail_at_token("a sort");
  return fail(open, "unknown sort " +
                        shorten(std::string(lexer_.text(begin, lexer_.end()))));
}

}  // namespace vorn::solver
