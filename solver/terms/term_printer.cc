// SPDX-License-Identifier: MIT
#include "solver/terms/term_printer.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <unordered_map>
#include <utility>
#include <vector>

// One walk collects the distinct subterms and counts their uses. Sorted by id
// they list arguments before the terms that use them, which is the order in
// which the bindings have to be nested. SMT-LIB terms built here bind nothing
// themselves, so all bindings may stand in front of the whole term.

namespace vorn::solver {
namespace {

// In the order of Kind; a symbol and a number have none.
constexpr const char* kOperators[] = {
    "true", "false", "",         "",    "not", "and", "or", "xor",
    "=>",   "=",     "distinct", "ite", "<=",  "<",   "+",  "*"};

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_simple_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) ||
         kSymbolPunctuation.find(c) != std::string_view::npos;
}

// Reserved, though no term is hard to read with them in it.
// Requires: no blank in the name.
bool is_command_name(std::string_view name) {
  static constexpr std::string_view kNames =
      " assert check-sat check-sat-assuming declare-const declare-datatype "
      "declare-datatypes declare-fun declare-sort define-fun "
      "define-fun-rec define-funs-rec define-sort echo exit get-assertions "
      "get-assignment get-info get-model get-option get-proof "
      "get-unsat-assumptions get-unsat-core get-value pop push reset "
      "reset-assertions set-info set-logic set-option ";
  return kNames.find(' ' + std::string(name) + ' ') != std::string_view::npos;
}

class Printer {
 public:
  std::string print(const Term* root, std::size_t expand_limit) {
    collect(root);
    if (!tree_is_within(expand_limit)) choose_bound();
    std::size_t num_open = 0;
    for (const Term* term : terms_) {
      const auto bound = bound_.find(term);
      if (bound == bound_.end()) continue;
      text_ += "(let ((" + bound->second + ' ';
      write(term);
      text_ += ")) ";
      ++num_open;
    }
    // Nothing uses the root, so it has no name.
    write(root);
    text_.append(num_open, ')');
    return std::move(text_);
  }

 private:
  void collect(const Term* root) {
    std::vector<const Term*> pending = {root};
    uses_[root] = 0;
    while (!pending.empty()) {
      const Term* term = pending.back();
      pending.pop_back();
      terms_.push_back(term);
      for (std::size_t i = 0; i < term->num_args; ++i) {
        if (uses_[term->arg(i)]++ == 0) pending.push_back(term->arg(i));
      }
    }
    std::sort(terms_.begin(), terms_.end(),
              [](const Term* a, const Term* b) { return a->id < b->id; });
  }

  // Whether the root written as a tree has at most `limit` nodes. The root is
  // last in terms_.
  bool tree_is_within(std::size_t limit) const {
    if (limit < terms_.size()) return false;
    std::unordered_map<const Term*, std::size_t> sizes;
    for (const Term* term : terms_) {
      std::size_t size = 1;
      for (std::size_t i = 0; i < term->num_args; ++i) {
        // Both are at most `limit` here; compared so that nothing overflows.
        const std::size_t arg_size = sizes[term->arg(i)];
        if (arg_size > limit - size) return false;
        size += arg_size;
      }
      sizes[term] = size;
    }
    return true;
  }

  // Gives every compound term that is used twice or more a name.
  void choose_bound() {
    const std::string prefix = unused_prefix();
    std::size_t number = 0;
    for (const Term* term : terms_) {
      if (term->num_args == 0 || uses_[term] < 2) continue;
      bound_[term] = prefix + std::to_string(number++);
    }
  }

  // A start that no symbol of the term has.
  std::string unused_prefix() const {
    std::size_t longest = 0;
    for (const Term* term : terms_) {
      if (term->kind != Kind::kSymbol) continue;
      const std::size_t marks =
          std::min(term->name().find_first_not_of('?'), term->name().size());
      longest = std::max(longest, marks);
    }
    return std::string(longest + 1, '?') + 'v';
  }

  // Writes `top` itself, and bound terms below it by their names.
  void write(const Term* top) {
    enter(top);
    while (!open_.empty()) {
      Frame& frame = open_.back();
      if (frame.next == frame.term->num_args) {
        text_ += ')';
        open_.pop_back();
        continue;
      }
      const Term* arg = frame.term->arg(frame.next++);
      text_ += ' ';
      const auto bound = bound_.find(arg);
      if (bound != bound_.end()) {
        text_ += bound->second;
      } else {
        enter(arg);
      }
    }
  }

  // Writes a leaf, or the head of a compound term, which becomes open.
  void enter(const Term* term) {
    if (term->kind == Kind::kSymbol) {
      text_ += print_symbol(term->name());
    } else if (term->kind == Kind::kNumber) {
      text_ += print_value(term->number(), term->sort);
    } else if (term->num_args == 0) {
      text_ += operator_of(term->kind);
    } else {
      text_ += '(';
      text_ += operator_of(term->kind);
      open_.push_back({term, 0});
    }
  }

  struct Frame {
    const Term* term;
    std::size_t next;  // the argument to write next
  };

  std::string text_;
  std::vector<const Term*> terms_;  // distinct, ascending ids
  std::unordered_map<const Term*, std::size_t> uses_;
  std::unordered_map<const Term*, std::string> bound_;
  std::vector<Frame> open_;
};

}  // namespace

const char* operator_of(Kind kind) {
  assert(kind != Kind::kSymbol && kind != Kind::kNumber);
  return kOperators[static_cast<std::size_t>(kind)];
}

std::string print_term(const Term* term, std::size_t expand_limit) {
  return Printer().print(term, expand_limit);
}

std::string print_value(const QNumber& value, Sort sort) {
  assert(sort == Sort::kReal || (sort == Sort::kInt && value.is_integer()));
  std::string text = value.to_str();
  const bool is_negative = text.front() == '-';
  if (is_negative) text.erase(0, 1);
  if (sort == Sort::kReal) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) {
      text += ".0";
    } else {
      text = "(/ " + text.substr(0, slash) + ".0 " + text.substr(slash + 1) +
             ".0)";
    }
  }
  return is_negative ? "(- " + text + ')' : text;
}

std::string print_symbol(std::string_view name) {
  assert(name.find_first_of("|\\") == std::string_view::npos);
  const bool is_simple =
      !name.empty() && !is_digit(name.front()) &&
      std::all_of(name.begin(), name.end(), is_simple_character) &&
      !is_reserved_word(name) && !is_command_name(name);
  const std::string text(name);
  return is_simple ? text : '|' + text + '|';
}

bool is_reserved_word(std::string_view name) {
  constexpr std::string_view kWords[] = {
      "!",      "_",   "as",    "BINARY",  "DECIMAL", "exists", "HEXADECIMAL",
      "forall", "let", "match", "NUMERAL", "par",     "STRING"};
  return std::find(std::begin(kWords), std::end(kWords), name) !=
         std::end(kWords);
}

const char* print_sort(Sort sort) {
  constexpr const char* kNames[] = {"Bool", "Int", "Real"};
  return kNames[static_cast<std::size_t>(sort)];
}

}  // namespace vorn::solver
