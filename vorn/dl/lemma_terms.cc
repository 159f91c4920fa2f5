// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "vorn/dl/graph.h"

// Lemmas in the host's terms: "these edges hold" implies "this bound holds", as
// the clause  not l1 or ... or not ln or bound.
//
// The host's term manager shares terms, so the same premises and bound give the
// same clause pointer, which is what duplicate filtering compares. The order in
// which terms are made is part of the behaviour: a host's term ids depend on
// it.

namespace vorn::dl {

Graph::Lemma Graph::get_next_lemma() {
  Lemma lemma = std::move(lemmas_.front());
  lemmas_.pop_front();
  return lemma;
}

const Term_* Graph::node_term(int node) {
  return node == 0 ? mgr_->make_number(QNumber()) : mapper_->term(node);
}

// y - x <= c, strict when c has an eps coefficient of either sign. For a
// positive one that states more than c does; a host registers none.
const Term_* Graph::do_make_edge_term(int x, int y, const la::DNumber& c) {
  const Term_* tx = node_term(x);
  const Term_* ty = node_term(y);
  const Term_* tc = mgr_->make_number(c.rational());
  if (c.eps().sign() == 0) return mgr_->make_leq(ty, mgr_->make_plus(tx, tc));
  return mgr_->make_not(mgr_->make_leq(mgr_->make_plus(tx, tc), ty));
}

// The negation of the literal of an edge's constraint. The edge's parity does
// not matter: both edges of a pair stand for the pair's one literal.
const Term_* Graph::negated_literal(int edge) {
  constexpr std::uintptr_t kNegated = 1;
  const auto literal =
      reinterpret_cast<std::uintptr_t>(mapper_->constraint_to_lit(edge / 2));
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the sign lives in the pointer.
  const auto* term = reinterpret_cast<const Term_*>(literal & ~kNegated);
  if ((literal & kNegated) != 0) term = mgr_->make_not(term);
  return mgr_->make_not(term);
}

const Term_* Graph::do_make_not_and_constraints(const std::vector<int>& edges) {
  const Term_* clause = nullptr;
  for (const int edge : edges) {
    const Term_* negated = negated_literal(edge);
    clause = clause == nullptr ? negated : mgr_->make_or(clause, negated);
  }
  return clause;
}

void Graph::queue_lemma(const Term_* clause, const std::vector<int>& premises,
                        const Term_* implied, std::size_t& learnt,
                        std::size_t& duplicates) {
  std::vector<const Term_*> disjuncts;
  disjuncts.reserve(premises.size() + 1);
  for (const int edge : premises) disjuncts.push_back(negated_literal(edge));
  disjuncts.push_back(implied);
  const bool filter = config_->dl_dedup_tlemmas;
  if (filter && learnt_lemmas_.find(clause).node != nullptr) {
    ++duplicates;
    return;
  }
  lemmas_.emplace_back(clause, std::move(disjuncts));
  ++learnt;
  if (!filter) return;
  std::size_t index = 0;
  LearntLemmas::Bucket* node = nullptr;
  learnt_lemmas_.do_insert({clause, nullptr}, &index, &node);
  node->value.second = clause;
}

void Graph::log_interpolant(const char* text, int x, int y,
                            const la::DNumber& c) {
  if (logger_ == nullptr) return;
  (*logger_)("DL") << loglevel{static_cast<int>(loglevel_)} << "DL(graph) - "
                   << text << x << " -[" << c.to_str() << "]-> x" << y
                   << endlog;
}

// Both lists of premises imply the bound. Requires: neither is empty.
void Graph::do_learn_short_interpolant_lemmas(
    int x, int y, const la::DNumber& c, const std::vector<int>& premises_a,
    const std::vector<int>& premises_b) {
  log_interpolant("found short interpolant: x", x, y, c);
  const Term_* implied = do_make_edge_term(x, y, c);
  const Term_* not_a = do_make_not_and_constraints(premises_a);
  const Term_* not_b = do_make_not_and_constraints(premises_b);
  const Term_* clause_a = mgr_->make_or(not_a, implied);
  const Term_* clause_b = mgr_->make_or(not_b, implied);
  queue_lemma(clause_a, premises_a, implied, num_short_tlemmas_,
              num_dup_short_tlemmas_);
  queue_lemma(clause_b, premises_b, implied, num_short_tlemmas_,
              num_dup_short_tlemmas_);
}

// One premise implies nothing that its own literal does not say, so a run of
// one edge teaches nothing.
void Graph::do_learn_long_interpolant_lemmas(int x, int y, const la::DNumber& c,
                                             const std::vector<int>& premises) {
  if (premises.size() < 2) return;
  log_interpolant("found long interpolant: x", x, y, c);
  const Term_* implied = do_make_edge_term(x, y, c);
  const Term_* not_all = do_make_not_and_constraints(premises);
  const Term_* clause = mgr_->make_or(not_all, implied);
  queue_lemma(clause, premises, implied, num_long_tlemmas_,
              num_dup_long_tlemmas_);
}

}  // namespace vorn::dl
