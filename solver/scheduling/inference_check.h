// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_SCHEDULING_INFERENCE_CHECK_H
#define VORN_SOLVER_SCHEDULING_INFERENCE_CHECK_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include "solver/scheduling/inference_log.h"
#include "solver/scheduling/machine_state.h"
#include "solver/scheduling/one_machine.h"
#include "solver/search/literal.h"

// Whether a record's demands and premises alone force what it concludes, for
// assertions: asked of all orders of the tasks that it mentions. Beyond
// kMostChecked of them that takes too long, and the answer is yes.

namespace vorn::solver {

/// Tasks whose orders are all tried in a moment.
inline constexpr std::size_t kMostChecked = 7;

/// The tasks that a record mentions, and others, with what it knows of them.
template <class T>
OneMachine<T> tasks_of_record(const MachineView<T>& view,
                              const InferenceLog<T>& log, int record,
                              const std::vector<std::size_t>& others = {}) {
  OneMachine<T> only;
  const std::vector<T>& duration = view.tasks().duration;
  for (const std::size_t a : others) only.add(a, duration[a]);
  std::vector<Literal> premises;
  log.visit(
      record,
      [&](const typename InferenceLog<T>::Demand& demand) {
        for (std::size_t a = 0; a < duration.size(); ++a) {
          // Demands are these plus something.
          const auto start = view.starts(a, T());
          const auto end = view.ends(a, T());
          if (demand.point == start.point) {
            only.start_from(a, demand.value - start.value, duration[a]);
          } else if (demand.point == end.point) {
            only.end_by(a, end.value - demand.value, duration[a]);
          }
        }
      },
      [&premises](Literal premise) { premises.push_back(premise); });
  for (std::size_t a = 0; a < duration.size(); ++a) {
    for (std::size_t b = 0; b < duration.size(); ++b) {
      const Literal order = view.order(a, b);
      const bool is_premise =
          order.is_defined() &&
          std::find(premises.begin(), premises.end(), order) != premises.end();
      const bool is_always = !order.is_defined() && only.has(a) &&
                             only.has(b) && view.tasks().is_before(a, b);
      if (!is_premise && !is_always) continue;
      only.add(a, duration[a]);
      only.add(b, duration[b]);
      only.set_before(a, b);
    }
  }
  return only;
}

/// Whether a task starts no earlier than `time`.
template <class T>
[[nodiscard]] bool forces_time(const MachineView<T>& view,
                               const InferenceLog<T>& log, int record,
                               std::size_t task, const T& time) {
  OneMachine<T> only = tasks_of_record(view, log, record, {task});
  if (only.size() > kMostChecked) return true;
  only.end_before(task, time + view.tasks().duration[task]);
  return !only.is_feasible();
}

/// Whether what a record mentions leaves no order in which `after` comes first.
template <class T>
[[nodiscard]] bool forces_order(const MachineView<T>& view,
                                const InferenceLog<T>& log, int record,
                                std::size_t before, std::size_t after) {
  OneMachine<T> only = tasks_of_record(view, log, record, {before, after});
  if (only.size() > kMostChecked) return true;
  only.set_before(after, before);
  return !only.is_feasible();
}

/// Whether what a record mentions leaves no order of its tasks at all.
template <class T>
[[nodiscard]] bool forces_conflict(const MachineView<T>& view,
                                   const InferenceLog<T>& log, int record) {
  const OneMachine<T> only = tasks_of_record(view, log, record);
  return only.size() > kMostChecked || !only.is_feasible();
}

}  // namespace vorn::solver

#endif  // VORN_SOLVER_SCHEDULING_INFERENCE_CHECK_H
