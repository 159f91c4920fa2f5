// SPDX-License-Identifier: MIT
#include "solver/smtlib/bound_reader.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

// Numbers below this in magnitude come again and again, and are shared.
constexpr std::int64_t kFewNumbers = 4096;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

const BoundReader::Bound* BoundReader::read() {
  start();
  if (!skip_blanks()) return nullptr;
  const std::size_t start = pos_;
  Comparison comparison;
  if (!skip('(') || !read_comparison(comparison)) return nullptr;
  const std::size_t end = pos_;
  skip_blanks();
  if (!skip(')')) return nullptr;

  sum_.monomials.clear();
  sum_.constant = QNumber(0);
  add_to_sum(comparison.left, comparison.is_reversed);
  add_to_sum(comparison.right, !comparison.is_reversed);
  if (sum_.monomials.size() == 2 &&
      sum_.monomials[1].leaf->id < sum_.monomials[0].leaf->id) {
    std::swap(sum_.monomials[0], sum_.monomials[1]);
  }
  bound_ = {make_atom(comparison), &sum_, comparison.is_strict,
            text_.substr(start, end - start)};
  lexer_.accept_close(pos_, has_line_end_);
  return &bound_;
}

const Term* BoundReader::read_atom() {
  start();
  Comparison comparison;
  if (!read_comparison(comparison)) return nullptr;
  const Term* atom = make_atom(comparison);
  lexer_.accept_close(pos_, has_line_end_);
  return atom;
}

void BoundReader::start() {
  text_ = lexer_.rest();
  pos_ = 0;
  has_line_end_ = false;
  if (symbols_.is_large()) look_ahead();
}

// Of the words in the next few commands all that may be names: what else they
// are makes no difference.
void BoundReader::look_ahead() {
  constexpr std::size_t kBytesAhead = 640;
  constexpr std::size_t kStage = 10;
  const char* const end = text_.data() + text_.size();
  const char* const limit = text_.data() + std::min(text_.size(), kBytesAhead);
  // The lexer has moved its text where this lies far ahead, too.
  if (seen_ < text_.data() || seen_ > end ||
      static_cast<std::size_t>(seen_ - text_.data()) > 2 * kBytesAhead) {
    seen_ = text_.data();
  }
  while (seen_ < limit) {
    if (!is_symbol_character(*seen_)) {
      ++seen_;
      continue;
    }
    const char* const first = seen_;
    const char* last = first;
    while (last < end && is_symbol_character(*last)) ++last;
    // It may go on in what has not arrived.
    if (last == end) return;
    seen_ = last;
    if (*first < 'A') continue;
    const std::string_view word(first, static_cast<std::size_t>(last - first));
    if (word == "assert") continue;
    const auto name = [this](std::size_t before) -> std::uint32_t& {
      return names_ahead_[(num_names_ - before) % kNamesAhead];
    };
    name(0) = SymbolTable::hash_of(word);
    symbols_.fetch_slot(name(0));
    symbols_.fetch_meaning(name(kStage));
    symbols_.fetch_term(name(2 * kStage));
    ++num_names_;
  }
}

// From behind its opening bracket on.
bool BoundReader::read_comparison(Comparison& comparison) {
  // No script can give these another meaning.
  const std::string_view name = read_word();
  comparison.is_strict = name == "<" || name == ">";
  comparison.is_reversed = name == ">=" || name == ">";
  if (!comparison.is_strict && !comparison.is_reversed && name != "<=") {
    return false;
  }
  Side& left = comparison.left;
  Side& right = comparison.right;
  if (!skip_blanks() || !read_side(left) || !skip_blanks() ||
      !read_side(right)) {
    return false;
  }
  skip_blanks();
  if (!skip(')')) return false;

  // One symbol or two on both sides together, all of one sort.
  const Term* first = left.first != nullptr ? left.first : right.first;
  if (first == nullptr) return false;
  int num_symbols = 0;
  for (const Term* symbol :
       {left.first, left.second, right.first, right.second}) {
    if (symbol == nullptr) continue;
    ++num_symbols;
    if (symbol->sort != first->sort) return false;
    // A repeated one is no bound.
    if (num_symbols == 2 && symbol == first) return false;
  }
  comparison.sort = first->sort;
  if (num_symbols > 2) return false;
  return first->sort != Sort::kInt || (!left.is_decimal && !right.is_decimal &&
                                       arithmetic_.numeral_sort == Sort::kInt);
}

const Term* BoundReader::make_atom(const Comparison& comparison) {
  const Term* a = make_side(comparison.left, comparison.sort);
  const Term* b = make_side(comparison.right, comparison.sort);
  if (comparison.is_reversed) std::swap(a, b);
  return store_.make_unshared(comparison.is_strict ? Kind::kLess : Kind::kLeq,
                              Sort::kBool, a, b);
}

void BoundReader::add_to_sum(const Side& side, bool is_negated) {
  const int sign = is_negated ? -1 : 1;
  if (side.first == nullptr) {
    sum_.constant = is_negated ? -side.number : side.number;
    return;
  }
  sum_.monomials.push_back({side.first, QNumber(sign)});
  if (side.second == nullptr) return;
  sum_.monomials.push_back({side.second, QNumber(-sign)});
}

bool BoundReader::skip(char c) {
  if (pos_ == text_.size() || text_[pos_] != c) return false;
  ++pos_;
  return true;
}

// False if there is none.
bool BoundReader::skip_blanks() {
  const std::size_t start = pos_;
  for (; pos_ < text_.size(); ++pos_) {
    const char c = text_[pos_];
    if (c == '\n' || c == '\r') {
      has_line_end_ = true;
    } else if (c != ' ' && c != '\t') {
      break;
    }
  }
  return pos_ > start;
}

// An empty one, if there is none or it may go on in what has not arrived.
std::string_view BoundReader::read_word() {
  const std::size_t start = pos_;
  while (pos_ < text_.size() && is_symbol_character(text_[pos_])) ++pos_;
  if (pos_ == text_.size()) return {};
  return text_.substr(start, pos_ - start);
}

bool BoundReader::read_side(Side& side) {
  if (skip('(')) return read_inner(side);
  if (pos_ < text_.size() && is_digit(text_[pos_])) return read_number(side);
  side.first = read_symbol();
  return side.first != nullptr;
}

// Behind an opening bracket: a difference or a negative number.
bool BoundReader::read_inner(Side& side) {
  if (read_word() != "-" || !skip_blanks()) return false;
  if (pos_ < text_.size() && is_digit(text_[pos_])) {
    if (!read_number(side)) return false;
    side.number = -side.number;
  } else {
    side.first = read_symbol();
    if (side.first == nullptr || !skip_blanks()) return false;
    side.second = read_symbol();
    if (side.second == nullptr) return false;
  }
  skip_blanks();
  return skip(')');
}

bool BoundReader::read_number(Side& side) {
  const std::string_view word = read_word();
  constexpr std::size_t kMostDigits = 18;
  if (word.empty() || word.size() > kMostDigits ||
      (word.size() > 1 && word[0] == '0' && is_digit(word[1]))) {
    return false;
  }
  std::int64_t value = 0;
  for (const char c : word) {
    if (is_digit(c)) {
      value = 10 * value + (c - '0');
      continue;
    }
    const std::size_t point = word.find('.');
    if (point == std::string_view::npos || point + 1 == word.size()) {
      return false;
    }
    for (std::size_t k = 0; k < word.size(); ++k) {
      if (k != point && !is_digit(word[k])) return false;
    }
    const std::optional<QNumber> number = QNumber::from_string(word);
    if (!number) return false;
    side.number = *number;
    side.is_decimal = true;
    return true;
  }
  side.number = QNumber(value);
  return true;
}

const Term* BoundReader::read_symbol() {
  const std::string_view word = read_word();
  if (word.empty() || is_digit(word[0]) || is_reserved_word(word)) {
    return nullptr;
  }
  const Meaning* meaning = symbols_.find(word);
  if (meaning == nullptr || meaning->term == nullptr) return nullptr;
  const Term* term = meaning->term;
  return term->kind == Kind::kSymbol && term->is_arithmetic() ? term : nullptr;
}

const Term* BoundReader::make_side(const Side& side, Sort sort) {
  if (side.first == nullptr) {
    const bool is_common = side.number < QNumber(kFewNumbers) &&
                           QNumber(-kFewNumbers) < side.number;
    return is_common ? store_.make_number(side.number, sort)
                     : store_.make_unshared_number(side.number, sort);
  }
  if (side.second == nullptr) return side.first;
  return store_.make_unshared(Kind::kPlus, sort, side.first,
                              store_.make_negate(side.second));
}

}  // namespace vorn::solver
