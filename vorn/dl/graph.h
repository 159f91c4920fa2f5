// SPDX-License-Identifier: MIT
#ifndef VORN_DL_GRAPH_H
#define VORN_DL_GRAPH_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "vorn/containers/hashtable.h"
#include "vorn/containers/var_map.h"
#include "vorn/dl/edge.h"
#include "vorn/dl/node.h"
#include "vorn/dl/word_tables.h"
#include "vorn/export.h"
#include "vorn/numbers/d_number.h"
#include "vorn/services/configuration.h"
#include "vorn/services/linear_term_mapper.h"
#include "vorn/services/logger.h"
#include "vorn/services/term.h"
#include "vorn/services/term_manager.h"

// The theory of difference constraints as a weighted graph, in ten lines:
//
// ```cpp
// vorn::Configuration::Theory::La settings;  // no lemmas
// vorn::dl::Graph graph(&settings, nullptr, nullptr);
// graph.tell_edge(1, {1, 2, {4, 0}, 1});    // constraint 1: x2 - x1 <= 4
// graph.tell_edge(2, {2, 1, {-4, -1}, 2});  // constraint 2: x1 - x2 < -4
// graph.push_edge(1);
// graph.push_edge(2);
// std::vector<int> conflict;
// if (!graph.check(true)) graph.get_conflict_set(&conflict);  // 2 and 1
// graph.pop_edge(2);                       // the latest push first
// const auto x2 = graph.get_potential(2);  // with that of 1: solves the rest
// ```
//
// A variable is a node, a constraint target - source <= weight an edge, and a
// set of constraints has a solution exactly when its edges close no cycle of
// negative weight. Node 0 stands for the number 0.
//
// Ids. The host numbers its constraints; constraint k owns edge 2k and, if it
// was told as a pair (an equality, say), edge 2k+1. Operations named after
// edges (tell_edge, push_edge, pop_edge, retract_edge) take *constraint* ids.
//
// Life of a constraint:
//   tell_edge     registered: the graph knows its edges
//   push_edge     pending: waits for check
//   check         active, or part of a conflict
//   pop_edge      registered again
//   retract_edge  unknown again
//
// Left to the host, if it has lemmas on (docs/lemmas.md has the reasons, and
// says how often each matters): lemmas follow from the constraints if
// constraint 0 stays unused, no constraint that one of the last two conflicts
// names is told anew with other end nodes, and no weight has a positive eps
// coefficient; and every check returns if guard_lemma_walks is on. Verdicts and
// conflict sets do not depend on these.

namespace vorn::dl {

/// A handle for proofs of conflicts. The graph makes none; the type stays
/// incomplete.
class Proof;

/// The constraint graph of a solver: registers, activates and takes back
/// difference constraints, decides whether the active ones are consistent,
/// explains conflicts and learns lemmas from them.
///
/// Invariants between calls:
///  (1) every active edge is satisfied: cur_beta_[target] <=
///      cur_beta_[source] + weight;
///  (2) saved_beta_ equals cur_beta_;
///  (3) words_ says the same of registered edges and of nodes, as far as words
///      hold it;
///  (4) a registered edge is listed by its source node, as notified or as
///      pushed (active).
/// Ownership: configuration, mapper, term manager and logger are borrowed and
/// must outlive the graph; it owns all else. It can be neither copied nor
/// moved. Errors: inconsistency is a result. Only memory can run out; the
/// exception passes through, and each operation says what state it leaves; one
/// that says nothing changes nothing.
/// Threads: none. Distinct graphs may live in distinct threads; numbers made in
/// one thread must not be handed to another.
class VORN_EXPORT Graph {
 public:
  /// A lemma: the clause as one term, and its disjuncts, the implied bound
  /// last.
  using Lemma = std::pair<const Term_*, std::vector<const Term_*>>;
  /// A value for each node.
  using Potentials = la::VarMap<la::DNumber, true, true>;

  /// Reads nothing from the three. `mapper` and `mgr` may be null while no kind
  /// of lemma is switched on; `config` may not, as each conflict after the
  /// first reads it.
  Graph(Configuration::Theory::La* config, la::LinearTermMapper* mapper,
        TermManager* mgr);
  Graph(const Graph&) = delete;
  Graph& operator=(const Graph&) = delete;
  ~Graph() = default;

  /// Messages go to `l` from now on; null for none.
  void set_logger(Logger* l) { logger_ = l; }

  // Registration (registration.cc).

  /// Registers `e` as the edge of constraint k. New end nodes get potential 0.
  /// Returns true. Requires: k and both end nodes are not negative. A
  /// constraint that is told anew gets the new edge, but stays listed at the
  /// old edge's source too; retract it first. Cost: amortised O(1). On failing
  /// memory the edge may be known without being listed; retract_edge(k) makes
  /// that whole again, once edge 2k is known (get_edge(2 * k).source >= 0).
  bool tell_edge(int k, const Edge& e);
  /// Registers `e1` and `e2` as the two edges of constraint k. On failing
  /// memory as tell_edge, and the second edge may be missing.
  bool tell_bi_edge(int k, const Edge& e1, const Edge& e2);
  /// A copy of registered edge idx (an edge id, not a constraint id). For an id
  /// that is not registered, a default edge; nothing is inserted.
  Edge get_edge(int idx) const;
  /// Whether the graph knows node n.
  bool var_is_known(int n);
  /// The committed potential of node n; 0 for a node without one. Between calls
  /// the potentials are a solution of the active constraints: read as the value
  /// of each variable, less the potential of node 0.
  la::DNumber get_potential(int n) const;

  // Activation (check.cc).

  /// Queues the edges of constraint k for the next check. Returns true.
  /// Requires: k is registered. On failing memory nothing is queued.
  bool push_edge(int k);
  /// Activates the queued edges one after the other. False when one closes a
  /// negative cycle: the potentials are as before that edge, the cycle is the
  /// current conflict, and that edge and those behind it stay queued; the host
  /// pops at least their constraints before it checks again. The flag is
  /// ignored: there is no cheaper, incomplete check.
  ///
  /// Cost: only nodes whose potential falls are visited. The lemma search may
  /// run without end unless guard_lemma_walks is on.
  /// On failing memory, edges that were done are active and no longer queued;
  /// the one being done is not active and still queued, and invariants (1) to
  /// (4) hold. The current conflict may then be empty, and lemmas missing.
  bool check(bool flag);

  // Backtracking (backtracking.cc). Pops come in the reverse order of pushes.
  // Taking back activations and reset allocate nothing, so they cannot fail.

  /// Takes back the activation of constraint k, pending or active. Potentials
  /// stay: they satisfy fewer edges all the more. Returns true.
  /// Requires: k is the latest pushed constraint not yet popped.
  bool pop_edge(int k);
  /// Forgets constraint k. Returns true. Requires: registered, not pushed.
  /// On failing memory it may have lost its second edge, and is otherwise
  /// whole; calling again ends the job.
  bool retract_edge(int k);
  /// Forgets all nodes, edges and the current conflict; with `full` the
  /// potentials too. The previous conflict, queued lemmas and counters stay.
  /// Potentials that survive serve the dumps and the host: a node that is told
  /// again starts from 0.
  void reset(bool full);

  // Conflicts (conflict.cc).

  /// Swaps the constraints of the current conflict into *out, in cycle order,
  /// the one that closed the cycle first; a constraint with both edges on the
  /// cycle appears twice. The vector that *out held becomes the graph's buffer.
  /// Returns true, also with no conflict (an empty list). On failing memory
  /// *out is as it was.
  bool get_conflict_set(std::vector<int>* out);
  /// Null: the graph makes no proofs.
  const Proof* get_conflict_proof();
  /// Whether the potential `pi` violates an active edge. If not, it proves that
  /// the active edges close no negative cycle. A node without a potential reads
  /// as 0 and becomes present in `pi`. Cost: O(active edges). On failing memory
  /// the graph is as it was; some of the nodes may be present already.
  bool has_negative_cycle(const Potentials& pi);
  /// Logs the current and the previous conflict; nothing without a logger.
  void dump_conflict_sets();

  // Lemmas (lemma_search.cc, lemma_terms.cc).

  /// Whether a lemma waits to be taken.
  bool has_lemmas() { return !lemmas_.empty(); }
  /// Takes the oldest lemma off the queue. Requires: has_lemmas().
  Lemma get_next_lemma();
  /// Whether a lemma search first makes sure that its walk ends (see
  /// Configuration::Theory::La for the state in which it does not). One that
  /// would not is left out: it teaches nothing and does not count as a search.
  /// Off in a new graph, whose check then does not return from such a walk.
  /// Cost: a second walk for each search, in which nothing is learnt; allocates
  /// nothing.
  void guard_lemma_walks(bool on) { guards_walks_ = on; }
  /// Searches that were left out for that. Not among the statistics.
  std::size_t num_endless_walks() const { return num_endless_walks_; }

  // Statistics (statistics.cc) and dumps (dumps.cc).

  /// One line "DL - ...: value" per statistic; averages, with two decimals,
  /// only once a lemma search has run. The stream's formatting is left as it
  /// was.
  void print_stats(std::ostream& out) const;
  /// Appends the same as (key, value) texts. On failing memory the first few
  /// may have been appended.
  void get_stats(std::vector<std::pair<std::string, std::string>>& out) const;
  /// Prints potentials and, per node, its pushed and notified edges.
  void dump_debug_status(std::ostream& out) const;
  /// Prints edge ids, or with `full` the texts of the edges.
  void dump_edge_list(const std::vector<int>& list, std::ostream& out,
                      bool full);

 private:
  friend struct vorn::Inspector;

  using NodePairs = la::VarMap<std::pair<int, int>, true, true>;
  using LearntLemmas =
      hsh::Hashtable<std::pair<const Term_*, const Term_*>,
                     hsh::GetKey_pair<const Term_*, const Term_*>, const Term_*,
                     hsh::hash<const Term_*>, std::equal_to<const Term_*>>;

  struct Ends {
    int source;
    int target;
  };
  /// What an edge does to the potential of its target.
  enum class Lowering { kNone, kLowered, kNoWords };

  bool do_tell_edge(int idx, const Edge& e);
  bool do_check_edge(int e);
  /// Of a registered edge, from where a check reads them.
  Ends ends_of(int e) const {
    if (words_.are_used()) {
      return {words_.edge(e).source, words_.edge(e).target};
    }
    return {edges_.at(e).source, edges_.at(e).target};
  }
  bool is_violated(int e) const;
  int relax_from(int e);
  Lowering lower_by_words(int e);
  Lowering lower_exactly(int e);
  void leave_words();
  void commit_words();
  void commit_numbers();
  void roll_back_words();
  void roll_back();
  void do_pop_edge(int idx);
  void do_retract_edge(int idx);
  void record_conflict(int start, int closing_edge);
  bool conflicts_overlap() const;
  bool conflicts_are_registered() const;
  void do_synch_conflicts(std::size_t n_cur, std::size_t n_prev,
                          std::size_t& off_cur, std::size_t& off_prev,
                          NodePairs& node_map);
  void do_search_lemmas();
  void walk_conflicts();
  const Term_* node_term(int node);
  const Term_* negated_literal(int edge);
  const Term_* do_make_edge_term(int x, int y, const la::DNumber& c);
  const Term_* do_make_not_and_constraints(const std::vector<int>& edges);
  void log_interpolant(const char* text, int x, int y, const la::DNumber& c);
  void queue_lemma(const Term_* clause, const std::vector<int>& premises,
                   const Term_* implied, std::size_t& learnt,
                   std::size_t& duplicates);
  void do_learn_short_interpolant_lemmas(int x, int y, const la::DNumber& c,
                                         const std::vector<int>& premises_a,
                                         const std::vector<int>& premises_b);
  void do_learn_long_interpolant_lemmas(int x, int y, const la::DNumber& c,
                                        const std::vector<int>& premises);
  void log_conflict(const char* label, const std::vector<int>& conflict);

  /// Edge ids pushed and not yet checked, oldest first.
  std::vector<int> pending_;
  /// Registered edges by edge id.
  la::VarMap<Edge, true, true> edges_;
  la::VarMap<Node, true, true> nodes_;
  /// Current potential of each node.
  Potentials cur_beta_;
  /// Last committed potential of each node.
  Potentials saved_beta_;
  /// Emptied by reset; nothing else uses it.
  std::vector<int> reserved_list_;
  /// Edge ids of the latest negative cycle, in edge direction, beginning with
  /// the edge that closed it.
  std::vector<int> cur_conflict_;
  /// The conflict before it.
  std::vector<int> prev_conflict_;
  /// Buffer of get_conflict_set.
  std::vector<int> conflict_out_;
  /// Lemmas not yet taken, oldest first.
  std::deque<Lemma> lemmas_;
  /// Clauses queued while filtering was on, each mapped to itself.
  LearntLemmas learnt_lemmas_;
  Configuration::Theory::La* config_;
  la::LinearTermMapper* mapper_;
  TermManager* mgr_;
  Logger* logger_;
  /// Level of every message.
  std::uint64_t loglevel_;
  // Events since construction; reset() leaves them.
  std::size_t num_conflicts_;
  std::size_t num_tlemma_searches_;
  std::size_t num_short_tlemmas_;
  std::size_t num_long_tlemmas_;
  std::size_t num_dup_short_tlemmas_;
  std::size_t num_dup_long_tlemmas_;
  bool guards_walks_;
  std::size_t num_endless_walks_;
  // Working lists of a check, for their room alone: the next check reuses it.
  // The graph's own, so that they live as long as it, also beyond main.
  /// Storage of the queue of edges to try.
  std::vector<int> queue_ring_;
  /// Nodes lowered in this run, in order, with repeats; empty between runs.
  std::vector<int> lowered_;
  /// On words, beside each of them: its word before.
  std::vector<WordTables::Word> words_before_;
  /// What checks read of edges_ and cur_beta_, closer together. While a run
  /// goes on words alone, lowered potentials are here and nowhere else.
  WordTables words_;
};

}  // namespace vorn::dl

#endif  // VORN_DL_GRAPH_H
