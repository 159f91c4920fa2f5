// SPDX-License-Identifier: MIT
#include "solver/proof/clause_prover.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>
#include <utility>

namespace vorn::solver {
namespace {

// Distinctions of cases within each other.
constexpr int kMostCases = 8;

const char* function_of(Kind kind) {
  switch (kind) {
    case Kind::kNot:
      return "not";
    case Kind::kAnd:
      return "and";
    case Kind::kOr:
      return "or";
    case Kind::kXor:
      return "xor";
    case Kind::kImplies:
      return "=>";
    case Kind::kEqual:
      return "=";
    case Kind::kDistinct:
      return "distinct";
    case Kind::kIte:
      return "ite";
    case Kind::kLeq:
      return "<=";
    case Kind::kLess:
      return "<";
    case Kind::kPlus:
      return "+";
    default:
      assert(kind == Kind::kTimes);
      return "*";
  }
}

std::string text_of(const QNumber& value) {
  const std::string digits =
      value.sign() < 0 ? (-value).to_str() : value.to_str();
  const std::size_t slash = digits.find('/');
  const std::string text = slash == std::string::npos
                               ? digits
                               : "(/ " + digits.substr(0, slash) + ".0 " +
                                     digits.substr(slash + 1) + ".0)";
  return value.sign() < 0 ? "(- " + text + ')' : text;
}

bool is_integer(const DifferenceBound& bound) {
  const auto is_int = [](const Term* leaf) {
    return leaf == nullptr || leaf->sort == Sort::kInt;
  };
  return is_int(bound.source) && is_int(bound.target);
}

}  // namespace

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
  is_based_ = false;
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
      if (meaning(term)->kind == Kind::kTrue) add({yes}, "true");
      if (meaning(term)->kind == Kind::kFalse) add({no}, "false");
      break;
    case WrittenKind::kAnd:
    case WrittenKind::kOr: {
      const bool is_and = terms_.kind(term) == WrittenKind::kAnd;
      all.push_back(is_and ? yes : no);
      for (std::size_t k = 0; k < args.size(); ++k) {
        if (is_and) {
          add({no, arg(k)}, "and_pos", std::to_string(k));
        } else {
          add({yes, arg(k) + 1}, "or_neg", std::to_string(k));
        }
        all.push_back(is_and ? arg(k) + 1 : arg(k));
      }
      add(all, is_and ? "and_neg" : "or_pos");
      break;
    }
    case WrittenKind::kImplies: {
      if (is_binary) {
        add({no, arg(0) + 1, arg(1)}, "implies_pos");
        add({yes, arg(0)}, "implies_neg1");
        add({yes, arg(1) + 1}, "implies_neg2");
        break;
      }
      WrittenId folded = args.back();
      for (std::size_t k = args.size() - 1; k-- > 0;) {
        folded = fold(store_.make_implies(meaning(args[k]), meaning(folded)),
                      args[k], folded);
      }
      add_equality(term, folded, "nary_elim");
      break;
    }
    case WrittenKind::kXor: {
      if (is_binary) {
        add({no, arg(0), arg(1)}, "xor_pos1");
        add({no, arg(0) + 1, arg(1) + 1}, "xor_pos2");
        add({yes, arg(0), arg(1) + 1}, "xor_neg1");
        add({yes, arg(0) + 1, arg(1)}, "xor_neg2");
        break;
      }
      WrittenId folded = args[0];
      for (std::size_t k = 1; k < args.size(); ++k) {
        folded = fold(store_.make_xor(meaning(folded), meaning(args[k])),
                      folded, args[k]);
      }
      add_equality(term, folded, "nary_elim");
      break;
    }
    case WrittenKind::kEqual: {
      if (is_binary) {
        add({no, arg(0), arg(1) + 1}, "equiv_pos1");
        add({no, arg(0) + 1, arg(1)}, "equiv_pos2");
        add({yes, arg(0) + 1, arg(1) + 1}, "equiv_neg1");
        add({yes, arg(0), arg(1)}, "equiv_neg2");
        break;
      }
      std::vector<WrittenId> links;
      std::vector<const Term*> meanings;
      for (std::size_t k = 1; k < args.size(); ++k) {
        meanings.push_back(
            store_.make_equal(meaning(args[k - 1]), meaning(args[k])));
        links.push_back(fold(meanings.back(), args[k - 1], args[k]));
      }
      add_equality(term, terms_.apply("and", links, store_.make_and(meanings)),
                   "nary_elim");
      break;
    }
    case WrittenKind::kDistinct: {
      if (!is_binary) {
        add_equality(term, terms_.leaf(store_.make_bool(false)),
                     "distinct_elim");
        break;
      }
      const WrittenId equal = terms_.apply(
          "=", args, store_.make_equal(meaning(args[0]), meaning(args[1])));
      add_equality(term, terms_.negate(equal), "distinct_elim");
      break;
    }
    case WrittenKind::kIte:
      add({no, arg(0), arg(2)}, "ite_pos1");
      add({no, arg(0) + 1, arg(1)}, "ite_pos2");
      add({yes, arg(0), arg(2) + 1}, "ite_neg1");
      add({yes, arg(0) + 1, arg(1) + 1}, "ite_neg2");
      break;
    default:
      assert(false && "not a Boolean term");
      break;
  }
}

bool ClauseProver::learn_comparison(WrittenId term) {
  const std::vector<WrittenId> args = terms_.args(term);
  for (const WrittenId argument : args) learn_cases(argument);
  const WrittenKind kind = terms_.kind(term);
  const Term* whole = terms_.meaning(term);
  if (is_arithmetic_atom(whole)) {
    const Term* normal = normaliser_.normalise(whole).term;
    if (normal == nullptr) return false;
    know(normal, positive(term));
  }
  if (kind == WrittenKind::kDistinct || kind == WrittenKind::kEqual ||
      args.size() > 2) {
    learn_chain(term);
    return true;
  }
  for (const WrittenId argument : args) {
    const WrittenId foreign = find_foreign(argument);
    if (foreign != kNotWritten) return learn_foreign(term, foreign);
  }
  if (whole->kind != Kind::kTrue && whole->kind != Kind::kFalse) {
    const AtomNormaliser::NormalForm& normal = normaliser_.normalise(whole);
    if (normal.term == whole) {
      learn_bound(term, normal.bound);
      // A number by cases that is a variable here may be lifted elsewhere.
      const auto has_cases = [](const Term* leaf) {
        return leaf != nullptr && leaf->kind == Kind::kIte;
      };
      if (has_cases(normal.bound.source) || has_cases(normal.bound.target)) {
        learn_lift(term);
      }
      return true;
    }
    whole = normal.term;
    // Sums that were added up in steps.
    if (is_arithmetic_atom(whole)) return false;
    if (whole->kind != Kind::kTrue && whole->kind != Kind::kFalse) {
      learn_lift(term);
      return true;
    }
  }
  learn_constant(term, whole->kind == Kind::kTrue);
  return true;
}

// A comparison that holds always, or never: because of the ranges of numbers by
// cases if there are some.
void ClauseProver::learn_constant(WrittenId term, bool holds) {
  const Term* meaning = terms_.meaning(term);
  LinearSum sum;
  if (meaning->num_args == 2) {
    lineariser_.linearise_difference(meaning->arg(0), meaning->arg(1), sum);
  }
  if (sum.monomials.size() == 1) {
    learn_lift(term);
    return;
  }
  std::vector<WrittenLiteral> literals{positive(term) + (holds ? 0 : 1)};
  std::vector<QNumber> factors{QNumber(1)};
  for (const LinearSum::Monomial& m : sum.monomials) {
    const IteShapes::Range range = *shapes_.range_of(m.leaf);
    const bool is_upper = (m.coefficient.sign() > 0) == holds;
    const Term* limit =
        store_.make_number(is_upper ? range.high : range.low, m.leaf->sort);
    const WrittenId within = terms_.apply(
        is_upper ? "<=" : ">=", {written(m.leaf), terms_.leaf(limit)},
        is_upper ? store_.make_leq(m.leaf, limit)
                 : store_.make_leq(limit, m.leaf));
    literals.push_back(positive(within) + 1);
    factors.push_back(m.coefficient.sign() < 0 ? -m.coefficient
                                               : m.coefficient);
    pending_.push_back(within);
  }
  add_sum(literals, factors);
}

// An equality, a comparison of more than two, or `distinct`, by its parts.
void ClauseProver::learn_chain(WrittenId term) {
  const std::vector<WrittenId> args = terms_.args(term);
  std::vector<WrittenId> parts;
  std::vector<const Term*> meanings;
  const auto add_part = [&](const std::string& function, WrittenKind kind,
                            std::size_t i, std::size_t k) {
    meanings.push_back(
        compare(kind, terms_.meaning(args[i]), terms_.meaning(args[k])));
    parts.push_back(
        terms_.apply(function, {args[i], args[k]}, meanings.back()));
  };
  const WrittenKind kind = terms_.kind(term);
  const char* rule = "nary_elim";
  if (kind == WrittenKind::kDistinct) {
    rule = "distinct_elim";
    for (std::size_t i = 0; i < args.size(); ++i) {
      for (std::size_t k = i + 1; k < args.size(); ++k) {
        add_part("=", WrittenKind::kEqual, i, k);
        parts.back() = terms_.negate(parts.back());
        meanings.back() = store_.make_not(meanings.back());
      }
    }
  } else if (args.size() > 2) {
    const std::string function = terms_.text(term);
    for (std::size_t k = 1; k < args.size(); ++k) {
      add_part(function, kind, k - 1, k);
    }
  } else {
    rule = "la_rw_eq";
    add_part("<=", WrittenKind::kLeq, 0, 1);
    add_part("<=", WrittenKind::kLeq, 1, 0);
  }
  add_equality(term,
               parts.size() == 1
                   ? parts[0]
                   : terms_.apply("and", parts, store_.make_and(meanings)),
               rule);
}

const Term* ClauseProver::compare(WrittenKind kind, const Term* a,
                                  const Term* b) {
  switch (kind) {
    case WrittenKind::kLeq:
      return store_.make_leq(a, b);
    case WrittenKind::kLess:
      return store_.make_less(a, b);
    case WrittenKind::kGeq:
      return store_.make_leq(b, a);
    case WrittenKind::kGreater:
      return store_.make_less(b, a);
    default:
      return store_.make_equal(a, b);
  }
}

// The first number by cases in a sum that is another term by what it means; 0
// if there is none.
WrittenId ClauseProver::find_foreign(WrittenId term) const {
  std::vector<WrittenId> stack{term};
  while (!stack.empty()) {
    const WrittenId top = stack.back();
    stack.pop_back();
    if (terms_.kind(top) != WrittenKind::kIte) {
      for (const WrittenId part : terms_.args(top)) stack.push_back(part);
      continue;
    }
    const auto known = numbers_.find(terms_.meaning(top));
    if (known == numbers_.end() || known->second != top) return top;
  }
  return kNotWritten;
}

// What a sum means with a term in place of a number by cases, which it is then
// written with, too, unless that is kNotWritten. Null if a function in it is
// unknown here.
const Term* ClauseProver::replace(WrittenId sum, WrittenId number,
                                  const Term* by, WrittenId by_written,
                                  WrittenId* result) {
  struct Part {
    const Term* meaning;
    WrittenId written;
  };
  std::unordered_map<WrittenId, Part> done{{number, {by, by_written}}};
  std::vector<WrittenId> stack{sum};
  while (!stack.empty()) {
    const WrittenId top = stack.back();
    if (done.count(top) != 0) {
      stack.pop_back();
      continue;
    }
    std::vector<WrittenId> written;
    std::vector<const Term*> meanings;
    if (terms_.kind(top) != WrittenKind::kOther) {
      done.emplace(top, Part{terms_.meaning(top), top});
      continue;
    }
    const std::size_t count = terms_.num_args(top);
    for (std::size_t k = 0; k < count; ++k) {
      const auto part = done.find(terms_.arg(top, k));
      if (part == done.end()) {
        stack.push_back(terms_.arg(top, k));
        continue;
      }
      meanings.push_back(part->second.meaning);
      written.push_back(part->second.written);
    }
    if (meanings.size() < count) continue;
    const Term* meaning = apply(terms_.text(top), meanings);
    if (meaning == nullptr) return nullptr;
    const WrittenId made =
        by_written == kNotWritten
            ? kNotWritten
            : terms_.apply(std::string(terms_.text(top)), written, meaning);
    done.emplace(top, Part{meaning, made});
  }
  *result = done.at(sum).written;
  return done.at(sum).meaning;
}

// An arithmetic function of what its arguments mean; null if it is unknown.
const Term* ClauseProver::apply(const std::string& function,
                                const std::vector<const Term*>& args) {
  if (function == "+") return store_.make_plus(args);
  if (function == "-" && args.size() == 1) return store_.make_negate(args[0]);
  const Term* result = args[0];
  for (std::size_t k = 1; k < args.size(); ++k) {
    if (function == "-") {
      result = store_.make_plus({result, store_.make_negate(args[k])});
    } else if (function == "*") {
      result = store_.make_times(result, args[k]);
    } else if (function == "/" && args[k]->kind == Kind::kNumber) {
      QNumber inverse(1);
      inverse /= args[k]->number();
      result =
          store_.make_times(store_.make_number(inverse, Sort::kReal), result);
    } else {
      return nullptr;
    }
  }
  return result;
}

// As learn_lift, for a number by cases that the normal form knows nothing of.
bool ClauseProver::learn_foreign(WrittenId term, WrittenId number) {
  const Term* unknown =
      store_.make_fresh_symbol("number", terms_.meaning(number)->sort);
  const auto in_place = [&](const Term* by, WrittenId written,
                            WrittenId* result) -> const Term* {
    WrittenId sides[2];
    const Term* meanings[2];
    for (std::size_t k = 0; k < 2; ++k) {
      meanings[k] =
          replace(terms_.arg(term, k), number, by, written, &sides[k]);
      if (meanings[k] == nullptr) return nullptr;
    }
    const Term* made = compare(terms_.kind(term), meanings[0], meanings[1]);
    if (written != kNotWritten) {
      *result = terms_.apply(std::string(terms_.text(term)),
                             {sides[0], sides[1]}, made);
    }
    return made;
  };
  WrittenId other = kNotWritten;
  const Term* general = in_place(unknown, kNotWritten, &other);
  if (general == nullptr) return false;
  QNumber factor(0);
  LinearSum sum;
  if (general->num_args == 2) {
    lineariser_.linearise_difference(general->arg(0), general->arg(1), sum);
  }
  for (const LinearSum::Monomial& m : sum.monomials) {
    if (m.leaf == unknown) factor = m.coefficient;
  }
  for (const std::size_t k : {1U, 2U}) {
    const WrittenId branch = terms_.arg(number, k);
    in_place(terms_.meaning(branch), branch, &other);
    add_case(term, number, branch, factor, other);
  }
  return true;
}

// That a comparison is another one when a number by cases is its branch.
void ClauseProver::add_case(WrittenId term, WrittenId number, WrittenId branch,
                            const QNumber& factor, WrittenId other) {
  const WrittenId equal = terms_.apply(
      "=", {number, branch},
      store_.make_equal(terms_.meaning(number), terms_.meaning(branch)));
  pending_.push_back(other);
  const bool is_constant = terms_.kind(other) == WrittenKind::kLeaf;
  const bool is_true = terms_.meaning(other)->kind == Kind::kTrue;
  for (const bool forwards : {true, false}) {
    std::vector<WrittenLiteral> literals{positive(equal) + 1,
                                         positive(term) + (forwards ? 1 : 0)};
    std::vector<QNumber> factors{forwards ? factor : -factor, QNumber(1)};
    if (!is_constant) {
      literals.push_back(positive(other) + (forwards ? 0 : 1));
      factors.emplace_back(1);
    } else if (forwards == is_true) {
      continue;
    }
    add_sum(literals, factors);
  }
}

ClauseProver::SignedKey ClauseProver::key_of(const DifferenceBound& bound) {
  const auto number = [](const Term* leaf) {
    return leaf == nullptr ? 0 : leaf->id + 1;
  };
  if (number(bound.source) > number(bound.target)) {
    SignedKey result = key_of(negate_bound(bound, is_integer(bound)));
    result.negated = !result.negated;
    return result;
  }
  return {{number(bound.source), number(bound.target), bound.weight}, false};
}

void ClauseProver::learn_bound(WrittenId term, const DifferenceBound& bound) {
  const SignedKey key = key_of(bound);
  const WrittenLiteral own = positive(term);
  const auto [place, is_new] =
      bounds_.try_emplace(key.key, own + (key.negated ? 1 : 0));
  if (is_new) return;
  const WrittenLiteral other = place->second ^ (key.negated ? 1U : 0U);
  const std::vector<QNumber> scales{
      scale_of(term), scale_of(static_cast<WrittenId>(other / 2))};
  add_sum({own + 1, other}, scales);
  add_sum({own, other ^ 1U}, scales);
}

// One divided by the coefficient of the variables.
QNumber ClauseProver::scale_of(WrittenId comparison) {
  const Term* meaning = terms_.meaning(comparison);
  LinearSum sum;
  lineariser_.linearise_difference(meaning->arg(0), meaning->arg(1), sum);
  QNumber scale(1);
  scale /= sum.monomials.at(0).coefficient;
  return scale.sign() < 0 ? -scale : scale;
}

// A comparison that is another one in each case of each number.
void ClauseProver::learn_lift(WrittenId term) {
  for (const auto& cases : normaliser_.cases(terms_.meaning(term))) {
    const WrittenId number = written(cases.ite);
    if (find_foreign(terms_.arg(number, 1)) != kNotWritten ||
        find_foreign(terms_.arg(number, 2)) != kNotWritten) {
      learn_foreign(term, number);
      continue;
    }
    add_case(term, number, terms_.arg(number, 1), cases.factor,
             written(cases.first));
    add_case(term, number, terms_.arg(number, 2), cases.factor,
             written(cases.second));
  }
}

// What numbers by cases in an arithmetic term are equal to.
void ClauseProver::learn_cases(WrittenId term) {
  std::vector<WrittenId> stack{term};
  while (!stack.empty()) {
    const WrittenId top = stack.back();
    stack.pop_back();
    if (is_known_.size() <= top) is_known_.resize(terms_.size(), 0);
    if (is_known_[top] != 0) continue;
    is_known_[top] = 1;
    if (terms_.kind(top) != WrittenKind::kIte) {
      for (const WrittenId part : terms_.args(top)) stack.push_back(part);
      continue;
    }
    const Term* meaning = terms_.meaning(top);
    if (meaning->kind == Kind::kIte) numbers_.emplace(meaning, top);
    pending_.push_back(terms_.arg(top, 0));
    for (const std::size_t k : {1U, 2U}) {
      const WrittenId branch = terms_.arg(top, k);
      stack.push_back(branch);
      const WrittenId equal = terms_.apply(
          "=", {top, branch},
          store_.make_equal(terms_.meaning(top), terms_.meaning(branch)));
      pending_.push_back(equal);
      add_cases(top, equal, k == 1);
    }
  }
}

void ClauseProver::know(const Term* meaning, WrittenLiteral literal) {
  while (meaning->kind == Kind::kNot) {
    meaning = meaning->arg(0);
    literal ^= 1U;
  }
  if (meaning->kind == Kind::kTrue || meaning->kind == Kind::kFalse) return;
  meanings_.try_emplace(meaning, literal);
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
      made = terms_.apply(function_of(top->kind), args, top);
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

WrittenLiteral ClauseProver::literal_of(const DifferenceBound& bound) {
  const SignedKey key = key_of(bound);
  const auto known = bounds_.find(key.key);
  if (known != bounds_.end()) {
    return known->second ^ (key.negated ? 1U : 0U);
  }
  const bool integer = is_integer(bound);
  WrittenId left = kNotWritten;
  const Term* meaning = nullptr;
  if (bound.source == nullptr) {
    left = written(bound.target);
    meaning = bound.target;
  } else {
    const WrittenId source = written(bound.source);
    meaning = store_.make_negate(bound.source);
    if (bound.target == nullptr) {
      left = terms_.apply("-", {source}, meaning);
    } else {
      meaning = store_.make_plus({bound.target, meaning});
      left = terms_.apply("-", {written(bound.target), source}, meaning);
    }
  }
  const Term* limit = store_.make_number(bound.weight.rational(),
                                         integer ? Sort::kInt : Sort::kReal);
  const bool strict = bound.weight.eps().sign() < 0;
  const WrittenId made =
      terms_.apply(strict ? "<" : "<=", {left, terms_.leaf(limit)},
                   strict ? store_.make_less(meaning, limit)
                          : store_.make_leq(meaning, limit));
  learn(made);
  const auto found = bounds_.find(key.key);
  assert(found != bounds_.end());
  return found->second ^ (key.negated ? 1U : 0U);
}

// --- Tautologies ---

void ClauseProver::add(std::vector<WrittenLiteral> raw, const char* rule,
                       std::string arguments) {
  Tautology made;
  made.rule = rule;
  made.arguments = std::move(arguments);
  for (const WrittenLiteral l : raw) {
    made.literals.push_back(
        text_.literal(static_cast<WrittenId>(l / 2), l % 2 != 0));
  }
  made.raw = std::move(raw);
  std::vector<WrittenLiteral>& literals = made.literals;
  std::sort(literals.begin(), literals.end());
  literals.erase(std::unique(literals.begin(), literals.end()), literals.end());
  for (std::size_t k = 1; k < literals.size(); ++k) {
    if (literals[k] == (literals[k - 1] ^ 1U)) return;  // says nothing
  }
  const auto number = static_cast<int>(tautologies_.size());
  for (const WrittenLiteral l : literals) value(l);
  if (literals.size() == 1) {
    units_.push_back(number);
  } else {
    watches_[literals[0]].push_back(number);
    watches_[literals[1]].push_back(number);
  }
  tautologies_.push_back(std::move(made));
}

void ClauseProver::add_equality(WrittenId term, WrittenId meaning,
                                const char* rule) {
  pending_.push_back(meaning);
  for (const bool forwards : {true, false}) {
    const std::size_t before = tautologies_.size();
    add({positive(term) + (forwards ? 1 : 0),
         positive(meaning) + (forwards ? 0 : 1)},
        forwards ? "equiv1" : "equiv2");
    if (tautologies_.size() == before) continue;
    tautologies_.back().equality_rule = rule;
    tautologies_.back().left = term;
    tautologies_.back().right = meaning;
  }
}

void ClauseProver::add_cases(WrittenId number, WrittenId equal, bool is_then) {
  const std::size_t before = tautologies_.size();
  add({positive(terms_.arg(number, 0)) + (is_then ? 1 : 0), positive(equal)},
      is_then ? "ite2" : "ite1");
  if (tautologies_.size() == before) return;
  tautologies_.back().left = number;
}

void ClauseProver::add_sum(const std::vector<WrittenLiteral>& literals,
                           const std::vector<QNumber>& coefficients) {
  std::string arguments;
  for (const QNumber& coefficient : coefficients) {
    if (!arguments.empty()) arguments += ' ';
    arguments += text_of(coefficient);
  }
  add(literals, "la_generic", std::move(arguments));
}

const ProvedClause& ClauseProver::write(Tautology& tautology) {
  if (tautology.proved.step != 0) return tautology.proved;
  std::vector<std::uint64_t> premises;
  if (tautology.equality_rule != nullptr) {
    std::uint64_t& step = equality_steps_[tautology.left];
    if (step == 0) {
      const WrittenId equality = terms_.apply(
          "=", {tautology.left, tautology.right}, store_.make_bool(true));
      step = text_.plain_step({positive(equality)}, tautology.equality_rule, {},
                              "");
    }
    premises.push_back(step);
  } else if (tautology.left != kNotWritten) {
    premises.push_back(write_cases(tautology.left));
  }
  tautology.proved =
      text_.step(tautology.raw, tautology.rule, premises, tautology.arguments);
  return tautology.proved;
}

// The step that says (ite c (= v a) (= v b)), for v = (ite c a b).
std::uint64_t ClauseProver::write_cases(WrittenId number) {
  std::uint64_t& step = case_steps_[number];
  if (step != 0) return step;
  const Term* holds = store_.make_bool(true);
  const auto equal = [&](WrittenId a, WrittenId b) {
    return terms_.apply(
        "=", {a, b}, store_.make_equal(terms_.meaning(a), terms_.meaning(b)));
  };
  const WrittenId same = equal(number, number);
  const WrittenId cases =
      terms_.apply("ite",
                   {terms_.arg(number, 0), equal(number, terms_.arg(number, 1)),
                    equal(number, terms_.arg(number, 2))},
                   holds);
  const WrittenId both = terms_.apply("and", {same, cases}, holds);
  const WrittenId intro = terms_.apply("=", {same, both}, holds);
  const std::uint64_t reflexive =
      text_.plain_step({positive(same)}, "eq_reflexive", {}, "");
  const std::uint64_t introduced =
      text_.plain_step({positive(intro)}, "ite_intro", {}, "");
  const std::uint64_t implied = text_.plain_step(
      {positive(same) + 1, positive(both)}, "equiv1", {introduced}, "");
  const std::uint64_t part = text_.plain_step(
      {positive(both) + 1, positive(cases)}, "and_pos", {}, "1");
  step = text_.plain_step(
      {positive(cases)}, "resolution", {reflexive, implied, part},
      text_.text(same) + " true " + text_.text(both) + " true");
  return step;
}

// --- Propagation ---

void ClauseProver::grow(WrittenLiteral literal) {
  const std::size_t size = (literal | 1U) + 1;
  values_.resize(size, 0);
  watches_.resize(size);
  reasons_.resize(size / 2, kNoReason);
}

void ClauseProver::assign(WrittenLiteral literal, int reason) {
  value(literal) = 1;
  values_[literal ^ 1U] = -1;
  reasons_[literal / 2] = reason;
  trail_.push_back(literal);
}

// A tautology whose literals are all false, or kNoReason.
int ClauseProver::propagate() {
  while (head_ < trail_.size()) {
    const WrittenLiteral falsified = trail_[head_++] ^ 1U;
    std::vector<int>& list = watches_[falsified];
    std::size_t kept = 0;
    for (std::size_t k = 0; k < list.size(); ++k) {
      const int number = list[k];
      std::vector<WrittenLiteral>& literals =
          tautologies_[static_cast<std::size_t>(number)].literals;
      if (literals[0] == falsified) std::swap(literals[0], literals[1]);
      list[kept++] = number;
      if (values_[literals[0]] > 0) continue;
      const auto other =
          std::find_if(literals.begin() + 2, literals.end(),
                       [this](WrittenLiteral l) { return values_[l] >= 0; });
      if (other != literals.end()) {
        std::swap(literals[1], *other);
        watches_[literals[1]].push_back(number);
        --kept;
        continue;
      }
      if (values_[literals[0]] == 0) {
        assign(literals[0], number);
        continue;
      }
      while (++k < list.size()) list[kept++] = list[k];
      list.resize(kept);
      return number;
    }
    list.resize(kept);
  }
  return kNoReason;
}

void ClauseProver::undo(std::size_t size) {
  while (trail_.size() > size) {
    values_[trail_.back()] = values_[trail_.back() ^ 1U] = 0;
    trail_.pop_back();
  }
  head_ = std::min(head_, size);
}

void ClauseProver::set_root(WrittenId term, std::uint64_t step) {
  root_.literals = {text_.literal(term)};
  root_.step = step;
  is_based_ = false;
}

void ClauseProver::clear_root() {
  if (root_.step == 0) return;
  root_ = ProvedClause();
  is_based_ = false;
}

// Assigns what holds without further assumptions.
void ClauseProver::rebase() {
  base_ = 0;
  undo(0);
  for (const int number : units_) {
    const WrittenLiteral unit =
        tautologies_[static_cast<std::size_t>(number)].literals[0];
    if (value(unit) == 0) assign(unit, number);
  }
  is_based_ = true;
  base_conflict_ = propagate();
  if (base_conflict_ == kNoReason && root_.step != 0) {
    const WrittenLiteral root = root_.literals[0];
    if (value(root) < 0) {
      base_conflict_ = kRoot;
    } else {
      if (value(root) == 0) assign(root, kRoot);
      base_conflict_ = propagate();
    }
  }
  base_ = trail_.size();
}

ProvedClause ClauseProver::prove(const std::vector<WrittenLiteral>& clause) {
  if (!is_based_) rebase();
  if (base_conflict_ != kNoReason) return analyze(base_conflict_);
  std::vector<WrittenLiteral> literals = clause;
  return do_prove(literals, 0);
}

ProvedClause ClauseProver::do_prove(std::vector<WrittenLiteral>& clause,
                                    int depth) {
  ProvedClause result;
  for (const WrittenLiteral literal : clause) {
    if (value(literal) > 0 && reasons_[literal / 2] != kNoReason) {
      result = analyze(reasons_[literal / 2]);
      undo(base_);
      return result;
    }
    if (value(literal) != 0) continue;
    assign(literal ^ 1U, kNoReason);
    const int conflict = propagate();
    if (conflict == kNoReason) continue;
    result = analyze(conflict);
    undo(base_);
    return result;
  }
  const WrittenLiteral split = depth < kMostCases ? pick_case() : 0;
  undo(base_);
  if (split == 0) return result;
  ProvedClause halves[2];
  for (const std::size_t k : {0U, 1U}) {
    clause.push_back(split ^ k);
    halves[k] = do_prove(clause, depth + 1);
    clause.pop_back();
    const std::vector<WrittenLiteral>& literals = halves[k].literals;
    if (halves[k].step == 0 || std::find(literals.begin(), literals.end(),
                                         split ^ k) == literals.end()) {
      return halves[k];
    }
  }
  return resolve(halves[0], {&halves[1]});
}

// An undecided part of what is assigned, the latest first: a condition if there
// is one; 0 if there is none.
WrittenLiteral ClauseProver::pick_case() {
  WrittenLiteral found = 0;
  for (std::size_t k = trail_.size(); k-- > 0;) {
    const auto term = static_cast<WrittenId>(trail_[k] / 2);
    for (const WrittenId part : terms_.args(term)) {
      if (!terms_.meaning(part)->is_bool()) continue;
      const WrittenLiteral literal = text_.literal(part);
      if (value(literal) != 0) continue;
      if (terms_.kind(term) == WrittenKind::kIte ||
          terms_.kind(term) == WrittenKind::kXor ||
          terms_.kind(term) == WrittenKind::kEqual) {
        return literal;
      }
      if (found == 0) found = literal;
    }
    // The numbers by cases that a comparison is about.
    std::vector<WrittenId> stack;
    if (terms_.kind(term) >= WrittenKind::kEqual) stack = terms_.args(term);
    while (!stack.empty()) {
      const WrittenId top = stack.back();
      stack.pop_back();
      if (terms_.meaning(top)->is_bool()) continue;
      if (terms_.kind(top) == WrittenKind::kIte) {
        const WrittenLiteral literal = text_.literal(terms_.arg(top, 0));
        if (value(literal) == 0) return literal;
      }
      for (const WrittenId part : terms_.args(top)) stack.push_back(part);
    }
  }
  return found;
}

// What is left of a clause, all of whose literals are false but perhaps the
// last that it implied, when those that were implied are resolved away.
ProvedClause ClauseProver::analyze(int conflict) {
  std::unordered_set<WrittenLiteral> open;
  std::vector<const ProvedClause*> others;
  const auto clause_of = [this](int number) -> const ProvedClause& {
    return number == kRoot
               ? root_
               : write(tautologies_[static_cast<std::size_t>(number)]);
  };
  const ProvedClause& first = clause_of(conflict);
  open.insert(first.literals.begin(), first.literals.end());
  for (std::size_t k = trail_.size(); k-- > 0;) {
    const WrittenLiteral implied = trail_[k];
    const int reason = reasons_[implied / 2];
    if (open.count(implied ^ 1U) == 0 || reason == kNoReason) continue;
    const ProvedClause& clause = clause_of(reason);
    open.erase(implied ^ 1U);
    for (const WrittenLiteral l : clause.literals) {
      if (l != implied) open.insert(l);
    }
    others.push_back(&clause);
  }
  return resolve(first, others);
}

ProvedClause ClauseProver::resolve(
    const ProvedClause& first, const std::vector<const ProvedClause*>& others) {
  std::unordered_set<WrittenLiteral> open(first.literals.begin(),
                                          first.literals.end());
  std::vector<std::uint64_t> premises{first.step};
  std::string arguments;
  for (const ProvedClause* other : others) {
    const auto pivot = std::find_if(
        other->literals.begin(), other->literals.end(),
        [&open](WrittenLiteral l) { return open.count(l ^ 1U) != 0; });
    if (pivot == other->literals.end()) continue;
    open.erase(*pivot ^ 1U);
    for (const WrittenLiteral l : other->literals) {
      if (l != *pivot) open.insert(l);
    }
    premises.push_back(other->step);
    if (!arguments.empty()) arguments += ' ';
    arguments += text_.text(static_cast<WrittenId>(*pivot / 2));
    arguments += *pivot % 2 == 0 ? " false" : " true";
  }
  if (premises.size() == 1) return first;
  ProvedClause result;
  result.literals.assign(open.begin(), open.end());
  std::sort(result.literals.begin(), result.literals.end());
  result.step =
      text_.plain_step(result.literals, "resolution", premises, arguments);
  return result;
}

std::string ClauseProver::coefficient_of(WrittenLiteral comparison) {
  return text_of(scale_of(static_cast<WrittenId>(comparison / 2)));
}

ProvedClause ClauseProver::prove_branch(WrittenId number, bool is_first) {
  const WrittenId branch = terms_.arg(number, is_first ? 1 : 2);
  const WrittenId equal = terms_.apply("=", {number, branch},
                                       store_.make_bool(true));
  const WrittenLiteral condition = positive(terms_.arg(number, 0));
  return text_.step({condition + (is_first ? 1 : 0), positive(equal)},
                    is_first ? "ite2" : "ite1", {write_cases(number)});
}

ProvedClause ClauseProver::prove_sum(
    const std::vector<WrittenLiteral>& clause) {
  std::string arguments;
  for (const WrittenLiteral literal : clause) {
    if (!arguments.empty()) arguments += ' ';
    arguments += coefficient_of(literal);
  }
  return text_.step(clause, "la_generic", {}, arguments);
}

}  // namespace vorn::solver
