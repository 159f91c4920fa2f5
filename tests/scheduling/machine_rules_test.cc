// SPDX-License-Identifier: MIT
#include "solver/scheduling/machine_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "solver/scheduling/time.h"
#include "tests/scheduling/task_orders.h"
#include "vorn/numbers/d_number.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver {
namespace {

using testing::KnownTask;
using testing::Random;
using testing::scaled;
using testing::some_order_fits;

using Set = MachineRules<WordTime>::Set;

/// Tasks, with the same once more in a form that is easy to walk.
struct Instance {
  explicit Instance(MachineTasks<WordTime> made) : tasks(std::move(made)) {}

  MachineTasks<WordTime> tasks;
  /// Those that take part; their positions here are those below.
  std::vector<std::uint32_t> names;
  /// By name; of the others -1.
  std::vector<int> positions;
  /// By position: the positions, as bits, of those known to come before.
  std::vector<unsigned> before;

  std::size_t size() const { return names.size(); }
  WordTime duration(std::size_t k) const { return tasks.duration[names[k]]; }
  WordTime earliest(std::size_t k) const { return tasks.earliest[names[k]]; }
  WordTime deadline(std::size_t k) const { return tasks.deadline[names[k]]; }
  /// Positions of tasks as bits; nothing if the set is not one of tasks that
  /// take part.
  std::optional<unsigned> bits(const Set& set) const {
    unsigned result = 0;
    for (const std::uint32_t name : set) {
      if (name >= positions.size() || positions[name] < 0) return std::nullopt;
      const unsigned bit = 1U << static_cast<unsigned>(positions[name]);
      if ((result & bit) != 0) return std::nullopt;
      result |= bit;
    }
    return result;
  }
};

/// Random tasks, most of them in windows with little room. Times are multiples
/// of `unit`, with up to `noise` less or more.
class Instances {
 public:
  explicit Instances(unsigned seed, WordTime unit = 1, int noise = 0)
      : random_(seed), unit_(unit), noise_(noise) {}

  Instance make(std::size_t num_absent) {
    constexpr int kSizes[] = {1, 2, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 6, 6, 7};
    const auto n = static_cast<std::size_t>(kSizes[random_.pick(15)]);
    const std::size_t num_names = n + num_absent;
    const int longest = random_.between(1, 6);
    std::vector<int> durations(num_names);
    int work = 0;
    for (int& duration : durations) duration = random_.between(1, longest);
    std::vector<std::uint32_t> names(num_names);
    for (std::size_t a = 0; a < num_names; ++a) {
      names[a] = static_cast<std::uint32_t>(a);
    }
    random_.shuffle(names);
    for (std::size_t k = 0; k < n; ++k) work += durations[names[k]];

    std::vector<WordTime> times;
    times.reserve(num_names);
    for (const int duration : durations) times.push_back(time(duration));
    Instance made((MachineTasks<WordTime>(std::move(times))));
    MachineTasks<WordTime>& tasks = made.tasks;
    made.names.assign(names.begin(),
                      names.begin() + static_cast<std::ptrdiff_t>(n));
    made.positions.assign(num_names, -1);
    made.before.assign(n, 0);
    const int horizon = 1 + work * random_.between(40, 160) / 100;
    const int slack = random_.between(0, horizon);
    for (std::size_t k = 0; k < num_names; ++k) {
      const std::uint32_t a = names[k];
      const int start = random_.pick(std::max(1, horizon - durations[a]));
      const int room = random_.pick(slack + 1);
      const bool is_late = random_.pick(60) == 0;
      tasks.earliest[a] = time(start);
      tasks.deadline[a] =
          time(start + (is_late ? durations[a] - 1 : durations[a] + room));
    }
    add_orders(made, names);
    tasks.by_earliest = made.names;
    random_.shuffle(made.names);
    tasks.by_deadline = made.names;
    for (std::size_t k = 0; k < n; ++k) {
      made.positions[made.names[k]] = static_cast<int>(k);
      for (std::size_t l = 0; l < n; ++l) {
        const std::pair<std::uint32_t, std::uint32_t> order(made.names[l],
                                                            made.names[k]);
        if (std::find(orders_.begin(), orders_.end(), order) != orders_.end()) {
          made.before[k] |= 1U << l;
        }
      }
    }
    tasks.sort();
    return made;
  }

 private:
  WordTime time(int units) {
    return units * unit_ + random_.pick(2 * noise_ + 1) - noise_;
  }

  // Orders that agree with each other, some of them noted only after others
  // that were taken back.
  void add_orders(Instance& made, const std::vector<std::uint32_t>& names) {
    orders_.clear();
    const int often = random_.pick(3) * 30;
    // Of the tasks that take no part a few have orders.
    const std::size_t some = std::min(names.size(), made.names.size() + 3);
    for (std::size_t k = 0; k < some; ++k) {
      for (std::size_t l = k + 1; l < some; ++l) {
        const std::uint32_t a = names[k];
        const std::uint32_t b = names[l];
        if (random_.pick(8) == 0) {
          made.tasks.set_before(b, a);
          made.tasks.clear_before(b, a);
        }
        if (!random_.percent(often)) continue;
        made.tasks.set_before(a, b);
        orders_.emplace_back(a, b);
      }
    }
  }

  Random random_;
  WordTime unit_;
  int noise_;
  /// Of the tasks made last: known orders.
  std::vector<std::pair<std::uint32_t, std::uint32_t>> orders_;
};

/// What a subset of the tasks has in common, for all subsets, by bits.
class Subsets {
 public:
  explicit Subsets(const Instance& instance) {
    constexpr WordTime kFar = std::numeric_limits<WordTime>::max() / 4;
    const std::size_t n = instance.size();
    all_.assign(std::size_t{1} << n, {0, kFar, -kFar, kFar});
    for (std::size_t set = 1; set < all_.size(); ++set) {
      Subset& subset = all_[set];
      for (std::size_t k = 0; k < n; ++k) {
        if ((set >> k & 1U) == 0) continue;
        const WordTime start = instance.earliest(k);
        subset.work += instance.duration(k);
        subset.start = std::min(subset.start, start);
        subset.end = std::max(subset.end, instance.deadline(k));
        subset.first_end =
            std::min(subset.first_end, start + instance.duration(k));
      }
    }
  }

  struct Subset {
    WordTime work;
    WordTime start;
    WordTime end;
    WordTime first_end;
  };
  std::size_t size() const { return all_.size(); }
  const Subset& operator[](std::size_t set) const { return all_[set]; }

 private:
  std::vector<Subset> all_;
};

enum class RuleKind { kOverload, kLast, kNotFirst, kPreceded };

/// A call of a visitor; what it was not passed is 0.
template <class T>
struct Finding {
  RuleKind rule;
  std::uint32_t task;
  Set set;
  T start;
  T end;
  T earliest;
};

template <class T>
std::vector<Finding<T>> find_edges(MachineRules<T>& rules,
                                   const MachineTasks<T>& tasks) {
  std::vector<Finding<T>> found;
  rules.find_edges(
      tasks,
      [&](const Set& set, const T& start, const T& end) {
        found.push_back({RuleKind::kOverload, 0, set, start, end, T()});
      },
      [&](std::uint32_t i, const Set& set, const T& start, const T& end) {
        found.push_back({RuleKind::kLast, i, set, start, end, T()});
      });
  return found;
}
template <class T>
std::vector<Finding<T>> find_not_first(MachineRules<T>& rules,
                                       const MachineTasks<T>& tasks) {
  std::vector<Finding<T>> found;
  rules.find_not_first(
      tasks, [&](std::uint32_t i, const Set& set, const T& start, const T& end,
                 const T& earliest) {
        found.push_back({RuleKind::kNotFirst, i, set, start, end, earliest});
      });
  return found;
}
template <class T>
std::vector<Finding<T>> find_preceded(MachineRules<T>& rules,
                                      const MachineTasks<T>& tasks) {
  std::vector<Finding<T>> found;
  rules.find_preceded(tasks, [&](std::uint32_t i, const Set& set,
                                 const T& start, const T& earliest) {
    found.push_back({RuleKind::kPreceded, i, set, start, T(), earliest});
  });
  return found;
}

// What is wrong with a finding; empty if it is what it is called: the tasks
// are as it says, and no order of them, with nothing else known, is against
// its conclusion.
std::string fault_of(const Instance& instance,
                     const Finding<WordTime>& finding) {
  const std::optional<unsigned> set = instance.bits(finding.set);
  if (!set || *set == 0) return "not a set of tasks that take part";
  std::vector<KnownTask<WordTime>> known;
  std::size_t i = 0;
  if (finding.rule != RuleKind::kOverload) {
    const std::optional<unsigned> task = instance.bits({finding.task});
    if (!task) return "not a task that takes part";
    if ((*task & *set) != 0) return "the task is in the set";
    i = static_cast<std::size_t>(instance.positions[finding.task]);
    known.push_back({instance.duration(i)});
    if (finding.rule == RuleKind::kLast ||
        finding.rule == RuleKind::kNotFirst) {
      if (instance.earliest(i) < finding.start)
        return "the task can be earlier";
      known[0].start = finding.start;
    }
  }
  const bool starts = finding.rule != RuleKind::kNotFirst;
  const bool ends = finding.rule != RuleKind::kPreceded;
  for (std::size_t k = 0; k < instance.size(); ++k) {
    if ((*set >> k & 1U) == 0) continue;
    KnownTask<WordTime> task{instance.duration(k)};
    task.start =
        starts ? finding.start : finding.earliest - instance.duration(k);
    if (instance.earliest(k) < *task.start) return "one of the set is earlier";
    if (ends) {
      task.end = finding.end;
      if (*task.end < instance.deadline(k)) return "one of the set is later";
    }
    if (finding.rule == RuleKind::kPreceded) {
      if ((instance.before[i] >> k & 1U) == 0) return "no known order";
      known[0].after |= 1U << known.size();
    }
    known.push_back(task);
  }
  switch (finding.rule) {
    case RuleKind::kOverload:
      return some_order_fits(known) ? "the set fits" : "";
    case RuleKind::kLast:
      if ((*set & ~instance.before[i]) == 0) return "that was known";
      // One of the set comes after the task.
      for (std::size_t k = 1; k < known.size(); ++k) {
        known[k].after = 1;
        if (some_order_fits(known)) return "the task need not be last";
        known[k].after = 0;
      }
      return "";
    case RuleKind::kNotFirst:
    case RuleKind::kPreceded:
      if (!(instance.earliest(i) < finding.earliest)) return "nothing is new";
      known[0].end = finding.earliest + known[0].duration;
      known[0].is_strict = true;
      return some_order_fits(known) ? "the task can be earlier than that" : "";
  }
  return "no such rule";
}

/// How often rules found something.
struct Counts {
  int overloads = 0;
  int last = 0;
  int not_first = 0;
  int preceded = 0;
};

// What find_edges did wrong; empty if nothing.
std::string check_edges(MachineRules<WordTime>& rules, const Instance& instance,
                        Counts& counts) {
  const std::vector<Finding<WordTime>> found =
      find_edges(rules, instance.tasks);
  const std::size_t n = instance.size();
  bool is_overloaded = false;
  // By task: those of which it is said that they come before it.
  std::vector<unsigned> shown = instance.before;
  for (const Finding<WordTime>& finding : found) {
    if (is_overloaded) return "went on after an overload";
    const std::string fault = fault_of(instance, finding);
    if (!fault.empty()) return fault;
    if (finding.rule == RuleKind::kOverload) {
      is_overloaded = true;
      ++counts.overloads;
    } else {
      ++counts.last;
      shown[static_cast<std::size_t>(instance.positions[finding.task])] |=
          *instance.bits(finding.set);
    }
  }
  const Subsets subsets(instance);
  bool is_overload_there = false;
  for (std::size_t set = 1; set < subsets.size(); ++set) {
    const Subsets::Subset& s = subsets[set];
    if (s.end < s.start + s.work) is_overload_there = true;
  }
  if (is_overload_there != is_overloaded) return "missed an overload";
  if (is_overloaded) return "";
  for (std::size_t set = 1; set < subsets.size(); ++set) {
    const Subsets::Subset& s = subsets[set];
    for (std::size_t i = 0; i < n; ++i) {
      if ((set >> i & 1U) != 0) continue;
      const WordTime start = std::min(s.start, instance.earliest(i));
      if (!(s.end < start + s.work + instance.duration(i))) continue;
      if ((set & ~shown[i]) != 0) return "missed that a task is last";
    }
  }
  return "";
}

// What find_not_first did wrong; empty if nothing.
std::string check_not_first(MachineRules<WordTime>& rules,
                            const Instance& instance, Counts& counts) {
  unsigned raised = 0;
  for (const Finding<WordTime>& finding :
       find_not_first(rules, instance.tasks)) {
    const std::string fault = fault_of(instance, finding);
    if (!fault.empty()) return fault;
    raised |= *instance.bits({finding.task});
    ++counts.not_first;
  }
  const Subsets subsets(instance);
  for (std::size_t i = 0; i < instance.size(); ++i) {
    if ((raised >> i & 1U) != 0) continue;
    const WordTime start = instance.earliest(i);
    for (std::size_t set = 1; set < subsets.size(); ++set) {
      const Subsets::Subset& s = subsets[set];
      if ((set >> i & 1U) == 0 && start < s.first_end &&
          s.end < start + instance.duration(i) + s.work) {
        return "missed that a task is not first";
      }
    }
  }
  return "";
}

// What find_preceded did wrong; empty if nothing.
std::string check_preceded(MachineRules<WordTime>& rules,
                           const Instance& instance, Counts& counts) {
  std::vector<WordTime> best;
  for (std::size_t k = 0; k < instance.size(); ++k) {
    best.push_back(instance.earliest(k));
  }
  for (const Finding<WordTime>& finding :
       find_preceded(rules, instance.tasks)) {
    const std::string fault = fault_of(instance, finding);
    if (!fault.empty()) return fault;
    WordTime& time =
        best[static_cast<std::size_t>(instance.positions[finding.task])];
    time = std::max(time, finding.earliest);
    ++counts.preceded;
  }
  const Subsets subsets(instance);
  for (std::size_t i = 0; i < instance.size(); ++i) {
    WordTime expected = instance.earliest(i);
    for (std::size_t set = 1; set < subsets.size(); ++set) {
      if ((set & ~instance.before[i]) != 0) continue;
      expected = std::max(expected, subsets[set].start + subsets[set].work);
    }
    if (best[i] != expected) return "not the best earliest start";
  }
  return "";
}

// So many random sets pass a check.
template <class Check>
void expect_all(int cases, unsigned seed, const Check& check, Counts& counts) {
  Instances instances(seed);
  MachineRules<WordTime> rules;
  for (int k = 0; k < cases; ++k) {
    const Instance instance = instances.make(static_cast<std::size_t>(k % 3));
    ASSERT_EQ(check(rules, instance, counts), "") << "set " << k;
  }
}

// An overload ends a branch of the search, and an order cuts it: what does not
// follow from the times that are named makes wrong learnt clauses, and what is
// missed costs conflicts.
TEST(MachineRulesTest, FindEdgesFindsOverloadsAndLastTasksAndNothingElse) {
  const int cases = scaled(330'000);
  Counts counts;
  ASSERT_NO_FATAL_FAILURE(expect_all(cases, 1, check_edges, counts));
  EXPECT_GT(counts.overloads, cases / 10);
  EXPECT_GT(counts.last, cases / 10);
}

// A start that is raised too far loses schedules; one that is not raised at
// all leaves the search to find out.
TEST(MachineRulesTest, FindNotFirstRaisesEachTaskThatCannotBeFirst) {
  const int cases = scaled(280'000);
  Counts counts;
  ASSERT_NO_FATAL_FAILURE(expect_all(cases, 2, check_not_first, counts));
  EXPECT_GT(counts.not_first, cases / 10);
}

// As above, for tasks that are known to come after others.
TEST(MachineRulesTest, FindPrecededFindsTheBestEarliestStart) {
  const int cases = scaled(250'000);
  Counts counts;
  ASSERT_NO_FATAL_FAILURE(expect_all(cases, 3, check_preceded, counts));
  EXPECT_GT(counts.preceded, cases / 10);
}

// Sets of tasks are kept in words of 64: an order must not end up with the
// task that has the same place in another word.
TEST(MachineRulesTest, RulesHoldWhereSetsTakeSeveralWords) {
  const int cases = scaled(40'000);
  Instances instances(4);
  MachineRules<WordTime> rules;
  Counts counts;
  for (int k = 0; k < cases; ++k) {
    const Instance instance = instances.make(k % 2 == 0 ? 60 : 125);
    ASSERT_EQ(check_edges(rules, instance, counts), "") << "set " << k;
    ASSERT_EQ(check_not_first(rules, instance, counts), "") << "set " << k;
    ASSERT_EQ(check_preceded(rules, instance, counts), "") << "set " << k;
  }
  EXPECT_GT(counts.last, cases / 10);
  EXPECT_GT(counts.preceded, cases / 10);
}

constexpr WordTime kStep = WordTime{1} << 20U;
ExactTime to_exact(WordTime word) {
  return testing::exact_time(word, kStep);
}

// Times are words where these suffice: fractions and strict bounds, and what
// words do not hold, must lead to the same findings.
TEST(MachineRulesTest, ExactTimesAndWordsGiveTheSameFindings) {
  const int cases = scaled(100'000);
  Instances instances(5, kStep, 3);
  MachineRules<WordTime> word_rules;
  MachineRules<ExactTime> exact_rules;
  Counts counts;
  for (int k = 0; k < cases; ++k) {
    const Instance instance = instances.make(static_cast<std::size_t>(k % 2));
    if (k % 5 == 0) {
      ASSERT_EQ(check_edges(word_rules, instance, counts), "") << k;
      ASSERT_EQ(check_not_first(word_rules, instance, counts), "") << k;
      ASSERT_EQ(check_preceded(word_rules, instance, counts), "") << k;
    }
    const MachineTasks<WordTime>& tasks = instance.tasks;
    std::vector<ExactTime> durations;
    for (const WordTime d : tasks.duration) durations.push_back(to_exact(d));
    MachineTasks<ExactTime> exact(std::move(durations));
    for (std::size_t a = 0; a < tasks.duration.size(); ++a) {
      exact.earliest[a] = to_exact(tasks.earliest[a]);
      exact.deadline[a] = to_exact(tasks.deadline[a]);
      for (std::size_t b = 0; b < tasks.duration.size(); ++b) {
        if (tasks.is_before(a, b)) exact.set_before(a, b);
      }
    }
    // Sorting keeps the order of what is equal.
    exact.by_earliest = tasks.by_earliest;
    exact.by_deadline = tasks.by_deadline;
    exact.sort();
    ASSERT_EQ(exact.by_earliest, tasks.by_earliest);
    ASSERT_EQ(exact.by_deadline, tasks.by_deadline);
    const auto expect_same = [k](const std::vector<Finding<WordTime>>& words,
                                 const std::vector<Finding<ExactTime>>& found) {
      ASSERT_EQ(words.size(), found.size()) << "set " << k;
      for (std::size_t f = 0; f < words.size(); ++f) {
        const bool is_same = words[f].rule == found[f].rule &&
                             words[f].task == found[f].task &&
                             words[f].set == found[f].set &&
                             to_exact(words[f].start) == found[f].start &&
                             to_exact(words[f].end) == found[f].end &&
                             to_exact(words[f].earliest) == found[f].earliest;
        ASSERT_TRUE(is_same) << "set " << k << ", finding " << f;
      }
    };
    ASSERT_NO_FATAL_FAILURE(expect_same(find_edges(word_rules, tasks),
                                        find_edges(exact_rules, exact)));
    ASSERT_NO_FATAL_FAILURE(expect_same(find_not_first(word_rules, tasks),
                                        find_not_first(exact_rules, exact)));
    ASSERT_NO_FATAL_FAILURE(expect_same(find_preceded(word_rules, tasks),
                                        find_preceded(exact_rules, exact)));
  }
  EXPECT_GT(counts.last, cases / 100);
  EXPECT_GT(counts.not_first, cases / 100);
  EXPECT_GT(counts.preceded, cases / 100);
}

// The rules walk tasks by their times: with one out of its place they would
// take the wrong ones together.
TEST(MachineRulesTest, SortBringsMovedTasksToTheirPlaces) {
  Random random(6);
  for (int k = 0; k < scaled(20'000); ++k) {
    const auto n = static_cast<std::size_t>(random.between(1, 9));
    MachineTasks<WordTime> tasks(std::vector<WordTime>(n, 1));
    for (std::size_t a = 0; a < n; ++a) {
      tasks.by_earliest.push_back(static_cast<std::uint32_t>(a));
    }
    tasks.by_deadline = tasks.by_earliest;
    for (int change = 0; change < 3; ++change) {
      for (std::size_t a = 0; a < n; ++a) {
        if (change > 0 && random.pick(3) != 0) continue;
        tasks.earliest[a] = random.pick(12);
        tasks.deadline[a] = random.pick(12);
      }
      tasks.sort();
      std::vector<char> seen(n, 0);
      for (std::size_t p = 0; p < n; ++p) {
        ++seen[tasks.by_earliest[p]];
        if (p == 0) continue;
        ASSERT_LE(tasks.earliest[tasks.by_earliest[p - 1]],
                  tasks.earliest[tasks.by_earliest[p]]);
        ASSERT_LE(tasks.deadline[tasks.by_deadline[p - 1]],
                  tasks.deadline[tasks.by_deadline[p]]);
      }
      for (const std::uint32_t a : tasks.by_deadline) ++seen[a];
      ASSERT_EQ(seen, std::vector<char>(n, 2));
    }
  }
}

// An explanation is lowered by this much: one more, and it would no longer
// show what it is for.
TEST(TimeTest, LargestSlackLeavesTheSumAboveZero) {
  for (const WordTime sum :
       {WordTime{1}, WordTime{2}, WordTime{77}, WordTime{1} << 40U}) {
    EXPECT_GT(sum - largest_slack(sum), 0);
    EXPECT_LE(sum - (largest_slack(sum) + 1), 0);
  }
  const ExactTime tiny(la::DNumber(QNumber(0), QNumber(1)));
  EXPECT_TRUE(ExactTime() < tiny - largest_slack(tiny));
  EXPECT_FALSE(largest_slack(tiny) < ExactTime());
}

// The order of exact times is that of the rational parts, then of eps: a
// strict bound is met a little earlier than one that is not.
TEST(TimeTest, ExactTimesCompareByRationalPartThenEps) {
  const ExactTime third(la::DNumber(*QNumber::from_string("1/3"), QNumber(0)));
  const ExactTime eps(la::DNumber(QNumber(0), QNumber(1)));
  const ExactTime below = third - eps;
  EXPECT_TRUE(below < third);
  EXPECT_FALSE(third < below);
  EXPECT_FALSE(third < third);
  EXPECT_TRUE(below + eps == third);
  EXPECT_FALSE(below == third);
  EXPECT_TRUE(-third < ExactTime());
  EXPECT_TRUE(-(-below) == below);
  ExactTime sum = third;
  sum += third;
  sum += third;
  EXPECT_TRUE(sum == ExactTime(la::DNumber(QNumber(1), QNumber(0))));
}

}  // namespace
}  // namespace vorn::solver
