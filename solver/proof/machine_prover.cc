// SPDX-License-Identifier: MIT
#include "solver/proof/machine_prover.h"

#include <algorithm>
#include <cassert>
#include <iterator>

#include "solver/terms/difference_bound.h"

namespace vorn::solver {
namespace {

bool is_strict(const la::DNumber& time) {
  return time.eps().sign() != 0;
}

la::DNumber negate(const la::DNumber& time) {
  return {-time.rational(), -time.eps()};
}

}  // namespace

std::vector<ProvedClause> MachineProver::prove(
    const MachineCertificate& certificate) {
  origin_ = certificate.origin;
  facts_.clear();
  inferences_.clear();
  for (const TimeDirection direction : {kForward, kBackward}) {
    facts_[{origin_, direction}] = Fact();
  }
  for (const MachineStep& step : certificate.steps) {
    if (step.rule == MachineRule::kConstraint) {
      carry(step);
    } else if (step.rule == MachineRule::kCrossing) {
      Literals reasons = reasons_of(certificate.crossing, kForward);
      append(reasons, reasons_of(certificate.crossing, kBackward));
      use(sum(reasons));
    } else {
      apply(step, certificate.set(step));
    }
  }
  std::vector<ProvedClause> clauses(
      std::make_move_iterator(inferences_.rbegin()),
      std::make_move_iterator(inferences_.rend()));
  return clauses;
}

// --- Times ---

const MachineProver::Fact& MachineProver::fact(const Term* node,
                                               TimeDirection direction) const {
  return facts_.at({node, direction});
}

void MachineProver::raise(const Term* node, TimeDirection direction,
                          Fact raised) {
  const auto [place, is_new] =
      facts_.try_emplace({node, direction}, std::move(raised));
  if (!is_new && place->second.time < raised.time) {
    place->second = std::move(raised);
  }
}

// A constraint target - source <= weight carries the target's earliest time to
// the source, and the source's latest one to the target.
void MachineProver::carry(const MachineStep& step) {
  const DifferenceBound bound = bound_of(step.literal);
  const bool is_early = step.direction == kForward;
  const Fact& from =
      fact(is_early ? bound.target : bound.source, step.direction);
  Fact to{from.time + negate(bound.weight), from.reasons};
  to.reasons.push_back(literal_of_(step.literal));
  raise(is_early ? bound.source : bound.target, step.direction, std::move(to));
}

DifferenceBound MachineProver::bound_of(Literal literal) {
  const DifferenceBound& bound = log_.name(literal.variable()).bound;
  const Term* term = bound.source != nullptr ? bound.source : bound.target;
  sort_ = term->sort;
  return literal.is_negated() ? negate_bound(bound, sort_ == Sort::kInt)
                              : bound;
}

MachineProver::Literals MachineProver::reasons_of(const Term* node,
                                                  TimeDirection direction) {
  return fact(node, direction).reasons;
}

// As reasons_of, in one literal: of what is used often.
MachineProver::Literals MachineProver::settle(const Term* node,
                                              TimeDirection direction) {
  Fact& known = facts_.at({node, direction});
  if (known.reasons.size() > 1) {
    const WrittenLiteral literal = time_literal(node, direction, known.time);
    use(sum(known.reasons, literal));
    known.reasons = {literal};
  }
  return known.reasons;
}

// That a node is no earlier, or no later, than a time after the origin.
WrittenLiteral MachineProver::time_literal(const Term* node,
                                           TimeDirection direction,
                                           const la::DNumber& time) {
  const WrittenId number = number_of(node);
  const WrittenId origin =
      origin_ == nullptr ? kNotWritten : number_of(origin_);
  const bool strict = is_strict(time);
  return direction == kForward
             ? compare(plus(origin, time.rational()), number, strict)
             : compare(number, plus(origin, -time.rational()), strict);
}

// --- Rules ---

// The order of two tasks, as what it is a sum of. Requires: it is possible.
MachineProver::Literals MachineProver::order_reasons(int machine, Task a,
                                                     Task b) {
  const CertifiedMachine& known = log_.machine(machine);
  const CertifiedMachine::Pair& pair = known.pairs[a * known.tasks.size() + b];
  if (pair.order.is_defined()) return {literal_of_(pair.order)};
  Literals reasons;
  for (std::size_t k = 0; k < pair.path.size(); ++k) {
    use(clause_of_(pair.path_units[k]));
    reasons.push_back(literal_of_(pair.path[k]));
  }
  return reasons;
}

void MachineProver::apply(const MachineStep& step,
                          const std::vector<Task>& set) {
  if (step.rule == MachineRule::kOrder) {
    const DifferenceBound bound = bound_of(step.literal);
    Literals reasons{literal_of_(step.literal)};
    append(reasons, reasons_of(bound.target, kForward));
    append(reasons, reasons_of(bound.source, kBackward));
    use(sum(reasons));
    return;
  }
  const CertifiedMachine& machine = log_.machine(step.machine);
  const auto& tasks = machine.tasks;
  const auto start = [&](Task a) { return tasks[a].start; };
  const auto early = [&](Task a) { return fact(start(a), kForward).time; };
  // When it has ended at the latest.
  const auto late = [&](Task a) {
    return negate(fact(start(a), kBackward).time) +
           la::DNumber(tasks[a].duration.rational(), QNumber());
  };
  const bool is_forward = step.direction == kForward;
  const TimeDirection opposite = is_forward ? kBackward : kForward;
  const Task i = step.task;
  sort_ = Sort::kInt;
  for (const CertifiedMachine::Task& task : tasks) {
    if (task.start != nullptr) sort_ = task.start->sort;
  }

  Misfit misfit;
  misfit.machine = step.machine;
  misfit.low_from = misfit.high_from =
      origin_ == nullptr ? kNotWritten : number_of(origin_);
  misfit.tasks = set;
  // Bounds of one side, by the facts of each task.
  const auto bound_by_facts = [&](const std::vector<Task>& bounded,
                                  TimeDirection side) {
    for (const Task a : bounded) {
      Side& bounds = side == kForward ? misfit.starts : misfit.ends;
      bounds[a] = settle(start(a), side);
      if (side == kForward) {
        misfit.lower(early(a));
      } else {
        misfit.heighten(late(a));
      }
    }
  };
  // The order of i and another in which `a` comes on the far side of i, seen
  // in the step's direction.
  const auto order = [&](Task first, Task second) {
    return is_forward ? order_reasons(step.machine, first, second)
                      : order_reasons(step.machine, second, first);
  };
  Side& near = is_forward ? misfit.starts : misfit.ends;
  Side& far = is_forward ? misfit.ends : misfit.starts;
  const la::DNumber& duration = tasks.at(i).duration;

  switch (step.rule) {
    case MachineRule::kOverload:
      bound_by_facts(set, kForward);
      bound_by_facts(set, kBackward);
      use(prove_misfit(misfit));
      return;
    case MachineRule::kLast: {
      // The literal says that i comes before (after) some b of the set.
      const auto b = std::find_if(set.begin(), set.end(), [&](Task other) {
        const Task first = is_forward ? i : other;
        const Task second = is_forward ? other : i;
        return machine.pairs[first * tasks.size() + second].order ==
               step.literal;
      });
      assert(b != set.end());
      misfit.tasks.push_back(i);
      bound_by_facts(misfit.tasks, step.direction);
      bound_by_facts(set, opposite);
      far[i] = {literal_of_(step.literal)};
      append(far[i], reasons_of(start(*b), opposite));
      use(prove_misfit(misfit));
      return;
    }
    case MachineRule::kPreceded: {
      // All of the set lie between the near side's facts and i.
      bound_by_facts(set, step.direction);
      la::DNumber time;
      for (const Task a : set) {
        far[a] = order(a, i);
        time += tasks[a].duration;
      }
      if (is_forward) {
        misfit.high_from = number_of(start(i));
        misfit.high = la::DNumber();
        time += *misfit.low;
      } else {
        misfit.low_from = number_of(start(i));
        misfit.low = la::DNumber(duration.rational(), QNumber());
        time += duration + negate(*misfit.high);
      }
      const WrittenLiteral literal =
          time_literal(start(i), step.direction, time);
      misfit.others = {literal ^ 1U};
      use(prove_misfit(misfit));
      raise(start(i), step.direction, {time, {literal}});
      return;
    }
    case MachineRule::kNotFirst:
      break;
    default:
      assert(false);
      return;
  }

  // If i started before the first of the set can have ended, it would come
  // before all of the set, which then does not fit behind it.
  const auto can_end = [&](Task a) {
    return fact(start(a), step.direction).time +
           (is_forward ? tasks[a].duration : la::DNumber(duration));
  };
  la::DNumber time = can_end(set[0]);
  for (const Task a : set) {
    la::DNumber end = can_end(a);
    if (end < time) time = std::move(end);
  }
  const WrittenLiteral literal = time_literal(start(i), step.direction, time);
  std::vector<ProvedClause> clauses;
  bool is_whole = true;
  misfit.tasks.push_back(i);
  near[i] = settle(start(i), step.direction);
  bound_by_facts(set, opposite);
  for (const Task a : set) {
    const Task first = is_forward ? a : i;
    const Task second = is_forward ? i : a;
    const CertifiedMachine::Pair& pair =
        machine.pairs[first * tasks.size() + second];
    const CertifiedMachine::Pair& turned =
        machine.pairs[second * tasks.size() + first];
    if (!turned.path.empty()) continue;  // i comes first anyway
    Literals reasons = order(a, i);
    append(reasons, settle(start(a), step.direction));
    ProvedClause moved = sum(reasons, literal);
    if (!pair.path.empty()) {
      use(std::move(moved));
      is_whole = false;
      break;
    }
    clauses.push_back(clause_of_(pair.separation));
    clauses.push_back(std::move(moved));
  }
  if (is_whole) {
    if (is_forward) {
      misfit.lower(early(i));
    } else {
      misfit.heighten(late(i));
    }
    for (const Task a : set) {
      near[a] = order(i, a);
      append(near[a], near[i]);
    }
    far[i] = order(i, set[0]);
    append(far[i], reasons_of(start(set[0]), opposite));
    const ProvedClause none = prove_misfit(misfit);
    std::vector<const ProvedClause*> all{&none};
    for (const ProvedClause& clause : clauses) all.push_back(&clause);
    use(resolve(all));
  }
  raise(start(i), step.direction, {time, {literal}});
}

// --- Tasks that do not fit ---

ProvedClause MachineProver::prove_misfit(Misfit misfit) {
  std::sort(misfit.tasks.begin(), misfit.tasks.end());
  ProvedClause& proved = misfits_[key_of(misfit)];
  if (proved.step == 0) proved = do_prove_misfit(misfit);
  return proved;
}

// All that a misfit's proof depends on. No literal is 0 or 1.
std::vector<std::uint64_t> MachineProver::key_of(const Misfit& misfit) {
  std::vector<std::uint64_t> key{static_cast<std::uint64_t>(misfit.machine)};
  for (const Task a : misfit.tasks) {
    key.push_back(0);
    append(key, misfit.starts.at(a));
    key.push_back(1);
    append(key, misfit.ends.at(a));
    key.push_back(a);
  }
  append(key, misfit.others);
  for (const la::DNumber& end : {*misfit.low, *misfit.high}) {
    key.push_back(constant(end.rational()));
    key.push_back(is_strict(end) ? 1 : 0);
  }
  key.push_back(misfit.low_from);
  key.push_back(misfit.high_from);
  return key;
}

ProvedClause MachineProver::do_prove_misfit(Misfit& misfit) {
  const std::vector<Task>& tasks = misfit.tasks;
  if (tasks.size() == 1) {
    Literals all = misfit.starts[tasks[0]];
    append(all, misfit.ends[tasks[0]]);
    append(all, misfit.others);
    return sum(all);
  }
  const auto uses = num_uses_.find({misfit.machine, tasks});
  return uses != num_uses_.end() && is_span_worth(tasks.size(), uses->second)
             ? prove_by_span(misfit)
             : prove_by_removal(misfit);
}

// Whether what is proved of a set once and for all makes up for itself, by the
// numbers of steps.
bool MachineProver::is_span_worth(std::size_t size, std::size_t num_uses) {
  if (size < 3) return false;
  const std::size_t removal = 3 * size * (size - 1) - 4;
  return num_uses * (removal - (2 * size + 3)) >
         26 * size + size * size + removal;
}

// By the time between the first start of the set and its last end.
ProvedClause MachineProver::prove_by_span(const Misfit& misfit) {
  const Span& span = span_of(misfit.machine, misfit.tasks);
  const WrittenLiteral first =
      compare(plus(misfit.low_from, misfit.low->rational()), span.first,
              is_strict(*misfit.low));
  const WrittenLiteral last =
      compare(span.last, plus(misfit.high_from, misfit.high->rational()),
              is_strict(*misfit.high));
  // The first start is one of the tasks', the last end likewise.
  std::deque<ProvedClause> sums;
  std::vector<const ProvedClause*> firsts{&span.is_one_first};
  std::vector<const ProvedClause*> lasts{&span.is_one_last};
  for (std::size_t k = 0; k < misfit.tasks.size(); ++k) {
    Literals low{span.firsts[k]};
    append(low, misfit.starts.at(misfit.tasks[k]));
    sums.push_back(sum(low, first));
    firsts.push_back(&sums.back());
    Literals high{span.lasts[k]};
    append(high, misfit.ends.at(misfit.tasks[k]));
    sums.push_back(sum(high, last));
    lasts.push_back(&sums.back());
  }
  Literals all{first, last, span.is_long};
  append(all, misfit.others);
  const ProvedClause too_long = sum(all);
  const ProvedClause ends = resolve(lasts);
  firsts.insert(firsts.end(), {&too_long, &span.length, &ends});
  return resolve(firsts);
}

// By taking out one task after the other.
ProvedClause MachineProver::prove_by_removal(const Misfit& misfit) {
  const std::vector<Task>& tasks = misfit.tasks;
  Side low = misfit.starts;
  Side high = misfit.ends;
  const CertifiedMachine& machine = log_.machine(misfit.machine);
  const auto duration = [&](Task a) -> const QNumber& {
    return machine.tasks[a].duration.rational();
  };
  const auto join = [](std::initializer_list<const Literals*> lists) {
    Literals all;
    for (const Literals* list : lists) append(all, *list);
    return all;
  };
  QNumber end = misfit.high->rational();
  int rest = whole(misfit.machine);
  std::deque<ProvedClause> bounds;
  for (std::size_t k = 0; k + 2 < tasks.size(); ++k) {
    const Task n = tasks[k];
    const int smaller = rest_without(rest, n);
    const WrittenId earliest = plus(misfit.low_from, misfit.low->rational());
    end -= duration(n);
    const WrittenId latest = plus(misfit.high_from, end);
    Side low_now;
    Side high_now;
    std::vector<WrittenId> left;
    for (std::size_t l = k + 1; l < tasks.size(); ++l) {
      left.push_back(start_of(smaller, tasks[l]));
    }
    prover_.write_cases(left);
    for (std::size_t l = k + 1; l < tasks.size(); ++l) {
      const Task i = tasks[l];
      const WrittenId start = start_of(smaller, i);
      const WrittenLiteral moved = branch_literal(smaller, i, true);
      const WrittenLiteral same = branch_literal(smaller, i, false);
      const ProvedClause& if_after = branch_of(smaller, i, true);
      const ProvedClause& if_before = branch_of(smaller, i, false);
      const Literals is_after{order_of(rest, n, i)};
      const Literals is_before{order_of(rest, i, n)};
      // No earlier than before: behind n there was n.
      const WrittenLiteral starts =
          compare(earliest, start, is_strict(*misfit.low));
      const ProvedClause start_after =
          sum(join({&is_after, &low[n]}), starts, {moved});
      const ProvedClause start_before = sum(low[i], starts, {same});
      bounds.push_back(
          resolve({&start_after, &if_after, &if_before, &start_before}));
      low_now[i] = {starts};
      // Ends sooner: before n there is still n to come.
      const WrittenLiteral ends =
          compare(plus(start, duration(i)), latest, is_strict(*misfit.high));
      const ProvedClause end_after = sum(high[i], ends, {}, {moved});
      const ProvedClause end_before_n =
          sum(join({&is_before, &high[n]}), ends, {}, {same});
      bounds.push_back(resolve({&end_before_n, &separation_of(rest, i, n),
                                &if_before, &if_after, &end_after}));
      high_now[i] = {ends};
    }
    low = std::move(low_now);
    high = std::move(high_now);
    rest = smaller;
  }
  const Task a = tasks[tasks.size() - 2];
  const Task b = tasks.back();
  const Literals a_first{order_of(rest, a, b)};
  const Literals b_first{order_of(rest, b, a)};
  const ProvedClause not_a =
      sum(join({&a_first, &low[a], &high[b], &misfit.others}));
  const ProvedClause not_b =
      sum(join({&b_first, &low[b], &high[a], &misfit.others}));
  std::vector<const ProvedClause*> all{&not_a, &separation_of(rest, a, b),
                                       &not_b};
  for (std::size_t k = bounds.size(); k-- > 0;) all.push_back(&bounds[k]);
  return resolve(all);
}

const MachineProver::Span& MachineProver::span_of(
    int machine, const std::vector<Task>& tasks) {
  const auto [place, is_new] = spans_.try_emplace({machine, tasks});
  Span& span = place->second;
  if (!is_new) return span;
  const CertifiedMachine& known = log_.machine(machine);
  const int rest = whole(machine);
  std::vector<WrittenId> starts;
  std::vector<WrittenId> ends;
  QNumber length;
  bool strict = false;
  for (const Task a : tasks) {
    const la::DNumber& duration = known.tasks[a].duration;
    starts.push_back(start_of(rest, a));
    ends.push_back(plus(starts.back(), duration.rational()));
    length += duration.rational();
    strict = is_strict(duration);
  }
  Misfit misfit;
  misfit.machine = machine;
  misfit.tasks = tasks;
  misfit.low = misfit.high = la::DNumber();
  std::deque<ProvedClause> bounds;
  span.first = misfit.low_from =
      extreme_of(starts, true, tasks, misfit.starts, bounds, span.firsts,
                 span.is_one_first);
  span.last = misfit.high_from = extreme_of(
      ends, false, tasks, misfit.ends, bounds, span.lasts, span.is_one_last);
  span.is_long = compare(plus(span.first, length), span.last, strict);
  misfit.others = {span.is_long ^ 1U};
  const ProvedClause fits = prove_by_removal(misfit);
  std::vector<const ProvedClause*> all{&fits};
  for (const ProvedClause& bound : bounds) all.push_back(&bound);
  span.length = resolve(all);
  return span;
}

// The least of numbers, or the greatest, as a number by cases. Why it is none
// of them that is less (greater) follows from `bounds`, the literals are put
// into `reasons`; and `one` says that one of the literals `extremes` holds,
// that it is no less (greater) than one of them.
WrittenId MachineProver::extreme_of(const std::vector<WrittenId>& numbers,
                                    bool is_least,
                                    const std::vector<Task>& tasks,
                                    Side& reasons,
                                    std::deque<ProvedClause>& bounds,
                                    Literals& extremes, ProvedClause& one) {
  const auto within = [&](WrittenId extreme, WrittenId number) {
    return is_least ? compare(extreme, number, false)
                    : compare(number, extreme, false);
  };
  // What is raised in a sum if it is the least is lowered if the greatest.
  const auto by_cases = [&](const Literals& given, WrittenLiteral conclusion,
                            WrittenLiteral equal, bool is_raised) {
    return is_raised == is_least ? sum(given, conclusion, {equal})
                                 : sum(given, conclusion, {}, {equal});
  };
  std::vector<WrittenId> so_far{numbers[0]};
  for (std::size_t k = 1; k < numbers.size(); ++k) {
    const WrittenLiteral stays = within(so_far.back(), numbers[k]);
    so_far.push_back(terms_.apply(
        "ite", {static_cast<WrittenId>(stays / 2), so_far.back(), numbers[k]},
        store_.make_number(QNumber(0), sort_)));
  }
  prover_.write_cases({so_far.begin() + 1, so_far.end()});
  for (std::size_t k = 1; k < numbers.size(); ++k) {
    const WrittenId before = so_far[k - 1];
    const WrittenId extreme = so_far[k];
    const WrittenLiteral stays = within(before, numbers[k]);
    const ProvedClause& if_stays = branch(extreme, true);
    const ProvedClause& if_not = branch(extreme, false);
    const WrittenLiteral same = equal_literal(extreme, before);
    const WrittenLiteral next = equal_literal(extreme, numbers[k]);
    // It is within the one before, and the number.
    const WrittenLiteral within_before = within(extreme, before);
    const ProvedClause before_same = by_cases({}, within_before, same, false);
    const ProvedClause before_next =
        by_cases({stays ^ 1U}, within_before, next, false);
    bounds.push_back(resolve({&before_next, &if_not, &if_stays, &before_same}));
    const WrittenLiteral within_number = within(extreme, numbers[k]);
    const ProvedClause number_same =
        by_cases({stays}, within_number, same, false);
    const ProvedClause number_next = by_cases({}, within_number, next, false);
    bounds.push_back(resolve({&number_same, &if_stays, &if_not, &number_next}));
    for (std::size_t l = 0; l < k; ++l) {
      reasons[tasks[l]].push_back(within_before);
    }
    reasons[tasks[k]] = {within_number};
    // It is one of both, and so one of all.
    std::deque<ProvedClause> sums;
    std::vector<const ProvedClause*> all;
    if (k > 1) all.push_back(&one);
    for (std::size_t l = 0; l <= k; ++l) {
      const WrittenLiteral reached = within(numbers[l], extreme);
      const bool is_last = l == k;
      Literals given;
      if (!is_last && k > 1) given.push_back(extremes[l]);
      sums.push_back(by_cases(given, reached, is_last ? next : same, true));
      if (is_last) {
        all.insert(all.end(), {&if_stays, &if_not, &sums.back()});
        extremes.push_back(reached);
      } else {
        all.push_back(&sums.back());
        if (k == 1) {
          extremes.push_back(reached);
        } else {
          extremes[l] = reached;
        }
      }
    }
    one = resolve(all);
  }
  return so_far.back();
}

void MachineProver::count_uses(const MachineCertificate& certificate) {
  for (const MachineStep& step : certificate.steps) {
    if (step.num_tasks == 0) continue;
    std::vector<Task> tasks = certificate.set(step);
    const bool is_with_task =
        step.rule == MachineRule::kLast || step.rule == MachineRule::kNotFirst;
    if (is_with_task) tasks.push_back(step.task);
    std::sort(tasks.begin(), tasks.end());
    ++num_uses_[{step.machine, std::move(tasks)}];
  }
}

// --- Tasks taken out ---

int MachineProver::whole(int machine) {
  const auto [place, is_new] =
      whole_.try_emplace(machine, static_cast<int>(rests_.size()));
  if (is_new) rests_.push_back({machine, -1, 0, {}, {}, {}});
  return place->second;
}

int MachineProver::rest_without(int rest, Task task) {
  const auto next = static_cast<int>(rests_.size());
  const auto [place, is_new] = rest_at(rest).children.try_emplace(task, next);
  const int result = place->second;
  if (is_new) rests_.push_back({rest_at(rest).machine, rest, task, {}, {}, {}});
  return result;
}

WrittenId MachineProver::start_of(int rest, Task task) {
  const auto known = rest_at(rest).starts.find(task);
  if (known != rest_at(rest).starts.end()) return known->second;
  const CertifiedMachine& machine = machine_of(rest);
  const int parent = rest_at(rest).parent;
  const Task taken = rest_at(rest).taken;
  WrittenId start;
  if (parent < 0) {
    start = number_of(machine.tasks[task].start);
  } else {
    const WrittenId before = start_of(parent, task);
    const Term* any = store_.make_number(QNumber(0), sort_);
    const WrittenId sooner = terms_.apply(
        "-", {before, constant(machine.tasks[taken].duration.rational())}, any);
    const auto after =
        static_cast<WrittenId>(order_of(parent, taken, task) / 2);
    start = terms_.apply("ite", {after, sooner, before}, any);
  }
  rest_at(rest).starts.emplace(task, start);
  return start;
}

// That a has ended when b starts.
WrittenLiteral MachineProver::order_of(int rest, Task a, Task b) {
  const la::DNumber& duration = machine_of(rest).tasks[a].duration;
  const WrittenId end = plus(start_of(rest, a), duration.rational());
  return compare(end, start_of(rest, b), is_strict(duration));
}

// That the start of a task, without another that was taken out, is sooner than
// before, or the same.
WrittenLiteral MachineProver::branch_literal(int rest, Task task,
                                             bool is_after) {
  const WrittenId start = start_of(rest, task);
  return equal_literal(start, terms_.arg(start, is_after ? 1 : 2));
}

// One of two tasks comes first.
const ProvedClause& MachineProver::separation_of(int rest, Task a, Task b) {
  if (b < a) std::swap(a, b);
  const auto known = rest_at(rest).separations.find({a, b});
  if (known != rest_at(rest).separations.end()) return known->second;
  ProvedClause made = rest_at(rest).parent < 0
                          ? prove_given_separation(rest, a, b)
                          : prove_separation(rest, a, b);
  return rest_at(rest)
      .separations.emplace(std::pair(a, b), std::move(made))
      .first->second;
}

ProvedClause MachineProver::prove_given_separation(int rest, Task a, Task b) {
  const CertifiedMachine& machine = machine_of(rest);
  const WrittenLiteral orders[] = {order_of(rest, a, b), order_of(rest, b, a)};
  const Task tasks[] = {a, b};
  ProvedClause moved[2];
  for (const std::size_t k : {0U, 1U}) {
    const CertifiedMachine::Pair& pair =
        machine.pairs[tasks[k] * machine.tasks.size() + tasks[1 - k]];
    if (pair.separation == 0 && pair.path.empty()) continue;  // the other way
    if (pair.separation != 0) {
      moved[k] = sum({literal_of_(pair.order)}, orders[k]);
      continue;
    }
    Literals path;
    for (const Literal literal : pair.path)
      path.push_back(literal_of_(literal));
    moved[k] = sum(path, orders[k]);
    std::vector<const ProvedClause*> units{&moved[k]};
    for (const ClauseNumber unit : pair.path_units) {
      units.push_back(&clause_of_(unit));
    }
    moved[k] = resolve(units);
    Literals both = moved[k].literals;
    both.push_back(orders[1 - k]);
    return text_.step(both, "weakening", {moved[k].step});
  }
  const ClauseNumber number =
      machine.pairs[a * machine.tasks.size() + b].separation;
  const ProvedClause given = clause_of_(number);
  return resolve({&given, &moved[0], &moved[1]});
}

// By whether each of both comes after the task that was taken out last.
ProvedClause MachineProver::prove_separation(int rest, Task a, Task b) {
  const int parent = rest_at(rest).parent;
  const Task n = rest_at(rest).taken;
  const Task tasks[] = {a, b};
  const ProvedClause& before = separation_of(parent, a, b);
  const WrittenLiteral conclusions[] = {order_of(rest, a, b),
                                        order_of(rest, b, a)};
  const WrittenLiteral given[] = {order_of(parent, a, b),
                                  order_of(parent, b, a)};
  // Both on one side of n, after it or before it: as before.
  ProvedClause sums[2][2];
  for (const std::size_t side : {0U, 1U}) {
    const bool is_after = side == 0;
    const WrittenLiteral equal[] = {branch_literal(rest, a, is_after),
                                    branch_literal(rest, b, is_after)};
    for (const std::size_t k : {0U, 1U}) {
      sums[side][k] =
          sum({given[k]}, conclusions[k], {equal[1 - k]}, {equal[k]});
    }
  }
  // One before n and the other after it.
  ProvedClause apart[2];
  for (const std::size_t k : {0U, 1U}) {
    const Task first = tasks[k];
    const Task second = tasks[1 - k];
    const ProvedClause between =
        sum({order_of(parent, first, n), order_of(parent, n, second)},
            conclusions[k], {branch_literal(rest, second, true)},
            {branch_literal(rest, first, false)});
    apart[k] = resolve({&between, &separation_of(parent, first, n),
                        &branch_of(rest, first, false),
                        &branch_of(rest, second, true)});
  }
  // Not both are before n, and b is after it or a is not: so b is after it. Not
  // both are after it, and a is or b is not: so b is not.
  const ProvedClause b_after =
      resolve({&sums[1][0], &before, &sums[1][1], &branch_of(rest, a, false),
               &branch_of(rest, b, false), &apart[1]});
  return resolve({&sums[0][0], &before, &sums[0][1], &branch_of(rest, a, true),
                  &branch_of(rest, b, true), &apart[0], &b_after});
}

// --- Terms and steps ---

WrittenId MachineProver::number_of(const Term* term) {
  return term == nullptr ? constant(QNumber(0)) : prover_.number(term);
}

WrittenId MachineProver::constant(const QNumber& value) {
  WrittenId& known = constants_[static_cast<int>(sort_)][value];
  if (known == kNotWritten) {
    known = terms_.leaf(store_.make_number(value, sort_));
  }
  return known;
}

WrittenId MachineProver::plus(WrittenId number, const QNumber& time) {
  if (number == kNotWritten) return constant(time);
  if (time.sign() == 0) return number;
  return terms_.apply("+", {number, constant(time)},
                      store_.make_number(QNumber(0), sort_));
}

// That a number by cases is its first branch, or its second one.
const ProvedClause& MachineProver::branch(WrittenId number, bool is_first) {
  ProvedClause& clause = branches_[2 * WrittenLiteral{number} + is_first];
  if (clause.step == 0) clause = prover_.prove_branch(number, is_first);
  return clause;
}

WrittenLiteral MachineProver::equal_literal(WrittenId left, WrittenId right) {
  return 2 * WrittenLiteral{
                 terms_.apply("=", {left, right}, store_.make_bool(true))};
}

WrittenLiteral MachineProver::compare(WrittenId left, WrittenId right,
                                      bool strict) {
  const WrittenId made =
      terms_.apply(strict ? "<" : "<=", {left, right}, store_.make_bool(true));
  coefficients_.try_emplace(made, "1");
  return 2 * WrittenLiteral{made};
}

// The clause that bounds add up to less than nothing, or to the conclusion,
// with what is equal to smaller and to greater things. No step if the
// conclusion is among the reasons.
ProvedClause MachineProver::sum(const Literals& reasons,
                                WrittenLiteral conclusion,
                                const Literals& raised,
                                const Literals& lowered) {
  Literals clause;
  for (const WrittenLiteral reason : reasons) {
    if (reason == conclusion) return ProvedClause();
    clause.push_back(reason ^ 1U);
  }
  append(clause, raised);
  append(clause, lowered);
  if (conclusion != 0) clause.push_back(conclusion);
  ProvedClause& proved = sums_[clause];
  if (proved.step != 0) return proved;
  std::string arguments;
  for (std::size_t k = 0; k < clause.size(); ++k) {
    const std::size_t equal = k - reasons.size();
    if (k > 0) arguments += ' ';
    if (k < reasons.size() || equal >= raised.size() + lowered.size()) {
      arguments += coefficient(clause[k]);
      continue;
    }
    clause[k] ^= 1U;
    arguments += equal < raised.size() ? "1" : "(- 1)";
  }
  return proved = text_.step(clause, "la_generic", {}, arguments);
}

const std::string& MachineProver::coefficient(WrittenLiteral comparison) {
  std::string& known = coefficients_[static_cast<WrittenId>(comparison / 2)];
  if (known.empty()) known = prover_.coefficient_of(comparison);
  return known;
}

ProvedClause MachineProver::resolve(
    const std::vector<const ProvedClause*>& clauses) {
  const ProvedClause* first = nullptr;
  std::vector<const ProvedClause*> others;
  for (const ProvedClause* clause : clauses) {
    if (clause->step == 0) continue;
    if (first == nullptr) {
      first = clause;
    } else {
      others.push_back(clause);
    }
  }
  if (first == nullptr) return ProvedClause();
  std::vector<std::uint64_t> premises{first->step};
  for (const ProvedClause* other : others) premises.push_back(other->step);
  ProvedClause& proved = resolvents_[std::move(premises)];
  if (proved.step == 0) proved = prover_.resolve(*first, others);
  return proved;
}

}  // namespace vorn::solver
