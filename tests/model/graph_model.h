// SPDX-License-Identifier: MIT
#ifndef VORN_MODEL_GRAPH_MODEL_H
#define VORN_MODEL_GRAPH_MODEL_H

#include <gmpxx.h>

#include <cstddef>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vorn::model {

/// A delta-rational r + k*eps, ordered lexicographically.
struct Weight {
  mpq_class rational = 0;
  mpq_class eps = 0;
};

Weight operator+(const Weight& a, const Weight& b);
bool operator<(const Weight& a, const Weight& b);

/// `4`, `1/2 - eps`, `0 + 3*eps`: the text of dumps of potentials and of logs.
std::string weight_text(const Weight& weight);

/// The constraint target - source <= weight; a default one names no node.
struct EdgeRecord {
  int source = -1;
  int target = -1;
  Weight weight;
  int id = -1;
};

/// `x3 -[-1/2 - eps]-> x5 [id: 7]`: of the eps part only the sign is shown.
std::string edge_text(const EdgeRecord& edge);

/// The three settings that steer the lemma search.
struct Settings {
  int tlemma_kinds = 0;
  float tlemma_min_overlap = 0.0F;
  bool dedup_tlemmas = false;
};

/// One queued clause, and its disjuncts with the implied edge last.
struct Lemma {
  std::string clause;
  std::vector<std::string> disjuncts;
};

/// Term text of node `node`: `x3`, and the number `0` for node 0.
std::string node_term(int node);

/// Term text of the literal of `constraint`: `c2`, and for odd ones the
/// negated atom `(not c3)`.
std::string literal_term(int constraint);

/// Plain re-statement of the difference-logic graph for comparison.
///
/// Everything is an ordered map, a vector or text, and each operation is
/// written as it reads; nothing is shared with the library under test. Copying
/// a model copies its whole state.
///
/// Requires of callers: what the graph requires. Constraints are told before
/// they are pushed, popped in the reverse order of their pushes, popped before
/// they are retracted, and told again only after they were retracted.
/// Cost: irrelevant; nothing here is tuned.
class GraphModel {
 public:
  using Potential = std::map<int, Weight>;
  using Rows = std::vector<std::pair<std::string, std::string>>;

  void set_settings(const Settings& settings) { settings_ = settings; }
  const Settings& settings() const { return settings_; }

  /// Messages are recorded only while logging is on; it starts off.
  void set_logging(bool on) { logging_ = on; }

  bool tell_edge(int constraint, const EdgeRecord& edge);
  bool tell_bi_edge(int constraint, const EdgeRecord& first,
                    const EdgeRecord& second);
  bool push_edge(int constraint);

  /// Requires: !next_check_would_not_end().
  bool check();
  bool pop_edge(int constraint);
  bool retract_edge(int constraint);
  void reset(bool full);

  /// True if the coming check() would reach the state of the lemma walk in
  /// which both sides wait for each other. Leaves the model as it is.
  bool next_check_would_not_end() const;

  std::vector<int> get_conflict_set() const;

  /// True if `potential` violates an active edge. Nodes that were read and
  /// had no potential are present with zero afterwards.
  bool has_negative_cycle(Potential& potential) const;

  bool has_lemmas() const { return !lemmas_.empty(); }
  std::size_t num_lemmas() const { return lemmas_.size(); }

  /// Requires: has_lemmas().
  Lemma get_next_lemma();

  bool var_is_known(int node) const;
  bool edge_is_registered(int id) const { return edges_.count(id) != 0; }
  /// The default edge for an id that is not registered.
  EdgeRecord get_edge(int id) const;
  std::size_t num_edges() const { return edges_.size(); }
  /// Ascending ids of all registered edges.
  std::vector<int> registered_edges() const;

  std::string dump_debug_status() const;
  std::string dump_edge_list(const std::vector<int>& ids, bool full) const;
  void dump_conflict_sets();

  Rows get_stats() const;
  std::string print_stats() const;

  /// Hands over the messages recorded since the last call, one text each.
  std::vector<std::string> take_log();

  /// Edge ids pushed and not processed; a failed check leaves the failing id
  /// in front.
  const std::vector<int>& pending() const { return pending_; }
  const Potential& potentials() const { return cur_beta_; }
  const std::vector<int>& cur_conflict() const { return cur_conflict_; }
  const std::vector<int>& prev_conflict() const { return prev_conflict_; }

 private:
  struct Node {
    std::vector<int> pushed;
    std::vector<int> notified;
    int pred_edge = -1;
  };
  /// Ids of the edges by which the current and the previous cycle leave a
  /// node; 0 means none, so edge 0 never counts.
  using NodeMap = std::map<int, std::pair<int, int>>;

  struct Offsets {
    std::size_t cur = 0;
    std::size_t prev = 0;
  };

  void do_tell_edge(int id, const EdgeRecord& edge);
  bool do_check_edge(int id);
  void do_pop_edge(int id);
  void do_retract_edge(int id);
  bool conflicts_are_registered() const;
  float similarity() const;
  Offsets do_synch_conflicts(NodeMap& node_map) const;
  void do_search_lemmas();
  void do_walk_conflicts();
  void do_learn_short(int x, int y, const Weight& weight,
                      const std::vector<int>& premises_a,
                      const std::vector<int>& premises_b);
  void do_learn_long(int x, int y, const Weight& weight,
                     const std::vector<int>& premises);
  void do_queue_lemma(const std::vector<int>& premises,
                      const std::string& edge_term, std::size_t& learnt,
                      std::size_t& duplicates);
  void log_interpolant(const char* what, int x, int y, const Weight& weight);
  void log(const std::string& message);
  Rows stat_rows(bool labels) const;

  Settings settings_;
  bool logging_ = false;
  std::vector<int> pending_;
  std::map<int, EdgeRecord> edges_;
  std::map<int, Node> nodes_;
  Potential cur_beta_;
  Potential saved_beta_;
  std::vector<int> cur_conflict_;
  std::vector<int> prev_conflict_;
  std::deque<Lemma> lemmas_;
  std::set<std::string> learnt_;
  std::vector<std::string> log_;
  std::size_t num_conflicts_ = 0;
  std::size_t num_searches_ = 0;
  std::size_t num_short_ = 0;
  std::size_t num_long_ = 0;
  std::size_t num_dup_short_ = 0;
  std::size_t num_dup_long_ = 0;
  /// Set when a walk met the state in which both sides wait.
  bool walk_did_not_end_ = false;
};

}  // namespace vorn::model

#endif  // VORN_MODEL_GRAPH_MODEL_H
