// SPDX-License-Identifier: MIT
#include "tests/bruteforce/decision.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>

// A state is a set of decisions: values of Boolean variables, and bounds
// target - source <= weight with all their consequences, kept as the matrix of
// shortest paths. In a state a formula is true, false or open; an open one
// names a decision that it waits for, and both ways are tried. A bound that
// follows from the state, or contradicts it, needs no decision; so every state
// that is reached and consistent has a model, and if all formulas are true in
// it, that model satisfies them.
//
// A bound between an integer and a real is one of reals. What paths over reals
// leave to integers is rounded, and then to what that leaves to reals, until
// nothing changes; if then no path leads below zero on its way back, there are
// values. So a state may turn out to have no model, after all.
//
// A weight is a pair of exact rationals: the second one counts an infinitesimal
// that strict bounds of real variables subtract. Bounds of integer variables
// are rounded to integers; shortest paths with integer weights have integer
// solutions.

namespace vorn::bruteforce {
namespace {

// Further out than all sums of the scripts' numbers.
const mpq_class kFar("1" + std::string(60, '0'));

// By value, then by the infinitesimal.
struct Weight {
  mpq_class value;
  int eps = 0;
};

bool operator<(const Weight& a, const Weight& b) {
  const int order = cmp(a.value, b.value);
  return order != 0 ? order < 0 : a.eps < b.eps;
}

Weight operator+(const Weight& a, const Weight& b) {
  return {a.value + b.value, a.eps + b.eps};
}

// target - source <= weight; position 0 is the constant 0.
struct Bound {
  // Whether it is one of integers alone.
  bool integer = true;
  std::size_t source = 0;
  std::size_t target = 0;
  Weight weight;
};

Bound negation(const Bound& bound) {
  // not (t - s <= w) is s - t < -w.
  Bound result{bound.integer, bound.target, bound.source, {}};
  result.weight.value = -bound.weight.value;
  if (bound.integer) {
    result.weight.value -= 1;
  } else {
    result.weight.eps = bound.weight.eps < 0 ? 0 : -1;
  }
  return result;
}

// Shortest paths between all pairs of positions. The constant 0 comes first,
// then the integers, then the reals.
class Paths {
 public:
  Paths(std::size_t num_ints, std::size_t num_reals)
      : size_(1 + num_ints + num_reals),
        num_integers_(1 + num_ints),
        shortest_(size_ * size_, std::nullopt) {
    const std::size_t size = size_;
    for (std::size_t i = 0; i < size; ++i) at(i, i) = Weight{0, 0};
  }

  bool implies(const Bound& bound) const {
    const auto& path = at(bound.source, bound.target);
    return path && !(bound.weight < *path);
  }
  bool contradicts(const Bound& bound) const {
    const auto& back = at(bound.target, bound.source);
    return back && *back + bound.weight < Weight{0, 0};
  }
  // False once integers are left no values.
  bool is_consistent() const {
    for (std::size_t i = 0; i < size_; ++i) {
      if (*at(i, i) < Weight{0, 0}) return false;
    }
    return true;
  }
  // The length of the shortest path.
  const std::optional<Weight>& path(std::size_t source,
                                    std::size_t target) const {
    return at(source, target);
  }
  // Requires: does not contradict the bound.
  void add(const Bound& bound) {
    for (std::size_t i = 0; i < size_; ++i) {
      const auto to_source = at(i, bound.source);
      if (!to_source) continue;
      for (std::size_t j = 0; j < size_; ++j) {
        const auto& from_target = at(bound.target, j);
        if (!from_target) continue;
        const Weight length = *to_source + bound.weight + *from_target;
        auto& best = at(i, j);
        if (!best || length < *best) best = length;
      }
    }
    while (round() && is_consistent()) close();
  }

 private:
  // Rounds what paths over reals leave to integers. False if nothing changed.
  bool round() {
    bool changed = false;
    for (std::size_t i = 0; i < num_integers_; ++i) {
      for (std::size_t j = 0; j < num_integers_; ++j) {
        auto& path = at(i, j);
        if (!path) continue;
        Weight rounded{floor(path->value), 0};
        if (rounded.value == path->value && path->eps < 0) rounded.value -= 1;
        if (!(rounded < *path)) continue;
        path = rounded;
        changed = true;
      }
    }
    return changed;
  }
  void close() {
    for (std::size_t k = 0; k < size_; ++k) {
      for (std::size_t i = 0; i < size_; ++i) {
        if (!at(i, k)) continue;
        for (std::size_t j = 0; j < size_; ++j) {
          if (!at(k, j)) continue;
          const Weight length = *at(i, k) + *at(k, j);
          auto& best = at(i, j);
          if (!best || length < *best) best = length;
        }
      }
    }
  }

  std::optional<Weight>& at(std::size_t i, std::size_t j) {
    return shortest_[i * size_ + j];
  }
  const std::optional<Weight>& at(std::size_t i, std::size_t j) const {
    return shortest_[i * size_ + j];
  }

  std::size_t size_;
  std::size_t num_integers_;  // the constant 0 included
  std::vector<std::optional<Weight>> shortest_;
};

enum class Truth { kFalse, kTrue, kOpen };

Truth opposite(Truth a) {
  if (a == Truth::kOpen) return a;
  return a == Truth::kTrue ? Truth::kFalse : Truth::kTrue;
}

struct State {
  std::vector<Truth> bools;
  Paths paths;
};

// What to choose next: a bound, or a Boolean variable.
struct Decision {
  std::optional<Bound> bound;
  std::size_t variable = 0;
};

// A sum of multiples of variables, and a number.
struct Sum {
  std::map<std::size_t, mpq_class> factors;  // by position
  mpq_class constant;

  void add(const Sum& other, const mpq_class& factor) {
    for (const auto& [variable, amount] : other.factors) {
      factors[variable] += factor * amount;
    }
    constant += factor * other.constant;
  }
};

// "sum <= 0" or "sum < 0" as a bound, or as the constant that it is.
struct Reading {
  std::optional<Bound> bound;
  bool constant = false;
};

[[noreturn]] void die(const char* message) {
  std::cerr << "brute force: " << message << '\n';
  std::abort();
}

Reading read(const Sum& sum, std::size_t num_ints, bool strict) {
  std::vector<std::pair<std::size_t, mpq_class>> terms;
  bool integer = true;
  for (const auto& [position, factor] : sum.factors) {
    if (factor == 0) continue;
    integer = integer && position <= num_ints;
    terms.emplace_back(position, factor);
  }
  if (terms.empty()) {
    return {std::nullopt, strict ? sum.constant < 0 : sum.constant <= 0};
  }
  if (terms.size() == 1) terms.emplace_back(0, -terms[0].second);
  if (terms.size() > 2 || terms[0].second + terms[1].second != 0) {
    die("a comparison is no difference");
  }
  if (terms[0].second < 0) std::swap(terms[0], terms[1]);
  // factor * (target - source) + constant against 0.
  Bound bound{integer, terms[1].first, terms[0].first, {}};
  const mpq_class limit = -sum.constant / terms[0].second;
  if (!integer) {
    bound.weight = {limit, strict ? -1 : 0};
  } else if (strict && floor(limit) == limit) {
    bound.weight = {limit - 1, 0};
  } else {
    bound.weight = {floor(limit), 0};
  }
  return {bound, false};
}

class Enumeration {
 public:
  // `most_states`: how many may be looked at.
  Enumeration(const std::vector<Formula>& formulas, std::uint64_t most_states)
      : formulas_(formulas), states_left_(most_states) {}

  // Nothing if there are more states.
  std::optional<bool> run() {
    const bool result = has_model(start({}));
    if (gave_up_) return std::nullopt;
    return result;
  }

  // The best values, of terms that are to be small. Nothing likewise.
  std::optional<std::vector<Optimum>> minimise(
      const std::vector<Formula>& terms) {
    terms_ = &terms;
    has_model(start(terms));
    if (gave_up_) return std::nullopt;
    return best_;
  }

 private:
  State start(const std::vector<Formula>& terms) {
    std::size_t counts[3] = {0, 0, 0};
    for (const Formula& formula : formulas_) count_variables(*formula, counts);
    for (const Formula& term : terms) count_variables(*term, counts);
    num_ints_ = counts[1];
    return {std::vector<Truth>(counts[0], Truth::kOpen),
            Paths(counts[1], counts[2])};
  }

  // The models of a state, of which all formulas are true, as candidates for
  // the best ones. False if a case of a term is open.
  bool look_for_best(State state) {
    std::vector<Sum> sums;
    for (const Formula& term : *terms_) {
      bool conditional = false;
      if (!add(*term, 1, state, sums.emplace_back(), conditional)) return false;
    }
    std::vector<Optimum> optima;
    mpq_class near(1, 1000000);
    mpq_class far = kFar;
    for (const Sum& sum : sums) {
      const auto optimum = least(sum, state, near);
      if (!optimum) {
        gave_up_ = true;
        return true;
      }
      mpq_class bound = optimum->value;
      if (optimum->infinity != 0) bound = -far;
      if (optimum->side != 0) bound += near;
      constrain(sum, bound, state.paths);
      if (optimum->infinity != 0) far *= kFar;
      near /= 1000000;
      optima.push_back(*optimum);
    }
    const auto rank = [](const Optimum& o) {
      return std::make_tuple(o.infinity, o.value, o.side);
    };
    const auto is_less = [&rank](const Optimum& a, const Optimum& b) {
      return rank(a) < rank(b);
    };
    if (best_.empty() ||
        std::lexicographical_compare(optima.begin(), optima.end(),
                                     best_.begin(), best_.end(), is_less)) {
      best_ = std::move(optima);
    }
    return true;
  }

  // Adds sum <= most. False if that contradicts the state.
  bool constrain(Sum sum, const mpq_class& most, Paths& paths) const {
    sum.constant -= most;
    const Reading reading = read(sum, num_ints_, false);
    if (!reading.bound) return reading.constant;
    if (paths.contradicts(*reading.bound)) return false;
    paths.add(*reading.bound);
    return paths.is_consistent();
  }

  // The least value of a sum in a state. Shortest paths tell it, but where
  // integers and reals meet, they may be too low, by less than 1; then it is
  // one of the numbers that sums of bounds can be. `near`: closer than these
  // are to each other.
  std::optional<Optimum> least(const Sum& sum, const State& state,
                               const mpq_class& near) const {
    std::vector<std::pair<std::size_t, mpq_class>> terms;
    for (const auto& term : sum.factors) {
      if (term.second != 0) terms.push_back(term);
    }
    if (terms.empty()) return Optimum{0, sum.constant, 0};
    if (terms.size() == 1) terms.emplace_back(0, -terms[0].second);
    if (terms[0].second < 0) std::swap(terms[0], terms[1]);
    const auto& path = state.paths.path(terms[0].first, terms[1].first);
    if (!path) return Optimum{-1, 0, 0};
    mpq_class value = sum.constant - terms[0].second * path->value;
    for (int k = 0; k <= kParts; ++k, value += terms[0].second / kParts) {
      for (const int side : {0, 1}) {
        Paths paths = state.paths;
        const mpq_class most = value + side * near;
        if (constrain(sum, most, paths)) return Optimum{0, value, side};
      }
      // What hangs on another objective is no such number.
      if (mpq_class(value * kParts).get_den() > 1000) break;
    }
    return std::nullopt;
  }

  static void count_variables(const Node& node, std::size_t* counts) {
    if (node.op == Op::kVariable) {
      std::size_t& count = counts[static_cast<std::size_t>(node.sort)];
      count = std::max(count, static_cast<std::size_t>(node.index) + 1);
    }
    for (const Formula& arg : node.args) count_variables(*arg, counts);
  }

  // Means nothing if it gave up.
  bool has_model(const State& state) {
    if (states_left_ == 0) {
      gave_up_ = true;
      return false;
    }
    --states_left_;
    if (!state.paths.is_consistent()) return false;
    decision_.reset();
    truths_.clear();
    Truth all = Truth::kTrue;
    for (const Formula& formula : formulas_) {
      const Truth one = evaluate(*formula, state);
      if (one == Truth::kFalse) return false;
      if (one == Truth::kOpen) all = one;
    }
    if (all == Truth::kTrue) {
      // All states are of interest, so this one does not end the search.
      if (terms_ == nullptr) return true;
      if (look_for_best(state)) return false;
    }
    const Decision decision = *decision_;
    for (const bool choice : {true, false}) {
      State next = state;
      if (decision.bound) {
        const Bound bound =
            choice ? *decision.bound : negation(*decision.bound);
        next.paths.add(bound);
      } else {
        next.bools[decision.variable] = choice ? Truth::kTrue : Truth::kFalse;
      }
      if (has_model(next)) return true;
      if (gave_up_) return false;
    }
    return false;
  }

  Truth open(Decision decision) {
    if (!decision_) decision_ = std::move(decision);
    return Truth::kOpen;
  }

  // In a state, each once: terms share their parts, and so much that they would
  // be endless without that.
  Truth evaluate(const Node& node, const State& state) {
    if (node.args.empty()) return do_evaluate(node, state);
    const auto found = truths_.find(&node);
    if (found != truths_.end()) return found->second;
    const Truth truth = do_evaluate(node, state);
    truths_.emplace(&node, truth);
    return truth;
  }

  Truth do_evaluate(const Node& node, const State& state) {
    const std::size_t count = node.args.size();
    const auto arg = [&](std::size_t i) {
      return evaluate(*node.args[i], state);
    };
    switch (node.op) {
      case Op::kTrue:
        return Truth::kTrue;
      case Op::kFalse:
        return Truth::kFalse;
      case Op::kVariable: {
        const auto index = static_cast<std::size_t>(node.index);
        const Truth value = state.bools[index];
        return value == Truth::kOpen ? open({std::nullopt, index}) : value;
      }
      case Op::kNot:
        return opposite(arg(0));
      case Op::kAnd:
        return all_of(count, Truth::kTrue, arg);
      case Op::kOr:
        return all_of(count, Truth::kFalse, arg);
      case Op::kXor: {
        Truth result = arg(0);
        for (std::size_t i = 1; i < count && result != Truth::kOpen; ++i) {
          result = differ(result, arg(i));
        }
        return result;
      }
      case Op::kImplies:
        return all_of(count, Truth::kFalse, [&](std::size_t i) {
          return i + 1 == count ? arg(i) : opposite(arg(i));
        });
      case Op::kIte:
        return ite(arg(0), [&](std::size_t i) { return arg(i); });
      case Op::kEqual:
        return all_of(count - 1, Truth::kTrue, [&](std::size_t i) {
          return equal(*node.args[i], *node.args[i + 1], state);
        });
      case Op::kDistinct:
        return all_of(count * count, Truth::kTrue, [&](std::size_t i) {
          if (i / count >= i % count) return Truth::kTrue;
          return opposite(
              equal(*node.args[i / count], *node.args[i % count], state));
        });
      case Op::kIsInt: {
        Sum sum;
        bool conditional = false;
        if (!add_whole(*node.args[0], state, sum, conditional)) {
          return Truth::kOpen;
        }
        return sum.constant.get_den() == 1 ? Truth::kTrue : Truth::kFalse;
      }
      case Op::kLeq:
      case Op::kLess:
      case Op::kGeq:
      case Op::kGreater:
        return all_of(count - 1, Truth::kTrue, [&](std::size_t i) {
          const bool swapped = node.op == Op::kGeq || node.op == Op::kGreater;
          const bool strict = node.op == Op::kLess || node.op == Op::kGreater;
          return compare(*node.args[swapped ? i + 1 : i],
                         *node.args[swapped ? i : i + 1], strict, state);
        });
      default:
        die("no Boolean operation");
    }
  }

  // The conjunction of part(0), ..., part(count - 1) for unit kTrue, their
  // disjunction for kFalse.
  template <class Part>
  static Truth all_of(std::size_t count, Truth unit, Part part) {
    Truth result = unit;
    for (std::size_t i = 0; i < count; ++i) {
      const Truth one = part(i);
      if (one == opposite(unit)) return one;
      if (one == Truth::kOpen) result = one;
    }
    return result;
  }

  static Truth differ(Truth a, Truth b) {
    if (a == Truth::kOpen || b == Truth::kOpen) return Truth::kOpen;
    return a != b ? Truth::kTrue : Truth::kFalse;
  }

  template <class Branch>
  static Truth ite(Truth condition, Branch branch) {
    if (condition == Truth::kOpen) return condition;
    return branch(condition == Truth::kTrue ? 1 : 2);
  }

  Truth equal(const Node& a, const Node& b, const State& state) {
    if (a.sort == Sort::kBool) {
      const Truth first = evaluate(a, state);
      const Truth second = evaluate(b, state);
      return opposite(differ(first, second));
    }
    return all_of(2, Truth::kTrue, [&](std::size_t i) {
      return i == 0 ? compare(a, b, false, state) : compare(b, a, false, state);
    });
  }

  // a <= b, or a < b.
  Truth compare(const Node& a, const Node& b, bool strict, const State& state) {
    const auto key = std::make_pair(&a, &b);
    auto& readings = readings_[strict ? 1 : 0];
    auto found = readings.find(key);
    Reading reading;
    if (found != readings.end()) {
      reading = found->second;
    } else {
      Sum sum;
      bool conditional = false;
      if (!add(a, 1, state, sum, conditional) ||
          !add(b, -1, state, sum, conditional)) {
        return Truth::kOpen;
      }
      reading = read(sum, num_ints_, strict);
      // The same in all states unless a conditional term was in it.
      if (!conditional) readings.emplace(key, reading);
    }
    return find(reading, state);
  }

  Truth find(const Reading& reading, const State& state) {
    if (!reading.bound) {
      return reading.constant ? Truth::kTrue : Truth::kFalse;
    }
    if (state.paths.implies(*reading.bound)) return Truth::kTrue;
    if (state.paths.contradicts(*reading.bound)) return Truth::kFalse;
    return open({reading.bound, 0});
  }

  // What the term is but for a number added, if that is whole in any case.
  bool add_whole(const Node& node, const State& state, Sum& sum,
                 bool& conditional) {
    if (!add(node, 1, state, sum, conditional)) return false;
    for (const auto& [position, factor] : sum.factors) {
      if (factor == 0) continue;
      if (position > num_ints_ || factor.get_den() != 1) {
        die("a term need not be whole");
      }
    }
    return true;
  }

  // Adds a multiple of the term. False if a condition in it is open.
  bool add(const Node& node, const mpq_class& factor, const State& state,
           Sum& sum, bool& conditional) {
    switch (node.op) {
      case Op::kNumber:
        sum.constant += factor * node.value;
        return true;
      case Op::kVariable:
        sum.factors[static_cast<std::size_t>(node.index) + 1 +
                    (node.sort == Sort::kReal ? num_ints_ : 0)] += factor;
        return true;
      case Op::kIte: {
        conditional = true;
        const Truth condition = evaluate(*node.args[0], state);
        if (condition == Truth::kOpen) return false;
        return add(*node.args[condition == Truth::kTrue ? 1 : 2], factor, state,
                   sum, conditional);
      }
      case Op::kPlus:
      case Op::kMinus:
        for (std::size_t i = 0; i < node.args.size(); ++i) {
          const bool minus =
              node.op == Op::kMinus && (i > 0 || node.args.size() == 1);
          const mpq_class one = minus ? mpq_class(-factor) : factor;
          if (!add(*node.args[i], one, state, sum, conditional)) return false;
        }
        return true;
      case Op::kToReal:
        return add(*node.args[0], factor, state, sum, conditional);
      case Op::kToInt: {
        Sum part;
        if (!add_whole(*node.args[0], state, part, conditional)) return false;
        part.constant = floor(part.constant);
        sum.add(part, factor);
        return true;
      }
      case Op::kAbs: {
        conditional = true;
        Sum part;
        if (!add(*node.args[0], 1, state, part, conditional)) return false;
        const Truth negative = find(read(part, num_ints_, true), state);
        if (negative == Truth::kOpen) return false;
        sum.add(part, negative == Truth::kTrue ? mpq_class(-factor) : factor);
        return true;
      }
      case Op::kIntDivide:
      case Op::kRemainder:
        // Of numbers alone.
        sum.constant += factor * number(node, Values());
        return true;
      case Op::kTimes:
      case Op::kDivide:
        return add_product(node, factor, state, sum, conditional);
      default:
        die("no arithmetic operation");
    }
  }

  // At most one factor has variables, and no divisor.
  bool add_product(const Node& node, const mpq_class& factor,
                   const State& state, Sum& sum, bool& conditional) {
    Sum product;
    product.constant = factor;
    for (std::size_t i = 0; i < node.args.size(); ++i) {
      Sum part;
      if (!add(*node.args[i], 1, state, part, conditional)) return false;
      Sum next;
      if (node.op == Op::kDivide && i > 0) {
        if (!part.factors.empty()) die("a divisor is no number");
        next.add(product, 1 / part.constant);
      } else if (part.factors.empty()) {
        next.add(product, part.constant);
      } else {
        if (!product.factors.empty()) die("a product is not linear");
        next.add(part, product.constant);
      }
      product = next;
    }
    sum.add(product, 1);
    return true;
  }

  struct HashPair {
    std::size_t operator()(
        const std::pair<const Node*, const Node*>& pair) const {
      const std::hash<const Node*> hash;
      return hash(pair.first) * 31 + hash(pair.second);
    }
  };

  // Sums of bounds are multiples of 1 over this.
  static constexpr int kParts = 840;

  const std::vector<Formula>& formulas_;
  // With terms to be minimised: these, and the best so far.
  const std::vector<Formula>* terms_ = nullptr;
  std::vector<Optimum> best_;
  std::uint64_t states_left_;
  std::size_t num_ints_ = 0;
  bool gave_up_ = false;
  std::optional<Decision> decision_;
  // By node, in the state at hand.
  std::unordered_map<const Node*, Truth> truths_;
  std::unordered_map<std::pair<const Node*, const Node*>, Reading, HashPair>
      readings_[2];
};

}  // namespace

bool is_satisfiable(const std::vector<Formula>& formulas) {
  constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();
  return *is_satisfiable_within(formulas, kAll);
}

std::optional<bool> is_satisfiable_within(const std::vector<Formula>& formulas,
                                          std::uint64_t most_states) {
  return Enumeration(formulas, most_states).run();
}

std::optional<std::vector<Optimum>> find_optima(
    const std::vector<Formula>& formulas,
    const std::vector<Objective>& objectives, std::uint64_t most_states) {
  std::vector<Formula> terms;
  for (const Objective& objective : objectives) {
    const Formula& term = objective.term;
    terms.push_back(
        objective.is_maximised ? make(Op::kMinus, term->sort, {term}) : term);
  }
  auto optima = Enumeration(formulas, most_states).minimise(terms);
  for (std::size_t k = 0; optima && k < terms.size(); ++k) {
    Optimum& optimum = (*optima)[k];
    if (optimum.infinity == 0 && abs(optimum.value) > kFar / 1000000) {
      optimum = {optimum.value < 0 ? -1 : 1, 0, 0};
    }
    if (!objectives[k].is_maximised) continue;
    optimum.infinity = -optimum.infinity;
    optimum.value = -optimum.value;
    optimum.side = -optimum.side;
  }
  return optima;
}

}  // namespace vorn::bruteforce
