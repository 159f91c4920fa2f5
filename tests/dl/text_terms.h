// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_DL_TEXT_TERMS_H
#define VORN_TESTS_DL_TEXT_TERMS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "vorn/numbers/q_number.h"
#include "vorn/services/linear_term_mapper.h"
#include "vorn/services/term.h"
#include "vorn/services/term_manager.h"

namespace vorn::dl_test {

/// A term that is nothing but its own text.
struct TextTerm : Term_ {
  std::string text;
};

/// Term manager of a test: equal text is the same pointer, nothing is
/// simplified, and every request is on record, so that a test can tell which
/// terms the graph asks for, how often and in which order.
///
/// Two terms in a row have the same id: a table that tells terms apart by id
/// alone would mix them up.
class TextTerms : public TermManager {
 public:
  const Term_* make_number(const QNumber& q) override {
    return request(q.to_str());
  }
  const Term_* make_plus(const Term_* a, const Term_* b) override {
    return request("(+ " + text(a) + " " + text(b) + ")");
  }
  const Term_* make_leq(const Term_* a, const Term_* b) override {
    return request("(<= " + text(a) + " " + text(b) + ")");
  }
  const Term_* make_not(const Term_* t) override {
    return request("(not " + text(t) + ")");
  }
  const Term_* make_or(const Term_* a, const Term_* b) override {
    return request("(or " + text(a) + " " + text(b) + ")");
  }

  /// The one term of this text; goes on record.
  const Term_* request(const std::string& text) {
    if (requests_left == 0) throw std::bad_alloc();
    if (requests_left > 0) --requests_left;
    if (on_request) on_request();
    made.push_back(text);
    return find(text);
  }

  /// The one term of this text; does not go on record.
  const Term_* find(const std::string& text) {
    const auto [place, is_new] = terms_.try_emplace(text);
    if (is_new) {
      place->second.id = terms_.size() / 2;
      place->second.text = text;
    }
    return &place->second;
  }

  /// Null and tagged pointers, which are no terms, read as such.
  static std::string text(const Term_* term) {
    if (term == nullptr) return "<null>";
    if ((reinterpret_cast<std::uintptr_t>(term) & 1U) != 0) return "<tagged>";
    return static_cast<const TextTerm*>(term)->text;
  }

  /// Texts of all terms that were asked for, repeats included.
  std::vector<std::string> made;
  /// Called at every request, before it is answered.
  std::function<void()> on_request;
  /// Requests that are still answered; the one after them runs out of memory.
  /// Negative: no limit.
  int requests_left = -1;

 private:
  std::map<std::string, TextTerm> terms_;
};

/// Maps node n to the term `xn` and constraint k to the literal of the atom
/// `ck`, negated for the constraints in `negated`. Its terms go on the
/// manager's record.
class TextMapper : public la::LinearTermMapper {
 public:
  explicit TextMapper(TextTerms* terms) : terms_(terms) {}

  const Term_* term(int var) const override {
    EXPECT_NE(var, 0) << "node 0 is the number 0 and has no variable";
    return terms_->request("x" + std::to_string(var));
  }

  const Term_* constraint_to_lit(int constraint) override {
    const Term_* atom = terms_->request("c" + std::to_string(constraint));
    if (negated.count(constraint) == 0) return atom;
    return reinterpret_cast<const Term_*>(
        reinterpret_cast<std::uintptr_t>(atom) | 1U);
  }

  /// Constraints whose literal is the negation of their atom.
  std::set<int> negated;

 private:
  TextTerms* terms_;
};

}  // namespace vorn::dl_test

#endif  // VORN_TESTS_DL_TEXT_TERMS_H
