// SPDX-License-Identifier: MIT
#include "tests/model/text_terms.h"

#include <cassert>
#include <cstdint>

namespace vorn::model {

const Term_* TextTermManager::term_of(const std::string& text) {
  const auto [place, inserted] = terms_.try_emplace(text);
  if (inserted) {
    place->second.id = terms_.size() / 2;
    place->second.text = text;
  }
  return &place->second;
}

const std::string& TextTermManager::text_of(const Term_* term) {
  assert(term != nullptr);
  return static_cast<const TextTerm*>(term)->text;
}

const Term_* TextTermManager::make_number(const QNumber& q) {
  return term_of(q.to_str());
}

const Term_* TextTermManager::make_plus(const Term_* a, const Term_* b) {
  return term_of("(+ " + text_of(a) + " " + text_of(b) + ")");
}

const Term_* TextTermManager::make_leq(const Term_* a, const Term_* b) {
  return term_of("(<= " + text_of(a) + " " + text_of(b) + ")");
}

const Term_* TextTermManager::make_not(const Term_* t) {
  return term_of("(not " + text_of(t) + ")");
}

const Term_* TextTermManager::make_or(const Term_* a, const Term_* b) {
  return term_of("(or " + text_of(a) + " " + text_of(b) + ")");
}

const Term_* TextTermMapper::term(int var) const {
  assert(var > 0);
  return terms_->term_of("x" + std::to_string(var));
}

const Term_* TextTermMapper::constraint_to_lit(int constraint) {
  const Term_* atom = terms_->term_of("c" + std::to_string(constraint));
  if (constraint % 2 == 0) {
    return atom;
  }
  const auto bits = reinterpret_cast<std::uintptr_t>(atom) | 1U;
  return reinterpret_cast<const Term_*>(bits);
}

}  // namespace vorn::model
