// SPDX-License-Identifier: MIT
#include "tests/bruteforce/replies.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace vorn::bruteforce {
namespace {

class Reader {
 public:
  explicit Reader(const std::string& text) : text_(text) {}

  void skip_space() {
    while (position_ < text_.size() && is_space(text_[position_])) ++position_;
  }
  bool at_end() const { return position_ == text_.size(); }

  bool read(Expression& out) {
    skip_space();
    if (at_end() || text_[position_] == ')') return false;
    if (text_[position_] != '(') return read_atom(out.atom);
    out.is_list = true;
    ++position_;
    for (;;) {
      skip_space();
      if (at_end()) return false;
      if (text_[position_] == ')') break;
      if (!read(out.items.emplace_back())) return false;
    }
    ++position_;
    return true;
  }

 private:
  static bool is_space(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
  }

  bool read_atom(std::string& atom) {
    const std::size_t start = position_;
    const char first = text_[position_];
    if (first == '|' || first == '"') {
      const std::size_t end = text_.find(first, start + 1);
      if (end == std::string::npos) return false;
      position_ = end + 1;
    } else {
      while (!at_end() && !is_space(text_[position_]) &&
             text_[position_] != '(' && text_[position_] != ')') {
        ++position_;
      }
    }
    atom = text_.substr(start, position_ - start);
    return true;
  }

  const std::string& text_;
  std::size_t position_ = 0;
};

std::optional<mpq_class> read_digits(const std::string& text) {
  const std::size_t point = text.find('.');
  std::string digits = text;
  mpz_class divisor = 1;
  if (point != std::string::npos) {
    digits.erase(point, 1);
    const std::size_t places = text.size() - point - 1;
    if (point == 0 || places == 0) return std::nullopt;
    mpz_ui_pow_ui(divisor.get_mpz_t(), 10, places);
  }
  const bool is_number =
      !digits.empty() && std::all_of(digits.begin(), digits.end(), [](char c) {
        return c >= '0' && c <= '9';
      });
  if (!is_number) return std::nullopt;
  mpq_class value(mpz_class(digits, 10), divisor);
  value.canonicalize();
  return value;
}

}  // namespace

std::optional<Expression> read_expression(const std::string& text) {
  Reader reader(text);
  Expression result;
  if (!reader.read(result)) return std::nullopt;
  reader.skip_space();
  if (!reader.at_end()) return std::nullopt;
  return result;
}

std::string to_text(const Expression& expression) {
  if (!expression.is_list) return expression.atom;
  std::string text = "(";
  for (std::size_t i = 0; i < expression.items.size(); ++i) {
    if (i > 0) text += ' ';
    text += to_text(expression.items[i]);
  }
  return text + ')';
}

std::optional<mpq_class> read_number(const Expression& expression) {
  if (!expression.is_list) return read_digits(expression.atom);
  const std::vector<Expression>& items = expression.items;
  if (items.size() == 2 && items[0].atom == "-") {
    const auto value = read_number(items[1]);
    if (!value || *value <= 0) return std::nullopt;
    return mpq_class(-*value);
  }
  if (items.size() == 3 && items[0].atom == "/") {
    const auto above = read_number(items[1]);
    const auto below = read_number(items[2]);
    if (!above || !below || *below <= 0) return std::nullopt;
    return mpq_class(*above / *below);
  }
  return std::nullopt;
}

std::optional<bool> read_truth(const Expression& expression) {
  if (expression.atom == "true") return true;
  if (expression.atom == "false") return false;
  return std::nullopt;
}

}  // namespace vorn::bruteforce
