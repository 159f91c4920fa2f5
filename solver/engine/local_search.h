// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_ENGINE_LOCAL_SEARCH_H
#define VORN_SOLVER_ENGINE_LOCAL_SEARCH_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "solver/search/literal.h"
#include "solver/search/random.h"
#include "solver/search/stop_flags.h"

namespace vorn::solver {

/// Looks for numbers and truth values that satisfy as many clauses as it can,
/// by changing one of them at a time.
///
/// Bounds are true or false by the numbers of their nodes, so that what it
/// finds has no negative cycle, whatever it leaves unsatisfied. Numbers are
/// words in which sums do not overflow (dl::closure::Scale).
///
/// To be filled, run once, and read.
///
/// Cost: see run. A literal in a clause takes 8 bytes, an atom 72.
/// Ownership: none borrowed. Threads: none.
class LocalSearch {
 public:
  /// The number of a node.
  using Word = std::int64_t;

  /// target - source <= weight.
  struct Bound {
    /// A node.
    int source = 0;
    /// Another.
    int target = 0;
    /// Below 2^57 in magnitude, as sums of such along a path are.
    Word weight = 0;
  };

  /// Node 0 has the number 0, as all have at first; all variables are false.
  LocalSearch(int num_nodes, int num_variables);

  /// The variable is true where `yes` holds and `no` where it is false.
  void add_atom(int variable, const Bound& yes, const Bound& no);
  /// What numbers are kept within, as far as it bounds them from node 0.
  void add_fact(const Bound& fact) { facts_.push_back(fact); }
  /// A literal of it should be true.
  void add_clause(const std::vector<Literal>& clause);
  /// Where to begin, for a node.
  void set_number(int node, Word number) { values_[to_index(node)] = number; }
  /// Where to begin, for a variable that is no atom.
  void set_value(int variable, bool value) {
    values_[item_of(variable)] = value ? 1 : 0;
  }

  /// Searches until no clause is left, or for about so many steps, of five
  /// nanoseconds each, or soon after a flag of `stop` is set. Returns the least
  /// number of clauses that were left.
  std::size_t run(std::uint64_t steps, Random& random,
                  const StopFlags& stop = {});

  /// After run, the value of the variable where the fewest clauses were left.
  /// Of each of these, the bound that is nearest to hold counts as true.
  bool is_true(int variable) const {
    return truth_[Literal(variable, false).index()] != 0;
  }
  /// How many numbers and truth values were changed.
  std::uint64_t num_moves() const { return num_moves_; }
  /// Steps taken so far.
  std::uint64_t num_steps() const { return num_steps_; }

 private:
  /// No number is so large.
  static constexpr Word kFar = Word{1} << 60;

  struct Atom {
    int variable;
    Bound yes;
    Bound no;
  };
  /// As the number of a node rises, an atom of it becomes false, or true.
  struct Event {
    Word last;   // the largest number before that
    Word first;  // the least after
    Literal risen;
  };
  /// Gives an item a value.
  struct Move {
    /// By how much the weight of clauses that are left would grow.
    std::int64_t growth = std::numeric_limits<std::int64_t>::max();
    int item = -1;
    Word value = 0;
    /// When the item was, or will be, free to move.
    std::uint64_t free_at = 0;
  };

  static std::size_t to_index(int i) { return static_cast<std::size_t>(i); }
  std::size_t item_of(int variable) const {
    return to_index(num_nodes_ + variable);
  }
  bool holds(const Bound& bound) const { return excess(bound) <= 0; }
  // How far a bound is from holding.
  Word excess(const Bound& bound) const {
    return values_[to_index(bound.target)] - values_[to_index(bound.source)] -
           bound.weight;
  }

  void bound_numbers();
  void start();
  void set_truth();
  void count_clauses();
  void consider(int clause, Move& best, Random& random);
  void consider_flip(int variable, Move& best);
  void consider_numbers(int node, int clause, Move& best, Random& random);
  void collect_events(int node, bool rising);
  void offer(const Move& move, int clause, Move& best, Random& random) const;
  void shift(Literal risen);
  void clear_shifts();
  void raise_weights();
  void apply(const Move& move, Random& random);
  void make_true(Literal literal);
  void leave(int clause);
  void note_best();
  void take_best();

  int num_nodes_;
  // By item: nodes, then variables with 0 or 1, which for atoms says nothing.
  std::vector<Word> values_;
  std::vector<Word> best_values_;
  std::vector<int> changed_;            // items, since the best was noted
  std::vector<std::uint64_t> free_at_;  // the move from which on it may move
  // What facts allow a node.
  std::vector<Bound> facts_;
  std::vector<Word> lows_;
  std::vector<Word> highs_;

  std::vector<Atom> atoms_;
  std::vector<int> atom_of_;                // by variable; -1 for none
  std::vector<std::vector<int>> atoms_of_;  // by node
  std::vector<char> truth_;                 // by literal

  // Clauses, one after the other, and where each begins and the last ends.
  std::vector<Literal> literals_;
  std::vector<std::size_t> starts_{0};
  std::vector<std::vector<int>> clauses_of_;  // by literal
  std::vector<int> num_true_;
  std::vector<std::int64_t> weights_;
  // Clauses without a true literal, and where there each is, or -1.
  std::vector<int> left_;
  std::vector<int> places_;
  std::size_t least_left_ = 0;

  // The move under consideration: how num_true_ would change, for which
  // clauses, and by how much the weight of those left would grow.
  std::vector<int> shifts_;
  std::vector<int> shifted_;
  std::int64_t growth_ = 0;
  std::vector<Event> events_;  // scratch space

  std::uint64_t num_moves_ = 0;
  std::uint64_t num_steps_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_ENGINE_LOCAL_SEARCH_H
