// SPDX-License-Identifier: MIT
#ifndef VORN_TESTS_SCHEDULING_SHOP_H
#define VORN_TESTS_SCHEDULING_SHOP_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "solver/engine/engine.h"
#include "solver/terms/term.h"
#include "solver/terms/term_store.h"
#include "vorn/numbers/q_number.h"

namespace vorn::solver::testing {

__extension__ using Wide = __int128;

/// Weights are counted in twelfths.
constexpr Wide kWhole = 12;

/// x - y <= weight, or less than it; tasks are numbered, -1 stands for time 0.
struct ShopBound {
  int x;
  int y;
  Wide weight;
  bool is_strict = false;
};

/// That one of these holds: a Boolean is not true, a Boolean is true, a bound.
struct ShopClause {
  std::vector<int> untrue;
  std::vector<int> true_ones;
  std::vector<ShopBound> bounds;
};

/// Tasks, Booleans, and what has to hold.
struct Shop {
  int num_tasks = 0;
  int num_bools = 0;
  Sort sort = Sort::kInt;
  std::vector<ShopClause> clauses;
};

/// Whether all clauses can hold: tries each way of giving values to Booleans,
/// and then each way of choosing a bound of each clause, except where bounds
/// chosen before already contradict each other, or make one of it hold.
bool has_schedule(const Shop& shop);

/// Engines with machines and without, and a shop that is the same for them.
class ShopComparison {
 public:
  /// A shop without clauses.
  explicit ShopComparison(const Shop& empty, const EngineOptions& options = {});

  /// Asserts a clause; as another term that means the same, if one is given.
  void add(const ShopClause& clause, const Term* term = nullptr);
  /// The same for several.
  void add(const std::vector<ShopClause>& clauses);
  /// A scope of clauses opens, and ends.
  void push();
  /// As above.
  void pop();
  /// How many are open.
  std::size_t num_levels() const { return levels_.size(); }

  /// Asks all engines, and compares: with each other, with all ways to choose,
  /// and models with the clauses; that there is no schedule is proved to the
  /// checker. True if there is one.
  bool check(const std::vector<ShopClause>& assumptions = {});
  /// The engine that was without machines from now on has them, and the other
  /// way round.
  void exchange_settings();

  /// The shop as it is.
  const Shop& shop() const { return shop_; }
  /// What the terms are made in.
  TermStore& store() { return store_; }
  /// The start of a task.
  const Term* task(int number);
  /// A Boolean.
  const Term* boolean(int number);
  /// What a clause says.
  const Term* term_of(const ShopClause& clause);
  /// The engine that looked for machines first.
  const Engine& engine() const { return *engines_[0]; }
  /// The largest value that a counter of machines had after a check; they
  /// begin anew whenever the machines change.
  std::uint64_t most(const char* name) const;

 private:
  bool holds(Engine& engine, const ShopClause& clause);

  Shop shop_;
  TermStore store_;
  std::vector<std::unique_ptr<Engine>> engines_;
  /// What was asserted, by clause.
  std::vector<const Term*> terms_;
  std::vector<std::size_t> levels_;
  std::map<std::string, std::uint64_t> most_;
};

/// The weight as a number.
QNumber number_of(Wide weight);

}  // namespace vorn::solver::testing

#endif  // VORN_TESTS_SCHEDULING_SHOP_H
