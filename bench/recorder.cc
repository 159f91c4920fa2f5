// SPDX-License-Identifier: MIT
#include "bench/recorder.h"

#include <atomic>
#include <cstddef>
#include <fstream>
#include <utility>
#include <vector>

#include "bench/weights.h"
#include "solver/engine/graph_recorder.h"
#include "solver/engine/recorded_graph.h"
#include "solver/search/literal.h"
#include "solver/search/search.h"
#include "solver/search/theory.h"
#include "vorn/dl/edge.h"
#include "vorn/numbers/d_number.h"
#include "vorn/services/configuration.h"

namespace vorn::bench {
namespace {

using solver::Literal;

/// Difference constraints for a search: each theory variable chooses between
/// two constraints. Passes calls on to a graph that is recorded.
class RecordingTheory : public solver::Theory {
 public:
  explicit RecordingTheory(std::ostream& out)
      : recorder_(out), graph_(&config_, nullptr, nullptr) {
    graph_.set_recorder(&recorder_);
  }

  int tell(int source, int target, int weight) {
    const auto k = static_cast<int>(literal_of_.size());
    graph_.tell_edge(k, dl::Edge(source, target, la::DNumber(weight, 0), k));
    literal_of_.emplace_back();
    return k;
  }
  void push(int k) {
    graph_.push_edge(k);
    active_.push_back(k);
  }
  bool check() { return graph_.check(); }
  bool finish() { return recorder_.finish(); }

  void choose(int variable, int if_true, int if_false) {
    choices_.resize(static_cast<std::size_t>(variable) + 1);
    choices_[static_cast<std::size_t>(variable)] = {if_true, if_false};
    literal_of_[static_cast<std::size_t>(if_true)] = Literal(variable, false);
    literal_of_[static_cast<std::size_t>(if_false)] = Literal(variable, true);
  }
  const std::atomic<bool>& stop() const { return stop_; }

  void assigned(Literal literal) override {
    const std::pair<int, int>& choice =
        choices_[static_cast<std::size_t>(literal.variable())];
    push(literal.is_negated() ? choice.second : choice.first);
    if (++pushes_ >= kMaxPushes) stop_ = true;
  }
  void new_level() override { level_starts_.push_back(active_.size()); }
  void backtrack(int level) override {
    // Level -1 takes back level 0's literals too, but never what was pushed
    // before the search.
    std::size_t kept = base_;
    if (level >= 0) kept = level_starts_[static_cast<std::size_t>(level)];
    level_starts_.resize(static_cast<std::size_t>(level < 0 ? 0 : level));
    for (; active_.size() > kept; active_.pop_back()) {
      graph_.pop_edge(active_.back());
    }
  }
  void retract(Literal /*literal*/) override {
    fail("the recorder's search forgets no variables");
  }
  bool propagate(std::vector<Literal>& /*implied*/,
                 std::vector<Literal>& conflict) override {
    if (check()) return true;
    graph_.get_conflict_set(&conflict_set_);
    for (const int k : conflict_set_) {
      const Literal literal = literal_of_[static_cast<std::size_t>(k)];
      if (literal.is_defined()) conflict.push_back(~literal);
    }
    return false;
  }
  void explain(Literal /*literal*/, std::vector<Literal>& /*reason*/) override {
    fail("the recorder implies no literals");
  }
  bool final_check(std::vector<Literal>& /*conflict*/) override { return true; }
  bool next_lemma(std::vector<Literal>& /*clause*/) override { return false; }

  void set_base() { base_ = active_.size(); }

 private:
  static constexpr int kMaxPushes = 200000;
  int pushes_ = 0;
  std::atomic<bool> stop_{false};
  Configuration::Theory::La config_;
  solver::GraphRecorder recorder_;
  solver::RecordedGraph graph_;
  std::vector<std::pair<int, int>> choices_;  // by variable
  /// By constraint, from 1 on; undefined for given ones.
  std::vector<Literal> literal_of_{Literal()};
  std::vector<int> active_;
  std::size_t base_ = 0;  // of active_, what no search takes back
  std::vector<std::size_t> level_starts_;
  std::vector<int> conflict_set_;
};

struct Operation {
  int machine;
  int duration;
};

}  // namespace

void record_ft10(std::ostream& out) {
  constexpr int kLimit = 929;
  std::ifstream in(VORN_BENCH_EXAMPLES "/jobshop/ft10.txt");
  int jobs = 0;
  int machines = 0;
  if (!(in >> jobs >> machines)) fail("cannot read the job-shop table");
  const int count = jobs * machines;
  std::vector<Operation> operations(static_cast<std::size_t>(count));
  for (Operation& op : operations) {
    if (!(in >> op.machine >> op.duration))
      fail("a table with too few numbers");
  }
  const auto operation = [&](int n) -> const Operation& {
    return operations[static_cast<std::size_t>(n)];
  };

  RecordingTheory theory(out);
  solver::Search search(&theory);
  search.set_stop({&theory.stop()});
  // Node n + 1 is the start of operation n, node 0 time 0. "a ends before b
  // starts" is start(a) - start(b) <= -duration(a).
  const auto before = [&](int a, int b) {
    return theory.tell(b + 1, a + 1, -operation(a).duration);
  };
  std::vector<int> given;
  for (int n = 0; n < count; ++n) {
    if (n % machines == 0) {
      given.push_back(theory.tell(n + 1, 0, 0));
    } else {
      given.push_back(before(n - 1, n));
    }
    if (n % machines == machines - 1) {
      given.push_back(theory.tell(0, n + 1, kLimit - operation(n).duration));
    }
  }
  for (int a = 0; a < count; ++a) {
    for (int b = a + 1; b < count; ++b) {
      if (a / machines == b / machines) continue;
      if (operation(a).machine != operation(b).machine) continue;
      const int a_first = before(a, b);
      const int b_first = before(b, a);
      theory.choose(search.new_variable(true), a_first, b_first);
    }
  }
  for (const int k : given) theory.push(k);
  if (!theory.check()) fail("a job alone is too long for the limit");
  theory.set_base();
  search.solve();
  if (!theory.finish()) fail("cannot write the trace");
}

}  // namespace vorn::bench
