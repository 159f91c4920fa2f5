// SPDX-License-Identifier: MIT
#include "tests/model/runner.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "tests/model/closure_follower.h"
#include "tests/model/conversions.h"
#include "tests/model/graph_model.h"
#include "tests/model/text_terms.h"
#include "vorn/containers/var_map.h"
#include "vorn/dl/graph.h"
#include "vorn/numbers/d_number.h"
#include "vorn/services/configuration.h"
#include "vorn/services/logger.h"

// Everything that the graph answers is compared as text, so that the two sides
// share no container.

namespace vorn::model {

namespace {

std::string list_text(const std::vector<int>& list) {
  std::string text;
  for (int value : list) {
    text += std::to_string(value) + " ";
  }
  return text;
}

std::string rows_text(const GraphModel::Rows& rows) {
  std::string text;
  for (const auto& [key, value] : rows) {
    text += key + "=" + value + "\n";
  }
  return text;
}

std::string lemma_text(const Lemma& lemma) {
  std::string text = lemma.clause;
  for (const std::string& disjunct : lemma.disjuncts) {
    text += "\n  " + disjunct;
  }
  return text;
}

std::string log_text(const std::vector<std::string>& messages) {
  std::string text;
  for (const std::string& message : messages) {
    text += message + "\n";
  }
  return text;
}

std::string truth(bool value) {
  return value ? "true" : "false";
}

class SideBySide {
 public:
  SideBySide() : mapper_(&terms_), graph_(&config_, &mapper_, &terms_) {
    configure(Settings());
  }

  RunResult run(const Trace& for_graph, const Trace& for_model);

 private:
  void make(const Call& on_graph, const Call& on_model);
  void configure(const Settings& settings);
  void set_logger(int graph_verbosity, int model_verbosity);
  void drain(std::size_t from_graph, std::size_t from_model);
  void follow(const Call& on_graph, const Call& on_model,
              const std::vector<int>& pending);
  void observe_results();
  void observe_state();
  std::size_t observation_interval() const;
  void observe_dump();
  void observe_statistics();
  void observe_log();
  void observe_table();
  void probe(const GraphModel::Potential& potential);
  void probe_potentials();
  void expect(const char* what, const std::string& graph,
              const std::string& model);
  void expect(const char* what, bool graph, bool model) {
    expect(what, truth(graph), truth(model));
  }

  Configuration::Theory::La config_;
  TextTermManager terms_;
  TextTermMapper mapper_;
  std::ostringstream log_;
  std::unique_ptr<Logger> logger_;
  dl::Graph graph_;
  GraphModel model_;
  ClosureFollower follower_;
  std::vector<int> conflict_set_;
  std::size_t calls_ = 0;
  std::string difference_;
  std::size_t lemmas_ = 0;
};

void SideBySide::expect(const char* what, const std::string& graph,
                        const std::string& model) {
  if (graph != model && difference_.empty()) {
    difference_ = std::string(what) + "\n--- graph:\n" + graph +
                  "\n--- model:\n" + model + "\n";
  }
}

void SideBySide::configure(const Settings& settings) {
  config_.dl_tlemma_kinds = settings.tlemma_kinds;
  config_.dl_tlemma_min_overlap = settings.tlemma_min_overlap;
  config_.dl_dedup_tlemmas = settings.dedup_tlemmas;
}

void SideBySide::set_logger(int graph_verbosity, int model_verbosity) {
  if (graph_verbosity < 0) {
    graph_.set_logger(nullptr);
    logger_.reset();
  } else {
    auto logger = std::make_unique<Logger>(log_, graph_verbosity);
    graph_.set_logger(logger.get());
    logger_ = std::move(logger);
  }
  // The graph's messages have level 2.
  model_.set_logging(model_verbosity >= 2);
}

void SideBySide::drain(std::size_t from_graph, std::size_t from_model) {
  std::string graph;
  for (; from_graph > 0 && graph_.has_lemmas(); --from_graph) {
    const auto [clause, disjuncts] = graph_.get_next_lemma();
    Lemma lemma;
    lemma.clause = TextTermManager::text_of(clause);
    for (const Term_* disjunct : disjuncts) {
      lemma.disjuncts.push_back(TextTermManager::text_of(disjunct));
    }
    graph += lemma_text(lemma) + "\n";
  }
  std::string model;
  for (; from_model > 0 && model_.has_lemmas(); --from_model) {
    model += lemma_text(model_.get_next_lemma()) + "\n";
    ++lemmas_;
  }
  expect("get_next_lemma", graph, model);
}

void SideBySide::make(const Call& on_graph, const Call& on_model) {
  assert(on_graph.kind == on_model.kind);
  switch (on_graph.kind) {
    case CallKind::kTell:
      expect("tell_edge",
             graph_.tell_edge(on_graph.constraint, to_edge(on_graph.first)),
             model_.tell_edge(on_model.constraint, on_model.first));
      break;
    case CallKind::kTellBi:
      expect("tell_bi_edge",
             graph_.tell_bi_edge(on_graph.constraint, to_edge(on_graph.first),
                                 to_edge(on_graph.second)),
             model_.tell_bi_edge(on_model.constraint, on_model.first,
                                 on_model.second));
      break;
    case CallKind::kPush:
      expect("push_edge", graph_.push_edge(on_graph.constraint),
             model_.push_edge(on_model.constraint));
      break;
    case CallKind::kCheck:
      // The flag has no meaning, so it varies.
      expect("check", graph_.check(calls_ % 2 == 0), model_.check());
      break;
    case CallKind::kPop:
      expect("pop_edge", graph_.pop_edge(on_graph.constraint),
             model_.pop_edge(on_model.constraint));
      break;
    case CallKind::kRetract:
      expect("retract_edge", graph_.retract_edge(on_graph.constraint),
             model_.retract_edge(on_model.constraint));
      break;
    case CallKind::kReset:
      graph_.reset(on_graph.flag);
      model_.reset(on_model.flag);
      break;
    case CallKind::kConfigure:
      configure(on_graph.settings);
      model_.set_settings(on_model.settings);
      break;
    case CallKind::kDrain:
      drain(static_cast<std::size_t>(std::max(on_graph.count, 0)),
            static_cast<std::size_t>(std::max(on_model.count, 0)));
      break;
    case CallKind::kDumpConflicts:
      graph_.dump_conflict_sets();
      model_.dump_conflict_sets();
      break;
    case CallKind::kDumpList: {
      std::ostringstream out;
      graph_.dump_edge_list(on_graph.ids, out, on_graph.flag);
      expect("dump_edge_list", out.str(),
             model_.dump_edge_list(on_model.ids, on_model.flag));
      break;
    }
    case CallKind::kLogger:
      set_logger(on_graph.count, on_model.count);
      break;
  }
}

/// Makes the call on the closures, too. `pending` is what was pending before
/// it. Requires: it was made on the model.
void SideBySide::follow(const Call& on_graph, const Call& on_model,
                        const std::vector<int>& pending) {
  switch (on_graph.kind) {
    case CallKind::kTell:
    case CallKind::kTellBi:
      follower_.tell(2 * on_graph.constraint, on_graph.first, on_model.first);
      if (on_graph.kind == CallKind::kTell) break;
      follower_.tell(2 * on_graph.constraint + 1, on_graph.second,
                     on_model.second);
      break;
    case CallKind::kCheck:
      follower_.check(pending, pending.size() - model_.pending().size());
      break;
    case CallKind::kPop:
      follower_.pop(on_graph.constraint);
      break;
    case CallKind::kRetract:
      follower_.retract(on_graph.constraint);
      break;
    case CallKind::kReset:
      follower_.reset();
      break;
    default:
      return;
  }
  follower_.observe(calls_);
}

void SideBySide::observe_dump() {
  std::ostringstream out;
  graph_.dump_debug_status(out);
  expect("dump_debug_status", out.str(), model_.dump_debug_status());
}

void SideBySide::observe_statistics() {
  GraphModel::Rows rows = {{"kept", "in front"}};
  graph_.get_stats(rows);
  GraphModel::Rows expected = model_.get_stats();
  expected.insert(expected.begin(), {"kept", "in front"});
  expect("get_stats", rows_text(rows), rows_text(expected));
  std::ostringstream out;
  graph_.print_stats(out);
  expect("print_stats", out.str(), model_.print_stats());
}

void SideBySide::observe_log() {
  expect("log", log_.str(), log_text(model_.take_log()));
  log_.str("");
}

void SideBySide::observe_table() {
  const int node = static_cast<int>(calls_ % 32);
  expect("var_is_known", graph_.var_is_known(node), model_.var_is_known(node));
  const std::vector<int> ids = model_.registered_edges();
  if (!ids.empty()) {
    const int id = ids[calls_ % ids.size()];
    expect("get_edge", graph_.get_edge(id).to_str(),
           edge_text(model_.get_edge(id)));
  }
}

void SideBySide::probe(const GraphModel::Potential& potential) {
  la::VarMap<la::DNumber, true, true> graph_potential;
  for (const auto& [node, value] : potential) {
    graph_potential[node] = to_d_number(value);
  }
  GraphModel::Potential model_potential = potential;
  expect("has_negative_cycle", graph_.has_negative_cycle(graph_potential),
         model_.has_negative_cycle(model_potential));
  std::string graph_keys;
  const int past =
      model_potential.empty() ? 0 : model_potential.rbegin()->first + 1;
  for (int node = 0; node <= past; ++node) {
    if (graph_potential.find(node) != graph_potential.end()) {
      graph_keys += std::to_string(node) + " ";
    }
  }
  std::string model_keys;
  for (const auto& entry : model_potential) {
    model_keys += std::to_string(entry.first) + " ";
  }
  expect("nodes read by has_negative_cycle", graph_keys, model_keys);
}

/// One of: no potential at all, the committed one, that one with a node
/// lowered. In turn, since answers to all three cost more than the call.
void SideBySide::probe_potentials() {
  if (calls_ % 3 == 0) {
    probe(GraphModel::Potential());
    return;
  }
  GraphModel::Potential own = model_.potentials();
  if (calls_ % 3 == 1 || own.empty()) {
    probe(own);
    return;
  }
  auto lowered = own.begin();
  std::advance(lowered, static_cast<std::ptrdiff_t>(calls_ % own.size()));
  mpq_class& part =
      calls_ % 4 == 0 ? lowered->second.eps : lowered->second.rational;
  part -= mpq_class(3, 2);
  probe(own);
}

void SideBySide::observe_results() {
  expect("has_lemmas", graph_.has_lemmas(), model_.has_lemmas());
  expect("result of get_conflict_set", graph_.get_conflict_set(&conflict_set_),
         true);
  expect("get_conflict_proof is null", graph_.get_conflict_proof() == nullptr,
         true);
  expect("get_conflict_set", list_text(conflict_set_),
         list_text(model_.get_conflict_set()));
}

void SideBySide::observe_state() {
  observe_dump();
  observe_statistics();
  observe_log();
  observe_table();
  probe_potentials();
}

/// 1 for up to 191 edges; then it grows faster than the cost of a look at the
/// whole state.
std::size_t SideBySide::observation_interval() const {
  const std::size_t share = model_.num_edges() / 192;
  return 1 + share * share;
}

RunResult SideBySide::run(const Trace& for_graph, const Trace& for_model) {
  assert(for_graph.size() == for_model.size());
  RunResult result;
  observe_results();
  observe_state();
  std::size_t unobserved = 0;
  while (difference_.empty() && calls_ < for_graph.size()) {
    const Call& call = for_model[calls_];
    if (call.kind == CallKind::kCheck && model_.next_check_would_not_end()) {
      result.met_endless_walk = true;
      break;
    }
    const std::vector<int> pending = model_.pending();
    make(for_graph[calls_], call);
    result.checks += call.kind == CallKind::kCheck ? 1 : 0;
    observe_results();
    if (++unobserved >= observation_interval() ||
        calls_ + 1 == for_graph.size()) {
      observe_state();
      unobserved = 0;
    }
    if (difference_.empty()) {
      follow(for_graph[calls_], call, pending);
      difference_ = follower_.difference();
    }
    if (!difference_.empty()) {
      difference_ = "after call " + std::to_string(calls_) + ", " +
                    call_text(call) + ": " + difference_;
      break;
    }
    ++calls_;
  }
  if (difference_.empty()) {
    const std::size_t all = model_.num_lemmas() + 1;
    drain(all, all);
  }
  if (difference_.empty()) {
    follower_.observe_all();
    difference_ = follower_.difference();
  }
  result.calls = calls_;
  result.conflicts = std::stoul(model_.get_stats()[0].second);
  result.lemmas = lemmas_;
  result.consequences = follower_.num_consequences();
  result.agrees = difference_.empty();
  result.difference = difference_;
  return result;
}

}  // namespace

RunResult run_trace(const Trace& trace) {
  return run_traces(trace, trace);
}

RunResult run_traces(const Trace& for_graph, const Trace& for_model) {
  return SideBySide().run(for_graph, for_model);
}

std::string explain_difference(const Trace& trace) {
  const Trace least =
      shrink(trace, [](const Trace& part) { return !run_trace(part).agrees; });
  std::ostringstream out;
  out << run_trace(trace).difference << "shrunk to " << least.size()
      << " calls:\n";
  write_trace(out, least);
  out << "and there: " << run_trace(least).difference;
  return out.str();
}

}  // namespace vorn::model
