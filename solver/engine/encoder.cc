// SPDX-License-Identifier: MIT
#include "solver/engine/encoder.h"

#include <cassert>
#include <cstdint>
#include <utility>

namespace vorn::solver {
namespace {

ClauseOrigin origin_of(ClauseKind kind, const Term* term) {
  return {kind, static_cast<std::uint32_t>(term->id)};
}

}  // namespace

Encoder::Encoder(TermStore& store, AtomNormaliser& normaliser, Problem& problem)
    : store_(store),
      normaliser_(normaliser),
      problem_(problem),
      true_(problem.new_variable(), false) {
  problem_.note_meaning(true_, store_.make_bool(true));
  problem_.add_clause({true_}, {ClauseKind::kConstant});
}

Literal Encoder::literal_of(const Term* term) {
  const Literal literal = encode(term);
  finish_definitions();
  return literal;
}

void Encoder::assert_term(const Term* term, std::size_t position) {
  const ClauseOrigin origin{ClauseKind::kAsserted,
                            static_cast<std::uint32_t>(position)};
  std::vector<const Term*> pending{term};
  while (!pending.empty()) {
    const Term* top = pending.back();
    pending.pop_back();
    if (top->kind == Kind::kAnd) {
      // Last first: conjuncts come off the stack in the order they stand in.
      for (std::size_t k = top->num_args; k > 0; --k) {
        pending.push_back(top->arg(k - 1));
      }
      continue;
    }
    if (problem_.takes_facts() && assert_fact(top, origin)) continue;
    if (is_arithmetic_atom(top)) {
      const Term* normal = normaliser_.normalise(top).term;
      assert(normal != nullptr);
      if (normal != top) {
        pending.push_back(normal);
        continue;
      }
    }
    std::vector<Literal> clause;
    if (!problem_.selectors().empty()) {
      clause.push_back(~problem_.selectors().back());
    }
    add_disjunction(top, origin, clause);
  }
  finish_definitions();
}

// A bound or the negation of one that has no literal. False if it is none.
bool Encoder::assert_fact(const Term* term, ClauseOrigin origin) {
  const bool is_negated = term->kind == Kind::kNot;
  const Term* atom = is_negated ? term->arg(0) : term;
  if (!is_arithmetic_atom(atom) || literals_.count(atom) != 0) return false;
  DifferenceBound bound;
  bool integer = false;
  if (!normaliser_.read_plain(atom, bound, integer)) {
    const AtomNormaliser::NormalForm& normal = normaliser_.normalise(atom);
    if (normal.term != atom) return false;
    bound = normal.bound;
    integer = normal.integer;
    define_ite_variable(bound.source);
    define_ite_variable(bound.target);
  }
  problem_.add_fact(is_negated ? negate_bound(bound, integer) : bound, integer,
                    true_, origin);
  return true;
}

// One conjunct as one clause, after what stands in `clause` already: the
// disjuncts of nested disjunctions, implications and negated conjunctions.
void Encoder::add_disjunction(const Term* term, ClauseOrigin origin,
                              std::vector<Literal>& clause) {
  std::vector<std::pair<const Term*, bool>> pending{{term, false}};
  while (!pending.empty()) {
    const auto [top, negated] = pending.back();
    pending.pop_back();
    const bool splits = top->kind == (negated ? Kind::kAnd : Kind::kOr);
    if (top->kind == Kind::kNot) {
      pending.emplace_back(top->arg(0), !negated);
    } else if (splits) {
      for (std::size_t k = 0; k < top->num_args; ++k) {
        pending.emplace_back(top->arg(k), negated);
      }
    } else if (top->kind == Kind::kImplies && !negated) {
      pending.emplace_back(top->arg(0), true);
      pending.emplace_back(top->arg(1), false);
    } else {
      const Literal literal = encode(top);
      clause.push_back(negated ? ~literal : literal);
    }
  }
  problem_.add_clause(clause, origin);
}

// Post-order over the subterms without a literal, on a stack of our own.
Literal Encoder::encode(const Term* term) {
  if (needs(term)) {
    while (!stack_.empty()) {
      const Term* top = stack_.back();
      if (literals_.count(top) != 0 || encode_root(top)) stack_.pop_back();
    }
  }
  return known(term);
}

bool Encoder::needs(const Term* term) {
  if (literals_.count(term) != 0) return false;
  stack_.push_back(term);
  return true;
}

void Encoder::set(const Term* term, Literal literal) {
  literals_.emplace(term, literal);
  encoded_.push_back(term);
  problem_.note_meaning(literal, term);
}

// Encodes a term whose arguments have literals. False if some had none; these
// are on the stack now.
bool Encoder::encode_root(const Term* term) {
  if (is_arithmetic_atom(term)) return encode_atom(term);
  bool ready = true;
  for (std::size_t k = 0; k < term->num_args; ++k) {
    if (needs(term->arg(k))) ready = false;
  }
  if (!ready) return false;
  const auto arg = [this, term](std::size_t k) { return known(term->arg(k)); };
  switch (term->kind) {
    case Kind::kTrue:
      set(term, true_);
      break;
    case Kind::kFalse:
      set(term, ~true_);
      break;
    case Kind::kSymbol:
      set(term, Literal(problem_.new_variable(), false));
      break;
    case Kind::kNot:
      set(term, ~arg(0));
      break;
    case Kind::kAnd:
    case Kind::kOr:
    case Kind::kImplies:
      encode_junction(term);
      break;
    case Kind::kXor:
    case Kind::kDistinct:
      // More than two different Booleans do not exist; the store folds those.
      assert(term->num_args == 2);
      set(term, encode_xor(term, arg(0), arg(1)));
      break;
    case Kind::kEqual:
      set(term, ~encode_xor(term, arg(0), arg(1)));
      break;
    case Kind::kIte:
      encode_ite(term);
      break;
    default:
      assert(false && "not a Boolean term");
      break;
  }
  return true;
}

bool Encoder::encode_atom(const Term* atom) {
  const AtomNormaliser::NormalForm& normal = normaliser_.normalise(atom);
  assert(normal.term != nullptr);
  if (normal.term != atom) {
    if (needs(normal.term)) return false;
    set(atom, known(normal.term));
    return true;
  }
  define_ite_variable(normal.bound.source);
  define_ite_variable(normal.bound.target);
  set(atom, problem_.literal_of(normal.bound, normal.integer));
  return true;
}

// x = (and ...), (or ...), (=> ...): one clause for each argument, and one for
// all of them. A conjunction is the negation of a disjunction of negations.
void Encoder::encode_junction(const Term* term) {
  const bool conjunction = term->kind == Kind::kAnd;
  const Literal name(problem_.new_variable(), false);
  const Literal disjunction = conjunction ? ~name : name;
  std::vector<Literal> all{~disjunction};
  for (std::size_t k = 0; k < term->num_args; ++k) {
    const bool premise = term->kind == Kind::kImplies && k == 0;
    const Literal literal = known(term->arg(k));
    const Literal disjunct = conjunction || premise ? ~literal : literal;
    define(ClauseKind::kArgument, term, {disjunction, ~disjunct});
    all.push_back(disjunct);
  }
  define(ClauseKind::kArguments, term, all);
  set(term, name);
}

Literal Encoder::encode_xor(const Term* term, Literal a, Literal b) {
  const Literal name(problem_.new_variable(), false);
  define(ClauseKind::kXor, term, {~name, a, b});
  define(ClauseKind::kXor, term, {~name, ~a, ~b});
  define(ClauseKind::kXor, term, {name, ~a, b});
  define(ClauseKind::kXor, term, {name, a, ~b});
  return name;
}

void Encoder::encode_ite(const Term* term) {
  const Literal c = known(term->arg(0));
  const Literal a = known(term->arg(1));
  const Literal b = known(term->arg(2));
  const Literal name(problem_.new_variable(), false);
  define(ClauseKind::kIte, term, {~c, ~a, name});
  define(ClauseKind::kIte, term, {~c, a, ~name});
  define(ClauseKind::kIte, term, {c, ~b, name});
  define(ClauseKind::kIte, term, {c, b, ~name});
  // Implied, but lets equal branches propagate before the condition is known.
  define(ClauseKind::kBranches, term, {~a, ~b, name});
  define(ClauseKind::kBranches, term, {a, b, ~name});
  set(term, name);
}

// An arithmetic ite that stands for a variable: condition implies that it
// equals its first branch, and so on.
void Encoder::define_ite_variable(const Term* leaf) {
  if (leaf == nullptr || leaf->kind != Kind::kIte) return;
  if (!named_ites_.insert(leaf).second) return;
  encoded_.push_back(leaf);
  const Term* condition = leaf->arg(0);
  const Term* otherwise = store_.make_not(condition);
  for (std::size_t k = 1; k <= 2; ++k) {
    const Term* branch = leaf->arg(k);
    const Term* guard = k == 1 ? condition : otherwise;
    definitions_.emplace_back(
        leaf, store_.make_implies(guard, store_.make_leq(leaf, branch)));
    definitions_.emplace_back(
        leaf, store_.make_implies(guard, store_.make_leq(branch, leaf)));
  }
}

void Encoder::finish_definitions() {
  while (!definitions_.empty()) {
    const auto [leaf, definition] = definitions_.back();
    definitions_.pop_back();
    std::vector<Literal> clause;
    add_disjunction(definition, origin_of(ClauseKind::kNamedIte, leaf), clause);
  }
}

void Encoder::define(ClauseKind kind, const Term* term,
                     const std::vector<Literal>& clause) {
  problem_.add_clause(clause, origin_of(kind, term));
}

std::optional<Literal> Encoder::find(const Term* term) const {
  const auto found = literals_.find(term);
  if (found == literals_.end()) return std::nullopt;
  return found->second;
}

void Encoder::rollback(std::size_t mark) {
  while (encoded_.size() > mark) {
    literals_.erase(encoded_.back());
    named_ites_.erase(encoded_.back());
    encoded_.pop_back();
  }
}

}  // namespace vorn::solver
