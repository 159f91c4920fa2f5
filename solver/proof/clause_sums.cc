// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cassert>
#include <cstdint>
#include <utility>

#include "solver/proof/clause_prover.h"

// Comparisons of numbers.
//
// A number by cases is a variable to `la_generic`, that equals its branch in
// each case. So what such numbers are added up to is proved case by case: a
// comparison that was lifted is one of a shorter sum in either case of the
// condition that was lifted first. The sums of all numbers from one on stand as
// numbers by cases themselves, (ite c (+ a rest) (+ b rest)), which keeps each
// comparison as short as the sum that has come out of the cases before; that
// they are the sums that they stand for is proved once for each, from the last
// one on.
//
// Whatever a sum lacks to cancel is found in close(): numbers that equal their
// branch in the case at hand, numbers that are known to equal a sum, and, where
// nothing else is left, ranges.

namespace vorn::solver {
namespace {

const char* text_of(WrittenKind kind) {
  switch (kind) {
    case WrittenKind::kLeq:
      return "<=";
    case WrittenKind::kLess:
      return "<";
    case WrittenKind::kGeq:
      return ">=";
    case WrittenKind::kGreater:
      return ">";
    default:
      assert(kind == WrittenKind::kEqual);
      return "=";
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

QNumber size_of(const QNumber& value) {
  return value.sign() < 0 ? -value : value;
}

bool is_constant(const Term* term) {
  return term->kind == Kind::kTrue || term->kind == Kind::kFalse;
}

}  // namespace

// --- Comparisons ---

bool ClauseProver::learn_comparison(WrittenId term) {
  const std::vector<WrittenId> args = terms_.args(term);
  for (const WrittenId argument : args) learn_cases(argument);
  const WrittenKind kind = terms_.kind(term);
  const Term* whole = terms_.meaning(term);
  const bool is_chain = kind == WrittenKind::kDistinct ||
                        kind == WrittenKind::kEqual || args.size() > 2;
  if (!is_chain && has_other_spellings(args) && learn_plain(term)) return true;
  const bool is_atom = is_arithmetic_atom(whole);
  const Term* normal = is_atom ? normaliser_.normalise(whole).term : whole;
  if (normal == nullptr) return false;
  if (is_chain) {
    know(normal, positive(term));
    learn_chain(term);
  } else if (is_constant(whole)) {
    const WrittenLiteral holds =
        positive(term) + (whole->kind == Kind::kTrue ? 0 : 1);
    add_sum({{holds}, {QNumber(1)}});
  } else if (normal == whole) {
    learn_bound(term, normaliser_.normalise(whole).bound);
  } else {
    learn_lifted(term);
  }
  return true;
}

// Whether a number by cases stands in these terms that is written in another
// way where its value is meant.
bool ClauseProver::has_other_spellings(const std::vector<WrittenId>& sides) {
  if (has_cases_.empty()) return false;
  const auto is_other = [this](const auto& part) {
    return terms_.kind(part.first) == WrittenKind::kIte &&
           written(terms_.meaning(part.first)) != part.first;
  };
  return std::any_of(sides.begin(), sides.end(), [&](WrittenId side) {
    const WrittenSums::Sum* sum = sums_.sum_of(side);
    return sum != nullptr && std::any_of(sum->begin(), sum->end(), is_other);
  });
}

// A comparison by the one that puts one variable for all spellings of a number,
// and no variable for what is a constant: only there has a sum of integers the
// coefficients by which it is rounded. False if it is that one.
bool ClauseProver::learn_plain(WrittenId term) {
  const auto plain = [this, term](std::size_t side) {
    return written(terms_.meaning(terms_.arg(term, side)));
  };
  const WrittenId other =
      write_comparison(terms_.kind(term), plain(0), plain(1));
  if (other == term) return false;
  const std::vector<QNumber> ones{QNumber(1), QNumber(1)};
  add_sum({{positive(term) + 1, positive(other)}, ones});
  add_sum({{positive(term), positive(other) + 1}, ones});
  pending_.push_back(other);
  return true;
}

WrittenId ClauseProver::write_comparison(WrittenKind kind, WrittenId a,
                                         WrittenId b) {
  const auto is_real = [this](WrittenId side) {
    return terms_.meaning(side)->sort == Sort::kReal;
  };
  if (is_real(a)) b = as_real(b);
  if (is_real(b)) a = as_real(a);
  return terms_.apply(text_of(kind), {a, b},
                      compare(kind, terms_.meaning(a), terms_.meaning(b)));
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
  learn_equality(term,
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
  add_sum({{own + 1, other}, scales});
  add_sum({{own, other ^ 1U}, scales});
}

// One divided by the coefficient of the variables.
const QNumber& ClauseProver::scale_of(WrittenId comparison) {
  if (comparison >= scales_.size()) scales_.resize(terms_.size());
  QNumber& scale = scales_[comparison];
  if (scale.sign() != 0) return scale;
  const Term* meaning = terms_.meaning(comparison);
  LinearSum sum;
  lineariser_.linearise_difference(meaning->arg(0), meaning->arg(1), sum);
  scale = QNumber(1);
  scale /= size_of(sum.monomials.at(0).coefficient);
  return scale;
}

WrittenLiteral ClauseProver::literal_of(const DifferenceBound& bound) {
  const SignedKey key = key_of(bound);
  const auto known = bounds_.find(key.key);
  if (known != bounds_.end()) {
    return known->second ^ (key.negated ? 1U : 0U);
  }
  learn(write_bound(bound));
  const auto found = bounds_.find(key.key);
  assert(found != bounds_.end());
  return found->second ^ (key.negated ? 1U : 0U);
}

// (<= (- target source) weight), or `<`.
WrittenId ClauseProver::write_bound(const DifferenceBound& bound) {
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
  return write_comparison(strict ? WrittenKind::kLess : WrittenKind::kLeq, left,
                          terms_.leaf(limit));
}

// --- Numbers by cases ---

// Those in an arithmetic term, with what they are equal to.
void ClauseProver::learn_cases(WrittenId term) {
  std::vector<WrittenId> stack{term};
  std::vector<WrittenId> numbers;
  while (!stack.empty()) {
    const WrittenId top = stack.back();
    stack.pop_back();
    if (is_known_.size() <= top) is_known_.resize(terms_.size(), 0);
    if (is_known_[top] != 0) continue;
    is_known_[top] = 1;
    const bool is_number = terms_.kind(top) == WrittenKind::kIte;
    if (is_number) numbers.push_back(top);
    const std::vector<WrittenId> args = terms_.args(top);
    stack.insert(stack.end(), args.begin() + (is_number ? 1 : 0), args.end());
  }
  // Those inside others first.
  std::sort(numbers.begin(), numbers.end());
  for (const WrittenId number : numbers) {
    const Term* meaning = terms_.meaning(number);
    if (meaning->kind == Kind::kIte) numbers_.emplace(meaning, number);
    find_cases(number);
    for (const std::size_t k : {1U, 2U}) {
      pending_.push_back(equality_with_branch(number, k));
    }
    const WrittenId same = written(meaning);
    if (same != number) link(number, same);
  }
}

// Makes it known what a number is in either case.
void ClauseProver::find_cases(WrittenId number) {
  if (!has_cases_.insert(number).second) return;
  pending_.push_back(terms_.arg(number, 0));
  for (const std::size_t k : {1U, 2U}) {
    tautologies_.add_case(number, equality_with_branch(number, k), k == 1);
  }
}

WrittenId ClauseProver::equality_with_branch(WrittenId number,
                                             std::size_t branch) {
  const WrittenId value = terms_.arg(number, branch);
  return terms_.apply(
      "=", {number, value},
      store_.make_equal(terms_.meaning(number), terms_.meaning(value)));
}

// Which branch a number is when a literal of its condition, or of one that
// means the same, is assumed; 0 if that does not say.
std::size_t ClauseProver::branch_of(WrittenId number,
                                    WrittenLiteral assumed) const {
  if (assumed == 0 || terms_.kind(number) != WrittenKind::kIte) return 0;
  const auto meaning_of = [this](WrittenLiteral literal) {
    const Term* meaning = terms_.meaning(static_cast<WrittenId>(literal / 2));
    const bool is_not = meaning->kind == Kind::kNot;
    return std::pair(is_not ? meaning->arg(0) : meaning,
                     is_not != (literal % 2 != 0));
  };
  const auto [condition, is_not] =
      meaning_of(text_.literal(terms_.arg(number, 0)));
  const auto [given, is_given_not] = meaning_of(assumed);
  if (condition != given) return 0;
  return is_not == is_given_not ? 1 : 2;
}

// Of a comparison that holds in both cases.
void ClauseProver::hold_by_cases(WrittenId comparison,
                                 WrittenLiteral condition) {
  for (const std::size_t k : {0U, 1U}) {
    add_sum({{positive(comparison)}, {QNumber(1)}}, condition ^ k, true);
  }
  lemmas_.push_back({{positive(comparison)}, condition});
}

// Whether a sum has a number among its parts, those that links lead to
// included; also if it is not linear.
bool ClauseProver::leads_to(WrittenId sum, WrittenId number) {
  const WrittenSums::Sum* parts = sums_.sum_of(sum);
  if (parts == nullptr) return true;
  if (parts->count(number) != 0) return true;
  if (linked_.count(number) == 0) return false;  // no link has it
  std::vector<WrittenId> stack;
  std::unordered_set<WrittenId> seen;
  const auto push = [&](const WrittenSums::Sum& all) {
    for (const auto& [part, coefficient] : all) {
      if (seen.insert(part).second) stack.push_back(part);
    }
  };
  push(*parts);
  while (!stack.empty()) {
    const auto link = links_.find(stack.back());
    stack.pop_back();
    if (link != links_.end()) push(*sums_.sum_of(link->second.sum));
  }
  return seen.count(number) != 0;
}

// Proves that a number by cases is a sum, if it is one in both cases. Links
// never go round, or close() would not end.
void ClauseProver::link(WrittenId number, WrittenId sum) {
  if (links_.count(number) != 0 || leads_to(sum, number)) return;
  for (const auto& [part, coefficient] : *sums_.sum_of(sum)) {
    linked_.insert(part);
  }
  Link made;
  made.sum = sum;
  made.at_most = write_comparison(WrittenKind::kLeq, number, sum);
  made.at_least = write_comparison(WrittenKind::kGeq, number, sum);
  find_cases(number);
  const WrittenLiteral condition = text_.literal(terms_.arg(number, 0));
  hold_by_cases(made.at_most, condition);
  hold_by_cases(made.at_least, condition);
  links_.emplace(number, made);
}

// That a number by cases is at most its highest value, or at least its lowest;
// kNotWritten if it has none. Those of numbers in its branches come first, on a
// stack of our own.
WrittenId ClauseProver::range_of(WrittenId number, bool is_upper) {
  std::vector<WrittenId> stack{number};
  std::vector<WrittenId> numbers;
  std::unordered_set<WrittenId> seen;
  while (!stack.empty()) {
    const WrittenId top = stack.back();
    stack.pop_back();
    if (ranges_.count({top, is_upper}) != 0 || !seen.insert(top).second) {
      continue;
    }
    const bool is_number = terms_.kind(top) == WrittenKind::kIte;
    if (is_number) numbers.push_back(top);
    const std::vector<WrittenId> args = terms_.args(top);
    stack.insert(stack.end(), args.begin() + (is_number ? 1 : 0), args.end());
  }
  std::sort(numbers.begin(), numbers.end());
  for (const WrittenId next : numbers) {
    for (const bool upper : {false, true}) {
      WrittenId& known = ranges_[{next, upper}];
      const Term* meaning = terms_.meaning(next);
      if (known != kNotWritten || meaning->kind != Kind::kIte) continue;
      const IteShapes::Range* range = shapes_.range_of(meaning);
      if (range == nullptr) continue;
      const WrittenId limit = terms_.leaf(
          store_.make_number(upper ? range->high : range->low, meaning->sort));
      known = write_comparison(upper ? WrittenKind::kLeq : WrittenKind::kGeq,
                               next, limit);
    }
    for (const bool upper : {false, true}) {
      const WrittenId within = ranges_.at({next, upper});
      if (within == kNotWritten) continue;
      find_cases(next);
      hold_by_cases(within, text_.literal(terms_.arg(next, 0)));
    }
  }
  const auto found = ranges_.find({number, is_upper});
  return found == ranges_.end() ? kNotWritten : found->second;
}

// --- Lifted comparisons ---

void ClauseProver::learn_lifted(WrittenId term) {
  const Term* atom = terms_.meaning(term);
  const CaseSums::Lifting lifting = normaliser_.lifting(atom);
  link_steps(lifting);
  const std::vector<const Term*> rests = link_rests(lifting);
  std::vector<WrittenId> comparisons;
  for (std::size_t k = 0; k < lifting.nodes.size(); ++k) {
    learn_node(lifting, k, rests, comparisons, atom->kind == Kind::kLess);
  }
  std::vector<WrittenId> totals[2];
  for (const auto& [total, ites] : lifting.merged) {
    LinearSum sum;
    sum.monomials = ites;
    const WrittenId left = written(make_sum(store_, sum));
    const WrittenLiteral condition =
        text_.literal(written(ites.front().leaf->arg(0)));
    for (const bool upper : {false, true}) {
      totals[upper ? 1 : 0].push_back(write_comparison(
          upper ? WrittenKind::kLeq : WrittenKind::kGeq, left, written(total)));
      if (nodes_.insert(totals[upper ? 1 : 0].back()).second) {
        hold_by_cases(totals[upper ? 1 : 0].back(), condition);
      }
    }
  }
  const CaseSums::Lifting::Place& root = lifting.root;
  learn_place(term, root, root.is_node ? comparisons[root.node] : kNotWritten,
              0, totals[1], totals[0]);
}

// A node, of which the branches are known, as what it is in both cases.
void ClauseProver::learn_node(const CaseSums::Lifting& lifting,
                              std::size_t number,
                              const std::vector<const Term*>& rests,
                              std::vector<WrittenId>& comparisons,
                              bool strict) {
  const CaseSums::Lifting::Node& node = lifting.nodes[number];
  LinearSum sum = node.place.sum;
  const Term* rest = rests[node.place.position];
  if (rest != nullptr) sum.monomials.push_back({rest, QNumber(1)});
  const WrittenId own = write_comparison(
      strict ? WrittenKind::kLess : WrittenKind::kLeq,
      written(make_sum(store_, sum)), terms_.leaf(store_.make_number(0)));
  comparisons.push_back(own);
  if (!nodes_.insert(own).second) return;
  pending_.push_back(written(node.condition));
  const WrittenLiteral condition = text_.literal(pending_.back());
  for (const std::size_t k : {0U, 1U}) {
    const CaseSums::Lifting::Place& branch = node.branches[k];
    learn_place(own, branch,
                branch.is_node ? comparisons[branch.node] : kNotWritten,
                condition ^ k, {}, {});
  }
  const Term* term = node.place.term;
  if (is_constant(term)) {
    lemmas_.push_back(
        {{positive(own) + (term->kind == Kind::kTrue ? 0 : 1)}, condition});
    return;
  }
  const bool is_new = !is_arithmetic_atom(term) && meanings_.count(term) == 0;
  if (is_new) {
    know(term, positive(own));
    return;
  }
  const WrittenLiteral other = is_arithmetic_atom(term)
                                   ? text_.literal(written(term))
                                   : meanings_.at(term);
  if (other == positive(own)) return;
  lemmas_.push_back({{positive(own) + 1, other}, condition});
  lemmas_.push_back({{positive(own), other ^ 1U}, condition});
}

// That a comparison, when a literal is assumed, is another: that of a node, or
// a place's term. `at_most`, `at_least`: what else may be added to it.
void ClauseProver::learn_place(WrittenId comparison,
                               const CaseSums::Lifting::Place& place,
                               WrittenId other, WrittenLiteral assumed,
                               const std::vector<WrittenId>& at_most,
                               const std::vector<WrittenId>& at_least) {
  const WrittenLiteral own = positive(comparison);
  if (other == kNotWritten && !is_constant(place.term)) {
    other = written(place.term);
    pending_.push_back(other);
  }
  if (other == comparison) return;
  for (const bool forwards : {true, false}) {
    const bool holds = other == kNotWritten && place.term->kind == Kind::kTrue;
    if (other == kNotWritten && holds == forwards) continue;
    Sum sum{{own + (forwards ? 1 : 0)}, {QNumber(1)}};
    if (other != kNotWritten) {
      sum.literals.push_back(positive(other) + (forwards ? 0 : 1));
      sum.factors.emplace_back(1);
    }
    for (const WrittenId total : forwards ? at_least : at_most) {
      sum.literals.push_back(positive(total) + 1);
      sum.factors.emplace_back(1);
    }
    add_sum(std::move(sum), assumed, other == kNotWritten);
  }
}

// The sums of the cases from each on, as numbers by cases; null for none.
std::vector<const Term*> ClauseProver::link_rests(
    const CaseSums::Lifting& lifting) {
  std::vector<const Term*> rests(lifting.cases.size() + 1, nullptr);
  if (!lifting.steps.empty()) return rests;
  Sort sort = Sort::kInt;
  for (std::size_t k = lifting.cases.size(); k-- > 0;) {
    const LinearSum::Monomial& m = lifting.cases[k];
    const Term* branches[2];
    for (const std::size_t b : {0U, 1U}) {
      LinearSum sum;
      lineariser_.linearise(m.leaf->arg(b + 1), sum);
      sum.constant *= m.coefficient;
      for (LinearSum::Monomial& part : sum.monomials) {
        part.coefficient *= m.coefficient;
      }
      if (rests[k + 1] != nullptr) {
        sum.monomials.push_back({rests[k + 1], QNumber(1)});
      }
      branches[b] = make_sum(store_, sum);
      if (m.leaf->sort == Sort::kReal || branches[b]->sort == Sort::kReal) {
        sort = Sort::kReal;
      }
    }
    for (const Term*& branch : branches) {
      if (branch->kind == Kind::kNumber) {
        branch = store_.make_number(branch->number(), sort);
      }
    }
    rests[k] = store_.make_ite(m.leaf->arg(0), branches[0], branches[1]);
    if (rests[k]->kind != Kind::kIte || rests[k] == m.leaf) continue;
    LinearSum sum;
    sum.monomials.push_back(m);
    if (rests[k + 1] != nullptr) {
      sum.monomials.push_back({rests[k + 1], QNumber(1)});
    }
    link(written(rests[k]), written(make_sum(store_, sum)));
  }
  return rests;
}

// Each step is the one before, and its case.
void ClauseProver::link_steps(const CaseSums::Lifting& lifting) {
  const Term* before = nullptr;
  for (const LinearSum::Monomial& m : lifting.root.sum.monomials) {
    if (m.coefficient.sign() > 0) before = m.leaf;
  }
  for (std::size_t k = 0; k < lifting.steps.size(); ++k) {
    LinearSum sum;
    sum.monomials.push_back(lifting.cases[k]);
    if (before != nullptr) sum.monomials.push_back({before, QNumber(1)});
    before = lifting.steps[k];
    if (before->kind == Kind::kIte && before != lifting.cases[k].leaf) {
      link(written(before), written(make_sum(store_, sum)));
    }
  }
}

// --- Sums ---

// Adds to a sum what makes it cancel. False if that was not found.
bool ClauseProver::close(Sum& sum, WrittenLiteral assumed, bool uses_ranges) {
  if (sums_.refutes(sum.literals, sum.factors)) return true;
  auto left = sums_.add_up(sum.literals, sum.factors);
  if (!left) return false;
  std::map<WrittenId, QNumber> equal;
  std::map<WrittenId, QNumber> linked;
  std::vector<WrittenId> open;
  for (const auto& [variable, factor] : *left) open.push_back(variable);
  while (!open.empty()) {
    const WrittenId variable = open.back();
    open.pop_back();
    const QNumber factor = (*left)[variable];
    if (factor.sign() == 0) continue;
    const std::size_t branch = branch_of(variable, assumed);
    const auto known = links_.find(variable);
    if (branch == 0 && known == links_.end()) continue;
    const WrittenSums::Sum* parts = sums_.sum_of(
        branch != 0 ? terms_.arg(variable, branch) : known->second.sum);
    if (parts == nullptr) return false;
    (branch != 0 ? equal : linked)[variable] += factor;
    (*left)[variable] = QNumber(0);
    for (const auto& [part, coefficient] : *parts) {
      QNumber product = coefficient;
      product *= factor;
      (*left)[part] += product;
      open.push_back(part);
    }
  }
  const auto use = [&sum](WrittenId literal, const QNumber& factor) {
    sum.literals.push_back(positive(literal) + 1);
    sum.factors.push_back(factor);
  };
  for (const auto& [number, factor] : equal) {
    if (factor.sign() == 0) continue;
    find_cases(number);
    use(equality_with_branch(number, branch_of(number, assumed)), -factor);
  }
  for (const auto& [number, factor] : linked) {
    if (factor.sign() == 0) continue;
    const Link& link = links_.at(number);
    use(factor.sign() > 0 ? link.at_most : link.at_least, size_of(factor));
  }
  for (const auto& [number, factor] : *left) {
    if (factor.sign() == 0) continue;
    const WrittenId within =
        uses_ranges ? range_of(number, factor.sign() > 0) : kNotWritten;
    if (within == kNotWritten) return false;
    use(within, size_of(factor));
  }
  return sums_.refutes(sum.literals, sum.factors);
}

std::string ClauseProver::arguments_of(const Sum& sum) {
  std::string arguments;
  for (const QNumber& factor : sum.factors) {
    if (!arguments.empty()) arguments += ' ';
    if (factor == QNumber(1)) {
      arguments += '1';
    } else {
      arguments += text_of(factor);
    }
  }
  return arguments;
}

// Makes a tautology of a sum, closed; false if it says nothing.
bool ClauseProver::add_sum(Sum sum, WrittenLiteral assumed, bool uses_ranges) {
  if (!close(sum, assumed, uses_ranges)) return false;
  std::string arguments = arguments_of(sum);
  tautologies_.add(std::move(sum.literals), "la_generic", std::move(arguments));
  return true;
}

// Requires: it is closed.
ProvedClause ClauseProver::write_sum(const Sum& sum) {
  return text_.step(sum.literals, "la_generic", {}, arguments_of(sum));
}

std::string ClauseProver::coefficient_of(WrittenLiteral comparison) {
  return text_of(scale_of(static_cast<WrittenId>(comparison / 2)));
}

// Searches have most of their sums more than once.
const ProvedClause& ClauseProver::prove_sum(
    const std::vector<WrittenLiteral>& clause) {
  sorted_ = clause;
  std::sort(sorted_.begin(), sorted_.end());
  ProvedClause& proved = sums_proved_[sorted_];
  if (proved.step == 0) proved = do_prove_sum(clause);
  return proved;
}

ProvedClause ClauseProver::do_prove_sum(
    const std::vector<WrittenLiteral>& clause) {
  Sum& sum = sum_;  // most of a proof may be these
  sum.literals = clause;
  sum.factors.clear();
  for (const WrittenLiteral literal : clause) {
    sum.factors.push_back(scale_of(static_cast<WrittenId>(literal / 2)));
  }
  if (!close(sum, 0, false)) return prove_rounded(clause);
  ProvedClause proved = write_sum(sum);
  return sum.literals.size() == clause.size() ? std::move(proved)
                                              : tautologies_.reduce(proved);
}

// Bounds between integers that follow over reals are rounded, one step each;
// then they add up.
ProvedClause ClauseProver::prove_rounded(
    const std::vector<WrittenLiteral>& clause) {
  std::vector<DifferenceBound> edges;
  for (const WrittenLiteral literal : clause) {
    const Term* meaning = terms_.meaning(static_cast<WrittenId>(literal / 2));
    if (!is_arithmetic_atom(meaning)) return ProvedClause();
    const AtomNormaliser::NormalForm& normal = normaliser_.normalise(meaning);
    if (normal.term != meaning) return ProvedClause();
    edges.push_back(literal % 2 != 0
                        ? normal.bound
                        : negate_bound(normal.bound, normal.integer));
  }
  const std::vector<RoundedPath> cycle = find_rounded_cycle(edges);
  Sum whole;
  std::vector<ProvedClause> steps;
  for (const RoundedPath& path : cycle) {
    const WrittenId rounded = write_bound(path.bound);
    whole.literals.push_back(positive(rounded) + 1);
    whole.factors.emplace_back(1);
    Sum part{{positive(rounded)}, {QNumber(1)}};
    for (const std::size_t edge : path.edges) {
      const WrittenLiteral literal = clause[edge];
      if (literal == part.literals[0] + 1) continue;  // is that bound
      part.literals.push_back(literal);
      part.factors.push_back(scale_of(static_cast<WrittenId>(literal / 2)));
    }
    if (part.literals.size() == 1) continue;
    if (!close(part, 0, false)) return ProvedClause();
    steps.push_back(tautologies_.reduce(write_sum(part)));
  }
  if (cycle.empty() || !sums_.refutes(whole.literals, whole.factors)) {
    return ProvedClause();
  }
  std::vector<const ProvedClause*> others;
  for (const ProvedClause& step : steps) others.push_back(&step);
  return resolve(write_sum(whole), others);
}

// A negative cycle of bounds between integers, each the sum, rounded down, of
// bounds on the way, between which there are reals alone; empty if there is
// none. See IntegralValues.
std::vector<ClauseProver::RoundedPath> ClauseProver::find_rounded_cycle(
    const std::vector<DifferenceBound>& edges) {
  const auto is_int = [](const Term* leaf) {
    return leaf == nullptr || leaf->sort == Sort::kInt;
  };
  struct Reached {
    la::DNumber length;
    std::size_t edge = 0;
  };
  std::vector<RoundedPath> paths;
  for (const DifferenceBound& start : edges) {
    const Term* source = start.source;
    const bool is_done = std::any_of(
        paths.begin(), paths.end(),
        [source](const auto& path) { return path.bound.source == source; });
    if (!is_int(source) || is_done) continue;
    // Shortest ways, each round one bound longer.
    std::map<const Term*, Reached> reached;
    for (std::size_t round = 0; round < edges.size(); ++round) {
      for (std::size_t k = 0; k < edges.size(); ++k) {
        const DifferenceBound& edge = edges[k];
        la::DNumber length = edge.weight;
        if (edge.source != source) {
          const auto before = reached.find(edge.source);
          if (is_int(edge.source) || before == reached.end()) continue;
          length += before->second.length;
        }
        const auto [place, is_new] = reached.try_emplace(edge.target);
        if (is_new || length < place->second.length) {
          place->second = {length, k};
        }
      }
    }
    for (const auto& [target, way] : reached) {
      if (!is_int(target) || target == source) continue;
      QNumber length = way.length.rational().floor();
      if (way.length.rational().is_integer() && way.length.eps().sign() < 0) {
        length += QNumber(-1);
      }
      RoundedPath path{{source, target, la::DNumber(length, QNumber(0))}, {}};
      for (const Term* at = target; path.edges.size() <= edges.size();) {
        const std::size_t edge = reached.at(at).edge;
        path.edges.push_back(edge);
        at = edges[edge].source;
        if (at == source) break;
      }
      paths.push_back(std::move(path));
    }
  }
  // All start at 0. What is lowered in as many rounds as there are ends has a
  // negative cycle before it.
  std::map<const Term*, std::pair<QNumber, const RoundedPath*>> ends;
  const RoundedPath* last = nullptr;
  for (std::size_t round = 0; round <= paths.size(); ++round) {
    last = nullptr;
    for (const RoundedPath& path : paths) {
      QNumber value = ends[path.bound.source].first;
      value += path.bound.weight.rational();
      auto& end = ends[path.bound.target];
      if (!(value < end.first)) continue;
      end = {value, &path};
      last = &path;
    }
    if (last == nullptr) return {};
  }
  const Term* at = last->bound.source;
  for (std::size_t k = 0; k < paths.size(); ++k) {
    at = ends.at(at).second->bound.source;
  }
  std::vector<RoundedPath> cycle;
  const Term* end = at;
  do {
    const RoundedPath* path = ends.at(at).second;
    cycle.push_back(*path);
    at = path->bound.source;
  } while (at != end);
  return cycle;
}

}  // namespace vorn::solver
