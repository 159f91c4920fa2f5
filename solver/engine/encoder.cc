// SPDX-License-Identifier: MIT
#include "solver/engine/encoder.h"

#include <cassert>
#include <utility>

namespace vorn::solver {

Encoder::Encoder(TermStore& store, AtomNormaliser& normaliser,
                 DifferenceTheory& theory, Search& search)
    : store_(store),
      normaliser_(normaliser),
      theory_(theory),
      search_(search),
      true_(search.new_variable(), false) {
  search_.add_clause({true_});
}

Literal Encoder::literal_of(const Term* term) {
  const Literal literal = encode(term);
  finish_definitions();
  return literal;
}

void Encoder::assert_term(const Term* term, std::optional<Literal> guard) {
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
    if (is_arithmetic_atom(top)) {
      const Term* normal = normaliser_.normalise(top);
      assert(normal != nullptr);
      if (normal != top) {
        pending.push_back(normal);
        continue;
      }
    }
    assert_one(top, guard);
  }
  finish_definitions();
}

// One conjunct as one clause: the disjuncts of nested disjunctions,
// implications and negated conjunctions.
void Encoder::assert_one(const Term* term, std::optional<Literal> guard) {
  std::vector<Literal> clause;
  if (guard) clause.push_back(*guard);
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
  add(clause);
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
      set(term, Literal(search_.new_variable(), false));
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
      set(term, encode_xor(arg(0), arg(1)));
      break;
    case Kind::kEqual:
      set(term, ~encode_xor(arg(0), arg(1)));
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
  const Term* normal = normaliser_.normalise(atom);
  assert(normal != nullptr);
  if (normal != atom) {
    if (needs(normal)) return false;
    set(atom, known(normal));
    return true;
  }
  DifferenceBound bound;
  bool integer = false;
  [[maybe_unused]] const BoundOutcome outcome =
      normaliser_.read_bound(atom, bound, integer);
  assert(outcome == BoundOutcome::kBound);
  define_ite_variable(bound.source);
  define_ite_variable(bound.target);
  set(atom, theory_.literal_of(bound, integer));
  std::vector<Literal> clause;
  while (theory_.take_clause(clause)) add(clause);
  return true;
}

// x = (and ...), (or ...), (=> ...): one clause for each argument, and one for
// all of them. A conjunction is the negation of a disjunction of negations.
void Encoder::encode_junction(const Term* term) {
  const bool conjunction = term->kind == Kind::kAnd;
  const Literal name(search_.new_variable(), false);
  const Literal disjunction = conjunction ? ~name : name;
  std::vector<Literal> all{~disjunction};
  for (std::size_t k = 0; k < term->num_args; ++k) {
    const bool premise = term->kind == Kind::kImplies && k == 0;
    const Literal literal = known(term->arg(k));
    const Literal disjunct = conjunction || premise ? ~literal : literal;
    add({disjunction, ~disjunct});
    all.push_back(disjunct);
  }
  add(all);
  set(term, name);
}

Literal Encoder::encode_xor(Literal a, Literal b) {
  const Literal name(search_.new_variable(), false);
  add({~name, a, b});
  add({~name, ~a, ~b});
  add({name, ~a, b});
  add({name, a, ~b});
  return name;
}

void Encoder::encode_ite(const Term* term) {
  const Literal c = known(term->arg(0));
  const Literal a = known(term->arg(1));
  const Literal b = known(term->arg(2));
  const Literal name(search_.new_variable(), false);
  add({~c, ~a, name});
  add({~c, a, ~name});
  add({c, ~b, name});
  add({c, b, ~name});
  // Implied, but lets equal branches propagate before the condition is known.
  add({~a, ~b, name});
  add({a, b, ~name});
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
    definitions_.push_back(
        store_.make_implies(guard, store_.make_leq(leaf, branch)));
    definitions_.push_back(
        store_.make_implies(guard, store_.make_leq(branch, leaf)));
  }
}

void Encoder::finish_definitions() {
  while (!definitions_.empty()) {
    const Term* definition = definitions_.back();
    definitions_.pop_back();
    assert_one(definition, std::nullopt);
  }
}

void Encoder::add(const std::vector<Literal>& clause) {
  search_.add_clause(clause);
}

std::optional<Literal> Encoder::find(const Term* term) const {
  const auto found = literals_.find(term);
  if (found == literals_.end()) return std::nullopt;
  return found->second;
}

void Encoder::shrink(std::size_t count) {
  while (encoded_.size() > count) {
    literals_.erase(encoded_.back());
    named_ites_.erase(encoded_.back());
    encoded_.pop_back();
  }
}

}  // namespace vorn::solver
