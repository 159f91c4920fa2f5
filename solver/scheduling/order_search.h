// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_ORDER_SEARCH_H
#define VORN_SOLVER_SCHEDULING_ORDER_SEARCH_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "solver/search/random.h"
#include "solver/search/stop_flags.h"
#include "vorn/containers/index.h"

namespace vorn::solver {

/// Looks for orders of the tasks of machines in which all is done in time.
///
/// Nodes are moments, of which some are starts of tasks. Each has an earliest
/// start under the order at hand, and the longest path to what is the most late
/// is what has to become shorter. Of tasks of a machine that wait for each
/// other along that path one goes to the end or to the front (Balas and
/// Vazacopoulos, "Guided Local Search with Shifting Bottleneck for Job Shop
/// Scheduling", 1998), or a task moves to another machine that may do it
/// (Mastrolilli and Gambardella, 2000): where an estimate from the times of the
/// neighbours (Taillard, 1994) says that it is best. What was just done is not
/// undone for a while (Nowicki and Smutnicki, "A Fast Taboo Search Algorithm
/// for the Job Shop Problem", 1996).
///
/// It knows of nothing else that a problem may say, so its answer is advice.
///
/// To be filled, run once, and read. Words are such that sums along paths do
/// not overflow.
///
/// Cost: a move takes a look at each node and what is next to it.
/// Ownership: none borrowed. Threads: none.
class OrderSearch {
 public:
  /// A time.
  using Word = std::int64_t;
  /// No time is so large in magnitude.
  static constexpr Word kFar = Word{1} << 60;

  /// Nodes without bounds, which can start at 0, and no machine.
  explicit OrderSearch(int num_nodes);

  /// The node is not before this; the latest counts.
  void add_release(int node, Word time);
  /// The node should not be after this; the earliest counts.
  void add_deadline(int node, Word time);
  /// `after` is not less than `time` after `before`. Requires: time >= 0.
  void add_lag(int before, int after, Word time);
  /// Members added from now on are those of one more machine, which does one
  /// task at a time.
  void add_machine() { sequences_.emplace_back(); }
  /// The node is a task of the last machine and takes so long there. Of those
  /// members of a node that are `optional`, one is used. Returns the member's
  /// number, from 0 on.
  int add_member(int node, Word duration, bool optional);
  /// Tasks are taken in the order of such numbers at first, not as they can
  /// start.
  void begin_with(std::vector<Word> starts, const std::vector<int>& members);

  /// Searches until all deadlines are met, or for about so many steps, of five
  /// nanoseconds each, or soon after a flag of `stop` is set, or until no order
  /// can be better. Returns by how much the most late node is late then; kFar
  /// if no order of all was found.
  Word run(std::uint64_t steps, Random& random, const StopFlags& stop = {});

  /// After run, under the best order, when nodes are at the earliest.
  const std::vector<Word>& starts() const { return best_starts_; }
  /// The same: whether the member's machine does its task.
  bool is_used(int member) const {
    return best_places_[index(member)] != kNowhere;
  }
  /// After run, when nodes are under the order at which it ended, where another
  /// run may begin.
  const std::vector<Word>& last_starts() const { return heads_; }
  /// The same: as is_used.
  bool is_used_last(int member) const {
    return places_[index(member)] != kNowhere;
  }
  /// Orders looked at.
  std::uint64_t num_moves() const { return num_moves_; }
  /// Steps taken so far.
  std::uint64_t num_steps() const { return num_steps_; }

 private:
  static constexpr int kNowhere = -1;

  struct Lag {
    int node;
    Word time;
  };
  struct Member {
    int node;
    int machine;
    Word duration;
    bool optional;
  };
  /// Uses the other member of the node, or the same, at this place of its
  /// machine.
  struct Move {
    Word estimate = std::numeric_limits<Word>::max();
    int member = -1;
    int other = -1;
    int place = 0;
  };
  /// A move that is not to be made before a later one.
  struct Tabu {
    int first = -1;
    int second = -1;
    std::uint64_t until = 0;
  };

  void choose_members();
  bool build(std::uint64_t steps);
  bool is_fixed(int before, int after) const;
  bool evaluate();
  Word head_without(int node, int machine) const;
  Word tail_without(int node, int machine) const;
  bool is_critical(int node) const {
    return heads_[index(node)] + tails_[index(node)] == lateness_;
  }
  int next_of(int member) const;
  int previous_of(int member) const;
  bool is_tight(int member) const;
  bool can_shift(const std::vector<int>& sequence, std::size_t from,
                 std::size_t to) const;
  void consider_blocks(const std::vector<int>& sequence, Move& best,
                       Random& random);
  void consider_shift(const std::vector<int>& sequence, std::size_t from,
                      std::size_t to, Move& best, Random& random);
  void consider_others(int member, Move& best, Random& random);
  void offer(const Move& move, Move& best, Random& random);
  Move draw(Random& random) const;
  bool make(const Move& move, Random& random);
  void insert(int member, int place);
  void remove(int member);
  static std::size_t tabu_place(int first, int second);
  bool is_tabu(int first, int second) const;
  void forbid(int first, int second, std::uint64_t until) {
    tabus_[tabu_place(first, second)] = {first, second, until};
  }
  void note_best();
  void go_to_best();

  std::vector<Word> releases_;
  std::vector<Word> deadlines_;
  // By node: what comes after it, and before it.
  std::vector<std::vector<Lag>> after_;
  std::vector<std::vector<Lag>> before_;
  std::vector<Member> members_;
  std::vector<std::vector<int>> members_of_;  // by node
  std::vector<Word> given_starts_;

  // The order at hand: of each machine's members, and by member the place
  // there.
  std::vector<std::vector<int>> sequences_;
  std::vector<int> places_;
  // By node: when it is at the earliest; by how much the most late is late
  // if it is at 0, -kFar if nothing that follows has a deadline.
  std::vector<Word> heads_;
  std::vector<Word> tails_;
  Word lateness_ = kFar;
  Word best_lateness_ = kFar;
  std::vector<Word> best_starts_;
  std::vector<int> best_places_;

  std::vector<Tabu> tabus_;
  std::uint64_t ties_ = 0;
  // Scratch space.
  std::vector<int> waiting_;
  std::vector<int> ordered_;
  std::vector<int> shifted_;
  std::vector<Word> new_heads_;
  std::vector<int> passed_;

  std::uint64_t num_moves_ = 0;
  std::uint64_t num_steps_ = 0;
  std::uint64_t steps_of_evaluation_ = 0;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_ORDER_SEARCH_H
