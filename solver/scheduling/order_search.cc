// SPDX-License-Identifier: MIT
#include "solver/scheduling/order_search.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <utility>

namespace vorn::solver {

namespace {

// For so many moves, up to as many more, and half as many as the machine has
// tasks, what was exchanged stays.
constexpr int kRest = 8;
// After so many moves without a better order it begins from the best again,
// with so many moves at random.
constexpr std::uint64_t kPatience = 20'000;
constexpr int kKicks = 20;
constexpr std::size_t kTabus = 4096;

}  // namespace

OrderSearch::OrderSearch(int num_nodes)
    : releases_(index(num_nodes), 0),
      deadlines_(index(num_nodes), kFar),
      after_(index(num_nodes)),
      before_(index(num_nodes)),
      members_of_(index(num_nodes)),
      heads_(index(num_nodes)),
      tails_(index(num_nodes)),
      tabus_(kTabus),
      waiting_(index(num_nodes)) {}

void OrderSearch::add_release(int node, Word time) {
  releases_[index(node)] = std::max(releases_[index(node)], time);
}

void OrderSearch::add_deadline(int node, Word time) {
  deadlines_[index(node)] = std::min(deadlines_[index(node)], time);
}

void OrderSearch::add_lag(int before, int after, Word time) {
  assert(time >= 0);
  after_[index(before)].push_back({after, time});
  before_[index(after)].push_back({before, time});
}

int OrderSearch::add_member(int node, Word duration, bool optional) {
  const int member = static_cast<int>(members_.size());
  const int machine = static_cast<int>(sequences_.size()) - 1;
  members_.push_back({node, machine, duration, optional});
  members_of_[index(node)].push_back(member);
  places_.push_back(optional ? kNowhere : 0);
  return member;
}

void OrderSearch::begin_with(std::vector<Word> starts,
                             const std::vector<int>& members) {
  given_starts_ = std::move(starts);
  for (const int member : members) places_[index(member)] = 0;
}

// Of the optional members of each node one, if it is not given: on the machine
// that then has the least to do.
void OrderSearch::choose_members() {
  std::vector<Word> loads(sequences_.size(), 0);
  for (std::size_t k = 0; k < members_.size(); ++k) {
    if (places_[k] == kNowhere) continue;
    loads[index(members_[k].machine)] += members_[k].duration;
  }
  for (const std::vector<int>& members : members_of_) {
    int chosen = kNowhere;
    Word least = 0;
    for (const int member : members) {
      const Member& one = members_[index(member)];
      if (!one.optional) continue;
      if (places_[index(member)] != kNowhere) {
        chosen = kNowhere;
        break;
      }
      const Word load = loads[index(one.machine)] + one.duration;
      if (chosen != kNowhere && least <= load) continue;
      chosen = member;
      least = load;
    }
    if (chosen == kNowhere) continue;
    places_[index(chosen)] = 0;
    loads[index(members_[index(chosen)].machine)] = least;
  }
}

// Takes one task after the other, of those that nothing has to come before any
// more: the one that can start first, and of several the one with the most
// behind it. False if some wait for each other, or the steps do not suffice.
bool OrderSearch::build(std::uint64_t steps) {
  choose_members();
  const std::size_t num_nodes = releases_.size();
  // What follows each node without machines, or else what a machine of it has
  // left to do.
  std::vector<Word> behind(num_nodes, 0);
  std::vector<Word> left(sequences_.size(), 0);
  std::vector<Word> free_at(sequences_.size(), -kFar);
  for (std::size_t k = 0; k < members_.size(); ++k) {
    if (places_[k] == kNowhere) continue;
    left[index(members_[k].machine)] += members_[k].duration;
  }
  if (!evaluate()) return false;  // Nothing is in a sequence yet.
  for (std::size_t i = num_nodes; i-- > 0;) {
    const int node = ordered_[i];
    for (const Lag& lag : after_[index(node)]) {
      behind[index(node)] =
          std::max(behind[index(node)], lag.time + behind[index(lag.node)]);
    }
  }
  heads_ = releases_;
  // Tasks, and what is none.
  std::vector<int> ready;
  std::vector<int> others;
  const auto arrive = [&](int node) {
    (members_of_[index(node)].empty() ? others : ready).push_back(node);
  };
  for (std::size_t node = 0; node < num_nodes; ++node) {
    waiting_[node] = static_cast<int>(before_[node].size());
    if (waiting_[node] == 0) arrive(static_cast<int>(node));
  }
  const auto leave = [&](int node) {
    for (const Lag& lag : after_[index(node)]) {
      Word& head = heads_[index(lag.node)];
      head = std::max(head, heads_[index(node)] + lag.time);
      if (--waiting_[index(lag.node)] == 0) arrive(lag.node);
    }
  };
  for (;;) {
    while (!others.empty()) {
      const int node = others.back();
      others.pop_back();
      leave(node);
    }
    if (ready.empty()) break;
    num_steps_ += ready.size();
    if (num_steps_ > steps) return false;
    std::size_t chosen = 0;
    std::pair<Word, Word> least;
    for (std::size_t i = 0; i < ready.size(); ++i) {
      const int node = ready[i];
      Word start = heads_[index(node)];
      Word work = behind[index(node)];
      for (const int member : members_of_[index(node)]) {
        if (places_[index(member)] == kNowhere) continue;
        const std::size_t machine = index(members_[index(member)].machine);
        start = std::max(start, free_at[machine]);
        work = std::max(work, left[machine]);
      }
      heads_[index(node)] = start;
      if (!given_starts_.empty()) start = given_starts_[index(node)];
      const std::pair<Word, Word> key(start, -work);
      if (i > 0 && !(key < least)) continue;
      least = key;
      chosen = i;
    }
    const int node = ready[chosen];
    ready[chosen] = ready.back();
    ready.pop_back();
    for (const int member : members_of_[index(node)]) {
      if (places_[index(member)] == kNowhere) continue;
      const Member& one = members_[index(member)];
      std::vector<int>& sequence = sequences_[index(one.machine)];
      places_[index(member)] = static_cast<int>(sequence.size());
      sequence.push_back(member);
      free_at[index(one.machine)] = heads_[index(node)] + one.duration;
      left[index(one.machine)] -= one.duration;
    }
    leave(node);
  }
  return evaluate();
}

// Heads, tails and lateness of the order at hand. False if some nodes wait for
// each other.
bool OrderSearch::evaluate() {
  num_steps_ += steps_of_evaluation_;
  ++num_moves_;
  const std::size_t num_nodes = releases_.size();
  ordered_.clear();
  for (std::size_t node = 0; node < num_nodes; ++node) {
    waiting_[node] = static_cast<int>(before_[node].size());
    for (const int member : members_of_[node]) {
      if (places_[index(member)] > 0) ++waiting_[node];
    }
    if (waiting_[node] == 0) ordered_.push_back(static_cast<int>(node));
  }
  heads_ = releases_;
  const auto reach = [this](int node, Word time) {
    heads_[index(node)] = std::max(heads_[index(node)], time);
    if (--waiting_[index(node)] == 0) ordered_.push_back(node);
  };
  for (std::size_t k = 0; k < ordered_.size(); ++k) {
    const int node = ordered_[k];
    const Word head = heads_[index(node)];
    for (const Lag& lag : after_[index(node)]) reach(lag.node, head + lag.time);
    for (const int member : members_of_[index(node)]) {
      const int next = next_of(member);
      if (next == kNowhere) continue;
      reach(members_[index(next)].node,
            head + members_[index(member)].duration);
    }
  }
  if (ordered_.size() < num_nodes) return false;
  lateness_ = -kFar;
  for (std::size_t k = num_nodes; k-- > 0;) {
    const int node = ordered_[k];
    const Word deadline = deadlines_[index(node)];
    Word tail = deadline == kFar ? -kFar : -deadline;
    for (const Lag& lag : after_[index(node)]) {
      tail = std::max(tail, lag.time + tails_[index(lag.node)]);
    }
    for (const int member : members_of_[index(node)]) {
      const int next = next_of(member);
      if (next == kNowhere) continue;
      tail = std::max(tail, members_[index(member)].duration +
                                tails_[index(members_[index(next)].node)]);
    }
    tails_[index(node)] = tail;
    lateness_ = std::max(lateness_, heads_[index(node)] + tail);
  }
  return true;
}

int OrderSearch::next_of(int member) const {
  const int place = places_[index(member)];
  if (place == kNowhere) return kNowhere;
  const std::vector<int>& sequence =
      sequences_[index(members_[index(member)].machine)];
  return index(place) + 1 < sequence.size() ? sequence[index(place) + 1]
                                            : kNowhere;
}

int OrderSearch::previous_of(int member) const {
  const int place = places_[index(member)];
  if (place <= 0) return kNowhere;
  return sequences_[index(members_[index(member)].machine)][index(place) - 1];
}

// How early the node can be, but for what its place on the machine says.
OrderSearch::Word OrderSearch::head_without(int node, int machine) const {
  Word head = releases_[index(node)];
  for (const Lag& lag : before_[index(node)]) {
    head = std::max(head, heads_[index(lag.node)] + lag.time);
  }
  for (const int member : members_of_[index(node)]) {
    if (members_[index(member)].machine == machine) continue;
    const int previous = previous_of(member);
    if (previous == kNowhere) continue;
    const Member& one = members_[index(previous)];
    head = std::max(head, heads_[index(one.node)] + one.duration);
  }
  return head;
}

// The same for its tail.
OrderSearch::Word OrderSearch::tail_without(int node, int machine) const {
  const Word deadline = deadlines_[index(node)];
  Word tail = deadline == kFar ? -kFar : -deadline;
  for (const Lag& lag : after_[index(node)]) {
    tail = std::max(tail, lag.time + tails_[index(lag.node)]);
  }
  for (const int member : members_of_[index(node)]) {
    if (members_[index(member)].machine == machine) continue;
    const int next = next_of(member);
    if (next == kNowhere) continue;
    tail = std::max(tail, members_[index(member)].duration +
                              tails_[index(members_[index(next)].node)]);
  }
  return tail;
}

bool OrderSearch::is_fixed(int before, int after) const {
  const std::vector<Lag>& lags = after_[index(before)];
  return std::any_of(lags.begin(), lags.end(),
                     [after](const Lag& lag) { return lag.node == after; });
}

// Whether the most late node waits for this member's end, by way of the next.
bool OrderSearch::is_tight(int member) const {
  const int next = next_of(member);
  if (next == kNowhere) return false;
  const int a = members_[index(member)].node;
  const int b = members_[index(next)].node;
  return is_critical(a) && is_critical(b) &&
         heads_[index(a)] + members_[index(member)].duration ==
             heads_[index(b)];
}

// Within a block of a machine, members that wait for each other without a pause
// in between: each to the end, and each to the front.
void OrderSearch::consider_blocks(const std::vector<int>& sequence, Move& best,
                                  Random& random) {
  std::size_t first = 0;
  while (first + 1 < sequence.size()) {
    std::size_t last = first;
    while (is_tight(sequence[last])) ++last;
    for (std::size_t k = first; k < last; ++k) {
      consider_shift(sequence, k, last, best, random);
    }
    for (std::size_t k = first + 2; k <= last; ++k) {
      consider_shift(sequence, k, first, best, random);
    }
    // In a block of two both are the same.
    if (last > first + 1) {
      consider_shift(sequence, first + 1, first, best, random);
    }
    first = std::max(last, first + 1);
  }
}

// Whether a member can go past what is between, as far as times show that
// nothing there has to be between by way of other nodes.
bool OrderSearch::can_shift(const std::vector<int>& sequence, std::size_t from,
                            std::size_t to) const {
  const Member& one = members_[index(sequence[from])];
  const Member& other = members_[index(sequence[to])];
  if (from + 1 == to) return !is_fixed(one.node, other.node);
  if (to + 1 == from) return !is_fixed(other.node, one.node);
  return from < to
             ? tail_without(one.node, one.machine) <= tails_[index(other.node)]
             : head_without(one.node, one.machine) <= heads_[index(other.node)];
}

// An estimate of the longest path through what moves: with new times along the
// machine, and old ones elsewhere.
void OrderSearch::consider_shift(const std::vector<int>& sequence,
                                 std::size_t from, std::size_t to, Move& best,
                                 Random& random) {
  if (!can_shift(sequence, from, to)) return;
  const int member = sequence[from];
  const std::size_t low = std::min(from, to);
  const std::size_t high = std::max(from, to);
  shifted_.assign(sequence.begin() + static_cast<std::ptrdiff_t>(low),
                  sequence.begin() + static_cast<std::ptrdiff_t>(high) + 1);
  bool rests = false;
  if (from < to) {
    std::rotate(shifted_.begin(), shifted_.begin() + 1, shifted_.end());
    for (std::size_t k = 0; k + 1 < shifted_.size(); ++k) {
      rests = rests || is_tabu(shifted_[k], member);
    }
  } else {
    std::rotate(shifted_.begin(), shifted_.end() - 1, shifted_.end());
    for (std::size_t k = 1; k < shifted_.size(); ++k) {
      rests = rests || is_tabu(member, shifted_[k]);
    }
  }
  num_steps_ += 4 * shifted_.size();
  Word free_at = -kFar;
  if (low > 0) {
    const Member& one = members_[index(sequence[low - 1])];
    free_at = heads_[index(one.node)] + one.duration;
  }
  new_heads_.clear();
  for (const int each : shifted_) {
    const Member& one = members_[index(each)];
    new_heads_.push_back(
        std::max(free_at, head_without(one.node, one.machine)));
    free_at = new_heads_.back() + one.duration;
  }
  Word rest = -kFar;
  if (high + 1 < sequence.size()) {
    rest = tails_[index(members_[index(sequence[high + 1])].node)];
  }
  Word estimate = -kFar;
  for (std::size_t k = shifted_.size(); k-- > 0;) {
    const Member& one = members_[index(shifted_[k])];
    rest = std::max(one.duration + rest, tail_without(one.node, one.machine));
    estimate = std::max(estimate, new_heads_[k] + rest);
  }
  if (rests && estimate >= best_lateness_) return;
  offer({estimate, member, member, static_cast<int>(to)}, best, random);
}

// The other machines that may do the task, with the best place on each.
void OrderSearch::consider_others(int member, Move& best, Random& random) {
  const Member& from = members_[index(member)];
  if (!from.optional || places_[index(member)] == kNowhere) return;
  const Word head = head_without(from.node, from.machine);
  const Word tail = tail_without(from.node, from.machine);
  for (const int other : members_of_[index(from.node)]) {
    const Member& to = members_[index(other)];
    if (!to.optional || other == member) continue;
    const bool rests = is_tabu(other, other);
    const std::vector<int>& sequence = sequences_[index(to.machine)];
    num_steps_ += sequence.size();
    for (std::size_t place = 0; place <= sequence.size(); ++place) {
      Word start = head;
      if (place > 0) {
        const Member& one = members_[index(sequence[place - 1])];
        start = std::max(start, heads_[index(one.node)] + one.duration);
      }
      Word rest = tail;
      if (place < sequence.size()) {
        const int node = members_[index(sequence[place])].node;
        rest = std::max(rest, to.duration + tails_[index(node)]);
      }
      const Word estimate = start + rest;
      if (rests && estimate >= best_lateness_) continue;
      offer({estimate, member, other, static_cast<int>(place)}, best, random);
    }
  }
}

void OrderSearch::offer(const Move& move, Move& best, Random& random) {
  if (move.estimate > best.estimate) return;
  ties_ = move.estimate < best.estimate ? 1 : ties_ + 1;
  if (ties_ > 1 && random.next() % ties_ != 0) return;
  best = move;
}

// Two neighbours, each of which the most late node waits for, or none.
OrderSearch::Move OrderSearch::draw(Random& random) const {
  Move drawn;
  int count = 0;
  for (std::size_t k = 0; k < members_.size(); ++k) {
    const int member = static_cast<int>(k);
    if (!is_tight(member)) continue;
    const int next = next_of(member);
    if (is_fixed(members_[k].node, members_[index(next)].node)) continue;
    if (random.below(++count) == 0) {
      drawn = {0, member, member, places_[index(next)]};
    }
  }
  return drawn;
}

// Of pairs in one place the last one counts.
std::size_t OrderSearch::tabu_place(int first, int second) {
  return (index(first) * 2'654'435'761U + index(second)) % kTabus;
}

bool OrderSearch::is_tabu(int first, int second) const {
  const Tabu& tabu = tabus_[tabu_place(first, second)];
  return num_moves_ < tabu.until && tabu.first == first &&
         tabu.second == second;
}

void OrderSearch::remove(int member) {
  std::vector<int>& sequence =
      sequences_[index(members_[index(member)].machine)];
  sequence.erase(sequence.begin() + places_[index(member)]);
  for (std::size_t k = index(places_[index(member)]); k < sequence.size();
       ++k) {
    places_[index(sequence[k])] = static_cast<int>(k);
  }
  places_[index(member)] = kNowhere;
}

void OrderSearch::insert(int member, int place) {
  std::vector<int>& sequence =
      sequences_[index(members_[index(member)].machine)];
  sequence.insert(sequence.begin() + place, member);
  for (std::size_t k = index(place); k < sequence.size(); ++k) {
    places_[index(sequence[k])] = static_cast<int>(k);
  }
}

// False, and the order is as it was, if some nodes would wait for each other.
bool OrderSearch::make(const Move& move, Random& random) {
  const int member = move.member;
  const int place = places_[index(member)];
  const std::vector<int>& sequence =
      sequences_[index(members_[index(member)].machine)];
  const std::uint64_t until = num_moves_ + kRest +
                              static_cast<std::uint64_t>(random.below(kRest)) +
                              sequence.size() / 2;
  passed_.clear();
  if (move.other == member) {
    const auto low = sequence.begin() + std::min(place, move.place);
    passed_.assign(low, low + std::abs(place - move.place) + 1);
  }
  remove(member);
  insert(move.other, move.place);
  const bool is_possible = evaluate();
  if (!is_possible) {
    remove(move.other);
    insert(member, place);
    evaluate();
  }
  // What it was, or what cannot be, is not to come again soon.
  if (move.other != member) {
    const int back = is_possible ? member : move.other;
    forbid(back, back, until);
  }
  for (const int other : passed_) {
    if (other == member) continue;
    if ((place < move.place) == is_possible) {
      forbid(member, other, until);
    } else {
      forbid(other, member, until);
    }
  }
  return is_possible;
}

void OrderSearch::note_best() {
  if (lateness_ >= best_lateness_) return;
  best_lateness_ = lateness_;
  best_starts_ = heads_;
  best_places_ = places_;
}

void OrderSearch::go_to_best() {
  places_ = best_places_;
  for (std::vector<int>& sequence : sequences_) sequence.clear();
  for (std::size_t k = 0; k < members_.size(); ++k) {
    if (places_[k] == kNowhere) continue;
    sequences_[index(members_[k].machine)].push_back(static_cast<int>(k));
  }
  for (std::vector<int>& sequence : sequences_) {
    std::sort(sequence.begin(), sequence.end(), [this](int a, int b) {
      return places_[index(a)] < places_[index(b)];
    });
  }
  evaluate();
}

OrderSearch::Word OrderSearch::run(std::uint64_t steps, Random& random,
                                   const StopFlags& stop) {
  std::size_t num_lags = 0;
  for (const std::vector<Lag>& lags : after_) num_lags += lags.size();
  steps_of_evaluation_ = 2 * (releases_.size() + num_lags + members_.size());
  if (!build(steps)) return kFar;
  note_best();
  std::uint64_t patience = num_moves_ + kPatience;
  while (best_lateness_ > 0 && num_steps_ < steps && !stop.is_set()) {
    Move best;
    for (const std::vector<int>& sequence : sequences_) {
      consider_blocks(sequence, best, random);
    }
    for (std::size_t k = 0; k < members_.size(); ++k) {
      if (!is_critical(members_[k].node)) continue;
      consider_others(static_cast<int>(k), best, random);
    }
    if (best.member < 0) best = draw(random);
    if (best.member < 0) break;
    make(best, random);
    if (lateness_ < best_lateness_) {
      note_best();
      patience = num_moves_ + kPatience;
    } else if (num_moves_ > patience) {
      go_to_best();
      tabus_.assign(kTabus, {});
      for (int k = 0; k < kKicks; ++k) {
        const Move kick = draw(random);
        if (kick.member < 0) break;
        make(kick, random);
      }
      patience = num_moves_ + kPatience;
    }
  }
  return best_lateness_;
}

}  // namespace vorn::solver
