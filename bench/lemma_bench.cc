// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/benchmarks.h"
#include "bench/contest.h"
#include "bench/graphs.h"
#include "bench/trace.h"
#include "bench/workloads.h"
#include "vorn/services/linear_term_mapper.h"
#include "vorn/services/term.h"
#include "vorn/services/term_manager.h"

// The lemma search on long cycles that share most of their edges, against the
// same conflicts without lemmas. The host's terms are as cheap as shared terms
// can be, but their making is part of the cost.

namespace vorn::bench {
namespace {

enum class TermKind : std::uint64_t { kLeaf, kNumber, kPlus, kLeq, kNot, kOr };

class Terms : public TermManager {
 public:
  const Term_* make_leaf() {
    return &terms_.emplace_back(Term_{terms_.size()});
  }
  const Term_* make_number(const QNumber& q) override {
    const Term_*& term = numbers_[q];
    if (term == nullptr) term = make_leaf();
    return term;
  }
  const Term_* make_plus(const Term_* a, const Term_* b) override {
    return make(TermKind::kPlus, a, b);
  }
  const Term_* make_leq(const Term_* a, const Term_* b) override {
    return make(TermKind::kLeq, a, b);
  }
  const Term_* make_not(const Term_* t) override {
    return make(TermKind::kNot, t, t);
  }
  const Term_* make_or(const Term_* a, const Term_* b) override {
    return make(TermKind::kOr, a, b);
  }

 private:
  const Term_* make(TermKind kind, const Term_* a, const Term_* b) {
    // Ids stay below 2^30 by far.
    const std::uint64_t key =
        (static_cast<std::uint64_t>(kind) << 60U) | (a->id << 30U) | b->id;
    const Term_*& term = shared_[key];
    if (term == nullptr) term = make_leaf();
    return term;
  }

  std::deque<Term_> terms_;
  std::unordered_map<QNumber, const Term_*> numbers_;
  std::unordered_map<std::uint64_t, const Term_*> shared_;
};

class Mapper : public la::LinearTermMapper {
 public:
  Mapper(const Trace& trace, Terms& terms) {
    for (int n = 0; n < trace.num_nodes; ++n) {
      variables_.push_back(terms.make_leaf());
    }
    for (std::size_t k = 0; k <= trace.edges.size(); ++k) {
      literals_.push_back(terms.make_leaf());
    }
  }
  const Term_* term(int var) const override {
    return variables_[static_cast<std::size_t>(var)];
  }
  const Term_* constraint_to_lit(int constraint) override {
    return literals_[static_cast<std::size_t>(constraint)];
  }

 private:
  std::vector<const Term_*> variables_;
  std::vector<const Term_*> literals_;
};

class LemmaGraph {
 public:
  LemmaGraph(const Trace& trace, int kinds)
      : mapper_(trace, terms_), graph_(&config_, &mapper_, &terms_) {
    config_.dl_tlemma_kinds = kinds;
    int k = 0;
    for (const TraceEdge& edge : trace.edges) {
      ++k;
      graph_.tell_edge(
          k, dl::Edge(edge.source, edge.target, to_d_number(edge.weight), k));
    }
  }
  void push(int k) { graph_.push_edge(k); }
  void pop(int k) { graph_.pop_edge(k); }
  std::size_t check() {
    if (graph_.check(true)) return 0;
    for (; graph_.has_lemmas(); ++lemmas_) graph_.get_next_lemma();
    graph_.get_conflict_set(&conflict_);
    return conflict_.size();
  }
  std::size_t lemmas() const { return lemmas_; }
  void guard_walks() { graph_.guard_lemma_walks(true); }
  std::size_t endless_walks() const { return graph_.num_endless_walks(); }

 private:
  Terms terms_;
  Mapper mapper_;
  Configuration::Theory::La config_;
  dl::Graph graph_;
  std::vector<int> conflict_;
  std::size_t lemmas_ = 0;
};

void run(benchmark::State& state, const std::string& name, int length) {
  const Trace trace = overlapping_cycles(length, 10);
  LemmaGraph guarded(trace, 3);
  guarded.guard_walks();
  make_calls(guarded, trace.prepare);
  make_calls(guarded, trace.measured);
  make_calls(guarded, trace.measured);
  if (guarded.endless_walks() != 0) fail("an endless search for lemmas");
  LemmaGraph with(trace, 3);
  LemmaGraph without(trace, 0);
  make_calls(with, trace.prepare);
  make_calls(without, trace.prepare);
  std::vector<std::size_t> found_with;
  std::vector<std::size_t> found_without;
  make_calls(with, trace.measured, &found_with);
  make_calls(without, trace.measured, &found_without);
  if (found_with != found_without) fail("lemmas change the conflicts");
  if (with.lemmas() == 0) fail("no lemmas");
  const auto timed = [&trace](LemmaGraph& graph) {
    return seconds_of(
        [&] { benchmark::DoNotOptimize(make_calls(graph, trace.measured)); });
  };
  const double edges = 20.0 * length;
  hold_contest(
      state, name,
      {{"Vorn", [&] { return timed(with); }, Target::none()},
       {"without lemmas", [&] { return timed(without); }, Target::none()}},
      edges, "edge of a cycle");
}

}  // namespace

void add_lemma_benchmarks() {
  for (const int length : {1000, 10000, 100000}) {
    add_benchmark("bm_graph_lemmas/" + std::to_string(length),
                  [length](benchmark::State& state, const std::string& name) {
                    run(state, name, length);
                  });
  }
}

}  // namespace vorn::bench
