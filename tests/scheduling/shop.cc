// SPDX-License-Identifier: MIT
#include "tests/scheduling/shop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "tests/proof/proved_script.h"

namespace vorn::solver::testing {
namespace {

std::size_t index(int i) {
  return static_cast<std::size_t>(i);
}

/// How far apart tasks can be, from all of the bounds that were added.
class Distances {
 public:
  explicit Distances(const Shop& shop)
      : size_(index(shop.num_tasks) + 1),
        is_int_(shop.sort == Sort::kInt),
        table_(size_ * size_, kFar) {
    for (std::size_t k = 0; k < size_; ++k) at(k, k) = 0;
  }

  // Whether the bound holds wherever the others do.
  bool implies(const ShopBound& bound) const {
    return table_[index(bound.y + 1) * size_ + index(bound.x + 1)] <=
           weight_of(bound);
  }
  // False if the bound contradicts the others; then it is not added.
  bool add(const ShopBound& bound) {
    const std::size_t y = index(bound.y + 1);
    const std::size_t x = index(bound.x + 1);
    const Wide weight = weight_of(bound);
    if (at(x, y) + weight < 0) return false;
    if (implies(bound)) return true;
    for (std::size_t from = 0; from < size_; ++from) {
      const Wide start = at(from, y) + weight;
      if (start >= kFar / 2) continue;
      for (std::size_t to = 0; to < size_; ++to) {
        if (at(x, to) == kFar) continue;
        at(from, to) = std::min(at(from, to), start + at(x, to));
      }
    }
    return true;
  }

 private:
  // Above all sums of weights, with room for more.
  static constexpr Wide kFar = Wide{1} << 120U;

  // The most that x can be above y, given both.
  Wide& at(std::size_t y, std::size_t x) { return table_[y * size_ + x]; }
  // A strict bound of integers is one whole less, of others a bit less than
  // adds up to anything.
  Wide weight_of(const ShopBound& bound) const {
    constexpr Wide kBits = 1024;
    if (!bound.is_strict) return bound.weight * kBits;
    return is_int_ ? (bound.weight - kWhole) * kBits : bound.weight * kBits - 1;
  }

  std::size_t size_;
  bool is_int_;
  std::vector<Wide> table_;
};

bool can_choose(const std::vector<const ShopClause*>& clauses, std::size_t next,
                const Distances& chosen) {
  if (next == clauses.size()) return true;
  const std::vector<ShopBound>& bounds = clauses[next]->bounds;
  for (const ShopBound& bound : bounds) {
    if (chosen.implies(bound)) return can_choose(clauses, next + 1, chosen);
  }
  for (const ShopBound& bound : bounds) {
    Distances distances = chosen;
    if (distances.add(bound) && can_choose(clauses, next + 1, distances)) {
      return true;
    }
  }
  return false;
}

// Clauses that the Booleans, as bits, leave to bounds.
bool has_schedule(const Shop& shop, unsigned bools) {
  std::vector<const ShopClause*> left;
  for (const ShopClause& clause : shop.clauses) {
    const auto is_true = [bools](int b) {
      return (bools >> static_cast<unsigned>(b) & 1U) != 0;
    };
    if (std::any_of(clause.true_ones.begin(), clause.true_ones.end(),
                    is_true) ||
        !std::all_of(clause.untrue.begin(), clause.untrue.end(), is_true)) {
      continue;
    }
    if (clause.bounds.empty()) return false;
    left.push_back(&clause);
  }
  // Bounds that have to hold come first.
  std::stable_sort(left.begin(), left.end(),
                   [](const ShopClause* a, const ShopClause* b) {
                     return a->bounds.size() < b->bounds.size();
                   });
  return can_choose(left, 0, Distances(shop));
}

}  // namespace

bool has_schedule(const Shop& shop) {
  for (unsigned bools = 0; bools >> static_cast<unsigned>(shop.num_bools) == 0;
       ++bools) {
    if (has_schedule(shop, bools)) return true;
  }
  return false;
}

QNumber number_of(Wide weight) {
  const bool is_negative = weight < 0;
  if (is_negative) weight = -weight;
  std::string digits;
  do {
    digits.insert(digits.begin(), static_cast<char>('0' + weight % 10));
    weight /= 10;
  } while (weight != 0);
  QNumber number = *QNumber::from_string(digits);
  number /= QNumber(static_cast<int>(kWhole));
  return is_negative ? -number : number;
}

ShopComparison::ShopComparison(const Shop& empty, const EngineOptions& options)
    : shop_(empty) {
  for (const Machines mode : {Machines::kAuto, Machines::kOff}) {
    EngineOptions own = options;
    own.machines = mode;
    own.fewest_optional_tasks = 3;
    if (empty.num_tasks % 2 == 1) {
      own.forgotten_bounds = {0, 0};
      own.former_assumptions = {0, 0};
    } else {
      own.phases = {0, 0, 0};
    }
    engines_.push_back(std::make_unique<Engine>(store_, own));
  }
}

const Term* ShopComparison::task(int number) {
  return store_.make_symbol("t" + std::to_string(number), shop_.sort);
}

const Term* ShopComparison::boolean(int number) {
  return store_.make_symbol("b" + std::to_string(number), Sort::kBool);
}

const Term* ShopComparison::term_of(const ShopClause& clause) {
  std::vector<const Term*> terms;
  for (const int b : clause.untrue) {
    terms.push_back(store_.make_not(boolean(b)));
  }
  for (const int b : clause.true_ones) terms.push_back(boolean(b));
  for (const ShopBound& bound : clause.bounds) {
    const Term* left = nullptr;
    const Term* right = nullptr;
    if (bound.x < 0) {
      left = store_.make_number(number_of(-bound.weight), shop_.sort);
      right = task(bound.y);
    } else {
      left = task(bound.x);
      right = store_.make_number(number_of(bound.weight), shop_.sort);
      if (bound.y >= 0) right = store_.make_plus(task(bound.y), right);
    }
    terms.push_back(bound.is_strict ? store_.make_less(left, right)
                                    : store_.make_leq(left, right));
  }
  return store_.make_or(terms);
}

void ShopComparison::add(const ShopClause& clause, const Term* term) {
  shop_.clauses.push_back(clause);
  if (term == nullptr) term = term_of(clause);
  terms_.push_back(term);
  for (const auto& engine : engines_) engine->assert_term(term);
}

void ShopComparison::add(const std::vector<ShopClause>& clauses) {
  for (const ShopClause& clause : clauses) add(clause);
}

void ShopComparison::push() {
  levels_.push_back(shop_.clauses.size());
  for (const auto& engine : engines_) engine->push();
}

void ShopComparison::pop() {
  shop_.clauses.resize(levels_.back());
  terms_.resize(levels_.back());
  levels_.pop_back();
  for (const auto& engine : engines_) engine->pop();
}

bool ShopComparison::holds(Engine& engine, const ShopClause& clause) {
  for (const int b : clause.untrue) {
    if (!engine.bool_value(boolean(b))) return true;
  }
  for (const int b : clause.true_ones) {
    if (engine.bool_value(boolean(b))) return true;
  }
  const auto value = [&](int number) {
    return number < 0 ? QNumber(0) : engine.number_value(task(number));
  };
  return std::any_of(clause.bounds.begin(), clause.bounds.end(),
                     [&](const ShopBound& bound) {
                       QNumber most = value(bound.y);
                       most += number_of(bound.weight);
                       const QNumber x = value(bound.x);
                       return bound.is_strict ? x < most : x <= most;
                     });
}

bool ShopComparison::check(const std::vector<ShopClause>& assumptions) {
  Shop all = shop_;
  std::vector<const Term*> terms;
  for (const ShopClause& assumption : assumptions) {
    all.clauses.push_back(assumption);
    terms.push_back(term_of(assumption));
  }
  const bool expected = has_schedule(all);
  for (const auto& engine : engines_) {
    SCOPED_TRACE(std::string("machines ") +
                 std::string(machines_name(engine->options().machines)));
    const Answer answer = engine->check(terms);
    EXPECT_EQ(answer, expected ? Answer::kSat : Answer::kUnsat);
    for (const auto& [name, value] : engine->statistics()) {
      if (name.rfind("machine", 0) != 0 && name.rfind("order", 0) != 0) {
        continue;
      }
      std::uint64_t& most = most_[name];
      most = std::max(most, static_cast<std::uint64_t>(std::stoull(value)));
    }
    if (answer == Answer::kSat) {
      for (const ShopClause& clause : all.clauses) {
        EXPECT_TRUE(holds(*engine, clause));
      }
      for (int t = 0; t < shop_.num_tasks; ++t) {
        EXPECT_TRUE(shop_.sort != Sort::kInt ||
                    engine->number_value(task(t)).is_integer());
      }
    } else if (answer == Answer::kUnsat && !assumptions.empty()) {
      Shop core = shop_;
      for (const std::size_t k : engine->failed_assumptions()) {
        core.clauses.push_back(assumptions.at(k));
      }
      EXPECT_FALSE(has_schedule(core)) << "the assumptions did not fail";
    }
  }
  if (!expected) {
    terms.insert(terms.end(), terms_.begin(), terms_.end());
    const std::string script =
        script_of(terms, shop_.sort == Sort::kInt ? "QF_IDL" : "QF_RDL");
    EXPECT_EQ(problem_of_proof(script, engines_[0]->options()), "") << script;
  }
  return expected;
}

void ShopComparison::exchange_settings() {
  for (const auto& engine : engines_) {
    EngineOptions options = engine->options();
    options.machines =
        options.machines == Machines::kOff ? Machines::kAuto : Machines::kOff;
    engine->set_options(options);
  }
}

std::uint64_t ShopComparison::most(const char* name) const {
  const auto found = most_.find(name);
  return found == most_.end() ? 0 : found->second;
}

}  // namespace vorn::solver::testing
