// SPDX-License-Identifier: MIT
#ifndef VORN_MODEL_TEXT_TERMS_H
#define VORN_MODEL_TEXT_TERMS_H

#include <map>
#include <string>

#include "vorn/numbers/q_number.h"
#include "vorn/services/linear_term_mapper.h"
#include "vorn/services/term.h"
#include "vorn/services/term_manager.h"

namespace vorn::model {

/// A term that is its own text.
struct TextTerm : Term_ {
  std::string text;
};

/// Term manager that shares terms of equal text and simplifies nothing.
///
/// Two terms in a row have the same id, so that tables keyed by terms have to
/// tell terms apart by more than the id.
class TextTermManager : public TermManager {
 public:
  const Term_* make_number(const QNumber& q) override;
  const Term_* make_plus(const Term_* a, const Term_* b) override;
  const Term_* make_leq(const Term_* a, const Term_* b) override;
  const Term_* make_not(const Term_* t) override;
  const Term_* make_or(const Term_* a, const Term_* b) override;

  /// The one term of this text, good for the manager's life.
  const Term_* term_of(const std::string& text);

  /// Requires: a term of some TextTermManager, untagged.
  static const std::string& text_of(const Term_* term);

 private:
  std::map<std::string, TextTerm> terms_;
};

/// Maps nodes to terms `x3` and constraints to literals of atoms `c3`; the
/// literals of odd constraints are negations of their atoms.
class TextTermMapper : public la::LinearTermMapper {
 public:
  explicit TextTermMapper(TextTermManager* terms) : terms_(terms) {}

  const Term_* term(int var) const override;
  const Term_* constraint_to_lit(int constraint) override;

 private:
  TextTermManager* terms_;
};

}  // namespace vorn::model

#endif  // VORN_MODEL_TEXT_TERMS_H
