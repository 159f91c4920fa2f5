// SPDX-License-Identifier: MIT
#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>

#include "tests/model/trace.h"

// Random traces. Each one first draws its own character: how many nodes and
// constraints (fewer in a short trace, which has to come to conflicts soon),
// what weights look like, how deep it backtracks. A model runs
// along, because the caller has to take back a constraint after a failed check
// and because a lemma walk that would not end has to be seen beforehand.
//
// Conflicts worth comparing need cycles that share edges, so edges prefer the
// ring of successive nodes, and weights come from a small pool, so that sums
// meet exactly.

namespace vorn::model {

namespace {

enum class WeightClass {
  kSmall,       // small integers
  kFraction,    // small mixed denominators
  kStrict,      // with an eps part, mostly negative
  kWordEdge,    // about 2^62 and 2^63, above and below the fraction bar
  kBeyondWord,  // up to some 200 bits
  kMixed,       // all of them together
};

mpz_class power_of_two(unsigned exponent) {
  mpz_class value = 1;
  value <<= exponent;
  return value;
}

class Generator {
 public:
  Generator(std::uint64_t seed, std::size_t length)
      : random_(seed), length_(length) {
    draw_character();
  }

  Trace run();

 private:
  /// Uniform in [low, high]; the standard distributions differ by library, so
  /// that seeds would not carry over.
  int between(int low, int high) {
    const auto span = static_cast<std::uint64_t>(high - low) + 1;
    return low + static_cast<int>(random_() % span);
  }
  bool chance(int percent) { return between(1, 100) <= percent; }

  void draw_character();
  bool full() const { return trace_.size() >= length_; }
  void emit(const Call& call);
  void emit(CallKind kind, int constraint);

  void step();
  void tell();
  void push_some();
  void check();
  void pop_to(std::size_t depth);
  void backtrack_from_failure();
  void retract();
  void configure();
  void drain();
  void dump_list();
  void logger();
  void reset();

  int random_node();
  EdgeRecord random_edge(int id);
  EdgeRecord opposite_edge(int id);
  mpz_class random_bits(int bits);
  mpq_class fraction(int low, int high, int max_denominator);
  mpq_class pool_value(WeightClass weights);
  Weight random_weight();

  std::mt19937_64 random_;
  std::size_t length_;
  Trace trace_;
  Contract contract_;
  GraphModel model_;
  /// The last registration of each constraint, kept beyond its retraction.
  std::map<int, Call> told_;
  /// The constraints that failed last, oldest first.
  std::vector<int> failed_;

  int num_nodes_ = 0;
  int first_node_ = 0;
  int node_stride_ = 1;
  int num_constraints_ = 0;
  int first_constraint_ = 0;
  int pair_percent_ = 0;
  int ring_percent_ = 0;
  int opposite_percent_ = 0;
  int loop_percent_ = 0;
  int positive_percent_ = 0;
  int retract_percent_ = 0;
  int batch_ = 1;
  bool own_ids_ = true;
  bool step_around_endless_walks_ = true;
  bool halted_ = false;
  WeightClass weights_ = WeightClass::kSmall;
  std::vector<std::pair<WeightClass, mpq_class>> pool_;
};

void Generator::draw_character() {
  const bool is_short = length_ < 60;
  const bool is_large = length_ > 150 && chance(20);
  num_nodes_ = between(2, is_short ? 5 : is_large ? 30 : 10);
  first_node_ = chance(60) ? 0 : 1;
  node_stride_ = chance(80) ? 1 : chance(80) ? 3 : 40;
  num_constraints_ = between(3, is_short ? 12 : is_large ? 90 : 30);
  first_constraint_ = chance(40) ? 0 : between(1, 3);
  pair_percent_ = chance(50) ? 0 : between(5, 60);
  ring_percent_ = between(0, 90);
  opposite_percent_ = chance(60) ? 0 : between(10, 80);
  loop_percent_ = chance(50) ? 0 : between(2, 12);
  positive_percent_ = between(45, 85);
  retract_percent_ = chance(50) ? 10 : 100;
  batch_ = chance(50) ? 1 : between(2, 6);
  own_ids_ = chance(90);
  step_around_endless_walks_ = chance(70);
  weights_ = static_cast<WeightClass>(between(0, 5));
  const int pool_size = between(2, 8);
  for (int k = 0; k < pool_size; ++k) {
    const WeightClass weights = weights_ == WeightClass::kMixed
                                    ? static_cast<WeightClass>(between(0, 4))
                                    : weights_;
    pool_.emplace_back(weights, pool_value(weights));
  }
}

mpz_class Generator::random_bits(int bits) {
  mpz_class value = 1;
  for (int k = 1; k < bits; ++k) {
    value = 2 * value + between(0, 1);
  }
  return value;
}

mpq_class Generator::fraction(int low, int high, int max_denominator) {
  const int numerator = between(low, high);
  const int denominator = between(1, max_denominator);
  mpq_class value(numerator, denominator);
  value.canonicalize();
  return value;
}

/// A magnitude, so never negative.
mpq_class Generator::pool_value(WeightClass weights) {
  switch (weights) {
    case WeightClass::kSmall:
    case WeightClass::kStrict:
      return between(0, 6);
    case WeightClass::kFraction:
      return fraction(0, 24, 6);
    case WeightClass::kWordEdge: {
      const unsigned exponent = chance(50) ? 62 : 63;
      const mpz_class edge = power_of_two(exponent) + between(-3, 3);
      mpq_class value(edge);
      if (chance(40)) {
        value = mpq_class(mpz_class(between(1, 9)), edge);
      } else if (chance(40)) {
        value = mpq_class(edge, mpz_class(between(2, 7)));
      } else if (chance(20)) {
        value = mpq_class(edge, power_of_two(62) + between(1, 9));
      }
      value.canonicalize();
      return value;
    }
    case WeightClass::kBeyondWord:
    case WeightClass::kMixed: {
      mpq_class value(random_bits(between(60, 200)));
      if (chance(40)) {
        value /= random_bits(between(2, 130));
      }
      return value;
    }
  }
  return 0;
}

Weight Generator::random_weight() {
  const auto& drawn = pool_[static_cast<std::size_t>(
      between(0, static_cast<int>(pool_.size()) - 1))];
  Weight weight;
  weight.rational = drawn.second;
  if (chance(25)) {
    weight.rational += between(-2, 2);
  }
  if (!chance(positive_percent_)) {
    weight.rational = -weight.rational;
  }
  const bool strict = drawn.first == WeightClass::kStrict;
  if (strict ? chance(75) : chance(4)) {
    if (chance(70)) {
      weight.eps = -1;
    } else if (chance(50)) {
      weight.eps = between(-3, 3);
    } else {
      weight.eps = fraction(-5, 5, 4);
    }
    if (chance(3)) {
      weight.eps *= mpz_class(power_of_two(62) + between(0, 2));
    }
  }
  return weight;
}

int Generator::random_node() {
  return first_node_ + node_stride_ * between(0, num_nodes_ - 1);
}

EdgeRecord Generator::random_edge(int id) {
  EdgeRecord edge;
  edge.source = random_node();
  if (chance(loop_percent_)) {
    edge.target = edge.source;
  } else if (chance(ring_percent_)) {
    const int place = (edge.source - first_node_) / node_stride_;
    edge.target = first_node_ + node_stride_ * ((place + 1) % num_nodes_);
  } else {
    edge.target = random_node();
    if (edge.target == edge.source && !chance(loop_percent_)) {
      edge.target = random_node();
    }
  }
  edge.weight = random_weight();
  edge.id = own_ids_ ? id : between(0, 99);
  return edge;
}

/// The negation of a bound that is registered: of the bound over reals, or of
/// one over integers. Requires: something is registered.
EdgeRecord Generator::opposite_edge(int id) {
  const std::set<int>& registered = contract_.registered();
  auto place = registered.begin();
  std::advance(place, between(0, static_cast<int>(registered.size()) - 1));
  EdgeRecord edge = told_[*place].first;
  std::swap(edge.source, edge.target);
  edge.weight.rational = -edge.weight.rational;
  edge.weight.eps = -edge.weight.eps;
  if (weights_ == WeightClass::kStrict || chance(20)) {
    edge.weight.eps -= 1;
  } else {
    edge.weight.rational -= 1;
  }
  edge.id = id;
  return edge;
}

void Generator::emit(const Call& call) {
  if (full() || halted_) {
    return;
  }
  contract_.apply(call);
  trace_.push_back(call);
  switch (call.kind) {
    case CallKind::kTell:
      model_.tell_edge(call.constraint, call.first);
      break;
    case CallKind::kTellBi:
      model_.tell_bi_edge(call.constraint, call.first, call.second);
      break;
    case CallKind::kPush:
      model_.push_edge(call.constraint);
      break;
    case CallKind::kPop:
      model_.pop_edge(call.constraint);
      break;
    case CallKind::kRetract:
      model_.retract_edge(call.constraint);
      break;
    case CallKind::kReset:
      model_.reset(call.flag);
      break;
    case CallKind::kConfigure:
      model_.set_settings(call.settings);
      break;
    default:
      break;
  }
}

void Generator::emit(CallKind kind, int constraint) {
  Call call;
  call.kind = kind;
  call.constraint = constraint;
  emit(call);
}

void Generator::tell() {
  const int constraint = first_constraint_ + between(0, num_constraints_ - 1);
  if (contract_.is_registered(constraint)) {
    push_some();
    return;
  }
  if (told_.count(constraint) != 0 && chance(30)) {
    emit(told_[constraint]);
    return;
  }
  Call call;
  call.constraint = constraint;
  call.kind = chance(pair_percent_) ? CallKind::kTellBi : CallKind::kTell;
  const bool is_opposite =
      !contract_.registered().empty() && chance(opposite_percent_);
  call.first =
      is_opposite ? opposite_edge(2 * constraint) : random_edge(2 * constraint);
  if (call.kind == CallKind::kTellBi) {
    call.second = random_edge(2 * constraint + 1);
    if (chance(70)) {
      call.second.source = call.first.target;
      call.second.target = call.first.source;
    }
  }
  told_[constraint] = call;
  emit(call);
}

void Generator::push_some() {
  std::vector<int> idle;
  for (int constraint : contract_.registered()) {
    if (!contract_.is_pushed(constraint)) {
      idle.push_back(constraint);
    }
  }
  for (int k = between(1, batch_); k > 0 && !idle.empty(); --k) {
    const int at = between(0, static_cast<int>(idle.size()) - 1);
    emit(CallKind::kPush, idle[static_cast<std::size_t>(at)]);
    idle.erase(idle.begin() + at);
  }
  if (chance(85)) {
    check();
  }
}

void Generator::check() {
  if (full() || halted_) {
    return;
  }
  const Settings settings = model_.settings();
  if (model_.next_check_would_not_end()) {
    if (!step_around_endless_walks_) {
      emit(CallKind::kCheck, 0);
      halted_ = true;
      return;
    }
    Call call;
    call.kind = CallKind::kConfigure;
    call.settings = model_.settings();
    call.settings.tlemma_kinds = 0;
    emit(call);
  }
  emit(CallKind::kCheck, 0);
  const bool consistent = full() || model_.check();
  if (model_.settings().tlemma_kinds != settings.tlemma_kinds) {
    Call call;
    call.kind = CallKind::kConfigure;
    call.settings = settings;
    emit(call);
  }
  if (!consistent) {
    if (chance(30)) {
      drain();
    }
    if (chance(10)) {
      emit(CallKind::kDumpConflicts, 0);
    }
    backtrack_from_failure();
  }
}

void Generator::pop_to(std::size_t depth) {
  while (contract_.stack().size() > depth && !full() && !halted_) {
    emit(CallKind::kPop, contract_.stack().back());
  }
}

void Generator::backtrack_from_failure() {
  if (model_.pending().empty() || chance(3)) {
    return;
  }
  const int failing = model_.pending().front() / 2;
  failed_.push_back(failing);
  if (failed_.size() > 3) {
    failed_.erase(failed_.begin());
  }
  const std::vector<int>& stack = contract_.stack();
  const auto place = std::find(stack.begin(), stack.end(), failing);
  const int least = static_cast<int>(place - stack.begin());
  const int depth = chance(65) ? least : between(0, least);
  pop_to(static_cast<std::size_t>(depth));
}

void Generator::retract() {
  std::vector<int> idle;
  for (int constraint : contract_.registered()) {
    if (!contract_.is_pushed(constraint)) {
      idle.push_back(constraint);
    }
  }
  if (!idle.empty()) {
    const int at = between(0, static_cast<int>(idle.size()) - 1);
    emit(CallKind::kRetract, idle[static_cast<std::size_t>(at)]);
  }
}

void Generator::configure() {
  constexpr float kOverlaps[] = {0.0F, 0.3F, 0.5F, 0.7F, 1.0F};
  Call call;
  call.kind = CallKind::kConfigure;
  call.settings.tlemma_kinds = chance(60) ? 3 : between(0, 3);
  call.settings.tlemma_min_overlap = kOverlaps[chance(40) ? 0 : between(0, 4)];
  call.settings.dedup_tlemmas = chance(50);
  emit(call);
}

void Generator::drain() {
  Call call;
  call.kind = CallKind::kDrain;
  call.count = between(1, 6);
  emit(call);
}

void Generator::dump_list() {
  Call call;
  call.kind = CallKind::kDumpList;
  call.flag = chance(60);
  for (int k = between(0, 5); k > 0; --k) {
    call.ids.push_back(between(0, 2 * (first_constraint_ + num_constraints_)));
  }
  emit(call);
}

void Generator::logger() {
  Call call;
  call.kind = CallKind::kLogger;
  call.count = chance(75) ? between(2, 9) : between(-1, 1);
  emit(call);
}

/// Half of the time the same constraints come again in the same order, with
/// those that failed last, so that what was learnt before is found again.
void Generator::reset() {
  const std::set<int> registered = contract_.registered();
  const std::vector<int> stack = contract_.stack();
  const std::vector<int> failed = failed_;
  Call call;
  call.kind = CallKind::kReset;
  call.flag = chance(50);
  emit(call);
  if (!chance(50)) {
    return;
  }
  for (int constraint : registered) {
    emit(told_[constraint]);
  }
  for (const std::vector<int>* list : {&stack, &failed}) {
    for (int constraint : *list) {
      if (contract_.is_registered(constraint) &&
          !contract_.is_pushed(constraint)) {
        emit(CallKind::kPush, constraint);
        check();
      }
    }
  }
}

void Generator::step() {
  const int dice = between(1, 1000);
  if (dice <= 300) {
    tell();
  } else if (dice <= 650) {
    push_some();
  } else if (dice <= 710) {
    check();
  } else if (dice <= 810) {
    const int size = static_cast<int>(contract_.stack().size());
    pop_to(static_cast<std::size_t>(
        chance(70) ? std::max(0, size - between(1, 3)) : between(0, size)));
  } else if (dice <= 900) {
    if (chance(retract_percent_)) {
      retract();
    } else {
      push_some();
    }
  } else if (dice <= 920) {
    configure();
  } else if (dice <= 950) {
    drain();
  } else if (dice <= 970) {
    emit(CallKind::kDumpConflicts, 0);
  } else if (dice <= 985) {
    dump_list();
  } else if (dice <= 991) {
    logger();
  } else {
    reset();
  }
}

Trace Generator::run() {
  if (chance(90)) {
    Call call;
    call.kind = CallKind::kLogger;
    call.count = 2;
    emit(call);
  }
  configure();
  while (!full() && !halted_) {
    step();
  }
  return std::move(trace_);
}

}  // namespace

Trace random_trace(std::uint64_t seed, std::size_t length) {
  return Generator(seed, length).run();
}

}  // namespace vorn::model
