// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_INFERENCE_LOG_H
#define VORN_SOLVER_SCHEDULING_INFERENCE_LOG_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "solver/scheduling/machine_certificate.h"
#include "solver/search/literal.h"
#include "vorn/containers/index.h"

namespace vorn::solver {

/// What rules have found on the trail as it is, and why: records of demands on
/// points of TimeWindows, and of literals.
///
/// Cost: O(1) for everything; taking a level back frees nothing.
/// Ownership: all its own. Threads: none.
template <class T>
class InferenceLog {
 public:
  /// That a point is at least so high.
  struct Demand {
    /// Of a node's earliest or latest time.
    int point;
    /// As above.
    T value;
    /// If the conclusion need not be as strong, neither need this.
    bool takes_slack;
  };

  /// Begins a record; demands and premises that are added belong to it.
  void begin() { records_.push_back({demands_.size(), premises_.size()}); }
  /// What the record under construction needs.
  void add(const Demand& demand) { demands_.push_back(demand); }
  /// As above; an undefined literal is none.
  void add(Literal premise) {
    if (premise.is_defined()) premises_.push_back(premise);
  }
  /// As above.
  void add(const std::vector<Literal>& premises) {
    premises_.insert(premises_.end(), premises.begin(), premises.end());
  }
  /// How the record under construction is found, with which set.
  void describe(MachineStep step, const std::vector<std::uint32_t>& set = {}) {
    step.first_task = static_cast<std::uint32_t>(tasks_.size());
    step.num_tasks = static_cast<std::uint32_t>(set.size());
    tasks_.insert(tasks_.end(), set.begin(), set.end());
    steps_.resize(records_.size());
    steps_.back() = step;
  }
  /// Ends the record and returns its number.
  int end() { return static_cast<int>(records_.size()) - 1; }
  /// A record is why the literal holds. Requires: nothing else is yet.
  void conclude(Literal literal, int record) {
    assert(!has_reason(literal));
    conclusions_.push_back(literal);
    if (literal.index() >= reasons_.size()) {
      reasons_.resize(literal.index() + 1, kNone);
    }
    reasons_[literal.index()] = record;
  }

  /// How many records there are.
  std::size_t size() const { return records_.size(); }
  /// Whether a record concludes the literal.
  bool has_reason(Literal literal) const {
    return literal.index() < reasons_.size() &&
           reasons_[literal.index()] != kNone;
  }
  /// The number of that record. Requires: has_reason(literal).
  int reason(Literal literal) const {
    assert(has_reason(literal));
    return reasons_[literal.index()];
  }
  /// How a record was found. Requires: it was described.
  const MachineStep& step(int record) const { return steps_[index(record)]; }
  /// What the sets of records consist of.
  const std::vector<std::uint32_t>& tasks() const { return tasks_; }
  /// Calls visitors with a record's demands, and with its premises.
  template <class VisitDemand, class VisitPremise>
  void visit(int record, const VisitDemand& demand,
             const VisitPremise& premise) const {
    const Record& r = records_[index(record)];
    const Record end = index(record) + 1 < records_.size()
                           ? records_[index(record) + 1]
                           : Record{demands_.size(), premises_.size()};
    for (std::size_t k = r.demand; k < end.demand; ++k) demand(demands_[k]);
    for (std::size_t k = r.premise; k < end.premise; ++k) premise(premises_[k]);
  }

  /// A level begins.
  void new_level() {
    levels_.push_back({records_.size(), demands_.size(), premises_.size(),
                       conclusions_.size(), tasks_.size()});
  }
  /// Takes back all but the first levels. Requires: there are more.
  void backtrack(int level) {
    const Level& mark = levels_[index(level)];
    records_.resize(mark.num_records);
    if (steps_.size() > records_.size()) steps_.resize(records_.size());
    tasks_.resize(mark.num_tasks);
    demands_.resize(mark.num_demands);
    premises_.resize(mark.num_premises);
    while (conclusions_.size() > mark.num_conclusions) {
      reasons_[conclusions_.back().index()] = kNone;
      conclusions_.pop_back();
    }
    levels_.resize(index(level));
  }

 private:
  static constexpr int kNone = -1;

  /// Where it begins.
  struct Record {
    std::size_t demand;
    std::size_t premise;
  };
  struct Level {
    std::size_t num_records;
    std::size_t num_demands;
    std::size_t num_premises;
    std::size_t num_conclusions;
    std::size_t num_tasks;
  };

  std::vector<Record> records_;
  std::vector<MachineStep> steps_;  // by record, or fewer
  std::vector<std::uint32_t> tasks_;
  std::vector<Demand> demands_;
  std::vector<Literal> premises_;
  std::vector<Literal> conclusions_;
  std::vector<int> reasons_;  // by literal: a record, or kNone
  std::vector<Level> levels_;
};

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_INFERENCE_LOG_H
