// SPDX-License-Identifier: MIT
#include "solver/proof/clause_prover.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>
#include <utility>

#include "solver/terms/term_printer.h"

namespace vorn::solver {
// --- Terms ---

bool ClauseProver::learn(WrittenId term) {
  pending_.push_back(term);
  bool is_right = true;
  while (!pending_.empty()) {
    WrittenId top = pending_.back();
    pending_.pop_back();
    while (terms_.kind(top) == WrittenKind::kNot) top = terms_.arg(top, 0);
    if (is_known_.size() <= top) is_known_.resize(terms_.size(), 0);
    if (is_known_[top] != 0) continue;
    is_known_[top] = 1;
    is_right = learn_one(top) && is_right;
  }
  for (const auto& [clause, condition] : std::exchange(lemmas_, {})) {
    tautologies_.add_lemma(clause, condition);
  }
  return is_right;
}

bool ClauseProver::learn_one(WrittenId term) {
  know(terms_.meaning(term), positive(term));
  const std::size_t count = terms_.num_args(term);
  const bool is_comparison =
      count > 0 && terms_.kind(term) != WrittenKind::kIte &&
      terms_.meaning(terms_.arg(term, 0))->is_arithmetic();
  if (is_comparison) return learn_comparison(term);
  for (std::size_t k = 0; k < count; ++k) {
    pending_.push_back(terms_.arg(term, k));
  }
  learn_connective(term);
  return true;
}

void ClauseProver::learn_connective(WrittenId term) {
  const std::vector<WrittenId> args = terms_.args(term);
  const WrittenLiteral yes = positive(term);
  const WrittenLiteral no = yes + 1;
  const auto arg = [&](std::size_t k) { return positive(args[k]); };
  const auto fold = [&](const Term* meaning, WrittenId a, WrittenId b) {
    return terms_.apply(terms_.text(term), {a, b}, meaning);
  };
  const auto meaning = [&](WrittenId t) { return terms_.meaning(t); };
  const bool is_binary = args.size() == 2;
  std::vector<WrittenLiteral> all;
  switch (terms_.kind(term)) {
    case WrittenKind::kLeaf:
      if (meaning(term)->kind == Kind::kTrue) tautologies_.add({yes}, "true");
      if (meaning(term)->kind == Kind::kFalse) tautologies_.add({no}, "false");
      break;
    case WrittenKind::kAnd:
    case WrittenKind::kOr: {
      const bool is_and = terms_.kind(term) == WrittenKind::kAnd;
      all.push_back(is_and ? yes : no);
      for (std::size_t k = 0; k < args.size(); ++k) {
        if (is_and) {
          tautologies_.add({no, arg(k)}, "and_pos", std::to_string(k));
        } else {
          tautologies_.add({yes, arg(k) + 1}, "or_neg", std::to_string(k));
        }
        all.push_back(is_and ? arg(k) + 1 : arg(k));
      }
      tautologies_.add(all, is_and ? "and_neg" : "or_pos");
      break;
    }
    case WrittenKind::kImplies: {
      if (is_binary) {
        tautologies_.add({no, arg(0) + 1, arg(1)}, "implies_pos");
        tautologies_.add({yes, arg(0)}, "implies_neg1");
        tautologies_.add({yes, arg(1) + 1}, "implies_neg2");
        break;
      }
      WrittenId folded = args.back();
      for (std::size_t k = args.size() - 1; k-- > 0;) {
        folded = fold(store_.make_implies(meaning(args[k]), meaning(folded)),
                      args[k], folded);
      }
      learn_equality(term, folded, "nary_elim");
      break;
    }
    case WrittenKind::kXor: {
      if (is_binary) {
        tautologies_.add({no, arg(0), arg(1)}, "xor_pos1");
        tautologies_.add({no, arg(0) + 1, arg(1) + 1}, "xor_pos2");
        tautologies_.add({yes, arg(0), arg(1) + 1}, "xor_neg1");
        tautologies_.add({yes, arg(0) + 1, arg(1)}, "xor_neg2");
        break;
      }
      WrittenId folded = args[0];
      for (std::size_t k = 1; k < args.size(); ++k) {
        folded = fold(store_.make_xor(meaning(folded), meaning(args[k])),
                      folded, args[k]);
      }
      learn_equality(term, folded, "nary_elim");
      break;
    }
    case WrittenKind::kEqual: {
      if (is_binary) {
        tautologies_.add({no, arg(0), arg(1) + 1}, "equiv_pos1");
        tautologies_.add({no, arg(0) + 1, arg(1)}, "equiv_pos2");
        tautologies_.add({yes, arg(0) + 1, arg(1) + 1}, "equiv_neg1");
        tautologies_.add({yes, arg(0), arg(1)}, "equiv_neg2");
        break;
      }
      std::vector<WrittenId> links;
      std::vector<const Term*> meanings;
      for (std::size_t k = 1; k < args.size(); ++k) {
        meanings.push_back(
            store_.make_equal(meaning(args[k - 1]), meaning(args[k])));
        links.push_back(fold(meanings.back(), args[k - 1], args[k]));
      }
      learn_equality(term,
                     terms_.apply("and", links, store_.make_and(meanings)),
                     "nary_elim");
      break;
    }
    case WrittenKind::kDistinct: {
      if (!is_binary) {
        learn_equality(term, terms_.leaf(store_.make_bool(false)),
                       "distinct_elim");
        break;
      }
      const WrittenId equal = terms_.apply(
          "=", args, store_.make_equal(meaning(args[0]), meaning(args[1])));
      learn_equality(term, terms_.negate(equal), "distinct_elim");
      break;
    }
    case WrittenKind::kIte:
      tautologies_.add({no, arg(0), arg(2)}, "ite_pos1");
      tautologies_.add({no, arg(0) + 1, arg(1)}, "ite_pos2");
      tautologies_.add({yes, arg(0), arg(2) + 1}, "ite_neg1");
      tautologies_.add({yes, arg(0) + 1, arg(1) + 1}, "ite_neg2");
      break;
    default:
      assert(false && "not a Boolean term");
      break;
  }
}

void ClauseProver::learn_equality(WrittenId term, WrittenId meaning,
                                  const char* rule) {
  pending_.push_back(meaning);
  tautologies_.add_equality(term, meaning, rule);
}

void ClauseProver::know(const Term* meaning, WrittenLiteral literal) {
  while (meaning->kind == Kind::kNot) {
    meaning = meaning->arg(0);
    literal ^= 1U;
  }
  if (meaning->kind == Kind::kTrue || meaning->kind == Kind::kFalse) return;
  meanings_.try_emplace(meaning, literal);
}

// The term as one of sort Real, where it stands beside such terms.
WrittenId ClauseProver::as_real(WrittenId term) {
  const Term* meaning = terms_.meaning(term);
  if (meaning->sort != Sort::kInt) return term;
  if (meaning->kind == Kind::kNumber) {
    return terms_.leaf(store_.make_number(meaning->number(), Sort::kReal));
  }
  const Term* one = store_.make_number(QNumber(1), Sort::kReal);
  return terms_.apply("to_real", {term}, store_.make_times(one, meaning));
}

// The term as it would be written, with parts that are written already.
WrittenId ClauseProver::written(const Term* term) {
  std::vector<const Term*> stack{term};
  while (!stack.empty()) {
    const Term* top = stack.back();
    if (written_.count(top) != 0) {
      stack.pop_back();
      continue;
    }
    const auto number = numbers_.find(top);
    const auto meaning = meanings_.find(top);
    WrittenId made = kNotWritten;
    if (number != numbers_.end()) {
      made = number->second;
    } else if (meaning != meanings_.end()) {
      made = static_cast<WrittenId>(meaning->second / 2);
      if (meaning->second % 2 != 0) made = terms_.negate(made);
    } else if (top->num_args == 0) {
      made = terms_.leaf(top);
    } else {
      std::vector<WrittenId> args;
      bool is_ready = true;
      for (std::size_t k = 0; k < top->num_args; ++k) {
        const auto part = written_.find(top->arg(k));
        if (part == written_.end()) {
          stack.push_back(top->arg(k));
          is_ready = false;
        } else {
          args.push_back(part->second);
        }
      }
      if (!is_ready) continue;
      const bool is_real =
          std::any_of(top->args(), top->args() + top->num_args,
                      [](const Term* arg) { return arg->sort == Sort::kReal; });
      if (is_real) {
        for (WrittenId& arg : args) arg = as_real(arg);
      }
      made = terms_.apply(operator_of(top->kind), args, top);
    }
    written_.emplace(top, made);
    stack.pop_back();
  }
  return written_.at(term);
}

WrittenLiteral ClauseProver::literal_of(const Term* term) {
  const auto known = meanings_.find(term);
  if (known != meanings_.end()) return known->second;
  const WrittenId made = written(term);
  learn(made);
  return text_.literal(made);
}

}  // namespace vorn::solver
