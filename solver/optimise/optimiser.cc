// SPDX-License-Identifier: MIT
#include "solver/optimise/optimiser.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vorn::solver {
namespace {

// What a value that turns out too small may cost while there are others.
constexpr std::uint64_t kProbeConflicts = 30;
// Where an objective behind others that have no bound lies may take long to
// find.
constexpr int kMostProbes = 300;

la::DNumber exactly(const QNumber& value) {
  return {value, QNumber(0)};
}

QNumber magnitude(const QNumber& number) {
  return number.sign() < 0 ? -number : number;
}

int sign_of(const la::DNumber& value) {
  const int sign = value.rational().sign();
  return sign != 0 ? sign : value.eps().sign();
}

Extent negate(const Extent& extent) {
  switch (extent.kind) {
    case Extent::Kind::kBelow:
      return {Extent::Kind::kAbove, {}};
    case Extent::Kind::kAbove:
      return {Extent::Kind::kBelow, {}};
    case Extent::Kind::kNumber:
      break;
  }
  return {Extent::Kind::kNumber,
          la::DNumber(-extent.value.rational(), -extent.value.eps())};
}

}  // namespace

Interval negate(const Interval& interval) {
  return {negate(interval.high), negate(interval.low), interval.is_settled};
}

Optimiser::Optimiser(TermStore& store, Engine& engine,
                     const std::vector<const Term*>& assumptions,
                     const std::vector<OptimiserGoal>& objectives)
    : store_(store),
      engine_(engine),
      given_(assumptions),
      assumptions_(assumptions),
      intervals_(objectives.size()) {
  for (const OptimiserGoal& objective : objectives) {
    const Term* term = objective.term;
    if (term == nullptr) {
      // What it costs, so that models tell; no bound is asked of it.
      const Term* zero = store_.make_number(QNumber(0));
      std::vector<const Term*> costs{zero};
      for (const OptimiserGoal::Soft& soft : objective.softs) {
        costs.push_back(store_.make_ite(soft.formula, zero,
                                        store_.make_number(soft.weight)));
      }
      term = store_.make_plus(costs);
    }
    targets_.emplace_back(term);
    softs_.push_back(objective.softs);
  }
}

Answer Optimiser::run() {
  assumptions_ = given_;
  has_model_ = false;
  const Answer answer = minimise_from(0);
  if (!has_model_) return answer;
  engine_.show_kept_model();
  return answer == Answer::kSat ? answer : Answer::kUnknown;
}

// Those before are held already.
Answer Optimiser::minimise_from(std::size_t first) {
  const std::uint64_t most_conflicts = engine_.conflict_limit();
  last_conflict_ = engine_.num_conflicts() + most_conflicts;
  if (most_conflicts == 0 || last_conflict_ < most_conflicts) {
    last_conflict_ = std::numeric_limits<std::uint64_t>::max();
  }
  // All of them from the start: bounds in them count for what is near and far.
  std::vector<const Term*> conditions;
  for (const Target& target : targets_) {
    conditions.insert(conditions.end(), target.conditions().begin(),
                      target.conditions().end());
  }
  engine_.set_conditions(std::move(conditions));
  Answer answer = Answer::kSat;
  for (std::size_t k = first; k < targets_.size(); ++k) {
    range_ = Range();
    engine_.set_target(&targets_[k]);
    answer = ask({}, 0);
    if (answer != Answer::kSat) break;
    if (!(softs_[k].empty() ? minimise(k) : minimise_softs(k))) {
      answer = Answer::kUnknown;
      break;
    }
    if (keeps_models_ || k + 1 < targets_.size()) fix(k);
  }
  engine_.set_target(nullptr);
  engine_.set_conditions({});
  engine_.set_conflict_limit(most_conflicts);
  engine_.set_fresh_conflicts(0);
  if (std::exchange(is_isolated_, false)) engine_.pop();
  return answer;
}

// What is learnt about bounds asked for from now on is forgotten at the end,
// with the bounds.
void Optimiser::isolate() {
  if (!std::exchange(is_isolated_, true)) engine_.push();
}

Interval Optimiser::find_least(const Term* term) {
  engine_.keep_model();
  const std::vector<const Term*> held = assumptions_;
  const std::vector<Interval> intervals = intervals_;
  const std::optional<QNumber> denominator = denominator_;
  const std::optional<QNumber> reach = reach_;
  std::size_t first = targets_.size();
  targets_.emplace_back(term);
  softs_.emplace_back();
  intervals_.emplace_back();
  if (denominator_ || reach_) {
    // What is near and far is another matter with another term.
    first = 0;
    assumptions_ = given_;
    denominator_.reset();
    reach_.reset();
  }
  keeps_models_ = false;
  minimise_from(first);
  keeps_models_ = true;
  engine_.show_kept_model();
  const Interval interval = intervals_.back();
  targets_.pop_back();
  softs_.pop_back();
  intervals_ = intervals;
  denominator_ = denominator;
  reach_ = reach;
  assumptions_ = held;
  return interval;
}

void Optimiser::keep_terms(TermSweep& sweep) const {
  // The given ones first, then those that hold objectives.
  sweep.keep(assumptions_);
  for (const Target& target : targets_) sweep.keep(target.term());
  for (const auto& softs : softs_) {
    for (const OptimiserGoal::Soft& soft : softs) sweep.keep(soft.formula);
  }
}

// Whether there is a model that keeps within the bounds;
// kUnknown also once there were so many conflicts, 0: as many as it takes.
Answer Optimiser::ask(const std::vector<const Term*>& bounds,
                      std::uint64_t most_conflicts) {
  const std::uint64_t conflicts = engine_.num_conflicts();
  std::uint64_t limit =
      last_conflict_ - std::min(last_conflict_ - 1, conflicts);
  if (most_conflicts > 0) limit = std::min(limit, most_conflicts);
  engine_.set_conflict_limit(limit);
  // A probe is far from the last model.
  engine_.set_fresh_conflicts(most_conflicts);
  std::vector<const Term*> assumptions = assumptions_;
  assumptions.insert(assumptions.end(), bounds.begin(), bounds.end());
  return engine_.check(assumptions);
}

// Requires: the engine has found a model. False if it was stopped.
bool Optimiser::minimise(std::size_t position) {
  const Target& target = targets_[position];
  take_model(position);
  const std::optional<la::DNumber> likely = engine_.likely_least();
  if (!is_settled() && !range_.low && !has_no_bound(position)) return false;
  if (likely && !probe_below(position, *likely)) return false;
  if (!probe(position)) return false;
  while (!is_settled()) {
    engine_.set_aim(*range_.low);
    switch (ask({better(target)}, 0)) {
      case Answer::kSat:
        take_model(position);
        break;
      case Answer::kUnsat:
        range_.low = range_.high;
        report(position);
        break;
      case Answer::kUnknown:
        return false;
    }
  }
  return true;
}

void Optimiser::take_model(std::size_t position) {
  if (keeps_models_) engine_.keep_model();
  has_model_ = true;
  if (!engine_.least_value()) {
    range_.is_unbounded = true;
  } else {
    range_.high = *engine_.least_value();
    // What formulas cost at least is what has been paid.
    if (softs_[position].empty()) {
      const std::optional<la::DNumber> known = engine_.known_least();
      if (known && (!range_.low || *range_.low < *known)) range_.low = known;
    }
  }
  report(position);
}

// Finds out whether there is a bound at all. False if it was stopped.
bool Optimiser::has_no_bound(std::size_t position) {
  isolate();
  const Target& target = targets_[position];
  const QNumber far = -reach_of(target, engine_.scale().reach);
  switch (ask({at_most(target, far)}, 0)) {
    case Answer::kSat:
      if (keeps_models_) engine_.keep_model();
      range_.is_unbounded = true;
      report(position);
      return true;
    case Answer::kUnsat:
      refute(position, far);
      return true;
    case Answer::kUnknown:
      break;
  }
  return false;
}

// Moves both ends as far as few conflicts do: first the lower one, in growing
// steps until there is a model, by values that are too small, since the best is
// often close to what little work refutes; then the upper one, by values above
// what nobody knows. False if it was stopped.
bool Optimiser::probe(std::size_t position) {
  const QNumber unit = unit_of(targets_[position]);
  const auto middle_of = [&unit](const QNumber& a, const QNumber& b) {
    QNumber middle = a;
    middle += b;
    middle /= QNumber(2);
    middle /= unit;
    middle = middle.floor();
    return middle *= unit;
  };
  // No model is there, or nobody knows.
  QNumber unknown = range_.high.rational();
  QNumber step;
  for (int k = 0; k < kMostProbes && !is_settled(); ++k) {
    QNumber least = range_.low->rational();
    if (range_.low->eps().sign() > 0) least += unit;
    if (!(least < unknown)) break;
    QNumber value = least;
    value += step;
    value = std::max(least, std::min(value, middle_of(least, unknown)));
    const std::optional<Answer> answer = probe_at(position, value);
    if (!answer) return false;
    switch (*answer) {
      case Answer::kSat:
        unknown = range_.high.rational();
        break;
      case Answer::kUnsat:
        step *= QNumber(2);
        step += unit;
        break;
      case Answer::kUnknown:
        unknown = value;
        break;
    }
  }
  for (int k = 0; k < kMostProbes && !is_settled(); ++k) {
    const QNumber middle = middle_of(unknown, range_.high.rational());
    if (!(unknown < middle)) break;
    const std::optional<Answer> answer = probe_at(position, middle);
    if (!answer) return false;
    if (*answer != Answer::kSat) unknown = middle;
  }
  return true;
}

// What values of the target are multiples of, but for those that it only
// approaches, and where an objective before is held near its own.
QNumber Optimiser::unit_of(const Target& target) const {
  if (target.term()->sort == Sort::kInt) return QNumber(1);
  QNumber denominator = engine_.scale().denominator;
  denominator *= all_denominators();
  if (denominator_) denominator = *denominator_;
  return QNumber(1) /= denominator;
}

// Whether the target is below what is likely to be its least value. False if it
// was stopped.
bool Optimiser::probe_below(std::size_t position, const la::DNumber& likely) {
  if (is_settled() || !(*range_.low < likely)) return true;
  const Target& target = targets_[position];
  const bool is_best = !(likely < range_.high);
  const Term* bound =
      is_best ? better(target)
              : store_.make_less(target.term(),
                                 store_.make_number(likely.rational()));
  const Answer answer = ask({bound}, kProbeConflicts);
  if (answer == Answer::kSat) take_model(position);
  if (answer == Answer::kUnsat) {
    la::DNumber low = range_.high;
    if (!is_best) low = exactly(likely.rational());
    if (*range_.low < low) range_.low = low;
    report(position);
  }
  return answer != Answer::kUnknown || may_go_on();
}

// After a check that ended without an answer: that it was for the limit of a
// probe alone.
bool Optimiser::may_go_on() const {
  return engine_.unknown_reason() == UnknownReason::kConflictLimit &&
         engine_.num_conflicts() < last_conflict_;
}

// Whether the target can be so small, if few conflicts tell; nothing if it was
// stopped.
std::optional<Answer> Optimiser::probe_at(std::size_t position,
                                          const QNumber& value) {
  const Answer answer =
      ask({at_most(targets_[position], value)}, kProbeConflicts);
  switch (answer) {
    case Answer::kSat:
      take_model(position);
      break;
    case Answer::kUnsat:
      refute(position, value);
      break;
    case Answer::kUnknown:
      if (!may_go_on()) return {};
      break;
  }
  return answer;
}

// There is no model with this value or a smaller one.
void Optimiser::refute(std::size_t position, const QNumber& value) {
  QNumber low = value;
  const bool is_integer = targets_[position].term()->sort == Sort::kInt;
  if (is_integer) {
    low = low.floor();
    low += QNumber(1);
  }
  range_.low = la::DNumber(low, QNumber(is_integer ? 0 : 1));
  report(position);
}

bool Optimiser::is_settled() const {
  return range_.is_unbounded || (range_.low && !(*range_.low < range_.high));
}

void Optimiser::report(std::size_t position) {
  const Target& target = targets_[position];
  Interval& interval = intervals_[position];
  interval.is_settled = is_settled();
  if (range_.is_unbounded) {
    interval.low = interval.high = {Extent::Kind::kBelow, {}};
  } else {
    interval.high = extent_of(range_.high, target);
    if (is_settled()) {
      interval.low = interval.high;
    } else if (range_.low) {
      interval.low = extent_of(*range_.low, target);
    }
  }
  if (progress_ && keeps_models_) progress_(position);
}

// Holds an objective where it is least, for what comes behind it.
void Optimiser::fix(std::size_t position) {
  if (!softs_[position].empty()) {
    assumptions_.insert(assumptions_.end(), kept_softs_.begin(),
                        kept_softs_.end());
    return;
  }
  const Target& target = targets_[position];
  const Engine::Scale scale = engine_.scale();
  QNumber bound = range_.high.rational();
  if (range_.is_unbounded || range_.high.eps().sign() > 0) isolate();
  if (range_.is_unbounded) {
    // Whatever hangs on this lies beyond all that does not.
    if (!reach_) reach_ = scale.reach;
    QNumber far(1);
    for (const Target& one : targets_) far += reach_of(one, scale.reach);
    far *= all_factors();
    far *= all_denominators();
    far *= QNumber(4);
    bound = -far;
  } else if (range_.high.eps().sign() > 0) {
    // Whatever hangs on this lies closer to its number than any other does.
    QNumber denominator = scale.denominator;
    denominator *= all_denominators();
    if (!denominator_) denominator_ = denominator;
    QNumber near(1);
    near /= denominator;
    near /= denominator;
    near /= all_factors();
    near /= QNumber(4);
    bound += near;
  }
  assumptions_.push_back(at_most(target, bound));
}

// What a value is where objectives before are least, and not only near to it.
Extent Optimiser::extent_of(const la::DNumber& value,
                            const Target& target) const {
  if (reach_ && reach_of(target, *reach_) < magnitude(value.rational())) {
    return {sign_of(value) < 0 ? Extent::Kind::kBelow : Extent::Kind::kAbove,
            {}};
  }
  QNumber number = value.rational();
  int side = value.eps().sign();
  if (denominator_) {
    number *= *denominator_;
    number += QNumber(1) /= QNumber(2);
    number = number.floor();
    number /= *denominator_;
    QNumber rest = value.rational();
    rest -= number;
    if (rest.sign() != 0) side = rest.sign();
  }
  return {Extent::Kind::kNumber, la::DNumber(number, QNumber(side))};
}

const Term* Optimiser::at_most(const Target& target, const QNumber& value) {
  return store_.make_leq(target.term(), store_.make_number(value));
}

// Asks for less than the best so far.
const Term* Optimiser::better(const Target& target) {
  const QNumber& value = range_.high.rational();
  if (range_.high.eps().sign() > 0) return at_most(target, value);
  return store_.make_less(target.term(), store_.make_number(value));
}

// Further out than the term is wherever it has a least or a greatest value.
QNumber Optimiser::reach_of(const Target& target, const QNumber& reach) {
  QNumber result = reach;
  result *= target.most_factor();
  result += target.most_constant();
  result += QNumber(1);
  return result;
}

QNumber Optimiser::all_factors() const {
  QNumber result(1);
  for (const Target& target : targets_) result += target.most_factor();
  return result;
}

QNumber Optimiser::all_denominators() const {
  QNumber result(1);
  for (const Target& target : targets_) result *= target.denominator();
  return result;
}

// --- Formulas with weights ---

// Requires: the engine has found a model. False if it was stopped.
bool Optimiser::minimise_softs(std::size_t position) {
  std::vector<Assumed> assumed;
  QNumber least_weight;
  for (const OptimiserGoal::Soft& soft : softs_[position]) {
    if (soft.weight.sign() == 0) continue;
    assumed.push_back({soft.formula, soft.weight, {}, 0});
    least_weight = std::max(least_weight, soft.weight);
  }
  range_.low = la::DNumber();
  take_model(position);
  while (!is_settled()) {
    // The heaviest first, and lighter ones once these hold.
    std::vector<const Term*> formulas;
    std::vector<std::size_t> asked;
    QNumber next;
    for (std::size_t k = 0; k < assumed.size(); ++k) {
      if (assumed[k].weight < least_weight) {
        next = std::max(next, assumed[k].weight);
        continue;
      }
      asked.push_back(k);
      formulas.push_back(assumed[k].formula);
    }
    switch (ask(formulas, 0)) {
      case Answer::kSat:
        if (*engine_.least_value() < range_.high) take_model(position);
        if (!is_settled() && next.sign() == 0) return false;
        least_weight = next;
        break;
      case Answer::kUnsat:
        if (!take_core(assumed, asked)) return false;
        report(position);
        break;
      case Answer::kUnknown:
        return false;
    }
  }
  kept_softs_.clear();
  for (const Assumed& one : assumed) kept_softs_.push_back(one.formula);
  return true;
}

// Lets the formulas that failed pay. `asked`: positions of those that were
// assumed. False if none of them failed.
bool Optimiser::take_core(std::vector<Assumed>& assumed,
                          const std::vector<std::size_t>& asked) {
  std::vector<std::size_t> core;
  std::vector<const Term*> members;
  QNumber price;
  for (const std::size_t failed : engine_.failed_assumptions()) {
    if (failed < assumptions_.size()) continue;
    core.push_back(asked[failed - assumptions_.size()]);
    const Assumed& one = assumed[core.back()];
    members.push_back(one.formula);
    price = core.size() == 1 ? one.weight : std::min(price, one.weight);
  }
  if (core.empty()) return false;
  *range_.low += exactly(price);
  for (const std::size_t k : core) {
    assumed[k].weight -= price;
    const std::size_t most = assumed[k].most + 1;
    if (most >= assumed[k].members.size()) continue;
    std::vector<const Term*> same = assumed[k].members;
    const Term* looser = at_most_fail(same, most);
    assumed.push_back({looser, price, std::move(same), most});
  }
  if (members.size() > 1) {
    const Term* one = at_most_fail(members, 1);
    assumed.push_back({one, price, std::move(members), 1});
  }
  assumed.erase(
      std::remove_if(assumed.begin(), assumed.end(),
                     [](const Assumed& one) { return one.weight.sign() == 0; }),
      assumed.end());
  return true;
}

const Term* Optimiser::at_most_fail(const std::vector<const Term*>& members,
                                    std::size_t most) {
  const Term* zero = store_.make_number(QNumber(0));
  const Term* one = store_.make_number(QNumber(1));
  std::vector<const Term*> failures{zero};
  for (const Term* member : members) {
    failures.push_back(store_.make_ite(member, zero, one));
  }
  return store_.make_leq(store_.make_plus(failures),
                         store_.make_number(QNumber(most)));
}

}  // namespace vorn::solver
